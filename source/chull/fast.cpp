#include "fast.hpp"
#include "ring.hpp"
#include "surface.hpp"
#include <iterator>
#include <numeric>

namespace vela::detail {

namespace {

// The points that the construction begins with, as indices: three out of line, one outside their plane.
struct tetrahedron {
    index triangle[3], apex;
};

vector3 point_of(const point_cloud &cloud, index i) { return {cloud.xs[i], cloud.ys[i], cloud.zs[i]}; }

bool is_zero(vector3 a) { return (a.x | a.y | a.z) == 0; }

// Finds the start as DoubleTriangle() does.
bool find_start(const point_cloud &cloud, tetrahedron &start) {
    const auto following = [&cloud](index i) { return i + 1 == cloud.count ? 0 : i + 1; };
    for (index i = 0; i < cloud.count; ++i) {
        const index j = following(i), k = following(j);
        const vector3 corner = point_of(cloud, i);
        const vector3 normal = cross(point_of(cloud, j) - corner, point_of(cloud, k) - corner);
        if (is_zero(normal))
            continue;
        for (index apex = following(k); apex != i; apex = following(apex)) {
            if (inner(normal, point_of(cloud, apex) - corner) != 0) {
                start = {{i, j, k}, apex};
                return true;
            }
        }
        return false;
    }
    return false;
}

// ---- From points

// The state in which the steps have added the apex to both sides of the triangle.
[[nodiscard]] bool start(surface &shape, const point_cloud &cloud, const tetrahedron &points) {
    constexpr index kFirstSize = 64;
    if (!shape.prepare(cloud.count) || !shape.reserve(kFirstSize, kFirstSize, kFirstSize))
        return false;
    const auto order = [&](index i) { return i >= points.apex ? i - points.apex : i + cloud.count - points.apex; };
    const vector3 apex = point_of(cloud, points.apex);
    vector3 sum = apex;
    index c[3];
    for (int k = 0; k < 3; ++k) {
        const index i = points.triangle[k];
        sum = sum + point_of(cloud, i);
        c[k] = shape.new_vertex(point_of(cloud, i), as_signed(i), order(i));
    }
    shape.set_inner_point(sum);

    // The second side of the triangle uses the edges in reverse order and sets their ends anew.
    const index edges[3] = {shape.new_edge(c[0], c[2]), shape.new_edge(c[1], c[0]), shape.new_edge(c[2], c[1])};
    const index front = shape.new_face(c[0], c[1], c[2]), back = shape.new_face(c[2], c[1], c[0]);
    for (const index edge : edges) {
        shape.edges[edge].faces[0] = back;
        shape.edges[edge].faces[1] = front;
    }
    shape.set_sides(front, edges);
    shape.set_sides(back, {edges[2], edges[1], edges[0]});
    shape.set_cone(front);
    shape.set_cone(back);
    const bool sees_front = shape.cone_of(front).is_visible(shape.seen(apex));
    return shape.insert(sees_front ? front : back, apex, as_signed(points.apex), 0);
}

// ---- From records

// Whether a hull is at rest: nothing of an insertion under way, no vertex still to be added, coordinates of 8 bits.
bool is_at_rest(const chull_ctx &hull) {
    for (const chull_vertex &vertex : ring(hull.vertices)) {
        if (!vertex.mark || vertex.active || vertex.dup)
            return false;
        for (const int32_t value : vertex.coord)
            if (value < 0 || value > 255)
                return false;
    }
    for (const chull_edge &edge : ring(hull.edges))
        if (edge.pending_face || edge.del || !edge.adj[0] || !edge.adj[1] || !edge.endpts[0] || !edge.endpts[1])
            return false;
    for (const chull_face &face : ring(hull.faces))
        for (int k = 0; k < 3; ++k)
            if (face.vis || !face.edges[k] || !face.vert[k])
                return false;
    return hull.vertices && hull.edges && hull.faces;
}

// Where records carry their index while a hull is loaded: flags that are 0 at rest.
int32_t &index_field(chull_vertex &vertex) { return vertex.active; }
int32_t &index_field(chull_edge &edge) { return edge.del; }
int32_t &index_field(chull_face &face) { return face.vis; }

template <class Slot, class Record>
void number(pool<Slot> &slots, Record *head) {
    for (Record &record : ring(head)) {
        const index i = slots.take();
        slots[i].record = &record;
        index_field(record) = as_signed(i);
    }
}

template <class Record>
void clear_numbers(Record *head) {
    for (Record &record : ring(head))
        index_field(record) = 0;
}

// The index of a record that another one points to, or kNone when it isn't in the list.
template <class Slot, class Record>
index index_of(const pool<Slot> &slots, Record *record) {
    const auto i = static_cast<index>(index_field(*record));
    return i < slots.end() && slots[i].record == record ? i : kNone;
}

// Copies what numbered records hold. Fails when one refers to what is in no list or a face's edges aren't its sides.
bool copy_records(surface &shape) {
    bool complete = true;
    const auto copy = [&](const auto &slots, auto *record, index &to) {
        to = index_of(slots, record);
        complete = complete && to != kNone;
    };
    for (index i = 0; i < shape.vertices.end(); ++i) {
        shape.vertices[i].point = load(shape.vertices[i].record->coord);
        shape.vertices[i].spoke = kOffHorizon;
    }
    for (index i = 0; i < shape.edges.end(); ++i) {
        edge_slot &edge = shape.edges[i];
        for (int k = 0; k < 2; ++k) {
            copy(shape.faces, edge.record->adj[k], edge.faces[k]);
            copy(shape.vertices, edge.record->endpts[k], edge.ends[k]);
        }
    }
    for (index i = 0; complete && i < shape.faces.end(); ++i) {
        face_slot &face = shape.faces[i];
        face.is_visible = false;
        index edges[3];
        for (int k = 0; k < 3; ++k) {
            copy(shape.vertices, face.record->vert[k], face.corners[k]);
            copy(shape.edges, face.record->edges[k], edges[k]);
        }
        complete = complete && shape.set_sides(i, edges);
    }
    return complete;
}

// How a face runs along an edge: 1 from end 0 to end 1, -1 the other way, 0 when the edge isn't one of its sides.
int direction_along(const face_slot &face, index edge) {
    for (const uint32_t code : face.sides)
        if (side::unpacked(code).edge == edge)
            return side::unpacked(code).reversed ? -1 : 1;
    return 0;
}

// Whether each edge has two faces, which run along it in opposite directions, and the numbers are those of a sphere.
bool is_closed(const surface &shape) {
    for (index i = 0; i < shape.edges.end(); ++i) {
        const index(&faces)[2] = shape.edges[i].faces;
        if (direction_along(shape.faces[faces[0]], i) * direction_along(shape.faces[faces[1]], i) != -1)
            return false;
    }
    const index V = shape.vertices.end(), E = shape.edges.end(), F = shape.faces.end();
    return 2 * E == 3 * F && V + F == E + 2;
}

// Finds an inner point, for which every face has an inner side, and works out the cones.
bool find_inner_point(surface &shape) {
    const index(&corners)[3] = shape.faces[0].corners;
    const vector3 a = shape.vertices[corners[0]].point, b = shape.vertices[corners[1]].point;
    const vector3 c = shape.vertices[corners[2]].point, normal = cross(b - a, c - a);
    index apex = 0;
    while (apex < shape.vertices.end() && inner(normal, shape.vertices[apex].point - a) == 0)
        ++apex;
    if (apex == shape.vertices.end())
        return false;
    shape.set_inner_point(a + b + c + shape.vertices[apex].point);
    for (index i = 0; i < shape.faces.end(); ++i) {
        shape.set_cone(i);
        if (as_signed(shape.cone_of(i).height) <= 0)
            return false;
    }
    return true;
}

// Whether a ray from the inner point meets a face or its border.
bool is_met_by(const cone &face, vector3 ray) {
    const auto product = [](uint32_t a, uint32_t b) { return int64_t{as_signed(a)} * as_signed(b); };
    for (int k = 1; k < 4; ++k)
        if (product(face.x[k], ray.x) + product(face.y[k], ray.y) + product(face.z[k], ray.z) < 0)
            return false;
    return true;
}

// A closed surface around an inner point is that of a convex body when it is convex at every edge and the ray through
// one face meets no other (Mehlhorn and others, "Checking geometric programs or verification of geometric structures").
bool is_convex(const surface &shape) {
    const auto corner_direction = [&shape](index i) { return shape.seen(shape.vertices[i].point); };
    for (index i = 0; i < shape.edges.end(); ++i) {
        const index(&faces)[2] = shape.edges[i].faces;
        for (const index corner : shape.faces[faces[1]].corners)
            if (shape.cone_of(faces[0]).is_visible(corner_direction(corner)))
                return false;
    }
    vector3 ray = {};
    for (const index corner : shape.faces[0].corners)
        ray = ray + corner_direction(corner);
    for (index i = 1; i < shape.faces.end(); ++i)
        if (is_met_by(shape.cone_of(i), ray))
            return false;
    return true;
}

// The state of a finished hull. Refuses what isn't one, and leaves the records as they are.
[[nodiscard]] bool load_hull(surface &shape, const chull_ctx &hull, index points) {
    if (!is_at_rest(hull) || !shape.prepare(points) ||
        !shape.reserve(chull_num_vertices(&hull), chull_num_edges(&hull), chull_num_faces(&hull)))
        return false;
    number(shape.vertices, hull.vertices);
    number(shape.edges, hull.edges);
    number(shape.faces, hull.faces);
    const bool complete = copy_records(shape);
    clear_numbers(hull.vertices);
    clear_numbers(hull.edges);
    clear_numbers(hull.faces);
    return complete && is_closed(shape) && find_inner_point(shape) && is_convex(shape);
}

// ---- To records

// A slot in the order of its list.
struct numbered {
    uint32_t created;
    index slot;
};

// One pass of a radix sort: entries in the order of one byte of their numbers, equal ones as before.
void sort_by_byte(const numbered *from, numbered *to, index count, unsigned shift) {
    const auto byte = [shift](const numbered &entry) { return entry.created >> shift & 255; };
    index ends[256] = {};
    for (index i = 0; i < count; ++i)
        ++ends[byte(from[i])];
    std::partial_sum(ends, std::end(ends), ends);
    for (index i = count; i-- > 0;)
        to[--ends[byte(from[i])]] = from[i];
}

// The slots in use in the order of their list.
template <class Slot>
class list_order {
public:
    explicit list_order(const pool<Slot> &slots) {
        entries_ = allocate<numbered>(slots.end());
        auto scratch = allocate<numbered>(slots.end());
        if (!entries_ || !scratch) {
            entries_.reset();
            return;
        }
        uint32_t used_bits = 0;
        for (index i = 0; i < slots.end(); ++i) {
            if (slots.is_free(i))
                continue;
            entries_[count_++] = {slots[i].created, i};
            used_bits |= slots[i].created;
        }
        for (unsigned shift = 0; shift < 32 && used_bits >> shift; shift += 8) {
            sort_by_byte(&entries_[0], &scratch[0], count_, shift);
            entries_.swap(scratch);
        }
    }
    bool is_complete() const { return entries_ != nullptr; }

    // Calls step with each slot until it fails.
    template <class Step>
    bool for_all(pool<Slot> &slots, Step step) const {
        return std::all_of(&entries_[0], &entries_[count_],
                           [&](const numbered &entry) { return step(slots[entry.slot]); });
    }

private:
    owned<numbered[]> entries_;
    index count_ = 0;
};

bool store_vertex(chull_ctx &hull, vertex_slot &vertex) {
    if (vertex.record)
        return true;
    vertex.record = MakeNullVertex(&hull);
    if (!vertex.record)
        return false;
    vertex.record->coord[0] = as_signed(vertex.point.x);
    vertex.record->coord[1] = as_signed(vertex.point.y);
    vertex.record->coord[2] = as_signed(vertex.point.z);
    vertex.record->vnum = vertex.vnum;
    vertex.record->mark = 1;
    return true;
}

bool store_edge(const surface &shape, chull_ctx &hull, edge_slot &edge) {
    if (!edge.record)
        edge.record = MakeNullEdge(&hull);
    if (!edge.record)
        return false;
    edge.record->del = 0;
    for (int k = 0; k < 2; ++k)
        edge.record->endpts[k] = shape.vertices[edge.ends[k]].record;
    return true;
}

bool store_face(const surface &shape, chull_ctx &hull, face_slot &face) {
    if (!face.record)
        face.record = MakeNullFace(&hull);
    if (!face.record)
        return false;
    face.record->vis = 0;
    for (int k = 0; k < 3; ++k) {
        face.record->edges[k] = shape.edges[side::unpacked(face.sides[face.places[k]]).edge].record;
        face.record->vert[k] = shape.vertices[face.corners[k]].record;
    }
    return true;
}

// Brings the records of a hull to the state of the arrays.
[[nodiscard]] outcome store_hull(surface &shape, chull_ctx &hull) {
    const list_order vertices(shape.vertices);
    const list_order edges(shape.edges);
    const list_order faces(shape.faces);
    if (!vertices.is_complete() || !edges.is_complete() || !faces.is_complete())
        return outcome::not_for_us;

    // What is there already goes, unless it turns up below.
    for (chull_edge &edge : ring(hull.edges))
        edge.del = 1;
    for (chull_face &face : ring(hull.faces))
        face.vis = 1;
    const bool complete =
        vertices.for_all(shape.vertices, [&](vertex_slot &vertex) { return store_vertex(hull, vertex); }) &&
        edges.for_all(shape.edges, [&](edge_slot &edge) { return store_edge(shape, hull, edge); }) &&
        faces.for_all(shape.faces, [&](face_slot &face) { return store_face(shape, hull, face); });
    if (!complete)
        return outcome::out_of_records;
    for (index i = 0; i < shape.edges.end(); ++i)
        if (const edge_slot &edge = shape.edges[i]; !shape.edges.is_free(i))
            for (int k = 0; k < 2; ++k)
                edge.record->adj[k] = shape.faces[edge.faces[k]].record;
    chull_vertex *cursor = nullptr;
    CleanUp(&hull, &cursor);
    return outcome::finished;
}

[[nodiscard]] bool add_all(surface &shape, const point_cloud &cloud, index first, index end, uint32_t order) {
    for (index i = first; i < end; ++i)
        if (!shape.add(point_of(cloud, i), as_signed(i), order++))
            return false;
    return true;
}

} // namespace

outcome build_chull(chull_ctx &hull, const point_cloud &cloud) {
    tetrahedron first;
    surface shape;
    if (!find_start(cloud, first) || !start(shape, cloud, first) ||
        !add_all(shape, cloud, first.apex + 1, cloud.count, 1) ||
        !add_all(shape, cloud, 0, first.apex, cloud.count - first.apex))
        return outcome::not_for_us;
    return store_hull(shape, hull);
}

outcome grow_chull(chull_ctx &hull, const point_cloud &cloud) {
    surface shape;
    if (!load_hull(shape, hull, cloud.count) || !add_all(shape, cloud, 0, cloud.count, shape.vertices.end()))
        return outcome::not_for_us;
    return store_hull(shape, hull);
}

} // namespace vela::detail

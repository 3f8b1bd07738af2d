// Copies a hull's records to the arrays of a surface, after checking that they are those of a finished hull.
#include "records.hpp"
#include "surface.hpp"

namespace vela::detail {

namespace {

// Whether no insertion is in progress, no vertex is still to be added, and coordinates have 8 bits.
bool is_at_rest(const chull_ctx &hull) {
    for (const chull_vertex &vertex : ring(hull.vertices)) {
        if (!vertex.mark || vertex.dup)
            return false;
        for (const int32_t value : vertex.coord)
            if (value < 0 || value > 255)
                return false;
    }
    for (const chull_edge &edge : ring(hull.edges))
        if (edge.pending_face || edge.del)
            return false;
    for (const chull_face &face : ring(hull.faces))
        if (face.vis)
            return false;
    return hull.faces != nullptr;
}

// The fields in which records hold their index while a hull is loaded: flags that are 0 in a finished hull.
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

// The index of a record that another one points to, or kNone when it points to none or to one that isn't listed.
template <class Slot, class Record>
index index_of(const pool<Slot> &slots, Record *record) {
    if (!record)
        return kNone;
    const auto i = static_cast<index>(index_field(*record));
    return i < slots.end() && slots[i].record == record ? i : kNone;
}

// Copies what numbered records hold. Fails if one refers to a record that is in no list or a face's edges aren't its
// sides.
bool copy_records(surface &shape) {
    bool complete = true;
    const auto copy = [&](const auto &slots, auto *record, index &to) {
        to = index_of(slots, record);
        complete = complete && to != kNone;
    };
    for (index i = kFirst; i < shape.vertices.end(); ++i) {
        shape.vertices[i].point = vector_of(shape.vertices[i].record->coord);
        shape.vertices[i].spoke = kOffHorizon;
    }
    for (index i = kFirst; i < shape.edges.end(); ++i) {
        edge_slot &edge = shape.edges[i];
        for (int k = 0; k < 2; ++k) {
            copy(shape.faces, edge.record->adj[k], edge.faces[k]);
            copy(shape.vertices, edge.record->endpts[k], edge.ends[k]);
        }
    }
    for (index i = kFirst; complete && i < shape.faces.end(); ++i) {
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

// The direction of a face along an edge: 1 from end 0 to end 1, -1 from end 1 to end 0, 0 if the edge isn't one of its
// sides.
int direction_along(const face_slot &face, index edge) {
    for (const uint32_t code : face.sides)
        if (side::unpacked(code).edge == edge)
            return side::unpacked(code).reversed ? -1 : 1;
    return 0;
}

// Whether each edge has two faces, which run along it in opposite directions, and the numbers are those of a sphere.
bool is_closed(const surface &shape) {
    for (index i = kFirst; i < shape.edges.end(); ++i) {
        const index(&faces)[2] = shape.edges[i].faces;
        if (direction_along(shape.faces[faces[0]], i) * direction_along(shape.faces[faces[1]], i) != -1)
            return false;
    }
    const index V = shape.vertices.end() - kFirst, E = shape.edges.end() - kFirst, F = shape.faces.end() - kFirst;
    return 2 * E == 3 * F && V + F == E + 2;
}

// Finds an inner point, which must be on the inner side of every face, and computes the cones.
bool find_inner_point(surface &shape) {
    const index(&corners)[3] = shape.faces[kFirst].corners;
    const vector3 a = shape.vertices[corners[0]].point, b = shape.vertices[corners[1]].point;
    const vector3 c = shape.vertices[corners[2]].point, normal = cross(b - a, c - a);
    index apex = kFirst;
    while (apex < shape.vertices.end() && inner(normal, shape.vertices[apex].point - a) == 0)
        ++apex;
    if (apex == shape.vertices.end())
        return false;
    shape.set_inner_point(a + b + c + shape.vertices[apex].point);
    for (index i = kFirst; i < shape.faces.end(); ++i) {
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
    for (index i = kFirst; i < shape.edges.end(); ++i) {
        const index(&faces)[2] = shape.edges[i].faces;
        for (const index corner : shape.faces[faces[1]].corners)
            if (shape.cone_of(faces[0]).is_visible(corner_direction(corner)))
                return false;
    }
    vector3 ray = {};
    for (const index corner : shape.faces[kFirst].corners)
        ray = ray + corner_direction(corner);
    for (index i = kFirst + 1; i < shape.faces.end(); ++i)
        if (is_met_by(shape.cone_of(i), ray))
            return false;
    return true;
}

} // namespace

bool load_hull(surface &shape, const chull_ctx &hull, index points) {
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

} // namespace vela::detail

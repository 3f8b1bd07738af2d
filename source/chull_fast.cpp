// The fast construction. It keeps what the steps keep (vertices, edges and faces, who borders whom, which slot holds
// what), but in arrays, with the faces' plane equations worked out, and spends its time only where the hull changes:
//
// - A point is located by a walk over the surface. With a fixed inner point c of the hull, the rays from c cut space
//   into one cone per face. The face in whose cone a point lies decides alone: the point is outside exactly when it
//   sees that face. The walk begins at the face where the last point of the same region of space ended, and is a step
//   or two long.
// - From a visible face the whole visible region is reached over its edges, as it is connected.
// - The lists are in the order of creation, so every record has a creation number. The steps go through the edge list
//   from its head, so they meet the horizon in the order of these numbers.
//
// Records are made at the end, for what is left by then.
#include "detail/chull_fast.hpp"
#include "detail/memory.hpp"
#include "detail/ring.hpp"
#include "detail/vector3.hpp"
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <span>
#include <type_traits>

namespace vela::detail {

namespace {

// Position in one of the arrays below.
using index = uint32_t;
constexpr index kNone = UINT32_MAX;

// Values of vertex_slot::spoke that are no edge.
constexpr index kOffHorizon = kNone;
constexpr index kOnHorizon = kNone - 1; // the edge to the new point is still to be made

// An edge as one of its faces has it, or as one of the horizon: where it is, and whether the face runs along it from
// end 1 to end 0.
struct side {
    index edge;
    bool reversed;
};

struct vertex_slot {
    vector3 point;
    int32_t vnum;
    index spoke; // during an insertion, the edge from here to the new point
    uint32_t created;
    index next_free;
    chull_vertex *record; // null until there is one
};

struct edge_slot {
    vector3 plane; // normal of the plane through the inner point and the edge, to the left of end 0 -> end 1
    index faces[2];
    index ends[2];
    uint32_t created;
    index next_free;
    chull_edge *record;
};

struct face_slot {
    vector3 normal; // outward: the plane is normal * p = offset
    int32_t offset;
    uint32_t sides[3]; // packed, see below
    uint32_t is_visible;
    index corners[3];
    uint32_t created;
    index next_free;
    chull_face *record;

    bool is_below(vector3 p) const { return as_signed(inner(normal, p)) > offset; }
};

constexpr uint32_t packed(side s) { return s.edge << 1 | s.reversed; }
constexpr side unpacked(uint32_t code) { return {code >> 1, (code & 1) != 0}; }

// An array whose slots are used again, the one freed last first: a new face takes the place of an old one nearby, and
// who remembers the old one finds itself near the new.
template <class Slot>
class pool {
public:
    Slot &operator[](index i) { return slots_[i]; }
    const Slot &operator[](index i) const { return slots_[i]; }
    // Slots from here on have never been used.
    index end() const { return end_; }
    index capacity() const { return capacity_; }
    bool is_free(index i) const { return slots_[i].created == kNone; }

    // Makes sure that so many slots more can be taken.
    [[nodiscard]] bool reserve(index more) {
        static_assert(std::is_trivially_copyable_v<Slot>);
        if (more > kMost - created_)
            return false;
        if (more <= capacity_ - end_)
            return true;
        const index wanted = std::max(end_ + more, capacity_ * 2);
        if (wanted > PTRDIFF_MAX / sizeof(Slot))
            return false;
        void *grown = std::realloc(slots_.get(), wanted * sizeof(Slot));
        if (!grown)
            return false;
        static_cast<void>(slots_.release());
        slots_.reset(static_cast<Slot *>(grown));
        capacity_ = wanted;
        return true;
    }

    index take() {
        index i = free_;
        if (i == kNone)
            i = end_++;
        else
            free_ = slots_[i].next_free;
        slots_[i].created = created_++;
        slots_[i].record = nullptr;
        return i;
    }

    void give_back(index i) {
        slots_[i].created = kNone;
        slots_[i].next_free = free_;
        free_ = i;
    }

private:
    // Creation numbers stay below this, and so do indices: two bits are to spare for packing.
    static constexpr uint32_t kMost = UINT32_MAX >> 2;

    owned<Slot[]> slots_;
    index end_ = 0, capacity_ = 0, free_ = kNone;
    uint32_t created_ = 0;
};

// Replaces a block by another size of it, whose content doesn't matter.
template <class Item>
[[nodiscard]] bool resize(owned<Item[]> &block, size_t count) {
    block = allocate<Item>(count);
    return block != nullptr;
}

// An edge of the horizon: as the visible face has it, and which of its faces[] that is.
struct horizon_edge {
    side of;
    bool slot;

    // Packed so that numbers compare as their edges stand in the list.
    uint64_t key(uint32_t created) const {
        return uint64_t{created} << 32 | of.edge << 2 | index{slot} << 1 | index{of.reversed};
    }
    static horizon_edge of_key(uint64_t key) {
        const auto low = static_cast<uint32_t>(key);
        return {{low >> 2, (low & 1) != 0}, (low & 2) != 0};
    }
};

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

class builder {
public:
    // The state in which the steps have added the apex to both sides of the triangle.
    [[nodiscard]] bool start(const point_cloud &cloud, const tetrahedron &start);
    // The state of a finished hull. Refuses what isn't one.
    [[nodiscard]] bool load(const chull_ctx &hull);
    // Adds a point; order is its place among all the vertices ever listed. Fails for want of scratch memory.
    [[nodiscard]] bool add(vector3 p, int32_t vnum, uint32_t order);
    // Brings the hull's records to the state of the arrays.
    [[nodiscard]] outcome commit(chull_ctx &hull);
    index vertex_count() const { return vertices_.end(); }

private:
    static constexpr index kRegions = 16 * 16 * 16;
    static constexpr index kFirstSize = 64;

    pool<vertex_slot> vertices_;
    pool<edge_slot> edges_;
    pool<face_slot> faces_;
    vector3 inner_point_ = {}; // times 4
    owned<index[]> hints_;     // for each region of space, the face where the last walk ended
    index newest_ = 0;         // a face that is not free
    // The region that the new point sees and its border, during an insertion.
    owned<index[]> visible_;
    owned<uint64_t[]> horizon_;
    index region_capacity_ = 0, visible_count_ = 0, horizon_count_ = 0;

    static index region_of(vector3 p) { return p.x >> 4 << 8 | p.y >> 4 << 4 | p.z >> 4; }
    vector3 seen(vector3 p) const { return 4 * p - inner_point_; }

    [[nodiscard]] bool make_hints();
    [[nodiscard]] bool reserve(index vertices, index edges, index faces);
    [[nodiscard]] bool reserve_region();
    void set_plane(edge_slot &edge) const;
    void set_plane(face_slot &face) const;
    index new_vertex(vector3 p, int32_t vnum, uint32_t order);
    index new_edge(index end0, index end1);
    index new_face(index a, index b, index c);
    bool set_sides(index face, const index (&edges)[3]);

    index find_visible_face(vector3 p);
    index neighbour_towards(index face, vector3 direction) const;
    index scan_for_visible_face(vector3 p) const;

    [[nodiscard]] bool insert(index seed, vector3 p, int32_t vnum, uint32_t order);
    void find_region(index seed, vector3 p);
    void mark_horizon(index spoke);
    void remove_region();
    index spoke_from(index vertex, index apex);
    void make_cone_face(horizon_edge on, index apex);

    bool load_references();
    bool find_inner_point();
    bool is_closed() const;
    bool is_convex() const;
    bool is_met_by(const face_slot &face, vector3 ray) const;

    bool commit_vertices(chull_ctx &hull, std::span<const uint64_t> keys);
    bool commit_edges(chull_ctx &hull, std::span<const uint64_t> keys);
    bool commit_faces(chull_ctx &hull, std::span<const uint64_t> keys);
};

bool builder::make_hints() {
    hints_.reset(static_cast<index *>(std::calloc(kRegions, sizeof(index))));
    return hints_ != nullptr;
}

bool builder::reserve(index vertices, index edges, index faces) {
    return vertices_.reserve(vertices) && edges_.reserve(edges) && faces_.reserve(faces);
}

// A region holds each face once at most, and its border has at most two edges more than it has faces.
bool builder::reserve_region() {
    const index needed = faces_.capacity() + 2;
    if (region_capacity_ >= needed)
        return true;
    region_capacity_ = needed;
    return resize(visible_, needed) && resize(horizon_, needed);
}

index builder::new_vertex(vector3 p, int32_t vnum, uint32_t order) {
    const index i = vertices_.take();
    vertex_slot &vertex = vertices_[i];
    vertex.point = p;
    vertex.vnum = vnum;
    vertex.spoke = kOffHorizon;
    vertex.created = order;
    return i;
}

index builder::new_edge(index end0, index end1) {
    const index i = edges_.take();
    edge_slot &edge = edges_[i];
    edge.ends[0] = end0;
    edge.ends[1] = end1;
    edge.faces[0] = edge.faces[1] = kNone;
    set_plane(edge);
    return i;
}

void builder::set_plane(edge_slot &edge) const {
    edge.plane = cross(seen(vertices_[edge.ends[0]].point), seen(vertices_[edge.ends[1]].point));
}

index builder::new_face(index a, index b, index c) {
    newest_ = faces_.take();
    face_slot &face = faces_[newest_];
    face.is_visible = false;
    face.corners[0] = a;
    face.corners[1] = b;
    face.corners[2] = c;
    set_plane(face);
    return newest_;
}

void builder::set_plane(face_slot &face) const {
    const vector3 apex = vertices_[face.corners[2]].point;
    face.normal = cross(vertices_[face.corners[0]].point - apex, vertices_[face.corners[1]].point - apex);
    face.offset = as_signed(inner(face.normal, apex));
}

// Gives a face its edges, in this order, and finds their directions. Fails when they aren't its sides.
bool builder::set_sides(index i, const index (&edges)[3]) {
    face_slot &face = faces_[i];
    unsigned sides_seen = 0;
    for (int k = 0; k < 3; ++k) {
        const index(&ends)[2] = edges_[edges[k]].ends;
        for (int corner = 0; corner < 3; ++corner) {
            const index from = face.corners[corner], to = face.corners[(corner + 1) % 3];
            const bool forward = ends[0] == from && ends[1] == to;
            if (!forward && !(ends[0] == to && ends[1] == from))
                continue;
            face.sides[k] = packed({edges[k], !forward});
            sides_seen |= 1U << corner;
        }
    }
    return sides_seen == 7;
}

bool builder::start(const point_cloud &cloud, const tetrahedron &start) {
    if (!make_hints() || !reserve(kFirstSize, kFirstSize, kFirstSize))
        return false;
    const auto order = [&](index i) { return i >= start.apex ? i - start.apex : i + cloud.count - start.apex; };
    inner_point_ = point_of(cloud, start.apex);
    for (const index i : start.triangle)
        inner_point_ = inner_point_ + point_of(cloud, i);
    index c[3];
    for (int k = 0; k < 3; ++k) {
        const index i = start.triangle[k];
        c[k] = new_vertex(point_of(cloud, i), as_signed(i), order(i));
    }
    // The second side of the triangle uses the edges in reverse order and sets their ends anew.
    const index edges[3] = {new_edge(c[0], c[2]), new_edge(c[1], c[0]), new_edge(c[2], c[1])};
    const index front = new_face(c[0], c[1], c[2]), back = new_face(c[2], c[1], c[0]);
    for (const index edge : edges) {
        edges_[edge].faces[0] = back;
        edges_[edge].faces[1] = front;
    }
    set_sides(front, edges);
    set_sides(back, {edges[2], edges[1], edges[0]});

    const vector3 apex = point_of(cloud, start.apex);
    return insert(faces_[front].is_below(apex) ? front : back, apex, as_signed(start.apex), 0);
}

// ---- Location

// The face that decides whether a point is outside, or one met on the way to it: returned if it is visible.
index builder::find_visible_face(vector3 p) {
    index &hint = hints_[region_of(p)];
    const vector3 direction = seen(p);
    index i = faces_.is_free(hint) ? newest_ : hint;
    // A walk that visits more faces than there are goes in circles, within a flat part of the surface.
    for (index steps = faces_.end(); steps > 0; --steps) {
        hint = i;
        if (faces_[i].is_below(p))
            return i;
        i = neighbour_towards(i, direction);
        if (i == kNone)
            return kNone;
    }
    return scan_for_visible_face(p);
}

// The face on the other side of an edge that a direction from the inner point passes outside, or kNone when the
// direction meets this face.
index builder::neighbour_towards(index i, vector3 direction) const {
    for (const uint32_t code : faces_[i].sides) {
        const side s = unpacked(code);
        const edge_slot &edge = edges_[s.edge];
        const int32_t left = as_signed(inner(edge.plane, direction));
        if (s.reversed ? left > 0 : left < 0)
            return edge.faces[edge.faces[0] == i];
    }
    return kNone;
}

index builder::scan_for_visible_face(vector3 p) const {
    for (index i = 0; i < faces_.end(); ++i)
        if (!faces_.is_free(i) && faces_[i].is_below(p))
            return i;
    return kNone;
}

// ---- Insertion

bool builder::add(vector3 p, int32_t vnum, uint32_t order) {
    const index seed = find_visible_face(p);
    return seed == kNone || insert(seed, p, vnum, order);
}

bool builder::insert(index seed, vector3 p, int32_t vnum, uint32_t order) {
    if (!reserve_region())
        return false;
    find_region(seed, p);
    if (!reserve(1, horizon_count_, horizon_count_))
        return false;
    std::sort(&horizon_[0], &horizon_[horizon_count_]);
    mark_horizon(kOnHorizon);
    remove_region();
    const index apex = new_vertex(p, vnum, order);
    for (index i = 0; i < horizon_count_; ++i)
        make_cone_face(horizon_edge::of_key(horizon_[i]), apex);
    mark_horizon(kOffHorizon);
    return true;
}

// Collects the faces that see p, from one of them, and the edges between them and the rest.
void builder::find_region(index seed, vector3 p) {
    visible_[0] = seed;
    visible_count_ = 1;
    horizon_count_ = 0;
    faces_[seed].is_visible = true;
    for (index done = 0; done < visible_count_; ++done) {
        const index here = visible_[done];
        for (const uint32_t code : faces_[here].sides) {
            const side s = unpacked(code);
            const edge_slot &edge = edges_[s.edge];
            const bool slot = edge.faces[1] == here;
            const index beyond = edge.faces[!slot];
            if (faces_[beyond].is_visible)
                continue;
            if (faces_[beyond].is_below(p)) {
                faces_[beyond].is_visible = true;
                visible_[visible_count_++] = beyond;
            } else {
                horizon_[horizon_count_++] = horizon_edge{s, slot}.key(edge.created);
            }
        }
    }
}

void builder::mark_horizon(index spoke) {
    for (index i = 0; i < horizon_count_; ++i)
        for (const index end : edges_[horizon_edge::of_key(horizon_[i]).of.edge].ends)
            vertices_[end].spoke = spoke;
}

// Frees the visible faces, the edges between two of them and the corners that aren't on the horizon.
void builder::remove_region() {
    for (index k = 0; k < visible_count_; ++k) {
        const index here = visible_[k];
        const face_slot &face = faces_[here];
        for (const uint32_t code : face.sides) {
            const index i = unpacked(code).edge;
            const edge_slot &edge = edges_[i];
            // The face in slot 0 does it for both.
            if (edge.faces[0] == here && faces_[edge.faces[1]].is_visible)
                edges_.give_back(i);
        }
        for (const index i : face.corners)
            if (vertices_[i].spoke == kOffHorizon && !vertices_.is_free(i))
                vertices_.give_back(i);
    }
    for (index k = 0; k < visible_count_; ++k)
        faces_.give_back(visible_[k]);
}

// The edge from a vertex on the horizon to the new point, made unless a neighbouring cone face has done so.
index builder::spoke_from(index vertex, index apex) {
    if (vertices_[vertex].spoke == kOnHorizon)
        vertices_[vertex].spoke = new_edge(vertex, apex);
    return vertices_[vertex].spoke;
}

void builder::make_cone_face(horizon_edge on, index apex) {
    const index(&ends)[2] = edges_[on.of.edge].ends;
    const index from = ends[on.of.reversed], to = ends[!on.of.reversed];
    // In this order the edges are made.
    spoke_from(ends[0], apex);
    spoke_from(ends[1], apex);
    const index i = new_face(from, to, apex);
    const index spokes[2] = {vertices_[to].spoke, vertices_[from].spoke};
    faces_[i].sides[0] = packed(on.of);
    faces_[i].sides[1] = packed({spokes[0], false});
    faces_[i].sides[2] = packed({spokes[1], true});
    for (const index spoke : spokes) {
        edge_slot &edge = edges_[spoke];
        edge.faces[edge.faces[0] != kNone] = i;
    }
    edges_[on.of.edge].faces[on.slot] = i;
}

// ---- From and to records

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

// Copies the records' references. Fails when one leads out of the lists or a face's edges aren't its sides.
bool builder::load_references() {
    bool complete = true;
    const auto found = [&complete](index i) {
        complete = complete && i != kNone;
        return i;
    };
    for (index i = 0; i < vertices_.end(); ++i) {
        vertices_[i].point = detail::load(vertices_[i].record->coord);
        vertices_[i].spoke = kOffHorizon;
    }
    for (index i = 0; i < edges_.end(); ++i) {
        edge_slot &edge = edges_[i];
        for (int k = 0; k < 2; ++k) {
            edge.faces[k] = found(index_of(faces_, edge.record->adj[k]));
            edge.ends[k] = found(index_of(vertices_, edge.record->endpts[k]));
        }
    }
    for (index i = 0; complete && i < faces_.end(); ++i) {
        face_slot &face = faces_[i];
        face.is_visible = false;
        index edges[3];
        for (int k = 0; k < 3; ++k) {
            face.corners[k] = found(index_of(vertices_, face.record->vert[k]));
            edges[k] = found(index_of(edges_, face.record->edges[k]));
        }
        complete = complete && set_sides(i, edges);
    }
    return complete;
}

bool builder::load(const chull_ctx &hull) {
    if (!is_at_rest(hull) || !make_hints() ||
        !reserve(chull_num_vertices(&hull), chull_num_edges(&hull), chull_num_faces(&hull)))
        return false;
    number(vertices_, hull.vertices);
    number(edges_, hull.edges);
    number(faces_, hull.faces);
    const bool complete = load_references();
    clear_numbers(hull.vertices);
    clear_numbers(hull.edges);
    clear_numbers(hull.faces);
    return complete && is_closed() && find_inner_point() && is_convex();
}

// Whether each edge has two faces that run along it in opposite directions, and the numbers are those of a sphere.
bool builder::is_closed() const {
    const auto direction = [this](index edge, index face) {
        for (const uint32_t code : faces_[face].sides)
            if (unpacked(code).edge == edge)
                return unpacked(code).reversed ? -1 : 1;
        return 0;
    };
    for (index i = 0; i < edges_.end(); ++i)
        if (direction(i, edges_[i].faces[0]) * direction(i, edges_[i].faces[1]) != -1)
            return false;
    return 2 * edges_.end() == 3 * faces_.end() && vertices_.end() + faces_.end() == edges_.end() + 2;
}

// Works out all planes, and with them a point that is below every face.
bool builder::find_inner_point() {
    for (index i = 0; i < faces_.end(); ++i)
        set_plane(faces_[i]);
    inner_point_ = {};
    for (const index corner : faces_[0].corners)
        inner_point_ = inner_point_ + vertices_[corner].point;
    for (index i = 0; i < vertices_.end(); ++i)
        if (as_signed(inner(faces_[0].normal, vertices_[i].point)) < faces_[0].offset) {
            inner_point_ = inner_point_ + vertices_[i].point;
            break;
        }
    for (index i = 0; i < edges_.end(); ++i)
        set_plane(edges_[i]);
    for (index i = 0; i < faces_.end(); ++i)
        if (as_signed(inner(faces_[i].normal, inner_point_)) >= 4 * faces_[i].offset)
            return false;
    return true;
}

// Whether a ray from the inner point meets a face or its border.
bool builder::is_met_by(const face_slot &face, vector3 ray) const {
    const auto wide = [](uint32_t value) { return int64_t{as_signed(value)}; };
    return std::all_of(face.sides, std::end(face.sides), [&](uint32_t code) {
        const vector3 plane = edges_[unpacked(code).edge].plane;
        const int64_t left = wide(plane.x) * wide(ray.x) + wide(plane.y) * wide(ray.y) + wide(plane.z) * wide(ray.z);
        return unpacked(code).reversed ? left <= 0 : left >= 0;
    });
}

// A closed surface around an inner point is a convex one when it is convex at every edge and the ray to one point of
// it meets it nowhere else (Mehlhorn and others, "Checking geometric programs or verification of geometric
// structures").
bool builder::is_convex() const {
    for (index i = 0; i < edges_.end(); ++i)
        for (const index corner : faces_[edges_[i].faces[1]].corners)
            if (faces_[edges_[i].faces[0]].is_below(vertices_[corner].point))
                return false;
    vector3 ray = {};
    for (const index corner : faces_[0].corners)
        ray = ray + seen(vertices_[corner].point);
    for (index i = 1; i < faces_.end(); ++i)
        if (is_met_by(faces_[i], ray))
            return false;
    return true;
}

// ---- To records

// The slots in use, in the order of the list: creation numbers with indices behind them.
template <class Slot>
index in_list_order(const pool<Slot> &slots, owned<uint64_t[]> &keys) {
    if (!resize(keys, slots.end()))
        return kNone;
    index count = 0;
    for (index i = 0; i < slots.end(); ++i)
        if (!slots.is_free(i))
            keys[count++] = uint64_t{slots[i].created} << 32 | i;
    std::sort(&keys[0], &keys[count]);
    return count;
}

bool builder::commit_vertices(chull_ctx &hull, std::span<const uint64_t> keys) {
    for (const uint64_t key : keys) {
        vertex_slot &vertex = vertices_[static_cast<index>(key)];
        if (vertex.record)
            continue;
        vertex.record = MakeNullVertex(&hull);
        if (!vertex.record)
            return false;
        vertex.record->coord[0] = as_signed(vertex.point.x);
        vertex.record->coord[1] = as_signed(vertex.point.y);
        vertex.record->coord[2] = as_signed(vertex.point.z);
        vertex.record->vnum = vertex.vnum;
        vertex.record->mark = 1;
    }
    return true;
}

bool builder::commit_edges(chull_ctx &hull, std::span<const uint64_t> keys) {
    for (const uint64_t key : keys) {
        edge_slot &edge = edges_[static_cast<index>(key)];
        if (!edge.record)
            edge.record = MakeNullEdge(&hull);
        if (!edge.record)
            return false;
        edge.record->del = 0;
        for (int k = 0; k < 2; ++k)
            edge.record->endpts[k] = vertices_[edge.ends[k]].record;
    }
    return true;
}

bool builder::commit_faces(chull_ctx &hull, std::span<const uint64_t> keys) {
    for (const uint64_t key : keys) {
        face_slot &face = faces_[static_cast<index>(key)];
        if (!face.record)
            face.record = MakeNullFace(&hull);
        if (!face.record)
            return false;
        face.record->vis = 0;
        for (int k = 0; k < 3; ++k) {
            face.record->vert[k] = vertices_[face.corners[k]].record;
            face.record->edges[k] = edges_[unpacked(face.sides[k]).edge].record;
        }
    }
    return true;
}

outcome builder::commit(chull_ctx &hull) {
    owned<uint64_t[]> vertex_keys, edge_keys, face_keys;
    const index vertex_count = in_list_order(vertices_, vertex_keys);
    const index edge_count = in_list_order(edges_, edge_keys);
    const index face_count = in_list_order(faces_, face_keys);
    if (!vertex_keys || !edge_keys || !face_keys)
        return outcome::not_for_us;

    // Earlier records go unless they are found in the arrays.
    for (chull_edge &edge : ring(hull.edges))
        edge.del = 1;
    for (chull_face &face : ring(hull.faces))
        face.vis = 1;
    const std::span<const uint64_t> edges(&edge_keys[0], edge_count);
    if (!commit_vertices(hull, {&vertex_keys[0], vertex_count}) || !commit_edges(hull, edges) ||
        !commit_faces(hull, {&face_keys[0], face_count}))
        return outcome::out_of_records;
    for (const uint64_t key : edges) {
        const edge_slot &edge = edges_[static_cast<index>(key)];
        for (int k = 0; k < 2; ++k)
            edge.record->adj[k] = faces_[edge.faces[k]].record;
    }
    chull_vertex *cursor = nullptr;
    CleanUp(&hull, &cursor);
    return outcome::finished;
}

bool add_all(builder &surface, const point_cloud &cloud, index first, index end, uint32_t order) {
    for (index i = first; i < end; ++i)
        if (!surface.add(point_of(cloud, i), as_signed(i), order++))
            return false;
    return true;
}

} // namespace

outcome build_chull(chull_ctx &hull, const point_cloud &cloud) {
    tetrahedron start;
    builder surface;
    if (!find_start(cloud, start) || !surface.start(cloud, start) ||
        !add_all(surface, cloud, start.apex + 1, cloud.count, 1) ||
        !add_all(surface, cloud, 0, start.apex, cloud.count - start.apex))
        return outcome::not_for_us;
    return surface.commit(hull);
}

outcome grow_chull(chull_ctx &hull, const point_cloud &cloud) {
    builder surface;
    if (!surface.load(hull) || !add_all(surface, cloud, 0, cloud.count, surface.vertex_count()))
        return outcome::not_for_us;
    return surface.commit(hull);
}

} // namespace vela::detail

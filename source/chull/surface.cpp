// A hull in arrays: its slots, the location of points, and their insertion.
#include "surface.hpp"
#include "rules.hpp"

namespace vela::detail {

bool surface::prepare(index points) {
    // Coarse enough that most parts of space get several points.
    space_bits_ = points < 1U << 14 ? 3 : points < 1U << 17 ? 4 : 5;
    const size_t cubes = size_t{1} << 3 * space_bits_, columns = size_t{1} << 2 * space_bits_;
    if (!resize(hints_, cubes) || !resize(columns_, columns))
        return false;
    std::fill_n(&hints_[0], cubes, kNone);
    std::fill_n(&columns_[0], columns, column{255, 0, 0});
    return true;
}

bool surface::reserve(index more_vertices, index more_edges, index more_faces) {
    if (!vertices.reserve(more_vertices) || !edges.reserve(more_edges) || !faces.reserve(more_faces))
        return false;
    if (cone_capacity_ == faces.capacity())
        return true;
    cone_capacity_ = faces.capacity();
    return resize(cones_, cone_capacity_);
}

// A region has each face at most once, and its horizon at most two edges more than it has faces.
bool surface::reserve_region() {
    const index needed = faces.capacity() + 2;
    if (region_capacity_ == needed)
        return true;
    region_capacity_ = needed;
    return resize(region_, needed) && resize(horizon_, needed);
}

index surface::new_vertex(vector3 p, int32_t vnum) {
    const index i = vertices.take();
    vertex_slot &vertex = vertices[i];
    vertex.point = p;
    vertex.vnum = vnum;
    vertex.spoke = kOffHorizon;
    return i;
}

index surface::new_edge(index end0, index end1) {
    const index i = edges.take();
    edge_slot &edge = edges[i];
    edge.faces[0] = edge.faces[1] = kNone;
    edge.ends[0] = end0;
    edge.ends[1] = end1;
    return i;
}

index surface::new_face(const index (&corners)[3]) {
    newest_ = faces.take();
    face_slot &face = faces[newest_];
    for (int k = 0; k < 3; ++k)
        face.corners[k] = corners[k];
    face.is_visible = false;
    return newest_;
}

bool surface::set_sides(index face, const index (&of_record)[3]) {
    face_slot &slot = faces[face];
    unsigned corners_met = 0;
    for (int k = 0; k < 3; ++k) {
        const index(&ends)[2] = edges[of_record[k]].ends;
        for (uint8_t corner = 0; corner < 3; ++corner) {
            const index from = slot.corners[corner], to = slot.corners[(corner + 1) % 3];
            const bool forward = ends[0] == from && ends[1] == to;
            if (!forward && !(ends[0] == to && ends[1] == from))
                continue;
            slot.sides[corner] = side{of_record[k], !forward}.packed();
            slot.places[k] = corner;
            corners_met |= 1U << corner;
        }
    }
    return corners_met == 7;
}

void surface::set_cone(index face) {
    const face_slot &slot = faces[face];
    const vector3 a = seen(vertices[slot.corners[0]].point);
    const vector3 b = seen(vertices[slot.corners[1]].point);
    const vector3 c = seen(vertices[slot.corners[2]].point);
    const vector3 planes[] = {cross(a, b), cross(b, c), cross(c, a)};
    // They add up to the outward normal of the face.
    const vector3 normal = planes[0] + planes[1] + planes[2];
    cone &made = cones_[face];
    made.set_form(0, vector3{} - normal);
    made.height = inner(normal, a);
    for (int k = 0; k < 3; ++k) {
        made.set_form(k + 1, planes[k]);
        const index(&both)[2] = edges[side::unpacked(slot.sides[k]).edge].faces;
        made.neighbours[k] = both[both[0] == face];
    }
}

// ---- Location

// Walks over the surface in a direction from the inner point, to the face that the ray intersects or to the first
// visible face.
surface::location surface::walk(index from, vector3 direction) const {
    index i = from;
    // A walk that visits more faces than exist goes in circles, within a flat part of the surface.
    for (index steps = faces.end(); steps > 0; --steps) {
        const cone &here = cones_[i];
        if (here.is_visible(direction))
            return {i, true};
        if (here.is_beyond_side(0, direction))
            i = here.neighbours[0];
        else if (here.is_beyond_side(1, direction))
            i = here.neighbours[1];
        else if (here.is_beyond_side(2, direction))
            i = here.neighbours[2];
        else
            return {i, false};
    }
    return scan(direction); // GCOVR_EXCL_LINE: no known hull lets a walk go in circles
}

// GCOVR_EXCL_START: see above
surface::location surface::scan(vector3 direction) const {
    for (index i = kFirst; i < faces.end(); ++i)
        if (!faces.is_free(i) && cones_[i].is_visible(direction))
            return {i, true};
    return {newest_, false};
}
// GCOVR_EXCL_STOP

// Extends the heights at which a point's column is known to be inside to that of the point, if the column's four
// corners are inside there: the hull is convex. Attempts become rarer with the number of failures.
void surface::widen(column &known, vector3 p, index face) {
    ++known.failures;
    if (known.failures & (known.failures - 1))
        return;
    const uint32_t last = (1U << (8 - space_bits_)) - 1;
    const vector3 first_corner = {p.x & ~last, p.y & ~last, p.z};
    for (unsigned k = 0; k < 4; ++k)
        if (walk(face, seen(first_corner + vector3{k & 1 ? last : 0, k & 2 ? last : 0, 0})).is_visible)
            return;
    const auto height = static_cast<uint8_t>(p.z);
    const bool is_first = known.low > known.high;
    known = {is_first ? height : std::min(known.low, height), is_first ? height : std::max(known.high, height), 0};
}

bool surface::add(vector3 p, int32_t vnum) {
    const unsigned shift = 8 - space_bits_;
    const index column_index = p.x >> shift << space_bits_ | p.y >> shift;
    column &known = columns_[column_index];
    if (known.low <= p.z && p.z <= known.high)
        return true;
    index &hint = hints_[column_index << space_bits_ | p.z >> shift];
    const index from = hint == kNone || faces.is_free(hint) ? newest_ : hint;
    const location found = walk(from, seen(p));
    hint = found.face;
    if (found.is_visible)
        return insert(found.face, p, vnum);
    widen(known, p, found.face);
    return true;
}

// ---- Insertion

bool surface::insert(index visible_face, vector3 p, int32_t vnum) {
    if (!reserve_region())
        return false;
    find_region(visible_face, seen(p));
    if (!reserve(1, horizon_count_, horizon_count_))
        return false;
    std::sort(&horizon_[0], &horizon_[horizon_count_]);
    mark_horizon(kOnHorizon);
    remove_region();
    const index apex = new_vertex(p, vnum);
    // The new faces replace the region.
    for (index k = 0; k < horizon_count_; ++k)
        region_[k] = make_cone_face(horizon_edge::unpacked(horizon_[k]), apex);
    std::for_each_n(&region_[0], horizon_count_, [this](index face) { set_cone(face); });
    mark_horizon(kOffHorizon);
    return true;
}

// Collects the faces visible from a direction, starting with one of them, and the edges between them and the rest.
// Visible faces are connected.
void surface::find_region(index seed, vector3 direction) {
    region_[0] = seed;
    region_count_ = 1;
    horizon_count_ = 0;
    faces[seed].is_visible = true;
    for (index done = 0; done < region_count_; ++done) {
        const index here = region_[done];
        for (int k = 0; k < 3; ++k) {
            const index beyond = cones_[here].neighbours[k];
            if (faces[beyond].is_visible)
                continue;
            if (cones_[beyond].is_visible(direction)) {
                faces[beyond].is_visible = true;
                region_[region_count_++] = beyond;
            } else {
                const side s = side::unpacked(faces[here].sides[k]);
                const edge_slot &edge = edges[s.edge];
                horizon_[horizon_count_++] = horizon_edge{s, edge.faces[1] == here}.packed(edge.created);
            }
        }
    }
}

void surface::mark_horizon(index spoke) {
    for (index k = 0; k < horizon_count_; ++k)
        for (const index end : edges[horizon_edge::unpacked(horizon_[k]).of.edge].ends)
            vertices[end].spoke = spoke;
}

// Frees the visible faces, the edges between two of them and the corners that aren't on the horizon.
void surface::remove_region() {
    for (index k = 0; k < region_count_; ++k) {
        const index here = region_[k];
        const face_slot &face = faces[here];
        for (const uint32_t code : face.sides) {
            const index i = side::unpacked(code).edge;
            const edge_slot &edge = edges[i];
            // Released once, by the face in slot 0.
            if (edge.faces[0] == here && faces[edge.faces[1]].is_visible)
                edges.give_back(i);
        }
        for (const index i : face.corners)
            if (vertices[i].spoke == kOffHorizon && !vertices.is_free(i))
                vertices.give_back(i);
    }
    std::for_each_n(&region_[0], region_count_, [this](index face) { faces.give_back(face); });
}

// The edge from a vertex on the horizon to the new point, unless a neighbouring cone face has made it.
index surface::spoke_from(index vertex, index apex) {
    index &spoke = vertices[vertex].spoke;
    if (spoke == kOnHorizon)
        spoke = new_edge(vertex, apex);
    return spoke;
}

index surface::make_cone_face(horizon_edge on, index apex) {
    const index base = on.of.edge;
    const index(&ends)[2] = edges[base].ends;
    const index spokes[2] = {spoke_from(ends[0], apex), spoke_from(ends[1], apex)};
    const auto made = cone_face_on(base, ends, spokes, apex, on.of.reversed);
    const index i = new_face(made.corners);
    face_slot &face = faces[i];
    face.sides[0] = on.of.packed();
    face.sides[1] = side{made.edges[1], false}.packed();
    face.sides[2] = side{made.edges[2], true}.packed();
    for (uint8_t k = 0; k < 3; ++k)
        face.places[k] = k;
    for (const index spoke : spokes)
        fill_free_slot(edges[spoke].faces, i, kNone);
    edges[base].faces[on.slot] = i;

    const index across = edges[base].faces[!on.slot];
    for (int k = 0; k < 3; ++k)
        if (side::unpacked(faces[across].sides[k]).edge == base)
            cones_[across].neighbours[k] = i;
    return i;
}

} // namespace vela::detail

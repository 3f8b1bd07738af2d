// From the arrays of a surface to the records of a hull.
#include "ring.hpp"
#include "transfer.hpp"
#include <iterator>
#include <numeric>

namespace vela::detail {

namespace {

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

} // namespace

outcome store_hull(surface &shape, chull_ctx &hull) {
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

} // namespace vela::detail

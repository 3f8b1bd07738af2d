// From the arrays of a surface to the records of a hull.
#include "records.hpp"
#include "surface.hpp"
#include <utility>

namespace vela::detail {

namespace {

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
    for (int k = 0; k < 2; ++k)
        edge.record->endpts[k] = shape.vertices[edge.ends[k]].record;
    return true;
}

bool store_face(const surface &shape, chull_ctx &hull, face_slot &face) {
    if (!face.record)
        face.record = MakeNullFace(&hull);
    if (!face.record)
        return false;
    for (int k = 0; k < 3; ++k) {
        face.record->edges[k] = shape.edges[side::unpacked(face.sides[face.places[k]]).edge].record;
        face.record->vert[k] = shape.vertices[face.corners[k]].record;
    }
    return true;
}

// Orders the records of a list like their slots, and releases those without one.
template <class Slot, class Record>
void put_in_order(const pool<Slot> &slots, Record *&head) {
    Record *unlisted = std::exchange(head, nullptr);
    slots.for_all([&](const Slot &slot) {
        unlink(unlisted, slot.record);
        append(head, slot.record);
        return true;
    });
    release_all(unlisted);
}

} // namespace

bool store_hull(surface &shape, chull_ctx &hull) {
    // In this order: if one of them fails, every edge has its ends and every face its corners.
    if (!shape.vertices.for_all([&](vertex_slot &vertex) { return store_vertex(hull, vertex); }) ||
        !shape.edges.for_all([&](edge_slot &edge) { return store_edge(shape, hull, edge); }) ||
        !shape.faces.for_all([&](face_slot &face) { return store_face(shape, hull, face); }))
        return false;
    shape.edges.for_all([&](const edge_slot &edge) {
        for (int k = 0; k < 2; ++k)
            edge.record->adj[k] = shape.faces[edge.faces[k]].record;
        return true;
    });
    put_in_order(shape.vertices, hull.vertices);
    put_in_order(shape.edges, hull.edges);
    put_in_order(shape.faces, hull.faces);
    return true;
}

} // namespace vela::detail

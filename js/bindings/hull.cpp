// <vela/cpp/hull.hpp>
#include "bindings.hpp"
#include <vela/cpp/hull.hpp>

using namespace bindings;
using vela::hull;

namespace {

// For each of `count` records, the indices of its `each` vertices in the order of vertices(). While they are collected,
// the vertices hold them instead of their own numbers.
template <class Records, class Vertices>
block *numbered(const hull &of, const Records &records, size_t count, size_t each, Vertices vertices_of) {
    result<uint32_t> all(count * each), own(of.vertex_count());
    chull_vertex *vertex = of.get()->vertices;
    for (uint32_t i = 0; i < own.size(); ++i, vertex = vertex->next)
        own.data()[i] = static_cast<uint32_t>(std::exchange(vertex->vnum, static_cast<int32_t>(i)));
    uint32_t *to = all.data();
    for (const auto &record : records)
        for (const chull_vertex *one : vertices_of(record))
            *to++ = static_cast<uint32_t>(one->vnum);
    for (const uint32_t number : std::span<const uint32_t>(own)) {
        vertex->vnum = static_cast<int32_t>(number);
        vertex = vertex->next;
    }
    return all.release();
}

} // namespace

VELA_EXPORT(hull_of_points)
hull *of_points(const uint8_t *xs, size_t x_count, const uint8_t *ys, size_t y_count, const uint8_t *zs,
                size_t z_count) {
    return hold(hull::of_points({xs, x_count}, {ys, y_count}, {zs, z_count}));
}

VELA_EXPORT(hull_of_pixels) hull *of_pixels(const uint8_t *pixels, size_t size, size_t pixel_size) {
    return hold(hull::of_pixels({pixels, size}, pixel_size));
}

VELA_EXPORT(hull_free) void free_hull(hull *one) { delete one; }

VELA_EXPORT(hull_grow)
bool grow(hull *one, const uint8_t *xs, size_t x_count, const uint8_t *ys, size_t y_count, const uint8_t *zs,
          size_t z_count) {
    return one->grow({xs, x_count}, {ys, y_count}, {zs, z_count});
}

VELA_EXPORT(hull_grow_by_pixels) bool grow_by_pixels(hull *one, const uint8_t *pixels, size_t size, size_t pixel_size) {
    return one->grow_by_pixels({pixels, size}, pixel_size);
}

VELA_EXPORT(hull_contains) bool contains(const hull *one, int32_t x, int32_t y, int32_t z) {
    return one->contains({x, y, z});
}

VELA_EXPORT(hull_distances) block *distances(const hull *one, int32_t x, int32_t y, int32_t z) {
    const auto found = one->distances({x, y, z});
    return found ? give({found->nearest, found->farthest}) : nullptr;
}

VELA_EXPORT(hull_volume) double volume(const hull *one) { return one->volume(); }
VELA_EXPORT(hull_vertex_count) size_t vertex_count(const hull *one) { return one->vertex_count(); }
VELA_EXPORT(hull_edge_count) size_t edge_count(const hull *one) { return one->edge_count(); }
VELA_EXPORT(hull_face_count) size_t face_count(const hull *one) { return one->face_count(); }

VELA_EXPORT(hull_vertices) block *vertices(const hull *one) {
    result<uint8_t> all(3 * one->vertex_count());
    uint8_t *to = all.data();
    for (const chull_vertex &vertex : one->vertices())
        for (const int32_t coordinate : vertex.coord)
            *to++ = static_cast<uint8_t>(coordinate);
    return all.release();
}

VELA_EXPORT(hull_vertex_numbers) block *vertex_numbers(const hull *one) {
    result<int32_t> all(one->vertex_count());
    int32_t *to = all.data();
    for (const chull_vertex &vertex : one->vertices())
        *to++ = vertex.vnum;
    return all.release();
}

VELA_EXPORT(hull_edges) block *edges(const hull *one) {
    return numbered(
        *one, one->edges(), one->edge_count(), 2, [](auto &edge) -> auto & { return edge.endpts; });
}

VELA_EXPORT(hull_faces) block *faces(const hull *one) {
    return numbered(
        *one, one->faces(), one->face_count(), 3, [](auto &face) -> auto & { return face.vert; });
}

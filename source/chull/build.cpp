// get_chull(). Fast path: without debug or check, the hull is built in arrays and written to the records at the end,
// with the same lists, in the same order, as by the steps.
#include "records.hpp"
#include "rules.hpp"
#include "surface.hpp"
#include <vela/chull.h>

using namespace vela::detail;

namespace {

using vela::detail::index; // and not the C library's function

// The arguments of get_chull(), as a circular sequence of points whose positions are indices.
struct point_cloud {
    const uint8_t *xs, *ys, *zs;
    uint32_t count;

    index following(index i) const { return i + 1 == count ? 0 : i + 1; }
    vector3 point_of(index i) const { return {xs[i], ys[i], zs[i]}; }
};

enum class outcome {
    finished,
    out_of_records, // reported; the hull can be emptied
    left_to_steps   // no starting tetrahedron, no scratch memory or no finished hull; nothing has changed
};

// Growing a hull in arrays starts and ends with a copy of all of it, which doesn't pay for a few points.
constexpr int32_t kManyPoints = 16;

// Makes the hull of four points of a cloud, by the steps.
[[nodiscard]] bool make_tetrahedron(chull_ctx &hull, const point_cloud &cloud, const index (&places)[4]) {
    uint8_t xs[4], ys[4], zs[4];
    for (int k = 0; k < 4; ++k) {
        xs[k] = cloud.xs[places[k]];
        ys[k] = cloud.ys[places[k]];
        zs[k] = cloud.zs[places[k]];
    }
    if (ReadVertices(&hull, xs, ys, zs, 4) != kSuccess || DoubleTriangle(&hull) != kSuccess ||
        ConstructHull(&hull) != kSuccess)
        return false;
    for (chull_vertex &vertex : ring(hull.vertices))
        vertex.vnum = as_signed(places[vertex.vnum]);
    return true;
}

[[nodiscard]] outcome build(chull_ctx &hull, const point_cloud &cloud) {
    index corners[3], apex;
    if (!find_triangle(cloud, index{0}, corners) || !find_apex(cloud, corners, apex))
        return outcome::left_to_steps;
    if (!make_tetrahedron(hull, cloud, {corners[0], corners[1], corners[2], apex}))
        return outcome::out_of_records;
    surface shape;
    bool complete = load_hull(shape, hull, cloud.count);
    // The steps list the points circularly from the apex on, so the triangle's corners are moved to their positions in
    // that order. Their slots follow that of the apex.
    for (index i = cloud.following(apex); complete && i != apex; i = cloud.following(i)) {
        complete = shape.add(cloud.point_of(i), as_signed(i));
        if (i == corners[0])
            for (index corner = kFirst + 1; corner < kFirst + 4; ++corner)
                if (!shape.vertices.is_free(corner) && shape.vertices[corner].record)
                    shape.vertices.move_to_end(corner);
    }
    if (!complete) {
        free_chull(&hull);
        return outcome::left_to_steps;
    }
    return store_hull(shape, hull) ? outcome::finished : outcome::out_of_records;
}

[[nodiscard]] outcome grow(chull_ctx &hull, const point_cloud &cloud) {
    surface shape;
    if (!load_hull(shape, hull, cloud.count))
        return outcome::left_to_steps;
    for (index i = 0; i < cloud.count; ++i)
        if (!shape.add(cloud.point_of(i), as_signed(i)))
            return outcome::left_to_steps;
    return store_hull(shape, hull) ? outcome::finished : outcome::out_of_records;
}

} // namespace

int32_t get_chull(const uint8_t *xs, const uint8_t *ys, const uint8_t *zs, int32_t n, chull_ctx *hull) {
    const bool was_empty = !hull->vertices && !hull->edges && !hull->faces;
    if (n >= (was_empty ? 1 : kManyPoints) && !hull->debug && !hull->check) {
        const point_cloud cloud = {xs, ys, zs, static_cast<uint32_t>(n)};
        const outcome result = was_empty ? build(*hull, cloud) : grow(*hull, cloud);
        if (result != outcome::left_to_steps)
            return result == outcome::finished ? kSuccess : kFailure;
    }
    if (ReadVertices(hull, xs, ys, zs, n) != kSuccess)
        return kFailure;
    if (was_empty && DoubleTriangle(hull) != kSuccess)
        return kFailure;
    return ConstructHull(hull);
}

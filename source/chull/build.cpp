// get_chull(): the construction in arrays where nobody watches its steps. It ends with the lists that the steps end
// with, to the order of every record.
#include "results.hpp"
#include "transfer.hpp"
#include <vela/chull.h>

using namespace vela::detail;

namespace {

// Points as get_chull() is given them.
struct point_cloud {
    const uint8_t *xs, *ys, *zs;
    uint32_t count;
};

// Growing a hull the fast way begins and ends with a walk over all of it, which a few points don't repay.
constexpr int32_t kManyPoints = 16;

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

[[nodiscard]] bool add_all(surface &shape, const point_cloud &cloud, index first, index end, uint32_t order) {
    for (index i = first; i < end; ++i)
        if (!shape.add(point_of(cloud, i), as_signed(i), order++))
            return false;
    return true;
}

// Builds the hull of a cloud in an empty hull.
outcome build_chull(chull_ctx &hull, const point_cloud &cloud) {
    tetrahedron first;
    surface shape;
    if (!find_start(cloud, first) || !start(shape, cloud, first) ||
        !add_all(shape, cloud, first.apex + 1, cloud.count, 1) ||
        !add_all(shape, cloud, 0, first.apex, cloud.count - first.apex))
        return outcome::not_for_us;
    return store_hull(shape, hull);
}

// Adds a cloud to a finished hull.
outcome grow_chull(chull_ctx &hull, const point_cloud &cloud) {
    surface shape;
    if (!load_hull(shape, hull, cloud.count) || !add_all(shape, cloud, 0, cloud.count, shape.vertices.end()))
        return outcome::not_for_us;
    return store_hull(shape, hull);
}

} // namespace

int32_t get_chull(const uint8_t *xs, const uint8_t *ys, const uint8_t *zs, int32_t n, chull_ctx *hull) {
    const bool was_empty = !hull->vertices && !hull->edges && !hull->faces;
    if (n >= (was_empty ? 1 : kManyPoints) && !hull->debug && !hull->check) {
        const point_cloud cloud = {xs, ys, zs, static_cast<uint32_t>(n)};
        const outcome result = was_empty ? build_chull(*hull, cloud) : grow_chull(*hull, cloud);
        if (result != outcome::not_for_us)
            return result == outcome::finished ? kSuccess : kFailure;
    }
    if (ReadVertices(hull, xs, ys, zs, n) != kSuccess)
        return kFailure;
    if (was_empty && DoubleTriangle(hull) != kSuccess)
        return kFailure;
    return ConstructHull(hull);
}

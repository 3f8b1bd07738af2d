// Hulls of 10,000 points, and queries of a hull of 200 faces.
#include "../inputs.hpp"
#include "device.hpp"
#include <cstdint>
#include <cstdlib>
#include <vela/chull.h>

namespace {

using namespace clouds;

void build(chull_ctx *hull, const cloud &points) {
    get_chull(points.xs.data(), points.ys.data(), points.zs.data(), points.count(), hull);
}

auto building(shape kind) {
    return [points = cloud_of(kind, 10000)] {
        chull_ctx *hull;
        alloc_chull(&hull);
        build(hull, points);
        free_chull(hull);
        free(hull);
    };
}

// The point of the queries is inside, so that all faces are examined.
template <class Query>
auto querying(Query query) {
    chull_ctx *hull; // until the program ends
    alloc_chull(&hull);
    for (int count = 100; chull_num_faces(hull) < 200; ++count) {
        free_chull(hull);
        build(hull, cloud_of(shape::shell, count));
    }
    return [hull, query] { query(hull); };
}

} // namespace

static const device::cases registered([] {
    device::add("get_chull/cube", "point", 10000, [] { return building(shape::cube); });
    device::add("get_chull/shell", "point", 10000, [] { return building(shape::shell); });
    device::add("is_in_chull/200", "query", 1,
                [] { return querying([](const chull_ctx *hull) { is_in_chull(hull, 120, 130, 140); }); });
    device::add("dist_to_chull/200", "query", 1, [] {
        return querying([](const chull_ctx *hull) {
            uint32_t least, most;
            dist_to_chull(hull, 300, 130, 140, &least, &most);
        });
    });
});

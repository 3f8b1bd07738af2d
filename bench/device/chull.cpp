// Building hulls of 10,000 points, and asking a hull of 200 faces.
#include "../clouds.hpp"
#include "device.hpp"
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vela/chull.h>

namespace {

using namespace clouds;

void build(chull_ctx *hull, const cloud &points) {
    get_chull(points.xs.data(), points.ys.data(), points.zs.data(), points.count(), hull);
}

device::work building(shape kind) {
    return [points = cloud_of(kind, 10000)](unsigned times) {
        while (times--) {
            chull_ctx *hull;
            alloc_chull(&hull);
            build(hull, points);
            free_chull(hull);
            free(hull);
        }
    };
}

// Queries of a hull of 200 faces, all of which see the point from inside.
template <class Query>
device::work querying(Query query) {
    const std::shared_ptr<chull_ctx> hull(
        [] {
            chull_ctx *made;
            alloc_chull(&made);
            return made;
        }(),
        [](chull_ctx *made) {
            free_chull(made);
            free(made);
        });
    for (int count = 100; chull_num_faces(hull.get()) < 200; ++count) {
        free_chull(hull.get());
        build(hull.get(), cloud_of(shape::shell, count));
    }
    return [hull, query](unsigned times) {
        while (times--)
            query(hull.get());
    };
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

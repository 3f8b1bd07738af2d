#include "device.hpp"
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <vector>
#include <vela/chull.h>

namespace {

struct cloud {
    std::vector<uint8_t> xs, ys, zs;

    int32_t count() const { return static_cast<int32_t>(xs.size()); }
};

// Points of the whole range, or of the sphere that fits in it.
cloud cloud_of(bool shell, int count) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unit(-1, 1);
    cloud points;
    while (points.count() < count) {
        const double v[3] = {unit(random), unit(random), unit(random)};
        const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        if (shell && (length > 1 || length < 0.1))
            continue;
        const auto rounded = [&](double value) {
            return static_cast<uint8_t>(std::lround(127.5 + 127.5 * value / (shell ? length : 1)));
        };
        points.xs.push_back(rounded(v[0]));
        points.ys.push_back(rounded(v[1]));
        points.zs.push_back(rounded(v[2]));
    }
    return points;
}

void build(chull_ctx *hull, const cloud &points) {
    get_chull(points.xs.data(), points.ys.data(), points.zs.data(), points.count(), hull);
}

device::work building(bool shell) {
    return [points = cloud_of(shell, 10000)](unsigned times) {
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
        build(hull.get(), cloud_of(true, count));
    }
    return [hull, query](unsigned times) {
        while (times--)
            query(hull.get());
    };
}

} // namespace

static const device::cases registered([] {
    device::add("get_chull/cube", "point", 10000, [] { return building(false); });
    device::add("get_chull/shell", "point", 10000, [] { return building(true); });
    device::add("is_in_chull/200", "query", 1,
                [] { return querying([](const chull_ctx *hull) { is_in_chull(hull, 120, 130, 140); }); });
    device::add("dist_to_chull/200", "query", 1, [] {
        return querying([](const chull_ctx *hull) {
            uint32_t least, most;
            dist_to_chull(hull, 300, 130, 140, &least, &most);
        });
    });
});

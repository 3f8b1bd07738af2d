// Convex hulls of 8-bit points: get_chull() against Qhull and CGAL, which get the same points as doubles. A hull is
// built and released again each time.
//
// How our time grows: a point costs one walk over a step or two of the surface, however large the hull is, so the time
// per point is flat as soon as few points change the hull. What is on top is the insertions. On the shell every early
// point is one, so at 10^3 and 10^4 the cost of an insertion shows; there are no more than some thousand corners in
// the 8-bit grid, so from 10^5 on almost all points are inside or already there. On cube and ball the number of
// insertions grows with a small power of the logarithm of the points: their share falls from the start.
#include "ratios.hpp"
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vela/chull.h>

#ifdef HAVE_QHULL_R
extern "C" {
#include <libqhull_r/libqhull_r.h>
}
#endif
#ifdef HAVE_CGAL
#include <CGAL/convex_hull_3.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Surface_mesh.h>
#endif

namespace {

struct cloud {
    std::vector<uint8_t> xs, ys, zs;

    void add(double x, double y, double z) {
        const auto rounded = [](double value) { return static_cast<uint8_t>(std::lround(value)); };
        xs.push_back(rounded(x));
        ys.push_back(rounded(y));
        zs.push_back(rounded(z));
    }
    int32_t count() const { return static_cast<int32_t>(xs.size()); }
};

enum class shape { cube, ball, shell };

cloud cloud_of(shape kind, int count) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unit;
    std::normal_distribution<double> normal;
    cloud points;
    for (int i = 0; i < count; ++i) {
        if (kind == shape::cube) {
            points.add(255 * unit(random), 255 * unit(random), 255 * unit(random));
            continue;
        }
        const double x = normal(random), y = normal(random), z = normal(random);
        const double radius = 127.5 * (kind == shape::ball ? std::cbrt(unit(random)) : 1);
        const double scale = radius / std::sqrt(x * x + y * y + z * z);
        points.add(127.5 + scale * x, 127.5 + scale * y, 127.5 + scale * z);
    }
    return points;
}

struct hull {
    chull_ctx *ctx = nullptr;

    explicit hull(const cloud &points) {
        if (alloc_chull(&ctx) != 0 ||
            get_chull(points.xs.data(), points.ys.data(), points.zs.data(), points.count(), ctx) != 0)
            std::abort();
    }
    hull(const hull &) = delete;
    hull &operator=(const hull &) = delete;
    ~hull() {
        free_chull(ctx);
        std::free(ctx);
    }
};

void ours(const cloud &points) {
    const hull built(points);
    benchmark::DoNotOptimize(built.ctx->faces);
}

#ifdef HAVE_QHULL_R
void qhull(const std::vector<double> &coordinates, int count) {
    qhT context;
    qhT *qh = &context;
    qh_zero(qh, stderr);
    char options[] = "qhull Qt";
    if (qh_new_qhull(qh, 3, count, const_cast<double *>(coordinates.data()), False, options, nullptr, stderr) != 0)
        std::abort();
    qh_freeqhull(qh, !qh_ALL);
    int current_long, total_long;
    qh_memfreeshort(qh, &current_long, &total_long);
}
#endif

void register_builds(const char *name, shape kind, int count) {
    const std::string case_name = std::string("hull of ") + name + "/" + std::to_string(count);
    const auto points = std::make_shared<const cloud>(cloud_of(kind, count));
    const auto add = [&](const char *implementation, auto build) {
        ratios::add(case_name, implementation, [points, build](benchmark::State &state) {
            for (auto _ : state)
                build();
            state.SetItemsProcessed(state.iterations() * points->count());
        })->Unit(benchmark::kMicrosecond);
    };
    add("vela", [points] { ours(*points); });
#ifdef HAVE_QHULL_R
    auto coordinates = std::make_shared<std::vector<double>>();
    for (size_t i = 0; i < points->xs.size(); ++i)
        coordinates->insert(coordinates->end(), {double(points->xs[i]), double(points->ys[i]), double(points->zs[i])});
    add("qhull", [coordinates, count] { qhull(*coordinates, count); });
#endif
#ifdef HAVE_CGAL
    using kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
    const auto corners = std::make_shared<std::vector<kernel::Point_3>>();
    for (size_t i = 0; i < points->xs.size(); ++i)
        corners->emplace_back(points->xs[i], points->ys[i], points->zs[i]);
    add("cgal", [corners] {
        CGAL::Surface_mesh<kernel::Point_3> mesh;
        CGAL::convex_hull_3(corners->begin(), corners->end(), mesh);
        benchmark::DoNotOptimize(mesh.number_of_faces());
    });
#endif
    const double against_qhull = count < 1000000 ? 2 : kind == shape::shell ? 3 : 10;
    ratios::bar(case_name, against_qhull, {"qhull"});
    ratios::bar(case_name, 2, {"cgal"});
}

// Points of the inside, for which every face is looked at.
void register_queries() {
    static const hull built(cloud_of(shape::shell, 252 + 11));
    const std::string faces = std::to_string(chull_num_faces(built.ctx)) + " faces";
    ratios::add("is_in_chull, " + faces, "vela", [](benchmark::State &state) {
        int32_t i = 0;
        for (auto _ : state) {
            benchmark::DoNotOptimize(is_in_chull(built.ctx, 120 + i % 16, 120 + i / 16 % 16, 128));
            ++i;
        }
        state.SetItemsProcessed(state.iterations());
    });
    ratios::add("dist_to_chull, " + faces, "vela", [](benchmark::State &state) {
        int32_t i = 0;
        uint32_t least, most;
        for (auto _ : state) {
            dist_to_chull(built.ctx, 120 + i % 16, 120 + i / 16 % 16, 128, &least, &most);
            benchmark::DoNotOptimize(least + most);
            ++i;
        }
        state.SetItemsProcessed(state.iterations());
    });
}

const bool registered = [] {
    for (int count = 1000; count <= 1000000; count *= 10) {
        register_builds("cube", shape::cube, count);
        register_builds("ball", shape::ball, count);
        register_builds("shell", shape::shell, count);
    }
    register_queries();
    return true;
}();

} // namespace

// Convex hulls of 8-bit points: get_chull() against Qhull and CGAL, which get the same points as doubles. A hull is
// built and released each time.
//
// The time per point depends on the share of points that change the hull. A point inside is found by a look at its
// column, or by a walk of one or two steps over the surface. A point outside costs about a dozen times as much, however
// large the hull is. The hull of n random points has O(log^2 n) vertices in a cube and O(n^(1/2)) in a ball, so there
// the time per point falls as n grows. On the shell nearly every point is a vertex, until the 8-bit grid is full at
// some ten thousand vertices.
#include "inputs.hpp"
#include "ratios.hpp"
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <malloc.h>
#include <memory>
#include <random>
#include <string>
#include <vector>
#include <vela/cpp/hull.hpp>

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

using namespace clouds;

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
        ratios::add(case_name, implementation, static_cast<size_t>(count), build);
    };
    add("vela", [points] { ours(*points); });
#ifdef HAVE_QHULL_R
    const auto coordinates = std::make_shared<const std::vector<double>>(points->interleaved());
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
    ratios::target(case_name, against_qhull, {"qhull"});
    ratios::target(case_name, 2, {"cgal"});
}

long status_of_process(const char *field) {
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);)
        if (line.rfind(field, 0) == 0)
            return std::atol(line.c_str() + std::strlen(field));
    return -1;
}

// The rise of the peak resident memory while a hull is built.
void note_memory(const char *name, shape kind) {
    constexpr int kCount = 1000000;
    const cloud points = cloud_of(kind, kCount);
    malloc_trim(0);                              // free memory must not hide what the hull takes
    std::ofstream("/proc/self/clear_refs") << 5; // resets the peak
    const long before = status_of_process("VmRSS:");
    const hull built(points);
    const long kibibytes = status_of_process("VmHWM:") - before;
    char line[120];
    std::snprintf(line, sizeof line, "memory for 10^6 points of a %s: %.1f MiB, %.2f bytes per point (limit 128 MiB%s)",
                  name, static_cast<double>(kibibytes) / 1024, static_cast<double>(kibibytes) * 1024 / kCount,
                  kibibytes <= 128 * 1024 ? "" : ", **exceeded**");
    ratios::note(line);
}

// Points inside, for which every face is examined.
template <class Query>
void register_query(const char *name, const hull &built, Query query) {
    const std::string case_name = std::string(name) + ", " + std::to_string(chull_num_faces(built.ctx)) + " faces";
    ratios::add(case_name, "vela", 1, [&built, query, i = 0]() mutable {
        ++i;
        return query(built.ctx, 120 + i % 16, 120 + i / 16 % 16, 128);
    });
}

void register_queries() {
    static const hull built(cloud_of(shape::shell, 257));
    register_query("is_in_chull", built, is_in_chull);
    register_query("dist_to_chull", built, [](const chull_ctx *ctx, int32_t x, int32_t y, int32_t z) {
        uint32_t least, most;
        dist_to_chull(ctx, x, y, z, &least, &most);
        return least + most;
    });
}

// How many of a million random pixels are inside: by a table of all colours, which is made each time, and by a query
// for each.
void register_picture() {
    static const cloud points = cloud_of(shape::shell, 257);
    static const auto colours = vela::hull::of_points(points.xs, points.ys, points.zs);
    static const std::vector<uint8_t> picture = [] {
        std::mt19937 random(9);
        std::vector<uint8_t> pixels(3000000);
        for (uint8_t &value : pixels)
            value = static_cast<uint8_t>(random());
        return pixels;
    }();
    const std::string case_name = "million pixels, " + std::to_string(colours->face_count()) + " faces";
    const auto add = [&](const char *implementation, auto count) {
        ratios::add(case_name, implementation, picture.size() / 3, count);
    };
    add("vela", [] {
        const auto table = colours->membership();
        return table->count(picture);
    });
    add("is_in_chull", [] {
        int32_t inside = 0;
        for (size_t i = 0; i < picture.size(); i += 3)
            inside += is_in_chull(colours->get(), picture[i], picture[i + 1], picture[i + 2]);
        return inside;
    });
    ratios::target(case_name, 100, {"is_in_chull"});
}

const bool registered = [] {
    note_memory("cube", shape::cube);
    note_memory("shell", shape::shell);
    for (int count = 1000; count <= 1000000; count *= 10) {
        register_builds("cube", shape::cube, count);
        register_builds("ball", shape::ball, count);
        register_builds("shell", shape::shell, count);
    }
    register_queries();
    register_picture();
    return true;
}();

} // namespace

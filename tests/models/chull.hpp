// What tests and fuzz targets of the hull share: clouds of points, the whole content of a hull's lists as a text, and
// independent answers to its queries.
#pragma once

#include "agree.hpp"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>
#include <vela/chull.h>

namespace model {

using point = std::array<int32_t, 3>;
using cloud = std::vector<point>;

inline std::string text_of(const cloud &points) {
    std::string text;
    for (const auto &[x, y, z] : points)
        text += "(" + std::to_string(x) + ", " + std::to_string(y) + ", " + std::to_string(z) + ") ";
    return text;
}

// A cloud of one of the kinds that each meet other special cases. below(n) gives the next number from 0 to n - 1.
template <class Below>
cloud any_cloud(Below &below, int count) {
    const int kind = below(7), columns = 1 + below(16), step = 1 + below(15), height = below(2) ? 1 : step;
    cloud points(static_cast<size_t>(count));
    for (int t = 0; point & p : points) {
        const int a = below(256), b = below(256), c = below(256);
        const double x = a - 127.5, y = b - 127.5, z = c - 127.5, radius = std::hypot(x, y, kind == 1 ? z : 0);
        const auto stretched = [=](double value) { return static_cast<int32_t>(128 + 127 * value / radius); };
        // clang-format off
        switch (kind) {
        case 0: p = {a, b, c}; break;
        case 1: p = {stretched(x), stretched(y), stretched(z)}; break; // a ball
        case 2: p = {stretched(x), stretched(y), c / 128 * 255}; break; // long fans in two planes
        // Many in a plane, in line and equal, and few below.
        case 3: p = {a % columns * step, b % columns * step, (c < 9 ? 0 : 1 + c % 2) * height}; break;
        case 4: p = {t % 200, t % 200 / 2 + a / 251, 40 + b / 253}; break; // a line, now and then a step aside
        case 5: p = {a, b, std::clamp(a + b - 128, 0, 255)}; break; // a plane across the range, bent at its rim
        // It grows with every few points, so that vertices come and go.
        default: p = {128 + (a % 2 * 2 - 1) * (t / 4 % 128), 128 + (b % 2 * 2 - 1) * (t / 5 % 128), c};
        }
        // clang-format on
        ++t;
    }
    return points;
}

template <class Record>
std::vector<Record *> listed(Record *head) {
    std::vector<Record *> records;
    for (Record *record = head; record && (records.empty() || record != head); record = record->next)
        records.push_back(record);
    return records;
}

// Everything that the lists say, a line for each, with records numbered by their places. A vertex is vnum, coord, mark,
// active, dup; an edge is endpts, adj, pending_face, del; a face is vert, edges, vis. "!" stands for a wrong `prev`.
inline std::string content(const chull_ctx *hull) {
    std::map<const void *, int> at = {{nullptr, -1}};
    std::string text;
    const auto number = [&](auto *head) {
        for (int place = 0; const auto *record : listed(head)) {
            at[record] = place++;
            text += record->next->prev == record ? "" : "!";
        }
    };
    const auto write = [&text](std::initializer_list<int> values) {
        for (const int value : values)
            text += std::to_string(value) + " ";
        text.back() = ',';
    };
    number(hull->vertices), number(hull->edges), number(hull->faces);
    for (const auto *v : listed(hull->vertices))
        write({v->vnum, v->coord[0], v->coord[1], v->coord[2], v->mark, v->active, at[v->dup]});
    text += '\n';
    for (const auto *e : listed(hull->edges))
        write({at[e->endpts[0]], at[e->endpts[1]], at[e->adj[0]], at[e->adj[1]], at[e->pending_face], e->del});
    text += '\n';
    for (const auto *f : listed(hull->faces)) {
        const auto &[edges, corners, vis, next, prev] = *f;
        write({at[corners[0]], at[corners[1]], at[corners[2]], at[edges[0]], at[edges[1]], at[edges[2]], vis});
    }
    return text;
}

// A hull that is released at its end.
struct hull {
    chull_ctx *ctx = nullptr;

    hull() { agree("result", "alloc_chull", alloc_chull(&ctx), 0); }
    explicit hull(const cloud &points) : hull() { agree("result", text_of(points), get(points), 0); }
    hull(const hull &) = delete;
    ~hull() { free_chull(ctx), std::free(ctx); }
    // By get_chull(), or by the exported steps that it is made of.
    int32_t get(const cloud &points, bool in_steps = false) const {
        std::vector<uint8_t> axes[3];
        for (const point &p : points)
            for (size_t k = 0; k < 3; ++k)
                axes[k].push_back(static_cast<uint8_t>(p[k]));
        const uint8_t *xs = axes[0].data(), *ys = axes[1].data(), *zs = axes[2].data();
        const auto n = static_cast<int32_t>(points.size());
        if (!in_steps)
            return get_chull(xs, ys, zs, n, ctx);
        const bool was_empty = !ctx->vertices;
        return ReadVertices(ctx, xs, ys, zs, n) || (was_empty && DoubleTriangle(ctx)) || ConstructHull(ctx);
    }
};

// Two hulls of the same points: one as get_chull() builds and grows it, one by its steps.
struct twins {
    hull fast, stepped;
    std::string given; // so far

    // Says whether there is a hull then.
    bool grow(const cloud &points) {
        given += text_of(points) + "; ";
        const int32_t expected = stepped.get(points, true);
        agree("result", given, fast.get(points), expected);
        agree("lists", given, content(fast.ctx), content(stepped.ctx));
        return expected == 0;
    }
};

// Products and sums of these keep the low 64 bits of the true ones.
constexpr uint64_t wide(int32_t value) { return static_cast<uint64_t>(int64_t{value}); }
constexpr int32_t low(uint64_t value) { return static_cast<int32_t>(value); }

constexpr point difference(const point &u, const point &v) {
    return {low(wide(u[0]) - wide(v[0])), low(wide(u[1]) - wide(v[1])), low(wide(u[2]) - wide(v[2]))};
}

constexpr int32_t dot(const point &u, const point &v) {
    return low(wide(u[0]) * wide(v[0]) + wide(u[1]) * wide(v[1]) + wide(u[2]) * wide(v[2]));
}

// The point of a triangle that is nearest to p, as rounded, by comparing candidates: the foot of the perpendicular if
// it is in the triangle, else the nearest points of the sides. Fractions of the sides from corner 0 to corners 1 and 2
// are in 512ths. For triangles and points within the range of pt_to_tri_dist_sq(), without those of no area.
inline point nearest_point(const cloud &triangle, const point &p) {
    const point side1 = difference(triangle[1], triangle[0]), side2 = difference(triangle[2], triangle[0]);
    const point offset = difference(triangle[0], p);
    const int64_t a = dot(side1, side1), b = dot(side1, side2), c = dot(side2, side2);
    const int64_t d = dot(side1, offset), e = dot(side2, offset);
    const int64_t area = a * c - b * b, s = b * e - c * d, t = b * d - a * e;
    int64_t S = 512 * s / area, T = 512 * t / area;
    if (s < 0 || t < 0 || s + t > area) {
        const auto A = static_cast<double>(a), B = static_cast<double>(b), C = static_cast<double>(c),
                   D = static_cast<double>(d), E = static_cast<double>(e);
        double least = HUGE_VAL;
        const auto consider = [&](double from_s, double from_t, double to_s, double to_t) {
            // The squared distance along the side, u from 0 to 1, is a parabola.
            const double du = to_s - from_s, dv = to_t - from_t;
            const auto by = [&](double u, double v) {
                return A * u * u + 2 * B * u * v + C * v * v + 2 * D * u + 2 * E * v;
            };
            const double curve = A * du * du + 2 * B * du * dv + C * dv * dv;
            const double slope = du * (A * from_s + B * from_t + D) + dv * (B * from_s + C * from_t + E);
            const double u = std::clamp(-slope / curve, 0.0, 1.0), distance = by(from_s + u * du, from_t + u * dv);
            if (distance >= least)
                return;
            least = distance;
            const auto fraction = static_cast<int64_t>(512 * u);
            S = static_cast<int64_t>(512 * from_s) + fraction * static_cast<int64_t>(du);
            T = static_cast<int64_t>(512 * from_t) + fraction * static_cast<int64_t>(dv);
        };
        consider(0, 0, 0, 1);
        if (s >= 0 || t >= 0) { // beyond corner 0 only that side counts
            consider(0, 0, 1, 0);
            consider(0, 1, 1, 0);
        }
    }
    point nearest;
    for (size_t k = 0; k < 3; ++k)
        nearest[k] = static_cast<int32_t>(S * side1[k] + T * side2[k] + 512 * triangle[0][k] + 256) >> 9;
    return nearest;
}

// Whether the distance from a point to a triangle is defined: 8-bit coordinates, or as small differences, and no more
// than 5000 beside them.
inline bool has_distance(const cloud &corners, const point &p) {
    for (const point &corner : corners)
        for (const int32_t value : corner)
            if (value < -128 || value > 255)
                return false;
    for (const int32_t value : p)
        if (value < -5000 || value > 5255)
            return false;
    const point side1 = difference(corners[1], corners[0]), side2 = difference(corners[2], corners[0]);
    const int64_t b = dot(side1, side2);
    return int64_t{dot(side1, side1)} * dot(side2, side2) != b * b;
}

// That what is asked of a hull, or of faces in no hull, is answered as by the models.
inline void expect_answers(const chull_ctx *hull, const std::string &name, const point &p) {
    uint32_t least = UINT32_MAX, most = 0, least_given = 0, most_given = 0;
    bool is_inside = true;
    for (const chull_face *face : listed(hull->faces)) {
        cloud corners(3);
        for (size_t i = 0; i < 3; ++i)
            std::copy_n(face->vert[i]->coord, 3, corners[i].begin());
        const std::string input = text_of(corners) + "from " + text_of({p});
        const uint32_t distance = pt_to_tri_dist_sq(face, p.data());
        agree("dot()", input, ::dot(corners[0].data(), p.data()), dot(corners[0], p));
        if (has_distance(corners, p)) {
            const point apart = difference(nearest_point(corners, p), p);
            agree("pt_to_tri_dist_sq()", input, distance, static_cast<uint32_t>(dot(apart, apart)));
        }
        least = std::min(least, distance), most = std::max(most, distance);
        is_inside = is_inside && Volume(face, p.data()) >= 0;
    }
    const std::string input = name + " from " + text_of({p});
    agree("dist_to_chull()", input, dist_to_chull(hull, p[0], p[1], p[2], &least_given, &most_given), 0);
    agree("the least distance", input, least_given, least);
    agree("the greatest distance", input, most_given, most);
    agree("is_in_chull()", input, is_in_chull(hull, p[0], p[1], p[2]), is_inside);
}

// A hull of clouds of any kind, of up to `most` points, with all queries.
template <class Below>
void expect_hull(Below below, int most) {
    twins hulls;
    const chull_ctx *hull = hulls.fast.ctx;
    for (int calls = 1 + below(4); calls > 0; --calls) {
        const cloud points = any_cloud(below, 1 + below(1 + below(most)));
        if (!hulls.grow(points))
            return;
        agree("Checks()", hulls.given, Checks(hull), 0);
        for (const auto &[x, y, z] : points)
            agree("is_in_chull()", hulls.given + "for " + text_of({{x, y, z}}), is_in_chull(hull, x, y, z), 1);
        for (const auto &[x, y, z] : {points.front(), points.back()})
            expect_answers(hull, hulls.given, {y + 9, x << below(24), -z});
        EdgeOrderOnFaces(hulls.fast.ctx), EdgeOrderOnFaces(hulls.stepped.ctx);
    }
}

} // namespace model

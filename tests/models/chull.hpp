// What tests and fuzz targets of the hull share: the whole content of its lists as a text, and second ways to its
// predicates, in which every quantity is taken in full and then cut to its width.
#pragma once

#undef NDEBUG
#include <array>
#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>
#include <vela/chull.h>

namespace model {

using point = std::array<int32_t, 3>;

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

// What get_chull() does, in the exported steps.
inline int32_t get_in_steps(const uint8_t *xs, const uint8_t *ys, const uint8_t *zs, int32_t n, chull_ctx *hull) {
    const bool was_empty = !hull->vertices;
    if (ReadVertices(hull, xs, ys, zs, n) != 0 || (was_empty && DoubleTriangle(hull) != 0))
        return 1;
    return ConstructHull(hull);
}

using cloud = std::vector<point>;

// A hull that is released at its end.
struct hull {
    chull_ctx *ctx = nullptr;

    hull() { assert(alloc_chull(&ctx) == 0); }
    explicit hull(const cloud &points) : hull() { assert(get(points) == 0); }
    hull(const hull &) = delete;
    ~hull() { free_chull(ctx), std::free(ctx); }
    int32_t get(const cloud &points, bool in_steps = false) const {
        std::vector<uint8_t> axes[3];
        for (const point &p : points)
            for (size_t k = 0; k < 3; ++k)
                axes[k].push_back(static_cast<uint8_t>(p[k]));
        return (in_steps ? get_in_steps : get_chull)(axes[0].data(), axes[1].data(), axes[2].data(),
                                                     static_cast<int32_t>(points.size()), ctx);
    }
    std::string content() const { return model::content(ctx); }
};

// Products and sums of these keep the low 64 bits of the true ones.
constexpr uint64_t wide(int32_t value) { return static_cast<uint64_t>(int64_t{value}); }
constexpr int32_t low(uint64_t value) { return static_cast<int32_t>(value); }
constexpr int64_t as_signed(uint64_t value) { return static_cast<int64_t>(value); }

constexpr point difference(const point &u, const point &v) {
    return {low(wide(u[0]) - wide(v[0])), low(wide(u[1]) - wide(v[1])), low(wide(u[2]) - wide(v[2]))};
}

constexpr int32_t dot(const point &u, const point &v) {
    return low(wide(u[0]) * wide(v[0]) + wide(u[1]) * wide(v[1]) + wide(u[2]) * wide(v[2]));
}

// Six times the volume of p and a triangle, by Sarrus' rule.
constexpr int32_t volume(const std::array<point, 3> &triangle, const point &p) {
    uint64_t sum = 0;
    for (size_t i = 0; i < 3; ++i) {
        const auto term = [&](size_t j, size_t k) {
            return wide(difference(triangle[0], p)[i]) * wide(difference(triangle[1], p)[j]) *
                   wide(difference(triangle[2], p)[k]);
        };
        sum += term((i + 1) % 3, (i + 2) % 3) - term((i + 2) % 3, (i + 1) % 3);
    }
    return low(sum);
}

// Which part of a triangle has the point that is nearest to p, and the point as rounded. s and t are fractions of the
// sides from corner 0 to corners 1 and 2.
enum class part { s_is_0, t_is_0, sum_is_1, corner2, inside };
struct nearest {
    part where;
    point q;
};

constexpr nearest nearest_point(const std::array<point, 3> &triangle, const point &p) {
    // Truncated toward zero; by 0 it is 0.
    const auto quotient = [](uint64_t a, int64_t b) {
        return b == 0 ? 0 : low(b == -1 ? 0 - a : static_cast<uint64_t>(as_signed(a) / b));
    };
    const point side1 = difference(triangle[1], triangle[0]), side2 = difference(triangle[2], triangle[0]);
    const point offset = difference(triangle[0], p);
    const int32_t a = dot(side1, side1), b = dot(side1, side2), c = dot(side2, side2);
    const int32_t d = dot(side1, offset), e = dot(side2, offset);
    const uint64_t s = wide(b) * wide(e) - wide(c) * wide(d), t = wide(b) * wide(d) - wide(a) * wide(e);
    const int64_t det = as_signed(wide(a) * wide(c) - wide(b) * wide(b));
    const bool is_short = as_signed(s + t) <= det;

    // The slope at corner 0 toward a side, and that at the side's end along the opposite side.
    const int32_t towards1 = low(wide(b) + wide(e)), from1 = low(wide(a) + wide(d));
    const int32_t towards2 = low(wide(b) + wide(d)), from2 = low(wide(c) + wide(e));
    const int32_t along = low(wide(c) + wide(e) - wide(b) - wide(d)), length = low(wide(a) + wide(c) - 2 * wide(b));
    part where;
    if (as_signed(s) < 0)
        where = is_short || towards2 >= from2 ? part::s_is_0 : part::sum_is_1;
    else if (as_signed(t) < 0)
        where = is_short || towards1 >= from1 ? part::t_is_0 : part::sum_is_1;
    else
        where = is_short ? part::inside : along <= 0 ? part::corner2 : part::sum_is_1;

    const auto scaled = [](int32_t value) { return wide(low(512 * wide(value))); };
    int32_t S = 0, T = 0;
    switch (where) {
    case part::s_is_0:
        T = quotient(scaled(low(0 - wide(e))), c);
        break;
    case part::t_is_0:
        S = quotient(scaled(low(0 - wide(d))), a);
        break;
    case part::corner2:
        T = 512;
        break;
    case part::inside:
        S = quotient(512 * s, det), T = quotient(512 * t, det);
        break;
    case part::sum_is_1:
        S = along >= length ? 512 : quotient(scaled(along), length);
        T = low(512 - wide(S));
    }
    const auto clamped = [](int32_t value) { return wide(value < 0 ? 0 : value > 512 ? 512 : value); };
    nearest result = {where, {}};
    for (size_t k = 0; k < 3; ++k)
        result.q[k] =
            low(clamped(S) * wide(side1[k]) + clamped(T) * wide(side2[k]) + 512 * wide(triangle[0][k]) + 256) >> 9;
    return result;
}

} // namespace model

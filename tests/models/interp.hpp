// What tests and the fuzz target of curves share: every entry of every table by its definition.
#pragma once

#include "agree.hpp"
#include <algorithm>
#include <vector>
#include <vela/interp.h>

namespace curves {

using knots = std::vector<interp_knot>;

inline int32_t wrapped(int64_t number) { return static_cast<int32_t>(number); }

// Second derivatives of the natural spline at its knots, in single precision.
inline std::vector<float> bends(const knots &points, float) {
    std::vector<float> y2(points.size()), u = y2;
    const auto over = [](auto a, auto b) { return b == 0 ? 0 : static_cast<float>(a) / static_cast<float>(b); };
    for (size_t i = 1; i + 1 < points.size(); ++i) {
        const interp_knot a = points[i - 1], b = points[i], c = points[i + 1];
        const float left = over(b.x - a.x, c.x - a.x), p = 2 + left * y2[i - 1];
        const float d = over(c.y - b.y, c.x - b.x) - over(b.y - a.y, b.x - a.x);
        y2[i] = over(left - 1, p);
        u[i] = over(over(d * 6, c.x - a.x) - left * u[i - 1], p);
    }
    for (size_t i = points.size() - 1; i-- > 0;)
        y2[i] = y2[i] * y2[i + 1] + u[i];
    return y2;
}

// And in Q8, in numbers that wrap at 32 bits.
inline std::vector<int32_t> bends(const knots &points, int32_t) {
    std::vector<int32_t> y2(points.size()), u = y2;
    const auto over = [](int64_t a, int64_t b) { return b == 0 ? 0 : wrapped(wrapped(a) / b); };
    for (size_t i = 1; i + 1 < points.size(); ++i) {
        const interp_knot a = points[i - 1], b = points[i], c = points[i + 1];
        const int64_t left = over((b.x - a.x) * 256, c.x - a.x), p = (wrapped(left * y2[i - 1]) >> 8) + 512;
        const int64_t d = int64_t{over((c.y - b.y) * 256, c.x - b.x)} - over((b.y - a.y) * 256, b.x - a.x);
        y2[i] = over((left - 256) * 256, wrapped(p));
        u[i] = over((over(d * 6, c.x - a.x) - int64_t{wrapped(left * u[i - 1]) >> 8}) * 256, wrapped(p));
    }
    for (size_t i = points.size() - 1; i-- > 0;)
        y2[i] = wrapped(int64_t{wrapped(int64_t{y2[i]} * y2[i + 1]) >> 8} + u[i]);
    return y2;
}

// A spline's value at the distance j from its knot a.
inline float value(interp_knot a, interp_knot b, float bend_a, float bend_b, int32_t j) {
    const auto h = static_cast<float>(b.x - a.x), t = static_cast<float>(j), B = t / h, A = (h - t) / h;
    return B * b.y + A * a.y + ((B * B * B - B) * bend_b + (A * A * A - A) * bend_a) * h * h / 6;
}

inline int16_t value(interp_knot a, interp_knot b, int32_t bend_a, int32_t bend_b, int32_t j) {
    const int64_t h = b.x - a.x;
    const auto cubic = [h](int64_t bend, int64_t t) { return wrapped(bend * wrapped(t * t * t - h * h * t)) >> 8; };
    const int64_t sum = 6 * h * a.y + 6 * j * (b.y - a.y) + 3 * h;
    return static_cast<int16_t>(wrapped(sum + cubic(bend_b, j) + cubic(bend_a, h - j)) / (6 * h));
}

// Segments that fall, that have no length, or that leave the table are not drawn.
template <class Number, class Value>
std::vector<Value> spline(const knots &points) {
    const std::vector<Number> y2 = bends(points, Number());
    const int32_t x0 = points[0].x, end = points.back().x;
    std::vector<Value> table(static_cast<size_t>(std::max(end - x0 + 1, 0)));
    for (size_t i = 0; i + 1 < points.size(); ++i)
        if (const interp_knot a = points[i], b = points[i + 1]; a.x < b.x && a.x >= x0 && b.x <= end)
            for (int32_t j = 0; j <= b.x - a.x; ++j)
                table[static_cast<size_t>(a.x - x0 + j)] = value(a, b, y2[i], y2[i + 1], j);
    return table;
}

// a * step / b, rounded to the nearest integer.
inline int32_t nearest(int32_t a, int32_t b, int32_t step) { return wrapped((2 * int64_t{a} * step + b) / (2 * b)); }

// Along the longer axis of each segment, the row or column that is nearest to the line. Ends where x falls.
inline std::vector<int16_t> line(const knots &points, int32_t &result) {
    const int32_t x0 = points[0].x, end = points.back().x;
    std::vector<int16_t> table(static_cast<size_t>(std::max(end - x0 + 1, 0)));
    result = table.empty() ? -1 : 0;
    for (size_t i = 0; i + 1 < points.size() && result == 0; ++i) {
        const interp_knot a = points[i], b = points[i + 1];
        const int32_t dx = b.x - a.x, dy = std::abs(b.y - a.y), sign = b.y < a.y ? -1 : 1;
        result = dx < 0 || b.x > end ? -1 : 0;
        for (int32_t step = 0; step <= std::max(dx, dy) && result == 0; ++step) {
            const int32_t x = dy < dx || dy == 0 ? step : nearest(dx, dy, step);
            const int32_t y = dy < dx ? nearest(dy, dx, step) : step;
            table[static_cast<size_t>(a.x - x0 + x)] = static_cast<int16_t>(a.y + sign * y);
        }
    }
    return table;
}

// What the library makes of a curve, with an entry more that it must leave, is what is expected.
template <class Result, class Number>
void check(const char *name, Result (*call)(const interp_curve *, Number *), uint32_t type, const knots &points,
           std::vector<Number> expected, int32_t expected_result = 0) {
    constexpr Number untouched = 0x5A5A;
    const interp_curve curve = {type, static_cast<int32_t>(points.size()), points.data()};
    std::vector<Number> table(expected.size() + 1, untouched);
    std::vector<int16_t> input;
    for (const interp_knot &point : points)
        input.insert(input.end(), {point.x, point.y});
    if constexpr (std::is_void_v<Result>)
        call(&curve, table.data());
    else
        agree("the result of " + std::string(name), input, call(&curve, table.data()), expected_result);
    expected.push_back(untouched);
    agree_all(name, input, table, expected);
}

// Everything that is made of some knots.
inline void check_all(const knots &points) {
    int32_t drawn;
    const std::vector<int16_t> lines = line(points, drawn), fixed = spline<int32_t, int16_t>(points);
    const std::vector<float> single = spline<float, float>(points);
    check("spline_c", spline_c, 0, points, bends(points, int32_t()));
    check("spline_float", spline_float, 0, points, bends(points, float()));
    for (const auto call : {spline_interpolate, interpolate_c})
        check("the fixed-point spline", call, INTERP_SPLI, points, fixed, fixed.empty() ? -1 : 0);
    for (const auto call : {linear_interpolate, interpolate_c})
        check("lines", call, INTERP_LINE, points, lines, drawn);
    check("interpolate_float", interpolate_float, INTERP_SPLI, points, single);
    check("spline_interpolate_float", spline_interpolate_float, INTERP_LINE, points, single); // of any type
}

} // namespace curves

// What tests and the fuzz target of curves share: second derivatives by iteration in double precision, every entry of a
// table by its definition.
#pragma once

#include "agree.hpp"
#include <algorithm>
#include <functional>
#include <vector>
#include <vela/interp.h>

namespace curves {

using knots = std::vector<interp_knot>;

inline int32_t wrapped(int64_t number) { return static_cast<int32_t>(number); }

inline bool is_ascending(const knots &points) {
    return std::ranges::adjacent_find(points, std::ranges::greater_equal(), &interp_knot::x) == points.end();
}

inline std::vector<int16_t> numbers_of(const knots &points) {
    std::vector<int16_t> numbers;
    for (const interp_knot &point : points)
        numbers.insert(numbers.end(), {point.x, point.y});
    return numbers;
}

// The second derivatives of the natural spline, by iteration: each equation of the system is solved for its own knot
// until none changes any more (Gauss-Seidel). As the x ascend, the system is diagonally dominant.
struct exact_bends {
    std::vector<double> at;
    double largest = 0, largest_change = 0; // of 6 times the slope's change, by the distance of both neighbours

    explicit exact_bends(const knots &points) : at(points.size()) {
        for (int pass = 0; pass < 60; ++pass)
            for (size_t i = 1; i + 1 < points.size(); ++i) {
                const interp_knot a = points[i - 1], b = points[i], c = points[i + 1];
                const double span = c.x - a.x, slope = double(b.y - a.y) / (b.x - a.x);
                const double change = 6 * (double(c.y - b.y) / (c.x - b.x) - slope) / span;
                at[i] = (change - (b.x - a.x) / span * at[i - 1] - (c.x - b.x) / span * at[i + 1]) / 2;
                largest = std::max(largest, std::fabs(at[i]));
                largest_change = std::max(largest_change, std::fabs(change));
            }
    }

    // Q8 steps lose up to 1/256 of each slope, quotient and product, and as much of what a factor is multiplied with.
    void expect(const knots &points, const std::vector<int32_t> &found) const {
        if (largest_change < 32768 && largest < 32768)
            for (size_t i = 0; i < at.size(); ++i)
                agree_all("spline_c", numbers_of(points), std::vector{found[i] / 256.0}, std::vector{at[i]},
                          (16 + 8 * largest) / 256);
    }
    void expect(const knots &points, const std::vector<float> &found) const {
        for (size_t i = 0; i < at.size(); ++i)
            agree_all("spline_float", numbers_of(points), std::vector{double(found[i])}, std::vector{at[i]},
                      2e-6 * largest);
    }
};

// What a solver makes of some knots; where the spline has exact second derivatives, near these.
template <class Result, class Number>
std::vector<Number> bends(const knots &points, Result (*solve)(const interp_curve *, Number *)) {
    const interp_curve curve = {0, static_cast<int32_t>(points.size()), points.data()};
    std::vector<Number> y2(points.size(), 7);
    solve(&curve, y2.data());
    if (is_ascending(points))
        exact_bends(points).expect(points, y2);
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
template <class Value, class Number>
std::vector<Value> spline(const knots &points, const std::vector<Number> &y2) {
    const int32_t x0 = points[0].x, end = points.back().x;
    std::vector<Value> table(static_cast<size_t>(std::max(end - x0 + 1, 0)));
    for (size_t i = 0; i + 1 < points.size(); ++i)
        if (const interp_knot a = points[i], b = points[i + 1]; a.x < b.x && a.x >= x0 && b.x <= end)
            for (int32_t j = 0; j <= b.x - a.x; ++j)
                table[static_cast<size_t>(a.x - x0 + j)] = value(a, b, y2[i], y2[i + 1], j);
    return table;
}

inline std::vector<int16_t> fixed_spline(const knots &points) {
    return spline<int16_t>(points, bends(points, spline_c));
}
inline std::vector<float> single_spline(const knots &points) {
    return spline<float>(points, bends(points, spline_float));
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
    const std::vector<int16_t> input = numbers_of(points);
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
    const std::vector<int16_t> lines = line(points, drawn), fixed = fixed_spline(points);
    const std::vector<float> single = single_spline(points);
    for (const auto call : {spline_interpolate, interpolate_c})
        check("the fixed-point spline", call, INTERP_SPLI, points, fixed, fixed.empty() ? -1 : 0);
    for (const auto call : {linear_interpolate, interpolate_c})
        check("lines", call, INTERP_LINE, points, lines, drawn);
    check("interpolate_float", interpolate_float, INTERP_SPLI, points, single);
    check("spline_interpolate_float", spline_interpolate_float, INTERP_LINE, points, single); // of any type
}

} // namespace curves

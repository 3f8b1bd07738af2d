#include "generated.hpp"
#include "support.hpp"
#include <cmath>
#include <vector>
#include <vela/interp.h>

namespace {

using knots = std::vector<interp_knot>;
using table = std::vector<int16_t>;

constexpr int16_t kUntouched = 0x5A5A;

// What the call makes of the table, or of one number a knot if the type is 0, with one entry more that it must leave.
template <class Result, class Number>
std::vector<Number> made(Result (*call)(const interp_curve *, Number *), uint32_t type, const knots &points,
                         int32_t result = 0) {
    const interp_curve curve = {type, static_cast<int32_t>(points.size()), points.data()};
    const auto span = static_cast<size_t>(points.back().x - points.front().x);
    std::vector<Number> out(type ? span + 2 : points.size() + 1, kUntouched);
    if constexpr (std::is_void_v<Result>)
        call(&curve, out.data());
    else
        ck_assert_int_eq(call(&curve, out.data()), result);
    ck_assert(out.back() == kUntouched);
    out.pop_back();
    return out;
}

} // namespace

START_TEST(known_curves)
{
    constexpr uint32_t line = INTERP_LINE, spline = INTERP_SPLI;
    // Two knots lie outside the table.
    const knots peak = {{0, 0}, {4, 100}, {8, 0}}, above = {{0, 1}, {2, 3}, {9, 9}, {4, 5}},
                below = {{0, 1}, {2, 3}, {-5, 9}, {4, 5}};
    // clang-format off
    const struct { uint32_t type; knots points; table expected; int32_t result = 0; } rows[] = {
        {line, {{0, 0}, {4, 8}}, {0, 2, 4, 6, 8}}, {line, {{0, 0}, {4, 2}}, {0, 1, 1, 2, 2}}, {line, {{7, 9}}, {0}},
        {line, {{0, 5}, {0, 9}, {3, 9}}, {9, 9, 9, 9}}, {line, {{0, 0}, {2, 10}}, {2, 7, 10}},
        {line, {{0, INT16_MIN}, {3, INT16_MAX}}, {-21846, -1, 21844, 32767}},
        {line, {{0, 0}, {2, 2}, {1, 1}, {3, 3}}, {0, 1, 2, 0}, -1},
        {line, above, {1, 2, 3, 0, 0}, -1}, {line, below, {1, 2, 3, 0, 0}, -1},
        {spline, {{0, 0}, {6, 60}}, {0, 10, 20, 30, 40, 50, 60}}, {spline, {{7, 9}}, {0}},
        {spline, peak, {0, 37, 69, 91, 100, 91, 69, 37, 0}},
        {spline, {{0, 0}, {4, -100}, {8, 0}}, {0, -36, -68, -90, -99, -90, -68, -36, 0}},
        // Knots without a distance, a segment back, and ones that leave the table.
        {spline, {{0, 0}, {2, 20}, {2, 30}, {4, 30}}, {0, 14, 30, 30, 30}}, {spline, {{0, 0}, {0, 5}}, {0}},
        {spline, {{0, 4}, {2, 4}, {1, 4}, {3, 4}}, {4, 4, 4, 4}},
        {spline, above, {1, 2, 3, 0, 0}}, {spline, below, {1, 2, 3, 0, 0}},
    };
    // clang-format on
    for (const auto &row : rows) {
        const auto fill = row.type == line ? linear_interpolate : spline_interpolate;
        ck_assert(made(fill, row.type, row.points, row.result) == row.expected);
        ck_assert(made(interpolate_c, row.type, row.points, row.result) == row.expected);
        const auto single = made(spline_interpolate_float, spline, row.points);
        for (size_t i = 0; row.type == spline && i < single.size(); ++i)
            ck_assert(std::fabs(single[i] - row.expected[i]) < 1.5);
    }
    ck_assert(made(spline_c, 0, peak) == (std::vector<int32_t>{0, -4800, 0}));
    ck_assert(made(spline_float, 0, peak) == (std::vector<float>{0, -18.75F, 0}));
}
END_TEST

// Curves with segments of every length from 1 to 200, at every alignment, against digests taken from the model:
// whatever unit fills the table, the bits are the same.
START_TEST(the_same_bits_on_every_machine)
{
    generator random{3};
    digest fixed_y2, fixed_table, float_y2, float_table, lines;
    for (int i = 0; i < 200; ++i) {
        knots points(static_cast<size_t>(2 + random.below(16)));
        int32_t x = -random.below(1000);
        const int32_t range = 2 << random.below(16);
        for (interp_knot &knot : points) {
            const int32_t y = random.below(static_cast<uint32_t>(range)) - range / 2;
            knot = {static_cast<int16_t>(x), static_cast<int16_t>(y)};
            x += 1 + random.below(200);
        }
        fixed_y2.add(made(spline_c, 0, points));
        fixed_table.add(made(spline_interpolate, INTERP_SPLI, points));
        float_y2.add(made(spline_float, 0, points));
        float_table.add(made(interpolate_float, INTERP_SPLI, points));
        lines.add(made(linear_interpolate, INTERP_LINE, points));
    }
    assert_digest(fixed_y2, 0xD6FE6CC97F9E2A7B);
    assert_digest(fixed_table, 0xC61D668F27DF5ED0);
    assert_digest(float_y2, 0x0BBE7FFE3081E3FC);
    assert_digest(float_table, 0xB6A4A4C328C3C152);
    assert_digest(lines, 0x553035D8DCB929FF);
}
END_TEST

// Missing arguments, other types, and curves without a table: nothing is written, and the calls return 0 or -1.
START_TEST(refusals)
{
    const interp_knot knots[] = {{0, 1}, {1, 2}, {-5, 3}};
    int16_t out[2] = {kUntouched, kUntouched};
    int32_t y2[1] = {kUntouched};
    float single[2] = {kUntouched, kUntouched};
    const interp_curve line = {INTERP_LINE, 2, knots}, spline = {INTERP_SPLI, 2, knots}, unknown = {0, 2, knots};
    // clang-format off
    ck_assert(!interpolate_c(nullptr, out) && !interpolate_c(&unknown, nullptr) && !interpolate_float(nullptr, single) &&
              !interpolate_float(&unknown, nullptr) && !spline_c(nullptr, y2) && !spline_c(&spline, nullptr));
    ck_assert(interpolate_c(&unknown, out) + interpolate_float(&line, single) + linear_interpolate(nullptr, out) +
              linear_interpolate(&line, nullptr) + linear_interpolate(&spline, out) + spline_interpolate(nullptr, out) +
              spline_interpolate(&spline, nullptr) + spline_interpolate(&line, out) == -8);
    // clang-format on
    spline_interpolate_float(nullptr, single), spline_interpolate_float(&spline, nullptr);
    spline_float(nullptr, single), spline_float(&spline, nullptr);
    for (const int32_t count : {3, 0, -1, 32768}) { // the x of 3 knots fall
        const interp_curve no_line = {INTERP_LINE, count, knots}, no_spline = {INTERP_SPLI, count, knots};
        ck_assert(linear_interpolate(&no_line, out) == -1 && spline_interpolate(&no_spline, out) == -1);
        spline_interpolate_float(&no_spline, single);
        if (count < 1)
            spline_c(&no_spline, y2), spline_float(&no_spline, single);
    }
    ck_assert(out[0] == kUntouched && out[1] == kUntouched && y2[0] == kUntouched && single[0] == kUntouched &&
              single[1] == kUntouched);
    spline_interpolate_float(&line, single); // of which the type is no matter
    ck_assert(single[0] == 1 && single[1] == 2);
}
END_TEST

Suite *interp_suite() { return suite_of("interp", {known_curves, the_same_bits_on_every_machine, refusals}); }

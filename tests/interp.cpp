#include "generated.hpp"
#include <check.h>
#include <cmath>
#include <vector>
#include <vela/interp.h>

namespace {

using knots = std::vector<interp_knot>;
using table = std::vector<int16_t>;

constexpr int16_t kUntouched = 0x5A5A;

interp_curve curve_of(uint32_t type, const knots &points) {
    return {type, static_cast<int32_t>(points.size()), points.data()};
}

// What the method makes of a table with one entry more, which it must leave alone.
template <class Value>
std::vector<Value> filled(int32_t (*method)(const interp_curve *, Value *), uint32_t type, const knots &points,
                          int32_t result = 0) {
    const interp_curve curve = curve_of(type, points);
    std::vector<Value> out(static_cast<size_t>(points.back().x - points.front().x + 2), kUntouched);
    ck_assert_int_eq(method(&curve, out.data()), result);
    ck_assert(out.back() == kUntouched);
    out.pop_back();
    return out;
}

template <class Result, class Number>
std::vector<Number> solved(Result (*solver)(const interp_curve *, Number *), const knots &points) {
    const interp_curve curve = curve_of(0, points);
    std::vector<Number> y2(points.size(), 1);
    solver(&curve, y2.data());
    return y2;
}

// Two rising segments, with a knot between them that lies outside the table.
const knots kAstray[] = {{{0, 1}, {2, 3}, {9, 9}, {4, 5}}, {{0, 1}, {2, 3}, {-5, 9}, {4, 5}}};

} // namespace

START_TEST(line_segments)
{
    const struct {
        knots points;
        table expected;
        int32_t result;
    } rows[] = {
        {{{0, 0}, {4, 8}}, {0, 2, 4, 6, 8}, 0},
        {{{0, 0}, {4, 2}}, {0, 1, 1, 2, 2}, 0},
        {{{0, 5}, {0, 9}, {3, 9}}, {9, 9, 9, 9}, 0},
        {{{0, 0}, {2, 10}}, {2, 7, 10}, 0},
        {{{10, 5}, {13, 8}}, {5, 6, 7, 8}, 0},
        {{{-3, 7}, {2, -2}, {2, 5}, {5, 5}}, {7, 5, 3, 1, -1, 5, 5, 5, 5}, 0},
        {{{0, INT16_MIN}, {3, INT16_MAX}}, {-21846, -1, 21844, 32767}, 0},
        {{{7, 9}}, {0}, 0},
        {{{0, 0}, {2, 2}, {1, 1}, {3, 3}}, {0, 1, 2, 0}, -1},
        {kAstray[0], {1, 2, 3, 0, 0}, -1},
        {kAstray[1], {1, 2, 3, 0, 0}, -1},
    };
    for (const auto &row : rows) {
        ck_assert(filled(linear_interpolate, INTERP_LINE, row.points, row.result) == row.expected);
        ck_assert(filled(interpolate_c, INTERP_LINE, row.points, row.result) == row.expected);
    }
}
END_TEST

START_TEST(splines)
{
    const knots peak = {{0, 0}, {4, 100}, {8, 0}}, pit = {{0, 0}, {4, -100}, {8, 0}};
    const struct {
        knots points;
        table expected;
    } rows[] = {
        {{{0, 0}, {2, 0}, {4, 0}}, {0, 0, 0, 0, 0}},
        {{{0, 0}, {6, 60}}, {0, 10, 20, 30, 40, 50, 60}},
        {peak, {0, 37, 69, 91, 100, 91, 69, 37, 0}},
        {pit, {0, -36, -68, -90, -99, -90, -68, -36, 0}},
        {{{10, 5}, {13, 8}}, {5, 6, 7, 8}},
        {{{7, 9}}, {0}},
        // Knots without a distance, a segment back, and one that leaves the table.
        {{{0, 0}, {2, 20}, {2, 30}, {4, 30}}, {0, 14, 30, 30, 30}},
        {{{0, 0}, {0, 5}}, {0}},
        {{{0, 4}, {2, 4}, {1, 4}, {3, 4}}, {4, 4, 4, 4}},
        {kAstray[0], {1, 2, 3, 0, 0}},
        {kAstray[1], {1, 2, 3, 0, 0}},
    };
    for (const auto &row : rows) {
        const table result = filled(spline_interpolate, INTERP_SPLI, row.points);
        ck_assert(result == row.expected);
        ck_assert(filled(interpolate_c, INTERP_SPLI, row.points) == result);
        const std::vector<float> single = filled(interpolate_float, INTERP_SPLI, row.points);
        for (size_t i = 0; i < result.size(); ++i)
            ck_assert(std::fabs(single[i] - result[i]) < 1.5);
    }
    ck_assert(solved(spline_c, peak) == (std::vector<int32_t>{0, -4800, 0}));
    ck_assert(solved(spline_float, peak) == (std::vector<float>{0, -18.75F, 0}));
    ck_assert(filled(interpolate_float, INTERP_SPLI, {{0, 0}, {6, 60}}) ==
              (std::vector<float>{0, 10, 20, 30, 40, 50, 60}));

    // A restless curve's second derivatives, from an independent model.
    const knots restless = {{0, 0},     {10, 300},   {25, -120},   {26, -100},
                            {60, 1000}, {61, -1000}, {120, 32767}, {200, -32768}};
    ck_assert(solved(spline_c, restless) == (std::vector<int32_t>{0, -2576, 2641, 28967, -59348, 41559, -16481, 0}));
}
END_TEST

// Curves with segments of every length from 1 to 200, at every alignment, against digests taken from the model:
// whatever unit fills the table, the bits are the same.
START_TEST(the_same_bits_on_every_machine)
{
    generator random(3);
    digest fixed_y2, fixed_table, float_y2, float_table, lines;
    for (int i = 0; i < 200; ++i) {
        knots points(static_cast<size_t>(2 + random.below(16)));
        int32_t x = -random.below(1000);
        const int32_t range = 2 << random.below(16);
        for (interp_knot &knot : points) {
            knot = {static_cast<int16_t>(x),
                    static_cast<int16_t>(random.below(static_cast<uint32_t>(range)) - range / 2)};
            x += 1 + random.below(200);
        }
        fixed_y2.add_all(solved(spline_c, points));
        fixed_table.add_all(filled(spline_interpolate, INTERP_SPLI, points));
        float_y2.add_all(solved(spline_float, points));
        float_table.add_all(filled(interpolate_float, INTERP_SPLI, points));
        lines.add_all(filled(linear_interpolate, INTERP_LINE, points));
    }
    assert_digest(fixed_y2, 0xD6FE6CC97F9E2A7B);
    assert_digest(fixed_table, 0xC61D668F27DF5ED0);
    assert_digest(float_y2, 0x0BBE7FFE3081E3FC);
    assert_digest(float_table, 0xB6A4A4C328C3C152);
    assert_digest(lines, 0x553035D8DCB929FF);
}
END_TEST

START_TEST(refusals)
{
    const knots points = {{0, 1}, {1, 2}}, backwards = {{5, 1}, {1, 2}};
    const interp_curve line = curve_of(INTERP_LINE, points), spline = curve_of(INTERP_SPLI, points),
                       unknown = curve_of(0, points), falling_line = curve_of(INTERP_LINE, backwards),
                       falling_spline = curve_of(INTERP_SPLI, backwards), empty_line = {INTERP_LINE, 0, points.data()},
                       empty_spline = {INTERP_SPLI, -1, points.data()}, crowded = {INTERP_SPLI, 32768, points.data()};
    int16_t out[] = {kUntouched, kUntouched};
    float values[] = {kUntouched, kUntouched};
    // clang-format off
    const int32_t zero[] = {
        interpolate_c(nullptr, out), interpolate_c(&unknown, nullptr), interpolate_float(nullptr, values),
        interpolate_float(&unknown, nullptr)};
    const int32_t refused[] = {
        interpolate_c(&unknown, out), interpolate_float(&line, values), linear_interpolate(nullptr, out),
        linear_interpolate(&line, nullptr), linear_interpolate(&spline, out), linear_interpolate(&falling_line, out),
        linear_interpolate(&empty_line, out), spline_interpolate(nullptr, out), spline_interpolate(&spline, nullptr),
        spline_interpolate(&line, out), spline_interpolate(&falling_spline, out), spline_interpolate(&empty_spline, out),
        spline_interpolate(&crowded, out)};
    // clang-format on
    for (const int32_t &result : zero)
        ck_assert_msg(result == 0, "zero[%d]", static_cast<int>(&result - zero));
    for (const int32_t &result : refused)
        ck_assert_msg(result == -1, "refused[%d]", static_cast<int>(&result - refused));
    spline_interpolate_float(nullptr, values);
    spline_interpolate_float(&spline, nullptr);
    spline_interpolate_float(&falling_spline, values);
    spline_interpolate_float(&empty_spline, values);
    ck_assert(out[0] == kUntouched && out[1] == kUntouched && values[0] == kUntouched && values[1] == kUntouched);

    int32_t y2[] = {1, 1};
    float y2_float[] = {1, 1};
    spline_c(nullptr, y2);
    spline_c(&empty_spline, y2);
    spline_float(nullptr, y2_float);
    spline_float(&empty_spline, y2_float);
    ck_assert_uint_eq(spline_c(&spline, nullptr), 0);
    spline_float(&spline, nullptr);
    ck_assert(y2[0] == 1 && y2_float[0] == 1);
    // The type is of no matter to the float spline.
    spline_interpolate_float(&line, values);
    ck_assert(values[0] == 1 && values[1] == 2);
}
END_TEST

Suite *interp_suite() {
    Suite *suite = suite_create("interp");
    TCase *tests = tcase_create("interp");
    for (const TTest *test : {line_segments, splines, the_same_bits_on_every_machine, refusals})
        tcase_add_test(tests, test);
    suite_add_tcase(suite, tests);
    return suite;
}

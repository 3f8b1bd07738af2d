// Curves: known tables, generated ones against their definition, and what is refused.
#include "models/interp.hpp"
#include "generated.hpp"
#include "support.hpp"
#include <cmath>

using curves::check, curves::knots;
using table = std::vector<int16_t>;

namespace {

constexpr uint32_t line = INTERP_LINE, spline = INTERP_SPLI;
constexpr int16_t kUntouched = 0x5A5A;

} // namespace

TEST(known_curves_have_their_tables) {
    // A knot lies outside the table, in one of them right behind it.
    const knots above = {{0, 1}, {2, 3}, {5, 9}, {4, 5}}, below = {{0, 1}, {2, 3}, {-5, 9}, {4, 5}};
    // clang-format off
    const struct { uint32_t type; knots points; table expected; int32_t result = 0; } rows[] = {
        {line, {{0, 0}, {4, 8}}, {0, 2, 4, 6, 8}}, {line, {{0, 0}, {4, 2}}, {0, 1, 1, 2, 2}}, {line, {{7, 9}}, {0}},
        {line, {{0, 5}, {0, 9}, {3, 9}}, {9, 9, 9, 9}}, {line, {{0, 0}, {2, 10}}, {2, 7, 10}},
        {line, {{0, INT16_MIN}, {3, INT16_MAX}}, {-21846, -1, 21844, 32767}},
        {line, {{0, 0}, {2, 2}, {1, 1}, {3, 3}}, {0, 1, 2, 0}, -1},
        {line, above, {1, 2, 3, 0, 0}, -1}, {line, below, {1, 2, 3, 0, 0}, -1},
        {spline, {{0, 0}, {6, 60}}, {0, 10, 20, 30, 40, 50, 60}}, {spline, {{7, 9}}, {0}},
        {spline, {{0, 0}, {4, 100}, {8, 0}}, {0, 37, 69, 91, 100, 91, 69, 37, 0}},
        {spline, {{0, 0}, {4, -100}, {8, 0}}, {0, -36, -68, -90, -99, -90, -68, -36, 0}},
        // Knots without a distance, a segment back, and ones that leave the table.
        {spline, {{0, 0}, {2, 20}, {2, 30}, {4, 30}}, {0, 14, 30, 30, 30}}, {spline, {{0, 0}, {0, 5}}, {0}},
        {spline, {{0, 4}, {2, 4}, {1, 4}, {3, 4}}, {4, 4, 4, 4}},
        {spline, above, {1, 2, 3, 0, 0}}, {spline, below, {1, 2, 3, 0, 0}},
    };
    // clang-format on
    for (const auto &row : rows) {
        check("the method", row.type == line ? linear_interpolate : spline_interpolate, row.type, row.points,
              row.expected, row.result);
        check("interpolate_c", interpolate_c, row.type, row.points, row.expected, row.result);
    }
    check("spline_c", spline_c, 0, {{0, 0}, {4, 100}, {8, 0}}, {0, -4800, 0});
    check("spline_float", spline_float, 0, {{0, 0}, {4, 100}, {8, 0}}, {0, -18.75F, 0});
    check("interpolate_float", interpolate_float, spline, {{0, 0}, {4, 100}, {8, 0}},
          {0, 36.71875F, 68.75F, 91.40625F, 100, 91.40625F, 68.75F, 36.71875F, 0});
}

// Segments of every length from 1 to 200, at every alignment. In a third of the curves some knots go back.
TEST(every_entry_is_what_its_definition_says) {
    generator random{3};
    for (int i = 0; i < 300; ++i) {
        knots points(static_cast<size_t>(2 + random.below(16)));
        int32_t x = -random.below(1000);
        const int32_t range = 2 << random.below(16);
        for (interp_knot &knot : points) {
            const int32_t y = random.below(static_cast<uint32_t>(range)) - range / 2;
            knot = {static_cast<int16_t>(x), static_cast<int16_t>(y)};
            x += 1 + random.below(200) - (i % 3 == 2 && random.below(4) == 0 ? random.below(400) : 0);
        }
        curves::check_all(points);
    }
}

TEST(missing_arguments_and_other_types_are_refused) {
    const interp_knot points[] = {{0, 1}, {1, 2}};
    int16_t out[] = {kUntouched, kUntouched};
    int32_t y2[] = {kUntouched, kUntouched};
    float single[] = {kUntouched, kUntouched};
    const interp_curve lines = {line, 2, points}, curve = {spline, 2, points}, unknown = {0, 2, points};
    spline_interpolate_float(nullptr, single);
    spline_interpolate_float(&curve, nullptr);
    spline_float(nullptr, single);
    spline_float(&curve, nullptr);
    // clang-format off
    const struct { const char *call; int64_t result, expected; } rows[] = {
        {"interpolate_c of no curve", interpolate_c(nullptr, out), 0},
        {"interpolate_c into no table", interpolate_c(&unknown, nullptr), 0},
        {"interpolate_c of an unknown type", interpolate_c(&unknown, out), -1},
        {"interpolate_float of no curve", interpolate_float(nullptr, single), 0},
        {"interpolate_float into no table", interpolate_float(&unknown, nullptr), 0},
        {"interpolate_float of lines", interpolate_float(&lines, single), -1},
        {"linear_interpolate of no curve", linear_interpolate(nullptr, out), -1},
        {"linear_interpolate into no table", linear_interpolate(&lines, nullptr), -1},
        {"linear_interpolate of a spline", linear_interpolate(&curve, out), -1},
        {"spline_interpolate of no curve", spline_interpolate(nullptr, out), -1},
        {"spline_interpolate into no table", spline_interpolate(&curve, nullptr), -1},
        {"spline_interpolate of lines", spline_interpolate(&lines, out), -1},
        {"spline_c of no curve", spline_c(nullptr, y2), 0}, {"spline_c into nothing", spline_c(&curve, nullptr), 0},
    };
    // clang-format on
    for (const auto &row : rows)
        ck_assert_msg(row.result == row.expected, "%s: %d, not %d", row.call, int(row.result), int(row.expected));
    for (const int i : {0, 1}) {
        ck_assert_int_eq(out[i], kUntouched);
        ck_assert_int_eq(y2[i], kUntouched);
        ck_assert_float_eq(single[i], kUntouched);
    }
}

TEST(curves_without_a_table_write_nothing) {
    const interp_knot points[] = {{0, 1}, {1, 2}, {-5, 3}}; // the x of three fall
    int16_t out = kUntouched;
    int32_t y2 = kUntouched;
    float single = kUntouched;
    for (const int32_t count : {3, 0, -1, 32768, INT32_MIN}) {
        const interp_curve lines = {line, count, points}, curve = {spline, count, points};
        ck_assert_int_eq(linear_interpolate(&lines, &out), -1);
        ck_assert_int_eq(spline_interpolate(&curve, &out), -1);
        spline_interpolate_float(&curve, &single);
        if (count < 1) {
            ck_assert_int_eq(spline_c(&curve, &y2), 0);
            spline_float(&curve, &single);
        }
        ck_assert_int_eq(out, kUntouched);
        ck_assert_int_eq(y2, kUntouched);
        ck_assert_float_eq(single, kUntouched);
    }
}

TEST(the_single_precision_spline_takes_curves_of_any_type) {
    check("spline_interpolate_float", spline_interpolate_float, line, {{0, 1}, {1, 2}}, {1, 2});
}

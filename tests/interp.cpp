// Curves: known tables, generated ones against their definition, and what is refused.
#include "models/interp.hpp"
#include "generated.hpp"
#include "support.hpp"

using curves::check, curves::check_all, curves::knots;

namespace {

constexpr uint32_t line = INTERP_LINE, spline = INTERP_SPLI;

} // namespace

TEST(known_curves_have_their_tables) {
    const knots peak = {{0, 0}, {4, 100}, {8, 0}}, steep = {{0, 0}, {4, 2}, {6, 12}};
    check("linear_interpolate", linear_interpolate, line, steep, {0, 1, 1, 2, 4, 9, 12});
    check("spline_interpolate", spline_interpolate, spline, peak, {0, 37, 69, 91, 100, 91, 69, 37, 0});
    check("spline_c", spline_c, 0, peak, {0, -4800, 0});
    check("spline_float", spline_float, 0, peak, {0, -18.75F, 0});
    // A single knot; equal x; a descending segment; one that leaves the table, also by one entry.
    for (const knots &points : std::vector<knots>{{{7, 9}},
                                                  {{0, 5}, {0, 9}, {3, 9}},
                                                  {{0, 0}, {0, 5}},
                                                  {{0, 0}, {2, 20}, {2, 30}, {4, 30}},
                                                  {{0, INT16_MIN}, {3, INT16_MAX}},
                                                  {{0, 4}, {2, 4}, {1, 4}, {3, 4}},
                                                  {{0, 1}, {2, 3}, {5, 9}, {4, 5}},
                                                  {{0, 1}, {2, 3}, {-5, 9}, {4, 5}}})
        check_all(points);
}

// To the last bit, also where 32 bits wrap and where x descend or are equal.
TEST(known_knots_have_their_second_derivatives) {
    // clang-format off
    const std::tuple<knots, std::vector<int32_t>, std::vector<float>> rows[] = {
        {{{0, 0}, {3, -50}, {10, 200}, {11, -7}, {30, 1000}}, {0, 14703, -30384, 10699, 0},
         {0, 0x1.ca0c08p+5F, -0x1.dac2d2p+6F, 0x1.4fbcf2p+5F, 0}},
        {{{-5, 32767}, {40, -32768}, {60, 12345}, {61, -1}}, {0, 135157, -599297, 0},
         {0, 0x1.09932cp+9F, -0x1.245c1ep+11F, 0}},
        {{{0, 10}, {8, -300}, {5, 77}, {20, 4}, {33, -90}}, {0, -11074, 7668, -2116, 0},
         {0, -0x1.593d58p+5F, 0x1.dfbc6ap+4F, -0x1.091b5ep+3F, 0}},
        {{{0, 1}, {4, 9}, {4, -9}, {9, 100}}, {0, -384, 3348, 0}, {0, -1.5F, 0x1.a28f5ap+3F, 0}},
        {{{0, 0}, {2, 21846}, {4, 0}}, {0, 4194176, 0}, {0, -16384.5F, 0}},
        {{{0, 0}, {1, 30000}, {2, -30000}, {3, 30000}, {5, 1}, {9, 7}}, {0, -112422, -3572584, -2614044, 2356167, 0},
         {0, -0x1.87b5c4p+17F, 0x1.001388p+18F, -0x1.f54cf6p+16F, 0x1.c3655p+14F, 0}},
        {{{0, 3}, {7, -4}, {15, 9}, {18, 250}, {90, -250}, {200, 0}}, {0, -1514, 6204, -1141, 264, 0},
         {0, -0x1.7c031ep+2F, 0x1.83c2eep+4F, -0x1.1e4d68p+2F, 0x1.096b5cp+0F, 0}},
    };
    // clang-format on
    for (const auto &[points, fixed, single] : rows) {
        check("spline_c", spline_c, 0, points, fixed);
        check("spline_float", spline_float, 0, points, single);
    }
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
        check_all(points);
    }
}

TEST(what_is_missing_of_another_type_or_without_a_table_is_refused) {
    const interp_knot points[] = {{0, 1}, {1, 2}, {-5, 3}}; // the x of three fall
    const interp_curve lines = {line, 2, points}, curve = {spline, 2, points}, unknown = {0, 2, points};
    int16_t out = 7;
    int32_t y2 = 7;
    float single = 7;
    spline_interpolate_float(nullptr, &single);
    spline_interpolate_float(&curve, nullptr);
    spline_float(nullptr, &single);
    spline_float(&curve, nullptr);
    const int64_t good[] = {
        interpolate_c(nullptr, &out),         interpolate_c(&unknown, nullptr), interpolate_float(nullptr, &single),
        interpolate_float(&unknown, nullptr), spline_c(nullptr, &y2),           spline_c(&curve, nullptr)};
    const int64_t bad[] = {interpolate_c(&unknown, &out),       interpolate_float(&lines, &single),
                           linear_interpolate(nullptr, &out),   linear_interpolate(&lines, nullptr),
                           linear_interpolate(&curve, &out),    spline_interpolate(nullptr, &out),
                           spline_interpolate(&curve, nullptr), spline_interpolate(&lines, &out)};
    agree_all("the results", std::string("calls without arguments"), std::vector(good, std::end(good)),
              std::vector<int64_t>(6, 0));
    agree_all("the results", std::string("calls of other types"), std::vector(bad, std::end(bad)),
              std::vector<int64_t>(8, -1));
    for (const int32_t count : {3, 0, -1, 32768, INT32_MIN}) {
        const interp_curve long_lines = {line, count, points}, long_curve = {spline, count, points};
        agree("linear_interpolate", count, linear_interpolate(&long_lines, &out), -1);
        agree("spline_interpolate", count, spline_interpolate(&long_curve, &out), -1);
        spline_interpolate_float(&long_curve, &single);
        if (count < 1) {
            agree("spline_c", count, spline_c(&long_curve, &y2), 0);
            spline_float(&long_curve, &single);
        }
    }
    ck_assert_int_eq(out, 7);
    ck_assert_int_eq(y2, 7);
    ck_assert_float_eq(single, 7);
}

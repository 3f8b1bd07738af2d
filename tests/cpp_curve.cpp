// Curves that hold their knots.
#include "models/interp.hpp"
#include "support.hpp"
#include <cmath>
#include <vela/cpp/curve.hpp>

namespace {

using method = vela::curve::method;
const curves::knots kPeak = {{0, 0}, {4, 100}, {8, 0}};

std::vector<int16_t> table_of(method how, const curves::knots &points) {
    const auto curve = vela::curve::make(how, points);
    ck_assert(curve.has_value());
    std::vector<int16_t> table(curve->size());
    ck_assert(curve->fill(table));
    return table;
}

void expect(method how, const curves::knots &points, const std::vector<int16_t> &expected) {
    const std::vector<int16_t> table = table_of(how, points);
    ck_assert_uint_eq(table.size(), expected.size());
    for (size_t i = 0; i < table.size(); ++i)
        ck_assert_msg(table[i] == expected[i], "entry %zu is %d, not %d", i, table[i], expected[i]);
}

} // namespace

TEST(each_method_has_its_table) {
    int32_t drawn;
    expect(method::line, kPeak, curves::line(kPeak, drawn));
    expect(method::fixed_spline, kPeak, curves::spline<int32_t, int16_t>(kPeak));
    expect(method::spline, kPeak, {0, 37, 69, 91, 100, 91, 69, 37, 0});
    for (const method how : {method::line, method::spline, method::fixed_spline})
        expect(how, {{-3, 7}}, {7});
}

TEST(splines_have_no_limits_of_fixed_point_and_stay_within_16_bits) {
    for (const int16_t value : table_of(method::spline, {{0, 32767}, {10923, 32767}}))
        ck_assert_int_eq(value, 32767);
    const std::vector<int16_t> high = table_of(method::spline, {{0, 0}, {9, 32767}, {11, 32767}, {20, 0}});
    ck_assert_int_eq(high[10], 32767);
}

TEST(single_precision_tables_are_of_splines_alone) {
    std::vector<float> table(9), expected = curves::spline<float, float>(kPeak);
    ck_assert(!vela::curve::make(method::line, kPeak)->fill(table));
    auto curve = vela::curve::make(method::spline, kPeak);
    const vela::curve copy = *curve;
    curve = vela::curve::make(method::spline, curves::knots{{0, 0}});
    ck_assert(copy.fill(table));
    for (size_t i = 0; i < 9; ++i)
        ck_assert_float_eq(table[i], expected[i]);
}

TEST(tables_of_other_sizes_and_knots_out_of_order_are_refused) {
    std::vector<int16_t> table(10);
    const std::span<int16_t> room(table);
    const auto curve = vela::curve::make(method::spline, kPeak);
    ck_assert(!curve->fill(room.first(8)));
    ck_assert(!curve->fill(room));
    for (const method how : {method::line, method::spline, method::fixed_spline}) {
        ck_assert(!vela::curve::make(how, {}));
        ck_assert(!vela::curve::make(how, curves::knots{{0, 0}, {5, 5}, {3, 3}}));
        ck_assert(!vela::curve::make(how, curves::knots(32768)));
        ck_assert_int_eq(vela::curve::make(how, curves::knots{{0, 0}, {0, 5}}).has_value(), how == method::line);
    }
}

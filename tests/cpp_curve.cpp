// Curves that hold their knots.
#include "models/interp.hpp"
#include "support.hpp"
#include <vela/cpp/curve.hpp>

namespace {

using method = vela::curve::method;
const curves::knots kPeak = {{0, 0}, {4, 100}, {8, 0}};

// A table of another size would be refused.
template <class Number>
void expect(method how, const curves::knots &points, const std::vector<Number> &expected) {
    std::vector<Number> table(expected.size());
    ck_assert(value_of(vela::curve::make(how, points)).fill(table));
    agree_all("fill", std::string("a curve"), table, expected);
}

} // namespace

TEST(each_method_has_its_table) {
    int32_t drawn;
    expect(method::line, kPeak, curves::line(kPeak, drawn));
    expect(method::fixed_spline, kPeak, curves::fixed_spline(kPeak));
    expect<int16_t>(method::spline, kPeak, {0, 37, 69, 91, 100, 91, 69, 37, 0});
    expect(method::spline, kPeak, curves::single_spline(kPeak));
    for (const method how : {method::line, method::spline, method::fixed_spline})
        expect<int16_t>(how, {{-3, 7}}, {7});
    expect<float>(method::spline, {{-3, 7}}, {7});
}

// And not limited by fixed point.
TEST(splines_are_clamped_to_16_bits) {
    expect(method::spline, {{0, 32767}, {10923, 32767}}, std::vector<int16_t>(10924, 32767));
    std::vector<int16_t> high(21);
    for (const int16_t limit : {int16_t{INT16_MAX}, int16_t{INT16_MIN}}) {
        const curves::knots plateau = {{0, 0}, {9, limit}, {11, limit}, {20, 0}};
        ck_assert(value_of(vela::curve::make(method::spline, plateau)).fill(high));
        ck_assert_int_eq(high[10], limit);
    }
}

TEST(tables_of_other_sizes_or_kinds_and_knots_out_of_order_are_refused) {
    std::vector<int16_t> table(10);
    std::vector<float> single(9);
    const vela::curve spline = value_of(vela::curve::make(method::spline, kPeak));
    ck_assert(!spline.fill(std::span(table).first(8)));
    ck_assert(!spline.fill(table));
    ck_assert(!value_of(vela::curve::make(method::line, kPeak)).fill(single));
    for (const method how : {method::line, method::spline, method::fixed_spline}) {
        ck_assert(!vela::curve::make(how, {}));
        ck_assert(!vela::curve::make(how, curves::knots{{0, 0}, {5, 5}, {3, 3}}));
        curves::knots most;
        for (int16_t x = -16383; most.size() < 32767; ++x)
            most.push_back({x, 0});
        ck_assert_uint_eq(value_of(vela::curve::make(how, most)).knots().size(), 32767);
        most.push_back({16384, 0});
        ck_assert(!vela::curve::make(how, most));
        ck_assert_int_eq(vela::curve::make(how, curves::knots{{0, 0}, {0, 5}}).has_value(), how == method::line);
    }
}

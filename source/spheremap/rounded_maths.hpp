// Elementary functions rounded correctly: the same bits from every maths library.
//
// Maths libraries agree on sines and arcsines only to about one unit in the last place. Here the result is evaluated to
// about 100 bits, as the unevaluated sum of two doubles, and rounded once. That takes a few microseconds, so callers
// come here only where the last place matters.
#pragma once

#include <cmath>
#include <cstdint>

namespace vela::detail {

// The sum of both, where high is the sum rounded.
struct double_double {
    double high, low;
};

// Of one angle.
struct unit_vector {
    double sine, cosine;
};

struct rounded_maths {
    // Of a zero with its sign.
    static double sine(double x) { return x == 0 ? x : sine_cosine_of(x).sine.high; }
    static unit_vector sine_cosine(double x) {
        const auto [sine, cosine] = sine_cosine_of(x);
        return {sine.high, cosine.high};
    }

    // One Newton step from the maths library's result, whose last place may be off.
    static double arcsine(double x) {
        const double angle = std::asin(x);
        const auto [sine, cosine] = sine_cosine_of(angle);
        return angle + sum({x, 0}, negative(sine)).high / cosine.high;
    }

    static double arctangent(double y, double x) {
        const double angle = std::atan2(y, x);
        if (x == 0 && y == 0)
            return angle;
        const auto [sine, cosine] = sine_cosine_of(angle);
        const double across = sum(product({y, 0}, cosine), negative(product({x, 0}, sine))).high;
        return angle + across / (x * cosine.high + y * sine.high);
    }

private:
    struct pair {
        double_double sine, cosine;
    };

    static double_double negative(double_double a) { return {-a.high, -a.low}; }

    // Knuth's exact sum and Dekker's exact product of two doubles.
    static double_double exact_sum(double a, double b) {
        const double high = a + b, part = high - a;
        return {high, (a - (high - part)) + (b - part)};
    }

    static double_double exact_product(double a, double b) {
        constexpr double splitter = (1 << 27) + 1;
        const double a_top = splitter * a - (splitter * a - a), a_rest = a - a_top;
        const double b_top = splitter * b - (splitter * b - b), b_rest = b - b_top;
        const double high = a * b;
        return {high, ((a_top * b_top - high) + a_top * b_rest + a_rest * b_top) + a_rest * b_rest};
    }

    static double_double sum(double_double a, double_double b) {
        const double_double high = exact_sum(a.high, b.high), low = exact_sum(a.low, b.low);
        const double_double carried = exact_sum(high.high, high.low + low.high);
        return exact_sum(carried.high, carried.low + low.low);
    }

    static double_double product(double_double a, double_double b) {
        const double_double high = exact_product(a.high, b.high);
        return exact_sum(high.high, high.low + (a.high * b.low + a.low * b.high));
    }

    static double_double quotient(double_double a, double b) {
        const double high = a.high / b;
        const double_double back = exact_product(high, b);
        return exact_sum(high, ((a.high - back.high) - back.low + a.low) / b);
    }

    // By their power series at what is left of x after the nearest multiple of a quarter turn. abs(x) must stay below
    // 2^50, so that the number of quarter turns is an exact double.
    static pair sine_cosine_of(double x) {
        constexpr double quarter_turn[] = {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54, -0x1.f1976b7ed8fbcp-110};
        const double quarters = std::floor(x / quarter_turn[0] + 0.5);
        double_double rest = {x, 0};
        for (const double part : quarter_turn)
            rest = sum(rest, negative(exact_product(quarters, part)));

        // The k-th term is rest^k / k!; odd ones belong to the sine, even ones to the cosine, each with alternating
        // signs.
        const double negligible = std::fabs(rest.high) * 0x1p-110;
        double_double term = rest, sine = rest, cosine = {1, 0};
        for (int k = 2; std::fabs(term.high) > negligible; ++k) {
            term = quotient(product(term, rest), k);
            double_double &series = k % 2 ? sine : cosine;
            series = sum(series, k / 2 % 2 ? negative(term) : term);
        }
        switch (static_cast<int64_t>(quarters) & 3) {
        case 0:
            return {sine, cosine};
        case 1:
            return {cosine, negative(sine)};
        case 2:
            return {negative(sine), negative(cosine)};
        default:
            return {negative(cosine), sine};
        }
    }
};

} // namespace vela::detail

// The library's own elementary functions of doubles, with the same bits on every machine: fast ones with a known error,
// and correctly rounded ones.
#pragma once

#include "common/rounding.hpp"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace vela::detail {

// Sine and cosine of an angle.
struct unit_vector {
    double sine, cosine;
};

// Interpolation polynomials at Chebyshev nodes.
namespace quick {

// first + second x + third x^2 + ...: Horner's rule on pairs of terms, which halves the chain of dependent operations.
template <class... Coefficients>
[[gnu::always_inline]] constexpr double polynomial(double x, double square, double first, double second,
                                                   Coefficients... others) {
    const double pair = first + second * x;
    if constexpr (sizeof...(others) == 0)
        return pair;
    else if constexpr (sizeof...(others) == 1)
        return pair + square * (others + ...);
    else
        return pair + square * polynomial(x, square, others...);
}

// For x in [-pi / 2, pi / 2], within 2^-43 of it.
[[gnu::always_inline]] inline double sine(double x) {
    const double z = x * x;
    return x * polynomial(z, z * z, 0x1.ffffffffffe36p-1, -0x1.55555555439b8p-3, 0x1.11111109e36a2p-7,
                          -0x1.a019fd434d293p-13, 0x1.71dcf6e6edbf4p-19, -0x1.ae040abefe2a7p-26, 0x1.52e0e611966eep-33);
}

// The angle of the direction (x, y), where x or y isn't 0, within 2^-40 of it. Beyond an eighth of a half turn,
// computed from the direction rotated back by a quarter of it.
[[gnu::noinline]] inline double arctangent(double y, double x) {
    constexpr double eighth = 0.41421; // its tangent
    const double across = std::fabs(y), ahead = std::fabs(x);
    const double low = std::min(across, ahead), high = std::max(across, ahead);
    // Branchless, since branches would be mispredicted.
    const double turned = low > eighth * high ? 1 : 0;
    const double slope = (low - turned * high) / (high + turned * low);
    const double z = slope * slope;
    double angle = turned * (std::numbers::pi / 4) +
                   slope * polynomial(z, z * z, 0x1.fffffffffe555p-1, -0x1.5555554b9c9dcp-2, 0x1.9999904085448p-3,
                                      -0x1.2490905161e6cp-3, 0x1.c6cc0c86f5644p-4, -0x1.70547e7dedb0bp-4,
                                      0x1.1da4022f74062p-4, -0x1.3463e6da0e489p-5);
    angle = std::fabs((across > ahead ? std::numbers::pi / 2 : 0) - angle);
    angle = std::fabs((x < 0 ? std::numbers::pi : 0) - angle);
    return std::copysign(angle, y);
}

} // namespace quick

// Evaluated to at least 90 bits, as the unevaluated sum of two doubles (double-double), and rounded once.
namespace rounded {

// The value is the sum of both; high is that sum rounded.
struct double_double {
    double high, low;
};

constexpr double_double operator-(double_double a) { return {-a.high, -a.low}; }

// Knuth's exact sum and Dekker's exact product of two doubles.
constexpr double_double exact_sum(double a, double b) {
    const double high = a + b, part = high - a;
    return {high, (a - (high - part)) + (b - part)};
}

constexpr double_double exact_product(double a, double b) {
    constexpr double splitter = (1 << 27) + 1;
    const double a_top = splitter * a - (splitter * a - a), a_rest = a - a_top;
    const double b_top = splitter * b - (splitter * b - b), b_rest = b - b_top;
    const double high = a * b;
    return {high, ((a_top * b_top - high) + a_top * b_rest + a_rest * b_top) + a_rest * b_rest};
}

[[gnu::noinline]] constexpr double_double sum(double_double a, double_double b) {
    const double_double high = exact_sum(a.high, b.high), low = exact_sum(a.low, b.low);
    const double_double carried = exact_sum(high.high, high.low + low.high);
    return exact_sum(carried.high, carried.low + low.low);
}

[[gnu::noinline]] constexpr double_double product(double_double a, double_double b) {
    const double_double high = exact_product(a.high, b.high);
    return exact_sum(high.high, high.low + (a.high * b.low + a.low * b.high));
}

constexpr double_double double_double_quotient(double_double a, double b) {
    const double high = a.high / b;
    const double_double back = exact_product(high, b);
    return exact_sum(high, ((a.high - back.high) - back.low + a.low) / b);
}

// Coefficients of the power series of sine and cosine up to the 29th power: (-1)^(k / 2) / k!.
constexpr int kTerms = 30;
// Beyond this power they are below the first one's last place and need no lower half.
constexpr int kWholeTerms = 18;

constexpr auto kSeries = [] {
    std::array<double_double, kTerms> terms = {};
    double_double term = {1, 0};
    for (int k = 0; k < kTerms; term = double_double_quotient(term, ++k))
        terms[static_cast<size_t>(k)] = k & 2 ? -term : term;
    return terms;
}();

constexpr auto kTail = [] {
    std::array<double, kTerms - kWholeTerms> terms = {};
    for (size_t k = 0; k < terms.size(); ++k)
        terms[k] = kSeries[k + kWholeTerms].high;
    return terms;
}();

constexpr auto kHead = [] {
    std::array<double_double, kWholeTerms> terms = {};
    std::copy_n(kSeries.begin(), kWholeTerms, terms.begin());
    return terms;
}();

// The terms of the even or of the odd powers, in a number whose square is given; the odd ones divided by it.
[[gnu::noinline]] inline double_double series(double_double square, size_t odd) {
    double tail = 0;
    for (size_t k = kTail.size() - 2 + odd; k < kTail.size(); k -= 2)
        tail = tail * square.high + kTail[k];
    double_double whole = {tail, 0};
    for (size_t k = kWholeTerms - 2 + odd; k < kWholeTerms; k -= 2)
        whole = sum(product(whole, square), kHead[k]);
    return whole;
}

struct double_double_vector {
    double_double sine, cosine;
};

// At the remainder of x from the nearest multiple of a quarter turn. abs(x) must be below 2^50, so that the number of
// quarter turns is an exact double.
[[gnu::noinline]] inline double_double_vector sine_cosine_of(double x) {
    constexpr double quarter_turn[] = {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54, -0x1.f1976b7ed8fbcp-110};
    const double half = x < 0 ? -0.5 : 0.5;
    const auto count = static_cast<int64_t>(x / quarter_turn[0] + half);
    const auto quarters = static_cast<double>(count);
    double_double rest = {x, 0};
    for (const double part : quarter_turn)
        rest = sum(rest, -exact_product(quarters, part));

    const double_double square = product(rest, rest);
    const double_double sine = product(rest, series(square, 1)), cosine = series(square, 0);
    switch (count & 3) {
    case 0:
        return {sine, cosine};
    case 1:
        return {cosine, -sine};
    case 2:
        return {-sine, -cosine};
    default:
        return {-cosine, sine};
    }
}

// Signed zeros included.
inline double sine(double x) { return x == 0 ? x : sine_cosine_of(x).sine.high; }

inline unit_vector sine_cosine(double x) {
    if (x == 0)
        return {x, 1};
    const auto [sine, cosine] = sine_cosine_of(x);
    return {sine.high, cosine.high};
}

// guess + y / x, with a quotient that is small compared to the guess.
[[gnu::noinline]] inline double corrected(double guess, double_double y, double x) {
    const double_double more = double_double_quotient(y, x), whole = exact_sum(guess, more.high);
    return whole.high + (whole.low + more.low);
}

// For -1 to 1. From a guess with the error d, sine s and cosine c: x - s = c d - s d^2 / 2, up to terms of 2^-120.
inline double arcsine(double x) {
    if (x == 0 || x == 1 || x == -1)
        return x * (std::numbers::pi / 2);
    const double guess = quick::arctangent(x, std::sqrt((1 - x) * (1 + x)));
    const auto [sine, cosine] = sine_cosine_of(guess);
    const double_double beyond = sum({x, 0}, -sine);
    const double d = beyond.high / cosine.high;
    return corrected(guess, sum(beyond, {sine.high * d * d / 2, 0}), cosine.high);
}

// From a guess with the error d: the tangent of the direction rotated back by the guess is that of d, which is d up to
// terms of 2^-120.
[[gnu::noinline]] inline double arctangent(double y, double x) {
    if (y == 0)
        return x < 0 || (x == 0 && std::signbit(x)) ? std::copysign(std::numbers::pi, y) : y;
    const double guess = quick::arctangent(y, x);
    const auto [sine, cosine] = sine_cosine_of(guess);
    const double_double across = sum(product({y, 0}, cosine), -product({x, 0}, sine));
    return corrected(guess, across, x * cosine.high + y * sine.high);
}

} // namespace rounded

} // namespace vela::detail

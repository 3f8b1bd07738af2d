// Trigonometry by table, square roots and signal kernels in fixed point. The tables are computed by the compiler.
#include "common/angle.hpp"
#include "common/wrapping.hpp"
#include <algorithm>
#include <bit>
#include <numbers>
#include <vela/fixedpoint.h>

namespace {

using namespace vela::detail;

// sin x for x in [0, pi / 2], by its power series to about 1e-15.
constexpr double series_sine(double x) {
    double term = x, sum = x;
    for (int k = 2; k < 26; k += 2) {
        term *= -x * x / (k * (k + 1));
        sum += term;
    }
    return sum;
}

constexpr double square_root(double x) {
    double root = 1;
    for (int pass = 0; pass < 60 && root * root != x; ++pass)
        root = (root + x / root) / 2;
    return root;
}

// asin x for x in [0, 1]: by its power series up to 1/2, and beyond through the half angle,
// 2 sin^2(t / 2) = 1 - cos t.
constexpr double series_arcsine(double x) {
    if (x > 0.5)
        return std::numbers::pi / 2 - 2 * series_arcsine(square_root((1 - x) / 2));
    double term = x, sum = x;
    for (int k = 1; k < 50; k += 2) {
        term *= x * x * k / (k + 1);
        sum += term / (k + 2);
    }
    return sum;
}

// No exact value is within 2e-5 below an integer except integers themselves, which the added 1e-6 preserves.
constexpr int32_t truncated(double value) { return static_cast<int32_t>(value + 1e-6); }

constexpr int32_t sine_entry(int32_t i) {
    // sin 30 degrees is 1/2, but its argument in double precision is slightly less.
    if (i == 480)
        return 2047;
    return truncated(4096 * series_sine(i * std::numbers::pi / 2880));
}

constexpr int32_t arcsine_entry(int32_t i) {
    const int32_t magnitude = i < 1024 ? 1024 - i : i - 1024;
    const int32_t entry = truncated(series_arcsine(magnitude / 1024.0) * kHalfTurn / std::numbers::pi);
    return i < 1024 ? -entry : entry;
}

template <size_t size>
constexpr auto table_of(int32_t (*entry)(int32_t)) {
    std::array<int32_t, size> table = {};
    for (size_t i = 0; i < size; ++i)
        table[i] = entry(static_cast<int32_t>(i));
    return table;
}

// Passes of the restoring square root and division.
constexpr int kRootBits = 16;
constexpr uint32_t kMostReciprocalBits = 30;

constexpr int32_t kPi = 102944; // Q15
constexpr int32_t kOneQ15 = 1 << 15;
constexpr int32_t kMostLobes = 8;

// The Q15 angle minus whole turns; both ends of [-pi, pi] are kept.
constexpr int32_t within_half_turn(int32_t x) {
    x %= 2 * kPi;
    if (x > kPi)
        return x - 2 * kPi;
    return x < -kPi ? x + 2 * kPi : x;
}

constexpr int32_t magnitude_of(int32_t x) { return x < 0 ? -x : x; }

} // namespace

// A C array can't be initialised with a function's result, so the exported tables are aliases of these.
constexpr std::array<int32_t, 1441> vela_sine_table = table_of<1441>(sine_entry);
constexpr std::array<int32_t, 2049> vela_arcsine_table = table_of<2049>(arcsine_entry);
extern "C" {
[[gnu::alias("vela_sine_table")]] extern const int32_t sinDegQ4inQ12out_table[1441];
[[gnu::alias("vela_arcsine_table")]] extern const int32_t asinDegQ10inQ10out_table[2049];
}

int32_t sinQ10inQ12out(int32_t angle) { return sine_cosine_of(angle).sine; }

uint32_t sqrtQ20_to_Q10(uint32_t x) {
    if (x == 0)
        return 0;
    // The root lies in (low, high]; their middle, rounded up, is tried.
    uint32_t low = 0, high = 2048, guess = 1024;
    while (high - low > 1) {
        const bool too_small = static_cast<int32_t>(guess * guess - x) < 0;
        (too_small ? low : high) = guess;
        guess = (low + high + 1) / 2;
    }
    return guess;
}

uint32_t int_sqrt(uint32_t x) {
    uint32_t remainder = 0, twice_root = 0;
    for (int pass = 0; pass < kRootBits; ++pass) {
        twice_root *= 2;
        remainder = remainder << 2 | x >> 30;
        x <<= 2;
        if (twice_root + 1 <= remainder) {
            remainder -= twice_root + 1;
            twice_root += 2;
        }
    }
    return twice_root / 2;
}

int32_t sin_q15(int32_t x) {
    x = within_half_turn(x);
    // 41722 is 4 / pi, 13279 is 4 / pi^2 and 7373 is 0.225.
    const int32_t slope = 41722 + ((-13279 * magnitude_of(x)) >> 15);
    const int32_t parabola = (slope * x) >> 15;
    const int32_t error = ((parabola * magnitude_of(parabola)) >> 15) - parabola;
    return parabola + ((7373 * error) >> 15);
}

int32_t sinc_q15(int32_t x) {
    const int32_t angle = wrapping_product(x, 6434) >> 11; // 6434 / 2048 is pi
    return angle == 0 ? kOneQ15 : sin_q15(angle) * kOneQ15 / angle;
}

int32_t Lanczos_q15(int32_t a, int32_t x) {
    const int32_t lobes = std::min(a, kMostLobes);
    if (lobes <= 0 || unsigned_magnitude(x) >= static_cast<uint32_t>(lobes * kOneQ15))
        return 0;
    return (sinc_q15(x) * sinc_q15(x / lobes)) >> 15;
}

int32_t reciprocal(int32_t a, uint32_t bits) {
    bits = std::min(bits, kMostReciprocalBits);
    const int32_t target = 1 << bits;
    const uint32_t divisor = unsigned_magnitude(a);
    uint32_t quotient = 0, product = 0;
    for (uint32_t power = 1U << bits; power; power /= 2) {
        const uint32_t guess = product + divisor * power;
        if (static_cast<int32_t>(guess) <= target) {
            quotient += power;
            product = guess;
        }
    }
    return static_cast<int32_t>(a < 0 ? -quotient : quotient);
}

uint8_t ceil_log2(uint32_t x) { return static_cast<uint8_t>(std::bit_width(x)); }

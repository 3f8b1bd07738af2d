#include "generated.hpp"
#include "support.hpp"
#include <algorithm>
#include <array>
#include <cmath>
#include <vela/fixedpoint.h>

namespace {

constexpr int32_t kTurn = 368640;

// The sine as the table's rule gives it, for angles of any size.
int32_t ruled_sine(int64_t angle) {
    if (angle < 0)
        return -ruled_sine(-angle);
    angle %= kTurn;
    return angle > kTurn / 2 ? -ruled_sine(kTurn - angle)
                             : sinDegQ4inQ12out_table[std::min(angle, kTurn / 2 - angle) / 64];
}

} // namespace

START_TEST(sines)
{
    const double degree = std::acos(-1) / 180;
    for (int i = 0; i <= 1440; ++i)
        ck_assert_int_eq(sinDegQ4inQ12out_table[i], i == 480 ? 2047 : int32_t(4096 * std::sin(i * degree / 16)));
    for (int i = -1024; i <= 1024; ++i)
        ck_assert_int_eq(asinDegQ10inQ10out_table[i + 1024], int32_t(std::asin(i / 1024.0) * (1 / degree) * 1024));
    // All angles of a few turns, both ends of the range, angles all over it, and three at every half of a turn.
    const int64_t half = kTurn / 2, last = 11650 * half, end = INT32_MAX;
    const int64_t ranges[][3] = {{-4 * half, 4 * half, 1}, {-end - 1, end, UINT32_MAX}, {-end, end, 9973},
                                 {-last - 64, last, half}, {-last, last, half},         {64 - last, last + 64, half}};
    for (const auto [from, to, step] : ranges)
        for (int64_t angle = from; angle <= to; angle += step)
            if (sinQ10inQ12out(static_cast<int32_t>(angle)) != ruled_sine(angle))
                ck_abort_msg("at %lld", static_cast<long long>(angle));
}
END_TEST

START_TEST(square_roots)
{
    for (uint32_t root = 1; root <= 65535; ++root) {
        const uint32_t square = root * root;
        if (int_sqrt(square - 1) != root - 1 || int_sqrt(square) != root)
            ck_abort_msg("int_sqrt around the square of %u", root);
        if (root <= 2048 && (sqrtQ20_to_Q10(square - 1) != root - (root == 1) || sqrtQ20_to_Q10(square) != root ||
                             sqrtQ20_to_Q10(square + 1) != std::min(root + 1, 2048U)))
            ck_abort_msg("sqrtQ20_to_Q10 around the square of %u", root);
    }
    ck_assert(int_sqrt(UINT32_MAX) == 65535 && sqrtQ20_to_Q10(0) == 0 && sqrtQ20_to_Q10(1U << 31) == 2048);
}
END_TEST

START_TEST(signal_kernels)
{
    ck_assert(sin_q15(16384) == 15706 && sinc_q15(16384) == 20862 && sinc_q15(-1) == 40960);
    ck_assert(Lanczos_q15(2, 16384) == 18800 && Lanczos_q15(9, 8 << 15) == 0 && Lanczos_q15(3, INT32_MIN) == 0);
    ck_assert(reciprocal(0, 15) == 65535 && reciprocal(0, 30) == INT32_MAX && reciprocal(2, 30) == INT32_MAX);
    ck_assert(reciprocal(1, UINT32_MAX) == 1 << 30 && ceil_log2(0) == 0 && ceil_log2(UINT32_MAX) == 32);
    sinc_q15(667558); // its product with pi wraps to an angle of 0
    for (uint32_t bits = 0; bits <= 30; ++bits) {
        for (int32_t power = 1 << bits, a = INT32_MAX >> bits; a > 0; a -= 1 + a / 50)
            ck_assert(reciprocal(a, bits) == power / a && reciprocal(-a, bits) == -(power / a));
        ck_assert(ceil_log2(1U << bits) == bits + 1 && ceil_log2((1U << bits) - 1) == bits);
    }
    // The digests were taken from an independent model. Far from 0 a sine is that of the angle less whole turns, whose
    // ends are angles of their own.
    digest waves, lobes;
    for (int32_t x = -102944; x <= 102944; ++x) {
        waves.add(std::array{sin_q15(x)});
        if (sin_q15(x < 0 ? x - 10429 * 205888 : x + 10429 * 205888) != sin_q15(x))
            ck_abort_msg("sin_q15 far from %d", x);
    }
    for (int32_t x = -333771; x <= 333771; ++x)
        lobes.add(std::array{sinc_q15(x), Lanczos_q15(x & 15, x)});
    assert_digest(waves, 0x5B4440C3F19FEBDB);
    assert_digest(lobes, 0x9994420BBFFEEA94);
}
END_TEST

Suite *fixedpoint_suite() { return suite_of("fixedpoint", {sines, square_roots, signal_kernels}); }

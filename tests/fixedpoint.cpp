// Fixed-point functions: against their models and at documented values.
#include "models/fixedpoint.hpp"
#include "generated.hpp"
#include "models/agree.hpp"
#include "support.hpp"
#include <vela/fixedpoint.h>

TEST(tables_hold_truncated_sines_and_arcsines) {
    for (int i = 0; i <= 1440; ++i)
        agree("sine entry", i, sinDegQ4inQ12out_table[i], model::sine_entry(i));
    for (int i = -1024; i <= 1024; ++i)
        agree("arcsine entry", i, asinDegQ10inQ10out_table[i + 1024], model::arcsine_entry(i));
}

// All angles of a few turns, both ends of the range, angles all over it, and three at every half of a turn.
TEST(sines_are_read_from_the_table) {
    const int64_t half = 184320, last = 11650 * half, end = INT32_MAX;
    const int64_t ranges[][3] = {{-4 * half, 4 * half, 1}, {-end - 1, end, UINT32_MAX}, {-end, end, 9973},
                                 {-last - 64, last, half}, {-last, last, half},         {64 - last, last + 64, half}};
    for (const auto [from, to, step] : ranges)
        for (int64_t angle = from; angle <= to; angle += step)
            agree("sinQ10inQ12out", angle, sinQ10inQ12out(static_cast<int32_t>(angle)), model::sine_q12(angle));
}

TEST(square_roots) {
    for (uint32_t root = 1; root <= 65535; ++root) {
        const uint32_t square = root * root;
        agree("int_sqrt", square - 1, int_sqrt(square - 1), root - 1);
        agree("int_sqrt", square, int_sqrt(square), root);
        if (root > 2048)
            continue;
        agree("sqrtQ20_to_Q10", square - 1, sqrtQ20_to_Q10(square - 1), root - (root == 1));
        agree("sqrtQ20_to_Q10", square, sqrtQ20_to_Q10(square), root);
        agree("sqrtQ20_to_Q10", square + 1, sqrtQ20_to_Q10(square + 1), std::min(root + 1, 2048U));
    }
    agree("int_sqrt", UINT32_MAX, int_sqrt(UINT32_MAX), 65535);
    agree("sqrtQ20_to_Q10", 0, sqrtQ20_to_Q10(0), 0);
    agree("sqrtQ20_to_Q10", 1U << 31, sqrtQ20_to_Q10(1U << 31), 2048);
}

// Far from 0 a sine is that of the angle less whole turns, whose ends are angles of their own.
TEST(signal_kernels_are_what_the_model_computes) {
    for (int32_t x = -102944; x <= 102944; ++x) {
        agree("sin_q15", x, sin_q15(x), model::sine_q15(x));
        const int32_t far = x < 0 ? x - 10429 * 205888 : x + 10429 * 205888;
        agree("sin_q15", far, sin_q15(far), model::sine_q15(x));
    }
    for (int32_t x = -333771; x <= 333771; ++x) {
        agree("sinc_q15", x, sinc_q15(x), model::sinc_q15(x));
        agree("Lanczos_q15", x, Lanczos_q15(x & 15, x), model::lanczos_q15(x & 15, x));
    }
    agree("Lanczos_q15", INT32_MIN, Lanczos_q15(3, INT32_MIN), 0);
    agree("Lanczos_q15", 0, Lanczos_q15(-1, 0), 0);
    sinc_q15(667558); // its product with pi wraps to an angle of 0
}

TEST(reciprocals_and_lengths_of_bits) {
    for (uint32_t bits = 0; bits <= 30; ++bits) {
        for (int32_t power = 1 << bits, a = INT32_MAX >> bits; a > 0; a -= 1 + a / 50) {
            agree("reciprocal", a, reciprocal(a, bits), power / a);
            agree("reciprocal", -a, reciprocal(-a, bits), -(power / a));
        }
        agree("ceil_log2", 1LL << bits, ceil_log2(1U << bits), bits + 1);
        agree("ceil_log2", (1LL << bits) - 1, ceil_log2((1U << bits) - 1), bits);
    }
    // By 0, not exact, and with too many bits.
    const int64_t rows[][3] = {{0, 15, 65535}, {0, 30, INT32_MAX}, {2, 30, INT32_MAX}, {1, UINT32_MAX, 1 << 30}};
    for (const auto [a, bits, quotient] : rows)
        agree("reciprocal", a, reciprocal(static_cast<int32_t>(a), static_cast<uint32_t>(bits)), quotient);
    agree("ceil_log2", UINT32_MAX, ceil_log2(UINT32_MAX), 32);
}

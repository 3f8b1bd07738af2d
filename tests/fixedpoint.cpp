#include "generated.hpp"
#include <algorithm>
#include <bit>
#include <check.h>
#include <cmath>
#include <iterator>
#include <vela/fixedpoint.h>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int32_t kTurn = 368640;

// A function of one or two arguments at one point.
struct figure {
    int64_t actual, expected;
};

template <class Figures>
void check_figures(const Figures &figures) {
    for (const figure &f : figures)
        ck_assert_msg(f.actual == f.expected, "figure %d: %lld, not %lld", static_cast<int>(&f - std::begin(figures)),
                      static_cast<long long>(f.actual), static_cast<long long>(f.expected));
}

// The sine as the table's rule gives it, whole turns being taken off one by one.
int32_t ruled_sine(int64_t angle) {
    for (; angle > kTurn / 2; angle -= kTurn) {
    }
    for (; angle < -kTurn / 2; angle += kTurn) {
    }
    if (angle < 0)
        return -ruled_sine(-angle);
    return sinDegQ4inQ12out_table[(angle > kTurn / 4 ? kTurn / 2 - angle : angle) / 64];
}

} // namespace

START_TEST(tables_follow_their_rules)
{
    for (int i = 0; i < 1441; ++i)
        ck_assert_int_eq(sinDegQ4inQ12out_table[i], static_cast<int32_t>(4096 * std::sin(i * kPi / 2880)));
    ck_assert_int_eq(sinDegQ4inQ12out_table[480], 2047);
    ck_assert_int_eq(sinDegQ4inQ12out_table[1440], 4096);
    for (int i = 0; i < 2049; ++i)
        ck_assert_int_eq(asinDegQ10inQ10out_table[i],
                         static_cast<int32_t>(std::asin((i - 1024) / 1024.0) * (180 / kPi) * 1024));
    ck_assert_int_eq(asinDegQ10inQ10out_table[1536], 30720);
}
END_TEST

START_TEST(sine_of_any_angle)
{
    for (int32_t angle = -2 * kTurn; angle <= 2 * kTurn; ++angle)
        if (sinQ10inQ12out(angle) != ruled_sine(angle))
            ck_abort_msg("at %d", angle);
    generator random(7);
    for (int i = 0; i < 100000; ++i) {
        const int32_t angle = i == 0 ? INT32_MAX : i == 1 ? INT32_MIN : random.word();
        if (sinQ10inQ12out(angle) != ruled_sine(angle % kTurn))
            ck_abort_msg("at %d", angle);
    }
    // Every boundary between two turns.
    for (int64_t half = -5825 * (kTurn / 2); half <= 5825 * int64_t{kTurn / 2}; half += kTurn / 2)
        for (int32_t near = -64; near <= 64; near += 64)
            ck_assert_int_eq(sinQ10inQ12out(static_cast<int32_t>(half + near)), ruled_sine(half % kTurn + near));
}
END_TEST

START_TEST(square_roots)
{
    for (uint32_t root = 1; root <= 2048; ++root) {
        ck_assert_uint_eq(sqrtQ20_to_Q10(root * root), root);
        ck_assert_uint_eq(sqrtQ20_to_Q10(root * root - 1), root - (root == 1));
        ck_assert_uint_eq(sqrtQ20_to_Q10(root * root + 1), std::min(root + 1, 2048U));
    }
    ck_assert_uint_eq(sqrtQ20_to_Q10(0), 0);
    ck_assert_uint_eq(sqrtQ20_to_Q10(1U << 31), 2048);
    for (uint32_t root = 1; root <= 65535; ++root) {
        if (int_sqrt(root * root - 1) != root - 1 || int_sqrt(root * root) != root)
            ck_abort_msg("int_sqrt around the square of %u", root);
    }
    ck_assert_uint_eq(int_sqrt(UINT32_MAX), 65535);
}
END_TEST

START_TEST(signal_kernels)
{
    // clang-format off
    check_figures(std::initializer_list<figure>{
        {sin_q15(0), 0}, {sin_q15(1), 0}, {sin_q15(16384), 15706}, {sin_q15(51472), 32771}, {sin_q15(-51472), -32774},
        {sin_q15(102944), 9}, {sin_q15(102945), -13}, {sin_q15(205888), 0},
        {sinc_q15(0), 32768}, {sinc_q15(16384), 20862}, {sinc_q15(-16384), 20864}, {sinc_q15(32768), 2},
        {sinc_q15(49152), -6954}, {sinc_q15(65536), 0}, {sinc_q15(1), 21845}, {sinc_q15(-1), 40960},
        {Lanczos_q15(2, 0), 32768}, {Lanczos_q15(2, 16384), 18800}, {Lanczos_q15(2, 65535), 0}, {Lanczos_q15(2, 65536), 0},
        {Lanczos_q15(3, 32768), 1}, {Lanczos_q15(3, 49152), -4428}, {Lanczos_q15(3, 98303), 0},
        {Lanczos_q15(3, -49152), -4428}, {Lanczos_q15(0, 0), 0}, {Lanczos_q15(INT32_MIN, 0), 0},
        {Lanczos_q15(3, INT32_MIN), 0}, {Lanczos_q15(INT32_MAX, 8 << 15), 0},
        {reciprocal(3, 15), 10922}, {reciprocal(-3, 15), -10922}, {reciprocal(7, 10), 146}, {reciprocal(5, 0), 0},
        {reciprocal(1, 30), 1 << 30}, {reciprocal(0, 15), 65535}, {reciprocal(0, 0), 1}, {reciprocal(0, 30), INT32_MAX},
        {reciprocal(2, 30), INT32_MAX}, {reciprocal(1, UINT32_MAX), 1 << 30}, {ceil_log2(0), 0}, {ceil_log2(UINT32_MAX), 32},
    });
    // clang-format on
    int32_t least = 0, most = 0;
    for (int32_t x = -102944; x <= 102944; ++x) {
        const int32_t sine = sin_q15(x);
        if (std::fabs(sine - 32768 * std::sin(x / 32768.0)) > 38)
            ck_abort_msg("sin_q15(%d)", x);
        least = std::min(least, sine);
        most = std::max(most, sine);
    }
    ck_assert(least == -32775 && most == 32772);
    // Far angles; either end of the turn is an angle of its own.
    ck_assert_int_ne(sin_q15(-102944), sin_q15(102944));
    for (int32_t x = -102943; x <= 102944; x += 997)
        ck_assert(sin_q15(x + 10429 * 205888) == sin_q15(x) && sin_q15(-x - 10429 * 205888) == sin_q15(-x));
    for (int32_t x = 64; x <= 333771; ++x) {
        const double exact = 32768 * std::sin(kPi * x / 32768) / (kPi * x / 32768), allowed = x < 1024 ? 653 : 307;
        if (std::fabs(sinc_q15(x) - exact) >= allowed || std::fabs(sinc_q15(-x) - exact) >= allowed ||
            Lanczos_q15(9, x) != Lanczos_q15(8, x))
            ck_abort_msg("sinc_q15(%d)", x);
    }
    sinc_q15(667558); // its product with pi wraps to an angle of 0
    for (uint32_t bits = 0; bits <= 30; ++bits) {
        const int32_t power = 1 << bits, largest = INT32_MAX >> bits;
        for (int32_t a = 1; a < largest; a += 1 + (largest - a) / 50)
            ck_assert(reciprocal(a, bits) == power / a && reciprocal(-a, bits) == -(power / a));
        ck_assert_int_eq(reciprocal(largest, bits), power / largest);
        ck_assert_uint_eq(ceil_log2(1U << bits), bits + 1);
        ck_assert_uint_eq(ceil_log2((1U << bits) - 1), bits);
    }
}
END_TEST

Suite *fixedpoint_suite() {
    Suite *suite = suite_create("fixedpoint");
    TCase *tests = tcase_create("fixedpoint");
    tcase_set_timeout(tests, 60);
    for (const TTest *test : {tables_follow_their_rules, sine_of_any_angle, square_roots, signal_kernels})
        tcase_add_test(tests, test);
    suite_add_tcase(suite, tests);
    return suite;
}

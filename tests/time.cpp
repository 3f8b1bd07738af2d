#include "support.hpp"
#include <csignal>
#include <ctime>
#include <limits>
#include <sys/wait.h>
#include <time.h> // lives with the library's header of the same name
#include <vela/time.h>

namespace {

// Wide enough for any time value in microseconds.
#ifdef __SIZEOF_INT128__
__extension__ typedef __int128 wide;
#else
typedef int64_t wide;
#endif

wide total(const timeval &t) { return wide(t.tv_sec) * 1000000 + t.tv_usec; }

// What a total is as a balanced value; seconds beyond the field wrap around.
timeval from_total(wide total) {
    const wide microseconds = (total % 1000000 + 1000000) % 1000000;
    return {static_cast<time_t>((total - microseconds) / 1000000), static_cast<suseconds_t>(microseconds)};
}

void assert_time_eq(const timeval &actual, const timeval &expected) {
    ck_assert_int_eq(actual.tv_sec, expected.tv_sec);
    ck_assert_int_eq(actual.tv_usec, expected.tv_usec);
}

constexpr auto kLast = std::numeric_limits<time_t>::max(), kFirst = std::numeric_limits<time_t>::min();
constexpr auto kMost = std::numeric_limits<suseconds_t>::max(), kLeast = std::numeric_limits<suseconds_t>::min();

} // namespace

START_TEST(documented_figures)
{
    const timeval five = {5, 100}, three = {3, 200}, one_six = {1, 600000}, two_five = {2, 500000};
    assert_time_eq(time_sub(&five, &three), {1, 999900});
    assert_time_eq(time_sub(&three, &five), {-2, 100});
    assert_time_eq(time_add(&one_six, &two_five), {4, 100000});
    timeval forward = {0, 0}, back = {0, 0};
    time_add_usec(&forward, 2500000);
    assert_time_eq(forward, {2, 500000});
    time_sub_usec(&back, 1);
    assert_time_eq(back, {-1, 999999});
}
END_TEST

// Every sum and difference of unbalanced and extreme values, against arithmetic in one wide integer.
START_TEST(exact_over_the_whole_range)
{
    const time_t seconds[] = {kFirst, kFirst + 1, -3, -1, 0, 1, 1700000000, kLast - 1, kLast};
    const suseconds_t microseconds[] = {kLeast, -2500000, -1000000, -999999, -1, 0, 1, 999999, 1000000, 1000001, kMost};
    for (const time_t s : seconds)
        for (const suseconds_t us : microseconds) {
            const timeval a = {s, us};
            timeval balanced = a;
            time_balance(&balanced);
            assert_time_eq(balanced, from_total(total(a)));
            for (const suseconds_t other : microseconds) {
                timeval later = a, earlier = a;
                time_add_usec(&later, other);
                assert_time_eq(later, from_total(total(a) + other));
                time_sub_usec(&earlier, other);
                assert_time_eq(earlier, from_total(total(a) - other));
                for (const time_t t : seconds) {
                    const timeval b = {t, other};
                    assert_time_eq(time_add(&a, &b), from_total(total(a) + total(b)));
                    assert_time_eq(time_sub(&a, &b), from_total(total(a) - total(b)));
                }
            }
        }
}
END_TEST

START_TEST(comparison)
{
    const timeval ascending[] = {{kFirst, 0}, {kFirst, 999999}, {-1, 0}, {-1, 999999},   {0, 0},     {1, 5},
                                 {1, 7},      {1, 999999},      {2, 0},  {kLast - 1, 0}, {kLast, 0}, {kLast, 1}};
    for (const timeval &a : ascending)
        for (const timeval &b : ascending) {
            const int32_t result = time_compare(&a, &b);
            ck_assert_int_eq((result > 0) - (result < 0), (&a > &b) - (&a < &b));
        }
    const timeval near = {1, 5}, far = {1, 7}, next = {8, 0};
    ck_assert_int_eq(time_compare(&near, &far), -2);
    ck_assert_int_eq(time_compare(&next, &far), 7);
}
END_TEST

START_TEST(current_time)
{
    const time_t before = time(nullptr);
    timeval now = {-1, -1};
    ck_assert_int_eq(gettime(&now), 0);
    // The coarse clock behind time() may lag by a tick.
    ck_assert_int_ge(now.tv_sec, before);
    ck_assert_int_le(now.tv_sec, time(nullptr) + 1);
    ck_assert(now.tv_usec >= 0 && now.tv_usec <= 999999);

    int status = 0;
    const std::string report = captured(stderr, [&] {
        const pid_t child = fork();
        if (child == 0)
            _exit(gettime(nullptr));
        waitpid(child, &status, 0);
    });
    ck_assert(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
    ck_assert_msg(report.find("source/time.cpp:") != std::string::npos, "%s", report.c_str());
    ck_assert_msg(report.find("Assertion `t != 0' failed") != std::string::npos, "%s", report.c_str());
}
END_TEST

Suite *time_suite() {
    Suite *suite = suite_create("time");
    TCase *tests = tcase_create("time");
    tcase_add_test(tests, documented_figures);
    tcase_add_test(tests, exact_over_the_whole_range);
    tcase_add_test(tests, comparison);
    tcase_add_test(tests, current_time);
    suite_add_tcase(suite, tests);
    return suite;
}

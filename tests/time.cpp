#include "support.hpp"
#include <limits>
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

// The time must be the balanced value of this total; seconds beyond the field wrap around.
void assert_total(const timeval &t, wide total) {
    const wide microseconds = (total % 1000000 + 1000000) % 1000000;
    ck_assert_int_eq(t.tv_sec, static_cast<time_t>((total - microseconds) / 1000000));
    ck_assert_int_eq(t.tv_usec, static_cast<suseconds_t>(microseconds));
}

// The ends of the field, or what fits in `wide` if times have 64 bits and no type has more.
constexpr time_t kRoom = sizeof(wide) > sizeof(time_t) ? 1 : 4000000;
constexpr time_t kLast = std::numeric_limits<time_t>::max() / kRoom, kFirst = -kLast - 1;
constexpr suseconds_t kMost = std::numeric_limits<suseconds_t>::max(), kLeast = -kMost - 1;

} // namespace

// Sums and differences of unbalanced and extreme values, against arithmetic in one wide integer.
TEST(exact_over_the_whole_range) {
    for (const time_t s : {kFirst, time_t(-3), time_t(-1), time_t(0), time_t(5), kLast - 1, kLast})
        for (const suseconds_t us : {kLeast, suseconds_t(-1000000), suseconds_t(-1), suseconds_t(0), suseconds_t(100),
                                     suseconds_t(999999), suseconds_t(1000000), suseconds_t(2500000), kMost}) {
            const timeval a = {s, us};
            timeval balanced = a, later = {-1, 600000}, earlier = {1, -3};
            time_balance(&balanced);
            assert_total(balanced, total(a));
            for (const timeval &b : {timeval{-2, 999999}, timeval{kFirst, kLeast}}) {
                assert_total(time_add(&b, &a), total(b) + total(a));
                assert_total(time_sub(&b, &a), total(b) - total(a));
            }
            time_add_usec(&later, us);
            assert_total(later, wide(us) - 400000);
            time_sub_usec(&earlier, us);
            assert_total(earlier, wide(999997) - us);
        }
}

TEST(comparison_and_current_time) {
    const timeval ascending[] = {{kFirst, 0}, {kFirst, 999999}, {-1, 0},    {-1, 999999}, {0, 0},
                                 {1, 5},      {1, 7},           {8, 99999}, {kLast, 0},   {kLast, 1}};
    for (const timeval &a : ascending)
        for (const timeval &b : ascending) {
            const int32_t result = time_compare(&a, &b);
            ck_assert_int_eq((result > 0) - (result < 0), (&a > &b) - (&a < &b));
        }
    ck_assert_int_eq(time_compare(&ascending[5], &ascending[6]), -2);
    ck_assert_int_eq(time_compare(&ascending[7], &ascending[6]), 7);

    timeval now = {-1, -1};
    ck_assert_int_eq(gettime(&now), 0);
    ck_assert_int_le(std::abs(now.tv_sec - time(nullptr)), 1); // which may be late by a tick
    ck_assert_int_ge(now.tv_usec, 0);
    ck_assert_int_le(now.tv_usec, 999999);

    assert_aborts("*source/time.cpp:*Assertion `t != 0' failed*", [] { return gettime(nullptr); });
}

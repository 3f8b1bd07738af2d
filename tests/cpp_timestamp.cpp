// Times as values.
#include "support.hpp"
#include <limits>
#include <vela/cpp/timestamp.hpp>

using std::chrono::microseconds;
using vela::timestamp;

static_assert(sizeof(timestamp) == sizeof(timeval));

TEST(times_behave_like_their_microseconds) {
    const int64_t rows[] = {
        0, 1, -1, 999999, 1000000, -1000000, -1000001, 86400000000, -2147483648000000, 2147483647999999};
    for (const int64_t a : rows) {
        const timestamp one{microseconds(a)};
        ck_assert_int_eq(one.get().tv_usec, (a % 1000000 + 1000000) % 1000000);
        ck_assert_int_eq(one.since_epoch().count(), a);
        ck_assert_int_eq(one.to_sys_time().time_since_epoch().count(), a);
        ck_assert(one == timestamp(timeval{one.get().tv_sec - 1, one.get().tv_usec + 1000000}));
        for (const int64_t b : rows) {
            const timestamp other{microseconds(b)};
            ck_assert_msg((one <=> other) == (a <=> b), "%lld and %lld", a + 0LL, b + 0LL);
            ck_assert_int_eq(one == other, a == b);
            if (std::abs(a - b) > 2147483647999999)
                continue; // no difference for 32 bits of seconds
            ck_assert_int_eq((one - other).count(), a - b);
            ck_assert_int_eq((other + microseconds(a - b)).since_epoch().count(), a);
            ck_assert_int_eq((one - microseconds(a - b)).since_epoch().count(), b);
        }
    }
    const auto apart = std::chrono::system_clock::now() - value_of(timestamp::now()).to_sys_time();
    ck_assert_int_le(std::abs(std::chrono::floor<std::chrono::seconds>(apart).count()), 60);
}

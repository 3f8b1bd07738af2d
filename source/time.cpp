// Times of seconds and microseconds. Sums are exact and wrap around only at the ends of the seconds.
#include "common/contract.hpp"
#include <vela/time.h>

namespace {

// Wider than suseconds_t on platforms that added 64-bit times later.
using microseconds_t = decltype(timeval::tv_usec);

constexpr microseconds_t kMicroseconds = 1000000;

time_t wrapping_add(time_t a, time_t b) {
    time_t sum;
    (void)__builtin_add_overflow(a, b, &sum);
    return sum;
}

time_t wrapping_subtract(time_t a, time_t b) {
    time_t difference;
    (void)__builtin_sub_overflow(a, b, &difference);
    return difference;
}

// Balances by a division that rounds towards minus infinity.
timeval balanced(time_t seconds, microseconds_t microseconds) {
    const microseconds_t rest = microseconds % kMicroseconds;
    const microseconds_t carry = microseconds / kMicroseconds - (rest < 0);
    return {wrapping_add(seconds, carry), rest < 0 ? rest + kMicroseconds : rest};
}

timeval balanced(const timeval &t) { return balanced(t.tv_sec, t.tv_usec); }

// Balancing the operands first keeps the microseconds' sums and differences far from the ends of their type.
timeval sum(const timeval &a, const timeval &b) {
    const timeval x = balanced(a), y = balanced(b);
    return balanced(wrapping_add(x.tv_sec, y.tv_sec), x.tv_usec + y.tv_usec);
}

timeval difference(const timeval &a, const timeval &b) {
    const timeval x = balanced(a), y = balanced(b);
    return balanced(wrapping_subtract(x.tv_sec, y.tv_sec), x.tv_usec - y.tv_usec);
}

template <class Integer>
int32_t limited_difference(Integer a, Integer b) {
    int32_t difference;
    if (__builtin_sub_overflow(a, b, &difference))
        return a < b ? INT32_MIN : INT32_MAX;
    return difference;
}

} // namespace

int32_t gettime(struct timeval *t) {
    assert(t != 0); // NOLINT(modernize-use-nullptr): the report's text
    return gettimeofday(t, nullptr);
}

void time_balance(struct timeval *t) { *t = balanced(*t); }

struct timeval time_sub(const struct timeval *a, const struct timeval *b) {
    return difference(*a, *b);
}

struct timeval time_add(const struct timeval *a, const struct timeval *b) {
    return sum(*a, *b);
}

void time_sub_usec(struct timeval *t, suseconds_t usec) { *t = difference(*t, {0, usec}); }

void time_add_usec(struct timeval *t, suseconds_t usec) { *t = sum(*t, {0, usec}); }

int32_t time_compare(const struct timeval *a, const struct timeval *b) {
    if (a->tv_sec != b->tv_sec)
        return limited_difference(a->tv_sec, b->tv_sec);
    return limited_difference(a->tv_usec, b->tv_usec);
}

// <vela/time.h>. A time is seconds and microseconds, integers up to 2^53.
#include "bindings.hpp"
#include <vela/time.h>

using namespace bindings;

namespace {

timeval balanced(double seconds, double microseconds) {
    timeval time = {static_cast<time_t>(seconds), static_cast<suseconds_t>(microseconds)};
    time_balance(&time);
    return time;
}

block *give_time(const timeval &time) {
    return give({static_cast<double>(time.tv_sec), static_cast<double>(time.tv_usec)});
}

} // namespace

VELA_EXPORT(time_balance) block *balance(double seconds, double microseconds) {
    return give_time(balanced(seconds, microseconds));
}

VELA_EXPORT(time_add) block *add(double a_seconds, double a_micros, double b_seconds, double b_micros) {
    const timeval a = balanced(a_seconds, a_micros), b = balanced(b_seconds, b_micros);
    return give_time(time_add(&a, &b));
}

VELA_EXPORT(time_sub) block *sub(double a_seconds, double a_micros, double b_seconds, double b_micros) {
    const timeval a = balanced(a_seconds, a_micros), b = balanced(b_seconds, b_micros);
    return give_time(time_sub(&a, &b));
}

VELA_EXPORT(time_compare) int32_t compare(double a_seconds, double a_micros, double b_seconds, double b_micros) {
    const timeval a = balanced(a_seconds, a_micros), b = balanced(b_seconds, b_micros);
    return time_compare(&a, &b);
}

/**
 * @file
 * Arithmetic on wall-clock times of seconds and microseconds.
 *
 * Times and differences of times are the platform's `struct timeval`. A value is balanced when its microseconds lie in
 * 0 to 999999; the seconds may be negative, so -0.25 s is {-1, 750000}. Operands need not be balanced unless
 * documented, results are. Every result is exact; seconds beyond the field's range wrap around.
 *
 * Where the platform has two widths of `struct timeval` (`_TIME_BITS` on 32-bit machines), a program must be compiled
 * with the one that the library was built with, or it does not link: the functions of 64-bit times are the symbols
 * `gettime_time64` and so on. The library has them, in place of the others, when it is built with the CMake option
 * `VELA_TIME64`.
 *
 * There is no state: any thread may call any function at any time, as long as no two use the same time while one of
 * them changes it. The wall clock jumps when it is set: measure intervals with clock_gettime() and CLOCK_MONOTONIC.
 */
#ifndef VELA_TIME_H
#define VELA_TIME_H

#include <stdint.h>
#include <sys/time.h>
#include <vela/attributes.h>

/** The symbol of a function that takes or returns times; only for this header. */
#if defined(__TIMESIZE) && __TIMESIZE == 32 && defined(__USE_TIME_BITS64)
#define VELA_TIME_SYMBOL(name) __asm__(#name "_time64")
#else
#define VELA_TIME_SYMBOL(name)
#endif

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup time
 *  @{ */

/**
 * Reads the current time (UTC, since 1970) with gettimeofday().
 *
 * @param t  receives the time; must not be null (checked by an assertion)
 * @return the result of gettimeofday(): 0, or -1 on failure
 */
int32_t gettime(struct timeval *t) VELA_TIME_SYMBOL(gettime);

/**
 * Normalises the microseconds to 0 to 999999, with a carry into the seconds.
 *
 * @param t  the time, changed in place
 */
void time_balance(struct timeval *t) VELA_TIME_SYMBOL(time_balance) VELA_NONNULL(1);

/**
 * Subtracts one time from another.
 *
 * @param a  the time to subtract from
 * @param b  the time to subtract
 * @return a - b, balanced
 */
struct timeval time_sub(const struct timeval *a, const struct timeval *b) VELA_TIME_SYMBOL(time_sub) VELA_NONNULL(1, 2);

/**
 * Adds two times.
 *
 * @param a  one time
 * @param b  the other
 * @return a + b, balanced
 */
struct timeval time_add(const struct timeval *a, const struct timeval *b) VELA_TIME_SYMBOL(time_add) VELA_NONNULL(1, 2);

/**
 * Moves a time back.
 *
 * @param t     the time, changed in place; balanced afterwards
 * @param usec  microseconds to subtract, of either sign and any size
 */
void time_sub_usec(struct timeval *t, suseconds_t usec) VELA_TIME_SYMBOL(time_sub_usec) VELA_NONNULL(1);

/**
 * Moves a time forward.
 *
 * @param t     the time, changed in place; balanced afterwards
 * @param usec  microseconds to add, of either sign and any size
 */
void time_add_usec(struct timeval *t, suseconds_t usec) VELA_TIME_SYMBOL(time_add_usec) VELA_NONNULL(1);

/**
 * Compares two times, which must be balanced.
 *
 * @param a  one time
 * @param b  the other
 * @return negative if a is earlier, 0 if they are equal, positive if a is later: the difference of the seconds or, if
 *         those are equal, of the microseconds, limited to the range of the result
 */
int32_t time_compare(const struct timeval *a, const struct timeval *b) VELA_TIME_SYMBOL(time_compare)
    VELA_NONNULL(1, 2);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#undef VELA_TIME_SYMBOL

#endif

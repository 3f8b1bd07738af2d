/**
 * @file
 * Arithmetic on wall-clock times of seconds and microseconds.
 *
 * Times and differences of times are the platform's `struct timeval`. A value is balanced when its microseconds lie in
 * 0 to 999999; the seconds may be negative, so -0.25 s is {-1, 750000}. Operands need not be balanced unless a function
 * says so, results are. Every result is exact; only seconds beyond the field's range wrap around.
 *
 * Where the platform has two widths of `struct timeval` (`_TIME_BITS` on 32-bit machines), a program must be compiled
 * with the one that the library was compiled with.
 */
#ifndef VELA_TIME_H
#define VELA_TIME_H

#include <stdint.h>
#include <sys/time.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/**
 * Reads the current time (UTC, since 1970) with gettimeofday().
 *
 * @param t  receives the time; must not be null (checked by an assertion)
 * @return the result of gettimeofday(): 0, or -1 on failure
 */
int32_t gettime(struct timeval *t);

/**
 * Brings the microseconds into 0 to 999999 and carries what that takes into the seconds.
 *
 * @param t  the time, changed in place
 */
void time_balance(struct timeval *t);

/**
 * Subtracts one time from another.
 *
 * @param a  the time to subtract from
 * @param b  the time to subtract
 * @return a - b, balanced
 */
struct timeval time_sub(const struct timeval *a, const struct timeval *b);

/**
 * Adds two times.
 *
 * @param a  one time
 * @param b  the other
 * @return a + b, balanced
 */
struct timeval time_add(const struct timeval *a, const struct timeval *b);

/**
 * Moves a time back.
 *
 * @param t     the time, changed in place; balanced afterwards
 * @param usec  microseconds to subtract, of either sign and any size
 */
void time_sub_usec(struct timeval *t, suseconds_t usec);

/**
 * Moves a time forward.
 *
 * @param t     the time, changed in place; balanced afterwards
 * @param usec  microseconds to add, of either sign and any size
 */
void time_add_usec(struct timeval *t, suseconds_t usec);

/**
 * Compares two times, which must be balanced.
 *
 * @param a  one time
 * @param b  the other
 * @return negative if a is earlier, 0 if they are equal, positive if a is later: the difference of the seconds or, if
 *         those are equal, of the microseconds, limited to the range of the result
 */
int32_t time_compare(const struct timeval *a, const struct timeval *b);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

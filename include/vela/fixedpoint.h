/**
 * @file
 * Trigonometry, square roots and signal kernels in fixed point.
 *
 * A value written QN is a signed integer that holds the real value times 2^N. There are two families: sines of angles
 * in Q10 degrees (degrees x 1024; a full turn is 368640) by table, with two integer square roots; and signal kernels in
 * Q15 (32768 represents 1.0). All are pure functions: they have no state, allocate nothing and never fail. Results are
 * bit-identical on all machines; no floating point is used. Any number of threads may call them.
 *
 * A cosine is sinQ10inQ12out(92160 - angle). The arcsine of a Q10 number is entry 1024 plus this number of
 * asinDegQ10inQ10out_table. Both tables are constant data, present from load time.
 */
#ifndef VELA_FIXEDPOINT_H
#define VELA_FIXEDPOINT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup fixedpoint
 *  @{ */

/**
 * Sines in Q12, 16 per degree: entry i is 4096 x sin(i / 16 degrees) truncated, for 0 to 90 degrees. Entry 480 (30
 * degrees) is 2047, since the product evaluated in double precision falls just short of 2048.
 */
extern const int32_t sinDegQ4inQ12out_table[1441];

/**
 * Arcsines in Q10 degrees: entry i is asin((i - 1024) / 1024) truncated toward zero, -92160 to 92160. For a sine that
 * is truncated to Q10 first they fall short by up to 0.065 degrees for sines up to 0.5, 0.13 up to 0.9, 0.38 up to
 * 0.99, and 2.5 in the last step before 90 degrees.
 */
extern const int32_t asinDegQ10inQ10out_table[2049];

/**
 * Sine by table, without interpolation.
 *
 * @param angle  Q10 degrees, any value
 * @return the sine in Q12, -4096 to 4096, in magnitude less than the exact one by up to 5.4 units (0.0013), 1.9 on
 *         average; exactly odd, and periodic in whole turns
 */
int32_t sinQ10inQ12out(int32_t angle);

/**
 * Square root, rounded up.
 *
 * @param x  Q20, up to 4194304 (4.0)
 * @return the smallest Q10 root whose square reaches x, 0 to 2048; 2048 for every x from 4194304 to 2^31. Beyond that
 *         the result is a meaningless number up to 2048.
 */
uint32_t sqrtQ20_to_Q10(uint32_t x);

/** Integer square root, rounded down: 0 to 65535. */
uint32_t int_sqrt(uint32_t x);

/**
 * Sine by a parabola with one refinement, within 38 of the exact value.
 *
 * @param x  Q15 radians (pi is 102944), any value
 * @return the sine in Q15, from -32775 to 32772: it may exceed 1.0 slightly
 */
int32_t sin_q15(int32_t x);

/**
 * Normalised sinc, sin(pi x) / (pi x).
 *
 * @param x  Q15, within +-333771 (10.18); beyond, the angle wraps and the result has no meaning
 * @return Q15; within 307 of the exact value for abs(x) of at least 1024, coarse for arguments of a few units
 *         (sinc_q15(-1) is 40960)
 */
int32_t sinc_q15(int32_t x);

/**
 * Lanczos kernel, sinc(x) sinc(x / a) within its lobes and 0 outside.
 *
 * @param a  lobes on each side; values above 8 are taken as 8; 0 or less gives 0
 * @param x  Q15, any value
 * @return Q15; for abs(x) of at least 1024 within 841 of the exact value, of at least 8192 within 248. It is 32768 at
 *         0, and too low close to 0: Lanczos_q15(8, 1) is 21845
 */
int32_t Lanczos_q15(int32_t a, int32_t x);

/**
 * Quotient of 2^bits by a, truncated toward zero.
 *
 * @param a     divisor; 0 gives 2^(bits + 1) - 1
 * @param bits  exponent, 0 to 30; larger values are taken as 30
 * @return the quotient, exact while abs(a) x 2^bits is below 2^31; beyond that it is not the quotient
 */
int32_t reciprocal(int32_t a, uint32_t bits);

/** Bit length, 0 to 32: the exponent of the smallest power of two greater than x (4 gives 3). */
uint8_t ceil_log2(uint32_t x);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

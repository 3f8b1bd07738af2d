/**
 * @file
 * Curves through a few knots, as tables with one value for every integer x.
 *
 * A curve is a list of knots (integer x and y) and the method that joins them: straight line segments drawn with
 * integer steps, or a natural cubic spline (its second derivative is 0 at both ends) in Q8 fixed point or in single
 * precision. The table has x(last knot) - x(first knot) + 1 entries, entry k being the value at x(first knot) + k; it
 * is the caller's, as are the knots. Results are bit-identical on all machines.
 *
 * The splines allocate scratch memory for the length of the call, 8 bytes for each knot (spline_c() and spline_float()
 * 4), and running out of it is an assertion failure, which aborts the program. Nothing is kept between calls: any
 * number of threads may call at once, each with its own table.
 *
 * The x of the knots are in ascending order, strictly for the splines. No knot may lie outside the table, that is
 * beyond the last knot; a segment that leaves the table is never drawn. A division by 0 in the splines, by an x
 * difference or by a pivot (possible with descending x), gives 0.
 */
#ifndef VELA_INTERP_H
#define VELA_INTERP_H

#include <stdint.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup interp
 *  @{ */

/** Methods, as four-character codes. */
enum {
    INTERP_LINE = 0x656E694C, /**< "Line": line segments */
    INTERP_SPLI = 0x696C7053  /**< "Spli": natural cubic spline */
};

/** One knot. */
typedef struct interp_knot {
    int16_t x; /**< table index, counted from the first knot's */
    int16_t y; /**< value */
} interp_knot;

/** A curve. */
typedef struct interp_curve {
    uint32_t type;            /**< INTERP_LINE or INTERP_SPLI */
    int32_t count;            /**< number of knots, 1 to 32767 */
    const interp_knot *knots; /**< the knots, x ascending */
} interp_curve;

/**
 * Fills a table of integers by the curve's method.
 *
 * @param curve  the curve
 * @param out    the table
 * @return what linear_interpolate() or spline_interpolate() returns; 0 if an argument is null, otherwise -1 for an
 *         unknown type
 */
VELA_NODISCARD int32_t interpolate_c(const interp_curve *curve, int16_t *out);

/**
 * Fills a table of single-precision values by spline_interpolate_float().
 *
 * @param curve  the curve, of type INTERP_SPLI
 * @param out    the table
 * @return 0, also if an argument is null; otherwise -1 for any other type
 */
int32_t interpolate_float(const interp_curve *curve, float *out);

/**
 * Fills a table by line segments (Bresenham's).
 *
 * In a steep segment, where y changes more than x, several values fall on one entry, which keeps the one nearest to the
 * later knot's. So the entry of a knot at which a steep segment begins is not the knot's value: (0, 0), (4, 2), (6, 12)
 * gives 4 at x 4. Two knots with equal x give a vertical step.
 *
 * @param curve  the curve, of type INTERP_LINE; a single knot gives a table of one 0
 * @param out    the table
 * @return 0; -1 with nothing written if an argument is null, for any other type, for a count out of range and for a
 *         range of less than 1; -1 at the first segment whose x descends or that ends beyond the table, with the
 *         earlier ones drawn and the other entries 0
 */
VELA_NODISCARD int32_t linear_interpolate(const interp_curve *curve, int16_t *out);

/**
 * Fills a table by the fixed-point spline, in 32-bit arithmetic that wraps: beyond the limits below, entries are wrong
 * although the result is 0. spline_interpolate_float() has no such limits.
 *
 * Of each segment of length h, 6 h times each of its values and h³ times the larger second derivative in Q8 must stay
 * below 2^31: (0, 32767), (10923, 32767) gives -32766 everywhere. At each inner knot, 6 times the change of slope
 * divided by the distance of its two neighbours must stay below 2^15: (0, 0), (2, 21846), (4, 0) gives 6827 at x 1
 * instead of 15019.
 *
 * Second derivatives have a resolution of 1/256, which matters if knots are far apart: over 20000 random curves of 3 to
 * 6 knots between 0 and 255, the largest error was 2 with knots 32 apart, 5 with 64, 14 with 128, and over 40 with 255.
 *
 * The table keeps the low 16 bits of each value. Values are rounded by adding half and truncating toward zero, so
 * negative values may be high by 1.
 *
 * @param curve  the curve, of type INTERP_SPLI; a single knot gives a table of one 0
 * @param out    the table; segments whose x does not ascend are skipped
 * @return 0; -1 with nothing written if an argument is null, for any other type, for a count out of range and for a
 *         range of less than 1
 */
VELA_NODISCARD int32_t spline_interpolate(const interp_curve *curve, int16_t *out);

/**
 * Fills a table by the single-precision spline.
 *
 * @param curve  the curve, of any type; a single knot gives a table of one 0
 * @param out    the table; segments whose x does not ascend are skipped. Nothing is written if an argument is null, the
 *               count out of range or the range less than 1
 */
void spline_interpolate_float(const interp_curve *curve, float *out);

/**
 * Solves for the second derivatives of the fixed-point spline, within the limit of spline_interpolate() at inner knots.
 *
 * @param curve  the curve, of any type
 * @param y2     receives a second derivative in Q8 for each knot; 0 for the first and the last
 * @return 0; nothing is done if an argument is null or the count is less than 1
 */
uint32_t spline_c(const interp_curve *curve, int32_t *y2);

/**
 * Solves for the second derivatives of the single-precision spline.
 *
 * @param curve  the curve, of any type
 * @param y2     receives a second derivative for each knot; 0 for the first and the last. Nothing is done if an
 *               argument is null or the count is less than 1
 */
void spline_float(const interp_curve *curve, float *y2);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

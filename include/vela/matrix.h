/**
 * @file
 * Small dense linear algebra in single precision: products, inverses, singular values, least squares, polynomial fits.
 *
 * A matrix is an fmatrix record, its elements in row-major order; a column vector is a matrix with one column. What the
 * library makes (malloc_matrix(), transpose(), svdcmp()) belongs to the caller, who releases it with free_matrix(). A
 * record built around the caller's own array serves as an argument just as well, and is never given to free_matrix().
 *
 * Every result is the same bits on every machine: the order of each sum and the precision of each step are fixed. A
 * value is negligible, that is taken for zero, when its magnitude is at most 1e-14, whatever the scale of the matrix.
 * Diagnostics go to the standard error stream, one line that begins with the function's name.
 *
 * Nothing is kept between calls: any number of threads may call any of these functions at once, and read one matrix,
 * as long as none writes to a matrix that another uses.
 *
 * Single precision holds 7 digits, and none of these functions says how many are left: where numbers differ by many
 * orders of magnitude, bring them to a common scale first.
 */
#ifndef VELA_MATRIX_H
#define VELA_MATRIX_H

#include <stdint.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup matrix
 *  @{ */

/** A dense matrix: element (i, j), counted from 0, is `data[i * cols + j]`. */
typedef struct fmatrix {
    int32_t rows; /**< number of rows */
    int32_t cols; /**< number of columns */
    float *data;  /**< rows x cols elements, row by row. It points to non-const even where a matrix is only read: for a
                       table in read-only memory, cast. No function writes to a matrix that it takes as const */
} fmatrix;

/** Releases a matrix made by the library. Null is accepted, and so is a record whose data is null. */
void free_matrix(fmatrix *m);

/**
 * Makes a matrix whose elements are not yet set.
 *
 * @param rows  number of rows, 0 or more
 * @param cols  number of columns, 0 or more
 * @return the matrix, or null when memory runs out, a number is negative, or the elements would take 4 GiB or more; the
 *         message is "failed fmatrix malloc" when there is no memory for the record, otherwise "failed data malloc"
 */
VELA_NODISCARD VELA_RELEASED_BY(free_matrix) fmatrix *malloc_matrix(int32_t rows, int32_t cols);

/**
 * Makes the transpose of a matrix.
 *
 * @param a    the matrix, only read
 * @param out  receives a new cols x rows matrix; left alone on failure. It may be the variable that holds a: the new
 *             matrix never shares elements with a
 * @return 0, or 1 when the new matrix can't be made, for want of memory or because a number of a's is negative
 *         (malloc_matrix() prints the message)
 */
VELA_NODISCARD int32_t transpose(const fmatrix *a, fmatrix **out);

/**
 * Multiplies two matrices: c = a b.
 *
 * Each product is rounded to single precision; the products of an element are summed in double precision, from the
 * first to the last, and the sum is rounded to single precision once.
 *
 * @param a  m x k matrix
 * @param b  k x n matrix
 * @param c  m x n matrix, receives the product. It must not share elements with a or b: its elements would then be
 *           partly made from results
 * @return 0, or 1 when the sizes don't fit (a message says which) or a number is negative (no message); c is then
 *         untouched
 */
int32_t matrix_mult(const fmatrix *a, const fmatrix *b, fmatrix *c);

/** Prints a matrix to the standard output: a line for each row, each element as "%e ", and an empty line. Numbers below
 * 0 count as 0. */
void print_matrix(const fmatrix *m);

/**
 * Inverts a 3 x 3 matrix by its adjugate, in single precision. Determinants up to 1e-14 count as 0, however small the
 * elements are: 2e-5 times the unit matrix "has no inverse". Scale small elements up first, and the inverse likewise.
 *
 * @param in   9 elements, row by row; column by column serves as well, if out is read likewise
 * @param out  9 elements, receives the inverse; may be in
 * @return 0, or 1 when the determinant is negligible; out then holds the adjugate
 */
VELA_NODISCARD int32_t inverse_3x3(const float *in, float *out);

/**
 * Inverts a 4 x 4 matrix by its adjugate, in double precision, rounded to single precision at the end. Determinants up
 * to 1e-14 count as 0, however small the elements are: 3e-4 times the unit matrix "has no inverse".
 *
 * @param in   16 elements, row by row; column by column serves as well, if out is read likewise
 * @param out  16 elements, receives the inverse; may be in
 * @return 0, or 1 when the determinant is negligible; a message says so and out is untouched
 */
VELA_NODISCARD int32_t inverse_4x4(const float *in, float *out);

/**
 * The hypotenuse, the square root of a² + b², in single precision without overflow or underflow on the way.
 *
 * @return the hypotenuse; 0 when |a| <= |b| and b is negligible, when an argument is NaN, and when both are infinite
 */
float pythag(float a, float b);

/**
 * Singular value decomposition a = u w vᵀ, after Golub and Reinsch: Householder bidiagonalisation, then implicitly
 * shifted QR sweeps.
 *
 * The caller sets the three result pointers to null before the call and releases all three matrices with free_matrix()
 * after it, on failure too. Time grows with m n².
 *
 * Scale rows and columns to one order of magnitude first. Rows of 1e-13 beside rows of 1 make it fail in up to 43 % of
 * small random matrices; rows of 1e-15 to 1e-13, near what is negligible, give a wrong u in up to 8 %, or a v that is
 * off by a thousandth, with result 0 (without such rows, 1 of 100,000).
 *
 * Rows that depend on each other are as bad, in wide matrices most of all. Of random ones of -1, 0 and 1 with two rows
 * equal or opposite 17 to 28 % fail of 5 x 12 elements, 2 to 39 % of 3 x 6, and 0.1 to 4 % of 8 x 8. Where m < n,
 * decompose the transpose, whose u and v change places: of these, less than 0.3 % fail. With result 0, u may be wrong
 * all the same: where most elements are 0, in up to 28 of 100,000 the product u w vᵀ was off by up to 3. And v may be,
 * with a product that is right: it was off by up to 0.007 in 169 of 100,000 of 8 x 8 elements of -1 and 1 whose rows
 * were all equal or opposite to one of three. In each of these a singular value was below 1e-12 of the largest, not 0.
 *
 * Who must be sure multiplies u, w and vᵀ and compares with a, and multiplies vᵀ and v and compares with the unit
 * matrix.
 *
 * @param a      m x n matrix of any shape, only read
 * @param u_out  receives u: m x n. Its columns are orthonormal, but where a singular value is negligible they may be
 *               zero: with m < n, n - m of them are, or all of these but one that is shorter than 1e-7; some stand
 *               beside a w that is tiny (up to 1e-14) and not 0
 * @param w_out  receives w: n x n, zero but for the singular values on the diagonal, which are 0 or more and not sorted
 * @param v_out  receives v: n x n, orthogonal
 * @return 0, or 1 when memory runs out (malloc_matrix() prints a message for a result, nothing is printed for working
 *         storage), when a singular value has not converged after 29 sweeps (w is then not set), or when a result is
 *         not finite (a message says which). NaN or infinity in a ends in one of the latter two, and so does a finite
 *         matrix now and then: rarely a random one, more often one whose columns differ by orders of magnitude or
 *         whose rows depend on each other
 */
VELA_NODISCARD int32_t svdcmp(const fmatrix *a, fmatrix **u_out, fmatrix **w_out, fmatrix **v_out);

/**
 * Inverts a square matrix by Gauss elimination that does not look for the largest pivot: it exchanges rows only to
 * avoid a negligible one, and a pivot much smaller than its column costs digits. Of the inverse of [[1e-6, 1], [1, 1]]
 * the first element comes out as -0.954 in place of -1, with 1e-9 as 0. Where that can be, exchange rows first so that
 * the diagonal is large, or solve for each column of the unit matrix by pseudo_inverse(). Nothing is allocated.
 *
 * @param a    n x n matrix, n at most 24
 * @param inv  n x n matrix, receives the inverse; may be a
 * @return 0, or 1 when a is not square or too large or inv has another size (a message says which), when n is negative,
 *         or when the elimination meets a contradiction (no message); inv is then untouched. A singular matrix whose
 *         elimination meets none gives 0 and an inverse of no use, [[0, 1], [0, 1]] for example
 */
VELA_NODISCARD int32_t matrix_inverse(const fmatrix *a, fmatrix *inv);

/**
 * Solves a x = b in the least-squares sense with the singular value decomposition, for an a whose columns are
 * independent of each other. Singular values up to 1e-14 are dropped, but rounding seldom leaves the 0 of dependent
 * columns that small: it comes out near 1e-7 of the largest and is kept. For a = [[1, 1], [2, 2], [3, 3], [5, 5]] and b
 * = (1, 2, 4, 5) x is (-28648, 28650), with result 0, where the solution of least norm is (0.54, 0.54). Where columns
 * may depend on each other, take svdcmp(), drop what is below 1e-6 of the largest singular value, and multiply v, the
 * inverse of w, the transpose of u, and b.
 *
 * @param a  m x n matrix, only read
 * @param b  m x 1 vector, only read
 * @param x  n x 1 vector, receives the solution. It must not share elements with b; on failure it may hold
 *           intermediate values
 * @return 0, or 1 when the sizes don't fit, memory runs out, the decomposition fails or the solution is not finite; a
 *         message says which
 */
VELA_NODISCARD int32_t pseudo_inverse(const fmatrix *a, const fmatrix *b, fmatrix *x);

/**
 * Fits a polynomial of degree 0, 1 or 2 by least squares, on an abscissa u = 2 (x - min) / (max - min) - 1 that runs
 * from -1 to 1.
 *
 * Beyond k = 3 the coefficients are not those of a polynomial in x: the first three are converted as if they were all,
 * and the others stay those of powers of u. The value at x is then c[0] + c[1] x + c[2] x² + c[3] u³ + c[4] u⁴ and so
 * on; x³ over 0..19 gives 857, -271, 28.5, 857.
 *
 * @param xs      n abscissas, not all equal
 * @param ys      n ordinates
 * @param n       number of samples, 1 or more; k or more for a determined fit
 * @param k       number of coefficients (degree + 1), 1 or more
 * @param coeffs  receives the k coefficients in ascending powers: c[0] + c[1] x + c[2] x². It must not share elements
 *                with ys: it is written while they are still read, which gives wrong coefficients and result 0
 * @return 0, or 1 when n or k is below 1 (no message), when memory runs out, or when there is no solution, as for k of
 *         2 or more with all xs equal (a message says so; coeffs may hold intermediate values)
 */
VELA_NODISCARD int32_t polyfit(const float *xs, const float *ys, int32_t n, int32_t k, float *coeffs);

/**
 * Fits a quadratic surface over integer coordinates by least squares. It is safe for coordinates up to 16; pictures
 * need scaled coordinates and pseudo_inverse(), see below.
 *
 * The columns of the system differ as 1 and the square of the coordinates do, and what is negligible does not depend on
 * that. Of 1000 fits of random samples, 20 to 100 each, none failed with coordinates up to 16, 1 to 10 % with those up
 * to 100, 17 to 20 % with those up to 200, 500 and 1000, and 23 to 29 % with those up to 12000 and 20000. Others
 * succeed and are wrong: with coordinates up to 500, 1 to 6 % were off by more than 1 % of the terms' size; up to 1000,
 * every third to every second, and up to 12000 nearly all; a grid over 0..20000 gives coefficients that have nothing to
 * do with the samples. Coordinates scaled to -1..1 have none of this (0 of 2000 fits over 1920 x 1080 failed, where
 * polyfit2D() fails in 429):
 *
 *     fmatrix design = {n, 6, elements}, heights = {n, 1, zs}, solution = {6, 1, coeffs};
 *     for (int32_t i = 0; i < n; i++) {
 *         float x = 2.0F * xs[i] / 1920 - 1, y = 2.0F * ys[i] / 1080 - 1, *row = elements + 6 * i;
 *         row[0] = 1;     row[1] = y;     row[2] = x;
 *         row[3] = y * y; row[4] = x * y; row[5] = x * x;
 *     }
 *     int32_t failed = pseudo_inverse(&design, &heights, &solution);
 *
 * after which poly2D_value() of the scaled x and y is the height.
 *
 * @param xs      n abscissas, up to 46340: beyond, a square is no longer a positive 32-bit number
 * @param ys      n ordinates, up to 46340
 * @param zs      n heights
 * @param n       number of samples, 1 or more; six distinct points or more for a determined fit
 * @param coeffs  receives the 6 coefficients of 1, y, x, y², x y, x², in this order. It must not share elements with zs
 * @return 0, or 1 when n is below 1 (no message), when memory runs out, or when there is no solution (a message says
 *         so; coeffs may hold intermediate values)
 */
VELA_NODISCARD int32_t polyfit2D(const uint16_t *xs, const uint16_t *ys, const float *zs, int32_t n, float *coeffs);

/**
 * The height of a quadratic surface at a point, in single precision.
 *
 * @param x       abscissa
 * @param y       ordinate
 * @param coeffs  6 coefficients as polyfit2D() gives them
 * @return c[0] + c[1] y + c[2] x + c[3] y² + c[4] x y + c[5] x²
 */
float poly2D_value(float x, float y, const float *coeffs);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

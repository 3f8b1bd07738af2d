/**
 * @file
 * Small dense linear algebra in single precision: products, inverses, singular values, least squares, polynomial fits.
 *
 * A matrix is an fmatrix record, its elements in row-major order; a column vector is a matrix with one column. Matrices
 * made by the library (malloc_matrix(), transpose(), svdcmp()) belong to the caller, who releases them with
 * free_matrix(). An argument may also be a record around the caller's own array, which must not be passed to
 * free_matrix().
 *
 * Results are bit-identical on all machines: the order of each sum and the precision of each step are fixed. A value is
 * negligible, that is treated as zero, when its magnitude is at most 1e-14, independently of the scale of the matrix.
 * Diagnostics are one line on the standard error stream that begins with the function's name.
 *
 * Nothing is kept between calls: any number of threads may call any of these functions at once, and read one matrix,
 * as long as none writes to a matrix that another uses.
 *
 * Single precision has 7 digits, and no function estimates how many of them remain: if numbers differ by many orders of
 * magnitude, scale them to a common one first.
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
    float *data;  /**< rows x cols elements, row by row. Not const even if the matrix is only read: cast a table in
                       read-only memory. No function writes to a matrix that it takes as const */
} fmatrix;

/** Releases a matrix made by the library. Null is accepted, and so is a record whose data is null. */
void free_matrix(fmatrix *m);

/**
 * Makes a matrix with uninitialised elements.
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
 * @param out  receives a new cols x rows matrix; unchanged on failure. It may be the variable that holds a: the new
 *             matrix never shares elements with a
 * @return 0, or 1 if memory runs out or a has a negative dimension (malloc_matrix() prints the message)
 */
VELA_NODISCARD int32_t transpose(const fmatrix *a, fmatrix **out) VELA_NONNULL(1, 2);

/**
 * Multiplies two matrices: c = a b.
 *
 * Each product is rounded to single precision; the products of an element are summed in double precision, from the
 * first to the last, and the sum is rounded to single precision once.
 *
 * @param a  m x k matrix
 * @param b  k x n matrix
 * @param c  m x n matrix, receives the product. It must not share elements with a or b
 * @return 0, or 1 when the dimensions don't match (a message says which) or one is negative (no message); c is then
 *         unchanged
 */
VELA_NODISCARD int32_t matrix_mult(const fmatrix *a, const fmatrix *b, fmatrix *c) VELA_NONNULL(1, 2, 3);

/** Prints a matrix to the standard output: a line for each row, each element as "%e ", and an empty line. Negative
 * dimensions are taken as 0. */
void print_matrix(const fmatrix *m) VELA_NONNULL(1);

/**
 * Inverts a 3 x 3 matrix by its adjugate, in single precision. Determinants up to 1e-14 count as 0, whatever the scale
 * of the elements: 2e-5 times the identity "has no inverse". Scale small elements up first, and the inverse by the same
 * factor.
 *
 * @param in   9 elements, row by row; column by column serves as well, if out is read likewise
 * @param out  9 elements, receives the inverse; may be in
 * @return 0, or 1 when the determinant is negligible; out then holds the adjugate
 */
VELA_NODISCARD int32_t inverse_3x3(const float *in, float *out) VELA_NONNULL(1, 2);

/**
 * Inverts a 4 x 4 matrix by its adjugate, in double precision, rounded to single precision at the end. Determinants up
 * to 1e-14 count as 0, whatever the scale of the elements: 3e-4 times the identity "has no inverse". In turn, the
 * computed determinant of a singular matrix may be larger: with two equal rows of random elements up to 10, 7 of 10
 * matrices give 0 and a meaningless inverse. A singular matrix is reliably detected only if its elements are below
 * about 1, or small integers.
 *
 * @param in   16 elements, row by row; column by column serves as well, if out is read likewise
 * @param out  16 elements, receives the inverse; may be in
 * @return 0, or 1 when the determinant is negligible; a message says so and out is unchanged
 */
VELA_NODISCARD int32_t inverse_4x4(const float *in, float *out) VELA_NONNULL(1, 2);

/**
 * The hypotenuse, the square root of a² + b², in single precision without intermediate overflow or underflow.
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
 * Scale rows and columns to one order of magnitude first. With rows of 1e-13 among rows of 1, up to 43 % of small
 * random matrices fail; rows of 1e-15 to 1e-13, near the threshold, give a wrong u in up to 8 %, or a v with an error
 * of 0.001, with result 0 (without such rows: 1 of 100,000).
 *
 * Linearly dependent rows fail often too, in wide matrices above all. Of random matrices of -1, 0 and 1 with two rows
 * equal or opposite, 17 to 28 % fail with 5 x 12 elements, 2 to 39 % with 3 x 6, and 0.1 to 4 % with 8 x 8. If m < n,
 * decompose the transpose and exchange u and v: less than 0.3 % of these fail. Even with result 0, u may be wrong: with
 * mostly zero elements, the product u w vᵀ had errors of up to 3 in up to 28 of 100,000 matrices. So may v while the
 * product is right: its error was up to 0.007 in 169 of 100,000 matrices of 8 x 8 elements of -1 and 1 whose rows were
 * all equal or opposite to one of three. In each of these a singular value was below 1e-12 of the largest, but not 0.
 *
 * To verify a result, compare the product u w vᵀ with a, and vᵀ v with the identity.
 *
 * @param a      m x n matrix of any shape, only read
 * @param u_out  receives u: m x n. Its columns are orthonormal, but those of negligible singular values may be zero:
 *               with m < n, n - m of them are, or all of these except one that is shorter than 1e-7; some belong to a w
 *               that is tiny (up to 1e-14) and not 0
 * @param w_out  receives w: n x n, diagonal, with the singular values, which are 0 or more and not sorted
 * @param v_out  receives v: n x n, orthogonal
 * @return 0, or 1 when memory runs out (malloc_matrix() prints a message for a result; none is printed for working
 *         storage), when a singular value has not converged after 29 sweeps (w is then not set), or when a result is
 *         not finite (a message says which). NaN or infinity in a leads to one of the latter two, and so may a finite
 *         matrix: rarely a random one, more often one whose columns differ by orders of magnitude or whose rows are
 *         linearly dependent
 */
VELA_NODISCARD int32_t svdcmp(const fmatrix *a, fmatrix **u_out, fmatrix **w_out, fmatrix **v_out)
    VELA_NONNULL(1, 2, 3, 4);

/**
 * Inverts a square matrix by Gaussian elimination without partial pivoting: rows are exchanged only to avoid a
 * negligible pivot, and a pivot much smaller than its column loses precision. The first element of the inverse of
 * [[1e-6, 1], [1, 1]] is -0.954 instead of -1, with 1e-9 it is 0. If that can happen, exchange rows first so that the
 * diagonal is large, or solve for each column of the identity by pseudo_inverse(). Nothing is allocated.
 *
 * @param a    n x n matrix, n at most 24
 * @param inv  n x n matrix, receives the inverse; may be a
 * @return 0, or 1 when a is not square or too large or inv has other dimensions (a message says which), when n is
 *         negative, or when the elimination finds the system inconsistent (no message); inv is then unchanged. A
 *         singular matrix for which it doesn't gives 0 and a meaningless inverse, [[0, 1], [0, 1]] for example
 */
VELA_NODISCARD int32_t matrix_inverse(const fmatrix *a, fmatrix *inv) VELA_NONNULL(1, 2);

/**
 * Solves a x = b in the least-squares sense with the singular value decomposition, for an a with linearly independent
 * columns. Singular values up to 1e-14 are dropped, but with dependent columns rounding leaves one near 1e-7 of the
 * largest, which is kept. For a = [[1, 1], [2, 2], [3, 3], [5, 5]] and b = (1, 2, 4, 5) x is (-28648, 28650), with
 * result 0, while the minimum-norm solution is (0.54, 0.54). If columns may be dependent, use svdcmp(), drop the
 * singular values below 1e-6 of the largest, and multiply v, the inverse of w, the transpose of u, and b.
 *
 * @param a  m x n matrix, only read
 * @param b  m x 1 vector, only read
 * @param x  n x 1 vector, receives the solution. It must not share elements with b; on failure it may hold
 *           intermediate values
 * @return 0, or 1 when the dimensions don't match, memory runs out, the decomposition fails or the solution is not
 *         finite; a message says which
 */
VELA_NODISCARD int32_t pseudo_inverse(const fmatrix *a, const fmatrix *b, fmatrix *x) VELA_NONNULL(1, 2, 3);

/**
 * Fits a polynomial of degree 0, 1 or 2 by least squares, on an abscissa u = 2 (x - min) / (max - min) - 1 that runs
 * from -1 to 1.
 *
 * For k > 3 the coefficients are not those of a polynomial in x: only the first three are converted to x, as if they
 * were all, and the others remain those of powers of u. The value at x is then c[0] + c[1] x + c[2] x² + c[3] u³ + c[4]
 * u⁴ and so on; x³ over 0..19 gives 857, -271, 28.5, 857.
 *
 * @param xs      n abscissas, not all equal
 * @param ys      n ordinates
 * @param n       number of samples, 1 or more; k or more for a determined fit
 * @param k       number of coefficients (degree + 1), 1 or more
 * @param coeffs  receives the k coefficients in ascending powers: c[0] + c[1] x + c[2] x². It must not share elements
 *                with ys: the coefficients would be wrong, with result 0
 * @return 0, or 1 when n or k is below 1 (no message), when memory runs out, or when there is no solution, as for k of
 *         2 or more with all xs equal (a message says so; coeffs may hold intermediate values)
 */
VELA_NODISCARD int32_t polyfit(const float *xs, const float *ys, int32_t n, int32_t k, float *coeffs)
    VELA_NONNULL(1, 2, 5) VELA_READS(1, 3) VELA_READS(2, 3) VELA_WRITES(5, 4);

/**
 * Fits a quadratic surface over integer coordinates by least squares. Use it for coordinates up to 16; pictures need
 * scaled coordinates and pseudo_inverse(), see below.
 *
 * The columns of the system range from 1 to the square of the coordinates, and the negligible magnitude does not scale
 * with them. Of 1000 fits of 20 to 100 random samples each, none failed with coordinates up to 16, 1 to 10 % with those
 * up to 100, 17 to 20 % with those up to 200, 500 and 1000, and 23 to 29 % with those up to 12000 and 20000. Others
 * succeed with a wrong result: with coordinates up to 500, errors exceeded 1 % of the terms in 1 to 6 %; up to 1000 in
 * a third to a half, and up to 12000 in nearly all; the coefficients of a grid over 0..20000 are unrelated to the
 * samples. Coordinates scaled to -1..1 have none of these problems (0 of 2000 fits over 1920 x 1080 failed, of which
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
 * then poly2D_value() of the scaled x and y is the height.
 *
 * @param xs      n abscissas, up to 46340: beyond, a square is no longer a positive 32-bit number
 * @param ys      n ordinates, up to 46340
 * @param zs      n heights
 * @param n       number of samples, 1 or more; six distinct points or more for a determined fit
 * @param coeffs  receives the 6 coefficients of 1, y, x, y², x y, x², in this order. It must not share elements with zs
 * @return 0, or 1 when n is below 1 (no message), when memory runs out, or when there is no solution (a message says
 *         so; coeffs may hold intermediate values)
 */
VELA_NODISCARD int32_t polyfit2D(const uint16_t *xs, const uint16_t *ys, const float *zs, int32_t n, float *coeffs)
    VELA_NONNULL(1, 2, 3, 5) VELA_READS(1, 4) VELA_READS(2, 4) VELA_READS(3, 4);

/**
 * The height of a quadratic surface at a point, in single precision.
 *
 * @param x       abscissa
 * @param y       ordinate
 * @param coeffs  6 coefficients as polyfit2D() gives them
 * @return c[0] + c[1] y + c[2] x + c[3] y² + c[4] x y + c[5] x²
 */
float poly2D_value(float x, float y, const float *coeffs) VELA_NONNULL(3);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

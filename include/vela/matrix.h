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
 * Diagnostics go to the standard error stream, one line that begins with the function's name. Distinct matrices may be
 * used from different threads.
 */
#ifndef VELA_MATRIX_H
#define VELA_MATRIX_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** A dense matrix: element (i, j), counted from 0, is `data[i * cols + j]`. */
typedef struct fmatrix {
    int32_t rows; /**< number of rows */
    int32_t cols; /**< number of columns */
    float *data;  /**< rows x cols elements, row by row */
} fmatrix;

/**
 * Makes a matrix whose elements are not yet set.
 *
 * @param rows  number of rows, 0 or more
 * @param cols  number of columns, 0 or more
 * @return the matrix, or null when memory runs out, a number is negative, or the elements would take 4 GiB or more; a
 *         message says so
 */
fmatrix *malloc_matrix(int32_t rows, int32_t cols);

/** Releases a matrix made by the library. Null is accepted, and so is a record whose data is null. */
void free_matrix(fmatrix *m);

/**
 * Makes the transpose of a matrix.
 *
 * @param a    the matrix, only read
 * @param out  receives a new cols x rows matrix; left alone on failure. It may be the variable that holds a: the new
 *             matrix never shares elements with a
 * @return 0, or 1 when the new matrix can't be allocated (malloc_matrix() prints the message)
 */
int32_t transpose(const fmatrix *a, fmatrix **out);

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
 * @return 0, or 1 when the sizes don't fit (a message says which; c is untouched)
 */
int32_t matrix_mult(const fmatrix *a, const fmatrix *b, fmatrix *c);

/** Prints a matrix to the standard output: a line for each row, each element as "%e ", and an empty line. */
void print_matrix(const fmatrix *m);

/**
 * Inverts a 3 x 3 matrix by its adjugate, in single precision.
 *
 * @param in   9 elements, row by row; column by column serves as well, if out is read likewise
 * @param out  9 elements, receives the inverse; may be in
 * @return 0, or 1 when the determinant is negligible; out then holds the adjugate
 */
int32_t inverse_3x3(const float *in, float *out);

/**
 * Inverts a 4 x 4 matrix by its adjugate, in double precision, rounded to single precision at the end.
 *
 * @param in   16 elements, row by row; column by column serves as well, if out is read likewise
 * @param out  16 elements, receives the inverse; may be in
 * @return 0, or 1 when the determinant is negligible; a message says so and out is untouched
 */
int32_t inverse_4x4(const float *in, float *out);

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
 * @param a      m x n matrix of any shape, only read
 * @param u_out  receives u: m x n, its columns orthonormal or, with a singular value of 0, possibly zero
 * @param w_out  receives w: n x n, zero but for the singular values on the diagonal, which are 0 or more and not sorted
 * @param v_out  receives v: n x n, orthogonal
 * @return 0, or 1 when memory runs out (malloc_matrix() prints a message for a result, nothing is printed for working
 *         storage), when a singular value has not converged after 29 sweeps (w is then not set), or when a result is
 *         not finite (a message says which). NaN or infinity in a ends in one of the latter two, and so does a finite
 *         matrix now and then: rarely a random one, more often one whose columns differ by orders of magnitude
 */
int32_t svdcmp(const fmatrix *a, fmatrix **u_out, fmatrix **w_out, fmatrix **v_out);

/**
 * Inverts a square matrix by Gauss elimination, which exchanges rows only to avoid a negligible pivot. Nothing is
 * allocated.
 *
 * @param a    n x n matrix, n at most 24
 * @param inv  n x n matrix, receives the inverse; may be a
 * @return 0, or 1 when a is not square or too large or inv has another size (a message says which), or when the
 *         elimination meets a contradiction (no message; inv is untouched). A singular matrix whose
 *         elimination meets none gives 0 and an inverse of no use, [[0, 1], [0, 1]] for example.
 */
int32_t matrix_inverse(const fmatrix *a, fmatrix *inv);

/**
 * Solves a x = b in the least-squares sense with the singular value decomposition. Singular values up to 1e-14 are
 * dropped, which gives the solution of least norm where a is rank-deficient.
 *
 * @param a  m x n matrix, only read
 * @param b  m x 1 vector, only read
 * @param x  n x 1 vector, receives the solution. It must not share elements with b; on failure it may hold
 *           intermediate values
 * @return 0, or 1 when the sizes don't fit, memory runs out, the decomposition fails or the solution is not finite; a
 *         message says which
 */
int32_t pseudo_inverse(const fmatrix *a, const fmatrix *b, fmatrix *x);

/**
 * Fits a polynomial by least squares, on an abscissa that is scaled to -1..1 on the way.
 *
 * @param xs      n abscissas
 * @param ys      n ordinates
 * @param n       number of samples, 1 or more; k or more for a determined fit
 * @param k       number of coefficients (degree + 1), 1 or more. Only the first three are converted back to powers of
 *                x: beyond k = 3 those from index 3 on belong to powers of the scaled abscissa
 * @param coeffs  receives the k coefficients in ascending powers: c[0] + c[1] x + c[2] x²
 * @return 0, or 1 when n or k is below 1 (no message), when memory runs out, or when there is no solution, as for k of
 *         2 or more with all xs equal (a message says so; coeffs may hold intermediate values)
 */
int32_t polyfit(const float *xs, const float *ys, int32_t n, int32_t k, float *coeffs);

/**
 * Fits a quadratic surface over integer coordinates by least squares.
 *
 * The columns of the system differ as 1 and the square of the coordinates do, and what is negligible does not depend on
 * that: with coordinates up to 16 a fit of scattered samples succeeds, up to 100 about one in thirty fails, and beyond
 * 200 about one in five. Larger pictures are sampled in coarser steps, or fitted tile by tile.
 *
 * @param xs      n abscissas, up to 46340: beyond, a square is no longer a positive 32-bit number
 * @param ys      n ordinates, up to 46340
 * @param zs      n heights
 * @param n       number of samples, 1 or more; six distinct points or more for a determined fit
 * @param coeffs  receives the 6 coefficients of 1, y, x, y², x y, x², in this order
 * @return 0, or 1 when n is below 1 (no message), when memory runs out, or when there is no solution (a message says
 *         so; coeffs may hold intermediate values)
 */
int32_t polyfit2D(const uint16_t *xs, const uint16_t *ys, const float *zs, int32_t n, float *coeffs);

/**
 * The height of a quadratic surface at a point, in single precision.
 *
 * @param x       abscissa
 * @param y       ordinate
 * @param coeffs  6 coefficients as polyfit2D() gives them
 * @return c[0] + c[1] y + c[2] x + c[3] y² + c[4] x y + c[5] x²
 */
float poly2D_value(float x, float y, const float *coeffs);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

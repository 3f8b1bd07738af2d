/**
 * @file
 * Matrices that own their elements, and fits that hold over whole pictures: vela/matrix.h for C++.
 *
 *     auto surface = vela::fit_surface(xs, ys, heights); // spans of float, of one length
 *     if (surface)
 *         use((*surface)(960, 540));
 *
 * The fits scale their coordinates to -1..1, so that they neither fail nor go wrong over large pictures as polyfit2D()
 * does, and tell samples that do not determine the result from those that do. What the C functions print on the
 * standard error stream when a decomposition fails is printed here too. Distinct objects may be used by different
 * threads, and one by many as long as none changes it.
 */
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>
#include <vela/cpp/owner.hpp>
#include <vela/matrix.h>

namespace vela {

/** A dense matrix of single-precision numbers, row by row. Move-only, as large as a pointer. */
class matrix {
public:
    /**
     * Makes a matrix of zeros.
     *
     * @param rows  number of rows, 0 or more
     * @param cols  number of columns, 0 or more
     * @return the matrix; nothing for negative numbers, for 4 GiB of elements or more, and when memory runs out
     */
    [[nodiscard]] static std::optional<matrix> make(int32_t rows, int32_t cols) {
        if (rows < 0 || cols < 0 || uint64_t(rows) * uint64_t(cols) > UINT32_MAX / sizeof(float))
            return std::nullopt;
        std::optional<matrix> made = adopt(malloc_matrix(rows, cols));
        if (made)
            for (float &element : made->elements())
                element = 0;
        return made;
    }

    /**
     * Makes a matrix of given elements.
     *
     * @param rows    number of rows
     * @param cols    number of columns
     * @param values  rows x cols elements, row by row
     * @return the matrix; nothing where make() gives none, and for another number of elements
     */
    [[nodiscard]] static std::optional<matrix> of(int32_t rows, int32_t cols, std::span<const float> values) {
        std::optional<matrix> made = make(rows, cols);
        if (!made || made->elements().size() != values.size())
            return std::nullopt;
        for (size_t i = 0; i < values.size(); ++i)
            made->elements()[i] = values[i];
        return made;
    }

    /** Takes over a matrix that malloc_matrix(), transpose() or svdcmp() made; nothing for null. */
    [[nodiscard]] static std::optional<matrix> adopt(fmatrix *record) {
        return record ? std::optional<matrix>(matrix(record)) : std::nullopt;
    }

    [[nodiscard]] int32_t rows() const { return record->rows; } /**< the number of rows */
    [[nodiscard]] int32_t cols() const { return record->cols; } /**< the number of columns */

    /** All elements, row by row. */
    [[nodiscard]] std::span<float> elements() { return {record->data, size()}; }
    /** All elements, row by row. */
    [[nodiscard]] std::span<const float> elements() const { return {record->data, size()}; }

    /** Element (i, j), counted from 0, which must be there. */
    [[nodiscard]] float &operator()(int32_t i, int32_t j) {
        return record->data[size_t(i) * size_t(cols()) + size_t(j)];
    }
    /** Element (i, j), counted from 0, which must be there. */
    [[nodiscard]] float operator()(int32_t i, int32_t j) const {
        return record->data[size_t(i) * size_t(cols()) + size_t(j)];
    }

    [[nodiscard]] fmatrix *get() { return record.get(); }             /**< lends the record to C functions */
    [[nodiscard]] const fmatrix *get() const { return record.get(); } /**< lends the record to C functions */
    [[nodiscard]] fmatrix *release() { return record.release(); }     /**< hands the record over */

private:
    explicit matrix(fmatrix *made) : record(made) {}
    size_t size() const { return size_t(record->rows) * size_t(record->cols); }

    internal::owner<fmatrix, free_matrix> record;
};

/** The transpose; nothing when memory runs out. */
[[nodiscard]] inline std::optional<matrix> transposed(const matrix &a) {
    fmatrix *result = nullptr;
    return transpose(a.get(), &result) == 0 ? matrix::adopt(result) : std::nullopt;
}

/** The product a b; nothing when the sizes don't fit or memory runs out. */
[[nodiscard]] inline std::optional<matrix> product(const matrix &a, const matrix &b) {
    std::optional<matrix> c = a.cols() == b.rows() ? matrix::make(a.rows(), b.cols()) : std::nullopt;
    return c && matrix_mult(a.get(), b.get(), c->get()) == 0 ? std::move(c) : std::nullopt;
}

/** A decomposition a = u diag(values) vᵀ as svdcmp() gives it. */
struct decomposition {
    matrix u;                  /**< as many rows and columns as a */
    std::vector<float> values; /**< singular values, one for each column, not sorted */
    matrix v;                  /**< orthogonal */
};

/** The singular value decomposition; nothing when svdcmp() fails. */
[[nodiscard]] inline std::optional<decomposition> decompose(const matrix &a) {
    fmatrix *results[3] = {};
    const bool failed = svdcmp(a.get(), &results[0], &results[1], &results[2]) != 0;
    std::optional<matrix> u = matrix::adopt(results[0]), w = matrix::adopt(results[1]), v = matrix::adopt(results[2]);
    if (failed)
        return std::nullopt;
    decomposition found = {std::move(*u), {}, std::move(*v)};
    for (int32_t i = 0; i < w->rows(); ++i)
        found.values.push_back((*w)(i, i));
    return found;
}

/**
 * Solves a x = b in the least-squares sense.
 *
 * @param a  m x n matrix
 * @param b  m numbers
 * @return n numbers; nothing when b has another length, when the columns of a depend on each other (a singular value is
 *         below 1e-6 of the largest), when the decomposition fails or memory runs out
 */
[[nodiscard]] inline std::optional<std::vector<float>> least_squares(const matrix &a, std::span<const float> b) {
    std::optional<matrix> right = matrix::of(a.rows(), 1, b), x = matrix::make(a.cols(), 1);
    const std::optional<decomposition> svd = right && x && a.rows() >= a.cols() ? decompose(a) : std::nullopt;
    if (!svd)
        return std::nullopt;
    float least = INFINITY, greatest = 0;
    for (const float value : svd->values) {
        least = value < least ? value : least;
        greatest = value > greatest ? value : greatest;
    }
    if (!(least > 1e-6F * greatest) || pseudo_inverse(a.get(), right->get(), x->get()) != 0)
        return std::nullopt;
    return std::vector<float>(x->elements().begin(), x->elements().end());
}

} // namespace vela

namespace vela::internal {

/** The straight line that takes a range of numbers to -1..1. */
struct scaling {
    double factor = 0, offset = 0;

    float operator()(double x) const { return static_cast<float>(x * factor + offset); }

    /** To 0 when all numbers are equal; nothing when one is not finite. */
    static std::optional<scaling> of(std::span<const float> numbers) {
        double low = INFINITY, high = -INFINITY;
        for (const float x : numbers) {
            if (!std::isfinite(x))
                return std::nullopt;
            low = double{x} < low ? double{x} : low;
            high = double{x} > high ? double{x} : high;
        }
        if (!(high > low))
            return scaling();
        return scaling{2 / (high - low), -1 - low * (2 / (high - low))};
    }
};

} // namespace vela::internal

namespace vela {

/** A polynomial that fit_polynomial() found. */
class polynomial {
public:
    /** The value at x. */
    [[nodiscard]] double operator()(double x) const {
        const double u = double{scale(x)};
        double sum = 0;
        for (size_t i = scaled.size(); i-- > 0;)
            sum = sum * u + double{scaled[i]};
        return sum;
    }

    /** The coefficients in ascending powers of u, the abscissa scaled to -1..1 over the samples. */
    [[nodiscard]] std::span<const float> coefficients() const { return scaled; }

private:
    friend std::optional<polynomial> fit_polynomial(std::span<const float>, std::span<const float>, int32_t);
    polynomial(internal::scaling to_u, std::vector<float> found) : scale(to_u), scaled(std::move(found)) {}

    internal::scaling scale;
    std::vector<float> scaled;
};

/**
 * Fits a polynomial of any degree by least squares. Degrees up to 10 or so are determined well.
 *
 * @param xs      abscissas
 * @param ys      as many ordinates
 * @param degree  0 or more
 * @return the polynomial; nothing when the lengths differ, when there are fewer samples than coefficients or they don't
 *         determine them, for numbers that are not finite, and when memory runs out
 */
[[nodiscard]] inline std::optional<polynomial> fit_polynomial(std::span<const float> xs, std::span<const float> ys,
                                                              int32_t degree) {
    if (degree < 0 || xs.size() != ys.size() || xs.size() > INT32_MAX || xs.size() <= size_t(degree))
        return std::nullopt;
    const std::optional<internal::scaling> scale = internal::scaling::of(xs);
    std::optional<matrix> design = matrix::make(int32_t(xs.size()), degree + 1);
    if (!design || !scale)
        return std::nullopt;
    for (int32_t i = 0; i < design->rows(); ++i) {
        float power = 1;
        for (int32_t j = 0; j <= degree; ++j, power *= (*scale)(double{xs[size_t(i)]}))
            (*design)(i, j) = power;
    }
    std::optional<std::vector<float>> found = least_squares(*design, ys);
    return found ? std::optional(polynomial(*scale, std::move(*found))) : std::nullopt;
}

/** A quadratic surface that fit_surface() found. */
class surface {
public:
    /** The height at (x, y). */
    [[nodiscard]] float operator()(double x, double y) const {
        return poly2D_value(scale_x(x), scale_y(y), scaled.data());
    }

    /** The coefficients of 1, v, u, v², u v, u², of the coordinates scaled to -1..1 over the samples. */
    [[nodiscard]] std::span<const float, 6> coefficients() const { return scaled; }

private:
    friend std::optional<surface> fit_surface(std::span<const float>, std::span<const float>, std::span<const float>);
    surface(internal::scaling x, internal::scaling y) : scale_x(x), scale_y(y) {}

    internal::scaling scale_x, scale_y;
    std::array<float, 6> scaled = {};
};

/**
 * Fits a quadratic surface by least squares.
 *
 * @param xs  abscissas
 * @param ys  as many ordinates
 * @param zs  as many heights
 * @return the surface; nothing when the lengths differ, when the samples don't determine it (fewer than six, or all on
 *         one conic), for numbers that are not finite, and when memory runs out
 */
[[nodiscard]] inline std::optional<surface> fit_surface(std::span<const float> xs, std::span<const float> ys,
                                                        std::span<const float> zs) {
    if (xs.size() != zs.size() || ys.size() != zs.size() || zs.size() > INT32_MAX)
        return std::nullopt;
    const std::optional<internal::scaling> scale_x = internal::scaling::of(xs), scale_y = internal::scaling::of(ys);
    std::optional<matrix> design = matrix::make(int32_t(zs.size()), 6);
    if (!scale_x || !scale_y || !design)
        return std::nullopt;
    for (size_t i = 0; i < zs.size(); ++i) {
        const float x = (*scale_x)(double{xs[i]}), y = (*scale_y)(double{ys[i]});
        const float terms[] = {1, y, x, y * y, x * y, x * x};
        for (size_t j = 0; j < 6; ++j)
            design->elements()[6 * i + j] = terms[j];
    }
    const std::optional<std::vector<float>> found = least_squares(*design, zs);
    if (!found)
        return std::nullopt;
    surface fitted(*scale_x, *scale_y);
    for (size_t j = 0; j < 6; ++j)
        fitted.scaled[j] = (*found)[j];
    return fitted;
}

} // namespace vela

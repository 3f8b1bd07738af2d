/**
 * @file
 * Matrices that own their elements, and least-squares fits that hold over whole pictures: vela/matrix.h for C++.
 *
 *     auto surface = vela::fit_surface(xs, ys, heights); // spans of float, of one length
 *     if (surface)
 *         use((*surface)(960, 540));
 *
 * The fits scale their coordinates to -1..1, which keeps them well conditioned over large pictures, where polyfit2D()
 * is not, and refuse samples that do not determine the result. When a decomposition fails, the C functions print a
 * message on the standard error stream.
 *
 * What returns or holds a std::vector (decompose(), least_squares() and the fits) throws std::bad_alloc; nothing else
 * throws. Distinct objects may be used by different threads, and one object by many as long as none changes it.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>
#include <vela/cpp/owner.hpp>
#include <vela/cpp/result.hpp>
#include <vela/matrix.h>

namespace vela {

/** A dense matrix of single-precision numbers, row by row. Move-only, as large as a pointer. */
class matrix {
public:
    struct decomposition;

    /**
     * Makes a matrix of zeros.
     *
     * @param rows  number of rows, 0 or more
     * @param cols  number of columns, 0 or more
     * @return the matrix; empty for negative numbers, for 4 GiB of elements or more, and when memory runs out
     */
    [[nodiscard]] static result<matrix> make(std::int32_t rows, std::int32_t cols) noexcept {
        if (rows < 0 || cols < 0 || std::uint64_t(rows) * std::uint64_t(cols) > UINT32_MAX / sizeof(float))
            return std::nullopt;
        result<matrix> made = adopt(malloc_matrix(rows, cols));
        if (made)
            std::fill_n(made->elements().data(), made->size(), 0.0F);
        return made;
    }

    /**
     * Makes a matrix of given elements.
     *
     * @param rows    number of rows
     * @param cols    number of columns
     * @param values  rows x cols elements, row by row
     * @return the matrix; empty as for make(), and for another number of elements
     */
    [[nodiscard]] static result<matrix> of(std::int32_t rows, std::int32_t cols,
                                           std::span<const float> values) noexcept {
        result<matrix> made = make(rows, cols);
        if (!made || made->elements().size() != values.size())
            return std::nullopt;
        std::copy(values.begin(), values.end(), made->elements().begin());
        return made;
    }

    /** Takes over a matrix that malloc_matrix(), transpose() or svdcmp() made; empty for null. */
    [[nodiscard]] static result<matrix> adopt(fmatrix *record) noexcept {
        return record ? result<matrix>(matrix(record)) : std::nullopt;
    }

    [[nodiscard]] std::int32_t rows() const noexcept { return record_->rows; } /**< the number of rows */
    [[nodiscard]] std::int32_t cols() const noexcept { return record_->cols; } /**< the number of columns */

    /** All elements, row by row. */
    [[nodiscard]] std::span<float> elements() noexcept { return {record_->data, size()}; }
    /** All elements, row by row. */
    [[nodiscard]] std::span<const float> elements() const noexcept { return {record_->data, size()}; }

    /** Element (i, j), counted from 0; it must exist. */
    [[nodiscard]] float &operator()(std::int32_t i, std::int32_t j) noexcept { return record_->data[index(i, j)]; }
    /** Element (i, j), counted from 0; it must exist. */
    [[nodiscard]] float operator()(std::int32_t i, std::int32_t j) const noexcept { return record_->data[index(i, j)]; }

    [[nodiscard]] fmatrix *get() noexcept { return record_.get(); }             /**< lends the record to C functions */
    [[nodiscard]] const fmatrix *get() const noexcept { return record_.get(); } /**< lends the record to C functions */
    /** Hands the record over to the caller, who releases it by free_matrix(). */
    [[nodiscard]] fmatrix *release() noexcept { return record_.release(); }

private:
    explicit matrix(fmatrix *record) noexcept : record_(record) {}
    std::size_t size() const noexcept { return std::size_t(record_->rows) * std::size_t(record_->cols); }
    std::size_t index(std::int32_t i, std::int32_t j) const noexcept {
        return std::size_t(i) * std::size_t(record_->cols) + std::size_t(j);
    }

    internal::owner<fmatrix, free_matrix> record_;
};

/** A decomposition a = u diag(values) vᵀ as svdcmp() gives it. */
struct matrix::decomposition {
    matrix u;                  /**< of the size of a */
    std::vector<float> values; /**< singular values, one for each column, not sorted */
    matrix v;                  /**< orthogonal */
};

/** The transpose; empty when memory runs out. */
[[nodiscard]] inline result<matrix> transposed(const matrix &a) noexcept {
    fmatrix *result = nullptr;
    return transpose(a.get(), &result) == 0 ? matrix::adopt(result) : std::nullopt;
}

/** The product a b; empty when the sizes do not match or memory runs out. */
[[nodiscard]] inline result<matrix> product(const matrix &a, const matrix &b) noexcept {
    result<matrix> c = a.cols() == b.rows() ? matrix::make(a.rows(), b.cols()) : std::nullopt;
    return c && matrix_mult(a.get(), b.get(), c->get()) == 0 ? std::move(c) : std::nullopt;
}

/** The singular value decomposition; empty when svdcmp() fails. */
[[nodiscard]] inline std::optional<matrix::decomposition> decompose(const matrix &a) {
    fmatrix *results[3] = {};
    const bool failed = svdcmp(a.get(), &results[0], &results[1], &results[2]) != 0;
    result<matrix> u = matrix::adopt(results[0]), w = matrix::adopt(results[1]), v = matrix::adopt(results[2]);
    if (failed)
        return std::nullopt;
    matrix::decomposition found = {std::move(*u), {}, std::move(*v)};
    for (std::int32_t i = 0; i < w->rows(); ++i)
        found.values.push_back((*w)(i, i));
    return found;
}

/**
 * Solves a x = b in the least-squares sense.
 *
 * @param a  m x n matrix
 * @param b  m numbers
 * @return n numbers; empty when b has another length, when the columns of a are linearly dependent (a singular value is
 *         below 1e-6 of the largest), when the decomposition fails or memory runs out
 */
[[nodiscard]] inline std::optional<std::vector<float>> least_squares(const matrix &a, std::span<const float> b) {
    result<matrix> right = matrix::of(a.rows(), 1, b), x = matrix::make(a.cols(), 1);
    const std::optional<matrix::decomposition> svd = right && x && a.rows() >= a.cols() ? decompose(a) : std::nullopt;
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

/** The affine map that takes a range of numbers to -1..1. */
struct scaling {
    double factor = 0, offset = 0;

    float operator()(double x) const noexcept { return static_cast<float>(x * factor + offset); }

    /** To 0 when all numbers are equal; empty when one is not finite. */
    static std::optional<scaling> of(std::span<const float> numbers) noexcept {
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
    [[nodiscard]] double operator()(double x) const noexcept {
        const double u = double{scale_(x)};
        double sum = 0;
        for (std::size_t i = coefficients_.size(); i-- > 0;)
            sum = sum * u + double{coefficients_[i]};
        return sum;
    }

    /** The coefficients in ascending powers of u, the abscissa scaled to -1..1 over the samples. */
    [[nodiscard]] std::span<const float> coefficients() const noexcept { return coefficients_; }

private:
    friend std::optional<polynomial> fit_polynomial(std::span<const float>, std::span<const float>, std::int32_t);
    polynomial(internal::scaling scale, std::vector<float> coefficients) noexcept
        : scale_(scale), coefficients_(std::move(coefficients)) {}

    internal::scaling scale_;
    std::vector<float> coefficients_;
};

/**
 * Fits a polynomial of any degree by least squares. Degrees up to 10 or so are well conditioned.
 *
 * @param xs      abscissas
 * @param ys      the same number of ordinates
 * @param degree  0 or more
 * @return the polynomial; empty when the lengths differ, when there are fewer samples than coefficients or they do not
 *         determine them, for numbers that are not finite, and when memory runs out
 */
[[nodiscard]] inline std::optional<polynomial> fit_polynomial(std::span<const float> xs, std::span<const float> ys,
                                                              std::int32_t degree) {
    if (degree < 0 || xs.size() != ys.size() || xs.size() > INT32_MAX || xs.size() <= std::size_t(degree))
        return std::nullopt;
    const std::optional<internal::scaling> scale = internal::scaling::of(xs);
    result<matrix> design = matrix::make(std::int32_t(xs.size()), degree + 1);
    if (!design || !scale)
        return std::nullopt;
    for (std::int32_t i = 0; i < design->rows(); ++i) {
        float power = 1;
        for (std::int32_t j = 0; j <= degree; ++j, power *= (*scale)(double{xs[std::size_t(i)]}))
            (*design)(i, j) = power;
    }
    std::optional<std::vector<float>> found = least_squares(*design, ys);
    return found ? std::optional(polynomial(*scale, std::move(*found))) : std::nullopt;
}

/** A quadratic surface that fit_surface() found. */
class surface {
public:
    /** The height at (x, y). */
    [[nodiscard]] float operator()(double x, double y) const noexcept {
        return poly2D_value(scale_x_(x), scale_y_(y), coefficients_.data());
    }

    /** The coefficients of 1, v, u, v², u v, u², of the coordinates scaled to -1..1 over the samples. */
    [[nodiscard]] std::span<const float, 6> coefficients() const noexcept { return coefficients_; }

private:
    friend std::optional<surface> fit_surface(std::span<const float>, std::span<const float>, std::span<const float>);
    surface(internal::scaling scale_x, internal::scaling scale_y) noexcept : scale_x_(scale_x), scale_y_(scale_y) {}

    internal::scaling scale_x_, scale_y_;
    std::array<float, 6> coefficients_ = {};
};

/**
 * Fits a quadratic surface by least squares.
 *
 * @param xs  abscissas
 * @param ys  the same number of ordinates
 * @param zs  the same number of heights
 * @return the surface; empty when the lengths differ, when the samples do not determine it (fewer than six, or all on
 *         one conic), for numbers that are not finite, and when memory runs out
 */
[[nodiscard]] inline std::optional<surface> fit_surface(std::span<const float> xs, std::span<const float> ys,
                                                        std::span<const float> zs) {
    if (xs.size() != zs.size() || ys.size() != zs.size() || zs.size() > INT32_MAX)
        return std::nullopt;
    const std::optional<internal::scaling> scale_x = internal::scaling::of(xs), scale_y = internal::scaling::of(ys);
    result<matrix> design = matrix::make(std::int32_t(zs.size()), 6);
    if (!scale_x || !scale_y || !design)
        return std::nullopt;
    for (std::size_t i = 0; i < zs.size(); ++i) {
        const float x = (*scale_x)(double{xs[i]}), y = (*scale_y)(double{ys[i]});
        const float terms[] = {1, y, x, y * y, x * y, x * x};
        std::copy_n(terms, 6, design->elements().data() + 6 * i);
    }
    const std::optional<std::vector<float>> found = least_squares(*design, zs);
    if (!found)
        return std::nullopt;
    surface fitted(*scale_x, *scale_y);
    std::copy_n(found->begin(), 6, fitted.coefficients_.begin());
    return fitted;
}

} // namespace vela

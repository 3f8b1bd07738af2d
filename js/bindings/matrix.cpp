// <vela/cpp/matrix.hpp>. A matrix is its number of rows, that of its columns, and its elements.
#include "bindings.hpp"
#include <vela/cpp/matrix.hpp>

using namespace bindings;
using vela::matrix;

namespace {

block *elements_of(const std::optional<matrix> &a) { return a ? give(a->elements()) : nullptr; }

} // namespace

VELA_EXPORT(matrix_transposed) block *transposed(int32_t rows, int32_t cols, const float *elements, size_t size) {
    const auto a = matrix::of(rows, cols, {elements, size});
    return a ? elements_of(vela::transposed(*a)) : nullptr;
}

VELA_EXPORT(matrix_product)
block *product(int32_t a_rows, int32_t a_cols, const float *a_elements, size_t a_size, int32_t b_rows, int32_t b_cols,
               const float *b_elements, size_t b_size) {
    const auto a = matrix::of(a_rows, a_cols, {a_elements, a_size}),
               b = matrix::of(b_rows, b_cols, {b_elements, b_size});
    return a && b ? elements_of(vela::product(*a, *b)) : nullptr;
}

VELA_EXPORT(matrix_inverse) block *inverse(int32_t rows, int32_t cols, const float *elements, size_t size) {
    auto a = matrix::of(rows, cols, {elements, size});
    return a && matrix_inverse(a->get(), a->get()) == 0 ? elements_of(a) : nullptr;
}

VELA_EXPORT(matrix_inverse_3x3) block *inverse_of_3x3(const float *elements, size_t) {
    result<float> to(9);
    return inverse_3x3(elements, to.data()) == 0 ? to.release() : nullptr;
}

VELA_EXPORT(matrix_inverse_4x4) block *inverse_of_4x4(const float *elements, size_t) {
    result<float> to(16);
    return inverse_4x4(elements, to.data()) == 0 ? to.release() : nullptr;
}

// The elements of u, the singular values, and the elements of v.
VELA_EXPORT(matrix_decompose) block *decompose(int32_t rows, int32_t cols, const float *elements, size_t size) {
    const auto a = matrix::of(rows, cols, {elements, size});
    const auto svd = a ? vela::decompose(*a) : std::nullopt;
    if (!svd)
        return nullptr;
    const std::span<const float> u = svd->u.elements(), v = svd->v.elements();
    result<float> all(u.size() + svd->values.size() + v.size());
    std::copy(v.begin(), v.end(),
              std::copy(svd->values.begin(), svd->values.end(), std::copy(u.begin(), u.end(), all.data())));
    return all.release();
}

VELA_EXPORT(matrix_least_squares)
block *least_squares(int32_t rows, int32_t cols, const float *elements, size_t size, const float *b, size_t count) {
    const auto a = matrix::of(rows, cols, {elements, size});
    return a ? give(vela::least_squares(*a, {b, count})) : nullptr;
}

VELA_EXPORT(fit_polynomial)
vela::polynomial *fit_polynomial(const float *xs, size_t x_count, const float *ys, size_t y_count, int32_t degree) {
    return hold(vela::fit_polynomial({xs, x_count}, {ys, y_count}, degree));
}

VELA_EXPORT(polynomial_free) void free_polynomial(vela::polynomial *one) { delete one; }
VELA_EXPORT(polynomial_value) double polynomial_value(const vela::polynomial *one, double x) { return (*one)(x); }
VELA_EXPORT(polynomial_coefficients) block *polynomial_coefficients(const vela::polynomial *one) {
    return give(one->coefficients());
}

VELA_EXPORT(fit_surface)
vela::surface *fit_surface(const float *xs, size_t x_count, const float *ys, size_t y_count, const float *zs,
                           size_t z_count) {
    return hold(vela::fit_surface({xs, x_count}, {ys, y_count}, {zs, z_count}));
}

VELA_EXPORT(surface_free) void free_surface(vela::surface *one) { delete one; }
VELA_EXPORT(surface_value) double surface_value(const vela::surface *one, double x, double y) { return (*one)(x, y); }
VELA_EXPORT(surface_coefficients) block *surface_coefficients(const vela::surface *one) {
    return give(std::span<const float>(one->coefficients()));
}

VELA_EXPORT(polyfit) block *fit(const float *xs, size_t count, const float *ys, size_t, uint32_t coefficients) {
    result<float> to(coefficients);
    return polyfit(xs, ys, static_cast<int32_t>(count), static_cast<int32_t>(coefficients), to.data()) == 0
               ? to.release()
               : nullptr;
}

VELA_EXPORT(polyfit_2d)
block *fit_2d(const uint16_t *xs, size_t count, const uint16_t *ys, size_t, const float *zs, size_t) {
    result<float> to(6);
    return polyfit2D(xs, ys, zs, static_cast<int32_t>(count), to.data()) == 0 ? to.release() : nullptr;
}

VELA_EXPORT(poly_2d_value) float value_2d(const float *coefficients, size_t, float x, float y) {
    return poly2D_value(x, y, coefficients);
}

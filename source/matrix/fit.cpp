// Least-squares fits of polynomials.
#include "common/diagnostics.hpp"
#include <algorithm>
#include <cstdint>
#include <vela/matrix.h>

using vela::detail::report;

namespace {

// The abscissa u = offset + x scale, which maps the samples' range to -1..1.
struct normalisation {
    double scale, offset;

    double operator()(float x) const { return offset + double{x} * scale; }
};

normalisation normalise(const float *xs, int32_t n) {
    float low = xs[0], high = xs[0];
    for (int32_t i = 1; i < n; ++i) {
        low = xs[i] < low ? xs[i] : low;
        high = xs[i] > high ? xs[i] : high;
    }
    const double scale = 2 / double{high - low};
    return {scale, double{-low} * scale - 1};
}

// A row of powers of u.
void fill_powers(float *row, int32_t k, double u) {
    row[0] = 1;
    for (int32_t j = 1; j < k; ++j)
        row[j] = static_cast<float>(double{row[j - 1]} * u);
}

// Turns the first coefficients of powers of u into those of powers of x.
void denormalise(float *coeffs, int32_t k, const normalisation &u) {
    if (k < 2)
        return;
    const double d0 = double{coeffs[0]}, d1 = double{coeffs[1]}, d2 = k > 2 ? double{coeffs[2]} : 0;
    if (k == 2) {
        coeffs[0] = static_cast<float>(d0 + d1 * u.offset);
        coeffs[1] = static_cast<float>(d1 * u.scale);
        return;
    }
    coeffs[0] = static_cast<float>(d0 + d1 * u.offset + d2 * u.offset * u.offset);
    coeffs[1] = static_cast<float>(2 * d2 * u.scale * u.offset + d1 * u.scale);
    coeffs[2] = static_cast<float>(d2 * u.scale * u.scale);
}

// A product of coordinates as a 32-bit number, which beyond 46340 squared comes out negative.
float product(uint32_t x, uint32_t y) { return static_cast<float>(static_cast<int32_t>(x * y)); }

// Solves for the coefficients that fit a design matrix to the samples, and releases the matrix.
int32_t solve(const char *name, fmatrix *design, const float *samples, float *coeffs) {
    const fmatrix b = {design->rows, 1, const_cast<float *>(samples)}; // only read
    fmatrix x = {design->cols, 1, nullptr};
    x.data = coeffs;
    const int32_t failed = pseudo_inverse(design, &b, &x);
    if (failed)
        report(name, "failed pseudo inverse\n");
    free_matrix(design);
    return failed;
}

} // namespace

int32_t polyfit(const float *xs, const float *ys, int32_t n, int32_t k, float *coeffs) {
    if (n < 1 || k < 1)
        return 1;
    fmatrix *design = malloc_matrix(n, k);
    if (!design) {
        report(__func__, "failed to allocate X matrix\n");
        return 1;
    }
    const normalisation u = normalise(xs, n);
    float *row = design->data;
    for (int32_t i = 0; i < n; ++i, row += k)
        fill_powers(row, k, u(xs[i]));
    if (solve(__func__, design, ys, coeffs) != 0)
        return 1;
    denormalise(coeffs, k, u);
    return 0;
}

int32_t polyfit2D(const uint16_t *xs, const uint16_t *ys, const float *zs, int32_t n, float *coeffs) {
    if (n < 1)
        return 1;
    fmatrix *design = malloc_matrix(n, 6);
    if (!design) {
        report(__func__, "failed to allocate XY matrix\n");
        return 1;
    }
    float *row = design->data;
    for (int32_t i = 0; i < n; ++i, row += 6) {
        const uint32_t x = xs[i], y = ys[i];
        row[0] = 1;
        row[1] = static_cast<float>(y);
        row[2] = static_cast<float>(x);
        row[3] = product(y, y);
        row[4] = product(y, x);
        row[5] = product(x, x);
    }
    return solve(__func__, design, zs, coeffs);
}

float poly2D_value(float x, float y, const float *coeffs) {
    return (coeffs[1] + y * coeffs[3]) * y + (y * coeffs[4] + x * coeffs[5] + coeffs[2]) * x + coeffs[0];
}

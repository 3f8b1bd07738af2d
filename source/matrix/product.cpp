// The product of two matrices.
#include "blocks.hpp"
#include "common/diagnostics.hpp"
#include <cstdint>
#include <vela/matrix.h>

using namespace vela::detail;

namespace {

// A tile of the product: rows x 4 or rows x 1 elements, whose sums are computed together along the common dimension.
template <size_t rows>
void multiply_block(const float *a, const float *b, float *c, size_t depth, size_t width) {
    doubles sums[rows] = {};
    for (size_t k = 0; k < depth; ++k)
        for (size_t i = 0; i < rows; ++i)
            sums[i] = sums[i] + widen(load(b + k * width) * a[i * depth + k]);
    for (size_t i = 0; i < rows; ++i)
        store(c + i * width, narrow(sums[i]));
}

template <size_t rows>
void multiply_column(const float *a, const float *b, float *c, size_t depth, size_t width) {
    double sums[rows] = {};
    for (size_t k = 0; k < depth; ++k)
        for (size_t i = 0; i < rows; ++i)
            sums[i] += double{a[i * depth + k] * b[k * width]};
    for (size_t i = 0; i < rows; ++i)
        c[i * width] = static_cast<float>(sums[i]);
}

// A band of rows of the product.
template <size_t rows>
void multiply_band(const float *a, const float *b, float *c, size_t depth, size_t width) {
    size_t j = 0;
    for (; j + kLanes <= width; j += kLanes)
        multiply_block<rows>(a, b + j, c + j, depth, width);
    for (; j < width; ++j)
        multiply_column<rows>(a, b + j, c + j, depth, width);
}

constexpr size_t kBand = 4;

void multiply(const float *a, const float *b, float *c, size_t height, size_t depth, size_t width) {
    size_t i = 0;
    for (; i + kBand <= height; i += kBand)
        multiply_band<kBand>(a + i * depth, b, c + i * width, depth, width);
    for (; i < height; ++i)
        multiply_band<1>(a + i * depth, b, c + i * width, depth, width);
}

} // namespace

int32_t matrix_mult(const fmatrix *a, const fmatrix *b, fmatrix *c) {
    if (a->cols != b->rows) {
        report(__func__, "Acols (%d) != Brows (%d)\n", a->cols, b->rows);
        return 1;
    }
    if (c->rows != a->rows || c->cols != b->cols) {
        report(__func__, "result needs to be Arows x Bcols\n");
        return 1;
    }
    if (c->rows < 0 || a->cols < 0 || c->cols < 0)
        return 1;
    multiply(a->data, b->data, c->data, static_cast<size_t>(c->rows), static_cast<size_t>(a->cols),
             static_cast<size_t>(c->cols));
    return 0;
}

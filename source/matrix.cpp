// The matrix record, products, and the inverses of fixed size.
#include "detail/diagnostics.hpp"
#include "detail/memory.hpp"
#include "detail/negligible.hpp"
#include "detail/simd.hpp"
#include <cstdint>
#include <cstdio>
#include <vela/matrix.h>

using vela::detail::allocate;
using vela::detail::negligible;
using vela::detail::report;

namespace {

// A tile of the product: rows x columns elements, each with a sum of its own. The sums advance side by side through
// the common dimension, so the wide unit works across columns and no sum is reordered.
template <size_t rows, size_t columns>
[[gnu::always_inline]] inline void multiply_tile(const float *a, const float *b, float *c, size_t depth, size_t width) {
    double sums[rows][columns] = {};
    for (size_t k = 0; k < depth; ++k)
        for (size_t i = 0; i < rows; ++i)
            for (size_t j = 0; j < columns; ++j)
                sums[i][j] += double{a[i * depth + k] * b[k * width + j]};
    for (size_t i = 0; i < rows; ++i)
        for (size_t j = 0; j < columns; ++j)
            c[i * width + j] = static_cast<float>(sums[i][j]);
}

// A band of rows of the product, in tiles as wide as they come.
template <size_t rows>
[[gnu::always_inline]] inline void multiply_band(const float *a, const float *b, float *c, size_t depth, size_t width) {
    size_t j = 0;
    for (; j + 8 <= width; j += 8)
        multiply_tile<rows, 8>(a, b + j, c + j, depth, width);
    for (; j < width; ++j)
        multiply_tile<rows, 1>(a, b + j, c + j, depth, width);
}

[[gnu::always_inline]] inline void multiply(const float *a, const float *b, float *c, size_t height, size_t depth,
                                            size_t width) {
    size_t i = 0;
    for (; i + 4 <= height; i += 4)
        multiply_band<4>(a + i * depth, b, c + i * width, depth, width);
    for (; i < height; ++i)
        multiply_band<1>(a + i * depth, b, c + i * width, depth, width);
}

} // namespace

fmatrix *malloc_matrix(int32_t rows, int32_t cols) {
    auto record = allocate<fmatrix>(1);
    if (!record) {
        report(__func__, "failed fmatrix malloc\n");
        return nullptr;
    }
    // Sizes that don't fit a 32-bit machine are refused everywhere.
    const uint64_t count = static_cast<uint64_t>(rows) * static_cast<uint64_t>(cols);
    const bool fits = rows >= 0 && cols >= 0 && count <= UINT32_MAX / sizeof(float);
    auto elements = fits ? allocate<float>(static_cast<size_t>(count)) : nullptr;
    if (!elements) {
        report(__func__, "failed data malloc\n");
        return nullptr;
    }
    *record.get() = {rows, cols, elements.release()};
    return record.release();
}

void free_matrix(fmatrix *m) {
    if (!m)
        return;
    float *elements = m->data;
    m->data = nullptr;
    std::free(elements);
    std::free(m);
}

int32_t transpose(const fmatrix *a, fmatrix **out) {
    fmatrix *result = malloc_matrix(a->cols, a->rows);
    if (!result)
        return 1;
    *out = result;
    const auto rows = static_cast<size_t>(a->rows), cols = static_cast<size_t>(a->cols);
    for (size_t i = 0; i < rows; ++i)
        for (size_t j = 0; j < cols; ++j)
            result->data[j * rows + i] = a->data[i * cols + j];
    return 0;
}

int32_t matrix_mult(const fmatrix *a, const fmatrix *b, fmatrix *c) {
    if (a->cols != b->rows) {
        report(__func__, "Acols (%d) != Brows (%d)\n", a->cols, b->rows);
        return 1;
    }
    if (c->rows != a->rows || c->cols != b->cols) {
        report(__func__, "result needs to be Arows x Bcols\n");
        return 1;
    }
    vela::detail::run_widest_floats<multiply>(static_cast<const float *>(a->data), static_cast<const float *>(b->data),
                                              c->data, static_cast<size_t>(c->rows), static_cast<size_t>(a->cols),
                                              static_cast<size_t>(c->cols));
    return 0;
}

void print_matrix(const fmatrix *m) {
    const float *element = m->data;
    for (int32_t i = 0; i < m->rows; ++i) {
        for (int32_t j = 0; j < m->cols; ++j)
            std::printf("%e ", double{*element++});
        std::putchar('\n');
    }
    std::putchar('\n');
}

int32_t inverse_3x3(const float *in, float *out) {
    const float m0 = in[0], m1 = in[1], m2 = in[2];
    const float m3 = in[3], m4 = in[4], m5 = in[5];
    const float m6 = in[6], m7 = in[7], m8 = in[8];
    const float adjugate[9] = {
        m4 * m8 - m5 * m7, m2 * m7 - m1 * m8, m1 * m5 - m2 * m4, //
        m5 * m6 - m3 * m8, m0 * m8 - m2 * m6, m2 * m3 - m0 * m5, //
        m3 * m7 - m4 * m6, m1 * m6 - m0 * m7, m0 * m4 - m1 * m3, //
    };
    const float determinant = m3 * adjugate[1] + m0 * adjugate[0] + m6 * adjugate[2];
    const bool singular = negligible(determinant);
    for (int k = 0; k < 9; ++k)
        out[k] = singular ? adjugate[k] : adjugate[k] / determinant;
    return singular;
}

int32_t inverse_4x4(const float *in, float *out) {
    double m[4][4];
    for (int i = 0; i < 16; ++i)
        m[i / 4][i % 4] = double{in[i]};

    // For each column, the three others in ascending order of...
    constexpr int first[4] = {1, 0, 0, 0}, second[4] = {2, 2, 1, 1}, third[4] = {3, 3, 3, 2};
    double cofactor[4][4];
    const int others[4][3] = {{1, 2, 3}, {0, 2, 3}, {3, 0, 1}, {2, 0, 1}};
    for (int i = 0; i < 4; ++i) {
        const double *p = m[others[i][0]], *q = m[others[i][1]], *r = m[others[i][2]];
        for (int j = 0; j < 4; ++j) {
            const int a = first[j], b = second[j], c = third[j];
            const double value = p[a] * (q[b] * r[c] - q[c] * r[b]) - p[b] * (q[a] * r[c] - q[c] * r[a]) +
                                 p[c] * (q[a] * r[b] - q[b] * r[a]);
            cofactor[i][j] = (i + j) % 2 ? -value : value;
        }
    }
    const double determinant =
        m[0][0] * cofactor[0][0] + m[0][1] * cofactor[0][1] + m[0][2] * cofactor[0][2] + m[0][3] * cofactor[0][3];
    if (negligible(static_cast<float>(determinant))) {
        report(__func__, "zero determinant, no inverse.\n");
        return 1;
    }
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            out[i * 4 + j] = static_cast<float>(cofactor[j][i] / determinant);
    return 0;
}

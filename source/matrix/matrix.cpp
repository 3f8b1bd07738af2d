// The matrix record, products, and the inverses of fixed size.
#include "blocks.hpp"
#include "common/diagnostics.hpp"
#include "common/memory.hpp"
#include "common/unit.hpp"
#include "negligible.hpp"
#include <cstdint>
#include <cstdio>
#include <vela/matrix.h>

using namespace vela::detail;

namespace {

// A tile of the product: rows x columns elements, each with a sum of its own, which all advance through the common
// dimension side by side. Columns come in blocks or one at a time.
template <size_t rows, size_t blocks>
[[gnu::always_inline]] inline void multiply_blocks(const float *a, const float *b, float *c, size_t depth,
                                                   size_t width) {
    doubles sums[rows][blocks] = {};
    for (size_t k = 0; k < depth; ++k)
        for (size_t i = 0; i < rows; ++i)
            for (size_t j = 0; j < blocks; ++j)
                sums[i][j] = sums[i][j] + widen(load(b + k * width + j * kFloatLanes) * a[i * depth + k]);
    for (size_t i = 0; i < rows; ++i)
        for (size_t j = 0; j < blocks; ++j)
            store(c + i * width + j * kFloatLanes, narrow(sums[i][j]));
}

template <size_t rows>
[[gnu::always_inline]] inline void multiply_column(const float *a, const float *b, float *c, size_t depth,
                                                   size_t width) {
    double sums[rows] = {};
    for (size_t k = 0; k < depth; ++k)
        for (size_t i = 0; i < rows; ++i)
            sums[i] += double{a[i * depth + k] * b[k * width]};
    for (size_t i = 0; i < rows; ++i)
        c[i * width] = static_cast<float>(sums[i]);
}

// A band of rows of the product.
template <size_t rows>
[[gnu::always_inline]] inline void multiply_band(const float *a, const float *b, float *c, size_t depth, size_t width) {
    size_t j = 0;
    for (; j + kFloatLanes <= width; j += kFloatLanes)
        multiply_blocks<rows, 1>(a, b + j, c + j, depth, width);
    for (; j < width; ++j)
        multiply_column<rows>(a, b + j, c + j, depth, width);
}

constexpr size_t kBand = 4;

[[gnu::always_inline]] inline void multiply(const float *a, const float *b, float *c, size_t height, size_t depth,
                                            size_t width) {
    size_t i = 0;
    for (; i + kBand <= height; i += kBand)
        multiply_band<kBand>(a + i * depth, b, c + i * width, depth, width);
    for (; i < height; ++i)
        multiply_band<1>(a + i * depth, b, c + i * width, depth, width);
}

// For each column the elements in the three other ones, ordered so that the sign of the cofactor's row alone is left to
// account for.
struct other_columns {
    four_doubles first, second, third;
};

[[gnu::always_inline]] inline other_columns others(const float *row) {
    return {pick<1, 2, 0, 1>(row), pick<2, 0, 1, 0>(row), pick<3, 3, 3, 2>(row)};
}

// The determinants of two rows in the pairs of other columns.
struct minors {
    four_doubles second_third, first_third, first_second;
};

[[gnu::always_inline]] inline minors minors_of(const other_columns &upper, const other_columns &lower) {
    return {upper.second * lower.third - upper.third * lower.second,
            upper.first * lower.third - upper.third * lower.first,
            upper.first * lower.second - upper.second * lower.first};
}

// The cofactors of a row whose sign is + in the first column, and of one where it is -. The remaining three rows are
// `row` and the two of the minors.
[[gnu::always_inline]] inline four_doubles plus_cofactors(const other_columns &row, const minors &minors) {
    return row.first * minors.second_third - row.second * minors.first_third + row.third * minors.first_second;
}
[[gnu::always_inline]] inline four_doubles minus_cofactors(const other_columns &row, const minors &minors) {
    return row.second * minors.first_third - row.first * minors.second_third - row.third * minors.first_second;
}

[[gnu::always_inline]] inline void invert_4x4(const float *in, float *out, bool *singular) {
    const other_columns rows[4] = {others(in), others(in + 4), others(in + 8), others(in + 12)};
    const minors upper = minors_of(rows[0], rows[1]), lower = minors_of(rows[2], rows[3]);
    four_doubles cofactors[4] = {plus_cofactors(rows[1], lower), minus_cofactors(rows[0], lower),
                                 plus_cofactors(rows[3], upper), minus_cofactors(rows[2], upper)};
    const double determinant = sum(pick<0, 1, 2, 3>(in) * cofactors[0]);
    *singular = negligible(static_cast<float>(determinant));
    if (*singular)
        return;
    for (four_doubles &row : cofactors)
        row = row / determinant;
    store_transposed(out, cofactors);
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
    run_floats_on_unit<multiply>(static_cast<const float *>(a->data), static_cast<const float *>(b->data), c->data,
                                 static_cast<size_t>(c->rows), static_cast<size_t>(a->cols),
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
    bool singular;
    run_floats_on_unit<invert_4x4>(in, out, &singular);
    if (singular)
        report(__func__, "zero determinant, no inverse.\n");
    return singular;
}

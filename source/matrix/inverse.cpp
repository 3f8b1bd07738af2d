// Inverses: of fixed size by the adjugate, of any size up to 24 x 24 by elimination.
#include "blocks.hpp"
#include "common/diagnostics.hpp"
#include "negligible.hpp"
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vela/matrix.h>

using namespace vela::detail;

namespace {

template <int a, int b, int c, int d>
[[gnu::always_inline]] inline doubles pick(const float *from) {
    return {double{from[a]}, double{from[b]}, double{from[c]}, double{from[d]}};
}

// For each column the elements of the three other ones, ordered so that only the sign of the cofactor's row remains.
struct other_columns {
    doubles first, second, third;
};

[[gnu::always_inline]] inline other_columns others(const float *row) {
    return {pick<1, 2, 0, 1>(row), pick<2, 0, 1, 0>(row), pick<3, 3, 3, 2>(row)};
}

// The determinants of two rows in the pairs of other columns.
struct minors {
    doubles second_third, first_third, first_second;
};

[[gnu::always_inline]] inline minors minors_of(const other_columns &upper, const other_columns &lower) {
    return {upper.second * lower.third - upper.third * lower.second,
            upper.first * lower.third - upper.third * lower.first,
            upper.first * lower.second - upper.second * lower.first};
}

// The cofactors of a row whose sign is + in the first column, and of one where it is -. The remaining three rows are
// `row` and the two of the minors.
[[gnu::always_inline]] inline doubles plus_cofactors(const other_columns &row, const minors &minors) {
    return row.first * minors.second_third - row.second * minors.first_third + row.third * minors.first_second;
}
[[gnu::always_inline]] inline doubles minus_cofactors(const other_columns &row, const minors &minors) {
    return row.second * minors.first_third - row.first * minors.second_third - row.third * minors.first_second;
}

// Returns false with out unchanged if the determinant is negligible.
bool invert_4x4(const float *in, float *out) {
    const other_columns rows[4] = {others(in), others(in + 4), others(in + 8), others(in + 12)};
    const minors upper = minors_of(rows[0], rows[1]), lower = minors_of(rows[2], rows[3]);
    const doubles cofactors[4] = {plus_cofactors(rows[1], lower), minus_cofactors(rows[0], lower),
                                  plus_cofactors(rows[3], upper), minus_cofactors(rows[2], upper)};
    const doubles products = pick<0, 1, 2, 3>(in) * cofactors[0];
    const double determinant = products.a + products.b + products.c + products.d;
    if (negligible(static_cast<float>(determinant)))
        return false;
#pragma GCC unroll 4
    for (size_t i = 0; i < 4; ++i) { // the adjugate is their transpose
        const floats column = narrow(cofactors[i] / determinant);
        out[i] = column.a;
        out[4 + i] = column.b;
        out[8 + i] = column.c;
        out[12 + i] = column.d;
    }
    return true;
}

constexpr size_t kMaxSize = 24;
static_assert(kMaxSize % kLanes == 0);

// The elimination's augmented matrix [left | right]. Rows are processed in whole blocks of lanes; elements left of the
// diagonal or from column n on are then unspecified and never read. Back substitution replaces the right half by the
// inverse, row by row from the last.
struct elimination {
    size_t n;
    float left[kMaxSize][kMaxSize], right[kMaxSize][kMaxSize];
};

// Makes the element at (k, k) a pivot, if necessary by exchanging row k with the first row below that has one.
[[gnu::always_inline]] inline bool find_pivot(elimination &work, size_t *origins, size_t k) {
    for (size_t i = k; i < work.n; ++i) {
        if (negligible(work.left[i][k]))
            continue;
        if (i != k) {
            std::swap(work.left[i], work.left[k]);
            std::swap(work.right[i], work.right[k]);
            std::swap(origins[i], origins[k]);
        }
        return true;
    }
    return false;
}

// row -= factor pivot_row in columns from..end, in double precision.
[[gnu::always_inline]] inline void reduce(float *row, const doubles *pivot_row, double factor, size_t from,
                                          size_t end) {
    for (size_t block = from / kLanes; block * kLanes < end; ++block) {
        float *place = row + block * kLanes;
        store(place, narrow(widen(load(place)) - pivot_row[block] * factor));
    }
}

void eliminate(elimination &work) {
    // The right half starts as the identity: a pivot row has zeros after the last column whose unit row has been a
    // pivot, and subtracting multiples of them changes nothing unless the factor is infinite or NaN.
    size_t right_end = 0, origins[kMaxSize];
    for (size_t i = 0; i < work.n; ++i)
        origins[i] = i;
    for (size_t k = 0; k + 1 < work.n; ++k) {
        if (!find_pivot(work, origins, k))
            continue;
        right_end = std::max(right_end, origins[k] + 1);
        doubles left_pivot[kMaxSize / kLanes], right_pivot[kMaxSize / kLanes];
        for (size_t block = 0; block < kMaxSize / kLanes; ++block) {
            left_pivot[block] = widen(load(work.left[k] + block * kLanes));
            right_pivot[block] = widen(load(work.right[k] + block * kLanes));
        }
        for (size_t i = k + 1; i < work.n; ++i) {
            if (negligible(work.left[i][k]))
                continue;
            const float factor = work.left[i][k] / work.left[k][k];
            if (!std::isfinite(factor))
                right_end = work.n;
            reduce(work.left[i], left_pivot, double{factor}, k + 1, work.n);
            reduce(work.right[i], right_pivot, double{factor}, 0, right_end);
        }
    }
}

// The first column in which row r is not negligible, or n.
size_t pivot_of(const elimination &work, size_t r) {
    size_t p = r;
    while (p < work.n && negligible(work.left[r][p]))
        ++p;
    return p;
}

// Whether a row without a pivot is inconsistent: zero on the left, not zero on the right.
bool contradictory(const elimination &work) {
    for (size_t r = 0; r < work.n; ++r)
        if (pivot_of(work, r) == work.n && !std::all_of(work.right[r], work.right[r] + work.n, negligible))
            return true;
    return false;
}

// Solves row r for row p of the inverse, in several blocks of columns from c on.
template <size_t blocks>
void substitute_blocks(elimination &work, size_t r, size_t p, size_t c) {
    doubles values[blocks];
    for (size_t b = 0; b < blocks; ++b)
        values[b] = widen(load(work.right[r] + c + b * kLanes));
    for (size_t j = p + 1; j < work.n; ++j)
        for (size_t b = 0; b < blocks; ++b)
            values[b] = values[b] - widen(load(work.right[j] + c + b * kLanes) * work.left[r][j]);
    for (size_t b = 0; b < blocks; ++b)
        store(work.right[p] + c + b * kLanes, narrow(values[b] / double{work.left[r][p]}));
}

void substitute(elimination &work, size_t r, size_t p) {
    size_t c = 0;
    for (; c + 2 * kLanes < work.n; c += 3 * kLanes)
        substitute_blocks<3>(work, r, p, c);
    for (; c < work.n; c += kLanes)
        substitute_blocks<1>(work, r, p, c);
}

// Rows of the inverse that no row is solved for keep the values of the caller's matrix.
void back_substitute(elimination &work, const float *unsolved) {
    for (size_t r = work.n; r-- > 0;) {
        const size_t p = pivot_of(work, r);
        if (p < work.n)
            substitute(work, r, p);
        if (p != r)
            std::copy_n(unsolved + r * work.n, work.n, work.right[r]);
    }
}

} // namespace

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
    if (invert_4x4(in, out))
        return 0;
    report(__func__, "zero determinant, no inverse.\n");
    return 1;
}

int32_t matrix_inverse(const fmatrix *a, fmatrix *inv) {
    const int32_t n = a->rows;
    if (n != a->cols) {
        report(__func__, "matrix must be square\n");
        return 1;
    }
    if (n > static_cast<int32_t>(kMaxSize)) {
        report(__func__, "maximum matrix size is %dx%d\n", static_cast<int>(kMaxSize), static_cast<int>(kMaxSize));
        return 1;
    }
    if (inv->rows != n || inv->cols != n) {
        report(__func__, "inverse matrix not correct size\n");
        return 1;
    }
    if (n < 0)
        return 1;

    elimination work = {};
    work.n = static_cast<size_t>(n);
    for (size_t i = 0; i < work.n; ++i) {
        std::copy_n(a->data + i * work.n, work.n, work.left[i]);
        work.right[i][i] = 1;
    }
    eliminate(work);
    if (contradictory(work))
        return 1;
    back_substitute(work, inv->data);
    for (size_t i = 0; i < work.n; ++i)
        std::copy_n(work.right[i], work.n, inv->data + i * work.n);
    return 0;
}

// Inverse by elimination, and least squares by singular values.
#include "blocks.hpp"
#include "common/diagnostics.hpp"
#include "common/memory.hpp"
#include "common/unit.hpp"
#include "negligible.hpp"
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vela/matrix.h>

using namespace vela::detail;

namespace {

constexpr size_t kMaxSize = 24;
static_assert(kMaxSize % kFloatLanes == 0);

// The elimination's augmented matrix [left | right]. Rows are worked on in whole blocks of lanes; what then stands left
// of the diagonal or behind column n is never looked at. In back substitution the inverse takes the place of the right
// half, row by row from below.
struct elimination {
    size_t n;
    float left[kMaxSize][kMaxSize], right[kMaxSize][kMaxSize];
    bool singular;
};

// Makes the element at (k, k) a pivot, if need be by exchanging row k with the first one below that offers one.
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
    for (size_t block = from / kFloatLanes; block * kFloatLanes < end; ++block) {
        float *place = row + block * kFloatLanes;
        store(place, narrow(widen(load(place)) - pivot_row[block] * factor));
    }
}

[[gnu::always_inline]] inline void eliminate(elimination &work) {
    // The right half starts as the identity: a pivot row has zeros behind the last column whose unit row has been a
    // pivot, and subtracting multiples of them changes nothing unless the factor is infinite or NaN.
    size_t right_end = 0, origins[kMaxSize];
    for (size_t i = 0; i < work.n; ++i)
        origins[i] = i;
    for (size_t k = 0; k + 1 < work.n; ++k) {
        if (!find_pivot(work, origins, k))
            continue;
        right_end = std::max(right_end, origins[k] + 1);
        doubles left_pivot[kMaxSize / kFloatLanes], right_pivot[kMaxSize / kFloatLanes];
        for (size_t block = 0; block < kMaxSize / kFloatLanes; ++block) {
            left_pivot[block] = widen(load(work.left[k] + block * kFloatLanes));
            right_pivot[block] = widen(load(work.right[k] + block * kFloatLanes));
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
[[gnu::always_inline]] inline size_t pivot_of(const elimination &work, size_t r) {
    size_t p = r;
    while (p < work.n && negligible(work.left[r][p]))
        ++p;
    return p;
}

// Whether a row without a pivot demands that zero be something else.
[[gnu::always_inline]] inline bool contradictory(const elimination &work) {
    for (size_t r = 0; r < work.n; ++r)
        if (pivot_of(work, r) == work.n && !std::all_of(work.right[r], work.right[r] + work.n, negligible))
            return true;
    return false;
}

// Solves row r for row p of the inverse, in some blocks of columns from c on side by side.
template <size_t blocks>
[[gnu::always_inline]] inline void substitute_blocks(elimination &work, size_t r, size_t p, size_t c) {
    doubles values[blocks];
    for (size_t b = 0; b < blocks; ++b)
        values[b] = widen(load(work.right[r] + c + b * kFloatLanes));
    for (size_t j = p + 1; j < work.n; ++j)
        for (size_t b = 0; b < blocks; ++b)
            values[b] = values[b] - widen(load(work.right[j] + c + b * kFloatLanes) * work.left[r][j]);
    for (size_t b = 0; b < blocks; ++b)
        store(work.right[p] + c + b * kFloatLanes, narrow(values[b] / double{work.left[r][p]}));
}

[[gnu::always_inline]] inline void substitute(elimination &work, size_t r, size_t p) {
    size_t c = 0;
    for (; c + 2 * kFloatLanes < work.n; c += 3 * kFloatLanes)
        substitute_blocks<3>(work, r, p, c);
    for (; c < work.n; c += kFloatLanes)
        substitute_blocks<1>(work, r, p, c);
}

// Rows of the inverse that no row is solved for keep what the caller's matrix has there.
[[gnu::always_inline]] inline void back_substitute(elimination &work, const float *unsolved) {
    for (size_t r = work.n; r-- > 0;) {
        const size_t p = pivot_of(work, r);
        if (p < work.n)
            substitute(work, r, p);
        if (p != r)
            std::copy_n(unsolved + r * work.n, work.n, work.right[r]);
    }
}

[[gnu::always_inline]] inline void invert(elimination *work, const float *unsolved) {
    eliminate(*work);
    work->singular = contradictory(*work);
    if (!work->singular)
        back_substitute(*work, unsolved);
}

struct matrix_deleter {
    void operator()(fmatrix *m) const { free_matrix(m); }
};
using owned_matrix = std::unique_ptr<fmatrix, matrix_deleter>;

// Inverts the singular values on the diagonal, and drops those that are negligible.
void invert_diagonal(fmatrix &w) {
    for (int32_t i = 0; i < w.rows; ++i) {
        float &value = w.data[i * w.cols + i];
        value = negligible(value) ? 0 : 1 / value;
    }
}

bool sizes_fit(const fmatrix &a, const fmatrix &b, const fmatrix &x) {
    constexpr const char *name = "pseudo_inverse";
    if (b.cols != 1)
        report(name, "b cols != 1\n");
    else if (x.cols != 1)
        report(name, "x cols != 1\n");
    else if (a.rows != b.rows)
        report(name, "A rows != b rows\n");
    else if (a.cols != x.rows)
        report(name, "A cols != x cols\n");
    else
        return true;
    return false;
}

} // namespace

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

    elimination work = {};
    work.n = static_cast<size_t>(n);
    for (size_t i = 0; i < work.n; ++i) {
        std::copy_n(a->data + i * work.n, work.n, work.left[i]);
        work.right[i][i] = 1;
    }
    run_floats_on_unit<invert>(&work, static_cast<const float *>(inv->data));
    if (work.singular)
        return 1;
    for (size_t i = 0; i < work.n; ++i)
        std::copy_n(work.right[i], work.n, inv->data + i * work.n);
    return 0;
}

int32_t pseudo_inverse(const fmatrix *a, const fmatrix *b, fmatrix *x) {
    if (!sizes_fit(*a, *b, *x))
        return 1;
    fmatrix *u = nullptr, *w = nullptr, *v = nullptr, *u_transposed = nullptr;
    const int32_t decomposed = svdcmp(a, &u, &w, &v);
    const owned_matrix u_owner(u), w_owner(w), v_owner(v);
    if (decomposed != 0) {
        report(__func__, "svdcmp() failed\n");
        return 1;
    }
    invert_diagonal(*w);
    if (transpose(u, &u_transposed) != 0) {
        report(__func__, "transpose() failed\n");
        return 1;
    }
    const owned_matrix u_transposed_owner(u_transposed), product(malloc_matrix(a->cols, 1));
    if (!product) {
        report(__func__, "malloc() failed\n");
        return 1;
    }
    // The sizes fit, so the products can't fail.
    matrix_mult(u_transposed, b, x);
    matrix_mult(w, x, product.get());
    matrix_mult(v, product.get(), x);
    if (!std::all_of(x->data, x->data + x->rows, [](float value) { return std::isfinite(value); })) {
        report(__func__, "nan or inf value in x!\n");
        return 1;
    }
    return 0;
}

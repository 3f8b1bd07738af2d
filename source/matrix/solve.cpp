// Least squares by singular values.
#include "common/diagnostics.hpp"
#include "negligible.hpp"
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vela/matrix.h>

using namespace vela::detail;

namespace {

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
    // The dimensions match, so the products can't fail.
    static_cast<void>(matrix_mult(u_transposed, b, x));
    static_cast<void>(matrix_mult(w, x, product.get()));
    static_cast<void>(matrix_mult(v, product.get(), x));
    if (!std::all_of(x->data, x->data + x->rows, [](float value) { return std::isfinite(value); })) {
        report(__func__, "nan or inf value in x!\n");
        return 1;
    }
    return 0;
}

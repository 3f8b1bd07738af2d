// Products and inverses come out as their definition says, and decompositions have an orthogonal v.
#include "../tests/models/matrix.hpp"
#include "fuzz.hpp"

using namespace matrices;

namespace {

// Elements are small integers, many of them 0, times a power of two for each row.
matrix make(fuzz::source &data, int32_t rows, int32_t cols, int32_t range, int32_t least_exponent = -60) {
    matrix m(rows, cols);
    for (int32_t i = 0; i < rows; ++i) {
        const int32_t exponent = data.ConsumeBool() ? data.ConsumeIntegralInRange(least_exponent, 20) : 0;
        for (int32_t j = 0; j < cols; ++j)
            m.at(i, j) = std::ldexp(float(data.ConsumeIntegralInRange(-range, range)), exponent);
    }
    return m;
}

// v is not sure to be orthogonal where a singular value is near what is negligible beside the largest. u may be wrong
// even then.
void check_decomposition(const matrix &a) {
    fmatrix *u = nullptr, *w = nullptr, *v = nullptr;
    if (svdcmp(&a, &u, &w, &v) == 0) {
        const float largest = std::max(1.F, *std::max_element(w->data, w->data + a.cols * a.cols));
        const bool is_sure =
            std::none_of(w->data, w->data + a.cols * a.cols, [=](float x) { return x != 0 && x < 1e-12F * largest; });
        check_decomposition(a, matrix(*w), matrix(*v), is_sure ? 0x1p-16 : INFINITY);
    }
    free_matrix(u), free_matrix(w), free_matrix(v);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto m = data.ConsumeIntegralInRange(1, 24), n = data.ConsumeIntegralInRange(1, 24);
    const auto range = data.PickValueInArray({1, 3, 100, 4096});
    const matrix a = make(data, m, n, range, -4), b = make(data, n, m, range);
    check_product(a, b);
    check_inverse(product(a, b));
    check_inverse(make(data, m, m, range));
    check_inverse_3x3(make(data, 3, 3, range));
    check_decomposition(a);
    return 0;
}

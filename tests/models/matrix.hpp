// What tests and the fuzz target of matrices share: products and inverses by their definition, one number after the
// other.
#pragma once

#include "agree.hpp"
#include <algorithm>
#include <utility>
#include <vector>
#include <vela/matrix.h>

namespace matrices {

using floats = std::vector<float>;

// A matrix around elements of its own, those not given being -77.
struct matrix : fmatrix {
    floats elements;

    matrix(int32_t height, int32_t width, floats values = {})
        : fmatrix{height, width, nullptr}, elements(std::move(values)) {
        elements.resize(static_cast<size_t>(height * width), -77);
        data = elements.data();
    }
    explicit matrix(const fmatrix &m) : matrix(m.rows, m.cols, {m.data, m.data + m.rows * m.cols}) {}
    matrix(const matrix &m) : matrix(m.rows, m.cols, m.elements) {}
    float &at(int32_t i, int32_t j) const { return data[i * cols + j]; }
};

inline bool negligible(float x) { return std::fabs(double{x}) <= 1e-14; }

inline matrix product(const matrix &a, const matrix &b) {
    matrix c(a.rows, b.cols);
    for (int32_t i = 0; i < c.rows * c.cols; ++i) {
        double sum = 0;
        for (int32_t k = 0; k < a.cols; ++k)
            sum += double{a.at(i / c.cols, k) * b.at(k, i % c.cols)};
        c.data[i] = static_cast<float>(sum);
    }
    return c;
}

inline matrix transposed(const matrix &a) {
    matrix t(a.cols, a.rows);
    for (int32_t i = 0; i < a.rows * a.cols; ++i)
        t.at(i % a.cols, i / a.cols) = a.data[i];
    return t;
}

// Elimination on [a | unit matrix]. Rows that nothing is solved for stay, and all of them where there is a
// contradiction, which gives false.
inline bool invert(const matrix &a, matrix &result) {
    const int32_t n = a.rows;
    matrix inverse = result, w(n, 2 * n, floats(static_cast<size_t>(2 * n * n)));
    for (int32_t i = 0; i < n; ++i) {
        std::copy_n(a.data + i * n, n, w.data + i * 2 * n);
        w.at(i, n + i) = 1;
    }
    for (int32_t k = 0; k + 1 < n; ++k) {
        int32_t pivot = k;
        while (pivot < n && negligible(w.at(pivot, k)))
            ++pivot;
        for (int32_t j = 0; j < 2 * n && pivot < n && pivot != k; ++j)
            std::swap(w.at(k, j), w.at(pivot, j));
        for (int32_t i = k + 1; i < n && pivot < n; ++i) {
            const float element = std::exchange(w.at(i, k), 0.0F), factor = element / w.at(k, k);
            for (int32_t j = k + 1; j < 2 * n && !negligible(element); ++j)
                w.at(i, j) = static_cast<float>(double{w.at(i, j)} - double{factor} * double{w.at(k, j)});
        }
    }
    for (int32_t c = 0; c < n; ++c)
        for (int32_t r = n; r-- > 0;) {
            int32_t p = 0;
            while (p < n && negligible(w.at(r, p)))
                ++p;
            double value = double{w.at(r, n + c)};
            for (int32_t j = p + 1; j < n; ++j)
                value -= double{w.at(r, j) * inverse.at(j, c)};
            if (p < n)
                inverse.at(p, c) = static_cast<float>(value / double{w.at(r, p)});
            else if (!negligible(w.at(r, n + c)))
                return false;
        }
    std::copy_n(inverse.data, n * n, result.data);
    return true;
}

// The 3 x 3 inverse; the adjugate where the determinant is negligible.
inline bool invert_3x3(const matrix &a, matrix &inverse) {
    const auto at = [&](int32_t i, int32_t j) { return a.at(i % 3, j % 3); };
    for (int32_t i = 0; i < 3; ++i)
        for (int32_t j = 0; j < 3; ++j)
            inverse.at(i, j) = at(j + 1, i + 1) * at(j + 2, i + 2) - at(j + 1, i + 2) * at(j + 2, i + 1);
    const floats &adjugate = inverse.elements;
    const float determinant = at(1, 0) * adjugate[1] + at(0, 0) * adjugate[0] + at(2, 0) * adjugate[2];
    for (int32_t i = 0; i < 9 && !negligible(determinant); ++i)
        inverse.data[i] /= determinant;
    return !negligible(determinant);
}

inline void check_product(const matrix &a, const matrix &b) {
    const matrix c(a.rows, b.cols);
    fmatrix out = c, *t = nullptr;
    agree("the result of matrix_mult", a.elements, matrix_mult(&a, &b, &out), 0);
    agree_all("matrix_mult", a.elements, c.elements, product(a, b).elements);
    agree("the result of transpose", a.elements, transpose(&a, &t), 0);
    agree_all("transpose", a.elements, matrix(*t).elements, transposed(a).elements);
    free_matrix(t);
}

// An inverse by one of the methods above, into another matrix and in place.
template <class Model, class Call>
void check_inverse(const char *name, const matrix &a, Model model, Call call) {
    for (const bool in_place : {false, true}) {
        matrix expected = in_place ? a : matrix(a.rows, a.cols), actual = expected;
        const bool good = model(a, expected);
        agree("the result of " + std::string(name), a.elements, call(in_place ? &actual : &a, &actual), !good);
        agree_all(name, a.elements, actual.elements, expected.elements);
    }
}

inline void check_inverse(const matrix &a) { check_inverse("matrix_inverse", a, invert, matrix_inverse); }
inline void check_inverse_3x3(const matrix &a) {
    check_inverse("inverse_3x3", a, invert_3x3, [](auto *from, auto *to) { return inverse_3x3(from->data, to->data); });
}

inline matrix unit(int32_t n) {
    matrix m(n, n);
    for (int32_t i = 0; i < n * n; ++i)
        m.data[i] = i % (n + 1) == 0;
    return m;
}

// That singular values are 0 or more, and v is orthogonal.
inline void check_decomposition(const matrix &a, const matrix &w, const matrix &v, double tolerance) {
    for (int32_t i = 0; i < a.cols * a.cols; ++i)
        agree("whether w is diagonal and not negative,", a.elements,
              i % (a.cols + 1) == 0 ? w.data[i] >= 0 : w.data[i] == 0, true);
    agree_all("v by its transpose", a.elements, product(v, transposed(v)).elements, unit(a.cols).elements, tolerance);
}

} // namespace matrices

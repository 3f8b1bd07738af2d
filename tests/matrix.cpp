#include "generated.hpp"
#include "support.hpp"
#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <utility>
#include <vector>
#include <vela/matrix.h>

namespace {

// A matrix around elements of its own, those not given being -77.
struct matrix : fmatrix {
    std::vector<float> elements;

    matrix(int32_t height, int32_t width, std::vector<float> values = {})
        : fmatrix{height, width, nullptr}, elements(std::move(values)) {
        elements.resize(static_cast<size_t>(height * width), -77);
        data = elements.data();
    }
    matrix(matrix &&) = default;
    float &at(int32_t i, int32_t j) const { return data[i * cols + j]; }
};

matrix unit(int32_t n) {
    matrix m(n, n);
    for (int32_t i = 0; i < n * n; ++i)
        m.data[i] = i % (n + 1) == 0;
    return m;
}

matrix product(const fmatrix &a, const fmatrix &b) {
    matrix c(a.rows, b.cols);
    ck_assert_int_eq(matrix_mult(&a, &b, &c), 0);
    return c;
}

matrix transposed(const fmatrix &a) {
    fmatrix *t = nullptr;
    ck_assert_int_eq(transpose(&a, &t), 0);
    matrix result(t->rows, t->cols, {t->data, t->data + a.rows * a.cols});
    free_matrix(t);
    return result;
}

// The results of a decomposition that succeeds, or fails with a message, released at the end.
struct decomposition {
    fmatrix *u = nullptr, *w = nullptr, *v = nullptr;

    explicit decomposition(const fmatrix &a, int failed = 0, const std::string &message = "") {
        assert_text_eq(captured(stderr, [&] { ck_assert_int_eq(svdcmp(&a, &u, &w, &v), failed); }), message);
    }
    ~decomposition() { free_matrix(u), free_matrix(w), free_matrix(v); }
};

// The kinds of matrices that decompositions must cope with. Numbers are from -8 to 8.
enum kind { plain, small_integers, scaled_columns, sparse, rank_one, nearly_singular, zero, kinds };

matrix generate(generator &random, int32_t rows, int32_t cols, int kind = plain) {
    matrix m(rows, cols);
    for (int32_t i = 0; i < rows; ++i)
        for (int32_t j = 0; j < cols; ++j) {
            const float x = static_cast<float>(random.word() >> 8) * 0x1p-20F, scaled = std::ldexp(x, 3 * (j % 7) - 9);
            const float row = static_cast<float>(i + 1), col = static_cast<float>(j), sparse = random.below(3) ? 0 : x;
            const float elements[] = {x, std::trunc(x / 3), scaled, sparse, row * (col - 2), 1 / (row + col), 0};
            m.at(i, j) = elements[kind];
        }
    return m;
}

// One NaN is like another.
void add(digest &digest, std::initializer_list<const fmatrix *> matrices) {
    for (const fmatrix *m : matrices) {
        std::vector<float> numbers(m->data, m->data + m->rows * m->cols);
        std::replace_if(
            numbers.begin(), numbers.end(), [](float x) { return std::isnan(x); }, NAN);
        digest.add(numbers);
    }
}

void assert_near(const fmatrix &m, const std::vector<float> &expected, double tolerance) {
    for (size_t i = 0; i < expected.size(); ++i)
        if (!(std::fabs(double{m.data[i]} - double{expected[i]}) <= tolerance)) // so that NaN fails
            ck_abort_msg("element %zu is %.9g, not %.9g", i, double{m.data[i]}, double{expected[i]});
}

#define assert_fails(text, call) assert_text_eq(captured(stderr, [&] { ck_assert_int_eq(call, 1); }), text)

// The other inversions in the form of matrix_inverse().
int32_t inverse_of_3x3(const fmatrix *a, fmatrix *inverse) { return inverse_3x3(a->data, inverse->data); }
int32_t inverse_of_4x4(const fmatrix *a, fmatrix *inverse) { return inverse_4x4(a->data, inverse->data); }

} // namespace

START_TEST(records_and_products)
{
    for (const auto &size : {std::pair{-1, 2}, {2, -1}, {-1, -1}, {0, -1}, {65536, 65536}, {1 << 15, 1 << 15}})
        assert_text_eq(captured(stderr, [&] { ck_assert_ptr_null(malloc_matrix(size.first, size.second)); }),
                       "malloc_matrix: failed data malloc\n");
    fmatrix *empty = malloc_matrix(0, 5);
    assert_text_eq(captured(stdout, [&] { print_matrix(empty); }), "\n");
    free(std::exchange(empty->data, nullptr));
    free_matrix(empty);
    const matrix t = transposed(matrix(2, 3, {1, -2, 3, 4, 5, 6e10F}));
    assert_text_eq(captured(stdout, [&] { print_matrix(&t); }),
                   "1.000000e+00 4.000000e+00 \n-2.000000e+00 5.000000e+00 \n3.000000e+00 6.000000e+10 \n\n");

    // Every height, width and depth against the definition.
    generator random{1};
    for (int32_t shape = 0; shape < 10 * 20 * 4; ++shape) {
        const int32_t rows = shape / 80, cols = shape / 4 % 20, depth = shape % 4 * 3;
        const matrix a = generate(random, rows, depth), b = generate(random, depth, cols), c = product(a, b);
        for (int32_t i = 0; i < rows * cols; ++i) {
            double sum = 0;
            for (int32_t k = 0; k < depth; ++k)
                sum += double{a.at(i / cols, k) * b.at(k, i % cols)};
            ck_assert_float_eq(c.data[i], static_cast<float>(sum));
        }
    }
    // The order is ascending.
    ck_assert_float_eq(product(matrix(1, 4, {1e17F, 1, -1e17F, 1}), matrix(4, 1, {1, 1, 1, 1})).data[0], 1);
}
END_TEST

START_TEST(inverses)
{
    digest all;
    generator random{2};
    const auto check = [&](auto invert, int32_t n, int kind, double tolerance) {
        matrix a = generate(random, n, n, kind), inverse(n, n);
        all.add(std::vector{invert(&a, &inverse)});
        add(all, {&inverse});
        if (kind == plain)
            assert_near(product(a, inverse), unit(n).elements, tolerance);
        invert(&a, &a); // in place
        ck_assert(kind != plain || a.elements == inverse.elements);
    };
    for (int32_t i = 0; i < 192; ++i) {
        check(matrix_inverse, 1 + i % 24, i / 24 % 4, 0.01);
        check(inverse_of_3x3, 3, plain, 0.001);
        check(inverse_of_4x4, 4, plain, 4e-5);
    }
    assert_digest(all, 0xB94003568364AD11);

    const auto known = [](auto invert, int32_t n, std::vector<float> from, std::vector<float> to, int32_t failed = 0) {
        matrix a(n, n, from), inverse(n, n);
        ck_assert_int_eq(invert(&a, &inverse), failed);
        ck_assert(inverse.elements == to);
    };
    constexpr float p = 0x1p-17F, q = p * p;
    known(inverse_of_3x3, 3, {p, 0, 0, 0, p, 0, 0, 0, p}, {q, 0, 0, 0, q, 0, 0, 0, q}, 1);
    // A pivot of up to 1e-14 is none, and any other is one.
    known(matrix_inverse, 2, {9e-15F, 1, 1, 0}, {0, 1, 1, 0});
    known(matrix_inverse, 2, {0x1p-42F, 1, 1, 0}, {0, 1, 1, -0x1p-42F});
    // A column without a pivot is passed over; the row of the inverse that nothing is solved for stays.
    known(matrix_inverse, 2, {0, 1, 0, 1}, {-77, -77, 1, 0});
    known(matrix_inverse, 2, {1, 1, 1, 1}, {-77, -77, -77, -77}, 1);

    // Infinity times zero is left out nowhere.
    matrix sheared = unit(9), result(9, 9);
    sheared.at(7, 7) = 0x1p-40F;
    sheared.at(7, 8) = 1;
    sheared.at(8, 7) = 0x1p100F;
    ck_assert(matrix_inverse(&sheared, &result) == 0 && std::isnan(result.at(8, 8)));

    matrix two(2, 2), wide(2, 3), tall(3, 2), large(25, 25), equal_rows(4, 4, std::vector<float>(16, 1));
    assert_fails("matrix_mult: Acols (3) != Brows (2)\n", matrix_mult(&wide, &wide, &wide));
    assert_fails("matrix_inverse: maximum matrix size is 24x24\n", matrix_inverse(&large, &large));
    assert_fails("matrix_inverse: matrix must be square\n", matrix_inverse(&wide, &two));
    for (matrix *wrong : {&wide, &tall}) {
        assert_fails("matrix_mult: result needs to be Arows x Bcols\n", matrix_mult(&wide, &tall, wrong));
        assert_fails("matrix_inverse: inverse matrix not correct size\n", matrix_inverse(&two, wrong));
        ck_assert(wrong->elements == std::vector<float>(6, -77));
    }
    assert_fails("inverse_4x4: zero determinant, no inverse.\n", inverse_4x4(equal_rows.data, large.data));
    ck_assert_float_eq(large.data[0], -77);
}
END_TEST

START_TEST(singular_values)
{
    // clang-format off
    const float rows[][3] = {
        {3, 4, 5}, {-4, 3, 5}, {0, 0, 0}, {1e-15F, 1e-15F, 0}, {2e-15F, 1e-15F, 2.236068e-15F}, {0, 9.9e-15F, 0},
        {3e30F, -4e30F, 5e30F}, {0, -2, 2}, {NAN, 2, 0}, {2, NAN, 0}, {INFINITY, 2, INFINITY},
        {-2, -INFINITY, INFINITY}, {INFINITY, INFINITY, 0}, {3e38F, 3e38F, INFINITY},
    };
    // clang-format on
    for (const auto &row : rows) {
        const float result = pythag(row[0], row[1]);
        ck_assert_msg(result == row[2] || std::fabs(result / row[2] - 1) < 3e-7F, "%g %g", row[0], row[1]);
    }

    digest all;
    generator random{1};
    const int32_t shapes[][2] = {{1, 1}, {2, 2},  {3, 3},   {5, 3},  {3, 5},   {1, 6},
                                 {7, 1}, {16, 9}, {24, 24}, {33, 6}, {100, 3}, {9, 14}};
    for (int32_t i = 0; i < 12 * kinds; ++i) {
        const int32_t m = shapes[i / kinds][0], n = shapes[i / kinds][1], kind = i % kinds;
        const matrix a = generate(random, m, n, kind);
        const decomposition svd(a);
        add(all, {svd.u, svd.w, svd.v});
        for (int32_t k = 0; k < n * n; ++k)
            ck_assert(k % (n + 1) == 0 ? svd.w->data[k] >= 0 : svd.w->data[k] == 0);
        const double tolerance = 0x1p-20 * std::max(m, n);
        const float largest = *std::max_element(svd.w->data, svd.w->data + n * n);
        const matrix t = transposed(*svd.v);
        assert_near(product(product(*svd.u, *svd.w), t), a.elements, tolerance * double{largest});
        assert_near(product(*svd.v, t), unit(n).elements, tolerance);
        if (kind == plain && m >= n)
            assert_near(product(transposed(*svd.u), *svd.u), unit(n).elements, tolerance);
    }
    // Finite, but a superdiagonal element stays above 1e-14 beyond the last sweep; u and v are what they then were.
    constexpr float s = 0x1p56F;
    const decomposition stalled(matrix(3, 3, {s, -s, s, -s, s, 0, s, -s, -s}), 1);
    add(all, {stalled.u, stalled.v});
    assert_digest(all, 0x50288F3A6B74B841);

    // What is negligible is so in absolute terms.
    assert_near(*decomposition(matrix(2, 2, {9e-15F, 0, 0, 3e-14F})).w, {0, 0, 0, 3e-14F}, 1e-20);

    const std::string in = "svdcmp: non finite value in ", w_u = in + "W\n" + in + "U\n", u_v = in + "U\n" + in + "V\n";
    decomposition(matrix(2, 1, {1, INFINITY}), 1, w_u);
    decomposition(matrix(1, 2, {1, NAN}), 1, u_v);
    decomposition(matrix(2, 2, {3e38F, 3e38F, 3e38F, 3e38F}), 1, u_v);
}
END_TEST

START_TEST(least_squares)
{
    using floats = std::vector<float>;
    const auto polynomial = [](const floats &xs, const floats &ys, const floats &expected, double tolerance) {
        const auto n = static_cast<int32_t>(xs.size()), k = static_cast<int32_t>(expected.size());
        const matrix coeffs(k, 1);
        ck_assert_int_eq(polyfit(xs.data(), ys.data(), n, k, coeffs.data), 0);
        assert_near(coeffs, expected, tolerance);
    };
    polynomial({3}, {2}, {2}, 0);
    polynomial({5, 5, 5, 5}, {1, 2, 3, 6}, {3}, 1e-6);
    polynomial({1000, 1001, 1002, 1003}, {7, 9, 11, 13}, {-1993, 2}, 1e-2);
    polynomial({-2, -1, 0, 1, 2}, {4, 1, 0, 1, 4}, {0, 0, 1}, 2e-6);
    // The fourth coefficient belongs to the third power of the abscissa scaled to -1..1, here x / 2.
    polynomial({-2, -1, 0, 1, 2}, {-8, -1, 0, 1, 8}, {0, 0, 0, 8}, 4e-6);

    const float powers[] = {1, 10, 100, 1000, 10000, 100000};
    ck_assert_float_eq(poly2D_value(2, 3, powers), 1 + 30 + 200 + 9000 + 60000 + 400000);

    // One sample gives a multiple of its terms. Products beyond 46340 squared come out negative.
    float coeffs[6];
    for (const uint16_t x : std::initializer_list<uint16_t>{46340, 46341, 65535}) {
        const float height = 1e9F;
        ck_assert_int_eq(polyfit2D(&x, &x, &height, 1, coeffs), 0);
        for (const float c : {coeffs[3], coeffs[4], coeffs[5]})
            ck_assert(coeffs[1] > 0 && std::signbit(c) == (x > 46340));
    }

    // Any surface is found again, and what a solution leaves is orthogonal to the columns.
    digest all;
    generator random{6};
    uint16_t xs[72], ys[72];
    for (int32_t n = 12; n < 72; ++n) {
        const matrix a = generate(random, n, 1 + n % 6), t = transposed(a), b = generate(random, n, 1);
        const matrix surface = generate(random, 6, 1), heights(n, 1), line(1 + n % 4, 1), found(6, 1);
        matrix x(a.cols, 1);
        for (int32_t i = 0; i < n; ++i) {
            xs[i] = static_cast<uint16_t>(random.below(16));
            ys[i] = static_cast<uint16_t>(random.below(16));
            heights.data[i] = poly2D_value(xs[i], ys[i], surface.data);
        }
        ck_assert(polyfit2D(xs, ys, heights.data, n, found.data) == 0 && pseudo_inverse(&a, &b, &x) == 0);
        ck_assert_int_eq(polyfit(a.data, b.data, n, line.rows, line.data), 0);
        assert_near(found, surface.elements, 0.05);
        assert_near(product(t, product(a, x)), product(t, b).elements, 2e-3);
        add(all, {&heights, &found, &line, &x});
    }
    assert_digest(all, 0xCF45B686D689FDE8);

    // Of the solutions of 3 x + 4 y = 25 the one of least norm: a singular value of 2e-14 counts, 7e-15 does not.
    matrix a(3, 3, {3e-8F, 4e-8F, 0, -3e-8F, -4e-8F, 0, 0, 0, 2e-14F}), b(3, 1, {2.6e-7F, -2.4e-7F, 2e-14F});
    matrix x(3, 1), wide(1, 2), two(2, 1);
    ck_assert_int_eq(pseudo_inverse(&a, &b, &x), 0);
    assert_near(x, {3, 4, 1}, 2e-6);
    assert_fails("pseudo_inverse: b cols != 1\n", pseudo_inverse(&a, &wide, &wide));
    assert_fails("pseudo_inverse: x cols != 1\n", pseudo_inverse(&a, &two, &wide));
    assert_fails("pseudo_inverse: A rows != b rows\n", pseudo_inverse(&a, &two, &two));
    assert_fails("pseudo_inverse: A cols != x cols\n", pseudo_inverse(&a, &b, &two));
    const float same[] = {4, 4}, infinite[] = {INFINITY};
    assert_fails("", polyfit(same, same, 0, 1, coeffs));
    assert_fails("", polyfit(same, same, 2, 0, coeffs));
    assert_fails("", polyfit2D(xs, ys, same, 0, coeffs));
    assert_fails("svdcmp: non finite value in U\nsvdcmp: non finite value in V\n"
                 "pseudo_inverse: svdcmp() failed\npolyfit: failed pseudo inverse\n",
                 polyfit(same, same, 2, 2, coeffs));
    assert_fails("malloc_matrix: failed data malloc\npolyfit: failed to allocate X matrix\n",
                 polyfit(same, same, INT32_MAX, 2, coeffs));
    assert_fails("pseudo_inverse: nan or inf value in x!\npolyfit2D: failed pseudo inverse\n",
                 polyfit2D(xs, ys, infinite, 1, coeffs));
}
END_TEST

Suite *matrix_suite() { return suite_of("matrix", {records_and_products, inverses, singular_values, least_squares}); }

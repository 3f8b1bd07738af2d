// Matrices: known results, generated ones against their definition, and what is refused.
#include "models/matrix.hpp"
#include "generated.hpp"
#include "support.hpp"

using namespace matrices;

namespace {

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
void add(checksum &all, const fmatrix *m) {
    floats numbers = matrix(*m).elements;
    std::replace_if(
        numbers.begin(), numbers.end(), [](float x) { return std::isnan(x); }, NAN);
    all.add(numbers);
}

#define assert_fails(text, call) assert_text_eq(captured(stderr, [&] { ck_assert_int_eq(call, 1); }), text)

} // namespace

// Whatever a caller's own record says, nothing is read or written.
TEST(sizes_below_0_or_beyond_4_gib_are_refused) {
    const std::string unmade = "malloc_matrix: failed data malloc\n";
    for (const auto &[rows, cols] : {std::pair{-1, 2}, {2, -1}, {-1, -1}, {INT32_MIN, 0}, {65536, 65536}}) {
        const fmatrix a = {rows, cols, nullptr}, b = {rows, 1, nullptr};
        fmatrix x = {cols, 1, nullptr}, *t = nullptr;
        assert_text_eq(captured(stderr, [rows = rows, cols = cols] { ck_assert_ptr_null(malloc_matrix(rows, cols)); }),
                       unmade);
        assert_fails(unmade, transpose(&a, &t));
        assert_fails(unmade + "pseudo_inverse: svdcmp() failed\n", pseudo_inverse(&a, &b, &x));
        decomposition(a, 1, unmade);
    }
    for (const auto &[rows, cols] : {std::pair{-1, 2}, {2, -1}, {-1, -1}}) {
        const fmatrix a = {rows, cols, nullptr}, right = {cols, rows, nullptr};
        fmatrix square = {rows, rows, nullptr};
        assert_fails("", matrix_mult(&a, &right, &square));
        assert_fails(rows == cols ? "" : "matrix_inverse: matrix must be square\n", matrix_inverse(&a, &square));
        assert_text_eq(captured(stdout, [&] { print_matrix(&a); }), rows == 2 ? "\n\n\n" : "\n");
    }
}

TEST(matrices_are_printed_row_by_row) {
    const matrix m(3, 2, {1, 4, -2, 5, 3, 6e10F}), empty(0, 5);
    assert_text_eq(captured(stdout, [&] { print_matrix(&m); }),
                   "1.000000e+00 4.000000e+00 \n-2.000000e+00 5.000000e+00 \n3.000000e+00 6.000000e+10 \n\n");
    assert_text_eq(captured(stdout, [&] { print_matrix(&empty); }), "\n");
}

TEST(sizes_that_do_not_fit_are_refused) {
    matrix two(2, 2), wide(2, 3), tall(3, 2), large(25, 25);
    assert_fails("matrix_mult: Acols (3) != Brows (2)\n", matrix_mult(&wide, &wide, &wide));
    assert_fails("matrix_inverse: maximum matrix size is 24x24\n", matrix_inverse(&large, &large));
    assert_fails("matrix_inverse: matrix must be square\n", matrix_inverse(&wide, &two));
    for (matrix *wrong : {&wide, &tall}) {
        assert_fails("matrix_mult: result needs to be Arows x Bcols\n", matrix_mult(&wide, &tall, wrong));
        assert_fails("matrix_inverse: inverse matrix not correct size\n", matrix_inverse(&two, wrong));
        agree_all("an untouched matrix", std::string("another size"), wrong->elements, floats(6, -77));
    }
    fmatrix *empty = malloc_matrix(0, 5);
    free(std::exchange(empty->data, nullptr));
    free_matrix(empty);
    free_matrix(nullptr);
}

// Every height, width and depth up to what the blocks of the product make of it.
TEST(products_are_rounded_sums_in_ascending_order) {
    generator random{1};
    for (int32_t shape = 0; shape < 10 * 20 * 4; ++shape) {
        const int32_t rows = shape / 80, cols = shape / 4 % 20, depth = shape % 4 * 3;
        check_product(generate(random, rows, depth), generate(random, depth, cols));
    }
    check_product(matrix(1, 4, {1e17F, 1, -1e17F, 1}), matrix(4, 1, {1, 1, 1, 1}));
}

TEST(inverses_are_those_of_elimination_and_adjugate) {
    generator random{2};
    for (int32_t i = 0; i < 24 * kinds; ++i) {
        check_inverse(generate(random, 1 + i % 24, 1 + i % 24, i / 24));
        check_inverse_3x3(generate(random, 3, 3, i / 24));
    }
    // Infinity times zero is left out nowhere.
    matrix sheared = unit(9);
    sheared.at(7, 7) = 0x1p-40F;
    sheared.at(7, 8) = 1;
    sheared.at(8, 7) = 0x1p100F;
    check_inverse(sheared);
    // A pivot on either side of 1e-14, and next to it; a column without one, which is passed over; a contradiction; a
    // determinant.
    for (const floats &elements : {floats{9e-15F, 1, 1, 0},
                                   {0x1.6849b8p-47F, 1, 1, 0},
                                   {0x1.6849bap-47F, 1, 1, 0},
                                   {0x1p-42F, 1, 1, 0},
                                   {0, 1, 0, 1},
                                   {1, 1, 1, 1}})
        check_inverse(matrix(2, 2, elements));
    for (const float p : {0x1p-17F, 0x1p-13F})
        check_inverse_3x3(matrix(3, 3, {p, 0, 0, 0, p, 0, 0, 0, p}));
}

TEST(inverses_of_4x4_multiply_to_the_unit_matrix) {
    generator random{3};
    const auto turned = [](float last) { return matrix(4, 4, {0, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, last, 0, 0, 0}); };
    for (int i = 0; i < 200; ++i) {
        matrix a = i == 0 ? turned(0x1p-46F) : generate(random, 4, 4), inverse(4, 4);
        ck_assert_int_eq(inverse_4x4(a.data, inverse.data), 0);
        agree_all("a matrix by its inverse", a.elements, product(a, inverse).elements, unit(4).elements, 4e-5);
        ck_assert_int_eq(inverse_4x4(a.data, a.data), 0);
        agree_all("inverse_4x4 in place", a.elements, a.elements, inverse.elements);
    }
    const matrix a = turned(0x1p-48F), inverse(4, 4); // whose determinant is negligible
    assert_fails("inverse_4x4: zero determinant, no inverse.\n", inverse_4x4(a.data, inverse.data));
    agree_all("what inverse_4x4 left", a.elements, inverse.elements, floats(16, -77));
}

TEST(the_hypotenuse_neither_overflows_nor_underflows) {
    // clang-format off
    const float rows[][3] = {
        {3, 4, 5}, {-4, 3, 5}, {0, 0, 0}, {1e-15F, 1e-15F, 0}, {2e-15F, 1e-15F, 2.236068e-15F}, {0, 9.9e-15F, 0},
        {3e30F, -4e30F, 5e30F}, {0, -2, 2}, {NAN, 2, 0}, {2, NAN, 0}, {INFINITY, 2, INFINITY},
        {-2, -INFINITY, INFINITY}, {INFINITY, INFINITY, 0}, {3e38F, 3e38F, INFINITY},
    };
    // clang-format on
    for (const auto &[a, b, expected] : rows) {
        const float c = pythag(a, b);
        ck_assert_msg(c == expected || std::fabs(c / expected - 1) < 3e-7F, "pythag(%g, %g) is %.9g, not %.9g",
                      double{a}, double{b}, double{c}, double{expected});
    }
}

// The checksums, here and of the fits, are of every bit, which must be the same on every machine: a model would be the
// algorithm again.
TEST(decompositions_multiply_back_to_the_matrix) {
    generator random{1};
    // clang-format off
    const struct { int32_t m, n; uint32_t bits; } shapes[] = {
        {1, 1, 0x83296D0C}, {2, 2, 0xCDCD9AA8}, {3, 3, 0x0701F089}, {5, 3, 0x9D072622},
        {3, 5, 0x5F852D51}, {1, 6, 0xCED2C508},
        {7, 1, 0xFD9D0676}, {16, 9, 0xE73DB93A},
        {24, 24, 0x21CD2228}, {33, 6, 0x09E70B1F}, {100, 3, 0x5C7EE71E}, {9, 14, 0xD460B2F8}};
    // clang-format on
    for (const auto &[m, n, bits] : shapes) {
        checksum all;
        for (int32_t kind = 0; kind < kinds; ++kind) {
            const matrix a = generate(random, m, n, kind);
            const decomposition svd(a);
            add(all, svd.u), add(all, svd.w), add(all, svd.v);
            const matrix u(*svd.u), w(*svd.w), v(*svd.v);
            const double tolerance = 0x1p-20 * std::max(m, n);
            const float largest = *std::max_element(w.elements.begin(), w.elements.end());
            check_decomposition(a, w, v, tolerance);
            agree_all("u w v'", a.elements, product(product(u, w), transposed(v)).elements, a.elements,
                      tolerance * double{largest});
            if (kind == plain && m >= n)
                agree_all("u' u", a.elements, product(transposed(u), u).elements, unit(n).elements, tolerance);
        }
        expect_checksum(std::to_string(m) + " x " + std::to_string(n), all, bits);
    }
    // Finite, but a superdiagonal element stays above 1e-14 beyond the last sweep; u and v are what they then were.
    constexpr float s = 0x1p56F;
    const decomposition stalled(matrix(3, 3, {s, -s, s, -s, s, 0, s, -s, -s}), 1);
    checksum all;
    add(all, stalled.u), add(all, stalled.v);
    expect_checksum("a decomposition that does not converge", all, 0x917AE7D1);
}

TEST(decompositions_that_are_not_finite_say_so) {
    const std::string in = "svdcmp: non finite value in ", w_u = in + "W\n" + in + "U\n", u_v = in + "U\n" + in + "V\n";
    decomposition(matrix(2, 1, {1, INFINITY}), 1, w_u);
    decomposition(matrix(1, 2, {1, NAN}), 1, u_v);
    decomposition(matrix(2, 2, {3e38F, 3e38F, 3e38F, 3e38F}), 1, u_v);
}

TEST(polynomials_are_found_again) {
    const struct {
        floats xs, ys, coeffs;
    } rows[] = {
        {{3}, {2}, {2}},
        {{5, 5, 5, 5}, {1, 2, 3, 6}, {3}},
        {{-2, -1, 0, 1, 2}, {4, 1, 0, 1, 4}, {0, 0, 1}},
        // The fourth coefficient belongs to the third power of the abscissa scaled to -1..1, here x / 2.
        {{-2, -1, 0, 1, 2}, {-8, -1, 0, 1, 8}, {0, 0, 0, 8}},
    };
    for (const auto &[xs, ys, expected] : rows) {
        const auto n = static_cast<int32_t>(xs.size()), k = static_cast<int32_t>(expected.size());
        floats coeffs(expected.size());
        ck_assert_int_eq(polyfit(xs.data(), ys.data(), n, k, coeffs.data()), 0);
        agree_all("polyfit", ys, coeffs, expected, 4e-6);
    }
}

// One sample gives a multiple of its terms.
TEST(products_of_coordinates_beyond_46340_squared_are_negative) {
    const float powers[] = {1, 10, 100, 1000, 10000, 100000}, height = 1e9F;
    ck_assert_float_eq(poly2D_value(2, 3, powers), 1 + 30 + 200 + 9000 + 60000 + 400000);
    for (const uint16_t x : std::initializer_list<uint16_t>{46340, 46341, 65535}) {
        float coeffs[6];
        ck_assert_int_eq(polyfit2D(&x, &x, &height, 1, coeffs), 0);
        for (int i = 0; i < 6; ++i)
            agree("whether a coefficient is negative", std::vector{int(x), i}, coeffs[i]<0, x> 46340 && i > 2);
    }
}

TEST(what_least_squares_leave_is_orthogonal_to_the_columns) {
    checksum solutions, lines, surfaces, heights;
    generator random{7};
    uint16_t xs[72], ys[72];
    for (int32_t n = 12; n < 72; ++n) {
        const matrix a = generate(random, n, 1 + n % 6), t = transposed(a), b = generate(random, n, 1);
        matrix x(a.cols, 1), line(1 + n % 4, 1), surface(6, 1), height(1, 1);
        ck_assert_int_eq(pseudo_inverse(&a, &b, &x), 0);
        agree_all("a' a x", a.elements, product(t, product(a, x)).elements, product(t, b).elements, 2e-3);
        ck_assert_int_eq(polyfit(a.data, b.data, n, line.rows, line.data), 0);
        for (int32_t i = 0; i < n; ++i) {
            xs[i] = static_cast<uint16_t>(i * 7 % 16);
            ys[i] = static_cast<uint16_t>(i * i % 13);
        }
        ck_assert_int_eq(polyfit2D(xs, ys, b.data, n, surface.data), 0);
        height.data[0] = poly2D_value(line.data[0], x.data[0], surface.data);
        add(solutions, &x), add(lines, &line), add(surfaces, &surface), add(heights, &height);
    }
    expect_checksum("pseudo_inverse()", solutions, 0x7ACF89B3);
    expect_checksum("polyfit()", lines, 0x10EA79BB);
    expect_checksum("polyfit2D()", surfaces, 0xA9303FE1);
    expect_checksum("poly2D_value()", heights, 0xCD5356A1);
}

// Of the solutions of 3 x + 4 y = 25 the one of least norm: a singular value of 2e-14 counts, 7e-15 does not.
TEST(negligible_singular_values_are_dropped) {
    const matrix a(3, 3, {3e-8F, 4e-8F, 0, -3e-8F, -4e-8F, 0, 0, 0, 2e-14F}), b(3, 1, {2.6e-7F, -2.4e-7F, 2e-14F});
    matrix x(3, 1);
    ck_assert_int_eq(pseudo_inverse(&a, &b, &x), 0);
    agree_all("pseudo_inverse", a.elements, x.elements, {3, 4, 1}, 2e-6);
}

TEST(fits_that_cannot_be_say_why) {
    float coeffs[6];
    const uint16_t xs[] = {1}, ys[] = {1};
    const matrix a(3, 3), b(3, 1);
    matrix wide(1, 2), two(2, 1);
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
                 polyfit(same, same, unknown(INT32_MAX), 2, coeffs));
    assert_fails("pseudo_inverse: nan or inf value in x!\npolyfit2D: failed pseudo inverse\n",
                 polyfit2D(xs, ys, infinite, 1, coeffs));
}

#include "support.hpp"
#include <algorithm>
#include <bit>
#include <check.h>
#include <cmath>
#include <limits>
#include <vector>
#include <vela/matrix.h>

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr double kRoundoff = 0x1p-24;

// A matrix around elements of its own.
struct matrix : fmatrix {
    std::vector<float> elements;

    matrix(int32_t height, int32_t width, std::vector<float> values = {})
        : fmatrix{height, width, nullptr}, elements(std::move(values)) {
        elements.resize(static_cast<size_t>(height) * static_cast<size_t>(width), -77);
        data = elements.data();
    }
    matrix(const fmatrix &from) : matrix(from.rows, from.cols, {from.data, from.data + from.rows * from.cols}) {}
    matrix(const matrix &from) : matrix(static_cast<const fmatrix &>(from)) {}
    float &at(int32_t i, int32_t j) const { return data[i * cols + j]; }
};

// The three results of a decomposition, released at the end.
struct decomposition {
    fmatrix *u = nullptr, *w = nullptr, *v = nullptr;
    int32_t result;
    std::string message;

    explicit decomposition(const fmatrix &a) {
        message = captured(stderr, [&] { result = svdcmp(&a, &u, &w, &v); });
    }
    ~decomposition() {
        for (fmatrix *m : {u, w, v})
            free_matrix(m);
    }
};

// Numbers from -8 to 8, each the same float on every machine.
struct generator {
    uint32_t state;

    uint32_t bits() { return (state = state * 1664525 + 1013904223) >> 8; }
    float next() { return static_cast<float>(static_cast<int32_t>(bits()) - (1 << 23)) * 0x1p-20F; }
};

// The kinds of matrices that decompositions must cope with.
enum kind { plain, small_integers, rank_one, scaled_columns, nearly_singular, sparse, zero, kinds };

matrix generate(generator &random, int32_t rows, int32_t cols, int kind) {
    matrix m(rows, cols);
    for (int32_t i = 0; i < rows; ++i)
        for (int32_t j = 0; j < cols; ++j) {
            float &element = m.at(i, j) = random.next();
            if (kind == small_integers)
                element = std::trunc(element / 3);
            else if (kind == rank_one)
                element = static_cast<float>((i + 1) * (j - 2));
            else if (kind == scaled_columns)
                element = std::ldexp(element, 3 * (j % 7) - 9);
            else if (kind == nearly_singular)
                element = 1.0F / static_cast<float>(i + j + 1);
            else if (kind == zero || (kind == sparse && random.bits() % 3))
                element = 0;
        }
    return m;
}

// A matrix whose decomposition does not converge.
matrix stalling() {
    constexpr float s = 0x1p56F;
    return matrix(3, 3, {s, -s, s, -s, s, 0, s, -s, -s});
}

// FNV-1a over the bits of floats, word by word. One NaN is like another.
struct digest {
    uint64_t value = 0xcbf29ce484222325;

    void add(float x) { value = (value ^ std::bit_cast<uint32_t>(std::isnan(x) ? kNaN : x)) * 0x100000001b3; }
    void add(const fmatrix &m) {
        std::for_each(m.data, m.data + m.rows * m.cols, [this](float x) { add(x); });
    }
};

void assert_digest(const digest &digest, uint64_t expected) {
    ck_assert_msg(digest.value == expected, "digest 0x%016llx", static_cast<unsigned long long>(digest.value));
}

// NaN stands for NaN.
void assert_elements_near(const fmatrix &m, const std::vector<double> &expected, double tolerance) {
    for (size_t i = 0; i < expected.size(); ++i) {
        const double actual = double{m.data[i]};
        ck_assert_msg(std::isnan(expected[i]) ? std::isnan(actual) : std::fabs(actual - expected[i]) <= tolerance,
                      "element %zu is %.9g", i, actual);
    }
}

template <class Function>
void assert_fails(const char *message, Function function) {
    int32_t result = 0;
    assert_text_eq(captured(stderr, [&] { result = function(); }), message);
    ck_assert_int_eq(result, 1);
}

// The largest element of |p q - r|, in double precision; q is transposed on request.
double largest_difference(const fmatrix &p, const fmatrix &q, bool transposed, const fmatrix *r) {
    double largest = 0;
    const int32_t columns = transposed ? q.rows : q.cols;
    for (int32_t i = 0; i < p.rows; ++i)
        for (int32_t j = 0; j < columns; ++j) {
            double sum = r ? -double{r->data[i * columns + j]} : i == j ? -1.0 : 0;
            for (int32_t k = 0; k < p.cols; ++k)
                sum += double{p.data[i * p.cols + k]} * double{q.data[transposed ? j * q.cols + k : k * q.cols + j]};
            largest = std::max(largest, std::fabs(sum));
        }
    return largest;
}

} // namespace

START_TEST(store)
{
    for (const auto &size : {std::pair{-1, 2}, {2, -1}, {-1, -1}, {0, -1}, {65536, 65536}, {1 << 15, 1 << 15}})
        assert_text_eq(captured(stderr, [&] { ck_assert_ptr_null(malloc_matrix(size.first, size.second)); }),
                       "malloc_matrix: failed data malloc\n");
    fmatrix *empty = malloc_matrix(0, 5);
    ck_assert_int_eq(empty->rows, 0);
    ck_assert_int_eq(empty->cols, 5);
    free(empty->data);
    empty->data = nullptr;
    free_matrix(empty);
    free_matrix(nullptr);

    matrix a(2, 3, {1, -2, 3, 4, 5, 6e10F});
    fmatrix *t = nullptr;
    ck_assert_int_eq(transpose(&a, &t), 0);
    ck_assert_int_eq(t->rows, 3);
    ck_assert_int_eq(t->cols, 2);
    assert_text_eq(captured(stdout, [&] { print_matrix(t); }), "1.000000e+00 4.000000e+00 \n"
                                                               "-2.000000e+00 5.000000e+00 \n"
                                                               "3.000000e+00 6.000000e+10 \n\n");
    free_matrix(t);
    matrix none(0, 4);
    assert_text_eq(captured(stdout, [&] { print_matrix(&none); }), "\n");
}
END_TEST

START_TEST(products)
{
    // Every height, width and depth against the definition.
    generator random = {1};
    for (int32_t shape = 0; shape < 10 * 20 * 4; ++shape) {
        const int32_t rows = shape / 80, cols = shape / 4 % 20, depth = shape % 4 * 3;
        matrix a = generate(random, rows, depth, plain), b = generate(random, depth, cols, plain);
        matrix c(rows, cols);
        ck_assert_int_eq(matrix_mult(&a, &b, &c), 0);
        for (int32_t i = 0; i < rows; ++i)
            for (int32_t j = 0; j < cols; ++j) {
                double sum = 0;
                for (int32_t k = 0; k < depth; ++k) {
                    const float product = a.at(i, k) * b.at(k, j);
                    sum += double{product};
                }
                ck_assert(std::bit_cast<uint32_t>(c.at(i, j)) == std::bit_cast<uint32_t>(static_cast<float>(sum)));
            }
    }
    // Sums need more than single precision, products get no more, the order is ascending.
    const float next = 1 + 0x1p-23F;
    const struct {
        std::vector<float> a, b;
        float c;
    } rows[] = {
        {{1e8F, 1, -1e8F}, {1, 1, 1}, 1},
        {{next, -1, 0}, {next, 1 + 0x1p-22F, 0}, 0},
        {{1e17F, 1, -1e17F}, {1, 1, 1}, 0},
        {{1e17F, -1e17F, 1}, {1, 1, 1}, 1},
    };
    for (const auto &row : rows) {
        matrix a(1, 3, row.a), b(3, 1, row.b), c(1, 1);
        ck_assert_int_eq(matrix_mult(&a, &b, &c), 0);
        ck_assert_float_eq(c.data[0], row.c);
    }
    matrix a(2, 3), b(3, 2), wide(2, 3), tall(3, 2);
    assert_fails("matrix_mult: Acols (3) != Brows (2)\n", [&] { return matrix_mult(&a, &wide, &tall); });
    assert_fails("matrix_mult: result needs to be Arows x Bcols\n", [&] { return matrix_mult(&a, &b, &wide); });
    assert_fails("matrix_mult: result needs to be Arows x Bcols\n", [&] { return matrix_mult(&a, &b, &tall); });
    ck_assert(wide.elements == std::vector<float>(6, -77) && tall.elements == wide.elements);
}
END_TEST

START_TEST(small_inverses)
{
    digest digest;
    generator random = {2};
    for (int i = 0; i < 200; ++i) {
        matrix a = generate(random, 3, 3, plain), b = generate(random, 4, 4, plain);
        matrix a_inverse(3, 3), b_inverse(4, 4);
        ck_assert_int_eq(inverse_3x3(a.data, a_inverse.data), 0);
        ck_assert_int_eq(inverse_4x4(b.data, b_inverse.data), 0);
        double largest = 0;
        for (const float x : b_inverse.elements)
            largest = std::max(largest, double{std::fabs(x)});
        ck_assert_double_le(largest_difference(b, b_inverse, false, nullptr), 32 * kRoundoff * std::max(largest, 1.0));
        digest.add(a_inverse);
        digest.add(b_inverse);
        // In place as well.
        inverse_3x3(a.data, a.data);
        inverse_4x4(b.data, b.data);
        ck_assert(a.elements == a_inverse.elements && b.elements == b_inverse.elements);
    }
    assert_digest(digest, 0xe8d26c04f394a185);

    matrix out3(3, 3), out4(4, 4);
    matrix identity(3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1}), tiny(3, 3, {1e-5F, 0, 0, 0, 1e-5F, 0, 0, 0, 1e-5F}),
        three(3, 3, {2, 1, 0, 0, 1, 0, 5, 0, 4}), four(4, 4, {2, 0, 0, 0, 0, 4, 0, 0, 0, 0, 8, 0, 0, 0, 0, 16}),
        equal_rows(4, 4, {1, 2, 3, 4, 5, 6, 7, 8, 1, 2, 3, 4, 9, 7, 5, 3});
    ck_assert_int_eq(inverse_3x3(identity.data, out3.data), 0);
    ck_assert(out3.elements == identity.elements);
    ck_assert_int_eq(inverse_3x3(three.data, out3.data), 0);
    assert_elements_near(out3, {0.5, -0.5, 0, 0, 1, 0, -0.625, 0.625, 0.25}, 0);
    assert_fails("", [&] { return inverse_3x3(tiny.data, out3.data); });
    assert_elements_near(out3, {1e-10, 0, 0, 0, 1e-10, 0, 0, 0, 1e-10}, 1e-16);
    ck_assert_int_eq(inverse_4x4(four.data, out4.data), 0);
    assert_elements_near(out4, {0.5, 0, 0, 0, 0, 0.25, 0, 0, 0, 0, 0.125, 0, 0, 0, 0, 0.0625}, 0);
    assert_fails("inverse_4x4: zero determinant, no inverse.\n",
                 [&] { return inverse_4x4(equal_rows.data, out4.data); });
    ck_assert_float_eq(out4.data[15], 0.0625F);
}
END_TEST

START_TEST(hypotenuse)
{
    const float rows[][3] = {{3, 4, 5},
                             {-4, 3, 5},
                             {0, 0, 0},
                             {1e-15F, 1e-15F, 0},
                             {2e-15F, 1e-15F, 2.236068e-15F},
                             {0, 9.9e-15F, 0},
                             {3e30F, -4e30F, 5e30F},
                             {0, -2, 2},
                             {kNaN, 2, 0},
                             {2, kNaN, 0},
                             {kInfinity, 2, kInfinity},
                             {-2, -kInfinity, kInfinity},
                             {kInfinity, kInfinity, 0},
                             {3e38F, 3e38F, kInfinity}};
    for (const auto &row : rows) {
        const float result = pythag(row[0], row[1]);
        ck_assert_msg(result == row[2] || std::fabs(result / row[2] - 1) < 3e-7F, "%g %g", row[0], row[1]);
    }
}
END_TEST

START_TEST(singular_values)
{
    digest digest;
    generator random = {3};
    const int32_t shapes[][2] = {{1, 1}, {2, 2},  {3, 3},   {5, 3},  {3, 5},   {1, 6},
                                 {7, 1}, {16, 9}, {24, 24}, {33, 6}, {100, 3}, {9, 14}};
    for (const auto &shape : shapes)
        for (int kind = plain; kind < kinds; ++kind) {
            matrix a = generate(random, shape[0], shape[1], kind);
            const decomposition svd(a);
            ck_assert_int_eq(svd.result, 0);
            ck_assert(svd.message.empty());
            for (const fmatrix *m : {svd.u, svd.w, svd.v})
                digest.add(*m);

            double largest = 0;
            matrix scaled(*svd.u);
            for (int32_t i = 0; i < a.cols; ++i)
                for (int32_t j = 0; j < a.cols; ++j) {
                    const float w = svd.w->data[i * a.cols + j];
                    ck_assert(i == j ? w >= 0 : w == 0);
                    largest = std::max(largest, double{w});
                    for (int32_t k = 0; i == j && k < a.rows; ++k)
                        scaled.at(k, i) *= w;
                }
            const double tolerance = 16 * kRoundoff * std::max(shape[0], shape[1]);
            ck_assert_double_le(largest_difference(scaled, *svd.v, true, &a), tolerance * largest);
            ck_assert_double_le(largest_difference(*svd.v, *svd.v, true, nullptr), tolerance);
            if (kind == plain && a.rows >= a.cols) {
                fmatrix *transposed = nullptr;
                ck_assert_int_eq(transpose(svd.u, &transposed), 0);
                ck_assert_double_le(largest_difference(*transposed, *svd.u, false, nullptr), tolerance);
                free_matrix(transposed);
            }
        }
    assert_digest(digest, 0x514ccec25a16a13e);
}
END_TEST

START_TEST(singular_values_that_are_known)
{
    const decomposition diagonal(matrix(2, 2, {3, 0, 0, -2}));
    assert_elements_near(*diagonal.u, {-1, 0, 0, -1}, 0);
    assert_elements_near(*diagonal.w, {3, 0, 0, 2}, 0);
    assert_elements_near(*diagonal.v, {-1, 0, 0, 1}, 0);
    const decomposition rank_one(matrix(3, 2, {1, 2, 2, 4, 3, 6}));
    assert_elements_near(*rank_one.w, {0, 0, 0, 8.3666003}, 2e-6);
    const decomposition zero_column(matrix(3, 2, {3, 0, 0, 0, 4, 0}));
    assert_elements_near(*zero_column.w, {5, 0, 0, 0}, 1e-6);
    // What is negligible is so in absolute terms.
    const decomposition small(matrix(2, 2, {9e-15F, 0, 0, 3e-14F}));
    assert_elements_near(*small.w, {0, 0, 0, 3e-14}, 1e-20);
}
END_TEST

START_TEST(decompositions_that_fail)
{
    // Finite, but a superdiagonal element stays above 1e-14 beyond the last sweep; u and v are what they then were.
    const decomposition stalled(stalling());
    ck_assert_int_eq(stalled.result, 1);
    ck_assert(stalled.message.empty());
    digest digest;
    digest.add(*stalled.u);
    digest.add(*stalled.v);
    assert_digest(digest, 0xff3b8e4046a668be);

    const char *const w_and_u = "svdcmp: non finite value in W\nsvdcmp: non finite value in U\n";
    const char *const u_and_v = "svdcmp: non finite value in U\nsvdcmp: non finite value in V\n";
    const struct {
        matrix a;
        const char *message;
    } rows[] = {
        {matrix(1, 1, {kNaN}), w_and_u},
        {matrix(2, 1, {1, kInfinity}), w_and_u},
        {matrix(1, 2, {1, kNaN}), u_and_v},
        {matrix(3, 3, {1, 2, 3, 4, kNaN, 6, 7, 8, 10}), u_and_v},
        {matrix(2, 2, {3e38F, 3e38F, 3e38F, 3e38F}), u_and_v},
    };
    for (const auto &row : rows) {
        const decomposition svd(row.a);
        ck_assert_int_eq(svd.result, 1);
        assert_text_eq(svd.message, row.message);
    }
}
END_TEST

START_TEST(elimination)
{
    digest digest;
    generator random = {4};
    for (int32_t n = 1; n <= 24; ++n)
        for (const int kind : {plain, small_integers, sparse, scaled_columns}) {
            matrix a = generate(random, n, n, kind);
            matrix inverse(n, n);
            const int32_t result = matrix_inverse(&a, &inverse);
            digest.add(static_cast<float>(result));
            digest.add(inverse);
            if (kind == plain)
                ck_assert_double_le(largest_difference(a, inverse, false, nullptr), 0.01);
            else if (result == 1)
                ck_assert(inverse.elements == matrix(n, n).elements);
            ck_assert_int_eq(matrix_inverse(&a, &a), result);
            ck_assert(result == 1 || kind != plain || a.elements == inverse.elements);
        }
    assert_digest(digest, 0xab1eb0344db6cf9d);

    const struct {
        int32_t n;
        std::vector<float> a;
        std::vector<double> inverse;
    } rows[] = {
        {2, {0, 1, 1, 0}, {0, 1, 1, 0}},
        {2, {9e-15F, 1, 1, 0}, {0, 1, 1, 0}},
        {2, {0x1p-42F, 1, 1, 0}, {0, 1, 1, -0x1p-42}},
        {3, {0, 0, 2, 4, 0, 0, 0, 8, 0}, {0, 0.25, 0, 0, 0, 0.125, 0.5, 0, 0}},
        // A column without a pivot is passed over; the row of the inverse that nothing is solved for stays.
        {2, {0, 1, 0, 1}, {-77, -77, 1, 0}},
    };
    for (const auto &row : rows) {
        matrix a(row.n, row.n, row.a);
        matrix inverse(row.n, row.n);
        ck_assert_int_eq(matrix_inverse(&a, &inverse), 0);
        assert_elements_near(inverse, row.inverse, 1e-20);
    }

    // Infinity times zero is left out nowhere.
    matrix unit = generate(random, 9, 9, zero), result(9, 9);
    for (int32_t i = 0; i < 9; ++i)
        unit.at(i, i) = i == 7 ? 0x1p-40F : 1;
    unit.at(7, 8) = 1;
    unit.at(8, 7) = 0x1p100F;
    ck_assert_int_eq(matrix_inverse(&unit, &result), 0);
    ck_assert(std::isnan(result.at(8, 8)));

    matrix inverse(2, 2), singular(2, 2, {1, 1, 1, 1}), large(25, 25), oblong(2, 3), three(3, 3);
    assert_fails("", [&] { return matrix_inverse(&singular, &inverse); });
    assert_fails("matrix_inverse: maximum matrix size is 24x24\n", [&] { return matrix_inverse(&large, &large); });
    assert_fails("matrix_inverse: matrix must be square\n", [&] { return matrix_inverse(&oblong, &inverse); });
    for (matrix *wrong : {&oblong, &three})
        assert_fails("matrix_inverse: inverse matrix not correct size\n",
                     [&] { return matrix_inverse(&singular, wrong); });
}
END_TEST

START_TEST(least_squares)
{
    digest digest;
    generator random = {5};
    for (int i = 0; i < 60; ++i) {
        // Against the normal equations.
        const int32_t n = 1 + i % 5, m = n + i % 7 + 3;
        matrix a = generate(random, m, n, plain), b = generate(random, m, 1, plain), x(n, 1), square(n, n),
               inverse(n, n), right(n, 1), expected(n, 1);
        ck_assert_int_eq(pseudo_inverse(&a, &b, &x), 0);
        digest.add(x);
        fmatrix *t = nullptr;
        ck_assert_int_eq(transpose(&a, &t) || matrix_mult(t, &a, &square) || matrix_inverse(&square, &inverse) ||
                             matrix_mult(t, &b, &right) || matrix_mult(&inverse, &right, &expected),
                         0);
        free_matrix(t);
        assert_elements_near(x, {expected.elements.begin(), expected.elements.end()}, 2e-4);
    }
    assert_digest(digest, 0xdcc45397b9dd302a);

    // Of the solutions of 3 x + 4 y = 25 the one of least norm; a singular value of up to 1e-14 counts as zero.
    matrix a(3, 2, {3, 4, 0, 0, 0, 0}), b(3, 1, {25, 1, 2}), tiny(2, 1, {6e-15F, 6e-15F}), ones(2, 1, {1, 1});
    matrix x(2, 1), y(3, 1), wide(1, 2), stalled = stalling(), z(3, 1), huge(1, 1, {1e-13F}), far(1, 1, {3e38F}),
                                         one(1, 1);
    ck_assert_int_eq(pseudo_inverse(&a, &b, &x), 0);
    assert_elements_near(x, {3, 4}, 2e-6);
    ck_assert_int_eq(pseudo_inverse(&tiny, &ones, &one), 0);
    assert_elements_near(one, {0}, 0);

    assert_fails("pseudo_inverse: b cols != 1\n", [&] { return pseudo_inverse(&a, &wide, &wide); });
    assert_fails("pseudo_inverse: x cols != 1\n", [&] { return pseudo_inverse(&a, &ones, &wide); });
    assert_fails("pseudo_inverse: A rows != b rows\n", [&] { return pseudo_inverse(&a, &ones, &y); });
    assert_fails("pseudo_inverse: A cols != x cols\n", [&] { return pseudo_inverse(&a, &b, &y); });
    assert_fails("pseudo_inverse: svdcmp() failed\n", [&] { return pseudo_inverse(&stalled, &b, &z); });
    assert_fails("pseudo_inverse: nan or inf value in x!\n", [&] { return pseudo_inverse(&huge, &far, &one); });
}
END_TEST

START_TEST(polynomials)
{
    const struct {
        std::vector<float> xs, ys;
        std::vector<double> coeffs;
        double tolerance;
    } rows[] = {
        {{0, 1, 2}, {1, 3, 5}, {1, 2}, 1e-6},
        {{0, 1, 2}, {1, 3, 5}, {1, 2, 0}, 1e-5},
        {{-2, -1, 0, 1, 2}, {4, 1, 0, 1, 4}, {0, 0, 1}, 2e-6},
        {{5, 5, 5, 5}, {1, 2, 3, 6}, {3}, 1e-6},
        {{1000, 1001, 1002, 1003}, {7, 9, 11, 13}, {-1993, 2}, 1e-2},
        // The fourth coefficient belongs to the third power of the abscissa scaled to -1..1, here x / 2.
        {{-2, -1, 0, 1, 2}, {-8, -1, 0, 1, 8}, {0, 0, 0, 8}, 4e-6},
        {{3}, {2}, {2}, 0},
    };
    for (const auto &row : rows) {
        matrix coeffs(static_cast<int32_t>(row.coeffs.size()), 1);
        ck_assert_int_eq(
            polyfit(row.xs.data(), row.ys.data(), static_cast<int32_t>(row.xs.size()), coeffs.rows, coeffs.data), 0);
        assert_elements_near(coeffs, row.coeffs, row.tolerance);
    }
    const float same[] = {4, 4, 4};
    float untouched = 5, coeffs[6];
    assert_fails("", [&] { return polyfit(same, same, 0, 1, &untouched); });
    assert_fails("", [&] { return polyfit(same, same, 3, 0, &untouched); });
    ck_assert_float_eq(untouched, 5);
    assert_fails("svdcmp: non finite value in U\nsvdcmp: non finite value in V\n"
                 "pseudo_inverse: svdcmp() failed\npolyfit: failed pseudo inverse\n",
                 [&] { return polyfit(same, same, 3, 2, coeffs); });
    assert_fails("malloc_matrix: failed data malloc\npolyfit: failed to allocate X matrix\n",
                 [&] { return polyfit(same, same, INT32_MAX, 2, coeffs); });
}
END_TEST

START_TEST(surfaces)
{
    std::vector<uint16_t> xs, ys;
    std::vector<float> zs;
    for (uint16_t x = 0; x < 4; ++x)
        for (uint16_t y = 0; y < 5; ++y) {
            xs.push_back(x);
            ys.push_back(y);
            zs.push_back(3 + 2.0F * x - y + 0.5F * x * y);
        }
    matrix coeffs(6, 1);
    ck_assert_int_eq(polyfit2D(xs.data(), ys.data(), zs.data(), 20, coeffs.data), 0);
    assert_elements_near(coeffs, {3, -1, 2, 0, 0.5, 0}, 1e-4);
    for (size_t i = 0; i < zs.size(); ++i)
        ck_assert_float_eq_tol(poly2D_value(xs[i], ys[i], coeffs.data), zs[i], 1e-4F);
    const float powers[] = {1, 10, 100, 1000, 10000, 100000}, order[] = {0x1p24F, 1, 0, 0, 0, 0};
    ck_assert_float_eq(poly2D_value(2, 3, powers), 1 + 30 + 200 + 9000 + 60000 + 400000);
    ck_assert_float_eq(poly2D_value(1, 1, order), 0x1p24F);

    // One sample gives a multiple of its terms. Products beyond 46340 squared come out negative.
    for (const uint16_t x : std::initializer_list<uint16_t>{46340, 46341, 65535}) {
        const float height = 1e9F;
        ck_assert_int_eq(polyfit2D(&x, &x, &height, 1, coeffs.data), 0);
        ck_assert(coeffs.data[1] > 0 && std::signbit(coeffs.data[3]) == (x > 46340));
        ck_assert(coeffs.data[3] == coeffs.data[4] && coeffs.data[4] == coeffs.data[5]);
    }
    digest digest;
    generator random = {6};
    for (int32_t n = 12; n < 72; ++n) {
        matrix heights = generate(random, n, 1, plain), abscissas = generate(random, n, 1, plain), line(1 + n % 4, 1);
        for (std::vector<uint16_t> *coordinates : {&xs, &ys}) {
            coordinates->resize(static_cast<size_t>(n));
            std::generate(coordinates->begin(), coordinates->end(), [&] { return random.bits() % 16; });
        }
        ck_assert_int_eq(polyfit2D(xs.data(), ys.data(), heights.data, n, coeffs.data), 0);
        ck_assert_int_eq(polyfit(abscissas.data, heights.data, n, line.rows, line.data), 0);
        digest.add(coeffs);
        digest.add(line);
    }
    assert_digest(digest, 0x0376f222ca244f56);
    assert_fails("", [&] { return polyfit2D(xs.data(), ys.data(), zs.data(), 0, coeffs.data); });
    zs[3] = kInfinity;
    assert_fails("pseudo_inverse: nan or inf value in x!\npolyfit2D: failed pseudo inverse\n",
                 [&] { return polyfit2D(xs.data(), ys.data(), zs.data(), 20, coeffs.data); });
}
END_TEST

Suite *matrix_suite() {
    Suite *suite = suite_create("matrix");
    TCase *tests = tcase_create("matrix");
    tcase_set_timeout(tests, 60);
    for (const TTest *test :
         {store, products, small_inverses, hypotenuse, singular_values, singular_values_that_are_known,
          decompositions_that_fail, elimination, least_squares, polynomials, surfaces})
        tcase_add_test(tests, test);
    suite_add_tcase(suite, tests);
    return suite;
}

// Matrices that own their elements, and fits over whole pictures.
#include "generated.hpp"
#include "models/agree.hpp"
#include "support.hpp"
#include <type_traits>
#include <vela/cpp/matrix.hpp>

namespace {

using floats = std::vector<float>;

static_assert(sizeof(vela::matrix) == sizeof(fmatrix *) && !std::is_copy_constructible_v<vela::matrix>);

void expect(const std::string &what, std::span<const float> actual, const floats &expected) {
    agree_all("the elements", what, actual, expected, 1e-5);
}

vela::matrix of(int32_t rows, int32_t cols, const floats &elements) {
    return value_of(vela::matrix::of(rows, cols, elements));
}

int released = 0;
void release(int *) { ++released; }

} // namespace

TEST(an_owner_releases_its_record_once) {
    int record = 0;
    {
        vela::internal::owner<int, release> first(&record);
        const auto second = std::move(first);
        ck_assert_int_eq(released, 0);
    }
    ck_assert_int_eq(released, 1);
}

TEST(a_matrix_has_zeros_or_the_given_elements) {
    value_of(vela::matrix::make(20, 3)).elements()[30] = 7; // released, and the memory is used again
    vela::matrix zeros = value_of(vela::matrix::make(20, 3));
    expect("zeros", zeros.elements(), floats(60, 0));
    vela::matrix a = of(2, 2, {1, 2, 3, 4});
    a(0, 1) = 7;
    expect("a", a.elements(), {1, 7, 3, 4});
    expect("its transpose", value_of(vela::transposed(a)).elements(), {1, 3, 7, 4});
    expect("a product", value_of(vela::product(a, of(2, 1, {1, 10}))).elements(), {71, 43});
    fmatrix *record = a.release();
    expect("adopted again", value_of(vela::matrix::adopt(record)).elements(), {1, 7, 3, 4});
}

TEST(invalid_sizes_are_refused_without_a_message) {
    const vela::matrix two = of(2, 2, {1, 2, 3, 4}), row = of(1, 2, {1, 2});
    assert_text_eq(captured(stderr,
                            [&] {
                                for (const auto &[rows, cols] : {std::pair{-1, 0}, {0, -1}, {-1, -1}, {65536, 65536}})
                                    ck_assert_msg(!vela::matrix::make(rows, cols), "%d x %d", rows, cols);
                                ck_assert(!vela::matrix::of(2, 2, floats(3)));
                                ck_assert(!vela::matrix::adopt(nullptr));
                                ck_assert(!vela::product(two, row));
                                ck_assert(!vela::least_squares(two, floats(3)));
                                ck_assert(!vela::least_squares(row, floats(1)));
                            }),
                   "");
}

TEST(decompositions_multiply_back) {
    const vela::matrix a = of(3, 2, {1, 2, 3, 4, 5, 7});
    const vela::matrix::decomposition svd = value_of(vela::decompose(a));
    const vela::matrix uw = value_of(vela::product(svd.u, of(2, 2, {svd.values[0], 0, 0, svd.values[1]})));
    expect("u w v'", value_of(vela::product(uw, value_of(vela::transposed(svd.v)))).elements(), {1, 2, 3, 4, 5, 7});
    captured(stderr, [] { ck_assert(!vela::decompose(of(1, 1, {NAN}))); });
}

TEST(dependent_columns_have_no_least_squares) {
    expect("x", value_of(vela::least_squares(of(3, 2, {1, 0, 1, 1, 1, 2}), floats{1, 3, 5})), {1, 2});
    ck_assert(!vela::least_squares(of(4, 2, {1, 1, 2, 2, 3, 3, 5, 5}), floats{1, 2, 4, 5}));
    ck_assert(!vela::least_squares(of(2, 1, {0, 0}), floats{1, 2}));
    for (const float ratio : {4e-6F, 4e-7F}) // of singular values; the limit is 1e-6
        ck_assert_int_eq(vela::least_squares(of(2, 2, {ratio, 0, 0, 1}), floats{1, 2}).has_value(), ratio > 1e-6F);
}

TEST(polynomials_of_any_degree_are_recovered) {
    const auto cubic = [](float x) { return 3 - x + x * x * (x - 900) * 1e-3F; };
    floats xs, ys;
    for (int i = 0; i < 40; ++i) {
        xs.push_back(static_cast<float>(1000 + 25 * i));
        ys.push_back(cubic(xs.back()));
    }
    for (const int32_t degree : {3, 5}) {
        const vela::polynomial fit = value_of(vela::fit_polynomial(xs, ys, degree));
        ck_assert_uint_eq(fit.coefficients().size(), static_cast<size_t>(degree) + 1);
        for (const float x : {1000.0F, 1333.0F, 1975.0F})
            ck_assert_double_eq_tol(fit(double{x}), double{cubic(x)}, 10.0); // of up to 4 million
    }
    ck_assert_double_eq_tol(value_of(vela::fit_polynomial(floats{5, 5, 5}, floats{1, 2, 6}, 0))(5), 3, 1e-6);
    const struct {
        floats xs, ys;
        int32_t degree;
    } refused[] = {
        {{5, 5, 5}, {1, 2, 6}, 1}, {{1, 2}, {1, 2}, 2}, {{1, 2}, {1}, 0}, {{1, NAN}, {1, 2}, 0}, {xs, ys, -1}};
    for (const auto &row : refused)
        ck_assert_msg(!vela::fit_polynomial(row.xs, row.ys, row.degree), "degree %d", row.degree);
}

// 100 random positions in a picture of 1920 x 1080, with noise of up to 0.2: polyfit2D() fails in a fifth of such fits.
TEST(surfaces_over_a_whole_picture_are_always_found) {
    generator random{5};
    const auto uniform = [&] { return static_cast<float>(random.word()) * 0x1p-31F; };
    for (int run = 0; run < 2000; ++run) {
        floats xs, ys, zs, truth, found, c;
        for (int i = 0; i < 6; ++i)
            c.push_back(uniform());
        for (int i = 0; i < 100; ++i) {
            xs.push_back(static_cast<float>(random.below(1920)));
            ys.push_back(static_cast<float>(random.below(1080)));
            truth.push_back(poly2D_value(xs.back() / 960 - 1, ys.back() / 540 - 1, c.data()));
            zs.push_back(truth.back() + uniform() * 0.2F);
        }
        const vela::surface fit = value_of(vela::fit_surface(xs, ys, zs));
        for (size_t i = 0; i < 100; ++i)
            found.push_back(fit(double{xs[i]}, double{ys[i]}));
        agree_all("fit_surface", c, found, truth, 0.2);
    }
}

// Over -1 to 1 the scaled coordinates are the coordinates.
TEST(coefficients_are_those_of_scaled_coordinates) {
    const floats c = {1, 2, 3, 4, 5, 6}, xs = {-1, -1, -1, 0, 0, 0, 1, 1, 1}, ys = {-1, 0, 1, -1, 0, 1, -1, 0, 1};
    floats heights, line;
    for (size_t i = 0; i < xs.size(); ++i) {
        heights.push_back(poly2D_value(xs[i], ys[i], c.data()));
        line.push_back(1 + 2 * xs[i]);
    }
    expect("of a surface", value_of(vela::fit_surface(xs, ys, heights)).coefficients(), c);
    expect("of a line", value_of(vela::fit_polynomial(xs, line, 1)).coefficients(), {1, 2});
}

TEST(samples_that_do_not_determine_a_surface_are_refused) {
    const floats xs = {0, 1, 2, 0, 1, 5}, ys = {0, 0, 1, 2, 1, 3}, line = {0, 1, 2, 3, 4, 5}, zs = {1, 2, 3, 4, 5, 6};
    const floats few = {0, 1, 2, 0, 1}, few_ys = {0, 0, 1, 2, 1}, one(6, 1), far = {0, 1, INFINITY, 0, 1, 5};
    ck_assert(vela::fit_surface(xs, ys, zs).has_value());
    const floats *const refused[][3] = {{&line, &line, &zs}, {&xs, &one, &zs}, {&few, &few_ys, &few},
                                        {&few, &ys, &zs},    {&xs, &few, &zs}, {&far, &ys, &zs}};
    for (const auto &[x, y, z] : refused)
        ck_assert_msg(!vela::fit_surface(*x, *y, *z), "%s", shown(*x).c_str());
}

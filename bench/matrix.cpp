// Decompositions, inverses, products and fits of random matrices, against Eigen, LAPACK and GSL on one core.
#include "ratios.hpp"
#include <random>
#include <vector>
#include <vela/matrix.h>
#ifdef HAVE_EIGEN3
#define EIGEN_NO_DEBUG
#include <Eigen/Dense>
#endif
#ifdef HAVE_LAPACKE
#include <lapacke.h>
#endif
#ifdef HAVE_OPENBLAS
extern "C" void openblas_set_num_threads(int);
#endif
#ifdef HAVE_GSL
#include <gsl/gsl_linalg.h>
#include <gsl/gsl_multifit.h>
#endif

namespace {

using benchmark::State;

std::vector<float> random_elements(size_t count) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> elements(-1, 1);
    std::vector<float> values(count);
    for (float &value : values)
        value = elements(random);
    return values;
}

fmatrix matrix_of(std::vector<float> &elements, int rows, int cols) { return {rows, cols, elements.data()}; }

// Counts one item an iteration.
template <class Work>
auto each(Work work) {
    return [work](State &state) mutable {
        for (auto _ : state)
            work();
        state.SetItemsProcessed(state.iterations());
    };
}

#ifdef HAVE_EIGEN3
template <class Scalar>
using eigen_matrix = Eigen::Matrix<Scalar, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

eigen_matrix<float> eigen_of(const std::vector<float> &elements, int rows, int cols) {
    return Eigen::Map<const eigen_matrix<float>>(elements.data(), rows, cols);
}
#endif

#ifdef HAVE_GSL
struct gsl_svd {
    gsl_matrix *a, *u, *v;
    gsl_vector *w, *work;

    gsl_svd(const std::vector<float> &elements, size_t m, size_t n)
        : a(gsl_matrix_alloc(m, n)), u(gsl_matrix_alloc(m, n)), v(gsl_matrix_alloc(n, n)), w(gsl_vector_alloc(n)),
          work(gsl_vector_alloc(n)) {
        std::copy(elements.begin(), elements.end(), a->data);
    }
    void operator()() const {
        gsl_matrix_memcpy(u, a);
        gsl_linalg_SV_decomp(u, v, w, work);
    }
};
#endif

// Thin decompositions with both sets of vectors.
void add_decompositions(int m, int n, double factor) {
    const std::string name = "svd " + std::to_string(m) + "x" + std::to_string(n);
    auto elements = random_elements(static_cast<size_t>(m) * static_cast<size_t>(n));
    ratios::add(name, "vela", each([=]() mutable {
                    const fmatrix a = matrix_of(elements, m, n);
                    fmatrix *u = nullptr, *w = nullptr, *v = nullptr;
                    benchmark::DoNotOptimize(svdcmp(&a, &u, &w, &v));
                    for (fmatrix *result : {u, w, v})
                        free_matrix(result);
                }));
#ifdef HAVE_EIGEN3
    const auto a = eigen_of(elements, m, n);
    ratios::add(name, "eigen-jacobi",
                each([a, svd = Eigen::JacobiSVD<eigen_matrix<float>>(
                             m, n, Eigen::ComputeThinU | Eigen::ComputeThinV)]() mutable {
                    benchmark::DoNotOptimize(svd.compute(a));
                }));
    ratios::add(
        name, "eigen-bdc",
        each([a, svd = Eigen::BDCSVD<eigen_matrix<float>>(m, n, Eigen::ComputeThinU | Eigen::ComputeThinV)]() mutable {
            benchmark::DoNotOptimize(svd.compute(a));
        }));
#endif
#ifdef HAVE_LAPACKE
    const auto rows = static_cast<size_t>(m), cols = static_cast<size_t>(n);
    ratios::add(name, "lapack",
                each([=, work = std::vector<float>(64 * rows), copy = elements, u = std::vector<float>(rows * cols),
                      v = std::vector<float>(cols * cols), w = std::vector<float>(cols)]() mutable {
                    // Column by column, which is LAPACK's own order, so that nothing is transposed.
                    copy = elements;
                    benchmark::DoNotOptimize(LAPACKE_sgesvd_work(LAPACK_COL_MAJOR, 'S', 'S', m, n, copy.data(), m,
                                                                 w.data(), u.data(), m, v.data(), n, work.data(),
                                                                 static_cast<int>(work.size())));
                }));
#endif
#ifdef HAVE_GSL
    ratios::add(name, "gsl", each(gsl_svd(elements, static_cast<size_t>(m), static_cast<size_t>(n))));
#endif
    ratios::bar(name, factor);
}

#ifdef HAVE_EIGEN3
template <int size>
void add_small_eigen_inverse(const char *name, const std::vector<float> &elements) {
    using matrix = Eigen::Matrix<float, size, size>;
    ratios::add(name, "eigen",
                each([a = matrix(Eigen::Map<const matrix>(elements.data())), out = matrix(matrix::Zero())]() mutable {
                    benchmark::DoNotOptimize(a.data());
                    bool invertible;
                    a.computeInverseWithCheck(out, invertible, 1e-14F);
                    benchmark::DoNotOptimize(invertible);
                    benchmark::DoNotOptimize(out.data());
                    benchmark::ClobberMemory();
                }));
}
#endif

void add_inverses() {
    auto elements = random_elements(24 * 24);
    ratios::add("inverse 24x24", "vela", each([elements, out = elements]() mutable {
                    const fmatrix a = matrix_of(elements, 24, 24);
                    fmatrix inverse = matrix_of(out, 24, 24);
                    benchmark::DoNotOptimize(matrix_inverse(&a, &inverse));
                    benchmark::ClobberMemory();
                }));
    auto small = random_elements(16);
    ratios::add("inverse 4x4", "vela", each([small, out = small]() mutable {
                    benchmark::DoNotOptimize(inverse_4x4(small.data(), out.data()));
                    benchmark::ClobberMemory();
                }));
    ratios::add("inverse 3x3", "vela", each([small, out = small]() mutable {
                    benchmark::DoNotOptimize(inverse_3x3(small.data(), out.data()));
                    benchmark::ClobberMemory();
                }));
#ifdef HAVE_EIGEN3
    ratios::add("inverse 24x24", "eigen",
                each([a = eigen_of(elements, 24, 24), out = eigen_of(elements, 24, 24),
                      lu = Eigen::PartialPivLU<eigen_matrix<float>>(24)]() mutable {
                    lu.compute(a);
                    out = lu.inverse();
                    benchmark::DoNotOptimize(out.data());
                    benchmark::ClobberMemory();
                }));
    add_small_eigen_inverse<4>("inverse 4x4", small);
    add_small_eigen_inverse<3>("inverse 3x3", small);
#endif
    ratios::bar("inverse 24x24", 1, {"eigen"});
}

void add_products() {
    auto elements = random_elements(64 * 64);
    ratios::add("product 64x64x64", "vela", each([x = elements, y = elements, z = elements]() mutable {
                    const fmatrix a = matrix_of(x, 64, 64), b = matrix_of(y, 64, 64);
                    fmatrix c = matrix_of(z, 64, 64);
                    benchmark::DoNotOptimize(matrix_mult(&a, &b, &c));
                    benchmark::ClobberMemory();
                }));
#ifdef HAVE_EIGEN3
    ratios::add("product 64x64x64", "eigen-double",
                each([a = eigen_matrix<double>(eigen_of(elements, 64, 64).cast<double>()),
                      c = eigen_matrix<double>(64, 64)]() mutable {
                    c.noalias() = a * a;
                    benchmark::DoNotOptimize(c.data());
                    benchmark::ClobberMemory();
                }));
#endif
    ratios::bar("product 64x64x64", 1 / 2.5, {"eigen-double"});
}

// The fit of a surface, per point, beside one plain pass over its three input arrays.
void add_surface() {
    constexpr int n = 100000;
    std::mt19937 random(2);
    std::vector<uint16_t> xs(n), ys(n);
    std::vector<float> zs = random_elements(n);
    for (std::vector<uint16_t> *coordinates : {&xs, &ys})
        for (uint16_t &coordinate : *coordinates)
            coordinate = static_cast<uint16_t>(random() % 64);
    const auto per_point = [](auto work) {
        return [work](State &state) mutable {
            for (auto _ : state)
                work(state);
            state.SetItemsProcessed(state.iterations() * n);
        };
    };
    ratios::add("surface 10^5 points", "vela", per_point([=](State &state) {
                    float coeffs[6];
                    if (polyfit2D(xs.data(), ys.data(), zs.data(), n, coeffs) != 0)
                        state.SkipWithError("no fit");
                    benchmark::DoNotOptimize(coeffs);
                }));
    ratios::add("surface 10^5 points", "plain-read", per_point([=](State &) {
                    uint32_t sum = 0;
                    float heights[8] = {};
                    for (size_t i = 0; i < n; i += 8)
                        for (size_t lane = 0; lane < 8; ++lane) {
                            sum += xs[i + lane] + ys[i + lane];
                            heights[lane] += zs[i + lane];
                        }
                    benchmark::DoNotOptimize(sum);
                    benchmark::DoNotOptimize(heights);
                }));
#ifdef HAVE_EIGEN3
    ratios::add("surface 10^5 points", "eigen-bdc", per_point([=](State &) {
                    Eigen::MatrixXf design(n, 6);
                    for (int i = 0; i < n; ++i) {
                        const auto x = static_cast<float>(xs[static_cast<size_t>(i)]),
                                   y = static_cast<float>(ys[static_cast<size_t>(i)]);
                        design.row(i) << 1, y, x, y * y, x * y, x * x;
                    }
                    const Eigen::VectorXf coeffs = design.bdcSvd(Eigen::ComputeThinU | Eigen::ComputeThinV)
                                                       .solve(Eigen::Map<const Eigen::VectorXf>(zs.data(), n));
                    benchmark::DoNotOptimize(coeffs.data());
                }));
#endif
#ifdef HAVE_GSL
    ratios::add("surface 10^5 points", "gsl", per_point([=](State &) {
                    gsl_matrix *design = gsl_matrix_alloc(n, 6), *covariance = gsl_matrix_alloc(6, 6);
                    gsl_vector *heights = gsl_vector_alloc(n), *coeffs = gsl_vector_alloc(6);
                    gsl_multifit_linear_workspace *work = gsl_multifit_linear_alloc(n, 6);
                    for (size_t i = 0; i < n; ++i) {
                        const double x = xs[i], y = ys[i], row[] = {1, y, x, y * y, x * y, x * x};
                        std::copy_n(row, 6, design->data + i * design->tda);
                        heights->data[i] = double{zs[i]};
                    }
                    double residual;
                    gsl_multifit_linear(design, heights, coeffs, covariance, &residual, work);
                    benchmark::DoNotOptimize(coeffs->data);
                    gsl_multifit_linear_free(work);
                    gsl_matrix_free(design);
                    gsl_matrix_free(covariance);
                    gsl_vector_free(heights);
                    gsl_vector_free(coeffs);
                }));
#endif
}

const bool registered = [] {
#ifdef HAVE_OPENBLAS
    openblas_set_num_threads(1);
#endif
    add_decompositions(24, 24, 1);
    add_decompositions(100, 6, 1);
    add_decompositions(100, 3, 1);
    add_inverses();
    add_products();
    add_surface();
    return true;
}();

} // namespace

// Decompositions, inverses, products and fits of random matrices, against Eigen, LAPACK and GSL on one core.
#include "ratios.hpp"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>
#include <vela/cpp/matrix.hpp>
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

// Noisy samples of a surface at random places of a picture.
struct picture {
    static constexpr size_t kSamples = 100;
    std::vector<uint16_t> xs, ys;
    std::vector<float> zs;
    std::vector<double> truth;

    explicit picture(std::mt19937 &random) {
        std::uniform_real_distribution<double> uniform(-1, 1);
        std::normal_distribution<double> noise(0, 0.1);
        double c[6];
        std::generate(c, c + 6, [&] { return uniform(random); });
        for (size_t i = 0; i < kSamples; ++i) {
            xs.push_back(static_cast<uint16_t>(random() % 1920));
            ys.push_back(static_cast<uint16_t>(random() % 1080));
            const double x = xs[i] / 960.0 - 1, y = ys[i] / 540.0 - 1;
            truth.push_back(c[0] + c[1] * y + c[2] * x + c[3] * y * y + c[4] * x * y + c[5] * x * x);
            zs.push_back(static_cast<float>(truth[i] + noise(random)));
        }
    }
};

// Notes how often fits of 2000 pictures fail, how often one is off by more than 0.2, and the mean of what each of the
// others is off at most. A fit takes a picture and a function that it hands each height to; it says whether it
// succeeds.
template <class Fit>
void note_fits(const char *name, Fit fit) {
    constexpr int kFits = 2000;
    std::mt19937 random(3);
    int failed = 0, off = 0;
    double sum = 0;
    for (int i = 0; i < kFits; ++i) {
        const picture samples(random);
        std::vector<double> heights(picture::kSamples);
        if (!fit(samples, heights)) {
            ++failed;
            continue;
        }
        double worst = 0;
        for (size_t k = 0; k < heights.size(); ++k)
            worst = std::max(worst, std::fabs(heights[k] - samples.truth[k]));
        off += worst > 0.2;
        sum += worst > 0.2 ? 0 : worst;
    }
    char line[160];
    std::snprintf(line, sizeof line,
                  "surfaces over 1920x1080, %-20s %4d of %d fail, %3d are off by more than 0.2, others by %.4f", name,
                  failed, kFits, off, sum / std::max(kFits - failed - off, 1));
    ratios::note(line);
}

void add_fits() {
    note_fits("polyfit2D():", [](const picture &p, std::vector<double> &heights) {
        float c[6];
        if (polyfit2D(p.xs.data(), p.ys.data(), p.zs.data(), picture::kSamples, c) != 0)
            return false;
        for (size_t i = 0; i < heights.size(); ++i)
            heights[i] = double{poly2D_value(p.xs[i], p.ys[i], c)};
        return true;
    });
    note_fits("vela::fit_surface():", [](const picture &p, std::vector<double> &heights) {
        const std::vector<float> xs(p.xs.begin(), p.xs.end()), ys(p.ys.begin(), p.ys.end());
        const auto surface = vela::fit_surface(xs, ys, p.zs);
        for (size_t i = 0; surface && i < heights.size(); ++i)
            heights[i] = double{(*surface)(p.xs[i], p.ys[i])};
        return surface.has_value();
    });
#ifdef HAVE_EIGEN3
    note_fits("eigen, float:", [](const picture &p, std::vector<double> &heights) {
        Eigen::MatrixXf design(picture::kSamples, 6);
        for (Eigen::Index i = 0; i < design.rows(); ++i) {
            const float x = p.xs[static_cast<size_t>(i)], y = p.ys[static_cast<size_t>(i)];
            design.row(i) << 1, y, x, y * y, x * y, x * x;
        }
        const Eigen::VectorXf c = design.bdcSvd(Eigen::ComputeThinU | Eigen::ComputeThinV)
                                      .solve(Eigen::Map<const Eigen::VectorXf>(p.zs.data(), picture::kSamples));
        const Eigen::VectorXf all = design * c;
        std::copy_n(all.data(), heights.size(), heights.begin());
        return c.allFinite();
    });
#endif
#ifdef HAVE_GSL
    note_fits("gsl, double:", [](const picture &p, std::vector<double> &heights) {
        gsl_matrix *design = gsl_matrix_alloc(picture::kSamples, 6), *covariance = gsl_matrix_alloc(6, 6);
        gsl_vector *zs = gsl_vector_alloc(picture::kSamples), *c = gsl_vector_alloc(6);
        gsl_multifit_linear_workspace *work = gsl_multifit_linear_alloc(picture::kSamples, 6);
        for (size_t i = 0; i < picture::kSamples; ++i) {
            const double x = p.xs[i], y = p.ys[i], row[] = {1, y, x, y * y, x * y, x * x};
            std::copy_n(row, 6, design->data + i * design->tda);
            zs->data[i] = double{p.zs[i]};
        }
        double residual;
        const bool good = gsl_multifit_linear(design, zs, c, covariance, &residual, work) == 0;
        for (size_t i = 0; i < heights.size(); ++i) {
            heights[i] = 0;
            for (size_t j = 0; j < 6; ++j)
                heights[i] += c->data[j] * design->data[i * design->tda + j];
        }
        gsl_multifit_linear_free(work);
        gsl_matrix_free(design);
        gsl_matrix_free(covariance);
        gsl_vector_free(zs);
        gsl_vector_free(c);
        return good;
    });
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
    add_fits();
    return true;
}();

} // namespace

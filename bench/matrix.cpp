// Decompositions, inverses, products and fits of random matrices, against Eigen, LAPACK and GSL on one core; what the
// times buy is the distance from the same in double.
#include "ratios.hpp"
#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <string>
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

// Thin decompositions with both sets of vectors. Each is made anew by decompose() and then has its singular values.
struct our_svd {
    std::vector<float> elements;
    int m, n;
    std::vector<double> w = std::vector<double>(static_cast<size_t>(n));

    void decompose() {
        const fmatrix a = matrix_of(elements, m, n);
        fmatrix *u = nullptr, *values = nullptr, *v = nullptr;
        benchmark::DoNotOptimize(svdcmp(&a, &u, &values, &v));
        for (size_t i = 0; i < w.size(); ++i)
            w[i] = double{values->data[i * (w.size() + 1)]};
        for (fmatrix *result : {u, values, v})
            free_matrix(result);
    }
    [[nodiscard]] std::vector<double> values() const { return w; }
};

#ifdef HAVE_EIGEN3
template <class Svd>
struct eigen_svd {
    typename Svd::MatrixType a;
    Svd svd{a.rows(), a.cols(), Eigen::ComputeThinU | Eigen::ComputeThinV};

    void decompose() { benchmark::DoNotOptimize(svd.compute(a)); }
    [[nodiscard]] std::vector<double> values() const {
        return {svd.singularValues().begin(), svd.singularValues().end()};
    }
};
#endif

#ifdef HAVE_LAPACKE
struct lapack_svd {
    std::vector<float> elements;
    int m, n;
    size_t rows = static_cast<size_t>(m), cols = static_cast<size_t>(n);
    std::vector<float> work = std::vector<float>(64 * rows), copy = elements, u = std::vector<float>(rows * cols),
                       v = std::vector<float>(cols * cols), w = std::vector<float>(cols);

    void decompose() {
        // Column by column, which is LAPACK's own order, so that nothing is transposed.
        copy = elements;
        benchmark::DoNotOptimize(LAPACKE_sgesvd_work(LAPACK_COL_MAJOR, 'S', 'S', m, n, copy.data(), m, w.data(),
                                                     u.data(), m, v.data(), n, work.data(),
                                                     static_cast<int>(work.size())));
    }
    [[nodiscard]] std::vector<double> values() const { return {w.begin(), w.end()}; }
};
#endif

#ifdef HAVE_GSL
// In double, as all that it has.
struct gsl_svd {
    gsl_matrix *a, *u, *v;
    gsl_vector *w, *work;

    gsl_svd(const std::vector<float> &elements, size_t m, size_t n)
        : a(gsl_matrix_alloc(m, n)), u(gsl_matrix_alloc(m, n)), v(gsl_matrix_alloc(n, n)), w(gsl_vector_alloc(n)),
          work(gsl_vector_alloc(n)) {
        std::copy(elements.begin(), elements.end(), a->data);
    }
    void decompose() const {
        gsl_matrix_memcpy(u, a);
        gsl_linalg_SV_decomp(u, v, w, work);
    }
    [[nodiscard]] std::vector<double> values() const { return {w->data, w->data + w->size}; }
};
#endif

#ifdef HAVE_EIGEN3
// The worst error of a singular value of 20 matrices, beside the largest one.
template <class Make>
double worst_error(Make make, int m, int n) {
    const auto size = static_cast<size_t>(m) * static_cast<size_t>(n);
    const std::vector<float> all = random_elements(20 * size);
    double worst = 0;
    for (auto at = all.begin(); at != all.end(); at += static_cast<std::ptrdiff_t>(size)) {
        const std::vector<float> elements(at, at + static_cast<std::ptrdiff_t>(size));
        const eigen_matrix<long double> a = eigen_of(elements, m, n).cast<long double>();
        const eigen_matrix<double> exact =
            Eigen::JacobiSVD<eigen_matrix<long double>>(a).singularValues().cast<double>();
        auto svd = make(elements);
        svd.decompose();
        std::vector<double> values = svd.values();
        std::sort(values.begin(), values.end(), std::greater<>());
        for (size_t i = 0; i < values.size(); ++i)
            worst = std::max(worst, std::fabs(values[i] - exact(static_cast<Eigen::Index>(i), 0)) / exact(0, 0));
    }
    return worst;
}
#endif

void add_decompositions(int m, int n, double factor) {
    using elements = std::vector<float>;
    const std::string name = "svd " + std::to_string(m) + "x" + std::to_string(n);
    const auto add_way = [&](const char *implementation, auto make) {
        const elements some = random_elements(static_cast<size_t>(m) * static_cast<size_t>(n));
        ratios::add(name, implementation, each([svd = make(some)]() mutable { svd.decompose(); }));
#ifdef HAVE_EIGEN3
        ratios::quality({name, "worst error of a singular value, of the largest", name, implementation,
                         [=] { return worst_error(make, m, n); }});
#endif
    };
    add_way("vela", [=](const elements &a) { return our_svd{a, m, n}; });
#ifdef HAVE_EIGEN3
    using single = eigen_matrix<float>;
    using wide = eigen_matrix<double>;
    add_way("eigen-jacobi", [=](const elements &a) { return eigen_svd<Eigen::JacobiSVD<single>>{eigen_of(a, m, n)}; });
    add_way("eigen-bdc", [=](const elements &a) { return eigen_svd<Eigen::BDCSVD<single>>{eigen_of(a, m, n)}; });
    add_way("eigen-bdc-double",
            [=](const elements &a) { return eigen_svd<Eigen::BDCSVD<wide>>{eigen_of(a, m, n).cast<double>()}; });
#endif
#ifdef HAVE_LAPACKE
    add_way("lapack", [=](const elements &a) {
        elements by_columns = a;
        for (int i = 0; i < m; ++i)
            for (int j = 0; j < n; ++j)
                by_columns[static_cast<size_t>(j * m + i)] = a[static_cast<size_t>(i * n + j)];
        return lapack_svd{by_columns, m, n};
    });
#endif
#ifdef HAVE_GSL
    add_way("gsl", [=](const elements &a) { return gsl_svd(a, static_cast<size_t>(m), static_cast<size_t>(n)); });
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

    // How far the product with the inverse is from the unit matrix.
    const auto measure = [=](const char *implementation, auto invert) {
        ratios::quality({"inverse 24x24", "worst element beside the unit matrix", "inverse 24x24", implementation, [=] {
                             const eigen_matrix<float> a = eigen_of(elements, 24, 24);
                             const eigen_matrix<double> product = a.cast<double>() * invert(a).template cast<double>();
                             return (product - eigen_matrix<double>::Identity(24, 24)).cwiseAbs().maxCoeff();
                         }});
    };
    measure("vela", [](eigen_matrix<float> a) {
        eigen_matrix<float> inverse(24, 24);
        const fmatrix from = {24, 24, a.data()};
        fmatrix to = {24, 24, inverse.data()};
        benchmark::DoNotOptimize(matrix_inverse(&from, &to));
        return inverse;
    });
    measure("eigen", [](const eigen_matrix<float> &a) {
        return eigen_matrix<float>(Eigen::PartialPivLU<eigen_matrix<float>>(a).inverse());
    });
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
    const auto add_eigen = [](const char *implementation, auto factor) {
        ratios::add("product 64x64x64", implementation, each([a = factor, c = factor]() mutable {
                        c.noalias() = a * a;
                        benchmark::DoNotOptimize(c.data());
                        benchmark::ClobberMemory();
                    }));
    };
    const eigen_matrix<float> factor = eigen_of(elements, 64, 64);
    add_eigen("eigen", factor);
    add_eigen("eigen-double", eigen_matrix<double>(factor.cast<double>()));
#endif
    ratios::bar("product 64x64x64", 1 / 2.5, {"eigen-double"});
#ifdef HAVE_EIGEN3
    // Against the product of the same elements in double.
    const auto measure = [=](const char *implementation, auto product) {
        ratios::quality({"product", "worst error of an element", "product 64x64x64", implementation, [=] {
                             const eigen_matrix<float> a = eigen_of(elements, 64, 64);
                             const eigen_matrix<double> exact = a.cast<double>() * a.cast<double>();
                             return (product(a) - exact).cwiseAbs().maxCoeff();
                         }});
    };
    measure("vela", [](eigen_matrix<float> a) {
        eigen_matrix<float> c(64, 64);
        const fmatrix from = {64, 64, a.data()};
        fmatrix to = {64, 64, c.data()};
        benchmark::DoNotOptimize(matrix_mult(&from, &from, &to));
        return eigen_matrix<double>(c.cast<double>());
    });
    measure("eigen", [](const eigen_matrix<float> &a) {
        return eigen_matrix<double>(eigen_matrix<float>(a * a).cast<double>());
    });
#endif
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

// Fits take a picture and give each height that the surface has there, or say that they fail. Timed over a few
// pictures, and measured over 2000: how many surfaces are off by more than 0.2 somewhere or fail, and the mean of what
// each of the others is off at most.
using heights = std::vector<double>;
using fit = std::function<bool(const picture &, heights &)>;

struct judgement {
    int bad = 0;
    double error = 0;
};

judgement judge(const fit &way) {
    constexpr int kFits = 2000;
    std::mt19937 random(3);
    judgement result;
    for (int i = 0; i < kFits; ++i) {
        const picture samples(random);
        heights found(picture::kSamples);
        double worst = way(samples, found) ? 0 : 1;
        for (size_t k = 0; k < found.size(); ++k)
            worst = std::max(worst, std::fabs(found[k] - samples.truth[k]));
        result.bad += worst > 0.2;
        result.error += worst > 0.2 ? 0 : worst;
    }
    result.error /= std::max(kFits - result.bad, 1);
    return result;
}

void add_fit(const char *implementation, const fit &way) {
    const std::string name = "surface over 1920x1080, 100 samples", group = "surfaces over 1920x1080";
    ratios::add(name, implementation, [=](State &state) {
        std::mt19937 random(3);
        const std::vector<picture> pictures = {picture(random), picture(random), picture(random), picture(random)};
        heights found(picture::kSamples);
        for (size_t i = 0; auto _ : state) {
            benchmark::DoNotOptimize(way(pictures[i++ % pictures.size()], found));
            benchmark::DoNotOptimize(found.data());
        }
        state.SetItemsProcessed(state.iterations());
    });
    ratios::quality(
        {group, "of 2000 fail or are off by more than 0.2", name, implementation, [=] { return judge(way).bad; }});
    ratios::quality({group, "mean error of the others", name, implementation, [=] { return judge(way).error; }});
}

void add_fits() {
    add_fit("vela-polyfit2D", [](const picture &p, heights &found) {
        float c[6];
        if (polyfit2D(p.xs.data(), p.ys.data(), p.zs.data(), picture::kSamples, c) != 0)
            return false;
        for (size_t i = 0; i < found.size(); ++i)
            found[i] = double{poly2D_value(p.xs[i], p.ys[i], c)};
        return true;
    });
    add_fit("vela", [](const picture &p, heights &found) {
        const std::vector<float> xs(p.xs.begin(), p.xs.end()), ys(p.ys.begin(), p.ys.end());
        const auto surface = vela::fit_surface(xs, ys, p.zs);
        for (size_t i = 0; surface && i < found.size(); ++i)
            found[i] = double{(*surface)(p.xs[i], p.ys[i])};
        return surface.has_value();
    });
#ifdef HAVE_EIGEN3
    add_fit("eigen-float", [](const picture &p, heights &found) {
        Eigen::MatrixXf design(picture::kSamples, 6);
        for (Eigen::Index i = 0; i < design.rows(); ++i) {
            const float x = p.xs[static_cast<size_t>(i)], y = p.ys[static_cast<size_t>(i)];
            design.row(i) << 1, y, x, y * y, x * y, x * x;
        }
        const Eigen::VectorXf c = design.bdcSvd(Eigen::ComputeThinU | Eigen::ComputeThinV)
                                      .solve(Eigen::Map<const Eigen::VectorXf>(p.zs.data(), picture::kSamples));
        const Eigen::VectorXf all = design * c;
        std::copy_n(all.data(), found.size(), found.begin());
        return c.allFinite();
    });
#endif
#ifdef HAVE_GSL
    add_fit("gsl", [](const picture &p, heights &found) {
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
        for (size_t i = 0; i < found.size(); ++i) {
            found[i] = 0;
            for (size_t j = 0; j < 6; ++j)
                found[i] += c->data[j] * design->data[i * design->tda + j];
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
    ratios::floor("plain-read");
    add_fits();
    return true;
}();

} // namespace

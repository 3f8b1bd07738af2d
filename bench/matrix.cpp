// Decompositions, inverses, products and fits of random matrices, against Eigen, LAPACK and GSL on one core, and the
// error of each against a result in double or better.
#include "ratios.hpp"
#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>
#include <vela/cpp/matrix.hpp>
#define EIGEN_NO_DEBUG
#include <Eigen/Dense>
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

using elements = std::vector<float>;
template <class Scalar>
using matrix = Eigen::Matrix<Scalar, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

elements random_elements(size_t count) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> uniform(-1, 1);
    elements values(count);
    for (float &value : values)
        value = uniform(random);
    return values;
}

matrix<float> random_matrix(int rows, int cols) {
    const elements values = random_elements(static_cast<size_t>(rows * cols));
    return Eigen::Map<const matrix<float>>(values.data(), rows, cols);
}

fmatrix record_of(matrix<float> &a) { return {static_cast<int>(a.rows()), static_cast<int>(a.cols()), a.data()}; }

// Thin singular value decompositions with both sets of vectors: decompose() and then values().
struct our_svd {
    matrix<float> a;
    std::vector<double> w = std::vector<double>(static_cast<size_t>(a.cols()));

    void decompose() {
        const fmatrix from = record_of(a);
        fmatrix *u = nullptr, *values = nullptr, *v = nullptr;
        benchmark::DoNotOptimize(svdcmp(&from, &u, &values, &v));
        for (size_t i = 0; i < w.size(); ++i)
            w[i] = double{values->data[i * (w.size() + 1)]};
        for (fmatrix *result : {u, values, v})
            free_matrix(result);
    }
    [[nodiscard]] std::vector<double> values() const { return w; }
};

template <class Svd>
struct eigen_svd {
    typename Svd::MatrixType a;
    Svd svd{a.rows(), a.cols(), Eigen::ComputeThinU | Eigen::ComputeThinV};

    void decompose() { benchmark::DoNotOptimize(svd.compute(a)); }
    [[nodiscard]] std::vector<double> values() const {
        return {svd.singularValues().begin(), svd.singularValues().end()};
    }
};

#ifdef HAVE_LAPACKE
struct lapack_svd {
    Eigen::MatrixXf a; // by columns, as LAPACK expects
    int m = static_cast<int>(a.rows()), n = static_cast<int>(a.cols());
    Eigen::MatrixXf copy = a, u = a, v = Eigen::MatrixXf(n, n);
    Eigen::VectorXf w = Eigen::VectorXf(n), work = Eigen::VectorXf(64 * m);

    void decompose() {
        copy = a;
        benchmark::DoNotOptimize(LAPACKE_sgesvd_work(LAPACK_COL_MAJOR, 'S', 'S', m, n, copy.data(), m, w.data(),
                                                     u.data(), m, v.data(), n, work.data(), 64 * m));
    }
    [[nodiscard]] std::vector<double> values() const { return {w.begin(), w.end()}; }
};
#endif

#ifdef HAVE_GSL
using gsl_pointer = std::shared_ptr<gsl_matrix>;
gsl_pointer gsl_make(size_t rows, size_t cols) { return {gsl_matrix_alloc(rows, cols), gsl_matrix_free}; }

gsl_pointer gsl_of(const matrix<double> &a) {
    const gsl_pointer made = gsl_make(static_cast<size_t>(a.rows()), static_cast<size_t>(a.cols()));
    std::copy_n(a.data(), a.size(), made->data);
    return made;
}

// In double, as everything in GSL.
struct gsl_svd {
    gsl_pointer a;
    gsl_pointer u = gsl_make(a->size1, a->size2), v = gsl_make(a->size2, a->size2), vectors = gsl_make(2, a->size2);
    gsl_vector_view w = gsl_matrix_row(vectors.get(), 0), work = gsl_matrix_row(vectors.get(), 1);

    void decompose() {
        gsl_matrix_memcpy(u.get(), a.get());
        gsl_linalg_SV_decomp(u.get(), v.get(), &w.vector, &work.vector);
    }
    [[nodiscard]] std::vector<double> values() const { return {w.vector.data, w.vector.data + w.vector.size}; }
};
#endif

// The worst error of a singular value in 20 matrices, relative to the largest one.
template <class Make>
double worst_error(Make make, int m, int n) {
    const matrix<float> all = random_matrix(20 * m, n);
    double worst = 0;
    for (int i = 0; i < 20; ++i) {
        const matrix<float> a = all.middleRows(i * m, m);
        const Eigen::VectorXd exact =
            Eigen::JacobiSVD<matrix<long double>>(a.cast<long double>()).singularValues().cast<double>();
        auto svd = make(a);
        svd.decompose();
        std::vector<double> values = svd.values();
        std::sort(values.begin(), values.end(), std::greater<>());
        for (Eigen::Index k = 0; k < n; ++k)
            worst = std::max(worst, std::fabs(values[static_cast<size_t>(k)] - exact(k)) / exact(0));
    }
    return worst;
}

void add_decompositions(int m, int n) {
    const std::string name = "svd " + std::to_string(m) + "x" + std::to_string(n);
    const auto add = [&](const char *implementation, auto make) {
        ratios::add(name, implementation, 1, [svd = make(random_matrix(m, n))]() mutable { svd.decompose(); });
        ratios::add({name, "worst error of a singular value, relative to the largest", implementation,
                     [=] { return worst_error(make, m, n); }});
    };
    using single = const matrix<float> &;
    add("vela", [](single a) { return our_svd{a}; });
    add("eigen-jacobi", [](single a) { return eigen_svd<Eigen::JacobiSVD<matrix<float>>>{a}; });
    add("eigen-bdc", [](single a) { return eigen_svd<Eigen::BDCSVD<matrix<float>>>{a}; });
    add("eigen-bdc-double", [](single a) { return eigen_svd<Eigen::BDCSVD<matrix<double>>>{a.cast<double>()}; });
#ifdef HAVE_LAPACKE
    add("lapack", [](single a) { return lapack_svd{a}; });
#endif
#ifdef HAVE_GSL
    add("gsl", [](single a) { return gsl_svd{gsl_of(a.cast<double>())}; });
#endif
    ratios::target(name, 1);
}

// Times compute(a, result) for a random square matrix, and registers error(a, result).
template <class Scalar, class Compute, class Error>
void add_square(const char *name, const char *implementation, int size, Compute compute, const char *measure,
                Error error) {
    ratios::add(name, implementation, 1,
                [=, a = matrix<Scalar>(random_matrix(size, size).cast<Scalar>()),
                 result = matrix<Scalar>(size, size)]() mutable { compute(a, result); });
    ratios::add({name, measure, implementation, [=]() mutable {
                     matrix<Scalar> a = random_matrix(size, size).cast<Scalar>(), result(size, size);
                     compute(a, result);
                     return error(a.template cast<double>(), result.template cast<double>());
                 }});
}

void add_large_inverses() {
    const auto error = [](const matrix<double> &a, const matrix<double> &inverse) {
        return (a * inverse - matrix<double>::Identity(a.rows(), a.cols())).cwiseAbs().maxCoeff();
    };
    const char *const name = "inverse 24x24", *const measure = "worst element of A * inverse - unit matrix";
    add_square<float>(
        name, "vela", 24,
        [](matrix<float> &a, matrix<float> &result) {
            const fmatrix from = record_of(a);
            fmatrix to = record_of(result);
            benchmark::DoNotOptimize(matrix_inverse(&from, &to));
        },
        measure, error);
    add_square<float>(
        name, "eigen", 24,
        [lu = Eigen::PartialPivLU<matrix<float>>(24)](matrix<float> &a, matrix<float> &result) mutable {
            lu.compute(a);
            result = lu.inverse();
        },
        measure, error);
    ratios::target(name, 1, {"eigen"});
}

template <int size>
void add_small_inverses(const char *name, int32_t (*inverse)(const float *, float *)) {
    using fixed = Eigen::Matrix<float, size, size>;
    const elements values = random_elements(size * size);
    ratios::add(name, "vela", 1, [=, from = values, to = values]() mutable { return inverse(from.data(), to.data()); });
    ratios::add(name, "eigen", 1,
                [a = fixed(Eigen::Map<const fixed>(values.data())), out = fixed(fixed::Zero())]() mutable {
                    benchmark::DoNotOptimize(a.data());
                    bool invertible;
                    a.computeInverseWithCheck(out, invertible, 1e-14F);
                    benchmark::DoNotOptimize(out.data());
                    return static_cast<int>(invertible);
                });
}

void add_products() {
    const auto error = [](const matrix<double> &a, const matrix<double> &product) {
        return (product - a * a).cwiseAbs().maxCoeff();
    };
    const auto by_eigen = [](auto &a, auto &result) { result.noalias() = a * a; };
    const char *const name = "product 64x64x64", *const measure = "worst error of an element";
    add_square<float>(
        name, "vela", 64,
        [](matrix<float> &a, matrix<float> &result) {
            const fmatrix from = record_of(a);
            fmatrix to = record_of(result);
            benchmark::DoNotOptimize(matrix_mult(&from, &from, &to));
        },
        measure, error);
    add_square<float>(name, "eigen", 64, by_eigen, measure, error);
    add_square<double>(name, "eigen-double", 64, by_eigen, measure, error);
    ratios::target(name, 1 / 2.5, {"eigen-double"});
}

// Least squares of a surface through samples (x, y, z), as a program would write it.
template <class Scalar, class Coordinates>
matrix<Scalar> design_of(const Coordinates &xs, const Coordinates &ys) {
    matrix<Scalar> design(static_cast<Eigen::Index>(xs.size()), 6);
    for (size_t i = 0; i < xs.size(); ++i) {
        const auto x = static_cast<Scalar>(xs[i]), y = static_cast<Scalar>(ys[i]);
        design.row(static_cast<Eigen::Index>(i)) << 1, y, x, y * y, x * y, x * x;
    }
    return design;
}

Eigen::VectorXf eigen_fit(const matrix<float> &design, const elements &zs) {
    return design.bdcSvd(Eigen::ComputeThinU | Eigen::ComputeThinV)
        .solve(Eigen::Map<const Eigen::VectorXf>(zs.data(), design.rows()));
}

#ifdef HAVE_GSL
Eigen::VectorXd gsl_fit(const matrix<double> &design, const elements &zs) {
    const gsl_pointer a = gsl_of(design), covariance = gsl_make(6, 6);
    const std::vector<double> heights(zs.begin(), zs.end());
    const gsl_vector_const_view z = gsl_vector_const_view_array(heights.data(), heights.size());
    Eigen::VectorXd coeffs(6);
    gsl_vector_view c = gsl_vector_view_array(coeffs.data(), 6);
    double residual;
    const std::unique_ptr<gsl_multifit_linear_workspace, void (*)(gsl_multifit_linear_workspace *)> work(
        gsl_multifit_linear_alloc(heights.size(), 6), gsl_multifit_linear_free);
    gsl_multifit_linear(a.get(), &z.vector, &c.vector, covariance.get(), &residual, work.get());
    return coeffs;
}
#endif

// The fit of a surface, per point, beside one plain pass over its three input arrays.
void add_surface() {
    constexpr int n = 100000;
    const char *const name = "surface 10^5 points";
    std::mt19937 random(2);
    std::vector<uint16_t> xs(n), ys(n);
    const elements zs = random_elements(n);
    for (std::vector<uint16_t> *coordinates : {&xs, &ys})
        for (uint16_t &coordinate : *coordinates)
            coordinate = static_cast<uint16_t>(random() % 64);
    ratios::add(name, "vela", n, [=] {
        float coeffs[6];
        return polyfit2D(xs.data(), ys.data(), zs.data(), n, coeffs) == 0;
    });
    ratios::add(name, "plain-read", n, [=] {
        uint32_t sum = 0;
        float heights[8] = {};
        for (size_t i = 0; i < n; i += 8)
            for (size_t lane = 0; lane < 8; ++lane) {
                sum += xs[i + lane] + ys[i + lane];
                heights[lane] += zs[i + lane];
            }
        benchmark::DoNotOptimize(heights);
        return sum;
    });
    ratios::add(name, "eigen-bdc", n, [=] { return eigen_fit(design_of<float>(xs, ys), zs)(0); });
#ifdef HAVE_GSL
    ratios::add(name, "gsl", n, [=] { return gsl_fit(design_of<double>(xs, ys), zs)(0); });
#endif
    ratios::lower_bound("plain-read");
}

// Noisy samples of a surface at random positions of a picture.
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

// Fits take a picture and give the height of the surface at each sample, or fail.
using heights = std::vector<double>;
using fit = std::function<bool(const picture &, heights &)>;

// How many of 2000 surfaces fail or are off by more than 0.2 somewhere, and the mean of the others' largest errors.
struct judgement {
    int bad = 0;
    double error = 0;

    explicit judgement(const fit &of) {
        constexpr int kFits = 2000;
        std::mt19937 random(3);
        for (int i = 0; i < kFits; ++i) {
            const picture samples(random);
            heights found(picture::kSamples);
            double worst = of(samples, found) ? 0 : 1;
            for (size_t k = 0; k < found.size(); ++k)
                worst = std::max(worst, std::fabs(found[k] - samples.truth[k]));
            bad += worst > 0.2;
            error += worst > 0.2 ? 0 : worst;
        }
        error /= std::max(kFits - bad, 1);
    }
};

void add_fit(const char *implementation, const fit &by) {
    const std::string name = "surface over 1920x1080, 100 samples";
    std::mt19937 random(3);
    const std::vector<picture> pictures = {picture(random), picture(random), picture(random), picture(random)};
    ratios::add(name, implementation, 1, [=, found = heights(picture::kSamples), i = size_t{0}]() mutable {
        benchmark::DoNotOptimize(by(pictures[i++ % pictures.size()], found));
    });
    ratios::add({name, "fits of 2000 that fail or are off by more than 0.2", implementation,
                 [=] { return judgement(by).bad; }});
    ratios::add({name, "mean error of the others", implementation, [=] { return judgement(by).error; }});
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
    const auto by_design = [](const auto &design, const auto &coeffs, heights &found) {
        for (size_t i = 0; i < found.size(); ++i)
            found[i] = static_cast<double>(design.row(static_cast<Eigen::Index>(i)) * coeffs);
        return coeffs.allFinite();
    };
    add_fit("eigen-float", [=](const picture &p, heights &found) {
        const matrix<float> design = design_of<float>(p.xs, p.ys);
        return by_design(design, eigen_fit(design, p.zs), found);
    });
#ifdef HAVE_GSL
    add_fit("gsl", [=](const picture &p, heights &found) {
        const matrix<double> design = design_of<double>(p.xs, p.ys);
        return by_design(design, gsl_fit(design, p.zs), found);
    });
#endif
}

const bool registered = [] {
#ifdef HAVE_OPENBLAS
    openblas_set_num_threads(1);
#endif
    add_decompositions(24, 24);
    add_decompositions(100, 6);
    add_decompositions(100, 3);
    add_large_inverses();
    add_small_inverses<4>("inverse 4x4", inverse_4x4);
    add_small_inverses<3>("inverse 3x3", inverse_3x3);
    add_products();
    add_surface();
    add_fits();
    return true;
}();

} // namespace

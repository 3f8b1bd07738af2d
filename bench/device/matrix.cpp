// Decompositions, inverses, products and fits of random matrices.
#include "device.hpp"
#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>
#include <vela/matrix.h>

namespace {

// The alternatives' cases decompose the same matrices.
std::vector<float> random_elements(size_t count) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> unit(-1, 1);
    std::vector<float> values(count);
    std::generate(values.begin(), values.end(), [&] { return unit(random); });
    return values;
}

auto decomposition(int32_t rows, int32_t cols) {
    return [rows, cols, elements = random_elements(static_cast<size_t>(rows * cols))]() mutable {
        const fmatrix a = {rows, cols, elements.data()};
        fmatrix *u = nullptr, *w = nullptr, *v = nullptr;
        svdcmp(&a, &u, &w, &v);
        for (fmatrix *result : {u, w, v})
            free_matrix(result);
    };
}

} // namespace

static const device::cases registered([] {
    constexpr int32_t kSize = 24, kPoints = 500;
    device::add("svdcmp/24x24", "matrix", 1, [] { return decomposition(24, 24); });
    device::add("svdcmp/100x6", "matrix", 1, [] { return decomposition(100, 6); });
    device::add("matrix_inverse/24x24", "matrix", 1, [] {
        return [elements = random_elements(kSize * kSize), out = std::vector<float>(kSize * kSize)]() mutable {
            const fmatrix a = {kSize, kSize, elements.data()};
            fmatrix inverse = {kSize, kSize, out.data()};
            matrix_inverse(&a, &inverse);
        };
    });
    device::add("matrix_mult/64x64x64", "product", 64 * 64 * 64, [] {
        return [elements = random_elements(64 * 64), out = std::vector<float>(64 * 64)]() mutable {
            const fmatrix a = {64, 64, elements.data()};
            fmatrix c = {64, 64, out.data()};
            matrix_mult(&a, &a, &c);
        };
    });
    device::add("inverse_4x4", "matrix", 1, [] {
        return [elements = random_elements(16), out = std::vector<float>(16)]() mutable {
            inverse_4x4(elements.data(), out.data());
        };
    });
    device::add("polyfit2D", "point", kPoints, [] {
        std::vector<uint16_t> xs(kPoints), ys(kPoints);
        for (size_t i = 0; i < kPoints; ++i) {
            xs[i] = static_cast<uint16_t>(i % 25);
            ys[i] = static_cast<uint16_t>(i / 25);
        }
        return [xs, ys, zs = random_elements(kPoints)] {
            float coeffs[6];
            polyfit2D(xs.data(), ys.data(), zs.data(), kPoints, coeffs);
        };
    });
});

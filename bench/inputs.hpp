// Inputs that benchmarks and device cases share.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>
#include <vela/interp.h>

// Clouds of points with 8-bit coordinates: of the whole range, of the ball that fits in it, and of that ball's shell.
namespace clouds {

struct cloud {
    std::vector<uint8_t> xs, ys, zs;

    int32_t count() const { return static_cast<int32_t>(xs.size()); }
    // x, y, z of one point after the other.
    std::vector<double> interleaved() const {
        std::vector<double> all;
        for (size_t i = 0; i < xs.size(); ++i)
            all.insert(all.end(), {double(xs[i]), double(ys[i]), double(zs[i])});
        return all;
    }
};

enum class shape { cube, ball, shell };

inline cloud cloud_of(shape kind, int32_t count) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unit(-1, 1);
    cloud points;
    while (points.count() < count) {
        const double x = unit(random), y = unit(random), z = unit(random);
        const double length = std::sqrt(x * x + y * y + z * z);
        if (kind != shape::cube && (length > 1 || length < 0.1))
            continue;
        const double radius = kind == shape::shell ? length : 1;
        const auto rounded = [radius](double value) {
            return static_cast<uint8_t>(std::lround(127.5 + 127.5 * value / radius));
        };
        points.xs.push_back(rounded(x));
        points.ys.push_back(rounded(y));
        points.zs.push_back(rounded(z));
    }
    return points;
}

} // namespace clouds

// A curve of rising knots, not quite evenly spaced over the table.
constexpr size_t kKnots = 16, kEntries = 4096;

inline std::vector<interp_knot> tone_curve() {
    std::vector<interp_knot> knots(kKnots);
    for (size_t i = 0; i < kKnots; ++i)
        knots[i] = {static_cast<int16_t>(i * 273 + (i % 3 == 1 ? 40 : 0)), static_cast<int16_t>(i * i * 10 - i * 70)};
    return knots;
}

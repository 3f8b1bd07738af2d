// The windowed sinc kernels of <vela/fixedpoint.h>, and how far they are from the exact ones.
#include "svg.hpp"
#include <numbers>
#include <vela/fixedpoint.h>

namespace {

using svg::point;

constexpr int32_t kOne = 32768;

double exact_sinc(double x) { return x == 0 ? 1 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x); }

double exact_kernel(int32_t lobes, double x) { return std::abs(x) < lobes ? exact_sinc(x) * exact_sinc(x / lobes) : 0; }

// The greatest error of a function up to a limit, in eight stretches of each doubling of x.
template <class Error>
std::vector<point> worst(int32_t limit, Error error) {
    std::vector<point> points;
    for (double begin = 10; begin < limit; begin *= std::exp2(0.125)) {
        const double end = std::min(begin * std::exp2(0.125), limit * 1.0);
        double greatest = 0;
        for (double x = std::ceil(begin); x < end; x += std::max(1.0, std::floor((end - begin) / 500)))
            greatest = std::max(greatest, std::abs(error(static_cast<int32_t>(x))));
        points.push_back({std::sqrt(begin * end) / kOne, greatest});
    }
    return points;
}

} // namespace

int main() {
    constexpr std::pair<int32_t, const char *> kernels[] = {{8, "sa"}, {4, "sc"}, {2, "sb"}, {1, "se"}};
    svg::picture picture(680, "Windowed sinc kernels in fixed point");
    svg::chart shapes(picture, {60, 75, 560, 210}, {-8, 8, {-8, -6, -4, -2, 0, 2, 4, 6, 8}, "x"},
                      {-0.25, 1.05, {0, 0.25, 0.5, 0.75, 1}, "weight"}, "Lanczos_q15(a, x)");
    double left = 60;
    for (const auto &[lobes, style] : kernels) {
        std::vector<point> curve;
        for (int32_t x = -lobes * kOne; x <= lobes * kOne; x += kOne / 16)
            curve.push_back({x / 32768.0, Lanczos_q15(lobes, x) / 32768.0});
        shapes.curve(curve, style);
        svg::legend(picture, {left, 350}, {{style, "a = " + std::to_string(lobes)}}, 0);
        left += 130;
    }
    svg::chart off(picture, {68, 405, 552, 190}, {0.0003, 10, {0.001, 0.01, 0.1, 1, 10}, "x", true},
                   {1, 20000, {1, 10, 100, 1000, 10000}, "units of 1/32768", true}, "off by up to");
    off.curve(worst(10 * kOne, [](int32_t x) { return sinc_q15(x) - kOne * exact_sinc(x * 1.0 / kOne); }), "sd");
    for (const auto &[lobes, style] : {kernels[2], kernels[0]})
        off.curve(worst(lobes * kOne,
                        [lobes = lobes](int32_t x) {
                            return Lanczos_q15(lobes, x) - kOne * exact_kernel(lobes, x * 1.0 / kOne);
                        }),
                  style);
    svg::legend(picture, {68, 662}, {{"sd", "sinc_q15(x)"}, {"sb", "Lanczos_q15(2, x)"}, {"sa", "Lanczos_q15(8, x)"}},
                180);
    return picture.write();
}

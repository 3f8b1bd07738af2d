// Six masks of <vela/overlay.hpp> on difficult views. Prints three blocks for each: x, y and kind of each pixel (0 sky,
// 1 ground, 2 nothing, 3 hidden); the grid of equal pan and tilt; the outline of the mask.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>
#include <vela/overlay.hpp>

namespace {

using namespace vela::overlay;

constexpr int kColumns = 304, kRows = 190;

struct scene {
    direction centre;
    double fov, grid; // degrees, of the view and between two lines of the grid
    std::vector<direction> corners;
};

std::vector<direction> ring(double tilt, int count) {
    std::vector<direction> corners;
    for (int i = 0; i < count; ++i)
        corners.push_back({360.0 * i / count, tilt});
    return corners;
}

void print_path(const view &seen, std::span<const direction> path) {
    const auto print = [](position from, position to) { std::printf("%g %g\n%g %g\n\n", from.x, from.y, to.x, to.y); };
    if (!project_path(seen, path, print))
        std::abort();
}

void print_grid(const view &seen, const scene &one) {
    const auto nearest = [&](double angle) { return std::round(angle / one.grid) * one.grid; };
    const double reach = std::min(180.0, nearest(1.5 * one.fov));
    const double left = nearest(one.centre.pan) - reach, right = nearest(one.centre.pan) + reach;
    const double low = std::max(-90.0, nearest(one.centre.tilt) - reach),
                 high = std::min(90.0, nearest(one.centre.tilt) + reach);
    for (double pan = left; pan < right; pan += one.grid) {
        std::vector<direction> meridian;
        for (double tilt = low; tilt <= high; tilt += one.grid)
            meridian.push_back({pan, tilt});
        print_path(seen, meridian);
    }
    for (double tilt = std::max(low, -90 + one.grid); tilt <= std::min(high, 90 - one.grid); tilt += one.grid) {
        std::vector<direction> parallel;
        for (double pan = left; pan <= right; pan += one.grid / 2)
            parallel.push_back({pan, tilt});
        print_path(seen, parallel);
    }
}

void print(const scene &one) {
    const auto seen = view::make(kColumns, kRows, one.centre, one.fov);
    auto hidden = mask::make(one.corners);
    if (!seen || !hidden)
        std::abort();
    std::vector<char> kinds;
    for (int y = 0; y < kRows; ++y)
        for (int x = 0; x < kColumns; ++x) {
            const auto shown = seen->unproject({x * 1.0, y * 1.0});
            kinds.push_back(!shown ? 2 : shown->tilt < 0 ? 1 : 0);
        }
    hidden->draw(*seen,
                 [&](int y, int begin, int end) { std::fill_n(kinds.begin() + y * kColumns + begin, end - begin, 3); });
    for (size_t i = 0; i < kinds.size(); ++i)
        std::printf("%zu %zu %d\n", i % kColumns, i / kColumns, kinds[i]);
    std::puts("\n");
    print_grid(*seen, one);
    std::puts("");
    std::vector<direction> outline = one.corners;
    outline.push_back(outline.front());
    print_path(*seen, outline);
    std::puts("");
}

} // namespace

int main() {
    print({{10, 80}, 100, 10, ring(75, 6)});
    print({{20, 10}, 120, 10, {{60, -25}, {140, -35}, {150, 40}, {70, 30}}});
    print({{0, 0}, 60, 10, {{-25, -10}, {25, 12}, {30, -12}, {-28, 14}, {0, 25}, {3, -25}}});
    print({{20, 5}, 170, 10, ring(-8, 12)});
    print({{12.06, 3.01}, 0.2, 0.05, {{12, 3}, {12.05, 3.01}, {12.1, 2.98}, {12.07, 3.03}, {12.02, 3.04}}});
    print({{355, -5}, 70, 10, {{340, -15}, {20, -15}, {15, 8}, {0, 0}, {345, 8}}});
}

// A mask by five lenses, and on the way between two views. Prints two blocks for each: x, y and kind of each pixel (0
// sky, 1 ground, 2 nothing, 3 hidden; 4 and 5 sky and ground in every other square of 15 degrees), and the outline of
// the mask at both ends of the way.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>
#include <vela/overlay.hpp>

namespace {

using namespace vela::overlay;

constexpr int kColumns = 304, kRows = 190;

int kind_of(const direction &d) {
    const double column = std::floor(d.pan / 15), row = std::floor(d.tilt / 15);
    return (d.tilt < 0) + (std::fmod(column + row + 100, 2) < 1 ? 0 : 4);
}

void print(const std::optional<view> &from, const std::optional<view> &to) {
    const std::vector<direction> corners = {{4, -6}, {26, -6}, {26, 14}, {16, 20}, {4, 14}, {4, -6}};
    auto hidden = mask::make(corners);
    if (!from || !to || !hidden)
        std::abort();
    std::vector<bool> is_hidden(kColumns * kRows);
    hidden->draw(*from, *to, [&](int y, int begin, int end) {
        for (int x = begin; x < end; ++x)
            is_hidden[static_cast<size_t>(y * kColumns + x)] = true;
    });
    for (int y = 0; y < kRows; ++y)
        for (int x = 0; x < kColumns; ++x) {
            const auto shown = from->unproject({x * 1.0, y * 1.0});
            std::printf("%d %d %d\n", x, y,
                        is_hidden[static_cast<size_t>(y * kColumns + x)] ? 3
                        : !shown                                         ? 2
                                                                         : kind_of(*shown));
        }
    std::printf("\n\n");
    for (const auto &seen : {from, to})
        if (!project_path(*seen, corners,
                          [](position a, position b) { std::printf("%g %g\n%g %g\n\n", a.x, a.y, b.x, b.y); }))
            std::abort();
    std::printf("\n\n");
}

template <class Lens>
void print_lens(const Lens &lens) {
    const auto seen = view::make(kColumns, kRows, orientation{0, 0}, lens);
    print(seen, seen);
}

} // namespace

int main() {
    const auto sines = view::make(kColumns, kRows, direction{0, 0}, 90);
    print(sines, sines);
    pinhole barrel = pinhole::of_fov(kColumns, kRows, 90);
    print_lens(barrel);
    barrel.k1 = -0.2;
    barrel.k2 = 0.03;
    print_lens(barrel);
    print_lens(fisheye{110, 110, 152, 95});
    fisheye distorted = {100, 100, 152, 95, 0.12, -0.04, 0.004};
    print_lens(distorted);
    const pinhole straight = pinhole::of_fov(kColumns, kRows, 90);
    print(view::make(kColumns, kRows, orientation{0, 0}, straight),
          view::make(kColumns, kRows, orientation{6, 0}, straight));
}

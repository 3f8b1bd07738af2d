// Privacy masks on a whole picture: time for each of 50 masks of 8 corners.
#include "ratios.hpp"
#include <cmath>
#include <memory>
#include <vector>
#include <vela/overlay.hpp>

namespace {

using namespace vela::overlay;

constexpr int kMasks = 50;

// Octagons all over a view at {30, 10}: 40 to 350 pixels high, or all larger than half of the picture.
std::vector<mask> masks(double fov, bool are_large) {
    std::vector<mask> made;
    for (int i = 0; i < kMasks; ++i) {
        const double radius = fov * (are_large ? 0.2 : 0.01 + 0.08 * (i % 7) / 6),
                     pan = 30 + fov * 0.45 * std::cos(i * 2.4), tilt = 10 + fov * 0.25 * std::sin(i * 2.4);
        std::vector<direction> corners;
        for (int corner = 0; corner < 8; ++corner)
            corners.push_back({pan + radius * std::cos(corner * 0.785), tilt + radius * std::sin(corner * 0.785)});
        made.push_back(std::move(*mask::make(corners)));
    }
    return made;
}

void add(const std::string &name, const std::optional<view> &seen, double fov, bool are_large, coverage how) {
    ratios::add(name, "vela", kMasks, [=, shapes = std::make_shared<std::vector<mask>>(masks(fov, are_large))] {
        int64_t pixels = 0;
        for (mask &shape : *shapes)
            shape.draw(
                *seen, [&](int, int begin, int end) { pixels += end - begin; }, how);
        return pixels;
    });
}

void add(const std::string &name, double fov, bool are_large, coverage how) {
    add(name, view::make(1920, 1080, {30, 10}, fov), fov, are_large, how);
}

void add_sweep(const std::string &name, const std::optional<view> &from, const std::optional<view> &to) {
    ratios::add(name + ", sweep", "vela", kMasks, [=, shapes = std::make_shared<std::vector<mask>>(masks(60, false))] {
        int64_t pixels = 0;
        for (mask &shape : *shapes)
            shape.draw(*from, *to, [&](int, int begin, int end) { pixels += end - begin; });
        return pixels;
    });
}

// The same view by another lens, and on the way between two, a 25th of the width apart.
template <class Lens>
void add_lens(const std::string &name, const Lens &lens) {
    const auto seen = view::make(1920, 1080, orientation{30, 10}, lens);
    add(name + ", conservative", seen, 60, false, coverage::conservative);
    add(name + ", centres", seen, 60, false, coverage::centres);
    add_sweep(name, seen, view::make(1920, 1080, orientation{32.4, 10}, lens));
}

const bool registered = [] {
    add("conservative, 60 degrees", 60, false, coverage::conservative);
    add("conservative, 5 degrees", 5, false, coverage::conservative);
    add("conservative, 60 degrees, large", 60, true, coverage::conservative);
    add("centres, 60 degrees", 60, false, coverage::centres);
    add_sweep("60 degrees", view::make(1920, 1080, {30, 10}, 60), view::make(1920, 1080, {32.4, 10}, 60));
    pinhole bent = pinhole::of_fov(1920, 1080, 60);
    add_lens("pinhole", bent);
    bent.k1 = -0.3;
    bent.k2 = 0.1;
    bent.p1 = 0.001;
    add_lens("pinhole, distorted", bent);
    fisheye wide = fisheye::of_fov(1920, 1080, 60);
    add_lens("fisheye", wide);
    wide.k1 = 0.05;
    wide.k2 = -0.01;
    add_lens("fisheye, distorted", wide);
    return true;
}();

} // namespace

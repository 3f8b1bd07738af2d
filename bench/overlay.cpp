// Privacy masks on a whole picture: time for each of 50 masks of 8 corners.
#include "ratios.hpp"
#include <cmath>
#include <vector>
#include <vela/overlay.hpp>

namespace {

using namespace vela::overlay;

constexpr int kMasks = 50;

// Octagons all over a view at {30, 10}, from a few pixels wide to most of the picture's height.
std::vector<mask> masks(double fov) {
    std::vector<mask> made;
    for (int i = 0; i < kMasks; ++i) {
        const double radius = fov * (0.01 + 0.08 * (i % 7) / 6), pan = 30 + fov * 0.45 * std::cos(i * 2.4),
                     tilt = 10 + fov * 0.25 * std::sin(i * 2.4);
        std::vector<direction> corners;
        for (int corner = 0; corner < 8; ++corner)
            corners.push_back({pan + radius * std::cos(corner * 0.785), tilt + radius * std::sin(corner * 0.785)});
        made.push_back(std::move(*mask::make(corners)));
    }
    return made;
}

const bool registered = [] {
    for (const auto how : {coverage::conservative, coverage::centres})
        for (const double fov : {60.0, 5.0}) {
            const std::string name = std::string(how == coverage::centres ? "centres" : "conservative") +
                                     "/50 masks, " + std::to_string(static_cast<int>(fov)) + " degrees";
            ratios::add(name, "vela", [=](benchmark::State &state) {
                std::vector<mask> shapes = masks(fov);
                const auto seen = view::make(1920, 1080, {30, 10}, fov);
                int64_t pixels = 0;
                for (auto _ : state)
                    for (mask &shape : shapes)
                        shape.draw(
                            *seen, [&](int, int first, int behind) { pixels += behind - first; }, how);
                benchmark::DoNotOptimize(pixels);
                state.SetItemsProcessed(state.iterations() * kMasks);
            });
        }
    return true;
}();

} // namespace

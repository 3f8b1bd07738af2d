#include "device.hpp"
#include <cmath>
#include <vector>
#include <vela/overlay.hpp>

namespace {

using namespace vela::overlay;

// An octagon about a quarter of the picture high, so that the rows dominate.
std::vector<direction> octagon() {
    std::vector<direction> corners;
    for (int corner = 0; corner < 8; ++corner)
        corners.push_back({31 + 4.2 * std::cos(corner * 0.785), 11 + 4.2 * std::sin(corner * 0.785)});
    return corners;
}

void add_drawing(const char *name, const std::optional<view> &seen, coverage how) {
    device::add(name, "row", 269, [=] {
        return [=, shape = std::make_shared<mask>(std::move(*mask::make(octagon())))] {
            int pixels = 0;
            shape->draw(
                *seen, [&](int, int begin, int end) { pixels += end - begin; }, how);
            if (pixels < 0)
                std::abort();
        };
    });
}

const device::cases registered([] {
    const auto seen = view::make(1920, 1080, {30, 10}, 60);
    add_drawing("overlay::mask::draw", seen, coverage::conservative);
    add_drawing("overlay::mask::draw/centres", seen, coverage::centres);
    pinhole straight = pinhole::of_fov(1920, 1080, 60), bent = straight;
    bent.k1 = -0.3;
    bent.k2 = 0.1;
    fisheye even = fisheye::of_fov(1920, 1080, 60), uneven = even;
    uneven.k1 = 0.05;
    const auto by = [](const auto &lens) { return view::make(1920, 1080, orientation{30, 10}, lens); };
    add_drawing("overlay::mask::draw/pinhole", by(straight), coverage::conservative);
    add_drawing("overlay::mask::draw/pinhole_distorted", by(bent), coverage::conservative);
    add_drawing("overlay::mask::draw/fisheye", by(even), coverage::conservative);
    add_drawing("overlay::mask::draw/fisheye_distorted", by(uneven), coverage::conservative);
    device::add("overlay::mask::make", "corner", 8, [] {
        return [corners = octagon()] {
            if (!mask::make(corners))
                std::abort();
        };
    });
    device::add("overlay::view::project", "point", 1000, [] {
        return [seen = view::make(1920, 1080, {30, 10}, 60)] {
            double sum = 0;
            for (int i = 0; i < 1000; ++i)
                sum += seen->project({i * 0.06, i * 0.02})->x;
            if (std::isnan(sum))
                std::abort();
        };
    });
});

} // namespace

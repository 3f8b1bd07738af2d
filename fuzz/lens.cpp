// Masks, sweeps and paths by lenses of any numbers, also of none that a camera has: what is drawn stays in the picture,
// and positions of directions show those again.
#include "../tests/models/overlay.hpp"
#include "fuzz.hpp"

namespace {

using namespace vela::overlay;

constexpr int kWidth = 160, kHeight = 90;

// Numbers of a lens near the usual, or any.
double number(fuzz::source &data, double usual, double range) {
    return data.ConsumeIntegralInRange(0, 15) == 0 ? data.ConsumeFloatingPoint<double>()
                                                   : usual + data.ConsumeFloatingPointInRange(-range, range);
}

orientation any_orientation(fuzz::source &data) {
    return {number(data, 0, 200), number(data, 0, 89), data.ConsumeBool() ? number(data, 0, 180) : 0};
}

std::optional<view> any_view(fuzz::source &data, int kind) {
    const orientation where = any_orientation(data);
    if (kind == 0)
        return view::make(kWidth, kHeight, {where.pan, where.tilt}, number(data, 60, 59));
    const double fx = number(data, 130, 120), fy = data.ConsumeBool() ? fx : number(data, 130, 120),
                 cx = number(data, 80, 100), cy = number(data, 45, 60);
    std::array<double, 5> more{};
    for (double &coefficient : more)
        coefficient = data.ConsumeBool() ? number(data, 0, 0.5) : 0;
    const auto [a, b, c, d, e] = more;
    return kind == 1 ? view::make(kWidth, kHeight, where, pinhole{fx, fy, cx, cy, a, b, c / 5, d / 5, e})
                     : view::make(kWidth, kHeight, where, fisheye{fx, fy, cx, cy, a, b, c, d});
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const int kind = data.ConsumeIntegralInRange(0, 2);
    const auto from = any_view(data, kind), to = any_view(data, kind);
    std::vector<direction> corners(data.ConsumeIntegralInRange<size_t>(2, 6));
    for (direction &corner : corners)
        corner = {number(data, 0, 60), number(data, 0, 60)};
    if (!from)
        return 0;
    auto hidden = mask::make(corners);
    std::pair last(-1, 0);
    const auto check = [&last](int y, int begin, int end) {
        assert(last < std::pair(y, begin));
        assert(0 <= y && y < kHeight && 0 <= begin && begin < end && end <= kWidth);
        last = {y, end};
    };
    for (const coverage how : {coverage::conservative, coverage::centres})
        if (last = {-1, 0}; hidden)
            hidden->draw(*from, check, how);
    if (last = {-1, 0}; hidden && to)
        hidden->draw(*from, *to, check);
    (void)project_path(*from, corners, [](position begin, position end) {
        for (const auto &[x, y] : {begin, end})
            assert(std::fabs(x - (kWidth - 1) / 2.0) < kWidth / 2.0 + 0.01 &&
                   std::fabs(y - (kHeight - 1) / 2.0) < kHeight / 2.0 + 0.01);
    });
    const std::vector<position> drawn = {{20, 20}, {140, 20}, {140, 70}, {20, 70}};
    (void)unproject_polygon(*from, drawn, [](direction d) { assert(std::isfinite(d.pan) && std::isfinite(d.tilt)); });
    // Pixels that are no smaller than what a direction in degrees resolves.
    const auto side = from->unproject({21, 20}), corner = from->unproject({20, 20});
    const bool is_coarse = side && corner && std::hypot(side->pan - corner->pan, side->tilt - corner->tilt) > 1e-6;
    for (const position &at : drawn)
        if (const auto shown = from->unproject(at); shown && is_coarse)
            if (const auto again = from->project(*shown)) // empty within rounding of the rim
                assert(std::hypot(again->x - at.x, again->y - at.y) < 0.05);
    return 0;
}

// Masks of any corners on any view, against a model that asks point by point; and numbers that are no angles.
#include "../tests/models/overlay.hpp"
#include "fuzz.hpp"

namespace {

// Corners and a view in Q10 degrees, as programs in C have them.
std::pair<std::vector<model::direction>, model::lens> any_corners(fuzz::source &data) {
    const auto angle = [&data](int32_t least, int32_t most) {
        const int32_t step = data.ConsumeIntegralInRange(0, 2);
        const int32_t value = data.ConsumeIntegralInRange(least, most);
        return (step == 0 ? value : value / 10240 * 10240 + (step == 1 ? 0 : value % 3)) / 1024.0;
    };
    std::vector<model::direction> corners(data.ConsumeIntegralInRange<size_t>(3, 12));
    for (model::direction &corner : corners)
        corner = {angle(-368640, 368640), angle(-92160, 92160)};
    return {corners,
            {data.ConsumeIntegralInRange(1, 2000),
             data.ConsumeIntegralInRange(1, 1200),
             {angle(-368640, 368640), angle(-92160, 92160)},
             data.ConsumeIntegralInRange(1024, 122880) / 1024.0}};
}

void draw_anything(fuzz::source &data) {
    std::vector<model::direction> corners(data.ConsumeIntegralInRange<size_t>(0, 8));
    for (model::direction &corner : corners)
        corner = {data.ConsumeFloatingPoint<double>(), data.ConsumeFloatingPoint<double>()};
    const auto seen = vela::overlay::view::make(640, 360, {data.ConsumeFloatingPoint<double>(), 0},
                                                data.ConsumeFloatingPointInRange(0.01, 200.0));
    auto drawn = vela::overlay::mask::make(corners);
    if (!seen)
        return;
    const auto on_screen = [](double x, double y) { return -0.51 < x && x < 639.51 && -0.51 < y && y < 359.51; };
    (void)vela::overlay::trace(*seen, corners, [&](vela::overlay::position from, vela::overlay::position to) {
        assert(on_screen(from.x, from.y) && on_screen(to.x, to.y));
    });
    if (drawn)
        drawn->draw(*seen, [](int y, int first, int behind) {
            assert(0 <= y && y < 360 && 0 <= first && first < behind && behind <= 640);
        });
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const int kind = data.ConsumeIntegralInRange(0, 4);
    if (kind == 0) {
        draw_anything(data);
        return 0;
    }
    const auto number = [&data](int limit) { return data.ConsumeIntegralInRange(0, limit - 1); };
    const auto [corners, view] = kind == 1 ? any_corners(data) : model::any_mask(number);
    auto state = data.ConsumeIntegral<uint32_t>();
    const auto below = [&state](int limit) {
        state = state * 1664525 + 1013904223;
        return static_cast<int>((state >> 8) % static_cast<uint32_t>(limit));
    };
    model::check_mask(corners, view, below, 4);
    return 0;
}

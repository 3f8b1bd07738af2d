// Masks of any corners on any view, against a model that asks point by point; and numbers that are no angles.
#include "../tests/models/overlay.hpp"
#include "fuzz.hpp"

namespace {

void draw_anything(fuzz::source &data) {
    const auto any = [&] { return data.ConsumeFloatingPoint<double>(); };
    std::vector<model::direction> corners(data.ConsumeIntegralInRange<size_t>(0, 8));
    for (model::direction &corner : corners)
        corner = {any(), any()};
    auto drawn = vela::overlay::mask::make(corners);
    const auto seen = vela::overlay::view::make(640, 360, {any(), 0}, data.ConsumeFloatingPointInRange(0.01, 200.0));
    if (!seen)
        return;
    (void)vela::overlay::project_path(*seen, corners, [](vela::overlay::position from, vela::overlay::position to) {
        for (const auto &[x, y] : {from, to}) {
            assert(std::fabs(x - 319.5) < 320.01);
            assert(std::fabs(y - 179.5) < 180.01);
        }
    });
    if (drawn)
        drawn->draw(*seen, [](int y, int begin, int end) {
            assert(std::clamp(y, 0, 359) == y);
            assert(std::clamp(begin, 0, end - 1) == begin);
            assert(end <= 640);
        });
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    if (data.ConsumeIntegralInRange(0, 4) == 0) {
        draw_anything(data);
        return 0;
    }
    const auto number = [&data](int limit) { return data.ConsumeIntegralInRange(0, limit - 1); };
    const auto [corners, view] = model::any_mask(number);
    auto state = data.ConsumeIntegral<uint32_t>();
    const auto below = [&state](int limit) {
        state = state * 1664525 + 1013904223;
        return static_cast<int>((state >> 8) % static_cast<uint32_t>(limit));
    };
    model::check_mask(corners, view, below, 4);
    return 0;
}

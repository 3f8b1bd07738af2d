// Curves through any knots, in any order, come out as their definition says.
#include "../tests/models/interp.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto most_step = data.ConsumeIntegralInRange<int16_t>(0, 4000), back = data.PickValueInArray<int16_t>({0, 1});
    const auto range = data.ConsumeIntegralInRange<int16_t>(0, INT16_MAX);
    curves::knots points;
    for (int32_t x = data.ConsumeIntegral<int16_t>(); points.size() < 40;) {
        points.push_back({static_cast<int16_t>(x), data.ConsumeIntegralInRange<int16_t>(-range, range)});
        if (data.remaining_bytes() == 0)
            break;
        x = std::clamp<int32_t>(x + data.ConsumeIntegralInRange<int32_t>(-back * most_step, most_step), INT16_MIN,
                                INT16_MAX);
    }
    curves::check_all(points);
    return 0;
}

#include "device.hpp"
#include <vector>
#include <vela/interp.h>

namespace {

constexpr size_t kKnots = 16, kEntries = 4096;

// A tone curve: rising knots, not quite evenly spaced over the table.
std::vector<interp_knot> make_knots() {
    std::vector<interp_knot> knots(kKnots);
    for (size_t i = 0; i < kKnots; ++i)
        knots[i] = {static_cast<int16_t>(i * 273 + (i % 3 == 1 ? 40 : 0)), static_cast<int16_t>(i * i * 10 - i * 70)};
    return knots;
}

template <class Value>
void add(const char *name, uint32_t type, int32_t (*interpolate)(const interp_curve *, Value *)) {
    device::add(name, "entry", kEntries, [=] {
        return [=, knots = make_knots(), table = std::vector<Value>(kEntries)](unsigned times) mutable {
            const interp_curve curve = {type, kKnots, knots.data()};
            while (times--)
                interpolate(&curve, table.data());
        };
    });
}

const device::cases registered([] {
    add<int16_t>("spline_interpolate", INTERP_SPLI, spline_interpolate);
    add<float>("spline_interpolate_float", INTERP_SPLI, interpolate_float);
    add<int16_t>("linear_interpolate", INTERP_LINE, linear_interpolate);
});

} // namespace

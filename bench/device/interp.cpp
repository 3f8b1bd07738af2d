// Entries of tables: the tone curve by each method.
#include "../inputs.hpp"
#include "device.hpp"
#include <vector>

namespace {

template <class Value>
void add(const char *name, uint32_t type, int32_t (*interpolate)(const interp_curve *, Value *)) {
    device::add(name, "entry", kEntries, [=] {
        return [=, knots = tone_curve(), table = std::vector<Value>(kEntries)]() mutable {
            const interp_curve curve = {type, kKnots, knots.data()};
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

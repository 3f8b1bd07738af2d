// <vela/cpp/curve.hpp>
#include "bindings.hpp"
#include <vela/cpp/curve.hpp>

using namespace bindings;
using vela::curve;

namespace {

template <class Value>
block *table(curve::method method, const int16_t *knots, size_t size) {
    static_assert(sizeof(interp_knot) == 2 * sizeof *knots);
    const auto made = curve::make(method, {reinterpret_cast<const interp_knot *>(knots), size / 2});
    if (!made)
        return nullptr;
    result<Value> values(made->size());
    return made->fill(std::span<Value>(values)) ? values.release() : nullptr;
}

} // namespace

VELA_EXPORT(curve_table) block *curve_table(curve::method method, const int16_t *knots, size_t size) {
    return table<int16_t>(method, knots, size);
}

VELA_EXPORT(curve_float_table) block *curve_float_table(const int16_t *knots, size_t size) {
    return table<float>(curve::method::spline, knots, size);
}

// <vela/fixedpoint.h> and <vela/cpp/curve.hpp>
#include "bindings.hpp"
#include <vela/cpp/curve.hpp>
#include <vela/fixedpoint.h>

using namespace bindings;
using vela::curve;

VELA_EXPORT(fixedpoint_sin_q10_in_q12_out) int32_t sine(int32_t angle) { return sinQ10inQ12out(angle); }
VELA_EXPORT(fixedpoint_sqrt_q20_to_q10) uint32_t square_root(uint32_t x) { return sqrtQ20_to_Q10(x); }
VELA_EXPORT(fixedpoint_int_sqrt) uint32_t integer_square_root(uint32_t x) { return int_sqrt(x); }
VELA_EXPORT(fixedpoint_sin_q15) int32_t sine_q15(int32_t x) { return sin_q15(x); }
VELA_EXPORT(fixedpoint_sinc_q15) int32_t cardinal_sine(int32_t x) { return sinc_q15(x); }
VELA_EXPORT(fixedpoint_lanczos_q15) int32_t lanczos(int32_t a, int32_t x) { return Lanczos_q15(a, x); }
VELA_EXPORT(fixedpoint_reciprocal) int32_t inverse_of(int32_t a, uint32_t bits) { return reciprocal(a, bits); }
VELA_EXPORT(fixedpoint_ceil_log2) uint32_t bit_length(uint32_t x) { return ceil_log2(x); }
VELA_EXPORT(fixedpoint_sines) block *sines() { return give(std::span<const int32_t>(sinDegQ4inQ12out_table)); }
VELA_EXPORT(fixedpoint_arcsines) block *arcsines() { return give(std::span<const int32_t>(asinDegQ10inQ10out_table)); }

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

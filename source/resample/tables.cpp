// The kernel tables.
#include "common/memory.hpp"
#include "common/rounding.hpp"
#include "plan.hpp"
#include <algorithm>
#include <cmath>

using namespace vela::detail;

namespace {

constexpr uint32_t kLongestTable = UINT16_MAX;

float lanczos(float x, float lobes) { return static_cast<float>(sinc(x) * sinc(x / lobes)); }

// A weight with kCoefficientBits bits of fraction, rounded half up above zero and towards zero below.
int16_t coefficient(float weight) {
    const float half_more = 0.5F + float{1 << kCoefficientBits} * weight;
    return static_cast<int16_t>(half_more);
}

// Sets the record's table to a symmetric one, with half_table(k) as coefficient k up to the middle. An invalid length,
// or no memory, leaves the record unchanged.
template <class HalfTable>
void replace_table(resample_state &state, uint64_t length, HalfTable half_table) {
    if (length == 0 || length > kLongestTable)
        return;
    const auto count = static_cast<uint32_t>(length);
    owned<int16_t[]> table = allocate<int16_t>(count);
    if (!table)
        return;
    for (uint32_t k = 0; k <= count / 2; ++k)
        table[k] = table[count - 1 - k] = half_table(k);
    std::free(state.coeffs);
    state.coeffs = table.release();
    state.num_coeffs = static_cast<uint16_t>(count);
    state.coeff_shift = kCoefficientBits;
    if (state.plan)
        static_cast<void>(make_plan(state)); // without memory for longer rows, conversion uses the table itself
}

} // namespace

double sinc(double x) {
    constexpr double pi = 3.141592653589793, as_good_as_zero = 1e-14;
    return std::fabs(x) <= as_good_as_zero ? 1.0 : std::sin(pi * x) / (pi * x);
}

void init_lanczos(resample_state *state, int32_t lobes) {
    if (lobes <= 0)
        return;
    const uint32_t L = state->interp_factor, M = state->decim_factor, slower = std::max(L, M);
    const float gain = std::min(static_cast<float>(L) / static_cast<float>(M), 1.0F);
    const uint64_t centre = uint64_t{static_cast<uint32_t>(lobes)} * slower;
    replace_table(*state, 2 * centre - 1, [=](uint32_t k) {
        const float x = (static_cast<float>(k - static_cast<int64_t>(centre)) + 1.0F) / static_cast<float>(slower);
        return coefficient(gain * lanczos(x, static_cast<float>(lobes)));
    });
}

void init_bilinear(resample_state *state) {
    const uint32_t L = state->interp_factor;
    replace_table(*state, 2 * uint64_t{L} - 1,
                  [=](uint32_t k) { return coefficient(static_cast<float>(k + 1) / static_cast<float>(L)); });
}

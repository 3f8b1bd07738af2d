// Records: allocation, reset and release.
#include "common/memory.hpp"
#include "plan.hpp"
#include <algorithm>
#include <memory>
#include <new>
#include <numeric>

using namespace vela::detail;

namespace {

struct state_deleter {
    void operator()(resample_state *state) const { resample_free(state); }
};

bool make_history(resample_state &state) {
    state.history_len = static_cast<uint16_t>((state.num_coeffs - 1U) / state.interp_factor);
    state.history = allocate<int16_t>(state.history_len).release();
    if (state.history)
        resample_reset(&state);
    return state.history;
}

} // namespace

resample_state *resample_alloc(uint32_t out_rate, uint32_t in_rate, uint32_t kernel) {
    if (out_rate == 0 || in_rate == 0)
        return nullptr;
    owned<resample_state[]> record = allocate<resample_state>(1);
    if (!record)
        return nullptr;
    std::unique_ptr<resample_state, state_deleter> state(new (record.release()) resample_state{});
    const uint32_t divisor = std::gcd(out_rate, in_rate);
    state->interp_factor = out_rate / divisor;
    state->decim_factor = in_rate / divisor;

    if (kernel == RESAMPLE_LANC || kernel == RESAMPLE_LAN2)
        init_lanczos(state.get(), kernel == RESAMPLE_LANC ? 1 : 2);
    else
        init_bilinear(state.get());
    if (!state->coeffs || !make_history(*state) || !make_plan(*state))
        return nullptr;
    return state.release();
}

void resample_reset(resample_state *state) {
    state->phase = 0;
    std::fill_n(state->history, state->history_len, int16_t{0});
}

void resample_free(resample_state *state) {
    if (!state)
        return;
    std::free(state->history);
    std::free(state->coeffs);
    std::free(state->plan);
    std::free(state);
}

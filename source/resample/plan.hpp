// What a record keeps for the conversion: its kernel table as rows, and what those were made from. A caller may write
// into the public table or replace it between any two calls, so each call that uses the rows looks at the table first.
#pragma once

#include "polyphase.hpp"
#include <vela/resample.h>

// One block of memory: behind this, the rows' starts, the rows, and a copy of the coefficients that are in them.
struct alignas(8) resample_plan {
    vela::detail::polyphase filter;
    uint32_t row_of_phase_1 = 0; // that of phase p is p times as far, modulo L

    // The first outputs of a call are made from a window with the history: so many, whole groups if there is room, and
    // so much of the input is needed for them.
    uint32_t first_outputs = 0, first_samples = 0;

    // What the rows were made from.
    uint32_t interp_factor = 0, decim_factor = 0;
    uint16_t num_coeffs = 0, coeff_shift = 0, history_len = 0;
    uint8_t widest_unit = 0; // that was allowed
    uint32_t copied = 0;     // coefficients
    const int16_t *coeffs = nullptr;

    // Where the last call ended, and its phase.
    vela::detail::row_position at = {};
    uint32_t phase = 0;

    size_t room = 0; // bytes behind this

    // Where the output stands that is `steps` behind the first sample of a window.
    vela::detail::row_position position_of(uint32_t steps) const {
        if (steps == phase)
            return at;
        const uint32_t row = steps % interp_factor * row_of_phase_1 % interp_factor;
        return {row, static_cast<int32_t>(steps / interp_factor + 1 - filter.taps - filter.starts[row])};
    }
};

namespace vela::detail {

// Samples that a call has before it at a time: zeros for the zeros in front of a row, the history, and input.
constexpr uint32_t kWindow = 2048;

// Where the input begins in the window: at an aligned address, quicker to decode to.
constexpr uint32_t window_ahead(uint32_t history) { return (history + kTapsMultiple - 1 + 7) / 8 * 8; }

// Gives a record a plan with room for its filter as it is now. Without memory the record keeps the plan that it has.
[[nodiscard]] bool make_plan(resample_state &state);

// Whether so many outputs pay for the look at the table.
inline bool pays_for_rows(const resample_state &state, uint32_t outputs) {
    constexpr uint32_t few = 8;
    return outputs >= few + state.interp_factor / 10;
}

// The plan to convert by, made anew if the filter has changed; null if there is none.
[[nodiscard]] resample_plan *refresh_plan(const resample_state &state);

} // namespace vela::detail

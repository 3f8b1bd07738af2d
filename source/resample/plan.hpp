// A record's cache for the conversion: its kernel table as rows, and the values that they were made from. A caller may
// write into the public table or replace it between any two calls, so each call that uses the rows compares the table
// first.
#pragma once

#include "polyphase.hpp"
#include <vela/resample.h>

// One block of memory: this, the rows' starts, the rows, and a copy of the coefficients in them.
struct alignas(8) resample_plan {
    vela::detail::polyphase filter;
    uint32_t row_of_phase_1 = 0; // that of phase p is p times as far, modulo L

    // The number of outputs of a call that are computed from a window with the history, whole groups if they fit, and
    // the number of input samples that they need, for every phase below max(L, M).
    uint32_t first_outputs = 0, first_samples = 0;

    // The values that the rows were made from.
    uint32_t interp_factor = 0, decim_factor = 0;
    uint16_t num_coeffs = 0, coeff_shift = 0, history_len = 0;
    uint8_t max_simd = 0; // the highest allowed level
    uint32_t copied = 0;  // coefficients
    const int16_t *coeffs = nullptr;

    // The position and the phase at the end of the last call.
    vela::detail::row_position at = {};
    uint32_t phase = 0;

    size_t capacity = 0; // bytes after this struct

    // The position of the output that is `steps` after the first sample of a window.
    vela::detail::row_position position_of(uint32_t steps) const {
        if (steps == phase)
            return at;
        const uint32_t row = steps % interp_factor * row_of_phase_1 % interp_factor;
        return {row, static_cast<int32_t>(steps / interp_factor + 1 - filter.taps - filter.starts[row])};
    }
};

namespace vela::detail {

// Samples that a call processes at a time: zeros for the padding of a row, the history, and input.
constexpr uint32_t kWindow = 2048;

// The index of the input in the window: aligned, for faster decoding.
constexpr uint32_t window_ahead(uint32_t history) { return (history + kTapsMultiple - 1 + 7) / 8 * 8; }

// Makes a record's plan large enough for its current filter. Without memory the record keeps its plan.
[[nodiscard]] bool make_plan(resample_state &state);

// Whether this many outputs pay for the comparison of the table.
inline bool pays_for_rows(const resample_state &state, uint32_t outputs) {
    constexpr uint32_t few = 8;
    return outputs >= few + state.interp_factor / 10;
}

// The plan for the conversion, rebuilt if the filter has changed; null if there is none, or none for the record's
// phase.
[[nodiscard]] resample_plan *refresh_plan(const resample_state &state);

} // namespace vela::detail

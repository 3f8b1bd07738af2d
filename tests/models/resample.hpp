// The resampler once more, from its definition: an output is the sum of the coefficients of its phase times the samples
// from its newest one backwards. And the laws of ITU-T G.711, as the intervals into which they cut the magnitudes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>
#include <vela/resample.h>

namespace model {

using samples = std::vector<int16_t>;
using bytes = std::vector<uint8_t>;

// All outputs that a stream's samples have, on a record that stands at its beginning.
inline samples resampled(const resample_state &state, const samples &in) {
    samples out;
    for (uint64_t position = state.phase; position / state.interp_factor < in.size(); position += state.decim_factor) {
        uint32_t sum = 0;
        auto at = static_cast<int64_t>(position / state.interp_factor);
        int32_t reach = state.history_len;
        for (uint64_t k = position % state.interp_factor; k < state.num_coeffs && at >= 0 && reach >= 0;
             k += state.interp_factor, --at, --reach)
            sum += static_cast<uint32_t>(state.coeffs[k] * in[static_cast<size_t>(at)]);
        out.push_back(static_cast<int16_t>(std::clamp(static_cast<int32_t>(sum) >> state.coeff_shift, -32768, 32767)));
    }
    return out;
}

// A code is a sign, three bits of segment and four of step; a sample has the code of the interval in which it lies, and
// a code stands for the middle of its interval. Negative samples mirror those from -1 downwards onto 0 upwards.
struct law {
    bool is_alaw;

    int bottom(int code) const {
        const int segment = code >> 4, step = code & 15;
        if (!is_alaw)
            return ((step + 16) << (segment + 3)) - 132;
        return segment == 0 ? step << 4 : (step + 16) << (segment + 3);
    }
    int half(int code) const { return is_alaw ? 8 << std::max(0, (code >> 4) - 1) : 4 << (code >> 4); }
    uint8_t encoded(int16_t sample) const {
        const int magnitude = sample < 0 ? ~sample : sample;
        int code = 127;
        while (bottom(code) > magnitude)
            --code;
        return static_cast<uint8_t>((code | (sample < 0 ? 0 : 0x80)) ^ (is_alaw ? 0x55 : 0x7F));
    }
    int16_t decoded(uint8_t byte) const {
        const int code = (byte ^ (is_alaw ? 0x55 : 0x7F)) & 0x7F, magnitude = bottom(code) + half(code);
        return static_cast<int16_t>(byte & 0x80 ? magnitude : -magnitude);
    }
};

inline uint32_t size_of(uint32_t format) { return format == RESAMPLE_LEND || format == RESAMPLE_BEND ? 2 : 1; }

inline samples decoded(const bytes &from, uint32_t format) {
    samples to;
    for (size_t i = 0; i + size_of(format) <= from.size(); i += size_of(format))
        to.push_back(format == RESAMPLE_LEND   ? static_cast<int16_t>(from[i] | from[i + 1] << 8)
                     : format == RESAMPLE_BEND ? static_cast<int16_t>(from[i] << 8 | from[i + 1])
                                               : law{format == RESAMPLE_ALAW}.decoded(from[i]));
    return to;
}

inline bytes encoded(const samples &from, uint32_t format) {
    bytes to;
    for (const int16_t sample : from) {
        const auto low = static_cast<uint8_t>(sample), high = static_cast<uint8_t>(sample >> 8);
        if (size_of(format) == 1)
            to.push_back(law{format == RESAMPLE_ALAW}.encoded(sample));
        else
            to.insert(to.end(), {format == RESAMPLE_LEND ? low : high, format == RESAMPLE_LEND ? high : low});
    }
    return to;
}

} // namespace model

// Weights split for SIMD code, which works on 16-bit lanes: into 2^n high + low, so that a row's sum is 2^n high_sum +
// low_sum. With sums that fit,
//
//     (sum + 2048) >> 12  =  (high_sum + (low_sum >> n) + 2^(11 - n)) >> (12 - n)
//
// exactly, since each shift rounds down.
#pragma once

#include "common/conversion.hpp"
#include <algorithm>

namespace vela::detail {

struct split_row {
    triple high, low;
};

// Of the two possible splits of a weight, takes the one that balances the row's low parts and so keeps their sum small.
constexpr split_row split(const triple &weights, int low_bits) {
    split_row result = {};
    int32_t balance = 0;
    for (size_t i = 0; i < 3; ++i) {
        int32_t low = weights[i] & ((1 << low_bits) - 1);
        if (low && balance + low > 1 << (low_bits - 1))
            low -= 1 << low_bits;
        balance += low;
        result.low[i] = low;
        result.high[i] = (weights[i] - low) >> low_bits;
    }
    return result;
}

// Whether a weighted sum of three bytes, each less its offset, stays within 16 bits.
constexpr bool fits_words(const triple &weights, const triple &offset, int32_t addend, int shift = 0) {
    int32_t least = addend, greatest = addend;
    for (size_t i = 0; i < 3; ++i) {
        const int32_t dark = -offset[i] * weights[i], bright = (255 - offset[i]) * weights[i];
        least += std::min(dark, bright);
        greatest += std::max(dark, bright);
    }
    return least >> shift >= INT16_MIN && greatest >> shift <= INT16_MAX;
}

} // namespace vela::detail

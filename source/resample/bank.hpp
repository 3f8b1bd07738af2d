// What the design of filter banks and their use share.
#pragma once

#include <cstdint>
#include <vela/resample.h>

namespace vela::detail {

// Sums of fine coefficients times samples are made in four lanes, of every fourth pair of taps. After this number of
// taps what is above the fine bits moves to the sums of the coarse coefficients.
constexpr uint32_t kFineTaps = 512;

// The coefficients of a row, coarse and fine.
inline uint32_t row_size(const resample_bank &bank) { return bank.coarse + (bank.fine_bits ? bank.taps : 0); }

} // namespace vela::detail

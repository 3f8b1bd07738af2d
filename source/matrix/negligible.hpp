// When a single-precision value counts as zero.
#pragma once

#include "common/rounding.hpp"
#include <cmath>

namespace vela::detail {

// The largest float that, widened, is at most 1e-14: comparing in single precision gives the same answer.
constexpr float kNegligible = 0x1.6849b8p-47F;
static_assert(double{kNegligible} <= 1e-14 && double{kNegligible} + 0x1p-70 > 1e-14);

// Whether the magnitude is at most 1e-14. NaN is not negligible.
inline bool negligible(float value) { return std::fabs(value) <= kNegligible; }

} // namespace vela::detail

// What the hull's functions return.
#pragma once

#include <cstdint>

namespace vela::detail {

constexpr int32_t kSuccess = 0;
constexpr int32_t kFailure = 1;

} // namespace vela::detail

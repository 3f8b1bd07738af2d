// The listing of a hull, for its construction in debug mode.
#pragma once

#include <cstdint>
#include <vela/chull.h>

namespace vela::detail {

inline uintptr_t address(const void *record) { return reinterpret_cast<uintptr_t>(record); }

// PrintOut() for a vertex that may be gone when its number and address are printed.
void print_hull(const chull_ctx *hull, int32_t vertex_number, uintptr_t vertex_address);

} // namespace vela::detail

// Between the records of a hull and the arrays in which it grows.
#pragma once

#include "surface.hpp"
#include <vela/chull.h>

namespace vela::detail {

// Copies a finished hull to an empty surface, prepared for so many points more. Fails for want of memory and where the
// records aren't those of a finished hull; they stay as they are.
[[nodiscard]] bool load_hull(surface &shape, const chull_ctx &hull, index points);

// Brings the hull that was copied to the state of the surface. Fails, after a report, when a record can't be made; then
// the hull may be counted, printed and emptied.
[[nodiscard]] bool store_hull(surface &shape, chull_ctx &hull);

} // namespace vela::detail

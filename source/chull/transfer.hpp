// Between the records of a hull and the arrays in which it is built.
#pragma once

#include "surface.hpp"
#include <vela/chull.h>

namespace vela::detail {

enum class outcome {
    finished,
    out_of_records, // reported; the hull can be emptied
    not_for_us      // nothing was done: no starting tetrahedron, no scratch memory, or not a finished hull
};

// The state of a finished hull. Refuses what isn't one, and leaves the records as they are.
[[nodiscard]] bool load_hull(surface &shape, const chull_ctx &hull, index points);

// Brings the records of a hull to the state of the arrays.
[[nodiscard]] outcome store_hull(surface &shape, chull_ctx &hull);

} // namespace vela::detail

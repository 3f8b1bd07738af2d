// The construction that get_chull() uses where nobody watches its steps. It ends with the lists that the steps
// end with, to the order of every record.
#pragma once

#include <cstdint>
#include <vela/chull.h>

namespace vela::detail {

// Points as get_chull() is given them.
struct point_cloud {
    const std::uint8_t *xs, *ys, *zs;
    std::uint32_t count;
};

enum class outcome {
    finished,
    out_of_records, // reported; the hull can be emptied
    not_for_us      // nothing was done: no starting tetrahedron, no scratch memory, or not a finished hull
};

// Builds the hull of a cloud in an empty hull.
[[nodiscard]] outcome build_chull(chull_ctx &hull, const point_cloud &cloud);

// Adds a cloud to a finished hull.
[[nodiscard]] outcome grow_chull(chull_ctx &hull, const point_cloud &cloud);

} // namespace vela::detail

// What a picture's description must fulfil before anything is written.
#pragma once

#include "format.hpp"

namespace vela::detail {

inline bool has_shape(const vela_picture &p) {
    const auto is_size = [](int32_t pixels) { return 0 < pixels && pixels < 65536; };
    return is_size(p.width) && is_size(p.height) && 0 <= p.format && p.format < kFormatCount &&
           VELA_BT601_FULL <= p.colours && p.colours <= VELA_BT709_FULL;
}

// The bytes from a plane's first to its last that are used.
inline uint64_t used_bytes(const vela_picture &p, size_t plane) {
    const format &f = format_of(p);
    const auto width = static_cast<size_t>(p.width), height = static_cast<size_t>(p.height);
    return (plane_rows(f, plane, height) - 1) * uint64_t{p.planes[plane].stride} + row_bytes(f, plane, width);
}

inline bool is_valid(const vela_picture &p) {
    if (!has_shape(p))
        return false;
    const format &f = format_of(p);
    for (size_t i = 0; i < f.planes; ++i) {
        const vela_plane &plane = p.planes[i];
        const bool has_rows = plane_rows(f, i, static_cast<size_t>(p.height)) > 1;
        if (!plane.data ||
            (has_rows && (plane.stride > plane.size || plane.stride < row_bytes(f, i, static_cast<size_t>(p.width)))) ||
            used_bytes(p, i) > plane.size)
            return false;
    }
    return true;
}

} // namespace vela::detail

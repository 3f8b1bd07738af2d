// The curve of the benchmarks: rising knots, not quite evenly spaced over the table.
#pragma once

#include <stddef.h>
#include <vector>
#include <vela/interp.h>

constexpr size_t kKnots = 16, kEntries = 4096;

inline std::vector<interp_knot> tone_curve() {
    std::vector<interp_knot> knots(kKnots);
    for (size_t i = 0; i < kKnots; ++i)
        knots[i] = {static_cast<int16_t>(i * 273 + (i % 3 == 1 ? 40 : 0)), static_cast<int16_t>(i * i * 10 - i * 70)};
    return knots;
}

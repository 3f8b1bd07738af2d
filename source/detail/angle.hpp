// Angles in Q10 degrees (degrees x 1024), and their sines from the library's table.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// The exported tables under names of the library's own, which it reads without a detour.
extern "C" {
[[gnu::visibility("hidden")]] extern const std::array<int32_t, 1441> vela_sine_table;
[[gnu::visibility("hidden")]] extern const std::array<int32_t, 2049> vela_arcsine_table;
}

namespace vela::detail {

constexpr int32_t kQuarterTurn = 90 << 10;
constexpr int32_t kHalfTurn = 180 << 10;
constexpr int32_t kTurn = 360 << 10;

// The angle less whole turns, in [-half a turn, half a turn).
//
// Counted from the least angle, -2^31, the angle is unsigned; `ahead` steps of 4096 more make it a whole number of
// turns at -180 degrees. A turn is 90 steps, and floor(steps / 90) the upper half of a product with 2^32 / 90 rounded
// up, exact for any count below 3 x 10^8.
[[gnu::always_inline]] constexpr int32_t wrapped(int32_t angle) {
    constexpr uint32_t least = uint32_t{1} << 31, ahead = 97, ninetieth = 47721859;
    static_assert(kTurn == 90 << 12 && (least + (ahead << 12)) % kTurn == kHalfTurn);
    static_assert(ninetieth * uint64_t{90} - (uint64_t{1} << 32) < 15);
    const uint32_t from_least = static_cast<uint32_t>(angle) + least;
    const auto turns = static_cast<uint32_t>(uint64_t{(from_least >> 12) + ahead} * ninetieth >> 32);
    return static_cast<int32_t>(from_least - turns * kTurn + ((ahead << 12) - kHalfTurn));
}

// Q12.
struct sine_cosine {
    int32_t sine, cosine;
};

// Sine of the angle and of a quarter turn less the angle. The cosine's sign says on which side of a quarter turn the
// magnitude of the angle lies; its distance from there, truncated to the table's grid, is one index, and the distance
// from the other end of the table the other:
//
//     |angle|     0 ......... 90 ......... 180 degrees
//     distance    90 ........ 0 ......... -90
//
// Mirroring therefore comes before the truncation.
[[gnu::always_inline]] inline sine_cosine look_up(int32_t angle) {
    constexpr int grid = 6; // Q10 to Q4
    const int32_t rest = wrapped(angle);
    const int32_t distance = kQuarterTurn - (rest < 0 ? -rest : rest);
    const int32_t magnitude = distance < 0 ? -distance : distance;
    const auto entry = [](int32_t angle_in_table) {
        return vela_sine_table[static_cast<std::size_t>(angle_in_table >> grid)];
    };
    const int32_t sine = entry(kQuarterTurn - magnitude), cosine = entry(magnitude);
    return {rest < 0 ? -sine : sine, distance < 0 ? -cosine : cosine};
}

} // namespace vela::detail

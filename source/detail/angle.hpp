// Angles in Q10 degrees (degrees x 1024), and their sines from the library's table.
#pragma once

#include <array>
#include <cstdint>

// The exported tables under names of the library's own, which it reads without a detour.
extern "C" const std::array<int32_t, 1441> vela_sine_table;
extern "C" const std::array<int32_t, 2049> vela_arcsine_table;

namespace vela::detail {

constexpr int32_t kQuarterTurn = 90 << 10;
constexpr int32_t kHalfTurn = 180 << 10;
constexpr int32_t kTurn = 360 << 10;

// The angle less whole turns, in [-half a turn, half a turn).
//
// A turn is 90 steps of 4096 units. The quotient floor((steps + 45) / 90), the nearest turn, is the upper half of a
// product with 2^32 / 90 rounded up, exact for any count below 3 x 10^8; the 5826 turns added keep the count positive.
[[gnu::always_inline]] constexpr int32_t wrapped(int32_t angle) {
    constexpr uint32_t ahead = 5826, ninetieth = 47721859;
    static_assert(kTurn == 90 << 12 && ninetieth * uint64_t{90} - (uint64_t{1} << 32) < 15);
    const uint32_t steps = static_cast<uint32_t>(angle >> 12) + (45 + 90 * ahead);
    const auto turns = static_cast<uint32_t>(uint64_t{steps} * ninetieth >> 32);
    return static_cast<int32_t>(static_cast<uint32_t>(angle) + ahead * kTurn - turns * kTurn);
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
        return vela_sine_table[static_cast<uint32_t>(angle_in_table) >> grid];
    };
    const int32_t sine = entry(kQuarterTurn - magnitude), cosine = entry(magnitude);
    return {rest < 0 ? -sine : sine, distance < 0 ? -cosine : cosine};
}

} // namespace vela::detail

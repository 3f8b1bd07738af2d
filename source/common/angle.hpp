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

// a - b but for whole turns, such that the difference does not overflow.
[[gnu::always_inline]] constexpr int32_t difference_of_angles(int32_t a, int32_t b) {
    constexpr auto rest = static_cast<int32_t>((int64_t{1} << 32) % kTurn);
    int32_t difference = 0;
    if (__builtin_sub_overflow(a, b, &difference)) [[unlikely]]
        difference += a < 0 ? -rest : rest;
    return difference;
}

// Q12.
struct sine_cosine {
    int32_t sine, cosine;
};

// The angle less the nearest multiple of half a turn, in [-a quarter turn, a quarter turn], and that multiple: where it
// is odd, sine and cosine have the other sign. Exactly between two multiples it may be either.
struct folded_angle {
    int32_t rest, half_turns;

    [[gnu::always_inline]] constexpr sine_cosine turned(sine_cosine found) const {
        return half_turns & 1 ? sine_cosine{-found.sine, -found.cosine} : found;
    }
};

[[gnu::always_inline]] constexpr folded_angle fold(int32_t angle) {
    // 2^48 / half a turn, less 0.03: by less than one part in 2^35.
    constexpr int32_t half_turns_per_unit = 1527099483;
    const auto q16 = static_cast<int32_t>(int64_t{angle} * half_turns_per_unit >> 32);
    const int32_t half_turns = (q16 + (1 << 15)) >> 16;
    return {static_cast<int32_t>(static_cast<uint32_t>(angle) - static_cast<uint32_t>(half_turns) * kHalfTurn),
            half_turns};
}

constexpr bool is_near(int32_t angle) { return static_cast<uint32_t>(angle) + kQuarterTurn <= kHalfTurn; }

// Of an angle that is near 0: in [-a quarter turn, a quarter turn]. Mirroring the cosine comes before the truncation to
// the table's grid.
[[gnu::always_inline]] inline sine_cosine look_up_near(int32_t angle) {
    constexpr int grid = 6; // Q10 to Q4
    const auto entry = [](int32_t angle_in_table) {
        return vela_sine_table[static_cast<std::size_t>(angle_in_table >> grid)];
    };
    const int32_t sign = angle >> 31, magnitude = (angle ^ sign) - sign;
    return {(entry(magnitude) ^ sign) - sign, entry(kQuarterTurn - magnitude)};
}

[[gnu::always_inline]] inline sine_cosine look_up(int32_t angle) {
    const folded_angle folded = fold(angle);
    return folded.turned(look_up_near(folded.rest));
}

} // namespace vela::detail

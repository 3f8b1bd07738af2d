// Angles in Q10 degrees (degrees x 1024), and their sines from the library's table.
#pragma once

#include "wrapping.hpp"
#include <array>
#include <cstddef>
#include <cstdint>

// Aliases of the exported tables, which the library reads without an indirection.
extern "C" {
[[gnu::visibility("hidden")]] extern const std::array<int32_t, 1441> vela_sine_table;
[[gnu::visibility("hidden")]] extern const std::array<int32_t, 2049> vela_arcsine_table;
}

namespace vela::detail {

constexpr int32_t kQuarterTurn = 90 << 10;
constexpr int32_t kHalfTurn = 180 << 10;
constexpr int32_t kTurn = 360 << 10;

// The angle minus whole turns, in [-half a turn, half a turn).
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

// The angle minus whole turns, in [0, a turn).
constexpr int32_t within_first_turn(int32_t angle) {
    const int32_t rest = wrapped(angle);
    return rest < 0 ? rest + kTurn : rest;
}

// a - b modulo whole turns, without overflow.
[[gnu::always_inline]] constexpr int32_t difference_of_angles(int32_t a, int32_t b) {
    constexpr auto rest = static_cast<int32_t>((int64_t{1} << 32) % kTurn);
    int32_t difference = 0;
    if (__builtin_sub_overflow(a, b, &difference)) [[unlikely]]
        difference += a < 0 ? -rest : rest;
    return difference;
}

// Sine and cosine of an angle, Q12.
struct sine_cosine {
    int32_t sine, cosine;
};

// The angle minus the nearest multiple of half a turn, in [-a quarter turn, a quarter turn], and that multiple: if it
// is odd, sine and cosine change sign. Exactly between two multiples it may be either.
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

// Sines of angles in [0, a quarter turn], truncated to the table's grid.
struct sine_table {
    [[gnu::always_inline]] sine_table() {
        asm("" : "+r"(entries)); // otherwise the compiler reloads the table's address for every few entries
    }
    [[gnu::always_inline]] int32_t operator[](int32_t angle) const { return entries[angle >> 6]; } // Q10 to Q4

private:
    const int32_t *entries = vela_sine_table.data();
};

// An angle in [-a quarter turn, a quarter turn], as its magnitude, a quarter turn minus that, and -1 or 0 for the sign.
// For any other angle the difference is negative.
struct near_angle {
    [[gnu::always_inline]] constexpr explicit near_angle(int32_t angle)
        : sign(angle >> 31), magnitude(wrapping_difference(angle ^ sign, sign)),
          left(wrapping_difference(kQuarterTurn, magnitude)) {}

    constexpr bool is_near() const { return left >= 0; }
    [[gnu::always_inline]] constexpr int32_t with_sign(int32_t number) const { return (number ^ sign) - sign; }
    // Mirroring for the cosine comes before the truncation to the table's grid.
    [[gnu::always_inline]] sine_cosine both(sine_table sines) const {
        return {with_sign(sines[magnitude]), sines[left]};
    }

    int32_t sign, magnitude, left;
};

[[gnu::always_inline]] inline sine_cosine sine_cosine_of(int32_t angle) {
    const folded_angle folded = fold(angle);
    return folded.turned(near_angle(folded.rest).both(sine_table()));
}

} // namespace vela::detail

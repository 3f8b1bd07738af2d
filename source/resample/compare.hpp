// Whether two tables are equal. A packet of a few milliseconds spends as much on this as on its filter, and tables
// seldom differ: so they are compared in large steps, without an early exit.
#pragma once

#include "common/unit.hpp"
#include <cstdint>
#include <cstring>

namespace vela::detail {

#ifdef VELA_NEON
// Steps of 48 coefficients, 1 or more: 592 instructions for a table of 1763, where the plain comparison below takes
// 1500.
VELA_UNIT inline bool are_equal_neon(const int16_t *a, const int16_t *b, uint32_t steps) {
    using vector [[gnu::vector_size(16)]] = uint32_t;
    vector differ = {};
    __asm__("1: vldmia %0!, {d0-d11}\n\t"
            "vldmia %1!, {d12-d23}\n\t"
            "veor q0, q0, q6\n\t"
            "veor q1, q1, q7\n\t"
            "veor q2, q2, q8\n\t"
            "veor q3, q3, q9\n\t"
            "veor q4, q4, q10\n\t"
            "veor q5, q5, q11\n\t"
            "vorr q0, q0, q1\n\t"
            "vorr q2, q2, q3\n\t"
            "vorr q4, q4, q5\n\t"
            "vorr q0, q0, q2\n\t"
            "vorr %q3, %q3, q4\n\t"
            "vorr %q3, %q3, q0\n\t"
            "subs %2, %2, #1\n\t"
            "bne 1b"
            : "+r"(a), "+r"(b), "+r"(steps), "+w"(differ)
            :
            : "d0", "d1", "d2", "d3", "d4", "d5", "d6", "d7", "d8", "d9", "d10", "d11", "d12", "d13", "d14", "d15",
              "d16", "d17", "d18", "d19", "d20", "d21", "d22", "d23", "cc", "memory");
    return (differ[0] | differ[1] | differ[2] | differ[3]) == 0;
}
#endif

#ifdef __ARM_FEATURE_SIMD32
// Adds to a distance what the bytes of 16 coefficients differ by: 12 instructions, where a comparison word by word
// takes 32.
[[gnu::always_inline]] inline void add_distance16(uint32_t &distance, const int16_t *&a, const int16_t *&b) {
    __asm__("ldmia %0!, {r2, r3, r4, r5}\n\t"
            "ldmia %1!, {r6, r8, r9, r10}\n\t"
            "usada8 %2, r2, r6, %2\n\t"
            "usada8 %2, r3, r8, %2\n\t"
            "usada8 %2, r4, r9, %2\n\t"
            "usada8 %2, r5, r10, %2\n\t"
            "ldmia %0!, {r2, r3, r4, r5}\n\t"
            "ldmia %1!, {r6, r8, r9, r10}\n\t"
            "usada8 %2, r2, r6, %2\n\t"
            "usada8 %2, r3, r8, %2\n\t"
            "usada8 %2, r4, r9, %2\n\t"
            "usada8 %2, r5, r10, %2"
            : "+r"(a), "+r"(b), "+r"(distance)
            :
            : "r2", "r3", "r4", "r5", "r6", "r8", "r9", "r10", "memory");
}
#endif

// Of tables aligned to words.
inline bool are_equal(const int16_t *a, const int16_t *b, uint32_t count, [[maybe_unused]] bool by_unit) {
#ifdef VELA_NEON
    if (const uint32_t steps = count / 48; by_unit && steps) {
        if (!are_equal_neon(a, b, steps))
            return false;
        a += steps * 48;
        b += steps * 48;
        count -= steps * 48;
    }
#endif
#ifdef __ARM_FEATURE_SIMD32
    uint32_t distance = 0;
    for (; count >= 32; count -= 32) {
        add_distance16(distance, a, b);
        add_distance16(distance, a, b);
    }
    for (; count; --count)
        distance |= static_cast<uint16_t>(*a++ ^ *b++);
    return distance == 0;
#else
    return std::memcmp(a, b, count * sizeof *a) == 0;
#endif
}

} // namespace vela::detail

// Base64 in steps of 64 characters = 48 bytes, for NEON on 32-bit ARM.
//
// The structure loads and stores deal the characters of each group, and the bytes of each three, to registers of their
// own: lane i of all registers is group i. Values are translated by tables as in base64_avx2.hpp.
#pragma once

#include "simd.hpp"
#include <arm_neon.h>
#include <cstddef>
#include <cstdint>

namespace vela::detail::base64_wide {

constexpr std::size_t kEncodeReads = 48;  // bytes that must be readable for one step, which takes
constexpr std::size_t kEncodeTakes = 48;  // this many
constexpr std::size_t kDecodeReads = 64;  // characters that one step reads
constexpr std::size_t kDecodeWrites = 48; // bytes that it writes

using table = uint8x8x2_t;

VELA_WIDE [[gnu::always_inline]] inline table load_table(const std::uint8_t *entries) {
    return {{vld1_u8(entries), vld1_u8(entries + 8)}};
}

VELA_WIDE [[gnu::always_inline]] inline uint8x16_t look_up(table entries, uint8x16_t index) {
    return vcombine_u8(vtbl2_u8(entries, vget_low_u8(index)), vtbl2_u8(entries, vget_high_u8(index)));
}

// Encodes 48 bytes.
VELA_WIDE [[gnu::always_inline]] inline void encode(const std::uint8_t *from, char *to) {
    // By range of the value: 0 for A-Z, 1 for a-z, 2 to 11 for each digit, 12 for '+', 13 for '/'.
    static constexpr std::uint8_t kDistances[16] = {'A',
                                                    'a' - 26,
                                                    '0' - 52 + 256,
                                                    '0' - 52 + 256,
                                                    '0' - 52 + 256,
                                                    '0' - 52 + 256,
                                                    '0' - 52 + 256,
                                                    '0' - 52 + 256,
                                                    '0' - 52 + 256,
                                                    '0' - 52 + 256,
                                                    '0' - 52 + 256,
                                                    '0' - 52 + 256,
                                                    '+' - 62 + 256,
                                                    '/' - 63 + 256};
    const table distances = load_table(kDistances);
    const uint8x16_t six_bits = vdupq_n_u8(63);

    const uint8x16x3_t bytes = vld3q_u8(from);
    // aaaaaabb bbbbcccc ccdddddd  ->  00aaaaaa 00bbbbbb 00cccccc 00dddddd
    uint8x16x4_t text = {{
        vshrq_n_u8(bytes.val[0], 2),
        vandq_u8(vsriq_n_u8(vshlq_n_u8(bytes.val[0], 4), bytes.val[1], 4), six_bits),
        vandq_u8(vsriq_n_u8(vshlq_n_u8(bytes.val[1], 2), bytes.val[2], 6), six_bits),
        vandq_u8(bytes.val[2], six_bits),
    }};
    for (uint8x16_t &values : text.val) {
        const uint8x16_t range = vsubq_u8(vqsubq_u8(values, vdupq_n_u8(51)), vcgtq_u8(values, vdupq_n_u8(25)));
        values = vaddq_u8(values, look_up(distances, range));
    }
    vst4q_u8(reinterpret_cast<std::uint8_t *>(to), text);
}

// Decodes 64 characters as far as they are of the alphabet and returns the number of complete groups before the first
// one that holds something else. What is written for the others has no meaning.
VELA_WIDE [[gnu::always_inline]] inline std::size_t decode(const char *from, std::uint8_t *to) {
    // Which characters are foreign, and what to add to the others, as in base64_avx2.hpp.
    static constexpr std::uint8_t kRows[16] = {0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08,
                                               0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10};
    static constexpr std::uint8_t kColumns[16] = {0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                                  0x11, 0x11, 0x13, 0x1a, 0x1b, 0x1b, 0x1b, 0x1a};
    static constexpr std::uint8_t kDistances[16] = {0,         63 - '/',  62 - '+',       52 - '0',
                                                    256 - 'A', 256 - 'A', 256 + 26 - 'a', 256 + 26 - 'a'};
    const table rows = load_table(kRows), columns = load_table(kColumns), distances = load_table(kDistances);

    uint8x16x4_t group = vld4q_u8(reinterpret_cast<const std::uint8_t *>(from));
    uint8x16_t foreign = vdupq_n_u8(0);
    for (uint8x16_t &text : group.val) {
        const uint8x16_t high_nibble = vshrq_n_u8(text, 4);
        const uint8x16_t low_nibble = vandq_u8(text, vdupq_n_u8(15));
        foreign = vorrq_u8(foreign, vandq_u8(look_up(rows, high_nibble), look_up(columns, low_nibble)));
        const uint8x16_t slash = vceqq_u8(text, vdupq_n_u8('/'));
        text = vaddq_u8(text, look_up(distances, vaddq_u8(high_nibble, slash)));
    }
    // 00aaaaaa 00bbbbbb 00cccccc 00dddddd  ->  aaaaaabb bbbbcccc ccdddddd
    const uint8x16x3_t bytes = {{
        vsliq_n_u8(vshrq_n_u8(group.val[1], 4), group.val[0], 2),
        vsliq_n_u8(vshrq_n_u8(group.val[2], 2), group.val[1], 4),
        vsliq_n_u8(group.val[3], group.val[2], 6),
    }};
    vst3q_u8(to, bytes);

    // Four bits for each lane that is not zero.
    const uint8x8_t nibbles = vshrn_n_u16(vreinterpretq_u16_u8(vtstq_u8(foreign, foreign)), 4);
    const std::uint64_t mask = vget_lane_u64(vreinterpret_u64_u8(nibbles), 0);
    return mask ? static_cast<std::size_t>(__builtin_ctzll(mask)) / 4 : 16;
}

} // namespace vela::detail::base64_wide

// Base64 in steps of 64 characters = 48 bytes, for NEON. On 32-bit ARM a single step executes 40 % of the scalar code's
// instructions in encoding and 50 % in decoding, a kilobyte 20 and 30 %.
//
// The structure loads and stores deinterleave the characters of each group, and its three bytes, into separate
// registers: lane i of all registers is group i. Values are translated by tables as in avx2.hpp.
#pragma once

#include "common/simd.hpp"
#include <arm_neon.h>
#include <cstddef>
#include <cstdint>

namespace vela::detail {

// In an anonymous namespace, since 32-bit ARM reaches constants that other files may share through a table of
// addresses.
namespace {

struct base64_neon {
    static constexpr size_t kEncodeReads = 48;  // bytes that must be readable for one step, which takes
    static constexpr size_t kEncodeTakes = 48;  // this many
    static constexpr size_t kDecodeReads = 64;  // characters that one step reads
    static constexpr size_t kDecodeWrites = 48; // bytes that it writes
    static constexpr size_t kDecodeFrom = 64;   // characters of a text for which steps pay

    // The entries at indices below 16. On 32-bit ARM by assembly, since the compiler would copy the halves of the
    // result to join them.
    VELA_SIMD static uint8x16_t entries_at(const uint8_t (&entries)[16], uint8x16_t index) {
#ifdef __aarch64__
        return vqtbl1q_u8(vld1q_u8(entries), index);
#else
        uint8x16_t found;
        asm("vtbl.8 %e0, {%e1, %f1}, %e2\n\tvtbl.8 %f0, {%e1, %f1}, %f2"
            : "=&w"(found)
            : "w"(vld1q_u8(entries)), "w"(index));
        return found;
#endif
    }

    // The characters of six-bit values, one a byte.
    VELA_SIMD static uint8x16_t to_text(uint8x16_t values) {
        // By range of the value: 0 for A-Z, 1 for a-z, 2 to 11 for each digit, 12 for '+', 13 for '/'.
        constexpr uint8_t kDigit = 256 + '0' - 52;
        static constexpr uint8_t kDistances[16] = {'A',    'a' - 26, kDigit,         kDigit,        kDigit,
                                                   kDigit, kDigit,   kDigit,         kDigit,        kDigit,
                                                   kDigit, kDigit,   256 + '+' - 62, 256 + '/' - 63};
        const uint8x16_t range = vsubq_u8(vqsubq_u8(values, vdupq_n_u8(51)), vcgtq_u8(values, vdupq_n_u8(25)));
        return vaddq_u8(values, entries_at(kDistances, range));
    }

    // Encodes 48 bytes.
    VELA_SIMD static void encode(const uint8_t *from, char *to) {
        const uint8x16_t six_bits = vdupq_n_u8(63);
        const auto [a, b, c] = vld3q_u8(from).val;
        // aaaaaabb bbbbcccc ccdddddd  ->  00aaaaaa 00bbbbbb 00cccccc 00dddddd
        const uint8x16x4_t text = {{
            to_text(vshrq_n_u8(a, 2)),
            to_text(vandq_u8(vsriq_n_u8(vshlq_n_u8(a, 4), b, 4), six_bits)),
            to_text(vandq_u8(vsriq_n_u8(vshlq_n_u8(b, 2), c, 6), six_bits)),
            to_text(vandq_u8(c, six_bits)),
        }};
        vst4q_u8(reinterpret_cast<uint8_t *>(to), text);
    }

    // Which characters are foreign: not zero for those, as in avx2.hpp.
    VELA_SIMD static uint8x16_t foreign_in(uint8x16_t text) {
        static constexpr uint8_t kRows[16] = {0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08,
                                              0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10};
        static constexpr uint8_t kColumns[16] = {0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                                 0x11, 0x11, 0x13, 0x1a, 0x1b, 0x1b, 0x1b, 0x1a};
        return vandq_u8(entries_at(kRows, vshrq_n_u8(text, 4)), entries_at(kColumns, vandq_u8(text, vdupq_n_u8(15))));
    }

    // The six-bit values of the characters that are not.
    VELA_SIMD static uint8x16_t to_values(uint8x16_t text) {
        static constexpr uint8_t kDistances[16] = {0,         63 - '/',  62 - '+',       52 - '0',
                                                   256 - 'A', 256 - 'A', 256 + 26 - 'a', 256 + 26 - 'a'};
        const uint8x16_t slash = vceqq_u8(text, vdupq_n_u8('/'));
        return vaddq_u8(text, entries_at(kDistances, vaddq_u8(vshrq_n_u8(text, 4), slash)));
    }

    // Decodes 64 characters as far as they are of the alphabet and returns the number of complete groups before the
    // first one that holds something else. What is written for the others is unspecified.
    VELA_SIMD static size_t decode(const char *from, uint8_t *to) {
        const uint8x16x4_t text = vld4q_u8(reinterpret_cast<const uint8_t *>(from));
        const uint8x16_t a = to_values(text.val[0]), b = to_values(text.val[1]), c = to_values(text.val[2]),
                         d = to_values(text.val[3]);
        // 00aaaaaa 00bbbbbb 00cccccc 00dddddd  ->  aaaaaabb bbbbcccc ccdddddd
        const uint8x16x3_t bytes = {{
            vsliq_n_u8(vshrq_n_u8(b, 4), a, 2),
            vsliq_n_u8(vshrq_n_u8(c, 2), b, 4),
            vsliq_n_u8(d, c, 6),
        }};
        vst3q_u8(to, bytes);

        const uint8x16_t foreign = vorrq_u8(vorrq_u8(foreign_in(text.val[0]), foreign_in(text.val[1])),
                                            vorrq_u8(foreign_in(text.val[2]), foreign_in(text.val[3])));
        // Four bits for each lane that is not zero.
        const uint8x8_t nibbles = vshrn_n_u16(vreinterpretq_u16_u8(vtstq_u8(foreign, foreign)), 4);
        const uint64_t mask = vget_lane_u64(vreinterpret_u64_u8(nibbles), 0);
        return mask ? static_cast<size_t>(__builtin_ctzll(mask)) / 4 : 16;
    }
};

} // namespace

} // namespace vela::detail

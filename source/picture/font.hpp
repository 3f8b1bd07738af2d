// A small font: capitals, digits and the punctuation of ASCII, 5 x 7 dots each.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vela::detail {

constexpr size_t kGlyphWidth = 5, kGlyphHeight = 7;

// From the space on, the dots from left to right and from top to bottom, the last one in the lowest bit.
constexpr uint64_t kGlyphs[] = {
    0x000000000, 0x108421004, 0x294a00000, 0x295f57d4a, 0x11f4717c4, 0x632222263, 0x32544564d, 0x108800000, // !"#$%&'
    0x088842082, 0x208210888, 0x009575480, 0x0084f9080, 0x000003088, 0x0000f8000, 0x00000018c, 0x044222110, // ()*+,-./
    0x3a33ae62e, 0x11842108e, 0x3a213221f, 0x7c441062e, 0x08ca97c42, 0x7e1e0862e, 0x1910f462e, 0x7c2222108, // 01234567
    0x3a317462e, 0x3a317844c, 0x018c03180, 0x018c03088, 0x088882082, 0x001f07c00, 0x208208888, 0x3a2111004, // 89:;<=>?
    0x3a37ade0e, 0x3a31fc631, 0x7a31f463e, 0x3a308422e, 0x7a318c63e, 0x7e10f421f, 0x7e10f4210, 0x3a30bc62e, // @ABCDEFG
    0x4631fc631, 0x38842108e, 0x1c4210a4c, 0x4654c5251, 0x42108421f, 0x4775ac631, 0x47359c631, 0x3a318c62e, // HIJKLMNO
    0x7a31f4210, 0x3a318d64d, 0x7a31f5251, 0x3e107043e, 0x7c8421084, 0x46318c62e, 0x46318c544, 0x4631ad771, // PQRSTUVW
    0x462a22a31, 0x462a21084, 0x7c222221f, 0x39084210e, 0x410820841, 0x38421084e, 0x115100000, 0x00000001f, // XYZ[\ ]^_
};

// Small letters look like capitals, what is unknown like a space.
constexpr bool is_dot(char code, size_t column, size_t row) {
    const int letter = 'a' <= code && code <= 'z' ? code - 'a' + 'A' : code;
    const uint64_t dots = ' ' <= letter && letter <= '_' ? kGlyphs[letter - ' '] : 0;
    return dots >> (34 - kGlyphWidth * row - column) & 1;
}

} // namespace vela::detail

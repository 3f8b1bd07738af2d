// An independent implementation of the colour conversions: offsets, product, rounding and limits one after the other,
// pixel by pixel.
#pragma once

#include "memory.hpp"
#include <algorithm>
#include <array>
#include <span>
#include <vector>
#include <vela/cpp/colour.hpp>

namespace model {

using pixels = std::vector<uint8_t>;

struct conversion {
    const char *name;
    void (*convert)(const uint8_t *, uint8_t *, uint32_t);
    void (*get_matrix)(int32_t *);
    std::array<int32_t, 9> coefficients;
    bool encodes;
    int luma_offset;
};

// clang-format off
constexpr conversion kConversions[] = {
    {"srgb_to_yccfull", srgb_to_yccfull, get_rgb_to_ycc,
     {1224, 2404, 466, -691, -1356, 2048, 2048, -1714, -333}, true, 0},
    {"yccfull_to_srgb", yccfull_to_srgb, get_ycc_to_rgb, {4096, 0, 5742, 4096, -1409, -2925, 4096, 7258, 0}, false, 0},
    {"srgb_to_yccbt601", srgb_to_yccbt601, get_rgb_to_ycc601,
     {1051, 2064, 401, -607, -1191, 1799, 1799, -1506, -292}, true, 16},
    {"yccbt601_to_srgb", yccbt601_to_srgb, get_ycc_to_rgb601,
     {4769, 0, 6537, 4769, -1604, -3329, 4769, 8262, 0}, false, 16},
    {"srgb_to_yccbt709", srgb_to_yccbt709, get_rgb_to_ycc709,
     {747, 2515, 253, -412, -1386, 1799, 1799, -1634, -164}, true, 16},
    {"yccbt709_to_srgb", yccbt709_to_srgb, get_ycc_to_rgb709,
     {4769, 0, 7343, 4769, -873, -2182, 4769, 8652, 0}, false, 16},
};
// clang-format on

// The pixels that a conversion makes; the division is a floor.
inline pixels converted(const conversion &c, const pixels &from) {
    const int offsets[3] = {c.luma_offset, 128, 128}, none[3] = {};
    const int *const input = c.encodes ? none : offsets, *const output = c.encodes ? offsets : none;
    pixels to(from.size());
    for (size_t at = 0; at < from.size(); at += 3)
        for (size_t row = 0; row < 3; ++row) {
            int sum = 2048;
            for (size_t column = 0; column < 3; ++column)
                sum += c.coefficients[3 * row + column] * (from[at + column] - input[column]);
            const int quotient = sum >= 0 ? sum / 4096 : -((4095 - sum) / 4096);
            to[at + row] = static_cast<uint8_t>(std::clamp(quotient + output[row], 0, 255));
        }
    return to;
}

// The Y, Cb, Cr pixels of a 4:2:2 picture.
inline pixels unpacked(const uint8_t *quads, uint32_t width, uint32_t height, uint32_t stride) {
    pixels full;
    for (size_t i = 0; i < size_t{width} * height; ++i) {
        const size_t x = i % width;
        const uint8_t *quad = &quads[i / width * stride + x / 2 * 4];
        full.insert(full.end(), {quad[x % 2 ? 3 : 1], quad[0], quad[2]});
    }
    return full;
}

// That the pixels made of these are the ones expected.
inline void expect_pixels(std::string_view what, const pixels &from, const uint8_t *actual, const pixels &expected) {
    const auto pixel = [](const uint8_t *bytes) { return std::span(bytes, 3); };
    for (size_t i = 0; i < from.size() && !std::equal(expected.begin(), expected.end(), actual); i += 3)
        agree_all(what, pixel(&from[i]), pixel(actual + i), pixel(&expected[i]));
}

// Buffers for input and for results; nothing after them may be touched.
constexpr size_t kRoom = 1 << 19;
inline uint8_t *const source_end = fence(kRoom), *const result_end = fence(kRoom);

// In place and apart, up to the end of the buffer and up to a place before it.
inline void check_conversion(const conversion &c, const pixels &from) {
    const pixels expected = converted(c, from);
    const auto size = static_cast<ptrdiff_t>(from.size());
    for (uint8_t *const end : {source_end, result_end, result_end - 1 - size % 31}) {
        uint8_t *const source = source_end - size, *const result = end - size;
        std::copy(from.begin(), from.end(), source);
        result[-1] = 0xEE;
        c.convert(source, result, static_cast<uint32_t>(size / 3));
        expect_pixels(c.name, from, result, expected);
        agree("the byte in front of the pixels", std::string(c.name), result[-1], 0xEE);
    }
}

// The picture ends with the last pixel's own bytes.
inline void check_unpacking(const uint8_t *packed, uint32_t width, uint32_t height, uint32_t stride) {
    const auto size = static_cast<ptrdiff_t>(vela::colour::packed_size(width, height, stride));
    const pixels full = unpacked(packed, width, height, stride);
    uint8_t *const result = result_end - full.size();
    std::copy_n(packed, size, source_end - size);
    result[-1] = 0xEE;
    cyc422_to_srgb(source_end - size, width, height, stride, result);
    const std::array<uint32_t, 3> shape = {width, height, stride};
    expect_pixels("cyc422_to_srgb of " + shown(shape) + ", a pixel", full, result, converted(kConversions[1], full));
    agree("the byte in front of cyc422_to_srgb's pixels", shape, result[-1], 0xEE);
}

} // namespace model

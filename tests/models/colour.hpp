// The conversions of colour told in other words than the library's: offsets, product, rounding and limits one after the
// other, pixel by pixel.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>
#include <vela/colour.h>

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

// The bytes of a 4:2:2 picture that may be read.
inline size_t packed_size(uint32_t width, uint32_t height, uint32_t stride) {
    return width && height ? size_t{stride} * (height - 1) + 2 * size_t{width} + width % 2 : 0;
}

// That the pixels made of these are the ones expected; otherwise tells the first that differs and aborts.
inline void expect_pixels(const char *what, const pixels &from, const uint8_t *actual, const pixels &expected) {
    if (std::equal(expected.begin(), expected.end(), actual))
        return;
    size_t i = 0;
    while (actual[i] == expected[i])
        ++i;
    const auto tell = [at = i / 3 * 3](const char *title, const uint8_t *bytes) {
        std::fprintf(stderr, "  %s (%d, %d, %d)\n", title, bytes[at], bytes[at + 1], bytes[at + 2]);
    };
    std::fprintf(stderr, "%s, pixel %zu of %zu:\n", what, i / 3, from.size() / 3);
    tell("of      ", from.data());
    tell("expected", expected.data());
    tell("came    ", actual);
    std::abort();
}

} // namespace model

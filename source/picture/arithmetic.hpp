// How RGB and YCbCr of pictures are computed from each other.
#pragma once

#include "common/split.hpp"
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace vela::detail {

constexpr variant kBt709Full = {
    {870, 2929, 295, -469, -1578, 2048, 2048, -1860, -187}, {4096, 0, 6450, 4096, -767, -1917, 4096, 7600, 0}, 0};

// In the order of VELA_BT601_FULL and what follows it.
constexpr variant kVariants[] = {kFull, kBt601, kBt709, kBt709Full};

// Decoding in 16-bit lanes: each byte is
//
//     limit((luma + chroma + bias) >> shift),  luma = (256 y * luma_weight) >> 16,
//     chroma = rounded sum of (256 (c - 128) >> chroma_shift) * weights / 2^15
//
// where the sum saturates. Full range has no fraction, so its chroma is rounded as <vela/colour.h> does; studio range
// has six bits of it.
struct decoder {
    static constexpr int kStudioShift = 6, kFullChromaShift = 5;

    bool is_studio;
    uint16_t luma_weight;
    int16_t weights[3][2]; // for each byte of a pixel, of the chroma bytes as they lie
    int16_t bias;

    // For the variant, bytes in the order B, G, R, and chroma in the order Cr, Cb.
    constexpr decoder(const variant &v, bool is_bgr, bool is_cr_first)
        : is_studio(v.luma_offset != 0),
          luma_weight(static_cast<uint16_t>(is_studio ? v.decoding[0] * 4 : 256)), weights{}, bias(0) {
        for (size_t row = 0; row < 3; ++row)
            for (size_t column = 0; column < 2; ++column)
                weights[is_bgr ? 2 - row : row][is_cr_first ? 1 - column : column] =
                    static_cast<int16_t>(v.decoding[3 * row + 1 + column] * (is_studio ? 2 : 1));
        // Half of a byte, and half of what luma's floor loses.
        if (is_studio)
            bias = static_cast<int16_t>((32 * 64 + 32 - v.luma_offset * v.decoding[0]) >> kStudioShift);
    }

    [[nodiscard]] int32_t term(size_t byte, const uint8_t *pair) const {
        const auto part = [&](size_t i) {
            return ((pair[i] - 128) * 256 >> (is_studio ? 0 : kFullChromaShift)) * weights[byte][i];
        };
        return (part(0) + part(1) + (1 << 14)) >> 15;
    }
    [[nodiscard]] uint8_t byte(uint8_t luma, int32_t term) const {
        const int32_t sum = (luma * 256 * luma_weight >> 16) + bias + term;
        return static_cast<uint8_t>(
            std::clamp(std::clamp(sum, INT16_MIN, INT16_MAX) >> (is_studio ? kStudioShift : 0), 0, 255));
    }
};

// Encoding with the weights of <vela/colour.h>, for bytes and chroma in the order of the formats.
struct encoder {
    conversion map;

    constexpr encoder(const variant &v, bool is_bgr, bool is_cr_first) : map(encoding(v)) {
        for (size_t row = 0; row < 3 && is_bgr; ++row)
            std::swap(map.weights[3 * row], map.weights[3 * row + 2]);
        for (size_t column = 0; column < 3 && is_cr_first; ++column)
            std::swap(map.weights[3 + column], map.weights[6 + column]);
    }

    // Of the sum of 2^shift values for each byte of a pixel.
    [[nodiscard]] uint8_t byte(size_t row, const std::array<int32_t, 3> &sums, int shift) const {
        const triple w = map.row(row);
        const int32_t sum = w[0] * sums[0] + w[1] * sums[1] + w[2] * sums[2] + (kHalf << shift);
        return static_cast<uint8_t>(std::clamp((sum >> (kWeightBits + shift)) + map.output_offset[row], 0, 255));
    }
};

} // namespace vela::detail

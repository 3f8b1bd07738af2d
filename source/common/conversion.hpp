// The mathematics of the conversions: each variant's weights, and the affine map of each direction.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vela::detail {

constexpr int kWeightBits = 12; // Q12
constexpr int32_t kHalf = 1 << (kWeightBits - 1);
constexpr int32_t kChromaOffset = 128;

using weight_matrix = std::array<int32_t, 9>;
using triple = std::array<int32_t, 3>;

struct variant {
    weight_matrix encoding, decoding;
    int32_t luma_offset;
};

constexpr variant kFull = {
    {1224, 2404, 466, -691, -1356, 2048, 2048, -1714, -333}, {4096, 0, 5742, 4096, -1409, -2925, 4096, 7258, 0}, 0};
constexpr variant kBt601 = {
    {1051, 2064, 401, -607, -1191, 1799, 1799, -1506, -292}, {4769, 0, 6537, 4769, -1604, -3329, 4769, 8262, 0}, 16};
constexpr variant kBt709 = {
    {747, 2515, 253, -412, -1386, 1799, 1799, -1634, -164}, {4769, 0, 7343, 4769, -873, -2182, 4769, 8652, 0}, 16};

// Both directions are one affine map of a pixel's three bytes, each output byte made by one row of weights:
//
//     byte = clamp(((weights . (bytes - input_offset) + 2048) >> 12) + output_offset)
struct conversion {
    weight_matrix weights;
    triple input_offset, output_offset;

    constexpr triple row(size_t r) const { return {weights[3 * r], weights[3 * r + 1], weights[3 * r + 2]}; }

    // Rounding and both offsets in one: byte = clamp((weights . bytes + addend) >> 12), with sums within 23 bits.
    constexpr int32_t addend(size_t r) const {
        const triple w = row(r);
        return (output_offset[r] << kWeightBits) + kHalf - w[0] * input_offset[0] - w[1] * input_offset[1] -
               w[2] * input_offset[2];
    }
};

constexpr conversion encoding(const variant &v) {
    return {v.encoding, {}, {v.luma_offset, kChromaOffset, kChromaOffset}};
}

constexpr conversion decoding(const variant &v) {
    return {v.decoding, {v.luma_offset, kChromaOffset, kChromaOffset}, {}};
}

// 4:2:2 is full range, where luma has weight 1 and the rest of each row is common to both pixels of a pair.
constexpr conversion kUnpack = decoding(kFull);
constexpr int32_t kLumaWeight = 1 << kWeightBits;
constexpr int16_t kRedCr = kUnpack.row(0)[2], kGreenCb = kUnpack.row(1)[1], kGreenCr = kUnpack.row(1)[2],
                  kBlueCb = kUnpack.row(2)[1];
static_assert(kUnpack.row(0) == triple{kLumaWeight, 0, kRedCr} &&
              kUnpack.row(1) == triple{kLumaWeight, kGreenCb, kGreenCr} &&
              kUnpack.row(2) == triple{kLumaWeight, kBlueCb, 0});

// Two signed 16-bit factors in a word, the first in its low half, as both ARM and AVX2 multiply and add them in one
// instruction.
constexpr uint32_t packed16(int32_t first, int32_t second) {
    return (static_cast<uint32_t>(second) << 16) | static_cast<uint16_t>(first);
}

} // namespace vela::detail

#include "detail/simd.hpp"
#include <algorithm>
#include <array>
#include <vela/colour.h>

#ifdef __ARM_FEATURE_SIMD32
#include <arm_acle.h>
#endif
#ifdef VELA_AVX2
#include <immintrin.h>
#endif
#ifdef VELA_NEON
#include <arm_neon.h>
#endif

using namespace vela::detail;

namespace {

constexpr int kFractionBits = 12; // Q12
constexpr int32_t kHalf = 1 << (kFractionBits - 1);
constexpr int32_t kChromaOffset = 128;

using matrix = std::array<int32_t, 9>;

struct variant {
    matrix encoding, decoding;
    int32_t luma_offset;
};

constexpr variant kFull = {
    {1224, 2404, 466, -691, -1356, 2048, 2048, -1714, -333}, {4096, 0, 5742, 4096, -1409, -2925, 4096, 7258, 0}, 0};
constexpr variant kBt601 = {
    {1051, 2064, 401, -607, -1191, 1799, 1799, -1506, -292}, {4769, 0, 6537, 4769, -1604, -3329, 4769, 8262, 0}, 16};
constexpr variant kBt709 = {
    {747, 2515, 253, -412, -1386, 1799, 1799, -1634, -164}, {4769, 0, 7343, 4769, -873, -2182, 4769, 8652, 0}, 16};

// Both directions are one affine map of a pixel's three bytes, each output byte made by one row:
//
//     byte = limit((weight[0] first + weight[1] second + weight[2] third + addend) >> 12)
//
// The addend holds the rounding and the offsets of both sides. Every sum stays within 23 bits.
struct row {
    std::array<int32_t, 3> weight;
    int32_t addend;
};

using conversion = std::array<row, 3>;

constexpr conversion make_conversion(const matrix &coefficients, const std::array<int32_t, 3> &input_offset,
                                     const std::array<int32_t, 3> &output_offset) {
    conversion result = {};
    for (size_t r = 0; r < 3; ++r) {
        result[r].addend = (output_offset[r] << kFractionBits) + kHalf;
        for (size_t c = 0; c < 3; ++c) {
            result[r].weight[c] = coefficients[3 * r + c];
            result[r].addend -= coefficients[3 * r + c] * input_offset[c];
        }
    }
    return result;
}

constexpr conversion encoding(const variant &v) {
    return make_conversion(v.encoding, {}, {v.luma_offset, kChromaOffset, kChromaOffset});
}

constexpr conversion decoding(const variant &v) {
    return make_conversion(v.decoding, {v.luma_offset, kChromaOffset, kChromaOffset}, {});
}

// Two signed 16-bit factors, the first in the low half of the word: what one ARM multiply instruction takes.
constexpr uint32_t pair(int32_t first, int32_t second) {
    return (static_cast<uint32_t>(second) << 16) | static_cast<uint16_t>(first);
}

inline int32_t multiply_add(uint32_t a, uint32_t b, int32_t sum) {
#ifdef __ARM_FEATURE_SIMD32
    return __smlad(static_cast<int16x2_t>(a), static_cast<int16x2_t>(b), sum);
#else
    return sum + static_cast<int16_t>(a) * static_cast<int16_t>(b) +
           static_cast<int16_t>(a >> 16) * static_cast<int16_t>(b >> 16);
#endif
}

inline uint8_t limited(int32_t sum) { return static_cast<uint8_t>(std::clamp(sum >> kFractionBits, 0, 255)); }

template <row weights>
inline uint8_t apply(uint32_t first_and_second, int32_t third) {
    constexpr auto w = weights.weight;
    return limited(multiply_add(first_and_second, pair(w[0], w[1]), weights.addend) + w[2] * third);
}

template <conversion map>
void convert_pixels(const uint8_t *src, uint8_t *dst, uint32_t count) {
    for (; count; --count, src += 3, dst += 3) {
        const uint32_t first_and_second = pair(src[0], src[1]);
        const int32_t third = src[2];
        dst[0] = apply<map[0]>(first_and_second, third);
        dst[1] = apply<map[1]>(first_and_second, third);
        dst[2] = apply<map[2]>(first_and_second, third);
    }
}

// 4:2:2 is full range, where luma counts as it is and the rest of each row belongs to both pixels of a pair.
constexpr conversion kUnpack = decoding(kFull);
constexpr int32_t kLumaWeight = 1 << kFractionBits;
static_assert(kUnpack[0].weight[0] == kLumaWeight && kUnpack[1].weight[0] == kLumaWeight &&
              kUnpack[2].weight[0] == kLumaWeight);

template <row weights>
inline int32_t chroma_term(uint32_t chroma) {
    return multiply_add(chroma, pair(weights.weight[1], weights.weight[2]), weights.addend);
}

struct chroma_terms {
    int32_t red, green, blue;

    explicit chroma_terms(const uint8_t *quad) {
        const uint32_t chroma = pair(quad[0], quad[2]);
        red = chroma_term<kUnpack[0]>(chroma);
        green = chroma_term<kUnpack[1]>(chroma);
        blue = chroma_term<kUnpack[2]>(chroma);
    }

    void write(uint8_t luma, uint8_t *dst) const {
        dst[0] = limited(red + luma * kLumaWeight);
        dst[1] = limited(green + luma * kLumaWeight);
        dst[2] = limited(blue + luma * kLumaWeight);
    }
};

void unpack_pixels(const uint8_t *src, uint8_t *dst, uint32_t count) {
    for (; count >= 2; count -= 2, src += 4, dst += 6) {
        const chroma_terms terms(src);
        const uint8_t second_luma = src[3];
        terms.write(src[1], dst);
        terms.write(second_luma, dst + 3);
    }
    if (count)
        chroma_terms(src).write(src[1], dst);
}

template <conversion map>
void convert(const uint8_t *src, uint8_t *dst, uint32_t count) {
    convert_pixels<map>(src, dst, count);
}

void unpack_row(const uint8_t *src, uint8_t *dst, uint32_t count) { unpack_pixels(src, dst, count); }

} // namespace

void get_rgb_to_ycc(int32_t *matrix) { std::ranges::copy(kFull.encoding, matrix); }
void get_ycc_to_rgb(int32_t *matrix) { std::ranges::copy(kFull.decoding, matrix); }
void get_rgb_to_ycc601(int32_t *matrix) { std::ranges::copy(kBt601.encoding, matrix); }
void get_ycc_to_rgb601(int32_t *matrix) { std::ranges::copy(kBt601.decoding, matrix); }
void get_rgb_to_ycc709(int32_t *matrix) { std::ranges::copy(kBt709.encoding, matrix); }
void get_ycc_to_rgb709(int32_t *matrix) { std::ranges::copy(kBt709.decoding, matrix); }

void srgb_to_yccfull(const uint8_t *src, uint8_t *dst, uint32_t count) { convert<encoding(kFull)>(src, dst, count); }

void yccfull_to_srgb(const uint8_t *src, uint8_t *dst, uint32_t count) { convert<decoding(kFull)>(src, dst, count); }

void srgb_to_yccbt601(const uint8_t *src, uint8_t *dst, uint32_t count) { convert<encoding(kBt601)>(src, dst, count); }

void yccbt601_to_srgb(const uint8_t *src, uint8_t *dst, uint32_t count) { convert<decoding(kBt601)>(src, dst, count); }

void srgb_to_yccbt709(const uint8_t *src, uint8_t *dst, uint32_t count) { convert<encoding(kBt709)>(src, dst, count); }

void yccbt709_to_srgb(const uint8_t *src, uint8_t *dst, uint32_t count) { convert<decoding(kBt709)>(src, dst, count); }

void cyc422_to_srgb(const uint8_t *src, uint32_t width, uint32_t height, uint32_t stride, uint8_t *dst) {
    if (width == 0)
        return;
    for (size_t y = 0; y < height; ++y)
        unpack_row(src + y * stride, dst + y * width * 3, width);
}

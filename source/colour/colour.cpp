// Pixels between RGB and YCbCr, and 4:2:2 pictures to RGB: the scalar code, which defines the results, and whole blocks
// of pixels by SIMD code.
#include "common/conversion.hpp"
#include "common/simd.hpp"
#include <algorithm>
#include <vela/colour.h>

#ifdef __ARM_FEATURE_SIMD32
#include <arm_acle.h>
#endif
#if defined VELA_AVX2
#include "avx2.hpp"
#elif defined VELA_NEON
#include "neon.hpp"
#elif defined VELA_SIMD128
#include "simd128.hpp"
#endif

using namespace vela::detail;

namespace {

inline int32_t multiply_add(uint32_t a, uint32_t b, int32_t sum) {
#ifdef __ARM_FEATURE_SIMD32
    return __smlad(static_cast<int16x2_t>(a), static_cast<int16x2_t>(b), sum);
#else
    return sum + static_cast<int16_t>(a) * static_cast<int16_t>(b) +
           static_cast<int16_t>(a >> 16) * static_cast<int16_t>(b >> 16);
#endif
}

inline uint8_t limited(int32_t sum) { return static_cast<uint8_t>(std::clamp(sum >> kWeightBits, 0, 255)); }

template <conversion map, size_t row>
inline uint8_t convert_byte(uint32_t first_and_second, int32_t third) {
    constexpr triple w = map.row(row);
    return limited(multiply_add(first_and_second, packed16(w[0], w[1]), map.addend(row)) + w[2] * third);
}

template <conversion map>
void convert_pixels(const uint8_t *src, uint8_t *dst, size_t count) {
    for (; count; --count, src += 3, dst += 3) {
        const uint32_t first_and_second = packed16(src[0], src[1]);
        const int32_t third = src[2];
        dst[0] = convert_byte<map, 0>(first_and_second, third);
        dst[1] = convert_byte<map, 1>(first_and_second, third);
        dst[2] = convert_byte<map, 2>(first_and_second, third);
    }
}

// 4:2:2 holds two pixels in the four bytes Cb, Y0, Cr, Y1: the contribution of chroma to each colour is computed once
// for both.
struct chroma_terms {
    int32_t red, green, blue;

    explicit chroma_terms(const uint8_t *quad) {
        const uint32_t chroma = packed16(quad[0], quad[2]);
        red = multiply_add(chroma, packed16(0, kRedCr), kUnpack.addend(0));
        green = multiply_add(chroma, packed16(kGreenCb, kGreenCr), kUnpack.addend(1));
        blue = multiply_add(chroma, packed16(kBlueCb, 0), kUnpack.addend(2));
    }

    void write(uint8_t luma, uint8_t *dst) const {
        dst[0] = limited(red + luma * kLumaWeight);
        dst[1] = limited(green + luma * kLumaWeight);
        dst[2] = limited(blue + luma * kLumaWeight);
    }
};

// The second luma of an odd width's last quad is not read.
void unpack_pixels(const uint8_t *src, uint8_t *dst, size_t count) {
    for (; count >= 2; count -= 2, src += 4, dst += 6) {
        const chroma_terms terms(src);
        const uint8_t second_luma = src[3];
        terms.write(src[1], dst);
        terms.write(second_luma, dst + 3);
    }
    if (count)
        chroma_terms(src).write(src[1], dst);
}

#ifdef VELA_SIMD
#ifdef VELA_AVX2
using wide = colour_avx2;
#elif defined VELA_NEON
using wide = colour_neon;
#else
using wide = colour_simd128;
#endif

template <conversion map>
VELA_SIMD void convert_blocks(const uint8_t *src, uint8_t *dst, size_t blocks) {
    const wide::converter<map> convert;
    for (; blocks; --blocks, src += 3 * wide::kPixels, dst += 3 * wide::kPixels)
        convert(src, dst);
}

VELA_SIMD void unpack_blocks(const uint8_t *src, uint8_t *dst, size_t blocks) {
    const wide::unpacker unpack;
    for (; blocks; --blocks, src += 2 * wide::kUnpackedPixels, dst += 3 * wide::kUnpackedPixels)
        unpack(src, dst);
}
#endif

// SIMD code converts the whole blocks, scalar code the rest.
template <conversion map>
void convert(const uint8_t *src, uint8_t *dst, uint32_t count) {
    size_t done = 0;
#ifdef VELA_SIMD
    if (count >= wide::kPixels && has_simd()) {
        convert_blocks<map>(src, dst, count / wide::kPixels);
        done = count - count % wide::kPixels;
    }
#endif
    convert_pixels<map>(src + 3 * done, dst + 3 * done, count - done);
}

void unpack(const uint8_t *src, uint8_t *dst, uint32_t count) {
    size_t done = 0;
#ifdef VELA_SIMD
    if (count >= wide::kUnpackedPixels && has_simd()) {
        unpack_blocks(src, dst, count / wide::kUnpackedPixels);
        done = count - count % wide::kUnpackedPixels;
    }
#endif
    unpack_pixels(src + 2 * done, dst + 3 * done, count - done);
}

void copy_weights(const weight_matrix &weights, int32_t *matrix) {
    std::copy_n(weights.data(), weights.size(), matrix);
}

} // namespace

void get_rgb_to_ycc(int32_t *matrix) { copy_weights(kFull.encoding, matrix); }
void get_ycc_to_rgb(int32_t *matrix) { copy_weights(kFull.decoding, matrix); }
void get_rgb_to_ycc601(int32_t *matrix) { copy_weights(kBt601.encoding, matrix); }
void get_ycc_to_rgb601(int32_t *matrix) { copy_weights(kBt601.decoding, matrix); }
void get_rgb_to_ycc709(int32_t *matrix) { copy_weights(kBt709.encoding, matrix); }
void get_ycc_to_rgb709(int32_t *matrix) { copy_weights(kBt709.decoding, matrix); }

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
        unpack(src + y * stride, dst + y * width * 3, width);
}

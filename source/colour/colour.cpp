#include "common/unit.hpp"
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
using triple = std::array<int32_t, 3>;

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

// Both directions are one affine map of a pixel's three bytes, each output byte made by one row of weights:
//
//     byte = limit(((weights . (bytes - input_offset) + 2048) >> 12) + output_offset)
struct conversion {
    matrix weights;
    triple input_offset, output_offset;

    constexpr triple row(size_t r) const { return {weights[3 * r], weights[3 * r + 1], weights[3 * r + 2]}; }

    // Rounding and both offsets in one: byte = limit((weights . bytes + addend) >> 12), with sums within 23 bits.
    constexpr int32_t addend(size_t r) const {
        const triple w = row(r);
        return (output_offset[r] << kFractionBits) + kHalf - w[0] * input_offset[0] - w[1] * input_offset[1] -
               w[2] * input_offset[2];
    }
};

constexpr conversion encoding(const variant &v) {
    return {v.encoding, {}, {v.luma_offset, kChromaOffset, kChromaOffset}};
}

constexpr conversion decoding(const variant &v) {
    return {v.decoding, {v.luma_offset, kChromaOffset, kChromaOffset}, {}};
}

// Two signed 16-bit factors, the first in the low half of the word, as ARM multiplies and adds them in one instruction.
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

template <conversion map, size_t row>
inline uint8_t convert_byte(uint32_t first_and_second, int32_t third) {
    constexpr triple w = map.row(row);
    return limited(multiply_add(first_and_second, pair(w[0], w[1]), map.addend(row)) + w[2] * third);
}

template <conversion map>
void convert_pixels(const uint8_t *src, uint8_t *dst, size_t count) {
    for (; count; --count, src += 3, dst += 3) {
        const uint32_t first_and_second = pair(src[0], src[1]);
        const int32_t third = src[2];
        dst[0] = convert_byte<map, 0>(first_and_second, third);
        dst[1] = convert_byte<map, 1>(first_and_second, third);
        dst[2] = convert_byte<map, 2>(first_and_second, third);
    }
}

// 4:2:2 is full range, where luma counts as it is and the rest of each row belongs to both pixels of a pair.
constexpr conversion kUnpack = decoding(kFull);
constexpr int32_t kLumaWeight = 1 << kFractionBits;
constexpr int16_t kRedCr = kUnpack.row(0)[2], kGreenCb = kUnpack.row(1)[1], kGreenCr = kUnpack.row(1)[2],
                  kBlueCb = kUnpack.row(2)[1];
static_assert(kUnpack.row(0) == triple{kLumaWeight, 0, kRedCr} &&
              kUnpack.row(1) == triple{kLumaWeight, kGreenCb, kGreenCr} &&
              kUnpack.row(2) == triple{kLumaWeight, kBlueCb, 0});

struct chroma_terms {
    int32_t red, green, blue;

    explicit chroma_terms(const uint8_t *quad) {
        const uint32_t chroma = pair(quad[0], quad[2]);
        red = multiply_add(chroma, pair(0, kRedCr), kUnpack.addend(0));
        green = multiply_add(chroma, pair(kGreenCb, kGreenCr), kUnpack.addend(1));
        blue = multiply_add(chroma, pair(kBlueCb, 0), kUnpack.addend(2));
    }

    void write(uint8_t luma, uint8_t *dst) const {
        dst[0] = limited(red + luma * kLumaWeight);
        dst[1] = limited(green + luma * kLumaWeight);
        dst[2] = limited(blue + luma * kLumaWeight);
    }
};

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

#ifdef VELA_UNIT
#define VELA_INLINE [[gnu::always_inline]] VELA_UNIT inline

// The vector units work on 16-bit lanes, for which weights are split into 2^n high + low, so that a row's sum is
// 2^n high_sum + low_sum. With sums that fit,
//
//     (sum + 2048) >> 12  =  (high_sum + (low_sum >> n) + 2^(11 - n)) >> (12 - n)
//
// to the bit, since each shift is a floor.
struct split_row {
    triple high, low;
};

// Of the two ways to split a weight, the one that keeps the row's low parts in balance and so their sum small.
constexpr split_row split(const triple &weights, int low_bits) {
    split_row result = {};
    int32_t balance = 0;
    for (size_t i = 0; i < 3; ++i) {
        int32_t low = weights[i] & ((1 << low_bits) - 1);
        if (low && balance + low > 1 << (low_bits - 1))
            low -= 1 << low_bits;
        balance += low;
        result.low[i] = low;
        result.high[i] = (weights[i] - low) >> low_bits;
    }
    return result;
}

// Whether a weighted sum of three bytes, each less its offset, stays within 16 bits.
constexpr bool fits_words(const triple &weights, const triple &offset, int32_t addend, int shift = 0) {
    int32_t least = addend, greatest = addend;
    for (size_t i = 0; i < 3; ++i) {
        const int32_t dark = -offset[i] * weights[i], bright = (255 - offset[i]) * weights[i];
        least += std::min(dark, bright);
        greatest += std::max(dark, bright);
    }
    return least >> shift >= INT16_MIN && greatest >> shift <= INT16_MAX;
}

#endif

#ifdef VELA_AVX2
// Thirty-two pixels, each of their bytes in two registers of sixteen words, which lie so that packing them, which works
// in each 128-bit half apart, gives a register of bytes in order:
//
//     low   0 1 2 ...  7 | 16 17 18 ... 23
//     high  8 9 10 .. 15 | 24 25 26 ... 31      packed  0 1 2 ... 15 | 16 17 18 ... 31
struct wide {
    static constexpr uint32_t kPixels = 32, kUnpackedPixels = 32;
    static constexpr int kLowBits = 7;
    using words = __m256i;
    using bytes = __m256i;

    // Sixteen pixels as the instruction needs them that multiplies bytes and adds neighbours.
    struct block {
        words first;  // the first byte of each pixel and a 0
        bytes others; // the second and the third
    };

    VELA_INLINE static words both(__m128i half) { return _mm256_broadcastsi128_si256(half); }

    template <size_t distance>
    VELA_INLINE static bytes load_halves(const uint8_t *from) {
        const auto *half = reinterpret_cast<const __m128i *>(from);
        const auto *other = reinterpret_cast<const __m128i *>(from + distance);
        return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(half)), _mm_loadu_si128(other), 1);
    }

    VELA_INLINE static block load(const uint8_t *from) {
        const bytes front =
            _mm256_shuffle_epi8(load_halves<48>(from), // pixels 0 to 3
                                both(_mm_setr_epi8(0, -1, 3, -1, 6, -1, 9, -1, 1, 2, 4, 5, 7, 8, 10, 11)));
        const bytes back =
            _mm256_shuffle_epi8(load_halves<48>(from + 8), // pixels 4 to 7
                                both(_mm_setr_epi8(4, -1, 7, -1, 10, -1, 13, -1, 5, 6, 8, 9, 11, 12, 14, 15)));
        return {_mm256_unpacklo_epi64(front, back), _mm256_unpackhi_epi64(front, back)};
    }

    // The compiler makes products and sums that rows have in common once: in decoding, luma's.
    template <triple w, int32_t addend>
    VELA_INLINE static words weigh(const block &b) {
        words sum = _mm256_set1_epi16(addend);
        if constexpr (w[0])
            sum = _mm256_add_epi16(sum, _mm256_maddubs_epi16(b.first, byte_pairs(w[0], 0)));
        if constexpr (w[1] || w[2])
            sum = _mm256_add_epi16(sum, _mm256_maddubs_epi16(b.others, byte_pairs(w[1], w[2])));
        return sum;
    }

    VELA_INLINE static bytes byte_pairs(int32_t first, int32_t second) {
        return _mm256_set1_epi16(static_cast<int16_t>((second << 8) | (first & 255)));
    }

    template <conversion map, size_t row>
    VELA_INLINE static words convert_words(const block &b) {
        constexpr split_row s = split(map.row(row), kLowBits);
        constexpr int32_t low_addend = map.addend(row) & ((1 << kLowBits) - 1),
                          high_addend = map.addend(row) >> kLowBits;
        // Products saturate; sums may wrap until the last one.
        static_assert(fits_words({0, s.high[1], s.high[2]}, {}, 0) && fits_words(s.low, {}, low_addend) &&
                      fits_words(map.row(row), {}, map.addend(row), kLowBits));
        const words low = _mm256_srai_epi16(weigh<s.low, low_addend>(b), kLowBits);
        return _mm256_srai_epi16(_mm256_add_epi16(weigh<s.high, high_addend>(b), low), kFractionBits - kLowBits);
    }

    template <conversion map, size_t row>
    VELA_INLINE static bytes convert_bytes(const block &low, const block &high) {
        return _mm256_packus_epi16(convert_words<map, row>(low), convert_words<map, row>(high));
    }

    template <conversion map>
    struct converter {
        VELA_INLINE void operator()(const uint8_t *from, uint8_t *to) const {
            const block low = load(from), high = load(from + 24);
            store(to, convert_bytes<map, 0>(low, high), convert_bytes<map, 1>(low, high),
                  convert_bytes<map, 2>(low, high));
        }
    };

    // Writes pixels from their bytes. Of the 48 bytes that 16 pixels take, each byte place of a 16-byte third belongs
    // to another of a, b and c:
    //
    //     abcabcabcabcabca  bcabcabcabcabcab  cabcabcabcabcabc
    VELA_INLINE static void store(uint8_t *to, bytes a, bytes b, bytes c) {
        a = _mm256_shuffle_epi8(a, both(_mm_setr_epi8(0, 11, 6, 1, 12, 7, 2, 13, 8, 3, 14, 9, 4, 15, 10, 5)));
        b = _mm256_shuffle_epi8(b, both(_mm_setr_epi8(5, 0, 11, 6, 1, 12, 7, 2, 13, 8, 3, 14, 9, 4, 15, 10)));
        c = _mm256_shuffle_epi8(c, both(_mm_setr_epi8(10, 5, 0, 11, 6, 1, 12, 7, 2, 13, 8, 3, 14, 9, 4, 15)));
        const bytes second = both(_mm_setr_epi8(0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0));
        const bytes third = both(_mm_setr_epi8(0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0));
        const bytes front = _mm256_blendv_epi8(_mm256_blendv_epi8(a, b, second), c, third);
        const bytes middle = _mm256_blendv_epi8(_mm256_blendv_epi8(b, c, second), a, third);
        const bytes back = _mm256_blendv_epi8(_mm256_blendv_epi8(c, a, second), b, third);
        auto *out = reinterpret_cast<bytes *>(to);
        _mm256_storeu_si256(out, _mm256_permute2x128_si256(front, middle, 0x20));
        _mm256_storeu_si256(out + 1, _mm256_blend_epi32(back, front, 0xF0));
        _mm256_storeu_si256(out + 2, _mm256_permute2x128_si256(middle, back, 0x31));
    }

    struct colours {
        words red, green, blue;
    };

    // Sixteen pixels of eight quads. With chroma 8 times as large, the rounding multiplication gives the red and the
    // blue term, and the upper word of twice the green sum is that term.
    VELA_INLINE static colours unpack_half(bytes quads) {
        const words luma = _mm256_srli_epi16(quads, 8);
        const words chroma =
            _mm256_sub_epi16(_mm256_maddubs_epi16(quads, _mm256_set1_epi16(8)), _mm256_set1_epi16(8 * kChromaOffset));
        const words blue_red = _mm256_mulhrs_epi16(chroma, word_pairs(kBlueCb, kRedCr));
        const words green = _mm256_add_epi32(_mm256_madd_epi16(chroma, word_pairs(2 * kGreenCb, 2 * kGreenCr)),
                                             _mm256_set1_epi32(1 << 15));
        const words lower = both(_mm_setr_epi8(0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8, 9, 12, 13, 12, 13));
        const words upper = both(_mm_setr_epi8(2, 3, 2, 3, 6, 7, 6, 7, 10, 11, 10, 11, 14, 15, 14, 15));
        return {_mm256_add_epi16(luma, _mm256_shuffle_epi8(blue_red, upper)),
                _mm256_add_epi16(luma, _mm256_shuffle_epi8(green, upper)),
                _mm256_add_epi16(luma, _mm256_shuffle_epi8(blue_red, lower))};
    }

    VELA_INLINE static words word_pairs(int32_t first, int32_t second) {
        return _mm256_set1_epi32(static_cast<int32_t>(pair(first, second)));
    }

    struct unpacker {
        VELA_INLINE void operator()(const uint8_t *from, uint8_t *to) const {
            const colours low = unpack_half(load_halves<32>(from)), high = unpack_half(load_halves<32>(from + 16));
            store(to, _mm256_packus_epi16(low.red, high.red), _mm256_packus_epi16(low.green, high.green),
                  _mm256_packus_epi16(low.blue, high.blue));
        }
    };
};
#endif

#ifdef VELA_NEON
// Eight pixels, a register of words for each of their bytes. The split weights stand in the lanes of a few registers,
// where the multiplications take them from.
struct wide {
    static constexpr uint32_t kPixels = 8, kUnpackedPixels = 16;
    using words = int16x8_t;

    VELA_INLINE static words less(uint8x8_t bytes, uint8_t offset) {
        return vreinterpretq_s16_u16(offset ? vsubl_u8(bytes, vdup_n_u8(offset)) : vmovl_u8(bytes));
    }

    template <conversion map>
    class converter {
    public:
        VELA_INLINE converter()
            : lanes{vld1_s16(&kWeights[0]), vld1_s16(&kWeights[4]), vld1_s16(&kWeights[8]), vld1_s16(&kWeights[12]),
                    vld1_s16(&kWeights[16])} {}

        VELA_INLINE void operator()(const uint8_t *from, uint8_t *to) const {
            const uint8x8x3_t pixels = vld3_u8(from);
            const block b = {{less(pixels.val[0], map.input_offset[0]), less(pixels.val[1], map.input_offset[1]),
                              less(pixels.val[2], map.input_offset[2])}};
            vst3_u8(to, {{convert_row<0>(b), convert_row<1>(b), convert_row<2>(b)}});
        }

    private:
        struct block {
            words byte[3];
        };

        // Encoding to studio range needs no limits: with 4 low bits the result is the upper byte of the sum, and the
        // narrowing addition takes in the rounding and the offset. Elsewhere narrowing rounds and limits.
        static constexpr bool kLimits = map.output_offset[0] == 0;
        static constexpr int kLowBits = kLimits ? 7 : 4;

        // For each row, three high and three low weights.
        static constexpr std::array<int16_t, 20> kWeights = [] {
            std::array<int16_t, 20> weights = {};
            for (size_t r = 0; r < 3; ++r) {
                const split_row s = split(map.row(r), kLowBits);
                std::ranges::copy(s.high, &weights[6 * r]);
                std::ranges::copy(s.low, &weights[6 * r + 3]);
            }
            return weights;
        }();

        int16x4_t lanes[5];

        template <size_t at>
        VELA_INLINE words add_product(words sum, words factor) const {
            return kWeights[at] ? vmlaq_lane_s16(sum, factor, lanes[at / 4], at % 4) : sum;
        }

        // The sum with the three weights from `at` on; those of 0 cost nothing.
        template <size_t at>
        VELA_INLINE words weigh(const block &b) const {
            constexpr size_t first = kWeights[at] ? 0 : kWeights[at + 1] ? 1 : 2;
            words sum = vmulq_lane_s16(b.byte[first], lanes[(at + first) / 4], (at + first) % 4);
            if constexpr (first < 1)
                sum = add_product<at + 1>(sum, b.byte[1]);
            if constexpr (first < 2)
                sum = add_product<at + 2>(sum, b.byte[2]);
            return sum;
        }

        template <size_t row>
        VELA_INLINE uint8x8_t convert_row(const block &b) const {
            static_assert(fits_words(split(map.row(row), kLowBits).low, map.input_offset, 0) &&
                          (!kLimits || fits_words(map.row(row), map.input_offset, 0, kLowBits)));
            const words sum = vsraq_n_s16(weigh<6 * row>(b), weigh<6 * row + 3>(b), kLowBits);
            if constexpr (!kLimits)
                return vraddhn_u16(vreinterpretq_u16_s16(sum), vdupq_n_u16(map.output_offset[row] << 8));
            else if constexpr (map.output_offset[row] == kChromaOffset)
                return vadd_u8(vreinterpret_u8_s8(vqrshrn_n_s16(sum, kFractionBits - kLowBits)),
                               vdup_n_u8(kChromaOffset));
            else
                return vqrshrun_n_s16(sum, kFractionBits - kLowBits);
        }
    };

    // Eight quads: the pixels of even and of odd places are made apart and then zipped. With chroma 8 times as large,
    // the doubling and rounding multiplication gives the red and the blue term.
    class unpacker {
    public:
        VELA_INLINE unpacker() : weights(vld1_s16(kWeights)) {}

        VELA_INLINE void operator()(const uint8_t *from, uint8_t *to) const {
            const uint8x8x4_t quads = vld4_u8(from);
            const words cb = vshlq_n_s16(less(quads.val[0], kChromaOffset), 3);
            const words cr = vshlq_n_s16(less(quads.val[2], kChromaOffset), 3);
            const words green = vcombine_s16(green_term(vget_low_s16(cb), vget_low_s16(cr)),
                                             green_term(vget_high_s16(cb), vget_high_s16(cr)));
            const uint8x8x2_t r = brightened(vqrdmulhq_lane_s16(cr, weights, 0), quads), g = brightened(green, quads),
                              b = brightened(vqrdmulhq_lane_s16(cb, weights, 3), quads);
            vst3_u8(to, {{r.val[0], g.val[0], b.val[0]}});
            vst3_u8(to + 24, {{r.val[1], g.val[1], b.val[1]}});
        }

    private:
        static constexpr int16_t kWeights[4] = {kRedCr, kGreenCb, kGreenCr, kBlueCb};

        int16x4_t weights;

        VELA_INLINE int16x4_t green_term(int16x4_t cb, int16x4_t cr) const {
            return vrshrn_n_s32(vmlal_lane_s16(vmull_lane_s16(cb, weights, 1), cr, weights, 2), 15);
        }

        VELA_INLINE static uint8x8x2_t brightened(words term, const uint8x8x4_t &quads) {
            return vzip_u8(vqmovun_s16(sum(term, quads.val[1])), vqmovun_s16(sum(term, quads.val[3])));
        }

        VELA_INLINE static words sum(words term, uint8x8_t luma) {
            return vreinterpretq_s16_u16(vaddw_u8(vreinterpretq_u16_s16(term), luma));
        }
    };
};
#endif

#ifdef VELA_UNIT
template <conversion map>
VELA_UNIT void convert_blocks(const uint8_t *src, uint8_t *dst, size_t blocks) {
    const wide::converter<map> convert;
    for (; blocks; --blocks, src += 3 * wide::kPixels, dst += 3 * wide::kPixels)
        convert(src, dst);
}

VELA_UNIT void unpack_blocks(const uint8_t *src, uint8_t *dst, size_t blocks) {
    const wide::unpacker unpack;
    for (; blocks; --blocks, src += 2 * wide::kUnpackedPixels, dst += 3 * wide::kUnpackedPixels)
        unpack(src, dst);
}
#endif

// The vector unit takes the whole blocks, the scalar code what is left.
template <conversion map>
void convert(const uint8_t *src, uint8_t *dst, uint32_t count) {
    size_t done = 0;
#ifdef VELA_UNIT
    if (count >= wide::kPixels && has_unit()) {
        convert_blocks<map>(src, dst, count / wide::kPixels);
        done = count - count % wide::kPixels;
    }
#endif
    convert_pixels<map>(src + 3 * done, dst + 3 * done, count - done);
}

void unpack(const uint8_t *src, uint8_t *dst, uint32_t count) {
    size_t done = 0;
#ifdef VELA_UNIT
    if (count >= wide::kUnpackedPixels && has_unit()) {
        unpack_blocks(src, dst, count / wide::kUnpackedPixels);
        done = count - count % wide::kUnpackedPixels;
    }
#endif
    unpack_pixels(src + 2 * done, dst + 3 * done, count - done);
}

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
        unpack(src + y * stride, dst + y * width * 3, width);
}

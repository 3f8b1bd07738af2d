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

#ifdef VELA_WIDE

constexpr int16_t kRedCr = kUnpack[0].weight[2], kGreenCb = kUnpack[1].weight[1], kGreenCr = kUnpack[1].weight[2],
                  kBlueCb = kUnpack[2].weight[1];

// The vector units work on 16-bit lanes, for which a row is split: each weight into 128 high + low, the addend likewise
// (without its rounding), so that sum = 128 high_sum + low_sum. With both sums within 16 bits,
//
//     sum >> 12  =  (high_sum + (low_sum >> 7) + 16) >> 5
//
// to the bit, since each shift is a floor.
constexpr int kLowBits = 7;
constexpr int kHighBits = kFractionBits - kLowBits;

using weights = std::array<int32_t, 3>;

struct split_row {
    weights high, low;
    int32_t high_addend, low_addend;
};

// Of the two ways to split a weight, the one that keeps the weights' low parts in balance.
constexpr split_row split(const row &r) {
    constexpr int32_t base = 1 << kLowBits;
    split_row result = {};
    int32_t balance = 0;
    for (size_t i = 0; i < 3; ++i) {
        int32_t low = r.weight[i] & (base - 1);
        if (low && balance + low > base / 2)
            low -= base;
        balance += low;
        result.low[i] = low;
        result.high[i] = (r.weight[i] - low) / base;
    }
    result.low_addend = (r.addend - kHalf) & (base - 1);
    result.high_addend = (r.addend - kHalf - result.low_addend) / base;
    return result;
}

// The least or greatest sum that pixels can make.
constexpr int32_t extreme(const weights &w, int32_t addend, bool greatest) {
    for (const int32_t weight : w)
        addend += (weight > 0) == greatest ? 255 * weight : 0;
    return addend;
}

constexpr bool fits_words(int32_t value) { return value >= INT16_MIN && value <= INT16_MAX; }

constexpr bool fits_lanes(const conversion &map) {
    return std::ranges::all_of(map, [](const row &r) {
        const split_row s = split(r);
        return std::ranges::all_of(std::array{false, true}, [&](bool greatest) {
            return fits_words(extreme(s.low, s.low_addend, greatest)) && fits_words(extreme(s.high, 0, greatest)) &&
                   fits_words(extreme(r.weight, r.addend, greatest) >> kLowBits);
        });
    });
}

#endif

#ifdef VELA_AVX2
#define VELA_INLINE [[gnu::always_inline]] VELA_WIDE inline

// Thirty-two pixels in two registers of sixteen words: pixels 0 to 7 and 16 to 23, and pixels 8 to 15 and 24 to 31. One
// register's words become the bytes of the other's neighbours when both are packed, in each 128-bit half:
//
//     low  0 1 2 3 4 5 6 7 | 16 ... 23      bytes  0 1 2 ... 15 | 16 17 18 ... 31
//     high 8 9 ...      15 | 24 ... 31
struct wide {
    static constexpr uint32_t kPixels = 32, kUnpackedPixels = 32;
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

    // The addend of the low parts is the same in each row of a map, like luma's weight in decoding: the compiler makes
    // their sum once.
    template <row r>
    VELA_INLINE static words apply(const block &b) {
        constexpr split_row s = split(r);
        words low = _mm256_maddubs_epi16(b.others, byte_pairs(s.low[1], s.low[2]));
        if constexpr (s.low[0])
            low = _mm256_add_epi16(low, _mm256_add_epi16(_mm256_maddubs_epi16(b.first, byte_pairs(s.low[0], 0)),
                                                         _mm256_set1_epi16(s.low_addend)));
        words sum = _mm256_maddubs_epi16(b.others, byte_pairs(s.high[1], s.high[2]));
        sum = _mm256_add_epi16(sum, _mm256_maddubs_epi16(b.first, byte_pairs(s.high[0], 0)));
        sum = _mm256_add_epi16(sum, _mm256_set1_epi16(s.high_addend + (1 << (kHighBits - 1))));
        sum = _mm256_add_epi16(sum, _mm256_srai_epi16(low, kLowBits));
        return _mm256_srai_epi16(sum, kHighBits);
    }

    VELA_INLINE static bytes byte_pairs(int32_t first, int32_t second) {
        return _mm256_set1_epi16(static_cast<int16_t>((second << 8) | (first & 255)));
    }

    template <row r>
    VELA_INLINE static bytes apply_to_both(const block &low, const block &high) {
        return _mm256_packus_epi16(apply<r>(low), apply<r>(high));
    }

    template <conversion map>
    VELA_INLINE static void convert(const uint8_t *from, uint8_t *to) {
        const block low = load(from), high = load(from + 24);
        store(to, apply_to_both<map[0]>(low, high), apply_to_both<map[1]>(low, high), apply_to_both<map[2]>(low, high));
    }

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

    VELA_INLINE static void unpack(const uint8_t *from, uint8_t *to) {
        const colours low = unpack_half(load_halves<32>(from)), high = unpack_half(load_halves<32>(from + 16));
        store(to, _mm256_packus_epi16(low.red, high.red), _mm256_packus_epi16(low.green, high.green),
              _mm256_packus_epi16(low.blue, high.blue));
    }
};
#endif

#ifdef VELA_NEON
#define VELA_INLINE [[gnu::always_inline]] VELA_WIDE inline

// Eight pixels, a register for each of their bytes.
struct wide {
    static constexpr uint32_t kPixels = 8, kUnpackedPixels = 16;
    using words = int16x8_t;
    using block = uint8x8x3_t;

    template <int32_t weight>
    VELA_INLINE static uint16x8_t accumulate(uint16x8_t sum, uint8x8_t bytes) {
        if constexpr (weight > 0)
            return vmlal_u8(sum, bytes, vdup_n_u8(weight));
        else if constexpr (weight < 0)
            return vmlsl_u8(sum, bytes, vdup_n_u8(-weight));
        else
            return sum;
    }

    // The sum begins with the addend or, where there is none, with a positive product.
    template <weights w, int32_t addend>
    VELA_INLINE static words weigh(const block &b) {
        constexpr size_t start = addend ? 3 : static_cast<size_t>(std::ranges::find_if(w, is_positive) - w.begin());
        uint16x8_t sum = vdupq_n_u16(static_cast<uint16_t>(addend));
        if constexpr (start < 3)
            sum = vmull_u8(b.val[start], vdup_n_u8(w[start]));
        sum = accumulate < start == 0 ? 0 : w[0] > (sum, b.val[0]);
        sum = accumulate < start == 1 ? 0 : w[1] > (sum, b.val[1]);
        sum = accumulate < start == 2 ? 0 : w[2] > (sum, b.val[2]);
        return vreinterpretq_s16_u16(sum);
    }

    static constexpr bool is_positive(int32_t weight) { return weight > 0; }

    template <row r>
    VELA_INLINE static uint8x8_t apply(const block &b) {
        constexpr split_row s = split(r);
        const words low = weigh<s.low, s.low_addend>(b), high = weigh<s.high, s.high_addend>(b);
        return vqrshrun_n_s16(vsraq_n_s16(high, low, kLowBits), kHighBits);
    }

    template <conversion map>
    VELA_INLINE static void convert(const uint8_t *from, uint8_t *to) {
        const block pixels = vld3_u8(from);
        vst3_u8(to, {{apply<map[0]>(pixels), apply<map[1]>(pixels), apply<map[2]>(pixels)}});
    }

    // Eight quads: the pixels of even and of odd places are made apart and then zipped. With chroma 8 times as large,
    // the doubling and rounding multiplication gives the red and the blue term.
    VELA_INLINE static void unpack(const uint8_t *from, uint8_t *to) {
        const uint8x8x4_t quads = vld4_u8(from);
        const words cb = centred(quads.val[0]), cr = centred(quads.val[2]);
        const words green = vcombine_s16(green_term(vget_low_s16(cb), vget_low_s16(cr)),
                                         green_term(vget_high_s16(cb), vget_high_s16(cr)));
        const uint8x8x2_t red = brightened(vqrdmulhq_n_s16(cr, kRedCr), quads), g = brightened(green, quads),
                          blue = brightened(vqrdmulhq_n_s16(cb, kBlueCb), quads);
        for (int half = 0; half < 2; ++half)
            vst3_u8(to + 24 * half, {{red.val[half], g.val[half], blue.val[half]}});
    }

    // 8 (chroma - 128)
    VELA_INLINE static words centred(uint8x8_t chroma) {
        return vshll_n_s8(vreinterpret_s8_u8(veor_u8(chroma, vdup_n_u8(kChromaOffset))), 3);
    }

    VELA_INLINE static int16x4_t green_term(int16x4_t cb, int16x4_t cr) {
        return vrshrn_n_s32(vmlal_n_s16(vmull_n_s16(cb, kGreenCb), cr, kGreenCr), 15);
    }

    VELA_INLINE static uint8x8x2_t brightened(words term, const uint8x8x4_t &quads) {
        return vzip_u8(vqmovun_s16(widened_sum(term, quads.val[1])), vqmovun_s16(widened_sum(term, quads.val[3])));
    }

    VELA_INLINE static words widened_sum(words term, uint8x8_t luma) {
        return vreinterpretq_s16_u16(vaddw_u8(vreinterpretq_u16_s16(term), luma));
    }
};
#endif

#ifdef VELA_WIDE
template <conversion map>
VELA_WIDE void convert_blocks(const uint8_t *src, uint8_t *dst, size_t count) {
    static_assert(fits_lanes(map));
    for (; count; --count, src += 3 * wide::kPixels, dst += 3 * wide::kPixels)
        wide::convert<map>(src, dst);
}

VELA_WIDE void unpack_blocks(const uint8_t *src, uint8_t *dst, size_t count) {
    for (; count; --count, src += 2 * wide::kUnpackedPixels, dst += 3 * wide::kUnpackedPixels)
        wide::unpack(src, dst);
}
#endif

template <conversion map>
void convert(const uint8_t *src, uint8_t *dst, uint32_t count) {
#ifdef VELA_WIDE
    if (count >= wide::kPixels && wide_unit()) {
        const size_t blocks = count / wide::kPixels, bytes = blocks * wide::kPixels * 3;
        convert_blocks<map>(src, dst, blocks);
        src += bytes, dst += bytes, count %= wide::kPixels;
    }
#endif
    convert_pixels<map>(src, dst, count);
}

void unpack_row(const uint8_t *src, uint8_t *dst, uint32_t count) {
#ifdef VELA_WIDE
    if (count >= wide::kUnpackedPixels && wide_unit()) {
        const size_t blocks = count / wide::kUnpackedPixels;
        unpack_blocks(src, dst, blocks);
        src += blocks * wide::kUnpackedPixels * 2, dst += blocks * wide::kUnpackedPixels * 3,
            count %= wide::kUnpackedPixels;
    }
#endif
    unpack_pixels(src, dst, count);
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
        unpack_row(src + y * stride, dst + y * width * 3, width);
}

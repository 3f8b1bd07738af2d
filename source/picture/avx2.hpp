// RGB and YCbCr of pictures from each other, 32 pixels a step, for AVX2: exactly what the scalar code gives.
#pragma once

#include "common/pixels_avx2.hpp"
#include "scalar.hpp"

namespace vela::detail {

// Luma is computed in words: neither the products of two bytes nor the sums may go beyond them, in either order of
// bytes.
static_assert(std::ranges::all_of(kVariants, [](const variant &v) {
    return std::ranges::all_of(std::array{false, true}, [&v](bool is_bgr) {
        const conversion map = encoder(v, is_bgr, false).map;
        const split_row s = split(map.row(0), 7);
        const int32_t addend = map.addend(0);
        return addend % (16 << 7) == 0 && addend / (16 << 7) < 128 && fits_words(s.low, {}, 0) &&
               fits_words(s.high, {}, addend >> 7) && fits_words({s.low[0], s.low[1], 0}, {}, 0);
    });
}));

// The term of a pixel's middle byte in words, by weights split into 2^n high + low as in "common/split.hpp". All of
// them are negative.
struct middle_split {
    // n, and the bits that the sum has to lose beyond them.
    static constexpr int low_bits(bool is_studio) { return is_studio ? 7 : 6; }
    static constexpr int shift(bool is_studio) { return is_studio ? 0 : 6; }

    int16_t half; // of the divisor
    int32_t low[2], high[2];

    constexpr explicit middle_split(const decoder &d)
        : half(static_cast<int16_t>(1 << (low_bits(d.is_studio) + shift(d.is_studio) - 1))), low{}, high{} {
        for (size_t i = 0; i < 2; ++i) {
            low[i] = -d.weights[1][i] & ((1 << low_bits(d.is_studio)) - 1);
            high[i] = -d.weights[1][i] >> low_bits(d.is_studio);
        }
    }
};
static_assert(std::ranges::all_of(kVariants, [](const variant &v) {
    const decoder d(v, false, false);
    const middle_split s(d);
    return d.weights[1][0] < 0 && d.weights[1][1] < 0 && 128 * (s.low[0] + s.low[1]) + s.half <= INT16_MAX &&
           128 * (s.high[0] + s.high[1] + 2) <= INT16_MAX;
}));

// 32 pixels of four bytes as they lie: 0 to 15 in the low halves, 16 to 31 in the high ones.
struct quads_avx2 {
    __m256i of[4];
};

struct picture_avx2 {
    static constexpr size_t kPixels = 32;
    using bytes = __m256i;
    using words = __m256i;

    VELA_SIMD_INLINE static pixels_avx2 load_pixels(std::integral_constant<size_t, 3>, const uint8_t *from) {
        return pixels_avx2::load(from);
    }
    VELA_SIMD_INLINE static quads_avx2 load_pixels(std::integral_constant<size_t, 4>, const uint8_t *from) {
        return {{pixels_avx2::load_halves<64>(from), pixels_avx2::load_halves<64>(from + 16),
                 pixels_avx2::load_halves<64>(from + 32), pixels_avx2::load_halves<64>(from + 48)}};
    }
    template <size_t size>
    VELA_SIMD_INLINE static auto load_pixels(const uint8_t *from) {
        return load_pixels(std::integral_constant<size_t, size>(), from);
    }

    VELA_SIMD_INLINE static pixels_avx2 components(const pixels_avx2 &p) { return p; }
    // Four pixels a half become four bytes of each component; then like is put to like.
    //
    //     rrrr gggg bbbb aaaa (0-3)   rrrr gggg .. (4-7)    to   rrrrrrrr gggggggg  ..
    VELA_SIMD_INLINE static pixels_avx2 components(const quads_avx2 &p) {
        const bytes order = pixels_avx2::both(_mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
        const bytes a = _mm256_shuffle_epi8(p.of[0], order), b = _mm256_shuffle_epi8(p.of[1], order),
                    c = _mm256_shuffle_epi8(p.of[2], order), d = _mm256_shuffle_epi8(p.of[3], order);
        const bytes low = _mm256_unpacklo_epi32(a, b), high = _mm256_unpacklo_epi32(c, d);
        return {_mm256_unpacklo_epi64(low, high), _mm256_unpackhi_epi64(low, high),
                _mm256_unpacklo_epi64(_mm256_unpackhi_epi32(a, b), _mm256_unpackhi_epi32(c, d))};
    }

    VELA_SIMD_INLINE static pixels_avx2 averaged(const pixels_avx2 &p, const pixels_avx2 &q) {
        return {_mm256_avg_epu8(p.a, q.a), _mm256_avg_epu8(p.b, q.b), _mm256_avg_epu8(p.c, q.c)};
    }
    VELA_SIMD_INLINE static quads_avx2 averaged(const quads_avx2 &p, const quads_avx2 &q) {
        return {{_mm256_avg_epu8(p.of[0], q.of[0]), _mm256_avg_epu8(p.of[1], q.of[1]),
                 _mm256_avg_epu8(p.of[2], q.of[2]), _mm256_avg_epu8(p.of[3], q.of[3])}};
    }

    template <size_t size>
    VELA_SIMD_INLINE static void store(const pixels_avx2 &p, uint8_t *to) {
        if constexpr (size == 3)
            return p.store(to);
        const bytes opaque = _mm256_set1_epi8(-1);
        const bytes low_front = _mm256_unpacklo_epi8(p.a, p.b), low_back = _mm256_unpacklo_epi8(p.c, opaque),
                    high_front = _mm256_unpackhi_epi8(p.a, p.b), high_back = _mm256_unpackhi_epi8(p.c, opaque);
        const bytes four[4] = {_mm256_unpacklo_epi16(low_front, low_back), _mm256_unpackhi_epi16(low_front, low_back),
                               _mm256_unpacklo_epi16(high_front, high_back),
                               _mm256_unpackhi_epi16(high_front, high_back)};
        auto *out = reinterpret_cast<bytes *>(to);
        _mm256_storeu_si256(out, _mm256_permute2x128_si256(four[0], four[1], 0x20));
        _mm256_storeu_si256(out + 1, _mm256_permute2x128_si256(four[2], four[3], 0x20));
        _mm256_storeu_si256(out + 2, _mm256_permute2x128_si256(four[0], four[1], 0x31));
        _mm256_storeu_si256(out + 3, _mm256_permute2x128_si256(four[2], four[3], 0x31));
    }

    VELA_SIMD_INLINE static const __m128i *at(const uint8_t *from) { return reinterpret_cast<const __m128i *>(from); }
    VELA_SIMD_INLINE static const bytes *wide_at(const uint8_t *from) { return reinterpret_cast<const bytes *>(from); }

    VELA_SIMD_INLINE static words word_pairs(int32_t first, int32_t second) {
        return _mm256_set1_epi32(static_cast<int32_t>(packed16(first, second)));
    }

    VELA_SIMD_INLINE static words byte_pairs(int32_t first, int32_t second) {
        return _mm256_set1_epi16(static_cast<int16_t>((second << 8) | (first & 255)));
    }

    // What chroma adds to the three bytes of sixteen pixels.
    struct terms {
        words of[3];
    };

    // The first and the third byte of a pixel have one chroma byte each, the lower or the upper one of a pair.
    template <bool is_studio>
    struct decoding {
        words luma_weight, sides, middle, lower_weight, upper_weight, bias, first, third;
        bytes middle_low, middle_high; // the middle weights without their sign, split
        words half;
        bool is_upper_first;

        VELA_SIMD_INLINE explicit decoding(const decoder &d)
            : luma_weight(_mm256_set1_epi16(static_cast<int16_t>(d.luma_weight))),
              middle(word_pairs(2 * d.weights[1][0], 2 * d.weights[1][1])), bias(_mm256_set1_epi16(d.bias)),
              is_upper_first(d.weights[0][1] != 0) {
            const int32_t lower = d.weights[0][0] + d.weights[2][0], upper = d.weights[0][1] + d.weights[2][1];
            sides = word_pairs(lower, upper);
            lower_weight = word_pairs(lower, lower);
            upper_weight = word_pairs(upper, upper);
            first = is_upper_first ? upper_words() : lower_words();
            third = is_upper_first ? lower_words() : upper_words();
            const middle_split m(d);
            middle_low = byte_pairs(m.low[0], m.low[1]);
            middle_high = byte_pairs(m.high[0], m.high[1]);
            half = _mm256_set1_epi16(m.half);
        }

        // Either word of each pair, twice.
        VELA_SIMD_INLINE static words lower_words() {
            return pixels_avx2::both(_mm_setr_epi8(0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8, 9, 12, 13, 12, 13));
        }
        VELA_SIMD_INLINE static words upper_words() {
            return pixels_avx2::both(_mm_setr_epi8(2, 3, 2, 3, 6, 7, 6, 7, 10, 11, 10, 11, 14, 15, 14, 15));
        }

        // Chroma less 128, as signed bytes; and 256 times as much, at the scale of the weights.
        VELA_SIMD_INLINE static bytes around_0(bytes chroma) {
            return _mm256_xor_si256(chroma, _mm256_set1_epi8(-128));
        }
        VELA_SIMD_INLINE static words scaled_chroma(words times_256) {
            return is_studio ? times_256 : _mm256_srai_epi16(times_256, decoder::kFullChromaShift);
        }
        // The term is the upper word.
        VELA_SIMD_INLINE words middle_term(words pairs) const {
            return _mm256_add_epi32(_mm256_madd_epi16(pairs, middle), _mm256_set1_epi32(1 << 15));
        }

        // Each of eight pairs for two pixels.
        VELA_SIMD_INLINE terms pair_terms(words times_256) const {
            const words pairs = scaled_chroma(times_256), side = _mm256_mulhrs_epi16(pairs, sides);
            return {{_mm256_shuffle_epi8(side, first), _mm256_shuffle_epi8(middle_term(pairs), upper_words()),
                     _mm256_shuffle_epi8(side, third)}};
        }

        // Sixteen chroma bytes of each kind, and both as signed pairs.
        VELA_SIMD_INLINE terms plane_terms(words lower_times_256, words upper_times_256, bytes pairs) const {
            const words lower_side = _mm256_mulhrs_epi16(scaled_chroma(lower_times_256), lower_weight),
                        upper_side = _mm256_mulhrs_epi16(scaled_chroma(upper_times_256), upper_weight);
            const words low = _mm256_sub_epi16(half, _mm256_maddubs_epi16(middle_low, pairs)),
                        sum = _mm256_sub_epi16(_mm256_srai_epi16(low, middle_split::low_bits(is_studio)),
                                               _mm256_maddubs_epi16(middle_high, pairs));
            return {{is_upper_first ? upper_side : lower_side, _mm256_srai_epi16(sum, middle_split::shift(is_studio)),
                     is_upper_first ? lower_side : upper_side}};
        }

        VELA_SIMD_INLINE static words lit(words luma, words term) {
            return is_studio ? _mm256_srai_epi16(_mm256_adds_epi16(luma, term), decoder::kStudioShift)
                             : _mm256_add_epi16(luma, term);
        }
        VELA_SIMD_INLINE words scaled(words luma_times_256) const {
            return is_studio ? _mm256_add_epi16(_mm256_mulhi_epu16(luma_times_256, luma_weight), bias)
                             : _mm256_srli_epi16(luma_times_256, 8);
        }
        // Words of pixels 0 to 7 and 16 to 23, and of 8 to 15 and 24 to 31, which packing puts in order.
        VELA_SIMD_INLINE pixels_avx2 joined(const uint8_t *luma_row, const terms &low, const terms &high) const {
            const bytes none = _mm256_setzero_si256(), y = _mm256_loadu_si256(wide_at(luma_row));
            const words l = scaled(_mm256_unpacklo_epi8(none, y)), h = scaled(_mm256_unpackhi_epi8(none, y));
            return {_mm256_packus_epi16(lit(l, low.of[0]), lit(h, high.of[0])),
                    _mm256_packus_epi16(lit(l, low.of[1]), lit(h, high.of[1])),
                    _mm256_packus_epi16(lit(l, low.of[2]), lit(h, high.of[2]))};
        }

        VELA_SIMD_INLINE pixels_avx2 of_pairs(const uint8_t *luma, bytes pairs) const {
            const bytes none = _mm256_setzero_si256(), p = around_0(pairs);
            return joined(luma, pair_terms(_mm256_unpacklo_epi8(none, p)), pair_terms(_mm256_unpackhi_epi8(none, p)));
        }
        VELA_SIMD_INLINE pixels_avx2 of_planes(const uint8_t *luma, bytes lower, bytes upper) const {
            const bytes none = _mm256_setzero_si256(), l = around_0(lower), u = around_0(upper);
            return joined(
                luma,
                plane_terms(_mm256_unpacklo_epi8(none, l), _mm256_unpacklo_epi8(none, u), _mm256_unpacklo_epi8(l, u)),
                plane_terms(_mm256_unpackhi_epi8(none, l), _mm256_unpackhi_epi8(none, u), _mm256_unpackhi_epi8(l, u)));
        }
    };

    // Whole blocks; the number of pixels that are done.
    template <bool is_studio, chroma_layout layout, size_t size>
    VELA_SIMD_INLINE static size_t decode_blocks(const decoder &d, const uint8_t *luma, const uint8_t *first,
                                                 const uint8_t *second, uint8_t *to, size_t count) {
        const decoding<is_studio> one(d);
        size_t x = 0;
        for (; x + kPixels <= count; x += kPixels)
            if constexpr (layout == chroma_layout::pairs)
                store<size>(one.of_pairs(luma + x, load(first + x)), to + size * x);
            else if constexpr (layout == chroma_layout::halves)
                store<size>(one.of_pairs(luma + x, joined(first + x / 2, second + x / 2)), to + size * x);
            else
                store<size>(one.of_planes(luma + x, load(first + x), load(second + x)), to + size * x);
        return x;
    }

    template <chroma_layout layout, size_t size>
    VELA_SIMD static void decode(const decoder *d, const uint8_t *luma, const uint8_t *first, const uint8_t *second,
                                 uint8_t *to, size_t count) {
        const size_t x = d->is_studio ? decode_blocks<true, layout, size>(*d, luma, first, second, to, count)
                                      : decode_blocks<false, layout, size>(*d, luma, first, second, to, count),
                     i = layout == chroma_layout::halves ? x / 2 : x;
        picture_scalar::decode<layout, size>(
            d, luma + x, first + i, layout == chroma_layout::pairs ? first : second + i, to + size * x, count - x);
    }

    struct encoding {
        words low_front, low_back, high_front, high_back; // of luma, for pairs of bytes
        words low_weights, high_weights, addend;          // of luma, for pixels of four bytes
        words front[2], back[2]; // of the chroma rows, their first two weights, and their third and half of the divisor
        static constexpr int kLowBits = 7, kAddendUnit = 16 << kLowBits;

        VELA_SIMD_INLINE encoding(const encoder &e, bool is_halved) {
            const split_row s = split(e.map.row(0), kLowBits);
            low_front = byte_pairs(s.low[0], s.low[1]);
            low_back = byte_pairs(s.low[2], 0);
            high_front = byte_pairs(s.high[0], s.high[1]);
            high_back = byte_pairs(s.high[2], e.map.addend(0) / kAddendUnit);
            low_weights = _mm256_unpacklo_epi16(low_front, byte_pairs(s.low[2], 0));
            high_weights = _mm256_unpacklo_epi16(high_front, byte_pairs(s.high[2], 0));
            addend = _mm256_set1_epi32(e.map.addend(0));
            for (size_t row = 0; row < 2; ++row) {
                const triple w = e.map.row(row + 1);
                front[row] = word_pairs(w[0], w[1]);
                back[row] = word_pairs(w[2], kHalf << is_halved);
            }
        }

        // Of sixteen pixels: the first and the second byte, the third and 16, by which the addend is multiplied.
        VELA_SIMD_INLINE words luma(bytes first, bytes others) const {
            const words low =
                _mm256_add_epi16(_mm256_maddubs_epi16(first, low_front), _mm256_maddubs_epi16(others, low_back));
            const words high =
                _mm256_add_epi16(_mm256_maddubs_epi16(first, high_front), _mm256_maddubs_epi16(others, high_back));
            return _mm256_srai_epi16(_mm256_add_epi16(high, _mm256_srai_epi16(low, kLowBits)), kWeightBits - kLowBits);
        }
        VELA_SIMD_INLINE void luma(const pixels_avx2 &p, uint8_t *to) const {
            const bytes sixteen = _mm256_set1_epi8(16);
            const words low = luma(_mm256_unpacklo_epi8(p.a, p.b), _mm256_unpacklo_epi8(p.c, sixteen)),
                        high = luma(_mm256_unpackhi_epi8(p.a, p.b), _mm256_unpackhi_epi8(p.c, sixteen));
            _mm256_storeu_si256(reinterpret_cast<bytes *>(to), _mm256_packus_epi16(low, high));
        }

        // Of pixels of four bytes as they lie: the sums of their first two and of their third, then those of both, of
        // the high and the low weights.
        VELA_SIMD_INLINE words luma(bytes pixels) const {
            return _mm256_srai_epi32(
                _mm256_add_epi32(_mm256_add_epi32(_mm256_madd_epi16(_mm256_maddubs_epi16(pixels, high_weights),
                                                                    _mm256_set1_epi16(1 << kLowBits)),
                                                  addend),
                                 _mm256_madd_epi16(_mm256_maddubs_epi16(pixels, low_weights), _mm256_set1_epi16(1))),
                kWeightBits);
        }
        VELA_SIMD_INLINE void luma(const quads_avx2 &p, uint8_t *to) const {
            store(_mm256_packus_epi16(_mm256_packs_epi32(luma(p.of[0]), luma(p.of[1])),
                                      _mm256_packs_epi32(luma(p.of[2]), luma(p.of[3]))),
                  to);
        }

        // Sixteen of each kind of chroma, from words of each byte of a pixel.
        template <bool is_halved>
        VELA_SIMD_INLINE bytes chroma(words a, words b, words c) const {
            const words one = _mm256_set1_epi16(1);
            const words front_low = _mm256_unpacklo_epi16(a, b), front_high = _mm256_unpackhi_epi16(a, b),
                        back_low = _mm256_unpacklo_epi16(c, one), back_high = _mm256_unpackhi_epi16(c, one);
            words rows[2];
            for (size_t row = 0; row < 2; ++row)
                rows[row] = _mm256_packs_epi32(sum<is_halved>(row, front_low, back_low),
                                               sum<is_halved>(row, front_high, back_high));
            // Limited as signed bytes, which stand for 128 more: eight of the first kind in each half, then the others.
            return _mm256_xor_si256(_mm256_packs_epi16(rows[0], rows[1]), _mm256_set1_epi8(INT8_MIN));
        }
        template <bool is_halved>
        VELA_SIMD_INLINE words sum(size_t row, words front_words, words back_words) const {
            return _mm256_srai_epi32(
                _mm256_add_epi32(_mm256_madd_epi16(front_words, front[row]), _mm256_madd_epi16(back_words, back[row])),
                kWeightBits + is_halved);
        }
    };

    template <chroma_layout layout, size_t size>
    VELA_SIMD static void encode_halved(const encoder *e, const uint8_t *upper, const uint8_t *lower,
                                        uint8_t *upper_luma, uint8_t *lower_luma, uint8_t *first, uint8_t *second,
                                        size_t count) {
        const encoding one(*e, true);
        const bytes ones = _mm256_set1_epi8(1),
                    order = pixels_avx2::both(_mm_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15));
        size_t x = 0;
        for (; x + kPixels <= count; x += kPixels) {
            auto joint = load_pixels<size>(upper + size * x);
            one.luma(joint, upper_luma + x);
            if (upper != lower) {
                const auto other = load_pixels<size>(lower + size * x);
                one.luma(other, lower_luma + x);
                joint = averaged(joint, other);
            }
            const pixels_avx2 p = components(joint);
            const bytes chroma = one.chroma<true>(_mm256_maddubs_epi16(p.a, ones), _mm256_maddubs_epi16(p.b, ones),
                                                  _mm256_maddubs_epi16(p.c, ones));
            if constexpr (layout == chroma_layout::pairs)
                store(_mm256_shuffle_epi8(chroma, order), first + x);
            else
                store_halves(_mm256_permute4x64_epi64(chroma, 0xD8), first + x / 2, second + x / 2);
        }
        const size_t i = layout == chroma_layout::pairs ? x : x / 2;
        picture_scalar::encode_halved<layout, size>(e, upper + size * x, lower + size * x, upper_luma + x,
                                                    lower_luma + x, first + i,
                                                    layout == chroma_layout::pairs ? second : second + i, count - x);
    }

    template <size_t size>
    VELA_SIMD static void encode_planes(const encoder *e, const uint8_t *from, uint8_t *luma, uint8_t *first,
                                        uint8_t *second, size_t count) {
        const encoding one(*e, false);
        const bytes none = _mm256_setzero_si256();
        size_t x = 0;
        for (; x + kPixels <= count; x += kPixels) {
            const auto pixels = load_pixels<size>(from + size * x);
            one.luma(pixels, luma + x);
            const pixels_avx2 p = components(pixels);
            const bytes low = one.chroma<false>(_mm256_unpacklo_epi8(p.a, none), _mm256_unpacklo_epi8(p.b, none),
                                                _mm256_unpacklo_epi8(p.c, none)),
                        high = one.chroma<false>(_mm256_unpackhi_epi8(p.a, none), _mm256_unpackhi_epi8(p.b, none),
                                                 _mm256_unpackhi_epi8(p.c, none));
            _mm256_storeu_si256(reinterpret_cast<bytes *>(first + x), _mm256_unpacklo_epi64(low, high));
            _mm256_storeu_si256(reinterpret_cast<bytes *>(second + x), _mm256_unpackhi_epi64(low, high));
        }
        picture_scalar::encode_planes<size>(e, from + size * x, luma + x, first + x, second + x, count - x);
    }

    template <size_t from_size, size_t to_size>
    VELA_SIMD static void rearrange(bool is_reversed, const uint8_t *from, uint8_t *to, size_t count) {
        size_t x = 0;
        for (; x + kPixels <= count; x += kPixels) {
            const pixels_avx2 p = components(load_pixels<from_size>(from + from_size * x));
            store<to_size>(is_reversed ? pixels_avx2{p.c, p.b, p.a} : p, to + to_size * x);
        }
        picture_scalar::rearrange<from_size, to_size>(is_reversed, from + from_size * x, to + to_size * x, count - x);
    }

    // The rest moves bytes, 32 or 64 a step.
    VELA_SIMD_INLINE static bytes load(const uint8_t *from) { return _mm256_loadu_si256(wide_at(from)); }
    VELA_SIMD_INLINE static void store(bytes value, uint8_t *to) {
        _mm256_storeu_si256(reinterpret_cast<bytes *>(to), value);
    }
    VELA_SIMD_INLINE static void store_halves(bytes value, uint8_t *low, uint8_t *high) {
        _mm_storeu_si128(reinterpret_cast<__m128i *>(low), _mm256_castsi256_si128(value));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(high), _mm256_extracti128_si256(value, 1));
    }
    VELA_SIMD_INLINE static bytes averaged(const uint8_t *upper, const uint8_t *lower) {
        return _mm256_avg_epu8(load(upper), load(lower));
    }
    // Sixteen bytes of each as pairs.
    VELA_SIMD_INLINE static bytes joined(const uint8_t *even, const uint8_t *odd) {
        const __m128i first = _mm_loadu_si128(at(even)), second = _mm_loadu_si128(at(odd));
        return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi8(first, second)),
                                       _mm_unpackhi_epi8(first, second), 1);
    }
    // Words that hold bytes, as bytes in order.
    VELA_SIMD_INLINE static bytes narrowed(words low, words high) {
        return _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), 0xD8);
    }
    VELA_SIMD_INLINE static words even_bytes(bytes pairs) { return _mm256_and_si256(pairs, _mm256_set1_epi16(255)); }
    VELA_SIMD_INLINE static words odd_bytes(bytes pairs) { return _mm256_srli_epi16(pairs, 8); }

    VELA_SIMD static void separate(const uint8_t *from, uint8_t *even, uint8_t *odd, size_t count) {
        size_t i = 0;
        for (; i + 32 <= count; i += 32) {
            const bytes low = load(from + 2 * i), high = load(from + 2 * i + 32);
            store(narrowed(even_bytes(low), even_bytes(high)), even + i);
            store(narrowed(odd_bytes(low), odd_bytes(high)), odd + i);
        }
        picture_scalar::separate(from + 2 * i, even + i, odd + i, count - i);
    }

    VELA_SIMD_INLINE static void store_pairs(bytes even, bytes odd, uint8_t *to) {
        const bytes low = _mm256_unpacklo_epi8(even, odd), high = _mm256_unpackhi_epi8(even, odd);
        store(_mm256_permute2x128_si256(low, high, 0x20), to);
        store(_mm256_permute2x128_si256(low, high, 0x31), to + 32);
    }

    VELA_SIMD static void interleave(const uint8_t *even, const uint8_t *odd, uint8_t *to, size_t count) {
        size_t i = 0;
        for (; i + 32 <= count; i += 32)
            store_pairs(load(even + i), load(odd + i), to + 2 * i);
        picture_scalar::interleave(even + i, odd + i, to + 2 * i, count - i);
    }

    VELA_SIMD static void swap(const uint8_t *from, uint8_t *to, size_t count) {
        size_t i = 0;
        for (; i + 16 <= count; i += 16) {
            const bytes pairs = load(from + 2 * i);
            store(_mm256_or_si256(_mm256_slli_epi16(pairs, 8), _mm256_srli_epi16(pairs, 8)), to + 2 * i);
        }
        picture_scalar::swap(from + 2 * i, to + 2 * i, count - i);
    }

    template <bool is_odd>
    VELA_SIMD_INLINE static bytes picked(bytes low, bytes high) {
        return is_odd ? narrowed(odd_bytes(low), odd_bytes(high)) : narrowed(even_bytes(low), even_bytes(high));
    }

    template <bool is_odd>
    VELA_SIMD static void pick(const uint8_t *from, uint8_t *to, size_t count) {
        size_t i = 0;
        for (; i + 32 <= count; i += 32)
            store(picked<is_odd>(load(from + 2 * i), load(from + 2 * i + 32)), to + i);
        picture_scalar::pick<is_odd>(from + 2 * i, to + i, count - i);
    }

    // 32 bytes of chroma of 64 of quads.
    template <bool is_odd>
    VELA_SIMD_INLINE static bytes picked_pairs(const uint8_t *upper, const uint8_t *lower) {
        return picked<is_odd>(averaged(upper, lower), averaged(upper + 32, lower + 32));
    }

    template <bool is_odd>
    VELA_SIMD static void pick_pairs(const uint8_t *upper, const uint8_t *lower, uint8_t *to, size_t count) {
        size_t i = 0;
        for (; i + 16 <= count; i += 16)
            store(picked_pairs<is_odd>(upper + 4 * i, lower + 4 * i), to + 2 * i);
        picture_scalar::pick_pairs<is_odd>(upper + 4 * i, lower + 4 * i, to + 2 * i, count - i);
    }

    template <bool is_odd>
    VELA_SIMD static void pick_halves(const uint8_t *upper, const uint8_t *lower, uint8_t *first, uint8_t *second,
                                      size_t count) {
        size_t i = 0;
        for (; i + 16 <= count; i += 16) {
            const bytes pairs = picked_pairs<is_odd>(upper + 4 * i, lower + 4 * i);
            store_halves(narrowed(even_bytes(pairs), odd_bytes(pairs)), first + i, second + i);
        }
        picture_scalar::pick_halves<is_odd>(upper + 4 * i, lower + 4 * i, first + i, second + i, count - i);
    }

    template <bool is_luma_first>
    VELA_SIMD static void join_halves(const uint8_t *luma, const uint8_t *first, const uint8_t *second, uint8_t *to,
                                      size_t count) {
        size_t i = 0;
        for (; i + 16 <= count; i += 16) {
            const bytes y = load(luma + 2 * i), pairs = joined(first + i, second + i);
            is_luma_first ? store_pairs(y, pairs, to + 4 * i) : store_pairs(pairs, y, to + 4 * i);
        }
        picture_scalar::join_halves<is_luma_first>(luma + 2 * i, first + i, second + i, to + 4 * i, count - i);
    }

    VELA_SIMD static void average_rows(const uint8_t *upper, const uint8_t *lower, uint8_t *to, size_t count) {
        size_t i = 0;
        for (; i + 32 <= count; i += 32)
            store(averaged(upper + i, lower + i), to + i);
        picture_scalar::average_rows(upper + i, lower + i, to + i, count - i);
    }

    VELA_SIMD_INLINE static words averaged_columns(bytes row) {
        return _mm256_avg_epu16(even_bytes(row), odd_bytes(row));
    }

    VELA_SIMD static void average_squares(const uint8_t *upper, const uint8_t *lower, uint8_t *to, size_t count) {
        size_t i = 0;
        for (; i + 32 <= count; i += 32)
            store(narrowed(averaged_columns(averaged(upper + 2 * i, lower + 2 * i)),
                           averaged_columns(averaged(upper + 2 * i + 32, lower + 2 * i + 32))),
                  to + i);
        picture_scalar::average_squares(upper + 2 * i, lower + 2 * i, to + i, count - i);
    }

    VELA_SIMD static void repeat_columns(const uint8_t *from, uint8_t *to, size_t count) {
        size_t i = 0;
        for (; i + 32 <= count; i += 32)
            store_pairs(load(from + i), load(from + i), to + 2 * i);
        picture_scalar::repeat_columns(from + i, to + 2 * i, count - i);
    }
};

} // namespace vela::detail

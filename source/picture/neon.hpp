// RGB and YCbCr of pictures from each other, 16 pixels a step, for NEON: exactly what the scalar code gives. The
// kernels that only move or average bytes are the scalar ones, which the compiler vectorises.
#pragma once

#include "scalar.hpp"
#include <arm_neon.h>

namespace vela::detail {

struct picture_neon : picture_scalar {
    static constexpr size_t kPixels = 16;
    using words = int16x8_t;

    template <size_t size>
    using constant = std::integral_constant<size_t, size>;

    // What chroma adds to the three bytes of eight pixels or pairs.
    struct terms {
        words of[3];
    };

    template <bool is_studio>
    struct decoding {
        int16x4_t weights; // of the first and the third byte, one chroma byte each; of the middle byte, both
        int16_t luma_weight;
        words bias;
        bool is_upper_first;

        VELA_SIMD_INLINE explicit decoding(const decoder &d)
            : luma_weight(static_cast<int16_t>(d.luma_weight)), bias(vdupq_n_s16(d.bias)),
              is_upper_first(d.weights[0][1] != 0) {
            const int16_t all[] = {static_cast<int16_t>(d.weights[0][0] + d.weights[0][1]),
                                   static_cast<int16_t>(d.weights[2][0] + d.weights[2][1]), d.weights[1][0],
                                   d.weights[1][1]};
            weights = vld1_s16(all);
        }

        // Less 128, at the scale of the weights.
        VELA_SIMD_INLINE static words chroma(uint8x8_t bytes) {
            const words around_0 = vreinterpretq_s16_u16(vsubl_u8(bytes, vdup_n_u8(128)));
            return is_studio ? vshlq_n_s16(around_0, 8) : vshlq_n_s16(around_0, 8 - decoder::kFullChromaShift);
        }
        VELA_SIMD_INLINE int16x4_t middle(int16x4_t lower, int16x4_t upper) const {
            return vrshrn_n_s32(vmlal_lane_s16(vmull_lane_s16(lower, weights, 2), upper, weights, 3), 15);
        }
        // The doubling, rounding multiplication gives the upper word of twice the product.
        VELA_SIMD_INLINE terms of(uint8x8_t lower_bytes, uint8x8_t upper_bytes) const {
            const words lower = chroma(lower_bytes), upper = chroma(upper_bytes);
            return {{vqrdmulhq_lane_s16(is_upper_first ? upper : lower, weights, 0),
                     vcombine_s16(middle(vget_low_s16(lower), vget_low_s16(upper)),
                                  middle(vget_high_s16(lower), vget_high_s16(upper))),
                     vqrdmulhq_lane_s16(is_upper_first ? lower : upper, weights, 1)}};
        }

        VELA_SIMD_INLINE words scaled(uint8x8_t luma) const {
            return is_studio ? vaddq_s16(vqdmulhq_n_s16(vreinterpretq_s16_u16(vshll_n_u8(luma, 7)), luma_weight), bias)
                             : vreinterpretq_s16_u16(vmovl_u8(luma));
        }
        VELA_SIMD_INLINE static uint8x8_t lit(words luma, words term) {
            return is_studio ? vqshrun_n_s16(vqaddq_s16(luma, term), decoder::kStudioShift)
                             : vqmovun_s16(vaddq_s16(luma, term));
        }

        // Even and odd pixels of pairs, put together.
        VELA_SIMD_INLINE static uint8x16_t joined(uint8x8_t even, uint8x8_t odd) {
            const uint8x8x2_t both = vzip_u8(even, odd);
            return vcombine_u8(both.val[0], both.val[1]);
        }
        VELA_SIMD_INLINE uint8x16x3_t of_pairs(const uint8_t *luma, uint8x8_t lower, uint8x8_t upper) const {
            const uint8x8x2_t y = vld2_u8(luma);
            const words even = scaled(y.val[0]), odd = scaled(y.val[1]);
            const terms t = of(lower, upper);
            return {{joined(lit(even, t.of[0]), lit(odd, t.of[0])), joined(lit(even, t.of[1]), lit(odd, t.of[1])),
                     joined(lit(even, t.of[2]), lit(odd, t.of[2]))}};
        }
        VELA_SIMD_INLINE uint8x16x3_t of_planes(const uint8_t *luma, uint8x16_t lower, uint8x16_t upper) const {
            const uint8x16_t y = vld1q_u8(luma);
            const words low = scaled(vget_low_u8(y)), high = scaled(vget_high_u8(y));
            const terms l = of(vget_low_u8(lower), vget_low_u8(upper)),
                        h = of(vget_high_u8(lower), vget_high_u8(upper));
            return {{vcombine_u8(lit(low, l.of[0]), lit(high, h.of[0])),
                     vcombine_u8(lit(low, l.of[1]), lit(high, h.of[1])),
                     vcombine_u8(lit(low, l.of[2]), lit(high, h.of[2]))}};
        }
    };

    VELA_SIMD_INLINE static uint8x16x3_t load(constant<3>, const uint8_t *from) { return vld3q_u8(from); }
    VELA_SIMD_INLINE static uint8x16x3_t load(constant<4>, const uint8_t *from) {
        const uint8x16x4_t p = vld4q_u8(from);
        return {{p.val[0], p.val[1], p.val[2]}};
    }
    VELA_SIMD_INLINE static void store(constant<3>, const uint8x16x3_t &p, uint8_t *to) { vst3q_u8(to, p); }
    VELA_SIMD_INLINE static void store(constant<4>, const uint8x16x3_t &p, uint8_t *to) {
        const uint8x16x4_t opaque = {{p.val[0], p.val[1], p.val[2], vdupq_n_u8(255)}};
        vst4q_u8(to, opaque);
    }

    // Whole blocks; the number of pixels that are done.
    template <bool is_studio, chroma_layout layout, size_t size>
    VELA_SIMD_INLINE static size_t decode_blocks(const decoder &d, const uint8_t *luma, const uint8_t *first,
                                                 const uint8_t *second, uint8_t *to, size_t count) {
        const decoding<is_studio> one(d);
        size_t x = 0;
        for (; x + kPixels <= count; x += kPixels)
            if constexpr (layout == chroma_layout::pairs) {
                const uint8x8x2_t pairs = vld2_u8(first + x);
                store(constant<size>(), one.of_pairs(luma + x, pairs.val[0], pairs.val[1]), to + size * x);
            } else if constexpr (layout == chroma_layout::halves)
                store(constant<size>(), one.of_pairs(luma + x, vld1_u8(first + x / 2), vld1_u8(second + x / 2)),
                      to + size * x);
            else
                store(constant<size>(), one.of_planes(luma + x, vld1q_u8(first + x), vld1q_u8(second + x)),
                      to + size * x);
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
        int16x4_t weights[3];
        int16x8_t offsets[3];

        VELA_SIMD_INLINE explicit encoding(const encoder &e) {
            for (size_t row = 0; row < 3; ++row) {
                const triple w = e.map.row(row);
                const int16_t all[] = {static_cast<int16_t>(w[0]), static_cast<int16_t>(w[1]),
                                       static_cast<int16_t>(w[2]), 0};
                weights[row] = vld1_s16(all);
                offsets[row] = vdupq_n_s16(static_cast<int16_t>(e.map.output_offset[row]));
            }
        }

        template <int shift>
        VELA_SIMD_INLINE static int16x4_t sum(int16x4_t a, int16x4_t b, int16x4_t c, int16x4_t w) {
            return vrshrn_n_s32(vmlal_lane_s16(vmlal_lane_s16(vmull_lane_s16(a, w, 0), b, w, 1), c, w, 2),
                                kWeightBits + shift);
        }
        // Of words that are sums of 2^shift bytes.
        template <int shift>
        VELA_SIMD_INLINE uint8x8_t byte(size_t row, const terms &p) const {
            const int16x8_t all = vcombine_s16(
                sum<shift>(vget_low_s16(p.of[0]), vget_low_s16(p.of[1]), vget_low_s16(p.of[2]), weights[row]),
                sum<shift>(vget_high_s16(p.of[0]), vget_high_s16(p.of[1]), vget_high_s16(p.of[2]), weights[row]));
            return vqmovun_s16(vaddq_s16(all, offsets[row]));
        }
        VELA_SIMD_INLINE uint8x16_t bytes(size_t row, const uint8x16x3_t &p) const {
            return vcombine_u8(
                byte<0>(row, {{wide(vget_low_u8(p.val[0])), wide(vget_low_u8(p.val[1])), wide(vget_low_u8(p.val[2]))}}),
                byte<0>(row,
                        {{wide(vget_high_u8(p.val[0])), wide(vget_high_u8(p.val[1])), wide(vget_high_u8(p.val[2]))}}));
        }
        VELA_SIMD_INLINE static words wide(uint8x8_t bytes) { return vreinterpretq_s16_u16(vmovl_u8(bytes)); }
    };

    template <chroma_layout layout, size_t size>
    VELA_SIMD static void encode_halved(const encoder *e, const uint8_t *upper, const uint8_t *lower,
                                        uint8_t *upper_luma, uint8_t *lower_luma, uint8_t *first, uint8_t *second,
                                        size_t count) {
        const encoding one(*e);
        size_t x = 0;
        for (; x + kPixels <= count; x += kPixels) {
            uint8x16x3_t p = load(constant<size>(), upper + size * x);
            vst1q_u8(upper_luma + x, one.bytes(0, p));
            if (upper != lower) {
                const uint8x16x3_t q = load(constant<size>(), lower + size * x);
                vst1q_u8(lower_luma + x, one.bytes(0, q));
                p = {{vrhaddq_u8(p.val[0], q.val[0]), vrhaddq_u8(p.val[1], q.val[1]), vrhaddq_u8(p.val[2], q.val[2])}};
            }
            const terms sums = {{vreinterpretq_s16_u16(vpaddlq_u8(p.val[0])),
                                 vreinterpretq_s16_u16(vpaddlq_u8(p.val[1])),
                                 vreinterpretq_s16_u16(vpaddlq_u8(p.val[2]))}};
            const uint8x8x2_t chroma = {{one.byte<1>(1, sums), one.byte<1>(2, sums)}};
            if constexpr (layout == chroma_layout::pairs)
                vst2_u8(first + x, chroma);
            else {
                vst1_u8(first + x / 2, chroma.val[0]);
                vst1_u8(second + x / 2, chroma.val[1]);
            }
        }
        const size_t i = layout == chroma_layout::pairs ? x : x / 2;
        picture_scalar::encode_halved<layout, size>(e, upper + size * x, lower + size * x, upper_luma + x,
                                                    lower_luma + x, first + i,
                                                    layout == chroma_layout::pairs ? second : second + i, count - x);
    }

    template <size_t size>
    VELA_SIMD static void encode_planes(const encoder *e, const uint8_t *from, uint8_t *luma, uint8_t *first,
                                        uint8_t *second, size_t count) {
        const encoding one(*e);
        size_t x = 0;
        for (; x + kPixels <= count; x += kPixels) {
            const uint8x16x3_t p = load(constant<size>(), from + size * x);
            vst1q_u8(luma + x, one.bytes(0, p));
            vst1q_u8(first + x, one.bytes(1, p));
            vst1q_u8(second + x, one.bytes(2, p));
        }
        picture_scalar::encode_planes<size>(e, from + size * x, luma + x, first + x, second + x, count - x);
    }

    template <size_t from_size, size_t to_size>
    VELA_SIMD static void rearrange(bool is_reversed, const uint8_t *from, uint8_t *to, size_t count) {
        size_t x = 0;
        for (; x + kPixels <= count; x += kPixels) {
            uint8x16x3_t p = load(constant<from_size>(), from + from_size * x);
            if (is_reversed)
                std::swap(p.val[0], p.val[2]);
            store(constant<to_size>(), p, to + to_size * x);
        }
        picture_scalar::rearrange<from_size, to_size>(is_reversed, from + from_size * x, to + to_size * x, count - x);
    }
};

} // namespace vela::detail

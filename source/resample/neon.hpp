// NEON: adds the products of 16, 8 or 4 taps to a vector of partial sums, and converts the partial sums of 4 outputs to
// their samples. On 32-bit ARM calls of 441 to 4096 samples from 44.1 to 8 kHz execute less than half of the scalar
// code's instructions, the comparison of the table included (see compare.hpp).
#pragma once

#include "common/simd.hpp"
#include "polyphase.hpp"
#include <arm_neon.h>

namespace vela::detail {

struct simd_ops {
    using sums = int32x4_t;

    VELA_SIMD [[gnu::always_inline]] static sums zero() { return vdupq_n_s32(0); }
    VELA_SIMD [[gnu::always_inline]] static sums add16(sums sum, const int16_t *a, const int16_t *b) {
        // Every second tap beside the others: one instruction loads all 16, and their order does not matter.
        const int16x8x2_t a16 = vld2q_s16(a), b16 = vld2q_s16(b);
        return add(add(sum, a16.val[0], b16.val[0]), a16.val[1], b16.val[1]);
    }
    VELA_SIMD [[gnu::always_inline]] static sums products8(const int16_t *a, const int16_t *b) {
        const int16x8_t a8 = vld1q_s16(a), b8 = vld1q_s16(b);
        return vmlal_s16(vmull_s16(vget_low_s16(a8), vget_low_s16(b8)), vget_high_s16(a8), vget_high_s16(b8));
    }
    VELA_SIMD [[gnu::always_inline]] static sums products4(const int16_t *a, const int16_t *b) {
        return vmull_s16(vld1_s16(a), vld1_s16(b));
    }
    VELA_SIMD [[gnu::always_inline]] static sums add4(sums sum, const int16_t *a, const int16_t *b) {
        return vmlal_s16(sum, vld1_s16(a), vld1_s16(b));
    }
    VELA_SIMD [[gnu::always_inline]] static sums add(sums sum, int16x8_t a, int16x8_t b) {
        const sums low = vmlal_s16(sum, vget_low_s16(a), vget_low_s16(b));
        return vmlal_s16(low, vget_high_s16(a), vget_high_s16(b));
    }
    VELA_SIMD [[gnu::always_inline]] static int32x2_t halves(sums sum) {
        return vadd_s32(vget_low_s32(sum), vget_high_s32(sum));
    }
    // Pairwise additions, a to d being the outputs:  a a a a   to   a a   to   a b   and   a b c d
    // Moves what is above the lowest bits of a sum to another, shifted.
    VELA_SIMD [[gnu::always_inline]] static void carry(sums &to, sums &from, int bits) {
        const sums above = from >> bits;
        to += above;
        from -= above << bits;
    }
    VELA_SIMD [[gnu::always_inline]] static int32x4_t totals(const sums *sum) {
        return vcombine_s32(vpadd_s32(halves(sum[0]), halves(sum[1])), vpadd_s32(halves(sum[2]), halves(sum[3])));
    }
    VELA_SIMD [[gnu::always_inline]] static void store(const sums (&sum)[kOutputs], int16_t *to) {
        vst1_s16(to, vqshrn_n_s32(totals(sum), kCoefficientBits));
    }
};

} // namespace vela::detail

// AVX2: adds the products of 16, 8 or 4 taps to a vector of partial sums, and converts the partial sums of 4 outputs to
// their samples. On x86-64 calls of 480 to 4096 samples are 8 times as fast as the scalar code from 48 to 8 kHz, and 4
// times from 44.1 to 48 kHz.
#pragma once

#include "common/intrinsics.hpp"
#include "common/simd.hpp"
#include "polyphase.hpp"

namespace vela::detail {

struct simd_ops {
    using sums = __m256i;

    VELA_SIMD [[gnu::always_inline]] static sums zero() { return _mm256_setzero_si256(); }
    VELA_SIMD [[gnu::always_inline]] static sums add16(sums sum, const int16_t *a, const int16_t *b) {
        return _mm256_add_epi32(sum, _mm256_madd_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(a)),
                                                       _mm256_loadu_si256(reinterpret_cast<const __m256i *>(b))));
    }
    VELA_SIMD [[gnu::always_inline]] static sums products8(const int16_t *a, const int16_t *b) {
        return _mm256_zextsi128_si256(_mm_madd_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(a)),
                                                     _mm_loadu_si128(reinterpret_cast<const __m128i *>(b))));
    }
    VELA_SIMD [[gnu::always_inline]] static sums products4(const int16_t *a, const int16_t *b) {
        return _mm256_zextsi128_si256(_mm_madd_epi16(_mm_loadu_si64(a), _mm_loadu_si64(b)));
    }
    VELA_SIMD [[gnu::always_inline]] static sums add4(sums sum, const int16_t *a, const int16_t *b) {
        return _mm256_add_epi32(sum, products4(a, b));
    }
    // Of each of two sums, both halves added:  a a a a | b b b b
    VELA_SIMD [[gnu::always_inline]] static sums pair(sums a, sums b) {
        return _mm256_add_epi32(_mm256_permute2x128_si256(a, b, 0x20), _mm256_permute2x128_si256(a, b, 0x31));
    }
    VELA_SIMD [[gnu::always_inline]] static sums totals_of_pairs(const sums *pairs) {
        const sums quarters = _mm256_hadd_epi32(_mm256_hadd_epi32(pairs[0], pairs[1]), // a c e g | b d f h
                                                _mm256_hadd_epi32(pairs[2], pairs[3]));
        return _mm256_permutevar8x32_epi32(quarters, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    }
    // Moves what is above the lowest bits of a sum to another, shifted.
    VELA_SIMD [[gnu::always_inline]] static void carry(sums &to, sums &from, int bits) {
        const __m128i by = _mm_cvtsi32_si128(bits);
        const sums above = _mm256_sra_epi32(from, by);
        to = _mm256_add_epi32(to, above);
        from = _mm256_sub_epi32(from, _mm256_sll_epi32(above, by));
    }
    VELA_SIMD [[gnu::always_inline]] static int32x4 totals(const sums *sum) {
        const sums quarters = _mm256_hadd_epi32(_mm256_hadd_epi32(sum[0], sum[1]), _mm256_hadd_epi32(sum[2], sum[3]));
        return int32x4(_mm_add_epi32(_mm256_castsi256_si128(quarters), _mm256_extracti128_si256(quarters, 1)));
    }
    VELA_SIMD [[gnu::always_inline]] static __m128i rounded(sums of) {
        const sums shifted =
            _mm256_srai_epi32(_mm256_add_epi32(of, _mm256_set1_epi32(1 << kCoefficientBits >> 1)), kCoefficientBits);
        return _mm_packs_epi32(_mm256_castsi256_si128(shifted), _mm256_extracti128_si256(shifted, 1));
    }
    VELA_SIMD [[gnu::always_inline]] static void store(const sums (&sum)[kOutputs], int16_t *to) {
        const __m128i shifted = _mm_srai_epi32(__m128i(totals(sum)), kCoefficientBits);
        _mm_storeu_si64(to, _mm_packs_epi32(shifted, shifted));
    }
};

} // namespace vela::detail

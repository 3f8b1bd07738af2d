// The inner loops of a polyphase filter: 16-bit coefficients with 14 fraction bits, sums of 32 bits that wrap around,
// outputs of 16 bits that saturate.
//
// The filter is laid out in the order in which consecutive outputs use it. Outputs begin at phase 0 and come back to it
// after a cycle; the k-th of the cycle multiplies row k with as many samples, oldest first, of a linear window:
//
//     starts   0       0       1       1       2 ...            where output k's samples begin, from where output 0's
//     do rows     c c c c c c c c c c c c c c c c c c c c ...      its coefficients, a multiple of 4, zeros in front
//
// Rows behind the end of the cycle repeat its beginning, so that a group of outputs never has to look for the end. The
// last group may hold more outputs than there is input for: the window needs slack behind the samples for those.
// Sums that wrap around are the same in any order: all paths give the same bits.
#pragma once

#include "detail/samples.hpp"
#include "detail/simd.hpp"
#include <algorithm>
#include <cstddef>
#include <cstdint>
#ifdef __ARM_FEATURE_SIMD32
#include <arm_acle.h>
#endif
#if defined VELA_AVX2
#include <immintrin.h>
#elif defined VELA_NEON
#include <arm_neon.h>
#endif

namespace vela::detail {

constexpr int kFractionBits = 14;
constexpr std::uint32_t kTapsMultiple = 4;
constexpr std::uint32_t kGroup = 4; // outputs that a vector unit computes side by side

struct polyphase {
    std::uint32_t taps = 0;       // coefficients in a row
    std::uint32_t cycle = 0;      // outputs until the first row comes again
    std::uint32_t cycle_span = 0; // input samples in that time
    std::int16_t *rows = nullptr;
    std::uint32_t *starts = nullptr;
};

// Where a sequence of outputs stands: the row of the next one, and the index in the window from which starts count.
struct row_position {
    std::uint32_t row;
    std::ptrdiff_t origin;

    void advance(const polyphase &filter, std::uint32_t outputs) {
        row += outputs;
        origin += static_cast<std::ptrdiff_t>(row / filter.cycle * filter.cycle_span);
        row %= filter.cycle;
    }
};

// A sum of products as the sample that it stands for.
[[gnu::always_inline]] inline std::int16_t sample_of(std::uint32_t sum, int fraction_bits = kFractionBits) {
    return static_cast<std::int16_t>(std::clamp(static_cast<std::int32_t>(sum) >> fraction_bits, -32768, 32767));
}

// Two products added to a sum; each operand points to two values side by side.
[[gnu::always_inline]] inline std::uint32_t add_two_products(std::uint32_t sum, const std::int16_t *a,
                                                             const std::int16_t *b) {
#ifdef __ARM_FEATURE_SIMD32
    std::int32_t a_pair, b_pair;
    std::memcpy(&a_pair, a, sizeof a_pair);
    std::memcpy(&b_pair, b, sizeof b_pair);
    return static_cast<std::uint32_t>(__smlad(a_pair, b_pair, static_cast<std::int32_t>(sum)));
#else
    return sum + static_cast<std::uint32_t>(a[0] * b[0]) + static_cast<std::uint32_t>(a[1] * b[1]);
#endif
}

[[gnu::always_inline]] inline std::uint32_t dot(const std::int16_t *row, const std::int16_t *samples,
                                                std::uint32_t taps) {
    std::uint32_t sum = 0;
    for (std::uint32_t i = 0; i < taps; i += 4) {
        sum = add_two_products(sum, row + i, samples + i);
        sum = add_two_products(sum, row + i + 2, samples + i + 2);
    }
    return sum;
}

// Outputs one by one, written by a codec: the meaning of the filter, and its path for machines without a vector unit.
template <class Codec>
void filter_each(const polyphase &filter, const std::int16_t *window, row_position &at, std::uint32_t count,
                 std::uint8_t *out) {
    while (count) {
        const std::uint32_t run = std::min(count, filter.cycle - at.row);
        const std::uint32_t taps = filter.taps, *start = filter.starts + at.row;
        const std::int16_t *row = filter.rows + std::size_t{at.row} * taps;
        for (std::uint32_t i = 0; i < run; ++i, row += taps, out += Codec::size)
            Codec::encode(sample_of(dot(row, window + (at.origin + *start++), taps)), out);
        at.advance(filter, run);
        count -= run;
    }
}

#ifdef VELA_WIDE
// A vector unit adds the products of 16, 8 or 4 taps to a vector of partial sums, and turns the partial sums of 4
// outputs into their samples.
#if defined VELA_AVX2
struct vector_unit {
    using sums = __m256i;

    VELA_WIDE [[gnu::always_inline]] static sums zero() { return _mm256_setzero_si256(); }
    VELA_WIDE [[gnu::always_inline]] static sums add16(sums sum, const std::int16_t *a, const std::int16_t *b) {
        return _mm256_add_epi32(sum, _mm256_madd_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(a)),
                                                       _mm256_loadu_si256(reinterpret_cast<const __m256i *>(b))));
    }
    VELA_WIDE [[gnu::always_inline]] static sums add8(sums sum, const std::int16_t *a, const std::int16_t *b) {
        const __m128i products = _mm_madd_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(a)),
                                                _mm_loadu_si128(reinterpret_cast<const __m128i *>(b)));
        return _mm256_add_epi32(sum, _mm256_zextsi128_si256(products));
    }
    VELA_WIDE [[gnu::always_inline]] static sums add4(sums sum, const std::int16_t *a, const std::int16_t *b) {
        const __m128i products = _mm_madd_epi16(_mm_loadu_si64(a), _mm_loadu_si64(b));
        return _mm256_add_epi32(sum, _mm256_zextsi128_si256(products));
    }
    // Pairwise additions, a to d being the outputs:  a a a a | a a a a   to   a b c d | a b c d   to   a b c d
    VELA_WIDE [[gnu::always_inline]] static void store(const sums (&sum)[kGroup], std::int16_t *to) {
        const sums quarters = _mm256_hadd_epi32(_mm256_hadd_epi32(sum[0], sum[1]), _mm256_hadd_epi32(sum[2], sum[3]));
        const __m128i all = _mm_add_epi32(_mm256_castsi256_si128(quarters), _mm256_extracti128_si256(quarters, 1));
        const __m128i shifted = _mm_srai_epi32(all, kFractionBits);
        _mm_storeu_si64(to, _mm_packs_epi32(shifted, shifted));
    }
};
#elif defined VELA_NEON
struct vector_unit {
    using sums = int32x4_t;

    VELA_WIDE [[gnu::always_inline]] static sums zero() { return vdupq_n_s32(0); }
    VELA_WIDE [[gnu::always_inline]] static sums add16(sums sum, const std::int16_t *a, const std::int16_t *b) {
        return add8(add8(sum, a, b), a + 8, b + 8);
    }
    VELA_WIDE [[gnu::always_inline]] static sums add8(sums sum, const std::int16_t *a, const std::int16_t *b) {
        const int16x8_t a8 = vld1q_s16(a), b8 = vld1q_s16(b);
        const sums low = vmlal_s16(sum, vget_low_s16(a8), vget_low_s16(b8));
        return vmlal_s16(low, vget_high_s16(a8), vget_high_s16(b8));
    }
    VELA_WIDE [[gnu::always_inline]] static sums add4(sums sum, const std::int16_t *a, const std::int16_t *b) {
        return vmlal_s16(sum, vld1_s16(a), vld1_s16(b));
    }
    VELA_WIDE [[gnu::always_inline]] static int32x2_t halves(sums sum) {
        return vadd_s32(vget_low_s32(sum), vget_high_s32(sum));
    }
    // Pairwise additions, a to d being the outputs:  a a a a   to   a a   to   a b   and   a b c d
    VELA_WIDE [[gnu::always_inline]] static void store(const sums (&sum)[kGroup], std::int16_t *to) {
        const int32x2_t first = vpadd_s32(halves(sum[0]), halves(sum[1]));
        const int32x2_t second = vpadd_s32(halves(sum[2]), halves(sum[3]));
        vst1_s16(to, vqshrn_n_s32(vcombine_s32(first, second), kFractionBits));
    }
};
#endif

// Outputs in groups. The filter has fixed_taps taps, or any number where that is 0.
template <std::uint32_t fixed_taps>
VELA_WIDE void filter_groups(const polyphase &filter, const std::int16_t *window, row_position at, std::uint32_t groups,
                             std::int16_t *out) {
    const auto [row_taps, cycle, cycle_span, all_rows, all_starts] = filter;
    const std::size_t taps = fixed_taps ? fixed_taps : row_taps;
    const std::int16_t *rows = all_rows + at.row * taps, *origin = window + at.origin;
    const std::uint32_t *starts = all_starts + at.row, *const end = all_starts + cycle;
    for (; groups; --groups, out += kGroup) {
        const std::int16_t *samples[kGroup];
        vector_unit::sums sums[kGroup];
        for (std::uint32_t i = 0; i < kGroup; ++i) {
            samples[i] = origin + starts[i];
            sums[i] = vector_unit::zero();
        }
        std::size_t tap = 0;
        for (; tap + 16 <= taps; tap += 16)
            for (std::uint32_t i = 0; i < kGroup; ++i)
                sums[i] = vector_unit::add16(sums[i], rows + i * taps + tap, samples[i] + tap);
        if (taps & 8) {
            for (std::uint32_t i = 0; i < kGroup; ++i)
                sums[i] = vector_unit::add8(sums[i], rows + i * taps + tap, samples[i] + tap);
            tap += 8;
        }
        if (taps & 4)
            for (std::uint32_t i = 0; i < kGroup; ++i)
                sums[i] = vector_unit::add4(sums[i], rows + i * taps + tap, samples[i] + tap);
        vector_unit::store(sums, out);

        starts += kGroup;
        rows += kGroup * taps;
        if (starts >= end) {
            starts -= cycle;
            rows -= cycle * taps;
            origin += cycle_span;
        }
    }
}
#endif

// The next outputs from a window, written by a codec.
template <class Codec>
void filter_window(const polyphase &filter, const std::int16_t *window, row_position &at, std::uint32_t count,
                   std::uint8_t *out) {
#ifdef VELA_WIDE
    if (wide_unit()) {
        const auto filter_all = filter.taps == 4 ? filter_groups<4> : filter_groups<0>;
        std::int16_t block[256];
        for (std::uint32_t piece; count; count -= piece, out += piece * Codec::size) {
            piece = std::min<std::uint32_t>(count, std::size(block));
            filter_all(filter, window, at, (piece + kGroup - 1) / kGroup, block);
            at.advance(filter, piece);
            encode_block<Codec>(block, piece, out);
        }
        return;
    }
#endif
    filter_each<Codec>(filter, window, at, count, out);
}

} // namespace vela::detail

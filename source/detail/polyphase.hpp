// The inner loops of a polyphase filter: 16-bit coefficients with 14 fraction bits, sums of 32 bits that wrap around,
// outputs of 16 bits that saturate.
//
// The filter is laid out in the order in which consecutive outputs use it. Outputs begin at phase 0 and come back to it
// after a cycle; the k-th of the cycle multiplies row k with as many samples, oldest first, of a linear window:
//
//     starts   0       0       1       1       2 ...            where output k's samples begin, from where output 0's
//     do rows     c c c c c c c c c c c c c c c c c c c c ...      its coefficients, a multiple of 4, zeros in front
//
// Rows behind the end of the cycle repeat its beginning, so that a group of outputs never has to look for the end.
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
constexpr std::uint32_t kGroup = 4;

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

    [[gnu::always_inline]] void advance(const polyphase &filter, std::uint32_t outputs) {
        row += outputs;
        if (row >= filter.cycle) {
            row -= filter.cycle;
            origin += static_cast<std::ptrdiff_t>(filter.cycle_span);
        }
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
// The vector units add the products of 4 or 8 taps to a vector of partial sums, and turn the partial sums of 4 outputs
// into their samples.
#if defined VELA_AVX2
struct vector_unit {
    using sums = __m128i;

    VELA_WIDE [[gnu::always_inline]] static sums zero() { return _mm_setzero_si128(); }
    VELA_WIDE [[gnu::always_inline]] static sums add4(sums sum, const std::int16_t *a, const std::int16_t *b) {
        return _mm_add_epi32(sum, _mm_madd_epi16(_mm_loadu_si64(a), _mm_loadu_si64(b)));
    }
    VELA_WIDE [[gnu::always_inline]] static sums add8(sums sum, const std::int16_t *a, const std::int16_t *b) {
        return _mm_add_epi32(sum, _mm_madd_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(a)),
                                                 _mm_loadu_si128(reinterpret_cast<const __m128i *>(b))));
    }
    VELA_WIDE [[gnu::always_inline]] static void store(const sums (&sum)[kGroup], std::uint8_t *to) {
        const sums all = _mm_hadd_epi32(_mm_hadd_epi32(sum[0], sum[1]), _mm_hadd_epi32(sum[2], sum[3]));
        const sums shifted = _mm_srai_epi32(all, kFractionBits);
        _mm_storeu_si64(to, _mm_packs_epi32(shifted, shifted));
    }
};
#elif defined VELA_NEON
struct vector_unit {
    using sums = int32x4_t;

    VELA_WIDE [[gnu::always_inline]] static sums zero() { return vdupq_n_s32(0); }
    VELA_WIDE [[gnu::always_inline]] static sums add4(sums sum, const std::int16_t *a, const std::int16_t *b) {
        return vmlal_s16(sum, vld1_s16(a), vld1_s16(b));
    }
    VELA_WIDE [[gnu::always_inline]] static sums add8(sums sum, const std::int16_t *a, const std::int16_t *b) {
        const int16x8_t a8 = vld1q_s16(a), b8 = vld1q_s16(b);
        return vmlal_s16(vmlal_s16(sum, vget_low_s16(a8), vget_low_s16(b8)), vget_high_s16(a8), vget_high_s16(b8));
    }
    VELA_WIDE [[gnu::always_inline]] static int32x2_t halves(sums sum) {
        return vadd_s32(vget_low_s32(sum), vget_high_s32(sum));
    }
    VELA_WIDE [[gnu::always_inline]] static void store(const sums (&sum)[kGroup], std::uint8_t *to) {
        const int32x2_t first = vpadd_s32(halves(sum[0]), halves(sum[1]));
        const int32x2_t second = vpadd_s32(halves(sum[2]), halves(sum[3]));
        const int16x4_t samples = vqshrn_n_s32(vcombine_s32(first, second), kFractionBits);
        vst1_u8(to, vreinterpret_u8_s16(samples));
    }
};
#endif

// Outputs in groups, written as native samples; returns how many, which leaves less than a group. With fixed_taps 0 the
// filter has any number of taps.
template <std::uint32_t fixed_taps>
VELA_WIDE std::uint32_t filter_groups(const polyphase &filter, const std::int16_t *window, row_position &at,
                                      std::uint32_t count, std::uint8_t *out) {
    const std::uint32_t taps = fixed_taps ? fixed_taps : filter.taps;
    std::uint32_t done = 0;
    for (; count - done >= kGroup; done += kGroup) {
        vector_unit::sums sums[kGroup];
        const std::int16_t *row = filter.rows + std::size_t{at.row} * taps;
        for (std::uint32_t i = 0; i < kGroup; ++i, row += taps) {
            const std::int16_t *samples = window + (at.origin + filter.starts[at.row + i]);
            sums[i] = vector_unit::zero();
            std::uint32_t tap = 0;
            for (; tap + 8 <= taps; tap += 8)
                sums[i] = vector_unit::add8(sums[i], row + tap, samples + tap);
            if (tap < taps)
                sums[i] = vector_unit::add4(sums[i], row + tap, samples + tap);
        }
        vector_unit::store(sums, out + done * native_codec::size);
        at.advance(filter, kGroup);
    }
    return done;
}
#endif

// Outputs from a window, written by a codec.
template <class Codec>
std::uint8_t *filter_window(const polyphase &filter, const std::int16_t *window, row_position &at, std::uint32_t count,
                            std::uint8_t *out) {
#ifdef VELA_WIDE
    if (wide_unit()) {
        const auto groups = filter.taps == 4 ? filter_groups<4> : filter_groups<0>;
        if constexpr (std::is_same_v<Codec, native_codec>) {
            const std::uint32_t done = groups(filter, window, at, count, out);
            out += done * Codec::size;
            count -= done;
        } else {
            std::int16_t block[256];
            while (count >= kGroup) {
                const std::uint32_t room = std::min<std::uint32_t>(count, std::size(block));
                const std::uint32_t done = groups(filter, window, at, room, reinterpret_cast<std::uint8_t *>(block));
                encode_block<Codec>(block, done, out);
                out += done * Codec::size;
                count -= done;
            }
        }
    }
#endif
    filter_each<Codec>(filter, window, at, count, out);
    return out + count * Codec::size;
}

} // namespace vela::detail

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

#include "codecs.hpp"
#include "common/unit.hpp"
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
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
constexpr std::size_t kRowAlignment = 8; // bytes
constexpr std::uint32_t kGroup = 4;      // outputs that a vector unit computes side by side

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
        for (; row >= filter.cycle; row -= filter.cycle) // without a division: it is a long function on 32-bit ARM
            origin += static_cast<std::ptrdiff_t>(filter.cycle_span);
    }
};

// A sum of products as the sample that it stands for.
[[gnu::always_inline]] inline int sample_of(std::uint32_t sum, int fraction_bits = kFractionBits) {
    const std::int32_t value = static_cast<std::int32_t>(sum) >> fraction_bits;
#ifdef __ARM_FEATURE_SAT
    return __ssat(value, 16);
#else
    return std::clamp(value, -32768, 32767);
#endif
}

// Four products added to a sum. The coefficients are aligned, the samples are not.
[[gnu::always_inline]] inline std::uint32_t add_products(std::uint32_t sum, const std::int16_t *row,
                                                         const std::int16_t *samples) {
#if defined __ARM_FEATURE_SIMD32 && defined __ARMEL__
    // Two 16-bit multiplications an instruction, and one load for all four coefficients.
    std::uint64_t coefficients;
    std::int32_t first, second;
    __asm__("ldrd %Q0, %R0, %1" : "=r"(coefficients) : "m"(*reinterpret_cast<const std::uint64_t *>(row)));
    std::memcpy(&first, samples, sizeof first);
    std::memcpy(&second, samples + 2, sizeof second);
    const std::int32_t half = __smlad(static_cast<std::int32_t>(coefficients), first, static_cast<std::int32_t>(sum));
    return static_cast<std::uint32_t>(__smlad(static_cast<std::int32_t>(coefficients >> 32), second, half));
#else
    for (int i = 0; i < 4; ++i)
        sum += static_cast<std::uint32_t>(row[i] * samples[i]);
    return sum;
#endif
}

// The same address, but for the compiler a new one: 32-bit ARM then keeps it in a register and steps it along, instead
// of computing one for each load.
[[gnu::always_inline]] inline const std::int16_t *one_address(const std::int16_t *address) {
#ifdef __arm__
    __asm__("" : "+r"(address));
#endif
    return address;
}

// The place of one output after the other in the rows; the filter has fixed_taps taps, or any number where that is 0.
template <std::uint32_t fixed_taps>
struct row_walk {
    std::size_t taps, cycle, cycle_span;
    const std::int16_t *row, *origin;
    const std::uint32_t *start, *end;

    [[gnu::always_inline]] row_walk(const polyphase &filter, const std::int16_t *window, const row_position &at)
        : taps(fixed_taps ? fixed_taps : filter.taps), cycle(filter.cycle), cycle_span(filter.cycle_span),
          row(filter.rows + at.row * taps), origin(window + at.origin), start(filter.starts + at.row),
          end(filter.starts + cycle) {}

    [[gnu::always_inline]] void advance(std::uint32_t outputs) {
        start += outputs;
        row += outputs * taps;
        if (start >= end) [[unlikely]] {
            start -= cycle;
            row -= cycle * taps;
            origin += cycle_span;
        }
    }
};

// Outputs one by one, written by a codec: the meaning of the filter, and its path for machines without a vector unit.
template <class Codec, std::uint32_t fixed_taps>
void filter_each(const polyphase &filter, const std::int16_t *window, row_position at, std::uint32_t count,
                 std::uint8_t *out) {
    std::uint32_t run;
    for (row_walk<fixed_taps> walk(filter, window, at); count; count -= run, walk.advance(run)) {
        run = std::min(count, static_cast<std::uint32_t>(walk.end - walk.start));
        const std::int16_t *row = walk.row;
        for (const std::uint32_t *start = walk.start, *const end = start + run; start != end; ++start) {
            const std::int16_t *samples = one_address(walk.origin + *start);
            std::uint32_t sum = 0;
            for (std::size_t tap = 0; tap < walk.taps; tap += 4)
                sum = add_products(sum, row + tap, samples + tap);
            Codec::encode(sample_of(sum), out);
            row += walk.taps;
            out += Codec::size;
        }
    }
}

#ifdef VELA_UNIT
// A vector unit adds the products of 16, 8 or 4 taps to a vector of partial sums, and turns the partial sums of 4
// outputs into their samples.
#if defined VELA_AVX2
struct vector_unit {
    using sums = __m256i;

    VELA_UNIT [[gnu::always_inline]] static sums zero() { return _mm256_setzero_si256(); }
    VELA_UNIT [[gnu::always_inline]] static sums add16(sums sum, const std::int16_t *a, const std::int16_t *b) {
        return _mm256_add_epi32(sum, _mm256_madd_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(a)),
                                                       _mm256_loadu_si256(reinterpret_cast<const __m256i *>(b))));
    }
    VELA_UNIT [[gnu::always_inline]] static sums products8(const std::int16_t *a, const std::int16_t *b) {
        return _mm256_zextsi128_si256(_mm_madd_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(a)),
                                                     _mm_loadu_si128(reinterpret_cast<const __m128i *>(b))));
    }
    VELA_UNIT [[gnu::always_inline]] static sums products4(const std::int16_t *a, const std::int16_t *b) {
        return _mm256_zextsi128_si256(_mm_madd_epi16(_mm_loadu_si64(a), _mm_loadu_si64(b)));
    }
    VELA_UNIT [[gnu::always_inline]] static sums add4(sums sum, const std::int16_t *a, const std::int16_t *b) {
        return _mm256_add_epi32(sum, products4(a, b));
    }
    // Pairwise additions, a to d being the outputs:  a a a a | a a a a   to   a b c d | a b c d   to   a b c d
    VELA_UNIT [[gnu::always_inline]] static void store(const sums (&sum)[kGroup], std::int16_t *to) {
        const sums quarters = _mm256_hadd_epi32(_mm256_hadd_epi32(sum[0], sum[1]), _mm256_hadd_epi32(sum[2], sum[3]));
        const __m128i all = _mm_add_epi32(_mm256_castsi256_si128(quarters), _mm256_extracti128_si256(quarters, 1));
        const __m128i shifted = _mm_srai_epi32(all, kFractionBits);
        _mm_storeu_si64(to, _mm_packs_epi32(shifted, shifted));
    }
};
#elif defined VELA_NEON
struct vector_unit {
    using sums = int32x4_t;

    VELA_UNIT [[gnu::always_inline]] static sums zero() { return vdupq_n_s32(0); }
    VELA_UNIT [[gnu::always_inline]] static sums add16(sums sum, const std::int16_t *a, const std::int16_t *b) {
        // Every second tap beside the others: one instruction loads all 16, and their order does not matter.
        const int16x8x2_t a16 = vld2q_s16(a), b16 = vld2q_s16(b);
        return add(add(sum, a16.val[0], b16.val[0]), a16.val[1], b16.val[1]);
    }
    VELA_UNIT [[gnu::always_inline]] static sums products8(const std::int16_t *a, const std::int16_t *b) {
        const int16x8_t a8 = vld1q_s16(a), b8 = vld1q_s16(b);
        return vmlal_s16(vmull_s16(vget_low_s16(a8), vget_low_s16(b8)), vget_high_s16(a8), vget_high_s16(b8));
    }
    VELA_UNIT [[gnu::always_inline]] static sums products4(const std::int16_t *a, const std::int16_t *b) {
        return vmull_s16(vld1_s16(a), vld1_s16(b));
    }
    VELA_UNIT [[gnu::always_inline]] static sums add4(sums sum, const std::int16_t *a, const std::int16_t *b) {
        return vmlal_s16(sum, vld1_s16(a), vld1_s16(b));
    }
    VELA_UNIT [[gnu::always_inline]] static sums add(sums sum, int16x8_t a, int16x8_t b) {
        const sums low = vmlal_s16(sum, vget_low_s16(a), vget_low_s16(b));
        return vmlal_s16(low, vget_high_s16(a), vget_high_s16(b));
    }
    VELA_UNIT [[gnu::always_inline]] static int32x2_t halves(sums sum) {
        return vadd_s32(vget_low_s32(sum), vget_high_s32(sum));
    }
    // Pairwise additions, a to d being the outputs:  a a a a   to   a a   to   a b   and   a b c d
    VELA_UNIT [[gnu::always_inline]] static void store(const sums (&sum)[kGroup], std::int16_t *to) {
        const int32x2_t first = vpadd_s32(halves(sum[0]), halves(sum[1]));
        const int32x2_t second = vpadd_s32(halves(sum[2]), halves(sum[3]));
        vst1_s16(to, vqshrn_n_s32(vcombine_s32(first, second), kFractionBits));
    }
};
#endif

// Outputs in groups, the last of them perhaps with more outputs than wanted.
template <std::uint32_t fixed_taps>
VELA_UNIT void filter_groups(const polyphase &filter, const std::int16_t *window, row_position at, std::uint32_t groups,
                             std::int16_t *out) {
    for (row_walk<fixed_taps> walk(filter, window, at); groups; --groups, out += kGroup, walk.advance(kGroup)) {
        vector_unit::sums sums[kGroup];
        const std::int16_t *row = walk.row;
        for (std::uint32_t i = 0; i < kGroup; ++i) {
            const std::int16_t *samples = walk.origin + walk.start[i];
            const std::size_t part = walk.taps % 16;
            if (part >= 8) {
                sums[i] = vector_unit::products8(row, samples);
                if (part > 8)
                    sums[i] = vector_unit::add4(sums[i], row + 8, samples + 8);
            } else {
                sums[i] = part ? vector_unit::products4(row, samples) : vector_unit::zero();
            }
            row = one_address(row + part);
            samples = one_address(samples + part);
            for (std::size_t left = walk.taps / 16; left; --left) {
                sums[i] = vector_unit::add16(sums[i], row, samples);
                row = one_address(row + 16);
                samples = one_address(samples + 16);
            }
        }
        vector_unit::store(sums, out);
    }
}

template <std::uint32_t... i>
constexpr auto filters_groups(std::integer_sequence<std::uint32_t, i...>) {
    return std::array{filter_groups<i * kTapsMultiple>...};
}
#endif

// The filter function among several for fixed numbers of taps, the first of them for any.
template <class Function, std::size_t count>
Function for_taps(const std::array<Function, count> &functions, std::uint32_t taps) {
    const std::size_t index = taps / kTapsMultiple;
    return functions[index < count ? index : 0];
}

// Filters of up to 32 taps are unrolled; those that write G.711, mostly at low rates, up to 8; other byte orders none.
template <std::uint32_t count>
using unrolled = std::make_integer_sequence<std::uint32_t, count>;
using unrolled_taps = unrolled<9>;
template <class Codec>
using unrolled_taps_for = unrolled<std::is_same_v<Codec, native_codec> ? 9
                                   : Codec::size == 1                  ? 3
                                                                       : 1>;

template <class Codec, std::uint32_t... i>
constexpr auto filters_each(std::integer_sequence<std::uint32_t, i...>) {
    return std::array{filter_each<Codec, i * kTapsMultiple>...};
}

// The next outputs from a window, written by a codec. With slack behind its samples, so that the last outputs need not
// be a whole group, the vector unit does them all.
template <class Codec>
void filter_window(const polyphase &filter, const std::int16_t *window, row_position &at, std::uint32_t count,
                   std::uint8_t *out, [[maybe_unused]] bool has_slack) {
#ifdef VELA_UNIT
    if (has_unit()) {
        static constexpr auto functions = filters_groups(unrolled_taps{});
        const auto filter_block = for_taps(functions, filter.taps);
        std::int16_t block[256];
        const std::uint32_t rest = has_slack ? 0 : count % kGroup;
        for (std::uint32_t piece; count > rest; count -= piece, out += piece * Codec::size) {
            piece = std::min<std::uint32_t>(count - rest, std::size(block));
            filter_block(filter, window, at, (piece + kGroup - 1) / kGroup, block);
            encode_block<Codec>(block, piece, out);
            at.advance(filter, piece);
        }
    }
#endif
    static constexpr auto functions = filters_each<Codec>(unrolled_taps_for<Codec>{});
    for_taps(functions, filter.taps)(filter, window, at, count, out);
    at.advance(filter, count);
}

} // namespace vela::detail

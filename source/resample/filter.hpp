// The inner loops of the conversion: 16-bit coefficients with 14 fraction bits, sums of 32 bits that wrap around,
// outputs of 16 bits that saturate. Sums that wrap around are the same in any order: all paths give the same bits.
#pragma once

#include "common/simd.hpp"
#include "polyphase.hpp"
#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#ifdef __ARM_FEATURE_SIMD32
#include <arm_acle.h>
#endif

namespace vela::detail {

// Two products added to a sum.
[[gnu::always_inline]] inline uint32_t add_pair(uint32_t sum, const int16_t *row, const int16_t *samples) {
#if defined __ARM_FEATURE_SIMD32 && defined __ARMEL__
    int32_t coefficients, pair;
    std::memcpy(&coefficients, row, sizeof coefficients);
    std::memcpy(&pair, samples, sizeof pair);
    return static_cast<uint32_t>(__smlad(coefficients, pair, static_cast<int32_t>(sum)));
#else
    return sum + static_cast<uint32_t>(row[0] * samples[0]) + static_cast<uint32_t>(row[1] * samples[1]);
#endif
}

// Four products added to a sum. The coefficients are aligned, the samples are not.
[[gnu::always_inline]] inline uint32_t add_products(uint32_t sum, const int16_t *row, const int16_t *samples) {
#if defined __ARM_FEATURE_SIMD32 && defined __ARMEL__
    // Two 16-bit multiplications an instruction, and one load for all four coefficients.
    uint64_t coefficients;
    int32_t first, second;
    __asm__("ldrd %Q0, %R0, %1" : "=r"(coefficients) : "m"(*reinterpret_cast<const uint64_t *>(row)));
    std::memcpy(&first, samples, sizeof first);
    std::memcpy(&second, samples + 2, sizeof second);
    const int32_t half = __smlad(static_cast<int32_t>(coefficients), first, static_cast<int32_t>(sum));
    return static_cast<uint32_t>(__smlad(static_cast<int32_t>(coefficients >> 32), second, half));
#else
    for (int i = 0; i < 4; ++i)
        sum += static_cast<uint32_t>(row[i] * samples[i]);
    return sum;
#endif
}

// Iterates over the rows of consecutive outputs; the filter has fixed_taps taps, or any number if that is 0.
template <uint32_t fixed_taps>
struct row_walk {
    size_t taps, cycle, cycle_span;
    const int16_t *row, *origin;
    const uint32_t *start, *end;

    [[gnu::always_inline]] row_walk(const polyphase &filter, const int16_t *window, const row_position &at)
        : taps(fixed_taps ? fixed_taps : filter.taps), cycle(filter.cycle), cycle_span(filter.cycle_span),
          row(filter.rows + at.row * taps), origin(window + at.origin), start(filter.starts + at.row),
          end(filter.starts + cycle) {}

    [[gnu::always_inline]] void advance(uint32_t outputs) {
        start += outputs;
        row += outputs * taps;
        if (start >= end) [[unlikely]] {
            start -= cycle;
            row -= cycle * taps;
            origin += cycle_span;
        }
    }

    [[gnu::always_inline]] row_position position(const polyphase &filter, const int16_t *window) const {
        return {static_cast<uint32_t>(start - filter.starts), origin - window};
    }
};

// Outputs one by one: defines the filter's results, and is the path for machines without SIMD.
template <uint32_t fixed_taps>
void filter_each(const polyphase &filter, const int16_t *window, row_position &at, uint32_t count, int16_t *out) {
    row_walk<fixed_taps> walk(filter, window, at);
    for (uint32_t run; count; count -= run, walk.advance(run)) {
        run = std::min(count, static_cast<uint32_t>(walk.end - walk.start));
        const int16_t *row = walk.row;
        for (const uint32_t *start = walk.start, *const end = start + run; start != end; ++start) {
            const int16_t *samples = one_address(walk.origin + *start);
            uint32_t sum = 0;
            for (size_t tap = 0; tap < walk.taps; tap += 4)
                sum = add_products(sum, row + tap, samples + tap);
            *out++ = sample_of(sum);
            row += walk.taps;
        }
    }
    at = walk.position(filter, window);
}

// Four sums, as a vector of GCC's.
using int32x4 [[gnu::vector_size(16)]] = int32_t;

} // namespace vela::detail

#if defined VELA_AVX2
#include "avx2.hpp"
#elif defined VELA_NEON
#include "neon.hpp"
#elif defined VELA_SIMD128
#include "simd128.hpp"
#endif

namespace vela::detail {

#ifdef VELA_SIMD
// Outputs in groups.
template <uint32_t fixed_taps>
VELA_SIMD void filter_groups(const polyphase &filter, const int16_t *window, row_position &at, uint32_t count,
                             int16_t *out) {
    row_walk<fixed_taps> walk(filter, window, at);
    for (; count; count -= kOutputs, out += kOutputs, walk.advance(kOutputs)) {
        simd_ops::sums sums[kOutputs];
        const int16_t *row = walk.row;
        for (uint32_t i = 0; i < kOutputs; ++i) {
            const int16_t *samples = walk.origin + walk.start[i];
            const size_t part = walk.taps % 16;
            if (part >= 8) {
                sums[i] = simd_ops::products8(row, samples);
                if (part > 8)
                    sums[i] = simd_ops::add4(sums[i], row + 8, samples + 8);
            } else {
                sums[i] = part ? simd_ops::products4(row, samples) : simd_ops::zero();
            }
            row = one_address(row + part);
            samples = one_address(samples + part);
            for (size_t left = walk.taps / 16; left; --left) {
                sums[i] = simd_ops::add16(sums[i], row, samples);
                row = one_address(row + 16);
                samples = one_address(samples + 16);
            }
        }
        simd_ops::store(sums, out);
    }
    at = walk.position(filter, window);
}
#endif

// Selects the functions for a filter's taps. Those for up to 32 taps are unrolled; but where SIMD code is always there
// the rest of a group isn't worth that.
inline void choose_functions(polyphase &filter, [[maybe_unused]] bool use_simd) {
    using all_taps = std::make_integer_sequence<uint32_t, 9>;
    [[maybe_unused]] const size_t index = filter.taps <= 32 ? filter.taps / kTapsMultiple : 0;
#ifdef VELA_SIMD128
    filter.each = filter_each<0>;
#else
    static constexpr auto each_of = []<uint32_t... i>(std::integer_sequence<uint32_t, i...>) {
        return std::array{filter_each<i * kTapsMultiple>...};
    }
    (all_taps());
    filter.each = each_of[index];
#endif
#ifdef VELA_SIMD
    static constexpr auto groups_of = []<uint32_t... i>(std::integer_sequence<uint32_t, i...>) {
        return std::array{filter_groups<i * kTapsMultiple>...};
    }
    (all_taps());
    filter.groups = use_simd ? groups_of[index] : nullptr;
#endif
}

} // namespace vela::detail

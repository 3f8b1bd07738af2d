// Filter banks: sums of products of rows and samples.
#include "bank.hpp"
#include "filter.hpp"

using namespace vela::detail;

namespace {

constexpr uint32_t kPlaces = 64; // at a time, a multiple of kOutputs

// What a sum of products is made of. An interpolated output has two.
struct place {
    const int16_t *row, *samples;
    uint32_t weight; // of the second
};

// A position in a window, or a step: samples, and 2^-32 phases.
struct place_in_window {
    uint32_t sample;
    uint64_t phase;

    place_in_window(uint64_t at, uint32_t phases)
        : sample(static_cast<uint32_t>(at >> 32) / phases), phase(at - (uint64_t{sample} * phases << 32)) {}

    bool is_between_phases() const { return static_cast<uint32_t>(phase) != 0; }

    void advance(const place_in_window &by, uint32_t phases) {
        phase += by.phase;
        sample += by.sample;
        if (phase >> 32 >= phases) {
            phase -= uint64_t{phases} << 32;
            ++sample;
        }
    }
};

// Where outputs go: as sums, or rounded.
struct output {
    int16_t *samples;
    int32_t *sums;
    size_t stride;

    output from(size_t at, size_t apart) const {
        return {sums ? samples : samples + at * stride, sums ? sums + at * stride : sums, apart * stride};
    }
    void put(int32_t sum) {
        if (sums) {
            *sums = sum;
            sums += stride;
        } else {
            *samples = sample_of(static_cast<uint32_t>(sum) + (1U << kCoefficientBits >> 1));
            samples += stride;
        }
    }
};

// Adds products to sums in four lanes: those of a tap k to that of k / 2 modulo 4.
void add_products(uint32_t (&sums)[4], const int16_t *row, const int16_t *samples, uint32_t taps) {
    auto [a, b, c, d] = sums;
    for (uint32_t left = taps / 8; left; --left, row += 8, samples += 8) {
        a = add_pair(a, row, samples);
        b = add_pair(b, row + 2, samples + 2);
        c = add_pair(c, row + 4, samples + 4);
        d = add_pair(d, row + 6, samples + 6);
    }
    sums[0] = a, sums[1] = b, sums[2] = c, sums[3] = d;
}

// The sum of a place: with kCoefficientBits bits of fraction, rounded down.
int32_t sum_of(const resample_bank &bank, const place &of) {
    uint32_t coarse[4] = {}, fine[4] = {};
    add_products(coarse, of.row, of.samples + (bank.taps - bank.coarse) / 2, bank.coarse);
    for (uint32_t k = 0; bank.fine_bits && k < bank.taps; k += kFineTaps) {
        add_products(fine, of.row + bank.coarse + k, of.samples + k, std::min(bank.taps - k, kFineTaps));
        for (uint32_t i = 0; i < 4; ++i) {
            coarse[i] += static_cast<uint32_t>(static_cast<int32_t>(fine[i]) >> bank.fine_bits);
            fine[i] &= (1U << bank.fine_bits) - 1;
        }
    }
    const uint32_t rest = (fine[0] + fine[1] + fine[2] + fine[3]) >> bank.fine_bits;
    return static_cast<int32_t>(coarse[0] + coarse[1] + coarse[2] + coarse[3] + rest);
}

void add_up(const resample_bank &bank, const place *places, uint32_t count, int32_t *sums) {
    for (; count; --count)
        *sums++ = sum_of(bank, *places++);
}

#ifdef VELA_SIMD
#ifdef VELA_AVX2
// As many steps of 16 taps of four places as there are, some at a time.
template <uint32_t steps>
VELA_SIMD_INLINE void add_steps(simd_ops::sums (&sums)[kOutputs], const int16_t *(&rows)[kOutputs],
                                const int16_t *(&samples)[kOutputs], uint32_t &taps) {
    for (; taps >= 16 * steps; taps -= 16 * steps) {
        for (uint32_t k = 0; k < 16 * steps; k += 16)
            for (uint32_t i = 0; i < kOutputs; ++i)
                sums[i] = simd_ops::add16(sums[i], rows[i] + k, samples[i] + k);
        for (uint32_t i = 0; i < kOutputs; ++i) {
            rows[i] += 16 * steps;
            samples[i] += 16 * steps;
        }
    }
}

// Adds products of four places.
VELA_SIMD_INLINE void add_products(simd_ops::sums (&sums)[kOutputs], const place *places, uint32_t row, uint32_t sample,
                                   uint32_t taps) {
    const int16_t *rows[kOutputs], *samples[kOutputs];
    for (uint32_t i = 0; i < kOutputs; ++i) {
        rows[i] = places[i].row + row;
        samples[i] = places[i].samples + sample;
    }
    add_steps<4>(sums, rows, samples, taps);
    add_steps<1>(sums, rows, samples, taps);
}
#else
// Adds products of four places.
VELA_SIMD_INLINE void add_products(simd_ops::sums (&sums)[kOutputs], const place *places, uint32_t row, uint32_t sample,
                                   uint32_t taps) {
    for (simd_ops::sums &sum : sums) {
        const int16_t *of_row = places->row + row, *samples = places->samples + sample;
        for (uint32_t left = taps / 16; left; --left) {
            sum = simd_ops::add16(sum, of_row, samples);
            of_row = one_address(of_row + 16);
            samples = one_address(samples + 16);
        }
        ++places;
    }
}
#endif

// The sums of groups of places.
VELA_SIMD void add_up_groups(const resample_bank &bank, const place *places, uint32_t count, int32_t *sums) {
    const auto fine_bits = static_cast<int32_t>(bank.fine_bits);
    for (uint32_t at = 0; at < count; at += kOutputs, places += kOutputs) {
        simd_ops::sums coarse[kOutputs] = {}, fine[kOutputs] = {};
        add_products(coarse, places, 0, (bank.taps - bank.coarse) / 2, bank.coarse);
        for (uint32_t k = 0; fine_bits && k < bank.taps; k += kFineTaps) {
            add_products(fine, places, bank.coarse + k, k, std::min(bank.taps - k, kFineTaps));
            for (uint32_t i = 0; i < kOutputs; ++i)
                simd_ops::carry(coarse[i], fine[i], fine_bits);
        }
        int32x4 group = simd_ops::totals(coarse);
        if (fine_bits)
            group += simd_ops::totals(fine) >> fine_bits;
        std::memcpy(sums + at, &group, sizeof group);
    }
}
#endif

#ifdef VELA_AVX2
constexpr uint32_t kOfRow = 8; // outputs of a row that are computed side by side

// Adds products of a row and samples that are some apart.
VELA_SIMD_INLINE void add_products(simd_ops::sums (&sums)[kOfRow], const int16_t *row, const int16_t *samples,
                                   size_t apart, uint32_t taps) {
    const int16_t *from[] = {samples, samples + 3 * apart, samples + 6 * apart}, *const end = row + taps;
    do {
#pragma GCC unroll 8
        for (uint32_t i = 0; i < kOfRow; ++i)
            sums[i] = simd_ops::add16(sums[i], row, from[i / 3] + i % 3 * apart);
        row += 16;
        for (const int16_t *&each : from)
            each += 16;
    } while (row != end);
}

// Makes outputs of a row of up to kFineTaps taps, at least kOfRow.
VELA_SIMD void run_row(const resample_bank &bank, const int16_t *row, const int16_t *window, size_t apart,
                       const output &to, uint32_t count) {
    const auto fine_bits = static_cast<int32_t>(bank.fine_bits);
    for (uint32_t next = 0; next < count; next += kOfRow) {
        const size_t at = std::min(next, count - kOfRow); // the last group may begin within the one before it
        const int16_t *samples = window + at * apart;
        simd_ops::sums pairs[kOfRow / 2] = {}, rest = simd_ops::zero();
        if (fine_bits) {
            simd_ops::sums fine[kOfRow] = {}, below[kOfRow / 2];
            add_products(fine, row + bank.coarse, samples, apart, bank.taps);
#pragma GCC unroll 4
            for (uint32_t i = 0; i < kOfRow / 2; ++i) {
                below[i] = simd_ops::pair(fine[2 * i], fine[2 * i + 1]);
                simd_ops::carry(pairs[i], below[i], fine_bits);
            }
            rest = _mm256_srl_epi32(simd_ops::totals_of_pairs(below), _mm_cvtsi32_si128(fine_bits));
        }
        simd_ops::sums coarse[kOfRow] = {};
        add_products(coarse, row, samples + (bank.taps - bank.coarse) / 2, apart, bank.coarse);
#pragma GCC unroll 4
        for (uint32_t i = 0; i < kOfRow / 2; ++i)
            pairs[i] = _mm256_add_epi32(pairs[i], simd_ops::pair(coarse[2 * i], coarse[2 * i + 1]));
        const simd_ops::sums sums = _mm256_add_epi32(simd_ops::totals_of_pairs(pairs), rest);
        const output group = to.from(at, 1);
        if (group.sums) {
            int32_t all[kOfRow];
            std::memcpy(all, &sums, sizeof all);
            for (uint32_t i = 0; i < kOfRow; ++i)
                group.sums[i * group.stride] = all[i];
        } else {
            int16_t all[kOfRow];
            const __m128i rounded = simd_ops::rounded(sums);
            std::memcpy(all, &rounded, sizeof all);
            for (uint32_t i = 0; i < kOfRow; ++i)
                group.samples[i * group.stride] = all[i];
        }
    }
}
#endif

// Makes outputs a step apart.
void run(const resample_bank &bank, const int16_t *window, place_in_window next, const place_in_window &step, output to,
         uint32_t count) {
    const bool interpolates = next.is_between_phases() || step.is_between_phases();
    const uint32_t size = row_size(bank);
    place places[kPlaces];
    int32_t sums[kPlaces];
    while (count) {
        place *end = places;
        do {
            const int16_t *row = bank.rows + static_cast<uint32_t>(next.phase >> 32) * size;
            const int16_t *samples = window + next.sample;
            *end++ = {row, samples, static_cast<uint32_t>(next.phase) >> 8};
            if (interpolates)
                *end++ = {row + size, samples, 0};
            next.advance(step, bank.phases);
        } while (--count && end != places + kPlaces);
        const auto used = static_cast<uint32_t>(end - places);
#ifdef VELA_SIMD
        if (has_simd()) {
            std::fill(end, places + (used + kOutputs - 1) / kOutputs * kOutputs, end[-1]);
            add_up_groups(bank, places, used, sums);
        } else
#endif
            add_up(bank, places, used, sums);
        for (uint32_t i = 0; i < used; ++i) {
            int32_t sum = sums[i];
            if (interpolates) {
                const uint32_t weight = places[i].weight;
                sum += static_cast<int32_t>((int64_t{sums[++i]} - sum) * weight >> 24);
            }
            to.put(sum);
        }
    }
}

// Outputs that are samples.
void copy(const int16_t *sample, size_t apart, const output &to, uint32_t count) {
    for (size_t at = 0; at < count * to.stride; at += to.stride, sample += apart)
        if (to.sums)
            to.sums[at] = *sample * (1 << kCoefficientBits);
        else
            to.samples[at] = *sample;
}

} // namespace

// NOLINTBEGIN(readability-non-const-parameter): written to by way of an output
void resample_bank_run(const resample_bank *bank, const int16_t *window, uint64_t *position, uint64_t step,
                       int16_t *out, int32_t *sums, uint32_t count, uint32_t stride) {
    // NOLINTEND(readability-non-const-parameter)
    // Where each row has several outputs, one row after the other: their samples are a whole number apart.
#ifdef VELA_AVX2
    constexpr uint32_t several = 12; // at most one and a half groups of kOfRow are computed for them
#else
    constexpr uint32_t several = 32;
#endif
    place_in_window next(*position, bank->phases);
    const bool by_rows =
        !next.is_between_phases() && step == bank->step && bank->cycle && count / several >= bank->cycle;
    const uint32_t rows = by_rows ? bank->cycle : 1;
    const place_in_window by(step, bank->phases), of_row(step * rows, bank->phases);
    *position += count * step;
    for (uint32_t i = 0; i < rows; ++i, next.advance(by, bank->phases)) {
        const output to = output{out, sums, stride}.from(i, rows);
        const uint32_t outputs = (count - i + rows - 1) / rows;
        if (by_rows && bank->copies && next.phase == 0)
            copy(window + next.sample + bank->taps / 2 - 1, of_row.sample, to, outputs);
#ifdef VELA_AVX2
        else if (by_rows && bank->taps <= kFineTaps && has_simd())
            run_row(*bank, bank->rows + (next.phase >> 32) * row_size(*bank), window + next.sample, of_row.sample, to,
                    outputs);
#endif
        else
            run(*bank, window, next, of_row, to, outputs);
    }
}

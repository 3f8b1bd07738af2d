// Filter banks: sums of products of rows and samples.
#include "bank.hpp"
#include "filter.hpp"

using namespace vela::detail;

namespace {

constexpr uint32_t kPlaces = 64; // at a time, a multiple of kOutputs

// What a sum of products is made of. An interpolated output has two.
struct place {
    const int16_t *row, *samples;
};

// A position in a window, or a step: samples, phases and 2^-32 phases.
struct place_in_window {
    uint32_t sample, phase, fraction;

    place_in_window(uint64_t at, uint32_t phases)
        : sample(static_cast<uint32_t>(at >> 32) / phases), phase(static_cast<uint32_t>(at >> 32) % phases),
          fraction(static_cast<uint32_t>(at)) {}

    void advance(const place_in_window &by, uint32_t phases) {
        fraction += by.fraction;
        phase += by.phase + (fraction < by.fraction);
        const bool carries = phase >= phases;
        phase -= carries ? phases : 0;
        sample += by.sample + carries;
    }
};

// The positions of outputs, a step apart.
class sequence {
public:
    const bool interpolates;

    sequence(const resample_bank &bank, const int16_t *window, const place_in_window &first, uint64_t step)
        : interpolates((first.fraction | static_cast<uint32_t>(step)) != 0), bank_(bank), window_(window), next_(first),
          step_(step, bank.phases), of_group_(step * kOutputs, bank.phases),
          shares_row(!interpolates && step_.phase == 0) {
        for (uint32_t i = 0; i < kOutputs && !interpolates; ++i, next_.advance(step_, bank.phases)) {
            phases_[i] = next_.phase;
            samples_[i] = next_.sample;
        }
    }

    // Writes the places of the next outputs, in groups, two for each interpolated one; and the weights of their second
    // rows.
    void next(uint32_t count, place *places, uint32_t *weights) {
        const uint32_t row = row_size(bank_);
        if (interpolates) {
            for (; count; --count, next_.advance(step_, bank_.phases)) {
                *weights++ = next_.fraction >> 8;
                *places++ = {bank_.rows + size_t{next_.phase} * row, window_ + next_.sample};
                *places = {places[-1].row + row, places[-1].samples};
                ++places;
            }
            return;
        }
        for (uint32_t at = 0; at < count; at += kOutputs) {
            // Side by side, so that none waits for another.
            const uint32x4 rows = phases_ * row;
            for (uint32_t i = 0; i < kOutputs; ++i)
                *places++ = {bank_.rows + rows[i], window_ + samples_[i]};
            phases_ += of_group_.phase;
            const auto carries = uint32x4(phases_ >= bank_.phases); // all bits
            phases_ -= carries & bank_.phases;
            samples_ += of_group_.sample - carries;
        }
    }

    // The index of the first sample of the next output, and their distance, if they share a row.
    uint32_t sample() const { return samples_[0]; }
    uint32_t apart() const { return step_.sample; }

private:
    using uint32x4 [[gnu::vector_size(16)]] = uint32_t;

    const resample_bank &bank_;
    const int16_t *const window_;
    place_in_window next_; // of interpolated outputs
    const place_in_window step_, of_group_;

public:
    const bool shares_row;

private:
    uint32x4 phases_ = {}, samples_ = {}; // of others
};

// Where outputs go: as sums, or rounded.
struct output {
    int16_t *samples;
    int32_t *sums;
    size_t stride;

    void advance(uint32_t outputs) {
        if (sums)
            sums += outputs * stride;
        else
            samples += outputs * stride;
    }
    void put(int32_t sum) {
        if (sums)
            *sums = sum;
        else
            *samples = sample_of(static_cast<uint32_t>(sum) + (1U << kCoefficientBits >> 1));
        advance(1);
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
constexpr bool kSharesRows = true;

// As many steps of 16 taps of four places as there are, some at a time.
template <bool shares_row, uint32_t steps>
VELA_SIMD_INLINE void add_steps(simd_ops::sums (&sums)[kOutputs], const int16_t *(&rows)[kOutputs],
                                const int16_t *(&samples)[kOutputs], uint32_t &taps) {
    for (; taps >= 16 * steps; taps -= 16 * steps) {
        for (uint32_t k = 0; k < 16 * steps; k += 16)
            for (uint32_t i = 0; i < kOutputs; ++i)
                sums[i] = simd_ops::add16(sums[i], rows[shares_row ? 0 : i] + k, samples[i] + k);
        for (uint32_t i = 0; i < kOutputs; ++i) {
            rows[i] += 16 * steps;
            samples[i] += 16 * steps;
        }
    }
}

// Adds products of four places, of the same row if they share it.
template <bool shares_row>
VELA_SIMD_INLINE void add_products(simd_ops::sums (&sums)[kOutputs], const place *places, uint32_t row, uint32_t sample,
                                   uint32_t taps) {
    const int16_t *rows[kOutputs], *samples[kOutputs];
    for (uint32_t i = 0; i < kOutputs; ++i) {
        rows[i] = places[shares_row ? 0 : i].row + row;
        samples[i] = places[i].samples + sample;
    }
    add_steps<shares_row, 4>(sums, rows, samples, taps);
    add_steps<shares_row, 1>(sums, rows, samples, taps);
}
#else
constexpr bool kSharesRows = false; // for the size of the code

// Adds products of four places.
template <bool>
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
template <bool shares_row>
VELA_SIMD void add_up_groups(const resample_bank &bank, const place *places, uint32_t count, int32_t *sums) {
    const auto fine_bits = static_cast<int32_t>(bank.fine_bits);
    for (uint32_t at = 0; at < count; at += kOutputs, places += kOutputs) {
        simd_ops::sums coarse[kOutputs] = {}, fine[kOutputs] = {};
        add_products<shares_row>(coarse, places, 0, (bank.taps - bank.coarse) / 2, bank.coarse);
        for (uint32_t k = 0; fine_bits && k < bank.taps; k += kFineTaps) {
            add_products<shares_row>(fine, places, bank.coarse + k, k, std::min(bank.taps - k, kFineTaps));
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

void run(const resample_bank &bank, sequence of, output to, uint32_t count) {
    place places[kPlaces];
    uint32_t weights[kPlaces];
    int32_t sums[kPlaces];
    for (uint32_t some; count; count -= some) {
        some = std::min(count, kPlaces >> of.interpolates);
        of.next(some, places, weights);
        const uint32_t used = some << of.interpolates;
#ifdef VELA_SIMD
        if (has_simd()) {
            std::fill(places + used, places + (used + kOutputs - 1) / kOutputs * kOutputs, places[used - 1]);
            (kSharesRows && of.shares_row ? add_up_groups<kSharesRows> : add_up_groups<false>)(bank, places, used,
                                                                                               sums);
        } else
#endif
            add_up(bank, places, used, sums);
        if (of.interpolates)
            for (uint32_t i = 0; i < some; ++i) {
                const int64_t difference = int64_t{sums[2 * i + 1]} - sums[2 * i];
                sums[i] = sums[2 * i] + static_cast<int32_t>(difference * weights[i] >> 24);
            }
        for (uint32_t i = 0; i < some; ++i)
            to.put(sums[i]);
    }
}

// Outputs that are samples.
void copy(const int16_t *sample, size_t apart, output to, uint32_t count) {
    for (; count; --count, sample += apart)
        to.put(*sample * (1 << kCoefficientBits));
}

} // namespace

// NOLINTBEGIN(readability-non-const-parameter): written to by way of an output
void resample_bank_run(const resample_bank *bank, const int16_t *window, uint64_t *position, uint64_t step,
                       int16_t *out, int32_t *sums, uint32_t count, uint32_t stride) {
    // NOLINTEND(readability-non-const-parameter)
    // Where each row has many outputs, one row after the other: their samples are a whole number apart.
    constexpr uint32_t many = 32;
    const bool shares_rows = step == bank->step && bank->cycle && count / many >= bank->cycle;
    const uint32_t sequences = shares_rows ? bank->cycle : 1;
    place_in_window first(*position, bank->phases);
    const place_in_window by(step, bank->phases);
    *position += count * step;
    for (uint32_t i = 0; i < sequences; ++i, first.advance(by, bank->phases)) {
        const sequence of(*bank, window, first, step * sequences);
        output to = {out, sums, stride};
        to.advance(i);
        to.stride *= sequences;
        const uint32_t some = (count - i + sequences - 1) / sequences;
        if (bank->copies && of.shares_row && first.phase == 0)
            copy(window + of.sample() + bank->taps / 2 - 1, of.apart(), to, some);
        else
            run(*bank, of, to, some);
    }
}

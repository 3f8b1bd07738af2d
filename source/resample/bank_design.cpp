// The design of filter banks. It uses + - * / on doubles alone, so that all machines make the same coefficients.
#include "bank.hpp"
#include "common/memory.hpp"
#include "common/simd.hpp"
#include "polyphase.hpp"
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

using namespace vela::detail;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kOneIsUlp = 0x1.8p52; // added and subtracted, it rounds to integers
constexpr uint32_t kStep = 16;         // taps that SIMD code adds at a time
constexpr uint32_t kMostSteps = 1 << 10, kMostExactPhases = 1024, kFinePhases = 512;
constexpr uintptr_t kAlignment = 64; // of the rows

// sin(2 pi turns), by its series.
double sine_of(double turns) {
    const double x = 2 * kPi * (turns - (turns + kOneIsUlp - kOneIsUlp));
    double sum = 1;
    for (int i = 27; i > 1; i -= 2)
        sum = 1 - sum * x * x / (i * (i - 1));
    return x * sum;
}

// A direction that turns.
struct direction {
    double sine, cosine;

    static direction of(double turns) { return {sine_of(turns), sine_of(turns + 0.25)}; }

    [[gnu::noinline]] void turn(const direction &by) {
        const double next = sine * by.cosine + cosine * by.sine;
        cosine = cosine * by.cosine - sine * by.sine;
        sine = next;
    }
};

// Kaiser's window, I0(beta sqrt(1 - t^2)) / I0(beta), as a polynomial in u = 1 - 2 t^2. As a function of u it solves
// (1 + u) y'' + y' = beta^2 / 8 y, which gives each factor by the next two.
struct kaiser {
    static constexpr int kTerms = 14;
    double factors[kTerms + 1] = {};

    explicit kaiser(double attenuation) {
        const double above = attenuation - 8.7, square = 0.1102 * 0.1102 / 8 * above * above + 1e-6; // beta^2 / 8
        double sum = factors[kTerms - 1] = 1;
        for (double n = kTerms - 1, *factor = factors + kTerms - 1; n > 0; --n, --factor)
            sum += factor[-1] = n * (n * factor[0] + (n + 1) * factor[1]) / square;
        for (double &each : factors)
            each /= sum;
    }

    template <class Number>
    [[gnu::always_inline]] Number operator()(const Number &u) const {
        Number sum = {};
        for (int n = kTerms; n--;)
            sum = sum * u + factors[n];
        return sum;
    }
};

// Sets the number of coarse coefficients. False if there are too many bits for the sums: a lane fits into 32 bits if
// the magnitudes of its fine coefficients add up to less than 2^16. Beside a coarse coefficient they are at most half
// of its unit, farther out 2^(14 + fine_bits) window(d) / (pi d), which falls with d, and an error of rounding.
bool limit_sums(resample_bank &bank, const kaiser &window) {
    const double unit = (4 << (kCoefficientBits + bank.fine_bits)) / kPi, scale = 8.0 / bank.taps / bank.taps;
    // All in quarters.
    const auto others = [&](uint32_t d) {
        return (std::min(d, kFineTaps / 2) << bank.fine_bits) + std::min(bank.taps, kFineTaps);
    };
    constexpr uint32_t most = 4 << 16;
    double outside = 0; // on both sides, in one lane
    uint32_t d = bank.taps / 2 + 1;
    while (--d > 1) {
        const double out = d - 1, next = unit * window(1 - out * out * scale) / out;
        outside += next / 2;
        if (outside + 4 * next + others(d) > most)
            break;
    }
    bank.coarse = std::min((2 * d + kStep - 1) / kStep * kStep, bank.taps);
    return others(d) < most;
}

// Sets the numbers of a bank. False if there is none for these rates and this design.
bool lay_out(resample_bank &bank, uint32_t L, uint32_t M, const resample_design &design, uint32_t min_phases,
             const kaiser &window) {
    const double lobes = (design.attenuation - 7.95) / 7.18 / (design.stop - design.pass);
    const double steps = lobes * std::max(L, M) / L / kStep;
    if (!(steps > 0 && steps < kMostSteps) || design.fine_bits > 8)
        return false;
    bank.taps = bank.coarse = (static_cast<uint32_t>(steps) + 1) * kStep;
    bank.cycle = L <= kMostExactPhases ? L : 0;
    bank.phases = bank.cycle ? (min_phases + L - 1) / L * L : kFinePhases;
    const uint64_t steps_of_cycle = uint64_t{M} * bank.phases, whole = steps_of_cycle / L, rest = steps_of_cycle % L;
    if (whole > UINT32_MAX || bank.phases == 0)
        return false;
    bank.step = (whole << 32) + ((rest << 32) + L / 2) / L;
    if (!design.fine_bits)
        return true;
    // The errors of rounding of more taps add up to more.
    bank.fine_bits = design.fine_bits + (std::bit_width(bank.taps / 32 + 1) - 1U) / 2;
    while (!limit_sums(bank, window))
        if (--bank.fine_bits == 0)
            return false;
    return true;
}

#if defined __arm__ || defined __wasm__
using doubles = double; // no vectors of them, or too much code
constexpr uint32_t kParts = 1;
#else
using doubles [[gnu::vector_size(16), gnu::aligned(8), gnu::may_alias]] = double;
constexpr uint32_t kParts = 4;
#endif
#ifdef VELA_AVX2
using wide_doubles [[gnu::vector_size(32), gnu::aligned(8), gnu::may_alias]] = double;
#endif

template <class Doubles>
[[gnu::always_inline]] inline const Doubles &at(const double *first) {
    return *reinterpret_cast<const Doubles *>(first);
}
template <class Doubles>
[[gnu::always_inline]] inline Doubles &at(double *first) { // NOLINT(readability-non-const-parameter)
    return *reinterpret_cast<Doubles *>(first);
}

// Makes the rows.
class designer {
public:
    // There are three values for each tap.
    designer(resample_bank &bank, double cutoff, const kaiser &window, double *values)
        : bank_(bank), window_(window), values_(values), sines_(values + bank.taps), cosines_(sines_ + bank.taps),
          peak_(kPi * cutoff), angle_(direction::of(cutoff / 4 * (bank.taps - 2))),
          turn_(direction::of(cutoff / 2 / bank.phases)) {
        const direction by = direction::of(cutoff / 2);
        direction at = {0, 1};
        for (uint32_t k = 0; k < bank.taps; ++k, at.turn(by)) {
            sines_[k] = at.sine;
            cosines_[k] = at.cosine;
        }
    }

    // Writes the row of the next phase, from 0 to half a sample, and its mirror image. False if a sum could overflow.
    bool write(uint32_t phase) {
        sample(phase);
        const double unit = 1 << (kCoefficientBits + bank_.fine_bits), scale = unit / sum(1, 0, 0x1.8p20);
        // The gain of a constant becomes exactly 1: what is missing is added where it is least of a change.
        double offset = 0, missing = 0;
        int left = 4;
        do {
            offset += missing / bank_.taps;
            missing = unit - sum(scale, offset, kOneIsUlp);
        } while (missing != 0 && --left);
        const size_t size = row_size(bank_);
        int16_t *const row = bank_.rows + phase * size, *const fine = row + bank_.coarse;
        const uint32_t first = (bank_.taps - bank_.coarse) / 2;
        double magnitudes = 0;
        for (uint32_t k = 0; k < bank_.taps; ++k) {
            const double value =
                values_[k] * scale + offset + kOneIsUlp - kOneIsUlp + (k == bank_.taps / 2 - 1 ? missing : 0);
            magnitudes += std::fabs(value);
            auto rest = static_cast<int32_t>(value);
            if (k - first < bank_.coarse) {
                const int32_t coarse = (rest + (1 << bank_.fine_bits >> 1)) >> bank_.fine_bits;
                row[k - first] = static_cast<int16_t>(coarse);
                rest -= coarse * (1 << bank_.fine_bits);
            }
            if (bank_.fine_bits)
                fine[k] = static_cast<int16_t>(rest);
        }
        if (phase == 0)
            bank_.copies = magnitudes == unit;
        if (phase != bank_.phases - phase) {
            int16_t *const mirrored = bank_.rows + (bank_.phases - phase) * size;
            std::reverse_copy(row, fine, mirrored);
            std::reverse_copy(fine, row + size, mirrored + bank_.coarse);
        }
        return magnitudes < 3.9 * unit;
    }

private:
    // The sum of the values, scaled and rounded to units of which `rounds` is 1.5 x 2^52: exact, whatever the order.
    double sum(double scale, double offset, double rounds) const {
        doubles parts[kParts] = {};
        for (double *next = values_; next != sines_;)
            for (doubles &part : parts) {
                part += at<doubles>(next) * scale + offset + rounds - rounds;
                next += sizeof part / sizeof *next;
            }
        double all = 0;
        for (uint32_t i = 0; i < kParts * sizeof(doubles) / sizeof(double); ++i)
            all += reinterpret_cast<double *>(parts)[i];
        return all;
    }

    // Samples the windowed sinc at distances from its centre, one apart.
    template <class Doubles>
    [[gnu::always_inline]] static void sample_from(designer *of, double first) {
        static constexpr double ramp[] = {0, 1, 2, 3};
        const double scale = 8.0 / of->bank_.taps / of->bank_.taps;
        constexpr uint32_t wide = sizeof(Doubles) / sizeof(double);
        for (uint32_t k = 0; k < of->bank_.taps; k += wide, first -= wide) {
            const Doubles d = first - at<Doubles>(ramp),
                          sine = of->angle_.sine * at<Doubles>(of->cosines_ + k) -
                                 of->angle_.cosine * at<Doubles>(of->sines_ + k),
                          u = 1 - d * d * scale;
            at<Doubles>(of->values_ + k) = of->window_(u) * sine / d;
        }
    }

    void sample(uint32_t phase) {
        const double first = bank_.taps / 2.0 - 1 + static_cast<double>(phase) / bank_.phases;
#ifdef VELA_AVX2
        dispatch_either<sample_from<wide_doubles>, sample_from<doubles>>(this, first);
#else
        sample_from<doubles>(this, first);
#endif
        if (phase == 0)
            values_[bank_.taps / 2 - 1] = peak_; // 0 / 0 above
        angle_.turn(turn_);
    }

    resample_bank &bank_;
    const kaiser &window_;
    double *const values_, *const sines_, *const cosines_; // the sines and cosines of pi cutoff k
    const double peak_;
    direction angle_; // pi cutoff times the distance of a row's first tap
    const direction turn_;
};

} // namespace

resample_bank *resample_bank_alloc(uint32_t out_rate, uint32_t in_rate, const resample_design *design,
                                   uint32_t min_phases) {
    if (out_rate == 0 || in_rate == 0)
        return nullptr;
    uint32_t divisor = out_rate;
    for (uint32_t rest = in_rate; rest;)
        divisor = std::exchange(rest, divisor % rest);
    const uint32_t L = out_rate / divisor, M = in_rate / divisor;
    const kaiser window(design->attenuation);
    resample_bank bank = {};
    if (!lay_out(bank, L, M, *design, min_phases, window))
        return nullptr;
    const size_t rows = size_t{bank.phases + 1} * row_size(bank) * sizeof *bank.rows,
                 values = sizeof(double) * 3 * bank.taps;
    owned<uint8_t[]> block = allocate<uint8_t>(sizeof bank + kAlignment + rows + values);
    if (!block)
        return nullptr;
    const auto after = reinterpret_cast<uintptr_t>(block.get() + sizeof bank);
    bank.rows = reinterpret_cast<int16_t *>((after + kAlignment - 1) / kAlignment * kAlignment);
    const double cutoff = (design->pass + design->stop) / 2 * std::min(1.0, static_cast<double>(L) / M);
    designer designer(bank, cutoff, window, reinterpret_cast<double *>(reinterpret_cast<uintptr_t>(bank.rows) + rows));
    for (uint32_t phase = 0; phase <= bank.phases / 2; ++phase)
        if (!designer.write(phase))
            return nullptr;
    return new (block.release()) resample_bank(bank);
}

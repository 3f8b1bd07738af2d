// The design of filter banks. It uses + - * / on doubles alone, so that all machines make the same coefficients.
#include "bank.hpp"
#include "common/memory.hpp"
#include "polyphase.hpp"
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <new>
#include <numeric>

using namespace vela::detail;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr uint32_t kStep = 16; // taps that SIMD code adds at a time
constexpr uint32_t kMostTaps = 1 << 14, kMostExactPhases = 1024, kFinePhases = 512;
constexpr uintptr_t kAlignment = 64; // of the rows

// sin(2 pi turns), by its series.
double sine_of(double turns) {
    const double x = 2 * kPi * (turns - std::floor(turns + 0.5));
    double sum = 1;
    for (int i = 27; i > 1; i -= 2)
        sum = 1 - sum * x * x / (i * (i - 1));
    return x * sum;
}

// Kaiser's window, not scaled: I0(beta sqrt(1 - t^2)), by the series of that Bessel function.
class kaiser {
public:
    explicit kaiser(double attenuation) {
        const double beta = 0.1102 * (attenuation - 8.7);
        for (int k = 1; k <= kTerms; ++k)
            factors_[k] = beta * beta / (4 * k * k);
    }
    double operator()(double t) const {
        const double square = 1 - t * t;
        double sum = 1;
        for (int k = kTerms; k; --k)
            sum = 1 + sum * square * factors_[k];
        return sum;
    }

private:
    static constexpr int kTerms = 30;
    double factors_[kTerms + 1];
};

// Sets the number of coarse coefficients. False if there are too many bits for the sums: a lane fits into 32 bits if
// the magnitudes of its fine coefficients add up to less than 2^16. Beside a coarse coefficient they are at most half
// of its unit, farther out 2^(14 + fine_bits) window(d) / (pi d), which falls with d, and an error of rounding.
bool limit_sums(resample_bank &bank, const kaiser &window) {
    const double unit = (1 << (kCoefficientBits + bank.fine_bits)) / (kPi * window(0)), half = bank.taps / 2.0;
    const auto others = [&](uint32_t d) {
        return std::min(d, kFineTaps / 2) * ((1 << bank.fine_bits) / 4.0) + std::min(bank.taps, kFineTaps) / 4.0;
    };
    constexpr double most = 1 << 16;
    double outside = 0; // on both sides, in one lane
    uint32_t d = bank.taps / 2;
    for (; d > 1; --d) {
        const double next = unit * window((d - 1) / half) / (d - 1);
        outside += next / 2;
        if (outside + 4 * next + others(d) > most)
            break;
    }
    bank.coarse = std::min((2 * d + kStep - 1) / kStep * kStep, bank.taps);
    return others(d) < most;
}

// Sets the numbers of a bank. False if there is none for these rates and this design.
bool lay_out(resample_bank &bank, uint64_t L, uint64_t M, const resample_design &design, uint32_t min_phases,
             const kaiser &window) {
    const double lobes = (design.attenuation - 7.95) / 7.18 / (design.stop - design.pass);
    const double steps = lobes * static_cast<double>(std::max(L, M)) / static_cast<double>(L) / kStep;
    if (!(steps > 0 && steps * kStep < kMostTaps) || design.fine_bits > 8)
        return false;
    bank.taps = bank.coarse = (static_cast<uint32_t>(steps) + 1) * kStep;
    bank.cycle = L <= kMostExactPhases ? static_cast<uint32_t>(L) : 0;
    bank.phases = bank.cycle ? static_cast<uint32_t>((min_phases + L - 1) / L * L) : kFinePhases;
    const uint64_t whole = M * bank.phases / L, rest = M * bank.phases % L;
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

// Makes the rows.
class designer {
public:
    designer(resample_bank &bank, double cutoff, const kaiser &window, double *values)
        : bank_(bank), window_(window), values_(values), cutoff_(cutoff), sine_(sine_of(cutoff / 2)),
          cosine_(sine_of(cutoff / 2 + 0.25)) {}

    // Writes the row of a phase of at most half a sample, and its mirror image. False if a sum could overflow.
    bool write(uint32_t phase) {
        const double unit = 1 << (kCoefficientBits + bank_.fine_bits), scale = unit / sample(phase);
        // The gain of a constant becomes exactly 1: what is missing is added where it is least of a change.
        double threshold = 0.5, missing = unit;
        for (int i = 0; i < 4 && missing != 0; ++i) {
            threshold += i ? missing / bank_.taps : 0;
            missing = unit;
            for (uint32_t k = 0; k < bank_.taps; ++k)
                missing -= std::floor(values_[k] * scale + threshold);
        }
        double magnitudes = 0;
        for (uint32_t k = 0; k < bank_.taps; ++k) {
            const double value = std::floor(values_[k] * scale + threshold) + (k == bank_.taps / 2 - 1 ? missing : 0);
            magnitudes += std::fabs(value);
            put(phase, k, static_cast<int32_t>(value));
            if (phase != bank_.phases - phase)
                put(bank_.phases - phase, bank_.taps - 1 - k, static_cast<int32_t>(value));
        }
        if (phase == 0)
            bank_.copies = magnitudes == unit;
        return magnitudes < 3.9 * unit;
    }

private:
    // Samples the windowed sinc at distances d from its centre, one apart, and returns their sum. The sines of pi
    // cutoff d are made by rotation.
    double sample(uint32_t phase) {
        const double half = bank_.taps / 2.0, first = half - 1 + static_cast<double>(phase) / bank_.phases;
        double sine = sine_of(cutoff_ * first / 2), cosine = sine_of(cutoff_ * first / 2 + 0.25), sum = 0;
        for (uint32_t k = 0; k < bank_.taps; ++k) {
            const double d = first - k;
            values_[k] = window_(d / half) * (d == 0 ? kPi * cutoff_ : sine / d);
            sum += values_[k];
            const double next = sine * cosine_ - cosine * sine_;
            cosine = cosine * cosine_ + sine * sine_;
            sine = next;
        }
        return sum;
    }

    void put(uint32_t phase, uint32_t k, int32_t value) {
        const uint32_t first = (bank_.taps - bank_.coarse) / 2;
        int16_t *const row = bank_.rows + size_t{phase} * row_size(bank_);
        if (k - first < bank_.coarse) {
            const int32_t coarse = (value + (1 << bank_.fine_bits >> 1)) >> bank_.fine_bits;
            row[k - first] = static_cast<int16_t>(coarse);
            value -= coarse * (1 << bank_.fine_bits);
        }
        if (bank_.fine_bits)
            row[bank_.coarse + k] = static_cast<int16_t>(value);
    }

    resample_bank &bank_;
    const kaiser &window_;
    double *const values_;
    const double cutoff_, sine_, cosine_; // of pi times the cutoff frequency, which is relative to the input's Nyquist
};

} // namespace

resample_bank *resample_bank_alloc(uint32_t out_rate, uint32_t in_rate, const resample_design *design,
                                   uint32_t min_phases) {
    if (out_rate == 0 || in_rate == 0)
        return nullptr;
    const uint32_t divisor = std::gcd(out_rate, in_rate), L = out_rate / divisor, M = in_rate / divisor;
    const kaiser window(design->attenuation);
    resample_bank bank = {};
    if (!lay_out(bank, L, M, *design, min_phases, window))
        return nullptr;
    const size_t numbers = size_t{bank.phases + 1} * row_size(bank);
    owned<uint8_t[]> block = allocate<uint8_t>(sizeof bank + kAlignment + numbers * sizeof *bank.rows);
    owned<double[]> values = allocate<double>(bank.taps);
    if (!block || !values)
        return nullptr;
    const auto after = reinterpret_cast<uintptr_t>(block.get() + sizeof bank);
    bank.rows = reinterpret_cast<int16_t *>((after + kAlignment - 1) / kAlignment * kAlignment);
    const double cutoff = (design->pass + design->stop) / 2 * std::min(1.0, static_cast<double>(L) / M);
    designer designer(bank, cutoff, window, values.get());
    for (uint32_t phase = 0; phase <= bank.phases / 2; ++phase)
        if (!designer.write(phase))
            return nullptr;
    return new (block.release()) resample_bank(bank);
}

// An independent implementation of streams through a filter bank, from its definition: an output is the sum of all
// coefficients times samples, in integers.
#pragma once

#include "agree.hpp"
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>
#include <vela/cpp/rate_converter.hpp>

namespace model {

struct filter_bank {
    std::unique_ptr<resample_bank, decltype(&std::free)> record;

    filter_bank(uint32_t out_rate, uint32_t in_rate, vela::quality quality, uint32_t min_phases = 1)
        : record(nullptr, std::free) {
        const resample_design design = vela::design_of(quality);
        record.reset(resample_bank_alloc(out_rate, in_rate, &design, min_phases));
    }

    // With 14 + fine_bits bits of fraction.
    int32_t coefficient(uint32_t phase, uint32_t k) const {
        const uint32_t first = (record->taps - record->coarse) / 2, fine = record->fine_bits;
        const int16_t *row = record->rows + phase * size_t{record->coarse + (fine ? record->taps : 0)};
        return (k - first < record->coarse ? row[k - first] * (1 << fine) : 0) + (fine ? row[record->coarse + k] : 0);
    }

    // Of the samples up to a newest one, earlier ones being 0; 14 bits of fraction.
    int64_t sum(uint32_t phase, const std::vector<int32_t> &in, int64_t newest) const {
        int64_t sum = 0;
        for (uint32_t k = 0; k < record->taps; ++k)
            if (const int64_t at = newest - record->taps + 1 + k; at >= 0)
                sum += int64_t{coefficient(phase, k)} * in[static_cast<size_t>(at)];
        return sum >> record->fine_bits;
    }

    // Calls put() with each output of the samples, step(n) being from output n to the next.
    template <class Put>
    void convert(const std::vector<int32_t> &in, const std::function<uint64_t(size_t)> &step, Put put) const {
        const uint64_t unit = uint64_t{record->phases} << 32;
        uint64_t position = 0, newest = 0;
        for (size_t n = 0; newest < in.size(); ++n) {
            const auto phase = static_cast<uint32_t>(position >> 32), weight = static_cast<uint32_t>(position) >> 8;
            int64_t of = sum(phase, in, static_cast<int64_t>(newest));
            if (weight)
                of += (sum(phase + 1, in, static_cast<int64_t>(newest)) - of) * weight >> 24;
            put(of);
            position += step(n);
            newest += position / unit;
            position %= unit;
        }
    }
};

// Samples with 15 or 30 bits below the sign, and back from sums of 14 more.
inline int32_t bits_of(int16_t sample) { return sample; }
inline int32_t bits_of(int32_t sample) { return std::clamp(sample, -8388608, 8388607) * 128; }
inline int32_t bits_of(float sample) {
    const double bits = std::floor(static_cast<double>(sample) * 134217728.0 + 0.5);
    return static_cast<int32_t>(std::clamp(bits, -1073741824.0, 1073741823.0));
}
inline void set_sample(int16_t &to, int64_t high, int64_t) {
    to = static_cast<int16_t>(std::clamp<int64_t>((high + 8192) >> 14, -32768, 32767));
}
inline void set_sample(int32_t &to, int64_t high, int64_t low) {
    to = static_cast<int32_t>(std::clamp<int64_t>((high * 32768 + low + (1 << 20)) >> 21, -8388608, 8388607));
}
inline void set_sample(float &to, int64_t high, int64_t low) {
    to = static_cast<float>(std::ldexp(static_cast<float>(high * 32768 + low), -41));
}

// The outputs of interleaved channels.
template <class Sample>
std::vector<Sample> converted(const filter_bank &bank, const std::vector<Sample> &in, size_t channels,
                              const std::function<uint64_t(size_t)> &step) {
    std::vector<Sample> out;
    for (size_t channel = 0; channel < channels; ++channel) {
        std::vector<int32_t> high, low;
        for (size_t i = channel; i < in.size(); i += channels) {
            const int32_t bits = bits_of(in[i]);
            high.push_back(sizeof(Sample) == 2 ? bits : bits >> 15);
            low.push_back(sizeof(Sample) == 2 ? 0 : bits & 32767);
        }
        std::vector<int64_t> sums;
        bank.convert(high, step, [&](int64_t sum) { sums.push_back(sum); });
        out.resize(sums.size() * channels);
        size_t n = 0;
        bank.convert(low, step, [&](int64_t sum) {
            set_sample(out[n * channels + channel], sums[n], sum);
            ++n;
        });
    }
    return out;
}

} // namespace model

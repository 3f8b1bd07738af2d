// The converters that pictures compare.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <numbers>
#include <string>
#include <vector>
#include <vela/cpp/resampler.hpp>

struct kernel {
    std::string name;
    uint32_t lobes; // 0: the line
};

inline const kernel kKernels[] = {
    {"RESAMPLE_BILI", 0}, {"RESAMPLE_LANC", 1}, {"RESAMPLE_LAN2", 2}, {"4 lobes", 4}, {"8 lobes", 8}, {"16 lobes", 16},
};

constexpr uint32_t kInRate = 44100, kOutRate = 8000;
constexpr double kLoudest = 32000;

inline vela::resampler make_resampler(const kernel &one) {
    auto made = one.lobes ? vela::resampler::with_lobes(kOutRate, kInRate, one.lobes)
                          : vela::resampler::make(kOutRate, kInRate, vela::resampler_kernel::bilinear);
    if (!made)
        std::abort();
    return std::move(*made);
}

// A sound of kLoudest whose frequency rises evenly, or stays; in samples at kInRate.
inline std::vector<int16_t> sweep(double from, double to, double seconds) {
    std::vector<int16_t> samples(static_cast<size_t>(seconds * kInRate));
    for (size_t i = 0; i < samples.size(); ++i) {
        const double t = static_cast<double>(i) / kInRate, turns = from * t + (to - from) * t * t / (2 * seconds);
        samples[i] = static_cast<int16_t>(std::lround(kLoudest * std::sin(2 * std::numbers::pi * std::fmod(turns, 1))));
    }
    return samples;
}

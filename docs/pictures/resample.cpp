// What the kernels of <vela/resample.h> do when converting from 44.1 to 8 kHz: the gain of tones, and spectrograms of a
// sweep from 0 to 12 kHz. Prints the gains as lines of a frequency and one gain per kernel, then a matrix per kernel.
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <vector>
#include <vela/cpp/resampler.hpp>

namespace {

constexpr uint32_t kInRate = 44100, kOutRate = 8000;
constexpr uint32_t kLobes[] = {0, 1, 2, 4, 8, 16}; // 0: RESAMPLE_BILI
constexpr double kAmplitude = 32000;

vela::resampler make_resampler(uint32_t lobes) {
    auto made = lobes ? vela::resampler::with_lobes(kOutRate, kInRate, lobes)
                      : vela::resampler::make(kOutRate, kInRate, vela::resampler::kernel::bilinear);
    if (!made)
        std::abort();
    return std::move(*made);
}

// A sine whose frequency rises linearly.
std::vector<int16_t> sweep(double from, double to, double seconds) {
    std::vector<int16_t> samples(static_cast<size_t>(seconds * kInRate));
    for (size_t i = 0; i < samples.size(); ++i) {
        const double t = static_cast<double>(i) / kInRate, turns = from * t + (to - from) * t * t / (2 * seconds);
        samples[i] = static_cast<int16_t>(std::lround(kAmplitude * std::sin(2 * std::numbers::pi * turns)));
    }
    return samples;
}

// In dB, whatever frequency the tone has in the output.
double gain(uint32_t lobes, double frequency) {
    vela::resampler converter = make_resampler(lobes);
    std::vector<int16_t> out;
    converter.push(sweep(frequency, frequency, 0.5), out);
    out.erase(out.begin(), out.begin() + 400); // the longest kernel's transient
    double squares = 0;
    for (const int16_t sample : out)
        squares += sample * sample;
    return 10 * std::log10(std::max(squares / static_cast<double>(out.size()), 1e-6) / (kAmplitude * kAmplitude / 2));
}

// The level in dB of bins of 40 Hz from 0 to 4 kHz around a sample, with a Hann window.
void print_spectrum(const std::vector<int16_t> &samples, size_t middle) {
    constexpr size_t kWindow = 200, kBins = 101;
    for (size_t bin = 0; bin < kBins; ++bin) {
        std::complex<double> sum = 0;
        for (size_t i = 0; i < kWindow; ++i) {
            const size_t at = middle + i; // half a window later than `samples`, which may wrap below 0
            const double value = at >= kWindow / 2 && at - kWindow / 2 < samples.size() ? samples[at - kWindow / 2] : 0;
            const double turn = 2 * std::numbers::pi * static_cast<double>(i) / kWindow;
            sum += std::polar(value * (0.5 - 0.5 * std::cos(turn)), -turn * static_cast<double>(bin));
        }
        std::printf("%.1f ", 20 * std::log10(std::max(std::abs(sum), 1.0) / (kAmplitude * kWindow / 4)));
    }
    std::puts("");
}

} // namespace

int main() {
    // At these frequencies no alias comes close to 0 Hz or 4 kHz.
    for (double hertz = 15.625; hertz < 10000; hertz += 31.25) {
        std::printf("%g", hertz / 1000);
        for (const uint32_t lobes : kLobes)
            std::printf(" %.2f", gain(lobes, hertz));
        std::puts("");
    }
    for (const uint32_t lobes : kLobes) {
        vela::resampler converter = make_resampler(lobes);
        std::vector<int16_t> out;
        converter.push(sweep(0, 12000, 3), out);
        converter.flush(out);
        std::puts("\n");
        for (size_t column = 0; column <= 240; ++column)
            print_spectrum(out, static_cast<size_t>(converter.latency()) + column * 100);
    }
}

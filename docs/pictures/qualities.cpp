// What the qualities of <vela/cpp/rate_converter.hpp> pass and stop from 44.1 to 8 kHz: lines of a frequency in kHz and
// the gain of each quality in dB, of the rows of all phases together as one filter; then matrices, the spectrograms of
// a sweep from 0 to 12 kHz by the qualities speech and best.
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <vector>
#include <vela/cpp/rate_converter.hpp>

namespace {

constexpr double kInRate = 44100;

double gain(const resample_bank &bank, double hertz) {
    const double turn = 2 * std::numbers::pi * hertz / kInRate;
    const uint32_t row = bank.coarse + (bank.fine_bits ? bank.taps : 0), first = (bank.taps - bank.coarse) / 2;
    std::complex<double> sum = 0;
    for (uint32_t phase = 0; phase < bank.phases; ++phase) {
        const int16_t *const coarse = bank.rows + size_t{phase} * row, *const fine = coarse + bank.coarse;
        const auto step = std::polar(1.0, turn);
        std::complex<double> at = std::polar(1.0, -turn * phase / bank.phases);
        for (uint32_t k = 0; k < bank.taps; ++k, at *= step) {
            const int32_t above = k - first < bank.coarse ? coarse[k - first] * (1 << bank.fine_bits) : 0;
            sum += at * static_cast<double>(above + (bank.fine_bits ? fine[k] : 0));
        }
    }
    return 20 * std::log10(std::max(std::abs(sum) / bank.phases / (1 << (14 + bank.fine_bits)), 1e-8));
}

// Lines of a column of the spectrogram: levels in dB of bins of 40 Hz from 0 to 4 kHz, with a Hann window.
void print_spectrogram(vela::quality of) {
    constexpr size_t kWindow = 200, kColumns = 241, kApart = 100;
    constexpr double kTop = 12000, kSeconds = kApart * (kColumns - 1) / 8000.0;
    auto converter = vela::rate_converter<float>::make(8000, static_cast<uint32_t>(kInRate), of);
    if (!converter)
        std::abort();
    std::vector<float> in(static_cast<size_t>((kSeconds + 0.1) * kInRate)), out;
    for (size_t i = 0; i < in.size(); ++i) {
        const double t = static_cast<double>(i) / kInRate;
        in[i] = static_cast<float>(std::sin(std::numbers::pi * kTop * t * t / kSeconds));
    }
    converter->push(in, out);
    out.insert(out.begin(), kWindow, 0);
    std::puts("\n");
    for (size_t column = 0; column < kColumns; ++column) {
        const size_t begin = column * kApart + kWindow / 2 + static_cast<size_t>(converter->latency());
        for (size_t bin = 0; bin <= kWindow / 2; ++bin) {
            std::complex<double> sum = 0;
            for (size_t i = 0; i < kWindow; ++i) {
                const double turn = 2 * std::numbers::pi * static_cast<double>(i) / kWindow;
                sum += std::polar(out[begin + i] * (1 - std::cos(turn)), -turn * static_cast<double>(bin));
            }
            std::printf("%.1f ", 20 * std::log10(std::max(std::abs(sum) / kWindow, 1e-7)));
        }
        std::puts("");
    }
}

} // namespace

int main() {
    resample_bank *banks[5];
    for (int i = 0; i < 5; ++i) {
        const resample_design design = vela::design_of(static_cast<vela::quality>(i));
        banks[i] = resample_bank_alloc(8000, 44100, &design, 1);
        if (!banks[i])
            std::abort();
    }
    for (double hertz = 0; hertz < 8000; hertz += 10) {
        std::printf("%g", hertz / 1000);
        for (const resample_bank *bank : banks)
            std::printf(" %.2f", gain(*bank, hertz));
        std::puts("");
    }
    for (resample_bank *bank : banks)
        std::free(bank);
    print_spectrogram(vela::quality::speech);
    print_spectrogram(vela::quality::best);
}

// What the qualities of <vela/cpp/rate_converter.hpp> pass and stop from 44.1 to 8 kHz: lines of a frequency in kHz and
// the gain of each quality in dB, of the rows of all phases together as one filter.
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <numbers>
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
    return 20 * std::log10(std::max(std::abs(sum) / bank.phases / (1 << (14 + bank.fine_bits)), 1e-7));
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
}

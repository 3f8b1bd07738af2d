// The converter of qualities: what its filters pass and stop, its streams by the definition, however they are cut, and
// clocks that drift.
#include "generated.hpp"
#include "models/rate_converter.hpp"
#include "support.hpp"
#include <complex>
#include <numbers>
#include <vela/cpp/resampler.hpp>

namespace {

using vela::quality, vela::rate_converter, model::filter_bank;

constexpr double kPi = std::numbers::pi;
constexpr quality kQualities[] = {quality::speech, quality::low, quality::medium, quality::high, quality::best};

std::string name_of(uint32_t out_rate, uint32_t in_rate, quality of) {
    return std::to_string(in_rate) + " to " + std::to_string(out_rate) + ", quality " + std::to_string(int(of));
}

// The gain of a bank at a frequency in Hz: of the phases' rows together as one filter.
double gain(const filter_bank &bank, double in_rate, double frequency) {
    const uint32_t taps = bank.record->taps, phases = bank.record->phases;
    const std::complex<double> turn = std::polar(1.0, -2 * kPi * frequency / in_rate);
    std::complex<double> sum = 0;
    for (uint32_t phase = 0; phase < phases; ++phase) {
        std::complex<double> of_row = 0;
        for (uint32_t k = 0; k < taps; ++k)
            of_row = of_row * turn + static_cast<double>(bank.coefficient(phase, k));
        sum += of_row * std::polar(1.0, -2 * kPi * frequency / in_rate * phase / phases);
    }
    return std::abs(sum) / phases / (1 << (14 + bank.record->fine_bits));
}

// Samples of all values, and a few at the ends of the range and beyond it.
template <class Sample>
std::vector<Sample> samples_of(size_t count, uint32_t seed) {
    std::vector<Sample> made;
    for (generator random{seed}; made.size() < count;) {
        const int32_t word = random.below(40) ? random.word() : random.below(2) ? INT32_MAX : INT32_MIN;
        if constexpr (std::is_same_v<Sample, float>)
            made.push_back(static_cast<float>(word) / (word % 64 ? 0x1p31F : 0x1p27F));
        else
            made.push_back(static_cast<Sample>(sizeof(Sample) == 2 ? word >> 16 : word >> 8));
    }
    return made;
}

template <class Sample>
void expect_stream(uint32_t out_rate, uint32_t in_rate, quality of, size_t channels, uint32_t seed) {
    const std::string name = name_of(out_rate, in_rate, of) + ", channels " + std::to_string(channels);
    auto converter = value_of(vela::resampler::make<Sample>(out_rate, in_rate, of, channels));
    const filter_bank bank(out_rate, in_rate, of);
    const size_t delayed = bank.record->taps / 2;
    std::vector<Sample> in = samples_of<Sample>((2500 + delayed) * channels, seed), out;
    std::vector<Sample> padded = in;
    padded.resize(in.size() + delayed * channels);
    const auto expected = model::converted(bank, padded, channels, [&](size_t) { return bank.record->step; });
    generator random{seed};
    for (int stream = 0; stream < 2; ++stream) {
        out.clear();
        for (size_t at = 0, some; at < in.size(); at += some) {
            some = std::min(in.size() - at, channels * (1 + size_t(random.below(random.below(3) ? 50 : 4000))));
            const auto count = static_cast<size_t>(converter.output_count(some / channels)) * channels;
            const auto piece = std::span<const Sample>(in).subspan(at, some);
            std::vector<Sample> made(count);
            if (random.below(2)) {
                out.insert(out.end(), piece.begin(), piece.end()); // a part of the output vector, which moves
                converter.push(std::span<const Sample>(out).last(some), out);
                out.erase(out.end() - static_cast<ptrdiff_t>(some + count), out.end() - static_cast<ptrdiff_t>(count));
            } else {
                if (count) {
                    ck_assert(!converter.push(piece, std::span(made).first(count - 1)));
                }
                agree("outputs", name, value_of(converter.push(piece, std::span(made))).size(), count);
                out.insert(out.end(), made.begin(), made.end());
            }
        }
        converter.flush(out);
        agree_all("samples", name, out, expected);
    }
}

} // namespace

// The worst of all pairs of rates between 8 and 192 kHz. The stop band is measured as far as images reach.
TEST(qualities_pass_and_stop_what_the_header_says) {
    if (vela_max_simd) // the same at all levels
        return;
    constexpr uint32_t rates[] = {8000, 11025, 16000, 22050, 44100, 48000, 192000};
    constexpr struct {
        double ripple, attenuation, latency;
    } stated[] = {{0.02, 54, 16}, {0.001, 87, 15}, {0.001, 88, 21}, {0.001, 92, 32}, {0.0002, 100, 71}};
    for (const quality of : kQualities) {
        const auto &[ripple, attenuation, latency] = stated[static_cast<size_t>(of)];
        const resample_design design = vela::design_of(of);
        double worst_ripple = 0, worst_gain = 0;
        for (const uint32_t out_rate : rates)
            for (const uint32_t in_rate : rates) {
                if (out_rate == in_rate)
                    continue;
                const filter_bank bank(out_rate, in_rate, of);
                const double nyquist = std::min(out_rate, in_rate) / 2.0;
                const std::string name = name_of(out_rate, in_rate, of);
                for (const double part : {0.4, 0.8, 1.0})
                    worst_ripple = std::max(
                        worst_ripple, std::fabs(20 * std::log10(gain(bank, in_rate, design.pass * nyquist * part))));
                const double stop = design.stop * nyquist, end = bank.record->phases * double(in_rate) / 2;
                for (int i = 0; i <= 5; ++i)
                    worst_gain = std::max(worst_gain, gain(bank, in_rate, stop + (end - stop) * i * i * i / 125));
                ck_assert_msg(worst_ripple <= ripple, "%s: %.5f dB", name.c_str(), worst_ripple);
                ck_assert_msg(worst_gain <= std::pow(10, -attenuation / 20), "%s: %.1f dB", name.c_str(),
                              20 * std::log10(worst_gain));
                const double delay = value_of(vela::resampler::make(out_rate, in_rate, of)).latency() / out_rate;
                ck_assert_double_le(delay * nyquist * 2, latency + 8);
            }
    }
}

TEST(coefficients_are_the_same_on_all_machines) {
    checksum sum;
    for (const quality of : kQualities)
        for (const auto &[out_rate, in_rate] :
             {std::pair(48000U, 44100U), {8000, 44100}, {16000, 8000}, {47999, 44117}}) {
            const filter_bank bank(out_rate, in_rate, of);
            std::vector<int32_t> coefficients;
            for (uint32_t phase = 0; phase <= bank.record->phases; ++phase) {
                int64_t total = 0;
                for (uint32_t k = 0; k < bank.record->taps; ++k)
                    total += coefficients.emplace_back(bank.coefficient(phase, k));
                agree("sum", name_of(out_rate, in_rate, of), total, 1 << (14 + bank.record->fine_bits));
            }
            sum.add(coefficients);
        }
    expect_checksum("coefficients", sum, 0xD3C643E3);
}

TEST(streams_are_sums_of_products) {
    constexpr uint32_t rates[][2] = {{48000, 44100}, {8000, 48000},  {16000, 8000}, {8000, 44100},
                                     {44100, 44100}, {47999, 44117}, {1, 90},       {300, 1}};
    uint32_t seed = 0;
    for (const auto &[out_rate, in_rate] : rates)
        for (const quality of : kQualities) {
            const size_t channels = ++seed % 4 ? seed % 2 + 1 : seed % 8 + 1;
            if (seed % 3 == 0)
                expect_stream<int32_t>(out_rate, in_rate, of, channels, seed);
            else if (seed % 3 == 1)
                expect_stream<float>(out_rate, in_rate, of, channels, seed);
            expect_stream<int16_t>(out_rate, in_rate, of, channels, seed);
        }
}

namespace {

// The ratio in dB of a tone to everything else, away from the ends; ideal(n) is its turns at output n.
template <class Sample, class Turns>
double signal_to_noise(const std::vector<Sample> &out, Turns ideal) {
    double ss = 0, sc = 0, cc = 0, sv = 0, cv = 0, signal = 0, noise = 0; // sums of products of sines, cosines, values
    const auto each = [&](auto use) {
        for (size_t n = out.size() / 8; n < out.size() * 7 / 8; ++n)
            use(std::sin(2 * kPi * ideal(n)), std::cos(2 * kPi * ideal(n)), static_cast<double>(out[n]));
    };
    each([&](double s, double c, double v) { ss += s * s, sc += s * c, cc += c * c, sv += s * v, cv += c * v; });
    const double of_sine = (sv * cc - cv * sc) / (ss * cc - sc * sc), of_cosine = (cv - of_sine * sc) / cc;
    each([&](double s, double c, double v) {
        const double tone = of_sine * s + of_cosine * c;
        signal += tone * tone;
        noise += (v - tone) * (v - tone);
    });
    return 10 * std::log10(signal / noise);
}

template <class Sample>
std::vector<Sample> tone(double frequency, double rate, double amplitude, size_t count) {
    std::vector<Sample> made(count);
    for (size_t i = 0; i < count; ++i) {
        const double value = amplitude * std::sin(2 * kPi * frequency / rate * static_cast<double>(i));
        made[i] = static_cast<Sample>(std::is_same_v<Sample, float> ? value : std::nearbyint(value));
    }
    return made;
}

template <class Sample>
void expect_tone(quality of, double amplitude, double least) {
    for (const auto &rates : {std::pair(48000U, 44100U), {8000, 48000}, {47999, 44117}}) {
        const uint32_t out_rate = rates.first, in_rate = rates.second;
        const double frequency = 0.37 * std::min(in_rate, out_rate);
        std::vector<Sample> out;
        value_of(vela::resampler::make<Sample>(out_rate, in_rate, of))
            .push(tone<Sample>(frequency, in_rate, amplitude, in_rate / 2), out);
        const double ratio = signal_to_noise(out, [&](size_t n) { return frequency / out_rate * double(n); });
        ck_assert_msg(ratio > least, "%s: %.1f dB", name_of(out_rate, in_rate, of).c_str(), ratio);
    }
}

} // namespace

TEST(tones_keep_what_the_bits_of_samples_hold) {
    expect_tone<int16_t>(quality::speech, 16384, 70);
    expect_tone<int16_t>(quality::high, 16384, 88.5);
    expect_tone<int16_t>(quality::best, 16384, 88.5);
    expect_tone<int32_t>(quality::high, 0x400000, 96);
    expect_tone<int32_t>(quality::best, 0x400000, 104);
    expect_tone<float>(quality::best, 0.5, 104);
}

// A ratio that wanders by 200 parts in a million, 10 ms at a time.
TEST(a_tone_through_a_wandering_ratio_stays_a_tone) {
    constexpr double kFrequency = 3000;
    for (const auto &[out_rate, in_rate] : {std::pair(48000U, 44100U), {16000, 16000}, {8000, 44100}, {47999, 44117}}) {
        auto converter = value_of(vela::resampler::make(out_rate, in_rate, quality::high));
        const auto in = tone<int16_t>(kFrequency, in_rate, 16384, 2 * in_rate);
        std::vector<int16_t> out;
        std::vector<double> turns;
        double turn = 0;
        for (size_t at = 0, packet = in_rate / 100; at + packet <= in.size(); at += packet) {
            const double ratio = 1 + 200e-6 * std::sin(2 * kPi * static_cast<double>(at) / in_rate);
            ck_assert(converter.set_ratio(ratio));
            converter.push(std::span(in).subspan(at, packet), out);
            for (; turns.size() < out.size(); turn += kFrequency / out_rate / ratio)
                turns.push_back(turn);
        }
        const double ratio = signal_to_noise(out, [&](size_t n) { return turns[n]; });
        ck_assert_msg(ratio > 80, "%s: %.1f dB", name_of(out_rate, in_rate, quality::high).c_str(), ratio);
    }
}

// A ratio is changed within a stream, which is made of interpolated rows from there on.
TEST(a_change_of_the_ratio_is_that_of_the_definition) {
    for (const auto &[out_rate, in_rate] : {std::pair(16000U, 8000U), {8000, 44100}, {47999, 44117}}) {
        auto converter = value_of(vela::resampler::make<float>(out_rate, in_rate, quality::high, 2));
        const filter_bank bank(out_rate, in_rate, quality::high, 512);
        const auto in = samples_of<float>(8000, 3);
        std::vector<float> out;
        converter.push(std::span(in).first(3000), out);
        const size_t before = out.size() / 2;
        for (const double ratio : {0.899, 1.101, 0.0, -1.0, std::nan("")})
            ck_assert(!converter.set_ratio(ratio));
        ck_assert(converter.set_ratio(1 + 0x1p-13));
        converter.push(std::span(in).subspan(3000), out);
        const uint64_t step = bank.record->step;
        agree_all("samples", name_of(out_rate, in_rate, quality::high), out,
                  model::converted(bank, in, 2, [&](size_t n) {
                      return n < before ? step : static_cast<uint64_t>(static_cast<double>(step) / (1 + 0x1p-13));
                  }));
    }
}

// For an hour, where the reader's clock is 150 parts in a million faster or slower, and takes 10 ms at a time.
TEST(a_buffer_that_is_followed_keeps_its_fill) {
    constexpr uint32_t kInRate = 1764, kOutRate = 1920;
    constexpr double kPacket = 0.01;
    for (const double clock : {1 + 150e-6, 1 - 150e-6}) {
        auto converter = value_of(vela::resampler::make(kOutRate, kInRate, quality::speech));
        const std::vector<int16_t> in(20);
        std::vector<int16_t> out(30);
        constexpr double target = 0.1 * kOutRate;
        double read = -target, written = 0, worst = 0, inputs = 0;
        for (double time = 0; time < 3600; time += kPacket) {
            const auto some = static_cast<size_t>((time + kPacket) * kInRate - inputs);
            inputs += static_cast<double>(some);
            written += static_cast<double>(value_of(converter.push(std::span(in).first(some), std::span(out))).size());
            read = (time + kPacket) * kOutRate * clock - target;
            ck_assert(converter.follow(static_cast<size_t>(written - read), static_cast<size_t>(target)));
            worst = std::max(worst, std::fabs(written - read - target) / kOutRate);
        }
        ck_assert_msg(worst < 0.005, "%.2f ms", 1000 * worst);
    }
}

TEST(converters_that_cannot_be_are_refused) {
    for (const auto &[out_rate, in_rate, channels] :
         {std::tuple(0U, 1U, size_t{1}), {1, 0, 1}, {1, 1, 0}, {1, 1, 9}, {1, 10000, 1}, {1, UINT32_MAX, 1}})
        ck_assert(!vela::resampler::make(out_rate, in_rate, quality::best, channels));
    const resample_design designs[] = {{0.5, 0.5, 90, 4}, {0.999, 1, 200, 4},    {0.9, 1.1, std::nan(""), 4},
                                       {0.9, 1.1, 90, 9}, {0.998, 1.002, 60, 4}, {1.1, 0.9, 90, 4}};
    for (const resample_design &design : designs)
        ck_assert_ptr_null(resample_bank_alloc(48000, 44100, &design, 1));
    auto converter = value_of(vela::resampler::make(1, 1, quality::low, 2));
    std::vector<int16_t> out;
    ck_assert(!converter.push(std::vector<int16_t>(3), out));
    ck_assert(!converter.push(std::vector<int16_t>(3), std::span(out)));
    ck_assert(out.empty());
    agree("channels", "a converter", converter.channels(), 2);
}

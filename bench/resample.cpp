// The resampler against the converters that a program would otherwise link, 16-bit samples on both sides, and its
// G.711 conversions against those of a telephony library. Accuracy is the signal-to-noise ratio of a tone and of a
// sweep against the ideal signal at the output rate.
#include "ratios.hpp"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>
#include <vela/cpp/resampler.hpp>
#ifdef HAVE_SPEEXDSP
#include <speex/speex_resampler.h>
#endif
#ifdef HAVE_SOXR
#include <soxr.h>
#endif
#ifdef HAVE_SAMPLERATE
#include <samplerate.h>
#endif
#ifdef HAVE_SPANDSP
#include <spandsp/telephony.h>
// (needs the above)
#include <spandsp/bit_operations.h>
#include <spandsp/g711.h>
#endif

namespace {

using samples = std::vector<int16_t>;

struct rates {
    uint32_t in, out;
};

constexpr rates kRates[] = {{44100, 48000}, {48000, 8000}, {8000, 16000}, {44100, 8000}};
constexpr uint32_t kBlock = 4096; // input samples a call
constexpr double kPi = 3.141592653589793;

// Converts the next block of a stream and returns the number of output samples.
using converter = std::function<uint32_t(const samples &in, samples &out)>;

struct implementation {
    std::string name;
    std::function<converter(rates)> make;
};

implementation ours(const char *name, uint32_t kernel) {
    return {name, [kernel](rates rates) {
                std::shared_ptr<resample_state> state(resample_alloc(rates.out, rates.in, kernel), resample_free);
                return [state](const samples &in, samples &out) {
                    auto used = static_cast<uint32_t>(in.size()), made = static_cast<uint32_t>(out.size());
                    resample_test(state.get(), in.data(), &used, out.data(), &made);
                    return made;
                };
            }};
}

implementation of_lobes(const char *name, uint32_t lobes) {
    return {name, [lobes](rates rates) {
                auto state =
                    std::make_shared<vela::resampler>(*vela::resampler::with_lobes(rates.out, rates.in, lobes));
                return [state](const samples &in, samples &out) {
                    const auto made = state->push(in, std::span(out));
                    return static_cast<uint32_t>(made ? made->size() : 0);
                };
            }};
}

implementation of_quality(const char *name, vela::quality quality) {
    return {name, [quality](rates rates) {
                auto state =
                    std::make_shared<vela::rate_converter<>>(*vela::resampler::make(rates.out, rates.in, quality));
                return [state](const samples &in, samples &out) {
                    const auto made = state->push(in, std::span(out));
                    return static_cast<uint32_t>(made ? made->size() : 0);
                };
            }};
}

// The conversion that resample.h defines as a loop over outputs and taps, which a program would write itself. Only the
// first outputs look for their samples in the history.
int32_t plain_sum(const resample_state &state, const int16_t *in, uint32_t base, uint32_t phase) {
    const uint32_t L = state.interp_factor, T = state.num_coeffs;
    int32_t sum = 0;
    if (base < state.history_len) {
        auto at = static_cast<int32_t>(base);
        for (uint32_t k = phase; k < T; k += L, --at)
            sum += state.coeffs[k] * (at < 0 ? state.history[state.history_len + at] : in[at]);
        return sum;
    }
    const int16_t *newest = in + base;
    if (L > 1) {
        for (uint32_t k = phase; k < T; k += L)
            sum += state.coeffs[k] * *newest--;
        return sum;
    }
    // Consecutive coefficients of a symmetric table: two samples share one.
    const int16_t *oldest = newest - (T - 1);
    for (uint32_t k = 0; k < T / 2; ++k)
        sum += state.coeffs[k] * (newest[-static_cast<int32_t>(k)] + oldest[k]);
    return sum + state.coeffs[T / 2] * oldest[T / 2];
}

void plain_loop(resample_state *state, const int16_t *in, uint32_t *in_count, int16_t *out, uint32_t *out_count) {
    const uint32_t L = state->interp_factor, M = state->decim_factor, end = L * *in_count;
    uint32_t position = state->phase, base = position / L, phase = position % L, made = 0, last = base;
    for (; made < *out_count && position < end; ++made, position += M) {
        const int32_t sample = plain_sum(*state, in, base, phase) >> state->coeff_shift;
        out[made] = static_cast<int16_t>(std::clamp(sample, -32768, 32767));
        last = base;
        for (phase += M; phase >= L; phase -= L)
            ++base;
    }
    const uint32_t consumed = made ? last + (base != last) : *in_count;
    const uint32_t fresh = std::min<uint32_t>(consumed, state->history_len), kept = state->history_len - fresh;
    std::memmove(state->history, state->history + fresh, kept * sizeof *state->history);
    std::copy_n(in + (consumed - fresh), fresh, state->history + kept);
    state->phase = position - L * consumed;
    *in_count = consumed;
    *out_count = made;
}

#ifdef HAVE_SPEEXDSP
implementation speexdsp(const std::string &name, int quality) {
    return {name, [quality](rates rates) {
                std::shared_ptr<SpeexResamplerState> state(
                    speex_resampler_init(1, rates.in, rates.out, quality, nullptr), speex_resampler_destroy);
                return [state](const samples &in, samples &out) {
                    auto used = static_cast<spx_uint32_t>(in.size()), made = static_cast<spx_uint32_t>(out.size());
                    speex_resampler_process_int(state.get(), 0, in.data(), &used, out.data(), &made);
                    return made;
                };
            }};
}
#endif

#ifdef HAVE_SOXR
implementation soxr_of(const char *name, unsigned long recipe) {
    return {name, [recipe](rates rates) {
                soxr_io_spec_t samples16 = soxr_io_spec(SOXR_INT16_I, SOXR_INT16_I);
                samples16.flags = SOXR_NO_DITHER;
                const soxr_quality_spec_t quality = soxr_quality_spec(recipe, 0);
                std::shared_ptr<soxr> state(soxr_create(rates.in, rates.out, 1, nullptr, &samples16, &quality, nullptr),
                                            soxr_delete);
                return [state](const samples &in, samples &out) {
                    size_t used, made;
                    soxr_process(state.get(), in.data(), in.size(), &used, out.data(), out.size(), &made);
                    return static_cast<uint32_t>(made);
                };
            }};
}
#endif

#ifdef HAVE_SAMPLERATE
// Its samples are floats; a program with 16-bit samples converts them with its helpers.
implementation samplerate(const char *name, int type) {
    return {name, [type](rates rates) {
                std::shared_ptr<SRC_STATE> state(src_new(type, 1, nullptr), src_delete);
                return [state, rates, from = std::vector<float>(), to = std::vector<float>()](const samples &in,
                                                                                              samples &out) mutable {
                    from.resize(in.size());
                    to.resize(out.size());
                    src_short_to_float_array(in.data(), from.data(), static_cast<int>(in.size()));
                    SRC_DATA data = {};
                    data.data_in = from.data();
                    data.input_frames = static_cast<long>(in.size());
                    data.data_out = to.data();
                    data.output_frames = static_cast<long>(out.size());
                    data.src_ratio = static_cast<double>(rates.out) / rates.in;
                    src_process(state.get(), &data);
                    src_float_to_short_array(to.data(), out.data(), static_cast<int>(data.output_frames_gen));
                    return static_cast<uint32_t>(data.output_frames_gen);
                };
            }};
}
#endif

const std::vector<implementation> &implementations() {
    static const std::vector<implementation> all = [] {
        std::vector<implementation> made = {
            ours("vela-BILI", RESAMPLE_BILI),
            ours("vela-LANC", RESAMPLE_LANC),
            ours("vela", RESAMPLE_LAN2),
            of_lobes("vela-16-lobes", 16),
            of_quality("vela-speech", vela::quality::speech),
            of_quality("vela-low", vela::quality::low),
            of_quality("vela-medium", vela::quality::medium),
            of_quality("vela-high", vela::quality::high),
            of_quality("vela-best", vela::quality::best),
#ifdef HAVE_SOXR
            soxr_of("soxr-QQ", SOXR_QQ),
            soxr_of("soxr-LQ", SOXR_LQ),
            soxr_of("soxr-MQ", SOXR_MQ),
            soxr_of("soxr-HQ", SOXR_HQ),
            soxr_of("soxr-VHQ", SOXR_VHQ),
#endif
#ifdef HAVE_SAMPLERATE
            samplerate("samplerate-linear", SRC_LINEAR),
            samplerate("samplerate-sinc-fastest", SRC_SINC_FASTEST),
            samplerate("samplerate-sinc-medium", SRC_SINC_MEDIUM_QUALITY),
            samplerate("samplerate-sinc-best", SRC_SINC_BEST_QUALITY),
#endif
        };
#ifdef HAVE_SPEEXDSP
        for (int quality = 0; quality <= SPEEX_RESAMPLER_QUALITY_MAX; ++quality)
            made.push_back(speexdsp("speexdsp-q" + std::to_string(quality), quality));
#endif
        return made;
    }();
    return all;
}

// A sine at half of full scale whose frequency changes linearly within a second.
struct sweep {
    double from, to;
    double at(double seconds) const {
        return 0.5 * std::sin(2 * kPi * (from * seconds + (to - from) * seconds * seconds / 2));
    }
};

samples sampled(const sweep &signal, uint32_t rate) {
    samples made(rate);
    for (uint32_t i = 0; i < rate; ++i)
        made[i] = static_cast<int16_t>(std::lround(32767 * signal.at(static_cast<double>(i) / rate)));
    return made;
}

// The signal-to-noise ratio in dB of every `stride`th sample of a converted sweep, away from its ends, for a delay in
// seconds and the gain that fits best.
double ratio_at(const sweep &signal, const samples &converted, uint32_t rate, double delay, size_t stride) {
    double power = 0, correlation = 0, total = 0;
    for (size_t i = rate / 20; i < converted.size() - rate / 20; i += stride) {
        const double ideal = signal.at(static_cast<double>(i) / rate - delay), is = converted[i];
        power += ideal * ideal;
        correlation += ideal * is;
        total += is * is;
    }
    const double expected = correlation * correlation / power;
    return 10 * std::log10(expected / (total - expected));
}

// A second of the signal, converted.
samples converted(const implementation &one, rates rates, const sweep &signal) {
    samples out(2 * rates.out);
    out.resize(one.make(rates)(sampled(signal, rates.in), out));
    return out;
}

// With the best delay.
double signal_to_noise(const implementation &one, rates rates, const sweep &signal) {
    const samples out = converted(one, rates, signal);
    constexpr double step = 10e-6, max_delay = 20e-3;
    double best = 0, highest = -1000;
    for (double delay = -max_delay; delay <= max_delay; delay += step)
        if (const double ratio = ratio_at(signal, out, rates.out, delay, 31); ratio > highest)
            highest = ratio, best = delay;
    double low = best - step, high = best + step;
    for (int i = 0; i < 40; ++i) {
        const double third = (high - low) / 3;
        const bool lower =
            ratio_at(signal, out, rates.out, low + third, 3) > ratio_at(signal, out, rates.out, high - third, 3);
        (lower ? high : low) += lower ? -third : third;
    }
    return ratio_at(signal, out, rates.out, low, 3);
}

// The attenuation in dB of a converted signal.
double loss(const implementation &one, rates rates, const sweep &signal) {
    const samples out = converted(one, rates, signal);
    double power = 0;
    const size_t begin = out.size() / 4, end = out.size() - out.size() / 8;
    for (size_t i = begin; i < end; ++i)
        power += std::pow(out[i] / (32767 * 0.5), 2) * 2;
    return -10 * std::log10(std::max(power, 1e-9) / static_cast<double>(end - begin));
}

void run_conversion(ratios::State &state, const implementation &one, rates rates) {
    const samples in(sampled({300, 3000}, kBlock));
    samples out(3 * kBlock);
    const converter convert = one.make(rates);
    int64_t made = 0;
    for (auto _ : state) {
        made += convert(in, out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(made);
}

// The end of the pass band in percent of the lower Nyquist frequency: of tones within 0.1 dB. A converter that rejects
// nothing has none.
double pass_band(const implementation &one, rates rates, double nyquist, double rejection) {
    const auto loss_at = [&](int percent) {
        return loss(one, rates, {percent / 100.0 * nyquist, percent / 100.0 * nyquist});
    };
    int percent = 20;
    for (const double level = loss_at(percent); percent < 100 && std::fabs(loss_at(percent + 1) - level) < 0.1;)
        ++percent;
    return rejection < 20 ? 0 : percent;
}

// The signal-to-noise ratio of a tone, of speech, and of everything up to 85 % of the lower Nyquist frequency; the
// rejection of everything from 115 % on, which would alias; the pass band. The tone has no period that divides the
// rates: rounding errors are noise.
void add_accuracy(const std::string &name, const implementation &one, rates rates) {
    const double nyquist = std::min(rates.in, rates.out) / 2.0;
    const auto add_ratio = [&](const char *measure, sweep signal) {
        ratios::add({name, measure, one.name, [=, &one] { return signal_to_noise(one, rates, signal); }});
    };
    add_ratio("SNR of 997 Hz, dB", {997, 997});
    add_ratio("SNR of 0.2 to 3.4 kHz, dB", {200, 3400});
    if (nyquist > 4000)
        add_ratio("SNR of 0.2 to 18.7 kHz, dB", {200, 0.85 * nyquist});
    // Beyond the range of 16 bits, 98 dB, are a few samples of 1 or none.
    const auto rejection = [=, &one] {
        return rates.out < rates.in ? std::min(98.0, loss(one, rates, {1.15 * nyquist, 0.45 * rates.in})) : 98;
    };
    if (rates.out < rates.in)
        ratios::add({name, "rejection of 4.6 kHz and more, dB", one.name, rejection});
    ratios::add({name, "pass band, %", one.name, [=, &one] { return pass_band(one, rates, nyquist, rejection()); }});
}

void add_conversions(rates rates) {
    const std::string name = std::to_string(rates.in) + "->" + std::to_string(rates.out);
    for (const implementation &one : implementations()) {
        ratios::add(name, one.name, [&one, rates](ratios::State &state) { run_conversion(state, one, rates); });
        add_accuracy(name, one, rates);
    }
    ratios::as_good(name, 1);
    ratios::target(name, 3, {"speexdsp-q0", "soxr-QQ", "samplerate-linear"});
}

// One direction of a G.711 law for a block of samples.
template <class From, class To, class Convert>
void add_law(const std::string &name, const char *implementation, Convert convert) {
    std::vector<From> in(kBlock);
    for (size_t i = 0; i < kBlock; ++i)
        in[i] = static_cast<From>(i * 40503 >> 3);
    ratios::add(name, implementation, kBlock,
                [=, out = std::vector<To>(kBlock)]() mutable { convert(in.data(), out.data()); });
}

auto recoding(uint32_t from, uint32_t to) {
    std::shared_ptr<resample_state> state(resample_alloc(8000, 8000, RESAMPLE_BILI), resample_free);
    return [=](const void *in, void *out) {
        uint32_t used = kBlock, made = kBlock;
        resample_mono(state.get(), in, &used, out, &made, from, to);
    };
}

void add_laws() {
    struct law {
        const char *name;
        uint32_t format;
    };
    for (const law &law : {law{"A-law", RESAMPLE_ALAW}, law{"mu-law", RESAMPLE_ULAW}}) {
        const std::string encode = std::string(law.name) + " encode", decode = std::string(law.name) + " decode";
        add_law<int16_t, uint8_t>(encode, "vela", recoding(RESAMPLE_LEND, law.format));
        add_law<uint8_t, int16_t>(decode, "vela", recoding(law.format, RESAMPLE_LEND));
        ratios::target(encode, 3);
        ratios::target(decode, 1.5);
    }
#ifdef HAVE_SPANDSP
    const auto each = [](auto convert) {
        return [convert](const auto *in, auto *out) {
            for (uint32_t i = 0; i < kBlock; ++i)
                out[i] = convert(in[i]);
        };
    };
    add_law<int16_t, uint8_t>("A-law encode", "spandsp", each([](int16_t x) { return linear_to_alaw(x); }));
    add_law<uint8_t, int16_t>("A-law decode", "spandsp", each([](uint8_t x) { return alaw_to_linear(x); }));
    add_law<int16_t, uint8_t>("mu-law encode", "spandsp", each([](int16_t x) { return linear_to_ulaw(x); }));
    add_law<uint8_t, int16_t>("mu-law decode", "spandsp", each([](uint8_t x) { return ulaw_to_linear(x); }));
#endif
}

// Short calls, a filter that is too long for a table of rows, and a table that the caller replaced.
struct call {
    rates at;
    uint32_t kernel, outputs;
    bool has_own_table;

    void run(ratios::State &timed, decltype(&plain_loop) convert) const {
        std::unique_ptr<resample_state, void (*)(resample_state *)> state(resample_alloc(at.out, at.in, kernel),
                                                                          resample_free);
        if (has_own_table) {
            int16_t *const coeffs = state->coeffs;
            state->coeffs = static_cast<int16_t *>(std::malloc(state->num_coeffs * sizeof *coeffs));
            std::copy_n(coeffs, state->num_coeffs, state->coeffs);
            std::free(coeffs);
        }
        const samples in(sampled({300, 3000}, 480 * 600));
        const uint32_t max_inputs = (outputs + 1) * ((at.in - 1) / at.out + 1);
        samples out(outputs);
        int64_t total = 0;
        for (uint32_t begin = 0; auto _ : timed) {
            begin = begin + max_inputs > in.size() ? 0 : begin;
            uint32_t used = max_inputs, made = outputs;
            convert(state.get(), in.data() + begin, &used, out.data(), &made);
            begin += used;
            total += made;
            benchmark::ClobberMemory();
        }
        timed.SetItemsProcessed(total);
    }
};

void add_plain_loops() {
    constexpr call calls[] = {{{44100, 48000}, RESAMPLE_LAN2, 8, false},  {{44100, 48000}, RESAMPLE_LAN2, 24, false},
                              {{44100, 48000}, RESAMPLE_LAN2, 480, true}, {{44100, 8000}, RESAMPLE_LAN2, 8, false},
                              {{44100, 8000}, RESAMPLE_LAN2, 24, false},  {{8000, 16000}, RESAMPLE_LANC, 8, false},
                              {{65, 1}, RESAMPLE_LANC, 480, false},       {{600, 1}, RESAMPLE_LAN2, 8, false},
                              {{600, 1}, RESAMPLE_LAN2, 480, false}};
    for (const call &one : calls) {
        const std::string name = std::to_string(one.at.in) + "->" + std::to_string(one.at.out) + ", " +
                                 std::to_string(one.outputs) +
                                 (one.has_own_table ? " per call, own table" : " per call");
        ratios::add(name, "vela", [=](ratios::State &state) {
            one.run(state, [](resample_state *record, const int16_t *in, uint32_t *used, int16_t *out, uint32_t *made) {
                resample_test(record, in, used, out, made);
            });
        });
        ratios::add(name, "plain-loop", [=](ratios::State &state) { one.run(state, plain_loop); });
        ratios::target(name, 1);
    }
}

// A live stream's packets of 10 ms, beside long calls.
void add_packets(rates rates) {
    const std::string name = std::to_string(rates.in) + "->" + std::to_string(rates.out) + ", high, 10 ms per call";
    const auto add = [&](const char *implementation, uint32_t inputs) {
        ratios::add(name, implementation, [=](ratios::State &state) {
            auto live = *vela::resampler::make(rates.out, rates.in, vela::quality::high);
            const samples in(sampled({300, 3000}, inputs));
            samples out(live.output_count(inputs) + 1);
            size_t made = 0;
            for (auto _ : state) {
                made += live.push(in, std::span(out))->size();
                benchmark::DoNotOptimize(out.data());
            }
            state.SetItemsProcessed(static_cast<int64_t>(made));
        });
    };
    add("vela", rates.in / 100);
    add("vela-long-calls", kBlock);
    ratios::target(name, 1 / 1.5, {"vela-long-calls"});
}

const bool registered = [] {
    for (const rates rates : kRates) {
        add_conversions(rates);
        add_packets(rates);
    }
    add_laws();
    add_plain_loops();
    // With the first packet, which some make their tables for.
    for (const implementation &one : implementations())
        ratios::add("creation and 10 ms, 44100->48000", one.name, 1,
                    [&one, in = sampled({300, 3000}, 441), out = samples(600)]() mutable {
                        return one.make({44100, 48000})(in, out);
                    });
    return true;
}();

} // namespace

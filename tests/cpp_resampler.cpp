// The resampler for C++: nothing lost between packets, latency, flush, channels and longer kernels.
#include "generated.hpp"
#include "models/resample.hpp"
#include "support.hpp"
#include <cmath>
#include <vela/cpp/resampler.hpp>

static_assert(sizeof(vela::resampler) == sizeof(void *));
static_assert(!std::is_copy_constructible_v<vela::resampler>);

namespace {

using model::samples;
using vela::resampler;

constexpr uint32_t kRates[][2] = {{8000, 48000}, {48000, 44100}, {8000, 44100}, {16000, 8000}, {1, 300}, {7, 1}};

} // namespace

TEST(packets_of_any_size_lose_nothing) {
    const samples input = noise<int16_t>(3000, 1);
    for (const auto &[out_rate, in_rate] : kRates)
        for (const uint32_t lobes : {1U, 2U, 5U})
            for (const int longest : {1, 7, 200, 3000}) {
                auto made = resampler::with_lobes(out_rate, in_rate, lobes);
                ck_assert(made.has_value());
                const samples expected = model::resampled(*made->get(), input);
                ck_assert_uint_eq(made->outputs_of(input.size()), expected.size());
                samples out;
                generator random{5};
                for (size_t at = 0, count; at < input.size(); at += count) {
                    count = std::min<size_t>(input.size() - at,
                                             static_cast<size_t>(random.below(static_cast<uint32_t>(longest))) + 1);
                    made->push(std::span(input).subspan(at, count), out);
                }
                if (out != expected)
                    ck_abort_msg("%u to %u, %u lobes, packets of up to %d: %zu samples, expected %zu", in_rate,
                                 out_rate, lobes, longest, out.size(), expected.size());
            }
}

TEST(a_pulse_arrives_after_the_latency) {
    for (const auto &[out_rate, in_rate] : kRates) {
        auto made = resampler::make(out_rate, in_rate, vela::resampler_kernel::lanczos2);
        samples in(4000), out;
        in[2000] = 30000;
        made->push(in, out);
        const auto peak = std::max_element(out.begin(), out.end()) - out.begin();
        const double expected = 2000.0 * out_rate / in_rate + made->latency();
        if (std::fabs(static_cast<double>(peak) - expected) > std::max(1.0, 1.0 * out_rate / in_rate))
            ck_abort_msg("%u to %u: output %td, expected %.2f", in_rate, out_rate, peak, expected);
    }
}

TEST(a_flush_makes_what_was_late_and_begins_anew) {
    for (const auto &[out_rate, in_rate] : kRates) {
        auto made = resampler::make(out_rate, in_rate, vela::resampler_kernel::lanczos2);
        const samples input = noise<int16_t>(2000, 2);
        samples out, again;
        for (samples *each : {&out, &again}) {
            made->push(input, *each);
            made->flush(*each);
        }
        ck_assert(out == again);
        ck_assert(static_cast<double>(out.size()) >= 2000.0 * out_rate / in_rate + made->latency() - 1);
        std::vector<uint8_t> bytes;
        ck_assert(made->push(model::encoded(input, RESAMPLE_BEND), vela::sample_format::big_endian, bytes,
                             vela::sample_format::alaw));
        made->flush(bytes, vela::sample_format::alaw);
        ck_assert(bytes == model::encoded(out, RESAMPLE_ALAW));
        again.clear();
        made->push(input, again);
        made->flush(again);
        ck_assert(out == again);
    }
}

TEST(what_does_not_fit_is_refused_and_changes_nothing) {
    auto made = resampler::make(16000, 8000, vela::resampler_kernel::bilinear);
    const samples input = noise<int16_t>(10, 3);
    samples out(20), few(19);
    ck_assert(!made->push(input, std::span(few)).has_value());
    ck_assert(few == samples(19));
    const auto written = made->push(input, std::span(out));
    ck_assert(written.has_value());
    ck_assert_uint_eq(written->size(), 20);
    std::vector<uint8_t> bytes;
    ck_assert(!made->push(std::vector<uint8_t>(3), vela::sample_format::big_endian, bytes, vela::sample_format::ulaw));
    ck_assert(bytes.empty());
    ck_assert(!resampler::make(0, 1, vela::resampler_kernel::lanczos).has_value());
    for (const uint32_t lobes : {0U, 32769U, UINT32_MAX})
        ck_assert(!resampler::with_lobes(1, 1, lobes).has_value());
}

TEST(channels_are_converted_each_by_itself) {
    const samples left = noise<int16_t>(500, 6), right = noise<int16_t>(500, 7);
    samples frames, out;
    for (size_t i = 0; i < 500; ++i)
        frames.insert(frames.end(), {left[i], right[i]});
    const auto one = [] { return resampler::with_lobes(8000, 48000, 4); };
    auto stereo = vela::interleaved_resampler::make(2, one);
    ck_assert(stereo.has_value());
    ck_assert(!stereo->push(std::span(frames).first(3), out));
    ck_assert(stereo->push(std::span(frames).first(334), out));
    ck_assert(stereo->push(std::span(frames).subspan(334), out));
    stereo->flush(out);
    for (size_t channel = 0; channel < 2; ++channel) {
        samples expected;
        auto mono = one();
        mono->push(channel ? right : left, expected);
        mono->flush(expected);
        ck_assert_uint_eq(out.size(), 2 * expected.size());
        for (size_t i = 0; i < expected.size(); ++i)
            ck_assert_int_eq(out[2 * i + channel], expected[i]);
    }
    ck_assert(!vela::interleaved_resampler::make(0, one).has_value());
}

// The resampler for C++: packets, latency, flush, channels and longer kernels.
#include "generated.hpp"
#include "models/resample.hpp"
#include "support.hpp"
#include <cmath>

static_assert(sizeof(vela::resampler) == sizeof(void *));
static_assert(!std::is_copy_constructible_v<vela::resampler>);

namespace {

using model::samples;
using vela::resampler;

constexpr uint32_t kRates[][2] = {{8000, 48000}, {48000, 44100}, {8000, 44100}, {16000, 8000}, {1, 300}, {7, 1}};

} // namespace

TEST(packets_of_any_size_lose_nothing) {
    uint32_t number = 0;
    for (const auto &[out_rate, in_rate] : kRates)
        for (const uint32_t lobes : {1U, 2U, 5U})
            for (const int32_t longest : {1, 7, 200, 3000}) {
                const uint32_t from = model::kFormats[number % 4], to = model::kFormats[++number / 4 % 4];
                char name[100];
                std::snprintf(name, sizeof name, "%u to %u, %u lobes, packets of up to %d", in_rate, out_rate, lobes,
                              longest);
                model::expect_pushes(value_of(resampler::with_lobes(out_rate, in_rate, lobes)), noise<uint8_t>(3000, 1),
                                     from, to, name, counts_to(longest));
            }
}

TEST(a_pulse_arrives_after_the_latency) {
    for (const auto &[out_rate, in_rate] : kRates) {
        resampler made = value_of(resampler::make(out_rate, in_rate, resampler::kernel::lanczos2));
        samples in(4000), out;
        in[2000] = 30000;
        made.push(in, out);
        const auto peak = static_cast<double>(std::max_element(out.begin(), out.end()) - out.begin());
        ck_assert_double_eq_tol(peak, 2000.0 * out_rate / in_rate + made.latency(),
                                std::max(1.0, 1.0 * out_rate / in_rate));
    }
}

TEST(the_latency_is_half_of_the_kernel) {
    const struct {
        uint32_t out_rate, in_rate, lobes;
        double latency;
    } rows[] = {{1, 1, 1, 0}, {8000, 48000, 16, 95 / 6.0}, {48000, 8000, 16, 95}, {44100, 48000, 3, 479 / 160.0}};
    for (const auto &[out_rate, in_rate, lobes, latency] : rows)
        ck_assert_double_eq(value_of(resampler::with_lobes(out_rate, in_rate, lobes)).latency(), latency);
    ck_assert_double_eq(value_of(resampler::make(16000, 8000, resampler::kernel::bilinear)).latency(), 1);
}

TEST(what_is_refused_changes_nothing) {
    resampler made = value_of(resampler::make(16000, 8000, resampler::kernel::bilinear));
    samples out(20), few(19);
    ck_assert(!made.push(noise<int16_t>(10, 3), std::span(few)));
    ck_assert(few == samples(19));
    ck_assert_uint_eq(value_of(made.push(noise<int16_t>(10, 3), std::span(out))).size(), 20);
    resample_state *const record = made.release();
    ck_assert_uint_eq(record->interp_factor, 2);
    resample_free(record);
    made = value_of(resampler::make(16000, 8000, resampler::kernel::bilinear));
    model::bytes bytes;
    ck_assert(!made.push(model::bytes(3), resampler::format::big_endian, bytes, resampler::format::ulaw));
    ck_assert(bytes.empty());
    ck_assert(!resampler::make(0, 1, resampler::kernel::lanczos));
    for (const uint32_t lobes : {0U, 32769U, UINT32_MAX})
        ck_assert(!resampler::with_lobes(1, 1, lobes));
    ck_assert_uint_eq(value_of(resampler::with_lobes(1, 1, 1)).get()->history_len, 0);
    ck_assert_uint_eq(value_of(resampler::with_lobes(1, 1, 32768)).get()->num_coeffs, 65535);
}

// The vector that the outputs are appended to moves.
TEST(the_input_may_be_a_part_of_the_output_vector) {
    for (const size_t first : {0U, 6U}) {
        const auto make = [] { return resampler::with_lobes(48000, 8000, 4); };
        const samples in = noise<int16_t>(400, 9);
        samples same = in, expected = in;
        same.shrink_to_fit();
        value_of(make()).push(std::span(in).subspan(first), expected);
        value_of(make()).push(std::span(same).subspan(first), same);
        ck_assert(same == expected);

        same = expected = in;
        ck_assert(value_of(vela::interleaved_resampler::make(2, make)).push(std::span(in).subspan(first), expected));
        ck_assert(value_of(vela::interleaved_resampler::make(2, make)).push(std::span(same).subspan(first), same));
        ck_assert(same == expected);

        const model::bytes codes = noise<uint8_t>(400, 9);
        model::bytes together = codes, apart = codes;
        const auto little = resampler::format::little_endian, ulaw = resampler::format::ulaw;
        ck_assert(value_of(make()).push(std::span(codes).subspan(first), ulaw, apart, little));
        ck_assert(value_of(make()).push(std::span(together).subspan(first), ulaw, together, little));
        ck_assert(together == apart);
    }
}

TEST(channels_are_converted_independently) {
    const samples frames = noise<int16_t>(1000, 6);
    samples out;
    const auto make = [] { return resampler::with_lobes(8000, 48000, 4); };
    auto stereo = value_of(vela::interleaved_resampler::make(2, make));
    ck_assert(!stereo.push(std::span(frames).first(3), out));
    ck_assert(stereo.push(std::span(frames).first(334), out));
    ck_assert(stereo.push(std::span(frames).subspan(334), out));
    stereo.flush(out);
    for (size_t channel = 0; channel < 2; ++channel) {
        samples in, expected;
        ck_assert_uint_eq(stereo.channel(channel).get()->decim_factor, 6);
        for (size_t i = channel; i < frames.size(); i += 2)
            in.push_back(frames[i]);
        resampler mono = value_of(make());
        mono.push(in, expected);
        mono.flush(expected);
        ck_assert_uint_eq(out.size(), 2 * expected.size());
        for (size_t i = 0; i < expected.size(); ++i)
            ck_assert_int_eq(out[2 * i + channel], expected[i]);
    }
    ck_assert(!vela::interleaved_resampler::make(0, make));
    ck_assert(!vela::interleaved_resampler::make(1, [] { return resampler::with_lobes(1, 1, 0); }));
}

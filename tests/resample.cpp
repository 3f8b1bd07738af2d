// The resampler: its kernel tables and its laws as documented, and streams by the definition, however they are cut.
#include "models/resample.hpp"
#include "generated.hpp"
#include "support.hpp"
#include <cmath>
#include <utility>

namespace {

using model::bytes, model::samples, model::converter, model::make_converter;

std::string text_of(std::span<const int16_t> numbers) {
    std::string text;
    for (const int16_t number : numbers)
        text += std::to_string(number) + " ";
    return text;
}
std::string position_of(const converter &made) {
    return std::to_string(made->phase) + " | " + text_of({made->history, made->history_len});
}

// The outputs of one call with a given capacity. Used samples are removed from the input.
samples call(resample_state &state, samples &in, uint32_t capacity) {
    bytes from = model::encoded(in, RESAMPLE_LEND), out(2 * capacity);
    auto used = static_cast<uint32_t>(in.size());
    resample_test(&state, reinterpret_cast<int16_t *>(from.data()), &used, reinterpret_cast<int16_t *>(out.data()),
                  &capacity);
    in.erase(in.begin(), in.begin() + used);
    out.resize(2 * capacity);
    return model::decoded(out, RESAMPLE_LEND);
}

} // namespace

// Every coefficient of all pairs of common rates: the kernel in double precision, times 16384, rounded half up above
// zero and towards zero below. Where that comes near an integer single precision decides, but the same on each side.
TEST(tables_of_common_rates_are_their_kernels) {
    const uint32_t rates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000, 96000};
    for (const uint32_t kernel : model::kKernels)
        for (const uint32_t out_rate : rates)
            for (const uint32_t in_rate : rates) {
                const converter made = make_converter(out_rate, in_rate, kernel);
                const double L = made->interp_factor, M = made->decim_factor, slower = std::max(L, M);
                const int lobes = kernel == RESAMPLE_LANC ? 1 : 2, T = made->num_coeffs;
                const std::string name =
                    std::to_string(in_rate) + " to " + std::to_string(out_rate) + ", kernel " + std::to_string(kernel);
                agree("taps", name, T, kernel == RESAMPLE_BILI ? 2 * int(L) - 1 : 2 * lobes * int(slower) - 1);
                for (int k = 0; k < T; ++k) {
                    const double x = (k - T / 2) / (kernel == RESAMPLE_BILI ? L : slower);
                    const double weight =
                        kernel == RESAMPLE_BILI ? 1 - std::fabs(x) : std::min(L / M, 1.0) * sinc(x) * sinc(x / lobes);
                    const double lowest = weight * 16384 + 0.495, highest = weight * 16384 + 0.505;
                    ck_assert_msg(made->coeffs[k] == std::trunc(lowest) || made->coeffs[k] == std::trunc(highest),
                                  "%s: coefficient %d is %d, not %g", name.c_str(), k, made->coeffs[k], lowest);
                    agree("symmetry", name, made->coeffs[k], made->coeffs[T - 1 - k]);
                }
            }
}

TEST(tables_that_cannot_be_are_refused_and_those_that_were_stay) {
    const uint32_t impossible[][3] = {{0, 1, RESAMPLE_LANC},     {1, 0, RESAMPLE_BILI},     {32769, 1, RESAMPLE_LANC},
                                      {1, 32769, RESAMPLE_LANC}, {16385, 1, RESAMPLE_LAN2}, {32769, 1, RESAMPLE_BILI}};
    for (const auto &[out_rate, in_rate, kernel] : impossible)
        ck_assert_msg(!resample_alloc(out_rate, in_rate, kernel), "%u to %u, kernel %X", in_rate, out_rate, kernel);
    for (const auto &[out_rate, in_rate, kernel] :
         {std::tuple(32768, 1U, RESAMPLE_LANC), {1, 16384, RESAMPLE_LAN2}, {1, UINT32_MAX, RESAMPLE_BILI}})
        ck_assert_ptr_nonnull(make_converter(out_rate, in_rate, kernel).get());
    const converter made = make_converter(3, 1, RESAMPLE_BILI);
    for (const int32_t lobes : {0, -1, INT32_MIN, 10923, INT32_MAX})
        init_lanczos(made.get(), lobes);
    made->interp_factor = 32769;
    init_bilinear(made.get());
    made->decim_factor = UINT32_MAX;
    init_lanczos(made.get(), INT32_MAX);
    assert_text_eq(text_of({made->coeffs, made->num_coeffs}), "5461 10923 16384 10923 5461 ");
}

TEST(sinc_is_1_around_0_and_0_at_the_lobes) {
    ck_assert(sinc(0) == 1);
    ck_assert(sinc(-1e-14) == 1);
    ck_assert_double_eq_tol(sinc(0.5), 0.6366197723675814, 1e-15);
    ck_assert_double_eq_tol(sinc(-3), 0, 1e-15);
}

// Tables, and consecutive calls: samples added to those left, capacity, outputs, samples left, phase and history.
TEST(calls_leave_what_the_next_one_needs) {
    using step = std::tuple<samples, uint32_t, const char *, const char *, const char *>;
    // clang-format off
    const std::tuple<uint32_t, uint32_t, uint32_t, const char *, std::vector<step>> rows[] = {
        {16000, 8000, RESAMPLE_LANC, "6640 16384 6640 ", {
            {{1000, 2000, 3000, 4000}, 100, "405 1000 1215 2000 2026 3000 2836 4000 ", "", "0 | 4000 "},
            {{5000, 6000}, 3, "3647 5000 4458 ", "6000 ", "1 | 5000 "}, {{}, 3, "6000 ", "", "0 | 6000 "}}},
        {8000, 16000, RESAMPLE_LAN2, "-521 0 4695 8192 4695 0 -521 ", {{{9}, 0, "", "9 ", "0 | 0 0 0 0 0 0 "}}},
        {8000, 24000, RESAMPLE_BILI, "16384 ", {
            {{10, 20, 30, 40, 50, 60, 70}, 9, "10 40 70 ", "", "2 | "}, {{80, 90, 100}, 9, "100 ", "", "2 | "}}},
        // Any other tag is RESAMPLE_BILI.
        {3, 1, 1, "5461 10923 16384 10923 5461 ", {{{300, 600}, 9, "99 200 300 399 500 600 ", "", "0 | 600 "}}},
        {8000, 8000, RESAMPLE_LANC, "16384 ", {{{7, 8, -9}, 2, "7 8 ", "-9 ", "0 | "}, {{5}, 9, "-9 5 ", "", "0 | "}}},
        // The newest input stays out of the history until no output needs it as its newest.
        {1, 3, RESAMPLE_LANC, "934 3735 5461 3735 934 ", {
            {{1, 2}, 9, "0 ", "2 ", "2 | 0 0 0 1 "}, {{}, 9, "", "", "1 | 0 0 1 2 "}}},
    };
    // clang-format on
    for (const auto &[out_rate, in_rate, kernel, table, steps] : rows) {
        const converter made(resample_alloc(out_rate, in_rate, kernel), resample_free);
        assert_text_eq(text_of({made->coeffs, made->num_coeffs}), table);
        const std::string start = position_of(made);
        samples waiting;
        for (const auto &[in, capacity, out, left, position] : steps) {
            waiting.insert(waiting.end(), in.begin(), in.end());
            assert_text_eq(text_of(call(*made, waiting, capacity)), out);
            assert_text_eq(text_of(waiting), left);
            assert_text_eq(position_of(made), position);
        }
        resample_reset(made.get());
        assert_text_eq(position_of(made), start);
    }
}

TEST(laws_have_known_codes) {
    const samples linear = {0, -1, 32767, -32768, 1000, -1000, 4, -4};
    const bytes alaw = {0xD5, 0x55, 0xAA, 0x2A, 0xFA, 0x7A, 0xD5, 0x55},
                ulaw = {0xFF, 0x7F, 0x80, 0x00, 0xCE, 0x4E, 0xFE, 0x7F};
    ck_assert(model::encoded(linear, RESAMPLE_ALAW) == alaw);
    ck_assert(model::encoded(linear, RESAMPLE_ULAW) == ulaw);
    assert_text_eq(text_of(model::decoded(alaw, RESAMPLE_ALAW)), "8 -8 32256 -32256 1008 -1008 8 -8 ");
    assert_text_eq(text_of(model::decoded(ulaw, RESAMPLE_ULAW)), "0 0 32124 -32124 988 -988 8 0 ");
    // All values and all codes, against the model.
    samples values(65536);
    std::iota(values.begin(), values.end(), INT16_MIN);
    bytes codes(256);
    std::iota(codes.begin(), codes.end(), uint8_t{0});
    const converter made = make_converter(1, 1, RESAMPLE_BILI);
    for (const uint32_t law : {RESAMPLE_ALAW, RESAMPLE_ULAW}) {
        const auto whole = [] { return 65536; };
        model::expect_stream(*made, model::encoded(values, RESAMPLE_BEND), RESAMPLE_BEND, law, "all values", whole);
        model::expect_stream(*made, codes, law, RESAMPLE_LEND, "all codes", whole);
    }
}

// Short calls go by the table, long ones by rows with the vector unit, aligned ones straight from the input, others in
// pieces; tables are not symmetric.
TEST(any_cut_gives_the_outputs_of_the_definition) {
    constexpr uint32_t rates[][2] = {{48000, 44100}, {44100, 48000}, {8000, 48000}, {16000, 8000}, {8000, 44100},
                                     {1, 1},         {7, 1},         {4, 6},        {1, 70},       {1, 300},
                                     {20, 17},       {1, 6},         {1, 8},        {1, 12},       {3, 7}};
    uint32_t number = 0;
    for (const auto &[out_rate, in_rate] : rates)
        for (const uint32_t kernel :
             {uint32_t{RESAMPLE_LANC}, uint32_t{RESAMPLE_LAN2}, uint32_t{RESAMPLE_BILI}, 4U, 16U})
            for (const uint32_t from : model::kFormats)
                for (const int32_t longest : {1, 10, 100, 1500, 100000}) {
                    const uint32_t to = model::kFormats[number++ % 4];
                    const converter made = make_converter(out_rate, in_rate, kernel);
                    if (made->num_coeffs > 1)
                        made->coeffs[1] ^= 1000;
                    if (number % 3 == 0) // as in a record that a program fills in by itself
                        std::free(std::exchange(made->plan, nullptr));
                    char name[100];
                    std::snprintf(name, sizeof name, "%u to %u, kernel %X, %X to %X, calls of up to %d", in_rate,
                                  out_rate, kernel, from, to, longest);
                    model::expect_stream(*made, noise<uint8_t>(5200, from), from, to, name, counts_to(longest));
                }
}

// What a caller does to the table between calls counts from the next call on.
TEST(tables_of_the_callers_own) {
    const bytes input = noise<uint8_t>(400, 1);
    const auto expect = [&input](resample_state &state, const std::string &name) {
        resample_reset(&state);
        model::expect_stream(state, input, RESAMPLE_LEND, RESAMPLE_LEND, name, counts_to(200));
    };
    const converter each = make_converter(7, 32, RESAMPLE_LAN2), made = make_converter(3, 2, RESAMPLE_LAN2);
    for (uint32_t k = 0; k < each->num_coeffs; ++k) {
        each->coeffs[k] ^= 4096;
        expect(*each, "coefficient " + std::to_string(k));
    }
    expect(*made, "as it was");
    made->coeff_shift = 12;
    expect(*made, "12 bits of fraction");
    init_bilinear(made.get());
    expect(*made, "bilinear");
    init_lanczos(made.get(), 3);
    expect(*made, "taps that reach farther than the history");
    ck_assert_int_eq(made->num_coeffs, 17);
    const converter full = make_converter(3, 1, 4);
    full->num_coeffs = 12;
    expect(*full, "a coefficient for each of the taps");
    const converter copy = make_converter(8000, 8000, RESAMPLE_BILI);
    copy->coeffs[0] = 8192;
    expect(*copy, "half as loud");
    // Outputs no steps apart: the same one until the buffer is full.
    samples in = {300, -3};
    copy->decim_factor = 0;
    assert_text_eq(text_of(call(*copy, in, 5)), "150 150 150 150 150 ");
    assert_text_eq(text_of(in), "300 -3 ");
}

// What the caller changes between calls, in any order, counts from the next call on: a phase beyond both factors too.
TEST(records_changed_between_calls) {
    for (uint32_t seed = 1; seed <= 150; ++seed) {
        model::changed_record record;
        generator random{seed};
        const auto below = [&random](uint32_t end) { return static_cast<uint32_t>(random.below(end)); };
        std::string name = "seed " + std::to_string(seed);
        for (int calls = 0; calls < 20; ++calls) {
            for (uint32_t changes = below(4); changes; --changes)
                name += ", " + record.change(below);
            const uint32_t from = model::kFormats[below(4)], to = model::kFormats[below(4)];
            const uint32_t count = 1 + below(below(8) ? 200 : 6000), capacity = 1 + below(below(8) ? 300 : 9000);
            model::expect_call(*record.made, noise<uint8_t>(count * model::size_of(from), seed), from, to, capacity,
                               name + ", call of " + std::to_string(count));
        }
    }
}

// Positions in a call of more than 2^32 steps.
TEST(calls_of_more_steps_than_32_bits_count) {
    model::changed_record record;
    record.made->interp_factor = 65535;
    record.made->decim_factor = 65535 * 7 + 1;
    model::expect_call(*record.made, noise<uint8_t>(140000, 1), RESAMPLE_LEND, RESAMPLE_LEND, 9000, "to its end");
    model::expect_call(*record.made, noise<uint8_t>(140000, 2), RESAMPLE_LEND, RESAMPLE_ALAW, 9999, "to its end");
}

// The level in dB of what becomes of a tone.
double level_of(resample_state &state, double rate, double frequency) {
    samples in(48000);
    for (size_t i = 0; i < in.size(); ++i)
        in[i] = static_cast<int16_t>(
            std::lround(16000 * std::sin(2 * 3.141592653589793 * frequency * static_cast<double>(i) / rate)));
    const samples out = call(state, in, 48000);
    double power = 0;
    for (size_t i = out.size() / 4; i < out.size(); ++i)
        power += std::pow(out[i] / 16000.0, 2) * 2;
    return 10 * std::log10(power / (static_cast<double>(out.size()) * 3 / 4));
}

// The last two: more lobes than the history reaches for lose what lies farther back.
TEST(kernels_pass_and_stop_what_the_header_says) {
    // clang-format off
    constexpr std::tuple<uint32_t, int32_t, double, double> rows[] = {
        {2, 2, 1000, 0.0}, {2, 2, 3000, -2.2}, {2, 2, 5000, -13.0}, {4, 4, 3000, -0.4}, {4, 4, 5000, -26.2},
        {8, 8, 3700, -1.7}, {8, 8, 5000, -46.3}, {16, 16, 3700, -0.1}, {16, 16, 5000, -65.7},
        {RESAMPLE_LAN2, 4, 50, -7.6}, {RESAMPLE_LAN2, 8, 50, -35.9},
    };
    // clang-format on
    for (const auto &[kernel, lobes, frequency, expected] : rows) {
        const converter made = make_converter(8000, 48000, kernel);
        init_lanczos(made.get(), lobes);
        const double level = level_of(*made, 48000, frequency);
        ck_assert_msg(std::fabs(level - expected) < 0.1 - expected / 100, "%d lobes at %.0f Hz: %.2f dB, not %.1f",
                      lobes, frequency, level, expected);
    }
}

TEST(calls_that_do_nothing) {
    const converter made = make_converter(2, 3, RESAMPLE_LAN2);
    samples before = noise<int16_t>(64, 5);
    call(*made, before, 99);
    const std::string position = position_of(made);
    const bytes blank(16, 0xA5);
    bytes in(10), out = blank;
    // Buffers, counts and formats, and the counts afterwards.
    // clang-format off
    const std::tuple<uint8_t *, uint8_t *, uint32_t, uint32_t, uint32_t, uint32_t, const char *> rows[] = {
        {nullptr, &out[0], 5, 6, RESAMPLE_LEND, RESAMPLE_LEND, "0 0"}, {&in[0], &out[0], 5, 6, RESAMPLE_LEND, 0, "5 6"},
        {&in[0], nullptr, 5, 6, RESAMPLE_LEND, RESAMPLE_LEND, "0 0"}, {&in[0], &out[0], 5, 6, 1, RESAMPLE_LEND, "5 6"},
        {&in[0], &out[0], 0, 6, RESAMPLE_ALAW, RESAMPLE_LEND, "0 0"},
        {&in[0], &out[0], 5, 0, RESAMPLE_LEND, RESAMPLE_ULAW, "0 0"},
    };
    // clang-format on
    for (auto [from, to, used, capacity, in_format, out_format, left] : rows) {
        resample_mono(made.get(), from, &used, to, &capacity, in_format, out_format);
        assert_text_eq(std::to_string(used) + " " + std::to_string(capacity), left);
        assert_text_eq(position_of(made), position);
        ck_assert(out == blank);
    }
    made->interp_factor = 0;
    assert_text_eq(text_of(call(*made, before = {1, 2}, 5)), "");
    assert_text_eq(text_of(before), "1 2 ");
    resample_free(nullptr);
}

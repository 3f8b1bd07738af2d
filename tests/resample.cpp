#include "models/resample.hpp"
#include "generated.hpp"
#include "support.hpp"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <string>
#include <tuple>
#include <utility>
#include <vector>
#include <vela/resample.h>

namespace {

using model::bytes;
using model::samples;
using model::size_of;

constexpr uint32_t kFormats[] = {RESAMPLE_LEND, RESAMPLE_BEND, RESAMPLE_ALAW, RESAMPLE_ULAW};
constexpr uint32_t kKernels[] = {RESAMPLE_LANC, RESAMPLE_LAN2, RESAMPLE_BILI};

struct converter {
    std::unique_ptr<resample_state, void (*)(resample_state *)> state;
    bool odd = false; // the next call's buffers lie at odd addresses

    converter(uint32_t out_rate, uint32_t in_rate, uint32_t kernel)
        : state(resample_alloc(out_rate, in_rate, kernel), resample_free) {
        ck_assert_ptr_nonnull(state.get());
    }
    resample_state *operator->() const { return state.get(); }
    samples table() const { return {state->coeffs, state->coeffs + state->num_coeffs}; }
    samples history() const { return {state->history, state->history + state->history_len}; }

    // One call on the samples from `input` on; what is made joins `output`. The input's buffer ends exactly where the
    // samples do, and what lies behind the samples made must stay as it was. Returns the samples consumed.
    uint32_t call(const uint8_t *input, uint32_t in_count, bytes &output, uint32_t room, uint32_t from, uint32_t to) {
        bytes in(odd + in_count * size_of(from)), out(odd + room * size_of(to) + 16, 0xA5);
        std::copy(input, input + in_count * size_of(from), in.begin() + odd);
        uint32_t used = in_count, made = room;
        if (from == RESAMPLE_LEND && to == RESAMPLE_LEND && !odd)
            resample_test(state.get(), reinterpret_cast<const int16_t *>(in.data()), &used,
                          reinterpret_cast<int16_t *>(out.data()), &made);
        else
            resample_mono(state.get(), in.data() + odd, &used, out.data() + odd, &made, from, to);
        const auto begin = out.begin() + odd, end = begin + made * size_of(to);
        if (used > in_count || made > room || std::count(end, out.end(), 0xA5) != out.end() - end)
            ck_abort_msg("%u of %u used, %u of %u made", used, in_count, made, room);
        output.insert(output.end(), begin, end);
        odd = !odd;
        return used;
    }

    // A whole stream, in calls of random counts and rooms up to `longest`, or in as few as can be.
    bytes stream(const bytes &input, uint32_t from, uint32_t to, uint32_t longest = 0) {
        bytes output;
        generator random{longest};
        const auto cut = [&] { return longest ? 1 + static_cast<uint32_t>(random.below(longest)) : 20000; };
        for (uint32_t left = static_cast<uint32_t>(input.size()) / size_of(from), used; left; left -= used) {
            const uint32_t count = std::min(left, cut()), room = cut();
            used = call(input.data() + input.size() - left * size_of(from), count, output, room, from, to);
            if (output.size() > 64 * input.size())
                ck_abort_msg("a stream without end");
        }
        return output;
    }
    bool stands_like(const converter &other) const {
        return state->phase == other->phase && history() == other.history();
    }
};

bytes lend(const samples &from) { return model::encoded(from, RESAMPLE_LEND); }

// Compares bytes, and names the first that differ.
void assert_bytes(const bytes &is, const bytes &expected, const std::string &what) {
    const auto at =
        static_cast<size_t>(std::mismatch(is.begin(), is.end(), expected.begin(), expected.end()).first - is.begin());
    if (is != expected)
        ck_abort_msg("%s: byte %zu of %zu (%zu expected) is %d, expected %d", what.c_str(), at, is.size(),
                     expected.size(), at < is.size() ? is[at] : -1, at < expected.size() ? expected[at] : -1);
}

bytes recoded(const bytes &from_bytes, uint32_t from, uint32_t to) {
    return converter(1, 1, RESAMPLE_BILI).stream(from_bytes, from, to);
}

} // namespace

TEST(kernel_tables) {
    const samples thirds = {5461, 10923, 16384, 10923, 5461};
    const struct {
        uint32_t out_rate, in_rate, kernel, L, M;
        samples table;
        int history_len;
        // clang-format off
    } rows[] = {
        {16, 8, RESAMPLE_LANC, 2, 1, {6640, 16384, 6640}, 1}, {8000, 16000, RESAMPLE_LANC, 1, 2, {3320, 8192, 3320}, 2},
        {8, 16, RESAMPLE_LAN2, 1, 2, {-521, 0, 4695, 8192, 4695, 0, -521}, 6}, {3, 1, RESAMPLE_BILI, 3, 1, thirds, 1},
        {4, 6, RESAMPLE_LANC, 2, 3, {1868, 7470, 10923, 7470, 1868}, 2}, {3, 1, 0, 3, 1, thirds, 1},
        {8, 8, RESAMPLE_LANC, 1, 1, {16384}, 0}, {8, 8, RESAMPLE_BILI, 1, 1, {16384}, 0},
        {8, 8, RESAMPLE_LAN2, 1, 1, {0, 16384, 0}, 2},
    };
    // clang-format on
    for (const auto &row : rows) {
        const converter made(row.out_rate, row.in_rate, row.kernel);
        ck_assert(made->interp_factor == row.L);
        ck_assert(made->decim_factor == row.M);
        ck_assert(made->coeff_shift == 14);
        ck_assert(made.table() == row.table);
        ck_assert(made->phase == 0);
        ck_assert(made.history() == samples(row.history_len));
    }

    // Every coefficient of all pairs of common rates, the same on every machine. The digest stands for 300 tables;
    // their kernels in double, written down from the header, give it anew.
    const uint32_t rates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000, 96000};
    digest all;
    for (const uint32_t kernel : kKernels)
        for (const uint32_t out_rate : rates)
            for (const uint32_t in_rate : rates) {
                const samples table = converter(out_rate, in_rate, kernel).table();
                ck_assert(std::equal(table.begin(), table.end(), table.rbegin()));
                all.add(table);
            }
    assert_digest(all, 0x96C6C31543213C42);

    const uint32_t impossible[][3] = {{0, 1, RESAMPLE_LANC},     {1, 0, RESAMPLE_BILI},     {32769, 1, RESAMPLE_LANC},
                                      {1, 32769, RESAMPLE_LANC}, {16385, 1, RESAMPLE_LAN2}, {32769, 1, RESAMPLE_BILI}};
    for (const auto &[out_rate, in_rate, kernel] : impossible)
        ck_assert_ptr_null(resample_alloc(out_rate, in_rate, kernel));
    const uint32_t possible[][3] = {
        {32768, 1, RESAMPLE_LANC}, {1, 16384, RESAMPLE_LAN2}, {1, UINT32_MAX, RESAMPLE_BILI}};
    for (const auto &[out_rate, in_rate, kernel] : possible)
        converter(out_rate, in_rate, kernel);

    // A record whose new table can't be stays as it was.
    const converter made(3, 1, RESAMPLE_BILI);
    for (const int32_t lobes : {0, -1, INT32_MIN, 10923, INT32_MAX})
        init_lanczos(made.state.get(), lobes);
    made->interp_factor = 32769;
    init_bilinear(made.state.get());
    ck_assert(made.table() == thirds);
    const converter longest(1, UINT32_MAX, RESAMPLE_BILI);
    init_lanczos(longest.state.get(), INT32_MAX);
    ck_assert_int_eq(longest->num_coeffs, 1);

    ck_assert(sinc(0) == 1);
    ck_assert(sinc(-1e-14) == 1);
    ck_assert(std::fabs(sinc(0.5) - 0.6366197723675814) <= 1e-15);
    ck_assert(std::fabs(sinc(-3)) <= 1e-15);
}

// Calls one after the other on one record, from and to linear samples.
TEST(call_by_call) {
    struct step {
        samples in;
        uint32_t room;
        samples out;
        uint32_t consumed, phase;
        samples history;
    };
    const struct {
        uint32_t out_rate, in_rate, kernel;
        std::vector<step> steps;
        // clang-format off
    } rows[] = {
        {16000, 8000, RESAMPLE_LANC,
         {{{1000, 2000, 3000, 4000}, 100, {405, 1000, 1215, 2000, 2026, 3000, 2836, 4000}, 4, 0, {4000}},
          {{5000, 6000}, 100, {3647, 5000, 4458, 6000}, 2, 0, {6000}}}},
        {16000, 8000, RESAMPLE_LANC,
         {{{1000, 2000, 3000, 4000}, 3, {405, 1000, 1215}, 1, 1, {1000}},
          {{2000, 3000, 4000}, 3, {2000, 2026, 3000}, 2, 0, {3000}}}},
        {8000, 16000, RESAMPLE_LANC, {{{1000, 2000, 3000, 4000, 5000}, 9, {202, 1810, 3621}, 5, 1, {4000, 5000}}}},
        {3, 1, RESAMPLE_BILI, {{{300, 600}, 9, {99, 200, 300, 399, 500, 600}, 2, 0, {600}}}},
        {8000, 24000, RESAMPLE_BILI,
         {{{10, 20, 30, 40, 50, 60, 70}, 9, {10, 40, 70}, 7, 2, {}}, {{80}, 9, {}, 1, 1, {}}, {{90}, 9, {}, 1, 0, {}},
          {{100}, 9, {100}, 1, 2, {}}}},
        {8000, 8000, RESAMPLE_LANC, {{{7, 8, -9}, 2, {7, 8}, 2, 0, {}}}},
        // The newest input stays out of the history until no output needs it as its newest.
        {1, 3, RESAMPLE_LANC, {{{1, 2}, 9, {0}, 1, 2, {0, 0, 0, 1}}, {{2}, 9, {}, 1, 1, {0, 0, 1, 2}}}},
    };
    // clang-format on
    for (const auto &row : rows) {
        converter made(row.out_rate, row.in_rate, row.kernel);
        for (const step &step : row.steps) {
            bytes in = lend(step.in), out;
            const auto count = static_cast<uint32_t>(step.in.size());
            const uint32_t used = made.call(in.data(), count, out, step.room, RESAMPLE_LEND, RESAMPLE_LEND);
            ck_assert(out == lend(step.out));
            ck_assert(used == step.consumed);
            ck_assert(made->phase == step.phase);
            ck_assert(made.history() == step.history);
        }
        resample_reset(made.state.get());
        ck_assert(made.stands_like(converter(row.out_rate, row.in_rate, row.kernel)));
    }
}

TEST(sample_formats) {
    const struct {
        uint32_t format;
        int16_t sample;
        uint8_t code;
        int16_t back;
        // clang-format off
    } rows[] = {
        {RESAMPLE_ALAW, 0, 0xD5, 8}, {RESAMPLE_ALAW, -1, 0x55, -8}, {RESAMPLE_ALAW, 32767, 0xAA, 32256},
        {RESAMPLE_ALAW, -32768, 0x2A, -32256}, {RESAMPLE_ALAW, 1000, 0xFA, 1008}, {RESAMPLE_ALAW, -1000, 0x7A, -1008},
        {RESAMPLE_ULAW, 0, 0xFF, 0}, {RESAMPLE_ULAW, -1, 0x7F, 0}, {RESAMPLE_ULAW, 32767, 0x80, 32124},
        {RESAMPLE_ULAW, -32768, 0x00, -32124}, {RESAMPLE_ULAW, 1000, 0xCE, 988}, {RESAMPLE_ULAW, -1000, 0x4E, -988},
        {RESAMPLE_ULAW, 4, 0xFE, 8}, {RESAMPLE_ULAW, -4, 0x7F, 0},
    };
    // clang-format on
    for (const auto &row : rows) {
        const bytes code = recoded(lend({row.sample}), RESAMPLE_LEND, row.format);
        ck_assert(code == bytes{row.code});
        ck_assert(recoded(code, row.format, RESAMPLE_LEND) == lend({row.back}));
    }

    // All values and all codes of both laws.
    samples values(65536);
    std::iota(values.begin(), values.end(), INT16_MIN);
    bytes codes(256);
    std::iota(codes.begin(), codes.end(), uint8_t{0});
    for (const uint32_t law : {RESAMPLE_ALAW, RESAMPLE_ULAW}) {
        const std::string name = law == RESAMPLE_ALAW ? "A-law" : "mu-law";
        assert_bytes(recoded(lend(values), RESAMPLE_LEND, law), model::encoded(values, law), name + " of all values");
        assert_bytes(recoded(codes, law, RESAMPLE_LEND), lend(model::decoded(codes, law)), name + ", all codes");
    }
    ck_assert(recoded(codes, RESAMPLE_ALAW, RESAMPLE_ALAW) == codes);
    bytes survivors = codes;
    survivors[0x7F] = 0xFF;
    ck_assert(recoded(codes, RESAMPLE_ULAW, RESAMPLE_ULAW) == survivors);
    ck_assert(recoded({0x12, 0x34}, RESAMPLE_LEND, RESAMPLE_BEND) == (bytes{0x34, 0x12}));
    ck_assert(recoded({0x12, 0x34}, RESAMPLE_BEND, RESAMPLE_LEND) == (bytes{0x34, 0x12}));
}

// However a stream is cut into calls, the output is that of the definition. Short calls go by the table, long ones by
// rows with the vector unit, aligned ones straight from the input, others in pieces.
TEST(any_cut_gives_the_outputs_of_the_definition) {
    const uint32_t rates[][2] = {{48000, 44100}, {44100, 48000}, {8000, 48000}, {16000, 8000}, {8000, 44100},
                                 {1, 1},         {7, 1},         {4, 6},        {1, 70},       {1, 300},
                                 {20, 17},       {1, 6},         {1, 8},        {1, 12}};
    for (const auto &[out_rate, in_rate] : rates)
        for (const uint32_t kernel : kKernels)
            for (const uint32_t from : kFormats) {
                const bytes input = noise<uint8_t>(5200, from);
                const converter fresh(out_rate, in_rate, kernel);
                const samples expected = model::resampled(*fresh.state, model::decoded(input, from));
                for (const uint32_t to : kFormats)
                    for (const uint32_t longest : {0U, 1U, 10U, 100U, 1500U}) {
                        converter made(out_rate, in_rate, kernel);
                        const bytes output = made.stream(input, from, to, longest);
                        char what[100];
                        std::snprintf(what, sizeof what, "%u to %u, kernel %X, %X to %X, calls of up to %u", in_rate,
                                      out_rate, kernel, from, to, longest);
                        assert_bytes(output, model::encoded(expected, to), what);
                    }
            }
}

// What a caller does to the table between calls counts from the next call on.
TEST(tables_of_the_callers_own) {
    void (*const changes[])(resample_state *) = {
        [](resample_state *) {},
        [](resample_state *state) { state->coeffs[state->num_coeffs - 1U] = 12345; },
        [](resample_state *state) { state->coeff_shift = 12; },
        init_bilinear,
        [](resample_state *state) { init_lanczos(state, 2); },
        [](resample_state *state) { init_lanczos(state, 3); }, // reaches back farther than the history
    };
    converter fast(3, 2, RESAMPLE_LAN2), plain(3, 2, RESAMPLE_LAN2);
    const bytes input = noise<uint8_t>(400, 1);
    for (const auto change : changes) {
        change(fast.state.get());
        change(plain.state.get());
        ck_assert(fast.stream(input, RESAMPLE_LEND, RESAMPLE_LEND) ==
                  plain.stream(input, RESAMPLE_LEND, RESAMPLE_LEND, 1));
    }
    ck_assert_int_eq(fast->num_coeffs, 17);

    converter each(7, 32, RESAMPLE_LAN2);
    for (uint32_t k = 0; k < each->num_coeffs; ++k) {
        each->coeffs[k] ^= 4096;
        resample_reset(each.state.get());
        const samples expected = model::resampled(*each.state, model::decoded(input, RESAMPLE_LEND));
        assert_bytes(each.stream(input, RESAMPLE_LEND, RESAMPLE_LEND), lend(expected),
                     "coefficient " + std::to_string(k));
    }

    converter copy(8000, 8000, RESAMPLE_BILI);
    copy->coeffs[0] = 8192;
    ck_assert(copy.stream(lend({300, -3}), RESAMPLE_LEND, RESAMPLE_LEND) == lend({150, -2}));
}

// A record that a program fills in by itself has no plan; its table and history are what the program says.
TEST(records_filled_in_by_hand) {
    int16_t table[] = {100, 5000, 9000, 12000, 9000, 5000, 100}, history[3] = {};
    resample_state state = {};
    state.interp_factor = 2;
    state.decim_factor = 3;
    state.coeffs = table;
    state.num_coeffs = 7;
    state.coeff_shift = 14;
    state.history = history;
    state.history_len = 3;
    const bytes input = noise<uint8_t>(3000, 8);
    const samples expected = model::resampled(state, model::decoded(input, RESAMPLE_ULAW));
    uint32_t used = 3000, made = 3000;
    bytes out(2 * made);
    resample_mono(&state, input.data(), &used, out.data(), &made, RESAMPLE_ULAW, RESAMPLE_LEND);
    out.resize(2 * made);
    assert_bytes(out, lend(expected), "7 coefficients");

    // Outputs 0 steps apart: the same one until the room is full.
    resample_reset(&state);
    state.decim_factor = 0;
    const bytes in = lend({1000, 2000});
    used = 2;
    made = 5;
    resample_mono(&state, in.data(), &used, out.data(), &made, RESAMPLE_LEND, RESAMPLE_LEND);
    ck_assert_int_eq(made, 5);
    ck_assert_int_eq(used, 0);
    out.resize(10);
    assert_bytes(out, lend(samples(5, 100 * 1000 >> 14)), "0 steps");

    // Samples that are no steps apart: none is used up.
    state.interp_factor = 0;
    resample_mono(&state, in.data(), &(used = 2), out.data(), &(made = 5), RESAMPLE_LEND, RESAMPLE_LEND);
    ck_assert_int_eq(made, 0);
    ck_assert_int_eq(used, 0);
}

// The level in dB of what becomes of a tone.
double level_of(converter &made, double rate, double frequency) {
    constexpr double pi = 3.141592653589793;
    samples in(48000);
    for (size_t i = 0; i < in.size(); ++i)
        in[i] = static_cast<int16_t>(std::lround(16000 * std::sin(2 * pi * frequency * static_cast<double>(i) / rate)));
    const samples out = model::decoded(made.stream(lend(in), RESAMPLE_LEND, RESAMPLE_LEND), RESAMPLE_LEND);
    double power = 0;
    for (size_t i = out.size() / 4; i < out.size(); ++i)
        power += std::pow(out[i] / 16000.0, 2) * 2;
    return 10 * std::log10(power / (static_cast<double>(out.size()) * 3 / 4));
}

// A kernel of more lobes with the history that it needs, given together.
void give_lobes(resample_state *state, int32_t lobes) {
    const uint32_t length = 2 * static_cast<uint32_t>(lobes) * std::max(state->interp_factor, state->decim_factor) - 1;
    std::free(state->history);
    state->history_len = static_cast<uint16_t>((length - 1) / state->interp_factor);
    state->history = static_cast<int16_t *>(std::calloc(state->history_len, sizeof *state->history));
    init_lanczos(state, lobes);
}

TEST(kernels_pass_and_stop_what_the_header_says) {
    const struct {
        int32_t lobes;
        double frequency, least, most;
    } rows[] = {{2, 1000, -0.1, 0.1},  {2, 3000, -2.3, -2.1}, {2, 5000, -13.1, -12.9}, {4, 3000, -0.5, -0.4},
                {4, 5000, -27, -26},   {8, 3000, -0.1, 0.1},  {8, 5000, -47, -46},     {16, 1000, -0.1, 0.1},
                {16, 3000, -0.1, 0.1}, {16, 3700, -0.2, 0.0}, {16, 5000, -67, -64}};
    for (const auto &row : rows) {
        converter made(8000, 48000, RESAMPLE_LAN2);
        if (row.lobes != 2)
            give_lobes(made.state.get(), row.lobes);
        const double level = level_of(made, 48000, row.frequency);
        if (!(level >= row.least && level <= row.most))
            ck_abort_msg("%d lobes at %.0f Hz: %.2f dB", row.lobes, row.frequency, level);
    }
    // More lobes than the history reaches for lose what lies farther back.
    for (const auto &[lobes, least, most] : {std::tuple(4, -7.7, -7.4), {8, -36.2, -35.5}}) {
        converter made(8000, 48000, RESAMPLE_LAN2);
        init_lanczos(made.state.get(), lobes);
        const double level = level_of(made, 48000, 50);
        if (!(level >= least && level <= most))
            ck_abort_msg("%d lobes, short history: %.2f dB", lobes, level);
    }
}

// Rows for any table, and after each change of it.
TEST(longer_kernels_convert_by_the_definition) {
    const bytes input = noise<uint8_t>(4000, 11);
    for (const int32_t lobes : {3, 4, 16, 40}) {
        converter made(3, 7, RESAMPLE_LANC);
        give_lobes(made.state.get(), lobes);
        const samples expected = model::resampled(*made.state, model::decoded(input, RESAMPLE_LEND));
        for (const uint32_t longest : {0U, 30U, 300U}) {
            resample_reset(made.state.get());
            assert_bytes(made.stream(input, RESAMPLE_LEND, RESAMPLE_LEND, longest), lend(expected),
                         std::to_string(lobes) + " lobes");
        }
    }
}

// History and table of the caller's own, longer than what the record was made with.
TEST(a_longer_table_and_history_of_the_callers_own) {
    converter made(5, 4, RESAMPLE_LANC);
    constexpr uint16_t length = 2001, reach = 400;
    std::free(made->coeffs);
    std::free(made->history);
    made->coeffs = static_cast<int16_t *>(std::calloc(length, sizeof *made->coeffs));
    made->history = static_cast<int16_t *>(std::calloc(reach, sizeof *made->history));
    made->num_coeffs = length;
    made->history_len = reach;
    generator random{4};
    for (uint32_t k = 0; k < length; ++k)
        made->coeffs[k] = static_cast<int16_t>(random.below(200));
    const bytes input = noise<uint8_t>(4000, 12);
    const samples expected = model::resampled(*made.state, model::decoded(input, RESAMPLE_BEND));
    assert_bytes(made.stream(input, RESAMPLE_BEND, RESAMPLE_LEND, 500), lend(expected), "2001 coefficients");
}

TEST(calls_that_do_nothing) {
    converter made(2, 3, RESAMPLE_LAN2), same(2, 3, RESAMPLE_LAN2);
    bytes in = noise<uint8_t>(64, 5), out(64, 0xA5);
    const uint8_t *const from = in.data();
    uint8_t *const to = out.data();
    for (converter *each : {&made, &same})
        each->stream(in, RESAMPLE_LEND, RESAMPLE_ULAW);
    const struct {
        const uint8_t *in;
        uint32_t in_count;
        uint8_t *out;
        uint32_t out_count, in_format, out_format, in_after, out_after;
        // clang-format off
    } rows[] = {
        {nullptr, 5, to, 6, RESAMPLE_LEND, RESAMPLE_LEND, 0, 0}, {from, 5, to, 6, RESAMPLE_LEND, 0, 5, 6},
        {from, 5, nullptr, 6, RESAMPLE_LEND, RESAMPLE_LEND, 0, 0}, {from, 5, to, 6, RESAMPLE_BILI, RESAMPLE_LEND, 5, 6},
        {from, 0, to, 6, RESAMPLE_ALAW, RESAMPLE_LEND, 0, 0}, {from, 5, to, 0, RESAMPLE_LEND, RESAMPLE_ULAW, 0, 0},
        {nullptr, 5, nullptr, 0, RESAMPLE_LEND, RESAMPLE_LAN2, 5, 0},
    };
    // clang-format on
    for (auto row : rows) {
        resample_mono(made.state.get(), row.in, &row.in_count, row.out, &row.out_count, row.in_format, row.out_format);
        ck_assert(row.in_count == row.in_after);
        ck_assert(row.out_count == row.out_after);
        ck_assert(out == bytes(64, 0xA5));
        ck_assert(made.stands_like(same));
    }
    resample_free(nullptr);
}

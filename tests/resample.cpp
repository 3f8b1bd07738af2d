#include "generated.hpp"
#include "support.hpp"
#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <vector>
#include <vela/resample.h>

namespace {

using bytes = std::vector<uint8_t>;
using samples = std::vector<int16_t>;

constexpr uint32_t kFormats[] = {RESAMPLE_LEND, RESAMPLE_BEND, RESAMPLE_ALAW, RESAMPLE_ULAW};
constexpr uint32_t kKernels[] = {RESAMPLE_LANC, RESAMPLE_LAN2, RESAMPLE_BILI};

constexpr uint32_t size_of(uint32_t format) { return format == RESAMPLE_LEND || format == RESAMPLE_BEND ? 2 : 1; }

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

bytes noise(size_t size, uint32_t seed) {
    generator random{seed};
    bytes made(size);
    for (uint8_t &byte : made)
        byte = static_cast<uint8_t>(random.word());
    return made;
}

// Samples as the bytes of RESAMPLE_LEND.
bytes lend(const samples &from) {
    bytes made;
    for (const int16_t sample : from)
        made.insert(made.end(), {static_cast<uint8_t>(sample), static_cast<uint8_t>(sample >> 8)});
    return made;
}

bytes recoded(const bytes &from_bytes, uint32_t from, uint32_t to) {
    return converter(1, 1, RESAMPLE_BILI).stream(from_bytes, from, to);
}

} // namespace

START_TEST(kernel_tables)
{
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
        ck_assert(made->interp_factor == row.L && made->decim_factor == row.M && made->coeff_shift == 14);
        ck_assert(made.table() == row.table && made->phase == 0 && made.history() == samples(row.history_len));
    }

    // Every coefficient of all pairs of common rates, the same on every machine.
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

    ck_assert(sinc(0) == 1 && sinc(-1e-14) == 1);
    ck_assert(std::fabs(sinc(0.5) - 0.6366197723675814) <= 1e-15 && std::fabs(sinc(-3)) <= 1e-15);
}
END_TEST

// Calls one after the other on one record, from and to linear samples.
START_TEST(call_by_call)
{
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
            ck_assert(out == lend(step.out) && used == step.consumed);
            ck_assert(made->phase == step.phase && made.history() == step.history);
        }
        resample_reset(made.state.get());
        ck_assert(made.stands_like(converter(row.out_rate, row.in_rate, row.kernel)));
    }
}
END_TEST

START_TEST(sample_formats)
{
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
    digest all;
    for (const uint32_t law : {RESAMPLE_ALAW, RESAMPLE_ULAW}) {
        all.add(recoded(lend(values), RESAMPLE_LEND, law));
        all.add(recoded(codes, law, RESAMPLE_LEND));
    }
    assert_digest(all, 0xDF66D36C6B46DCBF);
    ck_assert(recoded(codes, RESAMPLE_ALAW, RESAMPLE_ALAW) == codes);
    bytes survivors = codes;
    survivors[0x7F] = 0xFF;
    ck_assert(recoded(codes, RESAMPLE_ULAW, RESAMPLE_ULAW) == survivors);
    ck_assert(recoded({0x12, 0x34}, RESAMPLE_LEND, RESAMPLE_BEND) == (bytes{0x34, 0x12}));
    ck_assert(recoded({0x12, 0x34}, RESAMPLE_BEND, RESAMPLE_LEND) == (bytes{0x34, 0x12}));
}
END_TEST

// However a stream is cut into calls, the output is the same, and the same on every machine. Short calls take the
// plain path, long ones that by rows with the vector unit, aligned ones straight from the input; so this compares them
// as well. Other formats give linear samples recoded, with a linear history: a format may change from call to call.
START_TEST(any_cut_gives_the_same_bytes)
{
    digest all;
    const uint32_t rates[][2] = {{48000, 44100}, {44100, 48000}, {8000, 48000}, {16000, 8000}, {8000, 44100}, {1, 1},
                                 {7, 1},         {4, 6},         {1, 70},       {1, 300},      {20, 17},      {1, 6}};
    for (const auto &[out_rate, in_rate] : rates)
        for (const uint32_t kernel : kKernels)
            for (const uint32_t from : kFormats) {
                const bytes input = noise(2500, from);
                converter linear(out_rate, in_rate, kernel);
                const bytes expected = linear.stream(recoded(input, from, RESAMPLE_LEND), RESAMPLE_LEND, RESAMPLE_LEND);
                all.add(expected);
                for (const uint32_t to : kFormats)
                    for (const uint32_t longest : {0U, 1U, 10U, 100U, 1500U}) {
                        converter made(out_rate, in_rate, kernel);
                        ck_assert(made.stream(input, from, to, longest) == recoded(expected, RESAMPLE_LEND, to));
                        ck_assert(made.stands_like(linear));
                    }
            }
    assert_digest(all, 0x03366686380D38F2);
}
END_TEST

// What a caller does to the table between calls counts from the next call on.
START_TEST(tables_of_the_callers_own)
{
    void (*const changes[])(resample_state *) = {
        [](resample_state *) {},
        [](resample_state *state) { state->coeffs[state->num_coeffs - 1U] = 12345; },
        [](resample_state *state) { state->coeff_shift = 12; },
        init_bilinear,
        [](resample_state *state) { init_lanczos(state, 2); },
        [](resample_state *state) { init_lanczos(state, 3); }, // reaches back farther than the history
    };
    converter fast(3, 2, RESAMPLE_LAN2), plain(3, 2, RESAMPLE_LAN2);
    const bytes input = noise(400, 1);
    for (const auto change : changes) {
        change(fast.state.get());
        change(plain.state.get());
        ck_assert(fast.stream(input, RESAMPLE_LEND, RESAMPLE_LEND) ==
                  plain.stream(input, RESAMPLE_LEND, RESAMPLE_LEND, 1));
    }
    ck_assert_int_eq(fast->num_coeffs, 17);

    converter copy(8000, 8000, RESAMPLE_BILI);
    copy->coeffs[0] = 8192;
    ck_assert(copy.stream(lend({300, -3}), RESAMPLE_LEND, RESAMPLE_LEND) == lend({150, -2}));
}
END_TEST

START_TEST(calls_that_do_nothing)
{
    converter made(2, 3, RESAMPLE_LAN2), same(2, 3, RESAMPLE_LAN2);
    bytes in = noise(64, 5), out(64, 0xA5);
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
        ck_assert(row.in_count == row.in_after && row.out_count == row.out_after);
        ck_assert(out == bytes(64, 0xA5) && made.stands_like(same));
    }
    resample_free(nullptr);
}
END_TEST

Suite *resample_suite() {
    return suite_of("resample", {kernel_tables, call_by_call, sample_formats, any_cut_gives_the_same_bytes,
                                 tables_of_the_callers_own, calls_that_do_nothing});
}

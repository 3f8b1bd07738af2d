#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <vector>
#include <vela/resample.h>

#include <check.h> // last: it defines the macro fail()

namespace {

using bytes = std::vector<uint8_t>;

constexpr uint32_t kFormats[] = {RESAMPLE_LEND, RESAMPLE_BEND, RESAMPLE_ALAW, RESAMPLE_ULAW};
constexpr uint32_t kKernels[] = {RESAMPLE_LANC, RESAMPLE_LAN2, RESAMPLE_BILI};

constexpr uint32_t kRates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000, 96000};

constexpr uint32_t size_of(uint32_t format) { return format == RESAMPLE_LEND || format == RESAMPLE_BEND ? 2 : 1; }

struct converter {
    std::unique_ptr<resample_state, void (*)(resample_state *)> state;

    converter(uint32_t out_rate, uint32_t in_rate, uint32_t kernel)
        : state(resample_alloc(out_rate, in_rate, kernel), resample_free) {
        ck_assert_ptr_nonnull(state.get());
    }
    resample_state *operator->() const { return state.get(); }
    std::vector<int16_t> table() const { return {state->coeffs, state->coeffs + state->num_coeffs}; }
    std::vector<int16_t> history() const { return {state->history, state->history + state->history_len}; }

    // One call on the samples from `input` on; what is made joins `output`. The buffers lie at an odd address and end
    // exactly where the samples do. Returns the samples consumed.
    uint32_t call(const uint8_t *input, uint32_t in_count, bytes &output, uint32_t room, uint32_t from,
                  uint32_t to) const {
        bytes in(1 + in_count * size_of(from)), out(1 + room * size_of(to));
        std::copy(input, input + in.size() - 1, in.begin() + 1);
        uint32_t used = in_count, made = room;
        resample_mono(state.get(), in.data() + 1, &used, out.data() + 1, &made, from, to);
        if (used > in_count || made > room) // an assertion that holds would cost a system call each
            ck_abort_msg("%u of %u used, %u of %u made", used, in_count, made, room);
        output.insert(output.end(), out.begin() + 1, out.begin() + 1 + made * size_of(to));
        return used;
    }

    // A whole stream, in calls whose counts and rooms are what `cut` gives in turn.
    template <class Cut>
    bytes stream(const bytes &input, uint32_t from, uint32_t to, Cut cut) const {
        bytes output;
        const uint8_t *at = input.data();
        for (uint32_t left = static_cast<uint32_t>(input.size()) / size_of(from), used; left; left -= used) {
            const uint32_t count = std::min<uint32_t>(left, cut()), room = cut();
            used = call(at, count, output, room, from, to);
            at += used * size_of(from);
            if (output.size() > 64 * input.size())
                ck_abort_msg("a stream without end");
        }
        return output;
    }
    bytes at_once(const bytes &input, uint32_t from, uint32_t to) const {
        return stream(input, from, to, [] { return 20000; });
    }
    bytes one_by_one(const bytes &input, uint32_t from, uint32_t to) const {
        return stream(input, from, to, [] { return 1; });
    }
};

// Park and Miller's.
struct generator {
    uint32_t value;
    uint32_t operator()() {
        value = static_cast<uint32_t>(uint64_t{value} * 48271 % 2147483647);
        return value >> 8;
    }
};

bytes noise(size_t size, uint32_t seed) {
    generator random{seed};
    bytes made(size);
    for (uint8_t &byte : made)
        byte = static_cast<uint8_t>(random());
    return made;
}

// Samples as the bytes of RESAMPLE_LEND, and back.
bytes lend(const std::vector<int16_t> &samples) {
    bytes made;
    for (const int16_t sample : samples)
        made.insert(made.end(), {static_cast<uint8_t>(sample), static_cast<uint8_t>(sample >> 8)});
    return made;
}

std::vector<int16_t> samples_of(const bytes &lend) {
    std::vector<int16_t> made;
    for (size_t i = 0; i < lend.size(); i += 2)
        made.push_back(static_cast<int16_t>(lend[i] | lend[i + 1] << 8));
    return made;
}

bytes recoded(const bytes &samples, uint32_t from, uint32_t to) {
    return converter(1, 1, RESAMPLE_BILI).at_once(samples, from, to);
}

// FNV-1a.
uint32_t digest(const bytes &data, uint32_t so_far = 2166136261U) {
    for (const uint8_t byte : data)
        so_far = (so_far ^ byte) * 16777619U;
    return so_far;
}

} // namespace

START_TEST(kernel_tables)
{
    struct row {
        uint32_t out_rate, in_rate, kernel, L, M;
        std::vector<int16_t> table;
        int history_len;
    };
    const row rows[] = {
        {16000, 8000, RESAMPLE_LANC, 2, 1, {6640, 16384, 6640}, 1},
        {8000, 16000, RESAMPLE_LANC, 1, 2, {3320, 8192, 3320}, 2},
        {8000, 16000, RESAMPLE_LAN2, 1, 2, {-521, 0, 4695, 8192, 4695, 0, -521}, 6},
        {4, 6, RESAMPLE_LANC, 2, 3, {1868, 7470, 10923, 7470, 1868}, 2},
        {3, 1, RESAMPLE_BILI, 3, 1, {5461, 10923, 16384, 10923, 5461}, 1},
        {3, 1, 0, 3, 1, {5461, 10923, 16384, 10923, 5461}, 1},
        {8000, 8000, RESAMPLE_LANC, 1, 1, {16384}, 0},
        {8000, 8000, RESAMPLE_BILI, 1, 1, {16384}, 0},
        {8000, 8000, RESAMPLE_LAN2, 1, 1, {0, 16384, 0}, 2},
    };
    for (const row &row : rows) {
        const converter made(row.out_rate, row.in_rate, row.kernel);
        ck_assert_uint_eq(made->interp_factor, row.L);
        ck_assert_uint_eq(made->decim_factor, row.M);
        ck_assert(made.table() == row.table);
        ck_assert_int_eq(made->coeff_shift, 14);
        ck_assert(made->phase == 0 && made.history() == std::vector<int16_t>(row.history_len));
    }

    // Every coefficient of all pairs of common rates, the same on every machine.
    uint32_t all = digest({});
    for (const uint32_t kernel : kKernels)
        for (const uint32_t out_rate : kRates)
            for (const uint32_t in_rate : kRates) {
                const std::vector<int16_t> table = converter(out_rate, in_rate, kernel).table();
                ck_assert(std::equal(table.begin(), table.end(), table.rbegin()));
                for (const int16_t coefficient : table)
                    all = digest({static_cast<uint8_t>(coefficient), static_cast<uint8_t>(coefficient >> 8)}, all);
            }
    ck_assert_uint_eq(all, 0x0D95A959);

    ck_assert_double_eq(sinc(0), 1);
    ck_assert_double_eq(sinc(-1e-14), 1);
    ck_assert_double_eq_tol(sinc(0.5), 0.6366197723675814, 1e-15);
    ck_assert_double_eq_tol(sinc(-3), 0, 1e-15);
}
END_TEST

START_TEST(what_cannot_be_made)
{
    const struct {
        uint32_t out_rate, in_rate, kernel;
        bool possible;
    } rows[] = {
        {0, 1, RESAMPLE_LANC, false},         {1, 0, RESAMPLE_BILI, false},     {32768, 1, RESAMPLE_LANC, true},
        {32769, 1, RESAMPLE_LANC, false},     {1, 32769, RESAMPLE_LANC, false}, {1, 16384, RESAMPLE_LAN2, true},
        {16385, 1, RESAMPLE_LAN2, false},     {32768, 1, RESAMPLE_BILI, true},  {32769, 1, RESAMPLE_BILI, false},
        {1, UINT32_MAX, RESAMPLE_BILI, true},
    };
    for (const auto &row : rows) {
        resample_state *state = resample_alloc(row.out_rate, row.in_rate, row.kernel);
        ck_assert_int_eq(state != nullptr, row.possible);
        resample_free(state);
    }

    // A record whose new table can't be stays as it was.
    const converter made(3, 1, RESAMPLE_BILI);
    for (const int32_t lobes : {0, -1, INT32_MIN, 10923, INT32_MAX})
        init_lanczos(made.state.get(), lobes);
    made->interp_factor = 32769;
    init_bilinear(made.state.get());
    ck_assert(made.table() == std::vector<int16_t>({5461, 10923, 16384, 10923, 5461}));
}
END_TEST

// Calls one after the other on one record, from and to linear samples.
START_TEST(call_by_call)
{
    struct step {
        std::vector<int16_t> in;
        uint32_t room;
        std::vector<int16_t> out;
        uint32_t consumed, phase;
        std::vector<int16_t> history;
    };
    const struct {
        uint32_t out_rate, in_rate, kernel;
        std::vector<step> steps;
    } rows[] = {
        {16000,
         8000,
         RESAMPLE_LANC,
         {{{1000, 2000, 3000, 4000}, 100, {405, 1000, 1215, 2000, 2026, 3000, 2836, 4000}, 4, 0, {4000}},
          {{5000, 6000}, 100, {3647, 5000, 4458, 6000}, 2, 0, {6000}}}},
        {16000,
         8000,
         RESAMPLE_LANC,
         {{{1000, 2000, 3000, 4000}, 3, {405, 1000, 1215}, 1, 1, {1000}},
          {{2000, 3000, 4000}, 3, {2000, 2026, 3000}, 2, 0, {3000}}}},
        {8000, 16000, RESAMPLE_LANC, {{{1000, 2000, 3000, 4000, 5000}, 9, {202, 1810, 3621}, 5, 1, {4000, 5000}}}},
        {3, 1, RESAMPLE_BILI, {{{300, 600}, 9, {99, 200, 300, 399, 500, 600}, 2, 0, {600}}}},
        {8000,
         24000,
         RESAMPLE_BILI,
         {{{10, 20, 30, 40, 50, 60, 70}, 9, {10, 40, 70}, 7, 2, {}},
          {{80}, 9, {}, 1, 1, {}},
          {{90}, 9, {}, 1, 0, {}},
          {{100}, 9, {100}, 1, 2, {}}}},
        {8000, 8000, RESAMPLE_LANC, {{{7, 8, -9}, 2, {7, 8}, 2, 0, {}}}},
        // The newest input stays out of the history until no output needs it as its newest.
        {1, 3, RESAMPLE_LANC, {{{1, 2}, 9, {0}, 1, 2, {0, 0, 0, 1}}, {{2}, 9, {}, 1, 1, {0, 0, 1, 2}}}},
    };
    for (const auto &row : rows) {
        const converter made(row.out_rate, row.in_rate, row.kernel);
        for (const step &step : row.steps) {
            bytes out;
            const uint32_t used = made.call(lend(step.in).data(), static_cast<uint32_t>(step.in.size()), out, step.room,
                                            RESAMPLE_LEND, RESAMPLE_LEND);
            ck_assert(samples_of(out) == step.out);
            ck_assert_uint_eq(used, step.consumed);
            ck_assert_uint_eq(made->phase, step.phase);
            ck_assert(made.history() == step.history);
        }
        resample_reset(made.state.get());
        ck_assert_uint_eq(made->phase, 0);
        ck_assert(made.history() == std::vector<int16_t>(made->history_len));
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
    } rows[] = {
        {RESAMPLE_ALAW, 0, 0xD5, 8},           {RESAMPLE_ALAW, -1, 0x55, -8},     {RESAMPLE_ALAW, 32767, 0xAA, 32256},
        {RESAMPLE_ALAW, -32768, 0x2A, -32256}, {RESAMPLE_ALAW, 1000, 0xFA, 1008}, {RESAMPLE_ALAW, -1000, 0x7A, -1008},
        {RESAMPLE_ULAW, 0, 0xFF, 0},           {RESAMPLE_ULAW, -1, 0x7F, 0},      {RESAMPLE_ULAW, 32767, 0x80, 32124},
        {RESAMPLE_ULAW, -32768, 0x00, -32124}, {RESAMPLE_ULAW, 1000, 0xCE, 988},  {RESAMPLE_ULAW, -1000, 0x4E, -988},
        {RESAMPLE_ULAW, 4, 0xFE, 8},           {RESAMPLE_ULAW, -4, 0x7F, 0},
    };
    for (const auto &row : rows) {
        const bytes code = recoded(lend({row.sample}), RESAMPLE_LEND, row.format);
        ck_assert(code == bytes{row.code});
        ck_assert(recoded(code, row.format, RESAMPLE_LEND) == lend({row.back}));
    }

    // All values and all codes of both laws.
    std::vector<int16_t> values(65536);
    std::iota(values.begin(), values.end(), INT16_MIN);
    bytes codes(256);
    std::iota(codes.begin(), codes.end(), uint8_t{0});
    ck_assert_uint_eq(digest(recoded(lend(values), RESAMPLE_LEND, RESAMPLE_ALAW)), 0x826FE2C5);
    ck_assert_uint_eq(digest(recoded(lend(values), RESAMPLE_LEND, RESAMPLE_ULAW)), 0xD161F34D);
    ck_assert_uint_eq(digest(recoded(codes, RESAMPLE_ALAW, RESAMPLE_LEND)), 0x12FB6645);
    ck_assert_uint_eq(digest(recoded(codes, RESAMPLE_ULAW, RESAMPLE_LEND)), 0x715D95A8);
    ck_assert(recoded(codes, RESAMPLE_ALAW, RESAMPLE_ALAW) == codes);
    bytes survivors = codes;
    survivors[0x7F] = 0xFF;
    ck_assert(recoded(codes, RESAMPLE_ULAW, RESAMPLE_ULAW) == survivors);

    ck_assert(samples_of(recoded({0x00, 0x80}, RESAMPLE_LEND, RESAMPLE_LEND))[0] == -32768);
    ck_assert(samples_of(recoded({0x00, 0x80}, RESAMPLE_BEND, RESAMPLE_LEND))[0] == 128);
    ck_assert(recoded({0x12, 0x34}, RESAMPLE_LEND, RESAMPLE_BEND) == (bytes{0x34, 0x12}));
}
END_TEST

// However a stream is cut into calls, the output is the same, and the same on every machine. Short calls take the
// plain path, long ones that by rows with the vector unit; so this compares them as well.
START_TEST(any_cut_gives_the_same_bytes)
{
    const struct {
        uint32_t out_rate, in_rate, digest;
    } rows[] = {
        {48000, 44100, 0xC8AA4DB4}, {44100, 48000, 0x488C9A99}, {8000, 48000, 0xAC9FB154}, {16000, 8000, 0x67A79976},
        {8000, 44100, 0xF359665E},  {8000, 8000, 0x0F4ADAE9},   {7, 1, 0xA1ACB943},        {4, 6, 0xE5316593},
        {1, 70, 0x30304F69},        {1, 300, 0xBC73FEC4},
    };
    generator random{3};
    for (const auto &row : rows) {
        uint32_t all = digest({});
        for (const uint32_t kernel : kKernels)
            for (const uint32_t from : kFormats)
                for (const uint32_t to : kFormats) {
                    const bytes input = noise(2500, from + to);
                    const converter made(row.out_rate, row.in_rate, kernel);
                    const bytes expected = made.at_once(input, from, to);
                    all = digest(expected, all);
                    for (const uint32_t longest : {1U, 10U, 100U, 1500U}) {
                        resample_reset(made.state.get());
                        ck_assert(made.stream(input, from, to, [&] { return 1 + random() % longest; }) == expected);
                    }
                }
        ck_assert_msg(all == row.digest, "%u from %u: 0x%08X", row.out_rate, row.in_rate, all);
    }
}
END_TEST

// Each length of call from each phase, and what is behind the samples made stays as it was.
START_TEST(every_length_of_call)
{
    for (const uint32_t kernel : kKernels)
        for (const auto &[out_rate, in_rate] : {std::pair{2U, 1U}, {1U, 6U}, {5U, 3U}, {20U, 17U}}) {
            const converter whole(out_rate, in_rate, kernel), plain(out_rate, in_rate, kernel);
            for (uint32_t length = 1; length < 100; ++length) {
                const bytes input = noise(2 * size_t{length}, length);
                bytes in = input, made(2 * 2 * (size_t{length} + 4), 0xA5);
                uint32_t used = length, written = 2 * length;
                resample_test(whole.state.get(), reinterpret_cast<const int16_t *>(in.data()), &used,
                              reinterpret_cast<int16_t *>(made.data()), &written);
                ck_assert(std::all_of(made.begin() + 2 * written, made.end(), [](uint8_t x) { return x == 0xA5; }));
                in.resize(2 * size_t{used});
                const bytes expected = plain.one_by_one(in, RESAMPLE_LEND, RESAMPLE_LEND);
                made.resize(2 * size_t{written});
                ck_assert(made == expected);
                ck_assert_uint_eq(whole->phase, plain->phase);
                ck_assert(whole.history() == plain.history());
            }
        }
}
END_TEST

// A format may change from call to call: the history is linear. Values beyond 16 bits are limited in every format.
START_TEST(history_and_limits_in_all_formats)
{
    const std::vector<int16_t> loud = {32767, 32767, -32768, -32768, 32767, 32767, 32767, -32768, -32768, -32768, 0};
    for (const uint32_t from : kFormats)
        for (const uint32_t to : kFormats) {
            const converter mixed(16000, 8000, RESAMPLE_LAN2), linear(16000, 8000, RESAMPLE_LAN2);
            const bytes first = recoded(lend(loud), RESAMPLE_LEND, from);
            const bytes as_linear = recoded(first, from, RESAMPLE_LEND);
            const bytes expected = linear.at_once(as_linear, RESAMPLE_LEND, RESAMPLE_LEND);
            ck_assert(mixed.at_once(first, from, to) == recoded(expected, RESAMPLE_LEND, to));
            ck_assert(mixed.history() == linear.history());
        }
    const std::vector<int16_t> peaks =
        samples_of(converter(16000, 8000, RESAMPLE_LAN2).at_once(lend(loud), RESAMPLE_LEND, RESAMPLE_LEND));
    ck_assert_int_eq(*std::max_element(peaks.begin(), peaks.end()), 32767);
    ck_assert_int_eq(*std::min_element(peaks.begin(), peaks.end()), -32768);
}
END_TEST

// What a caller does to the table between calls counts from the next call on.
START_TEST(tables_of_the_callers_own)
{
    const auto change = [](resample_state *state, int step) {
        if (step == 1)
            state->coeffs[state->num_coeffs - 1U] = 12345;
        if (step == 2)
            init_bilinear(state);
        if (step == 3)
            init_lanczos(state, 2);
        if (step == 4)
            init_lanczos(state, 3); // reaches back farther than the history
        if (step == 5)
            state->coeff_shift = 12;
    };
    const converter fast(3, 2, RESAMPLE_LAN2), plain(3, 2, RESAMPLE_LAN2);
    const bytes input = noise(400, 1);
    for (int step = 0; step < 6; ++step) {
        change(fast.state.get(), step);
        change(plain.state.get(), step);
        ck_assert(fast.at_once(input, RESAMPLE_LEND, RESAMPLE_LEND) ==
                  plain.one_by_one(input, RESAMPLE_LEND, RESAMPLE_LEND));
    }
    ck_assert_int_eq(fast->num_coeffs, 17);

    const converter copy(8000, 8000, RESAMPLE_BILI);
    copy->coeffs[0] = 8192;
    ck_assert(samples_of(copy.at_once(lend({300, -3}), RESAMPLE_LEND, RESAMPLE_LEND)) ==
              (std::vector<int16_t>{150, -2}));
}
END_TEST

START_TEST(calls_that_do_nothing)
{
    const converter made(2, 3, RESAMPLE_LAN2);
    bytes in = noise(64, 5), out(64, 0xA5), ignored;
    const bytes untouched = out;
    made.at_once(in, RESAMPLE_LEND, RESAMPLE_ULAW);
    const uint32_t phase = made->phase;
    const std::vector<int16_t> history = made.history();
    const struct {
        const void *in;
        uint32_t in_count;
        void *out;
        uint32_t out_count, from, to, in_after, out_after;
    } rows[] = {
        {nullptr, 5, out.data(), 6, RESAMPLE_LEND, RESAMPLE_LEND, 0, 0},
        {in.data(), 5, nullptr, 6, RESAMPLE_LEND, RESAMPLE_LEND, 0, 0},
        {in.data(), 0, out.data(), 6, RESAMPLE_ALAW, RESAMPLE_LEND, 0, 0},
        {in.data(), 5, out.data(), 0, RESAMPLE_LEND, RESAMPLE_ULAW, 0, 0},
        {in.data(), 5, out.data(), 6, RESAMPLE_BILI, RESAMPLE_LEND, 5, 6},
        {in.data(), 5, out.data(), 6, RESAMPLE_LEND, 0, 5, 6},
        {nullptr, 5, nullptr, 0, RESAMPLE_LEND, RESAMPLE_LAN2, 5, 0},
    };
    for (auto row : rows) {
        resample_mono(made.state.get(), row.in, &row.in_count, row.out, &row.out_count, row.from, row.to);
        ck_assert_uint_eq(row.in_count, row.in_after);
        ck_assert_uint_eq(row.out_count, row.out_after);
        ck_assert(out == untouched && made->phase == phase && made.history() == history);
    }
    resample_free(nullptr);
}
END_TEST

Suite *resample_suite() {
    Suite *suite = suite_create("resample");
    TCase *tests = tcase_create("resample");
    tcase_set_timeout(tests, 60);
    tcase_add_test(tests, kernel_tables);
    tcase_add_test(tests, what_cannot_be_made);
    tcase_add_test(tests, call_by_call);
    tcase_add_test(tests, sample_formats);
    tcase_add_test(tests, any_cut_gives_the_same_bytes);
    tcase_add_test(tests, every_length_of_call);
    tcase_add_test(tests, history_and_limits_in_all_formats);
    tcase_add_test(tests, tables_of_the_callers_own);
    tcase_add_test(tests, calls_that_do_nothing);
    suite_add_tcase(suite, tests);
    return suite;
}

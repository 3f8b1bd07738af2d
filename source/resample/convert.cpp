#include "codecs.hpp"
#include "common/memory.hpp"
#include "filter.hpp"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>
#include <numeric>
#include <vela/resample.h>

using namespace vela::detail;

// The kernel table once more, as rows for consecutive outputs, beside a copy of what they were made from: callers may
// write into the public table or replace it between any two calls. Room for all is taken at creation.
struct alignas(kRowAlignment) resample_plan {
    polyphase filter;            // cycle 0: no rows, the plain conversion does it
    uint32_t row_of_phase_1 = 0; // that of phase p is p times as far, modulo L

    uint32_t interp_factor = 0, decim_factor = 0;
    uint16_t num_coeffs = 0, coeff_shift = 0, history_len = 0;
    int16_t *coeffs = nullptr;

    uint32_t row_room = 0, tap_room = 0, coeff_room = 0;

    // Where the output stands that is `phase` steps behind the sample window[first_sample].
    row_position position_of(uint32_t phase, ptrdiff_t first_sample) const {
        const uint32_t row = phase % interp_factor * row_of_phase_1 % interp_factor;
        const ptrdiff_t newest = first_sample + static_cast<ptrdiff_t>(phase / interp_factor);
        return {row, newest - static_cast<ptrdiff_t>(filter.taps - 1) - static_cast<ptrdiff_t>(filter.starts[row])};
    }
};

namespace {

struct state_deleter {
    void operator()(resample_state *state) const { resample_free(state); }
};

constexpr uint32_t kLongestTable = UINT16_MAX;

// The input of one call is decoded piecewise into a window: zeros for the zeros in front of a row, the history, a piece
// of input, and slack for the outputs of a group that the piece does not reach.
constexpr uint32_t kWindow = 2048;
constexpr uint32_t kLead = kTapsMultiple - 1;
constexpr uint32_t kLongestHistory = 1000;
constexpr uint32_t kLongestStep = 64; // input samples from output to output, less than
constexpr uint32_t kSlack = kLongestStep * (kGroup - 1);
constexpr uint32_t kShortestCycle = 32;

// ---- Kernel tables

float lanczos(float x, float lobes) { return static_cast<float>(sinc(x) * sinc(x / lobes)); }

// A weight with kFractionBits bits of fraction, rounded half up above zero and towards zero below.
int16_t coefficient(float weight) {
    const float half_more = 0.5F + float{1 << kFractionBits} * weight;
    return static_cast<int16_t>(half_more);
}

// Gives the record a symmetric table, of which half_table(k) is coefficient k up to the middle one. A length that can't
// be, or no memory, leaves the record as it was.
template <class HalfTable>
void replace_table(resample_state &state, uint64_t length, HalfTable half_table) {
    if (length == 0 || length > kLongestTable)
        return;
    const auto count = static_cast<uint32_t>(length);
    owned<int16_t[]> table = allocate<int16_t>(count);
    if (!table)
        return;
    for (uint32_t k = 0; k <= count / 2; ++k)
        table[k] = table[count - 1 - k] = half_table(k);
    std::free(state.coeffs);
    state.coeffs = table.release();
    state.num_coeffs = static_cast<uint16_t>(count);
    state.coeff_shift = kFractionBits;
}

// ---- The plan

// The measures of a record's filter as rows: none for a filter that only the plain conversion can do.
struct row_layout {
    uint32_t taps = 0, cycle = 0, rows = 0;

    explicit row_layout(const resample_state &state) {
        const uint32_t phases = state.interp_factor;
        if (phases == 0 || phases > kLongestTable || state.num_coeffs == 0 || state.coeff_shift != kFractionBits)
            return;
        const uint32_t reach = (state.num_coeffs - 1) / phases;
        if (state.history_len > kLongestHistory || reach > state.history_len ||
            state.decim_factor / phases >= kLongestStep)
            return;
        taps = reach / kTapsMultiple * kTapsMultiple + kTapsMultiple;
        cycle = (kShortestCycle + phases - 1) / phases * phases;
        rows = (cycle + kGroup) / 2 * 2; // an even number of starts, for the alignment of the rows behind them
    }
};

// Whether two tables differ, looked at by words. All of them is looked at: they seldom differ, so that there is no gain
// in an early end.
template <class Word>
[[gnu::always_inline]] inline void compare(const int16_t *a, const int16_t *b, uint32_t count, bool *differ) {
    constexpr uint32_t step = sizeof(Word) / sizeof *a;
    Word difference = {};
#pragma GCC unroll 4
    for (; count >= step; count -= step, a += step, b += step) {
        Word of_a, of_b;
        std::memcpy(&of_a, a, sizeof of_a);
        std::memcpy(&of_b, b, sizeof of_b);
        difference |= of_a ^ of_b;
    }
    std::array<uint8_t, sizeof(Word)> parts;
    std::memcpy(&parts, &difference, sizeof parts);
    *differ = parts != decltype(parts){} || !std::equal(a, a + count, b);
}

bool are_equal(const int16_t *a, const int16_t *b, uint32_t count) {
    bool differ;
#ifdef VELA_UNIT
    using vector [[gnu::vector_size(16)]] = uint32_t;
    if (has_unit())
        run_with_unit<compare<vector>>(a, b, count, &differ);
    else
#endif
        compare<uint32_t>(a, b, count, &differ);
    return !differ;
}

// Whether the plan was made from what the record has now.
bool is_current(const resample_plan &plan, const resample_state &state) {
    return plan.interp_factor == state.interp_factor && plan.decim_factor == state.decim_factor &&
           plan.num_coeffs == state.num_coeffs && plan.coeff_shift == state.coeff_shift &&
           plan.history_len == state.history_len && are_equal(plan.coeffs, state.coeffs, state.num_coeffs);
}

void write_row(const resample_state &state, uint32_t phase, uint32_t taps, int16_t *row) {
    for (uint32_t i = 0, k = phase; i < taps; ++i, k += state.interp_factor)
        row[taps - 1 - i] = k < state.num_coeffs ? state.coeffs[k] : int16_t{0};
}

void write_rows(resample_plan &plan, const resample_state &state, const row_layout &layout) {
    const uint32_t L = state.interp_factor, M = state.decim_factor;
    polyphase &filter = plan.filter;
    bool has_all_phases = false;
    for (uint32_t row = 0, phase = 0, start = 0; row < layout.rows; ++row) {
        filter.starts[row] = start;
        write_row(state, phase, layout.taps, filter.rows + size_t{row} * layout.taps);
        if (phase == 1 % L) {
            plan.row_of_phase_1 = row % L;
            has_all_phases = true;
        }
        start += M / L;
        phase += M % L;
        if (phase >= L) {
            phase -= L;
            ++start;
        }
    }
    filter.taps = layout.taps;
    filter.cycle = has_all_phases ? layout.cycle : 0;
    filter.cycle_span = static_cast<uint32_t>(uint64_t{layout.cycle} * M / L);
}

// Makes the plan anew. What has no room in it stays without rows.
void rebuild(resample_plan &plan, const resample_state &state) {
    const row_layout layout(state);
    plan.filter.cycle = 0;
    plan.num_coeffs = 0;
    if (layout.rows == 0 || layout.rows > plan.row_room || layout.rows * layout.taps > plan.tap_room ||
        state.num_coeffs > plan.coeff_room)
        return;
    plan.interp_factor = state.interp_factor;
    plan.decim_factor = state.decim_factor;
    plan.num_coeffs = state.num_coeffs;
    plan.coeff_shift = state.coeff_shift;
    plan.history_len = state.history_len;
    std::copy_n(state.coeffs, state.num_coeffs, plan.coeffs);
    write_rows(plan, state, layout);
}

// The plan to convert by, or null where there is none or where so few outputs would not pay for the look at the table.
// Not inlined, since the comparison would then run out of registers.
[[gnu::noinline]] const resample_plan *usable_plan(const resample_state &state, uint32_t outputs) {
    constexpr uint32_t few = 16;
    if (!state.plan || outputs < few + state.interp_factor / 4)
        return nullptr;
    if (!is_current(*state.plan, state))
        rebuild(*state.plan, state);
    return state.plan->filter.cycle ? state.plan : nullptr;
}

bool make_history(resample_state &state) {
    state.history_len = static_cast<uint16_t>((state.num_coeffs - 1U) / state.interp_factor);
    state.history = allocate<int16_t>(state.history_len).release();
    if (state.history)
        resample_reset(&state);
    return state.history;
}

// One block: the plan, and behind it the starts, the rows and the copy of the table.
bool make_plan(resample_state &state) {
    const row_layout layout(state);
    const uint32_t taps = layout.rows * layout.taps, coeffs = layout.rows ? state.num_coeffs : 0;
    const size_t size =
        sizeof(resample_plan) + layout.rows * sizeof(uint32_t) + (size_t{taps} + coeffs) * sizeof(int16_t);
    owned<uint8_t[]> block = allocate<uint8_t>(size);
    if (!block)
        return false;
    state.plan = new (block.release()) resample_plan;
    resample_plan &plan = *state.plan;
    plan.row_room = layout.rows;
    plan.tap_room = taps;
    plan.coeff_room = coeffs;
    plan.filter.starts = reinterpret_cast<uint32_t *>(&plan + 1);
    plan.filter.rows = reinterpret_cast<int16_t *>(plan.filter.starts + layout.rows);
    plan.coeffs = plan.filter.rows + taps;
    rebuild(plan, state);
    return true;
}

// ---- The conversion

// The quotient of what as a rule fits 32 bits, which 32-bit ARM divides in half the time.
uint64_t quotient(uint64_t dividend, uint32_t divisor) {
    return dividend <= UINT32_MAX ? static_cast<uint32_t>(dividend) / divisor : dividend / divisor;
}

// The outputs whose newest sample is one of the first so many of the input.
uint64_t outputs_within(const resample_state &state, uint32_t samples) {
    const uint64_t end = uint64_t{samples} * state.interp_factor, first = state.phase;
    return first < end ? quotient(end - first - 1, state.decim_factor) + 1 : 0;
}

// What one call does, in samples of its input and output.
struct call_extent {
    uint32_t outputs;
    uint32_t needed; // input up to the newest sample of the last output
    uint32_t consumed;
    uint32_t next_phase;

    call_extent(const resample_state &state, uint32_t in_count, uint32_t room) {
        const uint64_t L = state.interp_factor, M = state.decim_factor;
        outputs = static_cast<uint32_t>(std::min<uint64_t>(outputs_within(state, in_count), room));
        const uint64_t next = state.phase + outputs * M;
        needed = outputs ? static_cast<uint32_t>(quotient(next - M, state.interp_factor) + 1) : in_count;
        // The last output's newest sample stays if it is the next one's as well.
        consumed = next < needed * L ? needed - 1 : needed;
        next_phase = static_cast<uint32_t>(next - consumed * L);
    }
};

// What the conversion needs of a sample format. It calls these once for a block of samples, so that one text serves all
// pairs of formats.
struct sample_format {
    uint32_t size; // of a sample, in bytes
    bool is_native;
    int16_t (*decode)(const uint8_t *from);
    void (*encode)(int sample, uint8_t *to);
    void (*decode_block)(const uint8_t *from, size_t count, int16_t *samples);
    void (*encode_block)(const int16_t *samples, size_t count, uint8_t *to);
    void (*filter_window)(const polyphase &filter, const int16_t *window, row_position &at, uint32_t count,
                          uint8_t *out, bool has_slack);
};

template <class Codec>
constexpr sample_format kFormat = {Codec::size,         std::is_same_v<Codec, native_codec>,
                                   Codec::decode,       Codec::encode,
                                   decode_block<Codec>, encode_block<Codec>,
                                   filter_window<Codec>};

// The format of a tag, or null for a tag that is none.
const sample_format *find_format(uint32_t tag) {
    switch (tag) {
    case RESAMPLE_LEND:
        return &kFormat<linear_codec<std::endian::little>>;
    case RESAMPLE_BEND:
        return &kFormat<linear_codec<std::endian::big>>;
    case RESAMPLE_ALAW:
        return &kFormat<alaw_codec>;
    case RESAMPLE_ULAW:
        return &kFormat<ulaw_codec>;
    default:
        return nullptr;
    }
}

// Equal rates and the single coefficient 1.
bool only_recodes(const resample_state &state) {
    return state.interp_factor == 1 && state.decim_factor == 1 && state.phase == 0 && state.num_coeffs == 1 &&
           state.coeff_shift == kFractionBits && state.coeffs[0] == 1 << kFractionBits;
}

// A conversion from one format to another.
struct converter {
    const sample_format &from, &to;

    // The conversion as it is meant: each output sums the coefficients of its phase, L apart, times the samples from
    // its newest one backwards, which lie in the input and before that in the history.
    void convert_plainly(const resample_state &state, const uint8_t *in, uint8_t *out, uint32_t outputs) const {
        const uint32_t L = state.interp_factor, M = state.decim_factor;
        const ptrdiff_t history = state.history_len;
        auto newest = static_cast<ptrdiff_t>(state.phase / L);
        uint32_t phase = state.phase % L;
        for (; outputs; --outputs, out += to.size) {
            uint32_t sum = 0;
            ptrdiff_t i = newest;
            for (uint32_t k = phase; k < state.num_coeffs && newest - i <= history; k += L, --i) {
                const int sample =
                    i < 0 ? state.history[history + i] : from.decode(in + i * static_cast<ptrdiff_t>(from.size));
                sum += static_cast<uint32_t>(state.coeffs[k] * sample);
            }
            to.encode(sample_of(sum, state.coeff_shift), out);
            newest += M / L;
            phase += M % L;
            if (phase >= L) {
                phase -= L;
                ++newest;
            }
        }
    }

    // The input as samples to compute with, where it is such already.
    const int16_t *as_samples(const uint8_t *in) const {
        const bool is_aligned = reinterpret_cast<uintptr_t>(in) % alignof(int16_t) == 0;
        return from.is_native && is_aligned ? reinterpret_cast<const int16_t *>(in) : nullptr;
    }

    // The same by rows, over a window that moves along the decoded input. Native samples are decoded only as far as
    // outputs reach back into the history; behind that, the input itself is the window.
    void convert_by_rows(const resample_state &state, const resample_plan &plan, const uint8_t *in, uint8_t *out,
                         const call_extent &extent) const {
        alignas(16) int16_t window[kWindow];
        // Input is decoded to an aligned address, quicker for most.
        int16_t *const fresh = window + (kLead + state.history_len + 7) / 8 * 8;
        int16_t *const history = fresh - state.history_len;
        const auto piece_room = static_cast<uint32_t>(std::end(window) - kSlack - fresh);
        std::fill_n(history - kLead, kLead, int16_t{0});
        std::copy_n(state.history, state.history_len, history);

        const int16_t *const samples = as_samples(in);
        const uint32_t decoded = samples ? std::min(extent.needed, plan.filter.taps - 1) : extent.needed;
        row_position at = plan.position_of(state.phase, fresh - window);
        uint32_t made = 0;
        for (uint32_t begin = 0, end; begin < decoded; begin = end) {
            end = begin + std::min(decoded - begin, piece_room);
            from.decode_block(in + size_t{begin} * from.size, end - begin, fresh);
            const uint32_t up_to =
                end == extent.needed ? extent.outputs : static_cast<uint32_t>(outputs_within(state, end));
            to.filter_window(plan.filter, window, at, up_to - made, out + size_t{made} * to.size, true);
            made = up_to;
            std::memmove(history, history + (end - begin), state.history_len * sizeof *history);
            at.origin -= static_cast<ptrdiff_t>(end - begin);
        }
        if (made < extent.outputs) {
            at.origin += decoded - (fresh - window);
            to.filter_window(plan.filter, samples, at, extent.outputs - made, out + size_t{made} * to.size, false);
        }
    }

    void recode(const uint8_t *in, uint8_t *out, uint32_t count) const {
        int16_t block[kWindow];
        for (uint32_t piece; count; count -= piece, in += piece * from.size, out += piece * to.size) {
            piece = std::min(count, kWindow);
            from.decode_block(in, piece, block);
            to.encode_block(block, piece, out);
        }
    }

    // Moves the samples before in[count] into the history, as many as it holds.
    void remember(resample_state &state, const uint8_t *in, uint32_t count) const {
        const uint32_t fresh = std::min<uint32_t>(count, state.history_len), kept = state.history_len - fresh;
        std::memmove(state.history, state.history + fresh, kept * sizeof *state.history);
        from.decode_block(in + size_t{count - fresh} * from.size, fresh, state.history + kept);
    }

    [[gnu::noinline]] void convert(resample_state &state, const uint8_t *in, uint32_t &in_count, uint8_t *out,
                                   uint32_t &out_count) const {
        const call_extent extent(state, in_count, out_count);
        if (only_recodes(state))
            recode(in, out, extent.outputs);
        else if (const resample_plan *plan = usable_plan(state, extent.outputs))
            convert_by_rows(state, *plan, in, out, extent);
        else
            convert_plainly(state, in, out, extent.outputs);
        remember(state, in, extent.consumed);
        state.phase = extent.next_phase;
        in_count = extent.consumed;
        out_count = extent.outputs;
    }
};

} // namespace

double sinc(double x) {
    constexpr double pi = 3.141592653589793, as_good_as_zero = 1e-14;
    return std::fabs(x) <= as_good_as_zero ? 1.0 : std::sin(pi * x) / (pi * x);
}

void init_lanczos(resample_state *state, int32_t lobes) {
    if (lobes <= 0)
        return;
    const uint32_t L = state->interp_factor, M = state->decim_factor, slower = std::max(L, M);
    const float gain = std::min(static_cast<float>(L) / static_cast<float>(M), 1.0F);
    const int64_t centre = int64_t{lobes} * slower;
    replace_table(*state, static_cast<uint64_t>(2 * centre - 1), [=](uint32_t k) {
        const float x = (static_cast<float>(k - centre) + 1.0F) / static_cast<float>(slower);
        return coefficient(gain * lanczos(x, static_cast<float>(lobes)));
    });
}

void init_bilinear(resample_state *state) {
    const uint32_t L = state->interp_factor;
    replace_table(*state, 2 * uint64_t{L} - 1,
                  [=](uint32_t k) { return coefficient(static_cast<float>(k + 1) / static_cast<float>(L)); });
}

resample_state *resample_alloc(uint32_t out_rate, uint32_t in_rate, uint32_t kernel) {
    if (out_rate == 0 || in_rate == 0)
        return nullptr;
    owned<resample_state[]> record = allocate<resample_state>(1);
    if (!record)
        return nullptr;
    std::unique_ptr<resample_state, state_deleter> state(new (record.release()) resample_state{});
    const uint32_t divisor = std::gcd(out_rate, in_rate);
    state->interp_factor = out_rate / divisor;
    state->decim_factor = in_rate / divisor;

    if (kernel == RESAMPLE_LANC || kernel == RESAMPLE_LAN2)
        init_lanczos(state.get(), kernel == RESAMPLE_LANC ? 1 : 2);
    else
        init_bilinear(state.get());
    if (!state->coeffs || !make_history(*state) || !make_plan(*state))
        return nullptr;
    return state.release();
}

void resample_reset(resample_state *state) {
    state->phase = 0;
    std::fill_n(state->history, state->history_len, int16_t{0});
}

void resample_free(resample_state *state) {
    if (!state)
        return;
    std::free(state->history);
    std::free(state->coeffs);
    std::free(state->plan);
    std::free(state);
}

void resample_mono(resample_state *state, const void *in, uint32_t *in_count, void *out, uint32_t *out_count,
                   uint32_t in_format, uint32_t out_format) {
    const sample_format *from = find_format(in_format), *to = find_format(out_format);
    if (!from || !to)
        return;
    if (!in || !out || *in_count == 0 || *out_count == 0)
        *in_count = *out_count = 0;
    else
        converter{*from, *to}.convert(*state, static_cast<const uint8_t *>(in), *in_count, static_cast<uint8_t *>(out),
                                      *out_count);
}

void resample_test(resample_state *state, const int16_t *in, uint32_t *in_count, int16_t *out, uint32_t *out_count) {
    resample_mono(state, in, in_count, out, out_count, RESAMPLE_LEND, RESAMPLE_LEND);
}

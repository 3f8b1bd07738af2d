// The conversion of a stream, call by call.
#include "codecs.hpp"
#include "plan.hpp"
#include <algorithm>

using namespace vela::detail;

namespace {

constexpr uint32_t kBlock = 256; // outputs between the filter and their encoding

// The numbers of input and output samples of one call.
struct call_extent {
    uint32_t outputs = 0;
    uint32_t needed, consumed; // input up to the newest sample of the last output, and without those used again
    uint32_t next_phase;

    call_extent(const resample_state &state, uint32_t in_count, uint32_t capacity)
        : needed(in_count), consumed(in_count) {
        const uint64_t end = uint64_t{in_count} * state.interp_factor;
        const uint64_t to_last_that_fits = (capacity - uint64_t{1}) * state.decim_factor;
        if (end <= UINT32_MAX) // for 32-bit machines
            measure(state, static_cast<uint32_t>(end),
                    static_cast<uint32_t>(std::min<uint64_t>(to_last_that_fits, UINT32_MAX)), capacity);
        else
            measure(state, end, to_last_that_fits, capacity);
    }

private:
    // From the steps to the end of the input, and those from the first output to the last that fits.
    template <class Steps>
    [[gnu::always_inline]] void measure(const resample_state &state, Steps end, Steps to_last_that_fits,
                                        uint32_t capacity) {
        const uint32_t L = state.interp_factor, M = state.decim_factor, first = state.phase;
        if (first >= end) {
            next_phase = static_cast<uint32_t>(first - end);
            return;
        }
        const Steps span = end - 1 - first;
        outputs = to_last_that_fits <= span ? capacity : static_cast<uint32_t>(span / M) + 1;

        // Steps after the last output: in samples that it doesn't need, and up to the end of its newest one, which is
        // kept if the next output needs it as newest too.
        const Steps after = span - (outputs - Steps{1}) * M;
        const auto samples = static_cast<uint32_t>(after / L);
        const uint32_t steps = static_cast<uint32_t>(after) - samples * L;
        const bool is_kept = M <= steps;
        needed -= samples;
        consumed = needed - is_kept;
        next_phase = M - 1 - steps + (is_kept ? L : 0);
    }
};

// The conversion's interface to a sample format. The functions convert blocks of samples, so that one conversion serves
// all pairs of formats.
struct sample_format {
    uint32_t size; // of a sample, in bytes
    bool is_native;
    void (*decode)(const uint8_t *from, size_t count, int16_t *samples);
    void (*encode)(const int16_t *samples, size_t count, uint8_t *to);
};

template <class Codec>
constexpr sample_format kFormat = {Codec::size, std::is_same_v<Codec, native_codec>, decode_block<Codec>,
                                   encode_block<Codec>};

// The format of a tag, or null for an unknown one.
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

// The samples in memory if they are native and aligned, or null.
template <class Byte>
auto in_place(const sample_format &format, Byte *samples) {
    using sample = std::conditional_t<std::is_const_v<Byte>, const int16_t, int16_t>;
    const bool is_aligned = reinterpret_cast<uintptr_t>(samples) % alignof(int16_t) == 0;
    return format.is_native && is_aligned ? reinterpret_cast<sample *>(samples) : nullptr;
}

// Equal rates and the single coefficient 1.
bool only_recodes(const resample_state &state) {
    return state.num_coeffs == 1 && state.interp_factor == 1 && state.decim_factor == 1 && state.phase == 0 &&
           state.coeff_shift == kCoefficientBits && state.coeffs[0] == 1 << kCoefficientBits;
}

// Moves the samples before samples[count] into the history, as many as it holds.
void remember(resample_state &state, const int16_t *samples, uint32_t count) {
    const uint32_t fresh = std::min<uint32_t>(count, state.history_len), kept = state.history_len - fresh;
    if (kept)
        std::memmove(state.history, state.history + fresh, kept * sizeof *state.history);
    std::copy_n(samples + (count - fresh), fresh, state.history + kept);
}

// Advances past the first samples of a piece.
[[gnu::always_inline]] inline void move_on(resample_state &state, resample_plan *plan, const int16_t *piece,
                                           uint32_t count, uint32_t phase) {
    remember(state, piece, count);
    state.phase = phase;
    if (plan) {
        plan->at.origin -= static_cast<ptrdiff_t>(count);
        plan->phase = phase;
    }
}

[[gnu::always_inline]] inline void add_side_by_side(const int16_t *coeffs, const int16_t *newest, size_t taps,
                                                    uint32_t *sum) {
    for (size_t k = 0; k < taps; ++k)
        *sum += static_cast<uint32_t>(coeffs[k] * newest[-static_cast<ptrdiff_t>(k)]);
}

uint32_t sum_side_by_side(const int16_t *coeffs, const int16_t *newest, size_t taps) {
    uint32_t sum = 0;
    dispatch_avx2<add_side_by_side>(coeffs, newest, taps, &sum);
    return sum;
}

// The position of a conversion by the table.
struct table_position {
    size_t newest; // sample of the next output
    uint32_t phase;

    explicit table_position(const resample_state &state)
        : newest(state.phase < state.interp_factor ? 0 : state.phase / state.interp_factor),
          phase(static_cast<uint32_t>(state.phase - newest * state.interp_factor)) {}
};

// Conversion by the table where the factor L is 1: the coefficients of an output are consecutive, and are summed up by
// SIMD code: on x86-64 a call from 600 to 1 is 15 times as fast as without, with 8 to 480 outputs.
[[gnu::noinline]] void convert_consecutive(const resample_state &state, table_position &position, const int16_t *piece,
                                           uint32_t outputs, int16_t *out) {
    const size_t reach = state.history_len, end = std::min<size_t>(state.num_coeffs, reach + 1);
    for (; outputs; --outputs, position.newest += state.decim_factor) {
        const size_t in_piece = std::min(end, position.newest + 1);
        uint32_t sum = sum_side_by_side(state.coeffs, piece + position.newest, in_piece);
        if (in_piece != end)
            sum += sum_side_by_side(state.coeffs + in_piece, state.history + (reach - 1), end - in_piece);
        *out++ = sample_of(sum, state.coeff_shift);
    }
}

// The conversion by definition: each output is the sum of the coefficients of its phase, L apart, times the samples
// from its newest one backwards, in the piece of input and before that in the history.
[[gnu::noinline]] void convert_by_table(const resample_state &state, table_position &position, const int16_t *piece,
                                        uint32_t outputs, int16_t *out) {
    const uint32_t L = state.interp_factor, M = state.decim_factor, samples_a_step = M < L ? 0 : M / L;
    if (L == 1)
        return convert_consecutive(state, position, piece, outputs, out);
    const uint32_t steps = M - samples_a_step * L, fraction_bits = state.coeff_shift;
    const size_t stride = std::min<size_t>(L, UINT16_MAX), reach = state.history_len;
    const size_t end = std::min<size_t>(state.num_coeffs, (reach + 1) * stride);
    const int16_t *const coeffs = state.coeffs, *const history_end = state.history + reach;
    auto [newest, phase] = position;
    for (int16_t *const out_end = out + outputs; out != out_end; ++out) {
        uint32_t sum = 0;
        if (newest >= reach) {
            const int16_t *sample = piece + newest;
            for (size_t k = phase; k < end; k += stride)
                sum += static_cast<uint32_t>(coeffs[k] * *sample--);
        } else {
            auto at = static_cast<ptrdiff_t>(newest);
            for (size_t k = phase; k < end; k += stride, --at)
                sum += static_cast<uint32_t>(coeffs[k] * (at < 0 ? history_end : piece)[at]);
        }
        *out = sample_of(sum, static_cast<int>(fraction_bits));
        newest += samples_a_step;
        phase += steps;
        if (phase >= L) {
            phase -= L;
            ++newest;
        }
    }
    position.newest = newest;
    position.phase = phase;
}

// Outputs by rows, over a window: the history, followed by the piece of input. A piece elsewhere in memory is copied
// there for the first outputs; the others don't reach the history and use the piece itself. make(samples, done,
// outputs) computes and writes the next outputs after those that are done.
template <class Make>
[[gnu::always_inline]] inline void convert_by_rows(const resample_state &state, resample_plan &plan, int16_t *fresh,
                                                   const int16_t *piece, uint32_t count, uint32_t outputs, Make make) {
    constexpr uint32_t lead = kTapsMultiple - 1;
    int16_t *const history = fresh - state.history_len;
    std::fill_n(history - lead, lead, int16_t{0});
    std::copy_n(state.history, state.history_len, history);

    plan.at = plan.position_of(state.phase);
    uint32_t first = 0;
    if (piece != fresh) {
        first = std::min(plan.first_outputs, outputs);
        std::copy_n(piece, std::min(plan.first_samples, count), fresh);
        make(fresh, 0, first);
    }
    make(piece, first, outputs - first);
}

// A call with native, aligned input and output: the most frequent one, often for packets of few outputs.
[[gnu::noinline]] void convert_in_place(resample_state &state, resample_plan *plan, const int16_t *in, int16_t *out,
                                        const call_extent &extent) {
    int16_t window[kWindow];
    if (plan)
        convert_by_rows(state, *plan, window + window_ahead(state.history_len), in, extent.needed, extent.outputs,
                        [=](const int16_t *samples, uint32_t done, uint32_t outputs) {
                            plan->filter.run(samples, plan->at, outputs, out + done);
                        });
    else {
        table_position position(state);
        convert_by_table(state, position, in, extent.outputs, out);
    }
    move_on(state, plan, in, extent.consumed, extent.next_phase);
}

// One call of a stream's conversion from one format to another.
struct conversion {
    resample_state &state;
    const sample_format &from, &to;
    uint8_t *out;

    // Writes the outputs of a filter: in place if they are native and aligned, otherwise block by block.
    template <class Filter>
    [[gnu::always_inline]] void write(uint32_t outputs, Filter filter) {
        if (int16_t *const direct = in_place(to, out)) {
            filter(outputs, direct);
            out += outputs * to.size;
            return;
        }
        alignas(16) int16_t block[kBlock];
        for (uint32_t count; outputs; outputs -= count, out += count * to.size) {
            count = std::min(outputs, kBlock);
            filter(count, block);
            to.encode(block, count, out);
        }
    }

    // Samples used in place are one piece, others are decoded piece by piece.
    [[gnu::noinline]] void convert_pieces(resample_plan *plan, bool recodes, const uint8_t *in,
                                          const call_extent &extent) {
        alignas(16) int16_t window[kWindow];
        int16_t *const fresh = window + (plan ? window_ahead(state.history_len) : 0);
        const auto capacity = static_cast<uint32_t>(std::end(window) - fresh);
        const int16_t *const samples = in_place(from, in), *const piece = samples ? samples : fresh;
        const uint32_t longest = samples ? extent.needed : capacity;
        uint32_t left = extent.needed, outputs = extent.outputs;
        for (;;) {
            const uint32_t count = std::min(left, longest);
            if (!samples)
                from.decode(in, count, fresh);
            const auto made = count == left ? outputs : call_extent(state, count, outputs).outputs;
            if (recodes) {
                to.encode(piece, made, out);
                out += made * to.size;
            } else if (plan)
                convert_by_rows(
                    state, *plan, fresh, piece, count, made, [&](const int16_t *at, uint32_t, uint32_t some) {
                        write(some,
                              [&](uint32_t part, int16_t *block) { plan->filter.run(at, plan->at, part, block); });
                    });
            else {
                table_position position(state);
                write(made,
                      [&](uint32_t part, int16_t *block) { convert_by_table(state, position, piece, part, block); });
            }
            if (count == left)
                break;
            move_on(state, plan, piece, count, state.phase + made * state.decim_factor - count * state.interp_factor);
            in += count * from.size;
            left -= count;
            outputs -= made;
        }
        move_on(state, plan, piece, extent.consumed - (extent.needed - left), extent.next_phase);
    }

    void convert(const uint8_t *in, uint32_t &in_count, uint32_t &out_count) {
        const call_extent extent(state, in_count, out_count);
        in_count = extent.consumed;
        out_count = extent.outputs;
        const bool recodes = only_recodes(state);
        resample_plan *const plan = recodes || !pays_for_rows(state, extent.outputs) ? nullptr : refresh_plan(state);
        const int16_t *const samples = in_place(from, in);
        int16_t *const to_samples = in_place(to, out);
        if (samples && to_samples && !recodes)
            convert_in_place(state, plan, samples, to_samples, extent);
        else
            convert_pieces(plan, recodes, in, extent);
    }
};

} // namespace

void resample_mono(resample_state *state, const void *in, uint32_t *in_count, void *out, uint32_t *out_count,
                   uint32_t in_format, uint32_t out_format) {
    const sample_format *from = find_format(in_format);
    const sample_format *to = out_format == in_format ? from : find_format(out_format);
    if (!from || !to)
        return;
    if (!in || !out || *in_count == 0 || *out_count == 0 || state->interp_factor == 0)
        *in_count = *out_count = 0;
    else
        conversion{*state, *from, *to, static_cast<uint8_t *>(out)}.convert(static_cast<const uint8_t *>(in), *in_count,
                                                                            *out_count);
}

void resample_test(resample_state *state, const int16_t *in, uint32_t *in_count, int16_t *out, uint32_t *out_count) {
    resample_mono(state, in, in_count, out, out_count, RESAMPLE_LEND, RESAMPLE_LEND);
}

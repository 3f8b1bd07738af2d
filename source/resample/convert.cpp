// The conversion of a stream, call by call.
#include "codecs.hpp"
#include "common/fourcc.hpp"
#include "plan.hpp"
#include <algorithm>

using namespace vela::detail;

namespace {

static_assert(RESAMPLE_LEND == fourcc("LEND"));
static_assert(RESAMPLE_BEND == fourcc("BEND"));
static_assert(RESAMPLE_ALAW == fourcc("ALAW"));
static_assert(RESAMPLE_ULAW == fourcc("ULAW"));

constexpr uint32_t kBlock = 256; // outputs between the filter and their encoding

// The quotient of what as a rule fits 32 bits, which 32-bit ARM divides in half the time.
uint64_t divide_mostly_32(uint64_t dividend, uint32_t divisor) {
    return dividend <= UINT32_MAX ? static_cast<uint32_t>(dividend) / divisor : dividend / divisor;
}

// Outputs whose newest sample lies within the first `samples` inputs.
uint64_t outputs_within(const resample_state &state, uint32_t samples) {
    const uint64_t end = uint64_t{samples} * state.interp_factor, first = state.phase;
    if (first >= end)
        return 0;
    return state.decim_factor ? divide_mostly_32(end - first - 1, state.decim_factor) + 1 : UINT64_MAX;
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
        needed = outputs ? static_cast<uint32_t>(divide_mostly_32(next - M, state.interp_factor) + 1) : in_count;
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
    void (*decode)(const uint8_t *from, size_t count, int16_t *samples);
    void (*encode)(const int16_t *samples, size_t count, uint8_t *to);
};

template <class Codec>
constexpr sample_format kFormat = {Codec::size, std::is_same_v<Codec, native_codec>, decode_block<Codec>,
                                   encode_block<Codec>};

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

// The samples as they lie in memory, if they can be computed with there.
template <class Byte>
auto in_place(const sample_format &format, Byte *samples) {
    using sample = std::conditional_t<std::is_const_v<Byte>, const int16_t, int16_t>;
    const bool is_aligned = reinterpret_cast<uintptr_t>(samples) % alignof(int16_t) == 0;
    return format.is_native && is_aligned ? reinterpret_cast<sample *>(samples) : nullptr;
}

// Equal rates and the single coefficient 1.
bool only_recodes(const resample_state &state) {
    return state.interp_factor == 1 && state.decim_factor == 1 && state.phase == 0 && state.num_coeffs == 1 &&
           state.coeff_shift == kCoefficientBits && state.coeffs[0] == 1 << kCoefficientBits;
}

// Moves the samples before samples[count] into the history, as many as it holds.
void remember(resample_state &state, const int16_t *samples, uint32_t count) {
    const uint32_t fresh = std::min<uint32_t>(count, state.history_len), kept = state.history_len - fresh;
    if (kept)
        std::memmove(state.history, state.history + fresh, kept * sizeof *state.history);
    std::copy_n(samples + (count - fresh), fresh, state.history + kept);
}

// One call of a stream's conversion from one format to another.
struct conversion {
    resample_state &state;
    const sample_format &from, &to;
    uint8_t *out;

    // Writes what a filter makes: where it lies as it is, or a block of outputs at a time.
    template <class Filter>
    [[gnu::always_inline]] void write(uint32_t outputs, Filter filter) {
        alignas(16) int16_t block[kBlock];
        int16_t *const direct = in_place(to, out);
        for (uint32_t count; outputs; outputs -= count, out += count * to.size) {
            count = direct ? outputs : std::min(outputs, kBlock);
            filter(count, direct ? direct : block);
            if (!direct)
                to.encode(block, count, out);
        }
    }

    // The conversion as it is meant: each output sums the coefficients of its phase, L apart, times the samples from
    // its newest one backwards, which lie in the piece of input and before that in the history.
    void convert_by_table(const int16_t *piece, uint32_t outputs) {
        const uint32_t L = state.interp_factor, M = state.decim_factor, samples_a_step = M < L ? 0 : M / L;
        const uint32_t stride = std::min<uint32_t>(L, UINT16_MAX + 1), reach = state.history_len;
        const auto end = static_cast<uint32_t>(std::min<uint64_t>(state.num_coeffs, (reach + uint64_t{1}) * L));
        const int16_t *const coeffs = state.coeffs;
        size_t newest = state.phase < L ? 0 : state.phase / L;
        uint32_t phase = state.phase - static_cast<uint32_t>(newest) * L;
        write(outputs, [&](uint32_t count, int16_t *block) {
            for (; count; --count) {
                const uint32_t end_in_piece =
                    newest >= reach ? end : std::min(end, (static_cast<uint32_t>(newest) + 1) * L);
                uint32_t sum = 0, k = phase;
                const int16_t *sample = piece + newest;
                if (stride == 1) // which compilers compute side by side
                    for (; k < end_in_piece; ++k)
                        sum += static_cast<uint32_t>(coeffs[k] * *sample--);
                else
                    for (; k < end_in_piece; k += stride)
                        sum += static_cast<uint32_t>(coeffs[k] * *sample--);
                for (sample = state.history + reach; k < end; k += stride)
                    sum += static_cast<uint32_t>(coeffs[k] * *--sample);
                *block++ = sample_of(sum, state.coeff_shift);
                newest += samples_a_step;
                phase += M - samples_a_step * L;
                if (phase >= L) {
                    phase -= L;
                    ++newest;
                }
            }
        });
    }

    // The same by rows, over a window: the history, and the piece behind it. A piece that lies elsewhere is brought
    // there for the first outputs; the others no longer reach the history and take their samples from where they are.
    void convert_by_rows(resample_plan &plan, int16_t *fresh, const int16_t *piece, uint32_t count, uint32_t outputs) {
        constexpr uint32_t lead = kTapsMultiple - 1;
        int16_t *const history = fresh - state.history_len;
        std::fill_n(history - lead, lead, int16_t{0});
        std::copy_n(state.history, state.history_len, history);

        plan.at = plan.position_of(state.phase);
        const auto make = [&](const int16_t *samples, uint32_t wanted) {
            write(wanted, [&](uint32_t some, int16_t *block) { plan.filter.run(samples, plan.at, some, block); });
        };
        if (piece != fresh) {
            const uint32_t first = std::min(plan.first_outputs, outputs);
            std::copy_n(piece, std::min(plan.first_samples, count), fresh);
            make(fresh, first);
            outputs -= first;
        }
        make(piece, outputs);
    }

    // Goes on behind the first samples of a piece.
    void move_on(resample_plan *plan, const int16_t *piece, uint32_t count, uint32_t phase) {
        remember(state, piece, count);
        state.phase = phase;
        if (plan) {
            plan->at.origin -= static_cast<ptrdiff_t>(count);
            plan->phase = phase;
        }
    }

    // Samples that can be used in place are one piece, others are decoded piece by piece.
    [[gnu::noinline]] void convert(const uint8_t *in, uint32_t &in_count, uint32_t &out_count) {
        const call_extent extent(state, in_count, out_count);
        const bool recodes = only_recodes(state);
        resample_plan *const plan = recodes ? nullptr : refresh_plan(state, extent.outputs);

        alignas(16) int16_t window[kWindow];
        int16_t *const fresh = window + (plan ? window_ahead(state.history_len) : 0);
        const auto room = static_cast<uint32_t>(std::end(window) - fresh);
        const int16_t *const samples = in_place(from, in), *const piece = samples ? samples : fresh;
        const uint32_t most = samples ? extent.needed : room;
        uint32_t left = extent.needed, outputs = extent.outputs;
        for (;;) {
            const uint32_t count = std::min(left, most);
            if (!samples)
                from.decode(in, count, fresh);
            const auto made = count == left ? outputs : static_cast<uint32_t>(outputs_within(state, count));
            if (recodes) {
                to.encode(piece, made, out);
                out += made * to.size;
            } else if (plan)
                convert_by_rows(*plan, fresh, piece, count, made);
            else
                convert_by_table(piece, made);
            if (count == left)
                break;
            move_on(plan, piece, count, state.phase + made * state.decim_factor - count * state.interp_factor);
            in += count * from.size;
            left -= count;
            outputs -= made;
        }
        move_on(plan, piece, extent.consumed - (extent.needed - left), extent.next_phase);
        in_count = extent.consumed;
        out_count = extent.outputs;
    }
};

} // namespace

void resample_mono(resample_state *state, const void *in, uint32_t *in_count, void *out, uint32_t *out_count,
                   uint32_t in_format, uint32_t out_format) {
    const sample_format *from = find_format(in_format), *to = find_format(out_format);
    if (!from || !to)
        return;
    if (!in || !out || *in_count == 0 || *out_count == 0)
        *in_count = *out_count = 0;
    else
        conversion{*state, *from, *to, static_cast<uint8_t *>(out)}.convert(static_cast<const uint8_t *>(in), *in_count,
                                                                            *out_count);
}

void resample_test(resample_state *state, const int16_t *in, uint32_t *in_count, int16_t *out, uint32_t *out_count) {
    resample_mono(state, in, in_count, out, out_count, RESAMPLE_LEND, RESAMPLE_LEND);
}

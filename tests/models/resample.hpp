// The resampler once more, from its definition: an output is the sum of the coefficients of its phase times the samples
// from its newest one backwards. And the laws of ITU-T G.711, as the intervals into which they cut the magnitudes.
#pragma once

#include "block.hpp"
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>
#include <vela/cpp/resampler.hpp>

namespace model {

using samples = std::vector<int16_t>;
using bytes = std::vector<uint8_t>;

constexpr uint32_t kKernels[] = {RESAMPLE_LANC, RESAMPLE_LAN2, RESAMPLE_BILI};
constexpr uint32_t kFormats[] = {RESAMPLE_LEND, RESAMPLE_BEND, RESAMPLE_ALAW, RESAMPLE_ULAW};

// All outputs that a stream's samples have, on a record that stands at its beginning.
inline samples resampled(const resample_state &state, const samples &in) {
    samples out;
    for (uint64_t position = state.phase; position / state.interp_factor < in.size(); position += state.decim_factor) {
        uint32_t sum = 0;
        auto at = static_cast<int64_t>(position / state.interp_factor);
        int32_t reach = state.history_len;
        for (uint64_t k = position % state.interp_factor; k < state.num_coeffs && at >= 0 && reach >= 0;
             k += state.interp_factor, --at, --reach)
            sum += static_cast<uint32_t>(state.coeffs[k] * in[static_cast<size_t>(at)]);
        out.push_back(static_cast<int16_t>(std::clamp(static_cast<int32_t>(sum) >> state.coeff_shift, -32768, 32767)));
    }
    return out;
}

// A code is a sign, three bits of segment and four of step; a sample has the code of the interval in which it lies, and
// a code stands for the middle of its interval. Negative samples mirror those from -1 downwards onto 0 upwards.
struct law {
    bool is_alaw;

    int bottom(int code) const {
        const int segment = code >> 4, step = code & 15;
        if (!is_alaw)
            return ((step + 16) << (segment + 3)) - 132;
        return segment == 0 ? step << 4 : (step + 16) << (segment + 3);
    }
    int half(int code) const { return is_alaw ? 8 << std::max(0, (code >> 4) - 1) : 4 << (code >> 4); }
    uint8_t encoded(int16_t sample) const {
        const int magnitude = sample < 0 ? ~sample : sample;
        int code = 127;
        while (bottom(code) > magnitude)
            --code;
        return static_cast<uint8_t>((code | (sample < 0 ? 0 : 0x80)) ^ (is_alaw ? 0x55 : 0x7F));
    }
    int16_t decoded(uint8_t byte) const {
        const int code = (byte ^ (is_alaw ? 0x55 : 0x7F)) & 0x7F, magnitude = bottom(code) + half(code);
        return static_cast<int16_t>(byte & 0x80 ? magnitude : -magnitude);
    }
};

inline uint32_t size_of(uint32_t format) { return format == RESAMPLE_LEND || format == RESAMPLE_BEND ? 2 : 1; }

inline samples decoded(const bytes &from, uint32_t format) {
    samples to;
    for (size_t i = 0; i + size_of(format) <= from.size(); i += size_of(format))
        to.push_back(format == RESAMPLE_LEND   ? static_cast<int16_t>(from[i] | from[i + 1] << 8)
                     : format == RESAMPLE_BEND ? static_cast<int16_t>(from[i] << 8 | from[i + 1])
                                               : law{format == RESAMPLE_ALAW}.decoded(from[i]));
    return to;
}

inline bytes encoded(const samples &from, uint32_t format) {
    bytes to;
    for (const int16_t sample : from) {
        const auto low = static_cast<uint8_t>(sample), high = static_cast<uint8_t>(sample >> 8);
        if (size_of(format) == 1)
            to.push_back(law{format == RESAMPLE_ALAW}.encoded(sample));
        else
            to.insert(to.end(), {format == RESAMPLE_LEND ? low : high, format == RESAMPLE_LEND ? high : low});
    }
    return to;
}

using converter = std::unique_ptr<resample_state, decltype(&resample_free)>;

// For a kernel's tag, or for a number of lobes, with the history that these need.
inline converter make_converter(uint32_t out_rate, uint32_t in_rate, uint32_t kernel) {
    if (kernel > UINT16_MAX)
        return {resample_alloc(out_rate, in_rate, kernel), resample_free};
    return {vela::resampler::with_lobes(out_rate, in_rate, kernel)->release(), resample_free};
}

// So many samples of some size.
inline std::string_view part(const bytes &all, size_t at = 0, size_t count = SIZE_MAX, size_t size = 1) {
    return std::string_view(reinterpret_cast<const char *>(all.data()), all.size()).substr(at * size, count * size);
}

// Converts a stream from its beginning, in calls of as many samples and as much room as cut() says, and expects the
// outputs of the definition. The buffers lie anywhere and end where the samples do.
template <class Cut>
void expect_stream(resample_state &state, const bytes &in, uint32_t from, uint32_t to, const std::string &name,
                   Cut cut) {
    const bytes expected = encoded(resampled(state, decoded(in, from)), to);
    size_t done = 0;
    for (auto left = static_cast<uint32_t>(in.size() / size_of(from)); left > 0;) {
        const uint32_t count = std::min<uint32_t>(left, cut()), room = cut();
        block input(part(in, in.size() / size_of(from) - left, count, size_of(from)));
        block output = room_for(room * size_of(to));
        uint32_t used = count, made = room;
        resample_mono(&state, input.bytes(), &used, output.bytes(), &made, from, to);
        agree("too many used or made", name, used > count || made > room, false);
        std::string content(part(expected, done, made, size_of(to)));
        content.resize(room * size_of(to) + 1, '#'); // as it was
        output.expect_content("sample " + std::to_string(done) + " and on", name, content);
        left -= used, done += made;
    }
    agree("bytes", name, done * size_of(to), expected.size());
}

// The same in C++: streams in pushes, each with a flush that makes what was late and begins anew.
template <class Cut>
void expect_pushes(vela::resampler made, const bytes &in, uint32_t from, uint32_t to, const std::string &name,
                   Cut cut) {
    const auto in_format = static_cast<vela::sample_format>(from), out_format = static_cast<vela::sample_format>(to);
    samples input = decoded(in, from);
    const size_t count = input.size(), factor = made.get()->interp_factor;
    input.resize(count + (made.get()->num_coeffs / 2U + factor - 1) / factor); // up to the middle of the kernel
    const bytes expected = encoded(resampled(*made.get(), input), to);
    samples as_samples;
    made.push(std::span(input).first(count), as_samples), made.flush(as_samples);
    agree("a push and a flush of samples", name, part(encoded(as_samples, to)), part(expected));
    for (int stream = 0; stream < 2; ++stream) {
        bytes out;
        for (size_t at = 0, some; at < count; at += some) {
            some = std::min<size_t>(count - at, cut());
            block piece(part(in, at, some, size_of(from)));
            const auto due = static_cast<size_t>(made.outputs_of(some)) * size_of(to) + out.size();
            agree("push", name, made.push(std::span(piece.bytes(), piece.size()), in_format, out, out_format), true);
            agree("bytes of a push", name, out.size(), due);
        }
        made.flush(out, out_format);
        agree("pushes and flush", name, part(out), part(expected));
    }
}

} // namespace model

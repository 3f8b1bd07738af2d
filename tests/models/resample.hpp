// An independent implementation of the resampler, from its definition: an output is the sum of the coefficients of its
// phase times the samples from its newest one backwards. And the laws of ITU-T G.711, as the intervals into which they
// cut the magnitudes.
#pragma once

#include "memory.hpp"
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

// The outputs of the next samples of a stream, at most `most`.
inline samples resampled(const resample_state &state, const samples &in, size_t most = SIZE_MAX) {
    samples out;
    for (uint64_t position = state.phase; position / state.interp_factor < in.size() && out.size() < most;
         position += state.decim_factor) {
        uint32_t sum = 0;
        auto at = static_cast<int64_t>(position / state.interp_factor);
        int32_t reach = state.history_len;
        for (uint64_t k = position % state.interp_factor; k < state.num_coeffs && reach >= 0;
             k += state.interp_factor, --at, --reach)
            sum += static_cast<uint32_t>(
                state.coeffs[k] * (at < 0 ? state.history[state.history_len + at] : in[static_cast<size_t>(at)]));
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
    return {value_of(vela::resampler::with_lobes(out_rate, in_rate, kernel)).release(), resample_free};
}

// A number of samples of a size.
inline std::string_view part(const bytes &all, size_t at = 0, size_t count = SIZE_MAX, size_t size = 1) {
    return std::string_view(reinterpret_cast<const char *>(all.data()), all.size()).substr(at * size, count * size);
}

// Converts a stream from its beginning, in calls with the numbers of samples and capacities that cut() returns, and
// expects the outputs of the definition. The buffers have any alignment and end where the samples do.
template <class Cut>
void expect_stream(resample_state &state, const bytes &in, uint32_t from, uint32_t to, const std::string &name,
                   Cut cut) {
    const bytes expected = encoded(resampled(state, decoded(in, from)), to);
    size_t done = 0;
    for (auto left = static_cast<uint32_t>(in.size() / size_of(from)); left > 0;) {
        const uint32_t count = std::min<uint32_t>(left, cut()), capacity = cut();
        block input(part(in, in.size() / size_of(from) - left, count, size_of(from)));
        block output = buffer_of(capacity * size_of(to));
        uint32_t used = count, made = capacity;
        resample_mono(&state, input.bytes(), &used, output.bytes(), &made, from, to);
        agree("too many used or made", name, used > count || made > capacity, false);
        std::string content(part(expected, done, made, size_of(to)));
        content.resize(capacity * size_of(to) + 1, '#'); // as it was
        output.expect_content("sample " + std::to_string(done) + " and on", name, content);
        left -= used, done += made;
    }
    agree("bytes", name, done * size_of(to), expected.size());
}

// Expects one call's outputs, counts, phase and history, by what the record holds before it.
inline void expect_call(resample_state &state, const bytes &in, uint32_t from, uint32_t to, uint32_t capacity,
                        const std::string &name) {
    const samples input = decoded(in, from), out = resampled(state, input, capacity);
    const uint64_t next = state.phase + uint64_t{state.decim_factor} * out.size();
    uint64_t used = input.size();
    if (!out.empty()) { // the newest sample of the last output stays if it is the next output's as well
        const uint64_t newest = (next - state.decim_factor) / state.interp_factor;
        used = newest + (next / state.interp_factor == newest ? 0 : 1);
    }
    samples history(state.history, state.history + state.history_len);
    history.insert(history.end(), input.begin(), input.begin() + static_cast<ptrdiff_t>(used));

    block given(part(in));
    block output = buffer_of(capacity * size_of(to));
    auto count = static_cast<uint32_t>(input.size()), made = capacity;
    resample_mono(&state, given.bytes(), &count, output.bytes(), &made, from, to);
    std::string content(part(encoded(out, to)));
    content.resize(capacity * size_of(to) + 1, '#'); // as it was
    output.expect_content("outputs", name, content);
    agree("outputs made", name, made, static_cast<long long>(out.size()));
    agree("inputs used", name, count, static_cast<long long>(used));
    agree("phase", name, state.phase, static_cast<long long>(next - used * state.interp_factor));
    agree_all("history", name, std::span(state.history, state.history_len), std::span(history).last(state.history_len));
}

// A record whose table and history are the caller's, anywhere in memory.
struct changed_record {
    converter made = make_converter(64, 3, 32); // with memory for the rows of most others
    samples table = samples(made->coeffs, made->coeffs + made->num_coeffs), history = samples(made->history_len);

    changed_record() {
        std::free(made->coeffs), std::free(made->history);
        adopt(0);
    }
    ~changed_record() { made->coeffs = made->history = nullptr; }
    changed_record(const changed_record &) = delete;

    void adopt(size_t first) {
        made->coeffs = table.data() + first;
        made->num_coeffs = static_cast<uint16_t>(table.size() - first);
        made->history = history.data();
        made->history_len = static_cast<uint16_t>(history.size());
    }

    // Changes one thing; below(end) gives numbers from 0 on.
    template <class Below>
    std::string change(Below below) {
        const auto noise = [&](samples &of) {
            for (int16_t &number : of)
                number = static_cast<int16_t>(below(65536));
        };
        resample_state &state = *made;
        switch (below(7)) {
        case 0:
            return "L " + std::to_string(state.interp_factor = 1 + below(40));
        case 1:
            return "M " + std::to_string(state.decim_factor = below(8) ? 1 + below(below(4) ? 40 : 3000) : 0);
        case 2:
            return "phase " + std::to_string(state.phase = below(below(4) ? 200 : 200000));
        case 3:
            table.resize(1 + below(300)), noise(table), adopt(below(2) % table.size());
            return "table of " + std::to_string(state.num_coeffs);
        case 4:
            history.resize(below(below(4) ? 40 : 3000)), noise(history);
            state.history = history.data(), state.history_len = static_cast<uint16_t>(history.size());
            return "history of " + std::to_string(history.size());
        case 5:
            return "shift " + std::to_string(state.coeff_shift = below(2) ? 14 : static_cast<uint16_t>(below(31)));
        default:
            table[below(static_cast<uint32_t>(table.size()))] ^= 1000;
            return "coefficient";
        }
    }
};

// The same in C++: streams in pushes, each with a flush that makes what was late and begins anew.
template <class Cut>
void expect_pushes(vela::resampler made, const bytes &in, uint32_t from, uint32_t to, const std::string &name,
                   Cut cut) {
    const auto in_format = static_cast<vela::resampler::format>(from),
               out_format = static_cast<vela::resampler::format>(to);
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
            const auto due = static_cast<size_t>(made.output_count(some)) * size_of(to) + out.size();
            agree("push", name, made.push(std::span(piece.bytes(), piece.size()), in_format, out, out_format), true);
            agree("bytes of a push", name, out.size(), due);
        }
        made.flush(out, out_format);
        agree("pushes and flush", name, part(out), part(expected));
    }
}

} // namespace model

// <vela/cpp/resampler.hpp>, with memory of its own for a piece of a stream, so that a push allocates nothing.
#include "bindings.hpp"
#include <vector>
#include <vela/cpp/resampler.hpp>

using namespace bindings;
using vela::resampler;

namespace {

struct stream {
    static constexpr uint64_t kSamples = 4096;

    // As many inputs as have at most kSamples outputs, and one where it alone has more.
    explicit stream(resampler of) : converter(std::move(of)) {
        const uint64_t up = converter.get()->interp_factor, down = converter.get()->decim_factor;
        in.resize(static_cast<size_t>(std::clamp<uint64_t>(kSamples * down / up, 1, kSamples)));
        out.resize(static_cast<size_t>(in.size() * up / down + 1));
    }

    resampler converter;
    std::vector<int16_t> in, out;
};

stream *hold_stream(std::optional<resampler> made) { return made ? new stream(std::move(*made)) : nullptr; }

constexpr resampler::kernel kKernels[] = {resampler::kernel::bilinear, resampler::kernel::lanczos,
                                          resampler::kernel::lanczos2};
constexpr resampler::format kFormats[] = {resampler::format::little_endian, resampler::format::big_endian,
                                          resampler::format::alaw, resampler::format::ulaw};

} // namespace

VELA_EXPORT(resampler_make) stream *make(uint32_t out_rate, uint32_t in_rate, size_t kernel) {
    return hold_stream(resampler::make(out_rate, in_rate, kKernels[kernel]));
}

VELA_EXPORT(resampler_with_lobes) stream *with_lobes(uint32_t out_rate, uint32_t in_rate, uint32_t lobes) {
    return hold_stream(resampler::with_lobes(out_rate, in_rate, lobes));
}

VELA_EXPORT(resampler_free) void free_stream(stream *one) { delete one; }

VELA_EXPORT(resampler_output_count) double output_count(const stream *one, double inputs) {
    return static_cast<double>(one->converter.output_count(static_cast<uint64_t>(inputs)));
}

VELA_EXPORT(resampler_latency) double latency(const stream *one) { return one->converter.latency(); }

VELA_EXPORT(resampler_piece) size_t piece(const stream *one) { return one->in.size(); }
VELA_EXPORT(resampler_in) int16_t *in(stream *one) { return one->in.data(); }
VELA_EXPORT(resampler_out) int16_t *out(stream *one) { return one->out.data(); }

// Converts the samples at in() to those at out(), and returns the number of these.
VELA_EXPORT(resampler_push) size_t push(stream *one, size_t count) {
    const auto made = one->converter.push(std::span<const int16_t>(one->in).first(count), std::span(one->out));
    return made ? made->size() : 0;
}

VELA_EXPORT(resampler_push_bytes)
block *push_bytes(stream *one, const uint8_t *bytes, size_t size, size_t in_format, size_t out_format) {
    std::vector<uint8_t> made;
    if (!one->converter.push({bytes, size}, kFormats[in_format], made, kFormats[out_format]))
        return nullptr;
    return give(std::span<const uint8_t>(made));
}

VELA_EXPORT(resampler_flush) block *flush(stream *one) {
    std::vector<int16_t> made;
    one->converter.flush(made);
    return give(std::span<const int16_t>(made));
}

VELA_EXPORT(resampler_flush_bytes) block *flush_bytes(stream *one, size_t out_format) {
    std::vector<uint8_t> made;
    one->converter.flush(made, kFormats[out_format]);
    return give(std::span<const uint8_t>(made));
}

VELA_EXPORT(resampler_reset) void reset(stream *one) { one->converter.reset(); }

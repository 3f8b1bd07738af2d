// <vela/cpp/resampler.hpp> and <vela/cpp/rate_converter.hpp>, with memory of its own for a piece of a stream, so that a
// push allocates nothing.
#include "bindings.hpp"
#include <vector>
#include <vela/cpp/rate_converter.hpp>
#include <vela/cpp/resampler.hpp>

using namespace bindings;
using vela::resampler;

namespace {

constexpr resampler::kernel kKernels[] = {resampler::kernel::bilinear, resampler::kernel::lanczos,
                                          resampler::kernel::lanczos2};
constexpr resampler::format kFormats[] = {resampler::format::little_endian, resampler::format::big_endian,
                                          resampler::format::alaw, resampler::format::ulaw};

// Samples in one format as those of another, without a conversion of rates.
std::vector<uint8_t> recoded(std::span<const uint8_t> bytes, resampler::format from, resampler::format to) {
    std::vector<uint8_t> made;
    auto same_rate = resampler::make(1, 1, resampler::kernel::bilinear);
    if (!same_rate || !same_rate->push(bytes, from, made, to))
        vela_fail("out of memory", nullptr, 0, nullptr);
    return made;
}

std::span<const uint8_t> bytes_of(const std::vector<int16_t> &samples) {
    return {reinterpret_cast<const uint8_t *>(samples.data()), samples.size() * sizeof(int16_t)};
}

std::vector<uint8_t> flushed(const std::vector<int16_t> &late, resampler::format to) {
    return recoded(bytes_of(late), resampler::format::little_endian, to);
}

// Streams by a kernel, and by a quality for either kind of samples. Those of floats have no bytes.
struct stream {
    void *in = nullptr, *out = nullptr;
    size_t piece = 0; // the samples that there is room for at in

    virtual ~stream() = default;
    virtual double output_count(uint64_t inputs) = 0;
    virtual double latency() = 0;
    virtual size_t push(size_t count) = 0;
    virtual block *push_bytes(std::span<const uint8_t> bytes, resampler::format from, resampler::format to) = 0;
    virtual block *flush() = 0;
    virtual block *flush_bytes(resampler::format to) = 0;
    virtual void reset() = 0;
    virtual bool set_ratio(double ratio) = 0;
    virtual bool follow(size_t fill, size_t target) = 0;
};

template <class Of, class Sample>
struct stream_of final : stream {
    static constexpr bool has_kernel = std::is_same_v<Of, resampler>;
    static constexpr uint64_t kSamples = 4096;

    Of of;
    std::vector<Sample> from, to;

    // As many inputs as have at most kSamples outputs, and one where it alone has more; a tenth more after set_ratio().
    stream_of(Of made, uint64_t up, uint64_t down, size_t channels) : of(std::move(made)) {
        const auto frames = static_cast<size_t>(std::clamp<uint64_t>(kSamples * down / up, 1, kSamples));
        from.resize(frames * channels);
        to.resize(static_cast<size_t>((frames * up / down + 1) * 10 / 9 + 1) * channels);
        in = from.data();
        out = to.data();
        piece = from.size();
    }

    double output_count(uint64_t inputs) override { return static_cast<double>(of.output_count(inputs)); }
    double latency() override { return of.latency(); }
    size_t push(size_t count) override {
        const auto made = of.push(std::span<const Sample>(from).first(count), std::span(to));
        return made ? made->size() : 0;
    }
    block *push_bytes(std::span<const uint8_t> bytes, resampler::format format, resampler::format to_format) override {
        std::vector<uint8_t> made;
        if constexpr (has_kernel) {
            if (!of.push(bytes, format, made, to_format))
                return nullptr;
        } else if constexpr (std::is_same_v<Sample, int16_t>) {
            const std::vector<uint8_t> linear = recoded(bytes, format, resampler::format::little_endian);
            std::vector<int16_t> samples(linear.size() / 2), outputs;
            std::copy(linear.begin(), linear.end(), reinterpret_cast<uint8_t *>(samples.data()));
            if (!of.push(std::span<const int16_t>(samples), outputs))
                return nullptr;
            made = flushed(outputs, to_format);
        } else {
            return nullptr;
        }
        return give(std::span<const uint8_t>(made));
    }
    block *flush() override {
        std::vector<Sample> late;
        of.flush(late);
        return give(std::span<const Sample>(late));
    }
    block *flush_bytes(resampler::format to_format) override {
        if constexpr (std::is_same_v<Sample, int16_t>) {
            std::vector<int16_t> late;
            of.flush(late);
            const std::vector<uint8_t> made = flushed(late, to_format);
            return give(std::span<const uint8_t>(made));
        } else {
            return nullptr;
        }
    }
    void reset() override { of.reset(); }
    bool set_ratio(double ratio) override {
        if constexpr (has_kernel)
            return false;
        else
            return of.set_ratio(ratio);
    }
    bool follow(size_t fill, size_t target) override {
        if constexpr (has_kernel)
            return false;
        else
            return of.follow(fill, target);
    }
};

stream *hold_stream(std::optional<resampler> made) {
    if (!made)
        return nullptr;
    const uint32_t up = made->get()->interp_factor, down = made->get()->decim_factor;
    return new stream_of<resampler, int16_t>(std::move(*made), up, down, 1);
}

template <class Sample>
stream *hold_converter(uint32_t out_rate, uint32_t in_rate, size_t quality, size_t channels) {
    using converter = vela::rate_converter<Sample>;
    auto made = converter::make(out_rate, in_rate, static_cast<vela::quality>(quality), channels);
    return made ? new stream_of<converter, Sample>(std::move(*made), out_rate, in_rate, channels) : nullptr;
}

} // namespace

VELA_EXPORT(resampler_make) stream *make(uint32_t out_rate, uint32_t in_rate, size_t kernel) {
    return hold_stream(resampler::make(out_rate, in_rate, kKernels[kernel]));
}

VELA_EXPORT(resampler_with_lobes) stream *with_lobes(uint32_t out_rate, uint32_t in_rate, uint32_t lobes) {
    return hold_stream(resampler::with_lobes(out_rate, in_rate, lobes));
}

VELA_EXPORT(resampler_with_quality)
stream *with_quality(uint32_t out_rate, uint32_t in_rate, size_t quality, size_t channels, bool has_floats) {
    return has_floats ? hold_converter<float>(out_rate, in_rate, quality, channels)
                      : hold_converter<int16_t>(out_rate, in_rate, quality, channels);
}

// False for streams of a kernel, and if there is no such ratio.
VELA_EXPORT(resampler_set_ratio) bool set_ratio(stream *one, double ratio) { return one->set_ratio(ratio); }
VELA_EXPORT(resampler_follow) bool follow(stream *one, size_t fill, size_t target) { return one->follow(fill, target); }

VELA_EXPORT(resampler_free) void free_stream(stream *one) { delete one; }

// Inputs and outputs are frames here.
VELA_EXPORT(resampler_output_count) double output_count(stream *one, double inputs) {
    return one->output_count(static_cast<uint64_t>(inputs));
}

VELA_EXPORT(resampler_latency) double latency(stream *one) { return one->latency(); }

VELA_EXPORT(resampler_piece) size_t piece(const stream *one) { return one->piece; }
VELA_EXPORT(resampler_in) void *in(stream *one) { return one->in; }
VELA_EXPORT(resampler_out) void *out(stream *one) { return one->out; }

// Converts the samples at in() to those at out(), and returns the number of these.
VELA_EXPORT(resampler_push) size_t push(stream *one, size_t count) { return one->push(count); }

VELA_EXPORT(resampler_push_bytes)
block *push_bytes(stream *one, const uint8_t *bytes, size_t size, size_t in_format, size_t out_format) {
    return one->push_bytes({bytes, size}, kFormats[in_format], kFormats[out_format]);
}

VELA_EXPORT(resampler_flush) block *flush(stream *one) { return one->flush(); }

VELA_EXPORT(resampler_flush_bytes) block *flush_bytes(stream *one, size_t out_format) {
    return one->flush_bytes(kFormats[out_format]);
}

VELA_EXPORT(resampler_reset) void reset(stream *one) { one->reset(); }

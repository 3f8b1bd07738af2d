// <vela/cpp/resampler.hpp> and <vela/cpp/rate_converter.hpp>, with memory of its own for a piece of a stream, so that a
// push allocates nothing.
#include "bindings.hpp"
#include <vector>
#include <vela/cpp/rate_converter.hpp>
#include <vela/cpp/resampler.hpp>

using namespace bindings;
using vela::resampler;

namespace {

using converter = vela::rate_converter<>;

constexpr resampler::kernel kKernels[] = {resampler::kernel::bilinear, resampler::kernel::lanczos,
                                          resampler::kernel::lanczos2};
constexpr resampler::format kFormats[] = {resampler::format::little_endian, resampler::format::big_endian,
                                          resampler::format::alaw, resampler::format::ulaw};

// A stream of one of the two kinds.
struct stream {
    static constexpr uint64_t kSamples = 4096;

    // As many inputs as have at most kSamples outputs, and one where it alone has more; a tenth more after set_ratio().
    stream(std::optional<resampler> by_kernel, std::optional<converter> by_quality, uint64_t up, uint64_t down)
        : kernel(std::move(by_kernel)), quality(std::move(by_quality)) {
        in.resize(static_cast<size_t>(std::clamp<uint64_t>(kSamples * down / up, 1, kSamples)));
        out.resize(static_cast<size_t>((in.size() * up / down + 1) * 10 / 9 + 1));
    }

    template <class Use>
    auto with(Use use) {
        return kernel ? use(*kernel) : use(*quality);
    }

    std::optional<resampler> kernel;
    std::optional<converter> quality;
    std::vector<int16_t> in, out;
};

stream *hold_stream(std::optional<resampler> made) {
    if (!made)
        return nullptr;
    const uint32_t up = made->get()->interp_factor, down = made->get()->decim_factor;
    return new stream(std::move(made), std::nullopt, up, down);
}

// Samples in one format as those of another, without a conversion of rates.
std::vector<uint8_t> recoded(std::span<const uint8_t> bytes, resampler::format from, resampler::format to) {
    std::vector<uint8_t> made;
    auto same_rate = resampler::make(1, 1, resampler::kernel::bilinear);
    if (!same_rate || !same_rate->push(bytes, from, made, to))
        vela_fail("out of memory", nullptr, 0, nullptr);
    return made;
}

block *give_as(const std::vector<int16_t> &samples, resampler::format to) {
    const auto *const bytes = reinterpret_cast<const uint8_t *>(samples.data());
    const std::vector<uint8_t> made = recoded({bytes, samples.size() * 2}, resampler::format::little_endian, to);
    return give(std::span<const uint8_t>(made));
}

} // namespace

VELA_EXPORT(resampler_make) stream *make(uint32_t out_rate, uint32_t in_rate, size_t kernel) {
    return hold_stream(resampler::make(out_rate, in_rate, kKernels[kernel]));
}

VELA_EXPORT(resampler_with_lobes) stream *with_lobes(uint32_t out_rate, uint32_t in_rate, uint32_t lobes) {
    return hold_stream(resampler::with_lobes(out_rate, in_rate, lobes));
}

VELA_EXPORT(resampler_with_quality) stream *with_quality(uint32_t out_rate, uint32_t in_rate, size_t quality) {
    auto made = converter::make(out_rate, in_rate, static_cast<vela::quality>(quality));
    return made ? new stream(std::nullopt, std::move(made), out_rate, in_rate) : nullptr;
}

// False for streams of a kernel, and if there is no such ratio.
VELA_EXPORT(resampler_set_ratio) bool set_ratio(stream *one, double ratio) {
    return one->quality && one->quality->set_ratio(ratio);
}
VELA_EXPORT(resampler_follow) bool follow(stream *one, size_t fill, size_t target) {
    return one->quality && one->quality->follow(fill, target);
}

VELA_EXPORT(resampler_free) void free_stream(stream *one) { delete one; }

VELA_EXPORT(resampler_output_count) double output_count(stream *one, double inputs) {
    return one->with([&](auto &of) { return static_cast<double>(of.output_count(static_cast<uint64_t>(inputs))); });
}

VELA_EXPORT(resampler_latency) double latency(stream *one) {
    return one->with([](auto &of) { return of.latency(); });
}

VELA_EXPORT(resampler_piece) size_t piece(const stream *one) { return one->in.size(); }
VELA_EXPORT(resampler_in) int16_t *in(stream *one) { return one->in.data(); }
VELA_EXPORT(resampler_out) int16_t *out(stream *one) { return one->out.data(); }

// Converts the samples at in() to those at out(), and returns the number of these.
VELA_EXPORT(resampler_push) size_t push(stream *one, size_t count) {
    return one->with([&](auto &of) {
        const auto made = of.push(std::span<const int16_t>(one->in).first(count), std::span(one->out));
        return made ? made->size() : 0;
    });
}

VELA_EXPORT(resampler_push_bytes)
block *push_bytes(stream *one, const uint8_t *bytes, size_t size, size_t in_format, size_t out_format) {
    const resampler::format from = kFormats[in_format], to = kFormats[out_format];
    if (one->kernel) {
        std::vector<uint8_t> made;
        if (!one->kernel->push({bytes, size}, from, made, to))
            return nullptr;
        return give(std::span<const uint8_t>(made));
    }
    const std::vector<uint8_t> linear = recoded({bytes, size}, from, resampler::format::little_endian);
    std::vector<int16_t> in(linear.size() / 2), made;
    std::copy(linear.begin(), linear.end(), reinterpret_cast<uint8_t *>(in.data()));
    one->quality->push(std::span<const int16_t>(in), made);
    return give_as(made, to);
}

VELA_EXPORT(resampler_flush) block *flush(stream *one) {
    std::vector<int16_t> made;
    one->with([&](auto &of) { of.flush(made); });
    return give(std::span<const int16_t>(made));
}

VELA_EXPORT(resampler_flush_bytes) block *flush_bytes(stream *one, size_t out_format) {
    std::vector<int16_t> made;
    one->with([&](auto &of) { of.flush(made); });
    return give_as(made, kFormats[out_format]);
}

VELA_EXPORT(resampler_reset) void reset(stream *one) {
    one->with([](auto &of) { of.reset(); });
}

/**
 * @file
 * Conversion of audio between sample rates and formats, packet by packet: vela/resample.h for C++.
 *
 *     auto resampler = vela::resampler::with_lobes(8000, 48000, 16); // std::optional
 *     while (const auto packet = next())                             // any number of samples
 *         resampler->push(*packet, out);                             // appends their outputs
 *     resampler->flush(out);
 *
 * A push consumes all its input, and the output does not depend on how the input is split. What appends to a vector
 * throws std::bad_alloc, and resampler::push() then has no effect; nothing else throws. Objects are independent of each
 * other; each is used by one thread at a time.
 *
 * The response from 48 to 8 kHz, in dB; the output Nyquist frequency is 4000 Hz:
 *
 * | lobes | 3000 Hz | 3700 Hz | 5000 Hz |
 * |-------|---------|---------|---------|
 * | 2     | -2.2    | -4.6    | -13.0   |
 * | 4     | -0.4    | -3.4    | -26.2   |
 * | 8     | 0.0     | -1.7    | -46.3   |
 * | 16    | 0.0     | -0.1    | -65.7   |
 */
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>
#include <utility>
#include <vector>
#include <vela/cpp/owner.hpp>
#include <vela/cpp/rate_converter.hpp>
#include <vela/resample.h>

namespace vela {

/**
 * The stream of one channel.
 *
 *     auto resampler = vela::resampler::make(16000, 8000, vela::resampler::kernel::lanczos2);
 *     if (resampler)
 *         resampler->push(packet, out);
 */
class resampler {
public:
    /** Interpolation kernels. For more than two lobes: with_lobes(). */
    enum class kernel : std::uint32_t {
        bilinear = RESAMPLE_BILI, /**< linear interpolation, without an anti-aliasing filter when downsampling */
        lanczos = RESAMPLE_LANC,  /**< 1 lobe */
        lanczos2 = RESAMPLE_LAN2, /**< 2 lobes */
    };

    /** Formats of samples in bytes. */
    enum class format : std::uint32_t {
        little_endian = RESAMPLE_LEND, /**< signed 16-bit linear, least significant byte first */
        big_endian = RESAMPLE_BEND,    /**< signed 16-bit linear, most significant byte first */
        alaw = RESAMPLE_ALAW,          /**< A-law of ITU-T G.711 */
        ulaw = RESAMPLE_ULAW,          /**< mu-law of ITU-T G.711 */
    };

    /** The bytes of a sample. */
    [[nodiscard]] static constexpr std::size_t sample_size(format of) noexcept {
        return of == format::little_endian || of == format::big_endian ? 2 : 1;
    }

    /**
     * Makes a converter, whose history is silence.
     *
     * @param out_rate  output rate
     * @param in_rate   input rate, in the same unit
     * @param shape     the kernel
     * @return the converter; empty when resample_alloc() fails
     */
    [[nodiscard]] static std::optional<resampler> make(std::uint32_t out_rate, std::uint32_t in_rate,
                                                       kernel shape) noexcept {
        resample_state *record = resample_alloc(out_rate, in_rate, static_cast<std::uint32_t>(shape));
        return record ? std::optional(resampler(record)) : std::nullopt;
    }

    /** Makes a converter of a quality, for one or more channels: see rate_converter::make(). */
    template <class Sample = std::int16_t>
    [[nodiscard]] static std::optional<rate_converter<Sample>> make(std::uint32_t out_rate, std::uint32_t in_rate,
                                                                    quality of, std::size_t channels = 1) noexcept {
        return rate_converter<Sample>::make(out_rate, in_rate, of, channels);
    }

    /**
     * Makes a converter with a Lanczos kernel of any number of lobes, and the history that it needs.
     *
     * @param out_rate  output rate
     * @param in_rate   input rate, in the same unit
     * @param lobes     1 or more; time and latency are proportional to it
     * @return the converter; empty when memory runs out, for rates and lobes of 0, and when the table would be longer
     *         than 65535: 2 x lobes x (the larger rate / the rates' greatest common divisor) - 1
     */
    [[nodiscard]] static std::optional<resampler> with_lobes(std::uint32_t out_rate, std::uint32_t in_rate,
                                                             std::uint32_t lobes) noexcept {
        std::optional<resampler> made = make(out_rate, in_rate, kernel::lanczos);
        if (!made || lobes == 0)
            return std::nullopt;
        resample_state &state = *made->record_;
        const std::uint64_t length = 2 * std::uint64_t{lobes} * std::max(state.interp_factor, state.decim_factor) - 1;
        if (length > UINT16_MAX)
            return std::nullopt;
        const auto reach = static_cast<std::size_t>((length - 1) / state.interp_factor);
        void *history = std::calloc(reach + 1, sizeof *state.history);
        if (!history)
            return std::nullopt;
        std::free(state.history);
        state.history = static_cast<std::int16_t *>(history);
        state.history_len = static_cast<std::uint16_t>(reach);
        init_lanczos(&state, static_cast<std::int32_t>(lobes));
        if (state.num_coeffs != length)
            return std::nullopt;
        return made;
    }

    /**
     * The number of samples that the next push gives.
     *
     * @param inputs  its number of input samples
     * @return the number, exactly
     */
    [[nodiscard]] std::uint64_t output_count(std::uint64_t inputs) const noexcept {
        const std::uint64_t end = inputs * record_->interp_factor;
        return record_->phase < end ? (end - record_->phase - 1) / record_->decim_factor + 1 : 0;
    }

    /** The delay of the output, in output samples. */
    [[nodiscard]] double latency() const noexcept { return (record_->num_coeffs - 1) / 2.0 / record_->decim_factor; }

    /**
     * Converts the next samples of the stream.
     *
     * @param in   any number of them; may be a part of @p out
     * @param out  their outputs are appended to it
     */
    void push(std::span<const std::int16_t> in, std::vector<std::int16_t> &out) {
        const std::size_t before = out.size();
        in = internal::grow(out, output_size(in.size()), in);
        convert(in.data(), in.size(), kNative, out.data() + before, kNative);
    }

    /**
     * Converts the next samples of the stream into memory of the caller's.
     *
     * @param in   any number of them, not overlapping @p out
     * @param out  at least output_count(in.size()) samples
     * @return the part of @p out that was written; empty, with nothing converted, when it is too short
     */
    [[nodiscard]] std::optional<std::span<std::int16_t>> push(std::span<const std::int16_t> in,
                                                              std::span<std::int16_t> out) noexcept {
        const std::uint64_t count = output_count(in.size());
        if (count > out.size())
            return std::nullopt;
        convert(in.data(), in.size(), kNative, out.data(), kNative);
        return out.first(static_cast<std::size_t>(count));
    }

    /**
     * Converts the next samples of the stream from one format to another.
     *
     * @param in          their bytes; may be a part of @p out
     * @param in_format   their format; it may change from push to push
     * @param out         their outputs are appended to it
     * @param out_format  the format of the outputs
     * @return false, with nothing converted, when the last sample is incomplete
     */
    [[nodiscard]] bool push(std::span<const std::uint8_t> in, format in_format, std::vector<std::uint8_t> &out,
                            format out_format) {
        if (in.size() % sample_size(in_format) != 0)
            return false;
        const std::size_t before = out.size(), count = in.size() / sample_size(in_format);
        in = internal::grow(out, output_size(count) * sample_size(out_format), in);
        convert(in.data(), count, in_format, out.data() + before, out_format);
        return true;
    }

    /**
     * Ends the stream: converts silence until the delayed outputs have appeared, and resets.
     *
     * @param out  the outputs are appended to it
     */
    void flush(std::vector<std::int16_t> &out) {
        push(std::vector<std::int16_t>(delayed_inputs()), out);
        reset();
    }

    /** The same, in a format. */
    void flush(std::vector<std::uint8_t> &out, format out_format) {
        const std::size_t before = out.size(), count = delayed_inputs();
        const std::vector<std::int16_t> silence(count);
        out.resize(before + output_size(count) * sample_size(out_format));
        convert(silence.data(), count, kNative, out.data() + before, out_format);
        reset();
    }

    /** Starts another stream: the history becomes silence. */
    void reset() noexcept { resample_reset(record_.get()); }

    /** The record, for C functions; it remains this object's. */
    [[nodiscard]] resample_state *get() noexcept { return record_.get(); }
    [[nodiscard]] const resample_state *get() const noexcept { return record_.get(); } /**< the same, read-only */
    /** Hands the record over to the caller, who releases it by resample_free(). */
    [[nodiscard]] resample_state *release() noexcept { return record_.release(); }

private:
    friend class interleaved_resampler;

    static constexpr format kNative =
        std::endian::native == std::endian::little ? format::little_endian : format::big_endian;

    explicit resampler(resample_state *record) noexcept : record_(record) {}

    std::size_t output_size(std::size_t inputs) const noexcept {
        return static_cast<std::size_t>(output_count(inputs));
    }

    // Up to the middle of the kernel.
    std::size_t delayed_inputs() const noexcept {
        return (record_->num_coeffs / std::size_t{2} + record_->interp_factor - 1) / record_->interp_factor;
    }

    // When a call has capacity for all outputs, the samples that it leaves unconsumed are older than the newest input
    // of the next output: one more call moves them into the history.
    void convert(const void *in, std::size_t count, format in_format, void *out, format out_format) noexcept {
        const std::size_t max_inputs = std::size_t{1} << 31 >> std::bit_width(record_->interp_factor);
        const auto *from = static_cast<const std::uint8_t *>(in);
        auto *to = static_cast<std::uint8_t *>(out);
        std::array<std::uint8_t, 2> unused;
        while (count) {
            auto consumed = static_cast<std::uint32_t>(std::min(count, max_inputs));
            auto made = static_cast<std::uint32_t>(output_count(consumed));
            const bool has_outputs = made != 0;
            if (!has_outputs)
                made = 1; // a capacity of 0 would leave the input unconsumed
            resample_mono(record_.get(), from, &consumed, has_outputs ? to : unused.data(), &made,
                          static_cast<std::uint32_t>(in_format), static_cast<std::uint32_t>(out_format));
            from += consumed * sample_size(in_format);
            to += made * sample_size(out_format);
            count -= consumed;
        }
    }

    internal::owner<resample_state, resample_free> record_;
};

/**
 * The streams of several channels with interleaved samples, such as stereo.
 *
 *     auto stereo = vela::interleaved_resampler::make(2, [] { return vela::resampler::with_lobes(16000, 48000, 8); });
 *     if (stereo && stereo->push(frames, out))
 *         play(out);
 */
class interleaved_resampler {
public:
    /**
     * Makes converters for a number of channels.
     *
     * @param channels      1 or more
     * @param make_channel  called for each: returns a std::optional<resampler>, always of the same rates and kernel
     * @return the converter; empty when one of them is, or without channels
     */
    template <class Make>
    [[nodiscard]] static std::optional<interleaved_resampler> make(std::size_t channels, Make make_channel) {
        interleaved_resampler made;
        for (std::size_t i = 0; i < channels; ++i) {
            std::optional<resampler> channel = make_channel();
            if (!channel)
                return std::nullopt;
            made.channels_.push_back(std::move(*channel));
        }
        return channels ? std::optional(std::move(made)) : std::nullopt;
    }

    /**
     * Converts the next frames, one sample of each channel.
     *
     * @param in   the frames' samples; may be a part of @p out
     * @param out  the samples of their output frames are appended to it
     * @return false, with nothing converted, when the last frame is incomplete
     */
    [[nodiscard]] bool push(std::span<const std::int16_t> in, std::vector<std::int16_t> &out) {
        const std::size_t stride = channels_.size(), frames = in.size() / stride;
        if (in.size() % stride != 0)
            return false;
        const auto before = out.size(), count = channels_.front().output_size(frames) * stride;
        in = internal::grow(out, count, in);
        out.resize(before);
        std::vector<std::int16_t> samples(frames);
        append_frames(out, [&](std::size_t channel, std::vector<std::int16_t> &made) {
            for (std::size_t i = 0; i < frames; ++i)
                samples[i] = in[i * stride + channel];
            channels_[channel].push(samples, made);
        });
        return true;
    }

    /** One channel, for its latency() or its record. */
    [[nodiscard]] const resampler &channel(std::size_t number) const noexcept { return channels_[number]; }

    /**
     * Ends the streams, as resampler::flush() does.
     *
     * @param out  the last frames are appended to it
     */
    void flush(std::vector<std::int16_t> &out) {
        append_frames(out,
                      [this](std::size_t channel, std::vector<std::int16_t> &made) { channels_[channel].flush(made); });
    }

private:
    interleaved_resampler() noexcept = default;

    // Interleaves what convert(channel, made) appends for each channel.
    template <class Convert>
    void append_frames(std::vector<std::int16_t> &out, Convert convert) {
        const std::size_t stride = channels_.size(), before = out.size();
        std::vector<std::int16_t> made;
        for (std::size_t channel = 0; channel < stride; ++channel) {
            made.clear();
            convert(channel, made);
            out.resize(before + made.size() * stride);
            for (std::size_t i = 0; i < made.size(); ++i)
                out[before + i * stride + channel] = made[i];
        }
    }

    std::vector<resampler> channels_;
};

} // namespace vela

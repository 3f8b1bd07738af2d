/**
 * @file
 * Conversion of audio between sample rates and formats, packet by packet: vela/resample.h for C++.
 *
 *     auto resampler = vela::resampler::with_lobes(8000, 48000, 16); // std::optional, empty without memory
 *     while (const auto packet = next())                             // any number of samples
 *         resampler->push(*packet, out);                             // appends what they give
 *     resampler->flush(out);
 *
 * A push takes in all its input, and what is made does not depend on how the input is cut. Objects are independent of
 * each other: each may be used by one thread at a time.
 *
 * From 48 to 8 kHz the kernels pass and stop, in dB:
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
#include <vela/resample.h>

namespace vela {

/** Interpolation kernels. More lobes than two: resampler::with_lobes(). */
enum class resampler_kernel : uint32_t {
    bilinear = RESAMPLE_BILI, /**< a line between neighbouring samples, no filter when the rate falls */
    lanczos = RESAMPLE_LANC,  /**< 1 lobe */
    lanczos2 = RESAMPLE_LAN2, /**< 2 lobes */
};

/** Formats of samples in bytes. */
enum class sample_format : uint32_t {
    little_endian = RESAMPLE_LEND, /**< signed 16-bit linear, least significant byte first */
    big_endian = RESAMPLE_BEND,    /**< signed 16-bit linear, most significant byte first */
    alaw = RESAMPLE_ALAW,          /**< A-law of ITU-T G.711 */
    ulaw = RESAMPLE_ULAW,          /**< mu-law of ITU-T G.711 */
};

/** The bytes of a sample. */
[[nodiscard]] constexpr size_t size_of(sample_format format) {
    return format == sample_format::little_endian || format == sample_format::big_endian ? 2 : 1;
}

/**
 * The stream of one channel.
 *
 *     auto resampler = vela::resampler::make(16000, 8000, vela::resampler_kernel::lanczos2);
 *     if (resampler)
 *         resampler->push(packet, out);
 */
class resampler {
public:
    /**
     * A converter that begins in silence.
     *
     * @param out_rate  output rate
     * @param in_rate   input rate, in the same unit
     * @param kernel    the kernel
     * @return the converter; empty where resample_alloc() gives none
     */
    [[nodiscard]] static std::optional<resampler> make(uint32_t out_rate, uint32_t in_rate, resampler_kernel kernel) {
        return owning(resample_alloc(out_rate, in_rate, static_cast<uint32_t>(kernel)));
    }

    /**
     * A converter with a Lanczos kernel of any number of lobes, and the history that it needs.
     *
     * @param out_rate  output rate
     * @param in_rate   input rate, in the same unit
     * @param lobes     1 or more; the cost and the latency grow with it
     * @return the converter; empty without memory, for rates and lobes that are 0, and where the table
     *         would be longer than 65535: 2 x lobes x (the larger rate / the rates' greatest common divisor) - 1
     */
    [[nodiscard]] static std::optional<resampler> with_lobes(uint32_t out_rate, uint32_t in_rate, uint32_t lobes) {
        std::optional<resampler> made = make(out_rate, in_rate, resampler_kernel::lanczos);
        if (!made || lobes == 0)
            return std::nullopt;
        resample_state &state = *made->record;
        const uint64_t length = 2 * uint64_t{lobes} * std::max(state.interp_factor, state.decim_factor) - 1;
        if (length > UINT16_MAX)
            return std::nullopt;
        const auto reach = static_cast<size_t>((length - 1) / state.interp_factor);
        void *history = std::calloc(reach + 1, sizeof *state.history);
        if (!history)
            return std::nullopt;
        std::free(state.history);
        state.history = static_cast<int16_t *>(history);
        state.history_len = static_cast<uint16_t>(reach);
        init_lanczos(&state, static_cast<int32_t>(lobes));
        if (state.num_coeffs != length)
            return std::nullopt;
        return made;
    }

    /**
     * How many samples the next push makes.
     *
     * @param inputs  its number of samples
     * @return the number, exactly
     */
    [[nodiscard]] uint64_t outputs_of(uint64_t inputs) const {
        const uint64_t end = inputs * record->interp_factor;
        return record->phase < end ? (end - record->phase - 1) / record->decim_factor + 1 : 0;
    }

    /** How late the output is, in output samples. */
    [[nodiscard]] double latency() const { return (record->num_coeffs - 1) / 2.0 / record->decim_factor; }

    /**
     * Converts the next samples of the stream.
     *
     * @param in   any number of them
     * @param out  what they give is appended to it
     */
    void push(std::span<const int16_t> in, std::vector<int16_t> &out) {
        const size_t before = out.size();
        out.resize(before + size_after(in.size()));
        convert(in.data(), in.size(), native, out.data() + before, native);
    }

    /**
     * Converts the next samples of the stream into memory of the caller's.
     *
     * @param in   any number of them, not overlapping
     * @param out  with room for outputs_of(in.size())
     * @return the part of `out` that was written; empty, and nothing done, where there is too little room
     */
    [[nodiscard]] std::optional<std::span<int16_t>> push(std::span<const int16_t> in, std::span<int16_t> out) {
        const uint64_t made = outputs_of(in.size());
        if (made > out.size())
            return std::nullopt;
        convert(in.data(), in.size(), native, out.data(), native);
        return out.first(static_cast<size_t>(made));
    }

    /**
     * Converts the next samples of the stream from one format to another.
     *
     * @param in          their bytes
     * @param in_format   their format; it may change from push to push
     * @param out         what they give is appended to it
     * @param out_format  its format
     * @return false, and nothing done, where the last sample is not whole
     */
    [[nodiscard]] bool push(std::span<const uint8_t> in, sample_format in_format, std::vector<uint8_t> &out,
                            sample_format out_format) {
        if (in.size() % size_of(in_format) != 0)
            return false;
        const size_t before = out.size(), count = in.size() / size_of(in_format);
        out.resize(before + size_after(count) * size_of(out_format));
        convert(in.data(), count, in_format, out.data() + before, out_format);
        return true;
    }

    /**
     * Ends the stream: makes the outputs that were still late, from silence, and goes back to the beginning.
     *
     * @param out  they are appended to it
     */
    void flush(std::vector<int16_t> &out) {
        push(std::vector<int16_t>(late_inputs()), out);
        reset();
    }

    /** The same, in a format. */
    void flush(std::vector<uint8_t> &out, sample_format out_format) {
        const size_t before = out.size(), count = late_inputs();
        const std::vector<int16_t> silence(count);
        out.resize(before + size_after(count) * size_of(out_format));
        convert(silence.data(), count, native, out.data() + before, out_format);
        reset();
    }

    /** Goes back to the beginning of a stream, in silence. */
    void reset() { resample_reset(record.get()); }

    /** The record, for the functions of vela/resample.h. */
    [[nodiscard]] resample_state *get() { return record.get(); }
    [[nodiscard]] const resample_state *get() const { return record.get(); } /**< the same, to be read */

    /** Hands over the record, which resample_free() then releases. */
    [[nodiscard]] resample_state *release() { return record.release(); }

private:
    static constexpr sample_format native =
        std::endian::native == std::endian::little ? sample_format::little_endian : sample_format::big_endian;

    internal::owner<resample_state, resample_free> record;

    explicit resampler(resample_state *state) : record(state) {}

    static std::optional<resampler> owning(resample_state *state) {
        return state ? std::optional(resampler(state)) : std::nullopt;
    }

    size_t size_after(size_t inputs) const { return static_cast<size_t>(outputs_of(inputs)); }

    // Up to the middle of the kernel.
    size_t late_inputs() const {
        return (record->num_coeffs / size_t{2} + record->interp_factor - 1) / record->interp_factor;
    }

    // With room for all outputs, samples that a call leaves are those before the next output's newest one: a second
    // call takes them into the history.
    void convert(const void *in, size_t count, sample_format in_format, void *out, sample_format out_format) {
        const size_t most = size_t{1} << 31 >> std::bit_width(record->interp_factor);
        const auto *from = static_cast<const uint8_t *>(in);
        auto *to = static_cast<uint8_t *>(out);
        std::array<uint8_t, 2> nothing;
        while (count) {
            auto used = static_cast<uint32_t>(std::min(count, most));
            auto made = static_cast<uint32_t>(outputs_of(used));
            const bool has_outputs = made != 0;
            if (!has_outputs)
                made = 1; // room, so that the input is taken
            resample_mono(record.get(), from, &used, has_outputs ? to : nothing.data(), &made,
                          static_cast<uint32_t>(in_format), static_cast<uint32_t>(out_format));
            from += used * size_of(in_format);
            to += made * size_of(out_format);
            count -= used;
        }
    }
};

/**
 * The streams of several channels whose samples stand side by side, such as stereo.
 *
 *     auto stereo = vela::interleaved_resampler::make(2, [] { return vela::resampler::with_lobes(16000, 48000, 8); });
 *     if (stereo && stereo->push(frames, out))
 *         play(out);
 */
class interleaved_resampler {
public:
    /**
     * Converters for a number of channels.
     *
     * @param channels   1 or more
     * @param make_one   called for each: returns a std::optional<resampler>, always of the same rates and kernel
     * @return the converter; empty where one of them is, or without channels
     */
    template <class Make>
    [[nodiscard]] static std::optional<interleaved_resampler> make(size_t channels, Make make_one) {
        interleaved_resampler made;
        for (size_t i = 0; i < channels; ++i) {
            std::optional<resampler> one = make_one();
            if (!one)
                return std::nullopt;
            made.each.push_back(std::move(*one));
        }
        return channels ? std::optional(std::move(made)) : std::nullopt;
    }

    /**
     * Converts the next frames, one sample of each channel.
     *
     * @param in   the frames' samples
     * @param out  those of the frames that they give are appended to it
     * @return false, and nothing done, where the last frame is not whole
     */
    [[nodiscard]] bool push(std::span<const int16_t> in, std::vector<int16_t> &out) {
        const size_t channels = each.size(), frames = in.size() / channels, before = out.size();
        if (in.size() % channels != 0)
            return false;
        std::vector<int16_t> one(frames), made;
        out.resize(before + static_cast<size_t>(each[0].outputs_of(frames)) * channels);
        for (size_t channel = 0; channel < channels; ++channel) {
            for (size_t i = 0; i < frames; ++i)
                one[i] = in[i * channels + channel];
            made.clear();
            each[channel].push(one, made);
            for (size_t i = 0; i < made.size(); ++i)
                out[before + i * channels + channel] = made[i];
        }
        return true;
    }

    /** One channel, for its latency() or its record. */
    [[nodiscard]] const resampler &channel(size_t number) const { return each[number]; }

    /**
     * Ends the streams, as resampler::flush() does.
     *
     * @param out  the last frames are appended to it
     */
    void flush(std::vector<int16_t> &out) {
        const size_t channels = each.size(), before = out.size();
        for (size_t channel = 0; channel < channels; ++channel) {
            std::vector<int16_t> made;
            each[channel].flush(made);
            out.resize(before + made.size() * channels);
            for (size_t i = 0; i < made.size(); ++i)
                out[before + i * channels + channel] = made[i];
        }
    }

private:
    std::vector<resampler> each;

    interleaved_resampler() = default;
};

} // namespace vela

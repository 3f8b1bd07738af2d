/**
 * @file
 * Conversion of audio between sample rates at a choice of qualities, for 16-bit, 24-bit and floating-point samples, up
 * to 8 channels, and for clocks that drift.
 *
 *     using vela::quality;
 *     auto converter = vela::rate_converter<>::make(48000, 44100, quality::high, 2); // std::optional
 *     while (const auto packet = next())                                            // any number of stereo frames
 *         converter->push(*packet, out);                                            // appends their output frames
 *     converter->flush(out);
 *
 * A push consumes all its input, and the output does not depend on how the input is split. All machines give the same
 * bits. What appends to a vector throws std::bad_alloc, and has no effect then; nothing else throws. Objects are
 * independent of each other; each is used by one thread at a time.
 *
 * The qualities, with frequencies relative to the Nyquist frequency of the lower rate, and the worst of all pairs of
 * rates between 8 and 192 kHz:
 *
 * | quality | pass band | ripple, dB | stop band | attenuation, dB | latency |
 * |---------|-----------|------------|-----------|-----------------|---------|
 * | speech  | to 0.86   | 0.02       | from 1.14 | 54              | 16      |
 * | low     | to 0.80   | 0.001      | from 1.20 | 87              | 15      |
 * | medium  | to 0.85   | 0.001      | from 1.15 | 88              | 21      |
 * | high    | to 0.90   | 0.001      | from 1.10 | 92              | 32      |
 * | best    | to 0.95   | 0.0002     | from 1.05 | 100             | 71      |
 *
 * Between them the gain falls from 1 to 0, through 0.5 at the Nyquist frequency; what is not yet stopped there aliases
 * to frequencies above the pass band. The latency is in samples of the lower rate; up to 8 input samples come to it,
 * which latency() includes. From low on the only noise of 16-bit samples in the pass band is their rounding.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>
#include <vela/cpp/owner.hpp>
#include <vela/resample.h>

namespace vela {

namespace internal {

/** Appends elements to `out`; returns the input, which has moved if it is a part of `out`. */
template <class Element>
std::span<const Element> grow(std::vector<Element> &out, std::size_t count, std::span<const Element> in) {
    const std::less<const Element *> before;
    const bool is_inside = !before(in.data(), out.data()) && before(in.data(), out.data() + out.size());
    const std::ptrdiff_t offset = is_inside ? in.data() - out.data() : 0;
    out.resize(out.size() + count);
    return is_inside ? std::span<const Element>(out.data() + offset, in.size()) : in;
}

} // namespace internal

/** Qualities of conversion; time and latency rise with them. */
enum class quality : std::uint8_t { speech, low, medium, high, best };

/** The design of a quality's filters, as in the table above. */
[[nodiscard]] constexpr resample_design design_of(quality of) noexcept {
    constexpr resample_design designs[] = {
        {0.86, 1.14, 70, 0}, {0.80, 1.20, 92, 4}, {0.85, 1.15, 97, 4}, {0.90, 1.10, 99, 5}, {0.95, 1.05, 110, 6}};
    return designs[static_cast<std::size_t>(of)];
}

/**
 * A stream of frames, which are one sample of each channel.
 *
 * @tparam Sample  std::int16_t; std::int32_t, for samples of 24 bits, -8388608 to 8388607, others saturate; or float,
 *                 nominally -1 to 1, whose range is -8 to 8 with a resolution of 2^-27
 */
template <class Sample = std::int16_t>
class rate_converter {
public:
    static constexpr std::size_t max_channels = 8; /**< the most channels that a stream has */

    /**
     * Makes a converter, whose history is silence.
     *
     * @param out_rate  output rate
     * @param in_rate   input rate, in the same unit
     * @param of        the quality
     * @param channels  1 to 8, interleaved
     * @return the converter; empty for other arguments, when memory runs out, and where resample_bank_alloc() has none
     */
    [[nodiscard]] static std::optional<rate_converter> make(std::uint32_t out_rate, std::uint32_t in_rate, quality of,
                                                            std::size_t channels = 1) noexcept {
        rate_converter made(out_rate, in_rate, of, channels);
        if (channels - 1 >= max_channels || !made.use_phases(1))
            return std::nullopt;
        made.stride_ = made.bank_->taps + block;
        made.window_.reset(static_cast<std::int16_t *>(std::malloc(made.window_bytes())));
        if (!made.window_)
            return std::nullopt;
        made.reset();
        return made;
    }

    /**
     * The number of frames that the next push gives.
     *
     * @param inputs  its number of input frames
     * @return the number, exactly
     */
    [[nodiscard]] std::uint64_t output_count(std::uint64_t inputs) const noexcept {
        std::uint64_t count = 0, position = position_, held = held_;
        for (std::uint64_t some; inputs; inputs -= some) { // in pieces whose positions 64 bits hold
            some = std::min<std::uint64_t>(inputs, 1 << 20);
            held += some;
            const std::uint64_t made = outputs_until(position, held);
            count += made;
            position += made * step_;
            const std::uint64_t used = std::min(position / unit(), held);
            position -= used * unit();
            held -= used;
        }
        return count;
    }

    /** The delay of the output, in output frames: half of the kernel. */
    [[nodiscard]] double latency() const noexcept { return bank_->taps / 2.0 * out_rate_ / in_rate_; }

    [[nodiscard]] std::size_t channels() const noexcept { return channels_; } /**< samples of a frame */

    /**
     * Converts the next frames of the stream.
     *
     * @param in   their samples; may be a part of @p out
     * @param out  the samples of their output frames are appended to it
     * @return false, with nothing converted, when the last frame is incomplete
     */
    bool push(std::span<const Sample> in, std::vector<Sample> &out) {
        if (in.size() % channels_ != 0)
            return false;
        const std::size_t before = out.size();
        in = internal::grow(out, output_size(in.size()), in);
        convert(in.data(), in.size() / channels_, out.data() + before);
        return true;
    }

    /**
     * Converts the next frames of the stream into memory of the caller's.
     *
     * @param in   their samples, not overlapping @p out
     * @param out  at least output_count(frames) frames
     * @return the part of @p out that was written; empty, with nothing converted, when it is too short or the last
     *         frame is incomplete
     */
    [[nodiscard]] std::optional<std::span<Sample>> push(std::span<const Sample> in, std::span<Sample> out) noexcept {
        const std::size_t size = output_size(in.size());
        if (size > out.size() || in.size() % channels_ != 0)
            return std::nullopt;
        convert(in.data(), in.size() / channels_, out.data());
        return out.first(size);
    }

    /**
     * Ends the stream: converts silence until the delayed frames have appeared, and resets.
     *
     * @param out  the samples are appended to it
     */
    void flush(std::vector<Sample> &out) {
        push(std::vector<Sample>(bank_->taps / 2 * channels_), out);
        reset();
    }

    /** Starts another stream: the history becomes silence. The ratio stays. */
    void reset() noexcept {
        std::memset(window_.get(), 0, window_bytes());
        position_ = 0;
        held_ = bank_->taps - 1;
    }

    /**
     * Changes the ratio of the rates from the next output on, without a click: outputs between the phases of the filter
     * are interpolated. The first call makes a filter of more phases, by resample_bank_alloc(); later ones do not
     * allocate, and all of them take a little longer to convert.
     *
     * @param ratio  frames of output for one frame that there would be at the rates given to make(): 0.9 to 1.1
     * @return false, with nothing changed, for another ratio or when memory runs out
     */
    [[nodiscard]] bool set_ratio(double ratio) noexcept {
        if (!(ratio >= 0.9 && ratio <= 1.1) || !use_phases(fine_phases))
            return false;
        step_ = static_cast<std::uint64_t>(static_cast<double>(bank_->step) / ratio);
        return true;
    }

    /**
     * Keeps a buffer that this stream fills at a level, where its reader's clock differs from the writer's: changes the
     * ratio by up to 0.1 %, after every push or as often. A difference of 100 parts in a million moves the level by 1.2
     * ms for a minute or two, and then no more.
     *
     * @param fill    frames that the buffer holds, with those of the last push
     * @param target  frames that it is to hold
     * @return false, with nothing changed, when memory runs out
     */
    [[nodiscard]] bool follow(std::size_t fill, std::size_t target) noexcept {
        if (!use_phases(fine_phases))
            return false;
        // A controller with a proportional and an integral part, critically damped, for errors over a second.
        const auto second = static_cast<std::int64_t>(out_rate_);
        const auto lacking = static_cast<std::int64_t>(target) - static_cast<std::int64_t>(fill);
        const std::int64_t error = std::clamp(lacking, -second, second) * one / second;
        const std::int64_t elapsed = std::exchange(made_, 0);
        error_ += (error - error_) / second * elapsed;
        sum_ = std::clamp(sum_ + error_ / second * elapsed, -1024 * most_correction, 1024 * most_correction);
        const std::int64_t correction = std::clamp(error_ / 16 + sum_ / 1024, -most_correction, most_correction);
        step_ =
            bank_->step - static_cast<std::uint64_t>(static_cast<std::int64_t>(bank_->step >> 20) * correction >> 12);
        return true;
    }

private:
    static_assert(std::is_same_v<Sample, std::int16_t> || std::is_same_v<Sample, std::int32_t> ||
                  std::is_same_v<Sample, float>);
    static constexpr bool is_short = std::is_same_v<Sample, std::int16_t>;
    static constexpr std::size_t block = 2048, planes = is_short ? 1 : 2;
    static constexpr std::uint32_t fine_phases = 512;
    static constexpr std::int64_t one = std::int64_t{1} << 32, most_correction = one / 1000;

    rate_converter(std::uint32_t out_rate, std::uint32_t in_rate, quality of, std::size_t channels) noexcept
        : out_rate_(out_rate), in_rate_(in_rate), quality_(of), channels_(channels) {}

    // Positions between two samples.
    std::uint64_t unit() const noexcept { return std::uint64_t{bank_->phases} << 32; }

    std::size_t window_bytes() const noexcept { return channels_ * planes * stride_ * sizeof *window_; }

    std::size_t output_size(std::size_t samples) const noexcept {
        return static_cast<std::size_t>(output_count(samples / channels_)) * channels_;
    }

    // The outputs from a position on for which a window of `held` samples is enough.
    std::uint64_t outputs_until(std::uint64_t position, std::uint64_t held) const noexcept {
        const std::uint64_t end = held < bank_->taps ? 0 : (held - bank_->taps + 1) * unit();
        return position < end ? (end - 1 - position) / step_ + 1 : 0;
    }

    // Makes the bank, or one of more phases, to which positions are moved.
    bool use_phases(std::uint32_t least) noexcept {
        if (bank_ && bank_->phases >= least)
            return true;
        const resample_design design = design_of(quality_);
        internal::owner<resample_bank, std::free> made(resample_bank_alloc(out_rate_, in_rate_, &design, least));
        if (!made)
            return false;
        if (bank_)
            position_ *= made->phases / bank_->phases;
        step_ = made->step;
        bank_ = std::move(made);
        return true;
    }

    void convert(const Sample *in, std::size_t frames, Sample *out) noexcept {
        for (std::size_t some; frames; frames -= some, in += some * channels_) {
            some = std::min(frames, block);
            if (is_short && channels_ == 1)
                std::memcpy(window(0) + held_, in, some * sizeof *in);
            else
                for (std::size_t channel = 0; channel < channels_; ++channel)
                    for (std::size_t i = 0; i < some; ++i)
                        put(channel, held_ + i, in[i * channels_ + channel]);
            held_ += some;
            const auto count = static_cast<std::uint32_t>(outputs_until(position_, held_));
            // Without outputs there may be no memory for them.
            for (std::size_t channel = 0; count && channel < channels_; ++channel)
                make_outputs(channel, count, out + channel);
            out += count * channels_;
            made_ += count;
            drop(count);
        }
    }

    // The samples that no output needs any more.
    void drop(std::uint32_t outputs) noexcept {
        position_ += outputs * step_;
        const std::size_t used = std::min(static_cast<std::size_t>(position_ / unit()), held_);
        position_ -= used * unit();
        held_ -= used;
        for (std::size_t plane = 0; plane < channels_ * planes; ++plane)
            std::memmove(window(plane), window(plane) + used, held_ * sizeof *window_);
    }

    std::int16_t *window(std::size_t plane) const noexcept { return window_.get() + plane * stride_; }

    // Samples of more than 16 bits are in two windows: 31 bits, the upper 16 and the lower 15.
    void put(std::size_t channel, std::size_t at, Sample sample) noexcept {
        if constexpr (is_short) {
            window(channel)[at] = sample;
        } else {
            const std::int32_t bits = bits_of(sample);
            window(2 * channel)[at] = static_cast<std::int16_t>(bits >> 15);
            window(2 * channel + 1)[at] = static_cast<std::int16_t>(bits & 0x7FFF);
        }
    }

    void make_outputs(std::size_t channel, std::uint32_t count, Sample *out) const noexcept {
        std::uint64_t position = position_;
        if constexpr (is_short) {
            resample_bank_run(bank_.get(), window(channel), &position, step_, out, nullptr, count,
                              static_cast<std::uint32_t>(channels_));
        } else {
            std::array<std::int32_t, 512> high, low;
            for (std::uint32_t some; count; count -= some) {
                some = std::min<std::uint32_t>(count, high.size());
                std::uint64_t same = position;
                resample_bank_run(bank_.get(), window(2 * channel), &same, step_, nullptr, high.data(), some, 1);
                resample_bank_run(bank_.get(), window(2 * channel + 1), &position, step_, nullptr, low.data(), some, 1);
                for (std::uint32_t i = 0; i < some; ++i, out += channels_)
                    *out = sample_of(std::int64_t{high[i]} * 0x8000 + low[i]);
            }
        }
    }

    // With 7 bits of fraction, or 27 for floats; not a number is the lowest.
    static std::int32_t bits_of(Sample sample) noexcept {
        if constexpr (std::is_same_v<Sample, float>) {
            constexpr double end = 1 << 30;
            const double scaled = std::floor(static_cast<double>(sample) * (1 << 27) + 0.5);
            return static_cast<std::int32_t>(scaled > -end ? std::min(scaled, end - 1) : -end);
        } else {
            return std::clamp<std::int32_t>(sample, -0x800000, 0x7FFFFF) * 128;
        }
    }
    static Sample sample_of(std::int64_t sum) noexcept {
        if constexpr (std::is_same_v<Sample, float>)
            return static_cast<float>(sum) * (1 / static_cast<float>(std::int64_t{1} << 41));
        else
            return static_cast<Sample>(std::clamp<std::int64_t>((sum + (1 << 20)) >> 21, -0x800000, 0x7FFFFF));
    }

    std::uint32_t out_rate_, in_rate_;
    quality quality_;
    std::size_t channels_;
    internal::owner<resample_bank, std::free> bank_;
    internal::owner<std::int16_t, std::free> window_; // for each channel `planes` times `stride_` samples
    std::size_t stride_ = 0, held_ = 0;               // and how many of them are there
    std::uint64_t position_ = 0, step_ = 0;           // of the next output, in the window
    std::int64_t made_ = 0, error_ = 0, sum_ = 0;     // since the last follow(); seconds, with 32 bits of fraction
};

} // namespace vela

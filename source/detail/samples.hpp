// Sample formats, as codecs to and from signed 16-bit linear samples.
//
// A codec is a type with the size of an encoded sample in bytes, decode() and encode(). The G.711 laws are
// those of ITU-T G.711 scaled to 16 bits: A-law keeps the sign and the 12 bits below it, mu-law the sign and
// the magnitude with a bias of 132; both then keep the four bits that follow the leading one.
#pragma once

#include "detail/endian.hpp"
#include "detail/simd.hpp"
#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vela::detail {

template <std::endian order>
struct linear_codec {
    static constexpr std::size_t size = 2;
    static std::int16_t decode(const std::uint8_t *from) { return static_cast<std::int16_t>(load16<order>(from)); }
    static void encode(std::int16_t sample, std::uint8_t *to) {
        store16<order>(to, static_cast<std::uint16_t>(sample));
    }
};

// The codec of samples as they lie in this machine's memory.
using native_codec = linear_codec<std::endian::native>;

// What a byte of a law expands to, for all 256 of them.
template <class Law>
inline constexpr auto kExpanded = [] {
    std::array<std::int16_t, 256> samples{};
    for (std::size_t code = 0; code < samples.size(); ++code)
        samples[code] = Law::expand(static_cast<int>(code));
    return samples;
}();

// floor(log2 value) of 1 to 32767. Without a vector instruction that counts leading zeros (x86 before AVX-512) the
// exponent of the number as a float is the quick way in all lanes of a loop.
[[gnu::always_inline]] inline int floor_log2(int value) {
#ifdef __x86_64__
    return static_cast<int>(std::bit_cast<std::uint32_t>(static_cast<float>(value)) >> 23) - 127;
#else
    return std::bit_width(static_cast<std::uint32_t>(value)) - 1;
#endif
}

// The common form of the laws: a table to decode, and the sign in bit 7 (set for positive samples) to encode. The
// magnitude of a negative sample is its bitwise complement, so that both signs have 32768 values.
template <class Law>
struct companded_codec {
    static constexpr std::size_t size = 1;
    static std::int16_t decode(const std::uint8_t *from) { return kExpanded<Law>[*from]; }
    [[gnu::always_inline]] static void encode(std::int16_t sample, std::uint8_t *to) {
        const int sign = sample >> 15;
        *to = static_cast<std::uint8_t>(Law::compress(sample ^ sign) ^ Law::mask ^ (sign & 0x80));
    }
};

struct alaw {
    static constexpr int mask = 0xD5;

    static constexpr std::int16_t expand(int code) {
        const int positive = code & 0x80, segment = (code ^ mask) >> 4 & 7, step = (code ^ mask) & 15;
        const int magnitude = segment == 0 ? (step << 4) + 8 : ((step << 4) + 0x108) << (segment - 1);
        return static_cast<std::int16_t>(positive ? magnitude : -magnitude);
    }

    // Segments 0 and 1 (magnitudes 0 to 511) have steps of 16; each further one doubles them.
    [[gnu::always_inline]] static int compress(int magnitude) {
        const int doublings = floor_log2(magnitude | 0x100) - 8;
        return (doublings << 4) + (magnitude >> (doublings + 4));
    }
};

struct ulaw {
    static constexpr int mask = 0xFF;
    static constexpr int bias = 132;

    static constexpr std::int16_t expand(int code) {
        const int positive = code & 0x80, segment = (code ^ mask) >> 4 & 7, step = (code ^ mask) & 15;
        const int magnitude = (((step << 3) + bias) << segment) - bias;
        return static_cast<std::int16_t>(positive ? magnitude : -magnitude);
    }

    // The leading one of the biased magnitude is bit 7 to 14; it gives the segment, the four bits below it the step.
    [[gnu::always_inline]] static int compress(int magnitude) {
        const int biased = std::min(magnitude + bias, 32767);
        const int segment = floor_log2(biased) - 7;
        return (segment << 4) + (biased >> (segment + 3)) - 16;
    }
};

using alaw_codec = companded_codec<alaw>;
using ulaw_codec = companded_codec<ulaw>;

template <class Codec>
[[gnu::always_inline]] inline void encode_each(const std::int16_t *samples, std::size_t count, std::uint8_t *to) {
    for (std::size_t i = 0; i < count; ++i)
        Codec::encode(samples[i], to + i * Codec::size);
}

template <class Codec>
inline void encode_block(const std::int16_t *samples, std::size_t count, std::uint8_t *to) {
    run_widest<encode_each<Codec>>(samples, count, to);
}

template <class Codec>
inline void decode_block(const std::uint8_t *from, std::size_t count, std::int16_t *samples) {
    if constexpr (std::is_same_v<Codec, native_codec>)
        std::memcpy(samples, from, count * sizeof *samples);
    else
        for (std::size_t i = 0; i < count; ++i)
            samples[i] = Codec::decode(from + i * Codec::size);
}

} // namespace vela::detail

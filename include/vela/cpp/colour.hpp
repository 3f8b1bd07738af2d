/**
 * @file
 * Colour conversion on spans, with checked sizes: vela/colour.h for C++.
 *
 *     std::vector<std::uint8_t> rgb(vela::colour::rgb_size(width, height));
 *     if (!vela::colour::unpack(frame, width, height, stride, rgb))
 *         return; // the frame is too short
 *
 * Pixels are three bytes, as in the C header. Nothing throws. Any thread may call any function at any time.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vela/colour.h>

/** Colour conversion. */
namespace vela::colour {

/** Luma weights and ranges. */
enum class variant : std::uint8_t {
    full,  /**< BT.601 weights over 0 to 255, as in JPEG files */
    bt601, /**< ITU-R BT.601, luma 16 to 235, chroma 16 to 240 */
    bt709  /**< ITU-R BT.709, luma 16 to 235, chroma 16 to 240 */
};

/** Nine Q12 coefficients (4096 is 1.0), row by row. */
using matrix = std::array<std::int32_t, 9>;

namespace internal {

template <class Function>
constexpr Function select(variant which, Function full, Function bt601, Function bt709) noexcept {
    return which == variant::full ? full : which == variant::bt601 ? bt601 : bt709;
}

inline bool overlap(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b) noexcept {
    const std::less<const std::uint8_t *> before;
    return !a.empty() && !b.empty() && before(a.data(), b.data() + b.size()) && before(b.data(), a.data() + a.size());
}

// In chunks of at most max_chunk bytes: the C functions count pixels in 32 bits.
inline bool convert(void (*pixels)(const std::uint8_t *, std::uint8_t *, std::uint32_t),
                    std::span<const std::uint8_t> from, std::span<std::uint8_t> to,
                    std::size_t max_chunk = 3 * (std::size_t{1} << 28)) noexcept {
    const bool in_place = from.data() == to.data();
    if (from.size() % 3 != 0 || to.size() < from.size() || (!in_place && overlap(from, to.first(from.size()))))
        return false;
    for (std::size_t at = 0, size; at < from.size(); at += size) {
        size = std::min(from.size() - at, max_chunk);
        pixels(from.data() + at, to.data() + at, static_cast<std::uint32_t>(size / 3));
    }
    return true;
}

} // namespace internal

/**
 * The matrix from RGB to YCbCr: rows Y, Cb, Cr over the columns R, G, B, without the offsets.
 *
 * @param which  the variant
 * @return its coefficients
 */
[[nodiscard]] inline matrix encoding_matrix(variant which) noexcept {
    matrix coefficients;
    internal::select(which, get_rgb_to_ycc, get_rgb_to_ycc601, get_rgb_to_ycc709)(coefficients.data());
    return coefficients;
}

/**
 * The matrix from YCbCr to RGB: rows R, G, B over the columns Y, Cb, Cr, without the offsets.
 *
 * @param which  the variant
 * @return its coefficients
 */
[[nodiscard]] inline matrix decoding_matrix(variant which) noexcept {
    matrix coefficients;
    internal::select(which, get_ycc_to_rgb, get_ycc_to_rgb601, get_ycc_to_rgb709)(coefficients.data());
    return coefficients;
}

/**
 * Converts RGB pixels to YCbCr.
 *
 * @param which  the variant
 * @param from   the pixels, three bytes each
 * @param to     receives the same number of bytes; identical to `from`, or not overlapping it
 * @return true; false, with nothing written, when the last pixel is incomplete, @p to is too short or the spans overlap
 *         in part
 */
[[nodiscard]] inline bool from_rgb(variant which, std::span<const std::uint8_t> from,
                                   std::span<std::uint8_t> to) noexcept {
    return internal::convert(internal::select(which, srgb_to_yccfull, srgb_to_yccbt601, srgb_to_yccbt709), from, to);
}

/**
 * Converts YCbCr pixels to RGB.
 *
 * @param which  the variant
 * @param from   the pixels, three bytes each
 * @param to     receives the same number of bytes; identical to `from`, or not overlapping it
 * @return as from_rgb()
 */
[[nodiscard]] inline bool to_rgb(variant which, std::span<const std::uint8_t> from,
                                 std::span<std::uint8_t> to) noexcept {
    return internal::convert(internal::select(which, yccfull_to_srgb, yccbt601_to_srgb, yccbt709_to_srgb), from, to);
}

/**
 * The bytes of an RGB picture.
 *
 * @param width   pixels of a row
 * @param height  rows
 * @return 3 x `width` x `height`
 */
[[nodiscard]] constexpr std::uint64_t rgb_size(std::uint32_t width, std::uint32_t height) noexcept {
    return std::uint64_t{width} * height * 3;
}

/**
 * The bytes of a 4:2:2 picture that are read: whole rows, but of the last one only its pixels.
 *
 * @param width   pixels of a row
 * @param height  rows
 * @param stride  bytes from the start of one row to that of the next
 * @return their number, 0 for no pixels
 */
[[nodiscard]] constexpr std::uint64_t packed_size(std::uint32_t width, std::uint32_t height,
                                                  std::uint32_t stride) noexcept {
    return width && height ? std::uint64_t{stride} * (height - 1) + 2 * std::uint64_t{width} + width % 2 : 0;
}

/**
 * Converts a full-range 4:2:2 picture (Cb, Y0, Cr, Y1, known as UYVY) to RGB.
 *
 * @param from    the picture, packed_size() bytes at least
 * @param width   pixels of a row
 * @param height  rows
 * @param stride  bytes from the start of one row to that of the next
 * @param to      receives rgb_size() bytes, rows without padding; not overlapping `from`
 * @return true; false, with nothing written, when a span is too short or they overlap
 */
[[nodiscard]] inline bool unpack(std::span<const std::uint8_t> from, std::uint32_t width, std::uint32_t height,
                                 std::uint32_t stride, std::span<std::uint8_t> to) noexcept {
    if (from.size() < packed_size(width, height, stride) || to.size() < rgb_size(width, height))
        return false;
    if (internal::overlap(from.first(static_cast<std::size_t>(packed_size(width, height, stride))),
                          to.first(static_cast<std::size_t>(rgb_size(width, height)))))
        return false;
    if (width && height) // else the spans may be null
        cyc422_to_srgb(from.data(), width, height, stride, to.data());
    return true;
}

} // namespace vela::colour

/**
 * @file
 * Colour conversion on spans, with sizes that are checked: vela/colour.h for C++.
 *
 *     std::vector<uint8_t> rgb(vela::colour::rgb_size(width, height));
 *     if (!vela::colour::unpack(frame, width, height, stride, rgb))
 *         return; // the frame is too short
 *
 * Pixels are three bytes, as in the C header. Any thread may call any function at any time.
 */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vela/colour.h>

/** Colour conversion. */
namespace vela::colour {

/** Which luma weights and ranges. */
enum class variant : uint8_t {
    full,  /**< BT.601 weights over 0 to 255, as in JPEG files */
    bt601, /**< ITU-R BT.601, luma 16 to 235, chroma 16 to 240 */
    bt709  /**< ITU-R BT.709, luma 16 to 235, chroma 16 to 240 */
};

/** Nine Q12 coefficients (4096 stands for 1.0), row by row. */
using matrix = std::array<int32_t, 9>;

} // namespace vela::colour

namespace vela::internal {

template <class Function>
constexpr Function colour_function(colour::variant one, Function full, Function bt601, Function bt709) {
    return one == colour::variant::full ? full : one == colour::variant::bt601 ? bt601 : bt709;
}

inline bool colour_spans_overlap(std::span<const uint8_t> a, std::span<const uint8_t> b) {
    const std::less<const uint8_t *> before;
    return !a.empty() && !b.empty() && before(a.data(), b.data() + b.size()) && before(b.data(), a.data() + a.size());
}

// In pieces of at most so many bytes, whose pixels the C function can count, so that a span may have any length.
inline bool colour_convert(void (*convert)(const uint8_t *, uint8_t *, uint32_t), std::span<const uint8_t> from,
                           std::span<uint8_t> to, size_t most = 3 * (size_t{1} << 28)) {
    const bool in_place = from.data() == to.data();
    if (from.size() % 3 != 0 || to.size() < from.size() ||
        (!in_place && colour_spans_overlap(from, to.first(from.size()))))
        return false;
    for (size_t at = 0, size; at < from.size(); at += size) {
        size = from.size() - at < most ? from.size() - at : most;
        convert(from.data() + at, to.data() + at, static_cast<uint32_t>(size / 3));
    }
    return true;
}

} // namespace vela::internal

namespace vela::colour {

/**
 * The matrix from RGB to YCbCr: rows Y, Cb, Cr over the columns R, G, B; offsets are not part of it.
 *
 * @param one  the variant
 * @return its coefficients
 */
[[nodiscard]] inline matrix encoding_matrix(variant one) {
    matrix coefficients;
    internal::colour_function(one, get_rgb_to_ycc, get_rgb_to_ycc601, get_rgb_to_ycc709)(coefficients.data());
    return coefficients;
}

/**
 * The matrix from YCbCr to RGB: rows R, G, B over the columns Y, Cb, Cr; offsets are not part of it.
 *
 * @param one  the variant
 * @return its coefficients
 */
[[nodiscard]] inline matrix decoding_matrix(variant one) {
    matrix coefficients;
    internal::colour_function(one, get_ycc_to_rgb, get_ycc_to_rgb601, get_ycc_to_rgb709)(coefficients.data());
    return coefficients;
}

/**
 * RGB pixels to YCbCr.
 *
 * @param one   the variant
 * @param from  the pixels, three bytes each
 * @param to    receives as many bytes: the memory of `from` itself, or none of it
 * @return whether all is converted; false with nothing written for a broken pixel at the end, for too little room, and
 * for spans that share a part of their memory
 */
[[nodiscard]] inline bool from_rgb(variant one, std::span<const uint8_t> from, std::span<uint8_t> to) {
    return internal::colour_convert(internal::colour_function(one, srgb_to_yccfull, srgb_to_yccbt601, srgb_to_yccbt709),
                                    from, to);
}

/**
 * YCbCr pixels to RGB.
 *
 * @param one   the variant
 * @param from  the pixels, three bytes each
 * @param to    receives as many bytes: the memory of `from` itself, or none of it
 * @return whether all is converted, as from_rgb()
 */
[[nodiscard]] inline bool to_rgb(variant one, std::span<const uint8_t> from, std::span<uint8_t> to) {
    return internal::colour_convert(internal::colour_function(one, yccfull_to_srgb, yccbt601_to_srgb, yccbt709_to_srgb),
                                    from, to);
}

/**
 * The bytes of an RGB picture.
 *
 * @param width   pixels of a row
 * @param height  rows
 * @return 3 x `width` x `height`
 */
[[nodiscard]] constexpr uint64_t rgb_size(uint32_t width, uint32_t height) { return uint64_t{width} * height * 3; }

/**
 * The bytes of a 4:2:2 picture that are read: whole rows but for the last, which ends with its last pixel.
 *
 * @param width   pixels of a row
 * @param height  rows
 * @param stride  bytes from the start of one row to that of the next
 * @return their number, 0 for no pixels
 */
[[nodiscard]] constexpr uint64_t packed_size(uint32_t width, uint32_t height, uint32_t stride) {
    return width && height ? uint64_t{stride} * (height - 1) + 2 * uint64_t{width} + width % 2 : 0;
}

/**
 * A full-range 4:2:2 picture (Cb, Y0, Cr, Y1, known as UYVY) to RGB.
 *
 * @param from    the picture, packed_size() bytes at least
 * @param width   pixels of a row
 * @param height  rows
 * @param stride  bytes from the start of one row to that of the next
 * @param to      receives rgb_size() bytes, row behind row; none of the memory of `from`
 * @return whether all is unpacked; false with nothing written where a span is too short or they share memory
 */
[[nodiscard]] inline bool unpack(std::span<const uint8_t> from, uint32_t width, uint32_t height, uint32_t stride,
                                 std::span<uint8_t> to) {
    if (from.size() < packed_size(width, height, stride) || to.size() < rgb_size(width, height))
        return false;
    if (internal::colour_spans_overlap(from.first(static_cast<size_t>(packed_size(width, height, stride))),
                                       to.first(static_cast<size_t>(rgb_size(width, height)))))
        return false;
    cyc422_to_srgb(from.data(), width, height, stride, to.data());
    return true;
}

} // namespace vela::colour

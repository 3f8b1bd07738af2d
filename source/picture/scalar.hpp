// The kernels of rows as scalar code: it defines the results, and does what whole blocks of SIMD code leave over.
#pragma once

#include "arithmetic.hpp"
#include "format.hpp"

namespace vela::detail {

#define VELA_KERNEL [[gnu::always_inline]] static inline

struct picture_scalar {
    // Pixels of `size` bytes; pairs have no second row.
    template <chroma_layout layout, size_t size>
    VELA_KERNEL void decode(const decoder *d, const uint8_t *luma, const uint8_t *first, const uint8_t *second,
                            uint8_t *to, size_t count) {
        for (size_t x = 0; x < count; ++x, to += size) {
            const size_t i = layout == chroma_layout::planes ? x : x / 2;
            const uint8_t each[] = {layout == chroma_layout::pairs ? first[2 * i] : first[i],
                                    layout == chroma_layout::pairs ? first[2 * i + 1] : second[i]};
            for (size_t byte = 0; byte < 3; ++byte)
                to[byte] = d->byte(luma[x], d->term(byte, each));
            if constexpr (size == 4)
                to[3] = 255;
        }
    }

    // Two rows of pixels into two of luma and one of chroma. Rows are averaged first, rounded up, then columns.
    template <chroma_layout layout, size_t size>
    VELA_KERNEL void encode_halved(const encoder *e, const uint8_t *upper, const uint8_t *lower, uint8_t *upper_luma,
                                   uint8_t *lower_luma, uint8_t *first, uint8_t *second, size_t count) {
        encode_luma<size>(*e, upper, upper_luma, count);
        encode_luma<size>(*e, lower, lower_luma, count);
        for (size_t x = 0; x < count; x += 2) {
            triple sums = {};
            for (size_t i = 0; i < 3; ++i)
                for (const size_t at : {size * x, size * std::min(x + 1, count - 1)})
                    sums[i] += (upper[at + i] + lower[at + i] + 1) >> 1;
            (layout == chroma_layout::pairs ? first[x] : first[x / 2]) = e->byte(1, sums, 1);
            (layout == chroma_layout::pairs ? first[x + 1] : second[x / 2]) = e->byte(2, sums, 1);
        }
    }
    template <size_t size>
    VELA_KERNEL void encode_planes(const encoder *e, const uint8_t *from, uint8_t *luma, uint8_t *first,
                                   uint8_t *second, size_t count) {
        encode_luma<size>(*e, from, luma, count);
        for (size_t x = 0; x < count; ++x, from += size) {
            const triple rgb = {from[0], from[1], from[2]};
            first[x] = e->byte(1, rgb, 0);
            second[x] = e->byte(2, rgb, 0);
        }
    }

    // Pixels of three or four bytes from such of the same or of the other order.
    template <size_t from_size, size_t to_size>
    VELA_KERNEL void rearrange(bool is_reversed, const uint8_t *from, uint8_t *to, size_t count) {
        for (; count; --count, from += from_size, to += to_size) {
            to[is_reversed ? 2 : 0] = from[0];
            to[1] = from[1];
            to[is_reversed ? 0 : 2] = from[2];
            if constexpr (to_size == 4)
                to[3] = 255;
        }
    }

    // Bytes of even and of odd places, from one row and into one.
    VELA_KERNEL void separate(const uint8_t *from, uint8_t *even, uint8_t *odd, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            even[i] = from[2 * i];
            odd[i] = from[2 * i + 1];
        }
    }
    VELA_KERNEL void interleave(const uint8_t *even, const uint8_t *odd, uint8_t *to, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            to[2 * i] = even[i];
            to[2 * i + 1] = odd[i];
        }
    }
    VELA_KERNEL void swap(const uint8_t *from, uint8_t *to, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            const uint8_t first = from[2 * i];
            to[2 * i] = from[2 * i + 1];
            to[2 * i + 1] = first;
        }
    }

    // Luma or chroma of quads, of chroma the averages of two rows, which may be the same row twice; and quads of both.
    template <bool is_odd>
    VELA_KERNEL void pick(const uint8_t *from, uint8_t *to, size_t count) {
        for (size_t i = 0; i < count; ++i)
            to[i] = from[2 * i + is_odd];
    }
    template <bool is_odd>
    VELA_KERNEL void pick_pairs(const uint8_t *upper, const uint8_t *lower, uint8_t *to, size_t count) {
        for (size_t i = 0; i < 2 * count; ++i)
            to[i] = average(upper[2 * i + is_odd], lower[2 * i + is_odd]);
    }
    template <bool is_odd>
    VELA_KERNEL void pick_halves(const uint8_t *upper, const uint8_t *lower, uint8_t *first, uint8_t *second,
                                 size_t count) {
        for (size_t i = 0; i < count; ++i) {
            first[i] = average(upper[4 * i + is_odd], lower[4 * i + is_odd]);
            second[i] = average(upper[4 * i + 2 + is_odd], lower[4 * i + 2 + is_odd]);
        }
    }
    template <bool is_luma_first>
    VELA_KERNEL void join_halves(const uint8_t *luma, const uint8_t *first, const uint8_t *second, uint8_t *to,
                                 size_t count) {
        for (size_t i = 0; i < count; ++i) {
            to[4 * i + !is_luma_first] = luma[2 * i];
            to[4 * i + is_luma_first] = first[i];
            to[4 * i + 2 + !is_luma_first] = luma[2 * i + 1];
            to[4 * i + 2 + is_luma_first] = second[i];
        }
    }

    // Averages, rounded up, of two rows, and of two columns of such averages; and each sample for two columns.
    VELA_KERNEL void average_rows(const uint8_t *upper, const uint8_t *lower, uint8_t *to, size_t count) {
        for (size_t i = 0; i < count; ++i)
            to[i] = average(upper[i], lower[i]);
    }
    VELA_KERNEL void average_squares(const uint8_t *upper, const uint8_t *lower, uint8_t *to, size_t count) {
        for (size_t i = 0; i < count; ++i)
            to[i] = average(average(upper[2 * i], lower[2 * i]), average(upper[2 * i + 1], lower[2 * i + 1]));
    }
    VELA_KERNEL void repeat_columns(const uint8_t *from, uint8_t *to, size_t count) {
        for (size_t i = 0; i < count; ++i)
            to[2 * i] = to[2 * i + 1] = from[i];
    }

private:
    VELA_KERNEL uint8_t average(int a, int b) { return static_cast<uint8_t>((a + b + 1) >> 1); }

    template <size_t size>
    VELA_KERNEL void encode_luma(const encoder &e, const uint8_t *from, uint8_t *luma, size_t count) {
        for (size_t x = 0; x < count; ++x, from += size)
            luma[x] = e.byte(0, {from[0], from[1], from[2]}, 0);
    }
};

} // namespace vela::detail

// The kernels of rows as scalar code: it defines the results, and does what whole blocks of SIMD code leave over. Rows
// are luma and chroma, whatever their format: chroma of half the columns is one row of pairs, other chroma a row of
// each.
#pragma once

#include "arithmetic.hpp"

namespace vela::detail {

#define VELA_KERNEL [[gnu::always_inline]] static inline

struct picture_scalar {
    // Pixels of `size` bytes, of two columns that share a pair.
    template <size_t size>
    VELA_KERNEL void decode_pairs(const decoder *d, const uint8_t *luma, const uint8_t *pairs, uint8_t *to,
                                  size_t count) {
        for (size_t x = 0; x < count; ++x)
            decode<size>(*d, luma[x], pairs + x / 2 * 2, to + size * x);
    }
    template <size_t size>
    VELA_KERNEL void decode_planes(const decoder *d, const uint8_t *luma, const uint8_t *first, const uint8_t *second,
                                   uint8_t *to, size_t count) {
        for (size_t x = 0; x < count; ++x) {
            const uint8_t pair[] = {first[x], second[x]};
            decode<size>(*d, luma[x], pair, to + size * x);
        }
    }

    // Two rows of pixels into two of luma and one of chroma. Rows are averaged first, rounded up, then columns.
    template <size_t size>
    VELA_KERNEL void encode_pairs(const encoder *e, const uint8_t *upper, const uint8_t *lower, uint8_t *upper_luma,
                                  uint8_t *lower_luma, uint8_t *pairs, size_t count) {
        encode_luma<size>(*e, upper, upper_luma, count);
        encode_luma<size>(*e, lower, lower_luma, count);
        for (size_t x = 0; x < count; x += 2, pairs += 2) {
            triple sums = {};
            for (size_t i = 0; i < 3; ++i)
                for (const size_t at : {size * x, size * std::min(x + 1, count - 1)})
                    sums[i] += (upper[at + i] + lower[at + i] + 1) >> 1;
            pairs[0] = e->byte(1, sums, 1);
            pairs[1] = e->byte(2, sums, 1);
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

    // Two rows of quads into luma and the averages of their pairs.
    template <bool is_luma_first>
    VELA_KERNEL void split_rows(const uint8_t *upper, const uint8_t *lower, uint8_t *upper_luma, uint8_t *lower_luma,
                                uint8_t *pairs, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            const size_t luma = 2 * i + (is_luma_first ? 0 : 1), chroma = 2 * i + (is_luma_first ? 1 : 0);
            upper_luma[i] = upper[luma];
            lower_luma[i] = lower[luma];
            pairs[i] = average(upper[chroma], lower[chroma]);
        }
    }

    // Averages, rounded up: of two rows; of columns, from two rows into pairs. And pairs for both of their columns.
    VELA_KERNEL void average_rows(const uint8_t *upper, const uint8_t *lower, uint8_t *to, size_t count) {
        for (size_t i = 0; i < count; ++i)
            to[i] = average(upper[i], lower[i]);
    }
    VELA_KERNEL void average_columns(const uint8_t *first, const uint8_t *second, uint8_t *pairs, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            pairs[2 * i] = average(first[2 * i], first[2 * i + 1]);
            pairs[2 * i + 1] = average(second[2 * i], second[2 * i + 1]);
        }
    }
    VELA_KERNEL void repeat_columns(const uint8_t *pairs, uint8_t *first, uint8_t *second, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            first[2 * i] = first[2 * i + 1] = pairs[2 * i];
            second[2 * i] = second[2 * i + 1] = pairs[2 * i + 1];
        }
    }

private:
    VELA_KERNEL uint8_t average(int a, int b) { return static_cast<uint8_t>((a + b + 1) >> 1); }

    template <size_t size>
    VELA_KERNEL void decode(const decoder &d, uint8_t luma, const uint8_t *pair, uint8_t *to) {
        for (size_t i = 0; i < 3; ++i)
            to[i] = d.byte(luma, d.term(i, pair));
        if constexpr (size == 4)
            to[3] = 255;
    }
    template <size_t size>
    VELA_KERNEL void encode_luma(const encoder &e, const uint8_t *from, uint8_t *luma, size_t count) {
        for (size_t x = 0; x < count; ++x, from += size)
            luma[x] = e.byte(0, {from[0], from[1], from[2]}, 0);
    }
};

} // namespace vela::detail

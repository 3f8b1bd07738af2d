// Solid colours on pixels of any format.
#pragma once

#include "arithmetic.hpp"
#include "check.hpp"
#include <cstring>

namespace vela::detail {

// The bytes of a colour, in the order of a format's components.
class paint {
public:
    paint(const vela_picture &p, const vela_rgb &colour) : p_(p), f_(format_of(p)) {
        const triple rgb = {colour.red, colour.green, colour.blue};
        const encoder to_ycc(kVariants[p.colours], false, false);
        for (size_t i = 0; i < 3; ++i)
            bytes_[i] = f_.is_rgb() ? static_cast<uint8_t>(rgb[i]) : to_ycc.byte(i, rgb, 0);
    }

    // Colours pixels, which must be of the picture, with all samples that any of them has a share in.
    void fill(size_t y, size_t begin, size_t end) const {
        for (size_t i = 0; i < f_.components; ++i) {
            const component &c = f_.of[i];
            uint8_t *to = sample(p_, c, begin, y);
            const size_t count = samples(end, c.shift_x) - (begin >> c.shift_x);
            if (c.step == 1)
                std::memset(to, bytes_[i], count);
            else
                for (size_t x = 0; x < count; ++x)
                    to[x * c.step] = bytes_[i];
        }
    }

    // The part of a square that is within the picture.
    void fill_square(int64_t left, int64_t top, int64_t side) const {
        const int64_t begin = std::max<int64_t>(left, 0), end = std::min<int64_t>(left + side, p_.width);
        for (int64_t y = std::max<int64_t>(top, 0); begin < end && y < std::min<int64_t>(top + side, p_.height); ++y)
            fill(static_cast<size_t>(y), static_cast<size_t>(begin), static_cast<size_t>(end));
    }

private:
    const vela_picture &p_;
    const format &f_;
    uint8_t bytes_[4] = {0, 0, 0, 255};
};

} // namespace vela::detail

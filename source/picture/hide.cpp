// Pixels hidden under a colour, or under averages of squares of the picture.
#include "common/memory.hpp"
#include "paint.hpp"

using namespace vela::detail;

namespace {

// A run's part within the picture; empty where begin is not below end.
struct clipped {
    size_t y, begin, end;

    clipped(const vela_picture &p, const vela_run &run) : y(0), begin(0), end(0) {
        if (run.y < 0 || run.y >= p.height || run.begin >= run.end || run.end <= 0 || run.begin >= p.width)
            return;
        y = static_cast<size_t>(run.y);
        begin = static_cast<size_t>(std::max(run.begin, 0));
        end = static_cast<size_t>(std::min(run.end, p.width));
    }
};

// One direction of the grid of squares: their side, and how many there are. The last takes what is left over.
struct axis {
    size_t side, count, size;

    axis(int32_t pixels, int32_t asked)
        : side(static_cast<size_t>(asked + 1) & ~size_t{1}),
          count(std::max<size_t>(1, static_cast<size_t>(pixels) / side)), size(static_cast<size_t>(pixels)) {}

    [[nodiscard]] size_t index(size_t pixel) const { return std::min(pixel / side, count - 1); }
    [[nodiscard]] size_t end(size_t i) const { return i + 1 < count ? (i + 1) * side : size; }

    // Where the centre of a sample is between the centres of squares, in 256ths.
    [[nodiscard]] size_t position(size_t sample, int shift) const {
        const size_t at = ((2 * sample + 1) << (7 + shift)) / side;
        return std::min(std::max<size_t>(at, 128) - 128, (count - 1) * 256);
    }
};

// The averages of the squares around some pixels.
class averages {
public:
    averages(const vela_picture &p, const vela_cover &cover, const vela_run *runs, size_t count)
        : p_(p), f_(format_of(p)), across_(p.width, cover.size), down_(p.height, cover.size) {
        size_t left = across_.count, right = 0, top = down_.count, bottom = 0;
        for (size_t i = 0; i < count; ++i)
            if (const clipped run(p, runs[i]); run.begin < run.end) {
                left = std::min(left, across_.index(run.begin));
                right = std::max(right, across_.index(run.end - 1));
                top = std::min(top, down_.index(run.y));
                bottom = std::max(bottom, down_.index(run.y));
            }
        if (left > right)
            return;
        // One more on each side, between whose centres a blur has its shades.
        left_ = left ? left - 1 : 0;
        top_ = top ? top - 1 : 0;
        columns_ = std::min(right + 2, across_.count) - left_;
        rows_ = std::min(bottom + 2, down_.count) - top_;
        values_ = allocate<uint8_t>(3 * columns_ * rows_);
        for (size_t i = 0; values_ && i < std::min<size_t>(f_.components, 3); ++i)
            for (size_t row = 0; row < rows_; ++row)
                for (size_t column = 0; column < columns_; ++column)
                    at(i, left_ + column, top_ + row) = average(f_.of[i], left_ + column, top_ + row);
    }

    // False when memory ran out, or nothing is to be hidden.
    explicit operator bool() const { return values_ != nullptr; }

    void fill(const clipped &run, bool is_smooth) const {
        for (size_t i = 0; i < std::min<size_t>(f_.components, 3); ++i) {
            const component &c = f_.of[i];
            const size_t row = run.y >> c.shift_y, end = samples(run.end, c.shift_x);
            for (size_t column = run.begin >> c.shift_x; column < end; ++column) {
                uint8_t &to = *sample(p_, c, column << c.shift_x, run.y);
                to = is_smooth ? shade(i, across_.position(column, c.shift_x), down_.position(row, c.shift_y))
                               : at(i, across_.index(column << c.shift_x), down_.index(row << c.shift_y));
            }
        }
    }

private:
    [[nodiscard]] uint8_t &at(size_t component, size_t column, size_t row) const {
        return values_[(component * rows_ + row - top_) * columns_ + column - left_];
    }

    [[nodiscard]] uint8_t average(const component &c, size_t column, size_t row) const {
        const size_t begin = column * across_.side >> c.shift_x, end = samples(across_.end(column), c.shift_x),
                     first = row * down_.side >> c.shift_y, last = samples(down_.end(row), c.shift_y);
        uint64_t sum = 0;
        for (size_t y = first; y < last; ++y) {
            const uint8_t *from = sample(p_, c, begin << c.shift_x, y << c.shift_y);
            for (size_t x = begin; x < end; ++x, from += c.step)
                sum += *from;
        }
        const uint64_t count = uint64_t{end - begin} * (last - first);
        return static_cast<uint8_t>((sum + count / 2) / count);
    }

    [[nodiscard]] uint8_t shade(size_t component, size_t x, size_t y) const {
        const size_t column = x / 256, row = y / 256, next = std::min(column + 1, across_.count - 1),
                     below = std::min(row + 1, down_.count - 1);
        const size_t right = x % 256, lower = y % 256;
        const size_t upper_row = at(component, column, row) * (256 - right) + at(component, next, row) * right,
                     lower_row = at(component, column, below) * (256 - right) + at(component, next, below) * right;
        return static_cast<uint8_t>((upper_row * (256 - lower) + lower_row * lower + (1 << 15)) >> 16);
    }

    const vela_picture &p_;
    const format &f_;
    axis across_, down_;
    size_t left_ = 0, top_ = 0, columns_ = 0, rows_ = 0;
    owned<uint8_t[]> values_;
};

bool is_valid(const vela_cover &cover) {
    return cover.style == VELA_SOLID ||
           ((cover.style == VELA_BLOCKS || cover.style == VELA_BLUR) && 2 <= cover.size && cover.size < 65536);
}

} // namespace

int32_t vela_picture_hide(const vela_picture *picture, const vela_run *runs, size_t count, const vela_cover *cover) {
    const vela_cover how = cover ? *cover : vela_cover();
    if (!is_valid(*picture) || !is_valid(how))
        return 1;
    if (how.style != VELA_SOLID)
        if (const averages squares(*picture, how, runs, count); squares) {
            for (size_t i = 0; i < count; ++i)
                squares.fill(clipped(*picture, runs[i]), how.style == VELA_BLUR);
            return 0;
        }
    const paint colour(*picture, how.colour);
    for (size_t i = 0; i < count; ++i)
        if (const clipped run(*picture, runs[i]); run.begin < run.end)
            colour.fill(run.y, run.begin, run.end);
    return 0;
}

/**
 * @file
 * Straight edges on the screen, filled by scanlines. Part of <vela/overlay.hpp>; nothing here is
 * public.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vela/overlay/geometry.hpp>
#include <vela/overlay/scanline.hpp>

namespace vela::overlay::internal {

// The part of the screen where edges matter: those beyond its right, upper or lower border don't, and of those on its
// left it counts alone which rows they cross.
struct window {
    double left, top, right, bottom;

    window grown(double by) const noexcept { return {left - by, top - by, right + by, bottom + by}; }
};

// The least rectangle around two positions.
inline window around(position a, position b) noexcept {
    return {std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y)};
}

class chords {
public:
    explicit chords(std::size_t capacity) noexcept
        : capacity_(capacity), chords_(allocate<chord>(capacity)), active_(allocate<const chord *>(capacity)) {}
    explicit operator bool() const noexcept { return chords_ && active_; }

    void clear() noexcept {
        count_ = 0;
        row_ = nullptr;
    }
    // From now on what is added isn't kept, but drawn at once on one row; see fill().
    void draw_on(scanline &row, int y, double reach) noexcept {
        row.clear(reach);
        row_ = &row;
        y_ = y;
        reach_ = reach;
    }

    // An edge of one of several polygons, where the winding number grows by step from left to right when it leads
    // downward. False when there is no memory left.
    bool add(position from, position to, int step, int which) noexcept {
        const chord made(from, to, step, which);
        if (row_)
            draw(made, y_, reach_, *row_);
        else if (count_ < capacity_)
            chords_[count_++] = made;
        else
            return false;
        return true;
    }

    // Removes pairs that lead there and back. Where two areas border on each other their union doesn't end.
    void remove_opposite() noexcept {
        sort();
        std::size_t kept = 0;
        for (std::size_t i = 0; i < count_; ++i) {
            const chord &one = chords_[i];
            std::size_t j = kept;
            while (j > 0 && one.begins_with(chords_[j - 1]) && !one.is_opposite_of(chords_[j - 1]))
                --j;
            if (j == 0 || !one.is_opposite_of(chords_[j - 1]))
                chords_[kept++] = one;
            else
                std::copy(chords_.get() + j, chords_.get() + kept--, chords_.get() + j - 1);
        }
        count_ = kept;
    }

    // Fills the rows from begin to end. Pixels whose centres are within reach of an edge, along each axis, are touched
    // by it; if that is 0 the centres alone decide.
    template <class Each>
    void fill(int begin, int end, int width, double reach, scanline &line, Each &each) {
        sort();
        std::size_t next = 0, active = 0;
        for (int y = begin; y < end; ++y) {
            if (active == 0) {
                if (next == count_)
                    return;
                y = std::max(y, static_cast<int>(std::clamp<double>(chords_[next].top.y - reach, begin, end)));
                if (y == end)
                    return;
            }
            for (; next < count_ && chords_[next].top.y - reach <= y; ++next)
                active_[active++] = &chords_[next];
            std::size_t kept = 0;
            line.clear(reach);
            for (std::size_t i = 0; i < active; ++i) {
                const chord &at = *active_[i];
                if (at.bottom.y + reach < y)
                    continue;
                active_[kept++] = &at;
                draw(at, y, reach, line);
            }
            active = kept;
            line.emit(y, width, reach, each);
        }
    }

private:
    // A straight line, downward.
    struct chord {
        position top, bottom;
        double left, right, slope; // x for each y
        int step, which;

        chord() noexcept = default;
        chord(position a, position b, int weight, int polygon) noexcept
            : top(a.y < b.y ? a : b), bottom(a.y < b.y ? b : a), left(std::min(a.x, b.x)), right(std::max(a.x, b.x)),
              slope((bottom.x - top.x) / std::max(bottom.y - top.y, 1e-9)), step(a.y < b.y ? weight : -weight),
              which(polygon) {}
        bool begins_with(const chord &other) const noexcept { return top.y == other.top.y && top.x == other.top.x; }
        bool is_opposite_of(const chord &other) const noexcept {
            return begins_with(other) && bottom.y == other.bottom.y && bottom.x == other.bottom.x &&
                   which == other.which && step == -other.step && step != 0;
        }
    };

    void sort() noexcept {
        std::sort(chords_.get(), chords_.get() + count_, [](const chord &a, const chord &b) {
            return a.top.y != b.top.y ? a.top.y < b.top.y : a.top.x < b.top.x;
        });
    }

    // What of the chord is within reach of a row is between where its line is then, and its ends.
    static void draw(const chord &at, int y, double reach, scanline &line) noexcept {
        const double x = at.top.x + (y - at.top.y) * at.slope, beside = reach * std::fabs(at.slope);
        if (at.step != 0 && at.top.y <= y && y < at.bottom.y)
            line.cross(std::clamp(x, at.left, at.right), at.step, at.which);
        if (reach > 0 && at.top.y <= y + reach && at.bottom.y >= y - reach)
            line.touch(std::max(x - beside, at.left), std::min(x + beside, at.right));
    }

    std::size_t capacity_, count_ = 0;
    array<chord> chords_;
    array<const chord *> active_;
    scanline *row_ = nullptr;
    int y_ = 0;
    double reach_ = 0;
};

} // namespace vela::overlay::internal

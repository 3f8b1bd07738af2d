/**
 * @file
 * Straight edges and convex quadrangles on the screen, filled by scanlines. Part of <vela/overlay.hpp>; nothing here is
 * public.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <span>
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
    // Keeps that many sides, of half as many shapes: an edge has one, a quadrangle four to six.
    explicit chords(std::size_t capacity) noexcept
        : capacity_(capacity), sides_(allocate<side>(capacity)), shapes_(allocate<shape>(capacity / 2)),
          active_(allocate<const shape *>(capacity / 2)) {}
    explicit operator bool() const noexcept { return sides_ && shapes_ && active_; }

    void clear() noexcept {
        count_ = side_count_ = 0;
        row_ = nullptr;
    }
    // From now on what is added isn't kept, but drawn at once on one row; see fill().
    void draw_on(scanline &row, int y, double reach) noexcept {
        row.clear();
        row_ = &row;
        y_ = y;
        reach_ = reach;
    }

    // An edge of one of two polygons, where the winding number grows by step from left to right when it leads downward.
    // False when there is no memory left.
    bool add(position from, position to, int step, int which) noexcept {
        const side only(from, to);
        return add(std::span(&only, 1), from.y < to.y ? step : -step, which);
    }
    // The convex hull of four corners is covered. If they go around it, it has four sides; else the lines between all
    // corners enclose it.
    bool add(const std::array<position, 4> &corners, bool is_convex) noexcept {
        const auto &[a, b, c, d] = corners;
        const side all[] = {{a, b}, {b, c}, {c, d}, {d, a}, {a, c}, {b, d}};
        return add(std::span(all, is_convex ? 4 : 6), 0, 0);
    }

    // Fills the rows from begin to end. Pixels whose centres are within reach of an edge, along each axis, are touched
    // by it; if that is 0 the centres alone decide.
    template <class Each>
    void fill(int begin, int end, int width, double reach, scanline &line, Each &each) {
        std::sort(shapes_.get(), shapes_.get() + count_, [](const shape &a, const shape &b) { return a.top < b.top; });
        std::size_t next = 0, active = 0;
        for (int y = begin; y < end; ++y) {
            if (active == 0) {
                if (next == count_)
                    return;
                y = std::max(y, static_cast<int>(std::clamp<double>(shapes_[next].top - reach, begin, end)));
                if (y == end)
                    return;
            }
            for (; next < count_ && shapes_[next].top - reach <= y; ++next)
                active_[active++] = &shapes_[next];
            std::size_t kept = 0;
            line.clear();
            for (std::size_t i = 0; i < active; ++i) {
                const shape &at = *active_[i];
                if (at.bottom + reach < y)
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
    struct side {
        position top, bottom;
        double slope; // x for each y

        side() noexcept = default;
        side(position a, position b) noexcept
            : top(a.y < b.y ? a : b), bottom(a.y < b.y ? b : a), slope((bottom.x - top.x) / (bottom.y - top.y)) {}
        double x_at(double y) const noexcept {
            return std::clamp(top.x + (y - top.y) * slope, std::min(top.x, bottom.x), std::max(top.x, bottom.x));
        }
    };

    struct shape {
        const side *begin, *end;
        double top, bottom;
        int step, which;
    };

    bool add(std::span<const side> sides, int step, int which) noexcept {
        shape made = {sides.data(), sides.data() + sides.size(), sides[0].top.y, sides[0].bottom.y, step, which};
        for (const side &at : sides) {
            made.top = std::min(made.top, at.top.y);
            made.bottom = std::max(made.bottom, at.bottom.y);
        }
        if (row_) {
            draw(made, y_, reach_, *row_);
            return true;
        }
        if (side_count_ + sides.size() > capacity_ || count_ == capacity_ / 2)
            return false;
        made.begin = sides_.get() + side_count_;
        made.end = std::copy(sides.begin(), sides.end(), sides_.get() + side_count_);
        side_count_ += sides.size();
        shapes_[count_++] = made;
        return true;
    }

    // The ends of its sides' parts in a row enclose what a shape has there.
    static void draw(const shape &at, int y, double reach, scanline &line) noexcept {
        if (at.step != 0 && at.top <= y && y < at.bottom)
            line.cross(at.begin->x_at(y), at.step, at.which);
        if (reach == 0)
            return;
        const double top = y - reach, bottom = y + reach;
        double begin = 1e300, end = -1e300;
        for (const side *one = at.begin; one != at.end; ++one) {
            if (one->bottom.y < top || one->top.y > bottom)
                continue;
            const double x = one->top.y < top ? one->x_at(top) : one->top.x,
                         other = one->bottom.y > bottom ? one->x_at(bottom) : one->bottom.x;
            begin = std::min({begin, x, other});
            end = std::max({end, x, other});
        }
        if (begin <= end)
            line.touch(begin, end);
    }

    std::size_t capacity_, side_count_ = 0, count_ = 0;
    array<side> sides_;
    array<shape> shapes_;
    array<const shape *> active_;
    scanline *row_ = nullptr;
    int y_ = 0;
    double reach_ = 0;
};

} // namespace vela::overlay::internal

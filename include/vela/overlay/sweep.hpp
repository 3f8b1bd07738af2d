/**
 * @file
 * What edges pass on the screen while a view turns and zooms into another one. Part of <vela/overlay.hpp>; nothing here
 * is public.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vela/overlay/chords.hpp>
#include <vela/overlay/optics.hpp>

namespace vela::overlay::internal {

// Between the views each angle changes evenly with the time, by the shorter way around, and so do the numbers of the
// lens.
template <class Lens>
class motion {
public:
    motion(const orientation &from, const orientation &to, const Lens &lens_from, const Lens &lens_to) noexcept
        : from_(from), turn_{turn_between(from.pan, to.pan), turn_between(from.tilt, to.tilt),
                             turn_between(from.roll, to.roll)},
          lens_(lens_from), lens_to_(lens_to), widest_(lens_from.widest(lens_to)), zooms_(!(lens_from == lens_to)),
          pans_(turn_.tilt == 0 && turn_.roll == 0),
          speed_((std::fabs(turn_.pan) + std::fabs(turn_.tilt) + std::fabs(turn_.roll)) * kDegree) {
        from_ = {within_half_turn(from.pan), within_half_turn(from.tilt), within_half_turn(from.roll)};
    }

    bool zooms() const noexcept { return zooms_; }

    // Adds areas that together cover what the arc passes, as closely as kTolerance and kExcess say; not what doesn't
    // meet the screen. sink.chord(from, to, step) is called for the sides of those where a winding number is 1 or more,
    // and sink.quad(corners, is_convex) for the others, with corners that go around if the area is convex.
    template <class Sink>
    void pass(vec a, vec b, const window &screen, Sink &sink) const {
        int splits = 0;
        pass({a, b, 0, 1, 0}, screen, sink, splits);
    }

    // Pixels: how far what is passed may be from the quadrangles, and how much they may have too much.
    static constexpr double kTolerance = 0.25, kExcess = 0.15;

private:
    using corners = std::array<position, 4>; // around the quadrangle

    // An arc during a part of the time.
    struct patch {
        vec a, b;
        double begin, end;
        int depth;

        patch with_arc(vec p, vec q) const noexcept { return {p, q, begin, end, depth + 1}; }
        patch with_time(double from, double to) const noexcept { return {a, b, from, to, depth + 1}; }
    };

    static window around(const corners &c) noexcept {
        return {std::min({c[0].x, c[1].x, c[2].x, c[3].x}), std::min({c[0].y, c[1].y, c[2].y, c[3].y}),
                std::max({c[0].x, c[1].x, c[2].x, c[3].x}), std::max({c[0].y, c[1].y, c[2].y, c[3].y})};
    }
    static bool meet(const window &a, const window &b) noexcept {
        return a.left <= b.right && b.left <= a.right && a.top <= b.bottom && b.top <= a.bottom;
    }

    static double turn_between(double from, double to) noexcept {
        return within_half_turn(within_half_turn(to) - within_half_turn(from));
    }

    frame frame_at(double time) const noexcept {
        return frame::of(
            orientation{from_.pan + time * turn_.pan, from_.tilt + time * turn_.tilt, from_.roll + time * turn_.roll});
    }

    Lens lens_at(double time) const noexcept { return zooms_ ? lens_.at(lens_to_, time) : lens_; }

    template <class Sink>
    void pass(const patch &part, const window &screen, Sink &sink, int &splits) const {
        const double time = part.end - part.begin, middle = (part.begin + part.end) / 2, turn = speed_ * time,
                     angle = arc_angle(part.a, part.b), reach = (angle + turn) / 2;
        const vec p = frame_at(middle).to_local(unit(part.a + part.b));
        const double from_axis = std::atan2(std::hypot(p.y, p.z), p.x);
        if (from_axis - reach > std::max(lens_.limit_angle(), lens_to_.limit_angle()))
            return;
        const bounds near = widest_.bounds_near(p, reach);
        const drift drifts = zooms_ ? lens_.drift_to(lens_to_, p, reach) : drift{0, 0, 0};
        const double across = near.speed * angle / 2, along = near.speed * turn / 2 + drifts.speed * time / 2;
        if (across + along < kUnbounded) {
            const Lens lens = lens_at(middle);
            const position at = lens.project(lens.flat(p));
            const window box = window{at.x, at.y, at.x, at.y}.grown(across + along);
            if (!meet(box, screen))
                return;
            if (from_axis + reach <= std::min(lens_.safe_angle(), lens_to_.safe_angle())) {
                // A path other than a great circle is curved: a circle of equal tilt by the sine of the tilt.
                const double curvature = pans_ ? std::min(1.0, std::fabs(part.a.z + part.b.z) / 2 + angle / 2) : 1;
                const double bend = near.bending * angle * angle / 8,
                             turning = (near.bending + near.speed * curvature) * turn * turn / 8 +
                                       drifts.shear * turn * time / 4 + drifts.acceleration * time * time / 8;
                const double columns = std::ceil(std::sqrt(2 * bend / kTolerance)),
                             rows = std::ceil(std::sqrt(2 * turning / kTolerance));
                if (columns <= kMaxParts && rows <= kMaxParts)
                    return add_grid(part, static_cast<std::size_t>(std::max(1.0, columns)),
                                    static_cast<std::size_t>(std::max(1.0, rows)), screen, sink);
            }
            if (across + along <= kTolerance)
                return sink.quad(corners{at, at, at, at}, true);
        }
        if (part.depth == kMaxDepth)
            return; // less than a hair around a direction right behind
        if (++splits > kMaxSplits) {
            if (splits == kMaxSplits + 1)
                sink.quad(corners{position{screen.left, screen.top},
                                  {screen.right, screen.top},
                                  {screen.right, screen.bottom},
                                  {screen.left, screen.bottom}},
                          true);
            return;
        }
        if (across + along < kUnbounded ? across >= along : angle >= turn) {
            const vec half = unit(part.a + part.b);
            pass(part.with_arc(part.a, half), screen, sink, splits);
            pass(part.with_arc(half, part.b), screen, sink, splits);
        } else {
            pass(part.with_time(part.begin, middle), screen, sink, splits);
            pass(part.with_time(middle, part.end), screen, sink, splits);
        }
    }

    position place(vec p, const frame &axes, const Lens &lens) const noexcept {
        return lens.project(lens.flat(axes.to_local(p)));
    }

    // Divides a patch evenly, so that each part's sides are straight on the screen. Where all parts are convex and go
    // around the same way, a point is in as many as the winding number of the patch's outline says.
    template <class Sink>
    void add_grid(const patch &part, std::size_t columns, std::size_t rows, const window &screen, Sink &sink) const {
        std::array<vec, kMaxParts + 1> points;
        std::array<double, kMaxParts + 1> times;
        std::array<std::array<position, kMaxParts + 1>, kMaxParts + 1> grid;
        const auto share = [](std::size_t i, std::size_t count) {
            return static_cast<double>(i) / static_cast<double>(count);
        };
        for (std::size_t i = 0; i <= columns; ++i)
            points[i] = unit(part.a + share(i, columns) * (part.b - part.a));
        bool turns_left = true, turns_right = true;
        for (std::size_t row = 0; row <= rows; ++row) {
            times[row] = mixed(part.begin, part.end, share(row, rows));
            const frame axes = frame_at(times[row]);
            const Lens lens = lens_at(times[row]);
            for (std::size_t i = 0; i <= columns; ++i)
                grid[row][i] = place(points[i], axes, lens);
            for (std::size_t i = 0; row > 0 && i < columns; ++i) {
                const turns at(cell(grid, row, i));
                turns_left = turns_left && at.right == 0;
                turns_right = turns_right && at.left == 0;
            }
        }
        if ((turns_left || turns_right) && columns * rows > kFewCells) {
            const int step = turns_left ? -1 : 1;
            for (std::size_t i = 0; i < columns; ++i) {
                sink.chord(grid[0][i], grid[0][i + 1], step);
                sink.chord(grid[rows][i + 1], grid[rows][i], step);
            }
            for (std::size_t row = 0; row < rows; ++row) {
                sink.chord(grid[row][columns], grid[row + 1][columns], step);
                sink.chord(grid[row + 1][0], grid[row][0], step);
            }
            return;
        }
        for (std::size_t row = 1; row <= rows; ++row)
            for (std::size_t i = 0; i < columns; ++i)
                if (const corners c = cell(grid, row, i); meet(around(c).grown(kTolerance), screen))
                    add_cell({points[i], points[i + 1], times[row - 1], times[row], 0}, c, sink);
    }

    template <class Grid>
    static corners cell(const Grid &grid, std::size_t row, std::size_t i) noexcept {
        return {grid[row - 1][i], grid[row - 1][i + 1], grid[row][i + 1], grid[row][i]};
    }

    // A patch whose sides are straight covers the quadrangle of its corners, if that is convex; else it is divided
    // until what the hull has more is small.
    template <class Sink>
    void add_cell(const patch &part, const corners &c, Sink &sink) const {
        const position twist = {c[0].x - c[1].x + c[2].x - c[3].x, c[0].y - c[1].y + c[2].y - c[3].y};
        const turns around(c);
        const bool is_convex = around.left == 0 || around.right == 0;
        if (part.depth == 20 || is_convex || std::hypot(twist.x, twist.y) <= 2 * kExcess || thickness(c) <= kExcess)
            return sink.quad(c, is_convex);
        const double time = (part.begin + part.end) / 2;
        const vec half = unit(part.a + part.b);
        const frame from = frame_at(part.begin), during = frame_at(time), to = frame_at(part.end);
        const Lens lens = lens_at(time);
        const position middle = place(half, during, lens), left = place(part.a, during, lens),
                       right = place(part.b, during, lens), first = place(half, from, lens_at(part.begin)),
                       last = place(half, to, lens_at(part.end));
        const patch early = part.with_time(part.begin, time), late = part.with_time(time, part.end);
        add_cell(early.with_arc(part.a, half), {c[0], first, middle, left}, sink);
        add_cell(early.with_arc(half, part.b), {first, c[1], right, middle}, sink);
        add_cell(late.with_arc(part.a, half), {left, middle, last, c[3]}, sink);
        add_cell(late.with_arc(half, part.b), {middle, right, c[2], last}, sink);
    }

    // How many of its corners turn left and right. A convex one has turns of one kind.
    struct turns {
        int left = 0, right = 0;

        explicit turns(const corners &c) noexcept {
            for (std::size_t i = 0; i < 4; ++i) {
                const position &a = c[i], &b = c[(i + 1) % 4], &d = c[(i + 2) % 4];
                const double turn = (b.x - a.x) * (d.y - b.y) - (b.y - a.y) * (d.x - b.x);
                left += turn > 0;
                right += turn < 0;
            }
        }
    };

    // How far the corners are from the line through the two that are farthest apart, at most.
    static double thickness(const corners &c) noexcept {
        position a = c[0], b = c[0];
        for (std::size_t i = 0; i < 4; ++i)
            for (std::size_t j = 0; j < i; ++j)
                if (std::hypot(c[i].x - c[j].x, c[i].y - c[j].y) > std::hypot(b.x - a.x, b.y - a.y))
                    a = c[i], b = c[j];
        const double x = b.x - a.x, y = b.y - a.y, length = std::max(std::hypot(x, y), 1e-300);
        double most = 0;
        for (const position &p : c)
            most = std::max(most, std::fabs((p.x - a.x) * y - (p.y - a.y) * x) / length);
        return most;
    }

    static constexpr int kMaxParts = 4, kMaxDepth = 64;
    // Only bounds that overflow lead there: all of the screen is covered.
    static constexpr int kMaxSplits = 1 << 16;

    static constexpr std::size_t kFewCells = 9; // take less time one by one

    orientation from_, turn_;
    Lens lens_, lens_to_, widest_;
    bool zooms_, pans_; // pans: around the vertical axis alone
    double speed_;      // an upper bound, in radians, of how fast directions move in the view
};

} // namespace vela::overlay::internal

/**
 * @file
 * Masks: polygons of directions, filled by scanlines on any view. Part of <vela/overlay.hpp>.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <variant>
#include <vela/overlay/boundary.hpp>
#include <vela/overlay/chords.hpp>
#include <vela/overlay/polygon.hpp>
#include <vela/overlay/scanline.hpp>
#include <vela/overlay/sweep.hpp>
#include <vela/overlay/vicinity.hpp>
#include <vela/overlay/view.hpp>

namespace vela::overlay {

/** Adjacent pixels of a row: the half-open range [begin, end). */
struct run {
    int y;     /**< the row */
    int begin; /**< the first pixel */
    int end;   /**< one past the last pixel */
};

/** Which pixels a mask covers. */
enum class coverage : std::uint8_t {
    conservative, /**< each whose square touches the inside or its boundary; none whose centre is 1.5 pixels off */
    centres,      /**< each whose centre is inside */
};

/**
 * A polygon of directions that hides what is inside.
 *
 *     door->draw(*seen, [&](int y, int begin, int end) { blacken(frame.row(y), begin, end); });
 */
class mask {
public:
    /**
     * Prepares a polygon, in time proportional to the square of the number of corners. Drawing takes longest when all
     * sides cross all rows; the limit of corners keeps that to 20 ms a view of 1920 x 1080 pixels (x86-64, 2.6 GHz).
     *
     * @param corners  three directions or more, up to 384; those that repeat the one before are left out
     * @return the mask; empty for fewer corners (or all the same) and more, for numbers that are not finite,
     *         for neighbours that are antipodal to within a ten-thousandth of a degree, between which no arc is the
     *         shorter one, and when memory runs out
     */
    [[nodiscard]] static std::optional<mask> make(std::span<const direction> corners) noexcept {
        std::optional<internal::polygon> shape = internal::polygon::make(corners);
        if (!shape)
            return std::nullopt;
        mask made(std::move(*shape));
        return made.active_ && made.line_ && made.chords_ && made.exits_ ? std::optional(std::move(made))
                                                                         : std::nullopt;
    }

    /** The same, from the record that the C functions take. */
    [[nodiscard]] static std::optional<mask> make(const smap_sphere_poly &polygon) noexcept {
        const internal::array<direction> corners = internal::allocate<direction>(polygon.count);
        if (!corners)
            return std::nullopt;
        std::transform(polygon.pts, polygon.pts + polygon.count, corners.get(),
                       [](const smap_sphere_pt &point) { return direction_of(point); });
        return make(std::span<const direction>(corners.get(), polygon.count));
    }

    /** Whether a direction is inside. */
    [[nodiscard]] bool contains(direction d) const noexcept {
        return internal::is_finite(d) && shape_.winding(internal::vector_of(d)) != 0;
    }

    /**
     * Finds the pixels of a view that the mask covers.
     *
     * @param seen  the view
     * @param each  called as each(y, begin, end) for the pixels [begin, end) of row y, at least one; from top to bottom
     *              and from left to right, with a gap between two runs of a row
     * @param mode  which pixels
     */
    template <class Each>
    void draw(const view &seen, Each &&each, coverage mode = coverage::conservative) {
        if (const auto *lens = std::get_if<internal::axes>(&seen.lens_))
            return draw_by_segments(seen, *lens, each, mode);
        const double tolerance = mode == coverage::conservative ? kTolerance : kCentreTolerance;
        seen.by_lens([&](const auto &lens) {
            draw_by_chords(
                seen, mode == coverage::conservative ? 0.5 + tolerance + kMargin : 0, each,
                [&](const internal::window &screen) { return add_boundary(seen, lens, screen, tolerance, 0); });
        });
    }

    /**
     * Finds the pixels that the mask covers at any moment of the motion from one view to another: the camera turns and
     * zooms while the shutter is open, or its position isn't known exactly. Each pixel whose square touches the inside
     * or its boundary at any moment is covered; none whose centre is 1.5 pixels off at each.
     *
     * In that motion pan, tilt and roll change evenly by the shorter way around, and so do the numbers of the lens (the
     * field of view, where that is given alone). Between views of different sizes or models there is no motion: all of
     * the picture of the first view's size is covered.
     *
     * @param from  the view at the begin
     * @param to    the view at the end
     * @param each  called as for one view
     */
    template <class Each>
    void draw(const view &from, const view &to, Each &&each) {
        if (from.width_ != to.width_ || from.height_ != to.height_ || from.lens_.index() != to.lens_.index()) {
            for (int y = 0; y < from.height_; ++y)
                each(y, 0, from.width_);
            return;
        }
        from.by_lens([&]<class Lens>(const Lens &lens) {
            const Lens &lens_to = *std::get_if<Lens>(&to.lens_);
            const internal::motion<Lens> change(from.where_, to.where_, lens, lens_to);
            constexpr double tolerance = internal::motion<Lens>::kTolerance;
            // What an edge leaves was inside before, if that is what one side of all edges is, but where it wasn't
            // seen.
            const int inside = shape_.sign(), side = change.is_rim_fixed() ? inside : 0;
            draw_by_chords(from, 0.5 + tolerance + kMargin, each, [&](const internal::window &screen) {
                constexpr double flatness = internal::motion<Lens>::kFlatness;
                // The rim may pass what no edge does.
                if (!add_boundary(from, lens, screen, flatness, 0) ||
                    (!change.is_rim_fixed() && !add_boundary(to, lens_to, screen, flatness, 1)))
                    return false;
                swept area{chords_, inside};
                for (const internal::edge &one : shape_.edges())
                    change.pass(one, side, screen, area);
                chords_.remove_opposite();
                return area.is_complete;
            });
        });
    }

    /**
     * Finds the pixels that the mask may cover where the camera's position is known to within an angle: each whose
     * square touches a direction within that angle of the inside or its boundary; none whose centre is 1.5 pixels from
     * all of them, for margins up to ten thousand pixels.
     *
     * @param seen    the view
     * @param margin  degrees; 0 or less (or NaN) for none, all of the picture is covered from 90 on
     * @param each    called as for one view
     */
    template <class Each>
    void draw(const view &seen, double margin, Each &&each) {
        if (!(margin > 0))
            return draw(seen, each);
        if (margin >= 90) {
            for (int y = 0; y < seen.height_; ++y)
                each(y, 0, seen.width_);
            return;
        }
        seen.by_lens([&]<class Lens>(const Lens &lens) {
            const double angle = margin * internal::kDegree;
            draw_by_chords(seen, 0.5 + kTolerance + kMargin, each, [&](const internal::window &screen) {
                bool is_complete = add_boundary(seen, lens, screen, kTolerance, 0);
                const internal::flattener<Lens> flatten(lens, screen, kTolerance - kExcess);
                for (const internal::edge &side : shape_.edges()) {
                    // How fast positions move that are on the screen and near the edge.
                    const internal::vec p = seen.frame_.to_local(side.from + side.to);
                    const double away = std::atan2(std::hypot(p.y, p.z), p.x),
                                 reach = internal::arc_angle(side.from, side.to) / 2 + angle,
                                 end = std::min(away + reach, lens.limit_angle()),
                                 speed = lens.bounds_near({1, 0, 0}, end).speed;
                    if (away - reach > lens.limit_angle())
                        continue;
                    internal::vicinity(side, std::tan(angle), kExcess / speed)
                        .draw(seen.frame_, lens, flatten, [&](position from, position to, int weight) {
                            is_complete = is_complete && chords_.add(from, to, weight, 1);
                        });
                }
                return is_complete;
            });
        });
    }

    /**
     * The same, into memory of the caller's.
     *
     * @param seen  the view
     * @param out   receives the runs, as many as it can hold
     * @param mode  which pixels
     * @return the number of all runs, which may exceed the size of @p out
     */
    [[nodiscard]] std::size_t runs(const view &seen, std::span<run> out,
                                   coverage mode = coverage::conservative) noexcept {
        std::size_t count = 0;
        const auto store = [&](int y, int begin, int end) {
            if (count < out.size())
                out[count] = {y, begin, end};
            ++count;
        };
        draw(seen, store, mode);
        return count;
    }

private:
    // A segment of the active edge list, and where the scanline before crossed it.
    struct active_segment {
        const internal::segment *part;
        double x;
        bool is_beside; // left of the screen: x is not computed
    };

    explicit mask(internal::polygon shape) noexcept
        : shape_(std::move(shape)), active_(internal::allocate<active_segment>(shape_.max_segments())),
          line_(4 * shape_.edge_count() + kMinChords), chords_(4 * shape_.edge_count() + kMinChords),
          exits_(internal::allocate<internal::exit>(4 * shape_.edge_count())) {}

    // What edges pass, as long as there is memory for it. What they pass to one side has winding numbers of one sign: 1
    // or more as polygon 2, -1 or less as polygon 3, or together with the mask itself, if that has the same.
    struct swept {
        internal::chords &kept;
        int inside;
        bool is_complete = true;

        void outline(position from, position to, int side, int weight = 1) noexcept {
            is_complete = is_complete && kept.add(from, to, weight, side == inside ? 0 : side > 0 ? 2 : 3);
        }
        void line(position from, position to) noexcept { is_complete = is_complete && kept.add(from, to, 0, 0); }
    };

    // Fills what collect(screen) adds: all rows at once or, where memory doesn't suffice, fewer.
    template <class Each, class Collect>
    void draw_by_chords(const view &seen, double reach, Each &each, Collect &&collect) {
        for (int begin = 0, rows = seen.height_; begin < seen.height_;) {
            const int end = std::min(seen.height_, begin + rows);
            const internal::window screen = {-2, begin - reach, seen.width_ + 1.0, end - 1 + reach};
            chords_.clear();
            if (rows == 1) {
                chords_.draw_on(line_, begin, reach);
                collect(screen);
                line_.emit(begin, seen.width_, reach, each);
            } else if (!collect(screen)) {
                rows = (end - begin + 1) / 2;
                continue;
            } else {
                chords_.fill(begin, end, seen.width_, reach, line_, each);
            }
            begin = end;
        }
    }

    // Adds the chords of the polygon's part that a view shows; false when memory doesn't suffice.
    template <class Lens>
    bool add_boundary(const view &seen, const Lens &lens, const internal::window &screen, double tolerance,
                      int which) noexcept {
        bool is_full = false;
        const internal::flattener<Lens> flatten(lens, screen, tolerance);
        const std::span<internal::exit> exits(exits_.get(), 4 * shape_.edge_count());
        internal::boundary(
            lens, exits, flatten, [&](internal::vec p) { return shape_.winding(seen.frame_.to_sphere(p)); },
            [&](position from, position to, int weight) { is_full = is_full || !chords_.add(from, to, weight, which); })
            .draw(shape_.corners_in(seen.frame_));
        return !is_full;
    }

    // A great circle crosses a scanline of this lens in closed form.
    template <class Each>
    void draw_by_segments(const view &seen, const internal::axes &lens, Each &each, coverage mode) {
        const std::span<const internal::segment> segments = shape_.clip_to(seen.frame_);
        if (segments.empty())
            return;
        // The scanline of row y is at y + offset. In the conservative mode it is the lower border of the row's pixels,
        // and all that is between it and the one before counts.
        const double offset = mode == coverage::conservative ? 0.5 : 0;
        double lowest = segments[0].bottom;
        for (const internal::segment &part : segments)
            lowest = std::min(lowest, part.bottom);
        const auto row = [&](double y) { return std::floor(std::clamp(y - offset, -2.0, seen.height_ + 1.0)); };
        const int begin = std::max(0, static_cast<int>(row(lens.y_of(segments[0].top))) + 1);
        const int end = std::min(seen.height_, static_cast<int>(row(lens.y_of(lowest) + 2 * offset)) + 1);

        const double reach = mode == coverage::conservative ? 0.5 + kMargin : 0;
        const double left = lens.u_of(-1), right = lens.u_of(seen.width_);
        const internal::segment *next = segments.data(), *const last = next + segments.size();
        active_segment *active_end = active_.get();
        double above = lens.v_of(begin + offset - 1);
        for (int y = begin; y < end; ++y) {
            const double line = lens.v_of(y + offset);
            for (; next != last && next->top > line; ++next)
                if (next->bottom <= above && next->leftmost() <= right)
                    *active_end++ = activate(*next, lens, above, left);
            active_end = advance(lens, active_end, line, mode);
            line_.emit(y, seen.width_, reach, each);
            above = line;
        }
    }

    static active_segment activate(const internal::segment &part, const internal::axes &lens, double above,
                                   double left) noexcept {
        if (part.rightmost() < left)
            return {&part, kBeside, true};
        return {&part, lens.x_of(part.top > above ? part.u(above) : part.u_top), false};
    }

    // Follows the active segments down to the next scanline: collects its crossings, in the conservative mode what the
    // segments touch, and drops the segments that end.
    active_segment *advance(const internal::axes &lens, active_segment *end, double line, coverage mode) noexcept {
        line_.clear();
        active_segment *kept = active_.get();
        for (active_segment *at = active_.get(); at != end; ++at) {
            const internal::segment &part = *at->part;
            const bool is_crossed = part.bottom <= line;
            double x = kBeside;
            if (!at->is_beside && (is_crossed || mode == coverage::conservative))
                x = lens.x_of(is_crossed ? part.u(line) : part.u_bottom);
            if (!at->is_beside && mode == coverage::conservative)
                line_.touch(std::min(at->x, x), std::max(at->x, x));
            if (is_crossed) {
                line_.cross(x, part.step);
                *kept++ = {&part, x, at->is_beside};
            }
        }
        return kept;
    }

    // A position left of every screen; an upper bound of the error of a position, in pixels.
    static constexpr double kBeside = -9, kMargin = 1e-3;
    // Pixels from an arc to its chords, where pixels that are touched are covered and where centres decide.
    static constexpr double kTolerance = 0.25, kCentreTolerance = 1.0 / 256;
    // Pixels that the outline of what is within a margin may have too much.
    static constexpr double kExcess = 0.1;
    static constexpr std::size_t kMinChords = 384;

    internal::polygon shape_;
    internal::array<active_segment> active_;
    internal::scanline line_;
    internal::chords chords_;
    internal::array<internal::exit> exits_;
};

} // namespace vela::overlay

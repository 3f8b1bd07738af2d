/**
 * @file
 * Masks: polygons of directions, filled by scanlines on any view. Part of <vela/overlay.hpp>.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vela/overlay/polygon.hpp>
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
     * Prepares a polygon. Takes time proportional to the square of the number of corners.
     *
     * @param corners  three directions or more; those that repeat the one before are left out
     * @return the mask; empty for fewer corners (or all the same) and more than 2^20, for numbers that are not finite,
     *         for neighbours that are antipodal to within a ten-thousandth of a degree, between which no arc is the
     *         shorter one, and when memory runs out
     */
    [[nodiscard]] static std::optional<mask> make(std::span<const direction> corners) noexcept {
        std::optional<internal::polygon> shape = internal::polygon::make(corners);
        if (!shape)
            return std::nullopt;
        mask made(std::move(*shape));
        return made.active_ && made.crossings_ && made.intervals_ ? std::optional(std::move(made)) : std::nullopt;
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
        const int begin = std::max(0, static_cast<int>(row(seen.y_of(segments[0].top))) + 1);
        const int end = std::min(seen.height_, static_cast<int>(row(seen.y_of(lowest) + 2 * offset)) + 1);

        const double left = seen.u_of(-1), right = seen.u_of(seen.width_);
        const internal::segment *next = segments.data(), *const last = next + segments.size();
        active_segment *active_end = active_.get();
        double above = seen.v_of(begin + offset - 1);
        for (int y = begin; y < end; ++y) {
            const double line = seen.v_of(y + offset);
            for (; next != last && next->top > line; ++next)
                if (next->bottom <= above && next->leftmost() <= right)
                    *active_end++ = activate(*next, seen, above, left);
            active_end = advance(seen, active_end, line, mode);
            emit(seen, y, each, mode);
            above = line;
        }
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

    // Where the scanline crosses a segment.
    struct crossing {
        double x;
        int step;
    };

    // A covered part of a row.
    struct interval {
        double begin, end;
    };

    explicit mask(internal::polygon shape) noexcept
        : shape_(std::move(shape)), active_(internal::allocate<active_segment>(shape_.max_segments())),
          crossings_(internal::allocate<crossing>(shape_.max_segments())),
          intervals_(internal::allocate<interval>(2 * shape_.max_segments())) {}

    static active_segment activate(const internal::segment &part, const view &seen, double above,
                                   double left) noexcept {
        if (part.rightmost() < left)
            return {&part, kBeside, true};
        return {&part, seen.x_of(part.top > above ? part.u(above) : part.u_top), false};
    }

    // Follows the active segments down to the next scanline: collects its crossings, in the conservative mode what the
    // segments touch on the way, and drops the segments that end.
    active_segment *advance(const view &seen, active_segment *end, double line, coverage mode) noexcept {
        crossing_count_ = interval_count_ = 0;
        active_segment *kept = active_.get();
        for (active_segment *at = active_.get(); at != end; ++at) {
            const internal::segment &part = *at->part;
            const bool is_crossed = part.bottom <= line;
            double x = kBeside;
            if (!at->is_beside && (is_crossed || mode == coverage::conservative))
                x = seen.x_of(is_crossed ? part.u(line) : part.u_bottom);
            if (!at->is_beside && mode == coverage::conservative)
                insert(intervals_.get(), interval_count_, {std::min(at->x, x), std::max(at->x, x)}, &interval::begin);
            if (is_crossed) {
                insert(crossings_.get(), crossing_count_, {x, part.step}, &crossing::x);
                *kept++ = {&part, x, at->is_beside};
            }
        }
        return kept;
    }

    // Insertion sort: a scanline has few items, and they come nearly sorted.
    template <class Item>
    static void insert(Item *items, std::size_t &count, Item item, double Item::*key) noexcept {
        std::size_t at = count++;
        for (; at > 0 && items[at - 1].*key > item.*key; --at)
            items[at] = items[at - 1];
        items[at] = item;
    }

    // Unites the intervals inside on the scanline with those that are touched, and hands out their pixels.
    template <class Each>
    void emit(const view &seen, int y, Each &each, coverage mode) {
        int winding = 0;
        double from = 0;
        for (std::size_t i = 0; i < crossing_count_; ++i) {
            const crossing &at = crossings_[i];
            if (winding == 0)
                from = at.x;
            winding += at.step;
            if (winding == 0)
                insert(intervals_.get(), interval_count_, {from, at.x}, &interval::begin);
        }
        if (winding != 0)
            insert(intervals_.get(), interval_count_, {from, seen.width_ + 1.0}, &interval::begin);
        const double reach = mode == coverage::conservative ? 0.5 + kMargin : 0;
        const auto pixel = [&seen](double x) {
            return static_cast<int>(std::ceil(std::clamp(x, 0.0, static_cast<double>(seen.width_))));
        };
        int begin = 0, end = 0;
        for (std::size_t i = 0; i < interval_count_; ++i) {
            const int next_begin = pixel(intervals_[i].begin - reach), next_end = pixel(intervals_[i].end + reach);
            if (next_begin > end) {
                if (end > begin)
                    each(y, begin, end);
                begin = next_begin;
            }
            end = std::max(end, next_end);
        }
        if (end > begin)
            each(y, begin, end);
    }

    // A position left of every screen; an upper bound of the error of a position, in pixels.
    static constexpr double kBeside = -9, kMargin = 1e-3;

    internal::polygon shape_;
    internal::array<active_segment> active_;
    internal::array<crossing> crossings_;
    internal::array<interval> intervals_;
    std::size_t crossing_count_ = 0, interval_count_ = 0;
};

} // namespace vela::overlay

/**
 * @file
 * Paths of directions as lines on the screen, and polygons on the screen as directions: great-circle arcs and straight
 * lines, each flattened to the other. Part of <vela/overlay.hpp>.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <type_traits>
#include <vela/overlay/flatten.hpp>
#include <vela/overlay/polygon.hpp>
#include <vela/overlay/view.hpp>

namespace vela::overlay {

namespace internal {

// How far, in pixels, the sampled points of a curve may be from its chord: half a pixel, less a margin for the points
// in between.
constexpr double kFlatness = 0.3;

inline double distance_to_line(position p, position a, position b) noexcept {
    const double x = b.x - a.x, y = b.y - a.y, size = std::hypot(x, y);
    const double away_x = p.x - a.x, away_y = p.y - a.y;
    return size > 0 ? std::fabs(x * away_y - y * away_x) / size : std::hypot(away_x, away_y);
}

// Whether the curve at(0) to at(1) stays close to the chord from a to b.
template <class At>
bool is_flat(position a, position b, At &&at) noexcept {
    for (int eighth = 1; eighth < 8; ++eighth)
        if (!(distance_to_line(at(eighth / 8.0), a, b) <= kFlatness))
            return false;
    return true;
}

// Divides 0 to 1 into steps, as large as is_flat_between(begin, end) allows; to(end) follows each.
template <class Flat, class To>
void subdivide(Flat &&is_flat_between, To &&to) {
    constexpr double kMinStep = 1.0 / 65536;
    for (double from = 0, step = 1; from < 1;) {
        step = std::min(2 * step, 1 - from);
        while (step > kMinStep && !is_flat_between(from, from + step))
            step /= 2;
        from = 1 - from - step < kMinStep ? 1 : from + step;
        to(from);
    }
}

// Clips a line to a rectangle, as Liang and Barsky do; false when nothing of it is inside.
inline bool clip_line(position &a, position &b, double left, double top, double right, double bottom) noexcept {
    double from = 0, to = 1;
    const double x = b.x - a.x, y = b.y - a.y;
    const double rates[] = {-x, x, -y, y}, distances[] = {a.x - left, right - a.x, a.y - top, bottom - a.y};
    for (int i = 0; i < 4; ++i) {
        if (rates[i] == 0 && distances[i] < 0)
            return false;
        if (rates[i] < 0)
            from = std::max(from, distances[i] / rates[i]);
        if (rates[i] > 0)
            to = std::min(to, distances[i] / rates[i]);
    }
    if (from > to)
        return false;
    b = {a.x + to * x, a.y + to * y};
    a = {a.x + from * x, a.y + from * y};
    return true;
}

// Calls line(from, to) for chords of the part of an arc that is in front.
template <class Line>
void flatten_by_points(const axes &lens, vec a, vec b, Line &&line) {
    if (a.x < 0 && b.x < 0)
        return;
    if (a.x < 0 || b.x < 0) {
        const vec meeting = std::fabs(b.x) * a + std::fabs(a.x) * b;
        (a.x < 0 ? a : b) = unit({0, meeting.y, meeting.z});
    }
    const arc curve(a, b);
    double since = 0;
    const auto projected = [&](double t) { return lens.project(curve(t)); };
    subdivide(
        [&](double from, double to) {
            return is_flat(projected(from), projected(to), [&](double t) { return projected(from + t * (to - from)); });
        },
        [&](double t) {
            const position from = projected(since), to = projected(t);
            since = t;
            line(from, to);
        });
}

} // namespace internal

/**
 * Projects a path: straight lines that are nowhere half a pixel from the great-circle arcs between its directions,
 * clipped at the rim and at the border of the screen.
 *
 * @param seen  the view
 * @param path  directions, any number
 * @param line  called as line(from, to) with two positions, along the path; where nothing is clipped, `from` is the
 * `to` of the call before
 * @return true; false, with nothing drawn, when a number is not finite or two neighbours are antipodal
 */
template <class Line>
[[nodiscard]] bool project_path(const view &seen, std::span<const direction> path, Line &&line) {
    const auto at = [&](std::size_t i) { return internal::vector_of(path[i]); };
    for (std::size_t i = 0; i < path.size(); ++i)
        if (!internal::is_finite(path[i]) || (i > 0 && internal::length(at(i - 1) + at(i)) < internal::kAntipodal))
            return false;
    const auto on_screen = [&](position from, position to) {
        if (internal::clip_line(from, to, -0.5, -0.5, seen.width_ - 0.5, seen.height_ - 0.5))
            line(from, to);
    };
    const internal::window screen = {-2, -2, seen.width_ + 1.0, seen.height_ + 1.0};
    seen.by_lens([&]<class Lens>(const Lens &lens) {
        for (std::size_t i = 1; i < path.size(); ++i) {
            const internal::vec a = seen.frame_.to_local(at(i - 1)), b = seen.frame_.to_local(at(i));
            if constexpr (std::is_same_v<Lens, internal::axes>)
                internal::flatten_by_points(lens, a, b, on_screen);
            else
                internal::cut_to_seen(lens, a, b, [&](internal::vec from, internal::vec to, bool, bool) {
                    internal::flattener(lens, screen, internal::kFlatness).arc(from, to, on_screen);
                });
        }
    });
    return true;
}

/**
 * Unprojects a polygon that was drawn on the screen, with as many corners as its straight edges need: the arcs between
 * the directions are nowhere half a pixel from the edges. What mask::make() makes of them is the polygon, as long as
 * that is less than half of the sphere.
 *
 * @param seen     the view
 * @param corners  positions within the rim; the last one is connected to the first
 * @param corner   called as corner(direction), in the polygon's order
 * @return true; false, without a call, when a position shows no direction
 */
template <class Corner>
[[nodiscard]] bool unproject_polygon(const view &seen, std::span<const position> corners, Corner &&corner) {
    for (const position p : corners)
        if (!seen.unproject(p))
            return false;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const position a = corners[i], b = corners[i + 1 < corners.size() ? i + 1 : 0];
        const auto shown = [&](double t) {
            const position p = {a.x + t * (b.x - a.x), a.y + t * (b.y - a.y)};
            return seen.unproject(p).value_or(direction{});
        };
        const auto vector = [&](double t) { return seen.frame_.to_local(internal::vector_of(shown(t))); };
        // An arc whose ends are on the side is as near to it as to its own chord.
        const auto is_near = [&]<class Lens>(const Lens &lens, internal::vec from, internal::vec to) {
            if constexpr (std::is_same_v<Lens, internal::axes>)
                return internal::is_flat(
                    a, b, [&, curve = internal::arc(from, to)](double t) { return lens.project(curve(t)); });
            else
                return lens.bend(lens.flat(from), lens.flat(to)) <= internal::kFlatness;
        };
        corner(shown(0));
        internal::subdivide(
            [&](double from, double to) {
                return seen.by_lens([&](const auto &lens) { return is_near(lens, vector(from), vector(to)); });
            },
            [&](double t) {
                if (t < 1)
                    corner(shown(t));
            });
    }
    return true;
}

} // namespace vela::overlay

/**
 * @file
 * What the lenses of a view have in common for whoever draws by them. Part of <vela/overlay.hpp>; nothing here is
 * public.
 *
 * A lens maps directions, as vectors in the view's frame, to positions:
 *
 *     sees(p), project(p)    whether a direction has a position, and where
 *     unproject(at)          the direction of a position, of any length
 *     flat(p)                p at the length that project() takes, at which straight lines between two vectors are
 *                            divided evenly
 *     cosine()               the cone around the optical axis that holds all that may be on the screen
 *     safe_angle(), limit_angle()   from the axis: what is nearer is seen, what is farther isn't on the screen
 *     rim(angle)             the boundary of what is seen within the cone, by the angle around the axis: a direction
 *     kFoldEdges             if not 0, the lens may fold within the cone: what is beyond the fold isn't seen. folds(),
 *                            is_beyond_fold(p), side_of_fold(p, reach); cross_fold(a, b, crossing) and
 *                            rim_parts(from, to, part), whose boundary there is made of twice as many arcs
 *     bend(a, b)             how far the arc from a to b may be from its chord on the screen; divided evenly into n
 *                            parts, each is n^2 times as close
 *     rim_bend(a, b)         the same for a part of the rim
 *     bounds_near(p, reach)  upper bounds within an angle of a direction, see below
 *     shows_all_until(lens)  whether all of the screen is seen during the linear change to another lens
 *     at(lens, part)         the lens at a part of that change; widest(lens): as large as any of them
 *     drift_to(lens, p, reach)  how fast positions change in it
 *     scale_to(lens)         how many times as large as by this lens all is by another; 0 if more than that changes
 *     inward_near(p, reach)  what that does to the direction that a position shows, see below
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>
#include <vela/overlay/geometry.hpp>

namespace vela::overlay::internal {

constexpr double kPi = std::numbers::pi, kUnbounded = std::numeric_limits<double>::infinity();

// Upper bounds, along a great circle at a speed of 1 radian: of a position's speed and acceleration, and of the
// acceleration that isn't along the drawn curve, in pixels.
struct bounds {
    double speed, acceleration, bending;
};

// Upper bounds of what a changing lens does to the position of a direction that stays: its speed, how much that differs
// for each radian between directions, and its acceleration.
struct drift {
    double speed, shear, acceleration;
};

// Bounds of how a direction moves while the focal length grows, at a rate of 1, whose position stays: towards the
// optical axis, at between two speeds times the sine of the angle between them, and otherwise at a speed in radians.
struct inward {
    double least, most, beside;
};

inline double angle_between(vec a, vec b) noexcept { return std::atan2(length(cross(a, b)), dot(a, b)); }

// Twice the tangent of half the angle between two vectors of equal length: an upper bound of that angle, and, divided
// by n, of each of the angles that n equal parts of the line between them span.
inline double arc_angle(vec a, vec b) noexcept { return 2 * length(b - a) / length(a + b); }

inline double mixed(double a, double b, double part) noexcept { return a + part * (b - a); }

// The position that a screen's corner farthest from a given one has, seen from there, by a scale of each axis.
inline double farthest(int width, int height, double cx, double cy, double fx, double fy) noexcept {
    const double x = std::max(cx + 2, width + 1 - cx) / fx, y = std::max(cy + 2, height + 1 - cy) / fy;
    return std::hypot(x, y);
}

// Whether a lens that sees out to a distance from its axis, or a bit farther on one side, shows at least a pixel.
template <class Model>
bool is_something_seen(const Model &lens, int width, int height, double out, double farther) noexcept {
    const auto beside = [](double centre, int size) { return std::max({0.0, -0.5 - centre, centre + 0.5 - size}); };
    const double nearest = std::hypot(beside(lens.cx, width) / lens.fx, beside(lens.cy, height) / lens.fy);
    return out * std::min(lens.fx, lens.fy) >= 0.5 && nearest < out + 3 * farther;
}

// The direction at an angle from the axis, and at an angle around it that grows from the right downward.
inline vec on_cone(double angle, double around) noexcept {
    return {std::cos(angle), std::sin(angle) * std::cos(around), -std::sin(angle) * std::sin(around)};
}

// bend() of a lens whose arcs are divided by their angle.
template <class Lens>
double bend_by_bounds(const Lens &lens, vec a, vec b) noexcept {
    const double angle = arc_angle(a, b);
    const bounds near = lens.bounds_near(a + b, angle / 2);
    const double half = near.speed * angle / 2; // no point is farther from the chord than half the length
    return half < 1e-3 ? half : near.bending * angle * angle / 8;
}

} // namespace vela::overlay::internal

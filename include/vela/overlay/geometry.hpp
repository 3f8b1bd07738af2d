/**
 * @file
 * Directions, positions on the screen, and their vectors. Part of <vela/overlay.hpp>.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vela/spheremap.h>

namespace vela::overlay {

/** A direction of the camera's sphere, in degrees. */
struct direction {
    double pan;  /**< around the vertical axis, any number of turns */
    double tilt; /**< above the horizon; beyond a pole it comes down on the other side */
};

/** Where a camera points, in degrees. */
struct orientation {
    double pan;      /**< around the vertical axis, any number of turns */
    double tilt;     /**< above the horizon, -90 to 90 */
    double roll = 0; /**< around the optical axis; at 90 the picture's upper edge shows what has a greater pan */
};

/** The direction of a point in Q10 degrees. */
[[nodiscard]] constexpr direction direction_of(const smap_sphere_pt &point) noexcept {
    return {point.pan / 1024.0, point.tilt / 1024.0};
}

/** A position on the screen, in pixels; the centre of the upper left pixel is (0, 0). */
struct position {
    double x; /**< to the right */
    double y; /**< downward */
};

namespace internal {

constexpr double kDegree = std::numbers::pi / 180;

// A vector in the axes of a frame (x forward, y right, z up), or in those of the sphere.
struct vec {
    double x, y, z;

    friend vec operator+(vec a, vec b) noexcept { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
    friend vec operator-(vec a, vec b) noexcept { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
    friend vec operator*(double s, vec a) noexcept { return {s * a.x, s * a.y, s * a.z}; }
};

inline double dot(vec a, vec b) noexcept { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline double length(vec a) noexcept { return std::sqrt(dot(a, a)); }
inline vec unit(vec a) noexcept { return 1 / length(a) * a; }
inline vec cross(vec a, vec b) noexcept {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

// std::remainder(angle, 360), which takes as long as a sine: avoided where one exact subtraction gives the same.
inline double within_half_turn(double angle) noexcept {
    if (std::abs(angle) <= 180)
        return angle;
    return 180 < angle && angle <= 360 ? angle - 360 : std::remainder(angle, 360);
}

inline vec vector_of(direction d) noexcept {
    const double pan = within_half_turn(d.pan) * kDegree, tilt = within_half_turn(d.tilt) * kDegree;
    return {std::cos(tilt) * std::cos(pan), std::cos(tilt) * std::sin(pan), std::sin(tilt)};
}

inline direction direction_of(vec p) noexcept {
    const double pan = std::atan2(p.y, p.x) / kDegree;
    return {pan < 0 ? pan + 360 : pan, std::atan2(p.z, std::hypot(p.x, p.y)) / kDegree};
}

inline bool is_finite(direction d) noexcept { return std::isfinite(d.pan) && std::isfinite(d.tilt); }

inline double arcsine(double sine) noexcept { return std::asin(std::clamp(sine, -1.0, 1.0)); }

// An orthonormal frame: the axes of a view.
struct frame {
    vec forward, right, up;

    static frame of(direction d) noexcept {
        d = {within_half_turn(d.pan), within_half_turn(d.tilt)}; // else 90 degrees more are lost in a large tilt
        const vec forward = vector_of(d), up = vector_of({d.pan, d.tilt + 90});
        return {forward, cross(up, forward), up};
    }
    static frame of(const orientation &where) noexcept {
        const frame level = of(direction{where.pan, where.tilt});
        if (where.roll == 0)
            return level;
        const double roll = within_half_turn(where.roll) * kDegree, cosine = std::cos(roll), sine = std::sin(roll);
        return {level.forward, cosine * level.right - sine * level.up, cosine * level.up + sine * level.right};
    }
    frame reversed() const noexcept { return {-1 * forward, -1 * right, up}; }
    vec to_local(vec p) const noexcept { return {dot(forward, p), dot(right, p), dot(up, p)}; }
    vec to_sphere(vec p) const noexcept { return p.x * forward + p.y * right + p.z * up; }
};

} // namespace internal

} // namespace vela::overlay

/**
 * @file
 * The view of a camera: projection of directions to positions on the screen, and back. Part of <vela/overlay.hpp>.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <span>
#include <vela/spheremap.h>

namespace vela::overlay {

/** A direction of the camera's sphere, in degrees. */
struct direction {
    double pan;  /**< around the vertical axis, any number of turns */
    double tilt; /**< above the horizon; beyond a pole it comes down on the other side */
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
        const vec forward = vector_of(d), up = vector_of({d.pan, d.tilt + 90});
        return {forward, cross(up, forward), up};
    }
    frame reversed() const noexcept { return {-1 * forward, -1 * right, up}; }
    vec to_local(vec p) const noexcept { return {dot(forward, p), dot(right, p), dot(up, p)}; }
    vec to_sphere(vec p) const noexcept { return p.x * forward + p.y * right + p.z * up; }
};

} // namespace internal

/** What the camera shows on a screen of a given size. */
class view {
public:
    /**
     * A view.
     *
     * @param width   pixels, 1 to 65535
     * @param height  pixels, 1 to 65535
     * @param centre  the direction that the pixel (width / 2, height / 2) shows
     * @param fov     degrees spanned by the width, above 0 and up to 180; pixels are square
     * @return the view; empty when an argument is out of range
     */
    [[nodiscard]] static std::optional<view> make(int width, int height, direction centre, double fov) noexcept {
        const auto is_size = [](int pixels) { return 0 < pixels && pixels < 65536; };
        if (!is_size(width) || !is_size(height) || !internal::is_finite(centre) || !(fov > 0 && fov <= 180))
            return std::nullopt;
        return view(width, height, centre, fov);
    }

    /** The same, from the record that the C functions take. */
    [[nodiscard]] static std::optional<view> make(const smap_view &record) noexcept {
        return make(record.width, record.height, {record.pan / 1024.0, record.tilt / 1024.0}, record.fov / 1024.0);
    }

    [[nodiscard]] int width() const noexcept { return width_; }   /**< pixels */
    [[nodiscard]] int height() const noexcept { return height_; } /**< pixels */

    /**
     * Projects a direction.
     *
     * @param d  the direction
     * @return its position, on the screen or beside it; empty when it is behind the camera or not finite
     */
    [[nodiscard]] std::optional<position> project(direction d) const noexcept {
        const internal::vec p = frame_.to_local(internal::vector_of(d));
        return p.x >= 0 ? std::optional(position_of(p)) : std::nullopt;
    }

    /**
     * Unprojects a position.
     *
     * @param p  the position, on the screen or beside it
     * @return the direction that it shows, pan from 0 to 360; empty beyond the rim
     */
    [[nodiscard]] std::optional<direction> unproject(position p) const noexcept {
        const double across = (p.x - middle_x_) / scale_, above = (middle_y_ - p.y) / scale_;
        if (!(std::fabs(across) + std::fabs(above) <= std::numbers::pi / 2))
            return std::nullopt;
        const double u = std::sin(across), v = std::sin(above);
        // 1 - u u - v v as a product, which stays exact near the rim.
        const double depth = std::sqrt(std::max(0.0, std::cos(across + above) * std::cos(across - above)));
        return internal::direction_of(frame_.to_sphere({depth, u, v}));
    }

private:
    friend class mask;
    template <class Line>
    friend bool project_path(const view &, std::span<const direction>, Line &&);
    template <class Corner>
    friend bool unproject_polygon(const view &, std::span<const position>, Corner &&);

    view(int width, int height, direction centre, double fov) noexcept
        : width_(width), height_(height), middle_x_(std::floor(width / 2.0)), middle_y_(std::floor(height / 2.0)),
          scale_(width / (fov * internal::kDegree)), frame_(internal::frame::of(centre)) {}

    double x_of(double u) const noexcept { return middle_x_ + scale_ * internal::arcsine(u); }
    double y_of(double v) const noexcept { return middle_y_ - scale_ * internal::arcsine(v); }
    position position_of(internal::vec p) const noexcept { return {x_of(p.y), y_of(p.z)}; }

    // The sine of a distance from the centre in pixels; at most that of 90 degrees.
    double sine_of(double pixels) const noexcept {
        return std::sin(std::clamp(pixels / scale_, -std::numbers::pi / 2, std::numbers::pi / 2));
    }
    double u_of(double x) const noexcept { return sine_of(x - middle_x_); }
    double v_of(double y) const noexcept { return sine_of(middle_y_ - y); }

    int width_, height_;
    double middle_x_, middle_y_, scale_; // of the centre, in pixels; pixels of a radian
    internal::frame frame_;
};

} // namespace vela::overlay

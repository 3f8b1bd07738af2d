/**
 * @file
 * The lens of <vela/spheremap.h>: each axis proportional to the angle of its sine, up to 90 degrees from the centre.
 * Part of <vela/overlay.hpp>; nothing here is public.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <vela/overlay/optics.hpp>

namespace vela::overlay::internal {

class axes {
public:
    axes(int width, int height, double fov) noexcept
        : middle_x_(std::floor(width / 2.0)), middle_y_(std::floor(height / 2.0)), scale_(width / (fov * kDegree)) {
        const double reach = farthest(width, height, middle_x_, middle_y_, scale_, scale_);
        angle_ = reach < kPi / 4 ? 2 * reach : kPi / 2;
        cosine_ = reach < kPi / 4 ? std::cos(angle_) : 0;
    }

    double x_of(double u) const noexcept { return middle_x_ + scale_ * arcsine(u); }
    double y_of(double v) const noexcept { return middle_y_ - scale_ * arcsine(v); }
    // The sine of a distance from the centre in pixels; at most that of 90 degrees.
    double sine_of(double pixels) const noexcept { return std::sin(std::clamp(pixels / scale_, -kPi / 2, kPi / 2)); }
    double u_of(double x) const noexcept { return sine_of(x - middle_x_); }
    double v_of(double y) const noexcept { return sine_of(middle_y_ - y); }

    bool sees(vec p) const noexcept { return p.x >= 0; }
    position project(vec unit_length) const noexcept { return {x_of(unit_length.y), y_of(unit_length.z)}; }
    std::optional<vec> unproject(position p) const noexcept {
        const double across = (p.x - middle_x_) / scale_, above = (middle_y_ - p.y) / scale_;
        if (!(std::fabs(across) + std::fabs(above) <= kPi / 2))
            return std::nullopt;
        const double u = std::sin(across), v = std::sin(above);
        // 1 - u u - v v as a product, which stays exact near the rim.
        const double depth = std::sqrt(std::max(0.0, std::cos(across + above) * std::cos(across - above)));
        return vec{depth, u, v};
    }

    static vec flat(vec p) noexcept { return unit(p); }
    double cosine() const noexcept { return cosine_; }
    static constexpr std::size_t kFoldEdges = 0;
    double safe_angle() const noexcept { return kPi / 2; }
    double limit_angle() const noexcept { return angle_; }
    vec rim(double around) const noexcept { return on_cone(angle_, around); }

    // An axis' angle moves at most as fast as the direction, and changes its speed at most by its own tangent.
    bounds bounds_near(vec p, double reach) const noexcept {
        const vec q = unit(p);
        const auto rate = [reach](double sine) {
            const double angle = std::fabs(arcsine(sine)) + reach;
            return angle < kPi / 2 ? std::tan(angle) : kUnbounded;
        };
        const double acceleration = scale_ * std::hypot(rate(q.y), rate(q.z));
        return {scale_ * std::numbers::sqrt2, acceleration, acceleration};
    }
    double bend(vec a, vec b) const noexcept { return bend_by_bounds(*this, a, b); }
    // The rim at 90 degrees is a diamond.
    double rim_bend(double from, double to) const noexcept {
        const double length = std::fabs(to - from), sine = std::sin(angle_), tangent = sine / cosine_;
        if (cosine_ > 0)
            return scale_ * 2 * (tangent * sine * sine + sine * cosine_) * length * length / 8;
        const double first = std::floor(std::min(from, to) / (kPi / 2) + 1e-9),
                     last = std::ceil(std::max(from, to) / (kPi / 2) - 1e-9);
        return last - first > 1 ? (length * scale_ < 1e-3 ? 1e-3 : kUnbounded) : 0;
    }

    bool operator==(const axes &) const noexcept = default;
    bool shows_all_until(const axes &to) const noexcept { return cosine_ > 0 && to.cosine_ > 0; }
    // The field of view changes linearly.
    axes at(const axes &to, double part) const noexcept {
        axes made = *this;
        made.scale_ = 1 / mixed(1 / scale_, 1 / to.scale_, part);
        return made;
    }
    axes widest(const axes &to) const noexcept {
        axes made = *this;
        made.scale_ = std::max(scale_, to.scale_);
        made.angle_ = std::max(angle_, to.angle_);
        made.cosine_ = std::min(cosine_, to.cosine_);
        return made;
    }
    drift drift_to(const axes &to, vec p, double reach) const noexcept {
        const double largest = std::max(scale_, to.scale_), change = std::fabs(1 / to.scale_ - 1 / scale_) * largest;
        const vec q = unit(p);
        const double away = std::hypot(std::fabs(arcsine(q.y)) + reach, std::fabs(arcsine(q.z)) + reach);
        return {largest * change * away, largest * change * std::numbers::sqrt2, 2 * largest * change * change * away};
    }
    // Sweeps tell the sides of its arcs on the screen.
    static double scale_to(const axes &) noexcept { return 0; }
    static inward inward_near(vec, double) noexcept { return {0, kUnbounded, kUnbounded}; }

private:
    double middle_x_, middle_y_, scale_; // of the centre, in pixels; pixels of a radian
    double angle_, cosine_;              // of the cone
};

} // namespace vela::overlay::internal

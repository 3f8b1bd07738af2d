/**
 * @file
 * The fisheye model: the distance from the optical axis depends on the angle alone. Part of <vela/overlay.hpp>; nothing
 * here is public.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <optional>
#include <vela/overlay/lens.hpp>
#include <vela/overlay/optics.hpp>
#include <vela/overlay/series.hpp>

namespace vela::overlay::internal {

class azimuthal {
public:
    // Empty for a lens that view::make() refuses.
    static std::optional<azimuthal> make(const fisheye &given, int width, int height) noexcept {
        azimuthal made(given);
        const double seen_out = made.radial_.value(made.limit_);
        if (!is_something_seen(given, width, height, seen_out, 0))
            return std::nullopt;
        const double beyond = 1.25 * farthest(width, height, given.cx, given.cy, given.fx, given.fy);
        // The rim of a lens that sees all would be a single direction: a hundredth of a pixel nearer.
        const double hair = std::clamp(0.01 / made.focal() / std::max(1.0, made.radial_.slope(kPi)), 1e-9, 1e-3);
        made.is_screen_within_ = seen_out > beyond;
        made.clip_ = made.is_screen_within_ ? made.radial_.inverse(beyond, made.limit_) : made.limit_;
        made.clip_ = std::min(made.clip_, kPi - hair);
        made.cosine_ = std::cos(made.clip_);
        return made;
    }

    bool sees(vec p) const noexcept { return angle_of(p) < limit_; }
    position project(vec p) const noexcept {
        const double across = std::hypot(p.y, p.z), angle = std::atan2(across, p.x);
        const double ratio = across > 0 ? radial_.value(angle) / across : 0;
        return {lens_.cx + lens_.fx * ratio * p.y, lens_.cy - lens_.fy * ratio * p.z};
    }
    std::optional<vec> unproject(position p) const noexcept {
        const double x = (p.x - lens_.cx) / lens_.fx, y = (p.y - lens_.cy) / lens_.fy, out = std::hypot(x, y);
        if (!(out < radial_.value(limit_)))
            return std::nullopt;
        const double angle = radial_.inverse(out, limit_), sine = out > 0 ? std::sin(angle) / out : 0;
        return vec{std::cos(angle), sine * x, -sine * y};
    }

    static vec flat(vec p) noexcept { return unit(p); }
    double cosine() const noexcept { return cosine_; }
    static constexpr std::size_t kFoldEdges = 0;
    double safe_angle() const noexcept { return limit_; }
    double limit_angle() const noexcept { return clip_; }
    vec rim(double around) const noexcept { return on_cone(clip_, around); }

    // With theta' and w the speeds along a meridian and across, which together make 1, a position accelerates by
    // g'' theta'^2 + (g' sin cos - g) / sin^2 w^2 along the radius and by 2 theta' w (g' - g cot) / sin across it. Each
    // term is bounded by what grows with theta.
    bounds bounds_near(vec p, double reach) const noexcept {
        const double angle = std::max(angle_of(p) + reach, 1e-3);
        if (!(angle < kPi))
            return {kUnbounded, kUnbounded, kUnbounded};
        const odd_series::size size = radial_.size_between(std::max(0.0, angle - 2 * reach), angle);
        const double q = angle / std::sin(angle), shape = 1 - q * std::cos(angle);
        const double radial = std::max(size.second, q * q * (std::min(2 * angle / 3, 1.22 / angle) + size.terms)),
                     tangential = q * (size.terms + shape * size.value / (angle * angle));
        const double acceleration = focal() * std::hypot(radial, tangential);
        return {focal() * std::max(size.first, size.value / angle * q), acceleration, acceleration};
    }
    double bend(vec a, vec b) const noexcept { return bend_by_bounds(*this, a, b); }
    double rim_bend(double from, double to) const noexcept {
        return focal() * radial_.value(clip_) * (to - from) * (to - from) / 8;
    }

    bool operator==(const azimuthal &) const noexcept = default;
    bool shows_all_until(const azimuthal &to) const noexcept {
        return is_screen_within_ && to.is_screen_within_ && radial_ == to.radial_;
    }
    azimuthal at(const azimuthal &to, double part) const noexcept {
        return combined(to, [part](double a, double b) { return mixed(a, b, part); });
    }
    azimuthal widest(const azimuthal &to) const noexcept {
        return combined(to, [](double a, double b) { return a == b ? a : std::max(std::fabs(a), std::fabs(b)); });
    }
    drift drift_to(const azimuthal &to, vec p, double reach) const noexcept {
        const azimuthal most = widest(to), change = combined(to, [](double a, double b) { return std::fabs(b - a); });
        const double angle = std::min(angle_of(p) + reach, kPi), df = change.focal(), f = most.focal();
        const odd_series::size size = most.radial_.size_up_to(angle), by = change.radial_.size_up_to(angle, 0);
        const double q = angle < kPi ? angle / std::max(std::sin(angle), 1e-9) : kUnbounded;
        return {std::hypot(change.lens_.cx, change.lens_.cy) + df * size.value + f * by.value,
                (df * size.first + f * by.first) * std::max(q, 1.0), 2 * df * by.value};
    }
    double scale_to(const azimuthal &to) const noexcept {
        const double across = to.lens_.fx / lens_.fx, down = to.lens_.fy / lens_.fy;
        const bool is_scaled = std::fabs(across - down) <= 1e-12 * across && lens_.cx == to.lens_.cx &&
                               lens_.cy == to.lens_.cy && radial_ == to.radial_;
        return is_scaled ? across : 0;
    }
    inward inward_near(vec p, double reach) const noexcept {
        const double low = std::max(1e-9, angle_of(p) - reach), high = std::max(2e-9, angle_of(p) + reach);
        const odd_series::range factor = radial_.factor_between(low, high), slope = radial_.slope_between(low, high);
        if (!(high < kPi && factor.low > 0 && slope.low > 0))
            return {0, kUnbounded, kUnbounded};
        return {factor.low / slope.high * low / std::sin(low), factor.high / slope.low * high / std::sin(high), 0};
    }

private:
    explicit azimuthal(const fisheye &given) noexcept
        : lens_(given), radial_{{given.k1, given.k2, given.k3, given.k4}}, limit_(radial_.turn(kPi)) {}

    // The distortion alone is meant: the cone is the first lens' own.
    template <class Operation>
    azimuthal combined(const azimuthal &to, Operation &&of) const noexcept {
        azimuthal made = *this;
        const fisheye &a = lens_, &b = to.lens_;
        made.lens_ = {of(a.fx, b.fx), of(a.fy, b.fy), of(a.cx, b.cx), of(a.cy, b.cy),
                      of(a.k1, b.k1), of(a.k2, b.k2), of(a.k3, b.k3), of(a.k4, b.k4)};
        made.radial_ = {{made.lens_.k1, made.lens_.k2, made.lens_.k3, made.lens_.k4}};
        return made;
    }

    static double angle_of(vec p) noexcept { return std::atan2(std::hypot(p.y, p.z), p.x); }
    double focal() const noexcept { return std::max(lens_.fx, lens_.fy); }

    fisheye lens_;
    odd_series radial_;
    double limit_;                  // the angle that is seen
    double clip_ = 0, cosine_ = 0;  // of the cone
    bool is_screen_within_ = false; // in what is seen
};

} // namespace vela::overlay::internal

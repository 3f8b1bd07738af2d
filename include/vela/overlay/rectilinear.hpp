/**
 * @file
 * The pinhole model with its distortion. Part of <vela/overlay.hpp>; nothing here is public.
 *
 * On the plane at depth 1 arcs are straight lines. There the distortion of q is q radial(|q|) + 2 (p q) q + |q|^2 p,
 * where p = (p2, p1).
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <optional>
#include <vela/overlay/lens.hpp>
#include <vela/overlay/optics.hpp>
#include <vela/overlay/series.hpp>

namespace vela::overlay::internal {

class rectilinear {
public:
    // Empty for a lens that view::make() refuses.
    static std::optional<rectilinear> make(const pinhole &given, int width, int height) noexcept {
        rectilinear made(given);
        const double farthest_out = farthest(width, height, given.cx, given.cy, given.fx, given.fy);
        const double seen_out = made.radial_.value(made.limit_);
        if (!is_something_seen(given, width, height, seen_out, made.tangential_ * made.limit_ * made.limit_))
            return std::nullopt;
        // A circle around which the screen can't reach, if all within is seen; otherwise the boundary is on the screen.
        const double beyond = 1.25 * farthest_out;
        double radius = made.limit_;
        if (seen_out > beyond)
            radius = made.radial_.inverse(beyond, made.limit_);
        if (made.tangential_ > 0)
            radius = made.radius_beyond(beyond, radius);
        made.safe_ = made.tangential_ > 0 ? made.first_fold(radius) : radius;
        made.folds_ = made.safe_ < radius;
        made.is_screen_within_ = seen_out > beyond && !made.folds_;
        made.clip_ = made.folds_ ? std::min(made.limit_, 8 * (farthest_out + 1 / made.tangential_)) : radius;
        made.clip_ = std::min(made.clip_, 1e9);
        made.cosine_ = 1 / std::sqrt(1 + made.clip_ * made.clip_);
        return made;
    }

    bool sees(vec p) const noexcept {
        if (!(p.x > 0))
            return false;
        const double x = p.y / p.x, y = -p.z / p.x, r = std::hypot(x, y);
        return r < limit_ && (r <= safe_ || tangential_ == 0 || r <= fold(x / r, y / r, r));
    }
    position project(vec p) const noexcept {
        const planar d = distorted({p.y / p.x, -p.z / p.x});
        return {lens_.cx + lens_.fx * d.x, lens_.cy + lens_.fy * d.y};
    }
    std::optional<vec> unproject(position p) const noexcept {
        const planar image = {(p.x - lens_.cx) / lens_.fx, (p.y - lens_.cy) / lens_.fy};
        const double out = std::hypot(image.x, image.y);
        if (!std::isfinite(out) || (tangential_ == 0 && !(out < radial_.value(limit_))))
            return std::nullopt;
        const double r = radial_.inverse(out, limit_), ratio = out > 0 ? r / out : 1;
        planar q = {ratio * image.x, ratio * image.y};
        if (tangential_ > 0 && !(solve(image, q) && sees(direction_of(q))) && !follow(image, q))
            return std::nullopt;
        return direction_of(q);
    }

    static vec flat(vec p) noexcept { return {1, p.y / p.x, p.z / p.x}; }
    double cosine() const noexcept { return cosine_; }
    bool folds() const noexcept { return folds_; }
    double safe_angle() const noexcept { return std::atan(std::min(safe_, clip_)); }
    double limit_angle() const noexcept { return std::atan(clip_); }
    vec rim(double around) const noexcept {
        const double x = std::cos(around), y = std::sin(around), r = folds_ ? fold(x, y, clip_) : clip_;
        return direction_of({r * x, r * y});
    }

    // The projection to the plane moves up to 1 + r^2 times as fast as the direction, and accelerates by up to
    // 2 r (1 + r^2) along its straight line.
    bounds bounds_near(vec p, double reach) const noexcept {
        const double r = radius_near(p, reach);
        if (!(r < kUnbounded))
            return {kUnbounded, kUnbounded, is_straight() ? 0 : kUnbounded};
        const auto [first, second] = rates_between(std::max(0.0, r - 2 * reach * (1 + r * r)), r);
        const double speed = 1 + r * r, bending = second * speed * speed;
        return {first * speed, bending + first * 2 * r * speed, bending};
    }
    double bend(vec a, vec b) const noexcept {
        if (is_straight())
            return 0;
        const double length = std::hypot(b.y - a.y, b.z - a.z);
        const double far = std::max(std::hypot(a.y, a.z), std::hypot(b.y, b.z));
        return rates_between(std::max(0.0, far - length), far).second * length * length / 8;
    }
    double rim_bend(double from, double to) const noexcept {
        const double angle = std::fabs(to - from);
        if (!folds_) {
            const auto [first, second] = rates_between(0, clip_);
            return (second * clip_ + first) * clip_ * angle * angle / 8;
        }
        // The fold has no bounds of use: by points in between.
        if (angle > 0.05)
            return kUnbounded;
        const position a = project(rim(from)), b = project(rim(to));
        double away = 0;
        for (const double part : {0.25, 0.5, 0.75}) {
            const position at = project(rim(mixed(from, to, part)));
            away = std::max(away, std::hypot(at.x - mixed(a.x, b.x, part), at.y - mixed(a.y, b.y, part)));
        }
        return angle < 1e-7 ? 0 : 1.5 * away;
    }

    bool operator==(const rectilinear &) const noexcept = default;
    bool shows_all_until(const rectilinear &to) const noexcept {
        return is_screen_within_ && to.is_screen_within_ && radial_ == to.radial_ && lens_.p1 == to.lens_.p1 &&
               lens_.p2 == to.lens_.p2;
    }
    rectilinear at(const rectilinear &to, double part) const noexcept {
        return combined(to, [part](double a, double b) { return mixed(a, b, part); });
    }
    rectilinear widest(const rectilinear &to) const noexcept {
        return combined(to, [](double a, double b) { return a == b ? a : std::max(std::fabs(a), std::fabs(b)); });
    }
    drift drift_to(const rectilinear &to, vec p, double reach) const noexcept {
        const rectilinear most = widest(to), change = combined(to, [](double a, double b) { return std::fabs(b - a); });
        const double r = radius_near(p, reach), f = most.focal(), df = change.focal();
        if (!(r < kUnbounded))
            return {kUnbounded, kUnbounded, kUnbounded};
        const odd_series::size size = most.radial_.size_up_to(r), by = change.radial_.size_up_to(r, 0);
        const double value = by.value + 3 * change.tangential_ * r * r;
        return {
            std::hypot(change.lens_.cx, change.lens_.cy) + df * (size.value + 3 * most.tangential_ * r * r) + f * value,
            (df * (size.first + 6 * most.tangential_ * r) + f * (by.first + 6 * change.tangential_ * r)) * (1 + r * r),
            2 * df * value};
    }

private:
    struct planar {
        double x, y;
    };

    explicit rectilinear(const pinhole &given) noexcept
        : lens_(given), radial_{{given.k1, given.k2, given.k3, 0}}, tangential_(std::hypot(given.p1, given.p2)),
          limit_(radial_.turn(kFarthest)) {}

    // The distortion alone is meant: the cone is the first lens' own.
    template <class Operation>
    rectilinear combined(const rectilinear &to, Operation &&of) const noexcept {
        rectilinear made = *this;
        const pinhole &a = lens_, &b = to.lens_;
        made.lens_ = {of(a.fx, b.fx), of(a.fy, b.fy), of(a.cx, b.cx), of(a.cy, b.cy), of(a.k1, b.k1),
                      of(a.k2, b.k2), of(a.p1, b.p1), of(a.p2, b.p2), of(a.k3, b.k3)};
        made.radial_ = {{made.lens_.k1, made.lens_.k2, made.lens_.k3, 0}};
        made.tangential_ = std::hypot(made.lens_.p1, made.lens_.p2);
        return made;
    }

    static vec direction_of(planar q) noexcept { return {1, q.x, -q.y}; }
    bool is_straight() const noexcept { return tangential_ == 0 && radial_.is_linear(); }
    double focal() const noexcept { return std::max(lens_.fx, lens_.fy); }

    planar distorted(planar q) const noexcept {
        const double square = q.x * q.x + q.y * q.y, along = 2 * (lens_.p2 * q.x + lens_.p1 * q.y);
        const double factor = 1 + square * (lens_.k1 + square * (lens_.k2 + square * lens_.k3)) + along;
        return {factor * q.x + square * lens_.p2, factor * q.y + square * lens_.p1};
    }

    // Upper bounds, between two radii, of the distortion's first and second derivative in pixels. The second has a
    // component along the radius and one across, which (A c^2 + E s^2)^2 + 4 E^2 c^2 s^2 <= A^2 + (1.25 E)^2 bounds.
    struct rates {
        double first, second;
    };
    rates rates_between(double low, double high) const noexcept {
        const odd_series::size size = radial_.size_between(low, high);
        return {focal() * (size.first + 6 * tangential_ * high),
                focal() * (std::hypot(size.second, 1.25 * size.shear) + 6 * tangential_)};
    }

    // The largest radius within an angle of a direction.
    static double radius_near(vec p, double reach) noexcept {
        const double r = std::hypot(p.y, p.z) / p.x, tangent = std::tan(reach);
        return p.x > 0 && reach < kPi / 2 && r * tangent < 1 ? (r + tangent) / (1 - r * tangent) : kUnbounded;
    }

    // The determinant of the distortion's derivative at a radius in the direction (x, y). Its terms along the radius
    // and across are the series' slope and factor.
    double determinant(double x, double y, double r) const noexcept {
        const double along = (lens_.p2 * x + lens_.p1 * y) * r, across = (lens_.p1 * x - lens_.p2 * y) * r;
        return (radial_.slope(r) + 6 * along) * (radial_.factor(r) + 2 * along) - 4 * across * across;
    }
    // A lower bound for all directions.
    double least_determinant(double r) const noexcept {
        const double p = tangential_ * r;
        return (radial_.slope(r) - 6 * p) * (radial_.factor(r) - 2 * p) - 4 * p * p;
    }

    // The first radius from `from` to `to` at which a function isn't positive any more.
    template <class Function>
    static double first_not_positive(double from, double to, Function &&function) noexcept {
        constexpr int kSteps = 64;
        double low = from;
        for (int i = 1; i <= kSteps; ++i) {
            double high = mixed(from, to, static_cast<double>(i) / kSteps);
            if (!(function(high) > 0)) {
                for (double middle = (low + high) / 2; low < middle && middle < high; middle = (low + high) / 2)
                    (function(middle) > 0 ? low : high) = middle;
                return low;
            }
            low = high;
        }
        return to;
    }
    double first_fold(double radius) const noexcept {
        return first_not_positive(0, radius, [this](double r) { return least_determinant(r); });
    }
    double fold(double x, double y, double radius) const noexcept {
        const double end = std::min(radius, limit_);
        return end <= safe_ ? end
                            : first_not_positive(safe_, end, [=, this](double r) { return determinant(x, y, r); });
    }

    // A radius, up to the limit, outside of which nothing is projected nearer to the axis than that far.
    double radius_beyond(double far, double from) const noexcept {
        const auto missing = [&](double r) { return far - radial_.value(r) + 3 * tangential_ * r * r; };
        const double end = std::min(limit_, 4 * from);
        return end > from ? first_not_positive(from, end, missing) : end;
    }

    // Newton's method from a first guess; false when it doesn't arrive.
    bool solve(planar image, planar &q) const noexcept {
        for (int i = 0; i < 30; ++i) {
            const planar d = distorted(q);
            const double x = image.x - d.x, y = image.y - d.y, size = std::hypot(x, y);
            if (size <= 1e-13 * (1 + std::hypot(image.x, image.y)))
                return true;
            const double square = q.x * q.x + q.y * q.y, p1 = lens_.p1, p2 = lens_.p2;
            const double factor = 1 + square * (lens_.k1 + square * (lens_.k2 + square * lens_.k3));
            const double growth = 2 * (lens_.k1 + square * (2 * lens_.k2 + square * 3 * lens_.k3));
            const double xx = factor + growth * q.x * q.x + 2 * p1 * q.y + 6 * p2 * q.x,
                         yy = factor + growth * q.y * q.y + 6 * p1 * q.y + 2 * p2 * q.x,
                         xy = growth * q.x * q.y + 2 * p1 * q.x + 2 * p2 * q.y;
            const double determinant = xx * yy - xy * xy;
            double step = 1;
            const auto moved = [&] {
                return planar{q.x + step * (yy * x - xy * y) / determinant,
                              q.y + step * (xx * y - xy * x) / determinant};
            };
            const auto remains = [&](planar at) {
                const planar there = distorted(at);
                return std::hypot(image.x - there.x, image.y - there.y);
            };
            while (step > 1e-4 && !(remains(moved()) < size))
                step /= 2;
            if (!(remains(moved()) < size))
                return size <= 1e-9 * (1 + std::hypot(image.x, image.y));
            q = moved();
        }
        return false;
    }

    // The same, along the line from the optical axis.
    bool follow(planar image, planar &q) const noexcept {
        constexpr int kSteps = 64;
        const planar start = {0, 0};
        q = start;
        for (int i = 1; i <= kSteps; ++i) {
            const double part = static_cast<double>(i) / kSteps;
            if (!solve({part * image.x, part * image.y}, q) || !sees(direction_of(q)))
                return false;
        }
        return true;
    }

    static constexpr double kFarthest = 1e15; // a radius: directions nearly across

    pinhole lens_;
    odd_series radial_;
    double tangential_, limit_;     // the length of p; the radius that is seen, without it
    double safe_ = 0, clip_ = 0;    // radii: all within is seen; of the cone
    double cosine_ = 0;             // of the cone
    bool folds_ = false;            // within the cone
    bool is_screen_within_ = false; // in what is seen
};

} // namespace vela::overlay::internal

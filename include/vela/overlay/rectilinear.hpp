/**
 * @file
 * The pinhole model with its distortion. Part of <vela/overlay.hpp>; nothing here is public.
 *
 * On the plane at depth 1 arcs are straight lines. There the distortion of q is q radial(|q|) + 2 (p q) q + |q|^2 p,
 * where p = (p2, p1). With u = p q, the series' slope and factor, and a = |p| |q|, its derivative has the determinant
 *
 *     slope factor - 4 a^2 + 2 (slope + 3 factor) u + 16 u^2
 *
 * which is positive for greater u than its greater zero. What isn't seen, as the map folds before, is a wedge around
 * -p.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
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
        made.safe_ = made.tip();
        made.is_screen_within_ = made.nearest(made.safe_) > beyond;
        made.folds_ = !made.is_screen_within_ && made.safe_ < made.limit_;
        made.clip_ = made.is_screen_within_ ? made.radius_of(beyond)
                     : made.folds_          ? std::min(made.limit_, 8 * (farthest_out + 1 / made.tangential_))
                                            : made.safe_;
        made.clip_ = std::min(made.clip_, 1e9);
        made.cosine_ = 1 / std::sqrt(1 + made.clip_ * made.clip_);
        if (made.folds_)
            made.find_fold();
        return made;
    }

    bool sees(vec p) const noexcept {
        if (!(p.x > 0))
            return false;
        const planar q = {p.y / p.x, -p.z / p.x};
        const double r = std::hypot(q.x, q.y);
        return r < limit_ && (r <= safe_ || !folds_ || !is_beyond_fold(q));
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
    static constexpr std::size_t kFoldEdges = 32; // of a side
    bool folds() const noexcept { return folds_; }
    double safe_angle() const noexcept { return std::atan(safe_); }
    double limit_angle() const noexcept { return std::atan(clip_); }
    vec rim(double around) const noexcept {
        const planar ray = {std::cos(around), std::sin(around)}, q = from_wedge(ray);
        const std::size_t i = folds_ ? edge_across(q) : kFoldEdges;
        if (i == kFoldEdges)
            return direction_of({clip_ * ray.x, clip_ * ray.y});
        const planar a = fold_[i], b = fold_[i + 1];
        const double r = area(a, b) / area(planar{q.x, std::fabs(q.y)}, b - a);
        return direction_of({r * ray.x, r * ray.y});
    }

    // Calls part(from, to, is_arc) for the arcs of the rim and what is between, from one angle around the axis to a
    // smaller one.
    template <class Part>
    void rim_parts(double from, double to, Part &&part) const {
        if (!folds_)
            return part(from, to, false);
        const double wedge = std::atan2(-lens_.p1, -lens_.p2),
                     most = std::atan2(fold_[kFoldEdges].y, fold_[kFoldEdges].x);
        const auto until = [&](double angle) {
            const double next = std::max(angle, to);
            if (from > next)
                part(from, next, std::fabs(std::remainder((from + next) / 2 - wedge, 2 * kPi)) < most);
            from = std::min(from, next);
        };
        for (int turn = 1; turn >= -1; --turn)
            for (int i = -int{kFoldEdges}; i <= int{kFoldEdges}; ++i) {
                const planar &at = fold_[static_cast<std::size_t>(std::abs(i))];
                until(wedge + 2 * kPi * turn - std::copysign(std::atan2(at.y, at.x), i));
            }
        until(to);
    }

    bool is_beyond_fold(vec p) const noexcept { return is_beyond_fold(planar{p.y / p.x, -p.z / p.x}); }
    // Whether all within an angle of a direction is seen, 1, or beyond the fold, -1; 0 where that isn't certain.
    int side_of_fold(vec p, double reach) const noexcept {
        const double r = radius_near(p, reach), within = reach * (1 + r * r);
        if (!folds_ || !(r < clip_))
            return 0;
        const planar q = from_wedge({p.y / p.x, -p.z / p.x}), above = {q.x, std::fabs(q.y)};
        for (std::size_t i = 0; i < kFoldEdges; ++i) {
            const planar from = above - fold_[i], edge = fold_[i + 1] - fold_[i];
            const double part = std::clamp(dot(from, edge) / dot(edge, edge), 0.0, 1.0);
            if (std::hypot(from.x - part * edge.x, from.y - part * edge.y) <= within)
                return 0;
        }
        return is_beyond_fold(p) ? -1 : 1;
    }
    // Calls crossing(t) for each point a + t (b - a) of a line where it crosses the fold.
    template <class Crossing>
    void cross_fold(vec a, vec b, Crossing &&crossing) const {
        const planar from = from_wedge({a.y, -a.z}), to = from_wedge({b.y, -b.z});
        if (std::max(dot(from, from), dot(to, to)) <= safe_ * safe_)
            return;
        const planar way = to - from;
        for (const double side : {1.0, -1.0})
            for (std::size_t i = 0; i < kFoldEdges; ++i) {
                const planar p = {fold_[i].x, side * fold_[i].y}, q = {fold_[i + 1].x, side * fold_[i + 1].y};
                const double before = area(way, p - from), after = area(way, q - from);
                if ((before >= 0) == (after >= 0))
                    continue;
                const double begin = area(q - p, from - p), end = area(q - p, to - p);
                if ((begin >= 0) != (end >= 0))
                    crossing(begin / (begin - end));
            }
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
        const auto [first, second] = rates_between(0, clip_);
        return (second * clip_ + first) * clip_ * angle * angle / 8;
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
    double scale_to(const rectilinear &to) const noexcept {
        const double across = to.lens_.fx / lens_.fx, down = to.lens_.fy / lens_.fy;
        const bool is_scaled = std::fabs(across - down) <= 1e-12 * across && lens_.cx == to.lens_.cx &&
                               lens_.cy == to.lens_.cy && radial_ == to.radial_ && lens_.p1 == to.lens_.p1 &&
                               lens_.p2 == to.lens_.p2;
        return is_scaled ? across : 0;
    }
    // On the plane, the derivative of the distortion maps q to slope q + 2 t and another vector to factor q + t, which
    // is the distortion itself; t is what p1 and p2 add. The latter is factor / slope q but for what is beside.
    inward inward_near(vec p, double reach) const noexcept {
        const double angle = std::atan2(std::hypot(p.y, p.z), p.x), low = std::tan(std::max(0.0, angle - reach)),
                     high = radius_near(p, reach);
        if (!(high < kUnbounded))
            return {0, kUnbounded, kUnbounded};
        const odd_series::range factor = radial_.factor_between(low, high), slope = radial_.slope_between(low, high);
        const double rest = std::min(factor.low, slope.low) - 6 * tangential_ * high;
        if (!(rest > 0))
            return {0, kUnbounded, kUnbounded};
        const double least = factor.low / slope.high, most = factor.high / slope.low,
                     beside = 3 * tangential_ * high * high *
                              std::max(std::fabs(1 - 2 * least), std::fabs(1 - 2 * most)) / rest,
                     cosine = 1 / std::hypot(1, low);
        return {least / std::hypot(1, high), most * cosine, beside * cosine};
    }

private:
    struct planar {
        double x, y;

        bool operator==(const planar &) const noexcept = default;
        friend planar operator-(planar a, planar b) noexcept { return {a.x - b.x, a.y - b.y}; }
    };
    static double dot(planar a, planar b) noexcept { return a.x * b.x + a.y * b.y; }
    static double area(planar a, planar b) noexcept { return a.x * b.y - a.y * b.x; }

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

    // A lower bound of how far from the axis a radius is projected; it rises up to the tip.
    double nearest(double r) const noexcept { return radial_.value(r) - 3 * tangential_ * r * r; }
    double radius_of(double nearest_to_axis) const noexcept {
        if (tangential_ == 0)
            return radial_.inverse(nearest_to_axis, limit_);
        double low = 0, high = safe_;
        for (double middle = high / 2; low < middle && middle < high; middle = (low + high) / 2)
            (nearest(middle) < nearest_to_axis ? low : high) = middle;
        return high;
    }

    // A radius within which the determinant is positive: for -p, as factors, and rising from there.
    double tip() const noexcept {
        if (tangential_ == 0)
            return limit_;
        const auto zero = [&](double by_p, double by_k1, double by_k2, double by_k3) {
            return first_zero(
                std::array{by_p * -tangential_, by_k1 * lens_.k1, 0.0, by_k2 * lens_.k2, 0.0, by_k3 * lens_.k3},
                limit_);
        };
        return std::min({zero(6, 3, 5, 7), zero(2, 1, 1, 1), zero(4, 1.5, 2, 2.5)});
    }

    // The fold as a line of kFoldEdges straight edges, out to clip_: on one side, from the axis of the wedge. Between
    // its points the edges are moved to the side that is seen, so that what is beyond the fold is beyond them.
    void find_fold() noexcept {
        constexpr std::size_t kBetween = 4;
        std::array<planar, kBetween * kFoldEdges + 1> exact;
        double angle = 0;
        for (std::size_t i = 0; i < exact.size(); ++i) {
            const double part = static_cast<double>(i) / (exact.size() - 1),
                         r = safe_ * std::pow(clip_ / safe_, part * part);
            const double s = radial_.slope(r), f = radial_.factor(r), a = tangential_ * r;
            const double square = (s - f) * (s - 9 * f) + 64 * a * a,
                         cosine = square >= 0 ? (s + 3 * f - std::sqrt(square)) / 16 / a : 1;
            // What is farther out than the fold isn't seen. The angle grows with each point.
            if (i > 0)
                angle = std::max(angle + 1e-7, std::acos(std::clamp(cosine, -1.0, 1.0)));
            exact[i] = {r * std::cos(angle), r * std::sin(angle)};
        }
        planar last = {0, 1}; // an edge's direction and how far it is beyond the fold; the tip is in a mirror's line
        double last_beyond = 0;
        for (std::size_t i = 0; i <= kFoldEdges; ++i) {
            const planar at = exact[kBetween * i];
            planar next = last;
            double beyond = 0;
            if (i < kFoldEdges) {
                const planar edge = exact[kBetween * (i + 1)] - at;
                const double size = std::hypot(edge.x, edge.y);
                next = {edge.x / size, edge.y / size};
                for (std::size_t j = 1; j < kBetween; ++j)
                    beyond = std::max(beyond, 1.3 * area(next, exact[kBetween * i + j] - at));
            }
            const planar along = i > 0 ? planar{last.x + next.x, last.y + next.y} : last;
            const double away = std::max(last_beyond, beyond) / std::max(dot(along, next), 0.1);
            const planar moved = {at.x - away * along.y, at.y + away * along.x};
            angle = i > 0 ? std::max(angle + 1e-7, std::atan2(moved.y, moved.x)) : 0;
            const double r = std::hypot(moved.x, moved.y);
            fold_[i] = {r * std::cos(angle), r * std::sin(angle)};
            last = next;
            last_beyond = beyond;
        }
        for (std::size_t i = 0; i < kFoldEdges; ++i) {
            const planar from = fold_[i], edge = fold_[i + 1] - from;
            const double part = std::clamp(-dot(from, edge) / dot(edge, edge), 0.0, 1.0);
            safe_ = std::min(safe_, std::hypot(from.x + part * edge.x, from.y + part * edge.y));
        }
    }
    // With the wedge along the first axis.
    planar from_wedge(planar q) const noexcept {
        const double x = -lens_.p2 / tangential_, y = -lens_.p1 / tangential_;
        return {x * q.x + y * q.y, x * q.y - y * q.x};
    }
    // The edge that is seen in a direction, which is turned like that; kFoldEdges beside the wedge.
    std::size_t edge_across(planar q) const noexcept {
        const planar above = {q.x, std::fabs(q.y)};
        std::size_t i = 0;
        while (i < kFoldEdges && area(fold_[i + 1], above) >= 0)
            ++i;
        return i;
    }
    bool is_beyond_fold(planar at) const noexcept {
        const planar q = from_wedge(at);
        const std::size_t i = edge_across(q);
        return i < kFoldEdges && area(fold_[i + 1] - fold_[i], planar{q.x, std::fabs(q.y)} - fold_[i]) < 0;
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
    std::array<planar, kFoldEdges + 1> fold_{};
};

} // namespace vela::overlay::internal

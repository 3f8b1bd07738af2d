// Masks point by point: a pixel's direction by the formula of the projection, and whether it is inside by the winding
// number, from the crossings of an arc to a fixed direction. Without scanlines, clipping or rims.
#pragma once

#include "agree.hpp"
#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <utility>
#include <vector>
#include <vela/overlay.hpp>

namespace model {

using real = double;
using vec3 = std::array<real, 3>;
using vela::overlay::coverage, vela::overlay::direction;

constexpr real kDegree = 3.14159265358979323846264338328 / 180;

inline real dot(const vec3 &a, const vec3 &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline vec3 cross(const vec3 &a, const vec3 &b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline vec3 mixed(real s, const vec3 &a, real t, const vec3 &b) {
    return {s * a[0] + t * b[0], s * a[1] + t * b[1], s * a[2] + t * b[2]};
}
inline real length(const vec3 &a) { return std::sqrt(dot(a, a)); }
inline vec3 unit(const vec3 &a) { return mixed(1 / length(a), a, 0, a); }
inline vec3 towards(real pan, real tilt) {
    return {std::cos(tilt * kDegree) * std::cos(pan * kDegree), std::cos(tilt * kDegree) * std::sin(pan * kDegree),
            std::sin(tilt * kDegree)};
}

inline direction degrees(const vec3 &p) {
    return {double(std::atan2(p[1], p[0]) / kDegree), double(std::asin(std::clamp<real>(p[2], -1, 1)) / kDegree)};
}

// x = width / 2 + scale asin(across), y = height / 2 - scale asin(up), for directions in front.
struct lens {
    int width, height;
    direction centre;
    double fov;
    vec3 forward = towards(centre.pan, centre.tilt), right = towards(real(centre.pan) + 90, 0),
         up = towards(centre.pan, real(centre.tilt) + 90);
    real scale = width / (fov * kDegree);

    real x(const vec3 &p) const { return width / 2 + scale * std::asin(std::clamp<real>(dot(p, right), -1, 1)); }
    real y(const vec3 &p) const { return height / 2 - scale * std::asin(std::clamp<real>(dot(p, up), -1, 1)); }
    // Pixels from a position to the rim, negative beyond it.
    real to_rim(real px, real py) const {
        return 90 * kDegree * scale - std::fabs(px - width / 2) - std::fabs(py - height / 2);
    }
    vec3 at(real px, real py) const {
        const real u = std::sin((px - width / 2) / scale), v = std::sin((height / 2 - py) / scale);
        return mixed(std::sqrt(std::max<real>(0, 1 - u * u - v * v)), forward, 1, mixed(u, right, v, up));
    }
};

class mask {
public:
    explicit mask(const std::vector<direction> &corners) {
        for (const direction &corner : corners)
            points.push_back(towards(corner.pan, corner.tilt));
        real apart = 0, opposite = 1;
        for (size_t i = 0; i < points.size(); ++i) {
            apart = std::max(apart, length(mixed(1, points[i], -1, points[0])));
            opposite = std::min(opposite, length(mixed(1, points[i], 1, next(i))));
        }
        is_determined = apart > 1e-12 && opposite > 1e-6;
        // Outside is the most frequent level of points spread evenly over the sphere.
        constexpr int count = 120;
        std::map<int, int> seen;
        for (int i = 0; i < count; ++i)
            ++seen[level(towards(i * 137.50776405, std::asin(1 - (2 * i + 1) / real(count)) / kDegree))];
        int most = 0, second = 0;
        for (const auto &[level, times] : seen)
            if (times > most)
                second = most, most = times, outside = level;
            else
                second = std::max(second, times);
        is_clear = most - second > count / 6;
    }

    std::vector<vec3> points;
    bool is_determined, is_clear; // whether there is such a mask, and which side is outside

    bool contains(const vec3 &p) const { return level(p) != outside; }
    const vec3 &next(size_t corner) const { return points[(corner + 1) % points.size()]; }

    // The point of the boundary that is nearest to a direction.
    vec3 nearest(const vec3 &p) const {
        vec3 best = points[0];
        const auto take = [&](const vec3 &q) { best = dot(p, q) > dot(p, best) ? q : best; };
        for (size_t i = 0; i < points.size(); ++i) {
            const vec3 &a = points[i], &b = next(i), n = cross(a, b);
            take(b);
            if (dot(cross(n, a), p) > 0 && dot(cross(b, n), p) > 0)
                take(unit(mixed(1, p, -dot(n, p) / dot(n, n), n)));
        }
        return best;
    }

    // Whether the boundary comes that close to a position.
    bool passes(const lens &view, real x, real y, real pixels) const {
        // By bisection: a position moves at most sqrt(2) times as fast as its direction.
        const auto comes_near = [&](const auto &self, const vec3 &a, const vec3 &b) {
            const vec3 middle = unit(mixed(1, a, 1, b));
            const real angle = std::atan2(length(cross(a, b)), dot(a, b)) / 2, reach = 1.4143 * view.scale * angle,
                       away = std::hypot(view.x(middle) - x, view.y(middle) - y), depth = dot(middle, view.forward);
            if (away - reach > pixels || depth + angle < 0)
                return false;
            if ((away <= pixels && depth >= -1e-9) || reach < pixels * 1e-3)
                return away <= pixels;
            return self(self, a, middle) || self(self, middle, b);
        };
        for (size_t i = 0; i < points.size(); ++i)
            if (comes_near(comes_near, points[i], next(i)))
                return true;
        return false;
    }

private:
    // The winding number, relative to that of a direction that no boundary passes.
    int level(const vec3 &p) const {
        const vec3 q = unit({0.123, -0.345, 0.77});
        const vec3 normal = cross(p, q);
        int change = 0;
        for (size_t i = 0; i < points.size(); ++i) {
            const vec3 side = cross(points[i], next(i)), at = cross(side, normal);
            const bool from = dot(side, p) < 0, to = dot(side, q) < 0;
            if (from != to && (dot(normal, points[i]) < 0) != (dot(normal, next(i)) < 0) &&
                (dot(at, mixed(1, points[i], 1, next(i))) > 0) == (dot(at, mixed(1, p, 1, q)) > 0))
                change += from ? -1 : 1;
        }
        return change;
    }
    int outside = 0;
};

// Masks of many kinds, of whole degrees as well, which meet poles and planes; and a view that sees something of most.
// below(n) gives numbers from 0 to n - 1.
template <class Below>
std::pair<std::vector<direction>, lens> any_mask(Below &&below) {
    const auto within = [&](double range) { return range * (below(20001) - 10000) / 10000; };
    const int kind = below(5), count = 3 + below(10), is_whole = below(3) == 0;
    const double fov = 1 + below(below(3) ? 120 : 8), radius = below(2) ? fov * (1 + below(10)) / 100 : 1 + below(60);
    const lens around = {360, 0, {std::round(within(400)), below(4) ? within(90) : 90.0 * (below(3) - 1)}, 360};
    const auto [pan, tilt] = around.centre;
    std::vector<direction> corners;
    for (int i = 0; i < count; ++i) {
        const double turn = 360.0 * i / count, radians = turn * double(kDegree);
        const direction kinds[] = {
            degrees(around.at(180 + radius * std::cos(radians), radius * std::sin(radians))), // a ring, tiny or large
            {pan + within(180), tilt + within(90)},                                           // anyhow, with crossings
            {pan + within(30), tilt + within(30)},
            {turn, tilt + (radius < 30 ? within(25) : 0)},       // around the horizon or a pole, level or as a saw
            {pan + i / 2 % 2 * 10, tilt + (i + 1) / 2 % 2 * 5}}; // a rectangle, once or again
        const direction &corner = kinds[kind];
        corners.push_back(is_whole ? direction{std::round(corner.pan), std::round(corner.tilt)} : corner);
    }
    if (below(4) == 0) // touches itself
        corners.push_back(corners[static_cast<size_t>(below(count))]);
    if (below(2))
        std::reverse(corners.begin(), corners.end());
    static constexpr int sizes[][2] = {{1920, 1080}, {640, 480}, {641, 97}, {40, 300}};
    const auto [width, height] = sizes[below(4)];
    const double off = below(4) ? fov / 2 : 180;
    const auto [near_pan, near_tilt] = corners[static_cast<size_t>(below(count))];
    const direction centre = {near_pan + within(off), near_tilt + within(off / 2)};
    return {corners,
            {width, height, is_whole ? direction{std::round(centre.pan), std::round(centre.tilt)} : centre, fov}};
}

// What a mask covers, asked at random pixels, beside the ends of its runs, and along its outline.
template <class Below>
void check_mask(const std::vector<direction> &corners, const lens &view, Below &&below, int samples) {
    const mask truth(corners);
    std::vector<double> input = {double(view.width), double(view.height), view.centre.pan, view.centre.tilt, view.fov};
    for (const direction &corner : corners)
        input.insert(input.end(), {corner.pan, corner.tilt});
    auto drawn = vela::overlay::mask::make(corners);
    const auto seen = vela::overlay::view::make(view.width, view.height, view.centre, view.fov);
    agree("whether there is a mask", input, drawn.has_value(), truth.is_determined);
    agree("whether there is a view", input, seen.has_value(), true);
    if (!drawn || !truth.is_clear)
        return;

    for (const coverage how : {coverage::conservative, coverage::centres}) {
        const auto index = [&](int x, int y) {
            return static_cast<size_t>(y) * static_cast<size_t>(view.width + 1) + static_cast<size_t>(x);
        };
        std::vector<bool> covered(index(0, view.height));
        std::vector<std::array<int, 2>> ends;
        size_t end = 0;
        drawn->draw(
            *seen,
            [&](int y, int begin, int end_of_run) {
                agree("whether a run is in the picture", input, std::clamp(y, 0, view.height - 1) == y, true);
                agree("whether a run is in the row", input, std::clamp(begin, 0, end_of_run - 1) == begin, true);
                agree("whether a run ends in the row", input, end_of_run <= view.width, true);
                agree("whether runs have a gap in between", input, ends.empty() || end < index(begin, y), true);
                end = index(end_of_run, y);
                std::fill(covered.begin() + static_cast<ptrdiff_t>(index(begin, y)),
                          covered.begin() + static_cast<ptrdiff_t>(end), true);
                for (const int x : {begin - 1, begin, end_of_run - 1, end_of_run})
                    ends.push_back({x, y});
            },
            how);
        const auto check_pixel = [&](int x, int y) {
            // The rim is an edge of its own.
            if (x != std::clamp(x, 0, view.width - 1) || y != std::clamp(y, 0, view.height - 1) ||
                std::fabs(view.to_rim(x, y)) < 2.2)
                return;
            const bool is_covered = covered[index(x, y)], is_safe = how == coverage::conservative,
                       is_inside = view.to_rim(x, y) > 0 && truth.contains(view.at(x, y)),
                       is_near = truth.passes(view, x, y, is_safe ? is_covered ? 1.5 : 0.49 : 1e-4);
            // Within rounding of an edge either will do for a centre.
            agree("coverage of " + std::to_string(x) + ", " + std::to_string(y), input, is_covered,
                  is_near ? is_safe || is_covered : is_inside);
            if (!is_near && view.to_rim(x, y) > 0)
                agree("contains", input, drawn->contains(degrees(view.at(x, y))), is_inside);
        };
        for (int i = 0; i < samples; ++i) {
            const int any_x = below(view.width); // drawn one after the other: the order of arguments is the compiler's
            check_pixel(any_x, below(view.height));
            for (int j = 0; j < 4 && !ends.empty(); ++j) {
                const auto [x, y] = ends[static_cast<size_t>(below(static_cast<int>(ends.size())))];
                check_pixel(x, y + below(3) - 1);
            }
            const auto side = static_cast<size_t>(below(static_cast<int>(corners.size())));
            const real part = below(1001) / 1000.0;
            const vec3 p = unit(mixed(1 - part, truth.points[side], part, truth.next(side)));
            if (dot(p, view.forward) > 0)
                check_pixel(static_cast<int>(std::lround(view.x(p))), static_cast<int>(std::lround(view.y(p))));
        }
    }
}

} // namespace model

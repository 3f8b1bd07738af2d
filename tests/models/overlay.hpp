// Masks seen point by point: a pixel's direction by the lens formula, and whether it is inside by the crossings on ways
// around to a fixed direction, in long double. Nothing is scanned, cut or closed.
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

using real = long double;
using vec3 = std::array<real, 3>;
using vela::overlay::coverage, vela::overlay::direction;

constexpr real kDegree = 3.14159265358979323846264338328L / 180;

inline real dot(const vec3 &a, const vec3 &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline vec3 cross(const vec3 &a, const vec3 &b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline vec3 mixed(real s, const vec3 &a, real t, const vec3 &b) {
    return {s * a[0] + t * b[0], s * a[1] + t * b[1], s * a[2] + t * b[2]};
}
inline vec3 unit(const vec3 &a) { return mixed(1 / std::sqrt(dot(a, a)), a, 0, a); }
inline vec3 towards(real pan, real tilt) {
    return {std::cos(tilt * kDegree) * std::cos(pan * kDegree), std::cos(tilt * kDegree) * std::sin(pan * kDegree),
            std::sin(tilt * kDegree)};
}

// x = width / 2 + scale asin(across), y = height / 2 - scale asin(up), for what is in front.
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
        // Outside is the most frequent level of points spread evenly over the sphere.
        constexpr int count = 120;
        std::map<int, int> seen;
        for (int i = 0; i < count; ++i)
            ++seen[level(towards(i * 137.50776405L, std::asin(1 - (2 * i + 1) / real(count)) / kDegree))];
        int most = 0, second = 0;
        for (const auto &[level, times] : seen)
            if (times > most)
                second = most, most = times, outside = level;
            else
                second = std::max(second, times);
        is_clear = most - second > count / 6;
    }

    std::vector<vec3> points;
    bool is_clear; // which side is outside

    bool contains(const vec3 &p) const { return level(p) != outside; }
    const vec3 &behind(size_t corner) const { return points[(corner + 1) % points.size()]; }

    // Two different corners, and no neighbours opposite to each other.
    bool is_determined() const {
        bool differ = false;
        for (size_t i = 0; i < points.size(); ++i) {
            const vec3 sum = mixed(1, points[i], 1, behind(i)), apart = mixed(1, points[i], -1, points[0]);
            differ = differ || dot(apart, apart) > 1e-24L;
            if (dot(sum, sum) < 1e-12L)
                return false;
        }
        return differ;
    }

    // Whether the outline comes as near as that to a position.
    bool passes(const lens &view, real x, real y, real pixels) const {
        for (size_t i = 0; i < points.size(); ++i)
            if (passes(view, points[i], behind(i), x, y, pixels))
                return true;
        return false;
    }

private:
    // By halves, since no place moves faster than sqrt(2) times its direction.
    static bool passes(const lens &view, const vec3 &a, const vec3 &b, real x, real y, real pixels) {
        const vec3 middle = unit(mixed(1, a, 1, b)), normal = cross(a, b);
        const real angle = std::atan2(std::sqrt(dot(normal, normal)), dot(a, b)) / 2,
                   reach = 1.4143L * view.scale * angle, away = std::hypot(view.x(middle) - x, view.y(middle) - y),
                   depth = dot(middle, view.forward);
        if (away - reach > pixels || depth + angle < 0)
            return false;
        if ((away <= pixels && depth >= -1e-9L) || reach < pixels * 1e-3L)
            return away <= pixels;
        return passes(view, a, middle, x, y, pixels) || passes(view, middle, b, x, y, pixels);
    }

    int crossings(const vec3 &p, const vec3 &q) const {
        const vec3 way = cross(p, q);
        int change = 0;
        for (size_t i = 0; i < points.size(); ++i) {
            const vec3 side = cross(points[i], behind(i)), at = cross(side, way);
            const bool from = dot(side, p) < 0, to = dot(side, q) < 0;
            if (from != to && (dot(way, points[i]) < 0) != (dot(way, behind(i)) < 0) &&
                (dot(at, mixed(1, points[i], 1, behind(i))) > 0) == (dot(at, mixed(1, p, 1, q)) > 0))
                change += from ? -1 : 1;
        }
        return change;
    }

    // Two of three ways agree where one passes a corner.
    int level(const vec3 &p) const {
        const vec3 end = unit({0.123L, -0.345L, 0.77L});
        const auto by_way = [&](int i) {
            const vec3 aside = cross(unit({0.31L * (i + 1), 0.57L - i, 0.29L}), mixed(1, p, 1.1L, end)),
                       middle = unit(mixed(1, aside, 0.3L, p));
            return crossings(p, middle) + crossings(middle, end);
        };
        const int found = by_way(0);
        return found == by_way(1) ? found : by_way(2);
    }

    int outside = 0;
};

// Masks of many kinds, of whole degrees as well, which meet poles and planes; and a view that sees something of most.
// below(n) gives numbers from 0 to n - 1.
template <class Below>
std::pair<std::vector<direction>, lens> any_mask(Below &&below) {
    const auto within = [&](double range) { return range * (below(20001) - 10000) / 10000; };
    const bool is_whole = below(3) == 0;
    const auto add = [&, is_whole](std::vector<direction> &to, double pan, double tilt) {
        to.push_back(is_whole ? direction{std::round(pan), std::round(tilt)} : direction{pan, tilt});
    };
    const int kind = below(8), count = 3 + below(10), first = below(360);
    const double fov = 1 + below(below(3) ? 120 : 8), radius = kind == 0 ? fov * (1 + below(10)) / 100 : 1 + below(80);
    const direction middle = {std::round(within(400)), below(4) ? within(90) : 90.0 * (below(3) - 1)};
    const vec3 axes[] = {towards(middle.pan, middle.tilt), towards(middle.pan + 90, 0),
                         towards(middle.pan, middle.tilt + 90)};
    std::vector<direction> corners;
    for (int i = 0; i < count; ++i) {
        const double turn = first + 360.0 * i / count;
        const vec3 about = towards(turn, 90 - radius),
                   on_ring = mixed(1, mixed(about[0], axes[1], about[1], axes[2]), about[2], axes[0]);
        if (kind < 2) // around a direction, tiny or large
            add(corners, static_cast<double>(std::atan2(on_ring[1], on_ring[0]) / kDegree),
                static_cast<double>(std::asin(std::clamp<real>(on_ring[2], -1, 1)) / kDegree));
        else if (kind < 4) // anyhow, with crossings
            add(corners, middle.pan + within(kind == 2 ? 180 : 30), middle.tilt + within(kind == 2 ? 90 : 30));
        else if (kind < 6) // around the horizon or a pole, level or as a saw
            add(corners, turn, middle.tilt + (kind == 5 ? within(25) : 0));
        else if (kind == 6) // a knot
            add(corners, middle.pan + 20 * std::cos(turn / 28), middle.tilt + 20 * std::sin(turn / 19));
        else // rectangles, once or again
            add(corners, middle.pan + i / 2 % 2 * 10, middle.tilt + (i + 1) / 2 % 2 * 5);
    }
    if (below(4) == 0) // touches itself
        corners.push_back(corners[static_cast<size_t>(below(count))]);
    if (below(2))
        std::reverse(corners.begin(), corners.end());
    static constexpr int sizes[][2] = {{1920, 1080}, {640, 480}, {641, 97}, {40, 300}};
    const auto &size = sizes[below(4)];
    std::vector<direction> looks;
    const double off = below(4) ? fov / 2 : 180;
    const direction &near = corners[static_cast<size_t>(below(count))];
    add(looks, near.pan + within(off), near.tilt + within(off / 2));
    return {corners, {size[0], size[1], looks[0], fov}};
}

// What a mask covers, asked at random pixels, beside the ends of its runs, and along its outline.
template <class Below>
void check_mask(const std::vector<direction> &corners, const lens &view, Below &&below, int samples) {
    std::string input;
    for (const direction &d : corners)
        input += "{" + std::to_string(d.pan) + ", " + std::to_string(d.tilt) + "} ";
    input += std::to_string(view.width) + "x" + std::to_string(view.height) + " {" + std::to_string(view.centre.pan) +
             ", " + std::to_string(view.centre.tilt) + "} " + std::to_string(view.fov);
    const mask truth(corners);
    auto drawn = vela::overlay::mask::make(corners);
    const auto seen = vela::overlay::view::make(view.width, view.height, view.centre, view.fov);
    agree("whether it is a mask", input, drawn.has_value(), truth.is_determined());
    agree("whether it is a view", input, seen.has_value(), true);
    if (!drawn || !truth.is_clear)
        return;

    for (const coverage how : {coverage::conservative, coverage::centres}) {
        std::vector<vela::overlay::run> runs(drawn->list(*seen, {}, how));
        agree("runs", input, static_cast<long long>(drawn->list(*seen, runs, how)),
              static_cast<long long>(runs.size()));
        for (size_t i = 0; i < runs.size(); ++i) {
            const auto [y, first, behind] = runs[i];
            const bool follows = i == 0 || runs[i - 1].y < y || (runs[i - 1].y == y && runs[i - 1].behind < first);
            agree("order of runs", input, follows && first < behind, true);
            agree("runs on the screen", input, 0 <= y && y < view.height && 0 <= first && behind <= view.width, true);
        }
        const auto is_covered = [&](int x, int y) {
            return std::any_of(
                std::lower_bound(runs.begin(), runs.end(), y, [](const auto &run, int row) { return run.y < row; }),
                std::upper_bound(runs.begin(), runs.end(), y, [](int row, const auto &run) { return row < run.y; }),
                [x](const auto &run) { return run.first <= x && x < run.behind; });
        };
        const auto is_inside = [&](real x, real y) { return view.to_rim(x, y) >= 0 && truth.contains(view.at(x, y)); };
        const auto check_pixel = [&](int x, int y) {
            if (x < 0 || x >= view.width || y < 0 || y >= view.height)
                return;
            const bool covered = is_covered(x, y);
            bool expected = is_inside(x, y);
            if (how == coverage::centres) {
                // Within rounding of an edge, or of the rim, either will do.
                if (covered != expected && (truth.passes(view, x, y, 1e-4L) || std::fabs(view.to_rim(x, y)) < 1e-4L))
                    return;
            } else {
                expected = expected || (covered && truth.passes(view, x, y, 1.5L));
                // Points of its square; or, at the rim, some of the inside around.
                const int reach = covered ? 1500 : 490, tries = covered ? 900 : 12;
                for (int i = 0; i < tries && !expected; ++i) {
                    const real right = (below(2 * reach + 1) - reach) / 1000.0L,
                               down = (below(2 * reach + 1) - reach) / 1000.0L;
                    expected = std::hypot(right, down) <= 1.5L && is_inside(x + right, y + down);
                }
            }
            agree("coverage of " + std::to_string(x) + ", " + std::to_string(y), input, covered, expected);
        };
        for (int i = 0; i < samples; ++i) {
            check_pixel(below(view.width), below(view.height));
            if (!runs.empty()) {
                const auto &run = runs[static_cast<size_t>(below(static_cast<int>(runs.size())))];
                for (const int x : {run.first - 1, run.first, run.behind - 1, run.behind})
                    check_pixel(x, run.y + below(3) - 1);
            }
            const auto side = static_cast<size_t>(below(static_cast<int>(corners.size())));
            const real part = below(1001) / 1000.0L;
            const vec3 p = unit(mixed(1 - part, truth.points[side], part, truth.behind(side)));
            const real x = view.x(p), y = view.y(p);
            // What lies on the rim itself is in front or behind by rounding.
            if (dot(p, view.forward) < 1e-9L || !(x > 0 && x < view.width - 1 && y > 0 && y < view.height - 1))
                continue;
            const int column = static_cast<int>(std::lround(x)), row = static_cast<int>(std::lround(y));
            check_pixel(column, row);
            if (how == coverage::conservative && std::fabs(x - column) < 0.49L && std::fabs(y - row) < 0.49L)
                agree("outline at " + std::to_string(column) + ", " + std::to_string(row), input,
                      is_covered(column, row), true);
        }
    }
}

} // namespace model

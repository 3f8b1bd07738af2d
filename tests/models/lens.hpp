// Views by real lenses, point by point: the models' formulas, limits found by walking outward, and masks
// judged by points that are seen to be inside. Without bounds, chords or scanlines.
#pragma once

#include "overlay.hpp"
#include <optional>
#include <set>
#include <variant>

namespace model {

using vela::overlay::fisheye, vela::overlay::orientation, vela::overlay::pinhole, vela::overlay::position,
    vela::overlay::view;
using point = std::array<real, 2>;
using any_lens = std::variant<double, pinhole, fisheye>; // the field of view, or a lens

// A lens in the camera's axes.
struct optics {
    any_lens lens;
    int width, height;
    real limit = kPi; // the angle from the axis, as far as the radial terms go
    real safe = 0;    // a radius, on the plane at depth 1, within which all directions are seen
    static constexpr real kPi = 180 * kDegree;

    optics(const any_lens &given, int columns, int rows) : lens(given), width(columns), height(rows) {
        if (std::holds_alternative<double>(lens))
            limit = kPi / 2;
        const real end = std::holds_alternative<pinhole>(lens) ? kPi / 2 : kPi;
        if (std::holds_alternative<double>(lens))
            return;
        for (limit = 1e-4; limit < end - 1e-4 && radius(limit + 1e-5) > radius(limit - 1e-5);)
            limit += 1e-4;
        if (limit >= end - 1e-4)
            limit = end;
        else
            for (real low = limit - 1e-4, high = limit; high - low > 1e-12; limit = high) {
                const real middle = (low + high) / 2;
                (radius(middle + 1e-7) > radius(middle - 1e-7) ? low : high) = middle;
            }
        safe = std::holds_alternative<pinhole>(lens) ? std::tan(limit) : 1e9;
        for (int i = 0; i < 64 && is_folding(); ++i)
            safe = std::min(safe, fold(std::cos(i * 0.0982), std::sin(i * 0.0982), std::min(safe, 20.0), 400) * 0.98);
    }

    bool is_folding() const {
        const auto *l = std::get_if<pinhole>(&lens);
        return l && (l->p1 != 0 || l->p2 != 0);
    }

    // How far out from the axis the map keeps its orientation, up to a radius.
    real fold(real along, real across, real end, int count) const {
        for (int i = 1; i <= count; ++i) {
            const real out = end * i / count, h = 1e-6;
            const auto at = [&](real dx, real dy) { return project({out * along + dx, out * across + dy, 1}); };
            const point right = at(h, 0), left = at(-h, 0), down = at(0, h), up = at(0, -h);
            if ((right[0] - left[0]) * (down[1] - up[1]) <= (right[1] - left[1]) * (down[0] - up[0]))
                return out;
        }
        return 2 * end;
    }

    real radius(real angle) const {
        if (const auto *l = std::get_if<pinhole>(&lens)) {
            const real r = std::tan(angle), s = r * r;
            return r * (1 + l->k1 * s + l->k2 * s * s + l->k3 * s * s * s);
        }
        const auto &l = std::get<fisheye>(lens);
        const real s = angle * angle;
        return angle * (1 + l.k1 * s + l.k2 * s * s + l.k3 * s * s * s + l.k4 * s * s * s * s);
    }

    // x to the right, y downward, z forward.
    point project(const vec3 &p) const {
        const auto [x, y, z] = p;
        if (const auto *fov = std::get_if<double>(&lens)) {
            const real scale = width / (*fov * kDegree);
            return {width / 2 + scale * std::asin(std::clamp<real>(x, -1, 1)),
                    height / 2 + scale * std::asin(std::clamp<real>(y, -1, 1))};
        }
        if (const auto *l = std::get_if<pinhole>(&lens)) {
            const real a = x / z, b = y / z, s = a * a + b * b, f = 1 + s * (l->k1 + s * (l->k2 + s * l->k3));
            return {l->fx * (a * f + 2 * l->p1 * a * b + l->p2 * (s + 2 * a * a)) + l->cx,
                    l->fy * (b * f + l->p1 * (s + 2 * b * b) + 2 * l->p2 * a * b) + l->cy};
        }
        const auto &l = std::get<fisheye>(lens);
        const real r = std::hypot(x, y), out = radius(std::atan2(r, z));
        return {l.cx + l.fx * (r > 0 ? out * x / r : 0), l.cy + l.fy * (r > 0 ? out * y / r : 0)};
    }

    real angle(const vec3 &p) const { return std::atan2(std::hypot(p[0], p[1]), p[2]); }

    // Whether the map keeps its orientation all the way out to a direction.
    bool sees(const vec3 &p) const {
        const real end = angle(p);
        if (!(end < limit))
            return false;
        const real r = std::hypot(p[0], p[1]), out = r / p[2];
        return !is_folding() || out < safe || fold(p[0] / r, p[1] / r, out, 200) > out;
    }
};

// A camera that points somewhere.
struct camera {
    int width, height;
    orientation where;
    any_lens lens;
    optics model{lens, width, height};
    vec3 forward = towards(where.pan, where.tilt), right, down;

    camera(int columns, int rows, const orientation &turned, const any_lens &by)
        : width(columns), height(rows), where(turned), lens(by) {
        const vec3 level = towards(real(where.pan) + 90, 0), up = towards(where.pan, real(where.tilt) + 90);
        const real cosine = std::cos(where.roll * kDegree), sine = std::sin(where.roll * kDegree);
        right = mixed(cosine, level, -sine, up);
        down = mixed(-cosine, up, -sine, level);
    }

    vec3 turned(const vec3 &p) const { return {dot(p, right), dot(p, down), dot(p, forward)}; }
    std::optional<point> project(const vec3 &p) const {
        const vec3 q = turned(p);
        return model.sees(q) ? std::optional(model.project(q)) : std::nullopt;
    }
    std::optional<view> made() const {
        if (const auto *fov = std::get_if<double>(&lens))
            return view::make(width, height, direction{where.pan, where.tilt}, *fov);
        if (const auto *l = std::get_if<pinhole>(&lens))
            return view::make(width, height, where, *l);
        return view::make(width, height, where, std::get<fisheye>(lens));
    }
    std::vector<double> numbers() const {
        std::vector<double> all = {double(width), double(height), where.pan, where.tilt, where.roll};
        if (const auto *fov = std::get_if<double>(&lens))
            all.push_back(*fov);
        else if (const auto *l = std::get_if<pinhole>(&lens))
            all.insert(all.end(), {l->fx, l->fy, l->cx, l->cy, l->k1, l->k2, l->p1, l->p2, l->k3});
        else if (const auto *f = std::get_if<fisheye>(&lens))
            all.insert(all.end(), {f->fx, f->fy, f->cx, f->cy, f->k1, f->k2, f->k3, f->k4});
        return all;
    }
    bool shows(real x, real y) const { return -0.5 <= x && x <= width - 0.5 && -0.5 <= y && y <= height - 0.5; }
};

// Points of the arc between two directions, at most that far apart where they are on the screen or 1.5 pixels beside
// it.
template <class Each>
void walk_arc(const camera &seen, const vec3 &a, const vec3 &b, real step, Each &&each, int depth = 0) {
    const vec3 middle = unit(mixed(1, a, 1, b));
    const auto from = seen.project(a), to = seen.project(b), at = seen.project(middle);
    const real angle = std::atan2(length(cross(a, b)), dot(a, b));
    if (from && to && at) {
        const real away = std::hypot((*at)[0] - (*from)[0], (*at)[1] - (*from)[1]) +
                          std::hypot((*at)[0] - (*to)[0], (*at)[1] - (*to)[1]);
        const auto is_beside = [&](size_t i, int size) {
            const real low = std::min({(*from)[i], (*to)[i], (*at)[i]}),
                       high = std::max({(*from)[i], (*to)[i], (*at)[i]});
            return low - away > size + 1 || high + away < -2;
        };
        if (angle < 0.2 && (is_beside(0, seen.width) || is_beside(1, seen.height)))
            return;
        if (away <= 2 * step)
            return each(middle, *at);
    } else if ((!from && !to && !at && angle < 0.01) || depth > 30)
        return;
    walk_arc(seen, a, middle, step, each, depth + 1);
    walk_arc(seen, middle, b, step, each, depth + 1);
}

// The pixels that are covered.
struct picture {
    int width, height;
    std::vector<bool> covered = std::vector<bool>(static_cast<size_t>(width) * static_cast<size_t>(height));
    std::vector<std::array<int, 2>> ends{}; // beside the ends of runs

    size_t index(int x, int y) const {
        return static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x);
    }
    bool has(int x, int y) const { return x == std::clamp(x, 0, width - 1) && y == std::clamp(y, 0, height - 1); }
    bool is_covered(int x, int y) const { return has(x, y) && covered[index(x, y)]; }
    auto filler(const std::vector<double> &input) {
        return [this, &input, before = std::pair(-1, 0)](int y, int begin, int end) mutable {
            agree("whether a run is in the picture", input, has(begin, y) && begin < end && end <= width, true);
            agree("whether runs have a gap in between", input, before < std::pair(y, begin), true);
            before = {y, end};
            for (int x = begin; x < end; ++x)
                covered[index(x, y)] = true;
            for (const int x : {begin - 1, begin, end - 1, end})
                ends.push_back({x, y});
        };
    }
};

// Open pixels and those that are filled too far, of what was looked at.
struct faults {
    long looked_at = 0, open = 0, too_far = 0;
};

// Marks the pixels whose centres are within 1.5 pixels of a point.
inline void mark_near(std::vector<bool> &near, const picture &on, const point &p) {
    const int x = static_cast<int>(std::lround(p[0])), y = static_cast<int>(std::lround(p[1]));
    for (int i = x - 2; i <= x + 2; ++i)
        for (int j = y - 2; j <= y + 2; ++j)
            if (on.has(i, j) && std::hypot(i - p[0], j - p[1]) <= 1.5)
                near[on.index(i, j)] = true;
}

// Judges what a mask covers on a view, or on the way between views: at moments of it, as many as given.
template <class Below>
faults judge(const mask &truth, const std::vector<camera> &moments, const picture &drawn, coverage how, Below &&below,
             int samples, real step) {
    faults found;
    std::vector<bool> near(drawn.covered.size());
    std::vector<view> views;
    for (const camera &seen : moments)
        views.push_back(*seen.made());
    // The direction that a position shows: what the view says, if that is projected there.
    const auto shown_at = [&](size_t moment, real x, real y) -> std::optional<vec3> {
        const auto shown = views[moment].unproject({double(x), double(y)});
        if (!shown)
            return std::nullopt;
        const vec3 p = towards(shown->pan, shown->tilt);
        const auto again = moments[moment].project(p);
        return again && std::hypot((*again)[0] - x, (*again)[1] - y) < 0.01 ? std::optional(p) : std::nullopt;
    };
    const auto is_inside = [&](size_t moment, real x, real y) {
        const auto p = shown_at(moment, x, y);
        return p && truth.contains(*p);
    };
    // Within rounding of an edge either will do for a centre.
    const auto is_on_edge = [&](real x, real y) {
        const auto p = shown_at(0, x, y);
        const auto at = p ? moments[0].project(truth.nearest(*p)) : std::nullopt;
        return at && std::hypot((*at)[0] - x, (*at)[1] - y) < 0.02;
    };
    // A twentieth of a pixel from the rim decides neither way.
    const auto is_at_rim = [&](size_t moment, const point &at) {
        for (const auto &[dx, dy] : {point{0.05, 0}, {-0.05, 0}, {0, 0.05}, {0, -0.05}})
            if (!views[moment].unproject({double(at[0] + dx), double(at[1] + dy)}))
                return true;
        return false;
    };
    std::vector<std::array<int, 2>> looked_at;
    for (size_t moment = 0; moment < moments.size(); ++moment)
        for (size_t i = 0; i < truth.points.size(); ++i)
            walk_arc(moments[moment], truth.points[i], truth.next(i), step, [&](const vec3 &, const point &at) {
                const std::array<int, 2> pixel = {static_cast<int>(std::lround(at[0])),
                                                  static_cast<int>(std::lround(at[1]))};
                const bool is_clear = std::fabs(at[0] - pixel[0]) < 0.49 && std::fabs(at[1] - pixel[1]) < 0.49;
                mark_near(near, drawn, at);
                if (!drawn.has(pixel[0], pixel[1]) || !is_clear)
                    return;
                ++found.looked_at;
                if (how == coverage::conservative)
                    found.open += !drawn.is_covered(pixel[0], pixel[1]) && !is_at_rim(moment, at);
                else if (below(20) == 0)
                    looked_at.push_back(pixel);
            });
    for (int i = 0; i < samples; ++i) {
        const int x = below(drawn.width);
        looked_at.push_back({x, below(drawn.height)});
        for (int j = 0; j < 4 && !drawn.ends.empty(); ++j) {
            const auto [left, y] = drawn.ends[static_cast<size_t>(below(static_cast<int>(drawn.ends.size())))];
            looked_at.push_back({left, y + below(3) - 1});
        }
    }
    for (const auto &[x, y] : looked_at) {
        if (!drawn.has(x, y))
            continue;
        ++found.looked_at;
        const bool is_covered = drawn.is_covered(x, y);
        if (how == coverage::centres) {
            int inside = 0;
            for (const auto &[dx, dy] : {point{0, 0}, {0.02, 0}, {-0.02, 0}, {0, 0.02}, {0, -0.02}})
                inside += is_inside(0, x + dx, y + dy);
            if ((is_covered ? inside == 0 : inside == 5) && !is_on_edge(x, y))
                ++(is_covered ? found.too_far : found.open);
            continue;
        }
        bool is_near = near[drawn.index(x, y)];
        for (size_t moment = 0; moment < moments.size(); ++moment) {
            for (const auto &[dx, dy] : {point{0, 0}, {0.49, 0.49}, {-0.49, 0.49}, {0.49, -0.49}, {-0.49, -0.49}})
                if (is_inside(moment, x + dx, y + dy)) {
                    is_near = true;
                    found.open += !is_covered;
                    break;
                }
            if (is_near && moments.size() > 1 && is_covered)
                break;
        }
        // Along the rim there is no arc.
        for (size_t i = 0; is_covered && !is_near && i < 48 * moments.size(); ++i) {
            const real away = double(i / moments.size() % 3 + 1) * 0.5, turn = double(i / moments.size() / 3) * 0.3927;
            is_near = is_inside(i % moments.size(), x + away * std::cos(turn), y + away * std::sin(turn));
        }
        found.too_far += is_covered && !is_near;
    }
    return found;
}

// The models that figures are given for.
enum class kind { axes, pinhole, distorted, fisheye, distorted_fisheye };
constexpr const char *kKinds[] = {"sines", "pinhole", "pinhole, distorted", "fisheye", "fisheye, distorted"};

// A lens as calibration gives them, some with the boundary of what they see in the picture; for pictures of a size.
template <class Below>
any_lens any_lens_of(kind which, int width, int height, Below &&below) {
    const auto within = [&](double range) { return range * (below(20001) - 10000) / 10000; };
    const double off = below(3) ? 0.02 : 0.6, cx = width / 2.0 + width * within(off),
                 cy = height / 2.0 + height * within(off), aspect = below(2) ? 1 : 1 + within(0.1);
    if (which == kind::axes)
        return 1.0 + below(below(3) ? 120 : 180);
    const bool is_pinhole = which == kind::pinhole || which == kind::distorted;
    const double fov = 1 + below(is_pinhole ? below(3) ? 100 : 170 : below(3) ? 180 : 360);
    const double f = is_pinhole ? pinhole::of_fov(width, height, fov).fx : fisheye::of_fov(width, height, fov).fx;
    const bool is_mild = below(3) > 0;
    if (which == kind::pinhole)
        return pinhole{f, f * aspect, cx, cy};
    if (which == kind::distorted)
        return is_mild
                   ? pinhole{f,           f * aspect, cx, cy, within(0.3), within(0.1), within(0.003), within(0.003),
                             within(0.02)}
                   : pinhole{f,
                             f * aspect,
                             cx,
                             cy,
                             within(0.5),
                             within(0.5),
                             below(2) ? within(0.1) : 0,
                             below(2) ? within(0.1) : 0,
                             within(0.3)};
    if (which == kind::fisheye)
        return fisheye{f, f * aspect, cx, cy};
    return is_mild ? fisheye{f, f * aspect, cx, cy, within(0.05), within(0.01), within(0.001), within(0.0002)}
                   : fisheye{f, f * aspect, cx, cy, within(0.3), within(0.3), within(0.2), within(0.1)};
}

// A mask and a camera that sees something of most.
template <class Below>
std::pair<std::vector<direction>, camera> any_scene(kind which, Below &&below) {
    static constexpr int sizes[][2] = {{320, 180}, {640, 480}, {1920, 1080}, {97, 61}};
    const auto [width, height] = sizes[below(4)];
    const auto [corners, view] = any_mask(below);
    const double roll = which == kind::axes ? 0 : below(2) ? below(361) - 180.0 : 0;
    return {corners, camera(width, height, {view.centre.pan, std::clamp(view.centre.tilt, -90.0, 90.0), roll},
                            any_lens_of(which, width, height, below))};
}

// A camera between two: each angle by the shorter way, each number of the lens evenly.
inline camera between(const camera &a, const camera &b, double part) {
    const auto way = [](double from, double to) { return std::remainder(to - from, 360); };
    const auto mix = [part](double from, double to) { return from + part * (to - from); };
    const orientation where = {a.where.pan + part * way(a.where.pan, b.where.pan), mix(a.where.tilt, b.where.tilt),
                               a.where.roll + part * way(a.where.roll, b.where.roll)};
    if (const auto *fov = std::get_if<double>(&a.lens))
        return {a.width, a.height, where, mix(*fov, std::get<double>(b.lens))};
    if (const auto *f = std::get_if<pinhole>(&a.lens)) {
        const auto &t = std::get<pinhole>(b.lens);
        return {a.width, a.height, where,
                pinhole{mix(f->fx, t.fx), mix(f->fy, t.fy), mix(f->cx, t.cx), mix(f->cy, t.cy), mix(f->k1, t.k1),
                        mix(f->k2, t.k2), mix(f->p1, t.p1), mix(f->p2, t.p2), mix(f->k3, t.k3)}};
    }
    const auto &f = std::get<fisheye>(a.lens), &t = std::get<fisheye>(b.lens);
    return {a.width, a.height, where,
            fisheye{mix(f.fx, t.fx), mix(f.fy, t.fy), mix(f.cx, t.cx), mix(f.cy, t.cy), mix(f.k1, t.k1),
                    mix(f.k2, t.k2), mix(f.k3, t.k3), mix(f.k4, t.k4)}};
}

// Where a camera may have turned and zoomed while the shutter was open.
template <class Below>
camera moved(const camera &seen, Below &&below, double degrees, double zoom) {
    const auto within = [&](double range) { return range * (below(20001) - 10000) / 10000; };
    const double pan = below(4) ? within(degrees) : 0, tilt = below(2) ? within(degrees) : 0,
                 roll = !std::holds_alternative<double>(seen.lens) && below(4) == 0 ? within(4 * degrees) : 0;
    const double larger = below(3) ? 1 : 1 + within(zoom);
    any_lens lens = seen.lens;
    if (auto *fov = std::get_if<double>(&lens))
        *fov = std::min(*fov * larger, 180.0);
    else
        std::visit(
            [larger](auto &l) {
                if constexpr (!std::is_same_v<std::decay_t<decltype(l)>, double>)
                    l.fx *= larger, l.fy *= larger;
            },
            lens);
    return {seen.width,
            seen.height,
            {seen.where.pan + pan + 360 * (below(3) - 1), std::clamp(seen.where.tilt + tilt, -90.0, 90.0),
             seen.where.roll + roll},
            lens};
}

struct sweep_scene {
    std::vector<direction> corners;
    camera from, to;
};

// A mask, and a camera that turns and zooms by some 20 of few pixels.
template <class Below>
sweep_scene any_sweep(kind which, Below &&below) {
    const auto [corners, seen] = any_scene(which, below);
    const int width = below(2) ? 160 : 97, height = below(2) ? 90 : 61;
    const camera from(width, height, seen.where, any_lens_of(which, width, height, below));
    double degrees = 1;
    if (const auto made = from.made()) {
        const auto a = made->unproject({width / 2.0, height / 2.0}),
                   b = made->unproject({width / 2.0 + 20, height / 2.0});
        if (a && b)
            degrees =
                double(std::acos(std::min<real>(1, dot(towards(a->pan, a->tilt), towards(b->pan, b->tilt)))) / kDegree);
    }
    return {corners, from, moved(from, below, degrees, 0.2)};
}

// Judges what a mask covers between two cameras by as many moments.
template <class Below>
std::optional<faults> judge_sweep(const std::vector<direction> &corners, const camera &from, const camera &to,
                                  Below &&below, int samples, int count, real step) {
    const mask truth(corners);
    auto drawn = vela::overlay::mask::make(corners);
    const auto first = from.made(), last = to.made();
    if (!drawn || !first || !last || !truth.is_clear)
        return std::nullopt;
    std::vector<double> input = from.numbers();
    const std::vector<double> more = to.numbers();
    input.insert(input.end(), more.begin(), more.end());
    for (const direction &corner : corners)
        input.insert(input.end(), {corner.pan, corner.tilt});
    picture covered{from.width, from.height};
    drawn->draw(*first, *last, covered.filler(input));
    std::vector<camera> moments;
    for (int i = 0; i <= count; ++i)
        if (const camera one = between(from, to, 1.0 * i / count); one.made())
            moments.push_back(one);
    return judge(truth, moments, covered, coverage::conservative, below, samples, step);
}

// Judges a mask on a view; nothing for a lens that is refused or a mask of which no side is clearly outside.
template <class Below>
std::optional<faults> judge_mask(const std::vector<direction> &corners, const camera &seen, coverage how, Below &&below,
                                 int samples, real step) {
    const mask truth(corners);
    auto drawn = vela::overlay::mask::make(corners);
    const auto made = seen.made();
    if (!drawn || !made || !truth.is_clear)
        return std::nullopt;
    std::vector<double> input = seen.numbers();
    for (const direction &corner : corners)
        input.insert(input.end(), {corner.pan, corner.tilt});
    picture covered{seen.width, seen.height};
    drawn->draw(*made, covered.filler(input), how);
    return judge(truth, {seen}, covered, how, below, samples, step);
}

} // namespace model

/**
 * @file
 * Arcs of great circles as chords on the screen, for any lens. Part of <vela/overlay.hpp>; nothing here is public.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <vela/overlay/chords.hpp>
#include <vela/overlay/optics.hpp>

namespace vela::overlay::internal {

// The shorter arc between two directions, by the angle from the first.
struct arc {
    vec from, beside;
    double angle;

    arc(vec a, vec b) noexcept : from(a), beside{}, angle(0) {
        const vec normal = cross(a, b);
        const double sine = length(normal);
        angle = std::atan2(sine, dot(a, b));
        if (sine > 0)
            beside = 1 / sine * cross(normal, a);
    }
    vec at(double turn) const noexcept { return std::cos(turn) * from + std::sin(turn) * beside; }
    vec operator()(double part) const noexcept { return at(part * angle); }
};

// Clips an arc to the cone around the axis. part(from, to, enters, leaves) is called for each part of it within, at
// most two, with whether it begins or ends on the cone. Whether a corner is within depends on the corner alone.
template <class Part>
void clip_to_cone(vec a, vec b, double cosine, Part &&part) {
    const bool a_is_inside = a.x >= cosine, b_is_inside = b.x >= cosine;
    // A cone up to 90 degrees is convex.
    if (a_is_inside && b_is_inside && cosine >= 0)
        return part(a, b, false, false);
    // At an angle t from a the cosine is height cos(t - highest).
    const arc curve(a, b);
    const double height = std::hypot(a.x, curve.beside.x), highest = std::atan2(curve.beside.x, a.x);
    const double half = std::acos(std::clamp(cosine / std::max(height, 1e-300), -1.0, 1.0));
    const auto at = [&](double turn) { return curve.at(std::clamp(turn, 0.0, curve.angle)); };
    const double leaves = highest + half, enters = highest - half, enters_again = enters + 2 * kPi;
    if (a_is_inside && b_is_inside) {
        if (!(leaves < enters_again && enters_again < curve.angle))
            return part(a, b, false, false);
        part(a, at(leaves), false, true);
        part(at(enters_again), b, true, false);
    } else if (a_is_inside) {
        part(a, at(leaves), false, true);
    } else if (b_is_inside) {
        part(at(std::fabs(curve.angle - highest) <= half ? enters : enters_again), b, true, false);
    } else if (height > std::fabs(cosine) && 0 < enters && enters < leaves && leaves < curve.angle) {
        part(at(enters), at(leaves), true, true);
    }
}

// Cuts an arc within the cone where it crosses the fold; an end on the cone isn't seen. Two crossings closer than a
// 32nd of the arc may be missed, with what is between.
template <class Lens, class Part>
void cut_at_fold(const Lens &lens, vec a, vec b, bool enters, bool leaves, Part &&part) {
    constexpr int kSteps = 32, kMaxParts = 2;
    const vec from = lens.flat(a), to = lens.flat(b);
    const auto at = [&](double t) { return t == 1 ? to : lens.flat(from + t * (to - from)); };
    bool is_seen = !enters && lens.sees(from), begins_at_fold = false;
    double begin = 0;
    for (int i = 1, parts = 0; i <= kSteps && parts < kMaxParts; ++i) {
        double low = 1.0 * (i - 1) / kSteps, high = 1.0 * i / kSteps;
        const bool is_next_seen = !(i == kSteps && leaves) && lens.sees(at(high));
        if (is_next_seen == is_seen)
            continue;
        for (double middle = (low + high) / 2; low < middle && middle < high; middle = (low + high) / 2)
            (lens.sees(at(middle)) == is_seen ? low : high) = middle;
        if (is_seen) {
            part(at(begin), at(low), begins_at_fold, true);
            ++parts;
        }
        begin = high;
        begins_at_fold = true;
        is_seen = is_next_seen;
    }
    if (is_seen)
        part(at(begin), to, begins_at_fold, false);
}

// Clips an arc to what a lens sees and may show on the screen; part() as above.
template <class Lens, class Part>
void cut_to_seen(const Lens &lens, vec a, vec b, Part &&part) {
    clip_to_cone(a, b, lens.cosine(), [&](vec from, vec to, bool enters, bool leaves) {
        if (lens.folds())
            cut_at_fold(lens, from, to, enters, leaves, part);
        else
            part(from, to, enters, leaves);
    });
}

// Cuts an arc into chords that are within a tolerance of it, where they may be on the screen.
template <class Lens>
class flattener {
public:
    flattener(const Lens &lens, const window &screen, double tolerance) noexcept
        : lens_(lens), screen_(screen), tolerance_(tolerance) {}

    // chord(from, to) is called along the arc from a to b, which the lens must see; not for what is right of, above or
    // below the screen.
    template <class Chord>
    void arc(vec a, vec b, Chord &&chord) const {
        const vec from = lens_.flat(a), to = lens_.flat(b);
        int splits = 0;
        divide(
            from, to, lens_.project(from), lens_.project(to), [this](vec p, vec q) { return lens_.bend(p, q); },
            [this](vec p, vec q, double part) { return lens_.flat(p + part * (q - p)); },
            [this](vec p) { return lens_.project(p); }, chord, 0, splits);
    }

    // The same along the boundary of what the lens sees, between two angles around its axis and their positions.
    template <class Chord>
    void rim(double from, double to, position at_from, position at_to, Chord &&chord) const {
        const auto place = [this](double around) { return lens_.project(lens_.flat(lens_.rim(around))); };
        int splits = 0;
        divide(
            from, to, at_from, at_to, [this](double a, double b) { return lens_.rim_bend(a, b); },
            [](double a, double b, double part) { return mixed(a, b, part); }, place, chord, 0, splits);
    }

private:
    template <class Point, class Bend, class Between, class Place, class Chord>
    void divide(const Point &a, const Point &b, position from, position to, const Bend &bend, const Between &between,
                const Place &place, Chord &chord, int depth, int &splits) const {
        const double away = bend(a, b);
        const window box = around(from, to).grown(away);
        if (box.left > screen_.right || box.top > screen_.bottom || box.bottom < screen_.top)
            return;
        if (box.right < screen_.left || away <= tolerance_)
            return chord(from, to);
        const double count = std::ceil(std::sqrt(away / tolerance_));
        if (!(count <= kMaxParts) && depth < kMaxDepth && splits < kMaxSplits) {
            ++splits;
            const Point middle = between(a, b, 0.5);
            const position at = place(middle);
            divide(a, middle, from, at, bend, between, place, chord, depth + 1, splits);
            divide(middle, b, at, to, bend, between, place, chord, depth + 1, splits);
            return;
        }
        const int parts = count <= kMaxParts ? static_cast<int>(count) : 1;
        for (int i = 1; i < parts; ++i) {
            const position at = place(between(a, b, 1.0 * i / parts));
            chord(from, at);
            from = at;
        }
        chord(from, to);
    }

    static constexpr double kMaxParts = 8;
    // Only bounds that overflow lead there: numbers of a lens that isn't one.
    static constexpr int kMaxDepth = 48, kMaxSplits = 1 << 14;

    const Lens &lens_;
    const window &screen_;
    double tolerance_;
};

} // namespace vela::overlay::internal

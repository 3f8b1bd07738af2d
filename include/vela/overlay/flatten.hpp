/**
 * @file
 * Arcs of great circles as chords on the screen, for any lens. Part of <vela/overlay.hpp>; nothing here is public.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
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
        if (!(half < kPi && enters_again < curve.angle))
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

// Cuts an arc within the cone where it crosses the fold. More than four ends on the boundary of what is seen don't
// count: those nearest to each other go.
template <class Lens, class Part>
void cut_at_fold(const Lens &lens, vec a, vec b, bool enters, bool leaves, Part &&part) {
    const vec from = lens.flat(a), to = lens.flat(b);
    const bool begins_seen = !lens.is_beyond_fold(from), ends_seen = !lens.is_beyond_fold(to);
    std::array<double, 2 * Lens::kFoldEdges + 1> cuts;
    std::size_t count = 0;
    lens.cross_fold(from, to, [&](double t) { cuts[count++] = t; });
    std::sort(cuts.begin(), cuts.begin() + count);
    if ((count % 2 == 0) != (begins_seen == ends_seen))
        cuts[count++] = 1; // by rounding
    while (count + (begins_seen && enters) + (ends_seen && leaves) > 4) {
        std::size_t nearest = 0;
        for (std::size_t i = 1; i + 1 < count; ++i)
            if (cuts[i + 1] - cuts[i] < cuts[nearest + 1] - cuts[nearest])
                nearest = i;
        std::copy(cuts.begin() + nearest + 2, cuts.begin() + count, cuts.begin() + nearest);
        count -= 2;
    }
    const auto at = [&](std::size_t cut) { return lens.flat(from + cuts[cut] * (to - from)); };
    for (std::size_t i = begins_seen ? 0 : 1; i <= count; i += 2)
        part(i == 0 ? from : at(i - 1), i == count ? to : at(i), i > 0 || enters, i < count || leaves);
}

// Clips an arc to what a lens sees and may show on the screen; part() as above.
template <class Lens, class Part>
void cut_to_seen(const Lens &lens, vec a, vec b, Part &&part) {
    clip_to_cone(a, b, lens.cosine(), [&](vec from, vec to, bool enters, bool leaves) {
        if constexpr (Lens::kFoldEdges > 0)
            if (lens.folds())
                return cut_at_fold(lens, from, to, enters, leaves, part);
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
        arc(from, to, lens_.project(from), lens_.project(to), chord);
    }

    // The same for flat ends, from and to their positions.
    template <class Chord>
    void arc(vec from, vec to, position at_from, position at_to, Chord &&chord) const {
        int splits = 0;
        divide(
            from, to, at_from, at_to, [this](vec p, vec q) { return lens_.bend(p, q); },
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

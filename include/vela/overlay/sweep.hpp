/**
 * @file
 * What edges pass on the screen while a view turns and zooms into another one. Part of <vela/overlay.hpp>; nothing here
 * is public.
 *
 * What is inside at any moment was inside at first, or an edge came over it from the inside to the outside. An arc that
 * moves to one side passes each point once: what it passes is enclosed by where it is at first and at last and by the
 * paths of its ends. Arcs and times are divided until the side is certain.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vela/overlay/boundary.hpp>
#include <vela/overlay/flatten.hpp>
#include <vela/overlay/optics.hpp>
#include <vela/overlay/polygon.hpp>

namespace vela::overlay::internal {

// Between the views each angle changes evenly with the time, by the shorter way around, and so do the numbers of the
// lens.
template <class Lens>
class motion {
public:
    motion(const orientation &from, const orientation &to, const Lens &lens_from, const Lens &lens_to) noexcept
        : from_{within_half_turn(from.pan), within_half_turn(from.tilt), within_half_turn(from.roll)},
          turn_{turn_between(from.pan, to.pan), turn_between(from.tilt, to.tilt), turn_between(from.roll, to.roll)},
          lens_(lens_from), lens_to_(lens_to), widest_(lens_from.widest(lens_to)), zooms_(!(lens_from == lens_to)),
          is_all_seen_(lens_from.shows_all_until(lens_to)),
          limit_angle_(std::max(lens_from.limit_angle(), lens_to.limit_angle())),
          safe_angle_(std::min(lens_from.safe_angle(), lens_to.safe_angle())), first_(compute(0)),
          halfway_(compute(0.5)), last_(compute(1)) {
        const double pan = std::fabs(turn_.pan) * kDegree, tilt = std::fabs(turn_.tilt) * kDegree,
                     roll = std::fabs(turn_.roll) * kDegree;
        speed_change_ = pan * tilt + roll * (pan + tilt);
    }

    // Whether positions see at all times what they see at any.
    bool is_rim_fixed() const noexcept { return !zooms_ || is_all_seen_; }

    // Adds what an edge passes, where it meets the screen, as closed outlines that lie within kTolerance and are made
    // of chords: sink.outline(from, to, side, weight = 1). The side is 1 for areas that the edge passes away from its
    // normal, -1 for others; those of another side than the given one, if that isn't 0, may be left out.
    // sink.line(from, to) is next to all of a part that has no width.
    template <class Sink>
    void pass(const edge &whole, int side, const window &screen, Sink &sink) const {
        int splits = 0;
        pass({whole.from, whole.to, whole.normal, 0, 1, 0}, side, screen, sink, splits);
    }

    // Pixels: how far what is passed may be from the areas, and the arcs and paths around them from their chords.
    static constexpr double kTolerance = 0.3, kFlatness = 0.2;

private:
    struct moment {
        frame axes;
        Lens lens;
    };

    // An arc during a part of the time.
    struct patch {
        vec a, b, normal;
        double begin, end;
        int depth;

        patch with_arc(vec p, vec q) const noexcept { return {p, q, normal, begin, end, depth + 1}; }
        patch with_time(double from, double to) const noexcept { return {a, b, normal, from, to, depth + 1}; }
    };

    // Upper bounds during a part of the time: of the angle that directions within a distance of one turn by in the
    // view, and of how far they curve away from a great circle.
    struct swing {
        double angle, curve;
    };

    // What bounds say of a patch.
    struct extent {
        double time, angle;
        swing swung;
        bounds near;
        drift drifts;
        double across() const noexcept { return near.speed * angle / 2; }
        double along() const noexcept { return near.speed * swung.angle / 2 + drifts.speed * time / 2; }
        // How far the paths of directions are from their chords.
        double path_bend() const noexcept {
            return (near.bending * swung.angle * swung.angle + near.speed * swung.curve) / 8 +
                   drifts.shear * swung.angle * time / 4 + drifts.acceleration * time * time / 8;
        }
        double arc_bend() const noexcept { return near.bending * angle * angle / 8; }
    };

    static bool meet(const window &a, const window &b) noexcept {
        return a.left <= b.right && b.left <= a.right && a.top <= b.bottom && b.top <= a.bottom;
    }

    static double turn_between(double from, double to) noexcept {
        return within_half_turn(within_half_turn(to) - within_half_turn(from));
    }

    moment compute(double time) const noexcept {
        return {frame::of(orientation{from_.pan + time * turn_.pan, from_.tilt + time * turn_.tilt,
                                      from_.roll + time * turn_.roll}),
                zooms_ ? lens_.at(lens_to_, time) : lens_};
    }
    moment at(double time) const noexcept {
        return time == 0 ? first_ : time == 0.5 ? halfway_ : time == 1 ? last_ : compute(time);
    }

    // The axis and speed of the view's rotation.
    vec rotation(double time, const frame &axes) const noexcept {
        const double pan = (from_.pan + time * turn_.pan) * kDegree;
        return kDegree *
               (vec{turn_.tilt * std::sin(pan), -turn_.tilt * std::cos(pan), turn_.pan} - turn_.roll * axes.forward);
    }

    swing swing_near(vec p, double within, vec axis, double time) const noexcept {
        const double change = speed_change_ * time / 2, more = length(axis) * within + change,
                     across = length(cross(axis, p)) + more, along = std::fabs(dot(axis, p)) + more;
        return {across * time, (across * along + speed_change_) * time * time};
    }

    static position place(vec p, const moment &when) noexcept {
        return when.lens.project(when.lens.flat(when.axes.to_local(p)));
    }

    template <class Sink>
    void pass(const patch &part, int expected, const window &screen, Sink &sink, int &splits) const {
        const double middle = (part.begin + part.end) / 2;
        const moment during = at(middle);
        // How fast the ends leave their place to the side that the normal doesn't point to; an arc that is less than
        // half a circle is as fast as its slower end. It holds for other times but for the change of the rotation.
        const vec axis = rotation(middle, during.axes), halfway = unit(part.a + part.b);
        extent size = {part.end - part.begin, arc_angle(part.a, part.b), {}, {}, {}};
        const double from_speed = dot(axis, cross(part.a, part.normal)),
                     to_speed = dot(axis, cross(part.b, part.normal)),
                     slack = zooms_ ? kUnbounded : speed_change_ * size.time / 2;
        const auto side_of = [&](double allowed) {
            return int{std::min(from_speed, to_speed) >= slack - allowed} -
                   int{std::max(from_speed, to_speed) <= allowed - slack};
        };
        int side = side_of(0);
        if (side != 0 && expected != 0 && side != expected)
            return;
        size.swung = swing_near(halfway, size.angle / 2, axis, size.time);
        const double reach = (size.angle + size.swung.angle) / 2;
        const vec p = during.axes.to_local(halfway);
        const double from_axis = std::atan2(std::hypot(p.y, p.z), p.x);
        if (from_axis - reach > limit_angle_)
            return;
        size.near = widest_.bounds_near(p, reach);
        size.drifts = zooms_ ? lens_.drift_to(lens_to_, p, reach) : drift{0, 0, 0};
        const double across = size.across(), along = size.along();
        bool is_arc_split = size.angle >= size.swung.angle;
        vec cut = halfway;
        if (across + along < kUnbounded) {
            const position here = during.lens.project(during.lens.flat(p));
            if (!meet(window{here.x, here.y, here.x, here.y}.grown(across + along), screen))
                return;
            is_arc_split = across >= along;
            if (from_axis + reach <= safe_angle_) {
                if (side == 0)
                    side = zooms_ ? side_on_screen(part, size, during) : side_of(kRounding / size.near.speed);
                if (side != 0 && expected != 0 && side != expected)
                    return;
                if (side != 0 && add_outline(part, side, screen, sink))
                    return;
                if (side != 0)
                    is_arc_split = false;
                else if (size.arc_bend() + size.path_bend() > kFlatness)
                    is_arc_split = size.arc_bend() > size.path_bend();
                else if (add_quadrangle(part, size, sink, cut, is_arc_split))
                    return;
            }
            if (across + along <= kTolerance)
                return sink.line(here, here);
        }
        if (side != 0 && !zooms_ && reach < 1 && from_axis + reach > safe_angle_ &&
            add_seen_outline(part, side, std::min(from_axis + reach, limit_angle_), screen, sink))
            return;
        if (part.depth == kMaxDepth)
            return; // less than a hair around a direction right behind
        if (++splits > kMaxSplits) {
            if (splits == kMaxSplits + 1)
                cover(screen, sink);
            return;
        }
        if (is_arc_split) {
            pass(part.with_arc(part.a, cut), expected, screen, sink, splits);
            pass(part.with_arc(cut, part.b), expected, screen, sink, splits);
        } else {
            pass(part.with_time(part.begin, middle), expected, screen, sink, splits);
            pass(part.with_time(middle, part.end), expected, screen, sink, splits);
        }
    }

    // The side, if the arc's direction and its velocity on the screen are certain enough.
    int side_on_screen(const patch &part, const extent &size, const moment &during) const noexcept {
        const vec middle = unit(part.a + part.b);
        const position from = place(part.a, during), to = place(part.b, during), first = place(middle, at(part.begin)),
                       last = place(middle, at(part.end));
        const double x = to.x - from.x, y = to.y - from.y, moved_x = last.x - first.x, moved_y = last.y - first.y,
                     length = std::hypot(x, y), moved = std::hypot(moved_x, moved_y);
        const auto &[time, angle, swung, near, drifts] = size;
        const double turn = swung.angle;
        // How much they differ within the patch.
        const double turned = angle * (near.acceleration * (angle + turn) / 2 + drifts.shear * time / 2),
                     changed = (near.acceleration + near.speed) * turn * (angle + turn) / 2 +
                               drifts.shear * time * (angle / 2 + turn) + drifts.acceleration * time * time / 2;
        const double area = x * moved_y - y * moved_x, slack = length * changed + moved * turned + turned * changed;
        return area >= slack ? 1 : -area >= slack ? -1 : 0;
    }

    // Adds a patch whose arc moves to one side. False where the paths of the ends need many chords.
    template <class Sink>
    bool add_outline(const patch &part, int side, const window &screen, Sink &sink) const {
        const moment during = at((part.begin + part.end) / 2);
        const int a_parts = path_parts(part.a, part, during), b_parts = path_parts(part.b, part, during);
        if (a_parts > kMaxParts || b_parts > kMaxParts)
            return false;
        const moment first = at(part.begin), last = at(part.end);
        const position a = place(part.a, first), b = place(part.b, first), a_last = place(part.a, last),
                       b_last = place(part.b, last);
        const auto chord = [&](position from, position to) { sink.outline(from, to, side); };
        const auto backward = [&](position from, position to) { sink.outline(to, from, side); };
        const auto arc = [&](const moment &when, auto &&each) {
            flattener<Lens>(when.lens, screen, kFlatness)
                .arc(when.axes.to_local(part.a), when.axes.to_local(part.b), each);
        };
        arc(last, chord);
        arc(first, backward);
        add_path(part.a, part, a_parts, a, a_last, chord);
        add_path(part.b, part, b_parts, b, b_last, backward);
        return true;
    }

    // How many chords the path of a direction needs.
    int path_parts(vec p, const patch &part, const moment &during) const noexcept {
        extent size = {part.end - part.begin, 0, {}, {}, {}};
        size.swung = swing_near(p, 0, rotation((part.begin + part.end) / 2, during.axes), size.time);
        const vec q = during.axes.to_local(p);
        size.near = widest_.bounds_near(q, size.swung.angle / 2);
        size.drifts = zooms_ ? lens_.drift_to(lens_to_, q, size.swung.angle / 2) : drift{0, 0, 0};
        return static_cast<int>(std::clamp(std::ceil(std::sqrt(size.path_bend() / kFlatness)), 1.0, kMaxParts + 1.0));
    }

    // The same for a lens that sees a part of it, up to an angle from its axis: the outline on the sphere, clipped.
    template <class Sink>
    bool add_seen_outline(const patch &part, int side, double angle, const window &screen, Sink &sink) const {
        const double middle = (part.begin + part.end) / 2, time = part.end - part.begin;
        const vec axis = rotation(middle, at(middle).axes);
        const double curve = std::max(swing_near(part.a, 0, axis, time).curve, swing_near(part.b, 0, axis, time).curve);
        const double count =
            std::ceil(std::sqrt(lens_.bounds_near({1, 0, 0}, angle).speed * curve / 8 / (kFlatness / 2)));
        if (!(count <= kMaxParts))
            return false;
        const std::size_t parts = std::max<std::size_t>(1, static_cast<std::size_t>(count));
        std::array<vec, 2 * kMaxParts + 2> corners;
        std::array<exit, 4 * corners.size()> exits;
        for (std::size_t i = 0; i <= parts; ++i) {
            const frame axes =
                at(mixed(part.begin, part.end, static_cast<double>(i) / static_cast<double>(parts))).axes;
            corners[i] = axes.to_local(part.a);
            corners[2 * parts + 1 - i] = axes.to_local(part.b);
        }
        const std::size_t corner_count = 2 * parts + 2;
        const flattener<Lens> flatten(lens_, screen, kFlatness / 2);
        // A quarter of a circle from the middle is outside.
        const vec p = at(middle).axes.to_local(unit(part.a + part.b)),
                  beside = unit(std::fabs(p.z) < 0.7 ? cross({0, 0, 1}, p) : cross({1, 0, 0}, p));
        boundary(
            lens_, std::span<exit>(exits), flatten,
            [&](vec q) {
                return crossings(dot(beside, q) < 0 ? -1 * beside : beside, q, corner_count,
                                 [&](std::size_t i) { return corners[i]; });
            },
            [&](position from, position to, int weight) { sink.outline(from, to, side, weight); })
            .draw(std::span<const vec>(corners).first(corner_count));
        return true;
    }

    template <class Chord>
    void add_path(vec p, const patch &part, int parts, position from, position to, Chord &&chord) const {
        for (int i = 1; i < parts; ++i) {
            const position next = place(p, at(mixed(part.begin, part.end, 1.0 * i / parts)));
            chord(from, next);
            from = next;
        }
        chord(from, to);
    }

    // Adds a patch with straight sides: it covers the quadrangle of its corners, if that is convex, or is next to a
    // line. False if it's neither, with how to split it.
    template <class Sink>
    bool add_quadrangle(const patch &part, const extent &size, Sink &sink, vec &cut, bool &is_arc_split) const {
        const moment first = at(part.begin), last = at(part.end);
        const std::array<position, 4> corners = {place(part.a, first), place(part.b, first), place(part.b, last),
                                                 place(part.a, last)};
        std::array<double, 4> turns{};
        for (std::size_t i = 0; i < 4; ++i) {
            const position &from = corners[(i + 3) % 4], &at = corners[i], &to = corners[(i + 1) % 4];
            turns[i] = (at.x - from.x) * (to.y - at.y) - (at.y - from.y) * (to.x - at.x);
        }
        position a = corners[0], b = corners[0];
        for (const position &p : corners)
            for (const position &q : corners)
                if (std::hypot(p.x - q.x, p.y - q.y) > std::hypot(b.x - a.x, b.y - a.y))
                    a = p, b = q;
        const double x = b.x - a.x, y = b.y - a.y, length = std::max(std::hypot(x, y), 1e-300);
        double thickness = 0;
        for (const position &p : corners)
            thickness = std::max(thickness, std::fabs((p.x - a.x) * y - (p.y - a.y) * x) / length);
        if (size.arc_bend() + size.path_bend() + thickness <= kTolerance) {
            sink.line(a, b);
            return true;
        }
        const auto [least, most] = std::minmax_element(turns.begin(), turns.end());
        if (*least >= 0 || *most <= 0) {
            for (std::size_t i = 0; i < 4; ++i)
                sink.outline(corners[(i + 1) % 4], corners[i], *most > 0 ? 1 : -1);
            return true;
        }
        const auto differ = [&turns](std::size_t i, std::size_t j) { return (turns[i] > 0) != (turns[j] > 0); };
        if (differ(0, 1) && differ(2, 3)) {
            const double by_a = std::fabs(turns[0]) + std::fabs(turns[3]),
                         by_b = std::fabs(turns[1]) + std::fabs(turns[2]);
            is_arc_split = true;
            if (std::min(by_a, by_b) > 0.01 * std::max(by_a, by_b))
                cut = unit(by_b * part.a + by_a * part.b);
        } else if (differ(0, 3) && differ(1, 2))
            is_arc_split = false;
        return false;
    }

    template <class Sink>
    static void cover(const window &screen, Sink &sink) {
        sink.outline({screen.left, screen.top}, {screen.left, screen.bottom}, 1);
    }

    static constexpr double kRounding = 1e-3; // pixels that an arc which moves to one side may come back
    static constexpr int kMaxParts = 8, kMaxDepth = 64;
    // Only bounds that overflow lead there: all of the screen is covered.
    static constexpr int kMaxSplits = 1 << 16;

    orientation from_, turn_;
    Lens lens_, lens_to_, widest_;
    bool zooms_, is_all_seen_;
    double limit_angle_, safe_angle_;
    double speed_change_; // an upper bound, in radians, of how fast the rotation changes
    moment first_, halfway_, last_;
};

} // namespace vela::overlay::internal

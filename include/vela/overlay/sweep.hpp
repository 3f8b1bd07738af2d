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
          lens_(lens_from), lens_to_(lens_to), zooms_(!(lens_from == lens_to)),
          scales_(zooms_ && lens_from.scale_to(lens_to) > 0), is_all_seen_(lens_from.shows_all_until(lens_to)),
          limit_angle_(std::max(lens_from.limit_angle(), lens_to.limit_angle())),
          // Without a change of the lens outlines are clipped at its cone.
          safe_angle_(std::min({lens_from.safe_angle(), lens_to.safe_angle(), zooms_ ? kUnbounded : limit_angle_})),
          first_(at(0)), last_(at(1)) {
        const double pan = std::fabs(turn_.pan) * kDegree, tilt = std::fabs(turn_.tilt) * kDegree,
                     roll = std::fabs(turn_.roll) * kDegree;
        speed_change_ = pan * tilt + roll * (pan + tilt);
        axis_speed_ = std::hypot(pan, tilt);
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
        pass({whole.from, whole.to, whole.normal, 0}, whole_, side, screen, sink, splits);
    }

    // Pixels: how far what is passed may be from the areas, and the arcs and paths around them from their chords.
    static constexpr double kTolerance = 0.3, kFlatness = 0.2;

private:
    // The rotation is the axis of the view's motion, as long as its speed in radians.
    struct pose {
        double time = -1;
        frame axes;
        vec rotation;
    };
    struct moment : pose {
        Lens lens;
    };

    // A part of the time, and a lens as large as any in it.
    struct interval {
        const moment &first, &last;
        moment middle;
        Lens widest;

        interval(const motion &whole, const moment &from, const moment &to) noexcept
            : first(from), last(to), middle(whole.at((from.time + to.time) / 2)),
              widest(whole.zooms_ ? from.lens.widest(to.lens) : from.lens) {}
        double length() const noexcept { return last.time - first.time; }
    };

    // A part of an edge.
    struct patch {
        vec a, b, normal;
        int depth;
    };

    // Upper bounds during a part of the time: of the angle that directions within a distance of one turn by in the
    // view, and of how far they curve away from a great circle.
    struct swing {
        double angle, curve;
    };

    // What bounds say of a patch: an arc during an interval.
    struct extent {
        double angle;
        swing swung;
        bounds near;
        drift drifts;
        double across() const noexcept { return near.speed * angle / 2; }
        double along() const noexcept { return near.speed * swung.angle / 2 + drifts.speed / 2; }
        // How far the paths of directions are from their chords.
        double path_bend() const noexcept {
            return (near.bending * swung.angle * swung.angle + near.speed * swung.curve) / 8 +
                   drifts.shear * swung.angle / 4 + drifts.acceleration / 8;
        }
        double arc_bend() const noexcept { return near.bending * angle * angle / 8; }
    };

    static bool meet(const window &a, const window &b) noexcept {
        return a.left <= b.right && b.left <= a.right && a.top <= b.bottom && b.top <= a.bottom;
    }

    static double turn_between(double from, double to) noexcept {
        return within_half_turn(within_half_turn(to) - within_half_turn(from));
    }

    pose pose_at(double time) const noexcept {
        const double pan = (from_.pan + time * turn_.pan) * kDegree;
        const frame axes = frame::of(
            orientation{from_.pan + time * turn_.pan, from_.tilt + time * turn_.tilt, from_.roll + time * turn_.roll});
        const vec turned = {turn_.tilt * std::sin(pan), -turn_.tilt * std::cos(pan), turn_.pan};
        return {time, axes, kDegree * (turned - turn_.roll * axes.forward)};
    }

    // All edges pass the same moments, most of them: multiples of 1 / 840, since kMaxParts is 8.
    moment at(double time) const noexcept {
        pose &kept = poses_[static_cast<std::size_t>(840 * time) % poses_.size()];
        if (kept.time != time)
            kept = pose_at(time);
        return {kept, zooms_ ? lens_.at(lens_to_, time) : lens_};
    }

    swing swing_near(vec p, double within, const interval &when) const noexcept {
        const double time = when.length(), change = speed_change_ * time / 2;
        const vec axis = when.middle.rotation;
        const double more = length(axis) * within + change, across = length(cross(axis, p)) + more,
                     along = std::fabs(dot(axis, p)) + more;
        return {across * time, (across * along + speed_change_) * time * time};
    }

    // The bounds of what is within an angle of a direction, at the middle of the interval.
    extent extent_of(vec halfway, double angle, const interval &when) const noexcept {
        extent size = {angle, swing_near(halfway, angle / 2, when), {}, {}};
        const vec p = when.middle.axes.to_local(halfway);
        const double reach = (angle + size.swung.angle) / 2;
        size.near = when.widest.bounds_near(p, reach);
        if (zooms_)
            size.drifts = when.first.lens.drift_to(when.last.lens, p, reach);
        return size;
    }

    static position place(vec p, const moment &when) noexcept {
        return when.lens.project(when.lens.flat(when.axes.to_local(p)));
    }

    // How an arc moves, if to one side: 1 where its normal doesn't point to; and, if that isn't certain, where the side
    // may change, or that it may with the time.
    struct verdict {
        int side;
        vec cut;
        bool is_arc_split, is_still; // still: it has no width, its outline is drawn as lines
    };

    template <class Sink>
    void pass(const patch &part, const interval &when, int expected, const window &screen, Sink &sink,
              int &splits) const {
        if (!sink.is_complete)
            return;
        const vec halfway = unit(part.a + part.b), p = when.middle.axes.to_local(halfway);
        const double angle = arc_angle(part.a, part.b), from_axis = std::atan2(std::hypot(p.y, p.z), p.x),
                     swung = swing_near(halfway, angle / 2, when).angle, reach = (angle + swung) / 2;
        const int seen = side_of_rim(p, from_axis, reach);
        if (seen < 0)
            return;
        const extent size = extent_of(halfway, angle, when);
        const double across = size.across(), along = size.along();
        verdict found = {0, halfway, across + along < kUnbounded ? across >= along : angle >= swung, false};
        if (!zooms_ || scales_)
            found = side_on_sphere(part, when, size, reach, found);
        if (found.side != 0 && expected != 0 && found.side != expected && !found.is_still)
            return;
        window box = screen;
        if (across + along < kUnbounded) {
            const position here = when.middle.lens.project(when.middle.lens.flat(p));
            box = around(here, here).grown(across + along);
            if (!meet(box, screen))
                return;
            if (seen > 0) {
                if (found.side == 0) {
                    bool is_thin = false;
                    found = side_on_screen(part, when, size, sink, is_thin);
                    if (is_thin || (found.side != 0 && expected != 0 && found.side != expected && !found.is_still))
                        return;
                }
                if (found.side != 0)
                    return add_outline(part, when, found.is_still ? 0 : found.side, screen, sink);
            }
            if (across + along <= kTolerance)
                return is_seen(part, when.middle) ? sink.line(here, here) : void();
        }
        if (found.side != 0 && !zooms_ && reach < 1 && seen == 0 &&
            add_seen_outline(part, when, found.side, std::min(from_axis + reach, limit_angle_), screen, sink))
            return;
        if (part.depth == kMaxDepth)
            return; // less than a hair around a direction right behind
        if (++splits > kMaxSplits)
            return cover(box, sink);
        if (found.is_arc_split) {
            pass({part.a, found.cut, part.normal, part.depth + 1}, when, expected, screen, sink, splits);
            pass({found.cut, part.b, part.normal, part.depth + 1}, when, expected, screen, sink, splits);
        } else {
            const patch same = {part.a, part.b, part.normal, part.depth + 1};
            pass(same, interval(*this, when.first, when.middle), expected, screen, sink, splits);
            pass(same, interval(*this, when.middle, when.last), expected, screen, sink, splits);
        }
    }

    // Whether all within an angle of a direction is seen, 1, or nothing, -1; 0 where that isn't certain.
    int side_of_rim(vec p, double from_axis, double reach) const noexcept {
        if (from_axis - reach > limit_angle_)
            return -1;
        if (from_axis + reach <= safe_angle_)
            return 1;
        if constexpr (Lens::kFoldEdges > 0)
            if (!zooms_ || scales_) {
                const int side = lens_.side_of_fold(p, reach);
                return side == lens_to_.side_of_fold(p, reach) ? side : 0;
            }
        return 0;
    }

    static bool is_seen(const patch &part, const moment &during) noexcept {
        for (const vec p : {part.a, part.a + part.b, part.b})
            if (during.lens.sees(during.axes.to_local(p)))
                return true;
        return false;
    }

    // What a zoom adds to the rotation of the view for the directions of an arc, and how far off that may be; and
    // whether that is for the most part because it changes with the time.
    struct zoom_turn {
        vec rotation;
        double error;
        bool is_by_time;
    };

    // A direction of a pixel moves towards the optical axis, by the speed that inward_near() bounds.
    zoom_turn zoom_near(const patch &part, const interval &when, vec halfway, double reach,
                        double angle) const noexcept {
        if (!scales_)
            return {};
        const double time = when.length(), scale = when.first.lens.scale_to(when.last.lens),
                     slowest = (1 - 1 / scale) / time, fastest = (scale - 1) / time, growth = (slowest + fastest) / 2,
                     varying = (fastest - slowest) / 2;
        const inward size = lens_.inward_near(when.middle.axes.to_local(halfway), reach);
        const double speed = (size.least + size.most) / 2, wander = axis_speed_ * time / 2,
                     off = dot(when.middle.axes.forward, part.normal), most = std::fabs(off) + wander,
                     mean = std::fabs(growth) * speed;
        const double by_time = varying * size.most * most + mean * wander,
                     by_place = std::fabs(growth) * (size.most - size.least) / 2 * most +
                                mean * std::fabs(off) * angle * angle / 8 + (std::fabs(growth) + varying) * size.beside;
        if (!(by_time + by_place < kUnbounded))
            return {{}, kUnbounded, false};
        return {growth * speed * off * cross(halfway, part.normal), by_time + by_place, by_time > by_place};
    }

    // How fast the ends leave their place to the side that the normal doesn't point to; an arc that is less than half a
    // circle is as fast as its slower end. It holds for other times but for the change of the rotation: what passes one
    // way and back meanwhile is kRounding at most.
    verdict side_on_sphere(const patch &part, const interval &when, const extent &size, double reach,
                           verdict found) const noexcept {
        const zoom_turn zoom = zoom_near(part, when, found.cut, reach, size.angle);
        if (!(zoom.error < kUnbounded))
            return found;
        const vec axis = when.middle.rotation + zoom.rotation;
        const double from = dot(axis, cross(part.a, part.normal)), to = dot(axis, cross(part.b, part.normal)),
                     time = when.length(), slack = speed_change_ * time / 2, once = kRounding / size.near.speed,
                     allowed = std::min(4 * once, slack + once / 2), least = slack - allowed + zoom.error;
        const double slower = std::min(std::fabs(from), std::fabs(to)),
                     faster = std::max(std::fabs(from), std::fabs(to));
        found.is_still = (faster + slack + zoom.error) * time <= once;
        found.side = from + to >= 0 ? 1 : -1;
        if (std::min(found.side * from, found.side * to) >= least)
            return found;
        found.side = 0;
        if ((from > 0) != (to > 0) && slower > std::max(slack + zoom.error, 1e-3 * faster)) {
            // The foot of the axis.
            const vec foot = axis - dot(axis, part.normal) * part.normal;
            found.cut = unit(dot(foot, found.cut) < 0 ? -1 * foot : foot);
            found.is_arc_split = true;
        } else if ((slower <= slack && 16 * allowed >= slack) || (zoom.error > slack && zoom.is_by_time))
            found.is_arc_split = false;
        return found;
    }

    // The same by the corners on the screen. If arcs and paths were straight, the velocity across an arc, times its
    // length, would change evenly along both; they turn by four times their bends. Where it has one sign in the
    // corners, and the bends are small, the patch covers what is between its corners. One without width is drawn.
    template <class Sink>
    verdict side_on_screen(const patch &part, const interval &when, const extent &size, Sink &sink,
                           bool &is_thin) const {
        const std::array<position, 4> corners = {place(part.a, when.first), place(part.b, when.first),
                                                 place(part.b, when.last), place(part.a, when.last)};
        std::array<double, 4> turns{}, sides{};
        for (std::size_t i = 0; i < 4; ++i) {
            const position &from = corners[(i + 3) % 4], &at = corners[i], &to = corners[(i + 1) % 4];
            turns[i] = (at.x - from.x) * (to.y - at.y) - (at.y - from.y) * (to.x - at.x);
            sides[i] = std::hypot(to.x - at.x, to.y - at.y);
        }
        const double arc_bend = size.arc_bend(), path_bend = size.path_bend(), arcs = std::max(sides[0], sides[2]),
                     paths = std::max(sides[1], sides[3]), by_path = 4 * arcs * path_bend,
                     by_arc = 4 * (paths + 4 * path_bend) * arc_bend,
                     slack = arc_bend + path_bend <= kFlatness ? 0 : by_path + by_arc,
                     least = slack - 4 * kRounding * when.length() * std::min(sides[0], sides[2]);
        const auto [low, high] = std::minmax_element(turns.begin(), turns.end());
        const int side = *low + *high >= 0 ? 1 : -1;
        verdict found = {std::min(side * *low, side * *high) >= least ? side : 0, unit(part.a + part.b),
                         paths * arc_bend > arcs * path_bend, false};
        found.is_still = std::max(*high, -*low) <= kRounding * std::min(sides[0], sides[2]);
        if (found.side != 0 && !found.is_still)
            return found;
        position a = corners[0], b = corners[0];
        for (const position &p : corners)
            for (const position &q : corners)
                if (std::hypot(p.x - q.x, p.y - q.y) > std::hypot(b.x - a.x, b.y - a.y))
                    a = p, b = q;
        const double x = b.x - a.x, y = b.y - a.y, length = std::max(std::hypot(x, y), 1e-300);
        double thickness = 0;
        for (const position &p : corners)
            thickness = std::max(thickness, std::fabs((p.x - a.x) * y - (p.y - a.y) * x) / length);
        if (arc_bend + path_bend + thickness <= kTolerance) {
            sink.line(a, b);
            is_thin = true;
        } else if (slack < std::max(*high, -*low) / 4) {
            const double by_a = std::fabs(turns[0] + turns[3]), by_b = std::fabs(turns[1] + turns[2]);
            found.is_arc_split = std::fabs(turns[0] + turns[3] - turns[1] - turns[2]) >
                                 std::fabs(turns[0] + turns[1] - turns[2] - turns[3]);
            if (found.is_arc_split && std::min(by_a, by_b) > 0.01 * std::max(by_a, by_b) &&
                (turns[0] + turns[3] > 0) != (turns[1] + turns[2] > 0))
                found.cut = unit(by_b * part.a + by_a * part.b);
        }
        return found;
    }

    // Adds a patch whose arc moves to one side.
    template <class Sink>
    void add_outline(const patch &part, const interval &when, int side, const window &screen, Sink &sink) const {
        const auto chord = [&](position from, position to) {
            side == 0 ? sink.line(from, to) : sink.outline(from, to, side);
        };
        const auto backward = [&](position from, position to) { chord(to, from); };
        const auto arc = [&](const moment &at, auto &&each) {
            flattener<Lens>(at.lens, screen, kFlatness).arc(at.axes.to_local(part.a), at.axes.to_local(part.b), each);
        };
        arc(when.last, chord);
        arc(when.first, backward);
        add_path(part.a, when, place(part.a, when.first), place(part.a, when.last), screen, chord);
        add_path(part.b, when, place(part.b, when.first), place(part.b, when.last), screen, backward);
    }

    // Adds the path of a direction that is seen all the time, as a flattener does.
    template <class Chord>
    void add_path(vec p, const interval &when, position from, position to, const window &screen, Chord &&chord,
                  int depth = 0) const {
        const double bend = extent_of(p, 0, when).path_bend();
        const window box = around(from, to).grown(bend);
        if (box.left > screen.right || box.top > screen.bottom || box.bottom < screen.top)
            return;
        if (box.right < screen.left || bend <= kFlatness)
            return chord(from, to);
        const double count = std::ceil(std::sqrt(bend / kFlatness));
        if (!(count <= kMaxParts) && depth < kMaxPathDepth) {
            const position at = place(p, when.middle);
            add_path(p, interval(*this, when.first, when.middle), from, at, screen, chord, depth + 1);
            add_path(p, interval(*this, when.middle, when.last), at, to, screen, chord, depth + 1);
            return;
        }
        const std::size_t parts = count <= kMaxParts ? static_cast<std::size_t>(count) : 1;
        for (std::size_t i = 1; i < parts; ++i) {
            const position next = place(p, moment_at(i, parts, when));
            chord(from, next);
            from = next;
        }
        chord(from, to);
    }

    // The same for a lens that sees a part of it, up to an angle from its axis: the outline on the sphere, clipped.
    template <class Sink>
    bool add_seen_outline(const patch &part, const interval &when, int side, double angle, const window &screen,
                          Sink &sink) const {
        const double curve = std::max(swing_near(part.a, 0, when).curve, swing_near(part.b, 0, when).curve);
        const double count =
            std::ceil(std::sqrt(lens_.bounds_near({1, 0, 0}, angle).speed * curve / 8 / (kFlatness / 2)));
        if (!(count <= kMaxParts))
            return false;
        const std::size_t parts = std::max<std::size_t>(1, static_cast<std::size_t>(count));
        std::array<vec, 2 * kMaxParts + 2> corners;
        std::array<exit, 4 * corners.size()> exits;
        for (std::size_t i = 0; i <= parts; ++i) {
            const frame axes = moment_at(i, parts, when).axes;
            corners[i] = axes.to_local(part.a);
            corners[2 * parts + 1 - i] = axes.to_local(part.b);
        }
        const std::size_t corner_count = 2 * parts + 2;
        const flattener<Lens> flatten(lens_, screen, kFlatness / 2);
        // A quarter of a circle from the middle is outside.
        const vec p = when.middle.axes.to_local(unit(part.a + part.b)),
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

    moment moment_at(std::size_t i, std::size_t parts, const interval &when) const noexcept {
        return at(mixed(when.first.time, when.last.time, static_cast<double>(i) / static_cast<double>(parts)));
    }

    template <class Sink>
    static void cover(const window &box, Sink &sink) {
        sink.outline({box.left, box.top}, {box.left, box.bottom}, 1);
        sink.outline({box.right, box.bottom}, {box.right, box.top}, 1);
    }

    static constexpr double kRounding = 0.05; // pixels that an arc which moves to one side may come back
    static constexpr int kMaxParts = 8, kMaxDepth = 64, kMaxPathDepth = 24;
    // Only a lens that bends beside the picture far more than in it leads there: what is around a patch is covered.
    static constexpr int kMaxSplits = 1 << 16;

    mutable std::array<pose, 32> poses_{}; // the last that were asked for

    orientation from_, turn_;
    Lens lens_, lens_to_;
    bool zooms_, scales_, is_all_seen_;
    double limit_angle_, safe_angle_;
    double speed_change_; // upper bounds, in radians: of how fast the rotation changes
    double axis_speed_;   // and the optical axis turns
    moment first_, last_;
    interval whole_{*this, first_, last_};
};

} // namespace vela::overlay::internal

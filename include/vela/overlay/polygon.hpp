/**
 * @file
 * Polygons on the sphere, clipped to the hemisphere in front of a view and turned into the edge list that a scanline
 * fill needs: what a mask is made of. Part of <vela/overlay.hpp>; nothing here is public.
 *
 * In a view's frame a direction is (depth, u, v). A scanline has one v, and a great circle crosses it where
 * u = a v + b sqrt(1 - (v / h)^2): each edge is split into segments along which u and v are monotone.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <new>
#include <numbers>
#include <optional>
#include <span>
#include <utility>
#include <vela/overlay/view.hpp>

namespace vela::overlay::internal {

// Radians between corners that count as one; between a corner and the antipode of another to which no arc is shorter.
constexpr double kCoincident = 1e-12, kAntipodal = 1e-6;

// An edge of a polygon. On the side of its plane to which the normal points, the winding number is one greater.
struct edge {
    vec from, to, normal;
};

// A direction away from all edges, and the polygon's winding number there.
struct anchor {
    vec at;
    int winding;
};

// A part of an edge, or of the rim, along which u and v are monotone. Its range of v is half-open, [bottom, top): where
// two segments join, a scanline through the joint crosses one of them.
struct segment {
    double top, bottom;           // v of the ends
    double u_top, u_bottom;       // u of the ends
    double along, across, height; // u = along v + across sqrt(1 - (v / height)^2)
    int step;                     // change of the winding number from left to right

    double leftmost() const noexcept { return std::min(u_top, u_bottom); }
    double rightmost() const noexcept { return std::max(u_top, u_bottom); }
    bool spans(double v) const noexcept { return bottom <= v && v < top; }
    double u(double v) const noexcept {
        const double part = v / height;
        return std::clamp(along * v + across * std::sqrt(std::max(0.0, 1 - part * part)), leftmost(), rightmost());
    }
};

template <class T>
using array = std::unique_ptr<T[]>;

// Null when memory runs out.
template <class T>
array<T> allocate(std::size_t count) noexcept {
    return array<T>(new (std::nothrow) T[count]);
}

class polygon {
public:
    // Empty for corners that mask::make() refuses.
    static std::optional<polygon> make(std::span<const direction> corners) noexcept {
        polygon made;
        if (corners.size() < 3 || corners.size() > kMaxCorners || !made.reserve(corners.size()) ||
            !made.connect(corners) || !made.find_outside())
            return std::nullopt;
        return made;
    }

    // At most this number of segments is in front of any view.
    std::size_t max_segments() const noexcept { return 4 * capacity_ + 4; }

    // The winding number, relative to that of the outside.
    int winding(vec p) const noexcept {
        const anchor &near = nearest_anchor(p);
        return near.winding + crossings(near.at, p);
    }

    // The edge list of a view: the boundary of the polygon's part in front, in the view's frame, sorted from top to
    // bottom. The rim closes it: the winding number beyond the rim is 0.
    std::span<const segment> clip_to(const frame &view) noexcept {
        segment_count_ = rim_crossing_count_ = 0;
        for (std::size_t i = 0; i < count_; ++i)
            corners_[i] = view.to_local(edges_[i].from);
        for (std::size_t i = 0; i < count_; ++i)
            clip(corners_[i], corners_[i + 1 < count_ ? i + 1 : 0], view.to_local(edges_[i].normal));
        close_along_rim(view);
        std::sort(segments_.get(), segments_.get() + segment_count_,
                  [](const segment &a, const segment &b) { return a.top > b.top; });
        return {segments_.get(), segment_count_};
    }

private:
    static constexpr std::size_t kMaxCorners = 1 << 20;
    static constexpr int kAnchors = 4;

    // Where an edge crosses the rim: the change of the winding number there, downward along that half of the rim.
    struct rim_crossing {
        double v;
        bool is_left;
        int step;
    };

    // A segment and where the scanline that is looked at crosses it.
    struct crossed_segment {
        double u;
        const segment *at;
    };

    bool reserve(std::size_t count) noexcept {
        capacity_ = count;
        edges_ = allocate<edge>(count);
        corners_ = allocate<vec>(count);
        rim_crossings_ = allocate<rim_crossing>(count);
        segments_ = allocate<segment>(max_segments());
        return edges_ && corners_ && rim_crossings_ && segments_;
    }

    // Makes the edges, without corners that repeat the one before; false when an edge is not determined.
    bool connect(std::span<const direction> corners) noexcept {
        for (const direction d : corners) {
            if (!is_finite(d))
                return false;
            const vec p = vector_of(d);
            if (count_ == 0 || length(p - edges_[count_ - 1].from) > kCoincident)
                edges_[count_++].from = p;
        }
        while (count_ > 1 && length(edges_[count_ - 1].from - edges_[0].from) <= kCoincident)
            --count_;
        if (count_ < 2)
            return false;
        for (std::size_t i = 0; i < count_; ++i) {
            edge &e = edges_[i];
            e.to = edges_[i + 1 < count_ ? i + 1 : 0].from;
            if (length(e.from + e.to) < kAntipodal)
                return false;
            e.normal = unit(cross(e.from - e.to, e.from + e.to)); // from x to, without its cancellation
        }
        return true;
    }

    // The change of the winding number along the shorter arc between two directions away from the edges.
    int crossings(vec from, vec to) const noexcept {
        const vec normal = cross(from, to), middle = from + to;
        const double reach = dot(from, middle);
        int change = 0;
        for (std::size_t i = 0; i < count_; ++i) {
            const double a = dot(normal, edges_[i].from), b = dot(normal, edges_[i].to);
            if ((a >= 0) == (b >= 0))
                continue;
            const vec meeting = std::fabs(b) * edges_[i].from + std::fabs(a) * edges_[i].to;
            if (dot(meeting, middle) > length(meeting) * reach)
                change += b >= 0 ? -1 : 1;
        }
        return change;
    }

    const anchor &nearest_anchor(vec p) const noexcept {
        return *std::max_element(anchors_, anchors_ + kAnchors,
                                 [p](const anchor &a, const anchor &b) { return dot(a.at, p) < dot(b.at, p); });
    }

    // Chooses a direction near each vertex of a tetrahedron, so that one is in front of every view: of eight candidates
    // the one farthest from all edges.
    void choose_anchors() noexcept {
        for (int i = 0; i < kAnchors; ++i) {
            const auto corner = [](int bits) {
                return vec{bits & 1 ? 1.0 : -1.0, bits & 2 ? 1.0 : -1.0, bits & 4 ? 1.0 : -1.0};
            };
            constexpr int kTetrahedron[kAnchors] = {0, 3, 5, 6};
            double best = -1;
            for (int j = 0; j < 8; ++j) {
                const vec p = unit(kGeneric.to_sphere(corner(kTetrahedron[i]) + 0.25 * corner(j)));
                double distance = 1;
                for (std::size_t k = 0; k < count_; ++k)
                    distance = std::min(distance, std::fabs(dot(edges_[k].normal, p)));
                if (distance > best) {
                    best = distance;
                    anchors_[i].at = p;
                }
            }
            anchors_[i].winding = crossings(anchors_[0].at, anchors_[i].at);
        }
    }

    // Clips an edge to the hemisphere in front.
    void clip(vec a, vec b, vec normal) noexcept {
        const bool enters = !(a.x > 0), leaves = !(b.x > 0);
        if (enters && leaves)
            return;
        if (enters || leaves) {
            const vec meeting = std::fabs(b.x) * a + std::fabs(a.x) * b;
            const vec on_rim = unit({0, meeting.y, meeting.z});
            const bool is_left = on_rim.y < 0;
            rim_crossings_[rim_crossing_count_++] = {on_rim.z, is_left, enters == is_left ? -1 : 1};
            (enters ? a : b) = on_rim;
        }
        split_at_extreme_v(a, b, normal);
    }

    void split_at_extreme_v(vec a, vec b, vec n) noexcept {
        const auto is_rising = [n](vec p) { return n.x * p.y - n.y * p.x >= 0; };
        if (is_rising(a) == is_rising(b))
            return split_at_extreme_u(a, b, n);
        const double height = std::hypot(n.x, n.y);
        const vec highest = {-n.z * n.x / height, -n.z * n.y / height, height};
        const vec turn = is_rising(a) ? highest : -1 * highest;
        split_at_extreme_u(a, turn, n);
        split_at_extreme_u(turn, b, n);
    }

    void split_at_extreme_u(vec a, vec b, vec n) noexcept {
        const auto goes_right = [n](vec p) { return n.z * p.x - n.x * p.z >= 0; };
        if (goes_right(a) == goes_right(b))
            return add(a, b, n);
        const double reach = std::hypot(n.x, n.z);
        const vec rightmost = {-n.y * n.x / reach, reach, -n.y * n.z / reach};
        const vec turn = goes_right(a) ? rightmost : -1 * rightmost;
        add(a, turn, n);
        add(turn, b, n);
    }

    // With h = hypot(nx, ny), the great circle of normal n is v = h cos t, u = -ny nz / h cos t + nx / h sin t, and
    // rises where sin t > 0.
    void add(vec a, vec b, vec n, int weight = 1) noexcept {
        const bool rises = b.z > a.z;
        const vec &top = rises ? b : a, &bottom = rises ? a : b;
        const double height = std::max(std::hypot(n.x, n.y), 1e-200);
        segments_[segment_count_++] = {top.z,
                                       bottom.z,
                                       top.y,
                                       bottom.y,
                                       -n.y * n.z / height / height,
                                       (rises ? n.x : -n.x) / height,
                                       height,
                                       rises ? -weight : weight};
    }

    // Adds the parts of the rim that are inside. The winding numbers on the left and the right half of the rim are
    // those of an anchor, changed by the segments on its scanline on the way there and by the rim crossings above.
    void close_along_rim(const frame &view) noexcept {
        const anchor &near = nearest_anchor(view.forward);
        const vec p = view.to_local(near.at);
        int left = near.winding, right = near.winding;
        for (std::size_t i = 0; i < segment_count_; ++i)
            if (segments_[i].spans(p.z))
                segments_[i].u(p.z) < p.y ? left -= segments_[i].step : right += segments_[i].step;
        for (std::size_t i = 0; i < rim_crossing_count_; ++i)
            if (rim_crossings_[i].v > p.z)
                (rim_crossings_[i].is_left ? left : right) -= rim_crossings_[i].step;
        std::sort(rim_crossings_.get(), rim_crossings_.get() + rim_crossing_count_,
                  [](const rim_crossing &a, const rim_crossing &b) { return a.v > b.v; });
        double top_left = 1, top_right = 1;
        for (std::size_t i = 0; i < rim_crossing_count_; ++i) {
            const rim_crossing &crossing = rim_crossings_[i];
            double &top = crossing.is_left ? top_left : top_right;
            int &winding = crossing.is_left ? left : right;
            add_rim(top, crossing.v, crossing.is_left, winding);
            winding += crossing.step;
            top = crossing.v;
        }
        add_rim(top_left, -1, true, left);
        add_rim(top_right, -1, false, right);
    }

    void add_rim(double top, double bottom, bool is_left, int winding) noexcept {
        if (winding == 0)
            return;
        const double side = is_left ? -1 : 1;
        const auto at = [side](double v) { return vec{0, side * std::sqrt(1 - v * v), v}; };
        const double turn = std::clamp(0.0, bottom, top);
        // As edges of the hemisphere: down on the left, up on the right.
        for (const auto &[from, to] : {std::pair(top, turn), std::pair(turn, bottom)})
            if (from > to)
                is_left ? add(at(from), at(to), {1, 0, 0}, winding) : add(at(to), at(from), {1, 0, 0}, winding);
    }

    // Measures the area of each winding number, and makes 0 the one of the largest.
    bool find_outside() noexcept {
        choose_anchors();
        const std::size_t levels = 2 * count_ + 1;
        const array<double> areas = allocate<double>(levels);
        std::size_t intersections = 0;
        for_each_intersection([&](vec) { ++intersections; });
        const array<double> heights = allocate<double>(2 * max_segments() + intersections);
        const array<crossed_segment> scratch = allocate<crossed_segment>(max_segments());
        if (!areas || !heights || !scratch)
            return false;
        const auto middle = static_cast<std::ptrdiff_t>(count_);
        std::fill_n(areas.get(), levels, 0.0);
        areas[count_] = 4 * std::numbers::pi;
        const frame generic = kGeneric;
        for (const frame &half : {generic, generic.reversed()}) {
            double *end = heights.get();
            for (const segment &part : clip_to(half)) {
                *end++ = part.top;
                *end++ = part.bottom;
            }
            for_each_intersection([&](vec p) { *end++ = half.to_local(p).z; });
            std::sort(heights.get(), end);
            for (const double *height = heights.get(); height + 1 < end; ++height)
                add_areas(height[0], height[1], scratch.get(), areas.get() + middle);
        }
        const int outside =
            static_cast<int>(std::max_element(areas.get(), areas.get() + levels) - areas.get() - middle);
        for (anchor &a : anchors_)
            a.winding -= outside;
        return true;
    }

    // Calls back with each point where two edges intersect.
    template <class Point>
    void for_each_intersection(Point &&point) const noexcept {
        const auto is_on = [](const edge &e, vec p) {
            return dot(cross(e.normal, e.from), p) >= 0 && dot(cross(e.normal, e.to), p) <= 0;
        };
        for (std::size_t i = 0; i < count_; ++i)
            for (std::size_t j = 0; j < i; ++j) {
                const vec p = cross(edges_[i].normal, edges_[j].normal);
                const double size = length(p);
                if (size < kCoincident)
                    continue;
                for (const double sign : {1 / size, -1 / size})
                    if (is_on(edges_[i], sign * p) && is_on(edges_[j], sign * p))
                        point(sign * p);
            }
    }

    // Adds the areas by winding number between two scanlines between which no two segments intersect.
    void add_areas(double bottom, double top, crossed_segment *scratch, double *areas) const noexcept {
        const double v = (bottom + top) / 2;
        if (!(bottom < v && v < top))
            return;
        std::size_t count = 0;
        for (std::size_t i = 0; i < segment_count_; ++i)
            if (segments_[i].spans(v))
                scratch[count++] = {segments_[i].u(v), &segments_[i]};
        std::sort(scratch, scratch + count,
                  [](const crossed_segment &a, const crossed_segment &b) { return a.u < b.u; });
        int winding = 0;
        for (std::size_t i = 0; i + 1 < count; ++i) {
            winding += scratch[i].at->step;
            const double area =
                area_left_of(*scratch[i + 1].at, bottom, top) - area_left_of(*scratch[i].at, bottom, top);
            areas[winding] += area;
            areas[0] -= area;
        }
    }

    // The signed area between the central meridian and a segment, between two scanlines: the integral of the longitude
    // l over v, by parts, where that of (1 - v) over l is the area of the triangle to the pole.
    static double area_left_of(const segment &part, double bottom, double top) noexcept {
        const auto at = [&part](double v) {
            const double u = part.u(v);
            return vec{std::sqrt(std::max(0.0, 1 - u * u - v * v)), u, v};
        };
        const vec a = at(bottom), b = at(top);
        const double from = std::atan2(a.y, a.x), to = std::atan2(b.y, b.x);
        const double pole = bottom + top >= 0 ? 1 : -1;
        const double triangle =
            2 * std::atan2(a.x * b.y - a.y * b.x, 1 + pole * (a.z + b.z) + dot(a, b)); // to that pole
        return to * top - from * bottom - pole * (to - from - triangle);
    }

    // Turned so that directions in whole degrees are on none of its planes.
    static constexpr frame kGeneric = {{0.36, 0.48, 0.8}, {-0.8, 0.6, 0}, {-0.48, -0.64, 0.6}};

    std::size_t capacity_ = 0, count_ = 0, segment_count_ = 0, rim_crossing_count_ = 0;
    array<edge> edges_;
    array<vec> corners_; // of the edges, in the frame of the last view
    array<rim_crossing> rim_crossings_;
    array<segment> segments_;
    anchor anchors_[kAnchors] = {};
};

} // namespace vela::overlay::internal

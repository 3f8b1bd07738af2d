/**
 * @file
 * Polygons on the sphere: their winding number, which region is outside, and their edge list on a view. Part of
 * <vela/overlay.hpp>; nothing here is public.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <optional>
#include <span>
#include <vela/overlay/edge_list.hpp>
#include <vela/overlay/geometry.hpp>

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

// The change of a polygon's winding number along the shorter arc between two directions away from its edges. corner(i)
// gives the corners.
template <class Corner>
int crossings(vec from, vec to, std::size_t count, Corner &&corner) noexcept {
    const vec normal = cross(from, to), middle = from + to;
    const double reach = dot(from, middle);
    int change = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const vec p = corner(i), q = corner(i + 1 < count ? i + 1 : 0);
        const double a = dot(normal, p), b = dot(normal, q);
        if ((a >= 0) == (b >= 0))
            continue;
        const vec meeting = std::fabs(b) * p + std::fabs(a) * q;
        if (dot(meeting, middle) > length(meeting) * reach)
            change += b >= 0 ? -1 : 1;
    }
    return change;
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
    std::size_t max_segments() const noexcept { return list_.capacity(); }

    std::size_t edge_count() const noexcept { return count_; }
    std::span<const edge> edges() const noexcept { return {edges_.get(), count_}; }

    // 1 where no winding number is below 0, which is the outside's, -1 where none is above, otherwise 0.
    int sign() const noexcept { return lowest_ >= 0 ? 1 : highest_ <= 0 ? -1 : 0; }

    // The corners in a view's frame, until the next call.
    std::span<const vec> corners_in(const frame &view) noexcept {
        for (std::size_t i = 0; i < count_; ++i)
            corners_[i] = view.to_local(edges_[i].from);
        return {corners_.get(), count_};
    }

    // The winding number, relative to that of the outside.
    int winding(vec p) const noexcept {
        const anchor &near = nearest_anchor(p);
        return near.winding + crossings(near.at, p);
    }

    // The boundary of the polygon's part in front of a view, in its frame, sorted from top to bottom. The rim closes
    // it: the winding number beyond the rim is 0.
    std::span<const segment> clip_to(const frame &view) noexcept {
        list_.clear();
        (void)corners_in(view);
        for (std::size_t i = 0; i < count_; ++i)
            list_.clip(corners_[i], corners_[i + 1 < count_ ? i + 1 : 0], view.to_local(edges_[i].normal));
        const anchor &near = nearest_anchor(view.forward);
        list_.close_along_rim(view.to_local(near.at), near.winding);
        return list_.sorted();
    }

private:
    static constexpr std::size_t kMaxCorners = 384;
    static constexpr int kAnchors = 4;

    // A segment and where the scanline that is looked at crosses it.
    struct crossed_segment {
        double u;
        const segment *at;
    };

    bool reserve(std::size_t count) noexcept {
        edges_ = allocate<edge>(count);
        corners_ = allocate<vec>(count);
        return list_.reserve(count) && edges_ && corners_;
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

    int crossings(vec from, vec to) const noexcept {
        return internal::crossings(from, to, count_, [this](std::size_t i) { return edges_[i].from; });
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
            const std::span<const segment> segments = clip_to(half);
            double *end = heights.get();
            for (const segment &part : segments) {
                *end++ = part.top;
                *end++ = part.bottom;
            }
            for_each_intersection([&](vec p) { *end++ = half.to_local(p).z; });
            std::sort(heights.get(), end);
            for (const double *height = heights.get(); height + 1 < end; ++height)
                add_areas(segments, height[0], height[1], scratch.get(), areas.get() + middle);
        }
        const int outside =
            static_cast<int>(std::max_element(areas.get(), areas.get() + levels) - areas.get() - middle);
        for (anchor &a : anchors_)
            a.winding -= outside;
        for (int level = -static_cast<int>(count_); level <= static_cast<int>(count_); ++level)
            if (areas.get()[middle + level] > kLeastArea) {
                lowest_ = std::min(lowest_, level - outside);
                highest_ = std::max(highest_, level - outside);
            }
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
    static void add_areas(std::span<const segment> segments, double bottom, double top, crossed_segment *scratch,
                          double *areas) noexcept {
        const double v = (bottom + top) / 2;
        if (!(bottom < v && v < top))
            return;
        std::size_t count = 0;
        for (const segment &part : segments)
            if (part.spans(v))
                scratch[count++] = {part.u(v), &part};
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

    // Steradians; less is rounding where edges coincide.
    static constexpr double kLeastArea = 1e-15;

    std::size_t count_ = 0;
    int lowest_ = 0, highest_ = 0; // winding numbers, relative to the outside's
    array<edge> edges_;
    array<vec> corners_; // of the edges, in the frame of the last view
    edge_list list_;
    anchor anchors_[kAnchors] = {};
};

} // namespace vela::overlay::internal

/**
 * @file
 * The edge list of a polygon on a view, as a scanline fill needs it: edges clipped to the hemisphere in front, closed
 * along the rim, and split into monotone segments. Part of <vela/overlay.hpp>; nothing here is public.
 *
 * In a view's frame a direction is (depth, u, v). A scanline has one v, and a great circle crosses it where
 * u = a v + b sqrt(1 - (v / h)^2).
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <utility>
#include <vela/overlay/geometry.hpp>
#include <vela/overlay/scanline.hpp>

namespace vela::overlay::internal {

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

class edge_list {
public:
    // For at most this number of edges; false when memory runs out.
    bool reserve(std::size_t edges) noexcept {
        capacity_ = 4 * edges + 4;
        segments_ = allocate<segment>(capacity_);
        rim_crossings_ = allocate<rim_crossing>(edges);
        return segments_ && rim_crossings_;
    }

    // The number of segments is at most this.
    std::size_t capacity() const noexcept { return capacity_; }

    void clear() noexcept { segment_count_ = rim_crossing_count_ = 0; }

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

    // Adds the parts of the rim that are inside, given the winding number at a direction in front that is on no edge.
    // On the left and the right half of the rim it is changed by the segments on that scanline and by the rim crossings
    // above.
    void close_along_rim(vec p, int winding) noexcept {
        int left = winding, right = winding;
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
            int &side = crossing.is_left ? left : right;
            add_rim(top, crossing.v, crossing.is_left, side);
            side += crossing.step;
            top = crossing.v;
        }
        add_rim(top_left, -1, true, left);
        add_rim(top_right, -1, false, right);
    }

    // Sorts the segments from top to bottom.
    std::span<const segment> sorted() noexcept {
        std::sort(segments_.get(), segments_.get() + segment_count_,
                  [](const segment &a, const segment &b) { return a.top > b.top; });
        return {segments_.get(), segment_count_};
    }

private:
    // Where an edge crosses the rim: the change of the winding number there, downward along that half of the rim.
    struct rim_crossing {
        double v;
        bool is_left;
        int step;
    };

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

    std::size_t capacity_ = 0, segment_count_ = 0, rim_crossing_count_ = 0;
    array<segment> segments_;
    array<rim_crossing> rim_crossings_;
};

} // namespace vela::overlay::internal

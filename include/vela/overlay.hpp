/**
 * @file
 * Masks and marks on the view of a moving camera, in double precision.
 *
 *     auto seen = vela::overlay::view::make(1920, 1080, {pan, tilt}, 60.0);
 *     auto door = vela::overlay::mask::make(corners); // directions, given once
 *     if (seen && door)
 *         door->draw(*seen, [&](int y, int first, int behind) { blacken(frame.row(y), first, behind); });
 *
 * The lens is that of <vela/spheremap.h>: with the direction's part across the view and its part upward as u and v, a
 * pixel shows what stands asin(u) beside the vertical central plane and asin(v) above the horizontal one, at one scale.
 * Pixel (x, y) is the square of side 1 around the point (x, y), whose direction smap_screen_pt_to_sphere_pt() gives.
 * Only what is in front of the view has a place, at most 90 degrees from its centre: the rim is the diamond of straight
 * lines |x - cx| + |y - cy| = 90 degrees. Places are exact to a twentieth of a pixel, both ways, at any field of view.
 *
 * A mask is a polygon of directions joined by the shorter great-circle arcs. Outside is the side that holds most of the
 * sphere, whichever way round the corners are given; where sides cross each other, each area that the polygon winds
 * around is inside. A great circle meets a row of the picture in closed form, so sides are not subdivided: what is
 * drawn is the true side.
 *
 * A mask of 8 corners takes about 60 ns for each row of pixels that it spans on x86-64 at 2.6 GHz (50 masks of 40 to
 * 350 rows: 0.6 ms), and 1030 instructions as 32-bit ARM with a double-precision unit. Where the unit has single
 * precision alone, doubles are computed in software: 6750 instructions, counted with the elementary functions still on
 * a unit.
 *
 * Nothing is allocated but by mask::make(), and nothing is thrown. Different masks may be drawn by different threads; a
 * mask draws in memory of its own, so one mask by one thread at a time. Views may be shared.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <numbers>
#include <optional>
#include <span>
#include <utility>
#include <vela/spheremap.h>

namespace vela::overlay {

/** A direction of the camera's sphere, in degrees. */
struct direction {
    double pan;  /**< around the vertical axis, any number of turns */
    double tilt; /**< above the horizon; beyond a pole it comes down on the other side */
};

/** The direction of a point in Q10 degrees. */
[[nodiscard]] constexpr direction direction_of(const smap_sphere_pt &point) noexcept {
    return {point.pan / 1024.0, point.tilt / 1024.0};
}

/** A position on the screen, in pixels; the middle of the upper left one is (0, 0). */
struct position {
    double x; /**< to the right */
    double y; /**< downward */
};

/** Neighbouring pixels of a row. */
struct run {
    int y;      /**< the row */
    int first;  /**< its first pixel */
    int behind; /**< the pixel behind its last */
};

/** Which pixels a mask covers. */
enum class coverage {
    conservative, /**< each whose square touches the inside or the outline; none whose centre is 1.5 pixels from it */
    centres,      /**< each whose centre is inside */
};

namespace internal {

constexpr double kDegree = std::numbers::pi / 180;
// Radians between corners that count as one, and from the opposite direction of one that has no shorter arc.
constexpr double kSame = 1e-12, kOpposite = 1e-6;

// Forward, right and up of a view, or of the sphere itself.
struct vec {
    double x, y, z;

    friend vec operator+(vec a, vec b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
    friend vec operator-(vec a, vec b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
    friend vec operator*(double s, vec a) { return {s * a.x, s * a.y, s * a.z}; }
};

inline double dot(vec a, vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline double length(vec a) { return std::sqrt(dot(a, a)); }
inline vec unit(vec a) { return 1 / length(a) * a; }
inline vec cross(vec a, vec b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }

// std::remainder(angle, 360), which takes as long as a sine: spared where at most one turn is to be taken off, exactly.
inline double within_half_turn(double angle) {
    if (std::abs(angle) <= 180)
        return angle;
    return 180 < angle && angle <= 360 ? angle - 360 : std::remainder(angle, 360);
}

inline vec vector_of(direction d) {
    const double pan = within_half_turn(d.pan) * kDegree, tilt = within_half_turn(d.tilt) * kDegree;
    return {std::cos(tilt) * std::cos(pan), std::cos(tilt) * std::sin(pan), std::sin(tilt)};
}

inline direction direction_of(vec p) {
    const double pan = std::atan2(p.y, p.x) / kDegree;
    return {pan < 0 ? pan + 360 : pan, std::atan2(p.z, std::hypot(p.x, p.y)) / kDegree};
}

inline bool is_finite(direction d) { return std::isfinite(d.pan) && std::isfinite(d.tilt); }

inline double arcsine(double sine) { return std::asin(std::clamp(sine, -1.0, 1.0)); }

// Where somebody looks to.
struct frame {
    vec forward, right, up;

    static frame of(direction d) {
        const vec forward = vector_of(d), up = vector_of({d.pan, d.tilt + 90});
        return {forward, cross(up, forward), up};
    }
    frame turned_round() const { return {-1 * forward, -1 * right, up}; }
    vec inward(vec p) const { return {dot(forward, p), dot(right, p), dot(up, p)}; }
    vec outward(vec p) const { return p.x * forward + p.y * right + p.z * up; }
};

} // namespace internal

/** What the camera shows on a screen of a given size. */
class view {
public:
    /**
     * A view.
     *
     * @param width   pixels, 1 to 65535
     * @param height  pixels, 1 to 65535
     * @param centre  the direction that the pixel (width / 2, height / 2) shows
     * @param fov     degrees spanned by the width, above 0 and up to 180; pixels are square
     * @return the view; empty where an argument is out of range
     */
    [[nodiscard]] static std::optional<view> make(int width, int height, direction centre, double fov) noexcept {
        const auto is_size = [](int pixels) { return 0 < pixels && pixels < 65536; };
        if (!is_size(width) || !is_size(height) || !internal::is_finite(centre) || !(fov > 0 && fov <= 180))
            return std::nullopt;
        return view(width, height, centre, fov);
    }

    /** The same of the record that the C functions take. */
    [[nodiscard]] static std::optional<view> make(const smap_view &seen) noexcept {
        return make(seen.width, seen.height, {seen.pan / 1024.0, seen.tilt / 1024.0}, seen.fov / 1024.0);
    }

    [[nodiscard]] int width() const noexcept { return width_; }   /**< pixels */
    [[nodiscard]] int height() const noexcept { return height_; } /**< pixels */

    /** Where a direction stands, on the screen or beside it; empty where it is behind the view. */
    [[nodiscard]] std::optional<position> place(direction d) const noexcept {
        const internal::vec p = frame_.inward(internal::vector_of(d));
        return p.x >= 0 ? std::optional(position_of(p)) : std::nullopt; // not for what is not finite either
    }

    /** Which direction a position shows, pan from 0 to 360; empty beyond the rim. */
    [[nodiscard]] std::optional<direction> at(position p) const noexcept {
        const double across = (p.x - middle_x_) / scale_, above = (middle_y_ - p.y) / scale_;
        if (!(std::fabs(across) + std::fabs(above) <= std::numbers::pi / 2))
            return std::nullopt;
        const double u = std::sin(across), v = std::sin(above);
        // 1 - u u - v v as a product, which stays exact near the rim.
        const double depth = std::sqrt(std::max(0.0, std::cos(across + above) * std::cos(across - above)));
        return internal::direction_of(frame_.outward({depth, u, v}));
    }

private:
    friend class mask;
    template <class Line>
    friend bool trace(const view &, std::span<const direction>, Line &&);
    template <class Corner>
    friend bool outline(const view &, std::span<const position>, Corner &&);

    view(int width, int height, direction centre, double fov) noexcept
        : width_(width), height_(height), middle_x_(std::floor(width / 2.0)), middle_y_(std::floor(height / 2.0)),
          scale_(width / (fov * internal::kDegree)), frame_(internal::frame::of(centre)) {}

    double x_of(double u) const { return middle_x_ + scale_ * internal::arcsine(u); }
    double y_of(double v) const { return middle_y_ - scale_ * internal::arcsine(v); }
    position position_of(internal::vec p) const { return {x_of(p.y), y_of(p.z)}; }

    // The sine that belongs to a distance from the middle in pixels; no more than that of 90 degrees.
    double sine_of(double pixels) const {
        return std::sin(std::clamp(pixels / scale_, -std::numbers::pi / 2, std::numbers::pi / 2));
    }
    double u_of(double x) const { return sine_of(x - middle_x_); }
    double v_of(double y) const { return sine_of(middle_y_ - y); }

    int width_, height_;
    double middle_x_, middle_y_, scale_;
    internal::frame frame_;
};

namespace internal {

// A side of a polygon. On the side of the plane to which the normal points, the winding level is one greater.
struct edge {
    vec from, to, normal;
};

// A direction with the polygon's winding level there, away from all edges.
struct anchor {
    vec at;
    int level;
};

// A part of an edge, or of the rim of what is in front, on which neither u nor v turns. It meets the row of v, where
// bottom <= v < top, once: neighbours share their ends, so that a row passes exactly one of two parts that it meets at
// their common end.
struct piece {
    double top, bottom;           // v of its ends
    double u_top, u_bottom;       // u of them
    double along, across, height; // u = along v + across sqrt(1 - (v / height)^2)
    int step;                     // how the level changes from its left side to its right

    double leftmost() const { return std::min(u_top, u_bottom); }
    double rightmost() const { return std::max(u_top, u_bottom); }
    bool meets(double v) const { return bottom <= v && v < top; }
    double u(double v) const {
        const double part = v / height;
        return std::clamp(along * v + across * std::sqrt(std::max(0.0, 1 - part * part)), leftmost(), rightmost());
    }
};

template <class T>
using block = std::unique_ptr<T[]>;

// Room for some records, or null.
template <class T>
block<T> room_for(std::size_t count) {
    return block<T>(new (std::nothrow) T[count]);
}

// A polygon on the sphere, and the outline of what is in front of a frame.
class polygon {
public:
    // What make() finds: which directions are inside.
    static std::optional<polygon> make(std::span<const direction> corners) {
        polygon made;
        if (corners.size() < 3 || corners.size() > kMostCorners || !made.reserve(corners.size()) ||
            !made.join(corners) || !made.settle_outside())
            return std::nullopt;
        return made;
    }

    std::size_t most_pieces() const { return 4 * room_ + 4; }

    // The winding level, 0 outside.
    int level(vec p) const {
        const anchor &near = nearest_anchor(p);
        return near.level + crossings(near.at, p);
    }

    // The outline of the part in front, in the coordinates of the frame, from top to bottom. Outside of the rim the
    // level is 0.
    std::span<const piece> in_front_of(const frame &view) {
        piece_count_ = event_count_ = 0;
        for (std::size_t i = 0; i < count_; ++i)
            corners_[i] = view.inward(edges_[i].from);
        for (std::size_t i = 0; i < count_; ++i)
            clip(corners_[i], corners_[i + 1 < count_ ? i + 1 : 0], view.inward(edges_[i].normal));
        close_along_rim(view);
        std::sort(pieces_.get(), pieces_.get() + piece_count_,
                  [](const piece &a, const piece &b) { return a.top > b.top; });
        return {pieces_.get(), piece_count_};
    }

private:
    static constexpr std::size_t kMostCorners = 1 << 20;
    static constexpr int kAnchors = 4;

    // Where an edge comes in front or goes behind: how the level changes there, downward along that side of the rim.
    struct event {
        double v;
        bool is_left;
        int step;
    };

    // A place where a row passes a piece.
    struct passage {
        double u;
        const piece *at;
    };

    bool reserve(std::size_t count) {
        room_ = count;
        edges_ = room_for<edge>(count);
        corners_ = room_for<vec>(count);
        events_ = room_for<event>(count);
        pieces_ = room_for<piece>(most_pieces());
        return edges_ && corners_ && events_ && pieces_;
    }

    // Makes the edges, leaving out corners that repeat the one before; false where an edge is not determined.
    bool join(std::span<const direction> corners) {
        for (const direction d : corners) {
            if (!is_finite(d))
                return false;
            const vec p = vector_of(d);
            if (count_ == 0 || length(p - edges_[count_ - 1].from) > kSame)
                edges_[count_++].from = p;
        }
        while (count_ > 1 && length(edges_[count_ - 1].from - edges_[0].from) <= kSame)
            --count_;
        if (count_ < 2)
            return false;
        for (std::size_t i = 0; i < count_; ++i) {
            edge &e = edges_[i];
            e.to = edges_[i + 1 < count_ ? i + 1 : 0].from;
            if (length(e.from + e.to) < kOpposite)
                return false;
            e.normal = unit(cross(e.from - e.to, e.from + e.to)); // from x to, without its loss for close corners
        }
        return true;
    }

    // How the level changes on the shorter arc between two directions away from the edges.
    int crossings(vec from, vec to) const {
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

    const anchor &nearest_anchor(vec p) const {
        return *std::max_element(anchors_, anchors_ + kAnchors,
                                 [p](const anchor &a, const anchor &b) { return dot(a.at, p) < dot(b.at, p); });
    }

    // Four directions all around, so that one is in front of each view, each the farthest from all edges of some.
    void choose_anchors() {
        for (int i = 0; i < kAnchors; ++i) {
            const auto corner = [](int bits) {
                return vec{bits & 1 ? 1.0 : -1.0, bits & 2 ? 1.0 : -1.0, bits & 4 ? 1.0 : -1.0};
            };
            constexpr int kTetrahedron[kAnchors] = {0, 3, 5, 6};
            double best = -1;
            for (int j = 0; j < 8; ++j) {
                const vec p = unit(kGeneric.outward(corner(kTetrahedron[i]) + 0.25 * corner(j)));
                double distance = 1;
                for (std::size_t k = 0; k < count_; ++k)
                    distance = std::min(distance, std::fabs(dot(edges_[k].normal, p)));
                if (distance > best) {
                    best = distance;
                    anchors_[i].at = p;
                }
            }
            anchors_[i].level = crossings(anchors_[0].at, anchors_[i].at);
        }
    }

    // The edge's part in front.
    void clip(vec a, vec b, vec normal) {
        const bool enters = !(a.x > 0), leaves = !(b.x > 0);
        if (enters && leaves)
            return;
        if (enters || leaves) {
            const vec meeting = std::fabs(b.x) * a + std::fabs(a.x) * b;
            const vec on_rim = unit({0, meeting.y, meeting.z});
            const bool is_left = on_rim.y < 0;
            events_[event_count_++] = {on_rim.z, is_left, enters == is_left ? -1 : 1};
            (enters ? a : b) = on_rim;
        }
        split_at_height(a, b, normal);
    }

    // Splits where v turns: at the highest or the lowest point of the great circle.
    void split_at_height(vec a, vec b, vec n) {
        const auto is_rising = [n](vec p) { return n.x * p.y - n.y * p.x >= 0; };
        if (is_rising(a) == is_rising(b))
            return split_at_side(a, b, n);
        const double height = std::hypot(n.x, n.y);
        const vec highest = {-n.z * n.x / height, -n.z * n.y / height, height};
        const vec turn = is_rising(a) ? highest : -1 * highest;
        split_at_side(a, turn, n);
        split_at_side(turn, b, n);
    }

    // Splits where u turns.
    void split_at_side(vec a, vec b, vec n) {
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
    void add(vec a, vec b, vec n, int weight = 1) {
        const bool rises = b.z > a.z;
        const vec &top = rises ? b : a, &bottom = rises ? a : b;
        const double height = std::max(std::hypot(n.x, n.y), 1e-200);
        pieces_[piece_count_++] = {top.z,
                                   bottom.z,
                                   top.y,
                                   bottom.y,
                                   -n.y * n.z / height / height,
                                   (rises ? n.x : -n.x) / height,
                                   height,
                                   rises ? -weight : weight};
    }

    // Adds the parts of the rim that are inside. The levels on the rim are those of an anchor, changed by what its row
    // passes on the way to the left and to the right, and by the events above or below.
    void close_along_rim(const frame &view) {
        const anchor &near = nearest_anchor(view.forward);
        const vec p = view.inward(near.at);
        int left = near.level, right = near.level;
        for (std::size_t i = 0; i < piece_count_; ++i)
            if (pieces_[i].meets(p.z))
                pieces_[i].u(p.z) < p.y ? left -= pieces_[i].step : right += pieces_[i].step;
        for (std::size_t i = 0; i < event_count_; ++i)
            if (events_[i].v > p.z)
                (events_[i].is_left ? left : right) -= events_[i].step;
        std::sort(events_.get(), events_.get() + event_count_,
                  [](const event &a, const event &b) { return a.v > b.v; });
        double top_left = 1, top_right = 1;
        for (std::size_t i = 0; i < event_count_; ++i) {
            const event &e = events_[i];
            add_rim(e.is_left ? top_left : top_right, e.v, e.is_left, e.is_left ? left : right);
            (e.is_left ? left : right) += e.step;
            (e.is_left ? top_left : top_right) = e.v;
        }
        add_rim(top_left, -1, true, left);
        add_rim(top_right, -1, false, right);
    }

    void add_rim(double top, double bottom, bool is_left, int level) {
        if (level == 0)
            return;
        const double side = is_left ? -1 : 1;
        const auto at = [side](double v) { return vec{0, side * std::sqrt(1 - v * v), v}; };
        const double turn = std::clamp(0.0, bottom, top);
        // Seen as sides of what is in front: down on the left, up on the right.
        for (const auto &[from, to] : {std::pair(top, turn), std::pair(turn, bottom)})
            if (from > to)
                is_left ? add(at(from), at(to), {1, 0, 0}, level) : add(at(to), at(from), {1, 0, 0}, level);
    }

    // Makes 0 the level of the side that holds most of the sphere.
    bool settle_outside() {
        choose_anchors();
        const std::size_t levels = 2 * count_ + 1;
        const block<double> areas = room_for<double>(levels);
        std::size_t meetings = 0;
        for_each_meeting([&](vec) { ++meetings; });
        const block<double> heights = room_for<double>(2 * most_pieces() + meetings);
        const block<passage> passages = room_for<passage>(most_pieces());
        if (!areas || !heights || !passages)
            return false;
        const auto middle = static_cast<std::ptrdiff_t>(count_);
        std::fill_n(areas.get(), levels, 0.0);
        areas[count_] = 4 * std::numbers::pi;
        const frame generic = kGeneric;
        for (const frame &half : {generic, generic.turned_round()}) {
            double *end = heights.get();
            for (const piece &part : in_front_of(half)) {
                *end++ = part.top;
                *end++ = part.bottom;
            }
            for_each_meeting([&](vec p) { *end++ = half.inward(p).z; });
            std::sort(heights.get(), end);
            for (const double *height = heights.get(); height + 1 < end; ++height)
                add_areas(height[0], height[1], passages.get(), areas.get() + middle);
        }
        const int outside =
            static_cast<int>(std::max_element(areas.get(), areas.get() + levels) - areas.get() - middle);
        for (anchor &a : anchors_)
            a.level -= outside;
        return true;
    }

    // Calls back with each point where two edges cross.
    template <class Point>
    void for_each_meeting(Point &&point) const {
        const auto is_on = [](const edge &e, vec p) {
            return dot(cross(e.normal, e.from), p) >= 0 && dot(cross(e.normal, e.to), p) <= 0;
        };
        for (std::size_t i = 0; i < count_; ++i)
            for (std::size_t j = 0; j < i; ++j) {
                const vec p = cross(edges_[i].normal, edges_[j].normal);
                const double size = length(p);
                if (size < kSame)
                    continue;
                for (const double sign : {1 / size, -1 / size})
                    if (is_on(edges_[i], sign * p) && is_on(edges_[j], sign * p))
                        point(sign * p);
            }
    }

    // Adds the areas of the levels between two rows between which no two pieces cross.
    void add_areas(double bottom, double top, passage *passages, double *areas) const {
        const double v = (bottom + top) / 2;
        if (!(bottom < v && v < top))
            return;
        std::size_t count = 0;
        for (std::size_t i = 0; i < piece_count_; ++i)
            if (pieces_[i].meets(v))
                passages[count++] = {pieces_[i].u(v), &pieces_[i]};
        std::sort(passages, passages + count, [](const passage &a, const passage &b) { return a.u < b.u; });
        int level = 0;
        for (std::size_t i = 0; i + 1 < count; ++i) {
            level += passages[i].at->step;
            const double area =
                area_left_of(*passages[i + 1].at, bottom, top) - area_left_of(*passages[i].at, bottom, top);
            areas[level] += area;
            areas[0] -= area;
        }
    }

    // The signed area between the middle line and a piece, between two rows: the integral of the longitude l over v, by
    // parts, where that of (1 - v) over l is the area of the triangle to the pole.
    static double area_left_of(const piece &part, double bottom, double top) {
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

    // Turned so that no usual direction lies on one of its planes.
    static constexpr frame kGeneric = {{0.36, 0.48, 0.8}, {-0.8, 0.6, 0}, {-0.48, -0.64, 0.6}};

    std::size_t room_ = 0, count_ = 0, piece_count_ = 0, event_count_ = 0;
    block<edge> edges_;
    block<vec> corners_; // of the edges, as last turned into a frame
    block<event> events_;
    block<piece> pieces_;
    anchor anchors_[kAnchors] = {};
};

} // namespace internal

/**
 * A polygon of directions that hides what is inside.
 *
 *     door->draw(*seen, [&](int y, int first, int behind) { blacken(frame.row(y), first, behind); });
 */
class mask {
public:
    /**
     * Prepares a polygon.
     *
     * @param corners  three directions or more; those that repeat the one before are left out
     * @return the mask; empty for fewer corners (or all the same) and more than 2^20, for numbers that are not finite,
     *         for neighbours opposite to each other to a ten-thousandth of a degree, which no shorter arc joins, and
     *         when memory runs out. The time grows with the square of the number of corners.
     */
    [[nodiscard]] static std::optional<mask> make(std::span<const direction> corners) noexcept {
        std::optional<internal::polygon> shape = internal::polygon::make(corners);
        if (!shape)
            return std::nullopt;
        mask made(std::move(*shape));
        return made.active_ && made.passages_ && made.stretches_ ? std::optional(std::move(made)) : std::nullopt;
    }

    /** The same of the record that the C functions take. */
    [[nodiscard]] static std::optional<mask> make(const smap_sphere_poly &polygon) noexcept {
        const internal::block<direction> corners = internal::room_for<direction>(polygon.count);
        if (!corners)
            return std::nullopt;
        std::transform(polygon.pts, polygon.pts + polygon.count, corners.get(),
                       [](const smap_sphere_pt &point) { return direction_of(point); });
        return make(std::span<const direction>(corners.get(), polygon.count));
    }

    /** Whether a direction is inside. */
    [[nodiscard]] bool contains(direction d) const noexcept {
        return internal::is_finite(d) && shape_.level(internal::vector_of(d)) != 0;
    }

    /**
     * Finds the pixels of a view that the mask covers.
     *
     * @param seen  the view
     * @param each  called as each(y, first, behind) for pixels first to behind - 1 of row y, at least one; downward,
     *              and from left to right, with a gap in between
     * @param how   which pixels
     */
    template <class Run>
    void draw(const view &seen, Run &&each, coverage how = coverage::conservative) {
        const std::span<const internal::piece> pieces = shape_.in_front_of(seen.frame_);
        if (pieces.empty())
            return;
        // Row y is told by the line y + offset; in the conservative mode its pixels lie between that and the one
        // before.
        const double offset = how == coverage::conservative ? 0.5 : 0;
        double lowest = pieces[0].bottom;
        for (const internal::piece &part : pieces)
            lowest = std::min(lowest, part.bottom);
        const auto row = [&](double y) { return std::floor(std::clamp(y - offset, -2.0, seen.height_ + 1.0)); };
        const int begin = std::max(0, static_cast<int>(row(seen.y_of(pieces[0].top))) + 1);
        const int end = std::min(seen.height_, static_cast<int>(row(seen.y_of(lowest) + 2 * offset)) + 1);

        const double left = seen.u_of(-1), right = seen.u_of(seen.width_);
        const internal::piece *next = pieces.data(), *const last = next + pieces.size();
        active *active_end = active_.get();
        double above = seen.v_of(begin + offset - 1);
        for (int y = begin; y < end; ++y) {
            const double line = seen.v_of(y + offset);
            for (; next != last && next->top > line; ++next)
                if (next->bottom <= above && next->leftmost() <= right)
                    *active_end++ = entered(*next, seen, above, left);
            active_end = advance(seen, active_end, line, how);
            emit(seen, y, each, how);
            above = line;
        }
    }

    /**
     * The same into the caller's memory.
     *
     * @param seen  the view
     * @param room  receives the runs, as many as it holds
     * @param how   which pixels
     * @return how many runs there are, which may be more than @p room holds
     */
    [[nodiscard]] std::size_t list(const view &seen, std::span<run> room, coverage how = coverage::conservative) {
        std::size_t count = 0;
        const auto keep = [&](int y, int first, int behind) {
            if (count < room.size())
                room[count] = {y, first, behind};
            ++count;
        };
        draw(seen, keep, how);
        return count;
    }

private:
    // A piece that the lines meet, and where the line above the row met it.
    struct active {
        const internal::piece *part;
        double x;
        bool is_beside; // left of the screen, where no place is looked for
    };

    // Where a line passes a piece.
    struct passage {
        double x;
        int step;
    };

    // From where to where a row is covered.
    struct stretch {
        double from, to;
    };

    explicit mask(internal::polygon shape)
        : shape_(std::move(shape)), active_(internal::room_for<active>(shape_.most_pieces())),
          passages_(internal::room_for<passage>(shape_.most_pieces())),
          stretches_(internal::room_for<stretch>(2 * shape_.most_pieces())) {}

    static active entered(const internal::piece &part, const view &seen, double above, double left) {
        if (part.rightmost() < left)
            return {&part, kBeside, true};
        return {&part, seen.x_of(part.top > above ? part.u(above) : part.u_top), false};
    }

    // Follows the active pieces down to a line: what they touch on the way, and where they pass it.
    active *advance(const view &seen, active *end, double line, coverage how) {
        passage_count_ = stretch_count_ = 0;
        active *kept = active_.get();
        for (active *at = active_.get(); at != end; ++at) {
            const internal::piece &part = *at->part;
            const bool is_passed = part.bottom <= line;
            double x = kBeside;
            if (!at->is_beside && (is_passed || how == coverage::conservative))
                x = seen.x_of(is_passed ? part.u(line) : part.u_bottom);
            if (!at->is_beside && how == coverage::conservative)
                put(stretches_.get(), stretch_count_, {std::min(at->x, x), std::max(at->x, x)}, &stretch::from);
            if (is_passed) {
                put(passages_.get(), passage_count_, {x, part.step}, &passage::x);
                *kept++ = {&part, x, at->is_beside};
            }
        }
        return kept;
    }

    // Puts an item where it belongs among the few that are sorted already.
    template <class Item>
    static void put(Item *items, std::size_t &count, Item item, double Item::*key) {
        std::size_t at = count++;
        for (; at > 0 && items[at - 1].*key > item.*key; --at)
            items[at] = items[at - 1];
        items[at] = item;
    }

    // Joins what is touched and what is inside on the line, and hands out the pixels.
    template <class Run>
    void emit(const view &seen, int y, Run &each, coverage how) {
        int level = 0;
        double from = 0;
        for (std::size_t i = 0; i < passage_count_; ++i) {
            const passage &at = passages_[i];
            if (level == 0)
                from = at.x;
            level += at.step;
            if (level == 0)
                put(stretches_.get(), stretch_count_, {from, at.x}, &stretch::from);
        }
        if (level != 0)
            put(stretches_.get(), stretch_count_, {from, seen.width_ + 1.0}, &stretch::from);
        const double reach = how == coverage::conservative ? 0.5 + kMargin : 0;
        const auto pixel = [&seen](double x) {
            return static_cast<int>(std::ceil(std::clamp(x, 0.0, static_cast<double>(seen.width_))));
        };
        int first = 0, behind = 0;
        for (std::size_t i = 0; i < stretch_count_; ++i) {
            const int begin = pixel(stretches_[i].from - reach), end = pixel(stretches_[i].to + reach);
            if (begin > behind) {
                if (behind > first)
                    each(y, first, behind);
                first = begin;
            }
            behind = std::max(behind, end);
        }
        if (behind > first)
            each(y, first, behind);
    }

    // Left of every screen; and what a place may be off, in pixels, with room to spare.
    static constexpr double kBeside = -9, kMargin = 1e-3;

    internal::polygon shape_;
    internal::block<active> active_;
    internal::block<passage> passages_;
    internal::block<stretch> stretches_;
    std::size_t passage_count_ = 0, stretch_count_ = 0;
};

namespace internal {

// Half a pixel with room to spare, for places that lie between those that are looked at.
constexpr double kStray = 0.3;

inline double distance_to_line(position p, position a, position b) {
    const double x = b.x - a.x, y = b.y - a.y, size = std::hypot(x, y);
    const double away_x = p.x - a.x, away_y = p.y - a.y;
    return size > 0 ? std::fabs(x * away_y - y * away_x) / size : std::hypot(away_x, away_y);
}

// Whether a chord of the screen and a curve between its ends, at(0) to at(1), are as good as one.
template <class At>
bool is_straight(position a, position b, At &&at) {
    for (int eighth = 1; eighth < 8; ++eighth)
        if (!(distance_to_line(at(eighth / 8.0), a, b) <= kStray))
            return false;
    return true;
}

// Goes from 0 to 1 in steps, as large as they may be; to(t) follows each.
template <class May, class To>
void step_along(May &&may, To &&to) {
    constexpr double kLeast = 1.0 / 65536;
    for (double from = 0, step = 1; from < 1;) {
        step = std::min(2 * step, 1 - from);
        while (step > kLeast && !may(from, from + step))
            step /= 2;
        from = 1 - from - step < kLeast ? 1 : from + step;
        to(from);
    }
}

// The points of a shorter arc, from 0 to 1.
struct arc {
    vec from, beside;
    double angle;

    arc(vec a, vec b) : from(a), beside{}, angle(0) {
        const vec normal = cross(a, b);
        const double sine = length(normal);
        angle = std::atan2(sine, dot(a, b));
        if (sine > 0)
            beside = 1 / sine * cross(normal, a);
    }
    vec operator()(double t) const { return std::cos(t * angle) * from + std::sin(t * angle) * beside; }
};

// Cuts a line at a rectangle; false where nothing of it is inside.
inline bool cut(position &a, position &b, double left, double top, double right, double bottom) {
    double from = 0, to = 1;
    const double x = b.x - a.x, y = b.y - a.y;
    const double rates[] = {-x, x, -y, y}, rooms[] = {a.x - left, right - a.x, a.y - top, bottom - a.y};
    for (int i = 0; i < 4; ++i) {
        if (rates[i] == 0 && rooms[i] < 0)
            return false;
        if (rates[i] < 0)
            from = std::max(from, rooms[i] / rates[i]);
        if (rates[i] > 0)
            to = std::min(to, rooms[i] / rates[i]);
    }
    if (from > to)
        return false;
    b = {a.x + to * x, a.y + to * y};
    a = {a.x + from * x, a.y + from * y};
    return true;
}

} // namespace internal

/**
 * Draws a path: straight lines that are nowhere half a pixel from the great-circle arcs between its directions, cut at
 * the rim of what is in front and at the screen's border.
 *
 * @param seen  the view
 * @param path  directions, any number
 * @param line  called as line(from, to) with two positions, along the path; where nothing is cut, `from` is the `to` of
 *              the call before
 * @return true; false, with nothing drawn, where a number is not finite or two neighbours are opposite
 */
template <class Line>
[[nodiscard]] bool trace(const view &seen, std::span<const direction> path, Line &&line) {
    using internal::vec;
    const auto at = [&](std::size_t i) { return internal::vector_of(path[i]); };
    for (std::size_t i = 0; i < path.size(); ++i)
        if (!internal::is_finite(path[i]) || (i > 0 && internal::length(at(i - 1) + at(i)) < internal::kOpposite))
            return false;
    for (std::size_t i = 1; i < path.size(); ++i) {
        vec a = seen.frame_.inward(at(i - 1)), b = seen.frame_.inward(at(i));
        if (a.x < 0 && b.x < 0)
            continue;
        if (a.x < 0 || b.x < 0) {
            const vec meeting = std::fabs(b.x) * a + std::fabs(a.x) * b;
            (a.x < 0 ? a : b) = internal::unit({0, meeting.y, meeting.z});
        }
        const internal::arc curve(a, b);
        double since = 0;
        const auto place = [&](double t) { return seen.position_of(curve(t)); };
        internal::step_along(
            [&](double from, double to) {
                return internal::is_straight(place(from), place(to),
                                             [&](double t) { return place(from + t * (to - from)); });
            },
            [&](double t) {
                position from = place(since), to = place(t);
                since = t;
                if (internal::cut(from, to, -0.5, -0.5, seen.width_ - 0.5, seen.height_ - 0.5))
                    line(from, to);
            });
    }
    return true;
}

/**
 * Finds the directions of a polygon drawn on the screen, with as many corners as its straight sides need: the arcs
 * between them are nowhere half a pixel from the sides. What mask::make() makes of them is the polygon, as long as it
 * is not half of the sphere.
 *
 * @param seen    the view
 * @param corners positions, in front of the view
 * @param corner  called as corner(direction), in the polygon's order; the last side, back to the first corner, counts
 * @return true; false, without a call, where a position shows no direction
 */
template <class Corner>
[[nodiscard]] bool outline(const view &seen, std::span<const position> corners, Corner &&corner) {
    for (const position p : corners)
        if (!seen.at(p))
            return false;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const position a = corners[i], b = corners[i + 1 < corners.size() ? i + 1 : 0];
        const auto shown = [&](double t) {
            const position p = {a.x + t * (b.x - a.x), a.y + t * (b.y - a.y)};
            return seen.at(p).value_or(direction{});
        };
        const auto vector = [&](double t) { return seen.frame_.inward(internal::vector_of(shown(t))); };
        corner(shown(0));
        internal::step_along(
            [&](double from, double to) {
                const internal::arc curve(vector(from), vector(to));
                return internal::is_straight(a, b, [&](double t) { return seen.position_of(curve(t)); });
            },
            [&](double t) {
                if (t < 1)
                    corner(shown(t));
            });
    }
    return true;
}

} // namespace vela::overlay

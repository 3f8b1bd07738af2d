/**
 * @file
 * What is within an angle of an edge, as an outline on the sphere. Part of <vela/overlay.hpp>; nothing here is public.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <span>
#include <vela/overlay/boundary.hpp>
#include <vela/overlay/optics.hpp>
#include <vela/overlay/polygon.hpp>

namespace vela::overlay::internal {

// The directions within an angle of an arc, less than 90 degrees. Its outline consists of two circles parallel to the
// arc and half a circle around each end: arcs of great circles around it, outside by an excess at most.
class vicinity {
public:
    // A tangent of an angle; excess: radians.
    vicinity(const edge &side, double tangent, double excess) noexcept
        : ends_{side.from, side.to}, normal_(side.normal), tangent_(tangent) {
        const double angle = arc_angle(side.from, side.to), size = tangent / (1 + tangent * tangent) / excess / 8;
        cap_parts_ = parts(kPi, size, kMaxCapParts);
        side_parts_ = parts(angle, size, kMaxSideParts);
    }

    // Calls corner(direction) around the outline, so that normals point to the inside.
    template <class Corner>
    void for_each_corner(Corner &&corner) const {
        // From the middle of an end, arcs of a polygon around a circle are nearest in their middle.
        const double circumscribed = tangent_ / std::cos(kPi / 2 / cap_parts_);
        for (const bool is_last : {true, false}) {
            const vec end = ends_[is_last], other = ends_[!is_last], away = is_last ? normal_ : -1 * normal_,
                      ahead = cross(away, end);
            for (int i = 0; i <= cap_parts_; ++i) {
                const double turn = kPi * i / cap_parts_ - kPi / 2;
                corner(unit(end + circumscribed * (std::cos(turn) * ahead + std::sin(turn) * away)));
            }
            for (int i = 1; i < side_parts_; ++i)
                corner(unit(unit(end + static_cast<double>(i) / side_parts_ * (other - end)) + circumscribed * away));
        }
    }

    // Draws the part that a lens sees, as boundary does.
    template <class Lens, class Chord>
    void draw(const frame &axes, const Lens &lens, const flattener<Lens> &flatten, Chord &&chord) const {
        std::array<vec, std::size_t{2} * (kMaxCapParts + kMaxSideParts)> corners;
        std::size_t count = 0;
        for_each_corner([&](vec p) { corners[count++] = axes.to_local(p); });
        const vec inside = axes.to_local(unit(ends_[0] + ends_[1]));
        std::array<exit, 64> exits;
        const auto winding = [&](vec p) {
            return 1 + crossings(inside, p, count, [&](std::size_t i) { return corners[i]; });
        };
        boundary(lens, std::span<exit>(exits), flatten, winding, chord)
            .draw(std::span<const vec>(corners).first(count));
    }

private:
    static int parts(double angle, double size, int most) noexcept {
        return static_cast<int>(std::clamp(std::ceil(angle * std::sqrt(size)), 2.0, static_cast<double>(most)));
    }

    static constexpr int kMaxCapParts = 255, kMaxSideParts = 64;

    std::array<vec, 2> ends_;
    vec normal_;
    double tangent_;
    int cap_parts_, side_parts_;
};

} // namespace vela::overlay::internal

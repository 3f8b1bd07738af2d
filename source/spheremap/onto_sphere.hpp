// Projection from the screen back to the sphere, in doubles.
//
// The result is in whole Q10 degrees. It is computed by fast elementary functions; only if it is so close to an
// integer, or the direction to a point where small errors grow, that it might be rounded differently, it is computed
// again from the definition with correctly rounded functions.
#pragma once

#include "common/angle.hpp"
#include "elementary.hpp"
#include <optional>
#include <vela/spheremap.h>

namespace vela::detail {

constexpr double kToRadians = std::numbers::pi / kHalfTurn;
constexpr double kFromRadians = kHalfTurn / std::numbers::pi;

// The canonical direction of truncated angles; a pan near the end of its range may be beyond it.
inline smap_sphere_pt canonical(double pan, double tilt) {
    int32_t whole_pan = std::fabs(pan) <= INT32_MAX ? static_cast<int32_t>(pan)
                                                    : static_cast<int32_t>(static_cast<int64_t>(pan) % kTurn);
    auto whole_tilt = static_cast<int32_t>(tilt);
    smap_clip_pan_tilt(&whole_pan, &whole_tilt);
    return {whole_pan, whole_tilt};
}

// From the definition, step by step.
struct exact_way_back {
    explicit exact_way_back(const smap_view &seen) : view(seen), axis(rounded::sine_cosine(seen.tilt * kToRadians)) {}

    smap_view view;
    unit_vector axis;

    double sine_of_offset(double pixels) const { return rounded::sine(pixels * (view.fov * kToRadians) / view.width); }

    [[gnu::noinline]] smap_sphere_pt operator()(smap_screen_pt point) const {
        const double across = sine_of_offset(static_cast<double>(point.x) - (view.width >> 1));
        const double up = sine_of_offset(static_cast<double>(view.height >> 1) - point.y);
        const double depth_squared = 1 - (up * up + across * across);
        if (depth_squared < 0)
            return {0, 0};
        const double depth = std::sqrt(depth_squared);
        const double pan = rounded::arctangent(across, axis.cosine * depth - axis.sine * up);
        // Rounding can make the zenith slightly more than 1.
        const double tilt = rounded::arcsine(std::clamp(up * axis.cosine + depth * axis.sine, -1.0, 1.0));
        return canonical((pan + view.pan * kToRadians) * kFromRadians, tilt * kFromRadians);
    }
};

// With the fast functions. Their errors of 2^-43 grow by at most 16 times in the depth, and again in the pan, so angles
// are within 2^-18 Q10 degrees; adding a pan of up to 2^31 rounds to 2^-21.
struct quick_way_back {
    explicit quick_way_back(const smap_view &view)
        : radians_per_pixel(view.fov * kToRadians / view.width), centre_x(view.width >> 1), centre_y(view.height >> 1),
          pan(view.pan) {
        const folded_angle folded = fold(view.tilt);
        const double rest = folded.rest * kToRadians, sign = folded.half_turns & 1 ? -1 : 1;
        axis = {sign * quick::sine(rest), sign * quick::sine(std::numbers::pi / 2 - std::fabs(rest))};
    }

    // Stores the result and returns true if it is certain.
    bool operator()(smap_screen_pt point, smap_sphere_pt &result) const {
        constexpr double small = 1.0 / 256;
        double around = (point.x - centre_x) * radians_per_pixel, above = (centre_y - point.y) * radians_per_pixel;
        if (!fold_once(around) || !fold_once(above))
            return false;
        const double across = quick::sine(around), up = quick::sine(above);
        const double depth_squared = 1 - (up * up + across * across);
        if (depth_squared < small) {
            result = {0, 0};
            return depth_squared < -small;
        }
        const double depth = std::sqrt(depth_squared);
        const double ahead = axis.cosine * depth - axis.sine * up, rise = up * axis.cosine + depth * axis.sine;
        const double horizon_squared = across * across + ahead * ahead;
        if (horizon_squared < small)
            return false;
        const double found_pan = quick::arctangent(across, ahead) * kFromRadians + pan;
        const double found_tilt = quick::arctangent(rise, std::sqrt(horizon_squared)) * kFromRadians;
        if (std::fabs(found_pan) > INT32_MAX)
            return false;
        const auto whole_pan = static_cast<int32_t>(found_pan), whole_tilt = static_cast<int32_t>(found_tilt);
        result = {within_first_turn(whole_pan), whole_tilt};
        return is_far_from_integers(found_pan - whole_pan) && is_far_from_integers(found_tilt - whole_tilt);
    }

private:
    double radians_per_pixel, centre_x, centre_y, pan;
    unit_vector axis;

    // Reduces an angle to the range of the fast sine, with the same sine, unless it is too far outside.
    static bool fold_once(double &angle) {
        constexpr double quarter = std::numbers::pi / 2;
        if (std::fabs(angle) > quarter) [[unlikely]]
            angle = std::copysign(std::numbers::pi, angle) - angle;
        return std::fabs(angle) <= quarter;
    }

    // Tests the fraction that a truncation drops.
    static bool is_far_from_integers(double fraction) {
        constexpr double margin = 1.0 / (1 << 16);
        return std::fabs(std::fabs(fraction) - 0.5) < 0.5 - margin;
    }
};

// The inverse projection of one view.
class way_back {
public:
    explicit way_back(const smap_view &seen) : view(seen), quick(seen) {}

    smap_sphere_pt operator()(smap_screen_pt point) {
        smap_sphere_pt result = {0, 0};
        if (view.width == 0 || quick(point, result))
            return result;
        if (!exact)
            exact.emplace(view);
        return (*exact)(point);
    }

private:
    smap_view view;
    quick_way_back quick;
    std::optional<exact_way_back> exact; // made when needed
};

} // namespace vela::detail

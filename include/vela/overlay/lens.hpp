/**
 * @file
 * Lenses of cameras: the pinhole and fisheye models of OpenCV, with the coefficients that its calibration gives. Part
 * of <vela/overlay.hpp>.
 *
 * The camera's axes are x to the right, y downward and z forward; pixel centres are at whole numbers.
 */
#pragma once

#include <cmath>
#include <numbers>

namespace vela::overlay {

/**
 * A rectilinear lens with radial and tangential distortion: a direction (x, y, 1) is projected to
 *
 *     r2 = x x + y y,  radial = 1 + k1 r2 + k2 r2^2 + k3 r2^3
 *     (fx (x radial + 2 p1 x y + p2 (r2 + 2 x x)) + cx,  fy (y radial + p1 (r2 + 2 y y) + 2 p2 x y) + cy)
 *
 * It sees what is in front, up to the radius where r radial stops growing.
 */
struct pinhole {
    double fx = 0; /**< focal length across, in pixels */
    double fy = 0; /**< focal length down, in pixels */
    double cx = 0; /**< column of the optical axis */
    double cy = 0; /**< row of the optical axis */
    double k1 = 0; /**< radial distortion */
    double k2 = 0; /**< radial distortion */
    double p1 = 0; /**< tangential distortion */
    double p2 = 0; /**< tangential distortion */
    double k3 = 0; /**< radial distortion */

    /**
     * A lens without distortion, of square pixels.
     *
     * @param width    pixels
     * @param height   pixels
     * @param degrees  spanned by the width, above 0 and below 180; otherwise view::make() refuses the lens
     */
    [[nodiscard]] static pinhole of_fov(int width, int height, double degrees) noexcept {
        const bool is_fov = degrees > 0 && degrees < 180;
        const double f = is_fov ? width / 2.0 / std::tan(degrees * std::numbers::pi / 360) : 0;
        return {f, f, std::floor(width / 2.0), std::floor(height / 2.0)};
    }

    /** Whether all numbers are the same. */
    friend bool operator==(const pinhole &, const pinhole &) noexcept = default;
};

/**
 * A lens that projects a direction at an angle of theta from the optical axis to a radius of
 *
 *     theta (1 + k1 theta^2 + k2 theta^4 + k3 theta^6 + k4 theta^8)
 *
 * times fx across and fy down. It sees angles below 180 degrees, up to the one where that radius stops growing.
 */
struct fisheye {
    double fx = 0; /**< focal length across, in pixels per radian */
    double fy = 0; /**< focal length down, in pixels per radian */
    double cx = 0; /**< column of the optical axis */
    double cy = 0; /**< row of the optical axis */
    double k1 = 0; /**< distortion */
    double k2 = 0; /**< distortion */
    double k3 = 0; /**< distortion */
    double k4 = 0; /**< distortion */

    /**
     * A lens without distortion, of square pixels.
     *
     * @param width    pixels
     * @param height   pixels
     * @param degrees  spanned by the width, above 0 and up to 360; otherwise view::make() refuses the lens
     */
    [[nodiscard]] static fisheye of_fov(int width, int height, double degrees) noexcept {
        const bool is_fov = degrees > 0 && degrees <= 360;
        const double f = is_fov ? width / (degrees * std::numbers::pi / 180) : 0;
        return {f, f, std::floor(width / 2.0), std::floor(height / 2.0)};
    }

    /** Whether all numbers are the same. */
    friend bool operator==(const fisheye &, const fisheye &) noexcept = default;
};

} // namespace vela::overlay

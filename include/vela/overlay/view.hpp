/**
 * @file
 * The view of a camera: projection of directions to positions on the screen, and back. Part of <vela/overlay.hpp>.
 */
#pragma once

#include <cmath>
#include <optional>
#include <span>
#include <variant>
#include <vela/overlay/axes.hpp>
#include <vela/overlay/azimuthal.hpp>
#include <vela/overlay/geometry.hpp>
#include <vela/overlay/lens.hpp>
#include <vela/overlay/rectilinear.hpp>
#include <vela/spheremap.h>

namespace vela::overlay {

/** What the camera shows on a screen of a given size. */
class view {
    template <class Action>
    auto by_lens(Action &&action) const {
        if (const auto *lens = std::get_if<internal::axes>(&lens_))
            return action(*lens);
        if (const auto *lens = std::get_if<internal::rectilinear>(&lens_))
            return action(*lens);
        return action(*std::get_if<internal::azimuthal>(&lens_));
    }

public:
    /**
     * A view by the lens of <vela/spheremap.h>: each axis is proportional to the angle of its sine.
     *
     * @param width   pixels, 1 to 65535
     * @param height  pixels, 1 to 65535
     * @param centre  the direction that the pixel (width / 2, height / 2) shows
     * @param fov     degrees spanned by the width, 1e-6 to 180; pixels are square
     * @return the view; empty when an argument is out of range
     */
    [[nodiscard]] static std::optional<view> make(int width, int height, direction centre, double fov) noexcept {
        if (!is_size(width) || !is_size(height) || !internal::is_finite(centre) || !(fov >= kMinFov && fov <= 180))
            return std::nullopt;
        return view(width, height, {centre.pan, centre.tilt}, internal::axes(width, height, fov));
    }

    /** The same, from the record that the C functions take. */
    [[nodiscard]] static std::optional<view> make(const smap_view &record) noexcept {
        return make(record.width, record.height, {record.pan / 1024.0, record.tilt / 1024.0}, record.fov / 1024.0);
    }

    /**
     * A view by the lens of a real camera.
     *
     * @param width   pixels, 1 to 65535
     * @param height  pixels, 1 to 65535
     * @param where   where the optical axis points
     * @param lens    the lens; its centre at most 65535 pixels beside the picture
     * @return the view; empty when an argument is out of range or not finite, and when less than a pixel is seen
     */
    [[nodiscard]] static std::optional<view> make(int width, int height, orientation where,
                                                  const pinhole &lens) noexcept {
        const bool is_good = is_usable(width, height, where, lens, lens.k1, lens.k2, lens.p1, lens.p2, lens.k3);
        return is_good ? of(width, height, where, internal::rectilinear::make(lens, width, height)) : std::nullopt;
    }

    /** The same for a fisheye lens. */
    [[nodiscard]] static std::optional<view> make(int width, int height, orientation where,
                                                  const fisheye &lens) noexcept {
        const bool is_good = is_usable(width, height, where, lens, lens.k1, lens.k2, lens.k3, lens.k4);
        return is_good ? of(width, height, where, internal::azimuthal::make(lens, width, height)) : std::nullopt;
    }

    [[nodiscard]] int width() const noexcept { return width_; }   /**< pixels */
    [[nodiscard]] int height() const noexcept { return height_; } /**< pixels */

    /**
     * Projects a direction.
     *
     * @param d  the direction
     * @return its position, on the screen or beside it; empty when it is behind the camera or not finite
     */
    [[nodiscard]] std::optional<position> project(direction d) const noexcept {
        const internal::vec p = frame_.to_local(internal::vector_of(d));
        return by_lens([&](const auto &lens) { return lens.sees(p) ? std::optional(lens.project(p)) : std::nullopt; });
    }

    /**
     * Unprojects a position.
     *
     * @param p  the position, on the screen or beside it
     * @return the direction that it shows, pan from 0 to 360; empty beyond the rim
     */
    [[nodiscard]] std::optional<direction> unproject(position p) const noexcept {
        const std::optional<internal::vec> shown = by_lens([p](const auto &lens) { return lens.unproject(p); });
        return shown ? std::optional(internal::direction_of(frame_.to_sphere(*shown))) : std::nullopt;
    }

private:
    friend class mask;
    template <class Line>
    friend bool project_path(const view &, std::span<const direction>, Line &&);
    template <class Corner>
    friend bool unproject_polygon(const view &, std::span<const position>, Corner &&);

    using any_lens = std::variant<internal::axes, internal::rectilinear, internal::azimuthal>;

    view(int width, int height, orientation where, const any_lens &lens) noexcept
        : width_(width), height_(height), where_(where), lens_(lens), frame_(internal::frame::of(where)) {}

    // Below it, the angle between pixels comes near the precision of directions.
    static constexpr double kMinFov = 1e-6;

    static bool is_size(int pixels) noexcept { return 0 < pixels && pixels < 65536; }

    template <class Lens, class... Coefficients>
    static bool is_usable(int width, int height, orientation where, const Lens &lens,
                          Coefficients... coefficients) noexcept {
        const auto is_centre = [](double at, int size) { return -65535 <= at && at <= size + 65535.0; };
        return is_size(width) && is_size(height) && std::isfinite(where.pan) && std::fabs(where.tilt) <= 90 &&
               std::isfinite(where.roll) && lens.fx > 0 && lens.fy > 0 && std::isfinite(lens.fx) &&
               std::isfinite(lens.fy) && is_centre(lens.cx, width) && is_centre(lens.cy, height) &&
               (... && std::isfinite(coefficients));
    }

    template <class Lens>
    static std::optional<view> of(int width, int height, orientation where, const std::optional<Lens> &lens) noexcept {
        return lens ? std::optional(view(width, height, where, *lens)) : std::nullopt;
    }

    int width_, height_;
    orientation where_;
    any_lens lens_;
    internal::frame frame_;
};

} // namespace vela::overlay

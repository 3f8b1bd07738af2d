#include "common/angle.hpp"
#include "common/contract.hpp"
#include "common/wrapping.hpp"
#include "onto_screen.hpp"
#include "rounded_maths.hpp"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <vela/spheremap.h>

namespace {

using namespace vela::detail;

constexpr double kToRadians = std::numbers::pi / kHalfTurn;
constexpr double kFromRadians = kHalfTurn / std::numbers::pi;

// Sphere and screen points may be the same memory, so they are copied whole and never accessed by their fields.
template <class T>
T load(const T *from) {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <class T>
void store(T *to, const T &value) {
    std::memcpy(to, &value, sizeof value);
}

// The angle less whole turns, in [-half a turn, half a turn]: a positive angle ends at the positive end.
int32_t within_half_turn(int32_t angle) {
    const int32_t rest = wrapped(angle);
    return rest == -kHalfTurn && angle > 0 ? kHalfTurn : rest;
}

// A direction found in floating point, in Q10 degrees, with what tells how much rounding may have moved it.
struct direction {
    bool exists;
    double pan, tilt;
    double depth_squared;   // of the unit vector, along the view's axis
    double horizon_squared; // of its projection on the horizon
};

struct library_maths {
    static double sine(double x) { return std::sin(x); }
    static unit_vector sine_cosine(double x) { return {std::sin(x), std::cos(x)}; }
    static double arcsine(double x) { return std::asin(x); }
    static double arctangent(double y, double x) { return std::atan2(y, x); }
};

// The way back from the screen, with the elementary functions of Maths.
template <class Maths>
struct back_projection {
    explicit back_projection(const smap_view &seen) : view(seen), axis(Maths::sine_cosine(seen.tilt * kToRadians)) {}

    const smap_view &view;
    unit_vector axis;

    double sine_of_offset(double pixels) const { return Maths::sine(pixels * (view.fov * kToRadians) / view.width); }

    direction operator()(const smap_screen_pt &point) const {
        const double across = sine_of_offset(static_cast<double>(point.x) - (view.width >> 1));
        const double up = sine_of_offset(static_cast<double>(view.height >> 1) - point.y);
        const double depth_squared = 1 - (up * up + across * across);
        if (depth_squared < 0)
            return {false, 0, 0, depth_squared, 0};

        const double depth = std::sqrt(depth_squared);
        const double ahead = axis.cosine * depth - axis.sine * up;
        const double pan = Maths::arctangent(across, ahead);
        // Rounding can carry the zenith a hair beyond 1.
        const double tilt = Maths::arcsine(std::clamp(up * axis.cosine + depth * axis.sine, -1.0, 1.0));
        return {true, (pan + view.pan * kToRadians) * kFromRadians, tilt * kFromRadians, depth_squared,
                across * across + ahead * ahead};
    }
};

// Whether a value that fits 32 bits stays the same integer when it moves a little.
bool far_from_integers(double value) {
    constexpr double margin = 1.0 / (1 << 16), most = INT32_MAX;
    if (std::fabs(value) > most)
        return false;
    const double fraction = std::fabs(value - static_cast<int32_t>(value));
    return fraction > margin && fraction < 1 - margin;
}

// Whether the direction truncates to the same integers with any maths library. One unit in the last place of a sine,
// about 2^-53, moves the angles by that over the depth and over the length on the horizon, so by less than 2^-26 Q10
// degrees where neither is small; adding a pan of up to 2^31 Q10 degrees rounds to 2^-21.
bool is_settled(const direction &found) {
    constexpr double small = 1.0 / 256;
    return found.exists && found.depth_squared > small && found.horizon_squared > small &&
           far_from_integers(found.pan) && far_from_integers(found.tilt);
}

smap_sphere_pt canonical(const direction &found) {
    if (!found.exists)
        return {0, 0};
    // A view's pan near the end of its range may carry the sum beyond it.
    int32_t pan = std::fabs(found.pan) <= INT32_MAX ? static_cast<int32_t>(found.pan)
                                                    : static_cast<int32_t>(static_cast<int64_t>(found.pan) % kTurn);
    int32_t tilt = static_cast<int32_t>(found.tilt);
    smap_clip_pan_tilt(&pan, &tilt);
    return {pan, tilt};
}

smap_sphere_pt find(const back_projection<library_maths> &back, const smap_screen_pt &point) {
    if (back.view.width == 0)
        return {0, 0};
    const direction found = back(point);
    return canonical(is_settled(found) ? found : back_projection<rounded_maths>(back.view)(point));
}

} // namespace

void smap_clip_pan_tilt(int32_t *pan_position, int32_t *tilt_position) {
    int32_t tilt = within_half_turn(*tilt_position);
    int32_t pan = within_first_turn(*pan_position);
    if (tilt > kQuarterTurn || tilt < -kQuarterTurn) {
        pan = within_first_turn(pan + kHalfTurn);
        tilt = (tilt < 0 ? -kHalfTurn : kHalfTurn) - tilt;
    }
    // clang-format off
    assert(( 0 <= pan) && (pan < (360 << 10)));
    assert((-( 90 << 10) <= tilt) && (tilt <= ( 90 << 10) ));
    // clang-format on
    *pan_position = pan;
    *tilt_position = tilt;
}

void smap_clip_pan_tilt_bounds(int32_t *pan_limit, int32_t *tilt_limit) {
    const int32_t tilt = within_half_turn(*tilt_limit);
    const int32_t pan = within_first_turn(*pan_limit);
    // clang-format off
    assert(( 0 <= pan) && (pan < (360 << 10)));
    assert((-(180 << 10) <= tilt) && (tilt <= (180 << 10) ));
    // clang-format on
    *pan_limit = pan;
    *tilt_limit = tilt;
}

int8_t smap_sphere_pt_to_screen_pt(const smap_sphere_pt *pt, const smap_view *view, smap_screen_pt *out) {
    const auto *from = reinterpret_cast<const coordinate *>(pt);
    auto *to = reinterpret_cast<coordinate *>(out);
    const near_angle tilt(from[1]), view_tilt(view->tilt);
    if ((tilt.left | view_tilt.left) >= 0 && static_cast<uint32_t>(view->width) <= kMostWidth &&
        view->fov > 2 * view->width) [[likely]]
        return static_cast<int8_t>(
            place_near(sine_table(), difference_of_angles(from[0], view->pan), tilt, glance{*view, view_tilt}, to));
    return view->fov == 0 ? 0 : static_cast<int8_t>(place_any(from, *view, to));
}

void smap_screen_pt_to_sphere_pt(const smap_screen_pt *pt, const smap_view *view, smap_sphere_pt *out) {
    store(out, find(back_projection<library_maths>(*view), load(pt)));
}

int8_t smap_sphere_to_screen(const smap_sphere_poly *src, const smap_view *view, smap_screen_poly *dst) {
    const smap_sphere_poly sphere = load(src);
    smap_screen_poly screen = load(dst);
    if (screen.count < sphere.count)
        return 0;
    screen.count = sphere.count;
    store(dst, screen);
    if (view->fov == 0)
        return sphere.count == 0;

    const stare seen(*view);
    const sine_table sines;
    const int32_t usual = seen.is_usual() ? 0 : -1;
    int32_t in_front = 1;
    for (size_t i = 0; i < sphere.count; ++i) {
        const auto *from = reinterpret_cast<const coordinate *>(sphere.pts + i);
        auto *to = reinterpret_cast<coordinate *>(screen.pts + i);
        const near_angle tilt(from[1]);
        const placed result = (tilt.left | usual) >= 0
                                  ? place_near(sines, difference_of_angles(from[0], seen.pan), tilt, seen, to)
                                  : place_any(from, *view, to);
        in_front &= static_cast<int32_t>(result);
    }
    return static_cast<int8_t>(in_front);
}

int8_t smap_screen_to_sphere(const smap_screen_poly *src, const smap_view *view, smap_sphere_poly *dst) {
    const smap_screen_poly screen = load(src);
    smap_sphere_poly sphere = load(dst);
    if (sphere.count < screen.count)
        return 0;
    sphere.count = screen.count;
    store(dst, sphere);

    const back_projection<library_maths> back(*view);
    for (uint32_t i = 0; i < screen.count; ++i)
        store(sphere.pts + i, find(back, load(screen.pts + i)));
    return 1;
}

int8_t smap_polygon_on_screen(const smap_screen_poly *poly, const smap_view *view) {
    if (poly->count == 0)
        return 0;
    smap_screen_pt least = poly->pts[0], most = least;
    for (uint32_t i = 1; i < poly->count; ++i) {
        const smap_screen_pt &point = poly->pts[i];
        least = {std::min(least.x, point.x), std::min(least.y, point.y)};
        most = {std::max(most.x, point.x), std::max(most.y, point.y)};
    }
    return least.x < view->width && most.x >= 0 && least.y < view->height && most.y >= 0;
}

void smap_print_screen_poly(const smap_screen_poly *poly) {
    std::printf("\n");
    for (uint32_t i = 0; i < poly->count; ++i)
        std::printf("i = %2d, x = %4d, y = %4d\n", static_cast<int>(i), poly->pts[i].x, poly->pts[i].y);
}

void smap_print_sphere_poly(const smap_sphere_poly *poly) {
    const auto degrees = [](int32_t angle) { return static_cast<double>(static_cast<float>(angle) * (1.0F / 1024)); };
    std::printf("\n");
    for (uint32_t i = 0; i < poly->count; ++i)
        std::printf("i = %2d, pan = %6.6f, tilt = %6.6f\n", static_cast<int>(i), degrees(poly->pts[i].pan),
                    degrees(poly->pts[i].tilt));
}

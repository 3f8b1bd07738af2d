// The sphere map: ranges of pan and tilt, projection of points and polygons to the screen and back, and their prints.
#include "common/angle.hpp"
#include "common/contract.hpp"
#include "common/wrapping.hpp"
#include "onto_screen.hpp"
#include "onto_sphere.hpp"
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vela/spheremap.h>

namespace {

using namespace vela::detail;

// Sphere and screen points may be the same memory, so they are copied whole and never accessed by their fields.
template <class T>
T copied(const T *from) {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <class T>
void copy_to(T *to, const T &value) {
    std::memcpy(to, &value, sizeof value);
}

// The angle minus whole turns, in [-half a turn, half a turn]: half a turn keeps its sign.
int32_t within_half_turn(int32_t angle) {
    const int32_t rest = wrapped(angle);
    return rest == -kHalfTurn && angle > 0 ? kHalfTurn : rest;
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
    // No tilt beyond a pole, and a coarse grid.
    if ((tilt.left | view_tilt.left) >= 0 && static_cast<uint32_t>(view->width) <= kMostWidth &&
        view->fov > 2 * view->width) [[likely]]
        return static_cast<int8_t>(
            place_near(sine_table(), difference_of_angles(from[0], view->pan), tilt, point_view{*view, view_tilt}, to));
    return view->fov == 0 ? 0 : static_cast<int8_t>(place_any(from, *view, to));
}

void smap_screen_pt_to_sphere_pt(const smap_screen_pt *pt, const smap_view *view, smap_sphere_pt *out) {
    copy_to(out, way_back(*view)(copied(pt)));
}

int8_t smap_sphere_to_screen(const smap_sphere_poly *src, const smap_view *view, smap_screen_poly *dst) {
    const smap_sphere_poly sphere = copied(src);
    smap_screen_poly screen = copied(dst);
    if (screen.count < sphere.count)
        return 0;
    screen.count = sphere.count;
    copy_to(dst, screen);
    if (view->fov == 0)
        return sphere.count == 0;

    const polygon_view seen(*view);
    const sine_table sines;
    const int32_t usual = seen.is_usual() ? 0 : -1; // negative, like the difference of a tilt that isn't
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
    const smap_screen_poly screen = copied(src);
    smap_sphere_poly sphere = copied(dst);
    if (sphere.count < screen.count)
        return 0;
    sphere.count = screen.count;
    copy_to(dst, sphere);

    way_back back(*view);
    for (uint32_t i = 0; i < screen.count; ++i)
        copy_to(sphere.pts + i, back(copied(screen.pts + i)));
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

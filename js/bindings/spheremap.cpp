// <vela/spheremap.h>
#include "bindings.hpp"
#include <vela/spheremap.h>

using namespace bindings;

namespace {

static_assert(sizeof(smap_sphere_pt) == sizeof(smap_screen_pt) && sizeof(smap_screen_pt) == 2 * sizeof(int32_t));

// Two numbers a point.
uint32_t points_of(size_t size) { return static_cast<uint32_t>(size / 2); }

} // namespace

VELA_EXPORT(spheremap_clip_pan_tilt) block *clip_pan_tilt(int32_t pan, int32_t tilt) {
    smap_clip_pan_tilt(&pan, &tilt);
    return give({pan, tilt});
}

VELA_EXPORT(spheremap_clip_pan_tilt_bounds) block *clip_pan_tilt_bounds(int32_t pan, int32_t tilt) {
    smap_clip_pan_tilt_bounds(&pan, &tilt);
    return give({pan, tilt});
}

// Pairs of x and y, and at the end whether all directions are in front.
VELA_EXPORT(spheremap_sphere_to_screen)
block *sphere_to_screen(smap_sphere_pt *points, size_t size, int32_t width, int32_t height, int32_t pan, int32_t tilt,
                        int32_t fov) {
    result<int32_t> to(size + 1);
    const smap_sphere_poly from = {points_of(size), points};
    smap_screen_poly seen = {from.count, reinterpret_cast<smap_screen_pt *>(to.data())};
    const smap_view view = {width, height, pan, tilt, fov};
    to.data()[size] = smap_sphere_to_screen(&from, &view, &seen);
    return to.release();
}

VELA_EXPORT(spheremap_screen_to_sphere)
block *screen_to_sphere(smap_screen_pt *points, size_t size, int32_t width, int32_t height, int32_t pan, int32_t tilt,
                        int32_t fov) {
    result<int32_t> to(size);
    const smap_screen_poly from = {points_of(size), points};
    smap_sphere_poly shown = {from.count, reinterpret_cast<smap_sphere_pt *>(to.data())};
    const smap_view view = {width, height, pan, tilt, fov};
    static_cast<void>(smap_screen_to_sphere(&from, &view, &shown)); // as large as from
    return to.release();
}

VELA_EXPORT(spheremap_polygon_on_screen)
bool polygon_on_screen(smap_screen_pt *points, size_t size, int32_t width, int32_t height, int32_t pan, int32_t tilt,
                       int32_t fov) {
    const smap_screen_poly polygon = {points_of(size), points};
    const smap_view view = {width, height, pan, tilt, fov};
    return smap_polygon_on_screen(&polygon, &view) != 0;
}

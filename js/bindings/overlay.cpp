// <vela/overlay.hpp>. Directions are pairs of pan and tilt in degrees, positions pairs of x and y in pixels; a view is
// its five numbers.
#include "bindings.hpp"
#include <vector>
#include <vela/overlay.hpp>

using namespace bindings;
using namespace vela::overlay;

namespace {

static_assert(sizeof(direction) == 2 * sizeof(double) && sizeof(position) == 2 * sizeof(double));

view made(int width, int height, double pan, double tilt, double fov) {
    const std::optional<view> one = view::make(width, height, {pan, tilt}, fov);
    if (!one)
        vela_fail("view: out of range", nullptr, 0, nullptr);
    return *one;
}

struct picture {
    view taken;
    std::vector<uint32_t> pixels;
};

} // namespace

VELA_EXPORT(project)
block *project(double pan, double tilt, int width, int height, double view_pan, double view_tilt, double fov) {
    const std::optional<position> at = made(width, height, view_pan, view_tilt, fov).project({pan, tilt});
    return at ? give({at->x, at->y}) : nullptr;
}

VELA_EXPORT(unproject)
block *unproject(double x, double y, int width, int height, double pan, double tilt, double fov) {
    const std::optional<direction> shown = made(width, height, pan, tilt, fov).unproject({x, y});
    return shown ? give({shown->pan, shown->tilt}) : nullptr;
}

// The positions of both ends of each line.
VELA_EXPORT(project_path)
block *path_on_screen(const direction *path, size_t size, int width, int height, double pan, double tilt, double fov) {
    std::vector<double> lines;
    const auto add = [&](position from, position to) { lines.insert(lines.end(), {from.x, from.y, to.x, to.y}); };
    const bool is_projected = project_path(made(width, height, pan, tilt, fov), std::span(path, size / 2), add);
    return is_projected ? give(std::span<const double>(lines)) : nullptr;
}

VELA_EXPORT(unproject_polygon)
block *polygon_of_screen(const position *corners, size_t size, int width, int height, double pan, double tilt,
                         double fov) {
    std::vector<double> found;
    const auto add = [&](direction corner) { found.insert(found.end(), {corner.pan, corner.tilt}); };
    const bool is_shown = unproject_polygon(made(width, height, pan, tilt, fov), std::span(corners, size / 2), add);
    return is_shown ? give(std::span<const double>(found)) : nullptr;
}

VELA_EXPORT(mask_make) mask *make_mask(const direction *corners, size_t size) {
    return hold(mask::make(std::span(corners, size / 2)));
}

VELA_EXPORT(mask_free) void free_mask(mask *one) { delete one; }
VELA_EXPORT(mask_contains) bool contains(const mask *one, double pan, double tilt) {
    return one->contains({pan, tilt});
}

// Row, begin and end of each run.
VELA_EXPORT(mask_runs)
block *runs(mask *one, coverage mode, int width, int height, double pan, double tilt, double fov) {
    std::vector<int32_t> all;
    const auto add = [&](int y, int begin, int end) { all.insert(all.end(), {y, begin, end}); };
    one->draw(made(width, height, pan, tilt, fov), add, mode);
    return give(std::span<const int32_t>(all));
}

VELA_EXPORT(picture_make)
picture *make_picture(const uint8_t *pixels, size_t size, int width, int height, double pan, double tilt, double fov) {
    const view taken = made(width, height, pan, tilt, fov);
    const auto *const first = reinterpret_cast<const uint32_t *>(pixels);
    return new picture{taken, {first, first + size / 4}};
}

VELA_EXPORT(picture_free) void free_picture(picture *one) { delete one; }

VELA_EXPORT(picture_draw)
block *draw(const picture *one, uint32_t background, int width, int height, double pan, double tilt, double fov) {
    const view seen = made(width, height, pan, tilt, fov);
    result<uint32_t> to(static_cast<uint64_t>(width) * static_cast<uint64_t>(height));
    return warp_picture(one->taken, one->pixels, seen, background, to) ? to.release() : nullptr;
}

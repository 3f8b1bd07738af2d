// The overlay's views and masks for C, as records on the heap of what <vela/overlay.hpp> gives.
#include "common/memory.hpp"
#include <algorithm>
#include <bit>
#include <new>
#include <utility>
#include <vela/cpp/picture.hpp>
#include <vela/overlay.h>

namespace overlay = vela::overlay;

struct vela_view {
    overlay::view value;
};
struct vela_mask {
    overlay::mask value;
};

namespace {

// On the C heap; null for nothing, and when memory runs out.
template <class Record, class Value>
Record *record_of(std::optional<Value> made) {
    void *const place = made ? std::malloc(sizeof(Record)) : nullptr;
    return place ? new (place) Record{std::move(*made)} : nullptr;
}

template <class Record>
void release(Record *record) {
    if (record)
        record->~Record();
    std::free(record);
}

std::optional<overlay::view> view_of(int32_t width, int32_t height, const vela_orientation &where,
                                     const vela_lens &lens) {
    const double *const d = lens.distortion;
    const overlay::orientation orientation = {where.pan, where.tilt, where.roll};
    switch (lens.model) {
    case VELA_LENS_AXES:
        return where.roll == 0 && -90 <= where.tilt && where.tilt <= 90
                   ? overlay::view::make(width, height, overlay::direction{where.pan, where.tilt}, lens.fov)
                   : std::nullopt;
    case VELA_LENS_PINHOLE:
        return overlay::view::make(width, height, orientation,
                                   overlay::pinhole{lens.fx, lens.fy, lens.cx, lens.cy, d[0], d[1], d[2], d[3], d[4]});
    case VELA_LENS_FISHEYE:
        return overlay::view::make(width, height, orientation,
                                   overlay::fisheye{lens.fx, lens.fy, lens.cx, lens.cy, d[0], d[1], d[2], d[3]});
    default:
        return std::nullopt;
    }
}

// Records of C as those of C++, which have the same fields; null when memory runs out.
template <class To, class From>
vela::detail::owned<To[]> copy_of(const From *from, size_t count) {
    vela::detail::owned<To[]> to = vela::detail::allocate<To>(count);
    if (to)
        std::transform(from, from + count, to.get(), [](const From &one) { return std::bit_cast<To>(one); });
    return to;
}

// Takes what is found: kept up to the capacity.
template <class Record>
struct receiver {
    Record *out;
    size_t capacity, count = 0;

    void add(const Record &found) {
        if (count < capacity)
            out[count] = found;
        ++count;
    }
};

template <class Lens>
vela_lens lens_of(int32_t model, const Lens &lens) {
    return {model, 0, lens.fx, lens.fy, lens.cx, lens.cy, {}};
}

} // namespace

vela_lens vela_lens_of_fov(int32_t model, int32_t width, int32_t height, double degrees) {
    if (model == VELA_LENS_PINHOLE)
        return lens_of(model, overlay::pinhole::of_fov(width, height, degrees));
    if (model == VELA_LENS_FISHEYE)
        return lens_of(model, overlay::fisheye::of_fov(width, height, degrees));
    return {model, degrees, 0, 0, 0, 0, {}};
}

void vela_view_free(vela_view *view) { release(view); }

void vela_mask_free(vela_mask *mask) { release(mask); }

vela_view *vela_view_make(int32_t width, int32_t height, const vela_orientation *where, const vela_lens *lens) {
    return record_of<vela_view>(view_of(width, height, *where, *lens));
}

int32_t vela_view_project(const vela_view *view, const vela_direction *from, vela_position *to) {
    const auto found = view->value.project({from->pan, from->tilt});
    if (found)
        *to = {found->x, found->y};
    return found.has_value();
}

int32_t vela_view_unproject(const vela_view *view, const vela_position *from, vela_direction *to) {
    const auto found = view->value.unproject({from->x, from->y});
    if (found)
        *to = {found->pan, found->tilt};
    return found.has_value();
}

size_t vela_view_project_path(const vela_view *view, const vela_direction *path, size_t count, vela_line *out,
                              size_t capacity) {
    const auto directions = copy_of<overlay::direction>(path, count);
    receiver<vela_line> lines{out, capacity};
    const auto add = [&](overlay::position a, overlay::position b) { lines.add({{a.x, a.y}, {b.x, b.y}}); };
    return directions && overlay::project_path(view->value, {directions.get(), count}, add) ? lines.count : SIZE_MAX;
}

size_t vela_view_unproject_polygon(const vela_view *view, const vela_position *corners, size_t count,
                                   vela_direction *out, size_t capacity) {
    const auto positions = copy_of<overlay::position>(corners, count);
    receiver<vela_direction> found{out, capacity};
    const auto add = [&](overlay::direction corner) { found.add({corner.pan, corner.tilt}); };
    return positions && overlay::unproject_polygon(view->value, {positions.get(), count}, add) ? found.count : SIZE_MAX;
}

int32_t vela_view_warp(const vela_view *from, const uint32_t *pixels, size_t count, const vela_view *to,
                       uint32_t background, uint32_t *out, size_t capacity) {
    return !overlay::warp_picture(from->value, {pixels, count}, to->value, background, {out, capacity});
}

vela_mask *vela_mask_make(const vela_direction *corners, size_t count) {
    const auto directions = copy_of<overlay::direction>(corners, count);
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): what the mask owns moves into the record
    return directions ? record_of<vela_mask>(overlay::mask::make({directions.get(), count})) : nullptr;
}

int32_t vela_mask_contains(const vela_mask *mask, const vela_direction *at) {
    return mask->value.contains({at->pan, at->tilt});
}

size_t vela_mask_runs(vela_mask *mask, const vela_view *from, const vela_view *to, vela_run *out, size_t capacity) {
    vela::internal::run_receiver each{out, capacity};
    to ? mask->value.draw(from->value, to->value, each) : mask->value.draw(from->value, each);
    return each.count;
}

size_t vela_mask_runs_within(vela_mask *mask, const vela_view *view, double margin, vela_run *out, size_t capacity) {
    vela::internal::run_receiver each{out, capacity};
    mask->value.draw(view->value, margin, each);
    return each.count;
}

size_t vela_mask_runs_by_centres(vela_mask *mask, const vela_view *view, vela_run *out, size_t capacity) {
    vela::internal::run_receiver each{out, capacity};
    mask->value.draw(view->value, each, overlay::coverage::centres);
    return each.count;
}

int32_t vela_mask_hide(vela_mask *mask, const vela_view *from, const vela_view *to, const vela_picture *picture,
                       const vela_cover *cover) {
    const auto onto = vela::picture::make(*picture);
    if (!onto)
        return 1;
    const vela::picture::cover how = cover ? vela::picture::cover(*cover) : vela::picture::cover();
    return !(to ? onto->hide(mask->value, from->value, to->value, how) : onto->hide(mask->value, from->value, how));
}

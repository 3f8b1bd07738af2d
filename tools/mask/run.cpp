#include "run.hpp"
#include <stdexcept>

namespace {

// What a position shows of a lens.
settings::view view_at(const settings::position &at, const vela_lens &lens, const vela_picture &picture) {
    vela_lens zoomed = at.fov > 0 ? vela_lens_of_fov(lens.model, picture.width, picture.height, at.fov) : lens;
    if (at.zoom > 0) {
        zoomed.fx *= at.zoom;
        zoomed.fy *= at.zoom;
        zoomed.fov /= at.zoom;
    }
    settings::view made(vela_view_make(picture.width, picture.height, &at.where, &zoomed));
    if (!made)
        throw std::runtime_error("no view: pan " + std::to_string(at.where.pan) + ", tilt " +
                                 std::to_string(at.where.tilt) + ", roll " + std::to_string(at.where.roll) +
                                 (at.fov > 0 ? ", fov " + std::to_string(at.fov) : "") + " with this lens");
    return made;
}

void hide(const masking &how, const vela_view *from, const vela_view *to, const vela_picture &picture) {
    for (const settings::mask &mask : how.masks)
        if (vela_mask_hide(mask.get(), from, to, &picture, &how.cover) != 0)
            throw std::runtime_error("a mask could not be drawn");
}

} // namespace

bool mask_stream(y4m::stream &pictures, const masking &how, const std::function<void(long)> &done) {
    const y4m::header &about = pictures.about();
    const bool is_constant = how.track.is_constant();
    if (!is_constant && about.rate <= 0)
        throw std::runtime_error("standard input: the header has no rate (F), so positions have no times");
    const settings::view always = is_constant ? view_at(how.track.at(0), how.lens, about.picture) : nullptr;
    if (!pictures.start())
        return false;
    vela_picture picture;
    for (long count = 0; pictures.read(picture);) {
        if (is_constant) {
            hide(how, always.get(), nullptr, picture);
        } else {
            const double time = static_cast<double>(count) / about.rate;
            how.track.pass(time - how.early, time + how.late,
                           [&](const settings::position &from, const settings::position &to) {
                               const settings::view first = view_at(from, how.lens, picture);
                               const settings::view last = from == to ? nullptr : view_at(to, how.lens, picture);
                               hide(how, first.get(), last.get(), picture);
                           });
        }
        if (!pictures.write())
            return false;
        done(++count);
    }
    return true;
}

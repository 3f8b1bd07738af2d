// A picture from the camera's state: scene, view, masks, and marks on top.
#include "eye.hpp"
#include "scene.hpp"
#include <cmath>
#include <vela/cpp/url.hpp>

namespace {

std::string caption_of(const smap_view &view, const timeval &uptime, const timeval &at, bool is_stamped) {
    const auto degrees = [](int32_t angle) { return web::json::number(angle / 1024.0, 10); };
    std::string text = "pan=" + degrees(view.pan) + "&tilt=" + degrees(view.tilt) + "&fov=" + degrees(view.fov) +
                       "&time=" + web::json::number(motion::seconds_between({}, uptime), 6);
    if (is_stamped)
        text += "&stamp=" + vela::url::encode_form(picture::stamp_of(at));
    return text;
}

} // namespace

view_request read_view(const web::exchange &http, int32_t width, int32_t height) {
    view_request all = {http.whole("width", picture::kMinWidth, picture::kMaxWidth, width),
                        http.whole("height", picture::kMinHeight, picture::kMaxHeight, height),
                        {}};
    if (http.find("pan") || http.find("tilt") || http.find("fov"))
        all.at = motion::at_rest(http.number("pan", -360, 720), http.number("tilt", -90, 90),
                                 http.number("fov", motion::kNarrowest, motion::kWidest));
    return all;
}

smap_view view_of(const view_request &what, const timeval &uptime) {
    return motion::view_of(what.at ? *what.at : state::position_at(uptime), what.width, what.height);
}

std::string eye::render(const smap_view &view, const state::settings &all, const timeval &at) {
    constexpr int kAttempts = 3;
    constexpr double kLate = 2; // seconds
    const picture::tones levels = picture::tones_of(all);
    parts_.part("interp");
    if (!feed::video::is_configured()) {
        const scene place(state::is_night(all, at), at);
        parts_.part("scene");
        renderer_.render({place.pixels(), place.width(), place.height()}, view, levels, frame_, parts_);
        return {};
    }
    // Again if the frame was replaced meanwhile.
    auto newest = source_.newest();
    for (int i = 0; newest && i < kAttempts; ++i, newest = source_.newest()) {
        parts_.part("scene");
        renderer_.render(newest->shown, view, levels, frame_, parts_);
        if (source_.is_intact(*newest))
            break;
    }
    const auto age = source_.age();
    if (!age) {
        frame_.width = view.width;
        frame_.height = view.height;
        frame_.pixels.assign(size_t{3} * static_cast<size_t>(view.width) * static_cast<size_t>(view.height), 60);
        return "no picture yet";
    }
    return *age < kLate ? std::string() : "no picture for " + std::to_string(std::lround(*age)) + " s";
}

const picture::frame &eye::look(const view_request &what, const timeval &at, marks on_top) {
    parts_.begin();
    parts_.part("start");
    const state::settings all = state::read_settings();
    const timeval uptime = state::uptime();
    const smap_view view = view_of(what, uptime);
    const std::string trouble = render(view, all, at);
    masks_.burn(view, frame_);
    parts_.part("overlay");
    if (on_top != marks::none && all.grid)
        picture::draw_grid(view, frame_);
    if (on_top == marks::as_set && all.stamp)
        picture::draw_stamp(view, at, frame_);
    if (!trouble.empty())
        picture::draw_notice(trouble, frame_);
    parts_.part("marks");
    caption_ = caption_of(view, uptime, at, all.stamp);
    return frame_;
}

std::vector<uint8_t> eye::jpeg(const view_request &what, int32_t quality, marks on_top) {
    std::vector<uint8_t> encoded = picture::encode(look(what, state::now(), on_top), quality);
    parts_.part("jpeg");
    return encoded;
}

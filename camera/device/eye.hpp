// The picture of a requested view, with its masks.
#pragma once

#include "feed.hpp"
#include "mask_store.hpp"
#include "picture.hpp"
#include "web.hpp"
#include <optional>
#include <sys/time.h>

// The size and position of a view; by default the camera's current position.
struct view_request {
    int32_t width, height;
    std::optional<motion::position> at;
};
view_request read_view(const web::exchange &http, int32_t width = 1280, int32_t height = 720);
smap_view view_of(const view_request &what, const timeval &uptime);

// Everything that a picture needs is read anew for each: what is changed meanwhile shows in the next http.
class eye {
public:
    enum class marks { as_set, unstamped, none };

    // The picture lives until the next look.
    const picture::frame &look(const view_request &what, const timeval &at, marks on_top = marks::as_set);
    std::vector<uint8_t> jpeg(const view_request &what, int32_t quality, marks on_top = marks::as_set);
    // Of the last picture.
    const std::string &costs() const { return parts_.text(); }
    // Its view, time and stamp: "pan=12.5&tilt=..&fov=..&time=..[&stamp=..]".
    const std::string &caption() const { return caption_; }

private:
    // Renders what the camera sees; what is wrong with its source.
    std::string render(const smap_view &view, const state::settings &all, const timeval &at);

    picture::costs parts_;
    feed::video source_;
    picture::renderer renderer_;
    masks::cover masks_;
    picture::frame frame_;
    std::string caption_;
};

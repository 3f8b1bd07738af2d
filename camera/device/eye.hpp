// What a program sees: the view that a request names, as a picture in which everything hidden is hidden already.
#pragma once

#include "picture.hpp"
#include "web.hpp"
#include <optional>
#include <sys/time.h>

// A picture's size, and where it looks; without a position, where the camera does.
struct sight {
    int32_t width, height;
    std::optional<motion::position> at;
};
sight read_sight(const web::exchange &one, int32_t width = 1280, int32_t height = 720);
smap_view view_of(const sight &what, const timeval &at);

// Everything that a picture needs is read anew for each: what is changed meanwhile shows in the next one.
class eye {
public:
    enum class marks { as_set, unstamped, none };

    // The picture lives until the next look.
    const picture::frame &look(const sight &what, const timeval &at, marks on_top = marks::as_set);
    std::vector<uint8_t> jpeg(const sight &what, int32_t quality, marks on_top = marks::as_set);
    // Of the last look.
    const std::string &costs() const { return parts_.text(); }
    // Where and when it was, and its stamp, if pictures are stamped: "pan=12.5&tilt=..&fov=..&time=..[&stamp=..]".
    const std::string &caption() const { return caption_; }

private:
    picture::costs parts_;
    picture::renderer renderer_;
    picture::frame frame_;
    std::string caption_;
};

// Privacy masks: polygons of directions that no picture shows.
#pragma once

#include "picture.hpp"
#include "store.hpp"
#include <optional>
#include <string>
#include <vector>
#include <vela/overlay.hpp>

namespace masks {

struct entry {
    std::string id, name;
    bool on;
    std::vector<vela::overlay::direction> corners;
};

// All of them; store::failure when the file can't be read, so that no picture is shown without its masks.
std::vector<entry> all();
void keep(const std::vector<entry> &all);

// Whether corners enclose an area.
bool encloses(const std::vector<vela::overlay::direction> &corners);

// The masks that are on, prepared for drawing; read again when their file has changed.
class cover {
public:
    void burn(const smap_view &view, picture::frame &onto);

private:
    void refresh();

    bool is_read_ = false;
    std::optional<store::version> seen_;
    std::vector<vela::overlay::mask> shapes_;
};

} // namespace masks

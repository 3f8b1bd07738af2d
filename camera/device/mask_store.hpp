// Privacy masks: polygons of directions that no picture shows.
#pragma once

#include "picture.hpp"
#include <string>
#include <vector>
#include <vela/overlay.hpp>

namespace masks {

struct entry {
    std::string id, name;
    bool on;
    std::vector<vela::overlay::direction> corners;
};

// All of them; store::trouble where what was kept can't be read, so that nothing is shown rather than too much.
std::vector<entry> all();
void keep(const std::vector<entry> &all);

// Whether corners enclose an area.
bool encloses(const std::vector<vela::overlay::direction> &corners);

// Covers what the masks that are on hide.
void burn(const smap_view &view, picture::frame &onto);

} // namespace masks

// Work of each module of the library on the same input everywhere, as a checksum: every processor gives the same bits.
#pragma once

#include <string>
#include <vector>

namespace checksums {

struct checksum {
    std::string module, work, value; // value: 16 hexadecimal digits
};
std::vector<checksum> all();

} // namespace checksums

// Work of each module of the library on the same input everywhere, as a digest: what one processor computes, every
// other one does.
#pragma once

#include <string>
#include <vector>

namespace digests {

struct digest {
    std::string module, work, value; // value: 16 hexadecimal digits
};
std::vector<digest> all();

} // namespace digests

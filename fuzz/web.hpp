// What the fuzz targets of the web modules share.
#pragma once

#include "../tests/web.hpp"
#include "fuzz.hpp"

namespace fuzz {

// The input up to its first NUL.
inline std::string text_of(const uint8_t *bytes, size_t size) {
    return std::string(reinterpret_cast<const char *>(bytes), size).c_str();
}

} // namespace fuzz

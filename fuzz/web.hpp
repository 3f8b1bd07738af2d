// What the fuzz targets of the web modules share.
#pragma once

#include "../tests/web.hpp"
#include <cstdint>

inline void require(bool good) {
    if (!good)
        __builtin_trap();
}

// The input up to its first NUL.
inline std::string text_of(const uint8_t *data, size_t size) {
    return std::string(reinterpret_cast<const char *>(data), size).c_str();
}

// Four-character codes: 32-bit numbers whose bytes, least significant first, spell an ASCII tag.
#pragma once

#include <cstdint>

namespace vela::detail {

constexpr std::uint32_t fourcc(const char (&tag)[5]) {
    std::uint32_t code = 0;
    for (int i = 3; i >= 0; --i)
        code = code << 8 | static_cast<unsigned char>(tag[i]);
    return code;
}

} // namespace vela::detail

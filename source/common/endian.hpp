// Loads and stores of unaligned integers in an explicit byte order, the same on every host.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace vela::detail {

template <std::endian order>
inline uint16_t load16(const void *from) {
    uint16_t value;
    std::memcpy(&value, from, sizeof value);
    return order == std::endian::native ? value : __builtin_bswap16(value);
}

template <std::endian order>
inline uint32_t load32(const void *from) {
    uint32_t value;
    std::memcpy(&value, from, sizeof value);
    return order == std::endian::native ? value : __builtin_bswap32(value);
}

template <std::endian order>
inline void store16(void *to, uint16_t value) {
    if (order != std::endian::native)
        value = __builtin_bswap16(value);
    std::memcpy(to, &value, sizeof value);
}

template <std::endian order>
inline void store32(void *to, uint32_t value) {
    if (order != std::endian::native)
        value = __builtin_bswap32(value);
    std::memcpy(to, &value, sizeof value);
}

} // namespace vela::detail

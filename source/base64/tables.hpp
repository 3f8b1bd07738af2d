// The alphabet of Base64 and its inverse.
#pragma once

#include <array>
#include <cstdint>

namespace vela::detail {

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The index of each character in the alphabet, or -1.
constexpr auto kBase64Index = [] {
    std::array<int8_t, 256> table;
    table.fill(-1);
    for (int8_t i = 0; i < 64; ++i)
        table[static_cast<unsigned char>(kBase64Alphabet[i])] = i;
    return table;
}();

} // namespace vela::detail

// Hexadecimal digits: by branchless 8-bit formulas, so that the compiler vectorises loops over them, and by tables for
// single bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vela::detail {

constexpr uint8_t kNoDigit = 255;

// The upper-case digit of 0 to 15.
[[gnu::always_inline]] constexpr uint8_t digit_of(uint8_t value) {
    return static_cast<uint8_t>(value + '0' + (value > 9 ? 'A' - '9' - 1 : 0));
}

// The value of a digit in either case; kNoDigit for any other character.
[[gnu::always_inline]] constexpr uint8_t value_of(uint8_t digit) {
    const auto decimal = static_cast<uint8_t>(digit - '0');
    const auto letter = static_cast<uint8_t>((digit | 0x20) - 'a');
    return decimal < 10 ? decimal : letter < 6 ? static_cast<uint8_t>(letter + 10) : kNoDigit;
}

// The value of each character.
inline constexpr auto kDigitValues = [] {
    std::array<uint8_t, 256> table;
    for (unsigned ch = 0; ch < 256; ++ch)
        table[ch] = value_of(static_cast<uint8_t>(ch));
    return table;
}();

inline uint8_t digit_value(char ch) { return kDigitValues[static_cast<uint8_t>(ch)]; }

// The two upper-case digits of each byte.
using digit_pair = std::array<char, 2>;
inline constexpr auto kDigitPairs = [] {
    std::array<digit_pair, 256> table;
    for (unsigned byte = 0; byte < 256; ++byte)
        table[byte] = {static_cast<char>(digit_of(static_cast<uint8_t>(byte >> 4))),
                       static_cast<char>(digit_of(byte & 15))};
    return table;
}();

inline void write_pair(uint8_t byte, char *text) { std::memcpy(text, &kDigitPairs[byte], sizeof(digit_pair)); }

inline void write_lower_case_pair(uint8_t byte, char *text) {
    uint16_t pair;
    std::memcpy(&pair, &kDigitPairs[byte], sizeof pair);
    pair |= 0x2020; // also set in decimal digits
    std::memcpy(text, &pair, sizeof pair);
}

} // namespace vela::detail

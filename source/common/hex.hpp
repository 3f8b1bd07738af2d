// Hexadecimal digits, in eight-bit steps without a branch: loops over them turn into as many lanes as the machine has.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vela::detail {

constexpr std::uint8_t kNoDigit = 255;

// The digit of 0 to 15; the ones above 9 begin at the given letter.
template <char letter>
[[gnu::always_inline]] constexpr std::uint8_t digit_of(std::uint8_t value) {
    return static_cast<std::uint8_t>(value + '0' + (value > 9 ? letter - '9' - 1 : 0));
}

// The value of a digit in either case; kNoDigit for any other character.
[[gnu::always_inline]] constexpr std::uint8_t value_of(std::uint8_t digit) {
    const auto decimal = static_cast<std::uint8_t>(digit - '0');
    const auto letter = static_cast<std::uint8_t>((digit | 0x20) - 'a');
    return decimal < 10 ? decimal : letter < 6 ? static_cast<std::uint8_t>(letter + 10) : kNoDigit;
}

// The same by table, for machines that take one character after the other.
template <char letter>
constexpr auto kDigitTable = [] {
    std::array<std::uint8_t, 16> table;
    for (std::uint8_t value = 0; value < 16; ++value)
        table[value] = digit_of<letter>(value);
    return table;
}();

constexpr auto kValueTable = [] {
    std::array<std::uint8_t, 256> table;
    for (unsigned ch = 0; ch < 256; ++ch)
        table[ch] = value_of(static_cast<std::uint8_t>(ch));
    return table;
}();

template <char letter>
[[gnu::always_inline]] constexpr std::uint8_t tabled_digit_of(std::uint8_t value) {
    return kDigitTable<letter>[value];
}

[[gnu::always_inline]] constexpr std::uint8_t tabled_value_of(std::uint8_t digit) { return kValueTable[digit]; }

// Writes two digits a byte.
template <auto digit>
[[gnu::always_inline]] inline void write_digits(const std::uint8_t *bytes, std::size_t count, char *text) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t byte = bytes[i];
        text[2 * i] = static_cast<char>(digit(byte >> 4));
        text[2 * i + 1] = static_cast<char>(digit(byte & 15));
    }
}

// Reads two characters a byte, kNoDigit standing for one that is no digit.
template <auto value>
[[gnu::always_inline]] inline void read_digits(const char *text, std::size_t count, std::uint8_t *bytes) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t high = value(static_cast<std::uint8_t>(text[2 * i]));
        const std::uint8_t low = value(static_cast<std::uint8_t>(text[2 * i + 1]));
        bytes[i] = static_cast<std::uint8_t>((high << 4) + low);
    }
}

} // namespace vela::detail

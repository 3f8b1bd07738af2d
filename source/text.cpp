#include "detail/contract.hpp"
#include "detail/simd.hpp"
#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <vela/text.h>

using vela::detail::run_widest;

namespace {

constexpr uint8_t kNoDigit = 255;

// The two directions for one digit, in eight-bit steps without a branch, so that the loops below turn into as
// many lanes as the machine has.
[[gnu::always_inline]] constexpr uint8_t digit_of(uint8_t value) {
    return static_cast<uint8_t>(value + '0' + (value > 9 ? 'A' - '9' - 1 : 0));
}

[[gnu::always_inline]] constexpr uint8_t value_of(uint8_t digit) {
    const auto decimal = static_cast<uint8_t>(digit - '0');
    const auto letter = static_cast<uint8_t>((digit | 0x20) - 'a');
    return decimal < 10 ? decimal : letter < 6 ? static_cast<uint8_t>(letter + 10) : kNoDigit;
}

[[gnu::always_inline]] inline void write_digits(const uint8_t *bin, size_t count, char *hex) {
    for (size_t i = 0; i < count; ++i) {
        const uint8_t byte = bin[i];
        hex[2 * i] = static_cast<char>(digit_of(byte >> 4));
        hex[2 * i + 1] = static_cast<char>(digit_of(byte & 15));
    }
}

[[gnu::always_inline]] inline void read_digits(const char *hex, size_t count, uint8_t *bin) {
    for (size_t i = 0; i < count; ++i) {
        const uint8_t high = value_of(static_cast<uint8_t>(hex[2 * i]));
        const uint8_t low = value_of(static_cast<uint8_t>(hex[2 * i + 1]));
        bin[i] = static_cast<uint8_t>((high << 4) + low);
    }
}

bool is_space(char ch) { return std::isspace(static_cast<unsigned char>(ch)); }

} // namespace

uint8_t int2hex(int32_t value) {
    return 0 <= value && value <= 15 ? digit_of(static_cast<uint8_t>(value)) : kNoDigit;
}

uint8_t hex2int(uint8_t ch) { return value_of(ch); }

uint32_t bin2hex(const uint8_t *bin, uint32_t len, char *hex) {
    run_widest<write_digits>(bin, size_t{len}, hex);
    return 2 * len;
}

uint32_t hex2bin(const char *hex, uint32_t len, uint8_t *bin) {
    run_widest<read_digits>(hex, size_t{len / 2}, bin);
    return len / 2;
}

int32_t chomp(char *str) {
    auto last = static_cast<int32_t>(std::strlen(str)) - 1;
    if (last >= 0 && str[last] == '\n')
        str[last--] = '\0';
    if (last >= 0 && str[last] == '\r')
        str[last] = '\0';
    return last;
}

char *strip(char *str) {
    char *first = str;
    while (is_space(*first))
        *first++ = '\0';
    for (char *end = first + std::strlen(first); end != first && is_space(end[-1]);)
        *--end = '\0';
    return first;
}

uint32_t chunk_split_len(const void *src, uint32_t len, uint32_t chunk) {
    if (!src || !len)
        return 0;
    assert(chunk > 0);
    const uint64_t needed = uint64_t{len} + (len - 1) / chunk;
    return needed <= UINT32_MAX ? static_cast<uint32_t>(needed) : 0;
}

int32_t chunk_split(const void *src, uint32_t len, void *dst, uint32_t dst_size, uint32_t chunk) {
    const uint32_t needed = chunk_split_len(src, len, chunk);
    if (!needed || needed > dst_size || !dst)
        return 0;
    const auto *from = static_cast<const char *>(src);
    auto *to = static_cast<char *>(dst);
    for (; len > chunk; len -= chunk, from += chunk) {
        to = std::copy_n(from, chunk, to);
        *to++ = '\n';
    }
    std::copy_n(from, len, to);
    return static_cast<int32_t>(needed);
}

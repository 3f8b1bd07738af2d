#include "common/contract.hpp"
#include "common/hex.hpp"
#include "common/unit.hpp"
#include <algorithm>
#include <cctype>
#include <cstring>
#include <vela/text.h>

using namespace vela::detail;

namespace {

bool is_space(char ch) { return std::isspace(static_cast<unsigned char>(ch)); }

} // namespace

uint8_t int2hex(int32_t value) {
    return 0 <= value && value <= 15 ? digit_of<'A'>(static_cast<uint8_t>(value)) : kNoDigit;
}

uint8_t hex2int(uint8_t ch) { return value_of(ch); }

uint32_t bin2hex(const uint8_t *bin, uint32_t len, char *hex) {
    run_either<write_digits<digit_of<'A'>>, write_digits<tabled_digit_of<'A'>>>(bin, size_t{len}, hex);
    return 2 * len;
}

uint32_t hex2bin(const char *hex, uint32_t len, uint8_t *bin) {
    run_either<read_digits<value_of>, read_digits<tabled_value_of>>(hex, size_t{len / 2}, bin);
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

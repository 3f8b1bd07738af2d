// UUIDs: made of random bytes, compared, read from text and printed. Texts exactly in one of the three forms are read
// without sscanf(), which takes much longer.
#include "common/hex.hpp"
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vela/uuid.h>

using namespace vela::detail;

namespace {

constexpr size_t kBytes = 16;
constexpr size_t kBraced = 38; // characters of the braced form

constexpr char kBracedFormat[] = "{%02hhx%02hhx%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-"
                                 "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx}";
constexpr char kDashedFormat[] = "%02hhx%02hhx%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-"
                                 "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx";
constexpr char kPlainFormat[] = "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx"
                                "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx";

// Reads two digits for each of two bytes and advances past them; returns false if there are others. Characters after a
// non-digit are not read.
inline bool read_two(const char *&text, uint8_t *bytes) {
#pragma GCC unroll 2
    for (size_t i = 0; i < 2; ++i) {
        const uint8_t high = digit_value(*text++);
        if (high == kNoDigit)
            return false;
        const uint8_t low = digit_value(*text++);
        if (low == kNoDigit)
            return false;
        bytes[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return true;
}

// Reads a text exactly in one of the forms, with two digits for each byte; returns false for any other.
bool read_form(const char *text, uint8_t *uuid) {
    uint8_t bytes[kBytes];
    const bool braced = *text == '{';
    text += braced;
    bool dashed = false;
    for (size_t i = 0; i < kBytes; i += 2) {
        if (i == 4)
            dashed = braced || *text == '-';
        if (i == 12)
            dashed = false;
        if (dashed && *text++ != '-')
            return false;
        if (!read_two(text, bytes + i))
            return false;
    }
    std::memcpy(uuid, bytes, kBytes);
    return true;
}

// Calls a function with the byte indices as arguments, for the formatted input and output functions, which take the
// bytes separately.
template <class Call>
auto with_each_byte(Call call) {
    return [call]<size_t... i>(std::index_sequence<i...>) { return call(i...); }
    (std::make_index_sequence<kBytes>());
}

} // namespace

void uuid_create(uint8_t *uuid) { randbytes(uuid, kBytes); }

int32_t uuid_compare(const uint8_t *a, const uint8_t *b) { return std::memcmp(a, b, kBytes); }

// sscanf() writes where the pointers show. NOLINTNEXTLINE(readability-non-const-parameter)
int32_t uuid_scanf(const char *text, const char *format, uint8_t *uuid) {
    return with_each_byte([=](auto... i) { return std::sscanf(text, format, &uuid[i]...); });
}

int32_t uuid_scan(const char *text, uint8_t *uuid) {
    if (read_form(text, uuid))
        return 0;
    for (const char *format : {kBracedFormat, kDashedFormat, kPlainFormat})
        if (uuid_scanf(text, format, uuid) == int32_t{kBytes})
            return 0;
    return -1;
}

int32_t uuid_fprintf(FILE *stream, const char *format, const uint8_t *uuid) {
    return with_each_byte([=](auto... i) { return std::fprintf(stream, format, uuid[i]...); });
}

int32_t uuid_fprint(FILE *stream, const uint8_t *uuid) {
    char text[kBraced + 1];
    uuid_sprint(text, uuid);
    return std::fprintf(stream, "%s", text);
}

int32_t uuid_sprintf(char *text, const char *format, const uint8_t *uuid) {
    return with_each_byte([=](auto... i) { return std::sprintf(text, format, uuid[i]...); });
}

int32_t uuid_sprint(char *text, const uint8_t *uuid) {
    uint8_t bytes[kBytes]; // the text may overwrite the UUID
    std::memcpy(bytes, uuid, kBytes);
    *text++ = '{';
#pragma GCC unroll 16
    for (size_t i = 0; i < kBytes; ++i) {
        write_lower_case_pair(bytes[i], text);
        text += 2;
        if (i == 3 || i == 5 || i == 7 || i == 9)
            *text++ = '-';
    }
    std::memcpy(text, "}", 2);
    return kBraced;
}

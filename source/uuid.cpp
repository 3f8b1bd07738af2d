#include "detail/hex.hpp"
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <unistd.h>
#include <utility>
#include <vela/uuid.h>

using namespace vela::detail;

namespace {

constexpr size_t kBytes = 16;
constexpr size_t kDigits = 2 * kBytes;
constexpr size_t kDashed = kDigits + 4;
constexpr size_t kBraced = kDashed + 2;
constexpr uint32_t kFallbackSeed = 0x52A7C3D1;

constexpr char kBracedFormat[] = "{%02hhx%02hhx%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-"
                                 "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx}";
constexpr char kDashedFormat[] = "%02hhx%02hhx%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-"
                                 "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx";
constexpr char kPlainFormat[] = "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx"
                                "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx";

// Where the digits between the dashes stand: without dashes, with them, and how many.
struct digit_group {
    size_t plain, dashed, count;
};
constexpr digit_group kGroups[] = {{0, 0, 8}, {8, 9, 4}, {12, 14, 4}, {16, 19, 4}, {20, 24, 12}};

// 0 until random() has been seeded.
uint32_t seeded = 0;

// Fills the buffer by one read of the device, or says that it did not deliver as much.
bool read_device(void *buf, size_t len) {
    const int device = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (device < 0)
        return false;
    ssize_t got;
    do
        got = read(device, buf, len);
    while (got < 0 && errno == EINTR);
    close(device);
    return got >= 0 && static_cast<size_t>(got) == len;
}

void seed_once() {
    if (seeded)
        return;
    uint32_t seed = kFallbackSeed;
    read_device(&seed, sizeof seed);
    srandom(seed);
    ++seeded;
}

uint32_t next_random() { return static_cast<uint32_t>(random()); }

// Fills up to three bytes from one value, which is taken even for none.
uint8_t *fill_bytes(uint8_t *to, size_t count) {
    for (uint32_t value = next_random(); count; --count) {
        value >>= 8;
        *to++ = static_cast<uint8_t>(value);
    }
    return to;
}

// Single bytes up to an aligned address, whole words, and the bytes that are left.
void fill_from_generator(uint8_t *to, size_t len) {
    const size_t leading = std::min<size_t>(-reinterpret_cast<uintptr_t>(to) % 4, len);
    to = fill_bytes(to, leading);
    for (len -= leading; len >= 4; len -= 4, to += 4) {
        const uint32_t value = next_random();
        std::memcpy(to, &value, sizeof value);
    }
    fill_bytes(to, len);
}

void write_dashed(char *text, const uint8_t *uuid) {
    char digits[kDigits];
    write_digits<'a'>(uuid, kBytes, digits);
    for (const digit_group &group : kGroups)
        std::memcpy(text + group.dashed, digits + group.plain, group.count);
    for (size_t i = 1; i < std::size(kGroups); ++i)
        text[kGroups[i].dashed - 1] = '-';
}

bool has_dashes(const char *text) { return text[8] == '-' && text[13] == '-' && text[18] == '-' && text[23] == '-'; }

// The digits of a text laid out as one of the forms, dashes left out; false for any other layout.
bool gather_digits(const char *text, char *digits) {
    size_t length = strnlen(text, kBraced);
    const bool braced = *text == '{';
    if (braced)
        ++text, --length;
    if (length >= kDashed && has_dashes(text)) {
        for (const digit_group &group : kGroups)
            std::memcpy(digits + group.plain, text + group.dashed, group.count);
        return true;
    }
    if (braced || length < kDigits)
        return false;
    std::memcpy(digits, text, kDigits);
    return true;
}

// Reads a text that has one of the forms to the letter, each byte as two digits; false for any other, even if the
// scan formats would take it.
bool scan_exact(const char *text, uint8_t *uuid) {
    char digits[kDigits];
    if (!gather_digits(text, digits))
        return false;
    uint8_t all_bits = 0;
    for (const char digit : digits)
        all_bits |= value_of(static_cast<uint8_t>(digit));
    if (all_bits > 15)
        return false;
    read_digits(digits, kBytes, uuid);
    return true;
}

// For the formatted input and output functions, which take the bytes one by one: calls with their indices.
template <class Call>
auto with_each_byte(Call call) {
    return [call]<size_t... i>(std::index_sequence<i...>) { return call(i...); }
    (std::make_index_sequence<kBytes>());
}

} // namespace

void randbytes(void *buf, uint32_t len) {
    seed_once();
    if (!read_device(buf, len))
        fill_from_generator(static_cast<uint8_t *>(buf), len);
}

int32_t randint(int32_t a, int32_t b) {
    seed_once();
    if (a == b)
        return a;
    const auto [low, high] = std::minmax(a, b);
    const int64_t span = int64_t{high} + 1 - low;
    uint16_t bits;
    const int64_t value = read_device(&bits, sizeof bits) ? bits : random();
    return static_cast<int32_t>(low + value % span);
}

void uuid_create(uint8_t *uuid) { randbytes(uuid, kBytes); }

int32_t uuid_compare(const uint8_t *a, const uint8_t *b) { return std::memcmp(a, b, kBytes); }

// sscanf() writes where the pointers show. NOLINTNEXTLINE(readability-non-const-parameter)
int32_t uuid_scanf(const char *text, const char *format, uint8_t *uuid) {
    return with_each_byte([=](auto... i) { return std::sscanf(text, format, &uuid[i]...); });
}

int32_t uuid_scan(const char *text, uint8_t *uuid) {
    if (scan_exact(text, uuid))
        return 0;
    for (const char *format : {kBracedFormat, kDashedFormat, kPlainFormat})
        if (uuid_scanf(text, format, uuid) == kBytes)
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
    text[0] = '{';
    write_dashed(text + 1, uuid);
    std::memcpy(text + 1 + kDashed, "}", 2);
    return kBraced;
}

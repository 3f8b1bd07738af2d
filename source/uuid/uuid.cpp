#include "common/hex.hpp"
#include "common/unit.hpp"
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

#ifdef VELA_NEON
#include <arm_neon.h>
#endif

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

bool has_dashes(const char *text) { return text[8] == '-' && text[13] == '-' && text[18] == '-' && text[23] == '-'; }

// The digits of a text laid out as one of the forms, dashes left out; false for any other layout.
bool gather_digits(const char *text, char *digits) {
    size_t length = strnlen(text, kBraced);
    const bool braced = *text == '{';
    if (braced)
        ++text, --length;
    if (length >= kDashed && has_dashes(text)) {
#pragma GCC unroll 5 // so that the counts are constants
        for (const digit_group &group : kGroups)
            std::memcpy(digits + group.plain, text + group.dashed, group.count);
        return true;
    }
    if (braced || length < kDigits)
        return false;
    std::memcpy(digits, text, kDigits);
    return true;
}

// Reads 32 digits, if they all are.
bool read_plain(const char *digits, uint8_t *uuid) {
    uint8_t bytes[kBytes];
    for (size_t i = 0; i < kBytes; ++i) {
        const uint8_t high = tabled_value_of(static_cast<uint8_t>(digits[2 * i]));
        const uint8_t low = tabled_value_of(static_cast<uint8_t>(digits[2 * i + 1]));
        if ((high | low) > 15)
            return false;
        bytes[i] = static_cast<uint8_t>(high << 4 | low);
    }
    std::memcpy(uuid, bytes, kBytes);
    return true;
}

[[gnu::noinline]] int32_t write_plain(char *text, const uint8_t *uuid) {
    char digits[kDigits];
    write_digits<tabled_digit_of<'a'>>(uuid, kBytes, digits);
    *text++ = '{';
#pragma GCC unroll 5
    for (const digit_group &group : kGroups) {
        std::memcpy(text + group.dashed, digits + group.plain, group.count);
        text[group.dashed + group.count] = '-';
    }
    std::memcpy(text + kDashed, "}", 2);
    return kBraced;
}

#ifdef VELA_UNIT
// Sixteen bytes or characters side by side.
using vector = uint8_t __attribute__((vector_size(16)));
using char_vector = char __attribute__((vector_size(16)));

VELA_UNIT inline vector load(const void *from) {
    vector value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

VELA_UNIT inline void store(void *to, vector value) { std::memcpy(to, &value, sizeof value); }

// The entries of a table that the indices select; 0 for an index of 255.
VELA_UNIT inline vector look_up(vector table, vector index) {
#ifdef VELA_AVX2
    return reinterpret_cast<vector>(
        __builtin_ia32_pshufb128(reinterpret_cast<char_vector>(table), reinterpret_cast<char_vector>(index)));
#else
    const auto halves = __builtin_bit_cast(uint8x8x2_t, table);
    return vcombine_u8(vtbl2_u8(halves, vget_low_u8(index)), vtbl2_u8(halves, vget_high_u8(index)));
#endif
}

// Values of digits in either case; more than 15 for any other character.
VELA_UNIT inline vector values_of(vector text) {
    const vector decimal = text - '0', letter = (text | 0x20) - 'a';
    const auto is_decimal = reinterpret_cast<vector>(decimal < 10), is_letter = reinterpret_cast<vector>(letter < 6);
    return (decimal & is_decimal) | ((letter + 10) & is_letter) | ~(is_decimal | is_letter);
}

VELA_UNIT bool read_wide(const char *digits, uint8_t *uuid) {
    const vector front = load(digits), back = load(digits + 16);
    const vector high =
        values_of(__builtin_shufflevector(front, back, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30));
    const vector low =
        values_of(__builtin_shufflevector(front, back, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31));
    uint64_t bad[2];
    store(bad, (high | low) & 0xF0);
    if (bad[0] | bad[1])
        return false;
    store(uuid, high << 4 | low);
    return true;
}

VELA_UNIT int32_t write_wide(char *text, const uint8_t *uuid) {
    constexpr vector kDigitOf = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
    const vector bytes = load(uuid), high = bytes >> 4, low = bytes & 15;
    const vector front =
        look_up(kDigitOf, __builtin_shufflevector(high, low, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23));
    const vector back = look_up(
        kDigitOf, __builtin_shufflevector(high, low, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31));

    // The two ends of the text, and then what is between them:
    //     {001122334455667.......899aabbccddeeff}
    //        112233-4455-6677-8899-aabbccddee
    constexpr vector kOpening = {'{'}, kFrontDashes = {0, 0, 0, 0, 0, 0, '-', 0, 0, 0, 0, '-'},
                     kBackDashes = {'-', 0, 0, 0, 0, '-'},
                     kClosing = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, '}', 0};
    store(text, look_up(front, vector{255, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}) | kOpening);
    store(text + 23, look_up(back, vector{2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 255, 255}) | kClosing);
    store(text + 3, look_up(front, vector{2, 3, 4, 5, 6, 7, 255, 8, 9, 10, 11, 255, 12, 13, 14, 15}) | kFrontDashes);
    store(text + 19, look_up(back, vector{255, 0, 1, 2, 3, 255, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}) | kBackDashes);
    return kBraced;
}
#else
constexpr auto read_wide = read_plain;
constexpr auto write_wide = write_plain;
#endif

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
    char digits[kDigits];
    if (gather_digits(text, digits) && (has_unit() ? read_wide : read_plain)(digits, uuid))
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
    return has_unit() ? write_wide(text, uuid) : write_plain(text, uuid);
}

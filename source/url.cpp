#include "common/hex.hpp"
#include "common/unit.hpp"
#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <vela/text.h>
#include <vela/url.h>
#ifdef VELA_AVX2
#include <immintrin.h>
#endif

using vela::detail::digit_of;
using vela::detail::has_unit;
using vela::detail::kNoDigit;
using vela::detail::value_of;

// One allocation holds everything: the record and, behind it, a copy of the URL that the components are cut
// from in place.
struct url_private {
    url_record record;

    char *text() { return reinterpret_cast<char *>(this + 1); }
};

namespace {

// Results are signed: a coder's output ends where its length would no longer fit.
constexpr uint32_t kMostRoom = INT32_MAX;
constexpr size_t kMacBytes = 6;
constexpr size_t kMacPitch = 3; // two digits and a colon

bool is_space(char ch) { return std::isspace(static_cast<unsigned char>(ch)); }

// The locale is asked only beyond ASCII; within it all locales agree on letters and digits.
constexpr bool is_ascii_letter_or_digit(unsigned char byte) {
    const auto letter = static_cast<unsigned char>((byte | 0x20) - 'a');
    const auto digit = static_cast<unsigned char>(byte - '0');
    return letter < 26 || digit < 10;
}

bool is_other_letter_or_digit(unsigned char byte) { return byte >= 0x80 && std::isalnum(byte); }

bool is_letter_or_digit(char ch) {
    const auto byte = static_cast<unsigned char>(ch);
    return is_ascii_letter_or_digit(byte) || is_other_letter_or_digit(byte);
}

bool is_within_authority(char ch) { return ch != '/' && ch != '?' && ch != '\0'; }

// What the encoder makes of a byte. It is stored whole, whatever its length.
struct byte_code {
    char text[3];
    uint8_t length;
};
constexpr uint32_t kEncodingRoom = sizeof(byte_code);

constexpr auto byte_codes = [] {
    std::array<byte_code, 256> codes = {};
    for (unsigned byte = 0; byte < 256; ++byte) {
        const auto high = static_cast<char>(digit_of<'A'>(static_cast<uint8_t>(byte >> 4)));
        const auto low = static_cast<char>(digit_of<'A'>(byte & 15));
        if (is_ascii_letter_or_digit(static_cast<unsigned char>(byte)))
            codes[byte] = {{static_cast<char>(byte)}, 1};
        else if (byte == ' ')
            codes[byte] = {{'+'}, 1};
        else
            codes[byte] = {{'%', high, low}, 3};
    }
    return codes;
}();

// Writes the code of one byte, over kEncodingRoom bytes, and returns its length.
uint32_t encode_one(unsigned char byte, char *to) {
    if (is_other_letter_or_digit(byte)) {
        *to = static_cast<char>(byte);
        return 1;
    }
    std::memcpy(to, &byte_codes[byte], kEncodingRoom);
    return byte_codes[byte].length;
}

uint8_t digit_value(char ch) { return value_of(static_cast<uint8_t>(ch)); }

// Whether a character may not stand for itself: one test for both, with their neighbours.
bool means_something(char ch) { return static_cast<unsigned char>(ch - '%') <= '+' - '%'; }

// The byte that a character stands for, together with the characters behind a "%", of which there is one at least.
char decode_one(char ch, const char *&from, const char *end) {
    if (ch == '+')
        return ' ';
    if (ch != '%')
        return ch;
    if (*from == '%' || end - from < 2)
        return *from++;
    const uint8_t high = digit_value(*from++);
    const uint8_t low = digit_value(*from++);
    return static_cast<char>(high << 4 | low);
}

// Decodes until it reaches stop, beyond which the digits of the last escape may lead, or the room is full.
void decode_plain(const char *&from, char *&to, const char *stop, const char *end, const char *limit) {
    while (from < stop && to != limit) {
        // Decoding never lengthens a text, so there is room for what comes of these characters.
        const char *const run_end = from + std::min(stop - from, limit - to);
        const char *next = from;
        char *next_to = to;
        while (next < run_end) {
            char byte = *next++;
            if (means_something(byte)) {
                if (byte == '%' && next == end)
                    break;
                byte = decode_one(byte, next, end);
            }
            *next_to++ = byte;
        }
        from = next;
        to = next_to;
    }
}

// The wide unit's share of decoding: as much of the text's front as it can, all of it well-formed.
#ifdef VELA_AVX2
constexpr ptrdiff_t kStep = 16;
constexpr ptrdiff_t kStepAndDigits = kStep + 2;

// squeezes[kept] moves the lanes whose bits are set in kept to the front, for eight lanes.
constexpr auto squeezes = [] {
    std::array<std::array<uint8_t, 8>, 256> shuffles = {};
    for (uint32_t kept = 0; kept < 256; ++kept)
        for (uint8_t lane = 0, to = 0; lane < 8; ++lane)
            if (kept >> lane & 1)
                shuffles[kept][to++] = lane;
    return shuffles;
}();

VELA_UNIT inline char *store_kept(__m128i lanes, uint32_t kept, char *to) {
    const __m128i shuffle = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(squeezes[kept].data()));
    _mm_storel_epi64(reinterpret_cast<__m128i *>(to), _mm_shuffle_epi8(lanes, shuffle));
    return to + std::popcount(kept);
}

// The bytes that two hexadecimal digits make, and a bit for each lane that has two.
struct digit_pairs {
    __m128i values;
    uint32_t valid;
};

VELA_UNIT inline digit_pairs read_digits(__m128i high, __m128i low) {
    const __m256i digits = _mm256_set_m128i(low, high);
    const __m256i decimal = _mm256_sub_epi8(digits, _mm256_set1_epi8('0'));
    const __m256i letter = _mm256_sub_epi8(_mm256_or_si256(digits, _mm256_set1_epi8(0x20)), _mm256_set1_epi8('a'));
    const __m256i is_decimal = _mm256_cmpeq_epi8(decimal, _mm256_min_epu8(decimal, _mm256_set1_epi8(9)));
    const __m256i is_letter = _mm256_cmpeq_epi8(letter, _mm256_min_epu8(letter, _mm256_set1_epi8(5)));
    const auto valid = static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_or_si256(is_decimal, is_letter)));
    // The low four bits of a letter count from 1.
    const __m256i values = _mm256_add_epi8(_mm256_and_si256(digits, _mm256_set1_epi8(0x0f)),
                                           _mm256_and_si256(is_letter, _mm256_set1_epi8(9)));
    const __m128i sixteens = _mm_slli_epi16(_mm256_castsi256_si128(values), 4);
    return {_mm_or_si128(sixteens, _mm256_extracti128_si256(values, 1)), valid & valid >> 16};
}

// Sixteen characters a step, for as long as every escape has its two digits. Each lane becomes the byte that an
// escape in its place would stand for, or the character itself; the lanes of digits are then squeezed out:
//
//     characters   c a m + 7 % 2 6 z % 3 D
//     bytes        c a m   7 & . . z = . .
//     kept         1 1 1 1 1 1 0 0 1 1 0 0
VELA_UNIT void decode_wide(const char *&source, char *&destination, const char *end, const char *limit) {
    const char *from = source;
    char *to = destination;
    const auto load = [](const char *lanes) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(lanes)); };
    uint32_t digits_before = 0; // bits of the lanes that belong to an escape of the last step
    for (; end - from >= kStepAndDigits && limit - to >= kStep; from += kStep) {
        const __m128i characters = load(from);
        const __m128i percent = _mm_cmpeq_epi8(characters, _mm_set1_epi8('%'));
        const auto escapes = static_cast<uint32_t>(_mm_movemask_epi8(percent));

        const digit_pairs digits = read_digits(load(from + 1), load(from + 2));
        if (escapes & ~digits.valid)
            break;
        const __m128i plus = _mm_cmpeq_epi8(characters, _mm_set1_epi8('+'));
        const __m128i plain = _mm_blendv_epi8(characters, _mm_set1_epi8(' '), plus);
        const __m128i bytes = _mm_blendv_epi8(plain, digits.values, percent);
        const uint32_t digit_lanes = escapes << 1 | escapes << 2 | digits_before;
        to = store_kept(bytes, ~digit_lanes & 0xff, to);
        to = store_kept(_mm_srli_si128(bytes, 8), ~digit_lanes >> 8 & 0xff, to);
        digits_before = digit_lanes >> kStep;
    }
    source = from + std::popcount(digits_before);
    destination = to;
}
#endif

// Returns the end of what was decoded, or the limit where the room is too small.
char *decode(const char *from, const char *end, char *to, const char *limit) {
#ifdef VELA_AVX2
    while (end - from >= kStepAndDigits && to != limit && has_unit()) {
        decode_wide(from, to, end, limit);
        decode_plain(from, to, from + std::min(end - from, kStepAndDigits), end, limit);
    }
#endif
    decode_plain(from, to, end, end, limit);
    return to;
}

template <class Predicate>
const char *skip(const char *text, Predicate belongs) {
    while (belongs(*text))
        ++text;
    return text;
}

const char *skip_slashes(const char *text, int most) {
    while (most-- > 0 && *text == '/')
        ++text;
    return text;
}

// Cuts the text at its first mark: returns what follows it, or null with the text whole if there is none.
char *cut(char *text, char mark) {
    char *found = std::strchr(text, mark);
    if (!found)
        return nullptr;
    *found = '\0';
    return found + 1;
}

// Cuts the port off the host. An address in brackets has colons of its own.
char *cut_port(char *host) {
    if (*host != '[')
        return cut(host, ':');
    char *bracket = std::strchr(host, ']');
    if (!bracket || !bracket[1])
        return nullptr;
    bracket[1] = '\0';
    return bracket + 2;
}

// A block whose text is the given one in two parts, each with a NUL behind it; null without memory. The path keeps its
// "/", so that nothing between it and the authority could give way to the first NUL.
url_private *copy_in_two(const char *text, size_t front_length) {
    const size_t rest_length = std::strlen(text + front_length);
    auto *block = static_cast<url_private *>(std::malloc(sizeof(url_private) + front_length + rest_length + 2));
    if (!block)
        return nullptr;
    block->record = {};
    block->record.priv = block;
    char *front = block->text();
    std::memcpy(front, text, front_length);
    front[front_length] = '\0';
    std::memcpy(front + front_length + 1, text + front_length, rest_length + 1);
    return block;
}

void split_authority(url_record &url, char *authority) {
    char *host = cut(authority, '@');
    if (host) {
        url.user = authority;
        url.password = cut(authority, ':');
    } else {
        host = authority;
    }
    url.port = cut_port(host);
    url.host = url.port || *host ? host : nullptr;
}

void split_path(url_record &url, char *rest) {
    url.query = cut(rest, '?');
    url.path = *rest ? rest : nullptr;
}

} // namespace

int32_t url_encode(const void *src, uint32_t len, char *dst, uint32_t dst_size) {
    if (len == 0 || dst_size == 0)
        return 0;
    if (!src || !dst || dst_size <= kEncodingRoom)
        return -1;
    const uint32_t limit = std::min(dst_size, kMostRoom) - kEncodingRoom;
    const auto *bytes = static_cast<const unsigned char *>(src);
    uint32_t written = 0;
    for (uint32_t i = 0; i < len;) {
        if (written >= limit)
            return -1;
        // Whatever they are, the limit is not reached before the last of these bytes.
        const uint32_t run_end = i + std::min(len - i, (limit - written + 2) / 3);
        while (i < run_end)
            written += encode_one(bytes[i++], dst + written);
    }
    dst[written] = '\0';
    return static_cast<int32_t>(written);
}

int32_t url_decode(const char *src, uint32_t len, char *dst, uint32_t dst_size) {
    if (len == 0 || dst_size == 0)
        return 0;
    if (!src || !dst)
        return -1;
    const auto most = std::min<uint64_t>({uint64_t{len} + 1, dst_size, kMostRoom});
    const char *const end = src + len;
    const char *const limit = dst + most;
    char *to = decode(src, end, dst, limit);
    if (to == limit)
        return -1;
    *to++ = '\0';
    return static_cast<int32_t>(to - dst);
}

url_record *url_alloc(const char *text) {
    if (!text)
        return nullptr;
    text = skip(text, is_space);
    const char *const scheme_end = skip(text, is_letter_or_digit);
    if (scheme_end == text || *scheme_end != ':')
        return nullptr;
    const char *const authority = skip_slashes(scheme_end + 1, 2);
    const char *const authority_end = skip(authority, is_within_authority);

    const auto front_length = static_cast<size_t>(authority_end - text);
    url_private *block = copy_in_two(text, front_length);
    if (!block)
        return nullptr;
    url_record &url = block->record;
    url.scheme = block->text();
    url.scheme[scheme_end - text] = '\0';
    split_authority(url, block->text() + (authority - text));
    split_path(url, block->text() + front_length + 1);
    return &url;
}

void url_free(url_record *url) {
    if (url)
        std::free(url->priv);
}

int32_t inet_parse_mac(const char *text, uint8_t *mac) {
    if (strnlen(text, 16) < 16)
        return -1;
    for (size_t i = 1; i < kMacBytes; ++i)
        if (text[kMacPitch * i - 1] != ':')
            return -1;
    for (size_t i = 0; i < kMacBytes; ++i) {
        const uint8_t high = digit_value(text[kMacPitch * i]);
        const uint8_t low = digit_value(text[kMacPitch * i + 1]);
        if (high == kNoDigit || low == kNoDigit)
            return -1;
        mac[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return 0;
}

int32_t inet_strfmac(const uint8_t *mac, char *text) {
    for (size_t i = 0; i < kMacBytes; ++i) {
        text[kMacPitch * i] = static_cast<char>(int2hex(mac[i] >> 4));
        text[kMacPitch * i + 1] = static_cast<char>(int2hex(mac[i] & 15));
        text[kMacPitch * i + 2] = ':';
    }
    constexpr size_t length = kMacPitch * kMacBytes - 1;
    text[length] = '\0';
    return length;
}

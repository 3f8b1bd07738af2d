#include "detail/simd.hpp"
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

using vela::detail::wide_unit;

// One allocation holds everything: the record and, behind it, a copy of the URL that the components are cut
// from in place.
struct url_private {
    url_record record;

    char *text() { return reinterpret_cast<char *>(this + 1); }
};

namespace {

// Results are signed: a coder's output ends where its length would no longer fit.
constexpr uint32_t kMostRoom = INT32_MAX;
// The encoder writes a byte only with this room to spare.
constexpr uint32_t kEncodingRoom = 4;
constexpr size_t kMacBytes = 6;
constexpr size_t kMacPitch = 3; // two digits and a colon

bool is_space(char ch) { return std::isspace(static_cast<unsigned char>(ch)); }

// The locale is asked only beyond ASCII; within it all locales agree on letters and digits.
bool is_letter_or_digit(char ch) {
    const auto byte = static_cast<unsigned char>(ch);
    const auto letter = static_cast<unsigned char>((byte | 0x20) - 'a');
    const auto digit = static_cast<unsigned char>(byte - '0');
    return letter < 26 || digit < 10 || (byte >= 0x80 && std::isalnum(byte));
}

bool is_within_authority(char ch) { return ch != '/' && ch != '?' && ch != '\0'; }

uint8_t digit_value(char ch) { return hex2int(static_cast<uint8_t>(ch)); }
char digit_of(int value) { return static_cast<char>(int2hex(value)); }

// Writes the code of one byte and returns its length.
uint32_t encode_one(char ch, char *to) {
    if (is_letter_or_digit(ch)) {
        *to = ch;
        return 1;
    }
    if (ch == ' ') {
        *to = '+';
        return 1;
    }
    const auto byte = static_cast<unsigned char>(ch);
    to[0] = '%';
    to[1] = digit_of(byte >> 4);
    to[2] = digit_of(byte & 15);
    return 3;
}

// Decodes what stands at the front of [from, end), which is not empty, and returns where the next begins. That
// gives one byte, or none where the text ends with a "%" alone.
const char *decode_one(const char *from, const char *end, char *to, uint32_t &written) {
    char byte = *from++;
    if (byte == '+') {
        byte = ' ';
    } else if (byte == '%') {
        if (from == end)
            return from;
        if (*from != '%' && end - from >= 2) {
            byte = static_cast<char>(digit_value(from[0]) << 4 | digit_value(from[1]));
            from += 2;
        } else {
            byte = *from++;
        }
    }
    to[written++] = byte;
    return from;
}

// The wide unit's share of decoding: as much of the text's front as it can, all of it well-formed.
#ifdef VELA_AVX2
constexpr uint32_t kStep = 16;
constexpr uint32_t kStepAndDigits = kStep + 2;

// squeezes[kept] moves the lanes whose bits are set in kept to the front, for eight lanes.
constexpr auto squeezes = [] {
    std::array<std::array<uint8_t, 8>, 256> shuffles = {};
    for (uint32_t kept = 0; kept < 256; ++kept)
        for (uint8_t lane = 0, to = 0; lane < 8; ++lane)
            if (kept >> lane & 1)
                shuffles[kept][to++] = lane;
    return shuffles;
}();

VELA_WIDE inline void store_kept(__m128i lanes, uint32_t kept, char *to, uint32_t &written) {
    const __m128i shuffle = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(squeezes[kept].data()));
    _mm_storel_epi64(reinterpret_cast<__m128i *>(to + written), _mm_shuffle_epi8(lanes, shuffle));
    written += static_cast<uint32_t>(std::popcount(kept));
}

// Sixteen characters a step, for as long as every escape has its two digits. Each lane becomes the byte that an
// escape in its place would stand for, or the character itself; the lanes of digits are then squeezed out:
//
//     characters   c a m + 7 % 2 6 z % 3 D
//     bytes        c a m   7 & . . z = . .
//     kept         1 1 1 1 1 1 0 0 1 1 0 0
VELA_WIDE const char *decode_wide(const char *from, const char *end, char *to, uint32_t &written, uint32_t room) {
    const auto load = [](const char *at) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(at)); };
    uint32_t digits_before = 0; // bits of the lanes that belong to an escape of the last step
    for (; end - from >= kStepAndDigits && room - written >= kStep; from += kStep) {
        const __m128i characters = load(from);
        const __m128i percent = _mm_cmpeq_epi8(characters, _mm_set1_epi8('%'));
        const auto escapes = static_cast<uint32_t>(_mm_movemask_epi8(percent));

        // Both digits at once: the first of an escape in each lane of the lower half, the second in the upper.
        const __m256i digits = _mm256_set_m128i(load(from + 2), load(from + 1));
        const __m256i decimal = _mm256_sub_epi8(digits, _mm256_set1_epi8('0'));
        const __m256i letter = _mm256_sub_epi8(_mm256_or_si256(digits, _mm256_set1_epi8(0x20)), _mm256_set1_epi8('a'));
        const __m256i is_decimal = _mm256_cmpeq_epi8(decimal, _mm256_min_epu8(decimal, _mm256_set1_epi8(9)));
        const __m256i is_letter = _mm256_cmpeq_epi8(letter, _mm256_min_epu8(letter, _mm256_set1_epi8(5)));
        const auto valid = static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_or_si256(is_decimal, is_letter)));
        if (escapes & ~(valid & valid >> 16))
            break;
        const __m256i values = _mm256_add_epi8(_mm256_and_si256(digits, _mm256_set1_epi8(0x0f)),
                                               _mm256_and_si256(is_letter, _mm256_set1_epi8(9)));
        const __m128i escaped =
            _mm_or_si128(_mm_slli_epi16(_mm256_castsi256_si128(values), 4), _mm256_extracti128_si256(values, 1));

        const __m128i plus = _mm_cmpeq_epi8(characters, _mm_set1_epi8('+'));
        const __m128i plain = _mm_blendv_epi8(characters, _mm_set1_epi8(' '), plus);
        const __m128i bytes = _mm_blendv_epi8(plain, escaped, percent);
        const uint32_t digit_lanes = escapes << 1 | escapes << 2 | digits_before;
        store_kept(bytes, ~digit_lanes & 0xff, to, written);
        store_kept(_mm_srli_si128(bytes, 8), ~digit_lanes >> 8 & 0xff, to, written);
        digits_before = digit_lanes >> kStep;
    }
    return from + std::popcount(digits_before);
}
#endif

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
    const auto *bytes = static_cast<const char *>(src);
    uint32_t written = 0;
    for (uint32_t i = 0; i < len; ++i) {
        if (written >= limit)
            return -1;
        written += encode_one(bytes[i], dst + written);
    }
    dst[written] = '\0';
    return static_cast<int32_t>(written);
}

int32_t url_decode(const char *src, uint32_t len, char *dst, uint32_t dst_size) {
    if (len == 0 || dst_size == 0)
        return 0;
    if (!src || !dst)
        return -1;
    const uint32_t limit = std::min(dst_size, kMostRoom);
    const char *const end = src + len;
    uint32_t written = 0;
    while (src != end && written < limit) {
#ifdef VELA_AVX2
        if (wide_unit())
            src = decode_wide(src, end, dst, written, limit);
#endif
        for (int i = 0; i < 20 && src != end && written < limit; ++i)
            src = decode_one(src, end, dst, written);
    }
    if (written == limit)
        return -1;
    dst[written++] = '\0';
    return static_cast<int32_t>(written);
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

    // The authority and the rest are copied apart, since the path keeps its "/" and leaves no place for a NUL.
    const auto front_length = static_cast<size_t>(authority_end - text);
    const size_t rest_length = std::strlen(authority_end);
    const size_t text_size = front_length + 1 + rest_length + 1;
    auto *block = static_cast<url_private *>(std::malloc(sizeof(url_private) + text_size));
    if (!block)
        return nullptr;
    char *const front = block->text();
    char *const rest = front + front_length + 1;
    std::memcpy(front, text, front_length);
    front[front_length] = '\0';
    std::memcpy(rest, authority_end, rest_length + 1);

    url_record &url = block->record;
    url = {};
    url.priv = block;
    url.scheme = front;
    front[scheme_end - text] = '\0';
    split_authority(url, front + (authority - text));
    split_path(url, rest);
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
        if (high > 15 || low > 15)
            return -1;
        mac[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return 0;
}

int32_t inet_strfmac(const uint8_t *mac, char *text) {
    for (size_t i = 0; i < kMacBytes; ++i) {
        text[kMacPitch * i] = digit_of(mac[i] >> 4);
        text[kMacPitch * i + 1] = digit_of(mac[i] & 15);
        text[kMacPitch * i + 2] = ':';
    }
    constexpr size_t length = kMacPitch * kMacBytes - 1;
    text[length] = '\0';
    return length;
}

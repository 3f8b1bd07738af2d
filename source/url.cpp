// Percent-encoding, the components of URLs, and the text of MAC addresses.
#include "common/hex.hpp"
#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <vela/url.h>

using namespace vela::detail;

// One allocation holds the record and, after it, a copy of the URL, which is split into the components in place.
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

// Only characters beyond ASCII are looked up in the locale: all locales agree on ASCII letters and digits.
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

// Space that the encoder keeps free: the longest code and the NUL.
constexpr uint32_t kEncodingRoom = 4;

// The first character of the code of an ASCII byte: '%' if two digits follow.
constexpr auto kFirstOfCode = [] {
    std::array<char, 256> table;
    for (unsigned byte = 0; byte < 256; ++byte)
        table[byte] = is_ascii_letter_or_digit(static_cast<unsigned char>(byte)) ? static_cast<char>(byte)
                      : byte == ' '                                              ? '+'
                                                                                 : '%';
    return table;
}();

// Writes the code of a byte; returns its end.
char *encode_one(unsigned char byte, char *to) {
    const char first = kFirstOfCode[byte];
    *to++ = first;
    if (first == '%') {
        if (is_other_letter_or_digit(byte)) {
            to[-1] = static_cast<char>(byte); // GCOVR_EXCL_LINE: needs a locale with letters beyond ASCII
        } else {
            write_pair(byte, to);
            to += sizeof(digit_pair);
        }
    }
    return to;
}

// The byte encoded by the characters after a "%", of which there is at least one; advances past them.
char decode_escape(const char *&from, const char *end) {
    if (*from == '%' || end - from < 2)
        return *from++;
    const uint8_t high = digit_value(*from++);
    const uint8_t low = digit_value(*from++);
    return static_cast<char>(high << 4 | low);
}

// Returns the end of the decoded bytes, or the limit if the output is too small.
char *decode(const char *from, const char *end, char *to, const char *limit) {
    while (from < end && to != limit) {
        // Decoding never lengthens a text, so the output has space for these characters.
        const char *const stop = from + std::min(end - from, limit - to);
        while (from < stop) {
            const char ch = *from++;
            if (ch != '%')
                *to++ = ch == '+' ? ' ' : ch;
            else if (from < end)
                *to++ = decode_escape(from, end);
        }
    }
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

// Splits the text at its first mark: returns what follows, or null with the text unchanged if there is none.
char *cut(char *text, char mark) {
    char *found = std::strchr(text, mark);
    if (!found)
        return nullptr;
    *found = '\0';
    return found + 1;
}

// Splits the port off the host. A bracketed address contains colons.
char *cut_port(char *host) {
    if (*host != '[')
        return cut(host, ':');
    char *bracket = std::strchr(host, ']');
    if (!bracket || !bracket[1])
        return nullptr;
    bracket[1] = '\0';
    return bracket + 2;
}

// A block with the given text in two parts, each followed by a NUL; null without memory. The path keeps its "/", so
// there is no separator between it and the authority that the first NUL could replace.
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
    const auto *byte = static_cast<const unsigned char *>(src), *const end = byte + len;
    const char *const limit = dst + (std::min(dst_size, kMostRoom) - kEncodingRoom);
    char *to = dst;
    while (byte != end) {
        if (to >= limit)
            return -1;
        to = encode_one(*byte++, to);
    }
    *to = '\0';
    return static_cast<int32_t>(to - dst);
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
    uint8_t bytes[kMacBytes]; // the text may overwrite the address
    std::memcpy(bytes, mac, kMacBytes);
    for (size_t i = 0; i < kMacBytes; ++i) {
        write_pair(bytes[i], text + kMacPitch * i);
        text[kMacPitch * i + 2] = ':';
    }
    constexpr size_t length = kMacPitch * kMacBytes - 1;
    text[length] = '\0';
    return length;
}

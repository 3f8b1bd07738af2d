// What tests and fuzz targets of Base64, texts and UUIDs share: what the library should make of any bytes, told in
// other words than its own. A disagreement aborts.
#pragma once

#undef NDEBUG
#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>
#include <vela/base64.h>
#include <vela/text.h>
#include <vela/uuid.h>

// Bytes at some alignment. They end where their memory ends, so that the sanitizers see a read behind them; room for a
// result has one byte more, which must stay as it is.
class block {
public:
    explicit block(std::string_view bytes, size_t more = 0)
        : front(bytes.empty() ? 1 : (bytes.size() + uint8_t(bytes[0])) % 5), behind(more) {
        memory.resize(front);
        memory.insert(memory.end(), bytes.begin(), bytes.end());
        memory.resize(memory.size() + more, '#');
    }
    char *text() { return memory.data() + front; }
    uint8_t *bytes() { return reinterpret_cast<uint8_t *>(text()); }
    uint32_t size() const { return static_cast<uint32_t>(memory.size() - front - behind); }
    bool holds(std::string_view expected) {
        return std::string_view(text(), size()) == expected && (behind == 0 || memory.back() == '#');
    }

private:
    size_t front, behind;
    std::vector<char> memory;
};

// Room for so many bytes.
inline block room_for(size_t size) { return block(std::string(size, '#'), 1); }

const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The text of bytes, six bits at a time.
inline std::string base64_of(std::string_view bytes) {
    std::string text;
    for (size_t bit = 0; bit < 8 * bytes.size(); bit += 6) {
        unsigned value = 0;
        for (size_t i = bit; i < bit + 6; ++i)
            value = 2 * value + (i / 8 < bytes.size() ? bytes[i / 8] >> (7 - i % 8) & 1 : 0);
        text += kAlphabet[value];
    }
    return text.append((4 - text.size() % 4) % 4, '=');
}

// What a text decodes to, one character after the other, and where the decoder stops.
inline std::string base64_bytes(std::string_view text, size_t *stop) {
    const auto value = [](char ch) { return ch == '=' ? 0 : std::min<size_t>(kAlphabet.find(ch), 255); };
    std::string bytes;
    for (size_t &at = *stop = 0;; at += 4) {
        while (at < text.size() && value(text[at]) == 255)
            ++at;
        if (text.size() - at < 4)
            return bytes;
        const size_t bits = value(text[at]) << 18 | value(text[at + 1]) << 12;
        const size_t third = value(text[at + 2]), fourth = value(text[at + 3]);
        bytes += static_cast<char>(bits >> 16);
        if (text[at + 2] != '=')
            bytes += static_cast<char>(bits >> 8 | third >> 2);
        if (text[at + 2] != '=' && text[at + 3] != '=')
            bytes += static_cast<char>(third << 6 | fourth);
    }
}

inline void check_encoding(std::string_view bytes) {
    const std::string expected = base64_of(bytes);
    block from(bytes), to = room_for(expected.size());
    assert(base64_encode_len(nullptr, from.size()) == to.size());
    assert(bytes.empty() || base64_encode(from.bytes(), from.size(), to.text(), to.size() - 1) == 0);
    assert(to.holds(std::string(to.size(), '#')));
    assert(base64_encode(from.bytes(), from.size(), to.text(), to.size()) == static_cast<int32_t>(to.size()));
    assert(to.holds(expected));
}

// At once, in place, where there is no vector step, and as a stream: pieces of the sizes that next_piece() gives, the
// tail of each put before the next, whatever stands at a cut.
template <class NextPiece>
void check_decoding(std::string_view text, NextPiece next_piece) {
    size_t stop;
    const std::string expected = base64_bytes(text, &stop);
    const auto decode = [](std::string_view piece, size_t *used) {
        block from(piece), to = room_for(base64_decode_len(nullptr, from.size()));
        const char *cursor = from.text();
        const uint32_t size = base64_decode_stream(&cursor, from.size(), to.bytes(), to.size());
        *used = static_cast<size_t>(cursor - from.text());
        assert(to.text()[to.size()] == '#');
        return std::string(to.text(), size);
    };
    size_t used;
    assert(decode(text, &used) == expected && used == (text.size() < 2 ? 0 : stop));

    block same(text);
    assert(base64_decode(same.text(), same.size(), same.bytes(), same.size()) == expected.size());
    assert(std::memcmp(same.text(), expected.data(), expected.size()) == 0);

    std::string waiting, bytes;
    for (size_t at = 0, size; at < text.size(); at += size) {
        waiting += text.substr(at, size = next_piece());
        bytes += decode(waiting, &used);
        waiting.erase(0, used);
        assert(waiting.size() < 4);
    }
    assert(bytes == expected);
}

// The result of hex2bin() for two characters, taken from the digits as they are printed.
inline char hex_byte(char high, char low) {
    const auto value = [](char ch) {
        return std::min<size_t>(std::string_view("0123456789ABCDEF").find(ch >= 'a' && ch <= 'f' ? ch - 32 : ch), 255);
    };
    return static_cast<char>(16 * value(high) + value(low));
}

// Bytes to digits and back; and the bytes as a text, whatever it is.
inline void check_hex(std::string_view bytes) {
    std::string digits;
    for (const char byte : bytes)
        digits += {"0123456789ABCDEF"[byte >> 4 & 15], "0123456789ABCDEF"[byte & 15]};
    block from(bytes), to = room_for(digits.size());
    assert(bin2hex(from.bytes(), from.size(), to.text()) == digits.size() && to.holds(digits));
    for (const std::string_view text : {std::string_view(digits), bytes}) {
        std::string expected;
        for (size_t i = 1; i < text.size(); i += 2)
            expected += hex_byte(text[i - 1], text[i]);
        block source(text), read = room_for(expected.size());
        assert(hex2bin(source.text(), source.size(), read.bytes()) == expected.size() && read.holds(expected));
        assert(hex2bin(source.text(), source.size(), source.bytes()) == expected.size()); // in place
        assert(std::memcmp(source.text(), expected.data(), expected.size()) == 0);
    }
}

inline void check_chunks(std::string_view input, uint32_t chunk) {
    std::string expected;
    for (size_t i = 0; i < input.size(); ++i)
        expected.append(i && i % chunk == 0, '\n') += input[i];
    block from(input), to = room_for(expected.size());
    assert(chunk_split_len(from.bytes(), from.size(), chunk) == to.size());
    assert(input.empty() || chunk_split(from.bytes(), from.size(), to.bytes(), to.size() - 1, chunk) == 0);
    assert(to.holds(std::string(to.size(), '#')));
    assert(chunk_split(from.bytes(), from.size(), to.bytes(), to.size(), chunk) == static_cast<int32_t>(to.size()));
    assert(to.holds(expected));
}

// White space at the ends is NUL afterwards; of the ends of a line at most one is taken off.
inline void check_trimming(const std::string &text) {
    constexpr char spaces[] = " \t\n\v\f\r";
    const size_t first = std::min(text.find_first_not_of(spaces), text.size());
    const size_t end = std::max(text.find_last_not_of(spaces) + 1, first);
    block stripped(text + '\0'), chomped(text + '\0');
    assert(strip(stripped.text()) == stripped.text() + first);
    assert(stripped.holds(std::string(first, '\0') + text.substr(first, end - first) +
                          std::string(text.size() + 1 - end, '\0')));
    const size_t length = text.size() - text.ends_with('\n'), left = length - text.substr(0, length).ends_with('\r');
    assert(chomp(chomped.text()) == static_cast<int32_t>(length) - 1 && text.substr(0, left) == chomped.text());
}

const std::string kWordFormat = "%02hhx%02hhx", kLongFormat = kWordFormat + kWordFormat;
const std::string kPlainFormat = kLongFormat + kLongFormat + kLongFormat + kLongFormat;
const std::string kDashedFormat =
    kLongFormat + "-" + kWordFormat + "-" + kWordFormat + "-" + kWordFormat + "-" + kLongFormat + kWordFormat;
const std::string kUuidFormats[] = {"{" + kDashedFormat + "}", kDashedFormat, kPlainFormat};

// Any text: as the scan formats read it, one after the other, down to what a failure leaves behind.
inline void check_uuid_text(const char *text) {
    uint8_t actual[16] = {}, expected[16] = {};
    const bool found = std::any_of(std::begin(kUuidFormats), std::end(kUuidFormats), [&](const std::string &format) {
        return uuid_scanf(text, format.c_str(), expected) == 16;
    });
    block exact(std::string_view(text, std::strlen(text) + 1));
    assert(uuid_scan(exact.text(), actual) == (found ? 0 : -1) && std::memcmp(actual, expected, 16) == 0);
}

// Sixteen bytes: printed and read back in each form.
inline void check_uuid_bytes(const uint8_t *uuid) {
    char text[64], printed[64];
    for (const std::string &format : kUuidFormats) {
        uint8_t back[16];
        uuid_sprintf(text, format.c_str(), uuid);
        assert(uuid_scan(text, back) == 0 && uuid_compare(uuid, back) == 0);
    }
    uuid_sprintf(text, kUuidFormats[0].c_str(), uuid);
    assert(uuid_sprint(printed, uuid) == 38 && std::strcmp(text, printed) == 0);
}

// Independent implementations: of hexadecimal text, trimming and chunks character by character, and of UUIDs by the C
// library's formats.
#pragma once

#include "memory.hpp"
#include <algorithm>
#include <array>
#include <cstring>
#include <vela/text.h>
#include <vela/uuid.h>

namespace model {

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
    block from(bytes), to = buffer_of(digits.size());
    agree("bin2hex", bytes, bin2hex(from.bytes(), from.size(), to.text()), digits.size());
    to.expect_content("bin2hex", bytes, digits);
    for (const std::string_view text : {std::string_view(digits), bytes}) {
        std::string expected;
        for (size_t i = 1; i < text.size(); i += 2)
            expected += hex_byte(text[i - 1], text[i]);
        block read = buffer_of(expected.size()), source(text);
        agree("hex2bin", text, hex2bin(source.text(), source.size(), read.bytes()), expected.size());
        read.expect_content("hex2bin", text, expected);
        hex2bin(source.text(), source.size(), source.bytes());
        source.expect_content("hex2bin in place", text, expected);
        block after(text, 1);
        hex2bin(after.text(), after.size(), after.bytes() + 1);
        agree("hex2bin to one byte after", text, std::string_view(after.text() + 1, expected.size()), expected);
    }
}

inline void check_chunks(std::string_view input, uint32_t chunk) {
    std::string expected;
    for (size_t i = 0; i < input.size(); ++i)
        expected.append(i && i % chunk == 0, '\n') += input[i];
    const std::string what = "chunk_split by " + std::to_string(chunk);
    block from(input), to = buffer_of(expected.size());
    agree(what + ", the length", input, chunk_split_len(from.bytes(), from.size(), chunk), to.size());
    if (!input.empty())
        agree(what + " into too small a buffer", input,
              chunk_split(from.bytes(), from.size(), to.bytes(), to.size() - 1, chunk), 0);
    to.expect_content(what + " into too small a buffer", input, std::string(to.size(), '#'));
    agree(what, input, chunk_split(from.bytes(), from.size(), to.bytes(), to.size(), chunk), to.size());
    to.expect_content(what, input, expected);
}

// White space at the ends is NUL afterwards; of the ends of a line at most one is taken off.
inline void check_trimming(const std::string &text) {
    constexpr char spaces[] = " \t\n\v\f\r";
    const size_t first = std::min(text.find_first_not_of(spaces), text.size());
    const size_t end = std::max(text.find_last_not_of(spaces) + 1, first);
    std::string bare = text, line = text.substr(0, text.size() - text.ends_with('\n'));
    bare.replace(0, first, first, '\0').replace(end, bare.npos, bare.size() - end, '\0');
    block stripped(text + '\0'), chomped(text + '\0');
    agree("strip", text, strip(stripped.text()) - stripped.text(), static_cast<long>(first));
    stripped.expect_content("strip", text, bare);
    agree("chomp", text, chomp(chomped.text()), static_cast<int32_t>(line.size()) - 1);
    agree("chomp, what is left", text, chomped.text(), line.substr(0, line.size() - line.ends_with('\r')));
}

constexpr std::array<uint8_t, 16> kUuid = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                           0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
// In the order in which they are tried; and the UUID above in each.
const std::string kWord = "%02hhx%02hhx", kLong = kWord + kWord, kPlainFormat = kLong + kLong + kLong + kLong;
const std::string kDashedFormat = kLong + "-" + kWord + "-" + kWord + "-" + kWord + "-" + kLong + kWord;
const std::string kUuidFormats[] = {"{" + kDashedFormat + "}", kDashedFormat, kPlainFormat};
const std::string kUuidTexts[] = {"{00112233-4455-6677-8899-aabbccddeeff}", "00112233-4455-6677-8899-aabbccddeeff",
                                  "00112233445566778899aabbccddeeff"};

inline std::string_view text_of(const uint8_t *bytes) { return {reinterpret_cast<const char *>(bytes), 16}; }

// Any text: as by the scan formats, one after the other, including the bytes left by a failure.
inline void check_uuid_text(const char *text) {
    uint8_t actual[16] = {}, expected[16] = {};
    bool found = false;
    for (size_t i = 0; i < 3 && !found; ++i)
        found = uuid_scanf(text, kUuidFormats[i].c_str(), expected) == 16;
    block exact(std::string_view(text, std::strlen(text) + 1));
    agree("uuid_scan", text, uuid_scan(exact.text(), actual), found ? 0 : -1);
    agree("uuid_scan, the bytes", text, text_of(actual), text_of(expected));
}

// Sixteen bytes: printed into a buffer of the exact size and into their own, and read back in each form.
inline void check_uuid_bytes(const uint8_t *uuid) {
    char text[64];
    for (const std::string *format = kUuidFormats + 3; format-- != kUuidFormats;) {
        uint8_t back[16];
        uuid_sprintf(text, format->c_str(), uuid);
        agree("uuid_scan", text, uuid_scan(text, back), 0);
        agree("uuid_scan, the bytes", text, text_of(back), text_of(uuid));
    }
    block printed = buffer_of(39), same(std::string(text_of(uuid)) + std::string(23, '#'), 1);
    agree("uuid_sprint", text_of(uuid), uuid_sprint(printed.text(), uuid), 38);
    printed.expect_content("uuid_sprint", text_of(uuid), std::string_view(text, 39));
    uuid_sprint(same.text(), same.bytes());
    same.expect_content("uuid_sprint in place", text_of(uuid), std::string_view(text, 39));
}

} // namespace model

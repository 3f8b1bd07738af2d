// UUIDs by the C library's formats.
#pragma once

#include "memory.hpp"
#include <algorithm>
#include <array>
#include <cstring>
#include <vela/uuid.h>

namespace model {

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

// UUIDs by the C library's formats.
#pragma once

#include "block.hpp"
#include <algorithm>
#include <cstring>
#include <iterator>
#include <vela/uuid.h>

namespace model {

const std::string kWordFormat = "%02hhx%02hhx", kLongFormat = kWordFormat + kWordFormat;
const std::string kPlainFormat = kLongFormat + kLongFormat + kLongFormat + kLongFormat;
const std::string kDashedFormat =
    kLongFormat + "-" + kWordFormat + "-" + kWordFormat + "-" + kWordFormat + "-" + kLongFormat + kWordFormat;
const std::string kUuidFormats[] = {"{" + kDashedFormat + "}", kDashedFormat, kPlainFormat};

inline std::string_view text_of(const uint8_t *bytes) { return {reinterpret_cast<const char *>(bytes), 16}; }

// Any text: as the scan formats read it, one after the other, down to what a failure leaves behind.
inline void check_uuid_text(const char *text) {
    uint8_t actual[16] = {}, expected[16] = {};
    const bool found = std::any_of(std::begin(kUuidFormats), std::end(kUuidFormats), [&](const std::string &format) {
        return uuid_scanf(text, format.c_str(), expected) == 16;
    });
    block exact(std::string_view(text, std::strlen(text) + 1));
    agree("uuid_scan", text, uuid_scan(exact.text(), actual), found ? 0 : -1);
    agree("uuid_scan, the bytes", text, text_of(actual), text_of(expected));
}

// Sixteen bytes: printed, into as much room as that takes and into their own, and read back in each form.
inline void check_uuid_bytes(const uint8_t *uuid) {
    char text[64];
    for (const std::string &format : kUuidFormats) {
        uint8_t back[16];
        uuid_sprintf(text, format.c_str(), uuid);
        agree("uuid_scan", text, uuid_scan(text, back), 0);
        agree("uuid_scan, the bytes", text, text_of(back), text_of(uuid));
    }
    uuid_sprintf(text, kUuidFormats[0].c_str(), uuid);
    block printed = room_for(39), same(std::string(text_of(uuid)) + std::string(23, '#'), 1);
    agree("uuid_sprint", text_of(uuid), uuid_sprint(printed.text(), uuid), 38);
    printed.expect_content("uuid_sprint", text_of(uuid), std::string_view(text, 39));
    uuid_sprint(same.text(), same.bytes());
    same.expect_content("uuid_sprint in place", text_of(uuid), std::string_view(text, 39));
}

} // namespace model

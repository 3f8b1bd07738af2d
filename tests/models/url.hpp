// The percent coders and the components of a URL, told in other words than the library's.
#pragma once

#undef NDEBUG
#include "../fenced.hpp"
#include "agree.hpp"
#include <algorithm>
#include <cassert>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <regex.h>
#include <string>
#include <string_view>
#include <vela/url.h>

inline std::string encoded(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        char code[4];
        std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(byte));
        text += std::isalnum(static_cast<unsigned char>(byte)) ? std::string(1, byte) : byte == ' ' ? "+" : code;
    }
    return text;
}

// Each character by a look at the two behind it.
inline std::string decoded(std::string_view text) {
    const auto value = [](char ch) {
        const size_t digit = std::string_view("0123456789abcdefABCDEF").find(ch);
        return digit < 16 ? digit : digit < 22 ? digit - 6 : 255;
    };
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        const std::string_view behind = text.substr(i + 1, 2);
        if (text[i] != '%') {
            bytes += text[i] == '+' ? ' ' : text[i];
        } else if (behind.size() == 2 && behind[0] != '%') {
            bytes += static_cast<char>(16 * value(behind[0]) | value(behind[1]));
            i += 2;
        } else if (!behind.empty()) {
            bytes += text[++i];
        }
    }
    return bytes;
}

// Both coders on a text of at least a character in each of some rooms, the largest below 16384; decoding in place.
inline void check_coders(std::string_view text, uint32_t least_room, uint32_t greatest_room) {
    static char *const text_end = reinterpret_cast<char *>(fence(8192));
    static char *const output_end = reinterpret_cast<char *>(fence(16384));
    const auto length = static_cast<uint32_t>(text.size());
    const std::string bytes = decoded(text), code = encoded(text);
    const size_t room_to_decode = bytes.size() + 1, room_to_encode = encoded(text.substr(0, length - 1)).size() + 5;
    const auto decoded_size = static_cast<int32_t>(room_to_decode), code_size = static_cast<int32_t>(code.size());
    char *const source = text_end - length;
    text.copy(source, length);
    for (uint32_t room = least_room; room <= greatest_room; ++room) {
        char *const output = output_end - room;
        // What there is room for is written in any case.
        agree("url_decode()", text, url_decode(source, length, output, room),
              !room                   ? 0
              : room < room_to_decode ? -1
                                      : decoded_size);
        const size_t decoded_room = std::min<size_t>(room, room_to_decode);
        agree("decoded bytes", text, {output, decoded_room}, {bytes.c_str(), decoded_room});
        const int32_t result = url_encode(source, length, output, room);
        agree("url_encode()", text, result, !room ? 0 : room < room_to_encode ? -1 : code_size);
        const size_t encoded_room = room < 5 ? 0 : std::min<size_t>(room - 4, code.size());
        agree("encoded bytes", text, {output, encoded_room}, {code.c_str(), encoded_room});
        if (result > 0)
            agree("encoded text", text, output, code);
    }
    std::string same(text);
    agree("url_decode() in place", text, url_decode(same.data(), length, same.data(), length + 1), decoded_size);
    agree("bytes decoded in place", text, {same.data(), room_to_decode}, {bytes.c_str(), room_to_decode});
}

// The components in the order of the record, "-" for null; "null" for none at all.
inline std::string components(const char *text) {
    url_record *url = url_alloc(text);
    std::string list = url ? "" : " null";
    if (url)
        for (const char *part : {url->scheme, url->user, url->password, url->host, url->port, url->path, url->query})
            list += part ? " <" + std::string(part) + ">" : " -";
    url_free(url);
    return list.substr(1);
}

// The same by a grammar. The longest host ends in front of a ":" or behind a bracket.
inline std::string expected_components(const char *text) {
    static const regex_t grammar = [] {
        regex_t compiled;
        assert(regcomp(&compiled,
                       "^[[:space:]]*([[:alnum:]]+):/{0,2}(([^/?:@]*)(:([^/?@]*))?@)?"
                       "(\\[[^]/?]*]?|[^[/?:][^/?:]*)?([^/?]([^/?]*))?(/[^?]*)?([?](.*))?$",
                       REG_EXTENDED) == 0);
        return compiled;
    }();
    regmatch_t groups[12];
    if (regexec(&grammar, text, 12, groups, 0) != 0)
        return "null";
    if (groups[6].rm_so < 0 && groups[7].rm_so >= 0)
        groups[6].rm_so = groups[6].rm_eo = groups[7].rm_so; // a port has a host, even an empty one
    std::string list;
    for (const auto &[begin, end] : {groups[1], groups[3], groups[5], groups[6], groups[8], groups[9], groups[11]})
        list += begin < 0 ? " -" : " <" + std::string(text + begin, text + end) + ">";
    return list.substr(1);
}

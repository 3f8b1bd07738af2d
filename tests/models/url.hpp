// An independent implementation of the percent coders and of the components of a URL.
#pragma once

#include "memory.hpp"
#include <algorithm>
#include <regex.h>
#include <strings.h>
#include <vela/url.h>

// Letters, digits and some other characters stand for themselves.
inline std::string encoded(std::string_view bytes, std::string_view others = "", const char *space = "+") {
    std::string text;
    for (const char byte : bytes) {
        char code[4] = {byte};
        if (!std::isalnum(static_cast<unsigned char>(byte)) && others.find(byte) == others.npos)
            std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(byte));
        text += byte == ' ' ? space : code;
    }
    return text;
}

// Each character by the two after it.
inline std::string decoded(std::string_view text) {
    const auto value = [](char ch) {
        const size_t digit = std::string_view("0123456789abcdefABCDEF").find(ch);
        return digit < 16 ? digit : digit < 22 ? digit - 6 : 255;
    };
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        const std::string_view next = text.substr(i + 1, 2);
        if (text[i] != '%') {
            bytes += text[i] == '+' ? ' ' : text[i];
        } else if (next.size() == 2 && next[0] != '%') {
            bytes += static_cast<char>(16 * value(next[0]) | value(next[1]));
            i += 2;
        } else if (!next.empty()) {
            bytes += text[++i];
        }
    }
    return bytes;
}

// Both coders on a text of at least a character with a range of buffer sizes, all below 16384; decoding in place.
inline void check_coders(std::string_view text, uint32_t least_size, uint32_t greatest_size) {
    static char *const text_end = reinterpret_cast<char *>(fence(8192));
    static char *const output_end = reinterpret_cast<char *>(fence(16384));
    const auto length = static_cast<uint32_t>(text.size());
    const std::string bytes = decoded(text) + '\0', code = encoded(text);
    const size_t size_to_encode = encoded(text.substr(0, length - 1)).size() + 5;
    const auto result = [](size_t capacity, size_t needed, size_t size) {
        return capacity == 0 ? 0 : capacity < needed ? -1 : static_cast<long long>(size);
    };
    char *const source = text_end - length;
    text.copy(source, length);
    for (uint32_t capacity = least_size; capacity <= greatest_size; ++capacity) {
        char *const output = output_end - capacity;
        // What fits is written in any case.
        agree("url_decode()", text, url_decode(source, length, output, capacity),
              result(capacity, bytes.size(), bytes.size()));
        agree("decoded bytes", text, {output, std::min<size_t>(capacity, bytes.size())}, bytes.substr(0, capacity));
        const int32_t size = url_encode(source, length, output, capacity);
        agree("url_encode()", text, size, result(capacity, size_to_encode, code.size()));
        const std::string whole = code.substr(0, capacity < 5 ? 0 : capacity - 4);
        agree("encoded bytes", text, {output, whole.size()}, whole);
        if (size > 0)
            agree("encoded text", text, output, code);
    }
    std::string same(text);
    agree("url_decode() in place", text, url_decode(same.data(), length, same.data(), length + 1),
          static_cast<long long>(bytes.size()));
    agree("bytes decoded in place", text, {same.data(), bytes.size()}, bytes);
}

// The components in the order of the record, "-" for null; "null" for none at all.
inline std::string components(const char *text) {
    url_record *url = url_alloc(text);
    if (!url)
        return "null";
    std::string list;
    for (const char *part : {url->scheme, url->user, url->password, url->host, url->port, url->path, url->query})
        list += part ? " <" + std::string(part) + ">" : " -";
    url_free(url);
    return list.substr(1);
}

// An extended regular expression, for letters in either case.
inline regex_t compiled(const std::string &pattern) {
    regex_t made;
    agree("regcomp()", pattern, regcomp(&made, pattern.c_str(), REG_EXTENDED | REG_ICASE), 0);
    return made;
}

// The same by a grammar. The longest host ends before a ":" or after a bracket.
inline std::string expected_components(const char *text) {
    static const regex_t grammar = compiled("^[[:space:]]*([[:alnum:]]+):/{0,2}(([^/?:@]*)(:([^/?@]*))?@)?"
                                            "(\\[[^]/?]*]?|[^[/?:][^/?:]*)?([^/?]([^/?]*))?(/[^?]*)?([?](.*))?$");
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

// What is read of a MAC address, the bytes in front of a bad digit among it, and how it is written.
inline void check_mac(const std::string &text) {
    static const regex_t layout = compiled("^..(:..){4}:."), pairs = compiled("^([0-9a-f]{2}:){0,5}([0-9a-f]{2})?");
    regmatch_t found;
    regexec(&pairs, text.c_str(), 1, &found, 0);
    const bool is_laid_out = regexec(&layout, text.c_str(), 0, nullptr, 0) == 0;
    const size_t good = is_laid_out ? static_cast<size_t>(found.rm_eo + 1) / 3 : 0;
    std::string expected(6, '#'), mac = expected, own(18, '#');
    for (size_t i = 0; i < good; ++i)
        expected[i] = static_cast<char>(std::stoi(text.substr(3 * i, 2), nullptr, 16));
    agree("inet_parse_mac()", text, inet_parse_mac(text.c_str(), reinterpret_cast<uint8_t *>(mac.data())),
          good == 6 ? 0 : -1);
    agree("bytes of a MAC address", text, mac, expected);
    agree("inet_strfmac()", mac, inet_strfmac(reinterpret_cast<const uint8_t *>(mac.data()), own.data()), 17);
    if (good == 6)
        agree("text of a MAC address", text, strncasecmp(own.c_str(), text.c_str(), 17), 0);
}

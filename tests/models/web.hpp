// What tests and fuzz targets of the web modules share: a request's environment and input, and what the library should
// make of a text, told in other words than its own. A disagreement aborts.
#pragma once

#undef NDEBUG
#include "../fenced.hpp"
#include <algorithm>
#include <cassert>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <regex.h>
#include <string>
#include <string_view>
#include <strings.h>
#include <vela/cgi.h>
#include <vela/url.h>

constexpr size_t kMostBody = 131072;

inline std::string random_text(std::mt19937 &random, size_t length, std::string_view alphabet) {
    std::string text(length, '\0');
    for (char &ch : text)
        ch = alphabet[random() % alphabet.size()];
    return text;
}

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
        assert(url_decode(source, length, output, room) == (!room ? 0 : room < room_to_decode ? -1 : decoded_size));
        assert(std::memcmp(output, bytes.c_str(), std::min<size_t>(room, room_to_decode)) == 0);
        const int32_t result = url_encode(source, length, output, room);
        assert(result == (!room ? 0 : room < room_to_encode ? -1 : code_size));
        assert(room < 5 || std::memcmp(output, code.c_str(), std::min<size_t>(room - 4, code.size())) == 0);
        assert(result <= 0 || code == output);
    }
    std::string same(text);
    assert(url_decode(same.data(), length, same.data(), length + 1) == decoded_size);
    assert(std::memcmp(same.data(), bytes.c_str(), room_to_decode) == 0);
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

// Makes a file of these bytes the standard input.
inline void set_input(std::string_view bytes) {
    static const int file = memfd_create("input", 0);
    assert(ftruncate(file, 0) == 0 && pwrite(file, bytes.data(), bytes.size(), 0) == static_cast<long>(bytes.size()));
    assert(lseek(file, 0, SEEK_SET) == 0 && dup2(file, STDIN_FILENO) == STDIN_FILENO);
}

// The request with these variables, null for one that is not set; null where cgi_setup() fails.
inline cgi_request *request(const char *method, const char *query = nullptr, const char *cookies = nullptr,
                            const char *length = nullptr) {
    const std::pair<const char *, const char *> variables[] = {
        {"REQUEST_METHOD", method}, {"QUERY_STRING", query}, {"HTTP_COOKIE", cookies}, {"CONTENT_LENGTH", length}};
    for (const auto &[name, value] : variables)
        value ? setenv(name, value, 1) : unsetenv(name);
    auto *cgi = reinterpret_cast<cgi_request *>(&set_input);
    assert((cgi_setup(&cgi) == 0) == (cgi != nullptr));
    return cgi;
}

// The text's names with their first values must be all that a look-up finds.
template <class LookUp>
void check_names(LookUp look_up, cgi_request *cgi, std::string text, char separator) {
    const std::string absent = text + 'x', marks = {separator, '='};
    if (separator == ';')
        for (size_t i = 0; (i = text.find_first_of(marks, i) + 1) != 0;)
            text.erase(i, std::min(text.find_first_not_of(' ', i), text.size()) - i);
    const auto token_end = [&](size_t at) { return std::min(text.find_first_of(marks, at), text.size()); };
    const auto less = [](const std::string &a, const std::string &b) { return strcasecmp(a.c_str(), b.c_str()) < 0; };
    std::map<std::string, std::string, decltype(less)> values(less);
    for (size_t at = 0, end; (at = text.find_first_not_of(marks, at)) != std::string::npos; at = end) {
        const std::string name = decoded(text.substr(at, token_end(at) - at));
        at = token_end(at);
        end = text[at] == '=' ? token_end(at + 1) : at;
        values.emplace(name.c_str(), decoded(text.substr(at, end - at)).c_str() + (end > at));
    }
    for (const auto &[name, value] : values) {
        const char *found = look_up(cgi, name.c_str());
        assert(found && value == found);
    }
    for (const std::string &name : {absent, std::string(), std::string("a")})
        assert(values.count(name) == (look_up(cgi, name.c_str()) != nullptr));
}

// A request with a text as query string and cookies, of whose input so many bytes are asked for.
inline void check_request(const char *method, const char *length, size_t asked, const std::string &input,
                          const char *text) {
    set_input(input);
    cgi_request *cgi = request(method, text, text, length);
    const std::string body = input.substr(0, asked);
    assert(!cgi->body == !asked && cgi->body_len == static_cast<int32_t>(body.size()));
    assert(!asked || std::memcmp(cgi->body, body.c_str(), body.size() + 1) == 0);
    assert(lseek(STDIN_FILENO, 0, SEEK_CUR) == cgi->body_len);
    check_names(cgi_query_param, cgi, text, '&');
    check_names(cgi_cookie, cgi, text, ';');
    check_names(cgi_form_param, cgi, asked ? cgi->body : "", '&');
    cgi_cleanup(cgi);
}

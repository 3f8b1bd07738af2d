// Queries read and written in other words than those of vela/cpp/url.hpp.
#pragma once

#include "url.hpp"
#include <sstream>
#include <vela/cpp/url.hpp>

namespace model {

// Bytes after an escape are decoded by the C library.
inline std::string decoded_form(const std::string &code, bool plus_is_space = true) {
    std::string bytes;
    for (size_t i = 0; i < code.size(); ++i) {
        const std::string two = code.substr(i + 1, 2);
        const bool is_code = code[i] == '%' && two.size() == 2 && std::isxdigit(static_cast<unsigned char>(two[0])) &&
                             std::isxdigit(static_cast<unsigned char>(two[1]));
        const char other = plus_is_space && code[i] == '+' ? ' ' : code[i];
        bytes += is_code ? static_cast<char>(std::stoi(two, nullptr, 16)) : other;
        i += is_code ? 2 : 0;
    }
    return bytes;
}

// The parameters as a text, name and value in brackets.
inline std::string listed(const vela::query &query) {
    std::string list;
    for (const auto &[name, value] : query)
        list.append("[").append(name).append("][").append(value).append("]");
    return list;
}

inline std::string expected_parameters(const std::string &text) {
    std::istringstream pieces(text);
    std::string list;
    for (std::string piece; std::getline(pieces, piece, '&');) {
        const std::string name = piece.substr(0, piece.find('='));
        const std::string value = piece.substr(std::min(name.size() + 1, piece.size()));
        list += piece.empty() ? "" : "[" + decoded_form(name) + "][" + decoded_form(value) + "]";
    }
    return list;
}

// Any text as a query; and as a segment, a value and a fragment of a URL that is put together and taken apart again.
inline void check_query(const std::string &text) {
    agree("query", text, listed(vela::query(text)), expected_parameters(text));
    agree("url::decode", text, vela::url::decode(text), decoded_form(text, false));
    vela::url::builder builder("http", "h");
    const std::optional<std::string> built = builder.segment(text).parameter(text, text).fragment(text).build();
    agree("whether a URL comes of the segment", text, built.has_value(), text != "." && text != "..");
    if (!built)
        return;
    agree("characters that no URL has, built", text, built->find_first_of(" \"<>\\^`{|}\x7F") == built->npos, true);
    const std::optional<vela::url> parts = vela::url::parse(*built);
    agree("whether that is a URL", text, parts.has_value(), true);
    agree("the segment, built", text, vela::url::decode(parts->path().value_or("-").substr(1)), text);
    agree("the parameter, built", text, listed(vela::query(parts->query().value_or("-"))),
          "[" + text + "][" + text + "]");
    agree("the fragment, built", text, vela::url::decode(parts->fragment().value_or("-")), text);
}

} // namespace model

// Queries read and written in other words than those of vela/cpp/url.hpp: from behind, one character after the other.
#pragma once

#include "agree.hpp"
#include <algorithm>
#include <vela/cpp/url.hpp>

namespace model {

// Bytes behind an escape are decoded by the C library.
inline std::string decoded_form(std::string_view code, bool plus_is_space = true) {
    std::string bytes;
    while (!code.empty()) {
        const std::string two(code.substr(1, code[0] == '%' ? 2 : 0));
        if (two.size() == 2 && std::isxdigit(static_cast<unsigned char>(two[0])) &&
            std::isxdigit(static_cast<unsigned char>(two[1]))) {
            bytes += static_cast<char>(std::stoi(two, nullptr, 16));
            code.remove_prefix(3);
        } else {
            bytes += plus_is_space && code[0] == '+' ? ' ' : code[0];
            code.remove_prefix(1);
        }
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

// The same, from the last piece to the first.
inline std::string expected_parameters(std::string_view text) {
    std::string list;
    for (;;) {
        const size_t cut = text.rfind('&');
        const std::string_view piece = text.substr(cut + 1);
        const auto equals = std::find(piece.begin(), piece.end(), '=');
        const std::string_view value(equals == piece.end() ? equals : equals + 1, piece.end());
        if (!piece.empty())
            list = "[" + decoded_form({piece.begin(), equals}) + "][" + decoded_form(value) + "]" + list;
        if (cut == text.npos)
            return list;
        text = text.substr(0, cut);
    }
}

// Any text as a query; and as a segment, a value and a fragment of a URL that is put together and taken apart again.
inline void check_query(const std::string &text) {
    agree("query", text, listed(vela::query(text)), expected_parameters(text));
    agree("url::decode", text, vela::url::decode(text), decoded_form(text, false));
    vela::url_builder builder("http", "h");
    builder.segment(text).parameter(text, text).fragment(text);
    const std::optional<std::string> built = builder.text();
    agree("whether a URL comes of the segment", text, built.has_value(), text != "." && text != "..");
    if (!built)
        return;
    agree("characters that no URL has, built", text, built->find_first_of(" \"<>\\^`{|}\x7F") == built->npos, true);
    const std::optional<vela::url> parts = vela::url::parse(*built);
    agree("whether the URL is one, built", text, parts.has_value(), true);
    agree("the segment, built", text, vela::url::decode(parts->path().value_or("-").substr(1)), text);
    agree("the parameter, built", text, listed(vela::query(parts->query().value_or("-"))),
          "[" + text + "][" + text + "]");
    agree("the fragment, built", text, vela::url::decode(parts->fragment().value_or("-")), text);
}

} // namespace model

// URLs by the grammar of RFC 3986 as a regular expression, and queries read and written in other words than those of
// vela/cpp/url.hpp.
#pragma once

#include "url.hpp"
#include <regex>
#include <sstream>
#include <vela/cpp/url.hpp>

namespace model {

inline std::regex grammar_of_urls() {
    const std::string escape = "%[0-9A-Fa-f]{2}", kept = "[-A-Za-z0-9._~!$&'()*+,;=]", h16 = "[0-9A-Fa-f]{1,4}",
                      octet = "(?:25[0-5]|2[0-4][0-9]|1[0-9]{2}|[1-9]?[0-9])",
                      ls32 = "(?:" + h16 + ":" + h16 + "|" + octet + "(?:\\." + octet + "){3})";
    const auto groups = [&](int count) { return "(?:" + h16 + ":){" + std::to_string(count) + "}"; };
    std::string ipv6 = groups(6) + ls32;
    for (int left = 0; left <= 7; ++left) {
        const std::string front =
            left == 0 ? "" : "(?:(?:" + h16 + ":){0," + std::to_string(left - 1) + "}" + h16 + ")?";
        ipv6 += "|" + front + "::" + (left < 6 ? groups(5 - left) + ls32 : left == 6 ? h16 : "");
    }
    const std::string name = "(?:" + kept + "|" + escape + ")*", user = "(?:" + kept + "|:|" + escape + ")*",
                      pchar = "(?:" + kept + "|[:@]|" + escape + ")", path = "(?:/" + pchar + "*)*",
                      rest = "(?:" + pchar + "|[/?])*";
    return std::regex("([A-Za-z][A-Za-z0-9]*):(?://(?:(" + user + ")@)?(\\[(?:" + ipv6 + ")\\]|" + name +
                      ")(?::([0-9]*))?|(?!//))(" + path + ")(?:\\?(" + rest + "))?(?:#(" + rest + "))?");
}

// Any text, which is a URL or not, and its components.
inline void check_url(const std::string &text) {
    static const std::regex grammar = grammar_of_urls(),
                            needs_host("https?|wss?|ftp", std::regex::icase | std::regex::ECMAScript);
    std::smatch found;
    bool is_good = std::regex_match(text, found, grammar);
    if (is_good) {
        const std::string port = std::regex_replace(found.str(4), std::regex("^0+"), "");
        const bool is_port = port.size() < 6 && (port.empty() || std::stoi(port) <= 65535);
        const bool is_alone = found[2].matched || found[4].matched || std::regex_match(found.str(1), needs_host);
        is_good = is_port && (found.length(3) > 0 || !is_alone);
    }
    const vela::result<vela::url> one = vela::url::parse(text);
    agree("url::parse", text, one.has_value(), is_good);
    agree("url::check", text, vela::url::check(text) == vela::url::error::none, is_good);
    if (!one)
        return;
    const auto shown = [](const auto &part) { return part ? "+" + std::string(*part) : "-"; };
    const auto matched = [&](size_t i) { return found[i].matched ? "+" + found.str(i) : "-"; };
    const auto filled = [&](size_t i) { return found.length(i) ? "+" + found.str(i) : "-"; };
    const bool has_password = one->password().has_value();
    agree("scheme", text, std::string(one->scheme()), found.str(1));
    agree("user", text, shown(one->user()) + (has_password ? ":" + std::string(*one->password()) : ""), matched(2));
    agree("host", text, shown(one->host()), filled(3));
    agree("port", text, shown(one->port()), matched(4));
    agree("path", text, shown(one->path()), filled(5));
    agree("query", text, shown(one->query()), matched(6));
    agree("fragment", text, shown(one->fragment()), matched(7));
}

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

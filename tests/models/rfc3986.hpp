// The grammar of RFC 3986 as a regular expression, beside vela::url::parse().
#pragma once

#include "agree.hpp"
#include <regex>
#include <string>
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

} // namespace model

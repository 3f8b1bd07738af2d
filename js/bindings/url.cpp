// <vela/cpp/url.hpp>, and the MAC addresses of <vela/url.h>.
#include "bindings.hpp"
#include <string>
#include <vela/cpp/url.hpp>

using namespace bindings;
using vela::url;

// The parts, each with a NUL after it, and before it a "+" where there is one and a "-" where there is none.
VELA_EXPORT(url_parse) block *parse(const char *text, size_t length) {
    const std::optional<url> one = url::parse({text, length});
    if (!one)
        return nullptr;
    std::string all;
    for (const auto &part : {std::optional(one->scheme()), one->user(), one->password(), one->host(), one->port(),
                             one->path(), one->query(), one->fragment()})
        all.append(part ? "+" : "-").append(part.value_or("")).append(1, '\0');
    return give(all);
}

VELA_EXPORT(url_encode_segment) block *encode_segment(const char *text, size_t length) {
    return give(url::encode_segment({text, length}));
}
VELA_EXPORT(url_encode_form) block *encode_form(const char *text, size_t length) {
    return give(url::encode_form({text, length}));
}
VELA_EXPORT(url_decode) block *decode(const char *text, size_t length) { return give(url::decode({text, length})); }
VELA_EXPORT(url_decode_form) block *decode_form(const char *text, size_t length) {
    return give(url::decode_form({text, length}));
}

VELA_EXPORT(url_parse_mac) block *parse_mac(const char *text, size_t length) {
    result<uint8_t> to(6);
    return inet_parse_mac(std::string(text, length).c_str(), to.data()) == 0 ? to.release() : nullptr;
}

VELA_EXPORT(url_format_mac) block *format_mac(const uint8_t *mac, size_t) {
    char text[18];
    return give(std::string_view(text, static_cast<size_t>(inet_strfmac(mac, text))));
}

// url_alloc() against the components told by their places in the whole text.
#include "web.hpp"
#include <array>
#include <optional>
#include <vela/url.h>

namespace {

using component = std::optional<std::string>;
using components = std::array<component, 7>; // in the order of the record

std::optional<components> described(const std::string &text) {
    const auto at = [&](size_t place) {
        return static_cast<unsigned char>(text.c_str()[std::min(place, text.size())]);
    };
    const auto between = [&](size_t begin, size_t end) { return text.substr(begin, end - begin); };
    const auto first = [&](const char *marks, size_t from) {
        return std::min(text.find_first_of(marks, from), text.size());
    };
    size_t place = 0;
    while (std::isspace(at(place)))
        ++place;
    const size_t begin = place;
    while (std::isalnum(at(place)))
        ++place;
    if (place == begin || at(place) != ':')
        return std::nullopt;
    auto url = components{between(begin, place)};
    auto &[scheme, user, password, host, port, path, query] = url;

    place += at(place + 1) != '/' ? 1 : at(place + 2) != '/' ? 2 : 3;
    const size_t authority_end = first("/?", place);
    if (const size_t sign = first("@", place); sign < authority_end) {
        const size_t colon = std::min(first(":", place), sign);
        user = between(place, colon);
        if (colon < sign)
            password = between(colon + 1, sign);
        place = sign + 1;
    }
    const size_t separator = std::min(at(place) == '[' ? first("]", place) + 1 : first(":", place), authority_end);
    if (separator < authority_end)
        port = between(separator + 1, authority_end);
    if (place < authority_end)
        host = between(place, separator);
    const size_t path_end = first("?", authority_end);
    if (at(authority_end) == '/')
        path = between(authority_end, path_end);
    if (path_end < text.size())
        query = text.substr(path_end + 1);
    return url;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text = fuzz::text_of(data, size);
    const auto expected = described(text);
    url_record *url = url_alloc(text.c_str());
    assert((url != nullptr) == expected.has_value());
    if (url) {
        const char *const parts[] = {url->scheme, url->user, url->password, url->host,
                                     url->port,   url->path, url->query};
        for (size_t i = 0; i < expected->size(); ++i)
            assert((*expected)[i] == (parts[i] ? component(parts[i]) : std::nullopt));
    }
    url_free(url);
    return 0;
}

// A request taken apart and checked, and its answer.
#include "web.hpp"
#include "store.hpp"
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <vela/cpp/base64.hpp>
#include <vela/uuid.h>

namespace web {

namespace {

std::string of_environment(const char *name) {
    const char *value = std::getenv(name);
    return value ? value : "";
}

// A request of another site's page carries that site's origin, or none and no token.
void check_origin(const cgi_request *request) {
    const std::string host = of_environment("HTTP_HOST");
    const char *origin = cgi_header(request, "Origin"), *site = cgi_header(request, "Sec-Fetch-Site");
    const bool foreign_origin = origin && origin != "http://" + host && origin != "https://" + host;
    const bool foreign_site = site && std::strcmp(site, "same-origin") != 0 && std::strcmp(site, "none") != 0;
    if (foreign_origin || foreign_site)
        throw refusal{403, "changes are taken from this camera's own page alone"};
    const char *given = cgi_header(request, "X-Camera-Token");
    if (!given || token() != given)
        throw refusal{403, "the token is missing or old: load the page again"};
}

void check_body(const cgi_request *request) {
    const std::string type = of_environment("CONTENT_TYPE"), announced = of_environment("CONTENT_LENGTH");
    if (type.rfind("application/x-www-form-urlencoded", 0) != 0)
        throw refusal{415, "a change is a form: application/x-www-form-urlencoded"};
    uint64_t length = 0;
    const auto [end, error] = std::from_chars(announced.data(), announced.data() + announced.size(), length);
    if (error != std::errc() || end != announced.data() + announced.size())
        throw refusal{411, "the length of the form is missing"};
    if (length > 131072)
        throw refusal{413, "a form has at most 131072 bytes"};
    if (static_cast<uint64_t>(request->body_len) != length)
        throw refusal{400, "the form was cut"};
}

void serve(cgi_request *request, exchange &one, void (*handle)(exchange &)) {
    const std::string method = request->method;
    if (method != "GET" && method != "HEAD" && method != "POST")
        throw refusal{405, "GET, HEAD and POST are understood"};
    if (one.is_post()) {
        check_body(request);
        check_origin(request);
    }
    handle(one);
}

} // namespace

exchange::exchange(cgi_request *request)
    : request_(request), post_(std::strcmp(request->method, "POST") == 0),
      head_(std::strcmp(request->method, "HEAD") == 0), path_(of_environment("PATH_INFO")) {}

std::optional<std::string> exchange::find(const char *name) const {
    const char *value = post_ ? cgi_form_param(request_, name) : cgi_query_param(request_, name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

std::string exchange::text(const char *name, size_t longest) const {
    const auto value = find(name);
    if (!value || value->empty())
        throw refusal{400, std::string(name) + " is missing"};
    if (value->size() > longest)
        throw refusal{400, std::string(name) + " has more than " + std::to_string(longest) + " bytes"};
    if (!is_printable(*value))
        throw refusal{400, std::string(name) + " is not printable text"};
    return *value;
}

double exchange::number(const char *name, double low, double high) const {
    const std::string value = text(name, 32);
    double result = 0;
    const char *const first = value.data() + (value[0] == '+'), *const last = value.data() + value.size();
    const auto [end, error] = std::from_chars(first, last, result, std::chars_format::fixed);
    if (error != std::errc() || end != last || !std::isfinite(result) || result < low || result > high)
        throw refusal{400,
                      std::string(name) + " must be a number from " + json::number(low) + " to " + json::number(high)};
    return result;
}

double exchange::number(const char *name, double low, double high, double otherwise) const {
    return find(name) ? number(name, low, high) : otherwise;
}

int32_t exchange::whole(const char *name, int32_t low, int32_t high) const {
    const double value = number(name, low, high);
    if (value != std::floor(value))
        throw refusal{400, std::string(name) + " must be a whole number"};
    return static_cast<int32_t>(value);
}

int32_t exchange::whole(const char *name, int32_t low, int32_t high, int32_t otherwise) const {
    return find(name) ? whole(name, low, high) : otherwise;
}

std::vector<std::array<double, 2>> exchange::pairs(const char *name, std::pair<size_t, size_t> count, range first,
                                                   range second) const {
    const refusal refused = {400, std::string(name) + " is a list a,b;a,b;... of " + std::to_string(count.first) +
                                      " to " + std::to_string(count.second) + " pairs, a from " +
                                      json::number(first.low) + " to " + json::number(first.high) + " and b from " +
                                      json::number(second.low) + " to " + json::number(second.high)};
    const std::string list = text(name, 4096);
    const char *at = list.data(), *const last = at + list.size();
    const auto read = [&](const range &allowed, char behind) {
        double value = 0;
        const auto [end, error] = std::from_chars(at, last, value, std::chars_format::fixed);
        if (error != std::errc() || !(allowed.low <= value && value <= allowed.high) || (end != last && *end != behind))
            throw refused;
        at = end;
        return value;
    };
    std::vector<std::array<double, 2>> result;
    for (;;) {
        const double a = read(first, ',');
        if (at++ == last)
            throw refused;
        result.push_back({a, read(second, ';')});
        if (at == last)
            break;
        ++at;
    }
    if (result.size() < count.first || result.size() > count.second)
        throw refused;
    return result;
}

void exchange::refuse_path() const {
    if (!path_.empty())
        throw refusal{404, "there is no such call"};
}

void exchange::refuse_post() const {
    if (post_)
        throw refusal{405, "nothing is changed here"};
}

bool exchange::flag(const char *name, bool otherwise) const { return whole(name, 0, 1, otherwise) != 0; }

std::string exchange::one_of(const char *name, std::initializer_list<std::string_view> words) const {
    const std::string value = text(name, 64);
    if (std::find(words.begin(), words.end(), value) != words.end())
        return value;
    std::string known;
    for (const auto word : words)
        known += (known.empty() ? "" : ", ") + std::string(word);
    throw refusal{400, std::string(name) + " is one of " + known};
}

std::string exchange::one_of(const char *name, std::initializer_list<std::string_view> words,
                             std::string_view otherwise) const {
    return find(name) ? one_of(name, words) : std::string(otherwise);
}

void exchange::begin(std::string_view type, std::optional<size_t> length, std::string_view more) const {
    std::fprintf(output(), "Content-Type: %.*s\r\nCache-Control: no-store\r\n%.*s", static_cast<int>(type.size()),
                 type.data(), static_cast<int>(more.size()), more.data());
    if (length)
        std::fprintf(output(), "Content-Length: %zu\r\n", *length);
    std::fputs("\r\n", output());
    begun_ = true;
}

void exchange::answer(std::string_view type, std::string_view body, std::string_view more) const {
    begin(type, body.size(), more);
    if (wants_body())
        write(body);
}

int run(void (*handle)(exchange &)) {
    cgi_request *request = nullptr;
    if (cgi_setup(&request) != 0) {
        std::fputs("this is a program of the camera's web server; there is no request in its environment\n", stderr);
        return EXIT_FAILURE;
    }
    exchange one(request);
    try {
        serve(request, one, handle);
    } catch (const refusal &refused) {
        if (!one.has_begun())
            cgi_error(request, refused.status, "%s\n", refused.reason.c_str());
    } catch (const store::trouble &failed) {
        std::fprintf(stderr, "%s\n", failed.what.c_str());
        if (!one.has_begun())
            cgi_error(request, 500, "something that the camera keeps can't be read or written\n");
    }
    const bool written = std::fflush(cgi_output(request)) == 0;
    cgi_cleanup(request);
    return written ? EXIT_SUCCESS : EXIT_FAILURE;
}

std::string token() {
    const store::lock held;
    if (const auto known = store::read("token"))
        return *known;
    uint8_t bytes[24];
    randbytes(bytes, sizeof bytes);
    const std::string made = vela::base64::encode(bytes);
    store::write("token", made);
    return made;
}

bool is_printable(std::string_view text) {
    for (size_t i = 0; i < text.size();) {
        const auto first = static_cast<unsigned char>(text[i]);
        const size_t more = first < 0x80   ? 0
                            : first < 0xC2 ? 9
                            : first < 0xE0 ? 1
                            : first < 0xF0 ? 2
                            : first < 0xF5 ? 3
                                           : 9;
        if (first < 0x20 || first == 0x7F || more == 9 || i + more >= text.size())
            return false;
        uint32_t code = more ? first & (0x3Fu >> more) : first;
        for (size_t k = 1; k <= more; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80)
                return false;
            code = code << 6 | (next & 0x3F);
        }
        if ((more == 2 && (code < 0x800 || (code >= 0xD800 && code < 0xE000))) ||
            (more == 3 && (code < 0x10000 || code > 0x10FFFF)) || (code >= 0x80 && code < 0xA0))
            return false;
        i += more + 1;
    }
    return true;
}

namespace json {

std::string number(double value, int decimals) {
    if (!std::isfinite(value))
        return "null";
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    std::string result = text;
    if (result.find('.') != std::string::npos) {
        result.erase(result.find_last_not_of('0') + 1);
        if (result.back() == '.')
            result.pop_back();
    }
    return result == "-0" ? "0" : result;
}

} // namespace json
} // namespace web

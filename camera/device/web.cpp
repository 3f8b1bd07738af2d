// Parameters of requests, checked, and answers.
#include "web.hpp"
#include "store.hpp"
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vela/cpp/base64.hpp>
#include <vela/cpp/uuid.hpp>

namespace web {

namespace {

constexpr size_t kMaxForm = 131072;

// What a program may take: it ends when it takes more. The times of a stream start again with each part.
constexpr rlim_t kMaxMemory = 256 << 20, kMaxMemoryOfOthers = 1 << 30; // of programs that it runs
constexpr rlim_t kMaxProcessorSeconds = 20;
constexpr unsigned kMaxSeconds = 60, kMaxWriteSeconds = 15, kMaxSendSeconds = 600;
constexpr int kMaxStreams = 16; // of one address

void renew_limits() {
    rusage used = {};
    getrusage(RUSAGE_SELF, &used);
    rlimit processor = {};
    getrlimit(RLIMIT_CPU, &processor);
    processor.rlim_cur = static_cast<rlim_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) + kMaxProcessorSeconds;
    setrlimit(RLIMIT_CPU, &processor);
    alarm(kMaxSeconds);
}

// One of the streams that this client's address may have: a socket, whose name is free again when the process ends.
// Calls use(socket, name, its size).
template <class Use>
auto with_stream(int number, Use &&use) {
    struct stat state = {};
    stat(store::directory().c_str(), &state);
    const char *const address = std::getenv("REMOTE_ADDR");
    sockaddr_un name = {AF_UNIX, {}};
    // Not a path, since it begins with NUL.
    const int length = std::snprintf(name.sun_path + 1, sizeof name.sun_path - 1, "vela-camera.%llx.%s.%d",
                                     static_cast<unsigned long long>(state.st_ino), address ? address : "", number);
    return use(reinterpret_cast<const sockaddr *>(&name),
               static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + static_cast<size_t>(length)));
}

int stream_socket() { return socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }

// A page of another site sends that site's origin, or none and no token.
void check_origin(const vela::cgi::request &request) {
    const std::string host(request.header("Host").value_or(""));
    const auto origin = request.header("Origin"), site = request.header("Sec-Fetch-Site");
    const bool foreign_origin = origin && origin != "http://" + host && origin != "https://" + host;
    const bool foreign_site = site && site != "same-origin" && site != "none";
    if (foreign_origin || foreign_site)
        throw refusal{403, "the request comes from another site"};
    if (request.header("X-Camera-Token") != token())
        throw refusal{403, "the token is missing or invalid: reload the page"};
}

void check_body(const vela::cgi::request &request) {
    if (!request.header("Content-Type").value_or("").starts_with("application/x-www-form-urlencoded"))
        throw refusal{415, "the body must be a form: application/x-www-form-urlencoded"};
    if (request.header("Content-Length").value_or("").empty())
        throw refusal{411, "the length of the form is missing"};
    if (request.is_truncated() && request.body().size() < kMaxForm)
        throw refusal{400, "the form is incomplete"};
    if (request.is_truncated())
        throw refusal{413, "a form has at most 131072 bytes"};
}

void serve(exchange &http, std::initializer_list<call> calls) {
    const vela::cgi::request &request = http.request();
    const bool changes = request.is("POST");
    if (!changes && !request.is("GET") && !request.is("HEAD"))
        throw refusal{405, "only GET, HEAD and POST are supported"};
    const call *found = nullptr;
    bool is_known = false;
    for (const call &each : calls) {
        if (each.path != request.path())
            continue;
        is_known = true;
        if ((each.method == "POST") == changes)
            found = &each;
    }
    if (!is_known)
        throw refusal{404, "no such call"};
    if (!found)
        throw refusal{405, "this call accepts no POST"};
    if (changes) {
        check_body(request);
        check_origin(request);
    }
    found->answer(http);
}

} // namespace

std::string exchange::text(const char *name, size_t longest) const {
    const auto value = find(name);
    if (!value || value->empty())
        throw refusal{400, std::string(name) + " is missing", name};
    if (value->size() > longest)
        throw refusal{400, std::string(name) + " has more than " + std::to_string(longest) + " bytes", name};
    if (!is_printable(*value))
        throw refusal{400, std::string(name) + " is not printable text", name};
    return std::string(*value);
}

double exchange::number(const char *name, double low, double high) const {
    const std::string value = text(name, 32);
    double result = 0;
    const char *const first = value.data() + (value[0] == '+'), *const last = value.data() + value.size();
    const auto [end, error] = std::from_chars(first, last, result, std::chars_format::fixed);
    if (error != std::errc() || end != last || !std::isfinite(result) || result < low || result > high)
        throw refusal{
            400, std::string(name) + " must be a number from " + json::number(low) + " to " + json::number(high), name};
    return result;
}

double exchange::number(const char *name, double low, double high, double otherwise) const {
    return find(name) ? number(name, low, high) : otherwise;
}

int32_t exchange::whole(const char *name, int32_t low, int32_t high) const {
    const double value = number(name, low, high);
    if (value != std::floor(value))
        throw refusal{400, std::string(name) + " must be a whole number", name};
    return static_cast<int32_t>(value);
}

int32_t exchange::whole(const char *name, int32_t low, int32_t high, int32_t otherwise) const {
    return find(name) ? whole(name, low, high) : otherwise;
}

std::vector<std::array<double, 2>> exchange::pairs(const char *name, std::pair<size_t, size_t> count, range first,
                                                   range second) const {
    const refusal refused = {400,
                             std::string(name) + " is a list a,b;a,b;... of " + std::to_string(count.first) + " to " +
                                 std::to_string(count.second) + " pairs, a from " + json::number(first.low) + " to " +
                                 json::number(first.high) + " and b from " + json::number(second.low) + " to " +
                                 json::number(second.high),
                             name};
    const std::string list = text(name, 4096);
    const char *at = list.data(), *const last = at + list.size();
    const auto read = [&](const range &allowed, char separator) {
        double value = 0;
        const auto [end, error] = std::from_chars(at, last, value, std::chars_format::fixed);
        if (error != std::errc() || !(allowed.low <= value && value <= allowed.high) ||
            (end != last && *end != separator))
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

bool exchange::flag(const char *name, bool otherwise) const { return whole(name, 0, 1, otherwise) != 0; }

std::string exchange::one_of(const char *name, std::initializer_list<std::string_view> words) const {
    const std::string value = text(name, 64);
    if (std::find(words.begin(), words.end(), value) != words.end())
        return value;
    std::string known;
    for (const auto word : words)
        known += (known.empty() ? "" : ", ") + std::string(word);
    throw refusal{400, std::string(name) + " is one of " + known, name};
}

std::string exchange::one_of(const char *name, std::initializer_list<std::string_view> words,
                             std::string_view otherwise) const {
    return find(name) ? one_of(name, words) : std::string(otherwise);
}

bool exchange::answer(std::string_view type, std::string_view body) {
    alarm(kMaxSendSeconds);
    return fresh().send(body, type);
}

bool exchange::begin(std::string_view type) {
    acknowledgments_ = stream_socket();
    int number = 0;
    while (with_stream(number, [this](auto... name) { return bind(acknowledgments_, name...); }) != 0)
        if (++number == kMaxStreams)
            throw refusal{503, "this address has 16 streams already"};
    response_.header("X-Camera-Stream", std::to_string(number));
    return fresh().begin(type);
}

bool exchange::acknowledge(int32_t stream, const acknowledgment &seen) const {
    const int sender = stream_socket();
    const auto send = [&](auto... name) { return sendto(sender, &seen, sizeof seen, 0, name...); };
    const bool is_sent = with_stream(stream, send) == sizeof seen;
    close(sender);
    return is_sent;
}

bool exchange::write(std::initializer_list<std::string_view> pieces) {
    alarm(kMaxWriteSeconds);
    for (const std::string_view each : pieces)
        std::fwrite(each.data(), 1, each.size(), response_.output());
    const bool is_good = std::fflush(response_.output()) == 0;
    renew_limits();
    return is_good;
}

int run(std::initializer_list<call> calls) {
    const rlimit memory = {kMaxMemory, kMaxMemoryOfOthers};
    setrlimit(RLIMIT_AS, &memory);
    umask(077);
    renew_limits();
    auto request = vela::cgi::request::read(kMaxForm);
    if (!request) {
        std::fputs("a CGI program: there is no request in the environment\n", stderr);
        return EXIT_FAILURE;
    }
    exchange http(std::move(*request));
    std::optional<refusal> refused;
    try {
        serve(http, calls);
    } catch (const refusal &reason) {
        refused = reason;
    } catch (const store::failure &failed) {
        std::fprintf(stderr, "%s\n", failed.what.c_str());
        refused = {500, "a file of the camera cannot be read or written"};
    }
    if (refused && !http.response().is_sent()) {
        http.response().reset();
        http.response().status(refused->status);
        if (!refused->field.empty())
            http.response().header("X-Camera-Field", refused->field);
        http.answer("text/plain; charset=utf-8", http_strerr(refused->status) + ("\n" + refused->reason) + "\n");
    }
    return std::ferror(http.response().output()) ? EXIT_FAILURE : EXIT_SUCCESS;
}

std::string token() {
    if (const auto known = store::read("token"))
        return *known;
    const store::lock held;
    if (const auto known = store::read("token"))
        return *known;
    uint8_t bytes[24];
    if (!vela::random_bytes(bytes))
        throw refusal{500, "the system has no random bytes"};
    const std::string made = vela::base64::encode(bytes);
    store::write("token", made);
    return made;
}

std::string random_id() {
    const auto made = vela::uuid::random();
    if (!made)
        throw refusal{500, "the system has no random bytes"};
    return made->to_string();
}

// UTF-8 without control characters: C0, DEL, and C1, whose first byte is 0xC2.
bool is_printable(std::string_view text) {
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        if (byte < 0x20 || byte == 0x7F || (byte == 0xC2 && next < 0xA0))
            return false;
    }
    return vela::cgi::is_utf8(text);
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

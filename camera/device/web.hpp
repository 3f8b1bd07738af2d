// HTTP for the camera's programs: requests with checked parameters, and answers in JSON.
//
// A program answers one request by one of its calls: web::run(calls). GET and HEAD read; POST changes, and must come
// from the page itself: of the same origin, with the camera's token. A call that throws a refusal answers with its
// status and reason, and changes nothing.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <vela/cpp/cgi.hpp>

namespace web {

struct refusal {
    int32_t status;
    std::string reason;
    std::string field = {}; // the parameter that is wrong
};

struct range {
    double low, high;
};

// A picture of a stream has arrived, this long before the client says so.
struct acknowledgment {
    uint32_t picture;
    double seconds;
};

class exchange {
public:
    explicit exchange(vela::cgi::request request) : request_(std::move(request)), response_(request_) {}

    const vela::cgi::request &request() const { return request_; }
    vela::cgi::response &response() { return response_; }

    // A parameter of the query (GET) or of the form (POST).
    std::optional<std::string_view> find(const char *name) const {
        return request_.is("POST") ? request_.form(name) : request_.query(name);
    }
    // The same, refused (400) when it is missing, longer than the limit, or not printable UTF-8.
    std::string text(const char *name, size_t longest) const;
    double number(const char *name, double low, double high) const;
    double number(const char *name, double low, double high, double otherwise) const;
    int32_t whole(const char *name, int32_t low, int32_t high) const;
    int32_t whole(const char *name, int32_t low, int32_t high, int32_t otherwise) const;
    bool flag(const char *name, bool otherwise) const;
    // A list "a,b;a,b;..." with a count in a range, and each number in its range.
    std::vector<std::array<double, 2>> pairs(const char *name, std::pair<size_t, size_t> count, range first,
                                             range second) const;
    // One of these words.
    std::string one_of(const char *name, std::initializer_list<std::string_view> words) const;
    std::string one_of(const char *name, std::initializer_list<std::string_view> words,
                       std::string_view otherwise) const;

    // Complete answers, and the header of a stream; false when the client has gone.
    bool answer(std::string_view type, std::string_view body);
    bool json(std::string_view body) { return answer("application/json", body); }
    bool begin(std::string_view type);
    // The socket of a stream, at which its acknowledgments arrive.
    int acknowledgments() const { return acknowledgments_; }
    // Passes one to a stream of the same client; false when there is none.
    bool acknowledge(int32_t stream, const acknowledgment &seen) const;
    // Sends parts of the stream.
    bool write(std::initializer_list<std::string_view> pieces);

private:
    vela::cgi::response &fresh() { return response_.header("Cache-Control", "no-store"); }

    vela::cgi::request request_;
    vela::cgi::response response_;
    int acknowledgments_ = -1;
};

// A path after the program's name, such as "/live", or "", and its function.
struct call {
    std::string_view method; // GET, and HEAD with it, or POST
    std::string_view path;
    void (*answer)(exchange &);
};

// Answers the one request of this process; the result is main()'s.
int run(std::initializer_list<call> calls);

// The camera's token, which the page sends with each change. Generated on first use.
std::string token();

// A random UUID, for what the camera keeps by an identifier.
std::string random_id();

// Whether a text is UTF-8 without control characters.
bool is_printable(std::string_view text);

// JSON, built as text.
namespace json {

inline std::string quoted(std::string_view text) { return vela::cgi::json_string(text); }
std::string number(double value, int decimals = 3);
inline std::string boolean(bool value) { return value ? "true" : "false"; }

class object {
public:
    object &raw(std::string_view name, std::string_view value) {
        text_ += (text_.empty() ? "" : ",") + quoted(name) + ":" + std::string(value);
        return *this;
    }
    object &add(std::string_view name, std::string_view value) { return raw(name, quoted(value)); }
    object &add(std::string_view name, const char *value) { return raw(name, quoted(value)); }
    object &add(std::string_view name, double value, int decimals = 3) { return raw(name, number(value, decimals)); }
    object &add(std::string_view name, bool value) { return raw(name, boolean(value)); }
    std::string text() const { return "{" + text_ + "}"; }

private:
    std::string text_;
};

class array {
public:
    array &raw(std::string_view value) {
        text_ += (text_.empty() ? "" : ",") + std::string(value);
        return *this;
    }
    std::string text() const { return "[" + text_ + "]"; }

private:
    std::string text_;
};

} // namespace json
} // namespace web

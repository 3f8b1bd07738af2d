// What the camera's programs share of the web: a request whose every parameter is checked, and answers in JSON.
//
// A program answers one request: web::run(handler). GET and HEAD read; POST changes, and is taken only from the page
// itself: of the same origin and with the camera's token. A handler that throws a refusal answers with its status and
// reason, and nothing is changed.
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
};

struct range {
    double low, high;
};

class exchange {
public:
    explicit exchange(cgi_request *request);

    bool is_post() const { return post_; }
    // What follows the program's name in the address: "" or "/live".
    const std::string &path() const { return path_; }
    // Refuses (404) what has a path although the call has none, or another method where only one is meant (405).
    void refuse_path() const;
    void refuse_post() const;
    // A parameter of the query (GET) or of the form (POST).
    std::optional<std::string> find(const char *name) const;
    // The same, refused (400) when it is missing, longer than the limit, or not printable UTF-8.
    std::string text(const char *name, size_t longest) const;
    double number(const char *name, double low, double high) const;
    double number(const char *name, double low, double high, double otherwise) const;
    int32_t whole(const char *name, int32_t low, int32_t high) const;
    int32_t whole(const char *name, int32_t low, int32_t high, int32_t otherwise) const;
    bool flag(const char *name, bool otherwise) const;
    // A list "a,b;a,b;...", of so many pairs, each number in its range.
    std::vector<std::array<double, 2>> pairs(const char *name, std::pair<size_t, size_t> count, range first,
                                             range second) const;
    // Which of the words it is.
    std::string one_of(const char *name, std::initializer_list<std::string_view> words) const;
    std::string one_of(const char *name, std::initializer_list<std::string_view> words,
                       std::string_view otherwise) const;

    // The head of an answer of any type; the body follows on output(). More lines each end with "\r\n".
    void begin(std::string_view type, std::optional<size_t> length = std::nullopt, std::string_view more = {}) const;
    void answer(std::string_view type, std::string_view body, std::string_view more = {}) const;
    void json(std::string_view body) const { answer("application/json", body); }
    FILE *output() const { return cgi_output(request_); }
    // Sends on what was written; false when the client has gone.
    bool flush() const { return std::fflush(output()) == 0; }
    void write(std::string_view bytes) const { std::fwrite(bytes.data(), 1, bytes.size(), output()); }
    bool has_begun() const { return begun_; }
    bool wants_body() const { return !head_; }

private:
    cgi_request *request_;
    bool post_, head_;
    mutable bool begun_ = false; // the head of an answer is written
    std::string path_;
};

// Answers the one request of this process; the result is main()'s.
int run(void (*handle)(exchange &));

// The camera's token, which the page sends with every change. Made on first use.
std::string token();

// Whether a text is UTF-8 without control characters.
bool is_printable(std::string_view text);

// JSON, built from the inside out.
namespace json {

inline std::string quoted(std::string_view text) { return vela::cgi::json_text(text); }
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

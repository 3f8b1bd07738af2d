/**
 * @file
 * CGI programs: a request with its forms and uploads, and one response without header injection: vela/cgi.h for C++.
 *
 *     const auto request = vela::cgi::request::read();
 *     if (!request)
 *         return EXIT_FAILURE; // not started by a web server
 *     vela::cgi::response response(*request);
 *     if (const auto pan = request->query("pan"))
 *         return response.send_json("{\"pan\":" + vela::cgi::json_string(*pan) + "}") ? EXIT_SUCCESS : EXIT_FAILURE;
 *     return response.status(400).send("no pan\n") ? EXIT_SUCCESS : EXIT_FAILURE;
 *
 * Names are case-sensitive, unlike those of the C functions; values may contain NUL.
 *
 * What returns or builds a std::string, a std::vector or a vela::query throws std::bad_alloc; nothing else throws. A
 * process reads its request once, from its environment and its standard input, which no other thread may change
 * meanwhile; afterwards any number of threads may read the request. A response is used by one thread.
 */
#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <vela/cgi.h>
#include <vela/cpp/multipart.hpp>
#include <vela/cpp/owner.hpp>
#include <vela/cpp/result.hpp>
#include <vela/cpp/url.hpp>

/** Requests and responses of CGI programs (RFC 3875). */
namespace vela::cgi {

namespace internal {

inline std::optional<std::string_view> variable(const char *name) noexcept {
    const char *value = std::getenv(name);
    return value ? std::optional<std::string_view>(value) : std::nullopt;
}

// The bytes of the first UTF-8 character (RFC 3629) of a text that isn't empty; 0 when it is invalid.
constexpr std::size_t utf8_length(std::string_view text) noexcept {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF5 ? 4
                                              : 0;
    if (length < 2 || text.size() < length)
        return length == 1;
    // No overlong encoding, no surrogates, nothing above U+10FFFF.
    const unsigned low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    if (byte(1) < low || byte(1) > high)
        return 0;
    for (std::size_t i = 2; i < length; ++i)
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
    return length;
}

} // namespace internal

/**
 * Checks whether a text is UTF-8 (RFC 3629): no overlong encodings, no surrogates.
 *
 * @param text  any bytes
 * @return whether it is, as an empty text is
 */
[[nodiscard]] constexpr bool is_utf8(std::string_view text) noexcept {
    for (std::size_t length; !text.empty(); text.remove_prefix(length))
        if ((length = internal::utf8_length(text)) == 0)
            return false;
    return true;
}

/**
 * A text as a string of JSON (RFC 8259), in its quotation marks. "<", ">" and "&" are escaped as well, so that it may
 * be embedded in a script of a page; a byte that is not part of valid UTF-8 becomes U+FFFD.
 *
 * @param text  UTF-8
 * @return the JSON string
 */
[[nodiscard]] inline std::string json_string(std::string_view text) {
    std::string json = "\"";
    while (!text.empty()) {
        const std::size_t length = internal::utf8_length(text);
        const auto code = static_cast<unsigned char>(text[0]);
        if (length == 0)
            json += "\\ufffd";
        else if (code == '"' || code == '\\')
            (json += '\\') += text[0];
        else if (code < 0x20 || code == 0x7F || code == '<' || code == '>' || code == '&')
            (json += "\\u00").append({"01234567"[code >> 4], "0123456789abcdef"[code & 15]});
        else
            json += text.substr(0, length);
        text.remove_prefix(length ? length : 1);
    }
    return json += '"';
}

/**
 * The request that this process was started for.
 *
 *     const auto request = vela::cgi::request::read(8 << 20);
 *     const auto parts = request ? request->uploads() : std::nullopt;
 *     if (!parts)
 *         return fail(request && request->is_truncated() ? 413 : 400);
 */
class request {
public:
    /**
     * Reads the request, with its body whatever the method is.
     *
     * @param max_body  the number of bytes of the body that are kept. Those after 131072 are read only when their
     * number was announced, as web servers do. Memory is allocated as they arrive
     * @return the request; empty outside of a web server, and without memory for the C record. Without memory for that
     *         record's body it is_truncated(); without memory for anything else this throws std::bad_alloc, and nothing
     *         leaks
     */
    [[nodiscard]] static result<request> read(std::size_t max_body = 131072) {
        cgi_request *record = nullptr;
        if (cgi_setup(&record) != 0)
            return std::nullopt;
        request made(record);
        made.read_body(max_body);
        made.parse_names();
        return made;
    }

    /** @return "GET", "POST", ... */
    [[nodiscard]] std::string_view method() const noexcept { return record_->method; }
    /** @return whether that is the method */
    [[nodiscard]] bool is(std::string_view name) const noexcept { return method() == name; }
    /** @return the URI that the client requested, path and query, if the server passes it on */
    [[nodiscard]] std::optional<std::string_view> uri() const noexcept {
        return record_->uri ? std::optional<std::string_view>(record_->uri) : std::nullopt;
    }
    /** @return the part of the path after the program's name, decoded by the server: "" or "/live" */
    [[nodiscard]] std::string_view path() const noexcept { return internal::variable("PATH_INFO").value_or(""); }

    /**
     * A header.
     *
     * @param name  its name in any case, Content-Type and Content-Length included
     * @return its value, if any; it lives until the environment changes
     */
    [[nodiscard]] std::optional<std::string_view> header(std::string_view name) const {
        if (internal::equal_words(name, "Content-Type"))
            return internal::variable("CONTENT_TYPE");
        if (internal::equal_words(name, "Content-Length"))
            return internal::variable("CONTENT_LENGTH");
        const char *value = internal::is_token(name) ? cgi_header(record_.get(), std::string(name).c_str()) : nullptr;
        return value ? std::optional<std::string_view>(value) : std::nullopt;
    }

    /** @return all parameters of the query */
    [[nodiscard]] const vela::query &query() const noexcept { return query_; }
    /** @return the first value of that name in the query, if any */
    [[nodiscard]] std::optional<std::string_view> query(std::string_view name) const noexcept {
        return query_.get(name);
    }

    /**
     * @return all fields of a form of "application/x-www-form-urlencoded", or of a body without a type; none when the
     *         body was truncated, or has more than 131072 bytes
     */
    [[nodiscard]] const vela::query &form() const noexcept { return form_; }
    /** @return the first value of that name in the form, if any */
    [[nodiscard]] std::optional<std::string_view> form(std::string_view name) const noexcept { return form_.get(name); }

    /** @return all cookies, their values percent-decoded, as response::cookie() encodes them */
    [[nodiscard]] const vela::query &cookies() const noexcept { return cookies_; }
    /** @return the first cookie of that name, if any: the one of the longest path */
    [[nodiscard]] std::optional<std::string_view> cookie(std::string_view name) const noexcept {
        return cookies_.get(name);
    }

    /** @return the body; it lives as long as this object */
    [[nodiscard]] std::span<const std::uint8_t> body() const noexcept {
        const char *data = long_body_.empty() ? record_->body : long_body_.data();
        return {reinterpret_cast<const std::uint8_t *>(data), body_size_};
    }
    /** @return the same as text */
    [[nodiscard]] std::string_view text() const noexcept {
        return {reinterpret_cast<const char *>(body().data()), body_size_};
    }
    /**
     * @return whether the body may be incomplete: longer than what is kept, interrupted, or of an unknown length and
     *         possibly longer than 131072 bytes
     */
    [[nodiscard]] bool is_truncated() const noexcept { return truncated_; }

    /** @return the parts of a form with uploads, as parse_multipart() gives them; empty when the body was truncated */
    [[nodiscard]] std::optional<std::vector<part>> uploads() const {
        return truncated_ ? std::nullopt : parse_multipart(header("Content-Type").value_or(""), body());
    }

    /** @return the record, for C functions; it remains this object's, and holds no more than 131072 bytes of the body
     */
    [[nodiscard]] cgi_request *get() const noexcept { return record_.get(); }
    /** @return the record, now the caller's, who releases it by cgi_cleanup() */
    [[nodiscard]] cgi_request *release() noexcept { return record_.release(); }

private:
    static constexpr std::size_t kMaxRecordBody = 131072;

    explicit request(cgi_request *record) noexcept : record_(record) {}

    void read_body(std::size_t max_body) {
        const std::string_view length = internal::variable("CONTENT_LENGTH").value_or("");
        std::uint64_t announced = 0;
        const auto [end, error] = std::from_chars(length.data(), length.data() + length.size(), announced);
        const bool is_number = error == std::errc() && end == length.data() + length.size();
        const bool has_memory = record_->body || record_->body_len == 0;
        body_size_ = record_->body ? static_cast<std::size_t>(record_->body_len) : 0;
        if (is_number && has_memory)
            read_rest(static_cast<std::size_t>(std::min<std::uint64_t>(announced, max_body)));
        truncated_ = !has_memory || body_size_ > max_body ||
                     (is_number ? body_size_ < announced : !length.empty() || body_size_ == kMaxRecordBody);
        body_size_ = std::min(body_size_, max_body);
    }

    // Reads what the record does not hold from the standard input.
    void read_rest(std::size_t size) {
        constexpr std::size_t kChunk = 65536;
        const std::size_t in_record = body_size_;
        for (bool is_more = true; is_more && body_size_ < size;) {
            long_body_.resize(body_size_ + std::min(kChunk, size - body_size_));
            if (in_record != 0 && body_size_ == in_record)
                std::memcpy(long_body_.data(), record_->body, in_record);
            const std::size_t got =
                std::fread(long_body_.data() + body_size_, 1, long_body_.size() - body_size_, stdin);
            is_more = body_size_ + got == long_body_.size();
            body_size_ += got;
        }
    }

    void parse_names() {
        query_ = vela::query(record_->query ? record_->query : "");
        const std::string_view type = header("Content-Type").value_or("");
        if (!truncated_ && body_size_ <= kMaxRecordBody &&
            (type.empty() || internal::field(type).is("application/x-www-form-urlencoded")))
            form_ = vela::query(text());
        const auto add = [this](std::string_view name, std::optional<std::string_view> value) {
            if (value)
                cookies_.add(std::string(internal::trimmed(name)), url::decode(internal::trimmed(*value)));
        };
        vela::internal::for_each_pair(internal::variable("HTTP_COOKIE").value_or(""), ';', add);
    }

    vela::internal::owner<cgi_request, cgi_cleanup> record_;
    std::vector<char> long_body_; // the whole body, when the record holds only a part of it
    std::size_t body_size_ = 0;
    bool truncated_ = false;
    vela::query query_, form_, cookies_;
};

/** The requests from other sites that carry a cookie. */
enum class same_site : std::uint8_t {
    strict, /**< none */
    lax,    /**< links that are followed, alone */
    none    /**< all; only for a secure cookie */
};

/** Attributes of a cookie (RFC 6265). The defaults fit a session of a program's own pages. */
struct cookie_attributes {
    std::optional<std::int64_t> max_age = {}; /**< lifetime in seconds; without, until the browser ends; 0 deletes it */
    std::string path = "/";                   /**< of the pages that get it; empty for the program's own directory */
    std::string domain = {};                  /**< hosts that get it, with subdomains; empty for this host alone */
    bool secure = false;                      /**< over HTTPS alone */
    bool http_only = true;                    /**< hidden from scripts of the page */
    cgi::same_site same_site = cgi::same_site::lax; /**< with requests from other sites */
};

/**
 * The response, written once: its headers are collected and checked, and one of the functions that return a bool sends
 * it.
 *
 *     if (!response.status(404).header("Cache-Control", "no-store").send("no such picture\n"))
 *         return EXIT_FAILURE;
 *
 * No value can inject a header: an invalid one is refused, the whole response is then not sent, and reset() allows
 * another one.
 */
class response {
public:
    /** @param to  the request, whose output is written to; the response to HEAD has no body */
    explicit response(const request &to) noexcept : response(cgi_output(to.get()), !to.is("HEAD")) {}

    /**
     * @param output     the stream to write to; it remains the caller's
     * @param with_body  false for the response to HEAD: the headers alone, with the length that the body would have
     */
    explicit response(std::FILE *output, bool with_body = true) noexcept : output_(output), with_body_(with_body) {}

    /** @param code  200 to 599, or it is refused; 200 by default */
    response &status(std::int32_t code) noexcept {
        valid_ = valid_ && code >= 200 && code <= 599;
        status_ = code;
        return *this;
    }

    /**
     * Adds a header.
     *
     * @param name   a token of RFC 9110; not Status, Content-Type, Content-Length or Transfer-Encoding
     * @param value  without control characters but tabs
     */
    response &header(std::string_view name, std::string_view value) {
        for (const std::string_view own : {"Status", "Content-Type", "Content-Length", "Transfer-Encoding"})
            valid_ = valid_ && !internal::equal_words(name, own);
        valid_ = valid_ && internal::is_token(name);
        add_line(name, value);
        return *this;
    }

    /**
     * Sets a cookie.
     *
     * @param name        a token
     * @param value       anything: all but letters, digits and "-._~" is percent-encoded
     * @param attributes  a path and a domain without ";" and control characters
     */
    response &cookie(std::string_view name, std::string_view value, const cookie_attributes &attributes = {}) {
        std::string line = std::string(name) + "=";
        vela::internal::append_encoded(line, value, vela::internal::kUnreserved);
        for (const auto &[key, text] : {std::pair("; Path=", &attributes.path), {"; Domain=", &attributes.domain}}) {
            valid_ = valid_ && text->find(';') == text->npos;
            line += text->empty() ? "" : key + *text;
        }
        if (attributes.max_age)
            line += "; Max-Age=" + std::to_string(*attributes.max_age);
        line += attributes.secure ? "; Secure" : "";
        line += attributes.http_only ? "; HttpOnly" : "";
        constexpr const char *words[] = {"Strict", "Lax", "None"};
        line.append("; SameSite=").append(words[static_cast<std::size_t>(attributes.same_site)]);
        valid_ = valid_ && internal::is_token(name) && (attributes.secure || attributes.same_site != same_site::none);
        add_line("Set-Cookie", line);
        return *this;
    }

    /**
     * Sends a whole response.
     *
     * @param body  its body; empty for the statuses 204 and 304, which have none
     * @param type  its type
     * @return whether all of it was written; false, with nothing written, when anything was refused before or now, or a
     *         response was sent already
     */
    [[nodiscard]] bool send(std::string_view body, std::string_view type = "text/plain; charset=utf-8") {
        if (status_ == 204 || status_ == 304)
            return body.empty() && write_headers() && flush();
        add_line("Content-Type", type);
        add_line("Content-Length", std::to_string(body.size()));
        return write_headers() && (!with_body_ || std::fwrite(body.data(), 1, body.size(), output_) == body.size()) &&
               flush();
    }

    /** send() for bytes. */
    [[nodiscard]] bool send(std::span<const std::uint8_t> body, std::string_view type) {
        return send(std::string_view(reinterpret_cast<const char *>(body.data()), body.size()), type);
    }

    /** send() for JSON, whose strings come from json_string(). */
    [[nodiscard]] bool send_json(std::string_view json) { return send(json, "application/json"); }

    /**
     * Redirects the browser. When a location comes from the request, the caller checks that it does not lead to another
     * site, as "//host" does.
     *
     * @param location  an encoded URL, or a path and a query: url::builder makes such
     * @param code      303, the answer to a form, after which the browser uses GET; 301, 302, 307 or 308
     * @return as send(); a location with characters that no URL contains is refused
     */
    [[nodiscard]] bool redirect(std::string_view location, std::int32_t code = 303) {
        for (const char ch : location)
            valid_ =
                valid_ && ch > ' ' && ch < 0x7F && std::string_view("\"<>\\^`{|}").find(ch) == std::string_view::npos;
        valid_ =
            valid_ && !location.empty() && (code == 301 || code == 302 || code == 303 || code == 307 || code == 308);
        add_line("Location", location);
        return status(code).send("");
    }

    /**
     * Sends the headers of a response whose length is not known yet, such as a live stream; the body follows on
     * output(), if wants_body().
     *
     * @param type  its type
     * @return as send()
     */
    [[nodiscard]] bool begin(std::string_view type) {
        add_line("Content-Type", type);
        return write_headers() && flush();
    }

    /** @return whether a response was sent, or a part of one */
    [[nodiscard]] bool is_sent() const noexcept { return sent_; }
    /** @return whether a body is to be sent: not for HEAD */
    [[nodiscard]] bool wants_body() const noexcept { return with_body_; }
    /** @return the stream that is written to */
    [[nodiscard]] std::FILE *output() const noexcept { return output_; }

    /** Discards the status and headers of a response that was not sent. */
    void reset() noexcept {
        headers_.clear();
        status_ = 200;
        valid_ = true;
    }

private:
    void add_line(std::string_view name, std::string_view value) {
        valid_ = valid_ && internal::is_one_line(value);
        headers_.append(name).append(": ").append(value).append("\r\n");
    }

    bool write_headers() {
        if (sent_ || !valid_)
            return false;
        sent_ = true;
        const std::string_view reason = http_strerr(status_);
        const std::string all = "Status: " + std::to_string(status_) + " " +
                                std::string(reason == "UNKNOWN" ? "" : reason) + "\r\n" + headers_ + "\r\n";
        return std::fwrite(all.data(), 1, all.size(), output_) == all.size();
    }

    bool flush() noexcept { return std::fflush(output_) == 0; }

    std::FILE *output_;
    bool with_body_, valid_ = true, sent_ = false;
    std::int32_t status_ = 200;
    std::string headers_;
};

} // namespace vela::cgi

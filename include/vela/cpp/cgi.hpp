/**
 * @file
 * CGI programs: a request with its forms and uploads, and one response that can't be split: vela/cgi.h for C++.
 *
 *     const auto request = vela::cgi::request::read();
 *     if (!request)
 *         return EXIT_FAILURE; // not started by a web server
 *     vela::cgi::response response(*request);
 *     if (const auto pan = request->query("pan"))
 *         return response.send_json("{\"pan\":" + vela::cgi::json_text(*pan) + "}") ? EXIT_SUCCESS : EXIT_FAILURE;
 *     return response.status(400).send("no pan\n") ? EXIT_SUCCESS : EXIT_FAILURE;
 *
 * Names are found as they are written, where those of the C functions are found in any case; values may hold NUL.
 * A request is read once in a process, from its environment and its standard input, which no other thread may change
 * meanwhile; afterwards any number of threads may look things up in it. A response belongs to one thread.
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
#include <vela/cpp/owner.hpp>
#include <vela/cpp/url.hpp>

namespace vela::internal {

// Whether they are the same but for the case of ASCII letters.
constexpr bool cgi_same_word(std::string_view a, std::string_view b) {
    const auto lower = [](char ch) { return 'A' <= ch && ch <= 'Z' ? static_cast<char>(ch + ('a' - 'A')) : ch; };
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (lower(a[i]) != lower(b[i]))
            return false;
    return true;
}

// A token of RFC 9110, section 5.6.2.
constexpr bool cgi_is_token(std::string_view text) {
    for (const char ch : text)
        if (!url_is_letter_or_digit(ch) && std::string_view("!#$%&'*+-.^_`|~").find(ch) == std::string_view::npos)
            return false;
    return !text.empty();
}

// Whether no character ends a line or is another control character; tabs may be.
constexpr bool cgi_is_one_line(std::string_view text) {
    for (const char ch : text)
        if ((static_cast<unsigned char>(ch) < 0x20 && ch != '\t') || ch == 0x7F)
            return false;
    return true;
}

constexpr std::string_view cgi_trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t");
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

inline std::optional<std::string_view> cgi_variable(const char *name) {
    const char *value = std::getenv(name);
    return value ? std::optional<std::string_view>(value) : std::nullopt;
}

// What a field such as Content-Type says: a first word, and behind each ";" a parameter.
class cgi_field {
public:
    explicit cgi_field(std::string_view text) {
        size_t at = text.find(';');
        word = cgi_trimmed(text.substr(0, at));
        while (well_formed && at < text.size())
            at = read_parameter(text, at + 1);
    }

    bool is(std::string_view expected) const { return well_formed && cgi_same_word(word, expected); }

    // A name that comes twice gives nothing: readers would differ in which one counts.
    std::optional<std::string> get(std::string_view name) const {
        const std::string *found = nullptr;
        for (const auto &[other, value] : parameters)
            if (cgi_same_word(other, name)) {
                if (found)
                    return std::nullopt;
                found = &value;
            }
        return found ? std::optional<std::string>(*found) : std::nullopt;
    }

    bool contains(std::string_view name) const {
        for (const auto &[other, value] : parameters)
            if (cgi_same_word(other, name))
                return true;
        return false;
    }

private:
    // Returns the place of the next ";" or the end.
    size_t read_parameter(std::string_view text, size_t at) {
        at = std::min(text.find_first_not_of(" \t", at), text.size());
        if (at == text.size() || text[at] == ';')
            return at;
        const size_t equals = text.find('=', at);
        if (equals == text.npos || !cgi_is_token(text.substr(at, equals - at)))
            return fail(text);
        std::string value;
        const size_t end = text.substr(equals + 1).starts_with('"') ? read_quoted(text, equals + 2, value)
                                                                    : read_plain(text, equals + 1, value);
        parameters.add(std::string(text.substr(at, equals - at)), std::move(value));
        at = std::min(text.find_first_not_of(" \t", end), text.size());
        return at == text.size() || text[at] == ';' ? at : fail(text);
    }

    static size_t read_plain(std::string_view text, size_t at, std::string &value) {
        const size_t end = std::min(text.find_first_of("; \t\"", at), text.size());
        value = text.substr(at, end - at);
        return end;
    }

    // A backslash is one unless a quotation mark or another one follows: there are those who send whole paths.
    size_t read_quoted(std::string_view text, size_t at, std::string &value) {
        for (; at < text.size() && text[at] != '"'; ++at) {
            const char next = at + 1 < text.size() ? text[at + 1] : '\0';
            at += text[at] == '\\' && (next == '"' || next == '\\');
            value += text[at];
        }
        return at < text.size() ? at + 1 : fail(text);
    }

    size_t fail(std::string_view text) {
        well_formed = false;
        return text.size();
    }

    std::string_view word;
    query parameters;
    bool well_formed = true;
};

// The bytes of a character of UTF-8 (RFC 3629) at the front of a text; 0 where there is none.
constexpr size_t cgi_utf8_length(std::string_view text) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    const size_t length = first < 0x80   ? 1
                          : first < 0xC2 ? 0
                          : first < 0xE0 ? 2
                          : first < 0xF0 ? 3
                          : first < 0xF5 ? 4
                                         : 0;
    if (length < 2 || text.size() < length)
        return length == 1;
    // No longer code than needed, no surrogates, nothing above U+10FFFF.
    const unsigned low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    if (byte(1) < low || byte(1) > high)
        return 0;
    for (size_t i = 2; i < length; ++i)
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
    return length;
}

} // namespace vela::internal

/** Requests and responses of CGI programs (RFC 3875). */
namespace vela::cgi {

/**
 * A text as JSON (RFC 8259), in its quotation marks. "<", ">" and "&" are escaped as well, so that it may stand in a
 * script of a page; a byte that is no part of UTF-8 becomes U+FFFD.
 *
 * @param text  UTF-8
 * @return the JSON text
 */
[[nodiscard]] inline std::string json_text(std::string_view text) {
    std::string json = "\"";
    while (!text.empty()) {
        const size_t length = internal::cgi_utf8_length(text);
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

/** A part of a form with uploads. */
struct part {
    std::string name; /**< of the form's field */
    /** As the sender calls the file, perhaps with a path or "..": nothing to name a file by. Nothing for a plain field.
     */
    std::optional<std::string> filename;
    std::string type;               /**< what the sender takes its content for; "text/plain" where it doesn't say */
    std::span<const uint8_t> bytes; /**< the content, a range of the body */

    /** @return the content as text */
    [[nodiscard]] std::string_view text() const { return {reinterpret_cast<const char *>(bytes.data()), bytes.size()}; }
};

/** The most parts that parse_multipart() takes. */
inline constexpr size_t most_parts = 256;
/** The most bytes that it takes in front of a part's content. */
inline constexpr size_t most_part_header = 4096;

} // namespace vela::cgi

namespace vela::internal {

// A line between parts.
struct cgi_delimiter {
    size_t at, behind; // its first dash, and what follows its line break
    bool is_last;
};

// RFC 2046, section 5.1.1: dashes and boundary at a line's begin, two more dashes behind the last part, white space,
// and a line break or the body's end. A line that goes on is content.
inline std::optional<cgi_delimiter> cgi_find_delimiter(std::string_view body, std::string_view dashes, size_t from) {
    for (size_t at = from; (at = body.find(dashes, at)) != body.npos; ++at) {
        if (at != 0 && !body.substr(0, at).ends_with("\r\n"))
            continue;
        const size_t end = at + dashes.size();
        const bool is_last = body.substr(end).starts_with("--");
        const size_t rest = std::min(body.find_first_not_of(" \t", end + (is_last ? 2 : 0)), body.size());
        if (body.substr(rest).starts_with("\r\n"))
            return cgi_delimiter{at, rest + 2, is_last};
        if (is_last && rest == body.size())
            return cgi_delimiter{at, rest, is_last};
    }
    return std::nullopt;
}

inline bool cgi_is_boundary(std::string_view text) {
    for (const char ch : text)
        if (!url_is_letter_or_digit(ch) && std::string_view("'()+_,-./:=? ").find(ch) == std::string_view::npos)
            return false;
    return !text.empty() && text.size() <= 70 && !text.ends_with(' ');
}

// The lines in front of a part's content, without the last one's break.
inline std::optional<cgi::part> cgi_part_of(std::string_view lines) {
    cgi::part made;
    made.type = "text/plain";
    bool has_disposition = false, has_type = false;
    for (size_t at = 0; at <= lines.size();) {
        const std::string_view line = lines.substr(at, lines.find("\r\n", at) - at);
        at += line.size() + 2;
        const size_t colon = line.find(':');
        if (colon == line.npos || !cgi_is_token(line.substr(0, colon)) || !cgi_is_one_line(line))
            return std::nullopt;
        const std::string_view name = line.substr(0, colon), value = cgi_trimmed(line.substr(colon + 1));
        if (cgi_same_word(name, "Content-Disposition")) {
            const cgi_field field(value);
            const std::optional<std::string> field_name = field.get("name");
            made.filename = field.get("filename");
            if (has_disposition || !field.is("form-data") || !field_name ||
                field.contains("filename") != !!made.filename)
                return std::nullopt;
            made.name = *field_name;
            has_disposition = true;
        } else if (cgi_same_word(name, "Content-Type")) {
            if (std::exchange(has_type, true))
                return std::nullopt;
            made.type = value;
        } else if (cgi_same_word(name, "Content-Transfer-Encoding") && !cgi_same_word(value, "binary") &&
                   !cgi_same_word(value, "8bit") && !cgi_same_word(value, "7bit")) {
            return std::nullopt;
        }
    }
    return has_disposition ? std::optional(made) : std::nullopt;
}

} // namespace vela::internal

namespace vela::cgi {

/**
 * Takes a form with uploads apart: multipart/form-data of RFC 7578. What stands in front of the first part and behind
 * the last is skipped.
 *
 * Nothing is guessed. There are no parts at all where the type is another one or its boundary is none of RFC 2046;
 * where the last delimiter is missing, since something is then; where a part has no name, or two of it or of its type,
 * a folded header, a control character in one, or a coded content; where there are more than 256 parts, or 4096 bytes
 * of headers in one of them. The time taken is at most proportional to the length of the body times that of the
 * boundary.
 *
 * @param content_type  the field Content-Type, with its boundary
 * @param body          the body, which the parts refer to
 * @return the parts in their order; names may come again
 */
[[nodiscard]] inline std::optional<std::vector<part>> parse_multipart(std::string_view content_type,
                                                                      std::span<const uint8_t> body) {
    const internal::cgi_field field(content_type);
    const std::string boundary = field.get("boundary").value_or("");
    if (!field.is("multipart/form-data") || !internal::cgi_is_boundary(boundary))
        return std::nullopt;
    const std::string_view all(reinterpret_cast<const char *>(body.data()), body.size());
    const std::string dashes = "--" + boundary;
    std::vector<part> parts;
    auto here = internal::cgi_find_delimiter(all, dashes, 0);
    while (here && !here->is_last) {
        const auto next = internal::cgi_find_delimiter(all, dashes, here->behind);
        if (!next)
            return std::nullopt;
        const std::string_view lines = all.substr(here->behind, next->at - here->behind);
        const size_t head = lines.find("\r\n\r\n");
        if (head == lines.npos || head > most_part_header || parts.size() == most_parts)
            return std::nullopt;
        std::optional<part> made = internal::cgi_part_of(lines.substr(0, head));
        if (!made)
            return std::nullopt;
        // Without content the empty line's break may be the delimiter's own.
        if (lines.size() > head + 6)
            made->bytes = body.subspan(here->behind + head + 4, lines.size() - head - 6);
        parts.push_back(std::move(*made));
        here = next;
    }
    return here ? std::optional(std::move(parts)) : std::nullopt;
}

/**
 * The request that this process was started for.
 *
 *     const auto request = vela::cgi::request::read(8 << 20);
 *     const auto parts = request ? request->uploads() : std::nullopt;
 *     if (!parts)
 *         return fail(request && request->is_cut() ? 413 : 400);
 */
class request {
public:
    /**
     * Reads the request, with its body whatever the method is.
     *
     * @param most_body  how many bytes of the body are kept. Those above 131072 are read only where their number was
     *                   announced, as web servers do. Memory is taken as they arrive
     * @return the request; nothing outside of a web server, or without memory
     */
    [[nodiscard]] static std::optional<request> read(size_t most_body = 131072) {
        cgi_request *record = nullptr;
        if (cgi_setup(&record) != 0)
            return std::nullopt;
        request made(record);
        made.read_body(most_body);
        made.read_names();
        return made;
    }

    /** @return "GET", "POST", ... */
    [[nodiscard]] std::string_view method() const { return record->method; }
    /** @return whether that is the method */
    [[nodiscard]] bool is(std::string_view name) const { return method() == name; }
    /** @return what the client asked for, path and query, where the server says so */
    [[nodiscard]] std::optional<std::string_view> uri() const {
        return record->uri ? std::optional<std::string_view>(record->uri) : std::nullopt;
    }
    /** @return what follows the program's name in the path, decoded by the server: "" or "/live" */
    [[nodiscard]] std::string_view path() const { return internal::cgi_variable("PATH_INFO").value_or(""); }

    /**
     * A header field.
     *
     * @param name  its name in any case, Content-Type and Content-Length included
     * @return what it says, if it is there; lives as long as the environment is not changed
     */
    [[nodiscard]] std::optional<std::string_view> header(std::string_view name) const {
        if (internal::cgi_same_word(name, "Content-Type"))
            return internal::cgi_variable("CONTENT_TYPE");
        if (internal::cgi_same_word(name, "Content-Length"))
            return internal::cgi_variable("CONTENT_LENGTH");
        const char *value =
            internal::cgi_is_token(name) ? cgi_header(record.get(), std::string(name).c_str()) : nullptr;
        return value ? std::optional<std::string_view>(value) : std::nullopt;
    }

    /** @return all parameters of the query */
    [[nodiscard]] const vela::query &query() const { return of_query; }
    /** @return the first value of that name in the query, if there is one */
    [[nodiscard]] std::optional<std::string_view> query(std::string_view name) const { return of_query.get(name); }

    /**
     * @return all fields of a form of "application/x-www-form-urlencoded", or of a body without a type; none where the
     *         body was cut, or has more than 131072 bytes
     */
    [[nodiscard]] const vela::query &form() const { return of_form; }
    /** @return the first value of that name in the form, if there is one */
    [[nodiscard]] std::optional<std::string_view> form(std::string_view name) const { return of_form.get(name); }

    /** @return all cookies; of their values "%" and two digits become a byte, as response::cookie() writes them */
    [[nodiscard]] const vela::query &cookies() const { return of_cookies; }
    /** @return the first cookie of that name, if there is one: the one of the longest path */
    [[nodiscard]] std::optional<std::string_view> cookie(std::string_view name) const { return of_cookies.get(name); }

    /** @return the body; lives as long as this object */
    [[nodiscard]] std::span<const uint8_t> body() const {
        return {reinterpret_cast<const uint8_t *>(longer.empty() ? record->body : longer.data()), size};
    }
    /** @return the same as text */
    [[nodiscard]] std::string_view text() const { return {reinterpret_cast<const char *>(body().data()), size}; }
    /**
     * @return whether the body is not known to be whole: longer than what is kept, broken off, or of a length that was
     *         not announced and may go on behind 131072 bytes
     */
    [[nodiscard]] bool is_cut() const { return cut; }

    /** @return the parts of a form with uploads, as parse_multipart() finds them; nothing where the body was cut */
    [[nodiscard]] std::optional<std::vector<part>> uploads() const {
        return cut ? std::nullopt : parse_multipart(header("Content-Type").value_or(""), body());
    }

    /** @return the record, which stays this object's; what was read beyond 131072 bytes is not in it */
    [[nodiscard]] cgi_request *get() const { return record.get(); }
    /** @return the record, from now on the caller's, for cgi_cleanup() */
    [[nodiscard]] cgi_request *release() { return record.release(); }

private:
    static constexpr size_t most_of_record = 131072;

    explicit request(cgi_request *made) : record(made) {}

    void read_body(size_t most) {
        const std::string_view length = internal::cgi_variable("CONTENT_LENGTH").value_or("");
        uint64_t announced = 0;
        const auto [end, error] = std::from_chars(length.data(), length.data() + length.size(), announced);
        const bool is_number = error == std::errc() && end == length.data() + length.size();
        const bool has_memory = record->body || record->body_len == 0;
        size = record->body ? static_cast<size_t>(record->body_len) : 0;
        if (is_number && has_memory)
            read_more(static_cast<size_t>(std::min<uint64_t>(announced, most)));
        cut = !has_memory || size > most || (is_number ? size < announced : !length.empty() || size == most_of_record);
        size = std::min(size, most);
    }

    // What the record does not hold is still on the standard input.
    void read_more(size_t wanted) {
        constexpr size_t step = 65536;
        const size_t in_record = size;
        for (bool is_more = true; is_more && size < wanted;) {
            longer.resize(size + std::min(step, wanted - size));
            if (in_record != 0 && size == in_record)
                std::memcpy(longer.data(), record->body, in_record);
            const size_t got = std::fread(longer.data() + size, 1, longer.size() - size, stdin);
            is_more = size + got == longer.size();
            size += got;
        }
    }

    void read_names() {
        of_query = vela::query(record->query ? record->query : "");
        const std::string_view type = header("Content-Type").value_or("");
        if (!cut && size <= most_of_record &&
            (type.empty() || internal::cgi_field(type).is("application/x-www-form-urlencoded")))
            of_form = vela::query(text());
        const std::string_view all = internal::cgi_variable("HTTP_COOKIE").value_or("");
        for (size_t at = 0; at < all.size();) {
            const std::string_view one = all.substr(at, all.find(';', at) - at);
            at += one.size() + 1;
            if (const size_t equals = one.find('='); equals != one.npos)
                of_cookies.add(std::string(internal::cgi_trimmed(one.substr(0, equals))),
                               url::decode(internal::cgi_trimmed(one.substr(equals + 1))));
        }
    }

    internal::owner<cgi_request, cgi_cleanup> record;
    std::vector<char> longer; // the whole body, where the record holds a part of it
    size_t size = 0;
    bool cut = false;
    vela::query of_query, of_form, of_cookies;
};

/** To which requests of other sites a browser adds a cookie. */
enum class same_site : uint8_t {
    strict, /**< none */
    lax,    /**< links that are followed, alone */
    none    /**< all; only for a secure cookie */
};

/** What a browser is told of a cookie (RFC 6265). The usual values fit a session of a program's own pages. */
struct cookie_attributes {
    std::optional<int64_t> max_age = {}; /**< seconds that it is kept; without, until the browser ends; 0 deletes it */
    std::string path = "/";              /**< of the pages that get it; empty for the program's own folder */
    std::string domain = {};             /**< hosts that get it, names below included; empty for this host alone */
    bool secure = false;                 /**< over HTTPS alone */
    bool http_only = true;               /**< not for scripts of the page */
    cgi::same_site same_site = cgi::same_site::lax; /**< with requests of other sites */
};

/**
 * The response, written once: lines of its head are collected and checked, and one of the functions that return a bool
 * sends it.
 *
 *     if (!response.status(404).header("Cache-Control", "no-store").send("no such picture\n"))
 *         return EXIT_FAILURE;
 *
 * Nothing of a request can add a line to the head: what would is refused, all of the response then stays unsent, and
 * reset() allows another one.
 */
class response {
public:
    /** @param to  the request, whose output it goes to; the answer to HEAD has no body */
    explicit response(const request &to) : response(cgi_output(to.get()), !to.is("HEAD")) {}

    /**
     * @param output     where it goes; stays the caller's
     * @param with_body  false for the answer to HEAD: the head alone, with the length that the body would have
     */
    explicit response(FILE *output, bool with_body = true) : stream(output), has_body(with_body) {}

    /** @param status_code  200, where none is set; from 200 to 599, or it is refused */
    response &status(int32_t status_code) {
        good = good && status_code >= 200 && status_code <= 599;
        code = status_code;
        return *this;
    }

    /**
     * One more line of the head.
     *
     * @param name   a token of RFC 9110; not Status, Content-Type, Content-Length or Transfer-Encoding
     * @param value  without control characters but tabs
     */
    response &header(std::string_view name, std::string_view value) {
        for (const std::string_view own : {"Status", "Content-Type", "Content-Length", "Transfer-Encoding"})
            good = good && !internal::cgi_same_word(name, own);
        good = good && internal::cgi_is_token(name);
        add_line(name, value);
        return *this;
    }

    /**
     * Sets a cookie.
     *
     * @param name        a token
     * @param value       anything: what is no letter or digit or one of "-._~" is written as "%" and two digits
     * @param attributes  a path and a domain without ";" and control characters
     */
    response &cookie(std::string_view name, std::string_view value, const cookie_attributes &attributes = {}) {
        std::string line = std::string(name) + "=";
        internal::url_append_encoded(line, value, internal::kUrlUnreserved);
        for (const auto &[key, text] : {std::pair("; Path=", &attributes.path), {"; Domain=", &attributes.domain}}) {
            good = good && text->find(';') == text->npos;
            line += text->empty() ? "" : key + *text;
        }
        if (attributes.max_age)
            line += "; Max-Age=" + std::to_string(*attributes.max_age);
        line += attributes.secure ? "; Secure" : "";
        line += attributes.http_only ? "; HttpOnly" : "";
        constexpr const char *words[] = {"Strict", "Lax", "None"};
        line.append("; SameSite=").append(words[static_cast<size_t>(attributes.same_site)]);
        good = good && internal::cgi_is_token(name) && (attributes.secure || attributes.same_site != same_site::none);
        add_line("Set-Cookie", line);
        return *this;
    }

    /**
     * Sends a whole response.
     *
     * @param body  its body; empty for the statuses 204 and 304, which have none
     * @param type  its type
     * @return whether all of it was written; false, with nothing written, where anything was refused before or now, or
     *         a response was sent already
     */
    [[nodiscard]] bool send(std::string_view body, std::string_view type = "text/plain; charset=utf-8") {
        if (code == 204 || code == 304)
            return body.empty() && write_head() && finish();
        add_line("Content-Type", type);
        add_line("Content-Length", std::to_string(body.size()));
        return write_head() && (!has_body || std::fwrite(body.data(), 1, body.size(), stream) == body.size()) &&
               finish();
    }

    /** send() for bytes. */
    [[nodiscard]] bool send(std::span<const uint8_t> body, std::string_view type) {
        return send(std::string_view(reinterpret_cast<const char *>(body.data()), body.size()), type);
    }

    /** send() for JSON, whose texts come from json_text(). */
    [[nodiscard]] bool send_json(std::string_view json) { return send(json, "application/json"); }

    /**
     * Sends the browser elsewhere. Where a location comes from the request, it is the caller's to look whether it leads
     * to another site, as "//host" does.
     *
     * @param location       a URL, or a path and a query, in its code: url_builder makes such
     * @param redirect_code  303, the answer to a form, which is then fetched by GET; 301, 302, 307 or 308
     * @return as send(); a location with characters that no URL has is refused
     */
    [[nodiscard]] bool redirect(std::string_view location, int32_t redirect_code = 303) {
        for (const char ch : location)
            good = good && ch > ' ' && ch < 0x7F && std::string_view("\"<>\\^`{|}").find(ch) == std::string_view::npos;
        good = good && !location.empty() &&
               (redirect_code == 301 || redirect_code == 302 || redirect_code == 303 || redirect_code == 307 ||
                redirect_code == 308);
        add_line("Location", location);
        return status(redirect_code).send("");
    }

    /**
     * Sends the head of a response whose length is not known yet, such as a live stream; the body follows on output(),
     * if wants_body().
     *
     * @param type  its type
     * @return as send()
     */
    [[nodiscard]] bool begin(std::string_view type) {
        add_line("Content-Type", type);
        return write_head() && finish();
    }

    /** @return whether a response was sent, or a part of one */
    [[nodiscard]] bool is_sent() const { return sent; }
    /** @return whether a body is wanted: not for HEAD */
    [[nodiscard]] bool wants_body() const { return has_body; }
    /** @return the stream that it goes to */
    [[nodiscard]] FILE *output() const { return stream; }

    /** Forgets status and head, of a response that is not sent. */
    void reset() {
        head.clear();
        code = 200;
        good = true;
    }

private:
    void add_line(std::string_view name, std::string_view value) {
        good = good && internal::cgi_is_one_line(value);
        head.append(name).append(": ").append(value).append("\r\n");
    }

    bool write_head() {
        if (sent || !good)
            return false;
        sent = true;
        const std::string_view reason = http_strerr(code);
        const std::string all = "Status: " + std::to_string(code) + " " +
                                std::string(reason == "UNKNOWN" ? "" : reason) + "\r\n" + head + "\r\n";
        return std::fwrite(all.data(), 1, all.size(), stream) == all.size();
    }

    bool finish() { return std::fflush(stream) == 0; }

    FILE *stream;
    bool has_body, good = true, sent = false;
    int32_t code = 200;
    std::string head;
};

} // namespace vela::cgi

/**
 * @file
 * Forms with uploads: multipart/form-data of RFC 7578. Part of <vela/cpp/cgi.hpp>.
 *
 *     const auto parts = vela::cgi::parse_multipart(content_type, body);
 *     if (!parts)
 *         return fail(400);
 *     for (const vela::cgi::part &part : *parts)
 *         store(part.name, part.bytes);
 *
 * parse_multipart() throws std::bad_alloc; nothing else throws. Any thread may call any function at any time.
 */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <vela/cpp/url.hpp>

namespace vela::cgi {

/** A part of a form with uploads. */
struct part {
    std::string name; /**< of the form's field */
    /** The file's name as the client gives it, perhaps with a path or "..": never a path to write to. Empty for a plain
     * field. */
    std::optional<std::string> filename;
    std::string type;                    /**< the client's Content-Type; "text/plain" by default */
    std::span<const std::uint8_t> bytes; /**< the content, a range of the body */

    /** @return the content as text */
    [[nodiscard]] std::string_view text() const noexcept {
        return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
    }
};

/** parse_multipart() accepts at most this number of parts. */
inline constexpr std::size_t max_parts = 256;
/** It accepts at most this number of bytes of headers in a part. */
inline constexpr std::size_t max_part_header = 4096;

namespace internal {

using vela::internal::is_letter_or_digit;

// Compares without regard to the case of ASCII letters.
constexpr bool equal_words(std::string_view a, std::string_view b) noexcept {
    const auto lower = [](char ch) { return 'A' <= ch && ch <= 'Z' ? static_cast<char>(ch + ('a' - 'A')) : ch; };
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (lower(a[i]) != lower(b[i]))
            return false;
    return true;
}

// A token of RFC 9110, section 5.6.2.
constexpr bool is_token(std::string_view text) noexcept {
    for (const char ch : text)
        if (!is_letter_or_digit(ch) && std::string_view("!#$%&'*+-.^_`|~").find(ch) == std::string_view::npos)
            return false;
    return !text.empty();
}

// Whether there are no control characters but tabs.
constexpr bool is_one_line(std::string_view text) noexcept {
    for (const char ch : text)
        if ((static_cast<unsigned char>(ch) < 0x20 && ch != '\t') || ch == 0x7F)
            return false;
    return true;
}

constexpr std::string_view trimmed(std::string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

// The value of a header field such as Content-Type: a first word, and a parameter after each ";".
class field {
public:
    explicit field(std::string_view text) {
        std::size_t at = text.find(';');
        word_ = trimmed(text.substr(0, at));
        while (valid_ && at < text.size())
            at = read_parameter(text, at + 1);
    }

    bool is(std::string_view expected) const noexcept { return valid_ && equal_words(word_, expected); }

    // A repeated name has no value: readers differ in which one they take.
    std::optional<std::string_view> get(std::string_view name) const noexcept {
        std::optional<std::string_view> found;
        for (const auto &[other, value] : parameters_)
            if (equal_words(other, name)) {
                if (found)
                    return std::nullopt;
                found = value;
            }
        return found;
    }

    bool contains(std::string_view name) const noexcept {
        return std::any_of(parameters_.begin(), parameters_.end(),
                           [&](const query::parameter &other) { return equal_words(other.name, name); });
    }

private:
    // Returns the position of the next ";" or the end.
    std::size_t read_parameter(std::string_view text, std::size_t at) {
        at = std::min(text.find_first_not_of(" \t", at), text.size());
        if (at == text.size() || text[at] == ';')
            return at;
        const std::size_t equals = text.find('=', at);
        if (equals == text.npos || !is_token(text.substr(at, equals - at)))
            return fail(text);
        std::string value;
        const std::size_t end = text.substr(equals + 1).starts_with('"') ? read_quoted(text, equals + 2, value)
                                                                         : read_plain(text, equals + 1, value);
        parameters_.add(std::string(text.substr(at, equals - at)), std::move(value));
        at = std::min(text.find_first_not_of(" \t", end), text.size());
        return at == text.size() || text[at] == ';' ? at : fail(text);
    }

    static std::size_t read_plain(std::string_view text, std::size_t at, std::string &value) {
        const std::size_t end = std::min(text.find_first_of("; \t\"", at), text.size());
        value = text.substr(at, end - at);
        return end;
    }

    // A backslash escapes a quotation mark or a backslash only: some clients send whole paths.
    std::size_t read_quoted(std::string_view text, std::size_t at, std::string &value) {
        for (; at < text.size() && text[at] != '"'; ++at) {
            const char next = at + 1 < text.size() ? text[at + 1] : '\0';
            at += text[at] == '\\' && (next == '"' || next == '\\');
            value += text[at];
        }
        return at < text.size() ? at + 1 : fail(text);
    }

    std::size_t fail(std::string_view text) noexcept {
        valid_ = false;
        return text.size();
    }

    std::string_view word_;
    query parameters_;
    bool valid_ = true;
};

// A delimiter line in the half-open range [begin, end) of the body, without the line break before it, with its own.
struct delimiter {
    std::size_t begin, end;
    bool is_last;
};

// RFC 2046, section 5.1.1: dashes and boundary at the start of a line, two more dashes for the last one, white space,
// and a line break or the end of the body. A line with anything else is content.
inline std::optional<delimiter> find_delimiter(std::string_view body, std::string_view dashes,
                                               std::size_t from) noexcept {
    for (std::size_t at = from; (at = body.find(dashes, at)) != body.npos; ++at) {
        if (at != 0 && !body.substr(0, at).ends_with("\r\n"))
            continue;
        const std::size_t end = at + dashes.size();
        const bool is_last = body.substr(end).starts_with("--");
        const std::size_t rest = std::min(body.find_first_not_of(" \t", end + (is_last ? 2 : 0)), body.size());
        if (body.substr(rest).starts_with("\r\n"))
            return delimiter{at, rest + 2, is_last};
        if (is_last && rest == body.size())
            return delimiter{at, rest, is_last};
    }
    return std::nullopt;
}

inline bool is_boundary(std::string_view text) noexcept {
    for (const char ch : text)
        if (!is_letter_or_digit(ch) && std::string_view("'()+_,-./:=? ").find(ch) == std::string_view::npos)
            return false;
    return !text.empty() && text.size() <= 70 && !text.ends_with(' ');
}

// The headers of a part, without the last line break; empty when they are invalid.
inline std::optional<part> parse_part_headers(std::string_view lines) {
    part made;
    made.type = "text/plain";
    bool has_disposition = false, has_type = false;
    for (std::size_t at = 0; at <= lines.size();) {
        const std::string_view line = lines.substr(at, lines.find("\r\n", at) - at);
        at += line.size() + 2;
        const std::size_t colon = line.find(':');
        if (colon == line.npos || !is_token(line.substr(0, colon)) || !is_one_line(line))
            return std::nullopt;
        const std::string_view name = line.substr(0, colon), value = trimmed(line.substr(colon + 1));
        if (equal_words(name, "Content-Disposition")) {
            const field disposition(value);
            const std::optional<std::string_view> field_name = disposition.get("name");
            made.filename = disposition.get("filename");
            if (has_disposition || !disposition.is("form-data") || !field_name ||
                disposition.contains("filename") != made.filename.has_value())
                return std::nullopt;
            made.name = *field_name;
            has_disposition = true;
        } else if (equal_words(name, "Content-Type")) {
            if (std::exchange(has_type, true))
                return std::nullopt;
            made.type = value;
        } else if (equal_words(name, "Content-Transfer-Encoding") && !equal_words(value, "binary") &&
                   !equal_words(value, "8bit") && !equal_words(value, "7bit")) {
            return std::nullopt;
        }
    }
    return has_disposition ? std::optional(made) : std::nullopt;
}

} // namespace internal

/**
 * Parses a form with uploads. What precedes the first part and follows the last one is skipped.
 *
 * Nothing is guessed. There are no parts at all when the type is another one or its boundary is not one of RFC 2046;
 * when the last delimiter is missing, since the body is then truncated; when a part has no name, two names or two
 * types, a folded header, a control character in a header, or a content encoding; and when there are more than
 * max_parts parts, or more than max_part_header bytes of headers in one of them. The time is at most proportional to
 * the length of the body times that of the boundary.
 *
 * @param content_type  the Content-Type header, with its boundary
 * @param body          the body, which the parts refer to
 * @return the parts in their order; names may repeat
 */
[[nodiscard]] inline std::optional<std::vector<part>> parse_multipart(std::string_view content_type,
                                                                      std::span<const std::uint8_t> body) {
    const internal::field type(content_type);
    const std::string_view boundary = type.get("boundary").value_or("");
    if (!type.is("multipart/form-data") || !internal::is_boundary(boundary))
        return std::nullopt;
    const std::string_view all(reinterpret_cast<const char *>(body.data()), body.size());
    const std::string dashes = "--" + std::string(boundary);
    std::vector<part> parts;
    auto here = internal::find_delimiter(all, dashes, 0);
    while (here && !here->is_last) {
        const auto next = internal::find_delimiter(all, dashes, here->end);
        if (!next)
            return std::nullopt;
        const std::string_view lines = all.substr(here->end, next->begin - here->end);
        const std::size_t header_size = lines.find("\r\n\r\n");
        if (header_size > max_part_header || parts.size() == max_parts) // npos is greater too
            return std::nullopt;
        std::optional<part> made = internal::parse_part_headers(lines.substr(0, header_size));
        if (!made)
            return std::nullopt;
        // In a part without content the empty line's break may be the delimiter's own.
        if (lines.size() > header_size + 6)
            made->bytes = body.subspan(here->end + header_size + 4, lines.size() - header_size - 6);
        parts.push_back(std::move(*made));
        here = next;
    }
    return here ? std::optional(std::move(parts)) : std::nullopt;
}

} // namespace vela::cgi

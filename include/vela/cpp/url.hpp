/**
 * @file
 * URLs taken apart, queries read and URLs put together: vela/url.h for C++.
 *
 *     const auto link = vela::url::parse("https://camera/find?name=Gate+1&name=Yard");
 *     for (const auto &[name, value] : vela::query(link->query().value_or("")))
 *         ...
 *     const auto next = vela::url_builder("https", "camera").segment("a b").parameter("q", "1+1").text();
 *     // https://camera/a%20b?q=1%2B1
 *
 * A path and a query have codes of their own: a space is "%20" in the one and "+" in the other. What is a letter does
 * not depend on the locale here, but for schemes that url::parse() reads. Any thread may call any function at any time;
 * an object belongs to one.
 */
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <vela/cpp/owner.hpp>
#include <vela/url.h>

namespace vela::internal {

constexpr bool url_is_letter_or_digit(char ch) {
    return ('A' <= ch && ch <= 'Z') || ('a' <= ch && ch <= 'z') || ('0' <= ch && ch <= '9');
}

constexpr int url_digit_value(char ch) {
    return '0' <= ch && ch <= '9'   ? ch - '0'
           : 'a' <= ch && ch <= 'f' ? ch - 'a' + 10
           : 'A' <= ch && ch <= 'F' ? ch - 'A' + 10
                                    : -1;
}

// Appends text with a "%" and two digits for each character that is neither a letter, a digit nor one of these.
inline void url_append_encoded(std::string &to, std::string_view text, std::string_view as_they_are) {
    constexpr char digits[] = "0123456789ABCDEF";
    for (const char ch : text) {
        const auto byte = static_cast<unsigned char>(ch);
        if (url_is_letter_or_digit(ch) || as_they_are.find(ch) != as_they_are.npos)
            to += ch;
        else
            (to += '%').append({digits[byte >> 4], digits[byte & 15]});
    }
}

inline std::string url_decoded(std::string_view text, bool plus_is_space) {
    std::string bytes;
    bytes.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && text.size() - i > 2 ? url_digit_value(text[i + 1]) : -1;
        const int low = high >= 0 ? url_digit_value(text[i + 2]) : -1;
        if (low >= 0) {
            bytes += static_cast<char>(high << 4 | low);
            i += 2;
        } else {
            bytes += plus_is_space && text[i] == '+' ? ' ' : text[i];
        }
    }
    return bytes;
}

inline constexpr std::string_view kUrlUnreserved = "-._~"; // of RFC 3986, besides letters and digits
inline constexpr std::string_view kUrlSegment = "-._~!$&'()*+,;=:@";

} // namespace vela::internal

namespace vela {

/**
 * The parts of a URL.
 *
 *     if (const auto one = vela::url::parse("http://camera:8080/live#top"))
 *         connect(one->host().value_or("localhost"), one->port_number().value_or(80));
 */
class url {
public:
    /**
     * Takes a URL apart as url_alloc() does: a scheme of letters and digits, an authority, a path and a query. A
     * fragment is taken off before, so that it stays in none of these. Nothing is decoded.
     *
     * @param text  the URL; white space in front of it is skipped
     * @return its parts; nothing for a text without a scheme or with a NUL in it, and without memory
     */
    [[nodiscard]] static std::optional<url> parse(std::string_view text) {
        if (text.find('\0') != text.npos)
            return std::nullopt;
        const size_t hash = text.find('#');
        url made(url_alloc(std::string(text.substr(0, hash)).c_str()));
        if (!made.record)
            return std::nullopt;
        if (hash != text.npos)
            made.behind = text.substr(hash + 1);
        return made;
    }

    /** @return the letters and digits before the first ":" */
    [[nodiscard]] std::string_view scheme() const { return record->scheme; }
    /** @return the user's name, if there is one */
    [[nodiscard]] std::optional<std::string_view> user() const { return part(record->user); }
    /** @return the password, if there is one */
    [[nodiscard]] std::optional<std::string_view> password() const { return part(record->password); }
    /** @return the name or address, if there is one; an IPv6 address in its brackets */
    [[nodiscard]] std::optional<std::string_view> host() const { return part(record->host); }
    /** @return what stands behind the host's ":", if there is one */
    [[nodiscard]] std::optional<std::string_view> port() const { return part(record->port); }
    /** @return the path with its leading "/", if there is one */
    [[nodiscard]] std::optional<std::string_view> path() const { return part(record->path); }
    /** @return what stands behind "?", if there is one */
    [[nodiscard]] std::optional<std::string_view> query() const { return part(record->query); }
    /** @return what stands behind "#", if there is one */
    [[nodiscard]] std::optional<std::string_view> fragment() const { return behind; }

    /** @return the port as a number; nothing where there is none, or no number from 0 to 65535 in decimal digits alone
     */
    [[nodiscard]] std::optional<uint16_t> port_number() const {
        const std::string_view digits = port().value_or("");
        uint16_t number = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        if (digits.empty() || error != std::errc() || end != digits.data() + digits.size())
            return std::nullopt;
        return number;
    }

    /** @return the record, which stays this object's */
    [[nodiscard]] const url_record *get() const { return record.get(); }
    /** @return the record, from now on the caller's, for url_free(); the fragment is no part of it */
    [[nodiscard]] url_record *release() { return record.release(); }

    /**
     * Codes for a segment of a path: "%" and two digits for what may not stand there, a "/" among it.
     *
     * @param text  the segment
     * @return its code
     */
    [[nodiscard]] static std::string encode_segment(std::string_view text) {
        std::string code;
        internal::url_append_encoded(code, text, internal::kUrlSegment);
        return code;
    }

    /**
     * Codes for a name or a value in a query or a form: "+" for a space, "%" and two digits for all but letters, digits
     * and "-._~".
     *
     * @param text  the name or the value
     * @return its code
     */
    [[nodiscard]] static std::string encode_form(std::string_view text) {
        std::string code;
        internal::url_append_encoded(code, text, "-._~ ");
        for (char &ch : code)
            ch = ch == ' ' ? '+' : ch;
        return code;
    }

    /**
     * Decodes a segment of a path, or any part but a query: "%" and two hexadecimal digits become a byte. A "%" without
     * two digits behind it stays as it is, and so does "+".
     *
     * @param text  the code
     * @return the bytes, which may be NUL as well
     */
    [[nodiscard]] static std::string decode(std::string_view text) { return internal::url_decoded(text, false); }

    /**
     * Decodes a name or a value of a query or a form: as decode(), and "+" becomes a space.
     *
     * @param text  the code
     * @return the bytes, which may be NUL as well
     */
    [[nodiscard]] static std::string decode_form(std::string_view text) { return internal::url_decoded(text, true); }

private:
    explicit url(url_record *made) : record(made) {}

    static std::optional<std::string_view> part(const char *text) {
        return text ? std::optional<std::string_view>(text) : std::nullopt;
    }

    internal::owner<url_record, url_free> record;
    std::optional<std::string> behind;
};

/**
 * The names and values of a query or of a form's body, in their order, decoded; a name may come several times.
 *
 *     const vela::query parameters("pan=12&preset=gate+1&preset=yard");
 *     const std::string_view pan = parameters.get("pan").value_or("0");
 */
class query {
public:
    /** A name with its value, empty where there was no "=". */
    struct parameter {
        std::string name;  /**< decoded */
        std::string value; /**< decoded */

        /** Whether names and values are the same. */
        [[nodiscard]] friend bool operator==(const parameter &, const parameter &) = default;
    };

    query() = default;

    /**
     * Reads "name=value" for each piece between "&". Nothing is refused: empty pieces are skipped, a value reaches from
     * the first "=" to the end of its piece.
     *
     * @param text  the query without its "?"
     */
    explicit query(std::string_view text) {
        for (size_t at = 0; at < text.size();) {
            const std::string_view piece = text.substr(at, text.find('&', at) - at);
            at += piece.size() + 1;
            const size_t equals = piece.find('=');
            if (!piece.empty())
                add(url::decode_form(piece.substr(0, equals)),
                    equals == piece.npos ? "" : url::decode_form(piece.substr(equals + 1)));
        }
    }

    /**
     * Looks a name up, exactly as it is written.
     *
     * @param name  the name, decoded
     * @return the first value of that name, if there is one; it lives as long as this object is not changed
     */
    [[nodiscard]] std::optional<std::string_view> get(std::string_view name) const {
        for (const parameter &one : all)
            if (one.name == name)
                return one.value;
        return std::nullopt;
    }

    /**
     * Looks a name up that may come several times.
     *
     * @param name  the name, decoded
     * @return its values in their order; they live as long as this object is not changed
     */
    [[nodiscard]] std::vector<std::string_view> get_all(std::string_view name) const {
        std::vector<std::string_view> values;
        for (const parameter &one : all)
            if (one.name == name)
                values.push_back(one.value);
        return values;
    }

    /**
     * Appends a parameter.
     *
     * @param name   its name, decoded
     * @param value  its value, decoded
     */
    void add(std::string name, std::string value) { all.push_back({std::move(name), std::move(value)}); }

    /** @return whether there is a parameter of that name */
    [[nodiscard]] bool contains(std::string_view name) const { return get(name).has_value(); }
    /** @return the number of parameters */
    [[nodiscard]] size_t size() const { return all.size(); }
    /** @return whether there is none */
    [[nodiscard]] bool empty() const { return all.empty(); }
    /** @return the first parameter */
    [[nodiscard]] auto begin() const { return all.begin(); }
    /** @return behind the last one */
    [[nodiscard]] auto end() const { return all.end(); }

private:
    std::vector<parameter> all;
};

/**
 * Puts a URL together, each part in its own code. Parts may be given in any order; segments and parameters keep theirs.
 *
 *     const std::optional<std::string> link =
 *         vela::url_builder("https", "camera").port(8443).segment("rec 7").parameter("from", "10:00").text();
 */
class url_builder {
public:
    /** A path without scheme and host, for links within a site. */
    url_builder() = default;

    /**
     * @param scheme  as "https": a letter, and then letters, digits, "+", "-" and "."
     * @param host    a name, an IPv4 address, or an IPv6 address with or without its brackets; not encoded yet
     */
    url_builder(std::string_view scheme, std::string_view host)
        : has_authority(true), good(is_scheme(scheme)), front(std::string(scheme) + "://") {
        const bool bracketed = host.starts_with('[') && host.ends_with(']') && host.size() > 2;
        const std::string_view address = bracketed ? host.substr(1, host.size() - 2) : host;
        if (!bracketed && address.find(':') == address.npos) {
            internal::url_append_encoded(host_text, address, internal::kUrlUnreserved);
            return;
        }
        for (const char ch : address)
            good = good && (internal::url_digit_value(ch) >= 0 || ch == ':' || ch == '.');
        host_text.append("[").append(address).append("]");
    }

    /** @param user  a user name; needs a host */
    url_builder &user(std::string_view user) {
        credentials.clear();
        internal::url_append_encoded(credentials, user, internal::kUrlUnreserved);
        return *this;
    }

    /**
     * @param user      a user name; needs a host
     * @param password  the password, which whoever sees the URL can read
     */
    url_builder &user(std::string_view user, std::string_view password) {
        this->user(user);
        internal::url_append_encoded(credentials += ':', password, internal::kUrlUnreserved);
        return *this;
    }

    /** @param number  a port; needs a host */
    url_builder &port(uint16_t number) {
        port_text = ":" + std::to_string(number);
        return *this;
    }

    /** @param text  one more segment of the path, in which a "/" is a character like others; "." and ".." are refused
     */
    url_builder &segment(std::string_view text) {
        good = good && text != "." && text != "..";
        internal::url_append_encoded(path += '/', text, internal::kUrlSegment);
        return *this;
    }

    /**
     * @param name   of one more parameter of the query
     * @param value  its value
     */
    url_builder &parameter(std::string_view name, std::string_view value) {
        parameters.append(parameters.empty() ? "?" : "&").append(url::encode_form(name)).append("=");
        parameters.append(url::encode_form(value));
        return *this;
    }

    /** @param text  the place within what the URL names, behind "#" */
    url_builder &fragment(std::string_view text) {
        behind = "#";
        internal::url_append_encoded(behind, text, "-._~!$&'()*+,;=:@/?");
        return *this;
    }

    /**
     * @return the URL; nothing where the scheme is none, an address is none, a segment is "." or "..", a path without a
     * host would begin with "//", or a user or a port has no host
     */
    [[nodiscard]] std::optional<std::string> text() const {
        const std::string authority = (credentials.empty() ? "" : credentials + "@") + host_text + port_text;
        if (!good || (host_text.empty() && !authority.empty()) || (!has_authority && path.starts_with("//")))
            return std::nullopt;
        return front + authority + path + parameters + behind;
    }

private:
    static constexpr bool is_scheme(std::string_view text) {
        for (const char ch : text)
            if (!internal::url_is_letter_or_digit(ch) && ch != '+' && ch != '-' && ch != '.')
                return false;
        return !text.empty() && internal::url_is_letter_or_digit(text[0]) && (text[0] < '0' || text[0] > '9');
    }

    bool has_authority = false, good = true;
    std::string front, credentials, host_text, port_text, path, parameters, behind;
};

} // namespace vela

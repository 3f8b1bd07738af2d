/**
 * @file
 * URLs parsed and built, and queries parsed: vela/url.h for C++.
 *
 *     const auto link = vela::url::parse("https://camera/find?name=Gate+1&name=Yard");
 *     for (const auto &[name, value] : vela::query(link->query().value_or("")))
 *         ...
 *     const auto next = vela::url::builder("https", "camera").segment("a b").parameter("q", "1+1").build();
 *     // https://camera/a%20b?q=1%2B1
 *
 * A path and a query are encoded differently: a space is "%20" in the one and "+" in the other. Letters are those of
 * ASCII whatever the locale, except in the scheme that url::parse_as_is() reads.
 *
 * What returns or appends to a std::string or std::vector throws std::bad_alloc; nothing else throws. Any thread may
 * call any function at any time; an object is used by one thread at a time.
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
#include <vela/cpp/result.hpp>
#include <vela/url.h>

namespace vela::internal {

constexpr bool is_letter_or_digit(char ch) noexcept {
    return ('A' <= ch && ch <= 'Z') || ('a' <= ch && ch <= 'z') || ('0' <= ch && ch <= '9');
}

constexpr int hex_value(char ch) noexcept {
    return '0' <= ch && ch <= '9'   ? ch - '0'
           : 'a' <= ch && ch <= 'f' ? ch - 'a' + 10
           : 'A' <= ch && ch <= 'F' ? ch - 'A' + 10
                                    : -1;
}

// Characters that need no encoding, besides letters and digits: the unreserved ones of RFC 3986, and those of each
// component.
inline constexpr std::string_view kUnreserved = "-._~",
                                  kName = "-._~!$&'()*+,;=", kUser = "-._~!$&'()*+,;=:", kSegment = "-._~!$&'()*+,;=:@",
                                  kPath = "-._~!$&'()*+,;=:@/",
                                  kQuery = "-._~!$&'()*+,;=:@/?"; // also of a fragment

constexpr bool is_scheme(std::string_view text) noexcept {
    for (const char ch : text)
        if (!is_letter_or_digit(ch) && ch != '+' && ch != '-' && ch != '.')
            return false;
    return !text.empty() && is_letter_or_digit(text[0]) && text[0] > '9';
}

// The schemes whose URLs have a host, whatever the case; browsers take the next word for it.
constexpr bool needs_host(std::string_view scheme) noexcept {
    for (const std::string_view name : {"http", "https", "ws", "wss", "ftp"}) {
        bool is_equal = scheme.size() == name.size();
        for (std::size_t i = 0; is_equal && i < name.size(); ++i)
            is_equal = (scheme[i] | 0x20) == name[i];
        if (is_equal)
            return true;
    }
    return false;
}

// Whether a text is made of letters, digits, characters of `others`, and "%" with two hexadecimal digits.
constexpr bool is_made_of(std::string_view text, std::string_view others) noexcept {
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] == '%') {
            if (text.size() - i < 3 || hex_value(text[i + 1]) < 0 || hex_value(text[i + 2]) < 0)
                return false;
        } else if (!is_letter_or_digit(text[i]) && others.find(text[i]) == others.npos) {
            return false;
        }
    return true;
}

// The beginning of a text, to the first character of `ends`; removed from the text.
constexpr std::string_view take_until(std::string_view &text, std::string_view ends) noexcept {
    const std::string_view front = text.substr(0, text.find_first_of(ends));
    text.remove_prefix(front.size());
    return front;
}

constexpr bool is_ipv4(std::string_view text) noexcept {
    for (int octet = 0; octet < 4; ++octet) {
        if (octet > 0 && !text.starts_with('.'))
            return false;
        text.remove_prefix(octet > 0);
        const std::string_view digits = take_until(text, ".");
        int value = 0;
        for (const char ch : digits)
            value = '0' <= ch && ch <= '9' && value < 256 ? 10 * value + (ch - '0') : 256;
        if (digits.empty() || value > 255 || (digits.size() > 1 && digits[0] == '0'))
            return false;
    }
    return text.empty();
}

// Eight groups of up to four digits, the last two possibly as an IPv4 address; one or more of them left out at "::".
constexpr bool is_ipv6(std::string_view text) noexcept {
    int groups = 0;
    bool has_gap = text.starts_with("::");
    text.remove_prefix(has_gap ? 2 : 0);
    while (!text.empty()) {
        if (text.find(':') == text.npos && is_ipv4(text)) {
            groups += 2;
            break;
        }
        const std::string_view digits = take_until(text, ":");
        for (const char ch : digits)
            if (hex_value(ch) < 0)
                return false;
        if (digits.empty() || digits.size() > 4 || text == ":" || (has_gap && text.starts_with("::")))
            return false;
        ++groups;
        const bool is_gap = text.starts_with("::");
        has_gap = has_gap || is_gap;
        text.remove_prefix(is_gap ? 2 : !text.empty());
    }
    return has_gap ? groups < 8 : groups == 8;
}

constexpr bool is_port(std::string_view digits) noexcept {
    unsigned value = 0;
    for (const char ch : digits)
        value = '0' <= ch && ch <= '9' && value <= 65535 ? 10 * value + static_cast<unsigned>(ch - '0') : 65536;
    return value <= 65535;
}

// Percent-encodes all but letters, digits and the characters of `kept`.
inline void append_encoded(std::string &to, std::string_view text, std::string_view kept) {
    constexpr char digits[] = "0123456789ABCDEF";
    for (const char ch : text) {
        const auto byte = static_cast<unsigned char>(ch);
        if (is_letter_or_digit(ch) || kept.find(ch) != kept.npos)
            to += ch;
        else
            (to += '%').append({digits[byte >> 4], digits[byte & 15]});
    }
}

// Invalid escapes are kept as they are; a "+" becomes `plus`.
inline std::string percent_decoded(std::string_view text, char plus) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && text.size() - i > 2 ? hex_value(text[i + 1]) : -1;
        const int low = high >= 0 ? hex_value(text[i + 2]) : -1;
        if (low >= 0) {
            bytes += static_cast<char>(high << 4 | low);
            i += 2;
        } else {
            bytes += text[i] == '+' ? plus : text[i];
        }
    }
    return bytes;
}

// Splits a text at a separator, and calls back with each item's name and with its value: what follows the first "=".
template <class Each>
void for_each_pair(std::string_view text, char separator, Each &&each) {
    while (!text.empty()) {
        const std::string_view item = text.substr(0, text.find(separator)), name = item.substr(0, item.find('='));
        each(name, name.size() == item.size() ? std::nullopt : std::optional(item.substr(name.size() + 1)));
        text.remove_prefix(item.size() == text.size() ? item.size() : item.size() + 1);
    }
}

} // namespace vela::internal

namespace vela {

/**
 * The components of a URL.
 *
 *     if (const auto link = vela::url::parse("http://camera:8080/live#top"))
 *         connect(link->host().value_or("localhost"), link->port_number().value_or(80));
 */
class url {
public:
    class builder;

    /** What a text has that no URL has. */
    enum class error : std::uint8_t {
        none,      /**< nothing: it is a URL */
        scheme,    /**< no letter, further letters or digits, and ":" at the beginning */
        authority, /**< neither "//" nor "/" after the scheme, as in "mailto:a@b" */
        user,      /**< a character of the user name or the password that has to be percent-encoded, as a second "@" */
        host,      /**< an invalid character or address, or no host where one is needed */
        port,      /**< a port that is not a number up to 65535, or anything else after an address in brackets */
        rest       /**< a character of the path, the query or the fragment that has to be percent-encoded */
    };

    /**
     * Parses a URL: a scheme of letters and digits, an authority, a path, a query and a fragment. Nothing is decoded.
     *
     * What RFC 3986 does not allow is refused, since other programs find other hosts in it, and so is a user or a port
     * without a host, and "http", "https", "ws", "wss" and "ftp" without one. Some allowed hosts still are others to
     * browsers: "0x7F.1" and "2130706433" are 127.0.0.1, and "%61" is "a". Compare hosts with those that are expected,
     * never with those that are forbidden.
     *
     * @param text  the URL and nothing else
     * @return its components; empty when check() finds an error, and when memory runs out
     */
    [[nodiscard]] static result<url> parse(std::string_view text) {
        if (check(text) != error::none)
            return std::nullopt;
        // Without "//" the C function would take the first segment of the path for an authority.
        const std::size_t rest = text.find(':') + 1;
        const bool has_authority = text.substr(rest).starts_with("//");
        return parse_as_is(has_authority ? text : std::string(text).insert(rest, "//"));
    }

    /**
     * Says why parse() refuses a text.
     *
     * @param text  any text
     * @return the first error; error::none for a URL
     */
    [[nodiscard]] static constexpr error check(std::string_view text) noexcept {
        const std::string_view scheme = internal::take_until(text, ":");
        if (text.empty() || !internal::is_scheme(scheme) || scheme.find_first_of("+-.") != scheme.npos)
            return error::scheme;
        text.remove_prefix(1);
        std::string_view authority;
        if (text.starts_with("//")) {
            text.remove_prefix(2);
            authority = internal::take_until(text, "/?#");
        } else if (!text.empty() && std::string_view("/?#").find(text[0]) == text.npos) {
            return error::authority;
        }
        if (const error found = check_authority(authority, internal::needs_host(scheme)); found != error::none)
            return found;
        const std::string_view path = internal::take_until(text, "?#"), query = internal::take_until(text, "#");
        text.remove_prefix(!text.empty());
        const bool is_good = internal::is_made_of(path, internal::kPath) &&
                             internal::is_made_of(query, internal::kQuery) &&
                             internal::is_made_of(text, internal::kQuery);
        return is_good ? error::none : error::rest;
    }

    /**
     * Splits a text as url_alloc() does, which accepts nearly everything and finds hosts and ports that other programs
     * do not: not for decisions about access. A fragment is split off first.
     *
     * @param text  the text; leading white space is skipped
     * @return its components; empty for a text without a scheme or with a NUL in it, and when memory runs out
     */
    [[nodiscard]] static result<url> parse_as_is(std::string_view text) {
        if (text.find('\0') != text.npos)
            return std::nullopt;
        const std::size_t hash = text.find('#');
        url made(url_alloc(std::string(text.substr(0, hash)).c_str()));
        if (!made.record_)
            return std::nullopt;
        if (hash != text.npos)
            made.fragment_ = text.substr(hash + 1);
        return made;
    }

    /** @return the letters and digits before the first ":" */
    [[nodiscard]] std::string_view scheme() const noexcept { return record_->scheme; }
    /** @return the user's name, if any */
    [[nodiscard]] std::optional<std::string_view> user() const noexcept { return component(record_->user); }
    /** @return the password, if any */
    [[nodiscard]] std::optional<std::string_view> password() const noexcept { return component(record_->password); }
    /** @return the name or address, if any; an IPv6 address in its brackets */
    [[nodiscard]] std::optional<std::string_view> host() const noexcept { return component(record_->host); }
    /** @return the text after the host's ":", if any */
    [[nodiscard]] std::optional<std::string_view> port() const noexcept { return component(record_->port); }
    /** @return the path with its leading "/", if any */
    [[nodiscard]] std::optional<std::string_view> path() const noexcept { return component(record_->path); }
    /** @return the text after "?", if any */
    [[nodiscard]] std::optional<std::string_view> query() const noexcept { return component(record_->query); }
    /** @return the text after "#", if any */
    [[nodiscard]] std::optional<std::string_view> fragment() const noexcept { return fragment_; }

    /** @return the port as a number; empty when there is none or it is not 0 to 65535 in decimal digits alone */
    [[nodiscard]] std::optional<std::uint16_t> port_number() const noexcept {
        const std::string_view digits = port().value_or("");
        std::uint16_t number = 0;
        const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        if (digits.empty() || failure != std::errc() || end != digits.data() + digits.size())
            return std::nullopt;
        return number;
    }

    /** @return the record, for C functions; it remains this object's */
    [[nodiscard]] const url_record *get() const noexcept { return record_.get(); }
    /** @return the record, now the caller's, who releases it by url_free(); the fragment is not part of it */
    [[nodiscard]] url_record *release() noexcept { return record_.release(); }

    /**
     * Percent-encodes a segment of a path, in which a "/" is encoded as well.
     *
     * @param text  the segment
     * @return the encoded segment
     */
    [[nodiscard]] static std::string encode_segment(std::string_view text) {
        std::string encoded;
        internal::append_encoded(encoded, text, internal::kSegment);
        return encoded;
    }

    /**
     * Encodes a name or a value of a query or a form: "+" for a space, "%" and two digits for all but letters, digits
     * and "-._~".
     *
     * @param text  the name or the value
     * @return the encoded text
     */
    [[nodiscard]] static std::string encode_form(std::string_view text) {
        std::string encoded;
        internal::append_encoded(encoded, text, "-._~ ");
        for (char &ch : encoded)
            ch = ch == ' ' ? '+' : ch;
        return encoded;
    }

    /**
     * Percent-decodes a segment of a path, or any component but a query: "%" and two hexadecimal digits become a byte.
     * A "%" without two digits after it is kept, and so is "+".
     *
     * @param text  the encoded text
     * @return the bytes, which may include NUL
     */
    [[nodiscard]] static std::string decode(std::string_view text) { return internal::percent_decoded(text, '+'); }

    /**
     * Decodes a name or a value of a query or a form: as decode(), and "+" becomes a space.
     *
     * @param text  the encoded text
     * @return the bytes, which may include NUL
     */
    [[nodiscard]] static std::string decode_form(std::string_view text) { return internal::percent_decoded(text, ' '); }

private:
    static constexpr error check_authority(std::string_view host, bool needs_host) noexcept {
        const std::size_t at = host.rfind('@');
        if (at != host.npos && !internal::is_made_of(host.substr(0, at), internal::kUser))
            return error::user;
        std::string_view port = host.substr(at == host.npos ? 0 : at + 1);
        const bool is_bracketed = port.starts_with('[');
        host = internal::take_until(port, is_bracketed ? "]" : ":");
        if (is_bracketed ? port.empty() || !internal::is_ipv6(host.substr(1))
                         : !internal::is_made_of(host, internal::kName))
            return error::host;
        port.remove_prefix(is_bracketed);
        if (!port.empty() && (port[0] != ':' || !internal::is_port(port.substr(1))))
            return error::port;
        return host.empty() && (needs_host || at != host.npos || !port.empty()) ? error::host : error::none;
    }

    explicit url(url_record *record) noexcept : record_(record) {}

    static std::optional<std::string_view> component(const char *text) noexcept {
        return text ? std::optional<std::string_view>(text) : std::nullopt;
    }

    internal::owner<url_record, url_free> record_;
    std::optional<std::string> fragment_;
};

/**
 * The decoded names and values of a query or of a form's body, in their order; a name may occur several times.
 *
 *     const vela::query parameters("pan=12&preset=gate+1&preset=yard");
 *     const std::string_view pan = parameters.get("pan").value_or("0");
 */
class query {
public:
    /** A name with its value, empty if there was no "=". */
    struct parameter {
        std::string name;  /**< decoded */
        std::string value; /**< decoded */

        /** Whether names and values are equal. */
        [[nodiscard]] friend bool operator==(const parameter &, const parameter &) noexcept = default;
    };

    query() noexcept = default;

    /**
     * Parses "name=value" between "&". Nothing is refused: empty parameters are skipped, and a value extends from the
     * first "=" of its parameter.
     *
     * @param text  the query without its "?"
     */
    explicit query(std::string_view text) {
        internal::for_each_pair(text, '&', [this](std::string_view name, std::optional<std::string_view> value) {
            if (!name.empty() || value)
                add(url::decode_form(name), url::decode_form(value.value_or("")));
        });
    }

    /**
     * Looks a name up; case matters.
     *
     * @param name  the name, decoded
     * @return the first value of that name, if any; it lives until this object changes
     */
    [[nodiscard]] std::optional<std::string_view> get(std::string_view name) const &noexcept {
        for (const parameter &candidate : parameters_)
            if (candidate.name == name)
                return candidate.value;
        return std::nullopt;
    }
    std::optional<std::string_view> get(std::string_view) const && = delete;

    /**
     * Looks a name up that may occur several times.
     *
     * @param name  the name, decoded
     * @return its values in their order; they live until this object changes
     */
    [[nodiscard]] std::vector<std::string_view> get_all(std::string_view name) const & {
        std::vector<std::string_view> values;
        for (const parameter &candidate : parameters_)
            if (candidate.name == name)
                values.push_back(candidate.value);
        return values;
    }
    std::vector<std::string_view> get_all(std::string_view) const && = delete;

    /**
     * Appends a parameter.
     *
     * @param name   its name, decoded
     * @param value  its value, decoded
     */
    void add(std::string name, std::string value) { parameters_.push_back({std::move(name), std::move(value)}); }

    /** @return whether there is a parameter of that name */
    [[nodiscard]] bool contains(std::string_view name) const noexcept { return get(name).has_value(); }
    /** @return the number of parameters */
    [[nodiscard]] std::size_t size() const noexcept { return parameters_.size(); }
    /** @return whether there are none */
    [[nodiscard]] bool empty() const noexcept { return parameters_.empty(); }
    /** @return the first parameter */
    [[nodiscard]] auto begin() const noexcept { return parameters_.begin(); }
    /** @return one past the last parameter */
    [[nodiscard]] auto end() const noexcept { return parameters_.end(); }

private:
    std::vector<parameter> parameters_;
};

/**
 * Builds a URL, each component with its own encoding. Components may be given in any order; segments and parameters
 * keep theirs.
 *
 *     const std::optional<std::string> link =
 *         vela::url::builder("https", "camera").port(8443).segment("rec 7").parameter("from", "10:00").build();
 */
class url::builder {
public:
    /** A path without scheme and host, for links within a site. */
    builder() noexcept = default;

    /**
     * @param scheme  such as "https": a letter, and then letters, digits, "+", "-" and "."
     * @param host    a name, an IPv4 address, or an IPv6 address with or without its brackets; not encoded
     */
    builder(std::string_view scheme, std::string_view host)
        : has_authority_(true), valid_(internal::is_scheme(scheme)), scheme_(std::string(scheme) + "://") {
        const bool is_bracketed = host.starts_with('[') && host.ends_with(']') && host.size() > 2;
        const std::string_view address = is_bracketed ? host.substr(1, host.size() - 2) : host;
        if (!is_bracketed && address.find(':') == address.npos) {
            internal::append_encoded(host_, address, internal::kUnreserved);
            return;
        }
        for (const char ch : address)
            valid_ = valid_ && (internal::hex_value(ch) >= 0 || ch == ':' || ch == '.');
        host_.append("[").append(address).append("]");
    }

    /** @param name  a user name; needs a host */
    builder &user(std::string_view name) VELA_LIFETIME_BOUND {
        user_.clear();
        internal::append_encoded(user_, name, internal::kUnreserved);
        return *this;
    }

    /**
     * @param name      a user name; needs a host
     * @param password  the password, which whoever sees the URL can read
     */
    builder &user(std::string_view name, std::string_view password) VELA_LIFETIME_BOUND {
        user(name);
        internal::append_encoded(user_ += ':', password, internal::kUnreserved);
        return *this;
    }

    /** @param number  a port; needs a host */
    builder &port(std::uint16_t number) VELA_LIFETIME_BOUND {
        port_ = ":" + std::to_string(number);
        return *this;
    }

    /** @param text  one more segment of the path, in which a "/" is an ordinary character; "." and ".." are refused */
    builder &segment(std::string_view text) VELA_LIFETIME_BOUND {
        valid_ = valid_ && text != "." && text != "..";
        internal::append_encoded(path_ += '/', text, internal::kSegment);
        return *this;
    }

    /**
     * @param name   of one more parameter of the query
     * @param value  its value
     */
    builder &parameter(std::string_view name, std::string_view value) VELA_LIFETIME_BOUND {
        query_.append(query_.empty() ? "?" : "&").append(encode_form(name)).append("=").append(encode_form(value));
        return *this;
    }

    /** @param text  the fragment, after "#" */
    builder &fragment(std::string_view text) VELA_LIFETIME_BOUND {
        fragment_ = "#";
        internal::append_encoded(fragment_, text, internal::kQuery);
        return *this;
    }

    /**
     * @return the URL; empty when the scheme or an address is invalid, a segment is "." or "..", a path without a host
     *         would begin with "//", or a user or a port has no host
     */
    [[nodiscard]] std::optional<std::string> build() const {
        const std::string authority = (user_.empty() ? "" : user_ + "@") + host_ + port_;
        if (!valid_ || (host_.empty() && !authority.empty()) || (!has_authority_ && path_.starts_with("//")))
            return std::nullopt;
        return scheme_ + authority + path_ + query_ + fragment_;
    }

private:
    bool has_authority_ = false, valid_ = true;
    std::string scheme_, user_, host_, port_, path_, query_, fragment_;
};

} // namespace vela

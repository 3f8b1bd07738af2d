// Base64, text, URLs with MAC addresses, UUIDs with random bytes, and times (two integers of up to 2^53).
#include "bindings.hpp"
#include <string>
#include <vela/cpp/base64.hpp>
#include <vela/cpp/url.hpp>
#include <vela/cpp/uuid.hpp>
#include <vela/text.h>
#include <vela/time.h>

using namespace bindings;
using vela::url;
using vela::uuid;

VELA_EXPORT(base64_encode) block *base64_encode_bytes(const uint8_t *bytes, size_t size) {
    return give(vela::base64::encode(std::span(bytes, size)));
}

VELA_EXPORT(base64_decode) block *base64_decode_text(const char *text, size_t length) {
    return give(vela::base64::decode({text, length}));
}

VELA_EXPORT(text_bin2hex) block *digits_of(const uint8_t *bytes, size_t size) {
    result<char> to(2 * size);
    bin2hex(bytes, static_cast<uint32_t>(size), to.data());
    return to.release();
}

VELA_EXPORT(text_hex2bin) block *bytes_of(const char *digits, size_t length) {
    result<uint8_t> to(length / 2);
    hex2bin(digits, static_cast<uint32_t>(length), to.data());
    return to.release();
}

VELA_EXPORT(text_chomp) block *chomped(const char *text, size_t length) {
    std::string copy(text, length);
    chomp(copy.data());
    return give(std::string_view(copy.c_str()));
}

VELA_EXPORT(text_strip) block *stripped(const char *text, size_t length) {
    std::string copy(text, length);
    return give(std::string_view(strip(copy.data())));
}

VELA_EXPORT(text_chunk_split) block *split(const uint8_t *bytes, size_t size, uint32_t chunk) {
    const auto count = static_cast<uint32_t>(size), made = chunk_split_len(bytes, count, chunk);
    result<uint8_t> to(made);
    static_cast<void>(chunk_split(bytes, count, to.data(), made, chunk));
    return to.release();
}

// The parts, each with a NUL after it, and before it a "+" where there is one and a "-" where there is none.
VELA_EXPORT(url_parse) block *parse(const char *text, size_t length) {
    const std::optional<url> one = url::parse({text, length});
    if (!one)
        return nullptr;
    std::string all;
    for (const auto &part : {std::optional(one->scheme()), one->user(), one->password(), one->host(), one->port(),
                             one->path(), one->query(), one->fragment()})
        all.append(part ? "+" : "-").append(part.value_or("")).append(1, '\0');
    return give(all);
}

VELA_EXPORT(url_encode_segment) block *encode_segment(const char *text, size_t length) {
    return give(url::encode_segment({text, length}));
}
VELA_EXPORT(url_encode_form) block *encode_form(const char *text, size_t length) {
    return give(url::encode_form({text, length}));
}
VELA_EXPORT(url_decode) block *decode(const char *text, size_t length) { return give(url::decode({text, length})); }
VELA_EXPORT(url_decode_form) block *decode_form(const char *text, size_t length) {
    return give(url::decode_form({text, length}));
}

VELA_EXPORT(url_parse_mac) block *parse_mac(const char *text, size_t length) {
    result<uint8_t> to(6);
    return inet_parse_mac(std::string(text, length).c_str(), to.data()) == 0 ? to.release() : nullptr;
}

VELA_EXPORT(url_format_mac) block *format_mac(const uint8_t *mac, size_t) {
    char text[18];
    return give(std::string_view(text, static_cast<size_t>(inet_strfmac(mac, text))));
}

VELA_EXPORT(uuid_random) block *random_uuid() {
    const std::optional<uuid> one = uuid::random();
    return one ? give(std::span<const uint8_t>(one->bytes())) : nullptr;
}

VELA_EXPORT(uuid_parse) block *parse_uuid(const char *text, size_t length) {
    const std::optional<uuid> one = uuid::parse({text, length});
    return one ? give(std::span<const uint8_t>(one->bytes())) : nullptr;
}

VELA_EXPORT(uuid_to_string) block *to_string(const uint8_t *bytes, size_t, uuid::form form) {
    return give(uuid(std::span<const uint8_t, 16>(bytes, 16)).to_string(form));
}

VELA_EXPORT(uuid_rand_bytes) block *rand_bytes(size_t size) {
    result<uint8_t> to(size);
    randbytes(to.data(), static_cast<uint32_t>(size));
    return to.release();
}

VELA_EXPORT(uuid_rand_int) int32_t rand_int(int32_t a, int32_t b) { return randint(a, b); }

namespace {

timeval balanced(double seconds, double microseconds) {
    timeval time = {static_cast<time_t>(seconds), static_cast<suseconds_t>(microseconds)};
    time_balance(&time);
    return time;
}

block *give_time(const timeval &time) {
    return give({static_cast<double>(time.tv_sec), static_cast<double>(time.tv_usec)});
}

} // namespace

VELA_EXPORT(time_balance) block *balance(double seconds, double microseconds) {
    return give_time(balanced(seconds, microseconds));
}

VELA_EXPORT(time_add) block *add(double a_seconds, double a_micros, double b_seconds, double b_micros) {
    const timeval a = balanced(a_seconds, a_micros), b = balanced(b_seconds, b_micros);
    return give_time(time_add(&a, &b));
}

VELA_EXPORT(time_sub) block *sub(double a_seconds, double a_micros, double b_seconds, double b_micros) {
    const timeval a = balanced(a_seconds, a_micros), b = balanced(b_seconds, b_micros);
    return give_time(time_sub(&a, &b));
}

VELA_EXPORT(time_compare) int32_t compare(double a_seconds, double a_micros, double b_seconds, double b_micros) {
    const timeval a = balanced(a_seconds, a_micros), b = balanced(b_seconds, b_micros);
    return time_compare(&a, &b);
}

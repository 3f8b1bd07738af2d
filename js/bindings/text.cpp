// <vela/text.h>
#include "bindings.hpp"
#include <string>
#include <vela/text.h>

using namespace bindings;

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

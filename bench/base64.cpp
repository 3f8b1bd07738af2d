#include "ratios.hpp"
#include <cstring>
#include <random>
#include <vela/base64.h>
#ifdef HAVE_LIBCRYPTO
#include <openssl/evp.h>
#endif
#ifdef HAVE_GLIB_2_0
#include <glib.h>
#endif

namespace {

using buffer = std::string;

buffer random_bytes(size_t size) {
    std::mt19937 random(1);
    buffer bytes(size, '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

uint32_t size_of(const buffer &text) { return static_cast<uint32_t>(text.size()); }

buffer text_of(const buffer &bytes, size_t line = SIZE_MAX) {
    buffer text(base64_encode_len(nullptr, size_of(bytes)), '\0'), lines;
    base64_encode(bytes.data(), size_of(bytes), text.data(), size_of(text));
    for (size_t i = 0; i < text.size(); i += std::min(line, text.size() - i))
        lines += text.substr(i, line) + (line < text.size() ? "\n" : "");
    return lines;
}

// Times convert(from, to) per byte of the input.
template <class Convert>
void add(const std::string &name, const char *implementation, const buffer &from, Convert convert) {
    ratios::add(name, implementation, from.size(),
                [=, to = buffer(2 * from.size() + 64, '\0')]() mutable { convert(from, to); });
}

void copy(const buffer &from, buffer &to) { std::memcpy(to.data(), from.data(), from.size()); }

void encode(const buffer &from, buffer &to) { base64_encode(from.data(), size_of(from), to.data(), size_of(to)); }

void decode(const buffer &from, buffer &to) { base64_decode(from.data(), size_of(from), to.data(), size_of(to)); }

#ifdef HAVE_LIBCRYPTO
template <int (*convert)(unsigned char *to, const unsigned char *from, int size)>
void openssl(const buffer &from, buffer &to) {
    convert(reinterpret_cast<unsigned char *>(to.data()), reinterpret_cast<const unsigned char *>(from.data()),
            static_cast<int>(from.size()));
}
#endif

#ifdef HAVE_GLIB_2_0
void glib_encode(const buffer &from, buffer &to) {
    int state = 0, save = 0;
    const gsize length = g_base64_encode_step(reinterpret_cast<const guchar *>(from.data()), from.size(), FALSE,
                                              to.data(), &state, &save);
    g_base64_encode_close(FALSE, to.data() + length, &state, &save);
}

void glib_decode(const buffer &from, buffer &to) {
    int state = 0;
    guint save = 0;
    g_base64_decode_step(from.data(), from.size(), reinterpret_cast<guchar *>(to.data()), &state, &save);
}
#endif

void add_all(const std::string &name, const buffer &from, bool encodes) {
    add(name, "vela", from, encodes ? encode : decode);
    add(name, "memcpy", from, copy);
#ifdef HAVE_LIBCRYPTO
    add(name, "openssl", from, encodes ? openssl<EVP_EncodeBlock> : openssl<EVP_DecodeBlock>);
#endif
#ifdef HAVE_GLIB_2_0
    add(name, "glib", from, encodes ? glib_encode : glib_decode);
#endif
}

const bool registered = [] {
    for (const size_t length : {48, 1 << 10, 64 << 10, 1 << 20}) {
        const buffer bytes = random_bytes(length);
        const std::string size = length < 1024 ? std::to_string(length) + " B" : std::to_string(length >> 10) + " KiB";
        add_all("encode " + size, bytes, true);
        add_all("decode " + size, text_of(bytes), false);
        add("decode lines of 76, " + size, "vela", text_of(bytes, 76), decode);
        add("decode lines of 76, " + size, "unbroken", text_of(bytes), decode);
    }
    for (const char *name : {"encode 64 KiB", "decode 64 KiB"})
        ratios::target(name, 5, {"openssl", "glib"});
    ratios::target("encode 48 B", 1, {"openssl", "glib"});
    ratios::target("decode 48 B", 1, {"glib"});
    ratios::target("decode lines of 76, 64 KiB", 0.25, {"unbroken"});
    ratios::lower_bound("memcpy");
    ratios::lower_bound("unbroken");
    ratios::note("OpenSSL's function accepts no line breaks inside a text.");
    return true;
}();

} // namespace

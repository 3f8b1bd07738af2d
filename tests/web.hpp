// What tests and fuzz targets of the web modules share: a request's environment and input, and form text coded and
// decoded in other words than the library's.
#pragma once

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>
#include <vela/cgi.h>

// A copy that ends where its block ends, so that a read behind it is found.
inline std::unique_ptr<char[]> exact_copy(std::string_view text) {
    std::unique_ptr<char[]> copy(new char[text.size()]);
    text.copy(copy.get(), text.size());
    return copy;
}

// Makes a file of these bytes the standard input.
inline void set_input(std::string_view bytes) {
    static const int file = memfd_create("input", 0);
    if (ftruncate(file, 0) != 0 || pwrite(file, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()) ||
        lseek(file, 0, SEEK_SET) != 0 || dup2(file, STDIN_FILENO) != STDIN_FILENO)
        std::abort();
}

// The request with these variables, null for one that is not set; null where cgi_setup() fails.
inline cgi_request *request(const char *method, const char *query = nullptr, const char *cookies = nullptr,
                            const char *length = nullptr) {
    const std::pair<const char *, const char *> variables[] = {
        {"REQUEST_METHOD", method}, {"QUERY_STRING", query}, {"HTTP_COOKIE", cookies}, {"CONTENT_LENGTH", length}};
    for (const auto &[name, value] : variables)
        value ? setenv(name, value, 1) : unsetenv(name);
    auto *cgi = reinterpret_cast<cgi_request *>(&set_input);
    if ((cgi_setup(&cgi) == 0) != (cgi != nullptr))
        std::abort();
    return cgi;
}

inline std::string encoded(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        char code[4];
        std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(byte));
        text += std::isalnum(static_cast<unsigned char>(byte)) ? std::string(1, byte) : byte == ' ' ? "+" : code;
    }
    return text;
}

// Each character by a look at what stands behind it.
inline std::string decoded(std::string_view text) {
    const auto value = [](char ch) {
        const size_t digit = std::string_view("0123456789abcdefABCDEF").find(ch);
        return digit == std::string_view::npos ? 255 : digit < 16 ? digit : digit - 6;
    };
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        const size_t behind = text.size() - i - 1;
        if (text[i] != '%') {
            bytes += text[i] == '+' ? ' ' : text[i];
        } else if (behind >= 2 && text[i + 1] != '%') {
            bytes += static_cast<char>(16 * value(text[i + 1]) | value(text[i + 2]));
            i += 2;
        } else if (behind) {
            bytes += text[++i];
        }
    }
    return bytes;
}

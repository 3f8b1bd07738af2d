// How models and the library are compared, in tests and fuzz targets alike.
#pragma once

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

// Bytes as a text that can be read, in quotes.
inline std::string shown(std::string_view bytes) {
    std::string text = "\"";
    for (const char byte : bytes) {
        char code[5];
        std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(byte));
        text += byte >= ' ' && byte <= '~' ? std::string(1, byte) : code;
    }
    return text + '"';
}

// Ends the program where the library gave something else than the model, and says what of which input.
inline void agree(std::string_view what, std::string_view input, std::string_view got, std::string_view expected) {
    if (got == expected)
        return;
    std::fprintf(stderr, "%s of %s: got %s, expected %s\n", std::string(what).c_str(), shown(input).c_str(),
                 shown(got).c_str(), shown(expected).c_str());
    std::abort();
}

inline void agree(std::string_view what, std::string_view input, long long got, long long expected) {
    if (got != expected)
        agree(what, input, std::to_string(got), std::to_string(expected));
}

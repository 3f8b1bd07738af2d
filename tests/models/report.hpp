// How the models tell a disagreement: what was asked for and of which input, what was expected and what came. Then the
// program aborts, which a fuzz target must and which a suite reports.
#pragma once

#include <concepts>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace model {

// Printable characters as they are, the others by their numbers, of a long text the beginning.
inline std::string shown(std::string_view bytes) {
    std::string text = "\"";
    for (const char ch : bytes.substr(0, 300)) {
        char code[5];
        std::snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned char>(ch));
        text += ch >= ' ' && ch <= '~' ? std::string(1, ch) : code;
    }
    return text + "\" (" + std::to_string(bytes.size()) + " bytes)";
}

inline std::string shown(std::integral auto number) { return std::to_string(number); }

template <class Result>
void expect_shown(std::string_view what, std::string_view input, const Result &actual, const Result &expected) {
    if (actual == expected)
        return;
    std::fprintf(stderr, "%.*s of %s:\n  expected %s\n  came     %s\n", static_cast<int>(what.size()), what.data(),
                 shown(input).c_str(), shown(expected).c_str(), shown(actual).c_str());
    std::abort();
}

inline void expect(std::string_view what, std::string_view input, std::string_view actual, std::string_view expected) {
    expect_shown(what, input, actual, expected);
}

inline void expect(std::string_view what, std::string_view input, long long actual, long long expected) {
    expect_shown(what, input, actual, expected);
}

} // namespace model

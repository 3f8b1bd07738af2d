// How models and the library are compared, in tests and fuzz targets alike.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

// A number, some numbers, or bytes as a text that can be read, in quotes.
template <class Value>
std::string shown(const Value &value) {
    char text[32];
    std::string all;
    if constexpr (std::is_arithmetic_v<Value>) {
        std::snprintf(text, sizeof text, std::is_floating_point_v<Value> ? "%.9g" : "%.0f", static_cast<double>(value));
        return text;
    } else if constexpr (std::is_convertible_v<Value, std::string_view>) {
        for (const char byte : std::string_view(value)) {
            std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned char>(byte));
            all += byte >= ' ' && byte <= '~' ? std::string(1, byte) : text;
        }
        return '"' + all + '"';
    } else {
        for (const auto number : value)
            all += (all.empty() ? "" : " ") + shown(number);
        return '(' + all + ')';
    }
}

// Ends the test, or the fuzz target, with a report; defined by both.
[[noreturn]] void disagree(const std::string &report);

// What an optional holds; without a value it ends the test with the line of the caller.
template <class Optional>
decltype(auto) value_of(Optional &&optional, int line = __builtin_LINE()) {
    if (!optional)
        disagree("line " + std::to_string(line) + ": an optional without a value");
    return *std::forward<Optional>(optional);
}

// Expects the library's result to be the model's; if not, reports what of which input.
template <class Input, class Value>
void agree_on(std::string_view what, const Input &input, const Value &got, const Value &expected) {
    if (got != expected)
        disagree(std::string(what) + " of " + shown(input).substr(0, 1500) + ": got " + shown(got).substr(0, 500) +
                 ", expected " + shown(expected).substr(0, 500));
}

// The same for texts, from a little before the first difference.
template <class Input>
void agree(std::string_view what, const Input &input, std::string_view got, std::string_view expected) {
    if (got == expected)
        return;
    const auto same = static_cast<size_t>(
        std::mismatch(got.begin(), got.end(), expected.begin(), expected.end()).first - got.begin());
    const size_t from = same < 20 ? 0 : same - 20;
    agree_on(std::string(what) + (from ? ", from byte " + std::to_string(from) + "," : ""), input,
             got.substr(from, 100), expected.substr(from, 100));
    agree_on("the length, " + std::string(what) + ",", input, got.size(), expected.size());
}

template <class Input>
void agree(std::string_view what, const Input &input, long long got, long long expected) {
    agree_on(what, input, got, expected);
}

// The same of some numbers, of which one NaN is like another.
template <class Input, class Got, class Expected = Got>
void agree_all(std::string_view what, const Input &input, const Got &got, const Expected &expected,
               double tolerance = 0) {
    const auto is_same = [=](auto a, auto b) {
        return a == b || (a != a && b != b) || std::fabs(double(a) - double(b)) <= tolerance;
    };
    if (got.size() != expected.size())
        agree_on("the number of numbers, " + std::string(what) + ",", input, got.size(), expected.size());
    for (size_t i = 0; i < got.size(); ++i)
        if (!is_same(got[i], expected[i]))
            agree_on(std::string(what) + ", number " + std::to_string(i) + ",", input, got[i], expected[i]);
}

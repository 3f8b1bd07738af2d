// What the suites use that this platform's C and C++ libraries lack.
#pragma once

// The suites use tmpfile(), which is here; and GCC, which they are written for, does not warn of signs.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
#pragma clang diagnostic ignored "-Wsign-conversion"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <iterator>

extern "C" {
[[clang::import_module("env"), clang::import_name("dup")]] int dup(int descriptor);
[[clang::import_module("env"), clang::import_name("dup2")]] int dup2(int descriptor, int other);
[[clang::import_module("env"), clang::import_name("new_file")]] int new_file();
}

namespace std::ranges {
using greater_equal = std::greater_equal<>;
inline constexpr auto adjacent_find = [](const auto &in, auto order, auto key) {
    return std::adjacent_find(std::begin(in), std::end(in), [=](auto &a, auto &b) { return order(a.*key, b.*key); });
};
inline constexpr auto copy = [](const auto &from, auto to) { return std::copy(std::begin(from), std::end(from), to); };
inline constexpr auto fill = [](auto &to, const auto &value) { std::fill(std::begin(to), std::end(to), value); };
inline constexpr auto find_if = [](auto &in, auto is) { return std::find_if(std::begin(in), std::end(in), is); };
inline constexpr auto for_each = [](const auto &in, auto run) { std::for_each(std::begin(in), std::end(in), run); };
inline constexpr auto generate = [](auto &to, auto make) { std::generate(std::begin(to), std::end(to), make); };
inline constexpr auto transform = [](auto &from, auto to, auto change) {
    return std::transform(std::begin(from), std::end(from), to, change);
};
} // namespace std::ranges

// Diagnostics of the numeric modules: one line on the standard error stream that begins with the function's
// name.
#pragma once

#include <cstdarg>
#include <cstdio>

namespace vela::detail {

// Prints "FUNCTION: " and the formatted message, which includes its line end, by a single write.
[[gnu::format(printf, 2, 3), gnu::cold]] inline void report(const char *function, const char *format, ...) {
    char text[128]; // twice the longest message
    const int start = std::snprintf(text, sizeof text, "%s: ", function);
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text + start, sizeof text - static_cast<size_t>(start), format, arguments);
    va_end(arguments);
    std::fputs(text, stderr);
}

} // namespace vela::detail

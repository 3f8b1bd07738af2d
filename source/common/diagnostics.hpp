// Diagnostics of the numeric modules: one line on the standard error stream that begins with the function's
// name.
#pragma once

#include <cstdarg>
#include <cstdio>

namespace vela::detail {

// Prints "FUNCTION: " and the formatted message, which brings its own line end.
[[gnu::format(printf, 2, 3), gnu::cold]] inline void report(const char *function, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::fprintf(stderr, "%s: ", function);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
}

} // namespace vela::detail

// Contracts: assert() that stays on in every build.
//
// A violated precondition is an error of the caller; the standard assertion report names the expression, the file and
// the line. Include this header instead of <cassert>.
#pragma once

#ifdef __wasm__
// Calls the host, which throws an exception: that ends the call and leaves the module usable.
extern "C" [[noreturn, clang::import_module("env"), clang::import_name("fail")]] void
vela_fail(const char *expression, const char *file, int line, const char *function);

#define assert(condition)                                                                                              \
    (static_cast<bool>(condition) ? void()                                                                             \
                                  : vela_fail(#condition, __FILE__, __LINE__, static_cast<const char *>(__func__)))
#else
#undef NDEBUG
#include <cassert>
#endif

// The part of a C and C++ runtime that the modules bring along.
#include "bindings.hpp"
#include <cstdarg>
#include <stdio.h>
#include <unistd.h>

// Random bytes come from the host, which throws an exception if it has none.
extern "C" [[clang::import_module("env"), clang::import_name("random")]] void vela_random(void *buf, size_t len);
int getentropy(void *buf, size_t len) {
    vela_random(buf, len);
    return 0;
}

// A pointer of the C allocator, so that a caller can free a block.
void *operator new(size_t size) { return bindings::allocate(size); }
void *operator new[](size_t size) { return bindings::allocate(size); }
void *operator new(size_t size, const std::nothrow_t &) noexcept { return std::malloc(size); }
void *operator new[](size_t size, const std::nothrow_t &) noexcept { return std::malloc(size); }
void operator delete(void *block) noexcept { std::free(block); }
void operator delete(void *block, size_t) noexcept { std::free(block); }
void operator delete[](void *block) noexcept { std::free(block); }
void operator delete[](void *block, size_t) noexcept { std::free(block); }

// There are no streams: diagnostics and a hull's debug mode print nothing. And nothing is scanned by a format: texts
// that uuid_scan() needs it for are none that uuid::parse() takes. Both keep the modules small.
extern "C" {
size_t __stdio_write(FILE *, const unsigned char *, size_t count);
off_t __stdio_seek(FILE *, off_t, int);
int __stdio_close(FILE *);
}

int vfprintf(FILE *, const char *, va_list) { return 0; }
int vsscanf(const char *, const char *, va_list) { return 0; }
size_t __stdio_write(FILE *, const unsigned char *, size_t count) { return count; }
off_t __stdio_seek(FILE *, off_t, int) { return 0; }
int __stdio_close(FILE *) { return 0; }

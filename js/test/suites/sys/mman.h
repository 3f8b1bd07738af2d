// Memory without guards.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <unistd.h>

#define PROT_NONE 0
#define PROT_READ 1
#define PROT_WRITE 2
#define MAP_PRIVATE 2
#define MAP_ANONYMOUS 32

inline void *mmap(void *, size_t size, int, int, int, long) { return std::malloc(size); }
inline int mprotect(void *, size_t, int) { return 0; }

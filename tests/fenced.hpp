// Memory past whose end nothing may be touched.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

// The end of at least `capacity` bytes, which stay: whatever touches a byte from there on dies.
inline uint8_t *fence(size_t capacity) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE)), inside = (capacity / page + 1) * page;
    void *start = mmap(nullptr, inside + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    auto *const end = static_cast<uint8_t *>(start) + inside;
    mprotect(end, page, PROT_NONE);
    return end;
}

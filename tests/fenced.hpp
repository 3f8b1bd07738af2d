// A buffer whose end is the end of accessible memory: whatever touches a byte behind it dies.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

class fenced {
public:
    explicit fenced(size_t capacity)
        : page(static_cast<size_t>(sysconf(_SC_PAGESIZE))), inside((capacity / page + 1) * page),
          start(static_cast<uint8_t *>(
              mmap(nullptr, inside + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        mprotect(start + inside, page, PROT_NONE);
    }
    fenced(const fenced &) = delete;
    fenced &operator=(const fenced &) = delete;
    ~fenced() { munmap(start, inside + page); }

    // The last `size` bytes, size being at most the capacity; at least one byte lies in front of them.
    uint8_t *last(size_t size) const { return start + inside - size; }

private:
    size_t page, inside;
    uint8_t *start;
};

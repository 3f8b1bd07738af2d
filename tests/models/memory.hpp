// Memory for inputs and results of calls, past whose end nothing may be touched.
#pragma once

#include "agree.hpp"
#include <cstdint>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

// The end of at least `capacity` bytes, which stay: whatever touches a byte from there on dies.
inline uint8_t *fence(size_t capacity) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE)), inside = (capacity / page + 1) * page;
    void *start = mmap(nullptr, inside + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    auto *const end = static_cast<uint8_t *>(start) + inside;
    mprotect(end, page, PROT_NONE);
    return end;
}

namespace model {

// Bytes at some alignment. They end where their memory ends, so that the sanitizers see a read after them; a buffer for
// a result has one byte more, which must not change.
class block {
public:
    explicit block(std::string_view bytes, size_t more = 0)
        : front(bytes.empty() ? 1 : (bytes.size() + uint8_t(bytes[0])) % 5), after(more) {
        memory.resize(front);
        memory.insert(memory.end(), bytes.begin(), bytes.end());
        memory.resize(memory.size() + more, '#');
    }
    char *text() { return memory.data() + front; }
    uint8_t *bytes() { return reinterpret_cast<uint8_t *>(text()); }
    uint32_t size() const { return static_cast<uint32_t>(memory.size() - front - after); }

    // Expects it to begin with a content, and the byte after it to be unchanged.
    void expect_content(std::string_view what, std::string_view input, std::string_view expected) {
        agree(what, input, std::string_view(text(), expected.size()), expected);
        agree("the byte after " + std::string(what), input, after ? memory.back() : '#', '#');
    }

private:
    size_t front, after;
    std::vector<char> memory;
};

// A buffer of a size.
inline block buffer_of(size_t size) { return block(std::string(size, '#'), 1); }

} // namespace model

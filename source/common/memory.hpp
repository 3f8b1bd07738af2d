// Ownership of memory from the C allocator, which is the only one used: callers release with free().
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <type_traits>

namespace vela::detail {

struct free_deleter {
    void operator()(void *block) const { std::free(block); }
};

// A block that is released at the end of its scope unless release() passes it on.
template <class T>
using owned = std::unique_ptr<T, free_deleter>;

// Allocates count uninitialised elements, or null. A count of 0 allocates one, so null always means failure.
template <class T>
[[nodiscard]] inline owned<T[]> allocate(size_t count) {
    if (count > PTRDIFF_MAX / sizeof(T))
        return nullptr;
    return owned<T[]>(static_cast<T *>(std::malloc((count ? count : 1) * sizeof(T))));
}

// Reallocates a block to count elements, moved as bytes; unchanged on failure.
template <class T>
[[nodiscard]] inline bool resize(owned<T[]> &block, size_t count) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (count > PTRDIFF_MAX / sizeof(T))
        return false;
    void *moved = std::realloc(block.get(), (count ? count : 1) * sizeof(T));
    if (!moved)
        return false;
    static_cast<void>(block.release());
    block.reset(static_cast<T *>(moved));
    return true;
}

} // namespace vela::detail

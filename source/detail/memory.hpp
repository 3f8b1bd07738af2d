// Ownership of memory from the C allocator, which is the only one used: callers release with free().
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace vela::detail {

struct free_deleter {
    void operator()(void *block) const { std::free(block); }
};

// A block that is released on every way out unless release() hands it on.
template <class T>
using owned = std::unique_ptr<T, free_deleter>;

// Room for count elements, uninitialised, or null. A count of 0 gives room for one, so null always means
// failure.
template <class T>
[[nodiscard]] inline owned<T[]> allocate(std::size_t count) {
    if (count > PTRDIFF_MAX / sizeof(T))
        return nullptr;
    return owned<T[]>(static_cast<T *>(std::malloc((count ? count : 1) * sizeof(T))));
}

} // namespace vela::detail

#include "allocator.hpp"
#include <cstdlib>
#include <cstring>

namespace {

int blocks = 0;
int allocations_left = -1;
bool has_failed = false;

bool fails_now() {
    if (allocations_left < 0 || allocations_left-- > 0)
        return false;
    has_failed = true;
    return true;
}

template <class Allocate>
auto count(Allocate allocate) -> decltype(allocate()) {
    if (fails_now())
        return nullptr;
    auto *block = allocate();
    blocks += block != nullptr;
    return block;
}

} // namespace

void *oom_malloc(size_t size) {
    return count([=] { return std::malloc(size); });
}

void *oom_calloc(size_t number, size_t size) {
    return count([=] { return std::calloc(number, size); });
}

void *oom_realloc(void *block, size_t size) {
    if (!block)
        return oom_malloc(size);
    return fails_now() ? nullptr : std::realloc(block, size);
}

char *oom_strdup(const char *text) {
    return count([=] { return strdup(text); });
}

void oom_free(void *block) {
    blocks -= block != nullptr;
    std::free(block);
}

void oom::fail_after(int countdown) {
    allocations_left = countdown;
    has_failed = false;
}

bool oom::disarm() {
    allocations_left = -1;
    return has_failed;
}

int oom::live_blocks() { return blocks; }

// The C allocator as the library sees it, with one chosen allocation failing. The archive's calls of malloc() and its
// kin are renamed to the functions here; everything else in the program keeps the real ones.
#pragma once

#include <check.h>
#include <cstdlib>
#include <cstring>

namespace oom {

inline int live_blocks = 0;  // the library's, not yet released
inline size_t requested = 0; // bytes, altogether
inline int allocations_left = -1;
inline bool has_failed = false;

// Arms the allocator: the countdown-th allocation from now on fails, the others succeed.
inline void fail_after(int countdown) {
    allocations_left = countdown;
    has_failed = false;
}

// Disarms it and says whether an allocation was made to fail.
inline bool disarm() {
    allocations_left = -1;
    return has_failed;
}

inline bool fails_now() {
    if (allocations_left < 0 || allocations_left-- > 0)
        return false;
    has_failed = true;
    return true;
}

template <class Allocate>
auto count(size_t size, Allocate allocate) -> decltype(allocate()) {
    requested += size;
    if (fails_now())
        return nullptr;
    auto *block = allocate();
    live_blocks += block != nullptr;
    return block;
}

// Calls scenario over and over, failing its first allocation, then its second, and so on, until one run goes
// through without a failure. The scenario releases what it got. Every run must end with as many live blocks
// as it began with, and at least one allocation must have been met.
template <class Scenario>
void each_allocation_fails(Scenario scenario) {
    constexpr int kMany = 100000;
    int run = 0;
    for (bool failed = true; failed; ++run) {
        ck_assert_int_lt(run, kMany);
        const int before = live_blocks;
        fail_after(run);
        scenario();
        failed = disarm();
        ck_assert_msg(live_blocks == before, "%d blocks are left where allocation %d fails", live_blocks - before, run);
    }
    ck_assert_int_gt(run, 1);
}

} // namespace oom

// A case that releases memory of the library's itself, as callers do with free(), calls oom_free().
extern "C" {

void *oom_malloc(size_t size) {
    return oom::count(size, [=] { return std::malloc(size); });
}

void *oom_calloc(size_t number, size_t size) {
    return oom::count(number * size, [=] { return std::calloc(number, size); });
}

void *oom_realloc(void *block, size_t size) {
    if (!block)
        return oom_malloc(size);
    return oom::fails_now() ? nullptr : std::realloc(block, size);
}

char *oom_strdup(const char *text) {
    return oom::count(std::strlen(text) + 1, [=] { return strdup(text); });
}

void oom_free(void *block) {
    oom::live_blocks -= block != nullptr;
    std::free(block);
}

} // extern "C"

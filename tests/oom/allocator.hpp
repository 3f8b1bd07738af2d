// The C allocator as the library sees it, with one chosen allocation failing. The archive's calls of malloc() and its
// kin are renamed to the functions here; everything else in the program keeps the real ones.
#pragma once

#include <check.h>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace oom {

inline int live_blocks = 0;  // the library's, not yet released
inline int allocations = 0;  // altogether
inline size_t requested = 0; // bytes
inline int countdown = -1;   // allocations until one fails; negative afterwards, and if none is to fail

inline bool has_failed() { return countdown < 0; }
inline bool fails_now() { return countdown >= 0 && countdown-- == 0; }

template <class Block>
Block *counted(size_t size, Block *block) {
    ++allocations;
    requested += size;
    live_blocks += block != nullptr;
    return block;
}

// Calls scenario over and over, failing its first allocation, then its second, and so on, until one run goes through
// without a failure. The scenario releases what it got, and may ask whether its allocation has failed. Every run must
// end with as many live blocks as it began with, and at least one allocation must have been met.
template <class Scenario>
void each_allocation_fails(Scenario scenario) {
    int run = 0;
    for (bool failed = true; failed; ++run) {
        const int before = live_blocks;
        ck_assert_int_lt(run, 100000);
        countdown = run;
        scenario();
        failed = std::exchange(countdown, -1) < 0;
        ck_assert_msg(live_blocks == before, "%d blocks are left where allocation %d fails", live_blocks - before, run);
    }
    ck_assert_int_gt(run, 1);
}
} // namespace oom

// A case that releases memory of the library's itself, as callers do with free(), calls oom_free().
extern "C" {

void *oom_malloc(size_t size) { return oom::fails_now() ? nullptr : oom::counted(size, std::malloc(size)); }

void *oom_calloc(size_t number, size_t size) {
    return oom::fails_now() ? nullptr : oom::counted(number * size, std::calloc(number, size));
}

void *oom_realloc(void *block, size_t size) {
    if (!block)
        return oom_malloc(size);
    return oom::fails_now() ? nullptr : std::realloc(block, size);
}

char *oom_strdup(const char *text) {
    return oom::fails_now() ? nullptr : oom::counted(std::strlen(text) + 1, strdup(text));
}

void oom_free(void *block) {
    oom::live_blocks -= block != nullptr;
    std::free(block);
}

} // extern "C"

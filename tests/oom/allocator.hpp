// The C allocator as the library sees it, with one chosen allocation failing.
#pragma once

#include <check.h>
#include <cstddef>

// What the library calls in place of malloc() and its kin. A case that releases memory of the library's
// itself, as callers do with free(), calls oom_free().
extern "C" {
void *oom_malloc(size_t size);
void *oom_calloc(size_t number, size_t size);
void *oom_realloc(void *block, size_t size);
char *oom_strdup(const char *text);
void oom_free(void *block);
}

namespace oom {

// Arms the allocator: the countdown-th allocation from now on fails, the others succeed.
void fail_after(int countdown);
// Disarms it and says whether an allocation was made to fail.
bool disarm();
// The library's blocks that are not yet released.
int live_blocks();

// Calls scenario over and over, failing its first allocation, then its second, and so on, until one run goes
// through without a failure. The scenario releases what it got. Every run must end with as many live blocks
// as it began with, and at least one allocation must have been met.
template <class Scenario>
void each_allocation_fails(Scenario scenario) {
    constexpr int kMany = 100000;
    int run = 0;
    for (bool failed = true; failed; ++run) {
        ck_assert_int_lt(run, kMany);
        const int before = live_blocks();
        fail_after(run);
        scenario();
        failed = disarm();
        ck_assert_int_eq(live_blocks(), before);
    }
    ck_assert_int_gt(run, 1);
}

} // namespace oom

// The tests by number, for a program that runs each in an instance of its own (run.mjs).
#include "support.hpp"
#include <cstdio>
#include <string>
#include <vector>

namespace {

struct numbered_test {
    std::string name; // suite, unit and test
    void (*use_unit)();
    const TTest *test;
};

const std::vector<numbered_test> &numbered_tests() {
    static const std::vector<numbered_test> tests = [] {
        std::vector<numbered_test> all;
        for (const char *const name : {
#define SUITE(name) #name,
#include "suites.inc"
             })
            for (const TCase *one : suite_of(name)->cases)
                for (const TTest *test : one->tests)
                    all.push_back({name + std::string(" ") + one->name + " " + test->name, one->setup, test});
        return all;
    }();
    return tests;
}

} // namespace

extern "C" {

// What the compiler's own functions for 128-bit integers look for.
uintptr_t __stack_chk_guard = 0x5A17;
[[noreturn]] void __stack_chk_fail() { __builtin_trap(); }

[[clang::export_name("count")]] size_t test_count() { return numbered_tests().size(); }
[[clang::export_name("name")]] const char *test_name(size_t number) { return numbered_tests()[number].name.c_str(); }
[[clang::export_name("run")]] void run_test(size_t number) {
    numbered_tests()[number].use_unit();
    numbered_tests()[number].test->function(0);
    std::fflush(nullptr);
}

FILE *tmpfile() { return fdopen(new_file(), "w+"); }
}

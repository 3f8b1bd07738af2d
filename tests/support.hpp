// What the suites share: how a test joins its suite, comparison of texts, and running a piece of code.
#pragma once

#include "models/agree.hpp"
#include <check.h>
#undef fail // a macro that would break the standard headers below
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fnmatch.h>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>
#ifdef __arm__
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

// Where a comparison with a model ends that fails.
inline void disagree(const std::string &report) { ck_abort_msg("%s", report.c_str()); }

// ck_assert_str_eq() for texts of any kind and lifetime.
#define assert_text_eq(actual, expected)                                                                               \
    do {                                                                                                               \
        const std::string actual_text = (actual), expected_text = (expected);                                          \
        ck_assert_str_eq(actual_text.c_str(), expected_text.c_str());                                                  \
    } while (0)

// A value that the compiler doesn't know, and so doesn't warn of: what is wrong on purpose.
template <class Value>
Value unknown(Value value) {
    volatile Value copy = value;
    return copy;
}

// All bytes once, in their order.
inline std::string any_byte() {
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    return bytes;
}

inline std::string random_text(std::mt19937 &random, size_t length, std::string_view characters) {
    std::string text(length, '\0');
    for (char &ch : text)
        ch = characters[random() % characters.size()];
    return text;
}

// A program's arguments, as main() has them.
struct arguments {
    std::vector<std::string> texts;
    std::vector<char *> vector;

    arguments(std::initializer_list<const char *> list) : texts(list.begin(), list.end()) {
        for (std::string &text : texts)
            vector.push_back(text.data());
    }
    int32_t count() const { return static_cast<int32_t>(vector.size()); }
    std::string joined() const {
        std::string line;
        for (const char *text : vector)
            line += std::string(line.empty() ? "" : " ") + text;
        return line;
    }
};

// How a process of its own ends that exits with what the action returns.
template <class Action>
int status_of_child(Action action) {
    const pid_t child = fork();
    if (child == 0)
        _exit(action());
    int status = -1;
    ck_assert_int_eq(waitpid(child, &status, 0), child);
    return status;
}

// Runs action with the stream's descriptor sent to a temporary file and returns what arrived there.
template <class Action>
std::string captured(FILE *stream, Action action) {
    FILE *file = std::tmpfile();
    ck_assert_ptr_nonnull(file);
    std::fflush(stream);
    const int descriptor = fileno(stream);
    const int saved = dup(descriptor);
    ck_assert_int_ge(dup2(fileno(file), descriptor), 0);
    action();
    std::fflush(stream);
    ck_assert_int_ge(dup2(saved, descriptor), 0);
    close(saved);

    std::string text;
    std::rewind(file);
    for (int c; (c = std::fgetc(file)) != EOF;)
        text += static_cast<char>(c);
    std::fclose(file);
    return text;
}

// The action must abort a process of its own, with a report on the standard error stream that fnmatch() finds so.
template <class Action>
void assert_aborts(const std::string &pattern, Action action) {
    int status = 0;
    const std::string report = captured(stderr, [&] { status = status_of_child(action); });
    ck_assert_msg(WIFSIGNALED(status), "no abort for %s, but status %d", pattern.c_str(), status);
    ck_assert_int_eq(WTERMSIG(status), SIGABRT);
    ck_assert_msg(fnmatch(pattern.c_str(), report.c_str(), 0) == 0, "%s is no %s", report.c_str(), pattern.c_str());
}

// The SIMD levels of this architecture, and the library's hidden switch, which these programs can set since they link
// the archive: the highest level that it may use; on a processor without it, the next lower one.
extern "C" uint8_t vela_max_simd;

namespace simd {

struct level {
    const char *name;
    bool (*is_supported)();
    void (*use)(); // limits the library to this level
};

inline const level levels[] = {
#ifdef __wasm_simd128__
    {"simd128", [] { return true; }, [] { vela_max_simd = 0; }}, // always
#else
    {"scalar", [] { return true; }, [] { vela_max_simd = 0; }},
#endif
#if defined __arm__ && defined __ARM_FP
    {"neon", [] { return (getauxval(AT_HWCAP) & HWCAP_NEON) != 0; }, [] { vela_max_simd = 1; }},
#elif defined __aarch64__
    {"neon", [] { return true; }, [] { vela_max_simd = 1; }},
#elif defined __x86_64__
    {"avx2", [] { return __builtin_cpu_supports("avx2") != 0; }, [] { vela_max_simd = 2; }},
#endif
};

} // namespace simd

// The tests of all suites, in the order of their files.
inline std::vector<const TTest *> all_tests;

struct registered_test : TTest {
    explicit registered_test(const TTest &test) : TTest(test) { all_tests.push_back(this); }
};

// A test, which joins the suite of its file by being there.
#define TEST(name)                                                                                                     \
    static void name(int);                                                                                             \
    static const registered_test name##_test({#name, name, __FILE__, __LINE__});                                       \
    static void name(int)

// The tests of NAME.cpp, once for each SIMD level of this machine, in a case of its name. A file without a test ends
// the program.
inline Suite *suite_of(const char *name) {
    Suite *suite = suite_create(name); // which keeps it
    const std::string file = std::string("/") + name + ".cpp";
    const auto is_ours = [&](const TTest *test) { return std::string_view(test->file).ends_with(file); };
    if (std::none_of(all_tests.begin(), all_tests.end(), is_ours)) {
        std::fprintf(stderr, "%s holds no test\n", file.c_str() + 1);
        std::abort();
    }
    for (const simd::level &level : simd::levels) {
        if (!level.is_supported())
            continue;
        TCase *cases = tcase_create(level.name);
        tcase_set_timeout(cases, 240);
        tcase_add_checked_fixture(cases, level.use, nullptr);
        for (const TTest *test : all_tests)
            if (is_ours(test))
                tcase_add_test(cases, test);
        suite_add_tcase(suite, cases);
    }
    return suite;
}

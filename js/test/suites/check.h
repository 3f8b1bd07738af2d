// The part of Check that the suites use. A test that fails stops at once, since the program around throws an exception;
// it runs each test in an instance of its own, as Check does in a process.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

extern "C" [[noreturn, clang::import_module("env"), clang::import_name("test_failed")]] void
test_failed(const char *text, const char *file, int line, const char *function);

struct TTest {
    const char *name;
    void (*function)(int);
    const char *file;
    int line;
};

struct TCase {
    const char *name;
    void (*setup)();
    std::vector<const TTest *> tests;
};

struct Suite {
    const char *name;
    std::vector<TCase *> cases;
};

using ck_pointer = const void *;

inline Suite *suite_create(const char *name) { return new Suite{name, {}}; }
inline TCase *tcase_create(const char *name) { return new TCase{name, nullptr, {}}; }
inline void tcase_set_timeout(TCase *, double) {}
inline void tcase_add_checked_fixture(TCase *one, void (*setup)(), void (*)()) { one->setup = setup; }
inline void tcase_add_test(TCase *one, const TTest *test) { one->tests.push_back(test); }
inline void suite_add_tcase(Suite *suite, TCase *one) { suite->cases.push_back(one); }

#define ck_abort_msg(...)                                                                                              \
    do {                                                                                                               \
        char ck_text[1024];                                                                                            \
        std::snprintf(ck_text, sizeof ck_text, __VA_ARGS__);                                                           \
        test_failed(ck_text, __FILE__, __LINE__, __func__);                                                            \
    } while (0)
#define ck_assert_msg(condition, ...)                                                                                  \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            ck_abort_msg(__VA_ARGS__);                                                                                 \
    } while (0)
#define ck_assert(condition) ck_assert_msg(condition, "%s", #condition)

// Both sides as values of one type, in whose form they are printed.
#define CK_COMPARE(type, form, a, order, b)                                                                            \
    do {                                                                                                               \
        type ck_a = (a), ck_b = (b);                                                                                   \
        ck_assert_msg(ck_a order ck_b, "%s, but they are " form " and " form, #a " " #order " " #b, ck_a, ck_b);       \
    } while (0)
#define ck_assert_int_eq(a, b) CK_COMPARE(intmax_t, "%jd", a, ==, b)
#define ck_assert_int_ne(a, b) CK_COMPARE(intmax_t, "%jd", a, !=, b)
#define ck_assert_int_lt(a, b) CK_COMPARE(intmax_t, "%jd", a, <, b)
#define ck_assert_int_le(a, b) CK_COMPARE(intmax_t, "%jd", a, <=, b)
#define ck_assert_int_ge(a, b) CK_COMPARE(intmax_t, "%jd", a, >=, b)
#define ck_assert_uint_eq(a, b) CK_COMPARE(uintmax_t, "%ju", a, ==, b)
#define ck_assert_uint_ne(a, b) CK_COMPARE(uintmax_t, "%ju", a, !=, b)
#define ck_assert_uint_lt(a, b) CK_COMPARE(uintmax_t, "%ju", a, <, b)
#define ck_assert_uint_gt(a, b) CK_COMPARE(uintmax_t, "%ju", a, >, b)
#define ck_assert_uint_le(a, b) CK_COMPARE(uintmax_t, "%ju", a, <=, b)
#define ck_assert_uint_ge(a, b) CK_COMPARE(uintmax_t, "%ju", a, >=, b)
#define ck_assert_ptr_eq(a, b) CK_COMPARE(ck_pointer, "%p", a, ==, b)
#define ck_assert_float_eq(a, b) CK_COMPARE(double, "%g", a, ==, b)
#define ck_assert_float_gt(a, b) CK_COMPARE(double, "%g", a, >, b)
#define ck_assert_ptr_ne(a, b) CK_COMPARE(ck_pointer, "%p", a, !=, b)
#define ck_assert_ptr_null(a) ck_assert((a) == nullptr)
#define ck_assert_ptr_nonnull(a) ck_assert((a) != nullptr)
#define ck_assert_double_eq(a, b) CK_COMPARE(double, "%.17g", a, ==, b)
#define ck_assert_double_lt(a, b) CK_COMPARE(double, "%.17g", a, <, b)
#define ck_assert_double_le(a, b) CK_COMPARE(double, "%.17g", a, <=, b)
#define ck_assert_ldouble_lt(a, b) ck_assert((a) < (b))
#define ck_assert_double_eq_tol(a, b, tolerance) CK_COMPARE(double, "%.17g", std::fabs((a) - (b)), <=, tolerance)
#define ck_assert_float_eq_tol(a, b, tolerance) ck_assert_double_eq_tol(a, b, tolerance)
#define ck_assert_mem_eq(a, b, size) ck_assert(std::memcmp(a, b, size) == 0)
// Texts, of which either may be null.
#define ck_assert_pstr_eq(a, b)                                                                                        \
    do {                                                                                                               \
        const char *const ck_a = (a), *const ck_b = (b);                                                               \
        ck_assert_msg(ck_a &&ck_b ? std::strcmp(ck_a, ck_b) == 0 : ck_a == ck_b, "%s is '%s', not '%s'", #a,           \
                      ck_a ? ck_a : "(null)", ck_b ? ck_b : "(null)");                                                 \
    } while (0)
#define ck_assert_str_eq(a, b)                                                                                         \
    do {                                                                                                               \
        ck_assert((a) && (b));                                                                                         \
        ck_assert_pstr_eq(a, b);                                                                                       \
    } while (0)

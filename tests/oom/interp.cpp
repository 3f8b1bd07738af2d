#include "../support.hpp"
#include "allocator.hpp"
#include <csignal>
#include <cstdlib>
#include <sys/wait.h>
#include <vela/interp.h>

namespace {

const interp_knot kKnots[] = {{0, 0}, {4, 100}, {8, 0}};
const interp_curve kCurve = {INTERP_SPLI, 3, kKnots};

// Runs the call with its first allocation failing in a process of its own, and returns what that reports as it aborts.
std::string report_of(void (*call)()) {
    int status = 0;
    const std::string report = captured(stderr, [&] {
        const pid_t child = fork();
        if (child == 0) {
            oom::fail_after(0);
            call();
            _exit(EXIT_SUCCESS);
        }
        waitpid(child, &status, 0);
    });
    ck_assert(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
    return report;
}

} // namespace

START_TEST(scratch_memory)
{
    static int16_t out[9];
    static int32_t y2[3];
    static float values[9];
    const struct {
        void (*call)();
        const char *function, *assertion;
    } rows[] = {
        {[] { spline_c(&kCurve, y2); }, "spline_c(", "Assertion `u != ((void *)0)' failed"},
        {[] { spline_float(&kCurve, values); }, "spline_float(", "Assertion `u != ((void *)0)' failed"},
        {[] { spline_interpolate(&kCurve, out); }, "spline_interpolate(", "Assertion `y2 != ((void *)0)' failed"},
        {[] { spline_interpolate_float(&kCurve, values); }, "spline_interpolate_float(",
         "Assertion `y2 != ((void *)0)' failed"},
    };
    for (const auto &row : rows) {
        const int before = oom::live_blocks();
        row.call();
        ck_assert_int_eq(oom::live_blocks(), before);
        const std::string report = report_of(row.call);
        for (const char *part : {"source/interp.cpp:", row.function, row.assertion})
            ck_assert_msg(report.find(part) != std::string::npos, "no %s in %s", part, report.c_str());
    }
}
END_TEST

Suite *interp_suite() {
    Suite *suite = suite_create("interp");
    TCase *tests = tcase_create("out of memory");
    tcase_add_test(tests, scratch_memory);
    suite_add_tcase(suite, tests);
    return suite;
}

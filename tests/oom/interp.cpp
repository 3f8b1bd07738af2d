#include "../support.hpp"
#include "allocator.hpp"
#include <csignal>
#include <sys/wait.h>
#include <vela/interp.h>

// Scratch memory is given back; without it the call aborts, which is tried in a process of its own, and reports why.
START_TEST(scratch_memory)
{
    static const interp_knot knots[] = {{0, 0}, {4, 100}, {8, 0}};
    static const interp_curve curve = {INTERP_SPLI, 3, knots};
    static int16_t out[9];
    static int32_t y2[3];
    static float values[9];
    // clang-format off
    const struct { void (*call)(); std::string function, scratch; } rows[] = {
        {[] { spline_c(&curve, y2); }, "spline_c(", "u"},
        {[] { spline_float(&curve, values); }, "spline_float(", "u"},
        {[] { spline_interpolate(&curve, out); }, "spline_interpolate(", "y2"},
        {[] { spline_interpolate_float(&curve, values); }, "spline_interpolate_float(", "y2"},
    };
    // clang-format on
    for (const auto &row : rows) {
        const int before = oom::live_blocks();
        row.call();
        ck_assert_int_eq(oom::live_blocks(), before);
        int status = 0;
        const std::string report = captured(stderr, [&] {
            const pid_t child = fork();
            if (child == 0) {
                oom::fail_after(0);
                row.call();
                _exit(0);
            }
            waitpid(child, &status, 0);
        });
        ck_assert(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
        for (const auto &part :
             {std::string("source/interp.cpp:"), row.function, "Assertion `" + row.scratch + " != ((void *)0)' failed"})
            ck_assert_msg(report.find(part) != std::string::npos, "no %s in %s", part.c_str(), report.c_str());
    }
}
END_TEST

Suite *interp_suite() { return suite_of("interp", {scratch_memory}); }

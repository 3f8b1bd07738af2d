// The test runner: every suite of this directory, chosen and run through the library's own harness options.
#include "support.hpp"
#include <cstdio>
#include <cstdlib>
#include <vela/check.h>

#define SUITE(name)                                                                                                    \
    static Suite *name##_suite() { return suite_of(#name); }
#include "suites.inc"
#undef SUITE

// The exit code that CTest takes for a skipped test: all that could run has passed.
constexpr int kSkipped = 77;

int main(int argc, char **argv) {
    vela_check_config config;
    if (!__vela_check_parse_cmdline(argc, argv, &config)) {
        __vela_check_destroy_cfg(&config);
        return EXIT_FAILURE;
    }

    SRunner *runner = nullptr;
#define SUITE(name)                                                                                                    \
    __vela_check_add_suite_if_enabled(&runner, #name, name##_suite, &config, srunner_create, srunner_add_suite);
#include "suites.inc"
#undef SUITE
    if (!runner) {
        std::fprintf(stderr, "no suite named %s\n", config.suite_name);
        __vela_check_destroy_cfg(&config);
        return EXIT_FAILURE;
    }

    if (config.no_fork)
        srunner_set_fork_status(runner, CK_NOFORK);
    if (config.xml_log)
        srunner_set_xml(runner, config.xml_log);
    srunner_run_all(runner, static_cast<print_output>(config.verbosity));
    const bool passed = srunner_ntests_run(runner) > 0 && srunner_ntests_failed(runner) == 0;
    srunner_free(runner);
    __vela_check_destroy_cfg(&config);
    if (!passed)
        return EXIT_FAILURE;

    bool is_complete = true;
    for (const simd::level &level : simd::levels)
        if (!level.is_supported()) {
            std::printf("skipped: this machine has no %s\n", level.name);
            is_complete = false;
        }
    return is_complete ? EXIT_SUCCESS : kSkipped;
}

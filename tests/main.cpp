// The test runner: every suite of this folder, chosen and run through the library's own harness options.
#include "support.hpp"
#include <cstdio>
#include <cstdlib>
#include <vela/check.h>

#define SUITE(name)                                                                                                    \
    static Suite *name##_suite() { return suite_of(#name); }
#include "suites.inc"
#undef SUITE

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

    for (const simd::level &level : simd::levels)
        if (!level.is_supported())
            std::printf("This machine has no %s: those paths are not tested.\n", level.name);
    if (config.no_fork)
        srunner_set_fork_status(runner, CK_NOFORK);
    if (config.xml_log)
        srunner_set_xml(runner, config.xml_log);
    srunner_run_all(runner, static_cast<print_output>(config.verbosity));
    const int failed = srunner_ntests_failed(runner);
    srunner_free(runner);
    __vela_check_destroy_cfg(&config);
    return failed ? EXIT_FAILURE : EXIT_SUCCESS;
}

#include "allocator.hpp"
#include <vela/check.h>
#include <vela/cmdline.h>

// A string that can't be copied leaves its field null; the parse goes on.
START_TEST(strings_that_cannot_be_copied)
{
    oom::each_allocation_fails([] {
        char program[] = "tests", suite[] = "-s", name[] = "url", xml[] = "-x", file[] = "log.xml", verbose[] = "-v";
        char *argv[] = {program, suite, name, suite, name, xml, file, verbose};
        vela_check_config config;
        cmdline_reset();
        ck_assert_int_eq(__vela_check_parse_cmdline(8, argv, &config), 1);
        ck_assert_int_eq(config.verbosity, 3);
        __vela_check_destroy_cfg(&config);
        ck_assert_ptr_null(config.suite_name);
        ck_assert_ptr_null(config.xml_log);
    });
}
END_TEST

Suite *check_suite() {
    Suite *suite = suite_create("check");
    TCase *tests = tcase_create("out of memory");
    tcase_add_test(tests, strings_that_cannot_be_copied);
    suite_add_tcase(suite, tests);
    return suite;
}

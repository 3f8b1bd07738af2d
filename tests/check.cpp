#include "support.hpp"
#include <check.h>
#include <cstring>
#include <string>
#include <vela/check.h>
#include <vela/cmdline.h>

namespace {

// Parses the arguments behind the program's name. The strings stay where they are; only their order may
// change.
int32_t parse(std::initializer_list<const char *> given, vela_check_config *config) {
    char *argv[16] = {};
    int32_t argc = 0;
    argv[argc++] = const_cast<char *>("tests");
    for (const char *argument : given)
        argv[argc++] = const_cast<char *>(argument);
    cmdline_reset();
    return __vela_check_parse_cmdline(argc, argv, config);
}

// A framework that only writes down what it is asked for.
std::string calls;
Suite *const kSuite = reinterpret_cast<Suite *>(&calls);
SRunner *const kRunner = reinterpret_cast<SRunner *>(&calls);

Suite *make_suite() { return calls += "make ", kSuite; }
SRunner *create_runner(Suite *suite) { return calls += suite == kSuite ? "create " : "?", kRunner; }
void add_suite(SRunner *runner, Suite *suite) { calls += runner == kRunner && suite == kSuite ? "add " : "?"; }

} // namespace

TEST(configurations) {
    struct row {
        std::initializer_list<const char *> given;
        int32_t result, verbosity, no_fork;
        const char *suite, *xml;
    };
    const row rows[] = {
        {{}, 1, 2, 0, nullptr, nullptr},
        {{"-v", "-q"}, 1, 0, 0, nullptr, nullptr},
        {{"-q", "operand", "-v"}, 1, 3, 0, nullptr, nullptr},
        {{"--nofork", "--suite", "url", "--xml", "log"}, 1, 2, 1, "url", "log"},
        {{"-vFs", "first", "-s", "second", "-x", "a", "-x", "b"}, 1, 3, 1, "second", "b"},
        {{"-s"}, 1, 2, 0, nullptr, nullptr},
        {{"-s", "kept", "-?", "-F"}, 0, 2, 0, "kept", nullptr},
        {{"-F", "--help", "-q"}, 0, 2, 1, nullptr, nullptr},
    };
    for (const row &row : rows) {
        vela_check_config config;
        std::memset(&config, 0x55, sizeof config);
        captured(stdout, [&] { ck_assert_int_eq(parse(row.given, &config), row.result); });
        ck_assert_int_eq(config.verbosity, row.verbosity);
        ck_assert_int_eq(config.no_fork, row.no_fork);
        ck_assert_pstr_eq(config.suite_name, row.suite);
        ck_assert_pstr_eq(config.xml_log, row.xml);
        for (int i = 0; i < 2; ++i) {
            __vela_check_destroy_cfg(&config);
            ck_assert_ptr_null(config.suite_name);
            ck_assert_ptr_null(config.xml_log);
            ck_assert_int_eq(config.verbosity, row.verbosity);
        }
    }
}

TEST(usage_for_unknown_options) {
    vela_check_config config;
    const std::string output = captured(stdout, [&] { parse({"--help"}, &config); });
    assert_text_eq(output, "unknown option: help\n"
                           "usage: check [options]\n"
                           "  -F,--nofork                 do not fork tests\n"
                           "  -v,--verbose                verbose output mode\n"
                           "  -q,--quiet                  quiet output mode\n"
                           "  -s,--suite=VAL              run only a particular suite\n"
                           "  -x,--xml=VAL                log xml to the specified file\n"
                           "  -?,--help                   display command help\n");
    __vela_check_destroy_cfg(&config);
}

TEST(suites_reach_the_runner) {
    char name[] = "geometry";
    const vela_check_config only = {2, 0, nullptr, name}, all = {2, 0, nullptr, nullptr};
    SRunner *runner = nullptr;
    const auto add = [&](const char *suite, const vela_check_config &config) {
        __vela_check_add_suite_if_enabled(&runner, suite, make_suite, &config, create_runner, add_suite);
    };
    add("geometr", only);
    add("Geometry", only);
    ck_assert_ptr_null(runner);
    add("geometry", only);
    ck_assert_ptr_eq(runner, kRunner);
    add("a", all);
    add("b", all);
    assert_text_eq(calls, "make create make add make add ");
}

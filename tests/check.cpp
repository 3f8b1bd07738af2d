#include "support.hpp"
#include <cstring>
#include <vela/check.h>
#include <vela/cmdline.h>

namespace {

std::string described(const vela_check_config &config) {
    return std::to_string(config.verbosity) + " " + std::to_string(config.no_fork) + " " +
           (config.suite_name ? config.suite_name : "-") + " " + (config.xml_log ? config.xml_log : "-");
}

// A framework that only writes down what it is asked for.
std::string calls;
Suite *const kSuite = reinterpret_cast<Suite *>(&calls);
SRunner *const kRunner = reinterpret_cast<SRunner *>(&calls);

Suite *make_suite() { return calls += "make ", kSuite; }
SRunner *create_runner(Suite *suite) { return calls += suite == kSuite ? "create " : "?", kRunner; }
void add_suite(SRunner *runner, Suite *suite) { calls += runner == kRunner && suite == kSuite ? "add " : "?"; }

} // namespace

// Each row: arguments, the result, and verbosity, whether nothing forks, suite and log.
TEST(configurations) {
    const struct {
        std::initializer_list<const char *> given;
        int32_t result;
        const char *made;
    } rows[] = {
        {{"tests"}, 1, "2 0 - -"},
        {{"tests", "-v", "-q"}, 1, "0 0 - -"},
        {{"tests", "-q", "operand", "-v"}, 1, "3 0 - -"},
        {{"tests", "--nofork", "--suite", "url", "--xml", "log"}, 1, "2 1 url log"},
        {{"tests", "-vFs", "first", "-s", "second", "-x", "a", "-x", "b"}, 1, "3 1 second b"},
        {{"tests", "-s"}, 1, "2 0 - -"},
        {{"tests", "-s", "kept", "-?", "-F"}, 0, "2 0 kept -"},
        {{"tests", "-F", "--help", "-q"}, 0, "2 1 - -"},
    };
    for (const auto &[given, result, made] : rows) {
        arguments list(given);
        vela_check_config config;
        std::memset(&config, 0x55, sizeof config);
        cmdline_reset();
        captured(stdout, [&, expected = result] {
            ck_assert_int_eq(__vela_check_parse_cmdline(list.count(), list.vector.data(), &config), expected);
        });
        assert_text_eq(described(config), made);
        for (int i = 0; i < 2; ++i) {
            __vela_check_destroy_cfg(&config);
            ck_assert_ptr_null(config.suite_name);
            ck_assert_ptr_null(config.xml_log);
        }
    }
}

TEST(usage_for_unknown_options) {
    arguments given = {"tests", "--help"};
    vela_check_config config;
    cmdline_reset();
    const std::string output =
        captured(stdout, [&] { (void)__vela_check_parse_cmdline(given.count(), given.vector.data(), &config); });
    assert_text_eq(output, "unknown option: help\n"
                           "usage: check [options]\n"
                           "  -F,--nofork                 do not fork tests\n"
                           "  -v,--verbose                verbose output mode\n"
                           "  -q,--quiet                  quiet output mode\n"
                           "  -s,--suite=VAL              run only a particular suite\n"
                           "  -x,--xml=VAL                log xml to the specified file\n"
                           "  -?,--help                   display command help\n");
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

// The options of a unit-test program, and the registration of the suites that they select.
#include <cstdlib>
#include <cstring>
#include <vela/check.h>
#include <vela/cmdline.h>

namespace {

enum print_mode { kSilent = 0, kNormal = 2, kVerbose = 3 };

constexpr cmdline_option kOptions[] = {
    {'F', "nofork", "do not fork tests", 0},
    {'v', "verbose", "verbose output mode", 0},
    {'q', "quiet", "quiet output mode", 0},
    {'s', "suite", "run only a particular suite", CMDLINE_REQUIRED},
    {'x', "xml", "log xml to the specified file", CMDLINE_REQUIRED},
    {},
};

void replace_string(char *&slot, const char *text) {
    std::free(slot);
    slot = strdup(text);
}

} // namespace

int32_t __vela_check_parse_cmdline(int32_t argc, char **argv, vela_check_config *config) {
    *config = {kNormal, 0, nullptr, nullptr};
    for (int option; (option = cmdline_getopt(argc, argv, kOptions)) >= 0;) {
        switch (option) {
        case '?':
            cmdline_usage(kOptions, "check", nullptr);
            return 0;
        case 'F':
            config->no_fork = 1;
            break;
        case 'v':
            config->verbosity = kVerbose;
            break;
        case 'q':
            config->verbosity = kSilent;
            break;
        case 's':
            replace_string(config->suite_name, cmdline_optarg);
            break;
        case 'x':
            replace_string(config->xml_log, cmdline_optarg);
            break;
        default: // an operand, or an option whose value is missing
            break;
        }
    }
    return 1;
}

void __vela_check_add_suite_if_enabled(struct SRunner **runner_slot, const char *suite_name,
                                       struct Suite *(*make_suite)(void), const vela_check_config *config,
                                       struct SRunner *(*create_runner)(struct Suite *suite),
                                       void (*add_suite)(struct SRunner *runner, struct Suite *suite)) {
    if (config->suite_name && std::strcmp(config->suite_name, suite_name) != 0)
        return;
    Suite *suite = make_suite();
    if (*runner_slot)
        add_suite(*runner_slot, suite);
    else
        *runner_slot = create_runner(suite);
}

void __vela_check_destroy_cfg(vela_check_config *config) {
    std::free(config->suite_name);
    std::free(config->xml_log);
    config->suite_name = nullptr;
    config->xml_log = nullptr;
}

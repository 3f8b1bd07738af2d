// Makes random UUIDs, or reads some in any form and prints them in one.
#include "options.hpp"
#include <cstdio>
#include <cstdlib>
#include <vela/uuid.h>

namespace {

constexpr cmdline_option kOptions[] = {
    {'n', "count", "how many to make (1)", CMDLINE_REQUIRED},
    {'b', "braced", "print them in braces", 0},
    {'p', "plain", "print them without dashes", 0},
    {},
};

constexpr long kMost = 1000000;
constexpr char kDashed[] = "%02hhx%02hhx%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-"
                           "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx";
constexpr char kPlain[] = "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx"
                          "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx";

int usage() {
    cmdline_usage(kOptions, "uuid", "[options] [UUID...]");
    return EXIT_FAILURE;
}

void print(char form, const uint8_t *uuid) {
    if (form == 'b')
        uuid_fprint(stdout, uuid);
    else
        uuid_fprintf(stdout, form == 'p' ? kPlain : kDashed, uuid);
    std::putchar('\n');
}

// A number from 1 to kMost, or 0.
long count_of(const char *text) {
    char *end;
    const long count = std::strtol(text, &end, 10);
    return end != text && !*end && 0 < count && count <= kMost ? count : 0;
}

} // namespace

int main(int argc, char **argv) {
    long count = 1;
    char form = 'd';
    for (int option; (option = next_option(argc, argv, kOptions, usage)) >= 0;) {
        if (option == 'b' || option == 'p')
            form = static_cast<char>(option);
        if (option == 'n' && !(count = count_of(cmdline_optarg))) {
            std::fprintf(stderr, "uuid: no count from 1 to %ld: %s\n", kMost, cmdline_optarg);
            return EXIT_FAILURE;
        }
    }

    uint8_t uuid[16];
    for (; cmdline_optidx == argc && count; --count) {
        uuid_create(uuid);
        print(form, uuid);
    }
    for (; cmdline_optidx < argc; ++cmdline_optidx) {
        if (uuid_scan(argv[cmdline_optidx], uuid) != 0) {
            std::fprintf(stderr, "uuid: no UUID: %s\n", argv[cmdline_optidx]);
            return EXIT_FAILURE;
        }
        print(form, uuid);
    }
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

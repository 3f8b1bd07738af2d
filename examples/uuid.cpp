// Makes random UUIDs, or reads UUIDs in any form and prints them in one form.
#include "options.hpp"
#include <cstdio>
#include <cstdlib>
#include <vela/cpp/uuid.hpp>

namespace {

constexpr cmdline_option kOptions[] = {
    {'n', "count", "number of UUIDs to make (1)", CMDLINE_REQUIRED},
    {'b', "braced", "print them in braces", 0},
    {'p', "plain", "print them without dashes", 0},
    {},
};

constexpr long kMaxCount = 1000000;

int usage() {
    cmdline_usage(kOptions, "uuid", "[options] [UUID...]");
    return EXIT_FAILURE;
}

void print(const vela::uuid &uuid, vela::uuid::form form) { std::puts(uuid.to_string(form).c_str()); }

// A number from 1 to kMaxCount, or 0.
long count_of(const char *text) {
    char *end;
    const long count = std::strtol(text, &end, 10);
    return end != text && !*end && 0 < count && count <= kMaxCount ? count : 0;
}

} // namespace

int main(int argc, char **argv) {
    long count = 1;
    auto form = vela::uuid::form::dashed;
    for (int option; (option = next_option(argc, argv, kOptions, usage)) >= 0;) {
        if (option == 'b')
            form = vela::uuid::form::braced;
        if (option == 'p')
            form = vela::uuid::form::plain;
        if (option == 'n' && !(count = count_of(cmdline_optarg))) {
            std::fprintf(stderr, "uuid: not a count from 1 to %ld: %s\n", kMaxCount, cmdline_optarg);
            return EXIT_FAILURE;
        }
    }

    if (cmdline_optidx == argc)
        for (; count; --count) {
            const auto uuid = vela::uuid::random();
            if (!uuid) {
                std::perror("uuid");
                return EXIT_FAILURE;
            }
            print(*uuid, form);
        }
    for (; cmdline_optidx < argc; ++cmdline_optidx) {
        const auto uuid = vela::uuid::parse(argv[cmdline_optidx]);
        if (!uuid) {
            std::fprintf(stderr, "uuid: not a UUID: %s\n", argv[cmdline_optidx]);
            return EXIT_FAILURE;
        }
        print(*uuid, form);
    }
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

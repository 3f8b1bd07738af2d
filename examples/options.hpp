// The options of an example's command line.
#pragma once

#include <cstdlib>
#include <cstring>
#include <vela/cmdline.h>

// The next option, or -1 when only operands are left. Prints the usage screen and exits: with success for --help, with
// failure for an unknown option or a missing value, after the library's message.
inline int next_option(int argc, char **argv, const cmdline_option *options, int (*usage)()) {
    for (;;) {
        const int32_t before = cmdline_optidx;
        if (before < argc && (std::strcmp(argv[before], "--help") == 0 || std::strcmp(argv[before], "-?") == 0)) {
            usage();
            std::exit(EXIT_SUCCESS);
        }
        const int option = cmdline_getopt(argc, argv, options);
        // 0 is an operand, which moves to the end, or an option whose value is missing, which is skipped.
        if (option == '?' || (option == 0 && cmdline_optidx != before))
            std::exit(usage());
        if (option != 0)
            return option;
    }
}

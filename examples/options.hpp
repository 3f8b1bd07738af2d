// The options of an example's command line.
#pragma once

#include <cstdlib>
#include <cstring>
#include <vela/cmdline.h>

// Takes the next option, past the operands, and is -1 when none is left. Shows the usage screen and ends the program,
// well after --help and as a failure where an option is unknown or lacks its value, which the library has said by then.
inline int next_option(int argc, char **argv, const cmdline_option *options, int (*usage)()) {
    for (;;) {
        const int32_t before = cmdline_optidx;
        if (before < argc && (std::strcmp(argv[before], "--help") == 0 || std::strcmp(argv[before], "-?") == 0)) {
            usage();
            std::exit(EXIT_SUCCESS);
        }
        const int option = cmdline_getopt(argc, argv, options);
        // 0 is an operand, which moves to the end, or an option without its value, which is passed over.
        if (option == '?' || (option == 0 && cmdline_optidx != before))
            std::exit(usage());
        if (option != 0)
            return option;
    }
}

#include "device.hpp"
#include <algorithm>
#include <array>
#include <vela/cmdline.h>

static const device::cases registered([] {
    constexpr unsigned kArguments = 12;
    device::add("cmdline_getopt", "argument", kArguments, [] {
        static char program[] = "program", cluster[] = "-vq", suite[] = "--suite", name[] = "resample",
                    verbose[] = "--verbose", output[] = "-o", operand[] = "file";
        const std::array<char *, kArguments + 1> given = {program, cluster, suite,   name,    operand, verbose, output,
                                                          operand, suite,   cluster, operand, output,  cluster};
        return [given] {
            static constexpr cmdline_option options[] = {
                {'F', "nofork", "", 0},
                {'v', "verbose", "", 0},
                {'q', "quiet", "", 0},
                {'s', "suite", "", CMDLINE_REQUIRED},
                {'o', "output", "", CMDLINE_OPTIONAL},
                {},
            };
            std::array<char *, kArguments + 1> argv = given;
            cmdline_reset();
            while (cmdline_getopt(kArguments + 1, argv.data(), options) >= 0)
                ;
        };
    });
});

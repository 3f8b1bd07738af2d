// Lists the paths below a directory that match an extended regular expression.
#include "options.hpp"
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vela/cpp/walk.hpp>

namespace {

constexpr cmdline_option kOptions[] = {
    {'r', "recurse", "descend into subdirectories", 0},
    {'l', "links", "list symbolic links too", 0},
    {'h', "hidden", "visit names that begin with a dot", 0},
    {'d', "dirs", "list directories too", 0},
    {'0', "null", "end each path with a NUL instead of a newline", 0},
    {},
};

int usage() {
    cmdline_usage(kOptions, "find", "[options] DIR PATTERN");
    return EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv) {
    using enum vela::walk::flags;
    auto flags = none;
    char end = '\n';
    for (int option; (option = next_option(argc, argv, kOptions, usage)) >= 0;) {
        switch (option) {
        case 'r':
            flags = flags | recurse;
            break;
        case 'l':
            flags = flags | links;
            break;
        case 'h':
            flags = flags | hidden;
            break;
        case 'd':
            flags = flags | directories;
            break;
        case '0':
            end = '\0';
            break;
        default:
            break;
        }
    }
    if (argc - cmdline_optidx != 2)
        return usage();

    const char *dir = argv[cmdline_optidx], *pattern = argv[cmdline_optidx + 1];
    const auto found = vela::walk::make(dir, pattern, flags);
    if (!found) {
        std::fprintf(stderr, "find: \"%s\" is not a regular expression, or the path is too long\n", pattern);
        return EXIT_FAILURE;
    }
    for (const std::string_view path : *found) {
        std::fwrite(path.data(), 1, path.size(), stdout);
        std::putchar(end);
    }
    return std::fflush(stdout) == 0 && found->is_complete() ? EXIT_SUCCESS : EXIT_FAILURE;
}

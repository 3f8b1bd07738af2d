// Lists the paths below a folder that match an extended regular expression.
#include "options.hpp"
#include <cstdio>
#include <cstdlib>
#include <vela/filesystem.h>

namespace {

constexpr cmdline_option kOptions[] = {
    {'r', "recurse", "descend into subdirectories", 0},
    {'l', "links", "list symbolic links too", 0},
    {'h', "hidden", "visit names that begin with a dot", 0},
    {'d', "dirs", "list directories too", 0},
    {'0', "null", "end each path with a NUL instead of a new line", 0},
    {},
};

int usage() {
    cmdline_usage(kOptions, "find", "[options] DIR PATTERN");
    return EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv) {
    int32_t flags = 0;
    char end = '\n';
    for (int option; (option = next_option(argc, argv, kOptions, usage)) >= 0;) {
        switch (option) {
        case 'r':
            flags |= WALK_RECURSE;
            break;
        case 'l':
            flags |= WALK_LINKS;
            break;
        case 'h':
            flags |= WALK_HIDDEN;
            break;
        case 'd':
            flags |= WALK_DIRS;
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
    char **names = nullptr;
    const int32_t result = walk_dir(dir, pattern, flags, &names);
    if (result == 1)
        std::fprintf(stderr, "find: \"%s\" is no regular expression\n", pattern);
    if (result == 2)
        std::fprintf(stderr, "find: the folder's path is too long\n");
    for (char **name = names; name && *name; ++name) {
        std::printf("%s%c", *name, end);
        std::free(*name);
    }
    std::free(names);
    return result ? EXIT_FAILURE : EXIT_SUCCESS;
}

// Lists the paths below a directory that match an extended regular expression.
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vela/cpp/options.hpp>
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

} // namespace

int main(int argc, char **argv) {
    using enum vela::walk::flags;
    auto flags = none;
    char end = '\n';
    vela::options options(argc, argv, kOptions, "find", "[options] DIR PATTERN");
    while (const int option = options.next()) {
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
    if (const auto status = options.finish(2, 2))
        return *status;

    const char *dir = options.operands()[0], *pattern = options.operands()[1];
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

// Command-line options: the parser, which moves operands after the options, and the usage screen.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vela/cmdline.h>

int32_t cmdline_optidx = 1;
char *cmdline_optarg = nullptr;

namespace {

constexpr int16_t kDone = -1;
constexpr int16_t kNothing = 0;
constexpr int16_t kUnknown = '?';
constexpr int kHelpColumn = 30;
constexpr cmdline_option kHelpOption = {'?', "help", "display command help", 0};

// Characters already taken from the cluster of short options at cmdline_optidx; 0 when none is in progress.
uint32_t cluster_position = 0;
// Operands moved to the end of the vector so far.
uint32_t moved_count = 0;

int16_t result_of(const cmdline_option &option) { return static_cast<unsigned char>(option.short_name); }

template <class Predicate>
const cmdline_option *find_option(const cmdline_option *options, Predicate matches) {
    for (; options && options->short_name; ++options)
        if (matches(*options))
            return options;
    return nullptr;
}

// The part of the argument vector that one call examines: without the operands already moved to its end.
struct remaining_arguments {
    char **argv;
    uint32_t limit;

    bool empty() const { return static_cast<uint32_t>(cmdline_optidx) >= limit; }
    char *front() const { return argv[cmdline_optidx]; }
    char *take() const { return argv[cmdline_optidx++]; }
};

// Skips the argument that holds the option just found, even in the middle of a cluster.
void end_cluster() {
    if (cluster_position) {
        cluster_position = 0;
        ++cmdline_optidx;
    }
}

int16_t take_value(const remaining_arguments &arguments, const cmdline_option &option) {
    if (option.flags & CMDLINE_OPTIONAL) {
        end_cluster();
        if (!arguments.empty() && arguments.front()[0] != '-')
            cmdline_optarg = arguments.take();
    } else if (option.flags & CMDLINE_REQUIRED) {
        end_cluster();
        if (arguments.empty()) {
            std::printf("missing required argument for option: %c\n", option.short_name);
            return kNothing;
        }
        cmdline_optarg = arguments.take();
    }
    return result_of(option);
}

int16_t take_long_option(const remaining_arguments &arguments, const cmdline_option *options) {
    const char *name = arguments.take() + 2;
    cluster_position = 0;
    const auto *option = find_option(options, [name](const cmdline_option &candidate) {
        return candidate.long_name && std::strcmp(candidate.long_name, name) == 0;
    });
    if (!option) {
        std::printf("unknown option: %s\n", name);
        return kUnknown;
    }
    return take_value(arguments, *option);
}

int16_t take_short_option(const remaining_arguments &arguments, const cmdline_option *options, size_t length) {
    // A caller that moved cmdline_optidx in the middle of a cluster starts the new one from its first option.
    if (++cluster_position >= length)
        cluster_position = 1;
    const char name = arguments.front()[cluster_position];
    if (cluster_position == length - 1)
        end_cluster();
    const auto *option =
        find_option(options, [name](const cmdline_option &candidate) { return candidate.short_name == name; });
    if (!option) {
        if (name != '?')
            std::printf("unknown option: %c\n", name);
        return kUnknown;
    }
    return take_value(arguments, *option);
}

int16_t move_operand(char **argv, int32_t argc) {
    std::rotate(argv + cmdline_optidx, argv + cmdline_optidx + 1, argv + argc);
    ++moved_count;
    return kNothing;
}

void print_option(const cmdline_option &option) {
    int column = std::printf("  -%c", option.short_name);
    if (option.long_name)
        column += std::printf(",--%s", option.long_name);
    const char *value = "";
    if (option.flags & CMDLINE_OPTIONAL)
        value = option.long_name ? "[=VAL]" : " [<val>]";
    else if (option.flags & CMDLINE_REQUIRED)
        value = option.long_name ? "=VAL" : " <val>";
    column += std::printf("%s", value);
    if (column >= kHelpColumn) {
        std::printf("\n");
        column = 0;
    }
    std::printf("%*s%s\n", kHelpColumn - column, "", option.help ? option.help : "");
}

} // namespace

void cmdline_reset(void) {
    cluster_position = 0;
    moved_count = 0;
    cmdline_optidx = 1;
    cmdline_optarg = nullptr;
}

int16_t cmdline_getopt(int32_t argc, char **argv, const cmdline_option *options) {
    const auto count = static_cast<uint32_t>(argc);
    // Without a reset, operands of an earlier vector count, which may have been longer than this one.
    const remaining_arguments arguments = {argv, count - std::min(moved_count, count)};
    if (arguments.empty())
        return kDone;
    cmdline_optarg = nullptr;

    const char *argument = arguments.front();
    const size_t length = std::strlen(argument);
    if (length > 2 && argument[0] == '-' && argument[1] == '-')
        return take_long_option(arguments, options);
    if (length >= 2 && argument[0] == '-')
        return take_short_option(arguments, options, length);
    return move_operand(argv, argc);
}

void cmdline_usage(const cmdline_option *options, const char *program_name, const char *synopsis) {
    std::printf("usage: %s %s\n", program_name, synopsis ? synopsis : "[options]");
    for (; options && options->short_name; ++options)
        print_option(*options);
    print_option(kHelpOption);
}

void cmdline_print(int32_t argc, char **argv, int32_t first) {
    std::puts("cmdline: ");
    for (auto i = static_cast<uint32_t>(first); i < static_cast<uint32_t>(argc); ++i)
        std::printf("  <%s>\n", argv[i]);
}

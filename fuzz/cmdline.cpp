// The options that a parse finds, against those of a second one, of what the first left in front.
#include "fuzz.hpp"
#include <vela/cmdline.h>

namespace {

constexpr cmdline_option kOptions[] = {
    {'v', "verbose", "flag", 0},
    {'r', "rate", "value", CMDLINE_REQUIRED},
    {'o', "output", "value or not", CMDLINE_OPTIONAL},
    {'b', nullptr, nullptr, CMDLINE_REQUIRED | CMDLINE_OPTIONAL},
    {'\xe9', "e", "above 127", CMDLINE_REQUIRED},
    {},
};

// The options in order, with their values; counts the operands that are moved out of their way.
std::vector<std::pair<int, const char *>> parse(char **argv, int32_t argc, int32_t *operands) {
    std::vector<std::pair<int, const char *>> steps;
    cmdline_reset();
    *operands = 0;
    for (int limit = 10000;; assert(--limit)) {
        const int32_t before = cmdline_optidx;
        const std::string argument = before < argc ? argv[before] : "";
        const int result = cmdline_getopt(argc, argv, kOptions);
        if (result == -1)
            return steps;
        // An operand is moved without the cursor's moving on.
        if (result == 0 && cmdline_optidx == before && (argument[0] != '-' || argument.size() == 1))
            ++*operands;
        else
            steps.emplace_back(result, cmdline_optarg);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    // Arguments are NUL-terminated texts, each in a block of its own size.
    std::vector<std::vector<char>> texts = {{'p', '\0'}};
    for (const uint8_t *const end = bytes + size, *stop; (stop = std::find(bytes, end, 0)) != end; bytes = stop + 1)
        texts.emplace_back(bytes, stop + 1);
    std::vector<char *> argv;
    for (std::vector<char> &text : texts)
        argv.push_back(text.data());
    const std::vector<char *> given = argv;
    const auto argc = static_cast<int32_t>(argv.size());

    int32_t operands, others;
    const auto steps = parse(argv.data(), argc, &operands);
    const int32_t behind = cmdline_optidx;
    assert(argc - behind == operands && std::is_permutation(argv.begin(), argv.end(), given.begin()));
    // The operands keep their order.
    auto from = given.begin();
    for (auto operand = argv.begin() + behind; operand != argv.end(); ++operand)
        from = std::find(from, given.end(), *operand) + 1;
    argv.resize(static_cast<size_t>(behind));
    argv.shrink_to_fit();
    assert(parse(argv.data(), behind, &others) == steps && others == 0);
    return 0;
}

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

struct step {
    int result;
    const char *value;
    bool operator==(const step &other) const = default;
};

// The options in order, with their values, and how many operands were moved out of their way.
struct parse {
    std::vector<step> steps;
    int32_t operands = 0;

    parse(std::vector<char *> &argv, int32_t argc) {
        cmdline_reset();
        for (int result;;) {
            const int32_t before = cmdline_optidx;
            const char *const argument = before < argc ? argv[static_cast<size_t>(before)] : nullptr;
            if ((result = cmdline_getopt(argc, argv.data(), kOptions)) == -1)
                break;
            // An operand is moved without the cursor's moving on.
            if (result == 0 && cmdline_optidx == before && argument[0] != '-')
                ++operands;
            else if (result == 0 && cmdline_optidx == before && !argument[1])
                ++operands;
            else
                steps.push_back({result, cmdline_optarg});
            assert(steps.size() + static_cast<size_t>(operands) < 10000);
        }
    }
};

} // namespace

// A second parse, of the options alone that the first one left in front, finds the same.
int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    // Arguments are NUL-terminated texts, each in a block of its own size.
    std::vector<std::vector<char>> texts = {{'p', '\0'}, {}};
    for (size_t i = 0; i < size; ++i) {
        texts.back().push_back(static_cast<char>(bytes[i]));
        if (!bytes[i])
            texts.emplace_back();
    }
    texts.pop_back();
    std::vector<char *> argv;
    for (std::vector<char> &text : texts) {
        text.shrink_to_fit();
        argv.push_back(text.data());
    }
    const std::vector<char *> given = argv;
    const auto argc = static_cast<int32_t>(argv.size());

    const parse first(argv, argc);
    const int32_t behind = cmdline_optidx;
    assert(std::is_permutation(argv.begin(), argv.end(), given.begin()));
    assert(argc - behind == first.operands);
    // The operands keep their order.
    auto from = given.begin();
    for (auto operand = argv.begin() + behind; operand != argv.end(); ++operand)
        from = std::find(from, given.end(), *operand) + 1;
    std::vector<char *> options(argv.begin(), argv.begin() + behind);
    const parse second(options, behind);
    assert(second.operands == 0);
    assert(second.steps == first.steps);
    return 0;
}

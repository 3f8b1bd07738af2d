#include "support.hpp"
#include <check.h>
#include <string>
#include <vector>
#include <vela/cmdline.h>

namespace {

constexpr cmdline_option kOptions[] = {
    {'v', "verbose", "verbose output mode", 0},
    {'q', nullptr, nullptr, 0},
    {'r', "rate", "sample rate", CMDLINE_REQUIRED},
    {'o', "output", "where to", CMDLINE_OPTIONAL},
    {'b', nullptr, "both bits: the optional one rules", CMDLINE_REQUIRED | CMDLINE_OPTIONAL},
    {'n', nullptr, "a value", CMDLINE_REQUIRED},
    {'c', "twenty-two-characters-", "29 leave one space", 0},
    {'d', "twenty-three-characters", "30 begin a new line", 0},
    {'\xe9', "a-long-name-of-thirty-letters", "help on its own line", CMDLINE_REQUIRED},
    {},
};

// A vector of arguments that ends where the parser may not read: argv[argc] is a trap.
struct arguments {
    std::vector<std::string> texts;
    std::vector<char *> vector;

    arguments(std::initializer_list<const char *> list) : texts(list.begin(), list.end()) {
        for (std::string &text : texts)
            vector.push_back(text.data());
    }
    int32_t count() const { return static_cast<int32_t>(vector.size()); }
    std::string joined() const {
        std::string line;
        for (const char *text : vector)
            line += std::string(line.empty() ? "" : " ") + text;
        return line;
    }
};

// Parses to the end and writes down each result: the option's character (decimal above 127), with =VALUE if
// it has one, or the number.
std::string parse(arguments &given) {
    std::string trace;
    for (int result; (result = cmdline_getopt(given.count(), given.vector.data(), kOptions)) != -1;) {
        trace += trace.empty() ? "" : " ";
        trace += result > ' ' && result < 128 ? std::string(1, static_cast<char>(result)) : std::to_string(result);
        if (cmdline_optarg)
            trace += std::string("=") + cmdline_optarg;
    }
    return trace;
}

} // namespace

// Each row: arguments, the trace of results, what is printed, the vector afterwards, the index of the first
// operand.
START_TEST(options_operands_and_messages)
{
    struct row {
        std::initializer_list<const char *> given;
        const char *trace, *output, *vector;
        int32_t operands;
    };
    const row rows[] = {
        {{"prog"}, "", "", "prog", 1},
        {{"prog", "a", "-v", "b"}, "0 v 0", "", "prog -v a b", 2},
        {{"prog", "a", "b", "-r", "8000", "c", "-q", "d"}, "0 0 r=8000 0 q 0", "", "prog -r 8000 -q a b c d", 4},
        {{"prog", "-vq", "-qvv"}, "v q q v v", "", "prog -vq -qvv", 3},
        {{"prog", "--verbose", "--rate", "-9"}, "v r=-9", "", "prog --verbose --rate -9", 4},
        {{"prog", "--verbose=1", "--verb", "--v"},
         "? ? ?",
         "unknown option: verbose=1\nunknown option: verb\nunknown option: v\n",
         "prog --verbose=1 --verb --v",
         4},
        {{"prog", "-x", "-vxq", "-?", "--"},
         "? v ? q ? ?",
         "unknown option: x\nunknown option: x\nunknown option: -\n",
         "prog -x -vxq -? --",
         5},
        {{"prog", "-", "", "---"}, "0 0 ?", "unknown option: -\n", "prog --- - ", 2},
        {{"prog", "-o", "-q", "-o", "name", "-o"}, "o q o=name o", "", "prog -o -q -o name -o", 6},
        {{"prog", "-b", "-q", "-b", "x"}, "b q b=x", "", "prog -b -q -b x", 5},
        // A value is never one of the operands that were moved behind the options.
        {{"prog", "a", "-r"}, "0 0", "missing required argument for option: r\n", "prog -r a", 2},
        {{"prog", "a", "-o"}, "0 o", "", "prog -o a", 2},
        {{"prog", "--rate"}, "0", "missing required argument for option: r\n", "prog --rate", 2},
        // In the middle of a cluster a value is the following argument, and the cluster ends.
        {{"prog", "-rv", "NAME", "-q"}, "r=NAME q", "", "prog -rv NAME -q", 4},
        {{"prog", "-vro", "NAME"}, "v r=NAME", "", "prog -vro NAME", 3},
        {{"prog", "-ov", "-q"}, "o q", "", "prog -ov -q", 3},
        {{"prog", "-rv"}, "0", "missing required argument for option: r\n", "prog -rv", 2},
        {{"prog", "-\xe9", "x", "-\xe8"}, "233=x ?", "unknown option: \xe8\n", "prog -\xe9 x -\xe8", 4},
    };
    for (const row &row : rows) {
        arguments given(row.given);
        std::string trace;
        cmdline_reset();
        const std::string output = captured(stdout, [&] { trace = parse(given); });
        assert_text_eq(trace, row.trace);
        assert_text_eq(output, row.output);
        assert_text_eq(given.joined(), row.vector);
        ck_assert_int_eq(cmdline_optidx, row.operands);
    }
}
END_TEST

START_TEST(state_between_calls)
{
    arguments given = {"prog", "-vq", "-o", "x"};
    char **argv = given.vector.data();
    cmdline_reset();
    ck_assert_int_eq(cmdline_getopt(4, argv, kOptions), 'v');
    ck_assert_int_eq(cmdline_optidx, 1);
    ck_assert_int_eq(cmdline_getopt(4, argv, kOptions), 'q');
    ck_assert_int_eq(cmdline_optidx, 2);
    ck_assert_int_eq(cmdline_getopt(4, argv, kOptions), 'o');
    ck_assert_ptr_eq(cmdline_optarg, argv[3]);
    // At the end the last value stays, and so does the end until a reset.
    ck_assert_int_eq(cmdline_getopt(4, argv, kOptions), -1);
    ck_assert_ptr_eq(cmdline_optarg, argv[3]);
    ck_assert_int_eq(cmdline_getopt(4, argv, kOptions), -1);

    // A reset in the middle of a cluster, and behind moved operands, forgets both.
    arguments other = {"prog", "operand", "-vq"};
    cmdline_reset();
    ck_assert_ptr_null(cmdline_optarg);
    ck_assert_int_eq(cmdline_getopt(3, other.vector.data(), kOptions), 0);
    ck_assert_int_eq(cmdline_getopt(3, other.vector.data(), kOptions), 'v');
    cmdline_reset();
    assert_text_eq(parse(other), "v q 0");

    // A caller that moves the index away from a cluster does not lead the parser beyond the next argument.
    arguments moved = {"prog", "-qqqqqqv", "-v"};
    cmdline_reset();
    for (int i = 0; i < 5; ++i)
        ck_assert_int_eq(cmdline_getopt(3, moved.vector.data(), kOptions), 'q');
    cmdline_optidx = 2;
    assert_text_eq(parse(moved), "v");
}
END_TEST

START_TEST(usage_screen)
{
    const std::string help = "  -?,--help                   display command help\n";
    const std::string bare = captured(stdout, [] { cmdline_usage(nullptr, "prog", nullptr); });
    assert_text_eq(bare, "usage: prog [options]\n" + help);

    const std::string full = captured(stdout, [] { cmdline_usage(kOptions, "resample", "[options] IN OUT"); });
    const std::string expected = "usage: resample [options] IN OUT\n"
                                 "  -v,--verbose                verbose output mode\n"
                                 "  -q                          \n"
                                 "  -r,--rate=VAL               sample rate\n"
                                 "  -o,--output[=VAL]           where to\n"
                                 "  -b [<val>]                  both bits: the optional one rules\n"
                                 "  -n <val>                    a value\n"
                                 "  -c,--twenty-two-characters- 29 leave one space\n"
                                 "  -d,--twenty-three-characters\n"
                                 "                              30 begin a new line\n"
                                 "  -\xe9,--a-long-name-of-thirty-letters=VAL\n"
                                 "                              help on its own line\n";
    assert_text_eq(full, expected + help);
}
END_TEST

START_TEST(argument_listing)
{
    arguments given = {"prog", "a b", ""};
    const std::string all = captured(stdout, [&] { cmdline_print(3, given.vector.data(), 1); });
    assert_text_eq(all, "cmdline: \n  <a b>\n  <>\n");
    const std::string none = captured(stdout, [&] { cmdline_print(3, given.vector.data(), 3); });
    assert_text_eq(none, "cmdline: \n");
}
END_TEST

Suite *cmdline_suite() {
    return suite_of("cmdline", {options_operands_and_messages, state_between_calls, usage_screen, argument_listing});
}

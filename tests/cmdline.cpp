#include "models/memory.hpp"
#include "support.hpp"
#include <algorithm>
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

int16_t next(arguments &given) { return cmdline_getopt(given.count(), given.vector.data(), kOptions); }

// As the library begins, without a reset.
const char *const first_value = cmdline_optarg;
const int16_t first_result = [] {
    arguments given = {"prog", "-vq"};
    const int16_t result = next(given);
    cmdline_reset();
    return result;
}();

// Parses to the end, which stays with the last value, and writes down each result: the option's character (decimal
// above 127), with =VALUE if it has one, or the number.
std::string parse(arguments &given) {
    std::string trace;
    for (int result; (result = next(given)) != -1;) {
        trace += trace.empty() ? "" : " ";
        trace += result > ' ' && result < 128 ? std::string(1, static_cast<char>(result)) : std::to_string(result);
        if (cmdline_optarg)
            trace += std::string("=") + cmdline_optarg;
    }
    const char *const value = cmdline_optarg;
    ck_assert_int_eq(next(given), -1);
    ck_assert_ptr_eq(cmdline_optarg, value);
    return trace;
}

} // namespace

// Each row: arguments, the trace of results, what is printed, the vector afterwards, the index of the first
// operand.
TEST(each_argument_gives_its_result_and_message) {
    struct row {
        std::initializer_list<const char *> given;
        const char *trace, *output, *vector;
        int32_t operands;
    };
    const row rows[] = {
        {{"prog"}, "", "", "prog", 1},
        {{"prog", "a", "-v", "b-c"}, "0 v 0", "", "prog -v a b-c", 2},
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
        // A value is never one of the operands that were moved after the options.
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

TEST(a_reset_forgets_clusters_and_operands) {
    ck_assert_int_eq(first_result, 'v');
    ck_assert_ptr_null(first_value);
    arguments given = {"prog", "operand", "-vq", "-o", "8000"};
    for (const char last : {'o', 'v'}) {
        cmdline_reset();
        ck_assert_int_eq(cmdline_optidx, 1);
        ck_assert_ptr_null(cmdline_optarg);
        while (next(given) != last)
            ;
    }
    cmdline_reset();
    assert_text_eq(parse(given), "v q o=8000 0");
}

// However far into a cluster the caller moves the index on, the next argument is taken from its first option.
TEST(a_moved_index_ends_the_cluster) {
    for (int taken = 1; taken <= 6; ++taken)
        for (const char *after : {"-o", "--output"}) {
            arguments given = {"prog", "-qqqqqqv", after, "name"};
            cmdline_reset();
            for (int i = 0; i < taken; ++i)
                ck_assert_int_eq(next(given), 'q');
            ck_assert_int_eq(cmdline_optidx, 1);
            cmdline_optidx = 2;
            std::string trace;
            assert_text_eq(captured(stdout, [&] { trace = parse(given); }), "");
            assert_text_eq(trace, "o=name");
        }
}

// More operands in a first vector than arguments in a second one, of which nothing after its end is read.
TEST(a_second_vector_without_a_reset_ends_at_once) {
    for (const int32_t count : {1, 2, 3}) {
        arguments first = {"prog", "a", "b"}, second = {"prog", "-v", "c"};
        cmdline_reset();
        assert_text_eq(parse(first), "0 0");
        char **vector = reinterpret_cast<char **>(fence(64)) - count;
        std::copy_n(second.vector.begin(), count, vector);
        ck_assert_int_eq(cmdline_getopt(count, vector, kOptions), -1);
        ck_assert(std::equal(vector, vector + count, second.vector.begin()));
    }
}

TEST(the_usage_screen_aligns_its_help) {
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
    const std::string help = "  -?,--help                   display command help\n";
    const auto usage = [](const cmdline_option *options, const char *program, const char *synopsis) {
        return captured(stdout, [=] { cmdline_usage(options, program, synopsis); });
    };
    assert_text_eq(usage(kOptions, "resample", "[options] IN OUT"), expected + help);
    assert_text_eq(usage(nullptr, "prog", nullptr), "usage: prog [options]\n" + help);
}

TEST(arguments_are_listed_from_an_index_on) {
    arguments given = {"BEFORE", "prog", "a b", ""};
    const std::pair<int32_t, const char *> rows[] = {
        {0, "  <prog>\n  <a b>\n  <>\n"}, {1, "  <a b>\n  <>\n"}, {3, ""}, {4, ""}, {-1, ""}, {INT32_MIN, ""}};
    for (const auto &[first, lines] : rows)
        assert_text_eq(captured(stdout, [&, from = first] { cmdline_print(3, &given.vector[1], from); }),
                       std::string("cmdline: \n") + lines);
}

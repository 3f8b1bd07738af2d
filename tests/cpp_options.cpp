// The option parser for C++.
#include "support.hpp"
#include <vela/cpp/options.hpp>

namespace {

constexpr cmdline_option kOptions[] = {
    {'v', "verbose", "more", 0},
    {'r', "rate", "hertz", CMDLINE_REQUIRED},
    {'g', "gain", "both bits: the optional one rules", CMDLINE_REQUIRED | CMDLINE_OPTIONAL},
    {'n', nullptr, "no long form", CMDLINE_REQUIRED},
    {'\xe9', "rat", "beginning of another", 0},
    {},
};

// A numeric option, whose value is read into a type from -3 to 300 as far as that reaches.
template <class Number>
std::string read_as(const char *given, Number least, Number most) {
    arguments all = {"prog", "-n", given};
    vela::options options(all.count(), all.vector.data(), kOptions, "prog");
    Number number = 7;
    ck_assert_int_eq(options.next(), 'n');
    options.read(number, least, most);
    const bool is_good = options.error().empty();
    ck_assert_int_eq(options.next(), 0);
    if (!is_good)
        ck_assert(number == 7);
    return is_good ? std::to_string(number) : options.error();
}

} // namespace

// Each row: arguments, and the options, the operands and the error that they give.
TEST(each_form_gives_its_option) {
    const struct {
        std::initializer_list<const char *> given;
        const char *options, *operands, *error = "";
    } rows[] = {
        {{}, "", ""},
        {{"prog"}, "", ""},
        {{"prog", "a", "-v", "-", "", "--verbose", "b"}, "v v", "a,-,,b,"},
        {{"prog", "--rate=8000", "a", "--rate", "8000", "-r8000", "b", "-r", "8000"},
         "r=8000 r=8000 r=8000 r=8000",
         "a,b,"},
        {{"prog", "-vvr8", "-vr", "-8", "-vg", "-g7", "-v"}, "v v r=8 v r=-8 v g g=7 v", ""},
        {{"prog", "--rate=", "--rate==", "-r=1", "--rate", "--", "-r", ""}, "r= r== r==1 r=-- r=", ""},
        {{"prog", "a", "-v", "--", "-v", "--", "--rate"}, "v", "a,-v,--,--rate,"},
        {{"prog", "--gain", "--gain", "x", "--gain=y", "-g", "--", "z"}, "g g=x g=y g", "z,"},
        {{"prog", "a", "--gain"}, "g", "a,"},
        {{"prog", "--rat", "-\xe9"}, "233 233", ""},
        // Errors end the parse.
        {{"prog", "--rat=1", "-v"}, "", "", "--rat: takes no value"},
        {{"prog", "-v", "--no", "-v"}, "v", "", "unknown option: no"},
        {{"prog", "--no=1"}, "", "", "unknown option: no"},
        {{"prog", "--=1"}, "", "", "unknown option: "},
        {{"prog", "--rates", "1"}, "", "", "unknown option: rates"},
        {{"prog", "---"}, "", "", "unknown option: -"},
        {{"prog", "-v-"}, "v", "", "unknown option: -"},
        {{"prog", "-vxr", "1"}, "v", "", "unknown option: x"},
        {{"prog", "a", "--rate"}, "", "", "missing required argument for option: r"},
        {{"prog", "a", "-vn"}, "v", "", "missing required argument for option: n"},
        {{"prog", "--help=1"}, "", "", "--help: takes no value"},
    };
    for (const auto &[given, expected, operands, error] : rows) {
        arguments all = given;
        vela::options options(all.count(), all.vector.data(), kOptions, "prog");
        std::string trace, rest;
        for (int option; (option = options.next()) != 0;) {
            trace += trace.empty() ? "" : " ";
            trace += option < 128 ? std::string(1, static_cast<char>(option)) : std::to_string(option);
            std::string_view value = "none";
            options.read(value);
            ck_assert_int_eq(options.value() != nullptr, value != "none");
            if (options.value())
                trace += "=" + std::string(value);
        }
        for (const char *operand : options.operands())
            rest += std::string(operand) + ",";
        assert_text_eq(trace, expected);
        assert_text_eq(options.error(), error);
        if (options.error().empty())
            assert_text_eq(rest, operands);
        ck_assert_int_eq(options.next(), 0);
        ck_assert(std::is_permutation(all.vector.begin(), all.vector.end(), arguments(given).vector.begin(),
                                      [](std::string_view one, std::string_view other) { return one == other; }));
    }
}

TEST(numbers_are_read_whole_and_in_their_range) {
    const auto integer = [](const char *text) { return read_as(text, -3, 300); };
    for (const char *good : {"-3", "0", "300"})
        assert_text_eq(integer(good), good);
    for (const std::string bad : {"-4", "301", "", "x", "1x", " 1", "1 ", "+1", "0x1", "1.0", "99999999999999999999"})
        assert_text_eq(integer(bad.c_str()), "-n: expected an integer from -3 to 300, got '" + bad + "'");
    assert_text_eq(read_as<uint8_t>("255", 0, 255), "255");
    assert_text_eq(read_as<uint8_t>("256", 0, 255), "-n: expected an integer from 0 to 255, got '256'");
    assert_text_eq(read_as<uint64_t>("-1", 1, 2), "-n: expected an integer from 1 to 2, got '-1'");
    assert_text_eq(read_as("2.5e-1", 0.25, 0.5), "0.250000");
    for (const std::string bad : {"0.2499", "nan", "inf", "1e999", "0.3f", ""})
        assert_text_eq(read_as(bad.c_str(), 0.25, 0.5), "-n: expected a number from 0.25 to 0.5, got '" + bad + "'");

    arguments all = {"prog", "-g", "--rate=inf"};
    vela::options options(all.count(), all.vector.data(), kOptions, "prog");
    float rate = 7;
    options.reject("an option before this");
    ck_assert_int_eq(options.next(), 'g');
    options.read(rate); // has no value
    ck_assert_int_eq(options.next(), 'r');
    options.read(rate);
    options.reject("what a second message would say");
    ck_assert(rate == 7);
    assert_text_eq(options.error(), "--rate: expected a number, got 'inf'");
}

TEST(the_program_ends_after_help_or_an_error) {
    const std::string usage = captured(stdout, [] { cmdline_usage(kOptions, "prog", "FILE"); });
    const struct {
        std::initializer_list<const char *> given;
        int status; // -1 to go on
        const char *message = "";
    } rows[] = {
        {{"prog", "a"}, -1},
        {{"prog", "a", "b"}, -1},
        {{"prog"}, EXIT_FAILURE},
        {{"prog", "a", "b", "c"}, EXIT_FAILURE},
        {{"prog", "a", "--help", "-x"}, EXIT_SUCCESS},
        {{"prog", "-v?x"}, EXIT_SUCCESS},
        {{"prog", "-x", "--help"}, EXIT_FAILURE, "unknown option: x\n"},
    };
    for (const auto &[given, status, message] : rows) {
        arguments all = given;
        vela::options options(all.count(), all.vector.data(), kOptions, "prog", "FILE");
        while (options.next() != 0)
            ck_assert(!options.asks_for_help());
        ck_assert_int_eq(options.asks_for_help(), status == EXIT_SUCCESS);
        std::string screen;
        const std::string said = captured(stderr, [&] {
            screen = captured(
                stdout, [&, expected = status] { ck_assert_int_eq(options.finish(1, 2).value_or(-1), expected); });
        });
        assert_text_eq(said, message);
        assert_text_eq(screen, status == -1 || *message ? "" : usage);
    }
    // A table may have a help of its own, and none is a table too.
    constexpr cmdline_option own[] = {{'h', "help", "", 0}, {'?', "what", "", 0}, {}};
    arguments all = {"prog", "--help", "-?"};
    vela::options options(all.count(), all.vector.data(), own, "prog"), none(2, all.vector.data(), nullptr, "prog");
    ck_assert_int_eq(options.next(), 'h');
    ck_assert_int_eq(options.next(), '?');
    ck_assert_int_eq(none.next(), 0);
    ck_assert(none.asks_for_help());
}

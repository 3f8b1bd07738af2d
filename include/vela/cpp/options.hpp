/**
 * @file
 * Command-line options with typed values: the tables and the usage screen of vela/cmdline.h, with a parser for C++.
 *
 *     constexpr cmdline_option kOptions[] = {
 *         {'r', "rate", "hertz", CMDLINE_REQUIRED}, {'v', "verbose", "say more", 0}, {}};
 *
 *     vela::options options(argc, argv, kOptions, "play", "[options] FILE");
 *     while (const int option = options.next())
 *         if (option == 'r')
 *             options.read(rate, 1, 192000); // "--rate: expected an integer from 1 to 192000, got 'x'"
 *         else
 *             verbose = true;
 *     if (const auto status = options.finish(1, 1))
 *         return *status;
 *     play(options.operands()[0]);
 *
 * A value is given as `--rate=8000`, `--rate 8000`, `-r8000` or `-r 8000`. A required value is taken whatever it looks
 * like; an optional one in an argument of its own only if it does not begin with "-". Short options without a value may
 * be clustered (`-vq`, `-vr8000`). Options and operands may be mixed; after `--` all arguments are operands, and `-` is
 * one anywhere. `--help` and `-?` are known without being in the table.
 *
 * Unlike cmdline_getopt(), whose parse is process-wide, a parser keeps its state to itself: any thread may parse, on an
 * argument vector of its own, and neither parser disturbs the other. It does not know the forms `--rate=8000`,
 * `-r8000` and `--`, and takes `-rv NAME` for `-r NAME`, which here is the value "v" and an operand.
 *
 * What builds an error message throws std::bad_alloc; nothing else throws or allocates.
 */
#pragma once

#include <algorithm>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vela/cmdline.h>

namespace vela {

/** One pass over an argument vector, which ends at the first error or at `--help`. */
class options {
public:
    /**
     * @param argc      number of arguments
     * @param argv      the arguments, which outlive the parser; their order changes, the strings do not
     * @param table     the options, ended by a record whose short_name is 0; or null for none
     * @param program   name of the program, for the usage screen
     * @param synopsis  text after the name, or null for "[options]"
     */
    options(int argc, char **argv, const cmdline_option *table, const char *program,
            const char *synopsis = nullptr) noexcept
        : argv_(argv), table_(table), program_(program), synopsis_(synopsis),
          count_(argc > 0 ? static_cast<std::size_t>(argc) : 0), next_(std::min<std::size_t>(count_, 1)),
          first_operand_(next_) {}

    /**
     * Takes the next option.
     *
     * @return its character (1 to 255, read as unsigned); 0 at the end of the options, which may be an error
     */
    [[nodiscard]] int next() {
        value_ = nullptr;
        if (is_help_ || !error_.empty())
            return 0;
        if (*cluster_ == '\0') {
            while (next_ < count_ && (argv_[next_][0] != '-' || argv_[next_][1] == '\0'))
                ++next_;
            if (next_ == count_)
                return 0;
            const char *argument = take();
            if (argument[1] == '-' && argument[2] != '\0')
                return take_long(argument + 2);
            if (argument[1] == '-') {
                next_ = count_;
                return 0;
            }
            cluster_ = argument + 1;
        }
        return take_short();
    }

    /** @return the value of the option that next() returned last, or null if it has none; part of the arguments */
    [[nodiscard]] const char *value() const noexcept { return value_; }

    /**
     * Reads that value as a number: decimal digits for an integer, any notation of std::from_chars() for floating
     * point, and nothing before or after it. Without a value nothing happens; any other is rejected.
     *
     * @param number  receives the number, or stays as it is
     * @param least   the smallest number allowed
     * @param most    the largest number allowed
     */
    template <class Number>
    requires(std::integral<Number> || std::floating_point<Number>) &&
        (!std::same_as<Number, char>)void read(
            Number &number, std::type_identity_t<Number> least = std::numeric_limits<Number>::lowest(),
            std::type_identity_t<Number> most = std::numeric_limits<Number>::max()) {
        if (!value_)
            return;
        Number parsed{};
        const char *const end = value_ + std::strlen(value_);
        const auto [stop, code] = std::from_chars(value_, end, parsed);
        if (code == std::errc() && stop == end && least <= parsed && parsed <= most) {
            number = parsed;
            return;
        }
        std::string expected = std::integral<Number> ? "an integer" : "a number";
        if (std::integral<Number> || least != std::numeric_limits<Number>::lowest() ||
            most != std::numeric_limits<Number>::max())
            expected += " from " + text_of(least) + " to " + text_of(most);
        reject(expected);
    }

    /** Reads that value as text, which is part of the arguments. Without a value @p text stays as it is. */
    void read(std::string_view &text) const noexcept {
        if (value_)
            text = value_;
    }

    /**
     * Refuses that value, which is an error: "--size: expected WIDTHxHEIGHT, got 'x'".
     *
     * @param expected  what it should have been
     */
    void reject(std::string_view expected) {
        if (option_ && error_.empty())
            error_ = name() + ": expected " + std::string(expected) + ", got '" + (value_ ? value_ : "") + "'";
    }

    /** @return whether `--help` or `-?` was met */
    [[nodiscard]] bool asks_for_help() const noexcept { return is_help_; }
    /** @return the message of the error that ended the parse; empty if there is none */
    [[nodiscard]] const std::string &error() const noexcept { return error_; }
    /** @return after next() returned 0 without an error: the arguments that are not options, in their order */
    [[nodiscard]] std::span<char *const> operands() const noexcept {
        return {argv_ + first_operand_, count_ - first_operand_};
    }

    /** Prints the usage screen to the standard output. */
    void usage() const noexcept { cmdline_usage(table_, program_, synopsis_); }

    /**
     * After next() returned 0: prints the usage screen if help was asked for or the number of operands is wrong, or the
     * message of the error to the standard error stream.
     *
     * @param least  the smallest number of operands allowed
     * @param most   the largest number of operands allowed
     * @return the exit status if the program should end now: success after `--help`, or failure
     */
    [[nodiscard]] std::optional<int> finish(std::size_t least = 0, std::size_t most = SIZE_MAX) const noexcept {
        if (!error_.empty()) {
            std::fprintf(stderr, "%s\n", error_.c_str());
            return EXIT_FAILURE;
        }
        const std::size_t given = operands().size();
        if (!is_help_ && least <= given && given <= most)
            return std::nullopt;
        usage();
        return is_help_ ? EXIT_SUCCESS : EXIT_FAILURE;
    }

private:
    static constexpr cmdline_option kHelp = {'?', "help", nullptr, 0};

    template <class Number>
    static std::string text_of(Number number) {
        char text[128];
        return {text, std::to_chars(text, text + sizeof text, number).ptr};
    }

    template <class Predicate>
    const cmdline_option *find(Predicate matches) const noexcept {
        for (const auto *option = table_; option && option->short_name; ++option)
            if (matches(*option))
                return option;
        return matches(kHelp) ? &kHelp : nullptr;
    }

    // The argument at next_, moved before the operands met so far.
    const char *take() noexcept {
        std::rotate(argv_ + first_operand_, argv_ + next_, argv_ + next_ + 1);
        ++next_;
        return argv_[first_operand_++];
    }

    int take_long(std::string_view text) {
        const std::size_t length = std::min(text.find('='), text.size());
        const std::string_view name = text.substr(0, length);
        const auto *option = find([name](const cmdline_option &one) { return one.long_name && one.long_name == name; });
        return take_value(option, name, length < text.size() ? text.data() + length + 1 : nullptr);
    }

    int take_short() {
        const std::string_view name(cluster_++, 1);
        const auto *option = find([name](const cmdline_option &one) { return one.short_name == name.front(); });
        const bool is_attached = option && takes_value(*option) && *cluster_ != '\0';
        return take_value(option, name, is_attached ? std::exchange(cluster_, "") : nullptr);
    }

    static bool takes_value(const cmdline_option &option) noexcept {
        return (option.flags & (CMDLINE_REQUIRED | CMDLINE_OPTIONAL)) != 0;
    }

    // Completes the option with the value in its argument, if any, or the argument after it.
    int take_value(const cmdline_option *option, std::string_view given, const char *attached) {
        option_ = option;
        value_ = attached;
        if (!option)
            error_ = "unknown option: " + std::string(given);
        else if (attached && !takes_value(*option))
            error_ = name() + ": takes no value";
        else if (!attached && option->flags & CMDLINE_OPTIONAL)
            value_ = next_ < count_ && argv_[next_][0] != '-' ? take() : nullptr;
        else if (!attached && option->flags & CMDLINE_REQUIRED && next_ < count_)
            value_ = take();
        else if (!attached && option->flags & CMDLINE_REQUIRED)
            error_ = std::string("missing required argument for option: ") + option->short_name;
        if (!error_.empty())
            return 0;
        is_help_ = option == &kHelp;
        return is_help_ ? 0 : static_cast<unsigned char>(option->short_name);
    }

    // Of the option, with its dashes.
    std::string name() const {
        return option_->long_name ? std::string("--") + option_->long_name : std::string("-") + option_->short_name;
    }

    char **argv_;
    const cmdline_option *table_;
    const char *program_, *synopsis_;
    std::size_t count_, next_, first_operand_; // operands met so far: from first_operand_ to next_
    const char *cluster_ = "";                 // short options still to be taken
    const cmdline_option *option_ = nullptr;
    const char *value_ = nullptr;
    bool is_help_ = false;
    std::string error_;
};

} // namespace vela

// Any arguments against a model that takes them character by character, and numbers against strtoll().
#include "fuzz.hpp"
#include <cctype>
#include <cerrno>
#include <cstring>
#include <map>
#include <span>
#include <vela/cpp/options.hpp>

namespace {

constexpr cmdline_option kOptions[] = {
    {'v', "verbose", "", 0}, {'r', "rate", "", CMDLINE_REQUIRED}, {'g', "gain", "", CMDLINE_OPTIONAL}, {}};
const std::map<std::string, char> kLong = {{"verbose", 'v'}, {"rate", 'r'}, {"gain", 'g'}, {"help", '?'}};

struct outcome {
    std::string options; // each with "=", its value, and a NUL
    std::vector<std::string> operands;
    bool is_help = false, is_error = false;
};

outcome expected_of(const std::vector<std::string> &given) {
    outcome result;
    size_t at = 1;
    // One option, with the value of its own argument; whether the parse goes on.
    const auto take = [&](char option, bool is_attached, std::string value) {
        if (option == '?' && !is_attached)
            result.is_help = true;
        else if (!std::strchr("vrg", option) || (option == 'v' && is_attached) ||
                 (option == 'r' && !is_attached && at == given.size()))
            result.is_error = true;
        else {
            if (!is_attached && at < given.size() && (option == 'r' || (option == 'g' && given[at].rfind('-', 0) != 0)))
                is_attached = true, value = given[at++];
            result.options += option + (is_attached ? "=" + value : "") + '\0';
        }
        return !result.is_help && !result.is_error;
    };
    while (at < given.size()) {
        const std::string &argument = given[at++];
        if (argument.empty() || argument[0] != '-' || argument == "-")
            result.operands.push_back(argument);
        else if (argument == "--")
            while (at < given.size())
                result.operands.push_back(given[at++]);
        else if (argument[1] == '-') {
            const size_t equals = argument.find('=');
            const auto found = kLong.find(argument.substr(2, equals == argument.npos ? equals : equals - 2));
            const bool is_attached = equals != argument.npos;
            if (!take(found == kLong.end() ? '!' : found->second, is_attached,
                      is_attached ? argument.substr(equals + 1) : ""))
                return result;
        } else
            for (size_t place = 1; place < argument.size(); ++place) {
                const bool is_attached = place + 1 < argument.size() && std::strchr("rg", argument[place]);
                if (!take(argument[place], is_attached, argument.substr(place + 1)))
                    return result;
                if (is_attached)
                    break;
            }
    }
    return result;
}

void check_number(vela::options &options) {
    constexpr int32_t kLeast = -70000, kMost = INT32_MAX - 1;
    const char *text = options.value();
    char *end = nullptr;
    errno = 0;
    const long long expected = std::strtoll(text, &end, 10);
    const bool is_good = (*text == '-' || std::isdigit(static_cast<unsigned char>(*text))) && !*end && end != text &&
                         errno == 0 && kLeast <= expected && expected <= kMost;
    int32_t number = INT32_MAX;
    options.read(number, kLeast, kMost);
    assert(is_good == options.error().empty());
    assert(number == (is_good ? expected : INT32_MAX));
}

outcome outcome_of(std::vector<char *> vector, bool with_numbers) {
    vela::options options(static_cast<int>(vector.size()), vector.data(), kOptions, "");
    outcome result;
    while (const int option = options.next()) {
        result.options +=
            static_cast<char>(option) + (options.value() ? "=" + std::string(options.value()) : "") + '\0';
        if (with_numbers && options.value())
            check_number(options);
    }
    result.is_help = options.asks_for_help();
    result.is_error = !options.error().empty();
    result.operands.assign(options.operands().begin(), options.operands().end());
    return result;
}

} // namespace

// The arguments end with NUL or a line feed.
int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    std::vector<std::string> given = {"prog", ""};
    for (const uint8_t byte : std::span(bytes, size))
        if (byte == '\0' || byte == '\n')
            given.emplace_back();
        else
            given.back() += static_cast<char>(byte);
    std::vector<char *> vector;
    for (std::string &argument : given)
        vector.push_back(argument.data());

    const outcome expected = expected_of(given), actual = outcome_of(vector, false);
    assert(actual.options == expected.options);
    assert(actual.is_help == expected.is_help && actual.is_error == expected.is_error);
    if (!expected.is_help && !expected.is_error)
        assert(actual.operands == expected.operands);
    outcome_of(vector, true);
    return 0;
}

// Splits URLs into their components, or encodes or decodes form text.
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vela/cpp/options.hpp>
#include <vela/cpp/url.hpp>

namespace {

constexpr cmdline_option kOptions[] = {
    {'e', "encode", "encode each text as form text", 0},
    {'d', "decode", "decode each text", 0},
    {},
};

void print(const std::string &text) {
    std::fwrite(text.data(), 1, text.size(), stdout); // decoded text may contain NUL
    std::putchar('\n');
}

bool split(const char *text) {
    const auto url = vela::url::parse(text);
    if (!url) {
        constexpr const char *components[] = {"", "scheme", "authority", "user", "host", "port", "path or query"};
        std::fprintf(stderr, "url: not a URL: %s: invalid %s\n", text,
                     components[static_cast<int>(vela::url::check(text))]);
        return false;
    }
    const std::pair<const char *, std::optional<std::string_view>> components[] = {
        {"scheme", url->scheme()}, {"user", url->user()}, {"password", url->password()}, {"host", url->host()},
        {"port", url->port()},     {"path", url->path()}, {"query", url->query()},       {"fragment", url->fragment()},
    };
    for (const auto &[name, value] : components)
        if (value)
            print(std::string(name) + "=" + std::string(*value));
    return true;
}

bool encode(const char *text) {
    print(vela::url::encode_form(text));
    return true;
}

bool decode(const char *text) {
    print(vela::url::decode_form(text));
    return true;
}

} // namespace

int main(int argc, char **argv) {
    bool (*action)(const char *) = split;
    vela::options options(argc, argv, kOptions, "url",
                          "[options] TEXT...\n"
                          "Prints the components of each URL, or each text encoded or decoded.");
    while (const int option = options.next()) {
        if (option == 'e')
            action = encode;
        if (option == 'd')
            action = decode;
    }
    if (const auto status = options.finish())
        return *status;
    if (options.operands().empty()) {
        std::fputs("url: text is missing; see --help\n", stderr);
        return EXIT_FAILURE;
    }
    bool good = true;
    for (const char *text : options.operands())
        good &= action(text);
    return good && std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

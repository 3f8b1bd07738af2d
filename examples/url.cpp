// Splits URLs into their components, or codes form text.
#include "options.hpp"
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vela/url.h>

namespace {

constexpr cmdline_option kOptions[] = {
    {'e', "encode", "encode each text as form text", 0},
    {'d', "decode", "decode each text", 0},
    {},
};

int usage() {
    cmdline_usage(kOptions, "url",
                  "[options] TEXT...\n"
                  "Prints the components of each URL, or each text encoded or decoded.");
    return EXIT_FAILURE;
}

bool split(const char *text) {
    url_record *url = url_alloc(text);
    if (!url) {
        std::fprintf(stderr, "url: no URL: %s\n", text);
        return false;
    }
    const std::pair<const char *, const char *> components[] = {
        {"scheme", url->scheme}, {"user", url->user}, {"password", url->password}, {"host", url->host},
        {"port", url->port},     {"path", url->path}, {"query", url->query},
    };
    for (const auto &[name, value] : components)
        if (value)
            std::printf("%s=%s\n", name, value);
    url_free(url);
    return true;
}

bool encode(const char *text) {
    const auto length = static_cast<uint32_t>(std::strlen(text));
    std::string code(3 * length + 5, '\0');
    if (url_encode(text, length, code.data(), static_cast<uint32_t>(code.size())) < 0)
        return false;
    std::puts(code.c_str());
    return true;
}

bool decode(const char *text) {
    const auto length = static_cast<uint32_t>(std::strlen(text));
    std::string bytes(length + 1, '\0');
    const int32_t size = url_decode(text, length, bytes.data(), length + 1);
    if (size < 0)
        return false;
    // They may contain NULs, so what was written counts, less the NUL behind it.
    bytes.resize(size > 0 ? static_cast<size_t>(size) - 1 : 0);
    bytes += '\n';
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    return true;
}

} // namespace

int main(int argc, char **argv) {
    bool (*action)(const char *) = split;
    for (int option; (option = next_option(argc, argv, kOptions, usage)) >= 0;) {
        if (option == 'e')
            action = encode;
        if (option == 'd')
            action = decode;
    }
    if (cmdline_optidx == argc) {
        std::fputs("url: no text given; --help explains\n", stderr);
        return EXIT_FAILURE;
    }
    bool good = true;
    for (int i = cmdline_optidx; i < argc; ++i)
        good &= action(argv[i]);
    return good && std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

// Makes random UUIDs, or reads UUIDs in any form and prints them in one form.
#include <cstdio>
#include <cstdlib>
#include <vela/cpp/options.hpp>
#include <vela/cpp/uuid.hpp>

namespace {

constexpr cmdline_option kOptions[] = {
    {'n', "count", "number of UUIDs to make (1)", CMDLINE_REQUIRED},
    {'b', "braced", "print them in braces", 0},
    {'p', "plain", "print them without dashes", 0},
    {},
};

void print(const vela::uuid &uuid, vela::uuid::form form) { std::puts(uuid.to_string(form).c_str()); }

} // namespace

int main(int argc, char **argv) {
    vela::options options(argc, argv, kOptions, "uuid", "[options] [UUID...]");
    int count = 1;
    auto form = vela::uuid::form::dashed;
    while (const int option = options.next()) {
        if (option == 'b')
            form = vela::uuid::form::braced;
        if (option == 'p')
            form = vela::uuid::form::plain;
        if (option == 'n')
            options.read(count, 1, 1000000);
    }
    if (const auto status = options.finish())
        return *status;

    if (options.operands().empty())
        for (; count; --count) {
            const auto uuid = vela::uuid::random();
            if (!uuid) {
                std::perror("uuid");
                return EXIT_FAILURE;
            }
            print(*uuid, form);
        }
    for (const char *text : options.operands()) {
        const auto uuid = vela::uuid::parse(text);
        if (!uuid) {
            std::fprintf(stderr, "uuid: not a UUID: %s\n", text);
            return EXIT_FAILURE;
        }
        print(*uuid, form);
    }
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

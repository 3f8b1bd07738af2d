// Runs a registered case: "PROGRAM NAME TIMES". "PROGRAM --list" prints each case's name, unit and items,
// "PROGRAM --neon" whether the processor has the vector unit.
#include "device.hpp"
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>
#ifdef __arm__
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

namespace {

struct record {
    std::string name, unit;
    double items;
    std::function<device::work()> prepare;
};

// Filled by static registrations, hence a local static.
std::vector<record> &records() {
    static std::vector<record> all;
    return all;
}

bool has_neon() {
#ifdef __arm__
    return getauxval(AT_HWCAP) & HWCAP_NEON;
#else
    return false;
#endif
}

} // namespace

void device::add_work(std::string name, std::string unit, double items, std::function<work()> prepare) {
    records().push_back({std::move(name), std::move(unit), items, std::move(prepare)});
}

int main(int argc, char **argv) {
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        for (const record &one : records())
            std::printf("%s\t%s\t%.17g\n", one.name.c_str(), one.unit.c_str(), one.items);
        return EXIT_SUCCESS;
    }
    if (argc == 2 && std::strcmp(argv[1], "--neon") == 0) {
        std::puts(has_neon() ? "yes" : "no");
        return EXIT_SUCCESS;
    }
    if (argc == 3)
        for (const record &one : records())
            if (one.name == argv[1]) {
                one.prepare()(static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)));
                return EXIT_SUCCESS;
            }
    std::fprintf(stderr, "usage: %s NAME TIMES | --list | --neon\n", argv[0]);
    return EXIT_FAILURE;
}

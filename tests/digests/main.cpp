// What the library computes on this machine, as a digest for each module: a program that prints them, or for
// WebAssembly a module that hands them out.
#include "digests.hpp"
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" uint8_t vela_widest_unit; // that the library may use

namespace {

// A line for each module: its name, the digest, the work.
const char *made_with(uint8_t widest_unit) {
    static std::string lines;
    vela_widest_unit = widest_unit;
    lines.clear();
    for (const digests::digest &one : digests::all())
        lines += one.module + '\t' + one.value + '\t' + one.work + '\n';
    return lines.c_str();
}

} // namespace

#ifdef __wasm__
extern "C" [[clang::export_name("digests")]] const char *digests_with(uint8_t widest_unit) {
    return made_with(widest_unit);
}
#else
int main(int, char **argv) {
    std::fputs(made_with(static_cast<uint8_t>(argv[1] ? std::atoi(argv[1]) : UINT8_MAX)), stdout);
    return 0;
}
#endif

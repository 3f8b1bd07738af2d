// The page's own checksums: the work of device/checksums.cpp as a WebAssembly module.
#include "../device/checksums.hpp"

// A line for each module of the library: its name and its checksum, separated by a tab.
extern "C" [[clang::export_name("checksums")]] const char *page_checksums() {
    static std::string lines;
    lines.clear();
    for (const checksums::checksum &each : checksums::all())
        lines += each.module + "\t" + each.value + "\n";
    return lines.c_str();
}

// What the fuzz targets share. A target makes its input from the fuzzer's bytes, computes each result by two methods,
// and asserts that they agree.
#pragma once

#undef NDEBUG
#include "../tests/models/agree.hpp"
#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>
#include <string>
#include <vector>

inline void disagree(const std::string &report) {
    std::fprintf(stderr, "%s\n", report.c_str());
    std::abort();
}

namespace fuzz {

// The fuzzer's numbers come from the end of its bytes, texts from the front.
using source = FuzzedDataProvider;

// Numbers for where to cut a stream, of at most 64 bytes: the smallest ones when these are used up.
struct cuts {
    const std::vector<uint8_t> bytes;
    source numbers;

    explicit cuts(source &data)
        : bytes(data.ConsumeBytes<uint8_t>(data.ConsumeIntegralInRange<size_t>(0, 64))),
          numbers(bytes.data(), bytes.size()) {}
    uint32_t next(uint32_t least, uint32_t most) { return numbers.ConsumeIntegralInRange(least, most); }
};

} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size);

// What the fuzz targets share. A target makes its input from the fuzzer's bytes, comes to each result in two ways, and
// asserts that they agree.
#pragma once

#undef NDEBUG
#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstdio>
#include <fuzzer/FuzzedDataProvider.h>
#include <string>
#include <vector>

namespace fuzz {

// The fuzzer's numbers come from the end of its bytes, texts from the front.
using source = FuzzedDataProvider;

// All that is left, in a block of exactly that size, so that the sanitizer sees a read behind it.
inline std::vector<char> rest(source &data) { return data.ConsumeRemainingBytes<char>(); }

inline uint32_t size_of(const std::vector<char> &bytes) { return static_cast<uint32_t>(bytes.size()); }

} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size);

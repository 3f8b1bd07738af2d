// Any bytes and texts against models that go character by character.
#include "../tests/codec.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto chunk = data.ConsumeIntegralInRange<uint32_t>(1, 300);
    const std::string input = data.ConsumeRemainingBytesAsString();
    check_hex(input);
    check_chunks(input, chunk);
    check_trimming(input.c_str());
    return 0;
}

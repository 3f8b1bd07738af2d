// Any bytes and texts against models that go character by character.
#include "../tests/models/text.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto chunk = data.ConsumeIntegralInRange<uint32_t>(1, 300);
    const std::string input = data.ConsumeRemainingBytesAsString();
    model::check_hex(input);
    model::check_chunks(input, chunk);
    model::check_trimming(input.c_str());
    return 0;
}

// Both directions against a model that goes bit by bit, and streams cut anywhere.
#include "../tests/codec.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    fuzz::cuts cuts(data);
    const std::string input = data.ConsumeRemainingBytesAsString();
    check_encoding(input);
    check_decoding(input, [&] { return cuts.next(1, 100); });
    return 0;
}

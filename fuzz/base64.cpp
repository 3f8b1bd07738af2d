// Both directions against a model that goes bit by bit, and streams cut anywhere.
#include "../tests/models/base64.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    fuzz::cuts cuts(data);
    const std::string input = data.ConsumeRemainingBytesAsString();
    model::check_encoding(input);
    model::check_decoding(input, [&] { return cuts.next(1, 100); });
    return 0;
}

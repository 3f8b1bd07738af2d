// Both directions against a model that goes bit by bit, in C and in C++, whole and cut anywhere.
#include "../tests/models/base64.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    fuzz::cuts cuts(data);
    const std::string input = data.ConsumeRemainingBytesAsString();
    const auto next_piece = [&] { return cuts.next(1, 600); };
    model::check_encoding(input);
    model::check_decoding(input, next_piece);
    model::check_coders(input, next_piece);
    return 0;
}

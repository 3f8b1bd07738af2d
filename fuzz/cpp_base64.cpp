// The strict decoder against a pattern and the model, and the encoder, whole and cut anywhere.
#include "../tests/models/strict_base64.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    fuzz::cuts cuts(data);
    const std::string input = data.ConsumeRemainingBytesAsString();
    const auto next_piece = [&] { return cuts.next(1, 600); };
    model::check_strict_decoding(input, next_piece);
    model::check_encoding_by_pieces(input, next_piece);
    return 0;
}

#include "fuzz.hpp"
#include <vela/base64.h>

namespace {

std::vector<char> decode_whole(const std::vector<char> &text, size_t *stop) {
    std::vector<char> bytes(base64_decode_len(nullptr, fuzz::size_of(text)));
    const char *cursor = text.data();
    bytes.resize(base64_decode_stream(&cursor, fuzz::size_of(text), bytes.data(), fuzz::size_of(bytes)));
    *stop = static_cast<size_t>(cursor - text.data());
    return bytes;
}

// As a stream: pieces of any size, the tail of each put before the next.
std::vector<char> decode_pieces(const std::vector<char> &text, fuzz::source &cuts, size_t *stop) {
    std::vector<char> bytes, waiting;
    for (size_t at = 0; at < text.size();) {
        const size_t piece = std::min(text.size() - at, cuts.ConsumeIntegralInRange<size_t>(1, 100));
        waiting.insert(waiting.end(), text.begin() + static_cast<long>(at),
                       text.begin() + static_cast<long>(at + piece));
        at += piece;
        size_t used;
        const std::vector<char> part = decode_whole(waiting, &used);
        bytes.insert(bytes.end(), part.begin(), part.end());
        waiting.erase(waiting.begin(), waiting.begin() + static_cast<long>(used));
    }
    *stop = text.size() - waiting.size();
    return bytes;
}

void check_decoding(const std::vector<char> &text, fuzz::source &cuts) {
    size_t stop, stop_of_pieces;
    const std::vector<char> bytes = decode_whole(text, &stop);
    assert(decode_pieces(text, cuts, &stop_of_pieces) == bytes);
    // A single character is too little to be looked at, even if it is foreign.
    assert(stop == stop_of_pieces || (stop == text.size() && stop - stop_of_pieces == 1));

    // In place there is no vector step.
    std::vector<char> same = text;
    same.resize(base64_decode(same.data(), fuzz::size_of(same), same.data(), fuzz::size_of(same)));
    assert(same == bytes);
}

void check_encoding(const std::vector<char> &bytes) {
    std::vector<char> text(base64_encode_len(nullptr, fuzz::size_of(bytes)));
    assert(base64_encode(bytes.data(), fuzz::size_of(bytes), text.data(), fuzz::size_of(text)) ==
           static_cast<int32_t>(text.size()));
    size_t stop;
    assert(decode_whole(text, &stop) == bytes);
    assert(stop == text.size());
    // Three bytes at a time there is no vector step either.
    for (size_t i = 0; i < bytes.size(); i += 3) {
        char group[4];
        base64_encode(&bytes[i], std::min<uint32_t>(3, static_cast<uint32_t>(bytes.size() - i)), group, 4);
        assert(std::equal(group, group + 4, &text[i / 3 * 4]));
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto cut_bytes = data.ConsumeBytes<uint8_t>(data.ConsumeIntegralInRange<size_t>(0, 64));
    fuzz::source cuts(cut_bytes.data(), cut_bytes.size());
    const std::vector<char> input = fuzz::rest(data);
    check_decoding(input, cuts);
    check_encoding(input);
    return 0;
}

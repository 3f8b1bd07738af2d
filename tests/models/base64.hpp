// An independent implementation of Base64, bit by bit and group by group, at any place in memory.
#pragma once

#include "memory.hpp"
#include <algorithm>
#include <vela/cpp/base64.hpp>

namespace model {

const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The text of bytes, six bits at a time.
inline std::string base64_of(std::string_view bytes) {
    std::string text;
    for (size_t bit = 0; bit < 8 * bytes.size(); bit += 6) {
        unsigned value = 0;
        for (size_t i = bit; i < bit + 6; ++i)
            value = 2 * value + (i / 8 < bytes.size() ? bytes[i / 8] >> (7 - i % 8) & 1 : 0);
        text += kAlphabet[value];
    }
    return text.append((4 - text.size() % 4) % 4, '=');
}

struct decoded_base64 {
    std::string bytes;
    size_t stop; // how much of the text is consumed
};

inline decoded_base64 decoded(std::string_view text) {
    const auto value = [&](size_t at) { return text[at] == '=' ? 0 : std::min<size_t>(kAlphabet.find(text[at]), 255); };
    std::string bytes;
    for (size_t at = 0;; at += 4) {
        while (at < text.size() && value(at) == 255)
            ++at;
        if (text.size() - at < 4)
            return {bytes, at};
        const size_t bits = value(at) << 18 | value(at + 1) << 12 | value(at + 2) << 6 | value(at + 3);
        const size_t count = text[at + 2] == '=' ? 1 : text[at + 3] == '=' ? 2 : 3;
        for (size_t i = 0; i < count; ++i)
            bytes += static_cast<char>(bits >> (16 - 8 * i));
    }
}

// The same of a strict decoder: white space left out, the rest must be groups of the alphabet, the last one padded.
inline std::string strictly_decoded(std::string text) {
    std::erase_if(text, [](char ch) { return std::string_view(" \t\n\v\f\r").find(ch) != std::string_view::npos; });
    const std::string padding = text.substr(std::min(text.find_first_not_of(kAlphabet), text.size()));
    const bool good = text.size() % 4 == 0 && (padding.empty() || padding == "=" || padding == "==") &&
                      base64_of(decoded(text).bytes) == text; // or bits after the last byte are not 0
    return good ? "bytes " + decoded(text).bytes : "refused";
}

// The pieces of a text, of the sizes that next_piece() gives.
template <class NextPiece, class Action>
void cut(std::string_view text, NextPiece next_piece, Action action) {
    for (size_t at = 0, size; at < text.size(); at += size)
        action(text.substr(at, size = next_piece()));
}

inline void check_encoding(std::string_view bytes) {
    const std::string expected = base64_of(bytes);
    block from(bytes), to = buffer_of(expected.size());
    const uint32_t size = to.size();
    agree("base64_encode_len", bytes, base64_encode_len(nullptr, from.size()), size);
    agree("base64_encode into too small a buffer", bytes,
          base64_encode(from.bytes(), from.size(), to.text(), size - !bytes.empty()), 0);
    to.expect_content("base64_encode into too small a buffer", bytes, std::string(size, '#'));
    agree("base64_encode", bytes, base64_encode(from.bytes(), from.size(), to.text(), size), size);
    to.expect_content("base64_encode", bytes, expected);

    // From the end of the buffer, and from a little later.
    for (const size_t after : {0U, 1U, 7U}) {
        const std::string what = "base64_encode from " + std::to_string(after) + " after the end of its size";
        block same(std::string(size - bytes.size() + after, '#') + std::string(bytes));
        const char *const source = same.text() + same.size() - bytes.size();
        agree(what, bytes, base64_encode(source, from.size(), same.text(), size), size);
        same.expect_content(what, bytes, expected);
    }
}

// In memory that the text and its result share, with the result at a distance from the text's start.
inline void check_decoding_at(std::string_view text, int distance) {
    const std::string what = "base64_decode_stream at a distance of " + std::to_string(distance);
    const uint32_t length = static_cast<uint32_t>(text.size()), size = base64_decode_len(nullptr, length);
    const size_t text_at = static_cast<size_t>(std::max(0, -distance)),
                 bytes_at = text_at + static_cast<size_t>(distance);
    std::string before(std::max(text_at + length, bytes_at + size), '#');
    before.replace(text_at, length, text);
    block memory(before, 1);
    const auto [bytes, stop] = decoded(text);
    const char *cursor = memory.text() + text_at;
    agree(what, text, base64_decode_stream(&cursor, length, memory.bytes() + bytes_at, size),
          static_cast<long long>(bytes.size()));
    agree(what + ", where it stopped,", text, cursor - memory.text() - static_cast<long>(text_at),
          static_cast<long>(length < 2 ? 0 : stop));
    memory.expect_content(what, text, before.substr(0, bytes_at) + bytes);
}

// Apart, in shared memory wherever that may be, and as a stream: the tail of each piece is put before the next.
template <class NextPiece>
void check_decoding(std::string_view text, NextPiece next_piece) {
    for (const int distance : {static_cast<int>(text.size()), -40, -3, -1, 0, 1})
        check_decoding_at(text, distance);

    std::string waiting, bytes;
    cut(text, next_piece, [&](std::string_view piece) {
        waiting += piece;
        block from(waiting), to = buffer_of(base64_decode_len(nullptr, from.size()));
        const char *cursor = from.text();
        bytes.append(to.text(), base64_decode_stream(&cursor, from.size(), to.bytes(), to.size()));
        waiting.erase(0, static_cast<size_t>(cursor - from.text()));
        agree("whether a stream's tail is short enough", text, waiting.size() < 4, true);
    });
    agree("base64_decode_stream by pieces", text, bytes, decoded(text).bytes);
}

// The coders for C++, whole and by pieces; no state is left after a text.
template <class NextPiece>
void check_coders(const std::string &text, NextPiece next_piece) {
    const auto described = [](bool good, const std::vector<uint8_t> &bytes) {
        return good ? "bytes " + std::string(bytes.begin(), bytes.end()) : "refused";
    };
    const std::optional<std::vector<uint8_t>> whole = vela::base64::decode(text);
    agree("base64::decode", text, described(whole.has_value(), whole.value_or(std::vector<uint8_t>())),
          strictly_decoded(text));
    agree("base64::encode", text, vela::base64::encode(text), base64_of(text));

    std::string safe = base64_of(text);
    std::replace(safe.begin(), safe.end(), '+', '-');
    std::replace(safe.begin(), safe.end(), '/', '_');
    const auto url_decoded = [&](std::string_view code) {
        const std::optional<std::vector<uint8_t>> bytes = vela::base64::decode_url(code);
        return described(bytes.has_value(), bytes.value_or(std::vector<uint8_t>()));
    };
    agree("base64::decode_url, padded", text, url_decoded(safe), "bytes " + text);
    std::erase(safe, '=');
    agree("base64::encode_url", text, vela::base64::encode_url(text), safe);
    agree("base64::decode_url", text, url_decoded(safe), "bytes " + text);

    vela::base64::decoder decoder;
    vela::base64::encoder encoder;
    for (const char *which : {"first", "second"}) {
        std::vector<uint8_t> bytes;
        std::string encoded;
        bool good = true;
        cut(text, next_piece, [&](std::string_view piece) {
            good = decoder.push(piece, bytes) && good;
            encoder.push({reinterpret_cast<const uint8_t *>(piece.data()), piece.size()}, encoded);
        });
        encoder.finish(encoded);
        good = decoder.finish() && good;
        agree(std::string("the decoder's text, the ") + which, text, described(good, bytes), strictly_decoded(text));
        agree(std::string("the encoder's bytes, the ") + which, text, encoded, base64_of(text));
    }
}

} // namespace model

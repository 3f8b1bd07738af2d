// Base64 told in other words than the library's, bit by bit and group by group, wherever text and bytes lie.
#pragma once

#include "block.hpp"
#include <algorithm>
#include <vela/base64.h>

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
    size_t stop;   // how much of the text is consumed
    size_t length; // of the result
};

// Decodes a text within a memory to another place of it: a group is read before its bytes are written.
inline decoded_base64 decode_within(std::string &memory, size_t text, size_t length, size_t to) {
    const auto value = [&](size_t at) {
        return memory[at] == '=' ? 0 : std::min<size_t>(kAlphabet.find(memory[at]), 255);
    };
    const size_t end = text + length, bytes = to;
    for (size_t at = text;; at += 4) {
        while (at < end && value(at) == 255)
            ++at;
        if (end - at < 4)
            return {at - text, to - bytes};
        const size_t bits = value(at) << 18 | value(at + 1) << 12, third = value(at + 2), fourth = value(at + 3);
        const bool one = memory[at + 2] == '=', two = memory[at + 3] == '=';
        memory[to++] = static_cast<char>(bits >> 16);
        if (!one)
            memory[to++] = static_cast<char>(bits >> 8 | third >> 2);
        if (!one && !two)
            memory[to++] = static_cast<char>(third << 6 | fourth);
    }
}

// A text apart from its result.
inline std::string base64_bytes(std::string_view text) {
    std::string memory = std::string(text) + std::string(text.size(), '\0');
    const decoded_base64 result = decode_within(memory, 0, text.size(), text.size());
    return memory.substr(text.size(), result.length);
}

inline void check_encoding(std::string_view bytes) {
    const std::string expected = base64_of(bytes);
    block from(bytes), to = room_for(expected.size());
    agree("base64_encode_len", bytes, base64_encode_len(nullptr, from.size()), to.size());
    if (!bytes.empty())
        agree("base64_encode into too little", bytes,
              base64_encode(from.bytes(), from.size(), to.text(), to.size() - 1), 0);
    to.expect_content("base64_encode into too little", bytes, std::string(to.size(), '#'));
    agree("base64_encode", bytes, base64_encode(from.bytes(), from.size(), to.text(), to.size()), to.size());
    to.expect_content("base64_encode", bytes, expected);

    // From the end of the room, and from a little behind.
    for (const size_t behind : {0U, 1U, 7U}) {
        block same(std::string(expected.size() - bytes.size() + behind, '#') + std::string(bytes));
        agree("base64_encode from the end of its room", bytes,
              static_cast<size_t>(
                  base64_encode(same.text() + same.size() - bytes.size(), from.size(), same.text(), to.size())),
              expected.size());
        same.expect_content("base64_encode from the end of its room", bytes, expected);
    }
}

// Where a result may lie, from far in front of its text to far behind.
constexpr int kDistances[] = {-40, -3, -1, 0, 1, 2, 3, 5, 31, 64};

// In memory that the text and its result share, with the result so many bytes behind the text's start.
inline void check_decoding_at(std::string_view text, int distance) {
    const size_t room = base64_decode_len(nullptr, static_cast<uint32_t>(text.size()));
    const size_t text_at = static_cast<size_t>(std::max(0, -distance)),
                 bytes_at = text_at + static_cast<size_t>(distance);
    std::string expected(std::max(text_at + text.size(), bytes_at + room), '#');
    expected.replace(text_at, text.size(), text);
    block memory(expected, 1);
    const decoded_base64 result = decode_within(expected, text_at, text.size(), bytes_at);
    const char *cursor = memory.text() + text_at;
    const uint32_t length = base64_decode_stream(&cursor, static_cast<uint32_t>(text.size()), memory.bytes() + bytes_at,
                                                 static_cast<uint32_t>(room));
    const std::string what = "base64_decode_stream at a distance of " + std::to_string(distance);
    agree(what, text, std::string_view(memory.text() + bytes_at, length), expected.substr(bytes_at, result.length));
    agree(what + ", where it stopped,", text, cursor - memory.text() - static_cast<long>(text_at),
          static_cast<long>(text.size() < 2 ? 0 : result.stop));
    agree("what lies in front of the result of " + what, text, std::string_view(memory.text(), bytes_at),
          expected.substr(0, bytes_at));
    const size_t end = bytes_at + room;
    agree("what lies behind the result of " + what, text,
          std::string_view(memory.text(), memory.size() + 1).substr(end), expected.substr(end) + "#");
}

// At once, in shared memory, and as a stream: pieces of the sizes that next_piece() gives, the tail of each put before
// the next, whatever stands at a cut.
template <class NextPiece>
void check_decoding(std::string_view text, NextPiece next_piece) {
    const std::string expected = base64_bytes(text);
    check_decoding_at(text, static_cast<int>(text.size()));
    for (const int distance : kDistances)
        check_decoding_at(text, distance);

    std::string waiting, bytes;
    for (size_t at = 0, size; at < text.size(); at += size) {
        waiting += text.substr(at, size = next_piece());
        block from(waiting), to = room_for(base64_decode_len(nullptr, from.size()));
        const char *cursor = from.text();
        bytes.append(to.text(), base64_decode_stream(&cursor, from.size(), to.bytes(), to.size()));
        waiting.erase(0, static_cast<size_t>(cursor - from.text()));
        agree("whether a stream's tail is short enough", text, waiting.size() < 4, true);
    }
    agree("base64_decode_stream by pieces", text, bytes, expected);
}

} // namespace model

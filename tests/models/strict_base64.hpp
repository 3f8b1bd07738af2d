// What a strict decoder of Base64 makes of a text: white space left out, the rest must be a whole text as a pattern
// says.
#pragma once

#include "base64.hpp"
#include <optional>
#include <regex.h>
#include <vela/cpp/base64.hpp>

namespace model {

inline std::optional<std::string> strict_base64_bytes(std::string text) {
    static const regex_t whole = [] {
        regex_t compiled = {};
        regcomp(&compiled, "^([A-Za-z0-9+/]{4})*([A-Za-z0-9+/]{2}==|[A-Za-z0-9+/]{3}=)?$", REG_EXTENDED | REG_NOSUB);
        return compiled;
    }();
    std::erase_if(text, [](char ch) { return std::string_view(" \t\n\v\f\r").find(ch) != std::string_view::npos; });
    if (text.find('\0') != text.npos || regexec(&whole, text.c_str(), 0, nullptr, 0) != 0)
        return std::nullopt;
    return base64_bytes(text);
}

inline std::string shown_bytes(const std::optional<std::vector<uint8_t>> &bytes) {
    return bytes ? "bytes " + std::string(bytes->begin(), bytes->end()) : "nothing";
}

// Any text, whole and in pieces of the sizes that next_piece() gives.
template <class NextPiece>
void check_strict_decoding(const std::string &text, NextPiece next_piece) {
    const std::optional<std::string> bytes = strict_base64_bytes(text);
    const std::string expected = bytes ? "bytes " + *bytes : "nothing";
    agree("base64::decode", text, shown_bytes(vela::base64::decode(text)), expected);

    vela::base64::decoder decoder;
    std::optional<std::vector<uint8_t>> result(std::in_place);
    bool good = true;
    for (size_t at = 0, size; at < text.size(); at += size)
        good = decoder.push(std::string_view(text).substr(at, size = next_piece()), *result) && good;
    if (!decoder.finish() || !good)
        result.reset();
    agree("base64::decoder", text, shown_bytes(result), expected);
    // What is left behind by one text does not reach the next.
    std::vector<uint8_t> more;
    agree("base64::decoder, the next text", text, decoder.push("Zm9v", more) && decoder.finish(), true);
    agree("base64::decoder, the next bytes", text, std::string(more.begin(), more.end()), "foo");
}

template <class NextPiece>
void check_encoding_by_pieces(std::string_view bytes, NextPiece next_piece) {
    const std::string expected = base64_of(bytes);
    agree("base64::encode", bytes, vela::base64::encode(bytes), expected);
    const std::span all(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    vela::base64::encoder encoder;
    std::string text;
    for (size_t at = 0, size; at < all.size(); at += size)
        encoder.push(all.subspan(at, size = std::min<size_t>(next_piece(), all.size() - at)), text);
    encoder.finish(text);
    agree("base64::encoder", bytes, text, expected);
}

} // namespace model

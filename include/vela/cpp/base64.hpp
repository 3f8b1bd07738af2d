/**
 * @file
 * Base64 in one go and by pieces, both ways: vela/base64.h for C++.
 *
 *     const std::string text = vela::base64::encode(bytes);
 *     const auto back = vela::base64::decode(text); // std::optional<std::vector<uint8_t>>
 *
 * The decoders here are strict, where those in C take any text for Base64: a text is groups of four characters of the
 * standard alphabet of RFC 4648, the last one padded with "=" where it is not full. White space is skipped wherever it
 * stands; anything else is refused. Any thread may call any function at any time; an encoder or decoder belongs to one.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>
#include <vela/base64.h>

/** Base64. */
namespace vela::base64 {

/**
 * The length of a text.
 *
 * @param size  number of bytes
 * @return 4 characters for each three bytes, and for what is left
 */
[[nodiscard]] constexpr size_t encoded_size(size_t size) { return (size / 3 + (size % 3 != 0)) * 4; }

/**
 * The most bytes that a text gives.
 *
 * @param length  number of characters
 * @return 3 for each four characters
 */
[[nodiscard]] constexpr size_t most_decoded(size_t length) { return length / 4 * 3; }

/**
 * Encodes bytes that arrive piece by piece, into one unbroken text.
 *
 *     vela::base64::encoder encoder;
 *     while (const auto piece = next())
 *         encoder.push(*piece, text);
 *     encoder.finish(text);
 */
class encoder {
public:
    /**
     * Takes the next bytes.
     *
     * @param bytes  any number
     * @param text   the characters of all whole groups are appended to it
     */
    void push(std::span<const uint8_t> bytes, std::string &text) {
        text.reserve(text.size() + encoded_size(waiting + bytes.size()));
        if (waiting != 0) {
            const size_t missing = std::min(3 - waiting, bytes.size());
            std::copy_n(bytes.data(), missing, tail + waiting);
            bytes = bytes.subspan(missing);
            if ((waiting += missing) < 3)
                return;
            append({tail, 3}, text);
        }
        waiting = bytes.size() % 3;
        append(bytes.first(bytes.size() - waiting), text);
        std::copy(bytes.end() - static_cast<ptrdiff_t>(waiting), bytes.end(), tail);
    }

    /**
     * Ends the text, after which another may begin.
     *
     * @param text  the last group, padded, is appended to it, if bytes are left for one
     */
    void finish(std::string &text) {
        append({tail, waiting}, text);
        waiting = 0;
    }

private:
    // In pieces whose length the C function can count; only the last one may have less than whole groups.
    static void append(std::span<const uint8_t> bytes, std::string &text) {
        constexpr size_t most = 3 << 20;
        while (!bytes.empty()) {
            const auto piece = bytes.first(std::min(bytes.size(), most));
            const size_t before = text.size(), length = encoded_size(piece.size());
            text.resize(before + length);
            static_cast<void>(base64_encode(piece.data(), static_cast<uint32_t>(piece.size()), text.data() + before,
                                            static_cast<uint32_t>(length)));
            bytes = bytes.subspan(piece.size());
        }
    }

    uint8_t tail[3] = {};
    size_t waiting = 0; // bytes of the tail
};

/**
 * Decodes a text that arrives piece by piece, cut anywhere.
 *
 *     vela::base64::decoder decoder;
 *     while (const auto piece = next())
 *         if (!decoder.push(*piece, bytes)) return fail();
 *     if (!decoder.finish()) return fail();
 */
class decoder {
public:
    /**
     * Takes the next characters.
     *
     * @param text   any number
     * @param bytes  those of all whole groups are appended to it, up to a fault
     * @return whether the text is Base64 so far; once it is not, it stays so until finish()
     */
    [[nodiscard]] bool push(std::string_view text, std::vector<uint8_t> &bytes) {
        while (!broken && !text.empty()) {
            if (const size_t whole = waiting == 0 && !padded ? whole_groups(text) : 0; whole != 0) {
                append(text.substr(0, whole), bytes);
                text.remove_prefix(whole);
                continue;
            }
            const char ch = text.front();
            text.remove_prefix(1);
            if (is_space(ch))
                continue;
            broken = !accepts(ch);
            group[waiting++] = ch;
            if (waiting == sizeof group) {
                if (!broken)
                    append({group, sizeof group}, bytes);
                waiting = 0;
            }
        }
        return !broken;
    }

    /**
     * Ends the text, after which another may begin.
     *
     * @return whether the text was Base64, with its last group complete
     */
    [[nodiscard]] bool finish() {
        const bool good = !broken && waiting == 0;
        *this = decoder();
        return good;
    }

private:
    static constexpr bool is_space(char ch) { return ch == ' ' || ('\t' <= ch && ch <= '\r'); }

    static constexpr auto is_of_alphabet = [] {
        std::array<bool, 256> table = {};
        for (const char ch : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"))
            table[static_cast<unsigned char>(ch)] = true;
        return table;
    }();

    // How many characters in front make groups of the alphabet alone.
    static size_t whole_groups(std::string_view text) {
        size_t length = 0;
        while (length < text.size() && is_of_alphabet[static_cast<unsigned char>(text[length])])
            ++length;
        return length - length % 4;
    }

    // Padding takes the last places of a group, and nothing comes behind it.
    bool accepts(char ch) {
        if (ch != '=')
            return !padded && is_of_alphabet[static_cast<unsigned char>(ch)];
        padded = true;
        return waiting >= 2;
    }

    // Whole groups, in pieces whose length the C function can count.
    static void append(std::string_view groups, std::vector<uint8_t> &bytes) {
        constexpr size_t most = size_t{1} << 28;
        for (; !groups.empty(); groups.remove_prefix(std::min(groups.size(), most))) {
            const std::string_view piece = groups.substr(0, most);
            const size_t before = bytes.size(), room = most_decoded(piece.size());
            bytes.resize(before + room);
            bytes.resize(before + base64_decode(piece.data(), static_cast<uint32_t>(piece.size()),
                                                bytes.data() + before, static_cast<uint32_t>(room)));
        }
    }

    char group[4] = {};
    size_t waiting = 0; // characters of the group
    bool padded = false, broken = false;
};

/**
 * Encodes bytes into memory of the caller's.
 *
 * @param bytes  any number below 2^30
 * @param text   receives the characters
 * @return their number, encoded_size(); nothing where there is too little room or too much input
 */
[[nodiscard]] inline std::optional<size_t> encode(std::span<const uint8_t> bytes, std::span<char> text) {
    const size_t length = encoded_size(bytes.size());
    if (bytes.size() >= size_t{1} << 30 || text.size() < length)
        return std::nullopt;
    static_cast<void>(
        base64_encode(bytes.data(), static_cast<uint32_t>(bytes.size()), text.data(), static_cast<uint32_t>(length)));
    return length;
}

/**
 * Encodes bytes.
 *
 * @param bytes  any number
 * @return the text
 */
[[nodiscard]] inline std::string encode(std::span<const uint8_t> bytes) {
    std::string text;
    encoder whole;
    whole.push(bytes, text);
    whole.finish(text);
    return text;
}

/** The same of a string's bytes. */
[[nodiscard]] inline std::string encode(std::string_view bytes) {
    return encode(std::span(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()));
}

/**
 * Decodes a whole text.
 *
 * @param text  any number of characters
 * @return the bytes; nothing where it is not Base64
 */
[[nodiscard]] inline std::optional<std::vector<uint8_t>> decode(std::string_view text) {
    std::vector<uint8_t> bytes;
    bytes.reserve(most_decoded(text.size()));
    decoder whole;
    if (!whole.push(text, bytes) || !whole.finish())
        return std::nullopt;
    return bytes;
}

} // namespace vela::base64

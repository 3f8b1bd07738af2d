/**
 * @file
 * Base64 of whole texts and of streams: vela/base64.h for C++.
 *
 *     const std::string text = vela::base64::encode(bytes);
 *     const auto back = vela::base64::decode(text); // std::optional<std::vector<std::uint8_t>>
 *
 * The decoders here are strict, where those in C accept any text: a text is groups of four characters of the standard
 * alphabet of RFC 4648, the last one padded with "=" if it is not full. White space is skipped anywhere; any other
 * character is an error, and so are bits after the last byte that are not 0, as in "QR==": each sequence of bytes has
 * one text. For tokens in URLs and file names: encode_url() and decode_url().
 *
 * What appends to a string or a vector throws what that throws, which is std::bad_alloc; nothing else throws. Any
 * thread may call any function at any time; an encoder or decoder is used by one thread at a time.
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
 * The length of an encoded text.
 *
 * @param size  number of bytes
 * @return 4 characters for each three bytes, and for the remainder
 */
[[nodiscard]] constexpr std::size_t encoded_size(std::size_t size) noexcept { return (size / 3 + (size % 3 != 0)) * 4; }

/**
 * An upper bound of the size of the decoded bytes.
 *
 * @param length  number of characters
 * @return 3 for each four characters
 */
[[nodiscard]] constexpr std::size_t max_decoded_size(std::size_t length) noexcept { return length / 4 * 3; }

/**
 * Encodes a stream of bytes into one unbroken text.
 *
 *     vela::base64::encoder encoder;
 *     while (const auto chunk = next())
 *         encoder.push(*chunk, text);
 *     encoder.finish(text);
 */
class encoder {
public:
    /**
     * Encodes the next bytes.
     *
     * @param bytes  any number
     * @param text   the characters of all complete groups are appended to it
     */
    void push(std::span<const std::uint8_t> bytes, std::string &text) {
        text.reserve(text.size() + encoded_size(pending_ + bytes.size()));
        if (pending_ != 0) {
            const std::size_t missing = std::min(3 - pending_, bytes.size());
            std::copy_n(bytes.data(), missing, group_ + pending_);
            bytes = bytes.subspan(missing);
            if ((pending_ += missing) < 3)
                return;
            append({group_, 3}, text);
        }
        pending_ = bytes.size() % 3;
        append(bytes.first(bytes.size() - pending_), text);
        std::copy(bytes.end() - static_cast<std::ptrdiff_t>(pending_), bytes.end(), group_);
    }

    /**
     * Ends the text. The encoder is then ready for another one.
     *
     * @param text  the last group, padded, is appended to it if bytes remain
     */
    void finish(std::string &text) {
        append({group_, pending_}, text);
        pending_ = 0;
    }

private:
    // The C function counts in 32 bits. Only the last chunk may end within a group.
    static void append(std::span<const std::uint8_t> bytes, std::string &text) {
        constexpr std::size_t kMaxChunk = 3 << 20;
        while (!bytes.empty()) {
            const auto chunk = bytes.first(std::min(bytes.size(), kMaxChunk));
            const std::size_t before = text.size(), length = encoded_size(chunk.size());
            text.resize(before + length);
            static_cast<void>(base64_encode(chunk.data(), static_cast<std::uint32_t>(chunk.size()),
                                            text.data() + before, static_cast<std::uint32_t>(length)));
            bytes = bytes.subspan(chunk.size());
        }
    }

    std::uint8_t group_[3] = {};
    std::size_t pending_ = 0; // bytes of the group
};

/**
 * Decodes a text that arrives in chunks, split anywhere.
 *
 *     vela::base64::decoder decoder;
 *     while (const auto chunk = next())
 *         if (!decoder.push(*chunk, bytes)) return fail();
 *     if (!decoder.finish()) return fail();
 */
class decoder {
public:
    /**
     * Decodes the next characters.
     *
     * @param text   any number
     * @param bytes  those of all complete groups before the first error are appended to it
     * @return whether the text is Base64 so far; after an error false until finish()
     */
    [[nodiscard]] bool push(std::string_view text, std::vector<std::uint8_t> &bytes) {
        while (!failed_ && !text.empty()) {
            if (const std::size_t whole = pending_ == 0 && !padded_ ? whole_groups(text) : 0; whole != 0) {
                append(text.substr(0, whole), bytes);
                text.remove_prefix(whole);
                continue;
            }
            const char ch = text.front();
            text.remove_prefix(1);
            if (is_space(ch))
                continue;
            failed_ = !accepts(ch);
            group_[pending_++] = ch;
            if (pending_ == sizeof group_) {
                failed_ = failed_ || has_excess_bits();
                if (!failed_)
                    append({group_, sizeof group_}, bytes);
                pending_ = 0;
            }
        }
        return !failed_;
    }

    /**
     * Ends the text. The decoder is then ready for another one.
     *
     * @return whether the text was Base64, with its last group complete
     */
    [[nodiscard]] bool finish() noexcept {
        const bool good = !failed_ && pending_ == 0;
        *this = decoder();
        return good;
    }

private:
    static constexpr bool is_space(char ch) noexcept { return ch == ' ' || ('\t' <= ch && ch <= '\r'); }

    static constexpr auto kIsOfAlphabet = [] {
        std::array<bool, 256> table = {};
        for (const char ch : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"))
            table[static_cast<unsigned char>(ch)] = true;
        return table;
    }();

    // The length of the complete groups at the front, of characters of the alphabet alone.
    static std::size_t whole_groups(std::string_view text) noexcept {
        std::size_t length = 0;
        while (length < text.size() && kIsOfAlphabet[static_cast<unsigned char>(text[length])])
            ++length;
        return length - length % 4;
    }

    // Padding takes one or two places at the end of the last group.
    bool accepts(char ch) noexcept {
        if (ch != '=')
            return !padded_ && kIsOfAlphabet[static_cast<unsigned char>(ch)];
        padded_ = true;
        return pending_ >= 2;
    }

    // Whether bits after the last byte of a padded group are not 0.
    bool has_excess_bits() const noexcept {
        constexpr std::string_view without = "AQgw", without_two = "AEIMQUYcgkosw048"; // 4 or 2 bits of 0 at the end
        return padded_ && (group_[2] == '=' ? without.find(group_[1]) : without_two.find(group_[2])) == without.npos;
    }

    // The C function counts in 32 bits.
    static void append(std::string_view groups, std::vector<std::uint8_t> &bytes) {
        constexpr std::size_t kMaxChunk = std::size_t{1} << 28;
        for (; !groups.empty(); groups.remove_prefix(std::min(groups.size(), kMaxChunk))) {
            const std::string_view chunk = groups.substr(0, kMaxChunk);
            const std::size_t before = bytes.size(), capacity = max_decoded_size(chunk.size());
            bytes.resize(before + capacity);
            bytes.resize(before + base64_decode(chunk.data(), static_cast<std::uint32_t>(chunk.size()),
                                                bytes.data() + before, static_cast<std::uint32_t>(capacity)));
        }
    }

    char group_[4] = {};
    std::size_t pending_ = 0; // characters of the group
    bool padded_ = false, failed_ = false;
};

/**
 * Encodes bytes into memory of the caller's.
 *
 * @param bytes  any number below 2^30
 * @param text   receives the characters
 * @return their number, encoded_size(); empty, with nothing written, when @p text is too short or @p bytes too long
 */
[[nodiscard]] inline std::optional<std::size_t> encode(std::span<const std::uint8_t> bytes,
                                                       std::span<char> text) noexcept {
    const std::size_t length = encoded_size(bytes.size());
    if (bytes.size() >= std::size_t{1} << 30 || text.size() < length)
        return std::nullopt;
    static_cast<void>(base64_encode(bytes.data(), static_cast<std::uint32_t>(bytes.size()), text.data(),
                                    static_cast<std::uint32_t>(length)));
    return length;
}

/**
 * Encodes bytes.
 *
 * @param bytes  any number
 * @return the text
 */
[[nodiscard]] inline std::string encode(std::span<const std::uint8_t> bytes) {
    std::string text;
    encoder whole;
    whole.push(bytes, text);
    whole.finish(text);
    return text;
}

/** The same, for the bytes of a string. */
[[nodiscard]] inline std::string encode(std::string_view bytes) {
    return encode(std::span(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()));
}

/**
 * Decodes a whole text.
 *
 * @param text  any number of characters
 * @return the bytes; empty when it is not Base64
 */
[[nodiscard]] inline std::optional<std::vector<std::uint8_t>> decode(std::string_view text) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(max_decoded_size(text.size()));
    decoder whole;
    if (!whole.push(text, bytes) || !whole.finish())
        return std::nullopt;
    return bytes;
}

/**
 * Encodes bytes with the URL-safe alphabet of RFC 4648, "-" and "_" for "+" and "/", and without padding.
 *
 * @param bytes  any number
 * @return the text, which needs no encoding in a URL and is a file name
 */
[[nodiscard]] inline std::string encode_url(std::span<const std::uint8_t> bytes) {
    std::string text = encode(bytes);
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    text.erase(std::min(text.find('='), text.size()));
    return text;
}

/** The same, for the bytes of a string. */
[[nodiscard]] inline std::string encode_url(std::string_view bytes) {
    return encode_url(std::span(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()));
}

/**
 * Decodes a whole text of the URL-safe alphabet.
 *
 * @param text  any number of characters, without white space; padding is optional
 * @return the bytes; empty when the text is anything else
 */
[[nodiscard]] inline std::optional<std::vector<std::uint8_t>> decode_url(std::string_view text) {
    if (text.find_first_of("+/ \t\n\v\f\r") != text.npos)
        return std::nullopt;
    std::string standard(text);
    std::replace(standard.begin(), standard.end(), '-', '+');
    std::replace(standard.begin(), standard.end(), '_', '/');
    if (!standard.ends_with('='))
        standard.append((4 - standard.size() % 4) % 4, '=');
    return decode(standard);
}

} // namespace vela::base64

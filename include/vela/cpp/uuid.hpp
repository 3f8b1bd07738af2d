/**
 * @file
 * Random bytes, and UUIDs as values: vela/uuid.h for C++.
 *
 *     std::map<vela::uuid, session> sessions;
 *     if (const auto id = vela::uuid::random())
 *         sessions[*id] = ...;
 *     if (const auto id = vela::uuid::parse(cookie); id && sessions.contains(*id)) ...
 *
 * Random bytes come from the kernel's getrandom() alone, without the fallback of the C functions: they are fit for keys
 * and tokens.
 *
 * Any thread may call anything at any time. to_string() throws std::bad_alloc; nothing else throws.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cerrno>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vela/uuid.h>
#ifndef __wasm__
#include <sys/random.h>
#endif

namespace vela {

/**
 * Fills memory with random bytes that nobody can predict. Waits where the kernel's generator is not seeded yet, early
 * after the start of a device, and continues after signals.
 *
 * @param bytes  receives them; any number
 * @return whether all were written; false when the kernel refuses, and what was written is then not to be used
 */
[[nodiscard]] inline bool random_bytes(std::span<std::uint8_t> bytes) noexcept {
    constexpr std::size_t kMaxChunk =
        256; // the limit of getentropy(); a signal does not interrupt a seeded getrandom()
    while (!bytes.empty()) {
        const auto chunk = bytes.first(std::min(bytes.size(), kMaxChunk));
#ifdef __wasm__
        const auto count = getentropy(chunk.data(), chunk.size()) == 0 ? static_cast<ssize_t>(chunk.size()) : -1;
#else
        const ssize_t count = getrandom(chunk.data(), chunk.size(), 0);
#endif
        if (count > 0)
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        else if (count == 0 || errno != EINTR)
            return false;
    }
    return true;
}

/**
 * Sixteen bytes: copied, compared byte by byte, hashed, parsed from text and formatted.
 *
 *     const auto id = vela::uuid::parse("{00112233-4455-6677-8899-aabbccddeeff}");
 *     if (id)
 *         std::puts(id->to_string().c_str()); // 00112233-4455-6677-8899-aabbccddeeff
 */
class uuid {
public:
    /** The forms of its text. */
    enum class form : std::uint8_t {
        braced, /**< {00112233-4455-6677-8899-aabbccddeeff} */
        dashed, /**< 00112233-4455-6677-8899-aabbccddeeff */
        plain   /**< 00112233445566778899aabbccddeeff */
    };

    /** The nil UUID: sixteen bytes of 0. */
    constexpr uuid() noexcept = default;

    /** @param bytes  the sixteen bytes, in the order of the text */
    constexpr explicit uuid(std::span<const std::uint8_t, 16> bytes) noexcept {
        std::copy(bytes.begin(), bytes.end(), bytes_.begin());
    }

    /**
     * A random UUID of version 4 in the layout of RFC 9562: 122 random bits.
     *
     * @return another one each time; empty when random_bytes() fails
     */
    [[nodiscard]] static std::optional<uuid> random() noexcept {
        uuid made;
        if (!random_bytes(made.bytes_))
            return std::nullopt;
        made.bytes_[6] = static_cast<std::uint8_t>((made.bytes_[6] & 0x0F) | 0x40);
        made.bytes_[8] = static_cast<std::uint8_t>((made.bytes_[8] & 0x3F) | 0x80);
        return made;
    }

    /**
     * Parses a text that is a UUID and nothing else, in one of the three forms, with letters in either case. What
     * uuid_scan() accepts beyond that (white space, signs, missing digits, any suffix) is refused.
     *
     * @param text  the text
     * @return the UUID, or empty
     */
    [[nodiscard]] static std::optional<uuid> parse(std::string_view text) noexcept {
        char copy[39] = {};
        if (text.size() >= sizeof copy)
            return std::nullopt;
        std::copy(text.begin(), text.end(), copy);
        uuid found;
        if (uuid_scan(copy, found.bytes_.data()) != 0)
            return std::nullopt;
        const auto lower_case = [](char ch) {
            return 'A' <= ch && ch <= 'F' ? static_cast<char>(ch + ('a' - 'A')) : ch;
        };
        std::transform(copy, copy + text.size(), copy, lower_case);
        for (const form shape : {form::braced, form::dashed, form::plain})
            if (found.formatted(shape).view() == std::string_view(copy, text.size()))
                return found;
        return std::nullopt;
    }

    /** @return the sixteen bytes */
    [[nodiscard]] constexpr const std::array<std::uint8_t, 16> &bytes() const noexcept { return bytes_; }

    /** @return the version field of RFC 9562, 0 to 15: 4 for random ones; meaningless in other layouts */
    [[nodiscard]] constexpr unsigned version() const noexcept { return bytes_[6] >> 4; }

    /** @return whether all bytes are 0 */
    [[nodiscard]] constexpr bool is_nil() const noexcept { return *this == uuid(); }

    /**
     * The text, in lower case.
     *
     * @param shape  its form
     * @return 38, 36 or 32 characters
     */
    [[nodiscard]] std::string to_string(form shape = form::dashed) const {
        return std::string(formatted(shape).view());
    }

    /**
     * Writes the text, in lower case and without a NUL, to memory of the caller's.
     *
     * @param to     receives it
     * @param shape  its form
     * @return the number of characters, 38, 36 or 32; empty, with nothing written, when @p to is too short
     */
    [[nodiscard]] std::optional<std::size_t> to_chars(std::span<char> to, form shape = form::dashed) const noexcept {
        const text made = formatted(shape);
        if (to.size() < made.length)
            return std::nullopt;
        std::copy_n(made.characters + made.first, made.length, to.data());
        return made.length;
    }

    /** Compares byte by byte, the first byte first, as uuid_compare(). */
    [[nodiscard]] friend constexpr std::strong_ordering operator<=>(const uuid &, const uuid &) noexcept = default;

private:
    struct text {
        char characters[39];
        std::size_t first, length;
        std::string_view view() const noexcept { return {characters + first, length}; }
    };

    text formatted(form shape) const noexcept {
        text made = {{}, shape != form::braced, shape == form::braced ? std::size_t{38} : 36};
        uuid_sprint(made.characters, bytes_.data());
        if (shape == form::plain)
            made.length = static_cast<std::size_t>(std::remove(made.characters + 1, made.characters + 37, '-') -
                                                   (made.characters + 1));
        return made;
    }

    std::array<std::uint8_t, 16> bytes_ = {};
};

} // namespace vela

/** @cond */
// UUIDs as keys of unordered containers.
template <>
struct std::hash<vela::uuid> {
    [[nodiscard]] std::size_t operator()(const vela::uuid &id) const noexcept {
        std::uint64_t halves[2];
        std::memcpy(halves, id.bytes().data(), sizeof halves);
        const std::uint64_t mixed = (halves[0] ^ (halves[1] * 0x9E3779B97F4A7C15)) * 0xFF51AFD7ED558CCD;
        return static_cast<std::size_t>(mixed ^ mixed >> 32);
    }
};
/** @endcond */

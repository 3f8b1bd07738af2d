/**
 * @file
 * UUIDs as values: vela/uuid.h for C++.
 *
 *     std::map<vela::uuid, session> sessions;
 *     sessions[vela::uuid::random()] = ...;
 *     if (const auto id = vela::uuid::parse(cookie); id && sessions.contains(*id)) ...
 *
 * random() draws from the kernel's device as uuid_create() does, with its fallback and its rule for threads; all else
 * may be called by any thread at any time.
 */
#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vela/uuid.h>

namespace vela {

/**
 * Sixteen bytes: copied, compared byte by byte and hashed like a number, read from text and written as text.
 *
 *     const auto id = vela::uuid::parse("{00112233-4455-6677-8899-aabbccddeeff}");
 *     if (id)
 *         std::puts(id->to_string().c_str()); // 00112233-4455-6677-8899-aabbccddeeff
 */
class uuid {
public:
    /** The forms of its text. */
    enum class form : uint8_t {
        braced, /**< {00112233-4455-6677-8899-aabbccddeeff} */
        dashed, /**< 00112233-4455-6677-8899-aabbccddeeff */
        plain   /**< 00112233445566778899aabbccddeeff */
    };

    /** The nil UUID: sixteen bytes of 0. */
    constexpr uuid() = default;

    /** @param bytes  the sixteen bytes, the one first in the text first */
    constexpr explicit uuid(std::span<const uint8_t, 16> bytes) { std::copy(bytes.begin(), bytes.end(), all.begin()); }

    /**
     * A random UUID of version 4 as RFC 9562 lays it out: 122 random bits.
     *
     * @return another one each time
     */
    [[nodiscard]] static uuid random() {
        uuid made;
        uuid_create(made.all.data());
        made.all[6] = static_cast<uint8_t>((made.all[6] & 0x0F) | 0x40);
        made.all[8] = static_cast<uint8_t>((made.all[8] & 0x3F) | 0x80);
        return made;
    }

    /**
     * Reads a text that is a UUID and nothing else, in one of the three forms, with letters in either case. What
     * uuid_scan() takes besides (white space, signs, digits that are missing, anything behind) is refused.
     *
     * @param text  the text
     * @return the UUID, or nothing
     */
    [[nodiscard]] static std::optional<uuid> parse(std::string_view text) {
        char copy[39] = {};
        if (text.size() >= sizeof copy)
            return std::nullopt;
        text.copy(copy, text.size());
        uuid found;
        if (uuid_scan(copy, found.all.data()) != 0)
            return std::nullopt;
        const auto lower_case = [](char ch) {
            return 'A' <= ch && ch <= 'F' ? static_cast<char>(ch + ('a' - 'A')) : ch;
        };
        std::transform(copy, copy + text.size(), copy, lower_case);
        for (const form one : {form::braced, form::dashed, form::plain})
            if (found.written(one).view() == std::string_view(copy, text.size()))
                return found;
        return std::nullopt;
    }

    /** @return the sixteen bytes */
    [[nodiscard]] constexpr const std::array<uint8_t, 16> &bytes() const { return all; }

    /** @return the version that RFC 9562 gives the UUID, 0 to 15: 4 for random ones; it says nothing of other layouts
     */
    [[nodiscard]] constexpr unsigned version() const { return all[6] >> 4; }

    /** @return whether all bytes are 0 */
    [[nodiscard]] constexpr bool is_nil() const { return *this == uuid(); }

    /**
     * The text, in lower case.
     *
     * @param one  in which form
     * @return 38, 36 or 32 characters
     */
    [[nodiscard]] std::string to_string(form one = form::dashed) const { return std::string(written(one).view()); }

    /**
     * Writes the text, in lower case and without a NUL, where no memory is to be allocated.
     *
     * @param to   receives it
     * @param one  in which form
     * @return the number of characters, 38, 36 or 32; nothing where there is too little room
     */
    [[nodiscard]] std::optional<size_t> to_chars(std::span<char> to, form one = form::dashed) const {
        const text made = written(one);
        if (to.size() < made.view().size())
            return std::nullopt;
        return made.view().copy(to.data(), to.size());
    }

    /** Compares byte by byte, the first one first, as uuid_compare(). */
    [[nodiscard]] friend constexpr std::strong_ordering operator<=>(const uuid &, const uuid &) = default;

private:
    struct text {
        char characters[39];
        size_t first, length;
        std::string_view view() const { return {characters + first, length}; }
    };

    text written(form one) const {
        text made = {{}, one != form::braced, one == form::braced ? size_t{38} : 36};
        uuid_sprint(made.characters, all.data());
        if (one == form::plain)
            made.length = static_cast<size_t>(std::remove(made.characters + 1, made.characters + 37, '-') -
                                              (made.characters + 1));
        return made;
    }

    std::array<uint8_t, 16> all = {};
};

} // namespace vela

/** @cond */
// UUIDs as keys of unordered containers.
template <>
struct std::hash<vela::uuid> {
    [[nodiscard]] size_t operator()(const vela::uuid &one) const noexcept {
        uint64_t halves[2];
        std::memcpy(halves, one.bytes().data(), sizeof halves);
        const uint64_t mixed = (halves[0] ^ (halves[1] * 0x9E3779B97F4A7C15)) * 0xFF51AFD7ED558CCD;
        return static_cast<size_t>(mixed ^ mixed >> 32);
    }
};
/** @endcond */

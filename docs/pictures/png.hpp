// Small PNG pictures of up to 16 shades, as the text of a data URI.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>
#include <vela/cpp/base64.hpp>

namespace png {

using bytes = std::vector<uint8_t>;
using colour = std::array<uint8_t, 3>;

// Deflate with its fixed codes (RFC 1951, 3.2.6), for rows of equal length: what repeats does so at once or a row
// later.
class deflater {
public:
    static bytes pack(const bytes &data, size_t row) {
        deflater to;
        to.put(0b011, 3); // the last block, of fixed codes
        for (size_t at = 0; at < data.size();) {
            const size_t near = repeated(data, at, 1), far = repeated(data, at, row);
            if (std::max(near, far) < 3) {
                to.put_symbol(data[at++]);
                continue;
            }
            to.put_length(std::max(near, far));
            to.put_distance(near >= far ? 1 : row);
            at += std::max(near, far);
        }
        to.put_symbol(256);
        to.put(0, 7); // fills the last byte
        return to.out;
    }

private:
    bytes out;
    uint32_t waiting = 0, waiting_bits = 0;

    static size_t repeated(const bytes &data, size_t at, size_t distance) {
        size_t length = 0;
        while (distance <= at && at + length < data.size() && length < 258 &&
               data[at + length] == data[at + length - distance])
            ++length;
        return length;
    }

    void put(uint32_t value, uint32_t bits) {
        waiting |= value << waiting_bits;
        for (waiting_bits += bits; waiting_bits >= 8; waiting_bits -= 8, waiting >>= 8)
            out.push_back(static_cast<uint8_t>(waiting));
    }
    // Huffman codes begin with their highest bit.
    void put_code(uint32_t code, uint32_t bits) {
        while (bits--)
            put(code >> bits & 1, 1);
    }
    void put_symbol(uint32_t symbol) {
        if (symbol < 144)
            put_code(48 + symbol, 8);
        else if (symbol < 256)
            put_code(400 + symbol - 144, 9);
        else if (symbol < 280)
            put_code(symbol - 256, 7);
        else
            put_code(192 + symbol - 280, 8);
    }
    // Both kinds of codes stand for ranges: 2^steps of them for each doubling of the value less an offset.
    static std::array<uint32_t, 3> range(uint32_t value, uint32_t steps) {
        uint32_t extra = 0;
        while (value >> extra >= 2U << steps)
            ++extra;
        return {(extra << steps) + (value >> extra), extra, value & ((1U << extra) - 1)};
    }
    void put_length(size_t length) {
        const auto [code, extra, rest] = range(static_cast<uint32_t>(length) - 3, 2);
        put_symbol(length == 258 ? 285 : 257 + code);
        if (length != 258)
            put(rest, extra);
    }
    void put_distance(size_t distance) {
        const auto [code, extra, rest] = range(static_cast<uint32_t>(distance) - 1, 1);
        put_code(code, 5);
        put(rest, extra);
    }
};

inline void append(bytes &to, uint32_t number) {
    for (const int shift : {24, 16, 8, 0})
        to.push_back(static_cast<uint8_t>(number >> shift));
}

inline void append_chunk(bytes &to, std::string_view name, const bytes &data) {
    append(to, static_cast<uint32_t>(data.size()));
    const size_t begin = to.size();
    to.insert(to.end(), name.begin(), name.end());
    to.insert(to.end(), data.begin(), data.end());
    uint32_t rest = UINT32_MAX;
    for (size_t i = begin; i < to.size(); ++i) {
        rest ^= to[i];
        for (int bit = 0; bit < 8; ++bit)
            rest = rest >> 1 ^ (rest & 1 ? 0xEDB88320 : 0);
    }
    append(to, ~rest);
}

// A picture of an even width; each pixel is a place in the palette.
inline std::string data_uri(uint32_t width, const bytes &pixels, const std::vector<colour> &palette) {
    const size_t height = pixels.size() / width;
    bytes rows, head, shades, packed = {0x78, 1}, file = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    uint32_t sum = 1, sum_of_sums = 0;
    for (size_t y = 0; y < height; ++y) {
        rows.push_back(0); // unfiltered
        for (size_t x = 0; x < width; x += 2)
            rows.push_back(static_cast<uint8_t>(pixels[y * width + x] << 4 | pixels[y * width + x + 1]));
    }
    for (const uint8_t byte : rows) {
        sum = (sum + byte) % 65521;
        sum_of_sums = (sum_of_sums + sum) % 65521;
    }
    const bytes deflated = deflater::pack(rows, width / 2 + 1);
    packed.insert(packed.end(), deflated.begin(), deflated.end());
    append(packed, sum_of_sums << 16 | sum);

    append(head, width);
    append(head, static_cast<uint32_t>(height));
    head.insert(head.end(), {4, 3, 0, 0, 0}); // four bits, with a palette
    for (const colour &shade : palette)
        shades.insert(shades.end(), shade.begin(), shade.end());
    append_chunk(file, "IHDR", head);
    append_chunk(file, "PLTE", shades);
    append_chunk(file, "IDAT", packed);
    append_chunk(file, "IEND", {});
    return "data:image/png;base64," + vela::base64::encode(file);
}

} // namespace png

#include "detail/endian.hpp"
#include "detail/simd.hpp"
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <vela/base64.h>

#if defined VELA_AVX2
#include "detail/base64_avx2.hpp"
#elif defined VELA_NEON
#include "detail/base64_neon.hpp"
#endif

using namespace vela::detail;

namespace {

constexpr uint32_t kLimit = 1U << 30; // from which lengths no longer fit
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The index of each character in the alphabet, or -1.
constexpr auto kIndex = [] {
    std::array<int8_t, 256> table;
    table.fill(-1);
    for (int8_t i = 0; i < 64; ++i)
        table[static_cast<unsigned char>(kAlphabet[i])] = i;
    return table;
}();

int32_t index_of(char ch) { return kIndex[static_cast<unsigned char>(ch)]; }

// What is skipped between groups.
bool is_foreign(char ch) { return index_of(ch) < 0 && ch != '='; }

// How far a decoder has come. Invariant: from the start on, three bytes of room were there for each four characters,
// and no more than that are used, so there is room for what is left.
struct position {
    const char *text, *end;
    uint8_t *bytes;

    size_t left() const { return static_cast<size_t>(end - text); }
    void advance(size_t groups) {
        text += 4 * groups;
        bytes += 3 * groups;
    }
};

#ifdef VELA_WIDE
// Encodes from the front what whole vector steps can take; returns the number of bytes taken.
VELA_WIDE size_t encode_wide(const uint8_t *src, size_t len, char *dst) {
    size_t taken = 0;
    for (; len - taken >= base64_wide::kEncodeReads; taken += base64_wide::kEncodeTakes)
        base64_wide::encode(src + taken, dst + taken / 3 * 4);
    return taken;
}

// Decodes groups of four characters of the alphabet until one holds another, or too few are left for a vector step.
VELA_WIDE position decode_wide(position at) {
    constexpr size_t kStepGroups = base64_wide::kDecodeReads / 4;
    // So many characters left mean that a step's whole output fits.
    constexpr size_t kNeeded = std::max(base64_wide::kDecodeReads, (base64_wide::kDecodeWrites * 4 + 2) / 3);
    for (size_t groups = kStepGroups; groups == kStepGroups && at.left() >= kNeeded; at.advance(groups))
        groups = base64_wide::decode(at.text, at.bytes);
    return at;
}
#endif

void encode_group(uint32_t bits, char *dst) {
    dst[0] = kAlphabet[bits >> 26];
    dst[1] = kAlphabet[bits >> 20 & 63];
    dst[2] = kAlphabet[bits >> 14 & 63];
    dst[3] = kAlphabet[bits >> 8 & 63];
}

// Three bytes at a time, read as a word of four while there is a fourth; returns the number of bytes taken.
size_t encode_groups(const uint8_t *src, size_t len, char *dst) {
    size_t taken = 0;
#pragma GCC unroll 4
    for (; len - taken > 3; taken += 3, dst += 4)
        encode_group(load32<std::endian::big>(src + taken), dst);
    return taken;
}

// The last one to three bytes of an input.
void encode_end(const uint8_t *src, size_t len, char *dst) {
    uint32_t bits = 0;
    for (size_t i = 0; i < len; ++i)
        bits |= static_cast<uint32_t>(src[i]) << (24 - 8 * i);
    encode_group(bits, dst);
    for (size_t i = len; i < 3; ++i)
        dst[i + 1] = '=';
}

void store_bytes(uint32_t bits, uint8_t *bytes) {
    bytes[0] = static_cast<uint8_t>(bits >> 16);
    bytes[1] = static_cast<uint8_t>(bits >> 8);
    bytes[2] = static_cast<uint8_t>(bits);
}

// Decodes groups of four characters of the alphabet, until one holds another or less than a group is left.
position decode_plain(position at) {
#pragma GCC unroll 2
    for (; at.left() >= 4; at.advance(1)) {
        // A -1 among them makes the sum negative.
        const int32_t bits =
            index_of(at.text[0]) << 18 | index_of(at.text[1]) << 12 | index_of(at.text[2]) << 6 | index_of(at.text[3]);
        if (bits < 0)
            break;
        store_bytes(static_cast<uint32_t>(bits), at.bytes);
    }
    return at;
}

// Decodes one group of any four characters.
position decode_any(position at) {
    uint32_t value[4];
    for (size_t i = 0; i < 4; ++i)
        value[i] = at.text[i] == '=' ? 0 : static_cast<uint8_t>(index_of(at.text[i]));
    const bool one = at.text[2] == '=', two = at.text[3] == '=';
    at.text += 4;
    *at.bytes++ = static_cast<uint8_t>(value[0] << 2 | value[1] >> 4);
    if (one)
        return at;
    *at.bytes++ = static_cast<uint8_t>(value[1] << 4 | value[2] >> 2);
    if (two)
        return at;
    *at.bytes++ = static_cast<uint8_t>(value[2] << 6 | value[3]);
    return at;
}

position skip_foreign(position at) {
    while (at.left() && is_foreign(*at.text))
        ++at.text;
    return at;
}

// Decodes to the end or to an incomplete group.
position decode(position at, [[maybe_unused]] bool wide) {
    for (at = skip_foreign(at); at.left() >= 4; at = skip_foreign(at)) {
        const char *const start = at.text;
#ifdef VELA_WIDE
        if (wide)
            at = decode_wide(at);
#endif
        at = decode_plain(at);
        if (at.text == start)
            at = decode_any(at);
    }
    return at;
}

// A vector step may write behind its result, so it must not where unread text may stand there.
bool overlaps(const char *text, size_t len, const uint8_t *bytes, size_t size) {
    const auto first = reinterpret_cast<uintptr_t>(text), second = reinterpret_cast<uintptr_t>(bytes);
    return first < second + size && second < first + len;
}

} // namespace

uint32_t base64_encode_len(const void *, uint32_t len) { return (len / 3 + (len % 3 != 0)) * 4; }

int32_t base64_encode(const void *src, uint32_t len, char *dst, uint32_t dst_size) {
    const uint32_t needed = base64_encode_len(src, len);
    if (!src || !len || len >= kLimit || dst_size < needed || !dst)
        return 0;
    const auto *bytes = static_cast<const uint8_t *>(src);
    size_t taken = 0;
#ifdef VELA_WIDE
    if (wide_unit())
        taken = encode_wide(bytes, len, dst);
#endif
    taken += encode_groups(bytes + taken, len - taken, dst + taken / 3 * 4);
    if (taken < len)
        encode_end(bytes + taken, len - taken, dst + taken / 3 * 4);
    return static_cast<int32_t>(needed);
}

uint32_t base64_decode_len(const void *, uint32_t len) { return 3 * len / 4; }

uint32_t base64_decode_stream(const char **src_ptr, uint32_t len, void *dst, uint32_t dst_size) {
    if (!src_ptr || !*src_ptr || len >= kLimit || !dst)
        return 0;
    const uint32_t needed = base64_decode_len(*src_ptr, len);
    if (!needed || dst_size < needed)
        return 0;
    auto *const bytes = static_cast<uint8_t *>(dst);
    const position start = {*src_ptr, *src_ptr + len, bytes};
    const position stop = decode(start, wide_unit() && !overlaps(*src_ptr, len, bytes, dst_size));
    *src_ptr = stop.text;
    return static_cast<uint32_t>(stop.bytes - bytes);
}

uint32_t base64_decode(const char *src, uint32_t len, void *dst, uint32_t dst_size) {
    return base64_decode_stream(&src, len, dst, dst_size);
}

void base64_decode_table_gen(void) {
    for (int ch = 0; ch < 256; ++ch) {
        if (ch != '=')
            std::printf("0x%02x,", static_cast<uint8_t>(kIndex[static_cast<size_t>(ch)]));
        if ((ch + 1) % 15 == 0)
            std::printf("\n");
    }
}

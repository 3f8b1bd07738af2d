// Base64: the scalar code, group by group, and the dispatch to the vector code.
#include "common/endian.hpp"
#include "common/simd.hpp"
#include "tables.hpp"
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <vela/base64.h>

#if defined VELA_AVX2
#include "avx2.hpp"
#elif defined VELA_NEON
#include "neon.hpp"
#elif defined VELA_SIMD128
#include "simd128.hpp"
#endif

using namespace vela::detail;

namespace {

constexpr uint32_t kLimit = 1U << 30; // from which lengths no longer fit

bool overlap(const void *a, size_t a_size, const void *b, size_t b_size) {
    const auto first = reinterpret_cast<uintptr_t>(a), second = reinterpret_cast<uintptr_t>(b);
    return first < second + b_size && second < first + a_size;
}

int32_t index_of(char ch) { return kBase64Index[static_cast<unsigned char>(ch)]; }

// What is skipped between groups.
bool is_foreign(char ch) { return index_of(ch) < 0 && ch != '='; }

// A decoder's position. Invariant: the output had space for three bytes per four characters of text at the start, and
// no more than that are used, so there is space for the rest.
struct position {
    const char *text, *end;
    uint8_t *bytes;

    size_t left() const { return static_cast<size_t>(end - text); }
    void advance(size_t groups) {
        text += 4 * groups;
        bytes += 3 * groups;
    }
};

#ifdef VELA_SIMD
#ifdef VELA_AVX2
using wide = base64_avx2;
#elif defined VELA_NEON
using wide = base64_neon;
#else
using wide = base64_simd128;
#endif

// Encodes from the front what whole steps can take; returns the number of bytes taken.
VELA_SIMD [[gnu::flatten]] size_t encode_steps(const uint8_t *src, size_t len, char *dst) {
    const uint8_t *const start = src;
    for (; len >= wide::kEncodeReads; len -= wide::kEncodeTakes) {
        wide::encode(src, dst);
        src += wide::kEncodeTakes;
        dst += wide::kEncodeTakes / 3 * 4;
    }
    return static_cast<size_t>(src - start);
}

// With this many characters left, the output has space for all that a step writes.
constexpr size_t kNeeded = std::max(wide::kDecodeReads, (wide::kDecodeWrites * 4 + 2) / 3);

// Decodes groups of the alphabet and skips foreign characters between them, until a group holds something else or too
// few characters are left for a step.
VELA_SIMD [[gnu::flatten]] position decode_steps(position at) {
    constexpr size_t kGroups = wide::kDecodeReads / 4;
    size_t expected = 0;
    while (at.left() >= kNeeded) {
        const size_t groups = wide::decode(at.text, at.bytes);
        if (groups == kGroups) {
            at.advance(kGroups);
            continue;
        }
        // Line ends recur at regular distances: a predicted branch lets the processor continue without waiting for this
        // step's result.
        if (groups != expected) {
            expected = groups;
            asm volatile("" : "+r"(expected)); // no conditional move
        }
        at.advance(expected);
        if (!is_foreign(*at.text))
            break;
        ++at.text;
    }
    return at;
}
#endif

// The four characters of the high 24 bits, written as one word.
[[gnu::always_inline]] inline void encode_group(uint32_t bits, char *dst) {
    const auto character = [](uint32_t value) {
        return uint32_t{static_cast<unsigned char>(kBase64Alphabet[value & 63])};
    };
    store32<std::endian::little>(dst, character(bits >> 26) | character(bits >> 20) << 8 | character(bits >> 14) << 16 |
                                          character(bits >> 8) << 24);
}

// Three bytes at a time, read as a word of four while there is a fourth; returns the number of bytes taken.
size_t encode_groups(const uint8_t *src, size_t len, char *dst) {
    const uint8_t *const start = src, *const end = src + len;
    for (; end - src > 12; src += 12, dst += 16)
#pragma GCC unroll 4
        for (size_t i = 0; i < 4; ++i)
            encode_group(load32<std::endian::big>(src + 3 * i), dst + 4 * i);
    for (; end - src > 3; src += 3, dst += 4)
        encode_group(load32<std::endian::big>(src), dst);
    return static_cast<size_t>(src - start);
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

// The 24 bits of four characters; negative where one of them is not of the alphabet, since its -1 makes the sum so.
inline int32_t group_bits(const char *text) {
    return index_of(text[0]) << 18 | index_of(text[1]) << 12 | index_of(text[2]) << 6 | index_of(text[3]);
}

// Decodes groups of four characters of the alphabet, until one holds another or none is left. Three bytes are written
// as a word of four while there is space for one more than the result, which six characters left guarantee.
position decode_plain(position at) {
    int32_t bits = 0;
    for (; at.left() >= 6 && (bits = group_bits(at.text)) >= 0; at.advance(1))
        store32<std::endian::big>(at.bytes, static_cast<uint32_t>(bits) << 8);
    if (at.left() < 6 && at.left() >= 4 && (bits = group_bits(at.text)) >= 0) {
        store16<std::endian::big>(at.bytes, static_cast<uint16_t>(bits >> 8));
        at.bytes[2] = static_cast<uint8_t>(bits);
        at.advance(1);
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

// What a decoder may write beside a group's own bytes. It matters where the result shares memory with text not read
// yet.
enum class latitude {
    none, // nothing, and not before it has read the whole group
    byte, // one more
    step  // whatever a vector step does
};

// A result that starts at its text's start or before it stays at least one byte away from what is still to be read,
// since a group's text is longer than its bytes by one. One that starts after its text's start has no such distance.
latitude latitude_of(const char *text, size_t len, const uint8_t *bytes, size_t size) {
    if (!overlap(text, len, bytes, size))
        return latitude::step;
    return reinterpret_cast<const char *>(bytes) <= text ? latitude::byte : latitude::none;
}

// Decodes to the end or to an incomplete group.
position decode(position at, latitude may_write) {
#ifdef VELA_SIMD
    const bool by_steps = may_write == latitude::step && at.left() >= wide::kDecodeFrom && has_simd();
#endif
    for (at = skip_foreign(at); at.left() >= 4; at = skip_foreign(at)) {
        const char *const start = at.text;
#ifdef VELA_SIMD
        if (by_steps && at.left() >= kNeeded)
            at = decode_steps(at);
#endif
        if (may_write != latitude::none)
            at = decode_plain(at);
        if (at.text == start)
            at = decode_any(at);
    }
    return at;
}

} // namespace

uint32_t base64_encode_len(const void *, uint32_t len) { return (len / 3 + (len % 3 != 0)) * 4; }

int32_t base64_encode(const void *src, uint32_t len, char *dst, uint32_t dst_size) {
    const uint32_t needed = base64_encode_len(src, len);
    if (!src || !len || len >= kLimit || dst_size < needed || !dst)
        return 0;
    const auto *bytes = static_cast<const uint8_t *>(src);
    size_t taken = 0;
#ifdef VELA_SIMD
    if (len >= wide::kEncodeReads && has_simd())
        taken = encode_steps(bytes, len, dst);
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
    const position stop = decode(start, latitude_of(*src_ptr, len, bytes, needed));
    *src_ptr = stop.text;
    return static_cast<uint32_t>(stop.bytes - bytes);
}

uint32_t base64_decode(const char *src, uint32_t len, void *dst, uint32_t dst_size) {
    return base64_decode_stream(&src, len, dst, dst_size);
}

void base64_decode_table_gen(void) {
    for (int ch = 0; ch < 256; ++ch) {
        if (ch != '=')
            std::printf("0x%02x,", static_cast<uint8_t>(kBase64Index[static_cast<size_t>(ch)]));
        if ((ch + 1) % 15 == 0)
            std::printf("\n");
    }
}

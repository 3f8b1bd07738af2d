// Base64 in steps of 64 characters = 48 bytes, for AVX-512 with byte permutations (VBMI), which look up any table of 64
// or 128 entries at once.
#pragma once

#include "common/intrinsics.hpp"
#include "tables.hpp"
#include <cstddef>
#include <cstdint>

namespace vela::detail {

#define VELA_VBMI [[gnu::target("avx512f,avx512bw,avx512vbmi")]]

struct base64_avx512 {
    static constexpr std::size_t kEncodeReads = 64;  // bytes that must be readable for one step, which takes
    static constexpr std::size_t kEncodeTakes = 48;  // this many
    static constexpr std::size_t kDecodeReads = 64;  // characters that one step reads
    static constexpr std::size_t kDecodeWrites = 64; // bytes that it writes, 48 of them meant

    static bool available() {
        return may_use(unit::avx512) && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi");
    }

    template <auto kernel, class... Arguments>
    VELA_VBMI [[gnu::flatten]] static auto run(Arguments... arguments) {
        return kernel(arguments...);
    }

    // Encodes 48 bytes.
    VELA_VBMI static void encode(const std::uint8_t *from, char *to) {
        // Of three bytes a lane, the highest first:
        //     bbbbcccc ccdddddd aaaaaabb bbbbcccc
        const __m512i lanes = _mm512_permutexvar_epi8(triples(), _mm512_loadu_si512(from));
        // The eight bits from each of these places on; the upper two of them are not looked at by the look-up.
        const __m512i values = _mm512_multishift_epi64_epi8(_mm512_set1_epi64(0x3036242a1016040a), lanes);
        _mm512_storeu_si512(to, _mm512_permutexvar_epi8(values, _mm512_loadu_si512(kBase64Alphabet)));
    }

    // Decodes 64 characters as far as they are of the alphabet and returns the number of complete groups before the
    // first one that holds something else. What is written for the others has no meaning.
    VELA_VBMI static std::size_t decode(const char *from, std::uint8_t *to) {
        const __m512i text = _mm512_loadu_si512(from);
        const __m512i values = _mm512_permutex2var_epi8(_mm512_loadu_si512(kBase64Index.data()), text,
                                                        _mm512_loadu_si512(kBase64Index.data() + 64));
        // Four values become 24 bits by multiplying neighbours and adding the products:
        //     00dddddd 00cccccc 00bbbbbb 00aaaaaa  ->  0000cccc ccdddddd 0000aaaa aabbbbbb
        //                                          ->  00000000 aaaaaabb bbbbcccc ccdddddd
        const __m512i pairs = _mm512_maddubs_epi16(values, _mm512_set1_epi32(0x01400140));
        const __m512i lanes = _mm512_madd_epi16(pairs, _mm512_set1_epi32(0x00011000));
        _mm512_storeu_si512(to, _mm512_permutexvar_epi8(packed(), lanes));

        // Bit 7 is set in characters that the table does not reach, and in its entries for the others.
        const std::uint64_t foreign = _mm512_movepi8_mask(_mm512_or_si512(text, values));
        return foreign ? static_cast<std::size_t>(__builtin_ctzll(foreign)) / 4 : 16;
    }

private:
    // Which bytes make up the lanes: 1 0 2 1, 4 3 5 4, ...
    VELA_VBMI static __m512i triples() {
        const __m512i lane = _mm512_set_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
        return _mm512_add_epi32(_mm512_mullo_epi32(lane, _mm512_set1_epi32(0x03030303)), _mm512_set1_epi32(0x01020001));
    }

    // Where the 48 bytes of the result stand in the lanes: 2 1 0, 6 5 4, ...
    VELA_VBMI static __m512i packed() {
        return _mm512_set_epi32(0, 0, 0, 0, 0x3c3d3e38, 0x393a3435, 0x36303132, 0x2c2d2e28, 0x292a2425, 0x26202122,
                                0x1c1d1e18, 0x191a1415, 0x16101112, 0x0c0d0e08, 0x090a0405, 0x06000102);
    }
};

#undef VELA_VBMI

} // namespace vela::detail

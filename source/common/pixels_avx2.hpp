// Pixels of three bytes as one register for each of their bytes, and back, for AVX2: 32 pixels at a time.
//
// A pixel's three bytes stand in three registers: pixels 0 to 15 in the low half of each, 16 to 31 in the high one. Of
// the 48 bytes that 16 pixels take, each byte place of a 16-byte third belongs to another of a, b and c:
//
//     abcabcabcabcabca  bcabcabcabcabcab  cabcabcabcabcabc
#pragma once

#include "common/simd.hpp"
#include <cstddef>
#include <immintrin.h>

namespace vela::detail {

struct pixels_avx2 {
    using bytes = __m256i;

    bytes a, b, c;

    VELA_SIMD_INLINE static bytes both(__m128i half) { return _mm256_broadcastsi128_si256(half); }

    // 16 bytes, and 16 more from `distance` on.
    template <size_t distance>
    VELA_SIMD_INLINE static bytes load_halves(const uint8_t *from) {
        const auto *half = reinterpret_cast<const __m128i *>(from);
        const auto *other = reinterpret_cast<const __m128i *>(from + distance);
        return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(half)), _mm_loadu_si128(other), 1);
    }

    // From each place of a third, the first register's byte where it is 0, 3, 6, ..., the second's at 1, 4, 7, ...
    VELA_SIMD_INLINE static bytes blend(bytes first, bytes second, bytes third) {
        const bytes firsts = both(_mm_setr_epi8(-1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1));
        const bytes seconds = both(_mm_setr_epi8(0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0));
        const bytes thirds = both(_mm_setr_epi8(0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0));
        return _mm256_or_si256(_mm256_or_si256(_mm256_and_si256(first, firsts), _mm256_and_si256(second, seconds)),
                               _mm256_and_si256(third, thirds));
    }

    VELA_SIMD_INLINE static pixels_avx2 load(const uint8_t *from) {
        const bytes front = load_halves<48>(from), middle = load_halves<48>(from + 16),
                    back = load_halves<48>(from + 32);
        return {_mm256_shuffle_epi8(blend(front, back, middle),
                                    both(_mm_setr_epi8(0, 3, 6, 9, 12, 15, 2, 5, 8, 11, 14, 1, 4, 7, 10, 13))),
                _mm256_shuffle_epi8(blend(middle, front, back),
                                    both(_mm_setr_epi8(1, 4, 7, 10, 13, 0, 3, 6, 9, 12, 15, 2, 5, 8, 11, 14))),
                _mm256_shuffle_epi8(blend(back, middle, front),
                                    both(_mm_setr_epi8(2, 5, 8, 11, 14, 1, 4, 7, 10, 13, 0, 3, 6, 9, 12, 15)))};
    }

    VELA_SIMD_INLINE void store(uint8_t *to) const {
        const bytes x =
            _mm256_shuffle_epi8(a, both(_mm_setr_epi8(0, 11, 6, 1, 12, 7, 2, 13, 8, 3, 14, 9, 4, 15, 10, 5)));
        const bytes y =
            _mm256_shuffle_epi8(b, both(_mm_setr_epi8(5, 0, 11, 6, 1, 12, 7, 2, 13, 8, 3, 14, 9, 4, 15, 10)));
        const bytes z =
            _mm256_shuffle_epi8(c, both(_mm_setr_epi8(10, 5, 0, 11, 6, 1, 12, 7, 2, 13, 8, 3, 14, 9, 4, 15)));
        const bytes front = blend(x, y, z), middle = blend(y, z, x), back = blend(z, x, y);
        auto *out = reinterpret_cast<bytes *>(to);
        _mm256_storeu_si256(out, _mm256_permute2x128_si256(front, middle, 0x20));
        _mm256_storeu_si256(out + 1, _mm256_blend_epi32(back, front, 0xF0));
        _mm256_storeu_si256(out + 2, _mm256_permute2x128_si256(middle, back, 0x31));
    }
};

} // namespace vela::detail

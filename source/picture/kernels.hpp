// The kernels of rows, by SIMD code where the processor has it.
#pragma once

#include "common/simd.hpp"
#include "scalar.hpp"
#if defined VELA_AVX2
#include "avx2.hpp"
#elif defined VELA_NEON
#include "neon.hpp"
#endif

namespace vela::detail {

#if defined VELA_AVX2
using picture_simd = picture_avx2;
#elif defined VELA_NEON
using picture_simd = picture_neon;
#else
using picture_simd = picture_scalar;
#endif

// Calls do_it with the size of a pixel as a constant.
template <class Function>
inline void with_size(size_t size, Function &&do_it) {
    size == 3 ? do_it(std::integral_constant<size_t, 3>()) : do_it(std::integral_constant<size_t, 4>());
}

// Calls do_it with the layout as a constant.
template <class Function>
inline void with_layout(chroma_layout layout, Function &&do_it) {
    using enum chroma_layout;
    layout == pairs    ? do_it(std::integral_constant<chroma_layout, pairs>())
    : layout == halves ? do_it(std::integral_constant<chroma_layout, halves>())
                       : do_it(std::integral_constant<chroma_layout, planes>());
}

} // namespace vela::detail

// Wide vector units chosen at run time: AVX2 on x86-64, NEON on 32-bit ARM.
//
// A kernel is an always-inline function written once, as plain loops or with GCC's vector extensions.
// run_widest() compiles it a second time for the wide unit and calls that version where the processor has the
// unit:
//
//     [[gnu::always_inline]] inline void scale(int16_t *data, size_t count) { for ... }
//
//     run_widest<scale>(data, count);
//
// Both versions come from one text, so they give the same bits. A kernel that needs an instruction of the
// unit itself takes the route `if (wide_unit()) kernel_avx2(...)` behind `#ifdef VELA_AVX2` or `#ifdef
// VELA_NEON`.
#pragma once

#if defined __x86_64__ && defined __GNUC__
#define VELA_AVX2 1
#define VELA_WIDE [[gnu::target("avx2")]]
#elif defined __arm__ && defined __ARM_FP && defined __ARMEL__
#include <sys/auxv.h>
#define VELA_NEON 1
#define VELA_WIDE [[gnu::target("fpu=neon")]]
#endif

namespace vela::detail {

// Whether this processor has the unit that VELA_WIDE functions are compiled for.
inline bool wide_unit() {
#if defined VELA_AVX2
    return __builtin_cpu_supports("avx2");
#elif defined VELA_NEON
    constexpr unsigned long neon = 1UL << 12; // HWCAP_NEON
    return getauxval(AT_HWCAP) & neon;
#else
    return false;
#endif
}

#ifdef VELA_WIDE
template <auto kernel, class... Arguments>
VELA_WIDE void run_wide(Arguments... arguments) {
    kernel(arguments...);
}
#endif

// One kernel for the wide unit, and another that does the same where there is none.
template <auto wide_kernel, auto kernel, class... Arguments>
inline void run_either(Arguments... arguments) {
#ifdef VELA_WIDE
    if (wide_unit())
        return run_wide<wide_kernel, Arguments...>(arguments...);
#endif
    kernel(arguments...);
}

template <auto kernel, class... Arguments>
inline void run_widest(Arguments... arguments) {
    run_either<kernel, kernel>(arguments...);
}

// The same for kernels on floating-point numbers: NEON takes denormal numbers for 0, so on ARM they stay with the
// scalar unit, which gives the same bits as every other machine. matrix/blocks.hpp has what such kernels are made of.
template <auto kernel, class... Arguments>
inline void run_widest_floats(Arguments... arguments) {
#ifdef VELA_AVX2
    run_widest<kernel>(arguments...);
#else
    kernel(arguments...);
#endif
}

} // namespace vela::detail

// The SIMD level, chosen at run time: AVX2 on x86-64, NEON on ARM. Processors without it run the scalar code.
// WebAssembly's 16-byte vectors are chosen when the module is built, since a module with any runs nowhere else.
//
// A kernel is an always-inline function written once, as plain loops or with GCC's vector extensions. dispatch()
// compiles it a second time for the SIMD level and calls that version if the processor has it:
//
//     [[gnu::always_inline]] inline void scale(int16_t *data, size_t count) { for ... }
//
//     dispatch<scale>(data, count);
//
// Both versions come from the same source, so they give the same bits. A function that uses SIMD instructions itself is
// marked VELA_SIMD and called as `if (has_simd()) kernel_avx2(...)` within `#ifdef VELA_AVX2`, `#ifdef VELA_NEON` or
// `#ifdef VELA_SIMD128`. VELA_SCALAR leaves SIMD code out.
//
// VELA_SIMD only ever adds to the instruction set that the files are compiled for: a function of a smaller one can be
// inlined, one of a larger or another can't. So with NEON on the command line, as for -mcpu=cortex-a7, it is empty, and
// for a processor with VFPv4 but without NEON it keeps VFPv4.
#pragma once

#include <cstdint>
#if defined VELA_SCALAR
// scalar code only
#elif defined __x86_64__ && defined __GNUC__
#define VELA_AVX2 1
#define VELA_SIMD [[gnu::target("avx2")]]
#elif defined __ARM_NEON && (defined __ARMEL__ || defined __AARCH64EL__)
#define VELA_NEON 1
#define VELA_SIMD
#elif defined __arm__ && defined __ARM_FP && defined __ARMEL__
#include <sys/auxv.h>
#define VELA_NEON 1
#if __ARM_ARCH >= 8
#define VELA_SIMD [[gnu::target("fpu=neon-fp-armv8")]]
#elif defined __ARM_FEATURE_FMA
#define VELA_SIMD [[gnu::target("fpu=neon-vfpv4")]]
#else
#define VELA_SIMD [[gnu::target("fpu=neon")]]
#endif
#elif defined __wasm_simd128__
#define VELA_SIMD128 1
#define VELA_SIMD
#endif

#ifdef VELA_SIMD
// Marks the functions of a SIMD step.
#define VELA_SIMD_INLINE [[gnu::always_inline]] VELA_SIMD inline
#endif

// The highest simd_level that may be used: the only switch. It is hidden in the shared library; the tests, which link
// the archive, lower it, so that every path runs on every machine. It exists in scalar builds too.
extern "C" {
[[gnu::visibility("hidden"), gnu::used]] inline constinit uint8_t vela_max_simd = UINT8_MAX;
}

namespace vela::detail {

// In ascending order on each architecture.
enum class simd_level : uint8_t { scalar, neon, avx2 };

inline bool may_use(simd_level level) { return vela_max_simd >= static_cast<uint8_t>(level); }

// Whether VELA_SIMD functions may be called. Out of line, since a call is smaller than its body.
#ifdef VELA_SIMD128
constexpr bool has_simd() { return true; } // always, which leaves scalar code out of the module
#else
[[gnu::noinline]] inline bool has_simd() {
#if defined VELA_AVX2
    return may_use(simd_level::avx2) && __builtin_cpu_supports("avx2");
#elif defined VELA_NEON && defined __ARM_NEON
    return may_use(simd_level::neon);
#elif defined VELA_NEON
    constexpr unsigned long neon = 1UL << 12; // HWCAP_NEON
    return may_use(simd_level::neon) && (getauxval(AT_HWCAP) & neon);
#else
    return false;
#endif
}
#endif

#ifdef VELA_SIMD
template <auto kernel, class... Arguments>
VELA_SIMD void run_with_simd(Arguments... arguments) {
    kernel(arguments...);
}
#endif

// One kernel for the SIMD level, and another with the same results for processors without it.
template <auto simd_kernel, auto kernel, class... Arguments>
inline void dispatch_either(Arguments... arguments) {
#ifdef VELA_SIMD
    if (has_simd())
        return run_with_simd<simd_kernel, Arguments...>(arguments...);
#endif
    kernel(arguments...);
}

template <auto kernel, class... Arguments>
inline void dispatch(Arguments... arguments) {
    dispatch_either<kernel, kernel>(arguments...);
}

// The same for kernels that don't gain by NEON: on ARM they are compiled once, as scalar code.
template <auto kernel, class... Arguments>
inline void dispatch_avx2(Arguments... arguments) {
#ifdef VELA_AVX2
    dispatch<kernel>(arguments...);
#else
    kernel(arguments...);
#endif
}

} // namespace vela::detail

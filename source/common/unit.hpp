// The vector unit, chosen at run time: AVX2 on x86-64, NEON on 32-bit ARM. Processors that lack it run the plain code.
// WebAssembly's 16-byte vectors are chosen by the module: one that holds any runs nowhere else.
//
// A kernel is an always-inline function written once, as plain loops or with GCC's vector extensions. run_on_unit()
// compiles it a second time for the unit and calls that version where the processor has the unit:
//
//     [[gnu::always_inline]] inline void scale(int16_t *data, size_t count) { for ... }
//
//     run_on_unit<scale>(data, count);
//
// Both versions come from one text, so they give the same bits. A kernel that needs an instruction of the unit itself
// is marked VELA_UNIT and takes the route `if (has_unit()) kernel_avx2(...)` behind `#ifdef VELA_AVX2`, `#ifdef
// VELA_NEON` or `#ifdef VELA_SIMD128`. VELA_SCALAR leaves the units out altogether.
#pragma once

#include <cstdint>
#if defined VELA_SCALAR
// no unit
#elif defined __x86_64__ && defined __GNUC__
#define VELA_AVX2 1
#define VELA_UNIT [[gnu::target("avx2")]]
#elif defined __arm__ && defined __ARM_FP && defined __ARMEL__
#include <sys/auxv.h>
#define VELA_NEON 1
#define VELA_UNIT [[gnu::target("fpu=neon")]]
#elif defined __wasm_simd128__
#define VELA_SIMD128 1
#define VELA_UNIT
#endif

// The widest unit that may be used, as a number of `unit`: the only switch. It is hidden in the shared library; the
// tests, which link the archive, lower it, so that every path runs on every machine. It is there where no unit is, too.
extern "C" {
[[gnu::visibility("hidden"), gnu::used]] inline constinit uint8_t vela_widest_unit = UINT8_MAX;
}

namespace vela::detail {

// In the order of their width on one architecture.
enum class unit : uint8_t { scalar, neon, avx2, simd128 };

inline bool may_use(unit one) { return vela_widest_unit >= static_cast<uint8_t>(one); }

// Whether VELA_UNIT functions may be called. Out of line: where it is asked, a call takes fewer bytes.
[[gnu::noinline]] inline bool has_unit() {
#if defined VELA_AVX2
    return may_use(unit::avx2) && __builtin_cpu_supports("avx2");
#elif defined VELA_NEON
    constexpr unsigned long neon = 1UL << 12; // HWCAP_NEON
    return may_use(unit::neon) && (getauxval(AT_HWCAP) & neon);
#elif defined VELA_SIMD128
    return may_use(unit::simd128);
#else
    return false;
#endif
}

#ifdef VELA_UNIT
template <auto kernel, class... Arguments>
VELA_UNIT void run_with_unit(Arguments... arguments) {
    kernel(arguments...);
}
#endif

// One kernel for the unit, and another that does the same where there is none.
template <auto unit_kernel, auto kernel, class... Arguments>
inline void run_either(Arguments... arguments) {
#ifdef VELA_UNIT
    if (has_unit())
        return run_with_unit<unit_kernel, Arguments...>(arguments...);
#endif
    kernel(arguments...);
}

template <auto kernel, class... Arguments>
inline void run_on_unit(Arguments... arguments) {
    run_either<kernel, kernel>(arguments...);
}

// The same for kernels to which NEON brings nothing: on ARM they are compiled once, as plain code.
template <auto kernel, class... Arguments>
inline void run_on_avx2(Arguments... arguments) {
#ifdef VELA_AVX2
    run_on_unit<kernel>(arguments...);
#else
    kernel(arguments...);
#endif
}

} // namespace vela::detail

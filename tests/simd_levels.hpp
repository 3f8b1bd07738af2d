// The SIMD levels of this architecture, and the library's hidden switch, which this program can set since it links the
// archive.
#pragma once

#include <cstdint>
#ifdef __arm__
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

// The highest level that the library may use; on a processor without it, the next lower one.
extern "C" uint8_t vela_max_simd;

namespace simd {

struct level {
    const char *name;
    bool (*is_supported)();
    void (*use)(); // limits the library to this level
};

inline const level levels[] = {
    {"scalar", [] { return true; }, [] { vela_max_simd = 0; }},
#if defined __arm__ && defined __ARM_FP
    {"neon", [] { return (getauxval(AT_HWCAP) & HWCAP_NEON) != 0; }, [] { vela_max_simd = 1; }},
#elif defined __aarch64__
    {"neon", [] { return true; }, [] { vela_max_simd = 1; }},
#elif defined __x86_64__
    {"avx2", [] { return __builtin_cpu_supports("avx2") != 0; }, [] { vela_max_simd = 2; }},
#elif defined __wasm_simd128__
    {"simd128", [] { return true; }, [] { vela_max_simd = 3; }},
#endif
};

} // namespace simd

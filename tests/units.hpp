// The vector units that the library may use, and its hidden switch, which this program reaches since it links the
// archive.
#pragma once

#include <cstdint>
#ifdef __arm__
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

// The number of the widest unit that the library may use; where the processor lacks it, the next one.
extern "C" uint8_t vela_widest_unit;

namespace units {

struct unit {
    const char *name;
    bool (*is_here)();
    void (*use)(); // from now on, and nothing wider
};

// The units of this architecture alone.
inline const unit all[] = {
    {"scalar", [] { return true; }, [] { vela_widest_unit = 0; }},
#if defined __arm__
    {"neon", [] { return (getauxval(AT_HWCAP) & HWCAP_NEON) != 0; }, [] { vela_widest_unit = 1; }},
#elif defined __x86_64__
    {"avx2", [] { return __builtin_cpu_supports("avx2") != 0; }, [] { vela_widest_unit = 2; }},
#elif defined __wasm_simd128__
    {"simd128", [] { return true; }, [] { vela_widest_unit = 3; }},
#endif
};

} // namespace units

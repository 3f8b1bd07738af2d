// The intrinsics of x86-64, without a false warning.
#pragma once

// GCC 12 takes the registers that some of them leave undefined on purpose for an oversight.
#pragma GCC diagnostic push
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#pragma GCC diagnostic pop

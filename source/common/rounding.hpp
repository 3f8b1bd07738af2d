// For modules that compute in floating point.
#pragma once

#include <cfloat>

// Results are the same on every machine only if each operation is rounded to the type of its operands.
static_assert(FLT_EVAL_METHOD == 0, "32-bit x86 needs -msse2 -mfpmath=sse");

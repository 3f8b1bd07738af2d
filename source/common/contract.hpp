// Contracts: assert() that stays on in every build.
//
// A violated precondition is a fault of the caller; the standard assertion report then names the expression,
// the file and the line. Include this header instead of <cassert>.
#pragma once

#undef NDEBUG
#include <cassert>

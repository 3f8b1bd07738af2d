// A kernel table as rows, in the order in which consecutive outputs use it.
//
// Outputs start at phase 0 and return to it after a cycle. The k-th of a cycle is the product of row k with the same
// number of samples of a linear window, oldest first. Rows have a multiple of 4 coefficients, padded with zeros at the
// front:
//
//     starts   0        0        1        1        2        ...    where output k's samples begin, from output 0's
//     rows     0 c c c  0 c c c  c c c c  c c c c  0 c c c  ...    what they are multiplied with
//
// Rows after the end of the cycle repeat its beginning, so that a group of outputs needs no test for the end.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#ifdef __ARM_FEATURE_SAT
#include <arm_acle.h>
#endif

namespace vela::detail {

constexpr int kCoefficientBits = 14; // of fraction
constexpr uint32_t kTapsMultiple = 4;
constexpr uint32_t kOutputs = 4; // computed side by side by SIMD code

// The sample of a sum of products.
[[gnu::always_inline]] inline int16_t sample_of(uint32_t sum, int fraction_bits = kCoefficientBits) {
    const int32_t value = static_cast<int32_t>(sum) >> fraction_bits;
#ifdef __ARM_FEATURE_SAT
    return static_cast<int16_t>(__ssat(value, 16));
#else
    return static_cast<int16_t>(std::clamp(value, -32768, 32767));
#endif
}

// The same address, opaque to the compiler: on 32-bit ARM it then keeps it in a register and increments it, instead of
// computing each load's address.
[[gnu::always_inline]] inline const int16_t *one_address(const int16_t *address) {
#ifdef __arm__
    __asm__("" : "+r"(address));
#endif
    return address;
}

// The position of a sequence of outputs: the row of the next one, and the index in the window to which starts are
// relative.
struct row_position {
    uint32_t row;
    ptrdiff_t origin;
};

struct polyphase {
    using function = void(const polyphase &filter, const int16_t *window, row_position &at, uint32_t count,
                          int16_t *out);

    uint32_t taps = 0;       // coefficients in a row
    uint32_t cycle = 0;      // outputs until the first row is used again; 0 without rows
    uint32_t cycle_span = 0; // input samples in that time
    int16_t *rows = nullptr;
    uint32_t *starts = nullptr;
    function *each = nullptr;
    function *groups = nullptr; // by SIMD code, if there is any: whole groups of kOutputs

    // Makes the next outputs from a window.
    void run(const int16_t *window, row_position &at, uint32_t count, int16_t *out) const {
        if (const uint32_t whole = groups ? count / kOutputs * kOutputs : 0) {
            groups(*this, window, at, whole, out);
            out += whole;
            count -= whole;
        }
        if (count)
            each(*this, window, at, count, out);
    }
};

} // namespace vela::detail

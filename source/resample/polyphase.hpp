// A kernel table as rows, in the order in which consecutive outputs use it.
//
// Outputs begin at phase 0 and come back to it after a cycle. The k-th of a cycle multiplies row k with as many samples
// of a linear window, oldest first. Rows have a multiple of 4 coefficients, with zeros in front where the table has
// fewer:
//
//     starts   0        0        1        1        2        ...    where output k's samples begin, from output 0's
//     rows     0 c c c  0 c c c  c c c c  c c c c  0 c c c  ...    what they are multiplied with
//
// Rows behind the end of the cycle repeat its beginning, so that a group of outputs never has to look for the end.
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
constexpr uint32_t kOutputs = 4; // that a vector unit computes side by side

// A sum of products as the sample that it stands for.
[[gnu::always_inline]] inline int16_t sample_of(uint32_t sum, int fraction_bits = kCoefficientBits) {
    const int32_t value = static_cast<int32_t>(sum) >> fraction_bits;
#ifdef __ARM_FEATURE_SAT
    return static_cast<int16_t>(__ssat(value, 16));
#else
    return static_cast<int16_t>(std::clamp(value, -32768, 32767));
#endif
}

// The same address, but for the compiler a new one: 32-bit ARM then keeps it in a register and steps it along, instead
// of computing one for each load.
[[gnu::always_inline]] inline const int16_t *one_address(const int16_t *address) {
#ifdef __arm__
    __asm__("" : "+r"(address));
#endif
    return address;
}

// Where a sequence of outputs stands: the row of the next one, and the index in the window from which starts count.
struct row_position {
    uint32_t row;
    ptrdiff_t origin;
};

struct polyphase {
    using function = void(const polyphase &filter, const int16_t *window, row_position &at, uint32_t count,
                          int16_t *out);

    uint32_t taps = 0;       // coefficients in a row
    uint32_t cycle = 0;      // outputs until the first row comes again; 0: there are no rows
    uint32_t cycle_span = 0; // input samples in that time
    int16_t *rows = nullptr;
    uint32_t *starts = nullptr;
    function *each = nullptr;
    function *groups = nullptr; // by the vector unit, where there is one: whole groups of kOutputs

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

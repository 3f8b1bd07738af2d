// 32-bit signed arithmetic that wraps, and division that never traps.
#pragma once

#include <cstdint>
#include <type_traits>

namespace vela::detail {

constexpr int32_t wrapping_sum(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

constexpr int32_t wrapping_difference(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

constexpr int32_t wrapping_product(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// a / b truncated toward zero, of operands whose quotient fits. Processors without an integer division have one of
// double precision, which is exact for 32 bits: a quotient that isn't whole differs from the next integer by at least
// one part in 2^31.
template <class Integer>
constexpr Integer quotient(Integer a, Integer b) {
#if defined __arm__ && !defined __ARM_FEATURE_IDIV
    if constexpr (sizeof(Integer) == 4)
        if (!std::is_constant_evaluated())
            return static_cast<Integer>(static_cast<double>(a) / static_cast<double>(b));
#endif
    return a / b;
}

// Truncated toward zero. A quotient by 0 counts as 0, and the one that doesn't fit wraps.
template <class Integer>
constexpr Integer wrapping_quotient(Integer a, Integer b) {
    using bits = std::make_unsigned_t<Integer>;
    if (static_cast<bits>(b) + 1 <= 1) [[unlikely]] {
        if (!std::is_constant_evaluated())
            asm volatile(""); // a branch is cheaper than a division under a condition
        return b == 0 ? 0 : static_cast<Integer>(0 - static_cast<bits>(a));
    }
    return quotient(a, b);
}

// a / 2^bits truncated toward zero, in the form that takes the fewest instructions.
template <int bits, class Integer>
constexpr Integer shifted_toward_zero(Integer a) {
    constexpr int width = 8 * sizeof a;
    const auto sign = static_cast<std::make_unsigned_t<Integer>>(a >> (width - 1));
    return (a + static_cast<Integer>(sign >> (width - bits))) >> bits;
}

// abs() of any value.
constexpr uint32_t unsigned_magnitude(int32_t a) {
    return a < 0 ? -static_cast<uint32_t>(a) : static_cast<uint32_t>(a);
}

} // namespace vela::detail

// 32-bit signed arithmetic that wraps, and division that never traps.
#pragma once

#include <algorithm>
#include <bit>
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

// abs() of any value.
constexpr uint32_t unsigned_magnitude(int32_t a) {
    return a < 0 ? -static_cast<uint32_t>(a) : static_cast<uint32_t>(a);
}

constexpr uint32_t upper_half_of_product(uint32_t a, uint32_t b) {
    return static_cast<uint32_t>(uint64_t{a} * b >> 32);
}

// a / b without an instruction for it, in about half of what the compiler's own function takes, and without
// floating point.
//
// With b shifted up to [1/2, 1), its reciprocal is first read from a straight line, within 5.1 %. A step of Newton's
// squares the error and leaves the reciprocal too small (~ is a hair less than 2 less the product): after two by at
// most 2^-17. So quotients are at most that part too small, and what they leave of a is divided again.
[[gnu::noinline]] inline uint32_t divide_by_reciprocal(uint32_t a, uint32_t b) {
    constexpr auto line = static_cast<uint32_t>(int64_t{6225526300}); // 2.899 in Q31; what is left of it is below 2
    const int shift = std::countl_zero(b);
    const uint32_t unit = b << shift;  // Q32
    uint32_t reciprocal = line - unit; // Q31
    for (int step = 0; step < 2; ++step)
        reciprocal = upper_half_of_product(reciprocal, ~upper_half_of_product(reciprocal, unit)) << 1;
    uint32_t quotient = upper_half_of_product(a, reciprocal) >> (31 - shift);
    for (a -= quotient * b; a >= b;) {
        const uint32_t more = std::max(upper_half_of_product(a, reciprocal) >> (31 - shift), uint32_t{1});
        quotient += more;
        a -= more * b;
    }
    return quotient;
}

// a / b truncated toward zero, of operands whose quotient fits.
template <class Integer>
constexpr Integer divide(Integer a, Integer b) {
#if defined __arm__ && !defined __ARM_FEATURE_IDIV
    if constexpr (sizeof(Integer) == 4)
        if (!std::is_constant_evaluated()) {
            const uint32_t quotient = divide_by_reciprocal(unsigned_magnitude(a), unsigned_magnitude(b));
            return static_cast<Integer>((a ^ b) < 0 ? 0 - quotient : quotient);
        }
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
    return divide(a, b);
}

// a / 2^bits truncated toward zero, in the form that takes the fewest instructions.
template <int bits, class Integer>
constexpr Integer shifted_toward_zero(Integer a) {
    constexpr int width = 8 * sizeof a;
    const auto sign = static_cast<std::make_unsigned_t<Integer>>(a >> (width - 1));
    return (a + static_cast<Integer>(sign >> (width - bits))) >> bits;
}

} // namespace vela::detail

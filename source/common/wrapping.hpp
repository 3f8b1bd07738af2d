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

// Division without an instruction for it, in about half of what the compiler's own function takes, and without
// floating point.
//
// With the divisor shifted up to [1/2, 1), its reciprocal is first read from a straight line, within 7.2 %. A step of
// Newton's squares the error and leaves the reciprocal too small (the complement is a hair less than 2 less the
// product): after two by less than 2^-15. So quotients are at most that part too small, and what they leave of the
// dividend tells.
struct reciprocal_of {
    [[gnu::always_inline]] explicit reciprocal_of(uint32_t divisor) : shift(std::countl_zero(divisor)) {
        constexpr auto line = static_cast<uint32_t>(int64_t{6288268555}); // 2.928 in Q31; what is left is below 2
        const uint32_t unit = divisor << shift;                           // Q32
        const uint32_t read = line - unit;                                // Q31
        const uint32_t once = upper_half_of_product(read, upper_half_of_product(read, unit) ^ UINT32_MAX); // Q30
        value = upper_half_of_product(once, INT32_MAX - upper_half_of_product(once, unit)) << 3;
    }

    [[gnu::always_inline]] uint32_t times(uint32_t a) const { return upper_half_of_product(a, value) >> (31 - shift); }

private:
    int shift;
    uint32_t value; // Q31, of the shifted divisor
};

[[gnu::noinline]] inline uint32_t divide_by_reciprocal(uint32_t a, uint32_t b) {
    const reciprocal_of divisor(b);
    uint32_t quotient = divisor.times(a);
    for (a -= quotient * b; a >= b;) {
        const uint32_t more = std::max(divisor.times(a), uint32_t{1});
        quotient += more;
        a -= more * b;
    }
    return quotient;
}

#if defined __arm__ && !defined __ARM_FEATURE_IDIV
constexpr bool kDividesByReciprocal = true;
#else
constexpr bool kDividesByReciprocal = false;
#endif

// a / b where that is below 2^14 and b below 2^31: at first it is at most 1 too small.
[[gnu::always_inline]] inline uint32_t divide_by_much(uint32_t a, uint32_t b) {
    if constexpr (!kDividesByReciprocal)
        return a / b;
    const uint32_t more = reciprocal_of(b).times(a) + 1;
    return more + static_cast<uint32_t>(static_cast<int32_t>(a - more * b) >> 31);
}

// a / b truncated toward zero, of operands whose quotient fits.
template <class Integer>
constexpr Integer divide(Integer a, Integer b) {
    if constexpr (kDividesByReciprocal && sizeof(Integer) == 4)
        if (!std::is_constant_evaluated()) {
            const uint32_t quotient = divide_by_reciprocal(unsigned_magnitude(a), unsigned_magnitude(b));
            return static_cast<Integer>((a ^ b) < 0 ? 0 - quotient : quotient);
        }
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

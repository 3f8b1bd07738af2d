// Elementary functions of doubles, rounded correctly whatever the maths library is: by power series in fixed point of
// 192 bits behind the point. Slow and plain.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace model {

struct wide {
    static constexpr int kLimbs = 8, kFraction = 6; // of 32 bits, the lowest first, in two's complement
    std::array<uint32_t, kLimbs> limbs = {};

    wide() = default;
    explicit wide(double x) {
        int exponent = 0;
        const auto mantissa = static_cast<int64_t>(std::ldexp(std::frexp(std::fabs(x), &exponent), 53));
        for (int bit = 0, at = exponent - 53 + 32 * kFraction; bit < 53; ++bit, ++at)
            if (mantissa >> bit & 1)
                limbs.at(static_cast<size_t>(at / 32)) |= 1U << at % 32;
        if (x < 0)
            *this = -*this;
    }
    bool is_negative() const { return limbs.back() >> 31; }
    wide operator-() const {
        wide result;
        uint64_t carry = 1;
        for (size_t i = 0; i < kLimbs; ++i, carry >>= 32)
            result.limbs[i] = static_cast<uint32_t>(carry += static_cast<uint32_t>(~limbs[i]));
        return result;
    }
    wide operator+(const wide &b) const {
        wide result;
        uint64_t carry = 0;
        for (size_t i = 0; i < kLimbs; ++i, carry >>= 32)
            result.limbs[i] = static_cast<uint32_t>(carry += uint64_t{limbs[i]} + b.limbs[i]);
        return result;
    }
    wide operator-(const wide &b) const { return *this + -b; }
    wide operator*(const wide &b) const {
        if (is_negative())
            return -(-*this * b);
        if (b.is_negative())
            return -(*this * -b);
        std::array<uint32_t, 2 *kLimbs> product = {};
        for (size_t i = 0; i < kLimbs; ++i) {
            uint64_t carry = 0;
            for (size_t j = 0; j < kLimbs; ++j, carry >>= 32)
                product[i + j] = static_cast<uint32_t>(carry += uint64_t{limbs[i]} * b.limbs[j] + product[i + j]);
            product[i + kLimbs] = static_cast<uint32_t>(carry);
        }
        wide result;
        std::copy_n(product.begin() + kFraction, kLimbs, result.limbs.begin());
        return result;
    }
    wide operator/(uint32_t divisor) const {
        if (is_negative())
            return -(-*this / divisor);
        wide result;
        uint64_t rest = 0;
        for (size_t i = kLimbs; i-- > 0; rest %= divisor)
            result.limbs[i] = static_cast<uint32_t>((rest = rest << 32 | limbs[i]) / divisor);
        return result;
    }
    bool bit(int at) const { return at >= 0 && (limbs[static_cast<size_t>(at / 32)] >> at % 32 & 1); }
    // The nearest double; a tie does not occur.
    double rounded() const {
        if (is_negative())
            return -(-*this).rounded();
        int top = 32 * kLimbs - 1;
        while (top >= 0 && !bit(top))
            --top;
        double mantissa = 0;
        for (int i = 0; i < 53; ++i)
            mantissa = 2 * mantissa + bit(top - i);
        return std::ldexp(mantissa + bit(top - 53), top - 52 - 32 * kFraction);
    }
};

struct wide_vector {
    wide sine, cosine;
};

inline wide_vector sine_cosine(wide x) {
    static const wide quarter_turn = [] {
        wide pi;
        pi.limbs = {0x299F31D0, 0xA4093822, 0x03707344, 0x13198A2E, 0x85A308D3, 0x243F6A88, 3, 0};
        return pi / 2;
    }();
    const double quarters = std::nearbyint(x.rounded() / 1.5707963267948966);
    x = x - wide(quarters) * quarter_turn;
    wide_vector series;
    wide term(1.0);
    for (uint32_t k = 0; k < 46; term = term * x / ++k) {
        wide &sum = k % 2 ? series.sine : series.cosine;
        sum = k % 4 < 2 ? sum + term : sum - term;
    }
    switch (static_cast<int64_t>(quarters) & 3) {
    case 0:
        return series;
    case 1:
        return {series.cosine, -series.sine};
    case 2:
        return {-series.sine, -series.cosine};
    default:
        return {-series.cosine, series.sine};
    }
}

inline double sine(double x) { return x == 0 ? x : sine_cosine(wide(x)).sine.rounded(); }
inline double cosine(double x) { return sine_cosine(wide(x)).cosine.rounded(); }

// The double nearest to the angle of which is_below(x) tells whether it is greater than x, from one nearby.
template <class Below>
double nearest_angle(double guess, Below is_below) {
    const auto middle = [&](double to) { return (wide(guess) + wide(std::nextafter(guess, to))) / 2; };
    while (is_below(middle(4)))
        guess = std::nextafter(guess, 4);
    while (!is_below(middle(-4)))
        guess = std::nextafter(guess, -4);
    return guess;
}

inline double arcsine(double x) {
    if (x == 0 || std::fabs(x) == 1)
        return std::asin(x);
    return nearest_angle(std::asin(x),
                         [&](const wide &angle) { return (sine_cosine(angle).sine - wide(x)).is_negative(); });
}

inline double arctangent(double y, double x) {
    if (y == 0)
        return std::atan2(y, x);
    return nearest_angle(std::atan2(y, x), [&](const wide &angle) {
        const wide_vector at = sine_cosine(angle);
        return (wide(x) * at.sine - wide(y) * at.cosine).is_negative();
    });
}

} // namespace model

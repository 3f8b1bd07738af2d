// Elementary functions of doubles, rounded correctly whatever the maths library is: by power series in fixed point of
// 192 bits after the point. Slow and plain.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>

namespace model {

// Digits of 24 bits, the highest first, two of them before the point. All but the first lie from -2^23 to 2^23, so that
// the first one that isn't 0 has the number's sign, and sums of products have space for their carries.
struct wide {
    std::array<int64_t, 10> digits = {};

    wide() = default;
    explicit wide(double x) {
        for (int64_t &digit : digits) {
            x = std::ldexp(x, &digit == digits.data() ? -24 : 24);
            digit = static_cast<int64_t>(x);
            x -= static_cast<double>(digit);
        }
        carry();
    }
    wide &carry() {
        for (size_t i = digits.size() - 1; i > 0; --i) {
            const int64_t carried = (digits[i] + (1 << 23)) >> 24;
            digits[i] -= carried * (1 << 24);
            digits[i - 1] += carried;
        }
        return *this;
    }
    // Within a few units of a double's last place, and of the right sign.
    double about() const {
        double sum = 0;
        for (size_t i = digits.size(); i-- > 0;)
            sum = std::ldexp(sum, -24) + static_cast<double>(digits[i]);
        return std::ldexp(sum, 24);
    }
    // The nearest double; a tie does not occur.
    double rounded() const { return about() + (*this + wide(-about())).about(); }

    friend wide operator+(wide a, const wide &b) {
        for (size_t i = 0; i < a.digits.size(); ++i)
            a.digits[i] += b.digits[i];
        return a.carry();
    }
    friend wide operator*(const wide &a, const wide &b) {
        wide product;
        for (size_t i = 0; i < a.digits.size(); ++i)
            for (size_t j = i == 0; j < b.digits.size() && i + j <= product.digits.size(); ++j)
                product.digits[i + j - 1] += a.digits[i] * b.digits[j];
        return product.carry();
    }
    friend wide operator/(wide a, int64_t divisor) {
        int64_t rest = 0;
        for (int64_t &digit : a.digits) {
            rest = rest * (1 << 24) + digit;
            digit = rest / divisor;
            rest %= divisor;
        }
        return a.carry();
    }
};

struct wide_vector {
    wide sine, cosine;
};

inline wide_vector sine_cosine(wide x) {
    wide quarter_turn;
    quarter_turn.digits = {0, 1, 0x921FB5, 0x4442D1, 0x846989, 0x8CC517, 0x01B839, 0xA25204, 0x9C1114, 0xCF98E8};
    const double quarters = std::nearbyint(x.about() / 1.5707963267948966);
    x = x + wide(-quarters) * quarter_turn.carry();
    wide_vector series;
    wide term(1);
    for (int k = 0; k < 46; ++k, term = term * x / (k % 2 ? k : -k)) {
        wide &sum = k % 2 ? series.sine : series.cosine;
        sum = sum + term;
    }
    for (auto turns = static_cast<int64_t>(quarters) & 3; turns > 0; --turns)
        series = {series.cosine, wide(-1) * series.sine};
    return series;
}

inline double sine(double x) { return x == 0 ? x : sine_cosine(wide(x)).sine.rounded(); }
inline double cosine(double x) { return sine_cosine(wide(x)).cosine.rounded(); }

// One step of Newton's from a neighbour of the nearest double.
inline double arcsine(double x) {
    const double guess = std::asin(x);
    if (x == 0 || std::fabs(x) == 1)
        return guess;
    const wide_vector at = sine_cosine(wide(guess));
    return guess + (wide(x) + wide(-1) * at.sine).about() / at.cosine.about();
}

inline double arctangent(double y, double x) {
    const double guess = std::atan2(y, x);
    if (y == 0)
        return guess;
    const wide_vector at = sine_cosine(wide(guess));
    return guess + (wide(y) * at.cosine + wide(-x) * at.sine).about() / std::hypot(x, y);
}

} // namespace model

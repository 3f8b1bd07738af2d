// Four independent numbers computed side by side. They are plain members, which a compiler keeps in four registers, or
// in one SIMD register of the architecture's baseline. A higher SIMD level gains little (AVX2: 1.0 to 1.5 for
// decompositions, 1.0 to 1.5 for inverses, 0.7 to 1.8 for products, small to large).
#pragma once

#include <cstddef>

namespace vela::detail {

constexpr size_t kLanes = 4;

template <class Number>
struct numbers {
    Number a, b, c, d;

    [[gnu::always_inline]] friend numbers operator+(numbers x, numbers y) {
        return {x.a + y.a, x.b + y.b, x.c + y.c, x.d + y.d};
    }
    [[gnu::always_inline]] friend numbers operator-(numbers x, numbers y) {
        return {x.a - y.a, x.b - y.b, x.c - y.c, x.d - y.d};
    }
    [[gnu::always_inline]] friend numbers operator*(numbers x, numbers y) {
        return {x.a * y.a, x.b * y.b, x.c * y.c, x.d * y.d};
    }
    [[gnu::always_inline]] friend numbers operator*(numbers x, Number y) {
        return {x.a * y, x.b * y, x.c * y, x.d * y};
    }
    [[gnu::always_inline]] friend numbers operator/(numbers x, Number y) {
        return {x.a / y, x.b / y, x.c / y, x.d / y};
    }
};
using floats = numbers<float>;
using doubles = numbers<double>;

[[gnu::always_inline]] inline floats load(const float *from) { return {from[0], from[1], from[2], from[3]}; }

[[gnu::always_inline]] inline void store(float *to, floats block) {
    to[0] = block.a;
    to[1] = block.b;
    to[2] = block.c;
    to[3] = block.d;
}

[[gnu::always_inline]] inline doubles widen(floats block) {
    return {double{block.a}, double{block.b}, double{block.c}, double{block.d}};
}

[[gnu::always_inline]] inline floats narrow(doubles block) {
    return {static_cast<float>(block.a), static_cast<float>(block.b), static_cast<float>(block.c),
            static_cast<float>(block.d)};
}

} // namespace vela::detail

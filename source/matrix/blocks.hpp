// Blocks of floating-point numbers that are computed side by side, for kernels of run_floats_on_unit().
//
// On x86-64 a block of floats is one wide vector, and a block of doubles, which holds as many numbers, is two. Where
// no vector unit serves, blocks are half as long and plain numbers; a kernel then has them in registers all the same.
#pragma once

#include "common/unit.hpp"
#include <cstddef>

namespace vela::detail {

#ifdef VELA_AVX2

constexpr std::size_t kFloatLanes = 8;
using floats [[gnu::vector_size(32)]] = float;
using half_floats [[gnu::vector_size(16)]] = float;
using half_doubles [[gnu::vector_size(32)]] = double;

struct doubles {
    half_doubles low, high;
};

// A vector in memory, at any float's address. To the compiler it overlaps with floats and with nothing else.
using stored_floats [[gnu::vector_size(32), gnu::aligned(alignof(float))]] = float;

[[gnu::always_inline]] inline floats load(const float *from) { return *reinterpret_cast<const stored_floats *>(from); }

[[gnu::always_inline]] inline void store(float *to, floats block) { *reinterpret_cast<stored_floats *>(to) = block; }

// Every stride-th number in memory.
[[gnu::always_inline]] inline floats gather(const float *from, std::size_t stride) {
    const float *upper = from + 4 * stride;
    const floats block = {from[0],  from[stride],  from[2 * stride],  from[3 * stride],
                          upper[0], upper[stride], upper[2 * stride], upper[3 * stride]};
    return block;
}

[[gnu::always_inline]] inline void scatter(float *to, std::size_t stride, floats block) {
    for (std::size_t lane = 0; lane < kFloatLanes; ++lane)
        to[lane * stride] = block[lane];
}

// Written number by number because that becomes one instruction a half, as __builtin_convertvector does not.
[[gnu::always_inline]] inline doubles widen(floats block) {
    const half_doubles low = {double{block[0]}, double{block[1]}, double{block[2]}, double{block[3]}};
    const half_doubles high = {double{block[4]}, double{block[5]}, double{block[6]}, double{block[7]}};
    return {low, high};
}

[[gnu::always_inline]] inline floats narrow(doubles block) {
    return __builtin_shufflevector(__builtin_convertvector(block.low, half_floats),
                                   __builtin_convertvector(block.high, half_floats), 0, 1, 2, 3, 4, 5, 6, 7);
}

[[gnu::always_inline]] inline doubles operator+(doubles a, doubles b) { return {a.low + b.low, a.high + b.high}; }
[[gnu::always_inline]] inline doubles operator-(doubles a, doubles b) { return {a.low - b.low, a.high - b.high}; }
[[gnu::always_inline]] inline doubles operator*(doubles a, double b) { return {a.low * b, a.high * b}; }
[[gnu::always_inline]] inline doubles operator/(doubles a, double b) { return {a.low / b, a.high / b}; }

// Four doubles, for matrices of that size.
using four_doubles = half_doubles;

template <int a, int b, int c, int d>
[[gnu::always_inline]] inline four_doubles pick(const float *from) {
    using stored_half [[gnu::vector_size(16), gnu::aligned(alignof(float))]] = float;
    const half_floats all = *reinterpret_cast<const stored_half *>(from);
    const half_floats some = __builtin_shufflevector(all, all, a, b, c, d);
    const four_doubles picked = {double{some[0]}, double{some[1]}, double{some[2]}, double{some[3]}};
    return picked;
}

[[gnu::always_inline]] inline double sum(four_doubles x) { return x[0] + x[1] + x[2] + x[3]; }

// Rounds rows of four and stores them as columns.
[[gnu::always_inline]] inline void store_transposed(float *to, const four_doubles (&rows)[4]) {
    half_floats r[4];
    for (int i = 0; i < 4; ++i)
        r[i] = __builtin_convertvector(rows[i], half_floats);
    // r0 = a0 a1 a2 a3, r2 = c0 c1 c2 c3 and so on.
    const half_floats ac01 = __builtin_shufflevector(r[0], r[2], 0, 4, 1, 5);
    const half_floats ac23 = __builtin_shufflevector(r[0], r[2], 2, 6, 3, 7);
    const half_floats bd01 = __builtin_shufflevector(r[1], r[3], 0, 4, 1, 5);
    const half_floats bd23 = __builtin_shufflevector(r[1], r[3], 2, 6, 3, 7);
    store(to, __builtin_shufflevector(__builtin_shufflevector(ac01, bd01, 0, 4, 1, 5),
                                      __builtin_shufflevector(ac01, bd01, 2, 6, 3, 7), 0, 1, 2, 3, 4, 5, 6, 7));
    store(to + 8, __builtin_shufflevector(__builtin_shufflevector(ac23, bd23, 0, 4, 1, 5),
                                          __builtin_shufflevector(ac23, bd23, 2, 6, 3, 7), 0, 1, 2, 3, 4, 5, 6, 7));
}

#else

constexpr std::size_t kFloatLanes = 4;

template <class Number>
struct numbers {
    Number a, b, c, d;
};
using floats = numbers<float>;
using doubles = numbers<double>;

template <class Number>
[[gnu::always_inline]] inline numbers<Number> operator+(numbers<Number> x, numbers<Number> y) {
    return {x.a + y.a, x.b + y.b, x.c + y.c, x.d + y.d};
}
template <class Number>
[[gnu::always_inline]] inline numbers<Number> operator-(numbers<Number> x, numbers<Number> y) {
    return {x.a - y.a, x.b - y.b, x.c - y.c, x.d - y.d};
}
template <class Number>
[[gnu::always_inline]] inline numbers<Number> operator*(numbers<Number> x, numbers<Number> y) {
    return {x.a * y.a, x.b * y.b, x.c * y.c, x.d * y.d};
}
template <class Number>
[[gnu::always_inline]] inline numbers<Number> operator*(numbers<Number> x, Number y) {
    return {x.a * y, x.b * y, x.c * y, x.d * y};
}
template <class Number>
[[gnu::always_inline]] inline numbers<Number> operator/(numbers<Number> x, Number y) {
    return {x.a / y, x.b / y, x.c / y, x.d / y};
}

[[gnu::always_inline]] inline floats load(const float *from) { return {from[0], from[1], from[2], from[3]}; }

[[gnu::always_inline]] inline floats gather(const float *from, std::size_t stride) {
    return {from[0], from[stride], from[2 * stride], from[3 * stride]};
}

[[gnu::always_inline]] inline void scatter(float *to, std::size_t stride, floats block) {
    to[0] = block.a;
    to[stride] = block.b;
    to[2 * stride] = block.c;
    to[3 * stride] = block.d;
}

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

using four_doubles = doubles;

template <int a, int b, int c, int d>
[[gnu::always_inline]] inline four_doubles pick(const float *from) {
    return {double{from[a]}, double{from[b]}, double{from[c]}, double{from[d]}};
}

[[gnu::always_inline]] inline double sum(four_doubles x) { return x.a + x.b + x.c + x.d; }

[[gnu::always_inline]] inline void store_transposed(float *to, const four_doubles (&rows)[4]) {
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) {
        const floats row = narrow(rows[i]);
        to[i] = row.a;
        to[4 + i] = row.b;
        to[8 + i] = row.c;
        to[12 + i] = row.d;
    }
}

#endif

} // namespace vela::detail

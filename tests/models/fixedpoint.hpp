// The fixed-point functions as they are defined, by the maths library and in 64 bits.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vela/fixedpoint.h>

namespace model {

// The sine of a whole number of sixteenths of a degree from 0 to 90.
inline int32_t sine_entry(int32_t i) {
    return i == 480 ? 2047 : static_cast<int32_t>(4096 * std::sin(i * std::acos(-1) / 2880));
}

// The arcsine of i / 1024, in Q10 degrees.
inline int32_t arcsine_entry(int32_t i) {
    return static_cast<int32_t>(std::asin(i / 1024.0) * (180 / std::acos(-1)) * 1024);
}

// The sine of an angle in Q10 degrees, by the table.
inline int32_t sine_q12(int64_t angle) {
    constexpr int64_t turn = 368640, half = turn / 2;
    if (angle < 0)
        return -sine_q12(-angle);
    angle %= turn;
    return angle > half ? -sine_q12(turn - angle) : sinDegQ4inQ12out_table[std::min(angle, half - angle) / 64];
}

inline int64_t sine_q15(int64_t x) {
    constexpr int64_t half_turn = 102944;
    while (x > half_turn)
        x -= 2 * half_turn;
    while (x < -half_turn)
        x += 2 * half_turn;
    const int64_t y = ((41722 + ((-13279 * std::abs(x)) >> 15)) * x) >> 15;
    return y + ((7373 * (((y * std::abs(y)) >> 15) - y)) >> 15);
}

inline int64_t sinc_q15(int64_t x) {
    const int64_t angle = (x * 6434) >> 11;
    return x == 0 ? 32768 : sine_q15(angle) * 32768 / angle;
}

inline int64_t lanczos_q15(int64_t a, int64_t x) {
    a = std::min<int64_t>(a, 8);
    return std::abs(x) >= a * 32768 ? 0 : (sinc_q15(x) * sinc_q15(x / a)) >> 15;
}

} // namespace model

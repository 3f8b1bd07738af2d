// Vectors of three 32-bit integers in arithmetic that wraps: unsigned inside, read as signed at the end.
#pragma once

#include <cstdint>

namespace vela::detail {

struct vector3 {
    uint32_t x, y, z;
};

constexpr int32_t as_signed(uint32_t value) { return static_cast<int32_t>(value); }

inline vector3 vector_of(const int32_t *point) {
    return {static_cast<uint32_t>(point[0]), static_cast<uint32_t>(point[1]), static_cast<uint32_t>(point[2])};
}

constexpr vector3 operator+(vector3 a, vector3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
constexpr vector3 operator-(vector3 a, vector3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
constexpr vector3 operator*(uint32_t factor, vector3 a) { return {factor * a.x, factor * a.y, factor * a.z}; }

constexpr uint32_t inner(vector3 a, vector3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

constexpr bool is_zero(vector3 a) { return (a.x | a.y | a.z) == 0; }

constexpr vector3 cross(vector3 a, vector3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

} // namespace vela::detail

// The place that the camera looks at: where things stand, in metres, seen from the camera at the origin of x (east) and
// y (north). The painter draws it once; the camera's programs move what moves in it.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>

namespace world {

struct point {
    double x, y, z;
};

inline constexpr double kCameraHeight = 9;
inline constexpr double kDegree = 0.017453292519943295;

// A direction as the sphere map counts it: pan clockwise from the north, tilt up from the horizon, in degrees.
struct direction {
    double pan, tilt;
};

inline direction seen_from_camera(point p) {
    const double pan = std::atan2(p.x, p.y) / kDegree;
    return {pan < 0 ? pan + 360 : pan, std::atan2(p.z - kCameraHeight, std::hypot(p.x, p.y)) / kDegree};
}

// The street runs from west to east, north of the camera; cars keep to the right.
struct street {
    double south, north; // edges of the roadway
    double half_length;
    constexpr double middle() const { return (south + north) / 2; }
};
inline constexpr street kStreet = {13, 20, 260};
inline constexpr double kPavement = 2.6;

// The tower, square, with a clock on each side.
struct tower {
    double x, y, half_width, height, clock_height, clock_radius;
};
inline constexpr tower kTower = {34, 38, 3.6, 31, 25.5, 2.3};

// Cars are boxes on wheels.
struct car {
    double phase; // where it is at time 0, as a share of the way
    double speed; // metres a second, positive to the east
    uint8_t colour[3];
};
inline constexpr std::array<car, 7> kCars = {{
    {0.05, 11, {196, 40, 36}},
    {0.31, 9.5, {236, 236, 230}},
    {0.55, 12.5, {38, 84, 160}},
    {0.83, 10, {48, 52, 58}},
    {0.18, -10.5, {222, 170, 30}},
    {0.47, -12, {60, 120, 80}},
    {0.74, -9, {170, 176, 184}},
}};

// Where the middle of a car is on the street at a time in seconds.
inline double position(const car &one, double seconds) {
    const double length = 2 * kStreet.half_length;
    double way = one.phase + one.speed * seconds / length;
    way -= std::floor(way);
    return (way - 0.5) * length;
}
inline double lane(const car &one) { return kStreet.middle() + (one.speed > 0 ? -1.8 : 1.8); }

} // namespace world

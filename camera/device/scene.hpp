// The panorama that the camera's sensor sees: an equirectangular picture in packed 4:2:2 (Cb Y0 Cr Y1), and what moves
// in it: cars on the street and the hands of the tower's clock.
#pragma once

#include "../scene/world.hpp"
#include <array>
#include <cstdint>
#include <string>
#include <sys/time.h>

class scene {
public:
    // Maps day.ycc or night.ycc of the directory CAMERA_SCENE; or the user's panorama.ycc of the store, in which
    // nothing moves.
    scene(bool night, const timeval &at);
    ~scene();
    scene(const scene &) = delete;
    scene &operator=(const scene &) = delete;

    // Whether there is no panorama of the user's.
    static bool is_painted();

    const uint8_t *pixels() const { return pixels_; }
    int32_t width() const { return width_; }
    int32_t height() const { return width_ / 2; }

private:
    // A convex four-sided shape on the sphere, as corners in degrees, painted in one colour (Y, Cb, Cr).
    struct corner {
        double pan, tilt;
    };
    void paint(const std::array<corner, 4> &corners, const uint8_t (&colour)[3]);
    void paint(const world::point (&corners)[4], const uint8_t (&rgb)[3], double bright);
    void put_cars(const timeval &at, bool night);
    void put_clock_hands(const timeval &at, bool night);

    uint8_t *pixels_ = nullptr; // a private mapping: what moves is painted into it
    size_t size_ = 0;
    int32_t width_ = 0;
};

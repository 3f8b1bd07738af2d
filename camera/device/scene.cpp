// The panorama in memory, and what moves painted into it.
#include "scene.hpp"
#include "store.hpp"
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vela/colour.h>
#include <vela/filesystem.h>

namespace {

constexpr char kPanorama[] = "panorama.ycc";

void to_ycc(const uint8_t (&rgb)[3], double bright, uint8_t (&ycc)[3]) {
    for (int i = 0; i < 3; ++i)
        ycc[i] = static_cast<uint8_t>(std::clamp(rgb[i] * bright, 0.0, 255.0));
    srgb_to_yccfull(ycc, ycc, 1);
}

} // namespace

scene::scene(bool night, const timeval &at) {
    const char *directory = std::getenv("CAMERA_SCENE");
    if (!directory)
        throw store::failure{"CAMERA_SCENE is not set"};
    const bool painted = is_painted();
    const std::string path =
        painted ? std::string(directory) + (night ? "/night.ycc" : "/day.ycc") : store::directory() + kPanorama;

    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat about = {};
    if (file >= 0 && fstat(file, &about) == 0 && about.st_size > 0) {
        // Two bytes a pixel, and half as many rows as columns.
        size_ = static_cast<size_t>(about.st_size);
        width_ = static_cast<int32_t>(std::lround(std::sqrt(static_cast<double>(size_))));
        void *mapped = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE, file, 0);
        pixels_ = mapped == MAP_FAILED ? nullptr : static_cast<uint8_t *>(mapped);
    }
    const int reason = errno;
    if (file >= 0)
        close(file);
    if (!pixels_ || static_cast<size_t>(width_) * static_cast<size_t>(width_) != size_ || width_ % 4)
        throw store::failure{path + ": " + (pixels_ ? "not a panorama" : std::strerror(reason))};
    if (painted) {
        put_cars(at, night);
        put_clock_hands(at, night);
    }
}

bool scene::is_painted() { return !exists((store::directory() + kPanorama).c_str()); }

scene::~scene() {
    if (pixels_)
        munmap(pixels_, size_);
}

// Row by row between the sides; pairs of pixels share their chroma, which the shape takes over where it covers either.
void scene::paint(const std::array<corner, 4> &corners, const uint8_t (&colour)[3]) {
    const double across = width_ / 360.0, down = height() / 180.0;
    double top = 1e9, bottom = -1e9;
    for (const corner &one : corners) {
        top = std::min(top, (90 - one.tilt) * down);
        bottom = std::max(bottom, (90 - one.tilt) * down);
    }
    const int first = std::max(0, static_cast<int>(std::ceil(top - 0.5)));
    const int last = std::min(height() - 1, static_cast<int>(std::floor(bottom - 0.5)));
    for (int y = first; y <= last; ++y) {
        double left = 1e9, right = -1e9;
        for (size_t i = 0; i < 4; ++i) {
            const corner &a = corners[i], &b = corners[(i + 1) % 4];
            const double ay = (90 - a.tilt) * down - 0.5, by = (90 - b.tilt) * down - 0.5;
            if ((ay > y) == (by > y))
                continue;
            const double b_pan = a.pan + std::remainder(b.pan - a.pan, 360);
            double x = (a.pan + (b_pan - a.pan) * (y - ay) / (by - ay)) * across;
            x = corners[0].pan * across + std::remainder(x - corners[0].pan * across, width_);
            left = std::min(left, x);
            right = std::max(right, x);
        }
        for (int x = static_cast<int>(std::ceil(left - 0.5)); x < static_cast<int>(std::ceil(right - 0.5)); ++x) {
            const int32_t column = ((x % width_) + width_) % width_;
            uint8_t *pair = pixels_ + 2 * (static_cast<ptrdiff_t>(y) * width_ + column / 2 * 2);
            pair[0] = colour[1];
            pair[2] = colour[2];
            pair[1 + column % 2 * 2] = colour[0];
        }
    }
}

void scene::paint(const world::point (&corners)[4], const uint8_t (&rgb)[3], double bright) {
    std::array<corner, 4> seen;
    for (size_t i = 0; i < 4; ++i) {
        const auto [pan, tilt] = world::seen_from_camera(corners[i]);
        seen[i] = {pan, tilt};
    }
    uint8_t ycc[3];
    to_ycc(rgb, bright, ycc);
    paint(seen, ycc);
}

void scene::put_cars(const timeval &at, bool night) {
    const double seconds = std::fmod(static_cast<double>(at.tv_sec), 86400) + static_cast<double>(at.tv_usec) / 1e6;
    constexpr double kLength = 4.3, kWidth = 1.8;
    const double bright = night ? 0.22 : 1;
    // The far lane first, so that the near one covers it.
    for (const int side_of_road : {-1, 1})
        for (const world::car &one : world::kCars) {
            if ((one.speed > 0 ? 1 : -1) != side_of_road)
                continue;
            const double x = world::position(one, seconds), y = world::lane(one) - kWidth / 2;
            const auto side = [&](double from, double to, double low, double high, double slant_from, double slant_to,
                                  double depth, const uint8_t(&rgb)[3], double shade) {
                const world::point points[4] = {{x + from, y + depth, low},
                                                {x + to, y + depth, low},
                                                {x + to - slant_to, y + depth, high},
                                                {x + from + slant_from, y + depth, high}};
                paint(points, rgb, bright * shade);
            };
            const double h = kLength / 2;
            constexpr uint8_t kTyre[3] = {30, 30, 32}, kGlass[3] = {70, 92, 108}, kShadow[3] = {52, 54, 58},
                              kLamp[3] = {255, 240, 190}, kTail[3] = {220, 30, 24};
            side(-h, h, 0.0, 0.05, 0, 0, 0, kShadow, 1);
            side(-h * 0.62, h * 0.55, 0.8, 1.42, 0.45, 0.55, kWidth, one.colour, 0.7); // far side of the cabin
            // The roof and the bonnet, seen from above.
            {
                const world::point roof[4] = {{x - h * 0.5, y, 1.42},
                                              {x + h * 0.3, y, 1.42},
                                              {x + h * 0.3, y + kWidth, 1.42},
                                              {x - h * 0.5, y + kWidth, 1.42}};
                const world::point deck[4] = {
                    {x - h, y, 0.82}, {x + h, y, 0.82}, {x + h, y + kWidth, 0.82}, {x - h, y + kWidth, 0.82}};
                paint(deck, one.colour, bright * 1.02);
                paint(roof, one.colour, bright * 1.12);
            }
            side(-h, h, 0.28, 0.84, 0.05, 0.1, 0, one.colour, 0.86);
            side(-h * 0.62, h * 0.55, 0.84, 1.40, 0.42, 0.55, 0, kGlass, 1);
            side(-0.1, 0.02, 0.84, 1.40, 0, 0, 0, one.colour, 0.86);
            for (const double wheel : {-h * 0.62, h * 0.6}) {
                side(wheel - 0.33, wheel + 0.33, 0.18, 0.48, 0, 0, 0, kTyre, 1);
                side(wheel - 0.22, wheel + 0.22, 0.05, 0.62, 0, 0, 0, kTyre, 1);
            }
            const double front = one.speed > 0 ? h - 0.18 : -h, back = one.speed > 0 ? -h : h - 0.14;
            side(front, front + 0.18, 0.58, 0.74, 0, 0, 0, kLamp, night ? 4.5 : 1);
            side(back, back + 0.14, 0.58, 0.74, 0, 0, 0, kTail, night ? 3 : 1);
        }
}

void scene::put_clock_hands(const timeval &at, bool night) {
    tm local;
    const time_t seconds = at.tv_sec;
    localtime_r(&seconds, &local);
    const double minute = (local.tm_min + local.tm_sec / 60.0) * 6,
                 hour = (local.tm_hour % 12 + local.tm_min / 60.0) * 30;
    const world::tower &t = world::kTower;
    constexpr uint8_t kIron[3] = {34, 32, 30};
    // The faces that the camera sees: to the south and to the west.
    for (const bool west : {false, true}) {
        const auto place = [&](double right, double up) {
            const double out = t.half_width + 0.02;
            return west ? world::point{t.x - out, t.y - right, t.clock_height + up}
                        : world::point{t.x + right, t.y - out, t.clock_height + up};
        };
        const auto hand = [&](double angle, double length, double width) {
            const double s = std::sin(angle * world::kDegree), c = std::cos(angle * world::kDegree);
            const world::point corners[4] = {place(-c * width - s * 0.3, s * width - c * 0.3),
                                             place(c * width - s * 0.3, -s * width - c * 0.3),
                                             place(c * width * 0.5 + s * length, -s * width * 0.5 + c * length),
                                             place(-c * width * 0.5 + s * length, s * width * 0.5 + c * length)};
            paint(corners, kIron, night ? 0.5 : 1);
        };
        hand(hour, t.clock_radius * 0.55, 0.16);
        hand(minute, t.clock_radius * 0.84, 0.10);
    }
}

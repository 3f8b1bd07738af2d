// Whether a privacy mask leaves a pixel open. The scene is one colour, and another one under the mask: whatever a
// picture shows besides the first one and black has been seen through the mask. Masks at the zenith, around the
// horizon, half behind the view, small and large, at every zoom, and while the camera moves.
//
// usage: open_pixels DIRECTORY [ROUNDS]   (a directory for the scene and the camera's state)
#include "../device/eye.hpp"
#include "../device/mask_store.hpp"
#include "../device/store.hpp"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <random>
#include <vela/colour.h>

namespace {

constexpr int32_t kWidth = 4096, kHeight = kWidth / 2;
constexpr double kDegree = 0.017453292519943295;
constexpr uint8_t kPlain[3] = {110, 128, 128}, kMarked[3] = {235, 60, 200};

struct vec {
    double x, y, z;
};
vec vector_of(double pan, double tilt) {
    return {std::cos(tilt * kDegree) * std::cos(pan * kDegree), std::cos(tilt * kDegree) * std::sin(pan * kDegree),
            std::sin(tilt * kDegree)};
}
double dot(vec a, vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
vec cross(vec a, vec b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }

struct hidden {
    const char *name;
    double pan, tilt; // a place in it or at its rim
    std::vector<vela::overlay::direction> corners;
    std::function<bool(double pan, double tilt)> contains; // no more than what the corners enclose
};

// Sides along a parallel run as great circles and so bulge away from the horizon: the box lies within.
hidden box(const char *name, double left, double right, double low, double high) {
    hidden made = {name, right, 0, {}, {}};
    const int steps = static_cast<int>(std::ceil((right - left) / 15));
    for (int i = 0; i <= steps; ++i)
        made.corners.push_back({left + (right - left) * i / steps, high});
    for (int i = steps; i >= 0; --i)
        made.corners.push_back({left + (right - left) * i / steps, low});
    const double middle = (left + right) / 2, reach = (right - left) / 2;
    made.contains = [=](double pan, double tilt) {
        return tilt > low && tilt < high && std::fabs(std::remainder(pan - middle, 360)) < reach;
    };
    return made;
}

hidden cap(double tilt) {
    hidden made = {"around the zenith", 0, tilt, {}, {}};
    for (int i = 0; i < 12; ++i)
        made.corners.push_back({30.0 * i, tilt});
    const double within = std::atan(std::tan(tilt * kDegree) / std::cos(15 * kDegree)) / kDegree;
    made.contains = [=](double, double at) { return at > within; };
    return made;
}

// Corners around a middle, inside where they go round a direction: found by the angles between them as seen from there.
hidden star(const char *name, std::mt19937 &random, double size) {
    const auto uniform = [&](double low, double high) { return std::uniform_real_distribution(low, high)(random); };
    hidden made = {name, uniform(0, 360), std::asin(uniform(-1, 1)) / kDegree, {}, {}};
    const vec middle = vector_of(made.pan, made.tilt), up = vector_of(made.pan, made.tilt + 90),
              right = cross(up, middle);
    std::vector<vec> corners;
    const int count = 3 + static_cast<int>(uniform(0, 6));
    for (int i = 0; i < count; ++i) {
        const double angle = (i + uniform(0, 0.7)) * 360 / count * kDegree, away = uniform(0.5, 1) * size * kDegree;
        const double c = std::cos(away), a = std::sin(away) * std::cos(angle), b = std::sin(away) * std::sin(angle);
        const vec p = {c * middle.x + a * right.x + b * up.x, c * middle.y + a * right.y + b * up.y,
                       c * middle.z + a * right.z + b * up.z};
        made.corners.push_back({std::atan2(p.y, p.x) / kDegree, std::asin(std::clamp(p.z, -1.0, 1.0)) / kDegree});
        corners.push_back(vector_of(made.corners.back().pan, made.corners.back().tilt));
    }
    made.contains = [=](double pan, double tilt) {
        const vec p = vector_of(pan, tilt);
        if (dot(p, middle) < std::cos(std::min(89.0, size * 1.01) * kDegree))
            return false;
        double sum = 0;
        for (size_t i = 0; i < corners.size(); ++i) {
            const vec a = corners[i], b = corners[(i + 1) % corners.size()];
            sum += std::atan2(dot(p, cross(a, b)), dot(a, b) - dot(a, p) * dot(b, p));
        }
        return std::fabs(sum) > 3;
    };
    return made;
}

// Marked are the pixels whose neighbours lie under the mask as well: a direction that shows some of one is hidden.
void paint(const std::string &path, const hidden &mask) {
    std::vector<uint8_t> inside(size_t{kWidth} * kHeight), pixels(2 * inside.size());
    const auto at = [](int32_t x, int32_t y) {
        return static_cast<size_t>(y) * kWidth + static_cast<size_t>((x + kWidth) % kWidth);
    };
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = 0; x < kWidth; ++x)
            inside[at(x, y)] = mask.contains((x + 0.5) * 360 / kWidth, 90 - (y + 0.5) * 180 / kHeight);
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = 0; x < kWidth; x += 2) {
            bool all = true;
            for (int32_t j = std::max(y - 1, 0); j <= std::min(y + 1, kHeight - 1); ++j)
                for (int32_t i = x - 1; i <= x + 2; ++i)
                    all = all && inside[at(i, j)];
            const uint8_t(&colour)[3] = all ? kMarked : kPlain;
            const uint8_t pair[4] = {colour[1], colour[0], colour[2], colour[0]};
            std::memcpy(&pixels[2 * at(x, y)], pair, sizeof pair);
        }
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char *>(pixels.data()), static_cast<std::streamsize>(pixels.size()));
}

struct count {
    size_t pictures = 0, open = 0, covered = 0, marked = 0, widely_covered = 0, widely_marked = 0;
};

struct seen {
    size_t plain = 0, black = 0, other = 0;
};
seen look_at(eye &sensor, const view_request &what) {
    const picture::frame &frame = sensor.look(what, {1000000000, 0}, eye::marks::none);
    const uint8_t pair[4] = {kPlain[1], kPlain[0], kPlain[2], kPlain[0]};
    uint8_t two[6];
    cyc422_to_srgb(pair, 2, 1, 4, two);
    seen found;
    for (size_t i = 0; i < frame.pixels.size(); i += 3) {
        const uint8_t *const pixel = &frame.pixels[i];
        if (std::memcmp(pixel, two, 3) == 0)
            ++found.plain;
        else if (!pixel[0] && !pixel[1] && !pixel[2])
            ++found.black;
        else
            ++found.other;
    }
    return found;
}

void keep(const hidden &mask, bool on) { masks::keep({{"id", mask.name, on, mask.corners}}); }

// The same pictures with the mask and without, to know that there was something to be seen.
void check(const hidden &mask, const std::vector<view_request> &looks, count &total) {
    eye sensor;
    std::vector<seen> covered;
    keep(mask, true);
    for (const view_request &what : looks) {
        covered.push_back(look_at(sensor, what));
        if (covered.back().other) {
            ++total.open;
            std::fprintf(stderr, "open: %s, pan %.6f tilt %.6f fov %.6f, %d x %d: %zu pixels\n", mask.name,
                         what.at->pan(), what.at->tilt(), what.at->fov(), what.width, what.height,
                         covered.back().other);
        }
    }
    keep(mask, false);
    for (size_t i = 0; i < looks.size(); ++i) {
        const seen bare = look_at(sensor, looks[i]);
        total.marked += bare.other;
        total.covered += covered[i].black - bare.black;
        if (looks[i].at->fov() > 50 && looks[i].width > 1000) {
            total.widely_marked += bare.other;
            total.widely_covered += covered[i].black - bare.black;
        }
    }
    total.pictures += looks.size();
}

std::vector<view_request> looks_at(const hidden &mask, std::mt19937 &random) {
    constexpr int32_t kSizes[][2] = {{1280, 720}, {641, 361}, {64, 36}};
    const auto uniform = [&](double low, double high) { return std::uniform_real_distribution(low, high)(random); };
    std::vector<view_request> looks;
    for (const double fov : {2.0, 3.7, 8.0, 20.0, 45.0, 62.0, 90.0, 110.0}) {
        const auto &size = kSizes[random() % 3];
        const double beside = fov * uniform(-0.6, 0.6), above = fov * uniform(-0.4, 0.4);
        const double tilt = std::clamp(mask.tilt + above, -90.0, 90.0);
        looks.push_back({size[0], size[1],
                         motion::at_rest(mask.pan + beside / std::max(0.05, std::cos(tilt * kDegree)), tilt, fov)});
    }
    looks.push_back({1280, 720, motion::at_rest(mask.pan + 90, 0, 110)});
    looks.push_back({1280, 720, motion::at_rest(mask.pan, mask.tilt > 0 ? 90 : -90, 110)});
    // Two seconds of a move past it, at 25 pictures a second.
    const motion::position from = motion::at_rest(mask.pan - 25, std::clamp(mask.tilt - 12, -90.0, 90.0), 70),
                           to = motion::at_rest(mask.pan + 25, std::clamp(mask.tilt + 12, -90.0, 90.0), 12);
    const motion::plan plan = motion::move_to(motion::plan::resting({}, from), {}, to, {});
    for (int i = 0; i < 50; i += 2)
        looks.push_back({640, 360, plan.at({i / 25, i % 25 * 40000})});
    return looks;
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 2)
        return EXIT_FAILURE;
    const std::string directory = argv[1];
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 4;
    setenv("CAMERA_SCENE", directory.c_str(), 1);
    setenv("CAMERA_STATE", (directory + "/state").c_str(), 1);
    std::mt19937 random(7);
    std::vector<hidden> all = {cap(75), box("around the horizon", -179.9, 179.9, -6, 6),
                               box("half behind the view", 200, 400, -20, 20)};
    for (int i = 0; i < rounds; ++i)
        all.push_back(star("a polygon", random, i % 3 == 0 ? 2 : i % 3 == 1 ? 12 : 45));
    count total;
    for (const hidden &mask : all) {
        state::settings plain;
        plain.curve = {{0, 0}, {255, 255}};
        state::keep(plain);
        paint(store::directory() + "panorama.ycc", mask);
        check(mask, looks_at(mask, random), total);
    }
    std::printf(
        "masks: %zu masks, %zu pictures, %zu with an open pixel; %zu pixels to hide; in wide pictures %.2f times as "
        "many covered\n",
        all.size(), total.pictures, total.open, total.marked,
        static_cast<double>(total.widely_covered) / static_cast<double>(std::max<size_t>(total.widely_marked, 1)));
    if (total.open != 0 || total.marked <= 100000 || total.widely_covered >= 2 * total.widely_marked)
        return EXIT_FAILURE;
    std::puts("masks: passed");
    return EXIT_SUCCESS;
}

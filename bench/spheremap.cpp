// Directions onto the screen and back, against the same mapping in doubles with the maths library.
#include "ratios.hpp"
#include <cmath>
#include <vector>
#include <vela/spheremap.h>

namespace {

constexpr smap_view kView = {640, 480, 102400, 10240, 61440};
constexpr smap_screen_pt kCentre = {kView.width / 2, kView.height / 2};
constexpr double kToRadians = 3.14159265358979323846 / 184320;

// Directions all over the view and its surroundings, some behind it.
std::vector<smap_sphere_pt> directions(size_t count) {
    std::vector<smap_sphere_pt> result(count);
    uint32_t state = 1;
    const auto within = [&state](int32_t range) {
        state = state * 1664525 + 1013904223;
        return static_cast<int32_t>(state >> 8) % (2 * range) - range;
    };
    for (smap_sphere_pt &point : result)
        point = {kView.pan + within(100000), kView.tilt + within(60000)};
    return result;
}

std::vector<smap_screen_pt> positions(size_t count) {
    std::vector<smap_screen_pt> result(count);
    for (size_t i = 0; i < count; ++i)
        result[i] = {static_cast<int32_t>(i * 7919 % 640), static_cast<int32_t>(i * 104729 % 480)};
    return result;
}

void libm_onto_screen(const std::vector<smap_sphere_pt> &from, std::vector<smap_screen_pt> &to) {
    const double tilt_sine = std::sin(kView.tilt * kToRadians), tilt_cosine = std::cos(kView.tilt * kToRadians);
    const double scale = kView.width / (kView.fov * kToRadians);
    for (size_t i = 0; i < from.size(); ++i) {
        double sine_around, cosine_around, sine_above, cosine_above;
        sincos((from[i].pan - kView.pan) * kToRadians, &sine_around, &cosine_around);
        sincos(from[i].tilt * kToRadians, &sine_above, &cosine_above);
        const double level = cosine_above * cosine_around;
        if (level * tilt_cosine + sine_above * tilt_sine <= -1.0 / 1024) {
            to[i] = {-1234, -5678};
            continue;
        }
        to[i] = {static_cast<int32_t>(std::asin(cosine_above * sine_around) * scale) + kView.width / 2,
                 kView.height / 2 -
                     static_cast<int32_t>(std::asin(sine_above * tilt_cosine - level * tilt_sine) * scale)};
    }
}

void libm_onto_sphere(const std::vector<smap_screen_pt> &from, std::vector<smap_sphere_pt> &to) {
    const double tilt_sine = std::sin(kView.tilt * kToRadians), tilt_cosine = std::cos(kView.tilt * kToRadians);
    const double radians_per_pixel = kView.fov * kToRadians / kView.width;
    for (size_t i = 0; i < from.size(); ++i) {
        const double across = std::sin((from[i].x - kCentre.x) * radians_per_pixel);
        const double up = std::sin((kCentre.y - from[i].y) * radians_per_pixel);
        const double depth = std::sqrt(1 - (up * up + across * across));
        const double pan = std::atan2(across, tilt_cosine * depth - tilt_sine * up);
        const double tilt = std::asin(up * tilt_cosine + depth * tilt_sine);
        to[i] = {static_cast<int32_t>(pan / kToRadians) + kView.pan, static_cast<int32_t>(tilt / kToRadians)};
        smap_clip_pan_tilt(&to[i].pan, &to[i].tilt);
    }
}

template <class Run>
void add(const std::string &case_name, const std::string &implementation, size_t count, Run run) {
    ratios::add(case_name, implementation, [=](benchmark::State &state) {
        std::vector<smap_sphere_pt> sphere = directions(count);
        std::vector<smap_screen_pt> screen = positions(count);
        for (auto _ : state) {
            run(sphere, screen);
            benchmark::DoNotOptimize(sphere.data());
            benchmark::DoNotOptimize(screen.data());
            benchmark::ClobberMemory();
        }
        state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
    });
}

const bool registered = [] {
    using sphere_points = std::vector<smap_sphere_pt>;
    using screen_points = std::vector<smap_screen_pt>;
    for (const size_t count : {size_t{4}, size_t{32}, size_t{1024}}) {
        const std::string onto_screen = "onto screen/" + std::to_string(count) + " points";
        add(onto_screen, "vela", count, [](sphere_points &sphere, screen_points &screen) {
            const smap_sphere_poly source = {static_cast<uint32_t>(sphere.size()), sphere.data()};
            smap_screen_poly target = {static_cast<uint32_t>(screen.size()), screen.data()};
            smap_sphere_to_screen(&source, &kView, &target);
        });
        add(onto_screen, "libm", count,
            [](sphere_points &sphere, screen_points &screen) { libm_onto_screen(sphere, screen); });
        ratios::bar(onto_screen, 3);
    }
    add("onto screen/one by one", "vela", 1024, [](sphere_points &sphere, screen_points &screen) {
        for (size_t i = 0; i < sphere.size(); ++i)
            smap_sphere_pt_to_screen_pt(&sphere[i], &kView, &screen[i]);
    });
    add("onto screen/one by one", "libm", 1024,
        [](sphere_points &sphere, screen_points &screen) { libm_onto_screen(sphere, screen); });
    add("onto sphere/1024 points", "vela", 1024, [](sphere_points &sphere, screen_points &screen) {
        const smap_screen_poly source = {static_cast<uint32_t>(screen.size()), screen.data()};
        smap_sphere_poly target = {static_cast<uint32_t>(sphere.size()), sphere.data()};
        smap_screen_to_sphere(&source, &kView, &target);
    });
    add("onto sphere/1024 points", "libm", 1024,
        [](sphere_points &sphere, screen_points &screen) { libm_onto_sphere(screen, sphere); });
    ratios::bar("onto sphere/1024 points", 1);
    return true;
}();

} // namespace

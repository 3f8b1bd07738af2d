// Directions onto the screen and back, against the same projection with libm in double and in single precision,
// and the error of each against the projection in double before it is truncated to integers.
#include "ratios.hpp"
#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>
#include <vela/overlay.hpp>
#include <vela/spheremap.h>

namespace {

constexpr smap_view kView = {640, 480, 102400, 10240, 61440};
constexpr smap_screen_pt kCentre = {kView.width / 2, kView.height / 2};
constexpr double kToRadians = 3.14159265358979323846 / 184320;

// Directions in the view, around it and behind it.
using sphere_points = std::vector<smap_sphere_pt>;
using screen_points = std::vector<smap_screen_pt>;

sphere_points directions(size_t count) {
    sphere_points result(count);
    uint32_t state = 1;
    const auto within = [&state](int32_t range) {
        state = state * 1664525 + 1013904223;
        return static_cast<int32_t>(state >> 8) % (2 * range) - range;
    };
    for (smap_sphere_pt &point : result)
        point = {kView.pan + within(100000), kView.tilt + within(60000)};
    return result;
}

screen_points positions(size_t count) {
    screen_points result(count);
    for (size_t i = 0; i < count; ++i)
        result[i] = {static_cast<int32_t>(i * 7919 % 640), static_cast<int32_t>(i * 104729 % 480)};
    return result;
}

template <class Real>
struct position {
    Real x, y;
    bool is_in_front = true;
};

// For both precisions. The compiler combines sin() and cos() into sincos().
template <class Real>
struct mapping {
    static constexpr Real kRadian = static_cast<Real>(kToRadians), kWidth = kView.width;
    Real tilt_sine = std::sin(kView.tilt * kRadian), tilt_cosine = std::cos(kView.tilt * kRadian),
         scale = kWidth / (kView.fov * kRadian);

    [[nodiscard]] position<Real> onto_screen(smap_sphere_pt from) const {
        const Real around = static_cast<Real>(from.pan - kView.pan) * kRadian,
                   above = static_cast<Real>(from.tilt) * kRadian;
        const Real sine_around = std::sin(around), cosine_around = std::cos(around), sine_above = std::sin(above),
                   cosine_above = std::cos(above), level = cosine_above * cosine_around;
        if (level * tilt_cosine + sine_above * tilt_sine <= Real{-1} / 1024)
            return {-1234, -5678, false};
        return {std::asin(cosine_above * sine_around) * scale,
                std::asin(sine_above * tilt_cosine - level * tilt_sine) * scale};
    }
    [[nodiscard]] position<Real> onto_sphere(smap_screen_pt from) const {
        const Real across = std::sin(static_cast<Real>(from.x - kCentre.x) / scale),
                   up = std::sin(static_cast<Real>(kCentre.y - from.y) / scale),
                   depth = std::sqrt(1 - (up * up + across * across));
        return {std::atan2(across, tilt_cosine * depth - tilt_sine * up) / kRadian,
                std::asin(up * tilt_cosine + depth * tilt_sine) / kRadian};
    }
};

template <class Real>
void libm_onto_screen(const sphere_points &from, screen_points &to) {
    const mapping<Real> map;
    for (size_t i = 0; i < from.size(); ++i) {
        const position<Real> at = map.onto_screen(from[i]);
        to[i] = at.is_in_front
                    ? smap_screen_pt{kCentre.x + static_cast<int32_t>(at.x), kCentre.y - static_cast<int32_t>(at.y)}
                    : smap_screen_pt{-1234, -5678};
    }
}

template <class Real>
void libm_onto_sphere(sphere_points &to, const screen_points &from) {
    const mapping<Real> map;
    for (size_t i = 0; i < from.size(); ++i) {
        const position<Real> at = map.onto_sphere(from[i]);
        to[i] = {static_cast<int32_t>(at.x) + kView.pan, static_cast<int32_t>(at.y)};
        smap_clip_pan_tilt(&to[i].pan, &to[i].tilt);
    }
}

// Rounded to integers.
void overlay_onto_screen(const sphere_points &from, screen_points &to) {
    static const auto view = vela::overlay::view::make(kView);
    for (size_t i = 0; i < from.size(); ++i) {
        const auto at = view->project(vela::overlay::direction_of(from[i]));
        to[i] = at ? smap_screen_pt{static_cast<int32_t>(std::lround(at->x)), static_cast<int32_t>(std::lround(at->y))}
                   : smap_screen_pt{-1234, -5678};
    }
}

// Times run(sphere, screen).
template <class Run>
void add(const std::string &name, const char *implementation, size_t count, Run run) {
    ratios::add(name, implementation, count,
                [=, sphere = directions(count), screen = positions(count)]() mutable { run(sphere, screen); });
}

// Registers the mean and the worst of errors(sphere, screen) after run().
template <class Run, class Errors>
void measure(const char *unit, const std::string &name, const char *implementation, Run run, Errors errors) {
    const auto add = [&](const char *which, auto figure) {
        ratios::add({name, std::string(which) + " error, " + unit, implementation, [=] {
                         sphere_points sphere = directions(1024);
                         screen_points screen = positions(1024);
                         run(sphere, screen);
                         return figure(errors(sphere, screen));
                     }});
    };
    add("mean", [](const std::vector<double> &all) {
        return std::accumulate(all.begin(), all.end(), 0.0) / static_cast<double>(all.size());
    });
    add("worst", [](const std::vector<double> &all) { return *std::max_element(all.begin(), all.end()); });
}

// Of the points that the screen shows.
std::vector<double> screen_errors(const sphere_points &, const screen_points &screen) {
    const sphere_points from = directions(screen.size());
    const mapping<double> map;
    std::vector<double> result;
    for (size_t i = 0; i < from.size(); ++i) {
        const position<double> at = map.onto_screen(from[i]);
        if (at.is_in_front && std::fabs(at.x) < kCentre.x && std::fabs(at.y) < kCentre.y)
            result.push_back(
                std::max(std::fabs(screen[i].x - kCentre.x - at.x), std::fabs(kCentre.y - screen[i].y - at.y)));
    }
    return result;
}

std::vector<double> sphere_errors(const sphere_points &sphere, const screen_points &screen) {
    const mapping<double> map;
    std::vector<double> result;
    for (size_t i = 0; i < screen.size(); ++i) {
        const position<double> at = map.onto_sphere(screen[i]);
        result.push_back(std::max(std::fabs(std::remainder(sphere[i].pan - kView.pan - at.x, 368640.0)),
                                  std::fabs(sphere[i].tilt - at.y)));
    }
    return result;
}

void add_onto_screen(size_t count) {
    const std::string name = "onto screen/" + std::to_string(count) + " points";
    const auto add_both = [&](const char *implementation, auto run) {
        add(name, implementation, count, run);
        if (count == 1024)
            measure("pixels", name, implementation, run, screen_errors);
    };
    add_both("vela", [](sphere_points &sphere, screen_points &screen) {
        const smap_sphere_poly source = {static_cast<uint32_t>(sphere.size()), sphere.data()};
        smap_screen_poly target = {static_cast<uint32_t>(screen.size()), screen.data()};
        static_cast<void>(smap_sphere_to_screen(&source, &kView, &target));
    });
    add_both("vela-overlay", overlay_onto_screen);
    add_both("libm", libm_onto_screen<double>);
    add_both("libm-float", libm_onto_screen<float>);
    ratios::target(name, 3, {"libm"});
}

void add_onto_sphere() {
    const char *const name = "onto sphere/1024 points";
    const auto add_both = [&](const char *implementation, auto run) {
        add(name, implementation, 1024, run);
        measure("1/1024 degree", name, implementation, run, sphere_errors);
    };
    add_both("vela", [](sphere_points &sphere, screen_points &screen) {
        const smap_screen_poly source = {static_cast<uint32_t>(screen.size()), screen.data()};
        smap_sphere_poly target = {static_cast<uint32_t>(sphere.size()), sphere.data()};
        static_cast<void>(smap_screen_to_sphere(&source, &kView, &target));
    });
    add_both("libm", libm_onto_sphere<double>);
    add_both("libm-float", libm_onto_sphere<float>);
    ratios::target(name, 1, {"libm"});
}

const bool registered = [] {
    for (const size_t count : {4, 32, 1024})
        add_onto_screen(count);
    add("onto screen/one by one", "vela", 1024, [](sphere_points &sphere, screen_points &screen) {
        for (size_t i = 0; i < sphere.size(); ++i)
            smap_sphere_pt_to_screen_pt(&sphere[i], &kView, &screen[i]);
    });
    add("onto screen/one by one", "libm", 1024, libm_onto_screen<double>);
    add_onto_sphere();
    return true;
}();

} // namespace

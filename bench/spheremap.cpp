// Directions onto the screen and back, against the same mapping with the maths library in double and in single
// precision; what the times buy is the distance from the mapping in double before it is cut to whole numbers.
#include "ratios.hpp"
#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>
#include <vela/overlay.hpp>
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

using sphere_points = std::vector<smap_sphere_pt>;
using screen_points = std::vector<smap_screen_pt>;

template <class Real>
struct position {
    Real x, y;
    bool is_in_front = true;
};

// Written once for both precisions, by std's overloads; `sincos` is the compiler's to find.
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
void libm_onto_sphere(const screen_points &from, sphere_points &to) {
    const mapping<Real> map;
    for (size_t i = 0; i < from.size(); ++i) {
        const position<Real> at = map.onto_sphere(from[i]);
        to[i] = {static_cast<int32_t>(at.x) + kView.pan, static_cast<int32_t>(at.y)};
        smap_clip_pan_tilt(&to[i].pan, &to[i].tilt);
    }
}

// In whole pixels too.
void overlay_onto_screen(const sphere_points &from, screen_points &to) {
    static const auto view = vela::overlay::view::make(kView);
    for (size_t i = 0; i < from.size(); ++i) {
        const auto at = view->project(vela::overlay::direction_of(from[i]));
        to[i] = at ? smap_screen_pt{static_cast<int32_t>(std::lround(at->x)), static_cast<int32_t>(std::lround(at->y))}
                   : smap_screen_pt{-1234, -5678};
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

// Registers the mean and the worst of distances(result), which has one for each point that counts.
template <class Run, class Distances>
void measure(const char *group, const char *unit, const std::string &case_name, const char *implementation, Run run,
             Distances distances) {
    const auto add = [&](const char *which, auto figure) {
        ratios::quality({group, std::string(which) + " error, " + unit, case_name, implementation, [=] {
                             sphere_points sphere = directions(1024);
                             screen_points screen = positions(1024);
                             run(sphere, screen);
                             return figure(distances(sphere, screen));
                         }});
    };
    add("mean", [](const std::vector<double> &all) {
        double sum = 0;
        for (const double one : all)
            sum += one;
        return sum / static_cast<double>(all.size());
    });
    add("worst", [](const std::vector<double> &all) { return *std::max_element(all.begin(), all.end()); });
}

// Of the points that the screen shows.
std::vector<double> screen_distances(const sphere_points &, const screen_points &screen) {
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

std::vector<double> sphere_distances(const sphere_points &sphere, const screen_points &screen) {
    const mapping<double> map;
    std::vector<double> result;
    for (size_t i = 0; i < screen.size(); ++i) {
        const position<double> at = map.onto_sphere(screen[i]);
        result.push_back(std::max(std::fabs(std::remainder(sphere[i].pan - kView.pan - at.x, 368640.0)),
                                  std::fabs(sphere[i].tilt - at.y)));
    }
    return result;
}

void add_onto_screen(size_t count, bool are_measured) {
    const std::string name = "onto screen/" + std::to_string(count) + " points";
    const auto add_way = [&](const char *implementation, auto run) {
        add(name, implementation, count, run);
        if (are_measured)
            measure("onto screen", "pixels", name, implementation, run, screen_distances);
    };
    add_way("vela", [](sphere_points &sphere, screen_points &screen) {
        const smap_sphere_poly source = {static_cast<uint32_t>(sphere.size()), sphere.data()};
        smap_screen_poly target = {static_cast<uint32_t>(screen.size()), screen.data()};
        smap_sphere_to_screen(&source, &kView, &target);
    });
    add_way("vela-overlay", overlay_onto_screen);
    add_way("libm", libm_onto_screen<double>);
    add_way("libm-float", libm_onto_screen<float>);
    ratios::bar(name, 3, {"libm"});
}

void add_onto_sphere() {
    const char *const name = "onto sphere/1024 points";
    const auto add_way = [&](const char *implementation, auto run) {
        add(name, implementation, 1024, run);
        measure("onto sphere", "1/1024 degree", name, implementation, run, sphere_distances);
    };
    add_way("vela", [](sphere_points &sphere, screen_points &screen) {
        const smap_screen_poly source = {static_cast<uint32_t>(screen.size()), screen.data()};
        smap_sphere_poly target = {static_cast<uint32_t>(sphere.size()), sphere.data()};
        smap_screen_to_sphere(&source, &kView, &target);
    });
    add_way("libm", [](sphere_points &sphere, screen_points &screen) { libm_onto_sphere<double>(screen, sphere); });
    add_way("libm-float",
            [](sphere_points &sphere, screen_points &screen) { libm_onto_sphere<float>(screen, sphere); });
    ratios::bar(name, 1, {"libm"});
}

const bool registered = [] {
    for (const size_t count : {size_t{4}, size_t{32}, size_t{1024}})
        add_onto_screen(count, count == 1024);
    add("onto screen/one by one", "vela", 1024, [](sphere_points &sphere, screen_points &screen) {
        for (size_t i = 0; i < sphere.size(); ++i)
            smap_sphere_pt_to_screen_pt(&sphere[i], &kView, &screen[i]);
    });
    add("onto screen/one by one", "libm", 1024, libm_onto_screen<double>);
    add_onto_sphere();
    return true;
}();

} // namespace

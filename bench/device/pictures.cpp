// Colours, and the sphere map.
#include "device.hpp"
#include <vector>
#include <vela/colour.h>
#include <vela/spheremap.h>

namespace {

constexpr smap_view kView = {640, 480, 102400, 10240, 61440};
constexpr size_t kPoints = 1024;

struct points {
    std::vector<smap_sphere_pt> sphere = std::vector<smap_sphere_pt>(kPoints);
    std::vector<smap_screen_pt> screen = std::vector<smap_screen_pt>(kPoints);

    // Directions in and around the view, and positions on the screen.
    points() {
        uint32_t state = 1;
        const auto within = [&state](int32_t range) {
            state = state * 1664525 + 1013904223;
            return static_cast<int32_t>(state >> 8) % (2 * range) - range;
        };
        for (size_t i = 0; i < kPoints; ++i) {
            sphere[i] = {kView.pan + within(100000), kView.tilt + within(60000)};
            screen[i] = {320 + within(320), 240 + within(240)};
        }
    }
};

const device::cases registered([] {
    constexpr uint32_t kWidth = 640, kHeight = 8, kPixels = kWidth * kHeight;
    struct conversion {
        const char *name;
        decltype(&srgb_to_yccfull) convert;
    };
    for (const conversion &c : {
             conversion{"srgb_to_yccfull", srgb_to_yccfull},
             conversion{"yccfull_to_srgb", yccfull_to_srgb},
             conversion{"srgb_to_yccbt601", srgb_to_yccbt601},
             conversion{"yccbt601_to_srgb", yccbt601_to_srgb},
             conversion{"srgb_to_yccbt709", srgb_to_yccbt709},
             conversion{"yccbt709_to_srgb", yccbt709_to_srgb},
         })
        device::add(c.name, "pixel", kPixels, [convert = c.convert] {
            return [convert, from = std::vector<uint8_t>(3 * kPixels, 99),
                    to = std::vector<uint8_t>(3 * kPixels)]() mutable { convert(from.data(), to.data(), kPixels); };
        });
    device::add("cyc422_to_srgb", "pixel", kPixels, [] {
        return [from = std::vector<uint8_t>(2 * kPixels, 99), to = std::vector<uint8_t>(3 * kPixels)]() mutable {
            cyc422_to_srgb(from.data(), kWidth, kHeight, 2 * kWidth, to.data());
        };
    });

    device::add("smap_sphere_to_screen", "point", kPoints, [] {
        return [at = points()]() mutable {
            const smap_sphere_poly from = {kPoints, at.sphere.data()};
            smap_screen_poly to = {kPoints, at.screen.data()};
            smap_sphere_to_screen(&from, &kView, &to);
        };
    });
    device::add("smap_sphere_pt_to_screen_pt", "point", kPoints, [] {
        return [at = points()]() mutable {
            for (size_t i = 0; i < kPoints; ++i)
                smap_sphere_pt_to_screen_pt(&at.sphere[i], &kView, &at.screen[i]);
        };
    });
    device::add("smap_screen_to_sphere", "point", kPoints, [] {
        return [at = points()]() mutable {
            const smap_screen_poly from = {kPoints, at.screen.data()};
            smap_sphere_poly to = {kPoints, at.sphere.data()};
            smap_screen_to_sphere(&from, &kView, &to);
        };
    });
});

} // namespace

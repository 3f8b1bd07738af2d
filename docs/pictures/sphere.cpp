// The error of the projections of <vela/spheremap.h>, by field of view. Prints the field of view in degrees, then in
// pixels: the worst and the mean error from sphere to screen, the worst and the mean error from screen to sphere. Fails
// if <vela/overlay.hpp> is off by a billionth of a pixel.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <random>
#include <vela/overlay.hpp>

namespace {

using std::numbers::pi;
struct point {
    double x, y;
};

constexpr int32_t kWidth = 1920, kHeight = 1080;

// The documented formula in double precision; angles in degrees.
point exact_place(double pan, double tilt, const smap_view &seen) {
    const double d = (pan - seen.pan / 1024.0) * pi / 180, t = tilt * pi / 180, v = seen.tilt / 1024.0 * pi / 180;
    const double scale = kWidth / (seen.fov / 1024.0 * pi / 180);
    return {kWidth / 2 + scale * std::asin(std::clamp(std::cos(t) * std::sin(d), -1.0, 1.0)),
            kHeight / 2 - scale * std::asin(std::clamp(
                                      std::sin(t) * std::cos(v) - std::cos(t) * std::cos(d) * std::sin(v), -1.0, 1.0))};
}

double distance(point a, point b) { return std::hypot(a.x - b.x, a.y - b.y); }

struct errors {
    double sum = 0, worst = 0;
    int count = 0;

    void add(double error) {
        sum += error;
        worst = std::max(worst, error);
        ++count;
    }
    double mean() const { return sum / count; }
};

// In pixels at one field of view.
struct accuracy {
    errors there;   // sphere to screen
    errors back;    // screen to sphere
    errors overlay; // sphere to screen by vela::overlay
};

// Positions on the screens of views all over the sphere.
accuracy measure(double degrees) {
    std::mt19937 random(1);
    const auto below = [&random](uint32_t limit) { return static_cast<int32_t>(random() % limit); };
    accuracy found;
    while (found.there.count < 100000) {
        const smap_view seen = {kWidth, kHeight, below(368640), below(184321) - 92160,
                                static_cast<int32_t>(std::lround(degrees * 1024))};
        const auto view = vela::overlay::view::make(seen);
        for (int i = 0; view && i < 20; ++i) {
            const smap_screen_pt at = {below(kWidth), below(kHeight)};
            if (!view->unproject({at.x * 1.0, at.y * 1.0}))
                continue; // beyond the rim
            smap_sphere_pt shown;
            smap_screen_pt again;
            smap_screen_pt_to_sphere_pt(&at, &seen, &shown);
            const point exact = exact_place(shown.pan / 1024.0, shown.tilt / 1024.0, seen);
            const auto place = view->project(vela::overlay::direction_of(shown));
            if (!place || !smap_sphere_pt_to_screen_pt(&shown, &seen, &again))
                continue; // behind the view by a rounding
            const point reached = {again.x * 1.0, again.y * 1.0}, asked = {at.x * 1.0, at.y * 1.0};
            found.there.add(distance(reached, exact));
            found.back.add(distance(asked, exact));
            found.overlay.add(distance({place->x, place->y}, exact));
        }
    }
    return found;
}

} // namespace

int main() {
    double overlay = 0;
    for (const double degrees : {1, 2, 3, 5, 7, 10, 15, 20, 30, 45, 60, 90, 120}) {
        const accuracy found = measure(degrees);
        std::printf("%g %g %g %g %g\n", degrees, found.there.worst, found.there.mean(), found.back.worst,
                    found.back.mean());
        overlay = std::max(overlay, found.overlay.worst);
    }
    return overlay < 1e-9 ? EXIT_SUCCESS : EXIT_FAILURE;
}

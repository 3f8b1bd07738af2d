// How exact the ways between sphere and screen of <vela/spheremap.h> and <vela/overlay.hpp> are, by field of view.
#include "svg.hpp"
#include <numbers>
#include <random>
#include <vela/overlay.hpp>

namespace {

using std::numbers::pi;
using svg::point;

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
    double degrees;
    errors there;   // to the screen by the tables
    errors back;    // from the screen
    errors overlay; // to the screen by vela::overlay

    double arc_seconds(double pixels) const { return pixels * degrees / kWidth * 3600; }
};

// Positions on the screens of views all over the sphere.
accuracy measure(double degrees) {
    std::mt19937 random(1);
    const auto below = [&random](uint32_t limit) { return static_cast<int32_t>(random() % limit); };
    accuracy found = {degrees, {}, {}, {}};
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

void draw(svg::picture &on, const svg::box &place, svg::axis upward, std::string_view title,
          const std::vector<accuracy> &all, bool as_angles) {
    const svg::axis across = {1, 120, {1, 2, 5, 10, 20, 30, 60, 120}, "horizontal field of view in degrees", true};
    svg::chart chart(on, place, across, std::move(upward), title);
    const auto curve = [&](const char *style, const auto &error) {
        std::vector<point> points;
        for (const accuracy &one : all)
            points.push_back({one.degrees, as_angles ? one.arc_seconds(error(one)) : error(one)});
        chart.curve(points, style);
    };
    curve("sb", [](const accuracy &one) { return one.there.worst; });
    curve("sb dash", [](const accuracy &one) { return one.there.mean(); });
    curve("sa", [](const accuracy &one) { return one.back.worst; });
    curve("sa dash", [](const accuracy &one) { return one.back.mean(); });
}

} // namespace

int main() {
    svg::picture picture(710, "How exact the sphere map is");
    std::vector<accuracy> all;
    double overlay = 0;
    for (const double degrees : {1, 2, 3, 5, 7, 10, 15, 20, 30, 45, 60, 90, 120}) {
        all.push_back(measure(degrees));
        overlay = std::max(overlay, all.back().overlay.worst);
    }
    draw(picture, {66, 75, 554, 240}, {0.01, 1000, {0.01, 0.1, 1, 10, 100, 1000}, "pixels, of 1920", true},
         "distance on the screen", all, false);
    draw(picture, {66, 405, 554, 170}, {1, 2000, {1, 10, 100, 1000}, "arc seconds", true}, "the same as an angle", all,
         true);
    svg::legend(picture, {66, 648}, {{"sb", "to the screen, worst"}, {"sa", "back from it, worst"}}, 280);
    svg::legend(picture, {66, 672}, {{"sb dash", "to the screen, mean"}, {"sa dash", "back from it, mean"}}, 280);
    if (overlay > 1e-9)
        return EXIT_FAILURE;
    picture.text({66, 698}, "vela::overlay::view, there: beneath, less than a billionth of a pixel");
    return picture.write();
}

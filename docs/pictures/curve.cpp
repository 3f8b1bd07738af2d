// Curves of <vela/interp.h> through the same knots: line segments, the natural spline, and the tables' own steps.
#include "svg.hpp"
#include <random>
#include <span>
#include <vela/cpp/curve.hpp>

namespace {

using svg::point;
using method = vela::curve::method;

std::vector<int16_t> table_of(method how, std::span<const interp_knot> knots) {
    const auto curve = vela::curve::make(how, knots);
    std::vector<int16_t> table(curve ? curve->size() : 0);
    if (!curve || !curve->fill(table))
        std::abort();
    return table;
}

std::vector<point> points_of(const std::vector<int16_t> &table) {
    std::vector<point> points;
    for (size_t x = 0; x < table.size(); ++x)
        points.push_back({static_cast<double>(x), static_cast<double>(table[x])});
    return points;
}

// Each entry as wide as one x.
std::vector<point> steps_of(const std::vector<int16_t> &table, size_t from, size_t to) {
    std::vector<point> points;
    for (size_t x = from; x <= to; ++x)
        for (const double side : {-0.5, 0.5})
            points.push_back({static_cast<double>(x) + side, static_cast<double>(table[x])});
    return points;
}

void draw(svg::picture &on, const svg::box &place, std::span<const interp_knot> knots, const char *title) {
    const svg::axis shades = {0, 255, {0, 64, 128, 192, 255}, "shade in"};
    svg::chart chart(on, place, shades, {-48, 304, {0, 64, 128, 192, 255}, "shade out"}, title);
    chart.curve(points_of(table_of(method::line, knots)), "sb");
    chart.curve(points_of(table_of(method::fixed_spline, knots)), "sa");
    for (const interp_knot &knot : knots)
        on.dot(chart.at({knot.x * 1.0, knot.y * 1.0}), 4.5, "fink");
}

// How far the spline in fixed point is from the one in single precision, for random shades at knots so far apart.
std::vector<point> worst_by_distance() {
    std::mt19937 random(1);
    std::vector<point> points;
    for (const int distance : {8, 12, 16, 24, 32, 48, 64, 96, 128, 192, 255}) {
        int worst = 0;
        for (int curve = 0; curve < 20000; ++curve) {
            std::vector<interp_knot> knots(3 + random() % 4);
            for (size_t i = 0; i < knots.size(); ++i)
                knots[i] = {static_cast<int16_t>(distance * static_cast<int>(i)), static_cast<int16_t>(random() % 256)};
            const auto fixed = table_of(method::fixed_spline, knots), exact = table_of(method::spline, knots);
            for (size_t x = 0; x < fixed.size(); ++x)
                worst = std::max(worst, std::abs(fixed[x] - exact[x]));
        }
        points.push_back({static_cast<double>(distance), static_cast<double>(worst)});
    }
    return points;
}

} // namespace

int main() {
    constexpr interp_knot even[] = {{0, 0}, {64, 24}, {128, 128}, {192, 232}, {255, 255}},
                          uneven[] = {{0, 0}, {104, 48}, {152, 208}, {255, 255}};
    svg::picture picture(960, "Tone curves through the same knots");
    draw(picture, {62, 80, 240, 240}, even, "even knots");
    draw(picture, {382, 80, 240, 240}, uneven, "uneven ones");
    svg::legend(picture, {62, 392}, {{"sa", "spline"}, {"sb", "line segments"}}, 150);
    picture.dot({375, 387}, 4.5, "fink");
    picture.text({388, 392}, "knots");

    const svg::axis shades = {51.5, 76.5, {52, 56, 60, 64, 68, 72, 76}, "shade in"};
    svg::chart steps(picture, {62, 460, 560, 200}, shades, {10, 50, {10, 20, 30, 40, 50}, "shade out"},
                     "entries of the tables around a knot");
    steps.curve(steps_of(table_of(method::line, even), 52, 76), "sb");
    steps.curve(steps_of(table_of(method::fixed_spline, even), 52, 76), "sa");
    picture.dot(steps.at({64, 24}), 4.5, "fink");

    svg::chart errors(picture, {62, 745, 560, 160}, {8, 256, {8, 16, 32, 64, 128, 256}, "distance of the knots", true},
                      {0, 50, {0, 10, 20, 30, 40, 50}, "shades"}, "the fixed-point spline, off at most");
    errors.curve(worst_by_distance(), "sa");
    return picture.write();
}

// How far the sines of <vela/fixedpoint.h> are from the exact ones.
#include "svg.hpp"
#include <numbers>
#include <vela/fixedpoint.h>

namespace {

using svg::point;

// The error in units of the last place, at an angle in Q10 degrees.
double table_error(int32_t angle) {
    return sinQ10inQ12out(angle) - 4096 * std::sin(angle / 1024.0 * std::numbers::pi / 180);
}

// The same of the parabola, at an angle in Q15 radians.
double parabola_error(int32_t angle) { return sin_q15(angle) - 32768 * std::sin(angle / 32768.0); }

// Of each stretch of angles, the least and the greatest error and the mean.
void draw_table(svg::chart &chart, int32_t stretch) {
    std::vector<point> least, greatest, mean;
    for (int32_t from = 0; from < 90 * 1024; from += stretch) {
        double low = 0, high = -1e9, sum = 0;
        for (int32_t angle = from; angle < from + stretch; ++angle) {
            const double error = table_error(angle);
            low = std::min(low, error);
            high = std::max(high, error);
            sum += error;
        }
        const double middle = (from + stretch / 2.0) / 1024;
        least.push_back({middle, low});
        greatest.push_back({middle, high});
        mean.push_back({middle, sum / stretch});
    }
    chart.band(least, greatest, "fa pale");
    chart.curve(mean, "sa");
}

void draw_steps(svg::chart &chart, int32_t from, int32_t to) {
    std::vector<point> errors;
    for (int32_t angle = from; angle <= to; angle += 4)
        errors.push_back({angle / 1024.0, table_error(angle)});
    chart.curve(errors, "sa");
}

void draw_parabola(svg::chart &chart) {
    std::vector<point> errors;
    for (double degrees = 0; degrees <= 90; degrees += 0.25)
        errors.push_back({degrees, parabola_error(static_cast<int32_t>(degrees * 32768 * std::numbers::pi / 180))});
    chart.curve(errors, "sb");
}

} // namespace

int main() {
    svg::picture picture(770, "Errors of the sines, in units of the last place");
    const svg::axis quarter = {0, 90, {0, 15, 30, 45, 60, 75, 90}, "angle in degrees"};
    const svg::axis units = {-6, 1, {-6, -4, -2, 0}, "units of 1/4096"};
    svg::chart whole(picture, {60, 75, 560, 170}, quarter, units, "sinQ10inQ12out()");
    draw_table(whole, 512);
    svg::legend(picture, {60, 312}, {{"sa bold pale", "from least to greatest"}, {"sa", "mean of half a degree"}}, 260);
    svg::chart steps(picture, {60, 365, 560, 120}, {10, 11, {10, 10.25, 10.5, 10.75, 11}, "angle in degrees"}, units,
                     "one degree of it: sixteen steps");
    draw_steps(steps, 10 * 1024, 11 * 1024);
    svg::chart parabola(picture, {60, 575, 560, 140}, quarter, {-40, 40, {-40, -20, 0, 20, 40}, "units of 1/32768"},
                        "sin_q15()");
    draw_parabola(parabola);
    return picture.write();
}

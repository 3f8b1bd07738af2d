// Measurements in a picture, and the surface or the line fitted to them.
//
//   GET /api/fit/exposure  a view, samples: luma, and the surface of second degree
//   GET /api/fit/lens      a view, samples: angles from the centre, and the line
#include "../device/eye.hpp"
#include <algorithm>
#include <cmath>
#include <vela/colour.h>
#include <vela/cpp/matrix.hpp>

namespace {

using web::exchange;
using web::refusal;

constexpr double kRadian = 57.29577951308232;

struct samples {
    std::vector<float> x, y, value;
};

samples read_samples(const exchange &http, const view_request &what, size_t least) {
    samples read;
    for (const auto &[x, y] : http.pairs("samples", {least, 64}, {0, what.width - 1.0}, {0, what.height - 1.0})) {
        read.x.push_back(static_cast<float>(x));
        read.y.push_back(static_cast<float>(y));
    }
    return read;
}

// The mean of 5 x 5 pixels, where they are in the picture.
float luma_around(const picture::frame &seen, float x, float y) {
    const auto column = static_cast<int32_t>(std::lround(x)), row = static_cast<int32_t>(std::lround(y));
    int32_t sum = 0, count = 0;
    for (int32_t j = std::max(row - 2, 0); j <= std::min(row + 2, seen.height - 1); ++j)
        for (int32_t i = std::max(column - 2, 0); i <= std::min(column + 2, seen.width - 1); ++i, ++count) {
            uint8_t ycc[3];
            const size_t at = 3 * (static_cast<size_t>(j) * static_cast<size_t>(seen.width) + static_cast<size_t>(i));
            srgb_to_yccfull(&seen.pixels[at], ycc, 1);
            sum += ycc[0];
        }
    return static_cast<float>(sum) / static_cast<float>(std::max(count, 1));
}

// Samples, with the fitted values.
template <class Fitted>
web::json::object compare(const samples &read, Fitted &&fitted) {
    web::json::array list;
    double squares = 0;
    for (size_t i = 0; i < read.value.size(); ++i) {
        const double value = double{read.value[i]}, there = fitted(read.x[i], read.y[i]);
        squares += (value - there) * (value - there);
        list.raw(web::json::object()
                     .add("x", double{read.x[i]})
                     .add("y", double{read.y[i]})
                     .add("value", value, 6)
                     .add("fitted", there, 6)
                     .add("residual", value - there, 6)
                     .text());
    }
    return web::json::object()
        .raw("samples", list.text())
        .add("rms", std::sqrt(squares / static_cast<double>(read.value.size())), 6);
}

web::json::array numbers(std::initializer_list<double> values) {
    web::json::array list;
    for (const double value : values)
        list.raw(web::json::number(value, 9));
    return list;
}

void fit_exposure(exchange &http) {
    const view_request what = read_view(http);
    samples read = read_samples(http, what, 6);
    eye sensor;
    const picture::frame &seen = sensor.look(what, state::now(), eye::marks::none);
    for (size_t i = 0; i < read.x.size(); ++i)
        read.value.push_back(luma_around(seen, read.x[i], read.y[i]));
    const auto surface = vela::fit_surface(read.x, read.y, read.value);
    if (!surface)
        throw refusal{409, "these samples determine no surface: spread them out"};
    web::json::array grid;
    for (int row = 0; row < 5; ++row) {
        web::json::array line;
        for (int column = 0; column < 9; ++column)
            line.raw(web::json::number(
                double{(*surface)((what.width - 1) * column / 8.0, (what.height - 1) * row / 4.0)}, 2));
        grid.raw(line.text());
    }
    // Of coordinates scaled to -1..1 over the samples: 1, v, u, vv, uv, uu.
    const auto c = surface->coefficients();
    http.json(
        compare(read, [&](float x, float y) { return double{(*surface)(double{x}, double{y})}; })
            .raw("grid", grid.text())
            .raw("coefficients",
                 numbers({double{c[5]}, double{c[4]}, double{c[3]}, double{c[2]}, double{c[1]}, double{c[0]}}).text())
            .text());
}

void fit_lens(exchange &http) {
    const view_request what = read_view(http);
    samples read = read_samples(http, what, 3);
    const smap_view view = view_of(what, state::uptime());
    for (size_t i = 0; i < read.x.size(); ++i) {
        const smap_screen_pt pixel = {static_cast<int32_t>(std::lround(read.x[i])),
                                      static_cast<int32_t>(std::lround(read.y[i]))};
        read.x[i] = static_cast<float>(pixel.x);
        read.y[i] = static_cast<float>(pixel.y);
        smap_sphere_pt seen;
        smap_screen_pt_to_sphere_pt(&pixel, &view, &seen);
        // The angle from the vertical plane through the view's centre.
        const double aside =
            std::cos(seen.tilt / 1024.0 / kRadian) * std::sin((seen.pan - view.pan) / 1024.0 / kRadian);
        read.value.push_back(static_cast<float>(std::asin(std::clamp(aside, -1.0, 1.0)) * kRadian));
    }
    const auto line = vela::fit_polynomial(read.x, read.value, 1);
    if (!line)
        throw refusal{409, "these samples determine no line: use several columns"};
    const double offset = (*line)(0), slope = ((*line)(what.width) - offset) / what.width;
    http.json(compare(read, [&](float x, float) { return (*line)(double{x}); })
                  .raw("coefficients", numbers({offset, slope}).text())
                  .add("expected", view.fov / 1024.0 / what.width, 9)
                  .text());
}

} // namespace

int main() { return web::run({{"GET", "/exposure", fit_exposure}, {"GET", "/lens", fit_lens}}); }

// What each kernel of <vela/resample.h> makes of a sweep from 0 to 12 kHz on the way from 44.1 to 8 kHz.
#include "kernels.hpp"
#include "png.hpp"
#include "svg.hpp"
#include <complex>

namespace {

constexpr uint32_t kColumns = 248, kRows = 100, kShades = 16;
constexpr double kStep = 5;     // dB between shades
constexpr size_t kWindow = 200; // samples: bins of 40 Hz
using levels = std::vector<double>;

// The strength of each frequency from 0 to 4 kHz, upward, around a sample.
levels spectrum(const std::vector<int16_t> &sound, double middle) {
    static const std::vector<std::complex<double>> turns = [] {
        std::vector<std::complex<double>> made(kWindow);
        for (size_t i = 0; i < kWindow; ++i)
            made[i] = std::polar(1.0, -2 * std::numbers::pi * static_cast<double>(i) / kWindow);
        return made;
    }();
    levels result(kRows);
    for (size_t row = 0; row < kRows; ++row) {
        std::complex<double> sum = 0;
        for (size_t i = 0; i < kWindow; ++i) {
            const double at = middle + static_cast<double>(i) - kWindow / 2.0;
            const double value = at >= 0 && at < static_cast<double>(sound.size()) ? sound[static_cast<size_t>(at)] : 0;
            sum += value * (0.5 - 0.5 * turns[i].real()) * turns[i * row % kWindow];
        }
        result[row] = std::norm(sum);
    }
    return result;
}

// Columns of levels.
std::vector<levels> spectrogram(const kernel &one) {
    vela::resampler converter = make_resampler(one);
    std::vector<int16_t> out;
    converter.push(sweep(0, 12000, 3), out);
    converter.flush(out);
    std::vector<levels> columns;
    for (uint32_t column = 0; column < kColumns; ++column)
        columns.push_back(spectrum(out, converter.latency() + (column + 0.5) * 3 * kOutRate / kColumns));
    return columns;
}

// From near black by blue and red to light yellow.
std::vector<png::colour> palette() {
    constexpr double stops[][3] = {{10, 12, 24}, {38, 48, 130}, {150, 44, 130}, {232, 92, 60}, {255, 236, 150}};
    std::vector<png::colour> shades;
    for (uint32_t i = 0; i < kShades; ++i) {
        const double place = i * 4.0 / (kShades - 1);
        const auto stop = std::min<size_t>(3, static_cast<size_t>(place));
        const double part = place - static_cast<double>(stop);
        png::colour shade;
        for (size_t c = 0; c < 3; ++c)
            shade[c] = static_cast<uint8_t>(std::lround(stops[stop][c] + part * (stops[stop + 1][c] - stops[stop][c])));
        shades.push_back(shade);
    }
    return shades;
}

void draw_image(svg::picture &on, const svg::box &place, uint32_t columns, const png::bytes &pixels) {
    on.add("<image x=\"" + svg::number(place.left) + "\" y=\"" + svg::number(place.top) + "\" width=\"" +
           svg::number(place.width) + "\" height=\"" + svg::number(place.height) +
           "\" preserveAspectRatio=\"none\" href=\"" + png::data_uri(columns, pixels, palette()) + "\"/>\n");
}

void draw(svg::picture &on, const svg::box &place, const std::vector<levels> &columns, double loudest) {
    png::bytes pixels(size_t{kColumns} * kRows);
    for (size_t x = 0; x < kColumns; ++x)
        for (size_t y = 0; y < kRows; ++y) {
            const double below = -10 * std::log10(std::max(columns[x][kRows - 1 - y], 1e-9) / loudest);
            pixels[y * kColumns + x] =
                static_cast<uint8_t>(kShades - 1 - std::clamp(below / kStep, 0.0, kShades - 1.0));
        }
    draw_image(on, place, kColumns, pixels);
}

// What shade means what.
void draw_scale(svg::picture &on, const svg::box &place) {
    png::bytes shades(kShades * size_t{16});
    for (size_t i = 0; i < shades.size(); ++i)
        shades[i] = static_cast<uint8_t>(i / 16);
    draw_image(on, place, static_cast<uint32_t>(shades.size()), shades);
    on.text({place.left - 8, place.top + 13}, "-75 or less", "end fsoft");
    on.text({place.left + place.width + 8, place.top + 13}, "0 dB", "fsoft");
}

} // namespace

int main() {
    svg::picture picture(740, "A sweep from 0 to 12 kHz, converted to 8 kHz");
    picture.text({svg::kWidth / 2, 50}, "upward: frequency of what comes out, in kHz", "mid fsoft");
    std::vector<std::vector<levels>> drawn;
    double loudest = 0;
    for (const kernel &one : kKernels)
        drawn.push_back(spectrogram(one));
    for (const std::vector<levels> &columns : drawn)
        for (const levels &column : columns)
            loudest = std::max(loudest, *std::max_element(column.begin(), column.end()));
    for (size_t k = 0; k < drawn.size(); ++k) {
        const svg::box place = {32 + static_cast<double>(k % 2) * 318, 90 + static_cast<double>(k / 2) * 200, 280, 140};
        const svg::chart frame(picture, place, {0, 12, {0, 4, 8, 12}, k < 4 ? "" : "frequency of the sweep in kHz"},
                               {0, 4, {0, 2, 4}, ""}, kKernels[k].name);
        draw(picture, place, drawn[k], loudest);
    }
    draw_scale(picture, {220, 712, 240, 14});
    return picture.write();
}

// What the kernels of <vela/resample.h> let through on the way from 44.1 to 8 kHz, tone by tone.
#include "kernels.hpp"
#include "svg.hpp"

namespace {

// How strong a tone comes out, whatever its frequency then is, in dB.
double gain(const kernel &one, double frequency) {
    vela::resampler converter = make_resampler(one);
    std::vector<int16_t> out;
    converter.push(sweep(frequency, frequency, 0.5), out);
    const size_t begin = 400; // behind the longest kernel
    double squares = 0;
    for (size_t i = begin; i < out.size(); ++i)
        squares += static_cast<double>(out[i]) * out[i];
    const double mean = squares / static_cast<double>(out.size() - begin);
    return 10 * std::log10(std::max(mean, 1e-6) / (kLoudest * kLoudest / 2));
}

} // namespace

int main() {
    constexpr const char *styles[] = {"sf", "se", "sb", "sc", "sd", "sa"};
    svg::picture picture(500, "What passes on the way from 44.1 to 8 kHz");
    svg::chart chart(picture, {60, 75, 560, 300},
                     {0, 10, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, "frequency of a tone in kHz"},
                     {-90, 6, {-80, -60, -40, -20, -6, 0}, "dB"}, "above 4 kHz it comes back as another tone");
    picture.line({{chart.x(4), 75}, {chart.x(4), 375}}, "line ssoft");
    for (size_t k = 0; k < std::size(kKernels); ++k) {
        std::vector<svg::point> curve;
        for (double hertz = 15.625; hertz < 10000; hertz += 31.25) // none comes back close to 0 Hz or to 4 kHz
            curve.push_back({hertz / 1000, gain(kKernels[k], hertz)});
        chart.curve(curve, styles[k]);
        const auto place = static_cast<double>(k % 3 * 190), row = static_cast<double>(k / 3 * 26);
        svg::legend(picture, {60 + place, 448 + row}, {{styles[k], kKernels[k].name}}, 0);
    }
    return picture.write();
}

// Pictures between RGB and YCbCr, and 4:2:2 pictures to RGB, against OpenCV and libyuv, and the error of each
// against the published formulas in double, as a peak signal-to-noise ratio.
#include "ratios.hpp"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>
#include <vela/colour.h>
#ifdef HAVE_OPENCV_IMGPROC
#include <opencv2/imgproc.hpp>
#endif
#ifdef HAVE_YUV
#include <libyuv.h>
#endif

namespace {

constexpr int kWidth = 1920, kHeight = 1080;
constexpr uint32_t kPixels = kWidth * kHeight;

using picture = std::vector<uint8_t>;

// Noise over soft shades, so that no path is favoured by its data.
picture make_picture(size_t bytes) {
    picture result(bytes);
    uint32_t state = 1;
    for (size_t i = 0; i < bytes; ++i) {
        state = state * 1664525 + 1013904223;
        result[i] = static_cast<uint8_t>((i >> 6) + (state >> 27));
    }
    return result;
}

const picture kSource = make_picture(size_t{3} * kPixels);

using conversion = std::function<void(const uint8_t *from, uint8_t *to)>;

// What a conversion gives for a pixel of RGB or of YCbCr, not yet rounded but limited to 0 to 255.
using exact_pixel = std::array<double, 3>;

exact_pixel limited(exact_pixel pixel) {
    for (double &value : pixel)
        value = std::clamp(value, 0.0, 255.0);
    return pixel;
}

// Luma weights of red and blue, and the ranges of luma and chroma.
struct standard {
    double red, blue, offset, luma, chroma;

    [[nodiscard]] exact_pixel encoded(const uint8_t *rgb) const {
        const double y = red * rgb[0] + (1 - red - blue) * rgb[1] + blue * rgb[2];
        return limited({offset + y * luma / 255, 128 + (rgb[2] - y) / (1 - blue) / 2 * chroma / 255,
                        128 + (rgb[0] - y) / (1 - red) / 2 * chroma / 255});
    }
    [[nodiscard]] exact_pixel decoded(double y_code, double cb_code, double cr_code) const {
        const double y = (y_code - offset) * 255 / luma, cb = (cb_code - 128) * 2 * (1 - blue) * 255 / chroma,
                     cr = (cr_code - 128) * 2 * (1 - red) * 255 / chroma;
        return limited({y + cr, y - (red * cr + blue * cb) / (1 - red - blue), y + cb});
    }
};

constexpr standard kFull = {0.299, 0.114, 0, 255, 255}, kBt601 = {0.299, 0.114, 16, 219, 224},
                   kBt709 = {0.2126, 0.0722, 16, 219, 224};

// Where an implementation puts the three values of a pixel.
struct layout {
    unsigned bytes_per_pixel;
    std::array<unsigned, 3> at;
};
constexpr layout kInOrder = {3, {0, 1, 2}};

void add(const std::string &name, const char *implementation, conversion run) {
    static picture result(size_t{4} * kPixels);
    ratios::add(name, implementation, kPixels, [=] { run(kSource.data(), result.data()); });
}

// Measures against exact(i), of pixel i.
template <class Exact>
void measure(const std::string &name, const char *implementation, layout layout, conversion run, Exact exact) {
    ratios::add({name, "PSNR, dB", implementation, [=] {
                     picture result(size_t{layout.bytes_per_pixel} * kPixels);
                     run(kSource.data(), result.data());
                     double squares = 0;
                     for (size_t i = 0; i < kPixels; ++i) {
                         const exact_pixel ideal = exact(i);
                         for (size_t j = 0; j < 3; ++j)
                             squares += std::pow(result[layout.bytes_per_pixel * i + layout.at[j]] - ideal[j], 2);
                     }
                     return 10 * std::log10(255.0 * 255.0 * 3 * kPixels / squares);
                 }});
}

void copy(const uint8_t *from, uint8_t *to) { std::memcpy(to, from, size_t{3} * kPixels); }

#ifdef HAVE_OPENCV_IMGPROC
// OpenCV has the full range only, with Cr before Cb. By default it uses all processors.
template <int code, int threads>
void opencv(const uint8_t *from, uint8_t *to) {
    cv::setNumThreads(threads);
    const cv::Mat source(kHeight, kWidth, CV_8UC3, const_cast<uint8_t *>(from));
    cv::Mat result(kHeight, kWidth, CV_8UC3, to);
    cv::cvtColor(source, result, code);
}

// In single precision it is more accurate. There the centre of chroma is 0.5, half of 256.
template <int code>
void opencv_float(const uint8_t *from, uint8_t *to) {
    cv::setNumThreads(1);
    static cv::Mat wide;
    cv::Mat(kHeight, kWidth, CV_8UC3, const_cast<uint8_t *>(from)).convertTo(wide, CV_32F, 1.0 / 256);
    cv::cvtColor(wide, wide, code);
    cv::Mat result(kHeight, kWidth, CV_8UC3, to);
    wide.convertTo(result, CV_8U, 256);
}

// The accuracy of a decoder is measured on pixels with Cr and Cb swapped.
conversion of_swapped(conversion run) {
    return [=](const uint8_t *from, uint8_t *to) {
        picture swapped(from, from + size_t{3} * kPixels);
        for (size_t i = 0; i < swapped.size(); i += 3)
            std::swap(swapped[i + 1], swapped[i + 2]);
        run(swapped.data(), to);
    };
}
#endif

void add_conversion(const char *name, decltype(&srgb_to_yccfull) convert, bool encodes, standard formula) {
    const auto exact = [=](size_t i) {
        const uint8_t *pixel = kSource.data() + 3 * i;
        return encodes ? formula.encoded(pixel) : formula.decoded(pixel[0], pixel[1], pixel[2]);
    };
    const conversion ours = [=](const uint8_t *from, uint8_t *to) { convert(from, to, kPixels); };
    add(name, "vela", ours);
    add(name, "memcpy", copy);
    measure(name, "vela", kInOrder, ours, exact);
#ifdef HAVE_OPENCV_IMGPROC
    const conversion integers = encodes ? opencv<cv::COLOR_RGB2YCrCb, 1> : opencv<cv::COLOR_YCrCb2RGB, 1>;
    const conversion floats = encodes ? opencv_float<cv::COLOR_RGB2YCrCb> : opencv_float<cv::COLOR_YCrCb2RGB>;
    add(name, "opencv", integers);
    add(name, "opencv-all-cores", encodes ? opencv<cv::COLOR_RGB2YCrCb, -1> : opencv<cv::COLOR_YCrCb2RGB, -1>);
    add(name, "opencv-float", floats);
    ratios::target(name, 2, {"opencv"});
    if (convert == srgb_to_yccfull || convert == yccfull_to_srgb)
        for (const auto &[implementation, run] : {std::pair{"opencv", integers}, {"opencv-float", floats}})
            measure(name, implementation, encodes ? layout{3, {0, 2, 1}} : kInOrder, encodes ? run : of_swapped(run),
                    exact);
#endif
}

const bool registered = [] {
    add_conversion("srgb_to_yccfull", srgb_to_yccfull, true, kFull);
    add_conversion("yccfull_to_srgb", yccfull_to_srgb, false, kFull);
    add_conversion("srgb_to_yccbt601", srgb_to_yccbt601, true, kBt601);
    add_conversion("yccbt601_to_srgb", yccbt601_to_srgb, false, kBt601);
    add_conversion("srgb_to_yccbt709", srgb_to_yccbt709, true, kBt709);
    add_conversion("yccbt709_to_srgb", yccbt709_to_srgb, false, kBt709);

    // Both pixels of a pair have its chroma.
    const auto unpacked_by = [](standard formula) {
        return [=](size_t i) {
            const uint8_t *pair = kSource.data() + i / 2 * 4;
            return formula.decoded(pair[1 + i % 2 * 2], pair[0], pair[2]);
        };
    };
    const char *const unpacking = "cyc422_to_srgb";
    const conversion ours = [](const uint8_t *from, uint8_t *to) {
        cyc422_to_srgb(from, kWidth, kHeight, 2 * kWidth, to);
    };
    add(unpacking, "vela", ours);
    add(unpacking, "memcpy", copy);
    measure(unpacking, "vela", kInOrder, ours, unpacked_by(kFull));
#ifdef HAVE_YUV
    const conversion theirs = [](const uint8_t *from, uint8_t *to) {
        libyuv::UYVYToARGB(from, 2 * kWidth, to, 4 * kWidth, kWidth, kHeight);
    };
    add(unpacking, "libyuv", theirs);
    measure(unpacking, "libyuv", {4, {2, 1, 0}}, theirs, unpacked_by(kBt601));
    ratios::target(unpacking, 1, {"libyuv"});
#endif
    ratios::lower_bound("memcpy");
    ratios::note(
        "memcpy copies three bytes per pixel. OpenCV has the full range only. libyuv writes four bytes per pixel "
        "and uses BT.601, against which it is measured.");
    return true;
}();

} // namespace

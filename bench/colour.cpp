#include "ratios.hpp"
#include <cstdio>
#include <cstring>
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

// Registers what turns kSource into a picture of `bytes_per_pixel`.
template <class Run>
void add(const std::string &case_name, const std::string &implementation, unsigned bytes_per_pixel, Run run) {
    ratios::add(case_name, implementation, [=](benchmark::State &state) {
        picture result(size_t{bytes_per_pixel} * kPixels);
        for (auto _ : state) {
            run(kSource.data(), result.data());
            benchmark::ClobberMemory();
        }
        state.SetItemsProcessed(state.iterations() * kPixels);
    });
}

void copy(const uint8_t *from, uint8_t *to) { std::memcpy(to, from, size_t{3} * kPixels); }

#ifdef HAVE_OPENCV_IMGPROC
// OpenCV has the full range only; it stands beside each of the variants. By default it works on all processors.
template <int code, int threads>
void opencv(const uint8_t *from, uint8_t *to) {
    cv::setNumThreads(threads);
    const cv::Mat source(kHeight, kWidth, CV_8UC3, const_cast<uint8_t *>(from));
    cv::Mat result(kHeight, kWidth, CV_8UC3, to);
    cv::cvtColor(source, result, code);
}
#endif

void add_conversion(const char *name, decltype(&srgb_to_yccfull) convert, bool encodes) {
    add(name, "vela", 3, [=](const uint8_t *from, uint8_t *to) { convert(from, to, kPixels); });
    add(name, "memcpy", 3, copy);
#ifdef HAVE_OPENCV_IMGPROC
    add(name, "opencv", 3, encodes ? opencv<cv::COLOR_RGB2YCrCb, 1> : opencv<cv::COLOR_YCrCb2RGB, 1>);
    add(name, "opencv_default", 3, encodes ? opencv<cv::COLOR_RGB2YCrCb, -1> : opencv<cv::COLOR_YCrCb2RGB, -1>);
    ratios::bar(name, 2, {"opencv"});
#endif
}

const bool registered = [] {
    add_conversion("srgb_to_yccfull", srgb_to_yccfull, true);
    add_conversion("yccfull_to_srgb", yccfull_to_srgb, false);
    add_conversion("srgb_to_yccbt601", srgb_to_yccbt601, true);
    add_conversion("yccbt601_to_srgb", yccbt601_to_srgb, false);
    add_conversion("srgb_to_yccbt709", srgb_to_yccbt709, true);
    add_conversion("yccbt709_to_srgb", yccbt709_to_srgb, false);

    const char *const unpacking = "cyc422_to_srgb";
    add(unpacking, "vela", 3,
        [](const uint8_t *from, uint8_t *to) { cyc422_to_srgb(from, kWidth, kHeight, 2 * kWidth, to); });
    add(unpacking, "memcpy", 3, copy);
#ifdef HAVE_YUV
    add(unpacking, "libyuv", 4, [](const uint8_t *from, uint8_t *to) {
        libyuv::UYVYToARGB(from, 2 * kWidth, to, 4 * kWidth, kWidth, kHeight);
    });
    ratios::bar(unpacking, 1, {"libyuv"});
#endif
    ratios::note("memcpy, the floor, copies three bytes a pixel; opencv works on one thread, opencv_default on all; "
                 "libyuv's UYVYToARGB writes four bytes a pixel");
    return true;
}();

} // namespace

// Pictures of 1920 x 1080 between formats, against libyuv, which rounds weights to 6 bits and has full range under
// other names.
#include "ratios.hpp"
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vela/cpp/picture.hpp>
#ifdef HAVE_YUV
#include <libyuv.h>
#endif

namespace {

constexpr int kWidth = 1920, kHeight = 1080;
constexpr size_t kPixels = size_t{kWidth} * kHeight;

// A picture with its memory, which copies share, of noise over soft shades.
struct frame {
    explicit frame(int format) : record{kWidth, kHeight, format, VELA_BT601_STUDIO, {}} {
        const size_t size = vela_picture_lay_out(&record, nullptr, 0);
        bytes = std::make_shared<uint8_t[]>(size);
        uint32_t state = 1;
        for (size_t i = 0; i < size; ++i) {
            state = state * 1664525 + 1013904223;
            bytes[i] = static_cast<uint8_t>((i >> 6) + (state >> 27));
        }
        vela_picture_lay_out(&record, bytes.get(), size);
    }
    [[nodiscard]] uint8_t *at(size_t plane) const { return record.planes[plane].data; }
    [[nodiscard]] int stride(size_t plane) const { return static_cast<int>(record.planes[plane].stride); }

    vela_picture record;
    std::shared_ptr<uint8_t[]> bytes;
};

using conversion = std::function<void(const frame &from, const frame &to)>;

void add_pair(const char *name, int from_format, int to_format, conversion libyuv_conversion) {
    ratios::add(name, "vela", kPixels, [from = frame(from_format), to = frame(to_format)] {
        return vela_picture_convert(&from.record, &to.record) == 0;
    });
    if (!libyuv_conversion)
        return;
    ratios::add(name, "libyuv", kPixels,
                [from = frame(from_format), to = frame(to_format), libyuv_conversion] { libyuv_conversion(from, to); });
    ratios::target(name, 1 / 1.1, {"libyuv"});
}

#ifdef HAVE_YUV
// A function of libyuv, with the planes and strides of both pictures as it takes them.
template <auto function, size_t... from_planes, size_t... to_planes>
conversion by_planes(std::index_sequence<from_planes...>, std::index_sequence<to_planes...>) {
    return [](const frame &from, const frame &to) {
        std::apply([](auto... arguments) { function(arguments..., kWidth, kHeight); },
                   std::tuple_cat(std::tuple<const uint8_t *, int>(from.at(from_planes), from.stride(from_planes))...,
                                  std::tuple<uint8_t *, int>(to.at(to_planes), to.stride(to_planes))...));
    };
}
template <auto function, size_t from_planes, size_t to_planes>
conversion libyuv_by() {
    return by_planes<function>(std::make_index_sequence<from_planes>(), std::make_index_sequence<to_planes>());
}
#define LIBYUV(function, from_planes, to_planes) libyuv_by<libyuv::function, from_planes, to_planes>()
#else
#define LIBYUV(function, from_planes, to_planes) conversion()
#endif

const bool registered = [] {
    // libyuv's RAW is R, G, B, its RGB24 the reverse; its ABGR is R, G, B, alpha.
    add_pair("NV12 to RGB24", VELA_NV12, VELA_RGB24, LIBYUV(NV12ToRAW, 2, 1));
    add_pair("NV12 to BGR24", VELA_NV12, VELA_BGR24, LIBYUV(NV12ToRGB24, 2, 1));
    add_pair("NV21 to RGB24", VELA_NV21, VELA_RGB24, LIBYUV(NV21ToRAW, 2, 1));
    add_pair("NV12 to RGBA", VELA_NV12, VELA_RGBA, LIBYUV(NV12ToABGR, 2, 1));
    add_pair("NV21 to RGBA", VELA_NV21, VELA_RGBA, LIBYUV(NV21ToABGR, 2, 1));
    add_pair("I420 to RGB24", VELA_I420, VELA_RGB24, LIBYUV(I420ToRAW, 3, 1));
    add_pair("I422 to RGB24", VELA_I422, VELA_RGB24, LIBYUV(I422ToRAW, 3, 1));
    add_pair("I444 to RGB24", VELA_I444, VELA_RGB24, LIBYUV(I444ToRAW, 3, 1));
    add_pair("I420 to RGBA", VELA_I420, VELA_RGBA, LIBYUV(I420ToABGR, 3, 1));
    add_pair("I422 to RGBA", VELA_I422, VELA_RGBA, LIBYUV(I422ToABGR, 3, 1));
    add_pair("I444 to RGBA", VELA_I444, VELA_RGBA, LIBYUV(I444ToABGR, 3, 1));
    add_pair("RGB24 to I420", VELA_RGB24, VELA_I420, LIBYUV(RAWToI420, 1, 3));
    add_pair("BGR24 to I420", VELA_BGR24, VELA_I420, LIBYUV(RGB24ToI420, 1, 3));
    add_pair("RGBA to I420", VELA_RGBA, VELA_I420, LIBYUV(ABGRToI420, 1, 3));
    add_pair("RGBA to NV12", VELA_RGBA, VELA_NV12, LIBYUV(ABGRToNV12, 1, 2));
    add_pair("RGBA to NV21", VELA_RGBA, VELA_NV21, LIBYUV(ABGRToNV21, 1, 2));
    add_pair("RGB24 to BGR24", VELA_RGB24, VELA_BGR24, LIBYUV(RAWToRGB24, 1, 1));
    add_pair("YUYV to NV12", VELA_YUYV, VELA_NV12, LIBYUV(YUY2ToNV12, 1, 2));
    add_pair("YUYV to I420", VELA_YUYV, VELA_I420, LIBYUV(YUY2ToI420, 1, 3));
    add_pair("YUYV to I422", VELA_YUYV, VELA_I422, LIBYUV(YUY2ToI422, 1, 3));
    add_pair("UYVY to NV12", VELA_UYVY, VELA_NV12, LIBYUV(UYVYToNV12, 1, 2));
    add_pair("UYVY to I420", VELA_UYVY, VELA_I420, LIBYUV(UYVYToI420, 1, 3));
    add_pair("UYVY to I422", VELA_UYVY, VELA_I422, LIBYUV(UYVYToI422, 1, 3));
    add_pair("NV12 to I420", VELA_NV12, VELA_I420, LIBYUV(NV12ToI420, 2, 3));
    add_pair("NV21 to I420", VELA_NV21, VELA_I420, LIBYUV(NV21ToI420, 2, 3));
    add_pair("NV21 to NV12", VELA_NV21, VELA_NV12, LIBYUV(NV21ToNV12, 2, 2));
    add_pair("I420 to NV12", VELA_I420, VELA_NV12, LIBYUV(I420ToNV12, 3, 2));
    add_pair("I420 to NV21", VELA_I420, VELA_NV21, LIBYUV(I420ToNV21, 3, 2));
    add_pair("I422 to NV21", VELA_I422, VELA_NV21, LIBYUV(I422ToNV21, 3, 2));
    add_pair("I444 to NV12", VELA_I444, VELA_NV12, LIBYUV(I444ToNV12, 3, 2));
    add_pair("I420 to UYVY", VELA_I420, VELA_UYVY, LIBYUV(I420ToUYVY, 3, 1));
    add_pair("I422 to UYVY", VELA_I422, VELA_UYVY, LIBYUV(I422ToUYVY, 3, 1));
    add_pair("I420 to YUYV", VELA_I420, VELA_YUYV, LIBYUV(I420ToYUY2, 3, 1));
    add_pair("I422 to YUYV", VELA_I422, VELA_YUYV, LIBYUV(I422ToYUY2, 3, 1));
    add_pair("I420 to I422", VELA_I420, VELA_I422, LIBYUV(I420ToI422, 3, 3));
    add_pair("I422 to I420", VELA_I422, VELA_I420, LIBYUV(I422ToI420, 3, 3));
    add_pair("I420 to I444", VELA_I420, VELA_I444, LIBYUV(I420ToI444, 3, 3));
    add_pair("I422 to I444", VELA_I422, VELA_I444, LIBYUV(I422ToI444, 3, 3));
    add_pair("I444 to I420", VELA_I444, VELA_I420, LIBYUV(I444ToI420, 3, 3));
    add_pair("YUYV to RGBA", VELA_YUYV, VELA_RGBA, {});
    add_pair("RGB24 to NV12", VELA_RGB24, VELA_NV12, {});
    ratios::note("libyuv computes with weights of 6 or 7 bits, this library with 12.");
    return true;
}();

} // namespace

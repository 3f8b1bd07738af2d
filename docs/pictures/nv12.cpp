// A scene as NV12 before and after masks of each kind are hidden in it. Prints a block of x, y, red, green and blue for
// the picture, its luma and its chroma, before and then after.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>
#include <vela/overlay.h>

namespace {

constexpr int32_t kWidth = 200, kHeight = 132;

// A description and the memory of a picture.
struct frame {
    explicit frame(int32_t format) : picture{kWidth, kHeight, format, VELA_BT601_FULL, {}} {
        bytes.resize(vela_picture_lay_out(&picture, nullptr, 0));
        vela_picture_lay_out(&picture, bytes.data(), bytes.size());
    }
    frame(const frame &) = delete;

    vela_picture picture;
    std::vector<uint8_t> bytes;
};

void convert(const frame &from, const frame &to) {
    if (vela_picture_convert(&from.picture, &to.picture) != 0)
        std::abort();
}

bool is_within(double value, double begin, double end) { return begin <= value && value < end; }

// A house with a door and two windows, and a sign beside it, on a lawn.
vela_rgb colour_of(const vela_direction &d) {
    const double pan = d.pan > 180 ? d.pan - 360 : d.pan;
    if (is_within(pan, 14, 28) && is_within(d.tilt, -8, 8))
        return std::fmod(pan + 2 * d.tilt + 100, 5) < 2.5 ? vela_rgb{30, 60, 180} : vela_rgb{255, 210, 40};
    if (is_within(pan, -3, 6) && is_within(d.tilt, -15, 3))
        return is_within(pan, 4, 5) && is_within(d.tilt, -7, -5) ? vela_rgb{250, 220, 60} : vela_rgb{190, 20, 40};
    if ((is_within(pan, -24, -16) || is_within(pan, -13, -6)) && is_within(d.tilt, -4, 6))
        return std::fmod(pan + 100, 4) < 0.7 ? vela_rgb{250, 250, 250} : vela_rgb{40, 110, 150};
    if (is_within(pan, -28, 9) && is_within(d.tilt, -15, 12))
        return std::fmod(d.tilt + 100, 3) < 0.5 ? vela_rgb{200, 170, 140} : vela_rgb{225, 200, 170};
    const auto height = static_cast<uint8_t>(std::abs(d.tilt) * 2);
    return d.tilt < -9 ? vela_rgb{static_cast<uint8_t>(60 + height), 140, 60}
                       : vela_rgb{static_cast<uint8_t>(160 - 2 * height), static_cast<uint8_t>(200 - height), 240};
}

void print(const frame &of) {
    frame rgb(VELA_RGB24);
    convert(of, rgb);
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = 0; x < kWidth; ++x) {
            const uint8_t *const pixel = &rgb.bytes[3 * static_cast<size_t>(y * kWidth + x)];
            std::printf("%d %d %d %d %d\n", x, y, pixel[0], pixel[1], pixel[2]);
        }
    std::printf("\n\n");
}

// The picture, its luma without chroma, and its chroma at an even luma.
void print_planes(const frame &nv12) {
    print(nv12);
    frame luma(VELA_GREY), chroma(VELA_NV12);
    convert(nv12, luma);
    print(luma);
    chroma.bytes = nv12.bytes;
    vela_picture_lay_out(&chroma.picture, chroma.bytes.data(), chroma.bytes.size());
    std::fill_n(chroma.bytes.begin(), kWidth * kHeight, uint8_t{150});
    print(chroma);
}

void hide(const frame &nv12, const vela_view *seen, const vela_direction (&corners)[4], const vela_cover &how) {
    vela_mask *const mask = vela_mask_make(corners, 4);
    if (!mask || vela_mask_hide(mask, seen, nullptr, &nv12.picture, &how) != 0)
        std::abort();
    vela_mask_free(mask);
}

} // namespace

int main() {
    const vela_lens lens = vela_lens_of_fov(VELA_LENS_PINHOLE, kWidth, kHeight, 64);
    const vela_orientation where = {1, -1, 6};
    vela_view *const seen = vela_view_make(kWidth, kHeight, &where, &lens);
    if (!seen)
        return EXIT_FAILURE;
    frame scene(VELA_RGB24), nv12(VELA_NV12);
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = 0; x < kWidth; ++x) {
            const vela_position at = {double(x), double(y)};
            vela_direction shown = {};
            if (!vela_view_unproject(seen, &at, &shown))
                return EXIT_FAILURE;
            const vela_rgb c = colour_of(shown);
            uint8_t *const to = &scene.bytes[3 * static_cast<size_t>(y * kWidth + x)];
            to[0] = c.red, to[1] = c.green, to[2] = c.blue;
        }
    convert(scene, nv12);
    print_planes(nv12);
    hide(nv12, seen, {{-25, 7}, {-5, 7}, {-5, -5}, {-25, -5}}, {VELA_BLUR, 20, {}});
    hide(nv12, seen, {{13.5, 8.5}, {28.5, 8.5}, {28.5, -8.5}, {13.5, -8.5}}, {VELA_BLOCKS, 14, {}});
    hide(nv12, seen, {{-3.5, 3.5}, {6.5, 3.5}, {6.5, -15.5}, {-3.5, -15.5}}, {});
    print_planes(nv12);
    vela_view_free(seen);
}

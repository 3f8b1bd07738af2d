// A picture of the scene through the lens, and marks on it.
#pragma once

#include "state.hpp"
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>
#include <vela/overlay/view.hpp>
#include <vela/spheremap.h>

namespace picture {

inline constexpr int32_t kMinWidth = 64, kMaxWidth = 1920, kMinHeight = 36, kMaxHeight = 1200;

struct colour {
    uint8_t red, green, blue;
};

// RGB, three bytes a pixel, rows without gaps.
struct frame {
    int32_t width = 0, height = 0;
    std::vector<uint8_t> pixels;

    uint8_t *at(int32_t x, int32_t y) {
        return &pixels[3 * (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x))];
    }
    bool holds(int32_t x, int32_t y) const { return x >= 0 && y >= 0 && x < width && y < height; }
    void put(int32_t x, int32_t y, colour ink, int share = 256); // in 256ths
    void line(double x0, double y0, double x1, double y1, colour ink, int share = 256);
    // Text in cells of 6 x 8 times `scale` pixels; returns the x of its end.
    int32_t write(int32_t x, int32_t y, std::string_view text, colour ink, int32_t scale);
};

// The tone curve with the exposure before it: one value for each of 256 levels.
using tones = std::array<uint8_t, 256>;
tones tones_of(const state::settings &all);

// The processor time of each step, for the header field Server-Timing.
class costs {
public:
    // Starts a new picture.
    void begin() { text_.clear(); }
    // A step: the time since the last one, or since the program began.
    void part(const char *name);
    const std::string &text() const { return text_; }

private:
    double last_ = 0; // in milliseconds
    std::string text_;
};

// What is looked at: a panorama, or the frame of a camera with its lens. In packed 4:2:2 (Cb Y0 Cr Y1).
struct surface {
    const uint8_t *pixels;
    int32_t width, height;
    const vela::overlay::view *lens = nullptr; // null for an equirectangular panorama
};

// Keeps its buffers, so that a stream of pictures allocates once.
class renderer {
public:
    void render(const surface &from, const smap_view &view, const tones &levels, frame &into, costs &parts);

private:
    std::vector<smap_screen_pt> mesh_;
    std::vector<smap_sphere_pt> directions_;
    std::vector<uint8_t> packed_; // 4:2:2
};

// A grid of directions, and the points of the compass.
void draw_grid(const smap_view &view, frame &onto);
// The time as text, in the camera's zone.
std::string stamp_of(const timeval &at);
// A line in the middle.
void draw_notice(std::string_view text, frame &onto);
// Time and position in the corners.
void draw_stamp(const smap_view &view, const timeval &at, frame &onto);

// JPEG; quality 1 to 100.
std::vector<uint8_t> encode(const frame &from, int32_t quality);

} // namespace picture

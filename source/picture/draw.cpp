// Text and lines on pictures.
#include "font.hpp"
#include "paint.hpp"
#include <cstdlib>

using namespace vela::detail;

int32_t vela_picture_text(const vela_picture *picture, int32_t x, int32_t y, const char *text, int32_t scale,
                          const vela_rgb *ink, const vela_rgb *paper) {
    if (!is_valid(*picture) || scale < 1 || scale > 1000)
        return 1;
    const size_t length = std::strlen(text);
    const paint dots(*picture, *ink);
    const auto at = [](int32_t start, size_t dot, int32_t side) { return start + static_cast<int64_t>(dot) * side; };
    if (paper) {
        const paint cells(*picture, *paper);
        for (size_t column = 0; column < 6 * length + 1 && length; ++column)
            for (size_t row = 0; row < 9; ++row)
                cells.fill_square(at(x, column, scale) - scale, at(y, row, scale) - scale, scale);
    }
    for (size_t i = 0; i < length; ++i)
        for (size_t row = 0; row < kGlyphHeight; ++row)
            for (size_t column = 0; column < kGlyphWidth; ++column)
                if (is_dot(text[i], column, row))
                    dots.fill_square(at(x, 6 * i + column, scale), at(y, row, scale), scale);
    return 0;
}

int32_t vela_picture_line(const vela_picture *picture, int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                          int32_t thickness, const vela_rgb *ink) {
    constexpr int32_t kFarthest = 1000000;
    const auto is_near = [](int32_t place) { return -kFarthest <= place && place <= kFarthest; };
    if (!is_valid(*picture) || thickness < 1 || thickness > 1000 || !is_near(x0) || !is_near(y0) || !is_near(x1) ||
        !is_near(y1))
        return 1;
    const paint dots(*picture, *ink);
    const int32_t across = x1 - x0, down = y1 - y0, steps = std::max({std::abs(across), std::abs(down), 1});
    // Rounded to the nearest dot.
    const auto at = [steps](int32_t start, int64_t distance, int32_t step) {
        const int64_t twice = 2 * distance * step + steps;
        return start + (twice >= 0 ? twice / (2 * steps) : -((2 * steps - 1 - twice) / (2 * steps)));
    };
    for (int32_t step = 0; step <= steps; ++step)
        dots.fill_square(at(x0, across, step) - thickness / 2, at(y0, down, step) - thickness / 2, thickness);
    return 0;
}

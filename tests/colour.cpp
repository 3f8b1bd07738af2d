// The conversions of colour against their model: every pixel, every length and alignment, pictures of any shape.
#include "models/colour.hpp"
#include "generated.hpp"
#include "support.hpp"

using namespace model;

namespace {

// Both ends of the range come often: there the limits work.
pixels random_bytes(size_t count) {
    generator random{12345};
    pixels bytes(count);
    for (uint8_t &byte : bytes)
        byte = static_cast<uint8_t>(std::clamp(random.below(512) - 128, 0, 255));
    return bytes;
}

} // namespace

TEST(matrices_are_filled_and_nothing_behind) {
    for (const conversion &c : kConversions) {
        std::array<int32_t, 10> filled = {}, expected = {};
        std::copy(c.coefficients.begin(), c.coefficients.end(), expected.begin());
        c.get_matrix(filled.data());
        agree_all("the matrix", std::string(c.name), filled, expected);
    }
}

TEST(documented_pixels) {
    // clang-format off
    const struct { size_t conversion; pixels from, to; } rows[] = {
        {0, {0, 0, 0, 255, 255, 255, 128, 128, 128, 255, 0, 0, 0, 0, 255, 0, 255, 0},
            {0, 128, 128, 255, 128, 128, 128, 128, 128, 76, 85, 255, 29, 255, 107, 150, 44, 21}},
        {1, {76, 85, 255, 29, 255, 107}, {254, 0, 0, 0, 0, 254}},
        {2, {0, 0, 0, 255, 255, 255, 128, 128, 128, 255, 0, 0, 0, 0, 255},
            {16, 128, 128, 235, 128, 128, 126, 128, 128, 81, 90, 240, 41, 240, 110}},
        {3, {16, 128, 128, 235, 128, 128, 0, 0, 0}, {0, 0, 0, 255, 255, 255, 0, 136, 0}},
        {4, {255, 0, 0, 0, 255, 0}, {63, 102, 240, 173, 42, 26}},
        {5, {63, 102, 240}, {255, 1, 0}},
    };
    // clang-format on
    for (const auto &[index, from, to] : rows) {
        agree_all(kConversions[index].name, from, converted(kConversions[index], from), to);
        check_conversion(kConversions[index], from);
    }
}

TEST(every_pixel) {
    pixels from(3 << 16);
    for (const conversion &c : kConversions)
        for (size_t first = 0; first < 256; ++first) {
            for (size_t i = 0; i < 1 << 16; ++i)
                for (size_t place = 0; place < 3; ++place)
                    from[3 * i + place] = static_cast<uint8_t>((first << 16 | i) >> (16 - 8 * place));
            check_conversion(c, from);
        }
}

// Several times the widths of the vector units.
TEST(every_length) {
    for (const conversion &c : kConversions)
        for (size_t count = 0; count <= 200; ++count)
            check_conversion(c, random_bytes(3 * count));
}

TEST(unpacking_takes_cb_y0_cr_y1) {
    // Pure blue and pure red share no byte: any other order shows.
    const uint8_t blue_and_red[] = {255, 29, 107, 100, 85, 76, 255, 200};
    agree_all("what is unpacked", pixels(blue_and_red, std::end(blue_and_red)), unpacked(blue_and_red, 4, 1, 8),
              {29, 255, 107, 100, 255, 107, 76, 85, 255, 200, 85, 255});
    check_unpacking(blue_and_red, 4, 1, 8);
}

TEST(pictures_of_any_shape) {
    const pixels bytes = random_bytes(1 << 18);
    check_unpacking(bytes.data(), 2, 70000, 3);
    for (uint32_t width = 0; width <= 200; width += width < 70 ? 1 : 65)
        for (const uint32_t height : {0U, 1U, 2U, 5U})
            for (const uint32_t stride : {0U, width + 1, 2 * width, 2 * width + 1, 2 * width + 2, 2 * width + 37})
                check_unpacking(bytes.data(), width, height, stride);
}

// The conversions of colour against their model: every pixel, every length and alignment, pictures of any shape.
#include "models/colour.hpp"
#include "fenced.hpp"
#include "generated.hpp"
#include "support.hpp"
#include <string>

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
        std::array<int32_t, 10> filled = {};
        c.get_matrix(filled.data());
        for (size_t i = 0; i < 10; ++i) {
            const int32_t expected = i < 9 ? c.coefficients[i] : 0;
            ck_assert_msg(filled[i] == expected, "matrix of %s, [%zu] is %d, not %d", c.name, i, filled[i], expected);
        }
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
        const conversion &c = kConversions[index];
        pixels result(from.size());
        c.convert(from.data(), result.data(), static_cast<uint32_t>(result.size() / 3));
        expect_pixels(c.name, from, result.data(), to);
    }
}

TEST(every_pixel) {
    pixels from(3 << 16), to(3 << 16);
    for (const conversion &c : kConversions)
        for (size_t first = 0; first < 256; ++first) {
            for (size_t i = 0; i < 1 << 16; ++i)
                for (size_t place = 0; place < 3; ++place)
                    from[3 * i + place] = static_cast<uint8_t>((first << 16 | i) >> (16 - 8 * place));
            c.convert(from.data(), to.data(), 1 << 16);
            expect_pixels(c.name, from, to.data(), converted(c, from));
        }
}

constexpr uint32_t kLongest = 200; // several times the widths of the vector units

TEST(every_length_in_place) {
    const pixels all = random_bytes(3 * kLongest);
    uint8_t *const end = fence(all.size());
    for (const conversion &c : kConversions)
        for (uint32_t count = 0; count <= kLongest; ++count) {
            const ptrdiff_t size = ptrdiff_t{3} * count;
            const pixels from(all.begin(), all.begin() + size);
            end[-size - 1] = 0xEE;
            std::copy_n(from.begin(), size, end - size);
            c.convert(end - size, end - size, count);
            expect_pixels(c.name, from, end - size, converted(c, from));
            ck_assert_msg(end[-size - 1] == 0xEE, "%s of %u pixels wrote in front of them", c.name, count);
        }
}

TEST(every_length_at_any_alignment) {
    constexpr uint32_t kAlignments = 32;
    const pixels all = random_bytes(3 * kLongest);
    for (const conversion &c : kConversions)
        for (uint32_t count = 0; count <= kLongest; ++count) {
            const ptrdiff_t size = ptrdiff_t{3} * count;
            const pixels from(all.begin(), all.begin() + size), expected = converted(c, from);
            for (uint32_t a = 0; a < kAlignments; ++a) {
                const auto at = static_cast<ptrdiff_t>(7 * a % kAlignments);
                pixels source(a + from.size()), result(3 * kAlignments + from.size(), 0xEE);
                std::copy(from.begin(), from.end(), source.begin() + a);
                c.convert(source.data() + a, result.data() + at, count);
                expect_pixels(c.name, from, result.data() + at, expected);
                const auto untouched = std::count(result.begin(), result.begin() + at, 0xEE) +
                                       std::count(result.begin() + at + size, result.end(), 0xEE);
                ck_assert_msg(untouched == 3 * kAlignments, "%s of %u pixels to %d wrote around them", c.name, count,
                              static_cast<int>(at));
            }
        }
}

TEST(unpacking_takes_cb_y0_cr_y1) {
    // Pure blue and pure red share no byte: any other order shows.
    const uint8_t blue_and_red[] = {255, 29, 107, 100, 85, 76, 255, 200};
    pixels result(12);
    cyc422_to_srgb(blue_and_red, 4, 1, 8, result.data());
    expect_pixels("cyc422_to_srgb", unpacked(blue_and_red, 4, 1, 8), result.data(),
                  {0, 0, 254, 71, 71, 255, 254, 0, 0, 255, 124, 124});
}

// No byte is read behind the last pixel's own, none written in front of the first row or behind the last.
TEST(pictures_of_any_shape) {
    std::vector<std::array<uint32_t, 3>> shapes = {{2, 70000, 3}};
    for (uint32_t width = 0; width <= 200; width += width < 70 ? 1 : 65)
        for (const uint32_t height : {0U, 1U, 2U, 5U})
            for (const uint32_t stride : {0U, width + 1, 2 * width, 2 * width + 1, 2 * width + 2, 2 * width + 37})
                shapes.push_back({width, height, stride});
    const pixels bytes = random_bytes(1 << 18);
    uint8_t *const source_end = fence(1 << 18), *const result_end = fence(1 << 19);
    for (const auto &[width, height, stride] : shapes) {
        const pixels full = unpacked(bytes.data(), width, height, stride);
        const size_t source_size = packed_size(width, height, stride);
        std::copy_n(bytes.begin(), source_size, source_end - source_size);
        uint8_t *const result = result_end - full.size();
        result[-1] = 0xEE;
        cyc422_to_srgb(source_end - source_size, width, height, stride, result);
        const std::string what =
            "cyc422_to_srgb, " + std::to_string(width) + "x" + std::to_string(height) + " by " + std::to_string(stride);
        expect_pixels(what.c_str(), full, result, converted(kConversions[1], full));
        ck_assert_msg(result[-1] == 0xEE, "%s wrote in front of its pixels", what.c_str());
    }
}

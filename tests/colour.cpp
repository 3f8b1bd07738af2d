#include "fenced.hpp"
#include "support.hpp"
#include <algorithm>
#include <array>
#include <check.h>
#include <cstdlib>
#include <vector>
#include <vela/colour.h>

namespace {

using pixels = std::vector<uint8_t>;
using matrix = std::array<int32_t, 9>;

// A conversion, what is documented of it, and the digest of its results for all 2^24 pixels, which was taken from the
// model below.
struct conversion {
    const char *name;
    void (*convert)(const uint8_t *, uint8_t *, uint32_t);
    void (*get_matrix)(int32_t *);
    matrix coefficients;
    bool encodes;
    int luma_offset;
    uint64_t digest;
};

// clang-format off
const conversion kConversions[] = {
    {"srgb_to_yccfull", srgb_to_yccfull, get_rgb_to_ycc,
     {1224, 2404, 466, -691, -1356, 2048, 2048, -1714, -333}, true, 0, 0xA6F5C87A91BA85F7},
    {"yccfull_to_srgb", yccfull_to_srgb, get_ycc_to_rgb,
     {4096, 0, 5742, 4096, -1409, -2925, 4096, 7258, 0}, false, 0, 0xA50D9E9FDE01CD72},
    {"srgb_to_yccbt601", srgb_to_yccbt601, get_rgb_to_ycc601,
     {1051, 2064, 401, -607, -1191, 1799, 1799, -1506, -292}, true, 16, 0x7DBA23573DBD4F26},
    {"yccbt601_to_srgb", yccbt601_to_srgb, get_ycc_to_rgb601,
     {4769, 0, 6537, 4769, -1604, -3329, 4769, 8262, 0}, false, 16, 0x4FFF1CB404EACD36},
    {"srgb_to_yccbt709", srgb_to_yccbt709, get_rgb_to_ycc709,
     {747, 2515, 253, -412, -1386, 1799, 1799, -1634, -164}, true, 16, 0x7B52962854613EC1},
    {"yccbt709_to_srgb", yccbt709_to_srgb, get_ycc_to_rgb709,
     {4769, 0, 7343, 4769, -873, -2182, 4769, 8652, 0}, false, 16, 0xC59A83C14EC0827D},
};
// clang-format on

// The plain model: offsets, product, rounding and limits one after the other, the division a floor.
void model_pixel(const conversion &c, const uint8_t *from, uint8_t *to) {
    const int offset[3] = {c.luma_offset, 128, 128};
    for (int row = 0; row < 3; ++row) {
        int sum = 2048;
        for (int column = 0; column < 3; ++column)
            sum += c.coefficients[static_cast<size_t>(3 * row + column)] *
                   (from[column] - (c.encodes ? 0 : offset[column]));
        const int quotient = sum >= 0 ? sum / 4096 : -((4095 - sum) / 4096);
        to[row] = static_cast<uint8_t>(std::clamp(quotient + (c.encodes ? offset[row] : 0), 0, 255));
    }
}

pixels model(const conversion &c, const pixels &from) {
    pixels to(from.size());
    for (size_t i = 0; i < from.size(); i += 3)
        model_pixel(c, &from[i], &to[i]);
    return to;
}

pixels random_bytes(size_t count) {
    pixels bytes(count);
    uint32_t state = 12345;
    for (uint8_t &byte : bytes) {
        state = state * 1664525 + 1013904223;
        // Both ends of the range come often: there the limits work.
        const uint32_t value = state >> 20;
        byte = static_cast<uint8_t>(value & 0x800 ? (value & 1 ? 0 : 255) : value);
    }
    return bytes;
}

uint64_t digest(uint64_t state, const pixels &bytes) {
    for (size_t i = 0; i < bytes.size(); i += 8) {
        uint64_t word = 0;
        for (size_t k = 0; k < 8; ++k)
            word |= uint64_t{bytes[i + k]} << (8 * k);
        state = (state ^ word) * 0x9E3779B97F4A7C15;
        state ^= state >> 32;
    }
    return state;
}

void assert_bytes_eq(const uint8_t *actual, const pixels &expected, const std::string &what) {
    for (size_t i = 0; i < expected.size(); ++i)
        ck_assert_msg(actual[i] == expected[i], "%s: byte %zu is %u, not %u", what.c_str(), i, actual[i], expected[i]);
}

} // namespace

START_TEST(matrices)
{
    for (const conversion &c : kConversions) {
        int32_t filled[10] = {};
        filled[9] = 77;
        c.get_matrix(filled);
        ck_assert_msg(std::equal(c.coefficients.begin(), c.coefficients.end(), filled) && filled[9] == 77, "%s",
                      c.name);
    }
}
END_TEST

START_TEST(documented_pixels)
{
    struct row {
        decltype(&srgb_to_yccfull) convert;
        pixels from, to;
    };
    const row rows[] = {
        {srgb_to_yccfull,
         {0, 0, 0, 255, 255, 255, 128, 128, 128, 255, 0, 0, 0, 0, 255, 0, 255, 0},
         {0, 128, 128, 255, 128, 128, 128, 128, 128, 76, 85, 255, 29, 255, 107, 150, 44, 21}},
        {yccfull_to_srgb, {76, 85, 255, 29, 255, 107}, {254, 0, 0, 0, 0, 254}},
        {srgb_to_yccbt601,
         {0, 0, 0, 255, 255, 255, 128, 128, 128, 255, 0, 0, 0, 0, 255},
         {16, 128, 128, 235, 128, 128, 126, 128, 128, 81, 90, 240, 41, 240, 110}},
        {yccbt601_to_srgb, {16, 128, 128, 235, 128, 128, 0, 0, 0}, {0, 0, 0, 255, 255, 255, 0, 136, 0}},
        {srgb_to_yccbt709, {255, 0, 0, 0, 255, 0}, {63, 102, 240, 173, 42, 26}},
        {yccbt709_to_srgb, {63, 102, 240}, {255, 1, 0}},
    };
    for (const row &r : rows) {
        pixels result(r.from.size());
        r.convert(r.from.data(), result.data(), static_cast<uint32_t>(r.from.size() / 3));
        assert_bytes_eq(result.data(), r.to, "row " + std::to_string(&r - rows));
    }
}
END_TEST

// The digests stand for a comparison with the model, which VELA_SLOW_TESTS=1 in the environment repeats.
START_TEST(all_pixels)
{
    const bool slow = std::getenv("VELA_SLOW_TESTS");
    const conversion &c = kConversions[_i];
    pixels from, to(3 << 16);
    for (int second_and_third = 0; second_and_third < 1 << 16; ++second_and_third)
        from.insert(from.end(),
                    {0, static_cast<uint8_t>(second_and_third >> 8), static_cast<uint8_t>(second_and_third)});
    uint64_t state = 0;
    for (int first = 0; first < 256; ++first) {
        for (size_t i = 0; i < from.size(); i += 3)
            from[i] = static_cast<uint8_t>(first);
        c.convert(from.data(), to.data(), 1 << 16);
        if (slow)
            ck_assert(to == model(c, from));
        state = digest(state, to);
    }
    ck_assert_msg(state == c.digest, "%s: digest 0x%016llX", c.name, static_cast<unsigned long long>(state));
}
END_TEST

// Every length around the widths of the vector units: in place with nothing touched behind the end, then at every
// alignment of source and destination with nothing written around it.
START_TEST(every_length_and_alignment)
{
    constexpr uint32_t kLongest = 200, kAlignments = 32;
    const conversion &c = kConversions[_i];
    const pixels from = random_bytes(3 * kLongest), to = model(c, from);
    const fenced memory(from.size());
    for (uint32_t count = 0; count <= kLongest; ++count) {
        const size_t size = 3 * count;
        const std::string what = std::string(c.name) + " of " + std::to_string(count);
        uint8_t *const in_place = memory.last(size);
        in_place[-1] = 0xEE;
        std::copy_n(from.begin(), size, in_place);
        c.convert(in_place, in_place, count);
        assert_bytes_eq(in_place, pixels(to.begin(), to.begin() + static_cast<ptrdiff_t>(size)), what + " in place");
        ck_assert_int_eq(in_place[-1], 0xEE);

        for (uint32_t a = 0; a < kAlignments; ++a) {
            pixels source(a + size), result(3 * kAlignments + size, 0xEE), expected(result);
            const size_t at = 7 * a % kAlignments;
            std::copy_n(from.begin(), size, source.begin() + a);
            std::copy_n(to.begin(), size, expected.begin() + static_cast<ptrdiff_t>(at));
            c.convert(source.data() + a, result.data() + at, count);
            ck_assert_msg(result == expected, "%s from alignment %u", what.c_str(), a);
        }
    }
}
END_TEST

// Pure blue and pure red share no byte: Cb, Y0, Cr, Y1 taken in any other order shows.
START_TEST(unpacking_order)
{
    const pixels from = {85, 76, 255, 200, 255, 29, 107, 100};
    const pixels to = {254, 0, 0, 255, 124, 124, 0, 0, 254, 71, 71, 255};
    uint8_t result[12];
    cyc422_to_srgb(from.data(), 4, 1, 8, result);
    assert_bytes_eq(result, to, "quads");
}
END_TEST

// Pictures of any shape: no byte is read behind the last pixel's own, none written behind the last row.
START_TEST(unpacking_of_any_shape)
{
    std::vector<std::array<uint32_t, 3>> shapes = {{2, 70000, 3}};
    for (uint32_t width = 0; width <= 200; width += width < 70 ? 1 : 65)
        for (const uint32_t height : {0U, 1U, 2U, 5U})
            for (const uint32_t stride : {0U, width + 1, 2 * width, 2 * width + 1, 2 * width + 2, 2 * width + 37})
                shapes.push_back({width, height, stride});
    const pixels bytes = random_bytes(1 << 18);
    const fenced source_memory(1 << 18), result_memory(1 << 19);
    for (const auto &[width, height, stride] : shapes) {
        pixels expected(size_t{3} * width * height);
        for (size_t i = 0; i < size_t{width} * height; ++i) {
            const size_t x = i % width;
            const uint8_t *quad = &bytes[i / width * stride + x / 2 * 4];
            const uint8_t pixel[3] = {quad[x % 2 ? 3 : 1], quad[0], quad[2]};
            model_pixel(kConversions[1], pixel, &expected[3 * i]);
        }
        const size_t source_size = expected.empty() ? 0 : stride * (height - 1) + 2 * width + width % 2;
        uint8_t *const source = source_memory.last(source_size), *const result = result_memory.last(expected.size());
        std::copy_n(bytes.begin(), source_size, source);
        result[-1] = 0xEE;
        cyc422_to_srgb(source, width, height, stride, result);
        assert_bytes_eq(result, expected,
                        std::to_string(width) + "x" + std::to_string(height) + " by " + std::to_string(stride));
        ck_assert_int_eq(result[-1], 0xEE);
    }
}
END_TEST

Suite *colour_suite() {
    constexpr int kCount = static_cast<int>(std::size(kConversions));
    Suite *suite = suite_create("colour");
    TCase *cases = tcase_create("colour");
    tcase_set_timeout(cases, 300);
    tcase_add_test(cases, matrices);
    tcase_add_test(cases, documented_pixels);
    tcase_add_loop_test(cases, all_pixels, 0, kCount);
    tcase_add_loop_test(cases, every_length_and_alignment, 0, kCount);
    tcase_add_test(cases, unpacking_order);
    tcase_add_test(cases, unpacking_of_any_shape);
    suite_add_tcase(suite, cases);
    return suite;
}

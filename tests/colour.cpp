#include "fenced.hpp"
#include "generated.hpp"
#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>
#include <vela/colour.h>

namespace {

using pixels = std::vector<uint8_t>;

// A conversion, what is documented of it, the digest of its results for all 2^24 pixels, which was taken from the model
// below, and some pixels by hand.
struct conversion {
    void (*convert)(const uint8_t *, uint8_t *, uint32_t);
    void (*get_matrix)(int32_t *);
    std::array<int32_t, 9> coefficients;
    bool encodes;
    int luma_offset;
    uint64_t all_pixels;
    pixels from, to;
};

// clang-format off
const conversion kConversions[] = {
    {srgb_to_yccfull, get_rgb_to_ycc, {1224, 2404, 466, -691, -1356, 2048, 2048, -1714, -333}, true, 0,
     0x9A4D271EF2588CB5, {0, 0, 0, 255, 255, 255, 128, 128, 128, 255, 0, 0, 0, 0, 255, 0, 255, 0},
     {0, 128, 128, 255, 128, 128, 128, 128, 128, 76, 85, 255, 29, 255, 107, 150, 44, 21}},
    {yccfull_to_srgb, get_ycc_to_rgb, {4096, 0, 5742, 4096, -1409, -2925, 4096, 7258, 0}, false, 0,
     0x2EB91350D8FF8B28, {76, 85, 255, 29, 255, 107}, {254, 0, 0, 0, 0, 254}},
    {srgb_to_yccbt601, get_rgb_to_ycc601, {1051, 2064, 401, -607, -1191, 1799, 1799, -1506, -292}, true, 16,
     0xD2B9ACC87E330230, {0, 0, 0, 255, 255, 255, 128, 128, 128, 255, 0, 0, 0, 0, 255},
     {16, 128, 128, 235, 128, 128, 126, 128, 128, 81, 90, 240, 41, 240, 110}},
    {yccbt601_to_srgb, get_ycc_to_rgb601, {4769, 0, 6537, 4769, -1604, -3329, 4769, 8262, 0}, false, 16,
     0x6B959566FF1E6842, {16, 128, 128, 235, 128, 128, 0, 0, 0}, {0, 0, 0, 255, 255, 255, 0, 136, 0}},
    {srgb_to_yccbt709, get_rgb_to_ycc709, {747, 2515, 253, -412, -1386, 1799, 1799, -1634, -164}, true, 16,
     0x495093DD56B0DC9B, {255, 0, 0, 0, 255, 0}, {63, 102, 240, 173, 42, 26}},
    {yccbt709_to_srgb, get_ycc_to_rgb709, {4769, 0, 7343, 4769, -873, -2182, 4769, 8652, 0}, false, 16,
     0x6E4D53CC6483ABB4, {63, 102, 240}, {255, 1, 0}},
};
// clang-format on

// The plain model: offsets, product, rounding and limits one after the other, the division a floor.
pixels model(const conversion &c, const pixels &from) {
    const int offset[3] = {c.luma_offset, 128, 128};
    pixels to(from.size());
    for (size_t i = 0; i < from.size(); ++i) {
        const size_t row = i % 3;
        int sum = 2048;
        for (size_t column = 0; column < 3; ++column)
            sum += c.coefficients[3 * row + column] * (from[i - row + column] - (c.encodes ? 0 : offset[column]));
        const int quotient = sum >= 0 ? sum / 4096 : -((4095 - sum) / 4096);
        to[i] = static_cast<uint8_t>(std::clamp(quotient + (c.encodes ? offset[row] : 0), 0, 255));
    }
    return to;
}

// Both ends of the range come often: there the limits work.
pixels random_bytes(size_t count) {
    generator random{12345};
    pixels bytes(count);
    for (uint8_t &byte : bytes)
        byte = static_cast<uint8_t>(std::clamp(random.below(512) - 128, 0, 255));
    return bytes;
}

} // namespace

START_TEST(matrices_and_documented_pixels)
{
    const conversion &c = kConversions[_i];
    std::array<int32_t, 10> filled = {}, expected = {};
    std::copy(c.coefficients.begin(), c.coefficients.end(), expected.begin());
    c.get_matrix(filled.data());
    ck_assert(filled == expected);
    pixels result(c.from.size());
    c.convert(c.from.data(), result.data(), static_cast<uint32_t>(result.size() / 3));
    ck_assert(result == c.to);
}
END_TEST

// The digests stand for a comparison with the model, which VELA_SLOW_TESTS=1 in the environment repeats.
START_TEST(all_pixels)
{
    const bool slow = std::getenv("VELA_SLOW_TESTS");
    const conversion &c = kConversions[_i];
    pixels from(3 << 16), to(3 << 16);
    digest results;
    for (size_t first = 0; first < 256; ++first) {
        for (size_t i = 0; i < 1 << 16; ++i)
            for (size_t place = 0; place < 3; ++place)
                from[3 * i + place] = static_cast<uint8_t>((first << 16 | i) >> (16 - 8 * place));
        c.convert(from.data(), to.data(), 1 << 16);
        ck_assert(!slow || to == model(c, from));
        for (size_t i = 0; i < to.size(); i += 4)
            results.add(
                std::array{to[i] | to[i + 1] << 8 | to[i + 2] << 16 | static_cast<int32_t>(to[i + 3] * 0x1000000U)});
    }
    assert_digest(results, c.all_pixels);
}
END_TEST

// Every length around the widths of the vector units: in place with nothing touched behind the end, then at every
// alignment of source and destination with nothing written around it.
START_TEST(every_length_and_alignment)
{
    constexpr uint32_t kLongest = 200, kAlignments = 32;
    const conversion &c = kConversions[_i];
    const pixels from = random_bytes(3 * kLongest), to = model(c, from);
    uint8_t *const end = fence(from.size());
    for (uint32_t count = 0; count <= kLongest; ++count) {
        const ptrdiff_t size = ptrdiff_t{3} * count;
        end[-size - 1] = 0xEE;
        std::copy_n(from.begin(), size, end - size);
        c.convert(end - size, end - size, count);
        ck_assert_msg(std::equal(end - size, end, to.begin()), "%u in place", count);
        ck_assert_int_eq(end[-size - 1], 0xEE);
        for (uint32_t a = 0; a < kAlignments; ++a) {
            pixels source(a + 3 * count), result(3 * (kAlignments + count), 0xEE), expected(result);
            const auto at = static_cast<ptrdiff_t>(7 * a % kAlignments);
            std::copy_n(from.begin(), size, source.begin() + a);
            std::copy_n(to.begin(), size, expected.begin() + at);
            c.convert(source.data() + a, result.data() + at, count);
            ck_assert_msg(result == expected, "%u from alignment %u", count, a);
        }
    }
}
END_TEST

// Pictures of any shape: no byte is read behind the last pixel's own, none written behind the last row.
START_TEST(unpacking)
{
    // Pure blue and pure red share no byte: Cb, Y0, Cr, Y1 taken in any other order shows.
    const uint8_t blue_and_red[] = {255, 29, 107, 100, 85, 76, 255, 200};
    const pixels colours = {0, 0, 254, 71, 71, 255, 254, 0, 0, 255, 124, 124};
    pixels quads(12);
    cyc422_to_srgb(blue_and_red, 4, 1, 8, quads.data());
    ck_assert(quads == colours);

    std::vector<std::array<uint32_t, 3>> shapes = {{2, 70000, 3}};
    for (uint32_t width = 0; width <= 200; width += width < 70 ? 1 : 65)
        for (const uint32_t height : {0U, 1U, 2U, 5U})
            for (const uint32_t stride : {0U, width + 1, 2 * width, 2 * width + 1, 2 * width + 2, 2 * width + 37})
                shapes.push_back({width, height, stride});
    const pixels bytes = random_bytes(1 << 18);
    uint8_t *const source_end = fence(1 << 18), *const result_end = fence(1 << 19);
    for (const auto &[width, height, stride] : shapes) {
        pixels full;
        for (size_t i = 0; i < size_t{width} * height; ++i) {
            const size_t x = i % width;
            const uint8_t *quad = &bytes[i / width * stride + x / 2 * 4];
            full.insert(full.end(), {quad[x % 2 ? 3 : 1], quad[0], quad[2]});
        }
        const size_t source_size = full.empty() ? 0 : stride * (height - 1) + 2 * width + width % 2;
        std::copy_n(bytes.begin(), source_size, source_end - source_size);
        uint8_t *const result = result_end - full.size();
        result[-1] = 0xEE;
        cyc422_to_srgb(source_end - source_size, width, height, stride, result);
        ck_assert_msg(std::equal(result, result_end, model(kConversions[1], full).begin()) && result[-1] == 0xEE,
                      "%ux%u by %u", width, height, stride);
    }
}
END_TEST

Suite *colour_suite() {
    Suite *suite = suite_create("colour");
    TCase *cases = tcase_create("colour");
    tcase_set_timeout(cases, 300);
    for (const TTest *test : {matrices_and_documented_pixels, all_pixels, every_length_and_alignment})
        tcase_add_loop_test(cases, test, 0, static_cast<int>(std::size(kConversions)));
    tcase_add_test(cases, unpacking);
    suite_add_tcase(suite, cases);
    return suite;
}

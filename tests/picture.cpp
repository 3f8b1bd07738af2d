// Pictures in every format, against the published formulas in floating point and against each other's SIMD levels; with
// odd sizes and strides, and fences after each plane.
#include "generated.hpp"
#include "models/agree.hpp"
#include "models/memory.hpp"
#include "support.hpp"
#include <array>
#include <cstring>
#include <memory>
#include <vela/colour.h>
#include <vela/cpp/picture.hpp>

using vela::picture;

namespace {

// Where the format puts a component: the plane, the bytes between columns, the first of them, and how many columns and
// rows share it.
struct place {
    int plane, step, offset, columns, rows;
};
constexpr place kNone = {-1, 0, 0, 1, 1};
struct layout {
    const char *name;
    bool is_rgb;
    place of[3];
};
constexpr layout kLayouts[] = {
    {"RGB24", true, {{0, 3, 0, 1, 1}, {0, 3, 1, 1, 1}, {0, 3, 2, 1, 1}}},
    {"BGR24", true, {{0, 3, 2, 1, 1}, {0, 3, 1, 1, 1}, {0, 3, 0, 1, 1}}},
    {"RGBA", true, {{0, 4, 0, 1, 1}, {0, 4, 1, 1, 1}, {0, 4, 2, 1, 1}}},
    {"YUYV", false, {{0, 2, 0, 1, 1}, {0, 4, 1, 2, 1}, {0, 4, 3, 2, 1}}},
    {"UYVY", false, {{0, 2, 1, 1, 1}, {0, 4, 0, 2, 1}, {0, 4, 2, 2, 1}}},
    {"NV12", false, {{0, 1, 0, 1, 1}, {1, 2, 0, 2, 2}, {1, 2, 1, 2, 2}}},
    {"NV21", false, {{0, 1, 0, 1, 1}, {1, 2, 1, 2, 2}, {1, 2, 0, 2, 2}}},
    {"I420", false, {{0, 1, 0, 1, 1}, {1, 1, 0, 2, 2}, {2, 1, 0, 2, 2}}},
    {"I422", false, {{0, 1, 0, 1, 1}, {1, 1, 0, 2, 1}, {2, 1, 0, 2, 1}}},
    {"I444", false, {{0, 1, 0, 1, 1}, {1, 1, 0, 1, 1}, {2, 1, 0, 1, 1}}},
    {"GREY", false, {{0, 1, 0, 1, 1}, kNone, kNone}},
};
constexpr int kFormats = std::size(kLayouts);

// Memory of a picture: each plane ends at a fence, has rows `gap` bytes longer than they must be, and is noise at
// first.
class memory {
public:
    memory(int format, int colours, int width, int height, size_t gap, uint32_t seed)
        : record{width, height, format, colours, {}}, how(kLayouts[format]) {
        static uint8_t *const ends[2][3] = {{fence(1 << 20), fence(1 << 20), fence(1 << 20)},
                                            {fence(1 << 20), fence(1 << 20), fence(1 << 20)}};
        ck_assert_uint_gt(vela_picture_lay_out(&record, nullptr, 0), 0);
        for (size_t i = 0; i < 3 && record.planes[i].stride; ++i) {
            vela_plane &plane = record.planes[i];
            const size_t rows =
                i && how.of[i].rows == 2 ? static_cast<size_t>(height + 1) / 2 : static_cast<size_t>(height);
            const size_t row = plane.stride;
            plane.stride += gap;
            plane.size = (rows - 1) * plane.stride + row;
            plane.data = ends[seed % 2][i] - plane.size;
            const auto bytes = noise<uint8_t>(plane.size, seed + static_cast<uint32_t>(i));
            std::copy(bytes.begin(), bytes.end(), plane.data);
        }
        initial = bytes();
    }

    [[nodiscard]] uint8_t &at(int component, int x, int y) const {
        const place &p = how.of[component];
        const vela_plane &plane = record.planes[p.plane];
        return plane.data[static_cast<size_t>(y / p.rows) * plane.stride +
                          static_cast<size_t>(x / p.columns * p.step + p.offset)];
    }
    [[nodiscard]] std::vector<uint8_t> bytes() const {
        std::vector<uint8_t> all;
        for (const vela_plane &plane : record.planes)
            all.insert(all.end(), plane.data, plane.data + plane.size);
        return all;
    }

    // That nothing but samples of pixels changed, and alpha is opaque.
    void check_rest() const {
        const auto result = bytes();
        size_t start = 0;
        std::vector<uint8_t> expected = initial;
        for (int plane = 0; plane < 3; ++plane) {
            const auto index = [&](const uint8_t &sample) {
                return start + static_cast<size_t>(&sample - record.planes[plane].data);
            };
            for (int i = 0; i < 3; ++i)
                for (int y = 0; y < record.height && how.of[i].plane == plane; ++y)
                    for (int x = 0; x < record.width; ++x) {
                        expected[index(at(i, x, y))] = at(i, x, y);
                        if (how.of[i].step == 4 && how.is_rgb)
                            expected[index(at(0, x, y)) + 3] = 255;
                    }
            start += record.planes[plane].size;
        }
        ck_assert_msg(result == expected, "%s of %d x %d: bytes beside the pixels", how.name, record.width,
                      record.height);
    }

    vela_picture record;
    const layout &how;
    std::vector<uint8_t> initial;
};

using triple = std::array<double, 3>;

struct colour_space {
    double red, blue, offset, luma, chroma;

    [[nodiscard]] triple encoded(const triple &rgb) const {
        const double y = red * rgb[0] + (1 - red - blue) * rgb[1] + blue * rgb[2];
        return {offset + y * luma / 255, 128 + (rgb[2] - y) / (1 - blue) / 2 * chroma / 255,
                128 + (rgb[0] - y) / (1 - red) / 2 * chroma / 255};
    }
    [[nodiscard]] triple decoded(const triple &ycc) const {
        const double y = (ycc[0] - offset) * 255 / luma, cb = (ycc[1] - 128) * 2 * (1 - blue) * 255 / chroma,
                     cr = (ycc[2] - 128) * 2 * (1 - red) * 255 / chroma;
        triple rgb = {y + cr, y - (red * cr + blue * cb) / (1 - red - blue), y + cb};
        for (double &value : rgb)
            value = std::clamp(value, 0.0, 255.0);
        return rgb;
    }
};
constexpr colour_space kSpaces[] = {{0.299, 0.114, 0, 255, 255},
                                    {0.299, 0.114, 16, 219, 224},
                                    {0.2126, 0.0722, 16, 219, 224},
                                    {0.2126, 0.0722, 0, 255, 255}};

// A pixel in what the other picture has: RGB, or YCbCr of its colours.
triple shown_in(const memory &from, int x, int y, const memory &to) {
    triple value = {0, 128, 128};
    for (int i = 0; i < 3; ++i)
        if (from.how.of[i].plane >= 0)
            value[static_cast<size_t>(i)] = from.at(i, x, y);
    if (from.how.is_rgb == to.how.is_rgb && (to.how.is_rgb || from.record.colours == to.record.colours))
        return value;
    if (!from.how.is_rgb)
        value = kSpaces[from.record.colours].decoded(value);
    return to.how.is_rgb ? value : kSpaces[to.record.colours].encoded(value);
}

// Each sample is the average of what its pixels show, to a level and a half; where no colour is computed and no sample
// shared, exactly that.
void check_conversion(const memory &from, const memory &to) {
    const bool is_moved =
        from.how.is_rgb == to.how.is_rgb && (to.how.is_rgb || from.record.colours == to.record.colours);
    const std::string what = std::string(from.how.name) + " to " + to.how.name;
    for (int y = 0; y < to.record.height; ++y)
        for (int x = 0; x < to.record.width; ++x)
            for (int i = 0; i < 3; ++i) {
                const place &p = to.how.of[i];
                if (p.plane < 0 || x % p.columns || y % p.rows)
                    continue;
                double sum = 0;
                int count = 0;
                for (int below = y; below < std::min(y + p.rows, to.record.height); ++below)
                    for (int right = x; right < std::min(x + p.columns, to.record.width); ++right, ++count)
                        sum += shown_in(from, right, below, to)[static_cast<size_t>(i)];
                const double limited = std::clamp(sum / count, 0.0, 255.0), got = to.at(i, x, y);
                if (std::fabs(got - limited) > (is_moved && p.columns == 1 ? 0 : is_moved ? 1 : 1.5))
                    agree_on(
                        what,
                        std::array{from.record.colours, to.record.colours, to.record.width, to.record.height, x, y, i},
                        got, limited);
            }
}

constexpr vela_rgb kBlack = {0, 0, 0}, kGreen = {10, 200, 30};

// Whether a sample, of the pixels that share it, has one that is hidden.
template <class Hidden>
bool has_hidden(const memory &p, int i, int x, int y, Hidden &&hidden) {
    const place &at = p.how.of[i];
    for (int below = y - y % at.rows; below < std::min(y - y % at.rows + at.rows, p.record.height); ++below)
        for (int right = x - x % at.columns; right < std::min(x - x % at.columns + at.columns, p.record.width); ++right)
            if (hidden(right, below))
                return true;
    return false;
}

} // namespace

// All pairs of formats, of equal and of other colours; one shape is longer than what is converted at a time.
TEST(every_pair_of_formats_gives_what_the_formulas_give) {
    generator random{1};
    for (int from_format = 0; from_format < kFormats; ++from_format)
        for (int to_format = 0; to_format < kFormats; ++to_format)
            for (int round = 0; round < 8; ++round) {
                const int width = round == 0 ? 2049 + random(200) : 1 + random(140), height = 1 + random(6);
                const int from_colours = random(4), to_colours = round % 2 ? from_colours : random(4);
                const auto gap = static_cast<size_t>(random(4));
                const memory from(from_format, from_colours, width, height, gap, 2);
                std::vector<uint8_t> result;
                const uint8_t level = vela_max_simd;
                for (const uint8_t one : {level, uint8_t{0}}) {
                    const memory to(to_format, to_colours, width, height, gap, 3);
                    vela_max_simd = one;
                    ck_assert_int_eq(vela_picture_convert(&from.record, &to.record), 0);
                    if (result.empty()) {
                        check_conversion(from, to);
                        // Rows are copied whole.
                        if (from_format != to_format)
                            to.check_rest();
                        result = to.bytes();
                    }
                    ck_assert_msg(to.bytes() == result, "%s to %s of %d x %d at level %d", from.how.name, to.how.name,
                                  width, height, level);
                }
                vela_max_simd = level;
                ck_assert(from.bytes() == from.initial);
            }
}

TEST(full_range_without_subsampling_is_that_of_the_colour_module) {
    for (const int size : {3, 100}) {
        const memory rgb(VELA_RGB24, VELA_BT601_FULL, size, 1, 0, 4), ycc(VELA_I444, VELA_BT601_FULL, size, 1, 0, 5),
            back(VELA_BGR24, VELA_BT601_FULL, size, 1, 0, 6);
        std::vector<uint8_t> expected(static_cast<size_t>(size) * 3);
        const auto check = [&](const memory &got) {
            for (int x = 0; x < size; ++x)
                for (int i = 0; i < 3; ++i)
                    agree("a byte", std::array{size, x, i}, got.at(i, x, 0), expected[static_cast<size_t>(3 * x + i)]);
        };
        ck_assert_int_eq(vela_picture_convert(&rgb.record, &ycc.record), 0);
        srgb_to_yccfull(rgb.record.planes[0].data, expected.data(), static_cast<uint32_t>(size));
        check(ycc);
        ck_assert_int_eq(vela_picture_convert(&ycc.record, &back.record), 0);
        yccfull_to_srgb(expected.data(), expected.data(), static_cast<uint32_t>(size));
        check(back);
    }
}

// In each format: hidden pixels have the colour with all of their chroma, and nothing else changes.
TEST(what_is_hidden_is_gone_with_its_chroma) {
    generator random{7};
    for (int format = 0; format < kFormats; ++format)
        for (int round = 0; round < 20; ++round) {
            const int width = 1 + random(20), height = 1 + random(9), colours = random(4);
            const memory p(format, colours, width, height, static_cast<size_t>(random(3)), 8);
            const vela_run runs[] = {{random(11) - 1, random(24) - 2, random(24) - 2}, {random(9), random(20), 99}};
            const auto hidden = [&](int x, int y) {
                return std::any_of(runs, std::end(runs),
                                   [&](const vela_run &r) { return r.y == y && r.begin <= x && x < r.end; });
            };
            const memory before = p;
            const vela_cover green = {VELA_SOLID, 0, kGreen};
            ck_assert_int_eq(vela_picture_hide(&p.record, runs, 2, round % 4 ? &green : nullptr), 0);
            const vela_rgb &ink = round % 4 ? kGreen : kBlack;
            const triple rgb = {double(ink.red), double(ink.green), double(ink.blue)},
                         shade = p.how.is_rgb ? rgb : kSpaces[colours].encoded(rgb);
            const std::vector<uint8_t> after = p.bytes();
            size_t start = 0;
            for (int plane = 0; plane < 3; ++plane, start += p.record.planes[plane - 1].size)
                for (int i = 0; i < 3; ++i)
                    for (int y = 0; y < height && p.how.of[i].plane == plane; ++y)
                        for (int x = 0; x < width; ++x) {
                            const double was =
                                p.initial[start + static_cast<size_t>(&p.at(i, x, y) - p.record.planes[plane].data)];
                            const bool is_gone = has_hidden(p, i, x, y, hidden);
                            const double expected = is_gone ? shade[static_cast<size_t>(i)] : was;
                            if (std::fabs(p.at(i, x, y) - expected) > (is_gone ? 0.6 : 0))
                                agree_on(p.how.name, std::array{width, height, colours, x, y, i}, double(p.at(i, x, y)),
                                         expected);
                        }
        }
}

// Nothing finer than squares of the size is left: pictures with the same averages of squares look the same where they
// are hidden. Squares at the edges are no smaller.
TEST(blocks_and_blur_keep_nothing_but_averages_of_squares) {
    constexpr int kSize = 6, kWidth = 23, kHeight = 15;
    for (int format = 0; format < kFormats; ++format)
        for (const int style : {VELA_BLOCKS, VELA_BLUR}) {
            const vela_cover cover = {style, kSize - 1, {}};
            std::vector<vela_run> runs;
            for (int y = 2; y < kHeight; ++y)
                runs.push_back({y, 3, kWidth});
            std::vector<uint8_t> results[2];
            for (int i = 0; i < 2; ++i) {
                const memory p(format, VELA_BT601_FULL, kWidth, kHeight, 1, 9);
                // Samples that are far from each other within a square are exchanged in one of the pictures.
                for (int c = 0; c < 3 && p.how.of[c].plane >= 0 && i == 1; ++c)
                    for (int column = 0; column < 3; ++column)
                        for (int row = 0; row < 2; ++row) {
                            const int left = column * kSize, top = row * kSize;
                            std::swap(p.at(c, left, top), p.at(c, left + (column == 2 ? 10 : 4), top + (row ? 8 : 4)));
                        }
                ck_assert_int_eq(vela_picture_hide(&p.record, runs.data(), runs.size(), &cover), 0);
                for (int y = 2; y < kHeight; ++y)
                    for (int x = 4; x < kWidth; ++x)
                        for (int c = 0; c < 3 && p.how.of[c].plane >= 0; ++c)
                            results[i].push_back(p.at(c, x, y));
                if (style == VELA_BLOCKS)
                    ck_assert_uint_eq(p.at(0, 13, 7), p.at(0, 22, 14));
            }
            ck_assert_msg(results[0] == results[1], "%s, style %d", kLayouts[format].name, style);
        }
}

TEST(text_and_lines_are_drawn_where_they_fit) {
    const memory p(VELA_GREY, VELA_BT601_FULL, 40, 12, 0, 10);
    const auto shown = [&](int y) {
        std::string row;
        for (int x = 0; x < 40; ++x)
            row += p.at(0, x, y) == 255 ? '#' : p.at(0, x, y) == 0 ? '.' : ' ';
        return row;
    };
    const vela_rgb white = {255, 255, 255};
    std::fill_n(p.record.planes[0].data, 480, uint8_t{7});
    ck_assert_int_eq(vela_picture_text(&p.record, 1, 1, "t\xff", 1, &white, &kBlack), 0);
    assert_text_eq(shown(0).substr(0, 15), ".............  ");
    assert_text_eq(shown(1).substr(0, 15), ".#####.......  ");
    assert_text_eq(shown(7).substr(0, 15), "...#.........  ");
    ck_assert_int_eq(vela_picture_text(&p.record, -4, -7, "TT", 2, &white, nullptr), 0);
    assert_text_eq(shown(6).substr(0, 16), "##.#........##  ");
    std::fill_n(p.record.planes[0].data, 480, uint8_t{7});
    ck_assert_int_eq(vela_picture_line(&p.record, 20, -5, 50, 10, 1, &white), 0);
    for (int x = 30; x < 40; ++x)
        ck_assert_int_eq(shown((x - 30) / 2).at(static_cast<size_t>(x)),
                         (x % 2) ? shown((x - 30) / 2).at(static_cast<size_t>(x)) : '#');
    ck_assert_int_eq(vela_picture_line(&p.record, 0, 0, 1000001, 0, 1, &white), 1);
    ck_assert_int_eq(vela_picture_text(&p.record, 0, 0, "X", 0, &white, nullptr), 1);
}

TEST(what_does_not_fit_is_refused_before_anything_is_written) {
    const memory from(VELA_NV12, VELA_BT601_FULL, 9, 5, 2, 2), to(VELA_YUYV, VELA_BT601_FULL, 9, 5, 2, 3);
    const auto is_refused = [&](auto &&change) {
        vela_picture broken = to.record;
        change(broken);
        const vela_rgb ink = kGreen;
        const vela_run run = {0, 0, 9};
        ck_assert_int_eq(vela_picture_convert(&from.record, &broken), 1);
        if (broken.width == 9 && broken.planes[0].data != from.record.planes[0].data) {
            ck_assert_int_eq(vela_picture_convert(&broken, &from.record), 1);
            ck_assert_int_eq(vela_picture_is_valid(&broken), 0);
            ck_assert_int_eq(vela_picture_hide(&broken, &run, 1, nullptr), 1);
            ck_assert_int_eq(vela_picture_text(&broken, 0, 0, "X", 1, &ink, &ink), 1);
            ck_assert_int_eq(vela_picture_line(&broken, 0, 0, 3, 3, 1, &ink), 1);
        }
    };
    is_refused([](vela_picture &p) { p.width = 8; });
    is_refused([](vela_picture &p) { p.format = VELA_GREY + 1; });
    is_refused([](vela_picture &p) { p.format = -1; });
    is_refused([](vela_picture &p) { p.colours = VELA_BT709_FULL + 1; });
    is_refused([](vela_picture &p) { p.height = 0; });
    is_refused([](vela_picture &p) { p.height = 6; });
    is_refused([](vela_picture &p) { --p.planes[0].size; });
    is_refused([](vela_picture &p) { p.planes[0].stride = 19; });
    is_refused([](vela_picture &p) { p.planes[0].stride = SIZE_MAX / 2; });
    is_refused([](vela_picture &p) { p.planes[0].data = nullptr; });
    is_refused([&](vela_picture &p) {
        p.planes[0].data = from.record.planes[0].data;
        p.planes[0].size = SIZE_MAX / 2;
    });
    const vela_run run = {0, 0, 9};
    for (const vela_cover &cover : {vela_cover{VELA_BLOCKS, 1, {}}, {VELA_BLUR, 65536, {}}, {3, 8, {}}, {-1, 8, {}}})
        ck_assert_int_eq(vela_picture_hide(&to.record, &run, 1, &cover), 1);
    ck_assert(from.bytes() == from.initial);
    ck_assert(to.bytes() == to.initial);
    vela_picture huge = {65535, 65536, VELA_RGB24, 0, {}};
    ck_assert_uint_eq(vela_picture_lay_out(&huge, nullptr, 0), 0);
}

TEST(a_mask_on_nv12_hides_what_it_covers) {
    using namespace vela::overlay;
    std::vector<uint8_t> bytes(picture::size(picture::format::nv12, 641, 361));
    const picture p = value_of(picture::make(picture::format::nv12, picture::colours::bt709_studio, 641, 361, bytes));
    ck_assert(!picture::make(picture::format::nv12, picture::colours::bt709_studio, 641, 361,
                             std::span(bytes).first(bytes.size() - 1)));
    const direction corners[] = {{-6, -3}, {5, -4}, {7, 6}, {-3, 4}};
    mask door = value_of(mask::make(corners));
    const view seen = value_of(view::make(641, 361, {3, 1}, 40.0));
    for (const picture::cover &how : {picture::cover(), picture::cover::blocks(16), picture::cover::blur(16)}) {
        std::fill(bytes.begin(), bytes.end(), uint8_t{99});
        bytes[641 * 180 + 320] = 200;
        ck_assert(p.hide(door, seen, how));
        door.draw(seen, [&](int y, int begin, int end) {
            for (int x = begin; x < end; ++x)
                ck_assert_int_le(bytes[static_cast<size_t>(641 * y + x)], how.record().style == VELA_SOLID ? 16 : 100);
        });
    }
    ck_assert(!p.hide(door, value_of(view::make(640, 361, {3, 1}, 40.0))));
    ck_assert(!p.hide(door, seen, picture::cover::blocks(1)));
    for (const auto &[from, to] : std::array<std::array<vela::overlay::position, 2>, 4>{
             {{{{NAN, 0}, {1, 0}}}, {{{0, NAN}, {1, 0}}}, {{{0, 0}, {1e7, 0}}}, {{{0, 0}, {0, NAN}}}}})
        ck_assert_msg(!p.line(from, to), "from %g, %g to %g, %g", from.x, from.y, to.x, to.y);
    ck_assert(p.line({0, 0}, {640, 360}));
}

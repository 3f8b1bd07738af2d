// Masks and paths on the view, against a model that goes point by point, and against the sphere map.
#include "models/overlay.hpp"
#include "generated.hpp"
#include "support.hpp"
#include <complex>
#include <vela/spheremap.h>

namespace {

using namespace vela::overlay;
using corners = std::vector<direction>;

view usual_view() { return value_of(view::make(1920, 1080, {30, 10}, 60)); }

mask mask_of(const corners &polygon) { return value_of(mask::make(polygon)); }

} // namespace

TEST(masks_cover_the_inside_of_the_model) {
    for (uint32_t i = 0; i < 300; ++i) {
        generator random{i};
        const auto below = [&random](int limit) { return random.below(static_cast<uint32_t>(limit)); };
        const auto [polygon, lens] = model::any_mask(below);
        model::check_mask(polygon, lens, below, 12);
    }
}

// The last rows have edges through the anchors of the winding number, or a corner on the scanline of one.
TEST(the_inside_is_the_smaller_region_or_wound_around) {
    const struct {
        corners polygon;
        direction inside, outside;
    } rows[] = {
        {{{0, -20}, {90, -20}, {180, -20}, {270, -20}}, {5, -40}, {0, 0}},
        {{{-80, 5}, {0, 85}, {80, 5}, {0, -85}}, {0, 0}, {180, 0}},
        {{{-10, -5}, {10, -5}, {0, 9}, {-10, -5}, {10, -5}, {0, 9}}, {0, 0}, {180, 0}},
        {{{-2, 0}, {90, 88}, {-178, 0}, {90, -88}}, {90, 0}, {-90, 0}},
        {{{95.927504192390174, 11}, {95.927504192390174, 22}, {106, 16}}, {99, 16}, {93, 16}},
        {{{80, 5.2498575113398438}, {60, 75}, {60, -75}}, {70, 0}, {250, 0}},
        {{{180, -7.4805088917082738}, {160, 75}, {160, -75}}, {170, 0}, {350, 0}},
        {{{280, 49.033731101805635}, {260, 75}, {260, -75}}, {270, 0}, {90, 0}},
    };
    for (const auto &[polygon, inside, outside] : rows) {
        mask shape = mask_of(polygon);
        for (const auto &[at, is_inside] : {std::pair(inside, true), std::pair(outside, false)}) {
            const view pixel = value_of(view::make(1, 1, at, 1));
            agree("contains", std::array{at.pan, at.tilt}, shape.contains(at), is_inside);
            agree("runs", std::array{at.pan, at.tilt}, shape.runs(pixel, {}, coverage::centres) == 1, is_inside);
        }
    }
}

// Without area: nothing by centres, the line itself conservatively.
TEST(a_line_is_covered_conservatively_only) {
    const view seen = usual_view();
    mask line = mask_of({{25, 12}, {35, 12}, {25, 12}});
    ck_assert_uint_eq(line.runs(seen, {}, coverage::centres), 0);
    std::vector<run> runs(line.runs(seen, {}));
    ck_assert_uint_ge(runs.size(), 1);
    ck_assert_uint_eq(line.runs(seen, runs), runs.size());
    for (const run &r : runs)
        ck_assert_int_lt(r.end - r.begin, 330);
    // A span that is too short: as many as fit, and the number of all.
    run one[2] = {{-1, -1, -1}, {-1, -1, -1}};
    ck_assert_uint_eq(line.runs(seen, std::span(one, 1)), runs.size());
    ck_assert_int_eq(one[0].y, runs[0].y);
    ck_assert_int_eq(one[1].y, -1);
}

TEST(records_of_c_make_the_same_masks) {
    smap_sphere_pt points[] = {{20 * 1024, 4 * 1024}, {40 * 1024, 5 * 1024}, {28 * 1024, 20 * 1024 + 512}};
    std::vector<run> runs[2] = {std::vector<run>(1080), std::vector<run>(1080)};
    mask from_record = value_of(mask::make(smap_sphere_poly{3, points}));
    mask from_directions = mask_of({{20, 4}, {40, 5}, {28, 20.5}});
    runs[0].resize(from_record.runs(usual_view(), runs[0]));
    runs[1].resize(from_directions.runs(usual_view(), runs[1]));
    ck_assert_uint_gt(runs[0].size(), 100);
    const auto is_same = [](const run &a, const run &b) { return a.y == b.y && a.begin == b.begin && a.end == b.end; };
    ck_assert(std::equal(runs[0].begin(), runs[0].end(), runs[1].begin(), runs[1].end(), is_same));
}

TEST(invalid_masks_views_and_paths_are_refused) {
    // clang-format off
    const corners refused[] = {
        {}, {{0, 0}, {1, 0}}, {{3, 3}, {3, 3}, {363, 3}}, {{0, 90}, {90, 90}, {180, 90}},
        {{0, 0}, {180, 0}, {90, 80}}, {{0, 0}, {1, 0}, {1, NAN}}, {{0, 0}, {INFINITY, 0}, {1, 1}}};
    // clang-format on
    for (const corners &polygon : refused)
        ck_assert(!mask::make(polygon));
    ck_assert(mask::make(corners{{0, 0}, {0, 0}, {5, 0}, {5, 5}, {360, 0}}).has_value());
    // The longest polygons: all sides cross each row.
    corners zigzag;
    for (int i = 0; i < 385; ++i)
        zigzag.push_back({i * 0.1, i % 2 ? 20.0 : -20.0});
    ck_assert(!mask::make(zigzag));
    zigzag.pop_back();
    ck_assert(mask::make(zigzag).has_value());
    ck_assert(!mask::make(smap_sphere_poly{0, nullptr}));
    for (const double fov : {0.0, -1.0, 9e-7, 181.0, std::nan("")})
        ck_assert(!view::make(640, 480, {0, 0}, fov));
    const view seen = usual_view();
    ck_assert(!view::make(0, 480, {0, 0}, 60));
    ck_assert(!view::make(640, 65536, {0, 0}, 60));
    ck_assert(view::make(65535, 1, {0, 0}, 180).has_value());
    ck_assert(!view::make(640, 480, {NAN, 0}, 60));
    ck_assert(!seen.project({NAN, 0}));
    ck_assert(!seen.unproject({NAN, 0}));
    ck_assert(!project_path(seen, corners{{0, 0}, {180, 0}}, [](position, position) {}));
    ck_assert(!unproject_polygon(seen, std::vector<position>{{0, 0}, {9000, 0}, {0, 9}}, [](direction) {}));
}

TEST(the_centre_is_in_the_middle_at_angles_of_any_size) {
    for (const double angle : {725.0, 3.6e16, -1e300})
        for (const direction centre : {direction{0, angle}, direction{angle, 0}}) {
            const position middle = value_of(value_of(view::make(640, 480, centre, 1e-6)).project(centre));
            ck_assert_double_eq_tol(middle.x, 320, 0.05);
            ck_assert_double_eq_tol(middle.y, 240, 0.05);
        }
}

// Records of the C functions: the projection inverts the unprojection to a twentieth of a pixel, and directions are
// those of the sphere map.
TEST(projection_and_unprojection_are_those_of_the_lens) {
    generator random{3};
    for (int i = 0; i < 3000; ++i) {
        const smap_view record = {1 + random.below(4000), 1 + random.below(3000), random.below(368640),
                                  random.below(184321) - 92160, 1024 + random.below(122880)};
        const smap_screen_pt pixel = {random.below(static_cast<uint32_t>(record.width)),
                                      random.below(static_cast<uint32_t>(record.height))};
        const model::lens lens = {
            record.width, record.height, {record.pan / 1024.0, record.tilt / 1024.0}, record.fov / 1024.0};
        const std::array input = {record.width, record.height, record.pan, record.tilt, record.fov, pixel.x, pixel.y};
        const std::array<double, 2> at = {static_cast<double>(pixel.x), static_cast<double>(pixel.y)};
        const view seen = value_of(view::make(record));
        const auto shown = seen.unproject({at[0], at[1]});
        agree("whether unproject() finds something", input, shown.has_value(), lens.to_rim(pixel.x, pixel.y) >= 0);
        if (!shown)
            continue;
        agree("whether pan is 0 to 360", input, 0 <= shown->pan && shown->pan <= 360, true);
        const model::vec3 p = model::towards(shown->pan, shown->tilt);
        agree_all("unproject", input, std::array{double(lens.x(p)), double(lens.y(p))}, at, 0.05);
        const position again = seen.project(*shown).value_or(position{NAN, NAN});
        if (lens.to_rim(pixel.x, pixel.y) > 1e-3)
            agree_all("project", input, std::array{again.x, again.y}, at, 0.05);
        smap_sphere_pt direction;
        smap_screen_pt_to_sphere_pt(&pixel, &record, &direction);
        agree_all("unproject beside the sphere map", input, p,
                  model::towards(direction.pan / 1024.0, direction.tilt / 1024.0), 3e-5);
    }
    ck_assert(!usual_view().project({210, -10}));
}

// Within half a pixel at a hundred points of each arc; what is between two lines is off the screen. Some paths go
// straight up.
TEST(paths_follow_their_arcs) {
    using complex = std::complex<double>;
    generator random{4};
    for (int i = 0; i < 300; ++i) {
        const double fov = 1 + random.below(120), off = i % 3 ? fov : 170, across = i % 50 ? 1 : 0;
        const direction centre = {random.below(360) * across, random.below(181) - 90.0};
        const auto near = [&](double middle) { return middle + off * (random.below(2001) - 1000) / 1000; };
        const corners path = {{near(centre.pan) * across, near(centre.tilt)},
                              {near(centre.pan) * across, near(centre.tilt)}};
        const model::lens lens = {1920, 1080, centre, fov};
        std::vector<std::array<complex, 2>> lines;
        const auto keep = [&](position from, position to) {
            for (const auto &[x, y] : {from, to})
                agree("whether a line is on the screen", std::array{x, y},
                      std::fabs(x - 959.5) < 960.001 && std::fabs(y - 539.5) < 540.001, true);
            lines.push_back({complex(from.x, from.y), {to.x, to.y}});
        };
        if (!project_path(value_of(view::make(1920, 1080, centre, fov)), path, keep))
            continue;
        ck_assert_uint_le(lines.size(), 40);
        const model::vec3 a = model::towards(path[0].pan, path[0].tilt), b = model::towards(path[1].pan, path[1].tilt);
        for (int part = 0; part <= 100; ++part) {
            const model::vec3 p = model::unit(model::mixed(100 - part, a, part, b));
            const complex at(double(lens.x(p)), double(lens.y(p)));
            if (model::dot(p, lens.forward) < 0 || std::fabs(at.real() - 959.5) > 959.9 ||
                std::fabs(at.imag() - 539.5) > 539.9)
                continue;
            double nearest = 1e9;
            for (const auto &[from, to] : lines) {
                const complex ahead = to - from;
                const double along = (std::conj(ahead) * (at - from)).real() / std::max(std::norm(ahead), 1e-9);
                nearest = std::min(nearest, std::abs(from + std::clamp(along, 0.0, 1.0) * ahead - at));
            }
            ck_assert_msg(nearest <= 0.5, "path %d: %g pixels off at %d %%", i, nearest, part);
        }
    }
}

// The mask of an unprojected polygon covers that polygon, within half a pixel of its edges.
TEST(an_unprojected_polygon_is_covered_by_its_mask) {
    generator random{5};
    for (int i = 0; i < 40; ++i) {
        const direction centre = {random.below(360) * 1.0, random.below(181) - 90.0};
        const view seen = value_of(view::make(1000, 600, centre, 1 + random.below(100)));
        const double left = random.below(400), top = random.below(200), right = 500 + random.below(400),
                     bottom = 300 + random.below(200);
        corners polygon;
        const position drawn[] = {{left, top}, {right, top}, {right, bottom}, {left, bottom}};
        ck_assert(unproject_polygon(seen, drawn, [&](direction d) { polygon.push_back(d); }));
        ck_assert_uint_le(polygon.size(), 200);
        for (size_t j = 0; j < polygon.size(); ++j) {
            const direction here = polygon[j], next = polygon[(j + 1) % polygon.size()];
            ck_assert_msg(here.pan != next.pan || here.tilt != next.tilt, "corner %zu of polygon %d is repeated", j, i);
        }
        double rows = top;
        const auto check = [&](int y, int begin, int end) {
            if (y > top && y < bottom) {
                agree_all("the ends of a row", std::array{i, y}, std::array{double(begin), end - 1.0}, {left, right},
                          1);
                ++rows;
            }
        };
        mask_of(polygon).draw(seen, check, coverage::centres);
        ck_assert_double_eq(rows, bottom - 1);
    }
}

// Every pixel is in one cell, with the position that a linear map gives it; a cell with an unknown corner says so.
TEST(the_cells_of_a_warp_cover_the_picture_once) {
    constexpr int kWidth = 37, kHeight = 18;
    std::vector<int> seen(kWidth * kHeight);
    int unknown = 0;
    const auto map = [](int x, int y) -> std::optional<source_position> {
        ck_assert(x % 16 == 0 && y % 16 == 0 && x < kWidth + 16 && y < kHeight + 16);
        return x < 48 ? std::optional(source_position{1600 * x - 160 * y, -320 * x + 48 * y}) : std::nullopt;
    };
    ck_assert(for_each_warp_cell(kWidth, kHeight, map, [&](const warp_cell &cell) {
        unknown += !cell.is_known;
        cell.for_each_row([&](int y, source_position from, source_position step) {
            for (int i = 0; i < cell.width; ++i) {
                const int x = cell.x + i;
                ++seen[static_cast<size_t>(y * kWidth + x)];
                if (cell.is_known)
                    agree_all("position", std::array{x, y},
                              std::array{double(from.u) + i * double(step.u), double(from.v) + i * double(step.v)},
                              {1600.0 * x - 160 * y, -320.0 * x + 48 * y});
            }
        });
    }));
    ck_assert_int_eq(unknown, 2);
    ck_assert(std::all_of(seen.begin(), seen.end(), [](int times) { return times == 1; }));
}

// A picture whose bytes are its coordinates shows where each pixel came from. The rows: the view itself, which is a
// copy; less than a pixel away; turned, tilted and zoomed; near the zenith; at the rim; and turned away.
TEST(a_warped_picture_shows_what_the_view_sees) {
    constexpr int kWidth = 250, kHeight = 150;
    constexpr uint32_t kBackground = 0xFF0000FF;
    const direction centre = {350, 10};
    const struct {
        direction from, to;
        double from_fov, to_fov, tolerance; // of the position, in pixels
        bool shows_some;
    } rows[] = {{centre, centre, 60, 60, 0, true},       {centre, {350.1, 10.05}, 60, 60, 0.02, true},
                {centre, {375, -4}, 60, 45, 0.1, true},  {centre, {330, 25}, 110, 100, 0.5, true},
                {{0, 80}, {160, 85}, 60, 60, 0.1, true}, {centre, {170, 5}, 60, 60, 0, false}};
    std::vector<uint32_t> picture, out(kWidth * kHeight);
    for (uint32_t y = 0; y < kHeight; ++y)
        for (uint32_t x = 0; x < kWidth; ++x)
            picture.push_back(x | y << 8 | 0x55AA0000);
    for (const auto &[from_centre, to_centre, from_fov, to_fov, tolerance, shows_some] : rows) {
        const view from = value_of(view::make(kWidth, kHeight, from_centre, from_fov)),
                   to = value_of(view::make(kWidth, kHeight, to_centre, to_fov));
        ck_assert(warp_picture(from, picture, to, kBackground, out));
        int shown = 0;
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) {
                const std::array input = {from_fov, to_centre.pan, to_centre.tilt, to_fov, double(x), double(y)};
                const uint32_t pixel = out[static_cast<size_t>(y * kWidth + x)];
                const auto seen = to.unproject({double(x), double(y)});
                const position at = seen ? from.project(*seen).value_or(position{-9, -9}) : position{-9, -9};
                const double inside = std::min({at.x + 0.5, at.y + 0.5, kWidth - 0.5 - at.x, kHeight - 0.5 - at.y});
                if (inside > tolerance) { // the pixels at the border reach half a pixel beyond their centres
                    agree("the other bytes", input, pixel >> 16, 0x55AAu);
                    agree_all("position", input, std::array{double(pixel & 255), double(pixel >> 8 & 255)},
                              {std::clamp(at.x, 0.0, kWidth - 1.0), std::clamp(at.y, 0.0, kHeight - 1.0)},
                              tolerance > 0 ? tolerance + 0.51 : 1e-9);
                    ++shown;
                } else if (inside < -tolerance) {
                    agree("background", input, pixel, kBackground);
                }
            }
        agree("whether it shows something", std::array{to_centre.pan, to_fov}, shown > 1000, shows_some);
    }
    const view seen = value_of(view::make(kWidth, kHeight, centre, 60));
    ck_assert(!warp_picture(seen, std::span(picture).first(kWidth * kHeight - 1), seen, 0, out));
    ck_assert(!warp_picture(seen, picture, seen, 0, std::span(out).first(kWidth * kHeight - 1)));
}

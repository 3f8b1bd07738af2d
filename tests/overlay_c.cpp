// The overlay for C gives what the C++ headers give, for each model of lenses.
#include "models/agree.hpp"
#include "support.hpp"
#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <vela/overlay.h>
#include <vela/overlay.hpp>

namespace {

using namespace vela::overlay;

struct freed {
    void operator()(vela_view *view) const { vela_view_free(view); }
    void operator()(vela_mask *mask) const { vela_mask_free(mask); }
};

constexpr int kWidth = 640, kHeight = 360;

std::unique_ptr<vela_view, freed> view_of(int model, const vela_orientation &where, double fov = 70) {
    vela_lens lens = vela_lens_of_fov(model, kWidth, kHeight, fov);
    lens.distortion[0] = model == VELA_LENS_AXES ? 0 : -0.05;
    lens.distortion[1] = model == VELA_LENS_PINHOLE ? 0.01 : 0;
    return std::unique_ptr<vela_view, freed>(vela_view_make(kWidth, kHeight, &where, &lens));
}

view same_view(int model, const vela_orientation &where) {
    const orientation o = {where.pan, where.tilt, where.roll};
    if (model == VELA_LENS_AXES)
        return value_of(view::make(kWidth, kHeight, direction{where.pan, where.tilt}, 70));
    if (model == VELA_LENS_PINHOLE) {
        pinhole lens = pinhole::of_fov(kWidth, kHeight, 70);
        lens.k1 = -0.05;
        lens.k2 = 0.01;
        return value_of(view::make(kWidth, kHeight, o, lens));
    }
    fisheye lens = fisheye::of_fov(kWidth, kHeight, 70);
    lens.k1 = -0.05;
    return value_of(view::make(kWidth, kHeight, o, lens));
}

} // namespace

TEST(each_lens_gives_what_the_headers_give) {
    constexpr vela_direction corners[] = {{20, -5}, {28, -6}, {30, 9}, {22, 3}};
    const std::unique_ptr<vela_mask, freed> hidden(vela_mask_make(corners, 4));
    mask same = value_of(mask::make(std::array<direction, 4>{{{20, -5}, {28, -6}, {30, 9}, {22, 3}}}));
    for (const int model : {VELA_LENS_AXES, VELA_LENS_PINHOLE, VELA_LENS_FISHEYE}) {
        const double roll = model == VELA_LENS_AXES ? 0 : 15;
        const vela_orientation where = {25, 2, roll}, later = {29, 1, roll};
        const auto seen = view_of(model, where), last = view_of(model, later);
        const view first = same_view(model, where), second = same_view(model, later);
        vela_direction ahead = {};
        vela_position at = {};
        ck_assert_int_eq(vela_view_project(seen.get(), &corners[2], &at), 1);
        const position expected = value_of(first.project({30, 9}));
        agree_all("project", std::array{model}, std::array{at.x, at.y}, std::array{expected.x, expected.y});
        ck_assert_int_eq(vela_view_unproject(seen.get(), &at, &ahead), 1);
        agree_all("unproject", std::array{model}, std::array{ahead.pan, ahead.tilt}, std::array{30.0, 9.0}, 0.01);
        const vela_direction opposite = {-155, -2};
        ck_assert_int_eq(vela_view_project(seen.get(), &opposite, &at), 0);
        for (const int which : {0, 1, 2, 3}) { // one view, a sweep, a margin, centres
            std::vector<int> runs, got;
            const auto keep = [&](int y, int begin, int end) { runs.insert(runs.end(), {y, begin, end}); };
            which == 0   ? same.draw(first, keep)
            : which == 1 ? same.draw(first, second, keep)
            : which == 2 ? same.draw(first, 1.5, keep)
                         : same.draw(first, keep, coverage::centres);
            std::vector<vela_run> out(runs.size() / 3);
            for (const size_t capacity : {size_t{2}, out.size()})
                ck_assert_uint_eq(
                    which == 3 ? vela_mask_runs_by_centres(hidden.get(), seen.get(), out.data(), capacity)
                    : which == 2
                        ? vela_mask_runs_within(hidden.get(), seen.get(), 1.5, out.data(), capacity)
                        : vela_mask_runs(hidden.get(), seen.get(), which ? last.get() : nullptr, out.data(), capacity),
                    out.size());
            for (const vela_run &run : out)
                got.insert(got.end(), {run.y, run.begin, run.end});
            agree_all("runs", std::array{model, which}, got, runs);
        }
    }
    const vela_direction inside = {25, 0}, outside = {25, 20};
    ck_assert_int_eq(vela_mask_contains(hidden.get(), &inside), 1);
    ck_assert_int_eq(vela_mask_contains(hidden.get(), &outside), 0);
}

TEST(paths_polygons_and_pictures_are_those_of_the_headers) {
    constexpr vela_direction path[] = {{0, -20}, {28, -6}, {60, 30}};
    constexpr vela_position corners[] = {{10, 20}, {600, 30}, {300, 300}};
    for (const int model : {VELA_LENS_AXES, VELA_LENS_PINHOLE, VELA_LENS_FISHEYE}) {
        const vela_orientation where = {25, 2, model == VELA_LENS_AXES ? 0.0 : 15.0}, turned = {40, -9, where.roll};
        const auto seen = view_of(model, where), taken = view_of(model, turned);
        const view first = same_view(model, where), second = same_view(model, turned);

        std::vector<double> expected, got;
        const std::array<direction, 3> directions = {{{0, -20}, {28, -6}, {60, 30}}};
        ck_assert(project_path(first, directions, [&](position from, position to) {
            expected.insert(expected.end(), {from.x, from.y, to.x, to.y});
        }));
        std::vector<vela_line> lines(expected.size() / 4);
        for (const size_t capacity : {size_t{0}, lines.size()})
            ck_assert_uint_eq(vela_view_project_path(seen.get(), path, 3, lines.data(), capacity), lines.size());
        for (const vela_line &line : lines)
            got.insert(got.end(), {line.from.x, line.from.y, line.to.x, line.to.y});
        agree_all("path", std::array{model}, got, expected);

        expected.clear();
        got.clear();
        const std::array<position, 3> positions = {{{10, 20}, {600, 30}, {300, 300}}};
        ck_assert(unproject_polygon(first, positions, [&](direction corner) {
            expected.insert(expected.end(), {corner.pan, corner.tilt});
        }));
        std::vector<vela_direction> shown(expected.size() / 2);
        for (const size_t capacity : {size_t{2}, shown.size()})
            ck_assert_uint_eq(vela_view_unproject_polygon(seen.get(), corners, 3, shown.data(), capacity),
                              shown.size());
        for (const vela_direction &corner : shown)
            got.insert(got.end(), {corner.pan, corner.tilt});
        agree_all("polygon", std::array{model}, got, expected);

        constexpr uint32_t kBackground = 77;
        std::vector<uint32_t> pixels(size_t{kWidth} * kHeight), drawn(pixels.size()), same(pixels.size());
        for (uint32_t &pixel : pixels)
            pixel = static_cast<uint32_t>(&pixel - pixels.data()) * 2654435761u;
        ck_assert(warp_picture(second, pixels, first, kBackground, same));
        ck_assert_int_eq(vela_view_warp(taken.get(), pixels.data(), pixels.size(), seen.get(), kBackground,
                                        drawn.data(), drawn.size()),
                         0);
        agree_all("picture", std::array{model}, drawn, same);
    }
}

TEST(what_is_refused_writes_nothing) {
    const auto seen = view_of(VELA_LENS_PINHOLE, {0, 0, 0});
    const vela_direction opposite[] = {{0, 0}, {180, 0}}, endless[] = {{0, 0}, {std::nan(""), 0}};
    vela_line line = {{1, 2}, {3, 4}};
    for (const vela_direction *path : {opposite, endless})
        ck_assert(vela_view_project_path(seen.get(), path, 2, &line, 1) == SIZE_MAX);
    ck_assert_uint_eq(vela_view_project_path(seen.get(), nullptr, 0, nullptr, 0), 0);
    ck_assert(line.from.x == 1 && line.to.y == 4);
    const vela_position nowhere[] = {{0, 0}, {INFINITY, 0}};
    vela_direction shown = {5, 6};
    ck_assert(vela_view_unproject_polygon(seen.get(), nowhere, 2, &shown, 1) == SIZE_MAX);
    ck_assert(shown.pan == 5);
    const size_t all = size_t{kWidth} * kHeight;
    std::vector<uint32_t> pixels(all), out(all, 9);
    for (const auto &[count, capacity] : {std::pair(all - 1, all), std::pair(all, all - 1)})
        ck_assert_int_eq(vela_view_warp(seen.get(), pixels.data(), count, seen.get(), 0, out.data(), capacity), 1);
    ck_assert(out == std::vector<uint32_t>(all, 9));
}

TEST(what_is_out_of_range_is_null) {
    for (int model = -1; model <= VELA_LENS_FISHEYE + 1; ++model)
        for (const double fov : {0.0, -1.0, 361.0, std::nan("")})
            ck_assert(!view_of(model, {0, 0, 0}, fov));
    ck_assert(!view_of(VELA_LENS_AXES, {0, 0, 1}));
    ck_assert(!view_of(VELA_LENS_AXES, {0, 91, 0}));
    ck_assert(!view_of(VELA_LENS_PINHOLE, {0, INFINITY, 0}));
    const vela_direction corners[] = {{0, 0}, {180, 0}, {90, 45}};
    for (const size_t count : {size_t{0}, size_t{2}, size_t{3}})
        ck_assert_ptr_null(vela_mask_make(corners, count));
    vela_view_free(nullptr);
    vela_mask_free(nullptr);
}

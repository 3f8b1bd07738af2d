// Views by the lenses of real cameras: projection, masks, sweeps, paths and polygons, against a model that asks point
// by point.
#include "generated.hpp"
#include "models/lens.hpp"
#include "support.hpp"
#include <ctime>
#include <numbers>

namespace {

using namespace vela::overlay;
using model::camera, model::kind, model::point, model::real;
using corners = std::vector<direction>;

constexpr kind kinds[] = {kind::axes, kind::pinhole, kind::distorted, kind::fisheye, kind::distorted_fisheye};

auto below_of(generator &random) {
    return [&random](int limit) { return random.below(static_cast<uint32_t>(limit)); };
}

} // namespace

// The positions are judged by the model's formula; beyond the rim there is nothing, a twentieth of a pixel aside.
TEST(positions_are_the_models_both_ways) {
    for (const kind which : kinds)
        for (uint32_t i = 0; i < 10; ++i) {
            generator random{1000 * i + static_cast<uint32_t>(which)};
            const camera seen = model::any_scene(which, below_of(random)).second;
            const auto made = seen.made();
            for (int j = 0; made && j < 30; ++j) {
                const double x = random.below(10 * static_cast<uint32_t>(seen.width)) / 10.0,
                             y = random.below(10 * static_cast<uint32_t>(seen.height)) / 10.0;
                std::vector<double> input = seen.numbers();
                input.insert(input.end(), {x, y});
                const auto shown = made->unproject({x, y});
                if (!shown)
                    continue;
                ck_assert(0 <= shown->pan && shown->pan < 360 && std::fabs(shown->tilt) <= 90);
                const auto again = seen.project(model::towards(shown->pan, shown->tilt));
                agree("whether the model sees what is shown", input, again.has_value(), true);
                agree_all("unproject", input, std::array{double((*again)[0]), double((*again)[1])}, std::array{x, y},
                          0.05);
                const position there = value_of(made->project(*shown));
                agree_all("project", input, std::array{there.x, there.y}, std::array{x, y}, 0.05);
            }
            // Any direction: a position, if the model has one; and the position shows that direction.
            for (int j = 0; made && j < 30; ++j) {
                const direction any = {random.below(36000) / 100.0, random.below(18001) / 100.0 - 90};
                const auto expected = seen.project(model::towards(any.pan, any.tilt));
                const auto got = made->project(any);
                std::vector<double> input = seen.numbers();
                input.insert(input.end(), {any.pan, any.tilt});
                if (!expected || !seen.shows((*expected)[0], (*expected)[1]))
                    continue;
                agree("whether a direction is projected", input, got.has_value(), true);
                agree_all("project", input, std::array{got->x, got->y},
                          std::array{double((*expected)[0]), double((*expected)[1])}, 0.05);
                agree("whether its position shows something", input, made->unproject(*got).has_value(), true);
            }
        }
}

TEST(masks_cover_what_the_model_has_inside) {
    for (const kind which : kinds)
        for (const coverage how : {coverage::conservative, coverage::centres})
            // A lens that folds within a wedge alone, arcs of great circles that never leave the cone, one that passes
            // the picture less than 1.5 pixels beside it, and folds that bend to either side.
            for (const uint32_t i : {0, 1, 2, 521, 690, 3941, 8575, 9194}) {
                generator random{7919 * i + static_cast<uint32_t>(which)};
                const auto [polygon, seen] = model::any_scene(which, below_of(random));
                const real step = i >= 3941 ? 0.3 : 0.6;
                const auto found = model::judge_mask(polygon, seen, how, below_of(random), 12, step);
                ck_assert_msg(!found || (found->open == 0 && found->too_far == 0), "%s %u: %ld open, %ld too far",
                              model::kKinds[size_t(which)], i, found->open, found->too_far);
            }
}

TEST(sweeps_cover_every_moment) {
    for (const kind which : kinds)
        for (const uint32_t i : {0, 1, 37, 178, 258}) {
            // A mask without width that hardly moves; a lens that bends far more beside the picture than in it; one
            // that folds.
            if (i > 1 && which != (i == 37 ? kind::distorted_fisheye : kind::distorted))
                continue;
            generator random{7919 * i + static_cast<uint32_t>(which)};
            const auto scene = model::any_sweep(which, below_of(random));
            const int moments = i == 178 ? 40 : i == 258 ? 4 : 10; // few where the model takes long
            const auto found =
                model::judge_sweep(scene.corners, scene.from, scene.to, below_of(random), 8, moments, 0.6);
            ck_assert_msg(!found || (found->open == 0 && found->too_far == 0), "%s %u: %ld open, %ld too far",
                          model::kKinds[size_t(which)], i, found->open, found->too_far);
        }
    // Wherever a view of one degree has been that turns and becomes one of fifty, in all of the time that this may
    // take.
    mask door = value_of(mask::make(corners{{10, -5}, {20, -5}, {20, 5}, {10, 5}}));
    for (const auto &[from, to] : {std::pair(view::make(640, 360, {-72, 2, 60}, pinhole::of_fov(640, 360, 1)),
                                             view::make(640, 360, {11, -7, 7}, pinhole::of_fov(640, 360, 50))),
                                   std::pair(view::make(640, 360, {-72, 2}, 1), view::make(640, 360, {11, -7}, 50))}) {
        const auto begin = std::clock();
        int pixels = 0, at_last = 0;
        door.draw(value_of(from), value_of(to), [&](int, int left, int right) { pixels += right - left; });
        ck_assert_double_le(static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC, 5);
        door.draw(value_of(to), [&](int, int left, int right) { at_last += right - left; });
        ck_assert_int_lt(at_last, pixels);
    }
    // Between pictures of different sizes, or lenses of different models, all is covered.
    mask any = value_of(mask::make(corners{{0, 0}, {5, 0}, {0, 5}}));
    const view small = value_of(view::make(4, 3, orientation{0, 0}, pinhole::of_fov(4, 3, 60)));
    for (const auto &other : {view::make(4, 4, orientation{0, 0}, pinhole::of_fov(4, 4, 60)),
                              view::make(4, 3, orientation{0, 0}, fisheye::of_fov(4, 3, 60))}) {
        int pixels = 0;
        any.draw(small, value_of(other), [&](int, int begin, int end) { pixels += end - begin; });
        ck_assert_int_eq(pixels, 12);
    }
}

// More points of a row than there is memory for, at two ends of it: what is between stays open.
TEST(crowded_rows_keep_their_gaps) {
    internal::scanline line(4);
    line.clear(0.8);
    for (int i = 0; i < 20; ++i)
        line.touch((i % 2 ? 50 : 10) + i * 0.25, (i % 2 ? 50 : 10) + i * 0.25);
    std::vector<std::pair<int, int>> runs;
    const auto keep = [&](int, int begin, int end) { runs.emplace_back(begin, end); };
    line.emit(0, 100, 0.8, keep);
    const std::vector<std::pair<int, int>> expected = {{10, 16}, {50, 56}};
    ck_assert(runs == expected);
}

// By the angle between a direction and each arc.
TEST(margins_cover_what_is_within_them) {
    for (const kind which : kinds)
        // At first any; then what is within the margin near a pixel is too thin for the nearest look.
        for (const uint32_t i : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 283, 611, 1112, 2558, 2862, 2995}) {
            generator random{7919 * i + static_cast<uint32_t>(which)};
            const auto below = below_of(random);
            const auto [polygon, large] = model::any_scene(which, below);
            const camera seen(97, 61, large.where, model::any_lens_of(which, 97, 61, below));
            const model::mask truth(polygon);
            const auto made = seen.made();
            auto drawn = mask::make(polygon);
            const double margin = i % 2 ? below(1000) / 100.0 : below(80);
            if (!made || !drawn || !truth.is_clear)
                continue;
            model::picture covered{97, 61};
            drawn->draw(*made, margin, covered.filler(seen.numbers()));
            const auto is_within = [&](double x, double y) {
                const auto shown = made->unproject({x, y});
                if (!shown)
                    return false;
                const model::vec3 p = model::towards(shown->pan, shown->tilt);
                const model::vec3 q = truth.nearest(p);
                return truth.contains(p) ||
                       std::atan2(model::length(model::cross(p, q)), model::dot(p, q)) <= margin * model::kDegree;
            };
            for (int j = 0; j < 100; ++j) {
                const int x = below(97), y = below(61);
                bool is_touched = false, is_near = false;
                for (const auto &[dx, dy] : {point{0, 0}, {0.49, 0.49}, {-0.49, 0.49}, {0.49, -0.49}, {-0.49, -0.49}})
                    is_touched = is_touched || is_within(x + dx, y + dy);
                const bool is_covered = covered.is_covered(x, y);
                // Directions around it; the nearest one within the margin, for an edge without width; more around it.
                const auto look_around = [&](int rings, int turns) {
                    for (int k = 0; k < rings * turns && !is_near; ++k) {
                        const double away = (k % rings + 1) * 1.5 / rings,
                                     turn = k / rings * 2 * std::numbers::pi / turns;
                        is_near = is_within(x + away * std::cos(turn), y + away * std::sin(turn));
                    }
                };
                if (is_covered && !is_touched) {
                    look_around(3, 24);
                    if (const auto shown = made->unproject({double(x), double(y)}); shown && !is_near) {
                        const model::vec3 p = model::towards(shown->pan, shown->tilt), q = truth.nearest(p);
                        const real angle = std::atan2(model::length(model::cross(p, q)), model::dot(p, q)),
                                   part = margin * model::kDegree;
                        const auto at =
                            seen.project(model::unit(model::mixed(std::sin(part), p, std::sin(angle - part), q)));
                        is_near = at && std::hypot((*at)[0] - x, (*at)[1] - y) <= 1.5;
                    }
                    look_around(30, 96);
                }
                ck_assert_msg(is_covered ? is_touched || is_near : !is_touched, "%s %u: %d, %d is covered: %d",
                              model::kKinds[size_t(which)], i, x, y, is_covered);
            }
        }
    mask any = value_of(mask::make(corners{{0, 0}, {5, 0}, {0, 5}}));
    const view away = value_of(view::make(4, 3, orientation{90, 0}, pinhole::of_fov(4, 3, 60)));
    for (const auto &[margin, expected] : {std::pair(-1.0, 0), {std::nan(""), 0}, {90.0, 12}, {INFINITY, 12}}) {
        int pixels = 0;
        any.draw(away, margin, [&](int, int begin, int end) { pixels += end - begin; });
        ck_assert_int_eq(pixels, expected);
    }
}

// A hundred points of each arc are half a pixel from a line at most.
TEST(paths_follow_their_arcs) {
    for (const kind which : kinds)
        for (uint32_t i = 0; i < 20; ++i) {
            generator random{31 * i + static_cast<uint32_t>(which)};
            const auto [polygon, seen] = model::any_scene(which, below_of(random));
            const auto made = seen.made();
            std::vector<std::array<position, 2>> lines;
            const auto keep = [&](position from, position to) { lines.push_back({from, to}); };
            if (!made || !project_path(*made, std::span(polygon).first(2), keep))
                continue;
            const model::vec3 a = model::towards(polygon[0].pan, polygon[0].tilt),
                              b = model::towards(polygon[1].pan, polygon[1].tilt);
            for (int part = 1; part < 100; ++part) {
                const auto at = seen.project(model::unit(model::mixed(100 - part, a, part, b)));
                if (!at || std::fabs((*at)[0] - (seen.width - 1) / 2.0) > seen.width / 2.0 - 1.6 ||
                    std::fabs((*at)[1] - (seen.height - 1) / 2.0) > seen.height / 2.0 - 1.6)
                    continue;
                real nearest = 1e9;
                for (const auto &[from, to] : lines) {
                    const real x = to.x - from.x, y = to.y - from.y, dx = (*at)[0] - from.x, dy = (*at)[1] - from.y,
                               along = std::clamp<real>((x * dx + y * dy) / std::max<real>(x * x + y * y, 1e-12), 0, 1);
                    nearest = std::min(nearest, std::hypot(dx - along * x, dy - along * y));
                }
                ck_assert_msg(nearest <= 0.5, "%s %u: %g pixels off at %d %%", model::kKinds[size_t(which)], i, nearest,
                              part);
            }
        }
}

// The arcs between the directions of a side are half a pixel from it at most.
TEST(unprojected_polygons_keep_their_sides) {
    for (const kind which : kinds)
        for (uint32_t i = 0; i < 20; ++i) {
            generator random{97 * i + static_cast<uint32_t>(which)};
            const camera seen = model::any_scene(which, below_of(random)).second;
            const double left = seen.width * 0.4, right = seen.width * 0.6, top = seen.height * 0.4,
                         bottom = seen.height * 0.6;
            const std::vector<position> drawn = {{left, top}, {right, top}, {right, bottom}, {left, bottom}};
            corners polygon;
            const auto made = seen.made();
            if (!made || !unproject_polygon(*made, drawn, [&](direction d) { polygon.push_back(d); }))
                continue;
            for (size_t j = 0; j < polygon.size(); ++j) {
                const direction &next = polygon[(j + 1) % polygon.size()];
                const model::vec3 a = model::towards(polygon[j].pan, polygon[j].tilt),
                                  b = model::towards(next.pan, next.tilt);
                for (int part = 0; part < 8; ++part) {
                    const auto at = seen.project(model::unit(model::mixed(8 - part, a, part, b)));
                    if (!at)
                        continue;
                    const real off = std::min({std::fabs((*at)[0] - left), std::fabs((*at)[0] - right),
                                               std::fabs((*at)[1] - top), std::fabs((*at)[1] - bottom)});
                    ck_assert_msg(off <= 0.5, "%s %u: %g pixels off", model::kKinds[size_t(which)], i, off);
                }
            }
        }
}

TEST(lenses_that_show_nothing_are_refused) {
    const auto makes = [](auto lens, int width = 640, int height = 480, orientation where = {0, 0}) {
        return view::make(width, height, where, lens).has_value();
    };
    ck_assert(makes(pinhole{500, 500, 320, 240}));
    ck_assert(makes(fisheye{200, 200, 320, 240}));
    ck_assert(makes(pinhole{500, 500, -65535, 240}));
    const pinhole refused[] = {{0, 500, 320, 240},    {500, -1, 320, 240},        {NAN, 500, 320, 240},
                               {500, INFINITY, 0, 0}, {500, 500, -65536, 0},      {500, 500, 0, 66016},
                               {500, 500, 0, 0, NAN}, {500, 500, 320, 240, -1e12}};
    for (const pinhole &lens : refused)
        ck_assert(!makes(lens));
    ck_assert(!makes(fisheye{0.01, 0.01, 320, 240}));
    ck_assert(!makes(fisheye{200, 200, 320, 240, 0, 0, 0, NAN}));
    for (const double degrees : {0.0, 180.0, -1.0, std::nan("")})
        ck_assert(!makes(pinhole::of_fov(640, 480, degrees)));
    for (const double degrees : {0.0, 361.0, std::nan("")})
        ck_assert(!makes(fisheye::of_fov(640, 480, degrees)));
    ck_assert(makes(fisheye::of_fov(640, 480, 360)));
    for (const orientation &where : {orientation{NAN, 0}, {0, 90.5}, {0, 0, INFINITY}})
        ck_assert(!makes(pinhole{500, 500, 320, 240}, 640, 480, where));
    ck_assert(!makes(pinhole{500, 500, 320, 240}, 0));
}

// By definition: the width spans the field of view, and a roll of 90 degrees shows a greater pan at the upper edge.
TEST(axes_and_fields_of_view_are_as_documented) {
    for (const double roll : {0.0, 90.0}) {
        const view seen = value_of(view::make(640, 480, {50, 0, roll}, pinhole::of_fov(640, 480, 90)));
        const direction side = value_of(seen.unproject({640, 240})), upper = value_of(seen.unproject({320, 0}));
        ck_assert_double_eq_tol(side.pan, roll == 0 ? 95 : 50, 1e-9);
        ck_assert_double_eq_tol(side.tilt, roll == 0 ? 0 : -45, 1e-9);
        ck_assert_double_eq_tol(upper.pan, roll == 0 ? 50 : 50 + std::atan(0.75) * 180 / std::numbers::pi, 1e-9);
    }
    const view wide = value_of(view::make(641, 480, {50, 0}, fisheye::of_fov(641, 480, 180)));
    ck_assert_double_eq_tol(value_of(wide.unproject({320 + 641 / 4.0, 240})).pan, 95, 1e-9);
    // Right behind there is nothing.
    const view all = value_of(view::make(640, 640, {50, 0}, fisheye::of_fov(640, 640, 360)));
    ck_assert(!all.project({230, 0}));
    ck_assert(all.project({230, 0.001}));
}

// The rows' own lenses, those of the first and the last beyond them, and a natural cubic spline in between.
TEST(a_zoom_table_gives_the_lens_of_a_position) {
    const std::vector<zoom<pinhole>::row> rows = {
        {0, {1000, 1000, 960, 540, -0.2}}, {10, {2000, 2000, 962, 541, -0.1}}, {30, {9000, 9000, 970, 545, 0}}};
    const auto lenses = value_of(zoom<pinhole>::make(rows));
    for (const auto &[position, lens] : rows)
        ck_assert(lenses.at(position) == lens);
    ck_assert(lenses.at(-5) == rows[0].lens && lenses.at(99) == rows[2].lens);
    // The second derivative in the middle solves 2 (10 + 20) m = 6 (350 - 100).
    const double m = 25, a = 0.4, b = 0.6;
    ck_assert_double_eq_tol(lenses.at(6).fx, a * 1000 + b * 2000 + (b * b * b - b) * m * 100 / 6, 1e-9);
    ck_assert(!zoom<pinhole>::make({}));
    const std::vector<zoom<pinhole>::row> falling = {{1, {}}, {1, {}}}, unknown = {{0, {NAN}}};
    ck_assert(!zoom<pinhole>::make(falling));
    ck_assert(!zoom<pinhole>::make(unknown));
}

namespace {

// Sightings of some points by a camera that turns, with noise, in a part of the picture; every 20th is off by 40
// pixels.
template <class Lens>
std::vector<sighting> sightings_of(const Lens &lens, double noise, double across, double down) {
    generator random{11};
    const auto within = [&random](double range) { return range * (random.below(20001) - 10000) / 10000; };
    const view middle = value_of(view::make(1920, 1080, orientation{40, 5}, lens));
    std::vector<sighting> all;
    std::vector<direction> points;
    while (points.size() < 40)
        if (const auto seen = middle.unproject({960 + within(960 * across), 540 + within(540 * down)}))
            points.push_back(*seen);
    for (int i = 0; i < 12; ++i) {
        const orientation where = {40 + (i % 4 - 1.5) * 8 * across, 5 + (i / 4 - 1) * 6 * down, i % 3 * 1.0};
        const view seen = value_of(view::make(1920, 1080, where, lens));
        for (size_t which = 0; which < points.size(); ++which) {
            const auto at = seen.project(points[which]);
            if (!at || std::fabs(at->x - 960) > 960 || std::fabs(at->y - 540) > 540)
                continue;
            const double off = noise > 0 && all.size() % 20 == 19 ? 40 : 0;
            all.push_back({where, {at->x + within(noise) + off, at->y + within(noise)}, which});
        }
    }
    return all;
}

template <class Lens>
void check_calibration(const Lens &lens) {
    const std::vector<sighting> sightings = sightings_of(lens, 0.2, 1, 1);
    const auto found = value_of(calibrate<Lens>(1920, 1080, sightings));
    ck_assert_double_le(found.residual, 0.2);
    for (size_t i = 0; i < sightings.size(); ++i)
        ck_assert(found.is_used[i] == (i % 20 != 19));
    for (const bool is_determined : found.is_determined)
        ck_assert(is_determined);
    const view expected = value_of(view::make(1920, 1080, orientation{0, 0}, lens)),
               got = value_of(view::make(1920, 1080, orientation{0, 0}, found.lens));
    for (const position at : {position{100, 100}, {960, 100}, {1800, 1000}, {200, 900}}) {
        const position there = value_of(got.project(value_of(expected.unproject(at))));
        ck_assert_double_le(std::hypot(there.x - at.x, there.y - at.y), 1);
    }
    // What one part of the picture shows fits as well, and is known to leave the others open.
    for (const auto &[across, down] : {std::pair(0.25, 0.25), {0.4, 0.4}, {0.5, 0.5}, {0.7, 0.02}, {0.02, 1.0}}) {
        const auto part = value_of(calibrate<Lens>(1920, 1080, sightings_of(lens, 0.2, across, down)));
        ck_assert_msg(part.residual <= 0.2, "%g x %g: %g", across, down, part.residual);
        ck_assert_msg(std::count(part.is_determined.begin(), part.is_determined.end(), false) > 0, "%g x %g", across,
                      down);
    }
}

} // namespace

TEST(calibration_finds_the_lens_and_leaves_out_what_is_off) {
    check_calibration(pinhole{1200, 1210, 950, 548, -0.25, 0.08, 0.001, -0.0007, -0.01});
    check_calibration(fisheye{700, 705, 970, 530, 0.03, -0.01, 0.002, -0.0005});
    // In the middle of the picture distortion doesn't show.
    const auto narrow =
        value_of(calibrate<pinhole>(1920, 1080, sightings_of(pinhole{1200, 1200, 960, 540}, 0.2, 0.25, 0.25)));
    ck_assert(narrow.is_determined[0]);
    ck_assert(!narrow.is_determined[8]);
    ck_assert_double_eq(narrow.lens.k3, 0);
    // One position of the camera tells nothing about directions that aren't known.
    std::vector<sighting> still = sightings_of(pinhole{1200, 1200, 960, 540}, 0, 1, 1);
    std::erase_if(still, [&](const sighting &one) {
        return one.where.pan != still[0].where.pan || one.where.tilt != still[0].where.tilt;
    });
    ck_assert(!calibrate<pinhole>(1920, 1080, std::span(still).first(5)));
    still[0].at.x = NAN;
    ck_assert(!calibrate<pinhole>(1920, 1080, still));
}

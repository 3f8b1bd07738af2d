// The sphere map: against its models, at documented points, and as polygons apart and in place.
#include "models/spheremap.hpp"
#include "generated.hpp"
#include "support.hpp"

using model::pair, model::directions, model::positions;

namespace {

constexpr smap_view kView = {640, 480, 102400, 10240, 61440};

pair degrees(int32_t pan, int32_t tilt) { return {pan * 1024, tilt * 1024}; }

template <auto clip>
pair clipped(pair direction) {
    clip(&direction[0], &direction[1]);
    return direction;
}

} // namespace

// Any pair, and those around the quarters of turns.
TEST(directions_are_brought_into_their_range) {
    ck_assert(clipped<smap_clip_pan_tilt>(degrees(370, 100)) == degrees(190, 80));
    ck_assert(clipped<smap_clip_pan_tilt_bounds>(degrees(370, 200)) == degrees(10, -160));
    generator random{5};
    for (int i = 0; i < 20000; ++i) {
        pair direction;
        for (int32_t &angle : direction)
            angle = i % 2 ? random.word() : (random.below(25) - 12) * 92160 + random.below(3) - 1;
        const pair bounds = {model::clipped(direction[0], 0)[0], model::within_half_turn(direction[1])};
        agree_all("smap_clip_pan_tilt", direction, clipped<smap_clip_pan_tilt>(direction),
                  model::clipped(direction[0], direction[1]));
        agree_all("smap_clip_pan_tilt_bounds", direction, clipped<smap_clip_pan_tilt_bounds>(direction), bounds);
    }
}

TEST(known_points_are_where_they_are_documented) {
    const struct {
        pair direction, position;
    } rows[] = {{degrees(100, 10), {320, 240}},
                {degrees(130, 10), {633, 227}},
                {degrees(100, 80), {320, -503}},
                {degrees(280, 10), {-1234, -5678}}};
    for (const auto &[direction, position] : rows)
        agree_all("a documented position", direction, *model::check_onto_screen(direction, kView).position, position);
    agree_all("the way back", pair{633, 227}, model::check_onto_sphere({633, 227}, kView), pair{132949, 10157});
}

// Each is taken as a direction and as a position.
TEST(extreme_points_and_views_are_as_the_model_has_them) {
    const smap_view flat = {0, 480, 102400, 10240, 61440}, blind = {640, 480, 102400, 10240, 0},
                    level = {640, 480, 0, 0, 61440}, wide = {640, 480, 10240, 20480, 180 << 10};
    // Views without width or field of view; a cosine of -4 in Q12 gives exactly the depth that is not in front; pans
    // that are further apart than a number can be. The way back: beyond the sphere, far beyond a turn, the zenith, its
    // sine beyond 1, and seen exactly from the side; upside down, where a zero has a sign.
    // clang-format off
    const struct { smap_view view; pair point; } rows[] = {
        {flat, degrees(100, 10)}, {blind, {7, 8}}, {level, {92160 + 63, 0}}, {level, {92160 + 64, 0}},
        {{640, 480, INT32_MIN, 80 << 10, 61440}, degrees(0, 80)}, {{640, 3691, -27, 0, 2047}, {-84081, 26008}},
        {wide, {639, 479}}, {{640, 480, INT32_MAX, 0, 61440}, {320, 240}}, {{640, 480, 0, 92160, 61440}, {320, 240}},
        {{640, 480, 0, 91424, 2048}, {320, 10}}, {{2, 4, 0, 0, 180 << 10}, {1, 1}},
        {{640, 480, 7459, 100000, -61440}, {320, 240}},
    };
    // clang-format on
    for (const auto &[view, point] : rows) {
        model::check_onto_screen(point, view);
        model::check_onto_sphere(point, view);
    }
    const int32_t extremes[] = {INT32_MIN, -1, 0, 1, 640, INT32_MAX};
    for (int i = 0; i < 6 * 6 * 6; ++i) {
        const int32_t width = extremes[i % 6], angle = extremes[i / 6 % 6], at = extremes[i / 36];
        model::check_onto_sphere({at, width}, {width, at, angle, angle / 3, at});
    }
}

// Ordinary views and any 32-bit values, a point or some dozen at a time.
TEST(points_and_polygons_on_the_screen_are_where_the_model_has_them) {
    generator random{1};
    const auto around = [&random](int32_t middle, int32_t range) {
        return middle + random.below(2 * static_cast<uint32_t>(range)) - range;
    };
    for (int i = 0; i < 20000; ++i) {
        const smap_view any = {random.below(1 << 17), random.below(4096), random.word(), random.word(),
                               random.word() >> random.below(32)};
        const smap_view view = {any.width >> i % 17, any.height, around(0, 368640), around(0, 184320),
                                1 + random.below(184320)};
        model::check_onto_screen({random.word(), random.word()}, any);
        model::check_onto_screen({around(view.pan, 92300), around(view.tilt, 92300)}, view);
        if (i >= 60)
            continue;
        std::vector<pair> polygon(static_cast<size_t>(i));
        for (pair &direction : polygon)
            direction = {around(view.pan, i % 2 ? 92300 : 20000), around(view.tilt, 20000)};
        model::check_polygon(polygon, view);
    }
    // Too small a target, no field of view, no points: the results, and the target's count afterwards.
    const uint32_t rows[][6] = {{4, 3, 61440, 0, 0, 3}, {3, 4, 0, 0, 1, 3}, {0, 4, 0, 1, 1, 0}};
    for (const auto [count, capacity, fov, placed, returned, left] : rows) {
        pair here[4] = {}, there[4] = {};
        const smap_view view = {640, 480, 1, 1, static_cast<int32_t>(fov)};
        smap_sphere_poly sphere = {count, directions(here)}, target = {capacity, directions(here)};
        smap_screen_poly screen = {capacity, positions(there)}, source = {count, positions(there)};
        ck_assert_int_eq(smap_sphere_to_screen(&sphere, &view, &screen), static_cast<int>(placed));
        ck_assert_uint_eq(screen.count, left);
        ck_assert_int_eq(smap_screen_to_sphere(&source, &view, &target), static_cast<int>(returned));
        ck_assert_uint_eq(target.count, left);
        ck_assert(there[0] == pair{});
        ck_assert(here[3] == pair{});
    }
}

// Two thirds of the positions lie on a central plane and a third of the views are level, where the exact angles are
// integers and the last bit of a sine or an arctangent decides. The rows are positions near the rim of the half sphere
// or shown near the zenith, where errors grow, whose pan or tilt lies a 60000th of a Q10 degree from an integer: small
// errors of sines and arctangents would carry it beyond.
TEST(positions_show_the_directions_that_the_model_has) {
    generator random{2};
    for (int i = 0; i < 1000; ++i) {
        smap_view view = {640, 480, random.below(368640), (random.below(181) - 90) * 1024 * (i % 3 - 1),
                          (1 + random.below(120)) * 1024};
        if (i % 3 == 0)
            view = {1 + random.below(2000), 1 + random.below(2000), random.word(), random.word(),
                    random.word() >> random.below(32)};
        const auto width = static_cast<uint32_t>(view.width), height = static_cast<uint32_t>(view.height);
        const pair any = {random.below(width), random.below(height)};
        for (const pair &point : {any, pair{view.width >> 1, any[1]}, pair{any[0], view.height >> 1}})
            model::check_onto_sphere(point, view);
    }
    const int32_t rows[][5] = {
        {73871, 21649, 146, 1905, 318},   {243893, 7701, 149, 328, 19},    {30359, -35978, 142, 1849, 217},
        {144913, 3787, 143, 187, 960},    {260849, 47815, 173, 975, 111},  {127260, 89836, 111, 1046, 480},
        {213772, 68748, 107, 871, 130},   {189177, 27743, 147, 1732, 153}, {192135, 68749, 133, 899, 127},
        {177589, 81157, 145, 1671, 1011},
    };
    for (const auto [pan, tilt, fov, x, y] : rows)
        model::check_onto_sphere({x, y}, {1920, 1080, pan, tilt, fov * 1024});
}

// Each row: two corners of a polygon, and whether its bounding box overlaps the screen of 640 x 480.
TEST(a_polygon_is_on_the_screen_where_its_bounding_box_is) {
    // clang-format off
    struct { pair corners[2]; int8_t visible; } rows[] = {
        {{{-10, -10}, {0, 0}}, 1}, {{{640, 0}, {700, 100}}, 0}, {{{-5, 10}, {-1, 20}}, 0}, {{{-100, 240}, {800, 240}}, 1},
        {{{639, 479}, {900, 900}}, 1}, {{{5, 480}, {6, 490}}, 0}, {{{900, 900}, {639, 479}}, 1}, {{{5, -9}, {6, -1}}, 0},
        {{{-1, 500}, {700, -20}}, 1}, {{{-1234, -5678}, {20, 20}}, 1}, {{{5, 0}, {6, -9}}, 1},
    };
    // clang-format on
    for (auto &row : rows) {
        const smap_screen_poly polygon = {2, positions(row.corners)}, empty = {0, polygon.pts};
        ck_assert_msg(smap_polygon_on_screen(&polygon, &kView) == row.visible, "row %d", static_cast<int>(&row - rows));
        ck_assert_int_eq(smap_polygon_on_screen(&empty, &kView), 0);
    }
}

TEST(polygons_are_printed_point_by_point) {
    pair screen[] = {{1, -20}, {12345, 0}}, sphere[] = {{102400, -1}, {16777217 << 4, 92160}};
    const smap_screen_poly corners = {2, positions(screen)}, none = {};
    const smap_sphere_poly ways = {2, directions(sphere)}, nowhere = {};
    const auto print = [&] {
        smap_print_screen_poly(&corners), smap_print_sphere_poly(&ways);
        smap_print_screen_poly(&none), smap_print_sphere_poly(&nowhere);
    };
    assert_text_eq(captured(stdout, print),
                   "\ni =  0, x =    1, y =  -20\ni =  1, x = 12345, y =    0\n\ni =  0, pan = 100.000000, tilt = "
                   "-0.000977\ni =  1, pan = 262144.000000, tilt = 90.000000\n\n\n");
}

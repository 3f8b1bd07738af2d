// The sphere map: against its models, at documented points, and as polygons apart and in place.
#include "models/spheremap.hpp"
#include "generated.hpp"
#include "support.hpp"
#include <vector>

namespace {

using model::pair;

constexpr smap_view kView = {640, 480, 102400, 10240, 61440};
constexpr pair kBehind = {-1234, -5678}, kUntouched = {7, 8};
constexpr double kUnit = 1.0 / 1024;

pair degrees(double pan, double tilt) { return {static_cast<int32_t>(pan * 1024), static_cast<int32_t>(tilt * 1024)}; }

// Directions and positions may be the same memory.
smap_sphere_pt *directions(pair *points) { return reinterpret_cast<smap_sphere_pt *>(points); }
smap_screen_pt *positions(pair *points) { return reinterpret_cast<smap_screen_pt *>(points); }

int8_t place(pair &point, const smap_view &view) {
    return smap_sphere_pt_to_screen_pt(directions(&point), &view, positions(&point));
}

pair back(pair point, const smap_view &view) {
    smap_screen_pt_to_sphere_pt(positions(&point), &view, directions(&point));
    return point;
}

template <auto clip>
pair clipped(pair direction) {
    clip(&direction[0], &direction[1]);
    return direction;
}

void assert_pair(const pair &got, const pair &expected, const pair &point, const smap_view &view) {
    ck_assert_msg(got == expected, "(%d, %d) on {%d, %d, %d, %d, %d}: (%d, %d), expected (%d, %d)", point[0], point[1],
                  view.width, view.height, view.pan, view.tilt, view.fov, got[0], got[1], expected[0], expected[1]);
}

void assert_placed(const pair &direction, const smap_view &view) {
    const model::placed expected = model::onto_screen(direction, view);
    pair point = direction;
    ck_assert_msg(place(point, view) == expected.in_front, "(%d, %d) is %d, expected %d", direction[0], direction[1],
                  1 - expected.in_front, expected.in_front);
    assert_pair(point, expected.position.value_or(direction), direction, view);
}

} // namespace

TEST(clipping) {
    // clang-format off
    const struct { double pan, tilt, position_pan, position_tilt, bound_pan, bound_tilt; } rows[] = {
        {0, 100, 180, 80, 0, 100}, {350, 100, 170, 80, 350, 100}, {0, -100, 180, -80, 0, -100}, {-10, 0, 350, 0, 350, 0},
        {360, 0, 0, 0, 0, 0}, {0, 90, 0, 90, 0, 90}, {0, 180, 180, 0, 0, 180}, {0, -180, 180, 0, 0, -180},
        {370, 200, 190, -20, 10, -160}, {0, 540, 180, 0, 0, 180}, {0, 90 + kUnit, 180, 90 - kUnit, 0, 90 + kUnit},
        {INT32_MIN * kUnit, INT32_MAX * kUnit, 28, 28 + kUnit, 208, 152 - kUnit},
        {-kUnit, 540, 180 - kUnit, 0, 360 - kUnit, 180},
    };
    // clang-format on
    for (const auto &row : rows) {
        const pair direction = degrees(row.pan, row.tilt);
        assert_pair(clipped<smap_clip_pan_tilt>(direction), degrees(row.position_pan, row.position_tilt), direction,
                    {});
        assert_pair(clipped<smap_clip_pan_tilt_bounds>(direction), degrees(row.bound_pan, row.bound_tilt), direction,
                    {});
    }
    // Any pair, and those around the quarters of turns.
    generator random{5};
    for (int i = 0; i < 20000; ++i) {
        pair direction;
        for (int32_t &angle : direction)
            angle = i % 2 ? random.word() : (random.below(25) - 12) * 92160 + random.below(3) - 1;
        assert_pair(clipped<smap_clip_pan_tilt>(direction), model::clipped(direction[0], direction[1]), direction, {});
        const pair bounds = {model::clipped(direction[0], 0)[0], model::within_half_turn(direction[1])};
        assert_pair(clipped<smap_clip_pan_tilt_bounds>(direction), bounds, direction, {});
    }
}

TEST(known_points) {
    // Documented positions; views without width or field of view; a cosine of -4 in Q12 gives exactly the depth that
    // is not in front; pans that are further apart than a number can be. The way back: beyond the sphere, far beyond a
    // turn, the zenith, its sine beyond 1, and seen exactly from the side; upside down, where a zero has a sign.
    const int8_t way_back = -1;
    const smap_view flat = {0, 480, 102400, 10240, 61440}, blind = {640, 480, 102400, 10240, 0},
                    level = {640, 480, 0, 0, 61440}, wide = {640, 480, 10240, 20480, 180 << 10};
    // clang-format off
    const struct { smap_view view; pair from, to; int8_t result; } rows[] = {
        {kView, degrees(100, 10), {320, 240}, 1}, {kView, degrees(130, 10), {633, 227}, 1},
        {kView, degrees(100, 80), {320, -503}, 1}, {kView, degrees(280, 10), kBehind, 0},
        {flat, degrees(100, 10), {0, 240}, 1}, {blind, kUntouched, kUntouched, 0},
        {level, {92160 + 63, 0}, {1252, 240}, 1}, {level, {92160 + 64, 0}, kBehind, 0},
        {{640, 480, INT32_MIN, 80 << 10, 61440}, degrees(0, 80), {369, 41}, 1},
        {{640, 3691, -27, 0, 2047}, {-84081, 26008}, {-19953, -6262}, 1},
        {kView, {633, 227}, {132949, 10157}, way_back}, {flat, {3, 4}, {0, 0}, way_back},
        {wide, {639, 479}, {0, 0}, way_back}, {wide, {0, 0}, {0, 0}, way_back},
        {{640, 480, INT32_MAX, 0, 61440}, {320, 240}, {INT32_MAX % 368640, 0}, way_back},
        {{640, 480, 0, 92160, 61440}, {320, 240}, {0, 92160}, way_back},
        {{640, 480, 0, 91424, 2048}, {320, 10}, {0, 92160}, way_back},
        {{2, 4, 0, 0, 180 << 10}, {1, 1}, {0, 92160}, way_back},
        {{640, 480, 7459, 100000, -61440}, {320, 240}, {191780, 84320}, way_back},
    };
    // clang-format on
    for (const auto &row : rows) {
        pair point = row.from;
        if (row.result == way_back)
            point = back(point, row.view);
        else
            ck_assert_int_eq(place(point, row.view), row.result);
        assert_pair(point, row.to, row.from, row.view);
    }
}

// Ordinary views, and any 32-bit values.
TEST(directions_onto_the_screen_are_where_the_model_has_them) {
    generator random{1};
    const auto around = [&random](int32_t middle, int32_t range) {
        return middle + random.below(2 * static_cast<uint32_t>(range)) - range;
    };
    for (int i = 0; i < 20000; ++i) {
        const smap_view any = {random.below(1 << 16), random.below(4096), random.word(), random.word(),
                               random.word() >> random.below(32)};
        const smap_view view = {any.width % 4096, any.height, around(0, 368640), around(0, 184320),
                                1 + random.below(184320)};
        assert_placed({random.word(), random.word()}, any);
        assert_placed({around(view.pan, 92300), around(view.tilt, 92300)}, view);
    }
}

// Two thirds of the positions lie on a central plane, where the exact angles are integers and the last bit of a sine
// decides.
TEST(positions_show_the_directions_that_the_model_has) {
    generator random{2};
    for (int i = 0; i < 1000; ++i) {
        smap_view view = {640, 480, random.below(368640), (random.below(181) - 90) * 1024,
                          (1 + random.below(120)) * 1024};
        if (i % 3 == 0)
            view = {1 + random.below(2000), 1 + random.below(2000), random.word(), random.word(),
                    random.word() >> random.below(32)};
        const auto width = static_cast<uint32_t>(view.width), height = static_cast<uint32_t>(view.height);
        const pair any = {random.below(width), random.below(height)};
        for (const pair &point : {any, pair{view.width >> 1, any[1]}, pair{any[0], view.height >> 1}})
            assert_pair(back(point, view), model::onto_sphere(point, view), point, view);
    }
    // There and back on ordinary views.
    for (int i = 0; i < 3000; ++i) {
        const smap_view view = {640, 480, random.below(368640), random.below(184320) - 92160, 61440};
        const pair from = {random.below(640), random.below(480)};
        pair again = back(from, view);
        place(again, view);
        ck_assert_int_le(std::abs(again[0] - from[0]), 3);
        ck_assert_int_le(std::abs(again[1] - from[1]), 3);
    }
    const int32_t extremes[] = {INT32_MIN, -1, 0, 1, 640, INT32_MAX};
    for (int i = 0; i < 6 * 6 * 6; ++i) {
        const int32_t width = extremes[i % 6], angle = extremes[i / 6 % 6], at = extremes[i / 36];
        const smap_view view = {width, at, angle, angle / 3, at};
        assert_pair(back({at, width}, view), model::onto_sphere({at, width}, view), {at, width}, view);
    }
}

// Positions near the rim of the half sphere or shown near the zenith, where errors grow, whose pan or tilt lies a
// 60000th of a Q10 degree from an integer: small errors of sines and arctangents would carry it beyond.
TEST(positions_that_show_nearly_an_integer) {
    const int32_t rows[][5] = {
        {73871, 21649, 146, 1905, 318},   {243893, 7701, 149, 328, 19},    {30359, -35978, 142, 1849, 217},
        {144913, 3787, 143, 187, 960},    {260849, 47815, 173, 975, 111},  {127260, 89836, 111, 1046, 480},
        {213772, 68748, 107, 871, 130},   {189177, 27743, 147, 1732, 153}, {192135, 68749, 133, 899, 127},
        {177589, 81157, 145, 1671, 1011},
    };
    for (const auto [pan, tilt, fov, x, y] : rows) {
        const smap_view view = {1920, 1080, pan, tilt, fov * 1024};
        assert_pair(back({x, y}, view), model::onto_sphere({x, y}, view), {x, y}, view);
    }
}

// Polygons apart and in place, on views of few and of many pixels a degree, are what their points are one by one.
TEST(polygons) {
    generator random{3};
    for (uint32_t count = 0; count <= 200; count += count < 20 ? 1 : 45) {
        const smap_view view = {640, 480, 102400, 10240, count % 3 ? 61440 : 512};
        std::vector<pair> from(count + 1, kUntouched), placed = from, returned = from, out = from;
        int8_t in_front = 1;
        for (uint32_t i = 0; i < count; ++i) {
            from[i] = placed[i] = degrees(60 + random.below(count % 2 ? 80 : 300), random.below(60) - 20);
            in_front &= place(placed[i], view);
            returned[i] = back(placed[i], view);
        }
        smap_sphere_poly sphere = {count, directions(from.data())};
        smap_screen_poly apart = {count + 1, positions(out.data())}, in_place = {count, positions(from.data())};
        ck_assert_int_eq(smap_sphere_to_screen(&sphere, &view, &apart), in_front);
        ck_assert_uint_eq(apart.count, count);
        ck_assert(out == placed);
        ck_assert_int_eq(smap_sphere_to_screen(&sphere, &view, &in_place), in_front);
        ck_assert(from == placed);
        ck_assert_int_eq(smap_screen_to_sphere(&in_place, &view, &sphere), 1);
        ck_assert(from == returned);
    }
    // No room, no field of view, no points: the results, and the count that the target is left with.
    const uint32_t rows[][6] = {{4, 3, 61440, 0, 0, 3}, {3, 4, 0, 0, 1, 3}, {0, 4, 0, 1, 1, 0}};
    for (const auto [count, room, fov, placed, returned, left] : rows) {
        pair here[4] = {}, there[4] = {kUntouched};
        const smap_view view = {640, 480, 0, 0, static_cast<int32_t>(fov)};
        smap_sphere_poly sphere = {count, directions(here)}, target = {room, directions(here)};
        smap_screen_poly screen = {room, positions(there)}, source = {count, positions(there)};
        ck_assert_int_eq(smap_sphere_to_screen(&sphere, &view, &screen), static_cast<int>(placed));
        ck_assert_uint_eq(screen.count, left);
        ck_assert_int_eq(smap_screen_to_sphere(&source, &view, &target), static_cast<int>(returned));
        ck_assert_uint_eq(target.count, left);
        ck_assert(there[0] == kUntouched);
        ck_assert(here[3] == pair{});
    }
}

// Each row: two corners of a polygon, and whether its bounding box overlaps the screen of 640 x 480.
TEST(visibility) {
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

TEST(prints) {
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

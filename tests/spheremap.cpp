#include "generated.hpp"
#include "support.hpp"
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>
#include <vela/spheremap.h>

namespace {

constexpr smap_view kView = {640, 480, 102400, 10240, 61440};
constexpr smap_screen_pt kBehind = {-1234, -5678};

bool operator==(smap_screen_pt a, smap_screen_pt b) { return a.x == b.x && a.y == b.y; }
bool operator==(smap_sphere_pt a, smap_sphere_pt b) { return a.pan == b.pan && a.tilt == b.tilt; }

smap_sphere_pt degrees(int32_t pan, int32_t tilt) { return {pan << 10, tilt << 10}; }

template <auto clip>
smap_sphere_pt clipped(int32_t pan, int32_t tilt) {
    clip(&pan, &tilt);
    return {pan, tilt};
}

smap_sphere_pt back(smap_screen_pt point, const smap_view &view) {
    smap_sphere_pt out = {-1, -1};
    smap_screen_pt_to_sphere_pt(&point, &view, &out);
    return out;
}

#define assert_sphere_eq(actual, expected)                                                                             \
    do {                                                                                                               \
        const smap_sphere_pt a = (actual), e = (expected);                                                             \
        if (!(a == e))                                                                                                 \
            ck_abort_msg("%s: (%d, %d), not (%d, %d)", #actual, a.pan, a.tilt, e.pan, e.tilt);                         \
    } while (0)

} // namespace

START_TEST(clipping)
{
    const auto turned = clipped<smap_clip_pan_tilt>, bounded = clipped<smap_clip_pan_tilt_bounds>;
    const struct {
        int32_t pan, tilt, position_pan, position_tilt, bound_pan, bound_tilt;
        // clang-format off
    } rows[] = {
        {0, 100, 180, 80, 0, 100}, {350, 100, 170, 80, 350, 100}, {0, -100, 180, -80, 0, -100}, {-10, 0, 350, 0, 350, 0},
        {360, 0, 0, 0, 0, 0}, {0, 90, 0, 90, 0, 90}, {0, -90, 0, -90, 0, -90}, {0, 180, 180, 0, 0, 180},
        {0, -180, 180, 0, 0, -180}, {0, 270, 0, -90, 0, -90}, {370, 200, 190, -20, 10, -160}, {0, 540, 180, 0, 0, 180},
        {0, -540, 180, 0, 0, -180}, {359, 89, 359, 89, 359, 89}, {-720, 181, 180, -1, 0, -179},
    };
    // clang-format on
    for (const auto &row : rows) {
        assert_sphere_eq(turned(row.pan << 10, row.tilt << 10), degrees(row.position_pan, row.position_tilt));
        assert_sphere_eq(bounded(row.pan << 10, row.tilt << 10), degrees(row.bound_pan, row.bound_tilt));
    }
    assert_sphere_eq(turned(737285, -460800), (smap_sphere_pt{5, -92160}));
    assert_sphere_eq(turned(0, 92161), (smap_sphere_pt{184320, 92159}));
    assert_sphere_eq(turned(0, -92161), (smap_sphere_pt{184320, -92159}));
    assert_sphere_eq(bounded(-1, 540 << 10), (smap_sphere_pt{368639, 184320}));

    // Any pair: the digest was taken from exact arithmetic.
    generator random(5);
    digest any;
    for (int i = 0; i < 20000; ++i) {
        const int32_t pan = i < 8 ? (i & 1 ? INT32_MAX : INT32_MIN) : random.word();
        const int32_t tilt = i < 8 ? (i & 2 ? INT32_MAX - (i & 4) : INT32_MIN + (i & 4)) : random.word();
        for (const smap_sphere_pt clip : {turned(pan, tilt), bounded(pan, tilt)}) {
            any.add(clip.pan);
            any.add(clip.tilt);
        }
    }
    assert_digest(any, 0xC75DFC35F01A4EFC);
}
END_TEST

// Each row in degrees: where the point lies on a view, and whether it is in front.
START_TEST(documented_positions)
{
    const struct {
        int32_t pan, tilt;
        smap_screen_pt position;
        // clang-format off
    } rows[] = {
        {100, 10, {320, 240}}, {130, 10, {633, 227}}, {70, 10, {7, 227}}, {100, 30, {320, 28}}, {100, -10, {320, 452}},
        {100, 80, {320, -503}}, {190, 10, {1170, 136}}, {280, 10, kBehind},
    };
    // clang-format on
    for (const auto &row : rows) {
        const smap_sphere_pt from = degrees(row.pan, row.tilt);
        smap_screen_pt to = {};
        ck_assert_int_eq(smap_sphere_pt_to_screen_pt(&from, &kView, &to), !(row.position == kBehind));
        ck_assert_msg(to == row.position, "(%d, %d) is at (%d, %d)", row.pan, row.tilt, to.x, to.y);
    }
    assert_sphere_eq(back({633, 227}, kView), (smap_sphere_pt{132949, 10157}));

    smap_screen_pt untouched = {7, 8};
    const smap_sphere_pt ahead = degrees(100, 10);
    const smap_view blind = {640, 480, 102400, 10240, 0}, flat = {0, 480, 102400, 10240, 61440};
    ck_assert_int_eq(smap_sphere_pt_to_screen_pt(&ahead, &blind, &untouched), 0);
    ck_assert(untouched == (smap_screen_pt{7, 8}));
    ck_assert_int_eq(smap_sphere_pt_to_screen_pt(&ahead, &flat, &untouched), 1);
    ck_assert(untouched == (smap_screen_pt{0, 240}));
    assert_sphere_eq(back({3, 4}, flat), (smap_sphere_pt{0, 0}));

    // A cosine of -4 in Q12 gives exactly the depth that is not in front.
    const smap_view level = {640, 480, 0, 0, 61440};
    const smap_sphere_pt last = {92160 + 63, 0}, first_behind = {92160 + 64, 0};
    ck_assert_int_eq(smap_sphere_pt_to_screen_pt(&last, &level, &untouched), 1);
    ck_assert_int_eq(smap_sphere_pt_to_screen_pt(&first_behind, &level, &untouched), 0);
}
END_TEST

// The digests were taken from an independent model with exact tables and correctly rounded elementary functions:
// ordinary views and any 32-bit values onto the screen; from the screen a third of the points lie on a central plane,
// where the exact angles are integers and the last bit of a sine decides.
START_TEST(the_same_bits_on_every_machine)
{
    generator random(1);
    digest forward;
    for (int i = 0; i < 20000; ++i) {
        const smap_screen_pt size = {random.below(4096), random.below(4096)};
        smap_view view;
        smap_sphere_pt point;
        if (i % 4 == 0) {
            view = {size.x, size.y, random.word(), random.word(), random.word()};
            point = {random.word(), random.word()};
        } else {
            view = {size.x, size.y, random.below(737280) - 368640, random.below(368640) - 184320,
                    1024 + random.below(184320)};
            point = {view.pan + random.below(184320) - 92160, view.tilt + random.below(184320) - 92160};
        }
        smap_screen_pt position;
        forward.add(int32_t{smap_sphere_pt_to_screen_pt(&point, &view, &position)});
        forward.add(position.x);
        forward.add(position.y);
    }
    assert_digest(forward, 0xBE173D12C164F87D);

    digest backward;
    generator other(2);
    for (int i = 0; i < 300; ++i) {
        smap_view view = {1 + other.below(2000), 1 + other.below(2000), other.below(368640),
                          other.below(184320) - 92160, 1024 + other.below(184320)};
        if (i % 2 == 0)
            view = {640, 480, view.pan, (view.tilt + 92160) / 1024 * 1024 - 92160, 61440};
        for (int j = 0; j < 20; ++j) {
            const smap_screen_pt point = {other.below(static_cast<uint32_t>(view.width)),
                                          other.below(static_cast<uint32_t>(view.height))};
            const smap_sphere_pt direction =
                back({j % 2 ? point.x : view.width >> 1, j % 5 ? point.y : view.height >> 1}, view);
            backward.add(direction.pan);
            backward.add(direction.tilt);
        }
    }
    assert_digest(backward, 0x65E64E5A5B08C34A);
}
END_TEST

START_TEST(corners_of_the_way_back)
{
    // Beyond the sphere, and with every number at its limit.
    const smap_view wide = {640, 480, 10240, 20480, 180 << 10};
    assert_sphere_eq(back({639, 479}, wide), (smap_sphere_pt{0, 0}));
    assert_sphere_eq(back({0, 0}, wide), (smap_sphere_pt{0, 0}));
    const int32_t extremes[] = {INT32_MIN, -1, 0, 1, 640, INT32_MAX};
    for (const int32_t width : extremes)
        for (const int32_t angle : extremes)
            for (const int32_t at : extremes) {
                const smap_sphere_pt found = back({at, width}, {width, at, angle, angle / 3, at});
                ck_assert(found.pan >= 0 && found.pan < 368640 && std::abs(found.tilt) <= 92160);
            }
    // A pan far beyond a turn, and the zenith straight ahead.
    const smap_view far = {640, 480, INT32_MAX, 0, 61440}, up = {640, 480, 0, 92160, 61440};
    assert_sphere_eq(back({320, 240}, far), (smap_sphere_pt{INT32_MAX % 368640, 0}));
    ck_assert_int_eq(back({320, 240}, up).tilt, 92160);
    // Here the zenith's sine comes out beyond 1.
    ck_assert_int_eq(back({320, 10}, {640, 480, 0, 91424, 2048}).tilt, 92160);
    ck_assert_int_eq(back({320, 65}, {640, 480, 0, 91880, 1024}).tilt, 92160);
}
END_TEST

// Screen to sphere to screen. The table of sines has 16 steps a degree, that of arcsines ever fewer towards 90 degrees,
// so the pixel comes back within the deviation given, and the centre of the view within one unit of its direction.
START_TEST(round_trip)
{
    const struct { int32_t fov, deviation; } views[] = {{1, 84}, {10, 9}, {30, 4}, {60, 2}, {90, 3}};
    for (const auto &given : views)
        for (int32_t tilt = -90; tilt <= 90; tilt += 15)
            for (int32_t pan = 0; pan < 360; pan += 40) {
                const smap_view view = {640, 480, pan << 10, tilt << 10, given.fov << 10};
                int32_t deviation = 0;
                for (int32_t y = 0; y < 480; y += 31)
                    for (int32_t x = 0; x < 640; x += 29) {
                        const smap_sphere_pt direction = back({x, y}, view);
                        smap_screen_pt again = {};
                        if (!smap_sphere_pt_to_screen_pt(&direction, &view, &again))
                            ck_abort_msg("(%d, %d) is behind", x, y);
                        deviation = std::max({deviation, std::abs(again.x - x), std::abs(again.y - y)});
                    }
                ck_assert_msg(deviation <= given.deviation, "fov %d, tilt %d, pan %d: off by %d", given.fov, tilt, pan,
                              deviation);
                const smap_sphere_pt centre = back({320, 240}, view);
                const int32_t aside = (centre.pan - view.pan + 368641) % 368640; // 1 where they are the same
                ck_assert((std::abs(tilt) == 90 || aside <= 2) && std::abs(centre.tilt - view.tilt) <= 1);
            }
}
END_TEST

// Polygons apart and in the same memory under both types of point, on views of few and of many pixels a degree.
START_TEST(polygons)
{
    generator random(3);
    for (uint32_t count = 0; count <= 200; count += count < 20 ? 1 : 45) {
        std::vector<smap_sphere_pt> sphere(count + 1), around(count + 1);
        std::vector<smap_screen_pt> screen(count + 1);
        const smap_view view = {640, 480, 102400, 10240, count % 3 ? 61440 : 512};
        bool in_front = true;
        for (smap_sphere_pt &point : sphere)
            point = degrees(60 + random.below(count % 2 ? 80 : 300), random.below(60) - 20);
        smap_sphere_poly source = {count, sphere.data()}, found = {count, around.data()};
        smap_screen_poly target = {count + 1, screen.data()};
        const int8_t result = smap_sphere_to_screen(&source, &view, &target);
        ck_assert_uint_eq(target.count, count);
        ck_assert_int_eq(smap_screen_to_sphere(&target, &view, &found), 1);
        for (uint32_t i = 0; i < count; ++i) {
            smap_screen_pt expected;
            in_front &= smap_sphere_pt_to_screen_pt(&sphere[i], &view, &expected) == 1;
            ck_assert(screen[i] == expected);
            assert_sphere_eq(around[i], back(expected, view));
        }
        ck_assert_int_eq(result, in_front);

        void *memory = source.pts;
        smap_screen_poly in_place = {count, static_cast<smap_screen_pt *>(memory)};
        ck_assert_int_eq(smap_sphere_to_screen(&source, &view, &in_place), result);
        ck_assert_int_eq(std::memcmp(memory, screen.data(), count * sizeof screen[0]), 0);
        ck_assert_int_eq(smap_screen_to_sphere(&in_place, &view, &source), 1);
        ck_assert_int_eq(std::memcmp(memory, around.data(), count * sizeof around[0]), 0);
        if (count) {
            smap_screen_pt_to_sphere_pt(screen.data(), &view, static_cast<smap_sphere_pt *>(memory = screen.data()));
            ck_assert_int_eq(std::memcmp(memory, around.data(), sizeof around[0]), 0);
        }
    }
}
END_TEST

START_TEST(polygons_without_room_or_field_of_view)
{
    smap_sphere_pt sphere[4] = {{1, 2}, {3, 4}, {5, 6}, {7, 8}};
    smap_screen_pt screen[4] = {{9, 10}, {11, 12}, {13, 14}, {15, 16}};
    smap_sphere_poly small_sphere = {3, sphere}, large_sphere = {4, sphere};
    smap_screen_poly small_screen = {3, screen}, large_screen = {4, screen};
    ck_assert_int_eq(smap_sphere_to_screen(&large_sphere, &kView, &small_screen), 0);
    ck_assert_int_eq(smap_screen_to_sphere(&large_screen, &kView, &small_sphere), 0);
    ck_assert(small_screen.count == 3 && small_sphere.count == 3);
    const smap_view blind = {640, 480, 0, 0, 0};
    ck_assert_int_eq(smap_sphere_to_screen(&small_sphere, &blind, &large_screen), 0);
    ck_assert_uint_eq(large_screen.count, 3);
    ck_assert(sphere[0] == (smap_sphere_pt{1, 2}) && screen[0] == (smap_screen_pt{9, 10}));

    smap_sphere_poly no_directions = {0, sphere};
    ck_assert_int_eq(smap_sphere_to_screen(&no_directions, &blind, &large_screen), 1);
    ck_assert_int_eq(smap_screen_to_sphere(&large_screen, &kView, &small_sphere), 1);
    ck_assert(large_screen.count == 0 && small_sphere.count == 0);
}
END_TEST

// Each row: two corners of a polygon, and whether its bounding box overlaps the screen of 640 x 480.
START_TEST(visibility)
{
    struct {
        smap_screen_pt corners[2];
        int8_t visible;
        // clang-format off
    } rows[] = {
        {{{-10, -10}, {0, 0}}, 1}, {{{640, 0}, {700, 100}}, 0}, {{{-5, 10}, {-1, 20}}, 0}, {{{-100, 240}, {800, 240}}, 1},
        {{{639, 479}, {900, 900}}, 1}, {{{5, 480}, {6, 490}}, 0}, {{{900, 900}, {639, 479}}, 1}, {{{5, -9}, {6, -1}}, 0},
        {{{-1, 500}, {700, -20}}, 1}, {{{-1234, -5678}, {20, 20}}, 1}, {{{5, 0}, {6, -9}}, 1},
    };
    // clang-format on
    for (auto &row : rows) {
        const smap_screen_poly polygon = {2, row.corners};
        ck_assert_msg(smap_polygon_on_screen(&polygon, &kView) == row.visible, "row %d", static_cast<int>(&row - rows));
    }
    const smap_screen_poly empty = {0, rows[0].corners};
    ck_assert_int_eq(smap_polygon_on_screen(&empty, &kView), 0);
}
END_TEST

START_TEST(prints)
{
    smap_screen_pt screen[11] = {{1, -20}, {12345, 0}};
    smap_sphere_pt sphere[] = {{102400, -1}, {16777217 << 4, 92160}};
    const smap_screen_poly positions = {11, screen}, none = {};
    const smap_sphere_poly directions = {2, sphere}, nowhere = {};
    std::string expected = "\ni =  0, x =    1, y =  -20\ni =  1, x = 12345, y =    0\n";
    for (int i = 2; i < 11; ++i)
        expected += (i < 10 ? "i =  " : "i = ") + std::to_string(i) + ", x =    0, y =    0\n";
    const std::string positions_text = captured(stdout, [&] { smap_print_screen_poly(&positions); });
    ck_assert_str_eq(positions_text.c_str(), expected.c_str());
    assert_text_eq(captured(stdout, [&] { smap_print_sphere_poly(&directions); }),
                   "\ni =  0, pan = 100.000000, tilt = -0.000977\n"
                   "i =  1, pan = 262144.000000, tilt = 90.000000\n");
    assert_text_eq(captured(stdout, [&] { smap_print_screen_poly(&none), smap_print_sphere_poly(&nowhere); }), "\n\n");
}
END_TEST

Suite *spheremap_suite() {
    Suite *suite = suite_create("spheremap");
    TCase *tests = tcase_create("spheremap");
    tcase_set_timeout(tests, 60);
    for (const TTest *test : {clipping, documented_positions, the_same_bits_on_every_machine, corners_of_the_way_back,
                              round_trip, polygons, polygons_without_room_or_field_of_view, visibility, prints})
        tcase_add_test(tests, test);
    suite_add_tcase(suite, tests);
    return suite;
}

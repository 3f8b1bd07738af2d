// The hull's owner in C++, against the C functions that it stands on.
#include <algorithm>
#include <array>
#include <iterator>
#include <type_traits>
#include <vector>

#include "generated.hpp"
#include "models/chull.hpp"
#include "support.hpp"
#include <vela/cpp/hull.hpp>

namespace {

using bytes = std::vector<uint8_t>;

const bytes kTetrahedron = {0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255};

static_assert(sizeof(vela::hull) == sizeof(chull_ctx *));
static_assert(std::is_nothrow_move_constructible_v<vela::hull> && !std::is_copy_constructible_v<vela::hull>);
static_assert(std::forward_iterator<decltype(std::declval<vela::hull>().faces().begin())>);

vela::hull made_of(const bytes &pixels) {
    auto made = vela::hull::of_pixels(pixels);
    ck_assert(made.has_value());
    return std::move(*made);
}

// Points of a box with its first corner at `from`, or of the largest ball in it.
bytes cloud(uint32_t seed, int count, int from, int size, bool is_ball) {
    generator random{seed};
    bytes pixels;
    while (count > 0) {
        int p[3], squares = 0;
        for (int &value : p) {
            value = random.below(static_cast<uint32_t>(size));
            squares += (2 * value - size) * (2 * value - size);
        }
        if (is_ball && squares > size * size)
            continue;
        for (const int value : p)
            pixels.push_back(static_cast<uint8_t>(from + value));
        --count;
    }
    return pixels;
}

int32_t is_inside(const vela::hull &hull, int x, int y, int z) { return is_in_chull(hull.get(), x, y, z); }

} // namespace

TEST(pixels_and_arrays_make_the_same_hull) {
    const bytes pixels = cloud(1, 100, 0, 256, true);
    bytes axes[3], wide;
    for (size_t i = 0; i < pixels.size(); ++i) {
        axes[i % 3].push_back(pixels[i]);
        wide.push_back(pixels[i]);
        if (i % 3 == 2)
            wide.insert(wide.end(), {7, 8});
    }
    const std::string expected = model::content(made_of(pixels).get());
    const auto of_points = vela::hull::of_points(axes[0], axes[1], axes[2]);
    assert_text_eq(model::content(of_points->get()), expected);
    assert_text_eq(model::content(vela::hull::of_pixels(wide, 5)->get()), expected);
    chull_ctx *record = nullptr;
    ck_assert_int_eq(alloc_chull(&record), 0);
    ck_assert_int_eq(get_chull(axes[0].data(), axes[1].data(), axes[2].data(), 100, record), 0);
    assert_text_eq(model::content(record), expected);
    free_chull(record), free(record);
}

TEST(what_is_no_hull_is_refused) {
    const bytes none, coplanar = {0, 0, 0, 9, 0, 0, 0, 9, 0, 9, 9, 0};
    std::string said = captured(stderr, [&] { ck_assert(!vela::hull::of_pixels(coplanar)); });
    assert_text_eq(said, "DoubleTriangle: All points coplanar!\n");
    ck_assert(!vela::hull::of_pixels(none));
    ck_assert(!vela::hull::of_points(none, none, none));
    ck_assert(!vela::hull::of_pixels(kTetrahedron, 2));
    ck_assert(!vela::hull::of_pixels(kTetrahedron, 5));
    ck_assert(!vela::hull::of_points(kTetrahedron, kTetrahedron, bytes(11)));
    ck_assert(!vela::hull::adopt(nullptr));
    vela::hull hull = made_of(kTetrahedron);
    ck_assert(!hull.grow(none, none, bytes(1)));
    ck_assert(!hull.grow_by_pixels(bytes(4)));
    ck_assert(hull.grow_by_pixels(none));
    ck_assert_uint_eq(hull.vertex_count(), 4);
}

TEST(ranges_show_the_lists) {
    vela::hull hull = made_of(cloud(2, 60, 0, 256, false));
    ck_assert(hull.grow_by_pixels(kTetrahedron));
    const auto compare = [](auto records, auto *head, size_t count) {
        const auto listed = model::listed(head);
        ck_assert_uint_eq(listed.size(), count);
        ck_assert(std::equal(records.begin(), records.end(), listed.begin(), listed.end(),
                             [](const auto &record, const auto *expected) { return &record == expected; }));
    };
    const chull_ctx *record = hull.get();
    compare(hull.vertices(), record->vertices, hull.vertex_count());
    compare(hull.edges(), record->edges, hull.edge_count());
    compare(hull.faces(), record->faces, hull.face_count());
    ck_assert_int_eq(hull.vertices().begin()->coord[0], vela::point_of(*hull.vertices().begin()).x);
}

TEST(answers_are_those_of_the_c_functions) {
    const vela::hull hull = made_of(cloud(3, 80, 0, 256, true));
    ck_assert_double_eq(hull.volume() * 6, chull_volume6(hull.get()));
    generator random{4};
    for (int i = 0; i < 2000; ++i) {
        const vela::hull_point p = {random.below(400) - 70, random.below(400) - 70, random.below(400) - 70};
        ck_assert_int_eq(hull.contains(p), is_inside(hull, p.x, p.y, p.z));
        uint32_t least, most;
        ck_assert_int_eq(dist_to_chull(hull.get(), p.x, p.y, p.z, &least, &most), 0);
        const auto distances = hull.distances(p);
        ck_assert_uint_eq(distances->nearest, least);
        ck_assert_uint_eq(distances->farthest, most);
    }
}

// Where the C functions wrap.
TEST(distant_points_are_outside_and_have_no_distance) {
    const vela::hull hull = made_of(kTetrahedron);
    ck_assert(hull.distances({5255, -5000, 0}).has_value());
    for (const int32_t far : {INT32_MIN, -5001, 5256, INT32_MAX})
        for (const vela::hull_point p : {vela::hull_point{far, 0, 0}, {0, far, 0}, {0, 0, far}, {far, far, far}}) {
            ck_assert(!hull.contains(p));
            ck_assert(!hull.distances(p));
        }
}

// In the whole space, the ends of every column, and a point of every column that is empty.
TEST(membership_is_right_at_both_ends_of_every_column) {
    bytes cube;
    for (int corner = 0; corner < 8; ++corner)
        for (int axis = 0; axis < 3; ++axis)
            cube.push_back(corner >> axis & 1 ? 255 : 0);
    const bytes needle = {0, 0, 0, 255, 254, 253, 254, 255, 255, 255, 255, 254};
    for (const bytes &pixels : {kTetrahedron, cube, needle, cloud(7, 100, 0, 256, true), cloud(8, 30, 0, 256, false)}) {
        const vela::hull hull = made_of(pixels);
        const auto known = hull.membership();
        for (int x = 0; x < 256; ++x)
            for (int y = 0; y < 256; ++y) {
                const auto column = (*known)(static_cast<uint8_t>(x), static_cast<uint8_t>(y));
                const int low = column.empty() ? (x * 7 + y * 3) % 256 : column.lowest, high = column.highest;
                ck_assert_int_eq(is_inside(hull, x, y, low), !column.empty());
                if (column.empty())
                    continue;
                ck_assert_int_eq(is_inside(hull, x, y, high), 1);
                ck_assert_int_eq(is_inside(hull, x, y, low - 1), 0);
                ck_assert_int_eq(is_inside(hull, x, y, high + 1), 0);
            }
    }
}

TEST(membership_tests_pictures) {
    const auto known = made_of(kTetrahedron).membership();
    const bytes picture = {0, 0, 0, 9, 200, 200, 200, 9, 85, 85, 85, 9, 85, 85, 86, 9};
    bytes inside(4, 7);
    ck_assert(known->test(picture, inside, 4));
    ck_assert(inside == bytes({1, 0, 1, 0}));
    ck_assert_uint_eq(*known->count(picture, 4), 2);
    ck_assert(!known->test(picture, inside, 3));
    ck_assert(!known->test(picture, std::span(inside).first(3), 4));
    ck_assert(!known->count(picture, 2));
    ck_assert(!known->count(picture, 3));
}

TEST(off_files_are_those_of_c_and_tell_of_a_full_disk) {
    vela::hull hull = made_of(cloud(5, 40, 0, 256, false));
    const auto written = captured(stdout, [&] { ck_assert(hull.write_off("/dev/stdout")); });
    assert_text_eq(written, captured(stdout, [&] { ck_assert_int_eq(chull_to_file(hull.get(), "/dev/stdout"), 0); }));
    ck_assert(!hull.write_off("/dev/full"));
    ck_assert(!hull.write_off("/nonexistent/hull.off"));
}

TEST(records_go_to_c_and_back) {
    vela::hull hull = made_of(kTetrahedron);
    chull_ctx *record = hull.release();
    hull = made_of(cloud(6, 9, 0, 256, false));
    ck_assert_ptr_ne(hull.get(), record);
    auto adopted = vela::hull::adopt(record);
    ck_assert_ptr_eq(adopted->get(), record);
    record = adopted->release();
    record->vertices->coord[1] = 256;
    ck_assert(!vela::hull::adopt(record));
    free_chull(record);
    ck_assert(!vela::hull::adopt(record));
    free(record);
}

// The hull for C++, against the C functions.
#include "generated.hpp"
#include "models/chull.hpp"
#include "support.hpp"
#include <iterator>
#include <type_traits>
#include <vela/cpp/hull.hpp>

namespace {

using bytes = std::vector<uint8_t>;

const bytes kTetrahedron = {0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255};

static_assert(sizeof(vela::hull) == sizeof(chull_ctx *));
static_assert(std::is_nothrow_move_constructible_v<vela::hull> && !std::is_copy_constructible_v<vela::hull>);
static_assert(std::forward_iterator<decltype(std::declval<vela::hull>().faces().begin())>);

vela::hull made_of(const bytes &pixels) { return value_of(vela::hull::of_pixels(pixels)); }

} // namespace

TEST(pixels_and_arrays_make_the_same_hull) {
    const bytes xs = noise<uint8_t>(100, 1), ys = noise<uint8_t>(100, 2), zs = noise<uint8_t>(100, 3);
    bytes pixels, wide;
    for (size_t i = 0; i < xs.size(); ++i) {
        pixels.insert(pixels.end(), {xs[i], ys[i], zs[i]});
        wide.insert(wide.end(), {xs[i], ys[i], zs[i], 7, 8});
    }
    const std::string expected = model::content(value_of(vela::hull::of_points(xs, ys, zs)).get());
    assert_text_eq(model::content(made_of(pixels).get()), expected);
    assert_text_eq(model::content(value_of(vela::hull::of_pixels(wide, 5)).get()), expected);
}

TEST(points_without_a_hull_are_refused) {
    const bytes none, coplanar = {0, 0, 0, 9, 0, 0, 0, 9, 0, 9, 9, 0};
    assert_text_eq(captured(stderr, [&] { ck_assert(!vela::hull::of_pixels(coplanar)); }),
                   "DoubleTriangle: All points coplanar!\n");
    ck_assert(!vela::hull::of_pixels(none));
    ck_assert(!vela::hull::of_points(none, none, none));
    for (const size_t size : {2U, 5U})
        ck_assert(!vela::hull::of_pixels(kTetrahedron, size));
    ck_assert(!vela::hull::of_points(kTetrahedron, kTetrahedron, bytes(11)));
    vela::hull hull = made_of(kTetrahedron);
    ck_assert(!hull.grow(none, bytes(1), none));
    ck_assert(!hull.grow(none, none, bytes(1)));
    ck_assert(!hull.grow_by_pixels(bytes(4)));
    ck_assert(hull.grow_by_pixels(none));
    ck_assert_uint_eq(hull.vertex_count(), 4);
}

TEST(ranges_iterate_over_the_lists) {
    vela::hull hull = made_of(noise<uint8_t>(180, 2));
    ck_assert(hull.grow_by_pixels(kTetrahedron));
    const auto compare = [](auto records, auto *head, size_t count) {
        const auto expected = model::listed(head);
        ck_assert_uint_eq(count, expected.size());
        auto at = records.begin();
        for (const auto *record : expected)
            ck_assert_ptr_eq(&*at++, record);
        ck_assert(at == records.end());
    };
    compare(hull.vertices(), hull.get()->vertices, hull.vertex_count());
    compare(hull.edges(), hull.get()->edges, hull.edge_count());
    compare(hull.faces(), hull.get()->faces, hull.face_count());
}

TEST(answers_are_those_of_c_unless_it_overflows) {
    const vela::hull hull = made_of(noise<uint8_t>(240, 3));
    ck_assert_double_eq(hull.volume() * 6, chull_volume6(hull.get()));
    generator random{4};
    for (int i = 0; i < 2000; ++i) {
        const vela::hull::point p = {random.below(400) - 70, random.below(400) - 70, random.below(400) - 70};
        ck_assert_int_eq(hull.contains(p), is_in_chull(hull.get(), p.x, p.y, p.z));
        uint32_t nearest, farthest;
        ck_assert_int_eq(dist_to_chull(hull.get(), p.x, p.y, p.z, &nearest, &farthest), 0);
        const vela::hull::squared_distances found = value_of(hull.distances(p));
        ck_assert_uint_eq(found.nearest, nearest);
        ck_assert_uint_eq(found.farthest, farthest);
    }
    ck_assert(hull.distances({5255, -5000, 0}).has_value());
    for (const int32_t far : {INT32_MIN, -5001, 5256, INT32_MAX})
        for (const vela::hull::point p : {vela::hull::point{far, 0, 0}, {0, far, 0}, {0, 0, far}}) {
            ck_assert(!hull.contains(p));
            ck_assert(!hull.distances(p));
        }
}

// The ends of every column, and a point of every empty column.
TEST(membership_is_right_at_both_ends_of_every_column) {
    const bytes cube = {0, 0, 0, 0, 0, 255, 0, 255, 0, 0, 255, 255, 255, 0, 0, 255, 0, 255, 255, 255, 0, 255, 255, 255};
    const bytes needle = {0, 0, 0, 255, 254, 253, 254, 255, 255, 255, 255, 254};
    for (const bytes &pixels : {kTetrahedron, cube, needle, noise<uint8_t>(900, 7), noise<uint8_t>(90, 8)}) {
        const vela::hull hull = made_of(pixels);
        const auto table = value_of(hull.membership());
        const auto expect = [&](int x, int y, int z, int expected) {
            if (is_in_chull(hull.get(), x, y, z) != expected)
                ck_abort_msg("(%d, %d, %d) of %zu bytes: expected %d", x, y, z, pixels.size(), expected);
        };
        for (int x = 0; x < 256; ++x)
            for (int y = 0; y < 256; ++y) {
                const auto column = table(static_cast<uint8_t>(x), static_cast<uint8_t>(y));
                if (column.empty()) {
                    expect(x, y, (x * 7 + y * 3) % 256, 0);
                    continue;
                }
                expect(x, y, column.lowest - 1, 0);
                expect(x, y, column.lowest, 1);
                expect(x, y, column.highest, 1);
                expect(x, y, column.highest + 1, 0);
            }
    }
}

TEST(membership_tests_pictures) {
    const auto table = value_of(made_of(kTetrahedron).membership());
    const bytes picture = {0, 0, 0, 9, 200, 200, 200, 9, 85, 85, 86, 9, 85, 85, 85, 9};
    bytes inside(4, 7);
    for (const size_t size : {2U, 3U}) {
        ck_assert(!table.test(picture, inside, size));
        ck_assert(!table.count(picture, size));
    }
    ck_assert(!table.test(picture, std::span(inside).first(3), 4));
    ck_assert(!table.test(std::span(picture).first(12), inside, 4));
    ck_assert(inside == bytes(4, 7));
    ck_assert(table.test(picture, inside, 4));
    ck_assert(inside == bytes({1, 0, 0, 1}));
    ck_assert_uint_eq(value_of(table.count(picture, 4)), 2);
}

TEST(off_files_are_those_of_c_and_a_full_disk_is_an_error) {
    vela::hull hull = made_of(noise<uint8_t>(120, 5));
    const auto written = captured(stdout, [&] { ck_assert(hull.write_off("/dev/stdout")); });
    assert_text_eq(written, captured(stdout, [&] { ck_assert_int_eq(chull_to_file(hull.get(), "/dev/stdout"), 0); }));
    ck_assert(!hull.write_off("/dev/full"));
    ck_assert(!hull.write_off("/nonexistent/hull.off"));
}

TEST(records_are_released_and_adopted) {
    vela::hull hull = made_of(kTetrahedron);
    chull_ctx *record = hull.release();
    hull = made_of(noise<uint8_t>(27, 6));
    ck_assert_ptr_ne(hull.get(), record);
    ck_assert_ptr_eq(value_of(vela::hull::adopt(record)).release(), record);
    for (const int32_t outside : {256, -1}) {
        record->vertices->coord[1] = outside;
        ck_assert(!vela::hull::adopt(record));
    }
    free_chull(record);
    ck_assert(!vela::hull::adopt(record));
    ck_assert(!vela::hull::adopt(nullptr));
    free(record);
}

#include "allocator.hpp"
#include <cstdint>
#include <vela/chull.h>

namespace {

constexpr int32_t kCount = 40;

// Points that change the hull again and again, so that it is built of many records.
struct cloud {
    uint8_t xs[kCount], ys[kCount], zs[kCount];

    cloud() {
        for (unsigned i = 0; i < kCount; ++i) {
            xs[i] = static_cast<uint8_t>(128 + (i % 2 ? 3 * i : 0 - 3 * i));
            ys[i] = static_cast<uint8_t>(i * i * 7 % 256);
            zs[i] = static_cast<uint8_t>(i * 37 % 256);
        }
    }
};

// Whether a hull can be counted and printed: every record in the lists leads to others that are there.
void look_at(const chull_ctx *hull) {
    chull_num_vertices(hull);
    PrintEdges(hull);
    PrintFaces(hull);
}

// Runs an operation on a new hull, which must be fit to be looked at and emptied wherever the operation stopped.
template <class Operation>
void each_record_fails(Operation operation) {
    oom::each_allocation_fails([operation] {
        chull_ctx *hull = reinterpret_cast<chull_ctx *>(1);
        if (alloc_chull(&hull) != 0) {
            ck_assert_ptr_null(hull);
            return;
        }
        operation(hull);
        look_at(hull);
        free_chull(hull);
        oom_free(hull);
    });
}

} // namespace

START_TEST(building_and_growing)
{
    each_record_fails([](chull_ctx *hull) {
        const cloud points;
        const int32_t first = get_chull(points.xs, points.ys, points.zs, kCount / 2, hull);
        const uint32_t faces = chull_num_faces(hull);
        if (first != 0)
            return;
        ck_assert_uint_eq(faces, 2 * chull_num_vertices(hull) - 4);
        if (get_chull(points.xs + kCount / 2, points.ys + kCount / 2, points.zs + kCount / 2, kCount / 2, hull) == 0)
            ck_assert_int_eq(Checks(hull), 0);
    });
}
END_TEST

// The same in steps: whatever stops, stops with a result that says so.
START_TEST(building_in_steps)
{
    each_record_fails([](chull_ctx *hull) {
        const cloud points;
        const bool complete = ReadVertices(hull, points.xs, points.ys, points.zs, kCount) == 0 &&
                              DoubleTriangle(hull) == 0 && ConstructHull(hull) == 0;
        if (complete)
            ck_assert_int_eq(Checks(hull), 0);
    });
}
END_TEST

Suite *chull_suite() {
    Suite *suite = suite_create("chull");
    TCase *tests = tcase_create("out of memory");
    tcase_add_test(tests, building_and_growing);
    tcase_add_test(tests, building_in_steps);
    suite_add_tcase(suite, tests);
    return suite;
}

#include "../generated.hpp"
#include "allocator.hpp"
#include <initializer_list>
#include <vela/chull.h>

// A hull that is built and grown, or built in steps: whatever stops says so, and can be counted, printed and emptied.
START_TEST(building_and_growing)
{
    constexpr int32_t n = 40, half = n / 2;
    uint8_t xs[n], ys[n], zs[n];
    generator random{1};
    for (uint8_t *axis : {xs, ys, zs})
        for (int32_t i = 0; i < n; ++i)
            axis[i] = static_cast<uint8_t>(random.below(256));
    for (int in_steps = 0; in_steps < 2; ++in_steps)
        oom::each_allocation_fails([&] {
            chull_ctx *hull = reinterpret_cast<chull_ctx *>(1);
            if (alloc_chull(&hull) != 0) {
                ck_assert_ptr_null(hull);
                return;
            }
            const bool complete =
                in_steps
                    ? !ReadVertices(hull, xs, ys, zs, n) && !DoubleTriangle(hull) && !ConstructHull(hull)
                    : !get_chull(xs, ys, zs, half, hull) && !get_chull(xs + half, ys + half, zs + half, half, hull);
            ck_assert(!complete || Checks(hull) == 0);
            for (int32_t i = 0; complete && i < n; ++i)
                ck_assert_int_eq(is_in_chull(hull, xs[i], ys[i], zs[i]), 1);
            chull_num_vertices(hull), PrintEdges(hull), PrintFaces(hull);
            free_chull(hull), oom_free(hull);
        });
}
END_TEST

Suite *chull_suite() {
    Suite *suite = suite_create("chull");
    TCase *tests = tcase_create("out of memory");
    tcase_add_test(tests, building_and_growing);
    suite_add_tcase(suite, tests);
    return suite;
}

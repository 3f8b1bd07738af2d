#include "allocator.hpp"
#include <initializer_list>
#include <vela/resample.h>

START_TEST(records_that_cannot_be_made)
{
    for (const uint32_t kernel : {RESAMPLE_LANC, RESAMPLE_LAN2, RESAMPLE_BILI})
        oom::each_allocation_fails([kernel] {
            resample_state *state = resample_alloc(48000, 44100, kernel);
            const bool failed = oom::disarm();
            ck_assert_int_eq(state == nullptr, failed);
            resample_free(state);
        });
}
END_TEST

START_TEST(tables_that_cannot_be_replaced)
{
    oom::each_allocation_fails([] { resample_free(resample_alloc(3, 1, RESAMPLE_BILI)); });
    resample_state *state = resample_alloc(3, 1, RESAMPLE_BILI);
    const int16_t *table = state->coeffs;
    oom::fail_after(0);
    init_lanczos(state, 1);
    oom::fail_after(0);
    init_bilinear(state);
    ck_assert(oom::disarm());
    ck_assert_ptr_eq(state->coeffs, table);
    ck_assert_int_eq(state->num_coeffs, 5);
    resample_free(state);
}
END_TEST

Suite *resample_suite() {
    Suite *suite = suite_create("resample");
    TCase *tests = tcase_create("out of memory");
    tcase_add_test(tests, records_that_cannot_be_made);
    tcase_add_test(tests, tables_that_cannot_be_replaced);
    suite_add_tcase(suite, tests);
    return suite;
}

#include "../support.hpp"
#include "allocator.hpp"
#include <initializer_list>
#include <vela/resample.h>

START_TEST(records_and_tables)
{
    for (const uint32_t kernel : {RESAMPLE_LANC, RESAMPLE_LAN2, RESAMPLE_BILI})
        oom::each_allocation_fails([kernel] {
            resample_state *state = resample_alloc(48000, 44100, kernel);
            ck_assert_int_eq(state == nullptr, oom::disarm());
            resample_free(state);
        });

    // A table that can't be replaced stays.
    resample_state *state = resample_alloc(3, 1, RESAMPLE_BILI);
    const int16_t *table = state->coeffs;
    oom::fail_after(0);
    init_lanczos(state, 1);
    oom::fail_after(0);
    init_bilinear(state);
    ck_assert(oom::disarm() && state->coeffs == table && state->num_coeffs == 5);
    resample_free(state);
}
END_TEST

Suite *resample_suite() { return suite_of("resample", {records_and_tables}); }

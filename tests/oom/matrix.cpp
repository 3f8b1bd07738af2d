#include "../support.hpp"
#include "allocator.hpp"
#include <algorithm>
#include <cstdint>
#include <vela/matrix.h>

namespace {

// What is printed while each allocation fails in turn; exactly the runs in which one does fail.
template <class Scenario>
std::string messages(Scenario scenario) {
    std::string all;
    oom::each_allocation_fails([&] { all += captured(stderr, [&] { ck_assert_int_eq(scenario(), oom::disarm()); }); });
    return all;
}

// A matrix has two allocations, and what follows when it can't be made is the same.
std::string unmade(const std::string &then = "") {
    return "malloc_matrix: failed fmatrix malloc\n" + then + "malloc_matrix: failed data malloc\n" + then;
}

} // namespace

START_TEST(matrices)
{
    float elements[] = {1, 2, 3, 4, 5, 7}, coeffs[6];
    const fmatrix a = {3, 2, elements};
    // The results made so far are the caller's; u holds the matrix, and working storage fails silently.
    assert_text_eq(messages([&] {
                       fmatrix *t = nullptr, *u = nullptr, *w = nullptr, *v = nullptr;
                       const int32_t result = transpose(&a, &t) || svdcmp(&a, &u, &w, &v);
                       ck_assert(!u || result == 0 || std::equal(elements, elements + 6, u->data));
                       for (fmatrix *m : {t, u, w, v})
                           free_matrix(m);
                       return result;
                   }),
                   unmade() + unmade() + unmade() + unmade());
    const uint16_t xs[] = {0, 1, 2, 0, 1, 3}, ys[] = {0, 0, 1, 2, 3, 3};
    const std::string last = "polyfit2D: failed pseudo inverse\n", svdcmp = "pseudo_inverse: svdcmp() failed\n" + last;
    assert_text_eq(messages([&] { return polyfit2D(xs, ys, elements, 6, coeffs); }),
                   unmade("polyfit2D: failed to allocate XY matrix\n") + unmade(svdcmp) + unmade(svdcmp) +
                       unmade(svdcmp) + svdcmp + unmade("pseudo_inverse: transpose() failed\n" + last) +
                       unmade("pseudo_inverse: malloc() failed\n" + last));
}
END_TEST

Suite *matrix_suite() { return suite_of("matrix", {matrices}); }

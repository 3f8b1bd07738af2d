#include "../support.hpp"
#include "allocator.hpp"
#include <algorithm>
#include <cstdint>
#include <string>
#include <vela/matrix.h>

namespace {

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

// The result and what is printed while each allocation fails in turn, a line a run. "record:" and "data:" stand for
// the two messages of malloc_matrix().
template <class Scenario>
std::string messages(Scenario scenario) {
    std::string all;
    oom::each_allocation_fails([&] {
        int32_t result = 0;
        std::string text = captured(stderr, [&] { result = scenario(); });
        text = replaced(text, "malloc_matrix: failed fmatrix malloc\n", "record: ");
        text = replaced(text, "malloc_matrix: failed data malloc\n", "data: ");
        all += std::to_string(result);
        all += " ";
        all += replaced(text, "\n", "; ");
        all += "\n";
    });
    return all;
}

} // namespace

START_TEST(matrices)
{
    float elements[] = {1, 2, 3, 4, 5, 7};
    const fmatrix a = {3, 2, elements};
    assert_text_eq(messages([&] {
                       fmatrix *out = nullptr;
                       const int32_t result = transpose(&a, &out);
                       ck_assert_int_eq(result, out == nullptr);
                       free_matrix(out);
                       return result;
                   }),
                   "1 record: \n1 data: \n0 \n");
    // The results made so far are the caller's; u holds the matrix, and working storage fails silently.
    assert_text_eq(messages([&] {
                       fmatrix *u = nullptr, *w = nullptr, *v = nullptr;
                       const int32_t result = svdcmp(&a, &u, &w, &v);
                       ck_assert(!u || result == 0 || std::equal(elements, elements + 6, u->data));
                       free_matrix(u);
                       free_matrix(w);
                       free_matrix(v);
                       return result;
                   }),
                   "1 record: \n1 data: \n1 record: \n1 data: \n1 record: \n1 data: \n1 \n0 \n");
}
END_TEST

START_TEST(fits)
{
    const char *const expected = "1 record: polyfit: failed to allocate X matrix; \n"
                                 "1 data: polyfit: failed to allocate X matrix; \n"
                                 "1 record: pseudo_inverse: svdcmp() failed; polyfit: failed pseudo inverse; \n"
                                 "1 data: pseudo_inverse: svdcmp() failed; polyfit: failed pseudo inverse; \n"
                                 "1 record: pseudo_inverse: svdcmp() failed; polyfit: failed pseudo inverse; \n"
                                 "1 data: pseudo_inverse: svdcmp() failed; polyfit: failed pseudo inverse; \n"
                                 "1 record: pseudo_inverse: svdcmp() failed; polyfit: failed pseudo inverse; \n"
                                 "1 data: pseudo_inverse: svdcmp() failed; polyfit: failed pseudo inverse; \n"
                                 "1 pseudo_inverse: svdcmp() failed; polyfit: failed pseudo inverse; \n"
                                 "1 record: pseudo_inverse: transpose() failed; polyfit: failed pseudo inverse; \n"
                                 "1 data: pseudo_inverse: transpose() failed; polyfit: failed pseudo inverse; \n"
                                 "1 record: pseudo_inverse: malloc() failed; polyfit: failed pseudo inverse; \n"
                                 "1 data: pseudo_inverse: malloc() failed; polyfit: failed pseudo inverse; \n"
                                 "0 \n";
    const float heights[] = {1, 2, 3, 4, 5, 6};
    const uint16_t columns[] = {0, 1, 2, 0, 1, 3}, rows[] = {0, 0, 1, 2, 3, 3};
    float coeffs[6];
    assert_text_eq(messages([&] { return polyfit(heights, heights, 6, 2, coeffs); }), expected);
    assert_text_eq(messages([&] { return polyfit2D(columns, rows, heights, 6, coeffs); }),
                   replaced(replaced(expected, "polyfit", "polyfit2D"), "X matrix", "XY matrix"));
}
END_TEST

Suite *matrix_suite() {
    Suite *suite = suite_create("matrix");
    TCase *tests = tcase_create("out of memory");
    tcase_add_test(tests, matrices);
    tcase_add_test(tests, fits);
    suite_add_tcase(suite, tests);
    return suite;
}

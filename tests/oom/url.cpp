#include "allocator.hpp"
#include <vela/url.h>

START_TEST(urls_whole_or_not_at_all)
{
    oom::each_allocation_fails([] {
        url_record *url = url_alloc("s://u:p@h:80/a?b");
        if (url)
            ck_assert_str_eq(url->query, "b");
        url_free(url);
    });
}
END_TEST

Suite *url_suite() {
    Suite *suite = suite_create("url");
    TCase *tests = tcase_create("out of memory");
    tcase_add_test(tests, urls_whole_or_not_at_all);
    suite_add_tcase(suite, tests);
    return suite;
}

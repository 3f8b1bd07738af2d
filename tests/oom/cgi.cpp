#include "../web.hpp"
#include "allocator.hpp"
#include <cstring>

START_TEST(requests_without_memory)
{
    const auto is_value_or_null = [](const char *found, const char *value) {
        return !found || std::strcmp(found, value) == 0;
    };
    setenv("HTTP_HOST", "host", 1);
    oom::each_allocation_fails([=] {
        set_input("a=3&b");
        cgi_request *cgi = request("POST", "a=1", "a=2", "5");
        if (!cgi)
            return;
        ck_assert_int_eq(cgi->body_len, 5);
        ck_assert(is_value_or_null(cgi_query_param(cgi, "a"), "1"));
        ck_assert(is_value_or_null(cgi_cookie(cgi, "a"), "2"));
        ck_assert(is_value_or_null(cgi_header(cgi, "host"), "host"));
        // What the first look-up can't parse, no later one does.
        const bool has_form = cgi_form_param(cgi, "a");
        ck_assert_int_eq(cgi_form_param(cgi, "b") != nullptr, has_form);
        cgi_cleanup(cgi);
    });
}
END_TEST

START_TEST(error_without_a_body)
{
    cgi_request *cgi = request("GET");
    char text[100] = {};
    FILE *stream = fmemopen(text, sizeof text, "w");
    cgi_set_output(cgi, stream);
    oom::fail_after(0);
    cgi_error(cgi, 404, "%s", "message");
    ck_assert(oom::disarm());
    std::fclose(stream);
    ck_assert_str_eq(text, "Status: 404\r\nContent-Type: text/plain\r\nContent-Length: 0\r\n\r\n");
    cgi_cleanup(cgi);
}
END_TEST

Suite *cgi_suite() {
    Suite *suite = suite_create("cgi");
    TCase *tests = tcase_create("out of memory");
    tcase_add_test(tests, requests_without_memory);
    tcase_add_test(tests, error_without_a_body);
    suite_add_tcase(suite, tests);
    return suite;
}

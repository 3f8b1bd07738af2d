#include "allocator.hpp"
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <vela/cgi.h>

namespace {

void assert_value_or_nothing(const char *actual, const char *value) {
    if (actual)
        ck_assert_str_eq(actual, value);
}

} // namespace

START_TEST(requests_without_memory)
{
    FILE *input = std::tmpfile();
    std::fputs("a=3&b", input);
    ck_assert_int_eq(dup2(fileno(input), STDIN_FILENO), STDIN_FILENO);
    setenv("REQUEST_METHOD", "POST", 1);
    setenv("CONTENT_LENGTH", "5", 1);
    setenv("QUERY_STRING", "a=1", 1);
    setenv("HTTP_COOKIE", "a=2", 1);
    setenv("HTTP_HOST", "host", 1);
    oom::each_allocation_fails([input] {
        std::rewind(input);
        cgi_request *cgi;
        if (cgi_setup(&cgi) != 0) {
            ck_assert_ptr_null(cgi);
            return;
        }
        ck_assert_int_eq(cgi->body_len, 5);
        assert_value_or_nothing(cgi_query_param(cgi, "a"), "1");
        assert_value_or_nothing(cgi_cookie(cgi, "a"), "2");
        assert_value_or_nothing(cgi_header(cgi, "host"), "host");
        // What the first look-up can't parse, no later one does.
        const bool has_form = cgi_form_param(cgi, "a");
        ck_assert_int_eq(cgi_form_param(cgi, "b") != nullptr, has_form);
        cgi_cleanup(cgi);
    });
}
END_TEST

START_TEST(error_without_a_body)
{
    setenv("REQUEST_METHOD", "GET", 1);
    cgi_request *cgi;
    ck_assert_int_eq(cgi_setup(&cgi), 0);
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

#include "../support.hpp"
#include "../web.hpp"
#include "allocator.hpp"

// Each text is whole or not there at all.
START_TEST(requests_without_memory)
{
    setenv("HTTP_HOST", "host", 1);
    oom::each_allocation_fails([] {
        set_input("a=3&b");
        cgi_request *cgi = request("POST", "a=1", "a=2", "5");
        if (!cgi)
            return;
        // What the first look-up in a form can't parse, no later one does.
        const bool has_form = cgi_form_param(cgi, "a");
        ck_assert_int_eq(cgi_form_param(cgi, "b") != nullptr, has_form);
        ck_assert_int_eq(cgi->body_len, 5);
        char error[100] = {};
        FILE *stream = fmemopen(error, sizeof error, "w");
        cgi_set_output(cgi, stream);
        cgi_error(cgi, 404, nullptr);
        std::fclose(stream);
        const std::string head = "Status: 404\r\nContent-Type: text/plain\r\nContent-Length: ";
        ck_assert(error == head + "0\r\n\r\n" || error == head + "9\r\n\r\nNot Found");
        const char *const results[][2] = {
            {cgi_query_param(cgi, "a"), "1"}, {cgi_cookie(cgi, "a"), "2"}, {cgi_header(cgi, "host"), "host"}};
        for (const auto &[result, whole] : results)
            ck_assert(!result || std::strcmp(result, whole) == 0);
        cgi_cleanup(cgi);
    });
}
END_TEST

START_TEST(urls_without_memory)
{
    oom::each_allocation_fails([] {
        const std::string list = components("s://u:p@h:80/a?b");
        ck_assert(list == "null" || list == "<s> <u> <p> <h> <80> </a> <b>");
    });
}
END_TEST

Suite *cgi_suite() { return suite_of("cgi", {requests_without_memory, urls_without_memory}); }

#include "support.hpp"
#include "web.hpp"
#include <algorithm>
#include <cstring>
#include <thread>

namespace {

constexpr size_t kMostBody = 131072;

// Bytes in which every place can be told from its neighbours.
std::string pattern(size_t length) {
    std::string bytes;
    while (bytes.size() < length)
        bytes += std::to_string(bytes.size()) + ',';
    return bytes.substr(0, length);
}

template <class LookUp>
std::string values(LookUp look_up, cgi_request *cgi) {
    std::string list;
    for (const char *name : {"A", "b", "a b", "x=y", " a", ""})
        if (const char *value = look_up(cgi, name))
            list += std::string(name) + "<" + value + ">";
    return list;
}

// What cgi_error() writes behind its first two lines and the name of the third, which do not vary.
template <class... Arguments>
std::string error_body(int32_t status, const char *format, Arguments... arguments) {
    cgi_request *cgi = request("GET");
    ck_assert_ptr_eq(cgi_output(cgi), stdout);
    FILE *stream = std::tmpfile();
    cgi_set_output(cgi, stream);
    const std::string text = captured(stream, [=] { cgi_error(cgi, status, format, arguments...); });
    std::fclose(stream);
    cgi_cleanup(cgi);
    const std::string head = "Status: " + std::to_string(status) + "\r\nContent-Type: text/plain\r\nContent-Length: ";
    assert_text_eq(text.substr(0, head.size()), head);
    return text.substr(head.size());
}

} // namespace

// One parser: the same text as query string, as form and, with ";" for "&", as cookies.
START_TEST(names_and_values)
{
    const std::pair<const char *, const char *> rows[] = {
        {"", ""},
        {"a=1&b=2", "A<1>b<2>"},
        {"a&b=", "A<>b<>"},
        {"a=b=b", "A<b>b<>"},
        {"=b", "b<>"},
        {"=&==&b", "b<>"},
        {"&&a=1&", "A<1>"},
        {"a==b", "A<>b<>"},
        {"a=&b=2", "A<>b<2>"},
        {"a=1&A=2&a=3", "A<1>"},
        {"%41=%42&b=x%3dy%26%00z", "A<B>b<x=y&>"},
        {"a+b=c+d&x%3Dy=1", "a b<c d>x=y<1>"},
        {"a=%&b=%4&%=\xe9%e9", "A<>b<4><\xe9\xe9>"},
    };
    for (const auto &[text, expected] : rows) {
        std::string cookies = text;
        std::replace(cookies.begin(), cookies.end(), '&', ';');
        set_input(text);
        cgi_request *cgi = request("POST", text, cookies.c_str());
        assert_text_eq(values(cgi_query_param, cgi), expected);
        assert_text_eq(values(cgi_form_param, cgi), expected);
        assert_text_eq(values(cgi_cookie, cgi), expected);
        cgi_cleanup(cgi);
    }
}
END_TEST

// Spaces mean something behind a cookie's separators only, and each text has its own separator.
START_TEST(spaces_and_separators)
{
    const struct {
        const char *text, *cookies, *parameters;
    } rows[] = {
        {"a=1; b=2", "A<1>b<2>", "A<1; b>"},
        {" a=  1 ;   b;  ;x=  ", "b<> a<1 >", " a<  1 ;   b;  ;x>"},
        {"b= ;a=\t2;  =  A", "A<\t2>b<>", "b< ;a>"},
        {"a=1&b= 2 ", "A<1&b>", "A<1>b< 2 >"},
    };
    for (const auto &row : rows) {
        cgi_request *cgi = request("GET", row.text, row.text);
        assert_text_eq(values(cgi_cookie, cgi), row.cookies);
        assert_text_eq(values(cgi_query_param, cgi), row.parameters);
        ck_assert_ptr_null(cgi_form_param(cgi, "a"));
        cgi_cleanup(cgi);
    }
}
END_TEST

START_TEST(bodies_and_announced_lengths)
{
    constexpr size_t kNone = SIZE_MAX;
    const struct {
        const char *method, *length;
        size_t input, body;
    } rows[] = {
        {"POST", "5", 10, 5},
        {"post", "10", 5, 5},
        {"POST", "1", 0, 0},
        {"POST", "131071", 140000, 131071},
        {"POST", "131072", 140000, kMostBody},
        {"POST", "131073", 140000, kMostBody},
        {"POST", "4294967301", 140000, kMostBody},
        {"POST", "-99999999999999999999", 140000, kMostBody},
        {"POST", "-5", 140000, kMostBody},
        {"POST", nullptr, 140000, kMostBody},
        {"POST", nullptr, 7, 7},
        {"POST", "7abc", 10, 7},
        {"POST", "0", 10, kNone},
        {"POST", "abc", 10, kNone},
        {"GET", "5", 10, kNone},
        {"POSTS", "5", 10, kNone},
    };
    for (const auto &row : rows) {
        const std::string bytes = pattern(row.input);
        set_input(bytes);
        cgi_request *cgi = request(row.method, nullptr, nullptr, row.length);
        const size_t length = row.body == kNone ? 0 : row.body;
        ck_assert_int_eq(cgi->body_len, static_cast<int32_t>(length));
        ck_assert_int_eq(cgi->body == nullptr, row.body == kNone);
        if (cgi->body)
            assert_text_eq(cgi->body, bytes.substr(0, length));
        ck_assert_int_eq(lseek(STDIN_FILENO, 0, SEEK_CUR), static_cast<off_t>(length));
        ck_assert_ptr_null(cgi_form_param(cgi, "a"));
        cgi_cleanup(cgi);
    }
}
END_TEST

// A body comes in pieces and ends with the input still open; it is bytes, the form in it a text.
START_TEST(bodies_through_a_pipe)
{
    int ends[2];
    ck_assert_int_eq(pipe(ends), 0);
    ck_assert_int_eq(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
    const std::string bytes = pattern(140000);
    std::thread server([&] {
        for (size_t i = 0; i < bytes.size(); i += 1000)
            ck_assert_int_eq(write(ends[1], &bytes[i], 1000), 1000);
    });
    cgi_request *longest = request("POST", nullptr, nullptr, "999999");
    server.join();
    cgi_request *rest = request("POST", nullptr, nullptr, "8928");
    ck_assert(longest->body + std::string(rest->body) == bytes);
    ck_assert_int_eq(write(ends[1], "a=1\0&b=2", 8), 8);
    cgi_request *form = request("POST", nullptr, nullptr, "8");
    ck_assert_mem_eq(form->body, "a=1\0&b=2", 9);
    assert_text_eq(values(cgi_form_param, form), "A<1>");
    for (cgi_request *cgi : {longest, rest, form})
        cgi_cleanup(cgi);
}
END_TEST

// As many names as a body can hold.
START_TEST(body_full_of_names)
{
    std::string body, last;
    for (; body.size() < kMostBody - 20; body += "&" + last)
        last = std::to_string(body.size());
    body.resize(kMostBody - 4, '&');
    set_input(body + "&a=1");
    cgi_request *cgi = request("POST");
    ck_assert_pstr_eq(cgi_form_param(cgi, "0"), "");
    ck_assert_pstr_eq(cgi_form_param(cgi, last.c_str()), "");
    assert_text_eq(values(cgi_form_param, cgi), "A<1>");
    cgi_cleanup(cgi);
}
END_TEST

START_TEST(environment_headers_and_missing_arguments)
{
    for (const char *variable : {"HTTP_USER_AGENT", "HTTP_X.Y_\xe9 Z", "HTTP_", "REQUEST_URI"})
        setenv(variable, variable, 1);
    cgi_request *cgi = request("HEAD", "a=1", "a=2");
    ck_assert_ptr_eq(cgi->uri, getenv("REQUEST_URI"));
    ck_assert_ptr_eq(cgi->query, getenv("QUERY_STRING"));
    ck_assert_ptr_eq(cgi->method, getenv("REQUEST_METHOD"));
    ck_assert_ptr_eq(cgi_header(cgi, "user-agent"), getenv("HTTP_USER_AGENT"));
    ck_assert_pstr_eq(cgi_header(cgi, "x.Y-\xe9 z"), "HTTP_X.Y_\xe9 Z");
    ck_assert_pstr_eq(cgi_header(cgi, ""), "HTTP_");
    ck_assert_ptr_null(cgi_header(cgi, "user"));

    cgi_request empty = {};
    const auto header = [](cgi_request *from, const char *name) { return cgi_header(from, name); };
    for (const auto look_up : {+header, cgi_query_param, cgi_form_param, cgi_cookie}) {
        ck_assert_ptr_null(look_up(cgi, nullptr));
        ck_assert_ptr_null(look_up(nullptr, "a"));
        ck_assert_ptr_null(look_up(&empty, "a"));
    }
    cgi_request *bare = request("GET");
    ck_assert_ptr_null(cgi_query_param(bare, "a"));
    ck_assert_ptr_null(cgi_cookie(bare, "a"));
    for (cgi_request *one : {cgi, bare, &empty, static_cast<cgi_request *>(nullptr)})
        cgi_cleanup(one);
    ck_assert_ptr_null(request(nullptr, "a=1"));
}
END_TEST

START_TEST(error_responses)
{
    assert_text_eq(error_body(404, "no such file: %s", "x.cfg"), "30\r\n\r\nNot Found\r\nno such file: x.cfg");
    assert_text_eq(error_body(-1, "%s", "%s%n"), "13\r\n\r\nUNKNOWN\r\n%s%n");
    assert_text_eq(error_body(200, nullptr), "2\r\n\r\nOK");
    assert_text_eq(error_body(200, "a%cb", 0), "5\r\n\r\nOK\r\na");
    // A body of 1022 bytes is the longest.
    for (const size_t length : {1017U, 1018U, 1019U, 1023U, 100000U}) {
        const std::string message = pattern(length), body = "OK\r\n" + message.substr(0, 1018);
        assert_text_eq(error_body(200, "%s", message.c_str()), std::to_string(body.size()) + "\r\n\r\n" + body);
    }
    int known = 0;
    for (int32_t code = -1000; code < 2000; ++code)
        known += std::strcmp(http_strerr(code), "UNKNOWN") != 0;
    ck_assert_int_eq(known, 40);
    ck_assert_str_eq(http_strerr(203), "Non-Authoritative Information");
    ck_assert_str_eq(http_strerr(306), "UNKNOWN");
}
END_TEST

Suite *cgi_suite() {
    Suite *suite = suite_create("cgi");
    TCase *tests = tcase_create("cgi");
    tcase_add_test(tests, names_and_values);
    tcase_add_test(tests, spaces_and_separators);
    tcase_add_test(tests, bodies_and_announced_lengths);
    tcase_add_test(tests, bodies_through_a_pipe);
    tcase_add_test(tests, body_full_of_names);
    tcase_add_test(tests, environment_headers_and_missing_arguments);
    tcase_add_test(tests, error_responses);
    suite_add_tcase(suite, tests);
    return suite;
}

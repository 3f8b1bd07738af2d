#include "support.hpp"
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vela/cgi.h>

namespace {

constexpr size_t kMostBody = 131072;

// What the web server passes; null for a variable that is not set.
struct server {
    const char *method = "GET", *query = nullptr, *cookies = nullptr, *length = nullptr;

    cgi_request *pass() const {
        const std::pair<const char *, const char *> variables[] = {
            {"REQUEST_METHOD", method}, {"QUERY_STRING", query}, {"HTTP_COOKIE", cookies}, {"CONTENT_LENGTH", length}};
        for (const auto &[name, value] : variables)
            value ? setenv(name, value, 1) : unsetenv(name);
        cgi_request *cgi;
        ck_assert_int_eq(cgi_setup(&cgi), 0);
        ck_assert_ptr_eq(cgi->output, stdout);
        return cgi;
    }
};

// Makes a file of these bytes the standard input.
void set_input(const std::string &bytes) {
    FILE *file = std::tmpfile();
    ck_assert_uint_eq(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    std::rewind(file);
    ck_assert_int_eq(dup2(fileno(file), STDIN_FILENO), STDIN_FILENO);
    std::fclose(file);
}

std::string input_left() {
    std::string bytes;
    char piece[4096];
    for (ssize_t got; (got = read(STDIN_FILENO, piece, sizeof piece)) > 0;)
        bytes.append(piece, static_cast<size_t>(got));
    return bytes;
}

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

std::string error_response(int32_t status, const char *format, ...) {
    cgi_request *cgi = server().pass();
    char *text = nullptr;
    size_t length = 0;
    FILE *stream = open_memstream(&text, &length);
    cgi_set_output(cgi, stream);
    ck_assert_ptr_eq(cgi_output(cgi), stream);
    va_list args;
    va_start(args, format);
    cgi_verror(cgi, status, format, args);
    va_end(args);
    std::fclose(stream);
    cgi_cleanup(cgi);
    std::string response(text, length);
    std::free(text);
    return response;
}

} // namespace

// One parser: the same text as query string, as form and, with ";" for "&", as cookies.
START_TEST(names_and_values)
{
    const struct {
        const char *text, *values;
    } rows[] = {
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
        {"a=%&b=%4&%=e", "A<>b<4><e>"},
        {" a=1&b= 2 ", "b< 2 > a<1>"},
        {"a=\xe9%e9", "A<\xe9\xe9>"},
    };
    for (const auto &row : rows) {
        std::string cookies = row.text;
        std::replace(cookies.begin(), cookies.end(), '&', ';');
        set_input(row.text);
        cgi_request *cgi = server{"POST", row.text, cookies.c_str()}.pass();
        assert_text_eq(values(cgi_query_param, cgi), row.values);
        assert_text_eq(values(cgi_form_param, cgi), row.values);
        if (!std::strchr(row.text, ' '))
            assert_text_eq(values(cgi_cookie, cgi), row.values);
        cgi_cleanup(cgi);
    }
}
END_TEST

START_TEST(cookies_skip_spaces_and_keep_other_separators)
{
    const struct {
        const char *text, *values;
    } rows[] = {
        {"a=1; b=2", "A<1>b<2>"}, {"a=  1 ;   b", "A<1 >b<>"},       {" a=1;  ;b=  ", "b<> a<1>"},
        {"a=1&b=2", "A<1&b>"},    {"a= ;b=\t2;  =  A", "A<>b<\t2>"},
    };
    for (const auto &row : rows) {
        cgi_request *cgi = server{"GET", "a=1;b=2", row.text}.pass();
        assert_text_eq(values(cgi_cookie, cgi), row.values);
        assert_text_eq(values(cgi_query_param, cgi), "A<1;b>");
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
        {"POST", "131073", 131073, kMostBody},
        {"POST", "4294967301", 140000, kMostBody},
        {"POST", "99999999999999999999", 140000, kMostBody},
        {"POST", "-99999999999999999999", 140000, kMostBody},
        {"POST", "-5", 140000, kMostBody},
        {"POST", nullptr, 140000, kMostBody},
        {"POST", nullptr, 7, 7},
        {"POST", "7abc", 10, 7},
        {"POST", "0", 10, kNone},
        {"POST", "abc", 10, kNone},
        {"POST", "", 10, kNone},
        {"GET", "5", 10, kNone},
        {"POSTS", "5", 10, kNone},
    };
    for (const auto &row : rows) {
        const std::string bytes = pattern(row.input);
        set_input(bytes);
        cgi_request *cgi = server{row.method, nullptr, nullptr, row.length}.pass();
        const size_t length = row.body == kNone ? 0 : row.body;
        ck_assert_int_eq(cgi->body_len, static_cast<int32_t>(length));
        ck_assert_int_eq(cgi->body == nullptr, row.body == kNone);
        if (cgi->body)
            assert_text_eq(cgi->body, bytes.substr(0, length));
        ck_assert(input_left() == bytes.substr(length));
        ck_assert_ptr_null(cgi_form_param(cgi, "a"));
        cgi_cleanup(cgi);
    }
}
END_TEST

// A body may come in pieces and may end with the input still open; it is bytes, the form in it a text.
START_TEST(bodies_through_a_pipe)
{
    int ends[2];
    ck_assert_int_eq(pipe(ends), 0);
    ck_assert_int_eq(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
    const std::string bytes = pattern(140000);
    std::thread server_side([&] {
        for (size_t i = 0; i < bytes.size(); i += 1000)
            ck_assert_int_eq(write(ends[1], &bytes[i], 1000), 1000);
    });
    cgi_request *cgi = server{"POST", nullptr, nullptr, "999999"}.pass();
    server_side.join();
    assert_text_eq(cgi->body, bytes.substr(0, kMostBody));
    cgi_cleanup(cgi);
    cgi = server{"POST", nullptr, nullptr, "8928"}.pass();
    assert_text_eq(cgi->body, bytes.substr(kMostBody));
    cgi_cleanup(cgi);

    ck_assert_int_eq(write(ends[1], "a=1\0&b=2", 8), 8);
    cgi = server{"POST", nullptr, nullptr, "8"}.pass();
    ck_assert_mem_eq(cgi->body, "a=1\0&b=2", 9);
    assert_text_eq(values(cgi_form_param, cgi), "A<1>");
    cgi_cleanup(cgi);
}
END_TEST

// As many names as a body can hold, each of them found.
START_TEST(body_full_of_names)
{
    std::string body;
    while (body.size() < kMostBody)
        body += "&n" + std::to_string(body.size());
    body.resize(kMostBody);
    set_input(body);
    cgi_request *cgi = server{"POST"}.pass();
    for (size_t i = 0; i < kMostBody - 14; i += 2 + std::to_string(i).size())
        if (i % 64 == 0)
            ck_assert_pstr_eq(cgi_form_param(cgi, ("N" + std::to_string(i)).c_str()), "");
    ck_assert_ptr_null(cgi_form_param(cgi, "m"));
    cgi_cleanup(cgi);

    set_input(std::string(kMostBody, '='));
    cgi = server{"POST"}.pass();
    ck_assert_ptr_null(cgi_form_param(cgi, ""));
    cgi_cleanup(cgi);
}
END_TEST

START_TEST(environment_headers_and_missing_arguments)
{
    setenv("HTTP_USER_AGENT", "agent", 1);
    setenv("HTTP_X.Y_\xe9 Z", "odd", 1);
    setenv("HTTP_", "bare", 1);
    setenv("REQUEST_URI", "/x?a=1", 1);
    cgi_request *cgi = server{"HEAD", "a=1", "a=2"}.pass();
    ck_assert_ptr_eq(cgi->uri, getenv("REQUEST_URI"));
    ck_assert_ptr_eq(cgi->query, getenv("QUERY_STRING"));
    ck_assert_ptr_eq(cgi->method, getenv("REQUEST_METHOD"));
    ck_assert_ptr_eq(cgi_header(cgi, "user-agent"), getenv("HTTP_USER_AGENT"));
    ck_assert_pstr_eq(cgi_header(cgi, "x.Y-\xe9 z"), "odd");
    ck_assert_pstr_eq(cgi_header(cgi, ""), "bare");
    ck_assert_ptr_null(cgi_header(cgi, "user"));

    cgi_request empty = {};
    for (const auto look_up : {cgi_query_param, cgi_form_param, cgi_cookie}) {
        ck_assert_ptr_null(look_up(cgi, nullptr));
        ck_assert_ptr_null(look_up(nullptr, "a"));
        ck_assert_ptr_null(look_up(&empty, "a"));
    }
    ck_assert_ptr_null(cgi_header(cgi, nullptr));
    ck_assert_ptr_null(cgi_header(nullptr, "user-agent"));
    ck_assert_ptr_null(cgi_header(&empty, "user-agent"));
    cgi_cleanup(cgi);
    cgi_cleanup(&empty);
    cgi_cleanup(nullptr);

    for (const char *variable : {"QUERY_STRING", "HTTP_COOKIE", "REQUEST_URI", "REQUEST_METHOD"}) {
        ck_assert_ptr_nonnull(cgi);
        unsetenv(variable);
        if (cgi_setup(&cgi) == 0) {
            ck_assert_ptr_null(cgi_query_param(cgi, "a"));
            cgi_cleanup(cgi);
        } else {
            ck_assert_str_eq(variable, "REQUEST_METHOD");
        }
    }
    ck_assert_ptr_null(cgi);
}
END_TEST

START_TEST(error_responses)
{
    const std::string plain = "\r\nContent-Type: text/plain\r\nContent-Length: ";
    assert_text_eq(error_response(404, "no such file: %s", "x.cfg"),
                   "Status: 404" + plain + "30\r\n\r\nNot Found\r\nno such file: x.cfg");
    assert_text_eq(error_response(-1, "%s", "%s%n"), "Status: -1" + plain + "13\r\n\r\nUNKNOWN\r\n%s%n");
    assert_text_eq(error_response(200, ""), "Status: 200" + plain + "4\r\n\r\nOK\r\n");
    assert_text_eq(error_response(200, nullptr), "Status: 200" + plain + "2\r\n\r\nOK");
    assert_text_eq(error_response(200, "a%cb", 0), "Status: 200" + plain + "5\r\n\r\nOK\r\na");
    // A body of 1022 bytes is the longest.
    for (const size_t length : {1017u, 1018u, 1019u, 1023u, 100000u}) {
        const std::string message = pattern(length), body = "OK\r\n" + message.substr(0, 1018);
        assert_text_eq(error_response(200, "%s", message.c_str()),
                       "Status: 200" + plain + std::to_string(body.size()) + "\r\n\r\n" + body);
    }
    cgi_request *cgi = server().pass();
    assert_text_eq(captured(stdout, [=] { cgi_error(cgi, 505, "%d %s", 7, "x"); }),
                   "Status: 505" + plain + "31\r\n\r\nHTTP Version Not Supported\r\n7 x");
    cgi_cleanup(cgi);
}
END_TEST

START_TEST(status_reasons)
{
    int known = 0;
    for (int32_t code = -1000; code < 2000; ++code)
        known += std::strcmp(http_strerr(code), "UNKNOWN") != 0;
    ck_assert_int_eq(known, 40);
    const std::pair<int32_t, const char *> rows[] = {
        {100, "Continue"},           {203, "Non-Authoritative Information"},   {306, "UNKNOWN"},
        {307, "Temporary Redirect"}, {416, "Requested Range Not Satisfiable"}, {418, "UNKNOWN"}};
    for (const auto &[code, reason] : rows)
        ck_assert_str_eq(http_strerr(code), reason);
}
END_TEST

Suite *cgi_suite() {
    Suite *suite = suite_create("cgi");
    TCase *tests = tcase_create("cgi");
    tcase_add_test(tests, names_and_values);
    tcase_add_test(tests, cookies_skip_spaces_and_keep_other_separators);
    tcase_add_test(tests, bodies_and_announced_lengths);
    tcase_add_test(tests, bodies_through_a_pipe);
    tcase_add_test(tests, body_full_of_names);
    tcase_add_test(tests, environment_headers_and_missing_arguments);
    tcase_add_test(tests, error_responses);
    tcase_add_test(tests, status_reasons);
    suite_add_tcase(suite, tests);
    return suite;
}

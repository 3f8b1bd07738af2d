#include "models/web.hpp"
#include "support.hpp"
#include <thread>

namespace {

// Bytes in which every place can be told from its neighbours, as a form full of names.
std::string pattern(size_t length) {
    std::string bytes;
    while (bytes.size() < length)
        bytes += std::to_string(bytes.size() % 1009) + '&';
    return bytes.substr(0, length);
}

// The response must be of this status and body.
template <class... Arguments>
void check_error(int32_t status, const std::string &body, const char *format, Arguments... arguments) {
    cgi_request *cgi = request("GET");
    ck_assert_ptr_eq(cgi_output(cgi), stdout);
    FILE *stream = std::tmpfile();
    cgi_set_output(cgi, stream);
    assert_text_eq(captured(stream, [=] { cgi_error(cgi, status, format, arguments...); }),
                   "Status: " + std::to_string(status) + "\r\nContent-Type: text/plain\r\nContent-Length: " +
                       std::to_string(body.size()) + "\r\n\r\n" + body);
    std::fclose(stream);
    cgi_cleanup(cgi);
}

} // namespace

// The same text as query string, cookies and form; a body is bytes, of which the form ends at the first NUL.
START_TEST(names_and_values)
{
    std::mt19937 random(10);
    for (size_t round = 0; round < 5000; ++round) {
        const std::string text = random_text(random, round % 50, "aAb1==&&;; %+\xe9");
        const std::string body = std::string(text).append("\0&b=1", 6);
        check_request("POST", nullptr, kMostBody, body, text.c_str());
    }
    cgi_request *cgi = request("GET", "%41=+1&b=x%3dy; c=&a=2", "%41=+1&b=x%3dy;   c=; A=2");
    ck_assert_pstr_eq(cgi_query_param(cgi, "a"), " 1");
    ck_assert_pstr_eq(cgi_query_param(cgi, "B"), "x=y; c");
    ck_assert_pstr_eq(cgi_cookie(cgi, "a"), " 1&b");
    ck_assert_pstr_eq(cgi_cookie(cgi, "C"), "");
    cgi_cleanup(cgi);
}
END_TEST

START_TEST(bodies_and_announced_lengths)
{
    const struct {
        const char *method, *length;
        size_t input, asked;
    } rows[] = {
        // clang-format off
        {"POST", "5", 10, 5}, {"post", "10", 5, 10}, {"POST", "1", 0, 1}, {"POST", "7abc", 10, 7}, {"POST", "0", 10, 0},
        {"POST", "abc", 10, 0}, {"GET", "5", 10, 0}, {"POSTS", "5", 10, 0}, {"POST", nullptr, 7, kMostBody},
        {"POST", "131071", 140000, 131071}, {"POST", "131072", 140000, kMostBody},
        {"POST", "131073", 140000, kMostBody}, {"POST", "4294967301", 140000, kMostBody},
        {"POST", "-5", 140000, kMostBody}, {"POST", "-99999999999999999999", 140000, kMostBody},
        // clang-format on
    };
    for (const auto &row : rows)
        check_request(row.method, row.length, row.asked, pattern(row.input), "a");
    check_request("POST", nullptr, kMostBody, std::string(kMostBody - 4, '&') + "&a=1", "");
}
END_TEST

// A body comes in pieces and ends with the input still open.
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
    cgi_cleanup(longest);
    cgi_cleanup(rest);
}
END_TEST

START_TEST(environment_headers_and_missing_arguments)
{
    for (const char *variable : {"HTTP_USER_AGENT", "HTTP_X.Y_\xe9 Z", "HTTP_", "REQUEST_URI"})
        setenv(variable, variable, 1);
    cgi_request *cgi = request("HEAD", "a=1", "a=2"), *bare = request("GET"), empty = {};
    ck_assert_ptr_eq(cgi->uri, getenv("REQUEST_URI"));
    ck_assert_pstr_eq(cgi->query, "a=1");
    ck_assert_str_eq(bare->method, "GET");
    ck_assert_ptr_eq(cgi_header(cgi, "user-agent"), getenv("HTTP_USER_AGENT"));
    ck_assert_pstr_eq(cgi_header(cgi, "x.Y-\xe9 z"), "HTTP_X.Y_\xe9 Z");
    ck_assert_pstr_eq(cgi_header(cgi, ""), "HTTP_");
    ck_assert_ptr_null(cgi_header(cgi, "user"));
    const auto header = [](cgi_request *from, const char *name) { return cgi_header(from, name); };
    for (const auto look_up : {+header, cgi_query_param, cgi_form_param, cgi_cookie}) {
        ck_assert_ptr_null(look_up(cgi, nullptr));
        for (cgi_request *without : {bare, &empty, static_cast<cgi_request *>(nullptr)})
            ck_assert_ptr_null(look_up(without, "a"));
    }
    for (cgi_request *one : {cgi, bare, &empty, static_cast<cgi_request *>(nullptr)})
        cgi_cleanup(one);
    ck_assert_ptr_null(request(nullptr, "a=1"));
}
END_TEST

START_TEST(error_responses)
{
    check_error(404, "Not Found\r\nno x.cfg", "no %s", "x.cfg");
    check_error(-1, "UNKNOWN\r\n%s%n", "%s", "%s%n");
    check_error(200, "OK", nullptr, 0);
    const std::string message = pattern(100000);
    for (const size_t length : {1017U, 1018U, 1019U, 100000U}) // a body of 1022 bytes is the longest
        check_error(200, "OK\r\n" + message.substr(0, std::min<size_t>(length, 1018)), "%.*s", static_cast<int>(length),
                    message.c_str());
    int known = 0;
    for (int32_t code = -1000; code < 2000; ++code)
        known += std::strcmp(http_strerr(code), "UNKNOWN") != 0;
    ck_assert_int_eq(known, 40);
    ck_assert_str_eq(http_strerr(203), "Non-Authoritative Information");
}
END_TEST

Suite *cgi_suite() {
    return suite_of("cgi", {names_and_values, bodies_and_announced_lengths, bodies_through_a_pipe,
                            environment_headers_and_missing_arguments, error_responses});
}

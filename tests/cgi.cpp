#include "models/cgi.hpp"
#include "support.hpp"
#include <cerrno>
#include <csignal>
#include <sys/time.h>

namespace {

// The response must be of this status and body.
template <class... Arguments>
void check_error(int32_t status, const std::string &body, const char *format, Arguments... arguments) {
    cgi_request *cgi = request("GET");
    FILE *stream = std::tmpfile();
    cgi_set_output(cgi, stream);
    ck_assert_ptr_eq(cgi_output(cgi), stream);
    assert_text_eq(captured(stream, [=] { cgi_error(cgi, status, format, arguments...); }),
                   "Status: " + std::to_string(status) + "\r\nContent-Type: text/plain\r\nContent-Length: " +
                       std::to_string(body.size()) + "\r\n\r\n" + body);
    std::fclose(stream);
    cgi_cleanup(cgi);
}

} // namespace

// The same text as query string, cookies and form; a body is bytes, of which the form ends at the first NUL.
TEST(names_and_values_are_split_decoded_and_found_without_regard_to_case) {
    check_request("POST", nullptr, kMostBody, "%41=+1&b=x%3dy; c=&a=2", "%41=+1&b=x%3dy; c=&a=2&u%00v=w&d=e=f");
    std::mt19937 random(10);
    for (size_t round = 0; round < 5000; ++round) {
        const std::string text = random_text(random, round % 50, "aAb1==&&;; %+\xe9");
        const std::string body = std::string(text).append("\0&b=1", 6);
        check_request("POST", nullptr, kMostBody, body, text.c_str());
    }
}

TEST(a_body_is_what_is_announced_at_most) {
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
    for (const auto &row : rows) {
        errno = EINTR; // left over from before the request
        check_request(row.method, row.length, row.asked, pattern(row.input), "a");
    }
    check_request("POST", nullptr, kMostBody, std::string(kMostBody - 4, '&') + "&a=1", "");
}

// Of a body that comes in pieces, each by a signal that interrupts the wait for it, what was not asked for stays there.
TEST(a_body_that_signals_interrupt_is_read_on_and_no_further) {
    static const std::string bytes = pattern(140000);
    static int ends[2], signals;
    ck_assert_int_eq(pipe(ends), 0);
    ck_assert_int_eq(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
    struct sigaction action = {};
    action.sa_handler = [](int) {
        if (++signals % 2 == 0 && signals <= 28)
            (void)!write(ends[1], &bytes[static_cast<size_t>(signals / 2 - 1) * 10000], 10000);
    };
    ck_assert_int_eq(sigaction(SIGALRM, &action, nullptr), 0);
    const itimerval every_5_ms = {{0, 5000}, {0, 5000}}, never = {};
    ck_assert_int_eq(setitimer(ITIMER_REAL, &every_5_ms, nullptr), 0);
    cgi_request *longest = request("POST", nullptr, nullptr, "999999");
    cgi_request *rest = request("POST", nullptr, nullptr, "8928");
    ck_assert_int_eq(setitimer(ITIMER_REAL, &never, nullptr), 0);
    ck_assert(longest->body + std::string(rest->body) == bytes);
    cgi_cleanup(longest);
    cgi_cleanup(rest);
}

TEST(a_request_points_to_the_environment) {
    for (const char *variable : {"HTTP_USER_AGENT", "HTTP_X.Y_\xe9 Z", "HTTP_", "REQUEST_URI"})
        setenv(variable, variable, 1);
    cgi_request *cgi = request("HEAD", "a=1");
    ck_assert_ptr_eq(cgi->uri, getenv("REQUEST_URI"));
    ck_assert_ptr_eq(cgi->query, getenv("QUERY_STRING"));
    ck_assert_ptr_eq(cgi->method, getenv("REQUEST_METHOD"));
    ck_assert_ptr_eq(cgi_output(cgi), stdout);
    ck_assert_ptr_eq(cgi_header(cgi, "user-agent"), getenv("HTTP_USER_AGENT"));
    ck_assert_pstr_eq(cgi_header(cgi, "x.Y-\xe9 z"), "HTTP_X.Y_\xe9 Z");
    ck_assert_pstr_eq(cgi_header(cgi, ""), "HTTP_");
    ck_assert_ptr_null(cgi_header(cgi, "user"));
    cgi_cleanup(cgi);
    ck_assert_ptr_null(request(nullptr, "a=1"));
}

TEST(nothing_is_found_for_missing_arguments) {
    cgi_request *cgi = request("GET", "a=1", "a=2"), *bare = request("GET"), empty = {};
    const auto header = [](cgi_request *from, const char *name) { return cgi_header(from, name); };
    for (const auto look_up : {+header, cgi_query_param, cgi_form_param, cgi_cookie}) {
        ck_assert_ptr_null(look_up(cgi, nullptr));
        for (cgi_request *without : {bare, &empty, static_cast<cgi_request *>(nullptr)})
            ck_assert_ptr_null(look_up(without, "a"));
    }
    for (cgi_request *one : {cgi, bare, &empty, static_cast<cgi_request *>(nullptr)})
        cgi_cleanup(one);
}

TEST(an_error_is_a_whole_response) {
    check_error(404, "Not Found\r\nno x.cfg", "no %s", "x.cfg");
    check_error(-1, "UNKNOWN\r\n%s%n", "%s", "%s%n");
    check_error(200, "OK", nullptr, 0);
    const std::string message = pattern(100000);
    for (const size_t length : {1017U, 1018U, 1019U, 100000U}) // a body of 1022 bytes is the longest
        check_error(200, "OK\r\n" + message.substr(0, std::min<size_t>(length, 1018)), "%.*s", static_cast<int>(length),
                    message.c_str());
    // Text before an invalid wide character is kept.
    const wchar_t none[] = {static_cast<wchar_t>(0xd800), 0};
    check_error(404, "Not Found\r\nno x.cfg", "no %s%ls", "x.cfg", none);
}

TEST(every_status_has_its_reason) {
    const std::map<int32_t, const char *> reasons = {
        // clang-format off
        {100, "Continue"}, {101, "Switching Protocols"},
        {200, "OK"}, {201, "Created"}, {202, "Accepted"}, {203, "Non-Authoritative Information"}, {204, "No Content"},
        {205, "Reset Content"}, {206, "Partial Content"},
        {300, "Multiple Choices"}, {301, "Moved Permanently"}, {302, "Found"}, {303, "See Other"},
        {304, "Not Modified"}, {305, "Use Proxy"}, {307, "Temporary Redirect"},
        {400, "Bad Request"}, {401, "Unauthorized"}, {402, "Payment Required"}, {403, "Forbidden"}, {404, "Not Found"},
        {405, "Method Not Allowed"}, {406, "Not Acceptable"}, {407, "Proxy Authentication Required"},
        {408, "Request Timeout"}, {409, "Conflict"}, {410, "Gone"}, {411, "Length Required"},
        {412, "Precondition Failed"}, {413, "Request Entity Too Large"}, {414, "Request-URI Too Long"},
        {415, "Unsupported Media Type"}, {416, "Requested Range Not Satisfiable"}, {417, "Expectation Failed"},
        {500, "Internal Server Error"}, {501, "Not Implemented"}, {502, "Bad Gateway"}, {503, "Service Unavailable"},
        {504, "Gateway Timeout"}, {505, "HTTP Version Not Supported"},
        // clang-format on
    };
    for (int32_t code = -1000; code < 2000; ++code) {
        const auto known = reasons.find(code);
        agree("reason", std::to_string(code), http_strerr(code), known == reasons.end() ? "UNKNOWN" : known->second);
    }
}

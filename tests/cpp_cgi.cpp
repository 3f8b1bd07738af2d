// Requests, forms with uploads and responses for C++.
#include "models/cgi.hpp"
#include "models/multipart.hpp"
#include "support.hpp"
#include <vela/cpp/cgi.hpp>

using namespace std::literals;
using vela::cgi::response;

namespace {

// The request of some variables and an input.
vela::cgi::request read_request(std::initializer_list<std::pair<const char *, std::string>> variables,
                                std::string_view input = "", size_t max_body = 131072) {
    for (const auto &[name, value] : variables)
        setenv(name, value.c_str(), 1);
    set_input(input);
    std::setvbuf(stdin, nullptr, _IONBF, 0);
    std::clearerr(stdin);
    return value_of(vela::cgi::request::read(max_body));
}

const std::string kForm = "application/x-www-form-urlencoded; charset=UTF-8";

} // namespace

TEST(names_and_values_are_found_in_each_source) {
    unsetenv("REQUEST_METHOD");
    ck_assert(!vela::cgi::request::read().has_value());
    const auto one = read_request({{"REQUEST_METHOD", "POST"},
                                   {"REQUEST_URI", "/ptz?pan=1"},
                                   {"PATH_INFO", "/live"},
                                   {"QUERY_STRING", "pan=1&n=a%00b"},
                                   {"CONTENT_TYPE", kForm},
                                   {"CONTENT_LENGTH", "9"},
                                   {"HTTP_COOKIE", "a = 1+%2B ;flag; b==x=; a=2"},
                                   {"HTTP_X_ID", "7"}},
                                  "q=+%41&q=rest");
    const std::pair<std::optional<std::string_view>, std::string_view> rows[] = {{one.query("n"), "a\0b"sv},
                                                                                 {one.query("PAN"), "none"},
                                                                                 {one.form("q"), " A"},
                                                                                 {one.cookie("a"), "1++"},
                                                                                 {one.header("x-id"), "7"},
                                                                                 {one.header("Content-TYPE"), kForm},
                                                                                 {one.header("content-length"), "9"},
                                                                                 {one.header("X-Other"), "none"},
                                                                                 {one.header("X:Id"), "none"},
                                                                                 {one.method(), "POST"},
                                                                                 {one.uri(), "/ptz?pan=1"},
                                                                                 {one.path(), "/live"}};
    for (const auto &[found, expected] : rows)
        assert_text_eq(std::string(found.value_or("none")), std::string(expected));
    assert_text_eq(model::listed(one.form()), "[q][ A][q][]");
    assert_text_eq(model::listed(one.cookies()), "[a][1++][b][=x=][a][2]");
}

TEST(a_body_is_kept_up_to_the_limit_and_knows_whether_it_is_truncated) {
    const std::string longest = pattern(300000);
    const struct {
        const char *method, *length;
        size_t input, max_body, kept;
        bool truncated;
    } rows[] = {
        // clang-format off
        {"POST", "10", 20, 131072, 10, false},              {"POST", "10", 9, 131072, 9, true},
        {"PUT", "10", 20, 131072, 10, false},               {"PUT", "", 20, 131072, 0, false},
        {"POST", "300000", 300000, 131072, 131072, true},   {"POST", "300000", 300000, 400000, 300000, false},
        {"PATCH", "300000", 300000, 400000, 300000, false}, {"POST", "300000", 299999, 400000, 299999, true},
        {"POST", "20", 20, 19, 19, true},                   {"POST", "18446744073709551616", 200000, 400000, 131072, true},
        {"POST", "5x", 20, 131072, 5, true},                {"POST", "0", 20, 131072, 0, false},
        // clang-format on
    };
    for (const auto &[method, length, input, max_body, kept, truncated] : rows) {
        const auto one = read_request({{"REQUEST_METHOD", method}, {"CONTENT_LENGTH", length}, {"CONTENT_TYPE", kForm}},
                                      std::string_view(longest).substr(0, input), max_body);
        ck_assert_msg(one.text() == std::string_view(longest).substr(0, kept), "%s of %s, at most %zu: %zu bytes",
                      method, length, max_body, one.body().size());
        ck_assert_msg(one.is_truncated() == truncated, "%s of %s, at most %zu: truncated is %d", method, length,
                      max_body, one.is_truncated());
        ck_assert_int_eq(one.form().empty(), truncated || kept == 0 || kept > 131072);
    }
    unsetenv("CONTENT_LENGTH");
    ck_assert(!read_request({{"REQUEST_METHOD", "POST"}}, longest.substr(0, 131071)).is_truncated());
    ck_assert(read_request({{"REQUEST_METHOD", "POST"}}, longest.substr(0, 131072)).is_truncated());
}

TEST(a_form_with_uploads_has_parts) {
    const std::string body =
        "--b-b\r\nContent-Disposition: form-data; name=\"n\"\r\n\r\n1\r\n--b-bb\r\n"
        "--b-b \t\r\ncontent-type:image/png\r\nX-A: b\r\n"
        "Content-Disposition: form-data; filename=\"C:\\x\\\\\\\"y;.png\"; name=\"up\"\r\n\r\n\0\r\n--b-b--"s;
    const auto one = read_request({{"REQUEST_METHOD", "POST"},
                                   {"CONTENT_LENGTH", std::to_string(body.size())},
                                   {"CONTENT_TYPE", "Multipart/Form-Data;boundary=b-b"}},
                                  body);
    assert_text_eq(model::listed(one.uploads()), "[n]-[text/plain][1\r\n--b-bb][up][C:\\x\\\"y;.png][image/png][\0]"s);
    ck_assert_ptr_eq(value_of(one.uploads()).at(1).bytes.data(), one.body().data() + body.find('\0'));
    const std::string_view ends = "--b --\r\n--b--";
    const std::vector<uint8_t> none(ends.begin(), ends.end());
    for (const char *type : {"multipart/mixed; boundary=b", "multipart/form-data", "multipart/form-data; boundary=\"b",
                             "multipart/form-data; boundary=b; boundary=b", "multipart/form-data; boundary=\"b \"",
                             "multipart/form-data; boundary=b\xE9", "multipart/form-data; boundary="})
        ck_assert_msg(!vela::cgi::parse_multipart(type, none), "%s", type);
    ck_assert(value_of(vela::cgi::parse_multipart("multipart/form-data; boundary=b;", none)).empty());
    for (const size_t length : {70U, 71U}) {
        const std::string boundary(length, 'b'), closed = "--" + boundary + "--";
        const std::vector<uint8_t> empty(closed.begin(), closed.end());
        ck_assert_int_eq(vela::cgi::parse_multipart("multipart/form-data; boundary=" + boundary, empty).has_value(),
                         length == 70);
    }
}

// Limits, and fragments in any order.
TEST(forms_with_uploads_are_those_of_the_model) {
    const std::string part = "--b\r\nContent-Disposition: form-data; name=a\r\n";
    std::string parts;
    for (int count = 1; count <= 257; ++count)
        model::check_multipart("b", (parts += part + "\r\n\r\n") + "--b--");
    for (size_t length = 4040; length < 4060; ++length)
        model::check_multipart("b", part + "X: " + std::string(length, 'x') + "\r\n\r\n\r\n--b--");
    // clang-format off
    const std::string fragments[] = {
        "--b", "--", "\r\n", "\r\n", "\r\n\r\n", "\r", " ", "\t", "x", "\"", "\\", ";", "name=", ":", part, part,
        "\r\n--b\r\n", "\r\n--b--", "\r\n--b--\r\n", "filename=\"a;b\"", "\r\nContent-Type: a",
        "\r\nContent-Transfer-Encoding: 8bit", "; filename=f"};
    // clang-format on
    std::mt19937 random(12);
    for (int round = 0; round < 20000; ++round) {
        std::string body = round % 2 ? part : "";
        for (size_t i = random() % 12; i > 0; --i)
            body += fragments[random() % std::size(fragments)];
        model::check_multipart("b", body + (round % 3 ? "\r\n--b--" : ""));
    }
}

TEST(any_text_stays_within_its_line_of_a_response) {
    std::mt19937 random(13);
    for (int round = 0; round < 5000; ++round)
        model::check_response(random_text(random, random() % 8, round % 2 ? "\r\n;=,\" \t%a" : any_byte()));
}

// Refused is what would add a line, has a line of its own, or means something else to browsers and servers.
TEST(a_response_is_written_whole_or_not_at_all) {
    const struct {
        bool (*send)(response &to);
        std::string written = "";
    } rows[] = {
        {[](response &to) { return to.status(199).send(""); }},
        {[](response &to) { return to.status(600).send(""); }},
        {[](response &to) { return to.status(204).send("x"); }},
        {[](response &to) { return to.header("A:", "b").send(""); }},
        {[](response &to) { return to.header("content-LENGTH", "1").send(""); }},
        {[](response &to) { return to.header("status", "200").send(""); }},
        {[](response &to) { return to.header("Content-type", "a/b").send(""); }},
        {[](response &to) { return to.header("Transfer-Encoding", "chunked").send(""); }},
        {[](response &to) { return to.send("", "text/plain\r\nA: b"); }},
        {[](response &to) { return to.begin("text/plain\n"); }},
        {[](response &to) { return to.cookie("a=b", "").send(""); }},
        {[](response &to) { return to.cookie("a", "", {.path = "/;x"}).send(""); }},
        {[](response &to) { return to.cookie("a", "", {.same_site = vela::cgi::same_site::none}).send(""); }},
        {[](response &to) { return to.redirect(""); }},
        {[](response &to) { return to.redirect("/a b"); }},
        {[](response &to) { return to.redirect("\\\\host"); }},
        {[](response &to) { return to.redirect("/\x7F"); }},
        {[](response &to) { return to.redirect("/a\r\nA:b"); }},
        {[](response &to) { return to.redirect("/", 304); }},
        {[](response &to) {
             return to.send(std::array<uint8_t, 2>{'h', 'i'}, "a/b");
         },
         "Status: 200 OK\r\nContent-Type: a/b\r\nContent-Length: 2\r\n\r\nhi"},
        {[](response &to) { return to.status(204).send(""); }, "Status: 204 No Content\r\n\r\n"},
        {[](response &to) { return to.status(599).begin("image/jpeg"); },
         "Status: 599 \r\nContent-Type: image/jpeg\r\n\r\n"},
        {[](response &to) { return to.redirect("/a?b=%20"); },
         "Status: 303 See Other\r\nLocation: /a?b=%20\r\nContent-Type: text/plain; charset=utf-8\r\n"
         "Content-Length: 0\r\n\r\n"},
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        bool sent = false;
        const std::string all = model::written([&](FILE *stream) {
            response one(stream);
            sent = rows[i].send(one);
            ck_assert_int_eq(one.is_sent(), sent);
        });
        assert_text_eq(all, rows[i].written);
        ck_assert_msg(sent != all.empty(), "row %zu: %d", i, sent);
    }
    for (const int32_t code : {301, 302, 307, 308})
        model::written([=](FILE *stream) { ck_assert(response(stream).redirect("/", code)); });
}

TEST(a_response_goes_to_the_output_of_its_request) {
    for (const char *method : {"GET", "HEAD"}) {
        const auto one = read_request({{"REQUEST_METHOD", method}, {"CONTENT_LENGTH", "0"}});
        const std::string all = model::written([&](FILE *stream) {
            cgi_set_output(one.get(), stream);
            ck_assert(response(one).send("body"));
        });
        ck_assert_int_eq(all.ends_with("body"), one.is("GET"));
    }
}

TEST(a_response_is_sent_once_and_without_its_body_for_head) {
    const std::string all = model::written([](FILE *stream) {
        response one(stream, false);
        ck_assert(!one.status(404).header("A", "\n").send(""));
        one.reset();
        one.cookie("s", "", {.max_age = 0, .path = "", .domain = "h", .secure = true});
        ck_assert(one.send_json("[1]"));
        ck_assert(!one.send("again"));
    });
    assert_text_eq(all, "Status: 200 OK\r\nSet-Cookie: s=; Domain=h; Max-Age=0; Secure; HttpOnly; SameSite=Lax\r\n"
                        "Content-Type: application/json\r\nContent-Length: 3\r\n\r\n");
}

TEST(a_json_string_is_json_and_utf_8) {
    const std::string_view rows[][2] = {
        {"a\"\\\n\0\x7F</b>&"sv, R"("a\"\\\u000a\u0000\u007f\u003c/b\u003e\u0026")"},
        {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\xB7", "\"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\xB7\""},
        {"\xC0\xAF|\xED\xA0\x80|\xF4\x90\x80\x80|\xE0\x9F\xBF|\xF0\x8F\xBF\xBF|\xC3",
         R"("\ufffd\ufffd|\ufffd\ufffd\ufffd|\ufffd\ufffd\ufffd\ufffd|\ufffd\ufffd\ufffd|\ufffd\ufffd\ufffd\ufffd|\ufffd")"},
        {"\xF4\x8F\xBF\xBF\xED\x9F\xBF\xE0\xA0\x80\xF0\x90\x80\x80\xE2\x82x",
         "\"\xF4\x8F\xBF\xBF\xED\x9F\xBF\xE0\xA0\x80\xF0\x90\x80\x80\\ufffd\\ufffdx\""}};
    for (const auto &[text, json] : rows) {
        assert_text_eq(vela::cgi::json_string(text), std::string(json));
        ck_assert_int_eq(vela::cgi::is_utf8(text), json.find("ufffd") == json.npos);
    }
    ck_assert(vela::cgi::is_utf8(""));
}

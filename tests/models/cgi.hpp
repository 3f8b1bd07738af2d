// An independent implementation of a request's names, values and bodies, and the setup of a request.
#pragma once

#undef NDEBUG
#include "url.hpp"
#include <cassert>
#include <cstdlib>
#include <map>
#include <strings.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vela/cgi.h>

constexpr size_t kMostBody = 131072;

// Bytes in which every place can be told from its neighbours, as a form full of names.
inline std::string pattern(size_t length) {
    std::string bytes;
    while (bytes.size() < length)
        bytes += std::to_string(bytes.size() % 1009) + '&';
    return bytes.substr(0, length);
}

// Makes a file of these bytes the standard input.
inline void set_input(std::string_view bytes) {
    static const int file = memfd_create("input", 0);
    assert(ftruncate(file, 0) == 0);
    assert(pwrite(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    assert(lseek(file, 0, SEEK_SET) == 0);
    assert(dup2(file, STDIN_FILENO) == STDIN_FILENO);
}

// The request with these variables, null for one that is not set; null where cgi_setup() fails.
inline cgi_request *request(const char *method, const char *query = nullptr, const char *cookies = nullptr,
                            const char *length = nullptr) {
    const std::pair<const char *, const char *> variables[] = {
        {"REQUEST_METHOD", method}, {"QUERY_STRING", query}, {"HTTP_COOKIE", cookies}, {"CONTENT_LENGTH", length}};
    for (const auto &[name, value] : variables)
        value ? setenv(name, value, 1) : unsetenv(name);
    auto *cgi = reinterpret_cast<cgi_request *>(&set_input);
    assert((cgi_setup(&cgi) == 0) == (cgi != nullptr));
    return cgi;
}

// The text's names with their first values must be all that a look-up finds.
template <class LookUp>
void check_names(const char *what, LookUp look_up, cgi_request *cgi, const std::string &given, char separator) {
    std::string text = given;
    const std::string absent = given + 'x', marks = {separator, '='};
    if (separator == ';')
        for (size_t i = 0; (i = text.find_first_of(marks, i) + 1) != 0;)
            text.erase(i, std::min(text.find_first_not_of(' ', i), text.size()) - i);
    const auto token_end = [&](size_t at) { return std::min(text.find_first_of(marks, at), text.size()); };
    const auto less = [](const std::string &a, const std::string &b) { return strcasecmp(a.c_str(), b.c_str()) < 0; };
    std::map<std::string, std::string, decltype(less)> values(less);
    for (size_t at = 0, end; (at = text.find_first_not_of(marks, at)) != std::string::npos; at = end) {
        const std::string name = decoded(text.substr(at, token_end(at) - at));
        at = token_end(at);
        end = text[at] == '=' ? token_end(at + 1) : at;
        values.emplace(name.c_str(), decoded(text.substr(at, end - at)).c_str() + (end > at));
    }
    const auto found = [&](const std::string &name) {
        const char *value = look_up(cgi, name.c_str());
        return value ? name + "=" + value : name;
    };
    for (const auto &[name, value] : values) {
        std::string other_case = name;
        for (char &ch : other_case)
            ch = static_cast<char>(std::isalpha(static_cast<unsigned char>(ch)) ? ch ^ 0x20 : ch);
        agree(what, given, found(other_case), other_case + "=" + value);
    }
    for (const std::string &name : {absent, std::string(), std::string("a")})
        if (!values.count(name))
            agree(what, given, found(name), name);
}

// A request with a text as query string and cookies, and a content length.
inline void check_request(const char *method, const char *length, size_t asked, const std::string &input,
                          const char *text) {
    set_input(input);
    cgi_request *cgi = request(method, text, text, length);
    const std::string body = input.substr(0, asked), announced = length ? length : "(not set)";
    agree("length of the body, announced as", announced, cgi->body_len, static_cast<long long>(body.size()));
    agree("place in the input, announced as", announced, lseek(STDIN_FILENO, 0, SEEK_CUR), cgi->body_len);
    agree("whether there is a body, announced as", announced, cgi->body != nullptr, asked != 0);
    if (cgi->body)
        agree("body with its NUL, announced as", announced, {cgi->body, body.size() + 1},
              {body.c_str(), body.size() + 1});
    check_names("query parameter", cgi_query_param, cgi, text, '&');
    check_names("cookie", cgi_cookie, cgi, text, ';');
    check_names("form parameter", cgi_form_param, cgi, asked ? cgi->body : "", '&');
    cgi_cleanup(cgi);
}

#include "ratios.hpp"
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vela/cgi.h>
#ifdef HAVE_GLIB_2_0
#include <glib.h>
#endif

namespace {

constexpr size_t kMaxBody = 131072;

std::string pairs(const char *name, int count, const char *value, const char *separator) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += (i ? separator : "") + std::string(name) + std::to_string(i) + "=" + value;
    return text;
}

cgi_request *make_request(const char *method, const std::string &query, const std::string &cookies) {
    setenv("REQUEST_METHOD", method, 1);
    setenv("QUERY_STRING", query.c_str(), 1);
    setenv("HTTP_COOKIE", cookies.c_str(), 1);
    cgi_request *cgi;
    return cgi_setup(&cgi) == 0 ? cgi : nullptr;
}

// A whole request, and the same text through a general parser of query strings, which fills a hash table.
void add_request() {
    const std::string query = pairs("parameter", 30, "some+value%26", "&");
    const std::string cookies = pairs("cookie", 10, "0123456789abcdef", "; ");
    const char *name = "request with 30 parameters, 10 cookies";
    ratios::add(name, "vela", 1, [=] { cgi_cleanup(make_request("GET", query, cookies)); });
#ifdef HAVE_GLIB_2_0
    ratios::add(name, "glib", 1, [=] {
        g_hash_table_unref(g_uri_parse_params(query.c_str(), -1, "&", G_URI_PARAMS_WWW_FORM, nullptr));
        g_hash_table_unref(g_uri_parse_params(cookies.c_str(), -1, ";", G_URI_PARAMS_WWW_FORM, nullptr));
    });
#endif
}

// Each look-up walks all names: the time per name must not grow.
void add_look_up(int names) {
    ratios::add("cgi_query_param/per name, of " + std::to_string(names), "vela", [names](ratios::State &state) {
        cgi_request *cgi = make_request("GET", pairs("parameter", names, "", "&"), "");
        for (auto _ : state)
            benchmark::DoNotOptimize(cgi_query_param(cgi, "parameter"));
        cgi_cleanup(cgi);
        state.SetItemsProcessed(state.iterations() * names);
    });
}

void add_body() {
    ratios::add("cgi_setup and form, per byte of 128 KiB", "vela", [](ratios::State &state) {
        FILE *file = std::tmpfile();
        std::fputs(pairs("parameter", 9000, "", "&").substr(0, kMaxBody).c_str(), file);
        std::fflush(file);
        dup2(fileno(file), STDIN_FILENO);
        std::fclose(file);
        for (auto _ : state) {
            lseek(STDIN_FILENO, 0, SEEK_SET);
            cgi_request *cgi = make_request("POST", "", "");
            benchmark::DoNotOptimize(cgi_form_param(cgi, "parameter0"));
            cgi_cleanup(cgi);
        }
        state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kMaxBody));
    });
}

const bool registered = [] {
    add_request();
    for (const int names : {100, 1000, 6000})
        add_look_up(names);
    add_body();
    return true;
}();

} // namespace

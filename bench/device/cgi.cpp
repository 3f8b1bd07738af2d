#include "device.hpp"
#include <cstdlib>
#include <vela/cgi.h>

// A request with 30 parameters and 10 cookies.
static const device::cases registered([] {
    device::add("cgi_setup", "request", 1, [] {
        std::string query, cookies;
        for (int i = 0; i < 30; ++i)
            query += (i ? "&parameter" : "parameter") + std::to_string(i) + "=value+%26" + std::to_string(i);
        for (int i = 0; i < 10; ++i)
            cookies += (i ? "; cookie" : "cookie") + std::to_string(i) + "=0123456789abcdef";
        setenv("REQUEST_METHOD", "GET", 1);
        setenv("QUERY_STRING", query.c_str(), 1);
        setenv("HTTP_COOKIE", cookies.c_str(), 1);
        return [] {
            cgi_request *cgi;
            if (cgi_setup(&cgi) == 0)
                cgi_cleanup(cgi);
        };
    });
});

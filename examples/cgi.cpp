// A CGI program for a camera: GET takes a position and POST the name of a preset; the response repeats them. It runs
// under a web server, or by hand:
//
//     REQUEST_METHOD=GET QUERY_STRING='pan=12&tilt=-3' ./cgi
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <strings.h>
#include <vela/cgi.h>

namespace {

constexpr int32_t kBadRequest = 400, kMethodNotAllowed = 405, kTooLarge = 413;

void respond(const cgi_request *cgi, const std::string &body) {
    FILE *output = cgi_output(cgi);
    std::fprintf(output, "Content-Type: text/plain; charset=utf-8\r\nContent-Length: %zu\r\n\r\n", body.size());
    if (strcasecmp(cgi->method, "HEAD") != 0)
        std::fwrite(body.data(), 1, body.size(), output);
}

// A cookie and a header field, which every response repeats.
std::string client(cgi_request *cgi) {
    const char *session = cgi_cookie(cgi, "session"), *camera = cgi_header(cgi, "X-Camera-Id");
    return std::string("session ") + (session ? session : "none") + "\ncamera " + (camera ? camera : "any") + "\n";
}

// Reads an angle in degrees, or responds with an error.
bool read_angle(cgi_request *cgi, const char *name, long *angle) {
    const char *text = cgi_query_param(cgi, name);
    if (!text) {
        cgi_error(cgi, kBadRequest, "missing: %s", name);
        return false;
    }
    char *end;
    *angle = std::strtol(text, &end, 10);
    if (end == text || *end || *angle < -180 || *angle > 180) {
        cgi_error(cgi, kBadRequest, "%s is not an angle: %s", name, text);
        return false;
    }
    return true;
}

void move(cgi_request *cgi) {
    long pan, tilt;
    if (read_angle(cgi, "pan", &pan) && read_angle(cgi, "tilt", &tilt))
        respond(cgi, "pan " + std::to_string(pan) + "\ntilt " + std::to_string(tilt) + "\n" + client(cgi));
}

void save_preset(cgi_request *cgi) {
    // The library truncates long bodies.
    const char *announced = std::getenv("CONTENT_LENGTH");
    if (announced && std::strtoll(announced, nullptr, 10) > cgi->body_len) {
        cgi_error(cgi, kTooLarge, "only %d bytes", static_cast<int>(cgi->body_len));
        return;
    }
    const char *name = cgi_form_param(cgi, "name");
    if (!name || !*name) {
        cgi_error(cgi, kBadRequest, "missing: name");
        return;
    }
    respond(cgi, "preset " + std::string(name) + "\nbody " + std::to_string(cgi->body_len) + "\n" + client(cgi));
}

} // namespace

// A web server may pass parts of the request as arguments, so they are examined only without a request.
int main(int argc, char **argv) {
    cgi_request *cgi;
    if (cgi_setup(&cgi) != 0) {
        const bool help = argc == 2 && std::strcmp(argv[1], "--help") == 0;
        std::fputs(help ? "usage: REQUEST_METHOD=GET QUERY_STRING='pan=12&tilt=-3' cgi\n"
                        : "cgi: no request: REQUEST_METHOD is not set; see --help\n",
                   help ? stdout : stderr);
        return help ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    if (strcasecmp(cgi->method, "GET") == 0 || strcasecmp(cgi->method, "HEAD") == 0)
        move(cgi);
    else if (strcasecmp(cgi->method, "POST") == 0)
        save_preset(cgi);
    else
        cgi_error(cgi, kMethodNotAllowed, nullptr);
    const bool written = std::fflush(cgi_output(cgi)) == 0;
    cgi_cleanup(cgi);
    return written ? EXIT_SUCCESS : EXIT_FAILURE;
}

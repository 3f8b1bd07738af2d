/* A CGI program for the script of a page: GET responds in JSON; POST with the form field "operator" stores that name in
   a cookie and redirects to the response. */
#include <stdlib.h>
#include <string.h>
#include <vela/cgi.h>
#include <vela/url.h>

enum { SEE_OTHER = 303, BAD_REQUEST = 400, METHOD_NOT_ALLOWED = 405, MAX_NAME = 64 };

/* The length in bytes of the first character in UTF-8; 0 if it is invalid. */
static size_t character_size(const char *text) {
    const unsigned char *c = (const unsigned char *)text;
    const size_t size = *c < 0x80 ? 1 : *c < 0xC2 ? 0 : *c < 0xE0 ? 2 : *c < 0xF0 ? 3 : *c < 0xF5 ? 4 : 0;
    if ((*c == 0xE0 && c[1] < 0xA0) || (*c == 0xED && c[1] > 0x9F) || (*c == 0xF0 && c[1] < 0x90) ||
        (*c == 0xF4 && c[1] > 0x8F))
        return 0; /* overlong, a surrogate, or too large */
    for (size_t i = 1; i < size; ++i)
        if ((c[i] & 0xC0) != 0x80)
            return 0;
    return size;
}

/* A JSON string, or null. Invalid UTF-8 becomes U+FFFD. */
static void write_json(FILE *to, const char *text) {
    if (!text) {
        fputs("null", to);
        return;
    }
    fputc('"', to);
    for (size_t size; *text; text += size ? size : 1)
        if ((size = character_size(text)) == 0)
            fputs("\\ufffd", to);
        else if (*text == '"' || *text == '\\')
            fprintf(to, "\\%c", *text);
        else if (size == 1 && *text < ' ')
            fprintf(to, "\\u%04x", (unsigned)*text);
        else
            fwrite(text, 1, size, to);
    fputc('"', to);
}

static void respond(cgi_request *cgi) {
    FILE *to = cgi_output(cgi);
    fputs("Content-Type: application/json\r\nCache-Control: no-store\r\n\r\n{\"operator\":", to);
    write_json(to, cgi_cookie(cgi, "operator"));
    fputs(",\"zone\":", to);
    write_json(to, cgi_query_param(cgi, "zone"));
    fputs("}\n", to);
}

static void remember(cgi_request *cgi) {
    const char *name = cgi_form_param(cgi, "operator");
    char code[3 * MAX_NAME + 5]; /* the longest result of url_encode() */
    if (!name || !*name || strlen(name) > MAX_NAME || url_encode(name, (uint32_t)strlen(name), code, sizeof code) < 0) {
        cgi_error(cgi, BAD_REQUEST, "operator: a name of 1 to %d bytes", MAX_NAME);
        return;
    }
    /* An encoded name cannot end the header field or the cookie. */
    fprintf(cgi_output(cgi), "Status: %d %s\r\nLocation: ?zone=all\r\n", SEE_OTHER, http_strerr(SEE_OTHER));
    fprintf(cgi_output(cgi), "Set-Cookie: operator=%s; HttpOnly; SameSite=Strict\r\n\r\n", code);
}

/* A web server may pass parts of the request as arguments, so they are examined only without a request. */
int main(int argc, char **argv) {
    cgi_request *cgi;
    if (cgi_setup(&cgi) != 0) {
        const int is_help = argc == 2 && strcmp(argv[1], "--help") == 0;
        fputs(is_help ? "usage: REQUEST_METHOD=GET QUERY_STRING=zone=gate HTTP_COOKIE=operator=Eva status\n"
                      : "status: no request: REQUEST_METHOD is not set; see --help\n",
              is_help ? stdout : stderr);
        return is_help ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    if (strcmp(cgi->method, "GET") == 0 || strcmp(cgi->method, "HEAD") == 0)
        respond(cgi);
    else if (strcmp(cgi->method, "POST") == 0)
        remember(cgi);
    else
        cgi_error(cgi, METHOD_NOT_ALLOWED, NULL);
    const int is_written = fflush(cgi_output(cgi)) == 0 && !ferror(cgi_output(cgi));
    cgi_cleanup(cgi);
    return is_written ? EXIT_SUCCESS : EXIT_FAILURE;
}

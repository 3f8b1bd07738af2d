/* A CGI program that a page's script asks: GET answers in JSON, POST with a form's field "operator" remembers that name
   in a cookie and sends the browser back to the answer. */
#include <stdlib.h>
#include <string.h>
#include <vela/cgi.h>
#include <vela/url.h>

enum { SEE_OTHER = 303, BAD_REQUEST = 400, METHOD_NOT_ALLOWED = 405, LONGEST_NAME = 64 };

/* How many bytes the character that a text begins with has in UTF-8; 0 where there is none. */
static size_t character_size(const char *text) {
    const unsigned char *c = (const unsigned char *)text;
    const size_t size = *c < 0x80 ? 1 : *c < 0xC2 ? 0 : *c < 0xE0 ? 2 : *c < 0xF0 ? 3 : *c < 0xF5 ? 4 : 0;
    if ((*c == 0xE0 && c[1] < 0xA0) || (*c == 0xED && c[1] > 0x9F) || (*c == 0xF0 && c[1] < 0x90) ||
        (*c == 0xF4 && c[1] > 0x8F))
        return 0; /* longer than needed, half of a pair, or too large */
    for (size_t i = 1; i < size; ++i)
        if ((c[i] & 0xC0) != 0x80)
            return 0;
    return size;
}

/* A string of JSON; null for no text. What is no character of UTF-8 becomes the one that says so. */
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

static void answer(cgi_request *cgi) {
    FILE *to = cgi_output(cgi);
    fputs("Content-Type: application/json\r\nCache-Control: no-store\r\n\r\n{\"operator\":", to);
    write_json(to, cgi_cookie(cgi, "operator"));
    fputs(",\"zone\":", to);
    write_json(to, cgi_query_param(cgi, "zone"));
    fputs("}\n", to);
}

static void remember(cgi_request *cgi) {
    const char *name = cgi_form_param(cgi, "operator");
    char code[3 * LONGEST_NAME + 5]; /* the most that the name takes, with its end */
    if (!name || !*name || strlen(name) > LONGEST_NAME ||
        url_encode(name, (uint32_t)strlen(name), code, sizeof code) < 0) {
        cgi_error(cgi, BAD_REQUEST, "operator: a name of 1 to %d bytes", LONGEST_NAME);
        return;
    }
    /* Encoded, the name can't end its line, nor the cookie. */
    fprintf(cgi_output(cgi), "Status: %d %s\r\nLocation: ?zone=all\r\n", SEE_OTHER, http_strerr(SEE_OTHER));
    fprintf(cgi_output(cgi), "Set-Cookie: operator=%s; HttpOnly; SameSite=Strict\r\n\r\n", code);
}

/* A web server may pass parts of the request as arguments, so they are looked at only where there is none. */
int main(int argc, char **argv) {
    cgi_request *cgi;
    if (cgi_setup(&cgi) != 0) {
        const int is_help = argc == 2 && strcmp(argv[1], "--help") == 0;
        fputs(is_help ? "usage: REQUEST_METHOD=GET QUERY_STRING=zone=gate HTTP_COOKIE=operator=Eva status\n"
                      : "status: no request: REQUEST_METHOD is not set; --help explains\n",
              is_help ? stdout : stderr);
        return is_help ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    if (strcmp(cgi->method, "GET") == 0 || strcmp(cgi->method, "HEAD") == 0)
        answer(cgi);
    else if (strcmp(cgi->method, "POST") == 0)
        remember(cgi);
    else
        cgi_error(cgi, METHOD_NOT_ALLOWED, NULL);
    const int is_written = fflush(cgi_output(cgi)) == 0 && !ferror(cgi_output(cgi));
    cgi_cleanup(cgi);
    return is_written ? EXIT_SUCCESS : EXIT_FAILURE;
}

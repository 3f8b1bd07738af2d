/**
 * @file
 * CGI programs (RFC 3875): the request that a web server passes to its program, and error responses.
 *
 * cgi_setup() reads the request from the environment and the standard input; values are then looked up by
 * name. Names and values of the query string, of the cookies and of a form body are percent-decoded as
 * url_decode() does; names are compared by strcasecmp(), and of a repeated name the first one counts. A decoded NUL
 * ends its name or value: "a%00b=c" gives "c" to the name "a". "a=b=c" is "b" for the name "a", and a name "c" with an
 * empty value. Case follows the program's locale: in an 8-bit Turkish locale "title" does not match "TITLE", so a
 * program that looks up names should keep "C" for LC_CTYPE.
 *
 * Not for uploads: only the body of a POST request is read, that of any other method (PUT, PATCH) stays on the standard
 * input. Forms are "application/x-www-form-urlencoded"; the content type is not checked, so fields of
 * "multipart/form-data" are not found and JSON is split at its "&" and "=". Check `getenv("CONTENT_TYPE")` first.
 *
 * The record owns every string that it returns until cgi_cleanup(), except those of the environment, which must not be
 * changed in that time. A record belongs to one thread. cgi_setup() and cgi_header() read the environment, which no
 * other thread may change at that time, and cgi_setup() reads the process's standard input. http_strerr() may be called
 * by any thread at any time.
 *
 *     cgi_request *cgi;
 *     if (cgi_setup(&cgi) != 0)
 *         return 1;
 *     const char *pan = cgi_query_param(cgi, "pan");
 *     if (pan)
 *         fprintf(cgi_output(cgi), "Content-Type: text/plain\r\n\r\npan %s\n", pan);
 *     else
 *         cgi_error(cgi, 400, "no pan");
 *     cgi_cleanup(cgi);
 */
#ifndef VELA_CGI_H
#define VELA_CGI_H

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup cgi
 *  @{ */

/** What a cgi_request owns. */
typedef struct cgi_private cgi_private;

/** A request. */
typedef struct cgi_request {
    cgi_private *priv;  /**< owns the body and the decoded names and values */
    const char *uri;    /**< "REQUEST_URI" of the environment, or null */
    const char *query;  /**< "QUERY_STRING" of the environment, or null */
    const char *method; /**< "REQUEST_METHOD" of the environment, never null */
    char *body;         /**< the body of a POST request followed by a NUL, or null */
    int32_t body_len;   /**< number of bytes read into the body */
    FILE *output;       /**< where responses go */
} cgi_request;

/**
 * Reads the request: its method, query string and cookies and, if the method is POST, its body.
 *
 * The body is read from the descriptor of the standard input, so nothing may have been read from there before. The
 * number of bytes is "CONTENT_LENGTH" (its leading digits), at most 131072, which is also the limit if the length is
 * not set or negative; fewer are read if the input ends earlier. The rest stays unread. A length of 0, or one that is
 * not a number, means that there is no body. If the body was truncated (over the limit, or the client disconnected),
 * only `body_len` shows it: compare it with "CONTENT_LENGTH".
 *
 * If memory runs out the result may still be 0: without memory for the names and values of the query string or of the
 * cookies, none of them is found; without memory for the body, it is null and unread, and `body_len` is the number of
 * bytes that should have been read.
 *
 * @param result  receives the request, for cgi_cleanup(), or null
 * @return 0; -1 if "REQUEST_METHOD" is not set or there is no memory for the record
 */
VELA_NODISCARD int32_t cgi_setup(cgi_request **result) VELA_NONNULL(1);

/**
 * A parameter of the query string, which is split at "&" and "=".
 *
 * @param cgi   the request, or null
 * @param name  the name, or null
 * @return the decoded value, empty for a name without one; null if there is no such name or an argument is null
 */
const char *cgi_query_param(cgi_request *cgi, const char *name);

/**
 * A parameter of a form body, which is split as a query string is and ends at its first NUL. The body is parsed at the
 * first look-up; if memory runs out, this and all later ones find nothing.
 *
 * @param cgi   the request, or null
 * @param name  the name, or null
 * @return as cgi_query_param(); null without a body
 */
const char *cgi_form_param(cgi_request *cgi, const char *name);

/**
 * A cookie. The cookie header is split at ";" and "=", and spaces after these are skipped.
 *
 * @param cgi   the request, or null
 * @param name  the name, or null
 * @return as cgi_query_param()
 */
const char *cgi_cookie(cgi_request *cgi, const char *name);

/**
 * A header field of the request: the environment's "HTTP_NAME" for the name in upper case, with "_" for "-".
 * Content-Type and Content-Length are not among them: a server passes these as "CONTENT_TYPE" and "CONTENT_LENGTH", to
 * be read with getenv().
 *
 * @param cgi   the request, or null
 * @param name  the field's name, such as "Accept-Language", or null
 * @return the environment's string; null if there is none, an argument is null, or memory runs out
 */
const char *cgi_header(const cgi_request *cgi, const char *name);

/**
 * Releases a request and everything it owns.
 *
 * @param cgi  the request; nothing happens for null
 */
void cgi_cleanup(cgi_request *cgi);

/**
 * The reason phrase of a status code of HTTP/1.1 (RFC 2616, section 6.1.1), such as "Not Found" for 404.
 *
 * @param code  the status code
 * @return a constant string; "UNKNOWN" for every other code, later ones such as 308 and 429 included
 */
const char *http_strerr(int32_t code);

/**
 * Sets the stream that responses go to; cgi_setup() begins with the standard output.
 *
 * @param cgi     the request
 * @param stream  the stream, which stays the caller's
 */
void cgi_set_output(cgi_request *cgi, FILE *stream) VELA_NONNULL(1);

/**
 * The stream that responses go to.
 *
 * @param cgi  the request
 * @return the stream last set
 */
FILE *cgi_output(const cgi_request *cgi) VELA_NONNULL(1);

/**
 * Writes a complete plain-text response whose body is the status's reason phrase and, on a separate line, a message:
 * "Status: 404", "Content-Type: text/plain", "Content-Length: 30", an empty line, "Not Found" and "no such file:
 * x.cfg", with CR LF after every line except the last.
 *
 * The body is cut after 1022 bytes. Without memory for it the response has none. Stream errors are not reported: the
 * caller may check ferror().
 *
 * @param cgi     the request
 * @param status  the status code
 * @param format  printf() format of the message, or null for none
 */
void cgi_error(cgi_request *cgi, int32_t status, const char *format, ...) __attribute__((format(printf, 3, 4)))
VELA_NONNULL(1);

/**
 * cgi_error() with the arguments of the format in a list.
 *
 * @param cgi     the request
 * @param status  the status code
 * @param format  printf() format of the message, or null for none
 * @param args    the list, which the caller has started and will end
 */
void cgi_verror(cgi_request *cgi, int32_t status, const char *format, va_list args)
    __attribute__((format(printf, 3, 0))) VELA_NONNULL(1);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

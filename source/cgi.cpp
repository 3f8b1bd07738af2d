// CGI: a request from the environment and the standard input, its names and values, and error responses.
#include "common/contract.hpp"
#include "common/memory.hpp"
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <unistd.h>
#include <vela/cgi.h>
#include <vela/url.h>

using vela::detail::allocate;
using vela::detail::owned;

namespace {

// Names and values: pointers to name, value, name, value, ... in the order of appearance and two null pointers.
// The strings follow the pointers in the same block.
using parameter_store = char **;

} // namespace

struct cgi_private {
    char *body;
    parameter_store cookies, query, form;
    bool form_is_parsed;
};

namespace {

struct request_block {
    cgi_request record;
    cgi_private priv;
};

constexpr int32_t kMostBody = 0x20000;
constexpr size_t kErrorBuffer = 1024;
constexpr size_t kMostErrorBody = 1022;

// The separators of a text of names and values.
struct separators {
    char pairs;        // between a value and the next name
    bool spaces_after; // whether spaces after a separator are skipped
};

constexpr separators kParameters = {'&', false};
constexpr separators kCookies = {';', true};

// The first separator at or after text, or the end.
template <char pair_separator>
const char *end_of_token(const char *text) {
    for (;; ++text)
        switch (*text) {
        case pair_separator:
        case '=':
        case '\0':
            return text;
        }
}

// Calls visit for each token of a text, empty ones included, with its bounds: the separator or the text's end.
template <separators separator, class Visit>
void for_each_token(const char *text, Visit visit) {
    for (;;) {
        const char *end = end_of_token<separator.pairs>(text);
        visit(text, end);
        if (!*end)
            return;
        text = end + 1;
        while (separator.spaces_after && *text == ' ')
            ++text;
    }
}

class store_builder {
public:
    // Allocates for a number of tokens that are not empty and their total size in bytes. Each token gives one string
    // and possibly an empty value; decoding never lengthens a token, and each string ends with a NUL.
    store_builder(size_t tokens, size_t bytes) {
        const size_t pointers = 2 * tokens + 2;
        block = allocate<char *>(pointers + (tokens + bytes + sizeof(char *) - 1) / sizeof(char *));
        next = block.get();
        end_of_strings = reinterpret_cast<char *>(next + pointers);
    }

    explicit operator bool() const { return block != nullptr; }

    void add(const char *token, const char *token_end) {
        const auto length = static_cast<uint32_t>(token_end - token);
        const int32_t size = url_decode(token, length, end_of_strings, length + 1);
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): a store without its block is never added to
        *next++ = end_of_strings;
        end_of_strings += size;
        value_is_due = !value_is_due;
    }

    // An empty value points to its name's NUL.
    void complete_pair() {
        if (value_is_due)
            *next++ = end_of_strings - 1;
        value_is_due = false;
    }

    parameter_store finish() {
        next[0] = next[1] = nullptr;
        return block.release();
    }

private:
    owned<char *[]> block;
    char **next;
    char *end_of_strings;
    bool value_is_due = false;
};

// The store of a text, or null without memory. Empty tokens need none.
template <separators separator>
parameter_store parse_pairs(const char *text) {
    size_t tokens = 0, bytes = 0;
    for_each_token<separator>(text, [&](const char *token, const char *token_end) {
        tokens += token != token_end;
        bytes += static_cast<size_t>(token_end - token);
    });
    if (bytes >= INT32_MAX)
        return nullptr;
    store_builder store(tokens, bytes);
    if (!store)
        return nullptr;
    for_each_token<separator>(text, [&](const char *token, const char *token_end) {
        if (token != token_end)
            store.add(token, token_end);
        if (token == token_end || *token_end != '=')
            store.complete_pair();
    });
    return store.finish();
}

void cgi_parse_params(parameter_store &store, const char *text) {
    assert(!store);
    store = parse_pairs<kParameters>(text);
}

void cgi_parse_cookies(parameter_store &store, const char *text) {
    assert(!store);
    store = parse_pairs<kCookies>(text);
}

const char *first_value(const parameter_store store, const char *name) {
    for (char **pair = store; pair && *pair; pair += 2)
        if (strcasecmp(pair[0], name) == 0)
            return pair[1];
    return nullptr;
}

// Number of body bytes to read.
int32_t announced_length() {
    const char *text = std::getenv("CONTENT_LENGTH");
    const long length = text ? std::strtol(text, nullptr, 10) : -1;
    return length < 0 || length > kMostBody ? kMostBody : static_cast<int32_t>(length);
}

// Reads until the buffer is full or the input ends. The stream's own buffer is bypassed if there is a descriptor, since
// it would read ahead.
int32_t read_input(char *to, int32_t size) {
    const int descriptor = fileno(stdin);
    if (descriptor < 0)
        return static_cast<int32_t>(
            std::fread(to, 1, static_cast<size_t>(size), stdin)); // GCOVR_EXCL_LINE: stdin has a descriptor
    int32_t count = 0;
    while (count < size) {
        const ssize_t got = read(descriptor, to + count, static_cast<size_t>(size - count));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        count += static_cast<int32_t>(got);
    }
    return count;
}

void read_body(cgi_request &cgi) {
    cgi.body_len = announced_length();
    if (cgi.body_len == 0)
        return;
    cgi.priv->body = allocate<char>(static_cast<size_t>(cgi.body_len) + 1).release();
    cgi.body = cgi.priv->body;
    if (!cgi.body)
        return;
    cgi.body_len = read_input(cgi.body, cgi.body_len);
    cgi.body[cgi.body_len] = '\0';
}

char header_character(char ch) {
    return ch == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
}

struct status_reason {
    uint32_t code;
    const char *reason;
};

constexpr status_reason kReasons[] = {
    {100, "Continue"},
    {101, "Switching Protocols"},
    {200, "OK"},
    {201, "Created"},
    {202, "Accepted"},
    {203, "Non-Authoritative Information"},
    {204, "No Content"},
    {205, "Reset Content"},
    {206, "Partial Content"},
    {300, "Multiple Choices"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {303, "See Other"},
    {304, "Not Modified"},
    {305, "Use Proxy"},
    {307, "Temporary Redirect"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {402, "Payment Required"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {406, "Not Acceptable"},
    {407, "Proxy Authentication Required"},
    {408, "Request Timeout"},
    {409, "Conflict"},
    {410, "Gone"},
    {411, "Length Required"},
    {412, "Precondition Failed"},
    {413, "Request Entity Too Large"},
    {414, "Request-URI Too Long"},
    {415, "Unsupported Media Type"},
    {416, "Requested Range Not Satisfiable"},
    {417, "Expectation Failed"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {504, "Gateway Timeout"},
    {505, "HTTP Version Not Supported"},
};

// Writes the reason and the message into a body of kErrorBuffer bytes. If a message can't be formatted completely, the
// part before stays.
[[gnu::format(printf, 3, 0)]] void format_error(char *body, int32_t status, const char *format, va_list args) {
    char *const end = stpcpy(body, http_strerr(status));
    if (!format)
        return;
    char *const message = stpcpy(end, "\r\n");
    std::memset(message, '\0', static_cast<size_t>(body + kErrorBuffer - message));
    std::vsnprintf(message, static_cast<size_t>(body + kMostErrorBody + 1 - message), format, args);
}

} // namespace

int32_t cgi_setup(cgi_request **result) {
    *result = nullptr;
    const char *method = std::getenv("REQUEST_METHOD");
    if (!method)
        return -1;
    auto *block = static_cast<request_block *>(std::calloc(1, sizeof(request_block)));
    if (!block)
        return -1;
    cgi_request &cgi = block->record;
    cgi.priv = &block->priv;
    cgi.method = method;
    cgi.output = stdout;
    cgi.uri = std::getenv("REQUEST_URI");
    cgi.query = std::getenv("QUERY_STRING");
    if (cgi.query)
        cgi_parse_params(cgi.priv->query, cgi.query);
    if (const char *cookies = std::getenv("HTTP_COOKIE"))
        cgi_parse_cookies(cgi.priv->cookies, cookies);
    if (strcasecmp(method, "POST") == 0)
        read_body(cgi);
    *result = &cgi;
    return 0;
}

const char *cgi_query_param(cgi_request *cgi, const char *name) {
    return cgi && cgi->priv && name ? first_value(cgi->priv->query, name) : nullptr;
}

const char *cgi_form_param(cgi_request *cgi, const char *name) {
    if (!cgi || !cgi->priv || !name || cgi->body_len == 0)
        return nullptr;
    cgi_private &priv = *cgi->priv;
    if (!priv.form_is_parsed && cgi->body)
        cgi_parse_params(priv.form, cgi->body);
    priv.form_is_parsed = true;
    return first_value(priv.form, name);
}

const char *cgi_cookie(cgi_request *cgi, const char *name) {
    return cgi && cgi->priv && name ? first_value(cgi->priv->cookies, name) : nullptr;
}

const char *cgi_header(const cgi_request *cgi, const char *name) {
    if (!cgi || !cgi->priv || !name)
        return nullptr;
    constexpr char prefix[] = "HTTP_";
    constexpr size_t prefix_length = sizeof prefix - 1;
    const size_t length = std::strlen(name);
    const owned<char[]> variable = allocate<char>(prefix_length + length + 1);
    if (!variable)
        return nullptr;
    char *const rest = std::copy_n(prefix, prefix_length, variable.get());
    *std::transform(name, name + length, rest, header_character) = '\0';
    return std::getenv(variable.get());
}

void cgi_cleanup(cgi_request *cgi) {
    if (!cgi || !cgi->priv)
        return;
    std::free(cgi->priv->body);
    std::free(cgi->priv->cookies);
    std::free(cgi->priv->query);
    std::free(cgi->priv->form);
    std::free(cgi);
}

const char *http_strerr(int32_t code) {
    for (const status_reason &known : kReasons)
        if (known.code == static_cast<uint32_t>(code))
            return known.reason;
    return "UNKNOWN";
}

void cgi_set_output(cgi_request *cgi, FILE *stream) { cgi->output = stream; }

FILE *cgi_output(const cgi_request *cgi) { return cgi->output; }

void cgi_error(cgi_request *cgi, int32_t status, const char *format, ...) {
    va_list args;
    va_start(args, format);
    cgi_verror(cgi, status, format, args);
    va_end(args);
}

void cgi_verror(cgi_request *cgi, int32_t status, const char *format, va_list args) {
    const owned<char[]> buffer = allocate<char>(kErrorBuffer);
    if (buffer)
        format_error(buffer.get(), status, format, args);
    const char *const body = buffer ? buffer.get() : "";
    std::fprintf(cgi->output, "Status: %d\r\nContent-Type: text/plain\r\nContent-Length: %u\r\n\r\n%s", status,
                 static_cast<unsigned>(std::strlen(body)), body);
}

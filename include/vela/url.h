/**
 * @file
 * URLs: percent-encoding of form text, splitting a URL into its components, and the text of MAC addresses.
 *
 * The coders and the MAC functions work between buffers of the caller's and allocate nothing. A url_record
 * comes from url_alloc() and goes back through url_free(); its strings belong to it.
 *
 * There is no state: any thread may call any function at any time, as long as no two write the same buffer or release
 * the same record. What is a letter follows the locale, which no other thread may change meanwhile.
 */
#ifndef VELA_URL_H
#define VELA_URL_H

#include <stdint.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup url
 *  @{ */

/** What a url_record owns. */
typedef struct url_private url_private;

/** A URL's components: NUL-terminated strings that the record owns, or null where the URL has none. */
typedef struct url_record {
    url_private *priv; /**< owns the strings */
    char *scheme;      /**< the letters and digits before the first ":"; always there */
    char *user;        /**< user name, before "@" or ":" */
    char *password;    /**< between the user name's ":" and "@" */
    char *host;        /**< name or address; an IPv6 address keeps its square brackets */
    char *port;        /**< text behind the host's ":", possibly empty */
    char *path;        /**< from the "/" that ends the authority to "?" or the end, with that "/" */
    char *query;       /**< behind "?" to the end, possibly empty */
} url_record;

/**
 * Encodes bytes as form text (application/x-www-form-urlencoded): letters and digits of the current locale
 * stay, a space becomes "+", every other byte "%" and two upper-case hexadecimal digits.
 *
 * This is the code of form fields and of the names and values in a query. In a path a "+" means itself, so encode the
 * names between the slashes one by one and put "%20" for each "+" of the result: every one of them is a space, since a
 * "+" of the input has become "%2B".
 *
 * Each byte is encoded only while fewer than `dst_size` - 4 characters are written, so `dst_size` = 3 x `len`
 * + 5 is always enough.
 *
 * @param src       the bytes
 * @param len       their number
 * @param dst       receives the text and a NUL; must not overlap `src`
 * @param dst_size  the size of `dst` in bytes
 * @return the length of the text without its NUL; 0 with nothing written if `len` or `dst_size` is 0; -1 for
 *         a null pointer, for a `dst_size` of 4 or less, and where the room ends (`dst` then holds the
 *         beginning of the text, without a NUL)
 */
VELA_NODISCARD int32_t url_encode(const void *src, uint32_t len, char *dst, uint32_t dst_size);

/**
 * Decodes form text: "+" becomes a space, "%%" one "%", and "%" with two characters behind it a byte. It is for the
 * names and values of a query, once they are taken apart; in a path, whose "+" mean themselves, they come out as
 * spaces.
 *
 * The two characters are not checked: the byte is (16 x hex2int(first) | hex2int(second)) modulo 256, in which
 * a character that is no digit counts as 255. A "%" with less than two characters behind it is dropped and
 * what follows is taken as it stands. Decoding never lengthens a text, so `dst_size` = `len` + 1 is always
 * enough; the decoded bytes may contain NULs.
 *
 * @param src       the text
 * @param len       its length; nothing behind it is read
 * @param dst       receives the bytes and a NUL; may be `src` itself
 * @param dst_size  the size of `dst` in bytes
 * @return the number of bytes written including the NUL (url_encode() in contrast does not count it); 0 with
 *         nothing written if `len` or `dst_size` is 0; -1 for a null pointer, and where the bytes and the NUL
 *         need more room (`dst` then holds the first bytes, without a NUL)
 */
VELA_NODISCARD int32_t url_decode(const char *src, uint32_t len, char *dst, uint32_t dst_size);

/**
 * Releases a record and its strings.
 *
 * @param url  the record; nothing happens for null
 */
void url_free(url_record *url);

/**
 * Splits a URL into its components. Nothing is decoded or converted.
 *
 *     scheme ":" up to two "/" [ user [ ":" password ] "@" ] [ host [ ":" port ] ] [ "/" path ] [ "?" query ]
 *
 * White space before the URL is skipped. User, password, host and port lie before the first "/" or "?"; a
 * host that begins with "[" ends behind the first "]", and the character behind that one stands for the ":".
 * A component whose delimiter is there may be an empty string.
 *
 * This is simpler than RFC 3986. A scheme is letters and digits alone, so that "svn+ssh://h" gives null. A "#" has no
 * meaning of its own: of "s://h/p#top" the path is "/p#top", of "s://h#top" the host is "h#top"; cut the text in front
 * of its first "#" where fragments may come. Each scheme has an authority: of "mailto:a@b" the user is "a" and the host
 * "b".
 *
 * @param text  a NUL-terminated text, or null
 * @return the components, for url_free(); null for a null, empty or blank text, for one that does not begin
 *         with a scheme of at least one letter or digit and its ":", and without memory
 */
VELA_NODISCARD VELA_RELEASED_BY(url_free) url_record *url_alloc(const char *text);

/**
 * Reads an Ethernet MAC address such as "00:1a:2B:3c:4d:5e". What follows the 17 characters does not matter.
 *
 * @param text  a NUL-terminated text
 * @param mac   receives six bytes, most significant first; a bad digit leaves the bytes before it stored
 * @return 0, or -1 for another layout or a bad digit
 */
VELA_NODISCARD int32_t inet_parse_mac(const char *text, uint8_t *mac);

/**
 * Writes an Ethernet MAC address as six pairs of upper-case hexadecimal digits with colons between them.
 *
 * @param mac   six bytes, most significant first
 * @param text  receives 17 characters and a NUL
 * @return 17
 */
int32_t inet_strfmac(const uint8_t *mac, char *text);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

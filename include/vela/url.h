/**
 * @file
 * URLs: percent-encoding of form text, splitting a URL into its components, and the text of MAC addresses.
 *
 * The coders and the MAC functions work on buffers of the caller and allocate nothing. A url_record is made by
 * url_alloc() and released by url_free(); its strings belong to it.
 *
 * There is no state: any thread may call any function at any time, as long as no two write the same buffer or release
 * the same record. Letters are those of the current locale, which no other thread may change at that time.
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
    char *port;        /**< text after the host's ":", possibly empty */
    char *path;        /**< from the "/" that ends the authority to "?" or the end, with that "/" */
    char *query;       /**< text after the first "?", possibly empty */
} url_record;

/**
 * Encodes bytes as form text (application/x-www-form-urlencoded): letters and digits of the current locale are kept, a
 * space becomes "+", every other byte "%" and two upper-case hexadecimal digits.
 *
 * This is the encoding of form fields and of names and values in a query. In a path "+" is literal: encode each path
 * segment separately and replace each "+" of the result by "%20"; each is a space, since a "+" of the input has become
 * "%2B".
 *
 * Each byte is encoded only while fewer than `dst_size` - 4 characters are written, so `dst_size` = 3 x `len`
 * + 5 is always enough.
 *
 * @param src       the bytes
 * @param len       their number
 * @param dst       receives the text and a NUL; must not overlap `src`
 * @param dst_size  the size of `dst` in bytes
 * @return the length of the text without its NUL; 0 with nothing written if `len` or `dst_size` is 0; -1 for
 *         a null pointer, for a `dst_size` of 4 or less, and if `dst` is too small (it then holds the beginning of the
 *         text, without a NUL)
 */
VELA_NODISCARD int32_t url_encode(const void *src, uint32_t len, char *dst, uint32_t dst_size) VELA_READS(1, 2)
    VELA_WRITES(3, 4);

/**
 * Decodes form text: "+" becomes a space, "%%" one "%", and "%" followed by two characters a byte. Use it for the names
 * and values of a query, after splitting it; in a path, where "+" is literal, they would become spaces.
 *
 * The two characters are not checked: the byte is (16 x hex2int(first) | hex2int(second)) modulo 256, in which a
 * character that is not a digit counts as 255. A "%" followed by fewer than two characters is dropped, and the rest is
 * kept unchanged. Decoding never lengthens a text, so `dst_size` = `len` + 1 is always enough; the decoded bytes may
 * contain NULs.
 *
 * @param src       the text
 * @param len       its length; nothing after it is read
 * @param dst       receives the bytes and a NUL; may be `src` itself
 * @param dst_size  the size of `dst` in bytes
 * @return the number of bytes written including the NUL (url_encode() in contrast does not count it); 0 with
 *         nothing written if `len` or `dst_size` is 0; -1 for a null pointer, and if `dst` is too small for the bytes
 *         and the NUL (it then holds the first bytes, without a NUL)
 */
VELA_NODISCARD int32_t url_decode(const char *src, uint32_t len, char *dst, uint32_t dst_size) VELA_READS(1, 2)
    VELA_WRITES(3, 4);

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
 * White space before the URL is skipped. User, password, host and port lie before the first "/" or "?"; a host starting
 * with "[" extends through the first "]", and the next character is taken as the port separator, whatever it is. A
 * component whose delimiter is present may be an empty string.
 *
 * This is simpler than RFC 3986. A scheme consists of letters and digits, so "svn+ssh://h" gives null. Fragments are
 * not split off: the path of "s://h/p#top" is "/p#top", the host of "s://h#top" is "h#top"; if fragments may occur, cut
 * the text at its first "#". Every scheme has an authority: in "mailto:a@b" the user is "a" and the host "b". Hosts and
 * ports are not validated: do not base access decisions on them.
 *
 * @param text  a NUL-terminated text, or null
 * @return the components, for url_free(); null for a null, empty or blank text, for one that does not begin
 *         with a scheme of at least one letter or digit and its ":", and if memory runs out
 */
VELA_NODISCARD VELA_RELEASED_BY(url_free) url_record *url_alloc(const char *text);

/**
 * Reads an Ethernet MAC address such as "00:1a:2B:3c:4d:5e". Text after the 17 characters is ignored.
 *
 * @param text  a NUL-terminated text
 * @param mac   receives six bytes, most significant first; a bad digit leaves the bytes before it stored
 * @return 0, or -1 for any other format or a bad digit
 */
VELA_NODISCARD int32_t inet_parse_mac(const char *text, uint8_t mac[6]) VELA_NONNULL(1, 2);

/**
 * Writes an Ethernet MAC address as six pairs of upper-case hexadecimal digits with colons between them.
 *
 * @param mac   six bytes, most significant first
 * @param text  receives 17 characters and a NUL
 * @return 17
 */
int32_t inet_strfmac(const uint8_t mac[6], char text[18]) VELA_NONNULL(1, 2);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

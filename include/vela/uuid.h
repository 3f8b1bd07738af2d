/**
 * @file
 * Random bytes, random integers and random UUIDs.
 *
 * Random bytes come from the kernel's device `/dev/urandom`, by one read() for each call. If that does not return all
 * bytes (no free descriptor, no device, a signal that interrupts a long read), all of them come from the C library's
 * random() instead, without a sign of it: random() has a seed of 32 bits and is **not fit for secrets**. It is seeded
 * by the first call of randbytes(), randint() or uuid_create(), from the device if possible. None of these functions
 * fails. For keys, tokens and session identifiers use getrandom(), or vela::random_bytes() in C++.
 *
 * random() is shared with the program: the first call replaces a seed set by srandom(), and if the device can't be
 * read, calls consume numbers of the program's sequence. A program that needs its own sequence calls randint(0, 0),
 * which seeds and draws nothing, before srandom().
 *
 * Any thread may call any function at any time, as long as no two write the same buffer.
 *
 * A UUID is 16 bytes in the caller's memory, in the order in which they are stored: text begins with byte 0, and
 * version and variant bits are neither set nor checked. Its three text forms are
 *
 *     braced   {00112233-4455-6677-8899-aabbccddeeff}
 *     dashed    00112233-4455-6677-8899-aabbccddeeff
 *     plain     00112233445566778899aabbccddeeff
 */
#ifndef VELA_UUID_H
#define VELA_UUID_H

#include <stdint.h>
#include <stdio.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup uuid
 *  @{ */

/**
 * Fills a buffer with random bytes, from one read of the device or all from random(), see above. The kernel interrupts
 * a read of more than 256 bytes at a signal, so a program with timers or child processes may get a long buffer from
 * random().
 *
 * @param buf  receives the bytes
 * @param len  their number; with 0 nothing is written
 */
void randbytes(void *buf, uint32_t len) VELA_WRITES(1, 2);

/**
 * A random integer between two bounds, both included.
 *
 * The result is the smaller bound plus the remainder of a random 16-bit number divided by the number of values. So of a
 * wider range only the lowest 65536 values are returned (randint(0, 100000) gives at most 65535), and unless the number
 * of values is a power of two, the distribution is not uniform: the lowest 65536 modulo that number are more frequent,
 * in randint(0, 39999) those below 25536 twice as frequent. Use randbytes() for wider ranges or a uniform distribution.
 *
 * @param a  one bound
 * @param b  the other; may be the smaller one
 * @return a value between the bounds
 */
int32_t randint(int32_t a, int32_t b);

/**
 * Makes a UUID of 16 random bytes.
 *
 * All 128 bits are random, so this is not a version 4 UUID of RFC 9562, though one in 64 looks like it. To make it one:
 *
 *     uuid[6] = (uint8_t)((uuid[6] & 0x0F) | 0x40);
 *     uuid[8] = (uint8_t)((uuid[8] & 0x3F) | 0x80);
 *
 * @param uuid  receives the 16 bytes
 */
void uuid_create(uint8_t uuid[16]) VELA_NONNULL(1);

/**
 * Compares two UUIDs byte by byte, from byte 0 on.
 *
 * @param a  16 bytes
 * @param b  16 bytes
 * @return negative, 0 or positive, as `a` is less than, equal to or greater than `b`
 */
int32_t uuid_compare(const uint8_t a[16], const uint8_t b[16]) VELA_NONNULL(1, 2);

/**
 * Reads a UUID with sscanf().
 *
 * @param text    a NUL-terminated string
 * @param format  a scan format with sixteen conversions to bytes (`%02hhx`)
 * @param uuid    receives the bytes converted
 * @return the number of conversions made, or EOF, as of sscanf()
 */
VELA_NODISCARD int32_t uuid_scanf(const char *text, const char *format, uint8_t *uuid) VELA_NONNULL(1, 2, 3);

/**
 * Reads a UUID in any of the three forms.
 *
 * The forms are tried in the order above, with sscanf() and `%02hhx` for each byte: one or two digits of either case,
 * and like sscanf() it accepts white space and a sign before them. The closing brace may be missing, and text after the
 * last byte is ignored.
 *
 * So a damaged text may be read as another UUID: with a digit missing, "0011223-4455-..." gives the bytes 00 11 22 03
 * 44 55, and a dashed text without its last two digits is read as a plain one, in which dashes are signs. If that
 * matters, print the result and compare:
 *
 *     char again[39];
 *     uuid_sprint(again, uuid);
 *     again[37] = '\0';                                    // without the closing brace
 *     int is_dashed = strcasecmp(text, again + 1) == 0;   // and without the opening one
 *
 * @param text  a NUL-terminated string
 * @param uuid  receives the 16 bytes; on failure, those that could be read
 * @return 0, or -1 if the text has none of the forms
 */
VELA_NODISCARD int32_t uuid_scan(const char *text, uint8_t uuid[16]) VELA_NONNULL(1, 2);

/**
 * Prints a UUID with fprintf().
 *
 * @param stream  where to
 * @param format  a print format with sixteen conversions of bytes (`%02hhx`)
 * @param uuid    16 bytes
 * @return the number of characters written, or a negative number, as of fprintf()
 */
int32_t uuid_fprintf(FILE *stream, const char *format, const uint8_t *uuid) VELA_NONNULL(1, 2, 3);

/**
 * Prints a UUID in the braced form, in lower case.
 *
 * @param stream  where to
 * @param uuid    16 bytes
 * @return the number of characters written, 38; a negative number when the stream fails
 */
int32_t uuid_fprint(FILE *stream, const uint8_t uuid[16]) VELA_NONNULL(1, 2);

/**
 * Prints a UUID into a string with sprintf().
 *
 * @param text    receives the NUL-terminated string; large enough for the output of the format
 * @param format  a print format with sixteen conversions of bytes (`%02hhx`)
 * @param uuid    16 bytes
 * @return the number of characters written, without the NUL
 */
int32_t uuid_sprintf(char *text, const char *format, const uint8_t *uuid) VELA_NONNULL(1, 2, 3);

/**
 * Prints a UUID into a string in the braced form, in lower case.
 *
 * @param text  receives 38 characters and a NUL
 * @param uuid  16 bytes
 * @return the number of characters written, 38
 */
int32_t uuid_sprint(char text[39], const uint8_t uuid[16]) VELA_NONNULL(1, 2);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

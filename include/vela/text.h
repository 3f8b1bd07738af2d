/**
 * @file
 * Small text functions: hexadecimal digits and text, line ends and white space trimmed in place, and buffers
 * split into chunks of fixed length.
 *
 * Nothing is allocated: the caller provides and owns every buffer. Output of a given length (hexadecimal
 * text, bytes, chunks) is not NUL-terminated. Hexadecimal text is written in upper case and read in both.
 *
 * There is no state: any thread may call any function at any time, as long as no two write the same buffer. strip()
 * uses the locale, which no other thread may change at that time.
 */
#ifndef VELA_TEXT_H
#define VELA_TEXT_H

#include <stdint.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup text
 *  @{ */

/**
 * The hexadecimal digit of a value.
 *
 * @param value  0 to 15
 * @return '0' to '9' or 'A' to 'F'; 255 for any other value
 */
uint8_t int2hex(int32_t value);

/**
 * The value of a hexadecimal digit.
 *
 * @param ch  a character; letters in either case
 * @return 0 to 15; 255 for any other character
 */
uint8_t hex2int(uint8_t ch);

/**
 * Writes bytes as hexadecimal text, two upper-case digits per byte, high four bits first.
 *
 * @param bin  the bytes
 * @param len  their number, below 2^31
 * @param hex  receives 2 x `len` characters; no part of it may overlap `bin`
 * @return the number of characters written, 2 x `len`
 */
uint32_t bin2hex(const uint8_t *bin, uint32_t len, char *hex) VELA_NONNULL(1, 3) VELA_READS(1, 2);

/**
 * Reads hexadecimal text into bytes, two characters per byte. Nothing is checked: a character that is not a digit
 * counts as 255, so that a byte is (16 x hex2int(first) + hex2int(second)) modulo 256.
 *
 * @param hex  the characters
 * @param len  their number; an odd one at the end is ignored
 * @param bin  receives `len` / 2 bytes; may be `hex` itself, or begin one byte after it
 * @return the number of bytes written, `len` / 2
 */
uint32_t hex2bin(const char *hex, uint32_t len, uint8_t *bin) VELA_NONNULL(1, 3) VELA_READS(1, 2);

/**
 * Removes the end of a line in place: at most one newline and then at most one carriage return.
 *
 * @param str  a NUL-terminated string of less than 2^31 characters
 * @return the index of the last character examined: the string's original length - 1 if it had no newline, - 2 if it
 *         had one, whether or not a carriage return was removed as well; -1 for an empty string and for a newline
 *         alone. The string's new length is strlen(`str`), not this index
 */
int32_t chomp(char *str) VELA_NONNULL(1);

/**
 * Overwrites the white space at both ends of a string with NUL; white space is what isspace() says in the current
 * locale.
 *
 * The text is not moved: if the string began with white space, `str` itself is empty afterwards.
 *
 * @param str  a NUL-terminated string
 * @return the first character within `str` that is not white space; the terminating NUL if there is none
 */
char *strip(char *str) VELA_NONNULL(1);

/**
 * The size of the output of chunk_split().
 *
 * @param src    the input, not read; null means none
 * @param len    its length in bytes
 * @param chunk  length of a chunk in bytes, greater than 0 (asserted if there is input)
 * @return `len` + (`len` - 1) / `chunk`; 0 without input, and if the sum does not fit in 32 bits
 */
uint32_t chunk_split_len(const void *src, uint32_t len, uint32_t chunk);

/**
 * Copies bytes with a newline between every two consecutive chunks, and none after the last.
 *
 * @param src       the input, or null
 * @param len       its length in bytes
 * @param dst       the output, not overlapping `src`, or null
 * @param dst_size  the output's size in bytes
 * @param chunk     length of a chunk in bytes, greater than 0 (asserted if there is input)
 * @return the number of bytes written, chunk_split_len() of the same input, which is negative from 2^31 bytes on: cast
 *         it to `uint32_t` then; 0 with nothing written if there is no input or no output, or the output is too small
 */
VELA_NODISCARD int32_t chunk_split(const void *src, uint32_t len, void *dst, uint32_t dst_size, uint32_t chunk)
    VELA_READS(1, 2) VELA_WRITES(3, 4);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

/**
 * @file
 * Base64 between buffers: the standard alphabet of RFC 4648 with "=" padding.
 *
 * Nothing is allocated and no text is NUL-terminated: the caller provides the buffers and asks the length functions for
 * the room. Lengths are bytes; an input is shorter than 2^30 bytes (a longer one is refused). The encoder breaks no
 * lines. The decoder skips line breaks, spaces and anything else foreign between groups of four characters, goes on
 * behind padding, reports no malformed text, and can be fed a stream piece by piece.
 *
 * There is no state: any thread may call any function at any time, as long as no two write the same buffer.
 */
#ifndef VELA_BASE64_H
#define VELA_BASE64_H

#include <stdint.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup base64
 *  @{ */

/**
 * The length of encoded text.
 *
 * @param src  not read
 * @param len  number of bytes to encode, below 2^30
 * @return 4 x ceil(`len` / 3)
 */
uint32_t base64_encode_len(const void *src, uint32_t len);

/**
 * Encodes bytes as one unbroken line of text.
 *
 * @param src       the bytes, or null
 * @param len       their number
 * @param dst       receives the characters; shares no memory with `src`, unless the bytes end where the characters
 *                  will, or behind: these are encoded in place
 * @param dst_size  room in `dst`, at least base64_encode_len(`src`, `len`)
 * @return the number of characters written, base64_encode_len(); 0 with nothing written where there is no input, no
 *         output, too little room or too long an input
 */
VELA_NODISCARD int32_t base64_encode(const void *src, uint32_t len, char *dst, uint32_t dst_size);

/**
 * The room that decoding asks for: what text without foreign characters and padding decodes to.
 *
 * @param src  not read
 * @param len  number of characters, below 2^30
 * @return 3 x `len` / 4, rounded down
 */
uint32_t base64_decode_len(const void *src, uint32_t len);

/**
 * Decodes as much as is there and leaves an incomplete group of four characters for the next call.
 *
 * Foreign characters are skipped before the first character of a group. Inside a group nothing is checked: a foreign
 * character contributes bits of the value 255. A group with "=" in third place gives one byte, with "=" in fourth place
 * alone two; "=" in the first two places contributes zero bits. Groups behind a padded one are decoded as well.
 *
 * @param src_ptr   the caller's input pointer; moved to the end of the input, or else to the first character of the
 *                  incomplete group. The caller puts that tail before what arrives next
 * @param len       number of characters at `*src_ptr`
 * @param dst       receives the bytes. It may share memory with the text: nothing is lost where it begins in front of
 *                  the text, with it, or one byte behind its start, since the four characters of a group are read
 *                  before their bytes are written. Room behind the result may be overwritten
 * @param dst_size  room in `dst`, at least base64_decode_len(`*src_ptr`, `len`)
 * @return the number of bytes written; 0 with nothing written and the pointer where it was when there is no input (less
 *         than two characters), no output, too little room or too long an input
 */
VELA_NODISCARD uint32_t base64_decode_stream(const char **src_ptr, uint32_t len, void *dst, uint32_t dst_size);

/**
 * Decodes a whole text: base64_decode_stream() with an incomplete group at the end dropped.
 *
 * @param src       the text, or null
 * @param len       number of characters
 * @param dst       receives the bytes; may share memory with `src` as for base64_decode_stream(). Room behind the
 *                  result may be overwritten
 * @param dst_size  room in `dst`, at least base64_decode_len(`src`, `len`)
 * @return the number of bytes written, 0 on failure, as of base64_decode_stream()
 */
VELA_NODISCARD uint32_t base64_decode(const char *src, uint32_t len, void *dst, uint32_t dst_size);

/**
 * Prints the decoding table to the standard output as source text for a table: "0x%02x," for each byte value but "=",
 * the index in the alphabet or 255, and a newline behind each byte value whose place, counted from 1, is a multiple of
 * 15.
 */
void base64_decode_table_gen(void);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

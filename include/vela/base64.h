/**
 * @file
 * Base64 between buffers: the standard alphabet of RFC 4648 with "=" padding.
 *
 * Nothing is allocated and no text is NUL-terminated: the caller provides the buffers, whose sizes the length functions
 * give. Lengths are in bytes; inputs of 2^30 bytes or more are refused. The encoder inserts no line breaks. The decoder
 * skips line breaks, spaces and other characters outside the alphabet between groups of four characters, continues
 * after padding, reports no malformed text, and decodes a stream piece by piece.
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
 * @param dst       receives the characters; shares no memory with `src`, unless the bytes end where the characters will
 *                  end or later: then they are encoded in place
 * @param dst_size  size of `dst`, at least base64_encode_len(`src`, `len`)
 * @return the number of characters written, base64_encode_len(); 0 with nothing written if there is no input or no
 *         output, the output is too small or the input too long
 */
VELA_NODISCARD int32_t base64_encode(const void *src, uint32_t len, char *dst, uint32_t dst_size) VELA_READS(1, 2)
    VELA_WRITES(3, 4);

/**
 * The size of the output that decoding requires: the decoded length of text without foreign characters and padding.
 *
 * @param src  not read
 * @param len  number of characters, below 2^30
 * @return 3 x `len` / 4, rounded down
 */
uint32_t base64_decode_len(const void *src, uint32_t len);

/**
 * Decodes all complete groups of four characters and leaves an incomplete one for the next call.
 *
 * Characters outside the alphabet are skipped before the first character of a group. Inside a group nothing is checked:
 * a foreign character contributes the bits of the value 255. A group with "=" as third character gives one byte, with
 * "=" as fourth character only two bytes; "=" as first or second character contributes zero bits. Groups after a padded
 * one are decoded as well.
 *
 * @param src_ptr   the caller's input pointer; advanced to the end of the input or to the first character of an
 *                  incomplete group. The caller prepends that tail to its next input
 * @param len       number of characters at `*src_ptr`
 * @param dst       receives the bytes. It may share memory with the text if it starts before the text, with it, or one
 *                  byte after its start, since the four characters of a group are read before their bytes are written.
 *                  Memory after the result, within `dst_size`, may be overwritten
 * @param dst_size  size of `dst`, at least base64_decode_len(`*src_ptr`, `len`)
 * @return the number of bytes written; 0 with nothing written and the pointer unchanged if there is no input (less than
 *         two characters) or no output, the output is too small or the input too long
 */
VELA_NODISCARD uint32_t base64_decode_stream(const char **src_ptr, uint32_t len, void *dst, uint32_t dst_size)
    VELA_WRITES(3, 4);

/**
 * Decodes a whole text: base64_decode_stream() with an incomplete group at the end dropped.
 *
 * @param src       the text, or null
 * @param len       number of characters
 * @param dst       receives the bytes; may share memory with `src` as for base64_decode_stream(). Memory after the
 *                  result, within `dst_size`, may be overwritten
 * @param dst_size  size of `dst`, at least base64_decode_len(`src`, `len`)
 * @return the number of bytes written, 0 on failure, as of base64_decode_stream()
 */
VELA_NODISCARD uint32_t base64_decode(const char *src, uint32_t len, void *dst, uint32_t dst_size) VELA_READS(1, 2)
    VELA_WRITES(3, 4);

/**
 * Prints the decoding table to the standard output as source text for a table: "0x%02x," for each byte value but "=",
 * the index in the alphabet or 255, and a newline after each byte value v with v + 1 a multiple of 15.
 */
void base64_decode_table_gen(void);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

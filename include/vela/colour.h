/**
 * @file
 * 8-bit RGB to YCbCr and back, and 4:2:2 pictures to RGB.
 *
 * An RGB pixel is three bytes R, G, B; a YCbCr pixel three bytes Y, Cb, Cr. Three variants: full range (luma and chroma
 * over 0 to 255, luma weights of ITU-R BT.601, as in JPEG files), and the studio ranges of ITU-R BT.601 and BT.709
 * (luma 16 to 235, chroma 16 to 240). RGB is taken and given as it is stored: no transfer function is applied.
 *
 * All arithmetic is in integers with Q12 coefficients (4096 represents 1.0), so results are bit-identical on all
 * machines. Buffers belong to the caller and need no alignment; nothing outside the stated sizes is read or written.
 *
 * There is no state: any thread may call any function at any time, as long as no two write the same buffer.
 */
#ifndef VELA_COLOUR_H
#define VELA_COLOUR_H

#include <stdint.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup colour
 *  @{ */

/**
 * @name Coefficient matrices
 *
 * For conversion outside this library, for example by a display controller. Each function fills `matrix` with nine Q12
 * coefficients, row by row: the published ones times 4096, truncated toward zero. An encoding matrix (`rgb_to_ycc`) has
 * the rows Y, Cb, Cr over the columns R, G, B; a decoding matrix (`ycc_to_rgb`) the rows R, G, B over the columns Y,
 * Cb, Cr.
 *
 * Offsets are not part of the matrix: encoding adds 16 to studio luma and 128 to chroma after the multiplication,
 * decoding subtracts them before it.
 *
 * @param matrix  receives nine numbers
 */
/** @{ */
void get_rgb_to_ycc(int32_t *matrix) VELA_NONNULL(1);    /**< full range, encoding */
void get_ycc_to_rgb(int32_t *matrix) VELA_NONNULL(1);    /**< full range, decoding */
void get_rgb_to_ycc601(int32_t *matrix) VELA_NONNULL(1); /**< BT.601, encoding */
void get_ycc_to_rgb601(int32_t *matrix) VELA_NONNULL(1); /**< BT.601, decoding */
void get_rgb_to_ycc709(int32_t *matrix) VELA_NONNULL(1); /**< BT.709, encoding */
void get_ycc_to_rgb709(int32_t *matrix) VELA_NONNULL(1); /**< BT.709, decoding */
/** @} */

/**
 * @name Pixel conversions
 *
 * Each converts `count` pixels with the matrix of its variant, rounds to nearest (halves up) and limits the result to 0
 * to 255.
 *
 * @param src    `count` pixels of three bytes
 * @param dst    receives `count` pixels of three bytes; `src` itself, or memory that does not overlap it
 * @param count  number of pixels; 0 does nothing
 */
/** @{ */
void srgb_to_yccfull(const uint8_t *src, uint8_t *dst, uint32_t count) VELA_NONNULL(1, 2);  /**< RGB to full range */
void yccfull_to_srgb(const uint8_t *src, uint8_t *dst, uint32_t count) VELA_NONNULL(1, 2);  /**< full range to RGB */
void srgb_to_yccbt601(const uint8_t *src, uint8_t *dst, uint32_t count) VELA_NONNULL(1, 2); /**< RGB to BT.601 */
void yccbt601_to_srgb(const uint8_t *src, uint8_t *dst, uint32_t count) VELA_NONNULL(1, 2); /**< BT.601 to RGB */
void srgb_to_yccbt709(const uint8_t *src, uint8_t *dst, uint32_t count) VELA_NONNULL(1, 2); /**< RGB to BT.709 */
void yccbt709_to_srgb(const uint8_t *src, uint8_t *dst, uint32_t count) VELA_NONNULL(1, 2); /**< BT.709 to RGB */
/** @} */

/**
 * Unpacks a full-range 4:2:2 picture into RGB.
 *
 * Four bytes Cb, Y0, Cr, Y1 hold two pixels side by side, which share the chroma (the order is known as UYVY).
 *
 * @param src     the first row; a row of an odd width ends with the bytes Cb, Y0, Cr of its last pixel; no byte after
 *                them is read
 * @param width   pixels per row; 0 does nothing
 * @param height  number of rows; 0 does nothing
 * @param stride  bytes from the start of one source row to that of the next; rows may overlap
 * @param dst     receives `width` x `height` pixels of three bytes without gaps; must not overlap `src`
 */
void cyc422_to_srgb(const uint8_t *src, uint32_t width, uint32_t height, uint32_t stride, uint8_t *dst)
    VELA_NONNULL(1, 5);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

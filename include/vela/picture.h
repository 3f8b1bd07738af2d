/**
 * @file
 * Pictures as cameras make them: filled, converted and drawn on where they lie. In the library `vela-overlay`.
 *
 * A picture is a record that describes memory of the caller's: a format, a size, and for each plane its bytes and its
 * stride. Formats whose chroma has half the columns or rows round them up, so every size is possible: a chroma sample
 * of an odd width or height serves one column or row alone. Strides may be odd, and larger than a row.
 *
 * Each function checks the whole description first. What is out of range, and planes too small for what they should
 * hold, are refused before anything is written; nothing outside the pixels of a picture is read or written.
 *
 * YCbCr is full range (0 to 255, as in JPEG files) or studio range (luma 16 to 235, chroma 16 to 240), with the luma
 * weights of ITU-R BT.601 or BT.709. Chroma that is shared by pixels is their average when it's made and repeated for
 * each when it's used.
 *
 * There is no state: threads may work on different pictures, or on different rows of one.
 */
#ifndef VELA_PICTURE_H
#define VELA_PICTURE_H

#include <stddef.h>
#include <stdint.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup picture
 *  @{ */

/** Formats, with the planes that each has. */
enum {
    VELA_RGB24 = 0, /**< bytes R, G, B */
    VELA_BGR24 = 1, /**< bytes B, G, R */
    VELA_RGBA = 2,  /**< bytes R, G, B, alpha; what is written is opaque, what is read as if it were */
    VELA_YUYV = 3,  /**< 4:2:2, bytes Y0, Cb, Y1, Cr for two pixels; also known as YUY2 */
    VELA_UYVY = 4,  /**< 4:2:2, bytes Cb, Y0, Cr, Y1 for two pixels */
    VELA_NV12 = 5,  /**< 4:2:0, a plane of Y, one of pairs Cb, Cr */
    VELA_NV21 = 6,  /**< 4:2:0, a plane of Y, one of pairs Cr, Cb */
    VELA_I420 = 7,  /**< 4:2:0, planes of Y, Cb, Cr */
    VELA_I422 = 8,  /**< 4:2:2, planes of Y, Cb, Cr */
    VELA_I444 = 9,  /**< 4:4:4, planes of Y, Cb, Cr */
    VELA_GREY = 10  /**< a plane of Y */
};

/** What the numbers of YCbCr mean; RGB pictures carry it without effect. */
enum {
    VELA_BT601_FULL = 0,   /**< BT.601 weights, 0 to 255 */
    VELA_BT601_STUDIO = 1, /**< BT.601 weights, luma 16 to 235, chroma 16 to 240 */
    VELA_BT709_STUDIO = 2, /**< BT.709 weights, luma 16 to 235, chroma 16 to 240 */
    VELA_BT709_FULL = 3    /**< BT.709 weights, 0 to 255 */
};

/** How an area is hidden. */
enum {
    VELA_SOLID = 0,  /**< one colour */
    VELA_BLOCKS = 1, /**< squares, each of the average of what it covers */
    VELA_BLUR = 2    /**< smooth shades between the centres of such squares */
};

/** A plane: memory of the caller's. */
typedef struct vela_plane {
    uint8_t *data; /**< the first byte of the first row */
    size_t size;   /**< the bytes that are there */
    size_t stride; /**< bytes from the start of one row to that of the next */
} vela_plane;

/** A picture: a description of memory of the caller's. */
typedef struct vela_picture {
    int32_t width;        /**< pixels of a row, 1 to 65535 */
    int32_t height;       /**< rows, 1 to 65535 */
    int32_t format;       /**< VELA_RGB24 to VELA_GREY */
    int32_t colours;      /**< VELA_BT601_FULL to VELA_BT709_FULL */
    vela_plane planes[3]; /**< as many as the format has */
} vela_picture;

/** A colour, full range. */
typedef struct vela_rgb {
    uint8_t red;   /**< 0 to 255 */
    uint8_t green; /**< 0 to 255 */
    uint8_t blue;  /**< 0 to 255 */
} vela_rgb;

/** Pixels of a row: the half-open range [begin, end). */
typedef struct vela_run {
    int32_t y;     /**< the row */
    int32_t begin; /**< the first pixel */
    int32_t end;   /**< one past the last pixel */
} vela_run;

/** How pixels are hidden. All zero is solid black. */
typedef struct vela_cover {
    int32_t style;   /**< VELA_SOLID, VELA_BLOCKS or VELA_BLUR */
    int32_t size;    /**< of blocks and blur: the side of a square in pixels, 2 to 65535; an odd one is rounded up */
    vela_rgb colour; /**< of a solid area */
} vela_cover;

/**
 * Describes a picture in one piece of memory: plane after plane, row after row, without gaps.
 *
 * @param picture  receives strides, sizes and addresses for its format, width and height, which are set
 * @param data     the memory, or null to learn the size alone
 * @param size     its bytes
 * @return the bytes that the picture takes; 0, with nothing written, for a format, width or height out of range
 *
 * Where @p size is less than the result, no function takes the picture.
 */
size_t vela_picture_lay_out(vela_picture *picture, uint8_t *data, size_t size);

/**
 * Whether the planes hold the picture.
 *
 * @param picture  the description
 * @return 1 if all is in range and each plane large enough, else 0
 */
int32_t vela_picture_is_valid(const vela_picture *picture);

/**
 * Converts a picture to another format, other colours, or both.
 *
 * @param from  the picture
 * @param to    a picture of the same size; none of the memory of @p from
 * @return 0; 1 with nothing written where one of them is not valid, the sizes differ, or memory is shared
 *
 * From and to full range BT.601 without subsampled chroma, pixels are those of the functions of <vela/colour.h>. From
 * studio range they are within one of them. Grey has no chroma: it's read as grey, and of what is converted to it luma
 * stays. To the same format and colours, rows are copied as they are, alpha included.
 */
int32_t vela_picture_convert(const vela_picture *from, const vela_picture *to);

/**
 * Hides pixels, and with them all chroma that any of them has a share in.
 *
 * @param picture  the picture
 * @param runs     which pixels; what lies outside of the picture is left out
 * @param count    number of runs
 * @param cover    how; null for solid black
 * @return 0; 1 with nothing written where the picture or the cover is out of range
 *
 * Blocks lie on a grid that starts at the upper left pixel. Columns and rows that are left over at the right and the
 * lower edge join the last block, so none is smaller than asked for unless the picture is. Averages are those of the
 * picture before the call; they take some memory for its time, without which the area becomes solid.
 */
int32_t vela_picture_hide(const vela_picture *picture, const vela_run *runs, size_t count, const vela_cover *cover);

/**
 * Draws a line of text in capitals: A to Z, digits, the punctuation of ASCII; small letters as capitals, what else
 * there is as a gap. A character is 5 x 7 dots in a cell of 6 x 8.
 *
 * @param picture  the picture
 * @param x        the left edge of the first cell, may be outside of the picture
 * @param y        its upper edge
 * @param text     the text, ends with a null character
 * @param scale    pixels of a dot's side, 1 to 1000
 * @param ink      the colour of the dots
 * @param paper    the colour of the cells' rest, and of a margin of one dot left and above; null to leave it as it is
 * @return 0; 1 with nothing written where the picture or the scale is out of range
 */
int32_t vela_picture_text(const vela_picture *picture, int32_t x, int32_t y, const char *text, int32_t scale,
                          const vela_rgb *ink, const vela_rgb *paper);

/**
 * Draws a straight line of square dots, both ends included. What lies outside of the picture is left out.
 *
 * @param picture    the picture
 * @param x0         the first end's column, -1000000 to 1000000 as all of the four
 * @param y0         the first end's row
 * @param x1         the last end's column
 * @param y1         the last end's row
 * @param thickness  pixels of a dot's side, 1 to 1000
 * @param ink        the colour
 * @return 0; 1 with nothing written where something is out of range
 */
int32_t vela_picture_line(const vela_picture *picture, int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                          int32_t thickness, const vela_rgb *ink);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

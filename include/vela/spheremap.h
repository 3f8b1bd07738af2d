/**
 * @file
 * Where a pan/tilt camera looks, and where that lies on the screen.
 *
 * A direction is a point on the camera's sphere: pan around the vertical axis, tilt above the horizon. A view is what
 * the camera shows on a screen when it looks at one direction with one field of view. Points and polygons are mapped
 * from the sphere to the screen in integer arithmetic, and back in double precision; both ways give the same bits on
 * every machine.
 *
 * The lens is drawn as one whose picture is proportional to angles: a direction stands as many degrees from the
 * picture's vertical middle line as it leaves the view's vertical central plane, and the same way up and down, with
 * width / fov pixels per degree everywhere. That is not a pinhole's picture, in which the middle has fewer: at 1920
 * pixels for 60 degrees the two are up to 36 pixels apart.
 *
 * The way to the screen looks sines up in tables of a sixteenth of a degree, so it is the coarser one. Pixels between
 * it and the exact formula at 1920 x 1080, over two million directions on the screen for each field of view:
 *
 * | field of view (degrees) | 120 | 90 | 60 | 30 | 10 |  5 |   2 |   1 |
 * |-------------------------|----:|---:|---:|---:|---:|---:|----:|----:|
 * | mean                    |   2 |  3 |  3 |  6 | 14 | 27 |  65 | 119 |
 * | worst                   |   6 |  7 |  9 | 16 | 45 | 90 | 224 | 420 |
 *
 * In a narrow view what moves stands still, then jumps: at 2 degrees by 107 pixels. Where that shows, take
 * vela::overlay::view of <vela/overlay.hpp>, or compute the formula of smap_sphere_pt_to_screen_pt() in double. The way
 * back is exact to a Q10 degree in pan and in tilt.
 *
 * All angles are Q10 degrees (degrees x 1024; a full turn is 368640). Screen positions are pixels from the upper left
 * corner; positions off the screen are ordinary values. All records and arrays are the caller's: nothing is allocated
 * or kept. Points and polygons may be converted in place, the sphere points lying in the same memory as the screen
 * points. Any number of threads may call all of these at once, as long as none writes what another one uses.
 */
#ifndef VELA_SPHEREMAP_H
#define VELA_SPHEREMAP_H

#include <stdint.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup spheremap
 *  @{ */

/** A position on the sphere, in Q10 degrees. */
typedef struct smap_sphere_pt {
    int32_t pan;  /**< canonically 0 to 368639 */
    int32_t tilt; /**< canonically -92160 to 92160 */
} smap_sphere_pt;

/** A position on the screen, in pixels. */
typedef struct smap_screen_pt {
    int32_t x; /**< grows with pan */
    int32_t y; /**< grows as tilt falls */
} smap_screen_pt;

/**
 * A polygon on the sphere. As a destination, count is the room in pts on entry and the number of points on return. A
 * source's points are only read: those of a constant table may be named by a cast.
 */
typedef struct smap_sphere_poly {
    uint32_t count;      /**< number of points */
    smap_sphere_pt *pts; /**< the points, in the polygon's order */
} smap_sphere_poly;

/** A polygon on the screen; as a destination, like smap_sphere_poly. */
typedef struct smap_screen_poly {
    uint32_t count;      /**< number of points */
    smap_screen_pt *pts; /**< the points, in the polygon's order */
} smap_screen_poly;

/** What the camera shows. The pixel (width >> 1, height >> 1) shows the direction (pan, tilt). */
typedef struct smap_view {
    int32_t width;  /**< pixels, below 65536 */
    int32_t height; /**< pixels */
    int32_t pan;    /**< Q10 degrees */
    int32_t tilt;   /**< Q10 degrees */
    int32_t fov;    /**< Q10 degrees spanned by the width, up to 180 degrees; pixels are square */
} smap_view;

/**
 * Brings a direction into the position range: pan 0 to 368639, tilt -92160 to 92160. A tilt beyond a pole comes down on
 * the other side, with the pan turned by 180 degrees.
 *
 * @param pan   Q10 degrees, any value, changed in place
 * @param tilt  Q10 degrees, any value, changed in place
 */
void smap_clip_pan_tilt(int32_t *pan, int32_t *tilt);

/**
 * Brings a limit of the camera's travel into the bound range: pan 0 to 368639, tilt -184320 to 184320. Tilts beyond a
 * pole stay as they are.
 *
 * @param pan   Q10 degrees, any value, changed in place
 * @param tilt  Q10 degrees, any value, changed in place
 */
void smap_clip_pan_tilt_bounds(int32_t *pan, int32_t *tilt);

/**
 * Places a direction on the screen, in integer arithmetic.
 *
 * With D the pan of the point less that of the view, T the point's tilt and V the view's:
 * x = width / 2 + asin(cos T sin D) width / fov,
 * y = height / 2 - asin(sin T cos V - cos T cos D sin V) width / fov, with arcsines in the unit of fov.
 *
 * @param pt    the direction; any values
 * @param view  the view
 * @param out   receives the position; (-1234, -5678) if the direction is not in front of the view, that is, more than
 *              about 90 degrees from its centre. May be pt.
 * @return 1 if the direction is in front; 0 if not, or if the view's fov is 0, which leaves out as it was
 */
VELA_NODISCARD int8_t smap_sphere_pt_to_screen_pt(const smap_sphere_pt *pt, const smap_view *view, smap_screen_pt *out);

/**
 * Finds the direction that a screen position shows, in double precision.
 *
 * @param pt    the position; any values. More than 90 degrees from a middle line it is folded back: the picture has no
 *              meaning there.
 * @param view  the view; with a fov of 0 its own direction is found
 * @param out   receives the direction, in the position range. (0, 0), which may be a direction too, if the
 *              position shows none, as in the corners of a view of 180 degrees, where the squares of the sines of both
 *              offsets add up to more than 1, or if the view's width is 0. May be pt.
 */
void smap_screen_pt_to_sphere_pt(const smap_screen_pt *pt, const smap_view *view, smap_sphere_pt *out);

/**
 * Places the points of a polygon on the screen, each as smap_sphere_pt_to_screen_pt() does.
 *
 * A polygon that lies partly behind the view yields 0, with (-1234, -5678) for the points there, and its outline on the
 * screen is then not that of the part in front. Who draws only on 1 leaves that part out: split long sides, and leave
 * out what is behind.
 *
 * @param src   the directions, any number of them
 * @param view  the view
 * @param dst   receives the positions; may be src's array. Its count becomes src's, whatever the result, unless it was
 *              smaller.
 * @return 1 if every point is in front (or there is none); 0 if one is not, or if the view's fov is 0, which leaves the
 *         points as they were; 0 with nothing written, dst's count included, if dst has too little room
 */
int8_t smap_sphere_to_screen(const smap_sphere_poly *src, const smap_view *view, smap_screen_poly *dst);

/**
 * Finds the directions of a polygon's points, each as smap_screen_pt_to_sphere_pt() does.
 *
 * @param src   the positions, any number of them
 * @param view  the view
 * @param dst   receives the directions; may be src's array. Its count becomes src's.
 * @return 1; or 0, with nothing written, if dst has too little room
 */
int8_t smap_screen_to_sphere(const smap_screen_poly *src, const smap_view *view, smap_sphere_poly *dst);

/**
 * Whether a polygon's bounding box overlaps the screen. It may do so with nothing to see: where the polygon passes a
 * corner outside, and where (-1234, -5678) of a point behind the view spans the box. And a polygon partly behind may be
 * seen although the box is off the screen, since those points stand there for others.
 *
 * @param poly  the polygon; points behind the view count with the position they were given
 * @param view  the view, of which width and height count
 * @return 1 if it does, else 0; 0 for a polygon without points
 */
int8_t smap_polygon_on_screen(const smap_screen_poly *poly, const smap_view *view);

/** Prints an empty line, and for each point "i = %2d, x = %4d, y = %4d", to the standard output. */
void smap_print_screen_poly(const smap_screen_poly *poly);

/** Prints an empty line, and for each point "i = %2d, pan = %6.6f, tilt = %6.6f" in degrees, to the standard output. */
void smap_print_sphere_poly(const smap_sphere_poly *poly);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

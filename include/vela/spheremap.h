/**
 * @file
 * Projection of directions of a pan/tilt camera to the screen, and back.
 *
 * A direction is a point on the camera's sphere: pan around the vertical axis, tilt above the horizon. A view is what
 * the camera shows on a screen, given by its direction and its field of view. Points and polygons are projected from
 * the sphere to the screen in integer arithmetic, and back in double precision; both are bit-identical on all machines.
 *
 * The projection is equidistant along each axis, not rectilinear (pinhole): a direction's distance from the picture's
 * vertical middle line is its angle from the view's vertical central plane, and likewise for the horizontal one, with
 * width / fov pixels per degree everywhere. In a picture of 1920 x 1080 pixels the two projections differ by up to 114
 * pixels at a field of view of 90 degrees, 54 at 60 degrees, 14 at 30 and 2 at 10, most in the corners.
 *
 * The projection to the screen uses sine tables with steps of a sixteenth of a degree. Its error against the exact
 * formula, in pixels at 1920 x 1080, over two million directions on the screen for each field of view:
 *
 * | field of view (degrees) | 120 | 90 | 60 | 30 | 10 |  5 |   2 |   1 |
 * |-------------------------|----:|---:|---:|---:|---:|---:|----:|----:|
 * | mean                    |   2 |  3 |  3 |  6 | 14 | 27 |  65 | 119 |
 * | worst                   |   6 |  7 |  9 | 16 | 45 | 90 | 224 | 420 |
 *
 * In a narrow view a moving point advances in jumps: by 107 pixels at 2 degrees. If that matters, use
 * vela::overlay::view of <vela/overlay.hpp>, or compute the formula of smap_sphere_pt_to_screen_pt() in double
 * precision. The inverse is exact to a Q10 degree in pan and in tilt.
 *
 * All angles are Q10 degrees (degrees x 1024; a full turn is 368640). Screen positions are pixels from the upper left
 * corner; positions off the screen are ordinary values. All records and arrays belong to the caller: nothing is
 * allocated or kept. Points and polygons may be converted in place, with the sphere points in the same memory as the
 * screen points. Any number of threads may call these functions at once, as long as none writes what another uses.
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
 * A polygon on the sphere. As a destination, count is the capacity of pts on entry and the number of points on return.
 * A source's points are only read: those of a constant table may be passed with a cast.
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

/** What the camera shows. The direction (pan, tilt) is at the pixel (width >> 1, height >> 1). */
typedef struct smap_view {
    int32_t width;  /**< pixels, below 65536 */
    int32_t height; /**< pixels */
    int32_t pan;    /**< Q10 degrees */
    int32_t tilt;   /**< Q10 degrees */
    int32_t fov;    /**< Q10 degrees spanned by the width, up to 180 degrees; pixels are square */
} smap_view;

/**
 * Normalises a direction to the position range: pan 0 to 368639, tilt -92160 to 92160. A tilt beyond a pole becomes the
 * same direction on the other side, with the pan turned by 180 degrees.
 *
 * @param pan   Q10 degrees, any value, changed in place
 * @param tilt  Q10 degrees, any value, changed in place
 */
void smap_clip_pan_tilt(int32_t *pan, int32_t *tilt) VELA_NONNULL(1, 2);

/**
 * Normalises a limit of the camera's travel to the bound range: pan 0 to 368639, tilt -184320 to 184320. Tilts beyond a
 * pole are kept.
 *
 * @param pan   Q10 degrees, any value, changed in place
 * @param tilt  Q10 degrees, any value, changed in place
 */
void smap_clip_pan_tilt_bounds(int32_t *pan, int32_t *tilt) VELA_NONNULL(1, 2);

/**
 * Projects a direction to the screen, in integer arithmetic.
 *
 * With D the pan of the point minus that of the view, T the point's tilt and V the view's: x = width / 2 + asin(cos T
 * sin D) width / fov, y = height / 2 - asin(sin T cos V - cos T cos D sin V) width / fov, with arcsines in the unit of
 * fov.
 *
 * @param pt    the direction; any values
 * @param view  the view
 * @param out   receives the position; (-1234, -5678) if the direction is not in front of the view, that is, more than
 *              about 90 degrees from its centre. May be pt.
 * @return 1 if the direction is in front; 0 if not, or if the view's fov is 0, which leaves out unchanged
 */
VELA_NODISCARD int8_t smap_sphere_pt_to_screen_pt(const smap_sphere_pt *pt, const smap_view *view, smap_screen_pt *out)
    VELA_NONNULL(1, 2, 3);

/**
 * Finds the direction shown at a screen position (unprojects it), in double precision.
 *
 * @param pt    the position; any values. Positions more than 90 degrees from a middle line are outside the picture and
 *              are folded back.
 * @param view  the view; with a fov of 0 the result is the view's own direction
 * @param out   receives the direction, in the position range. (0, 0), which may be a direction too, if the
 *              position shows none, as in the corners of a view of 180 degrees, where the squares of the sines of both
 *              offsets add up to more than 1, or if the view's width is 0. May be pt.
 */
void smap_screen_pt_to_sphere_pt(const smap_screen_pt *pt, const smap_view *view, smap_sphere_pt *out)
    VELA_NONNULL(1, 2, 3);

/**
 * Projects the points of a polygon to the screen, each as by smap_sphere_pt_to_screen_pt().
 *
 * A polygon that is partly behind the camera gives 0, with (-1234, -5678) for the points there, so its outline on the
 * screen is not that of the part in front. To draw such a polygon, split its sides into short ones and skip those
 * behind.
 *
 * @param src   the directions, any number
 * @param view  the view
 * @param dst   receives the positions; may be src's array. Its count becomes src's with both results, unless it was
 *              smaller.
 * @return 1 if every point is in front (or there is none); 0 if one is not, or if the view's fov is 0, which leaves the
 *         points unchanged; 0 with nothing written, not even dst's count, if dst is too small
 */
VELA_NODISCARD int8_t smap_sphere_to_screen(const smap_sphere_poly *src, const smap_view *view, smap_screen_poly *dst)
    VELA_NONNULL(1, 2, 3);

/**
 * Finds the directions of a polygon's points, each as by smap_screen_pt_to_sphere_pt().
 *
 * @param src   the positions, any number
 * @param view  the view
 * @param dst   receives the directions; may be src's array. Its count becomes src's.
 * @return 1; or 0, with nothing written, if dst is too small
 */
VELA_NODISCARD int8_t smap_screen_to_sphere(const smap_screen_poly *src, const smap_view *view, smap_sphere_poly *dst)
    VELA_NONNULL(1, 2, 3);

/**
 * Whether a polygon's bounding box overlaps the screen. The box may overlap although the polygon does not: if it passes
 * a corner outside, or if the (-1234, -5678) of a point behind the camera extends the box. A polygon partly behind the
 * camera may be visible although its box is off the screen.
 *
 * @param poly  the polygon; points behind the camera count with the position (-1234, -5678)
 * @param view  the view; only width and height are used
 * @return 1 if it does, else 0; 0 for a polygon without points
 */
int8_t smap_polygon_on_screen(const smap_screen_poly *poly, const smap_view *view) VELA_NONNULL(1, 2);

/** Prints an empty line, and for each point "i = %2d, x = %4d, y = %4d", to the standard output. */
void smap_print_screen_poly(const smap_screen_poly *poly) VELA_NONNULL(1);

/** Prints an empty line, and for each point "i = %2d, pan = %6.6f, tilt = %6.6f" in degrees, to the standard output. */
void smap_print_sphere_poly(const smap_sphere_poly *poly) VELA_NONNULL(1);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

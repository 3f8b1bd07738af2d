/**
 * @file
 * Where a pan/tilt camera looks, and where that lies on the screen.
 *
 * A direction is a point on the camera's sphere: pan around the vertical axis, tilt above the horizon. A view is what
 * the camera shows on a screen when it looks at one direction with one field of view. Points and polygons are mapped
 * from the sphere to the screen in integer arithmetic, and back in double precision; both ways give the same bits on
 * every machine.
 *
 * All angles are Q10 degrees (degrees x 1024; a full turn is 368640). Screen positions are pixels from the upper left
 * corner; positions off the screen are ordinary values. All records and arrays are the caller's: nothing is allocated
 * or kept. Points and polygons may be converted in place, the sphere points lying in the same memory as the screen
 * points.
 */
#ifndef VELA_SPHEREMAP_H
#define VELA_SPHEREMAP_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

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

/** A polygon on the sphere. As a destination, count is the room in pts on entry and the number of points on return. */
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
    int32_t fov;    /**< Q10 degrees spanned by the width; pixels are square. With 0 nothing is projected. */
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
 * Each pixel offset from the centre is proportional to the angle by which the direction leaves the view's central
 * plane: x = width / 2 + asin(across) width / fov, y = height / 2 - asin(up) width / fov.
 *
 * @param pt    the direction; any values
 * @param view  the view
 * @param out   receives the position; (-1234, -5678) if the direction is not in front of the view, that is, more than
 * about 90 degrees from its centre. May be pt.
 * @return 1 if the direction is in front; 0 if not, or if the view's fov is 0, which leaves out as it was
 */
int8_t smap_sphere_pt_to_screen_pt(const smap_sphere_pt *pt, const smap_view *view, smap_screen_pt *out);

/**
 * Finds the direction that a screen position shows, in double precision.
 *
 * @param pt    the position; any values
 * @param view  the view
 * @param out   receives the direction, in the position range; (0, 0) if the position shows none, being too far off in a
 * wide view, or if the view's width is 0. May be pt.
 */
void smap_screen_pt_to_sphere_pt(const smap_screen_pt *pt, const smap_view *view, smap_sphere_pt *out);

/**
 * Places the points of a polygon on the screen, each as smap_sphere_pt_to_screen_pt() does.
 *
 * @param src   the directions
 * @param view  the view
 * @param dst   receives the positions; may be src's array
 * @return 1 if every point is in front (or there is none); 0 if one is not, or if the view's fov is 0, which leaves the
 *         points as they were; 0 with nothing written, dst's count included, if dst has too little room
 */
int8_t smap_sphere_to_screen(const smap_sphere_poly *src, const smap_view *view, smap_screen_poly *dst);

/**
 * Finds the directions of a polygon's points, each as smap_screen_pt_to_sphere_pt() does.
 *
 * @param src   the positions
 * @param view  the view
 * @param dst   receives the directions; may be src's array
 * @return 1; or 0, with nothing written, if dst has too little room
 */
int8_t smap_screen_to_sphere(const smap_screen_poly *src, const smap_view *view, smap_sphere_poly *dst);

/**
 * Whether a polygon's bounding box overlaps the screen.
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

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

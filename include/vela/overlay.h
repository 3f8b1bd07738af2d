/**
 * @file
 * Privacy masks on the pictures of a moving camera, for C and for whatever calls it. In the library `vela-overlay`.
 *
 *     vela_lens lens = vela_lens_of_fov(VELA_LENS_PINHOLE, 1920, 1080, 60);
 *     vela_orientation where = {30, -5, 0};
 *     vela_view *view = vela_view_make(1920, 1080, &where, &lens);
 *     vela_mask *door = vela_mask_make(corners, 4);
 *     if (!view || !door || vela_mask_hide(door, view, NULL, &frame, NULL) != 0)
 *         drop(frame);
 *     vela_view_free(view);
 *
 * A view is what a camera shows: an orientation and a lens. A mask is a polygon of directions; its edges are arcs of
 * great circles. It's made once and hidden in every picture. Each pixel that it touches is covered, and none whose
 * centre is 1.5 pixels off. <vela/overlay.hpp> explains the geometry.
 *
 * Angles are in degrees: pan around the vertical axis, tilt above the horizon, roll around the optical axis. Positions
 * are in pixels; the centre of the upper left pixel is (0, 0).
 *
 * Views and masks are the caller's from the function that makes them to the one that frees them. Threads may share
 * views; a mask is used by one thread at a time.
 */
#ifndef VELA_OVERLAY_H
#define VELA_OVERLAY_H

#include <vela/picture.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup overlay_c
 *  @{ */

/** Models of lenses. */
enum {
    VELA_LENS_AXES = 0,    /**< the lens of <vela/spheremap.h>: positions along each axis are proportional to angles */
    VELA_LENS_PINHOLE = 1, /**< OpenCV's pinhole model: straight lines stay straight, but for the distortion */
    VELA_LENS_FISHEYE = 2  /**< OpenCV's fisheye model */
};

/** A direction. */
typedef struct vela_direction {
    double pan;  /**< any number of turns */
    double tilt; /**< above the horizon; beyond a pole it comes down on the other side */
} vela_direction;

/** A position in a picture, in pixels. */
typedef struct vela_position {
    double x; /**< to the right */
    double y; /**< downward */
} vela_position;

/** A straight line in a picture. */
typedef struct vela_line {
    vela_position from; /**< one end */
    vela_position to;   /**< the other */
} vela_line;

/** Where a camera looks. */
typedef struct vela_orientation {
    double pan;  /**< any number of turns */
    double tilt; /**< -90 to 90 */
    double roll; /**< any number of turns; with 90 the upper edge shows what lies in the direction of growing pan */
} vela_orientation;

/** A lens, as OpenCV's calibration gives it. */
typedef struct vela_lens {
    int32_t model;        /**< VELA_LENS_AXES to VELA_LENS_FISHEYE */
    double fov;           /**< VELA_LENS_AXES alone: degrees that the width spans, above 0 and up to 180 */
    double fx;            /**< focal length across, in pixels; this and what follows for the other two */
    double fy;            /**< focal length down */
    double cx;            /**< column of the optical axis */
    double cy;            /**< row of the optical axis */
    double distortion[5]; /**< pinhole: k1, k2, p1, p2, k3; fisheye: k1, k2, k3, k4 */
} vela_lens;

/** What a camera shows. */
typedef struct vela_view vela_view;

/** A polygon of directions that hides what is inside. */
typedef struct vela_mask vela_mask;

/**
 * A lens of square pixels without distortion, its axis in the middle of the picture.
 *
 * @param model    VELA_LENS_AXES to VELA_LENS_FISHEYE
 * @param width    pixels
 * @param height   pixels
 * @param degrees  spanned by the width: above 0; up to 180, below 180 for a pinhole, up to 360 for a fisheye
 * @return the lens; one that vela_view_make() refuses, if something is out of range
 */
vela_lens vela_lens_of_fov(int32_t model, int32_t width, int32_t height, double degrees);

/** Releases a view; null is ignored. */
void vela_view_free(vela_view *view);

/** Releases a mask; null is ignored. */
void vela_mask_free(vela_mask *mask);

/**
 * Makes a view.
 *
 * @param width   pixels, 1 to 65535
 * @param height  pixels, 1 to 65535
 * @param where   where the camera looks; without roll for VELA_LENS_AXES
 * @param lens    its lens
 * @return the view; null for numbers out of range or not finite, a lens that sees less than a pixel, and when memory
 *         runs out
 */
VELA_NODISCARD vela_view *vela_view_make(int32_t width, int32_t height, const vela_orientation *where,
                                         const vela_lens *lens) VELA_RELEASED_BY(vela_view_free);

/**
 * Projects a direction.
 *
 * @param view  the view
 * @param from  the direction
 * @param to    receives its position, in the picture or beside it
 * @return 1; 0 with nothing written for a direction that the lens can't see
 */
VELA_NODISCARD int32_t vela_view_project(const vela_view *view, const vela_direction *from, vela_position *to);

/**
 * Unprojects a position.
 *
 * @param view  the view
 * @param from  the position, in the picture or beside it
 * @param to    receives the direction that it shows, pan from 0 to 360
 * @return 1; 0 with nothing written for a position that shows nothing
 */
VELA_NODISCARD int32_t vela_view_unproject(const vela_view *view, const vela_position *from, vela_direction *to);

/**
 * Projects a path: straight lines that are nowhere half a pixel from the great-circle arcs between its directions,
 * clipped at the rim of what the lens sees and at the border of the picture.
 *
 * @param view      the view
 * @param path      the directions
 * @param count     their number
 * @param out       receives the lines along the path; may be null for a capacity of 0
 * @param capacity  how many it can hold
 * @return the number of all lines, which may exceed the capacity; SIZE_MAX with nothing written for numbers that are
 *         not finite, for neighbours that are opposite to each other, and when memory runs out
 */
VELA_NODISCARD size_t vela_view_project_path(const vela_view *view, const vela_direction *path, size_t count,
                                             vela_line *out, size_t capacity);

/**
 * Unprojects a polygon, with as many corners as its straight sides need: the arcs between them are nowhere half a pixel
 * from the sides.
 *
 * @param view      the view
 * @param corners   the positions, in the picture or beside it; the last one is connected to the first
 * @param count     their number
 * @param out       receives the directions in the polygon's order; may be null for a capacity of 0
 * @param capacity  how many it can hold
 * @return the number of all directions, which may exceed the capacity; SIZE_MAX with nothing written where a position
 *         shows nothing, and when memory runs out
 */
VELA_NODISCARD size_t vela_view_unproject_polygon(const vela_view *view, const vela_position *corners, size_t count,
                                                  vela_direction *out, size_t capacity);

/**
 * Draws a picture that was taken in one view as another view sees it, interpolated between its pixels.
 *
 * @param from        the view of the picture
 * @param pixels      the picture, row after row: four bytes a pixel, in any order
 * @param count       their number
 * @param to          the view to draw
 * @param background  the pixel where the picture has nothing
 * @param out         receives the pixels of the view to draw; none of the picture's memory
 * @param capacity    how many it can hold
 * @return 0; 1 with nothing written where a view has more pixels than there are, and when memory runs out
 */
VELA_NODISCARD int32_t vela_view_warp(const vela_view *from, const uint32_t *pixels, size_t count, const vela_view *to,
                                      uint32_t background, uint32_t *out, size_t capacity);

/**
 * Makes a mask. Takes time proportional to the square of the number of corners.
 *
 * @param corners  the directions, in the order of the outline; the side with most of the sphere is outside
 * @param count    3 to 384
 * @return the mask; null for another number of different corners, numbers that are not finite, neighbours that are
 *         opposite to each other, and when memory runs out
 */
VELA_NODISCARD vela_mask *vela_mask_make(const vela_direction *corners, size_t count) VELA_RELEASED_BY(vela_mask_free);

/**
 * Whether a direction is inside a mask.
 *
 * @param mask  the mask
 * @param at    the direction
 * @return 1 or 0
 */
int32_t vela_mask_contains(const vela_mask *mask, const vela_direction *at);

/**
 * Finds the pixels that a mask covers: in one view, or at any moment of the motion from one to another.
 *
 * In that motion the orientation and the numbers of the lens change evenly, by the shorter way around. Between views of
 * different sizes or models there is none: the whole picture is covered.
 *
 * @param mask      the mask
 * @param from      the view, or the first one
 * @param to        the last one; null for one view
 * @param out       receives runs from top to bottom and from left to right; may be null for a capacity of 0
 * @param capacity  how many it can hold
 * @return the number of all runs, which may exceed the capacity
 */
size_t vela_mask_runs(vela_mask *mask, const vela_view *from, const vela_view *to, vela_run *out, size_t capacity);

/**
 * Finds the pixels that a mask may cover in one view, where the camera's orientation is known to within an angle:
 * those that see a direction within it of the mask.
 *
 * @param mask      the mask
 * @param view      the view
 * @param margin    degrees; 0 or less (or NaN) for none, all of the picture is covered from 90 on
 * @param out       receives runs, for vela_picture_hide(); as for vela_mask_runs()
 * @param capacity  how many it can hold
 * @return the number of all runs, which may exceed the capacity
 */
size_t vela_mask_runs_within(vela_mask *mask, const vela_view *view, double margin, vela_run *out, size_t capacity);

/**
 * Finds the pixels whose centre is inside a mask, in one view: for what is measured or marked there. To hide it takes
 * all that it touches, which vela_mask_runs() finds.
 *
 * @param mask      the mask
 * @param view      the view
 * @param out       receives runs; as for vela_mask_runs()
 * @param capacity  how many it can hold
 * @return the number of all runs, which may exceed the capacity
 */
size_t vela_mask_runs_by_centres(vela_mask *mask, const vela_view *view, vela_run *out, size_t capacity);

/**
 * Hides what a mask covers in a picture: in one view, or at any moment of the motion from one to another.
 *
 * @param mask     the mask
 * @param from     the view, or the first one; of the picture's size
 * @param to       the last one; null for one view
 * @param picture  the picture
 * @param cover    how, as for vela_picture_hide(); null for solid black
 * @return 0; 1 with nothing written where the picture isn't valid, a view has another size or the cover is out of range
 */
VELA_NODISCARD int32_t vela_mask_hide(vela_mask *mask, const vela_view *from, const vela_view *to,
                                      const vela_picture *picture, const vela_cover *cover);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

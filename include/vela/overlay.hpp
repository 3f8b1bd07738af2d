/**
 * @file
 * Masks, paths and warped pictures on the view of a moving camera, in double precision.
 *
 *     auto seen = vela::overlay::view::make(1920, 1080, {pan, tilt}, 60.0);
 *     auto door = vela::overlay::mask::make(corners); // directions, given once
 *     if (seen && door)
 *         door->draw(*seen, [&](int y, int begin, int end) { blacken(frame.row(y), begin, end); });
 *
 * A view is made by the camera's lens: the pinhole or fisheye model of OpenCV with its distortion, or, by a field of
 * view alone, the lens of <vela/spheremap.h>. In the latter each axis is equidistant: with u and v the components of a
 * direction to the right and upward, a direction is projected asin(u) to the right of the view's centre and asin(v)
 * above it, both at the same scale, up to 90 degrees from the centre. The boundary of what a lens sees is its rim.
 * Projection and unprojection are accurate to a twentieth of a pixel at any field of view. Pixel (x, y) is the square
 * of side 1 around the position (x, y). By another lens than the camera's, pixels stay open that should be hidden:
 * calibrate() finds it from far points that are seen while the camera turns, and a zoom table has one for each zoom
 * position.
 *
 * A mask is a polygon on the sphere, whose edges are the shorter great-circle arcs between its corners. The outside is
 * the region that holds most of the sphere, whichever way round the corners are given; in a self-intersecting polygon
 * every region with another winding number than that one is inside. The boundary that is drawn is the exact one where a
 * great circle crosses a scanline in closed form, by the lens of <vela/spheremap.h>, or is a straight line, by a
 * pinhole without distortion. By other lenses arcs are cut into chords; bounds of an arc's second derivative, not
 * samples, say how many: within a quarter of a pixel, or 1/256 where the centres of pixels decide. A mask drawn
 * between two views covers what it passes during the motion from one to the other, one with a margin what is within
 * that angle.
 *
 * Drawing a mask takes time proportional to the scanlines that it spans times the edges on each of them, beside one
 * pass over all corners.
 *
 * warp_picture() draws a picture that was taken in one view as another view sees it, so that what a camera showed last
 * follows the pointer until the next picture comes; for_each_warp_cell() does it for other sources and pixel formats.
 *
 * Drawing allocates nothing; mask::make(), the warps, zoom tables and calibration do. Nothing throws but a callback
 * of the caller's, and the latter two when memory runs out. Different masks may
 * be drawn by different threads; a mask draws in scratch memory of its own, so each mask by one thread at a time. Views
 * may be shared.
 */
#pragma once

#include <vela/overlay/calibration.hpp>
#include <vela/overlay/edge_list.hpp>
#include <vela/overlay/lens.hpp>
#include <vela/overlay/mask.hpp>
#include <vela/overlay/path.hpp>
#include <vela/overlay/polygon.hpp>
#include <vela/overlay/view.hpp>
#include <vela/overlay/warp.hpp>
#include <vela/overlay/zoom.hpp>

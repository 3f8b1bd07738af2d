/**
 * @file
 * Masks, paths and warped pictures on the view of a moving camera, in double precision.
 *
 *     auto seen = vela::overlay::view::make(1920, 1080, {pan, tilt}, 60.0);
 *     auto door = vela::overlay::mask::make(corners); // directions, given once
 *     if (seen && door)
 *         door->draw(*seen, [&](int y, int begin, int end) { blacken(frame.row(y), begin, end); });
 *
 * The projection is that of <vela/spheremap.h>, equidistant along each axis: with u and v the components of a direction
 * to the right and upward, a direction is projected asin(u) to the right of the view's centre and asin(v) above it,
 * both at the same scale. Pixel (x, y) is the square of side 1 around the position (x, y), whose direction
 * smap_screen_pt_to_sphere_pt() gives. Only directions at most 90 degrees from the view's centre can be projected: the
 * boundary of that hemisphere, the rim, is the diamond |x - cx| + |y - cy| = 90 degrees. Projection and unprojection
 * are accurate to a twentieth of a pixel at any field of view.
 *
 * A mask is a polygon on the sphere, whose edges are the shorter great-circle arcs between its corners. The outside is
 * the region that holds most of the sphere, whichever way round the corners are given; in a self-intersecting polygon
 * every region with another winding number than that one is inside. A great circle crosses a scanline in closed form:
 * edges are not subdivided, so the drawn boundary is the exact one.
 *
 * Drawing a mask takes time proportional to the scanlines that it spans times the edges on each of them, beside one
 * pass over all corners.
 *
 * warp_picture() draws a picture that was taken in one view as another view sees it, so that what a camera showed last
 * follows the pointer until the next picture comes; for_each_warp_cell() does it for other sources and pixel formats.
 *
 * mask::make() and the warps alone allocate memory. Nothing throws but a callback of the caller's. Different masks may
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

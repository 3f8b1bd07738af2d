/**
 * @file
 * The convex hull of points with 8-bit coordinates, in exact integer arithmetic.
 *
 * A hull is a closed polyhedron of triangles in three lists of records: vertices, edges and faces, hung from a
 * chull_ctx. Each list is circular and doubly linked: a traversal starts at the head and ends when it reaches the head
 * again; an empty list has a null head; new records are appended. The order of the lists, of a face's corners and of an
 * edge's ends is defined: the same points in the same order give the same records in the same order.
 *
 *     chull_ctx *hull;
 *     if (alloc_chull(&hull) == 0 && get_chull(red, green, blue, count, hull) == 0)
 *         inside = is_in_chull(hull, 10, 20, 30);
 *     ...
 *     free_chull(hull);   // releases the records
 *     free(hull);         // the hull record itself is the caller's
 *
 * get_chull() builds a hull or grows one, one point at a time. Its steps are exported for callers that run them one by
 * one. Every record is a block of its own from malloc(), released through free_chull() or the clean-up steps. Messages
 * go to the standard error stream.
 *
 * There is no state outside the records. Hulls are independent of each other; several threads may query one hull at
 * once (the functions that take a `const chull_ctx *`), but not while one of them builds, grows, writes or releases it.
 *
 * Points are three signed 32-bit coordinates x, y, z. All arithmetic wraps at 32 bits unless stated otherwise; with
 * coordinates in 0 to 255 it never does, and orientations are exact while coordinates differ by at most 710.
 */
#ifndef VELA_CHULL_H
#define VELA_CHULL_H

#include <stdint.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup chull
 *  @{ */

typedef struct chull_vertex chull_vertex;
typedef struct chull_edge chull_edge;
typedef struct chull_face chull_face;

/** One input point. Its `coord` may be passed wherever a function takes a point. */
struct chull_vertex {
    int32_t coord[3];   /**< x, y, z */
    int32_t vnum;       /**< index in the arrays of the get_chull() call that brought it; chull_to_file() renumbers */
    chull_edge *dup;    /**< during an insertion, the new edge from here to the point being added; else null */
    int32_t active;     /**< 1 during clean-up if an edge ends here; else 0 */
    int32_t mark;       /**< 0 until the construction has taken the point in, then 1 */
    chull_vertex *next; /**< the next in the list */
    chull_vertex *prev; /**< the one before */
};

/** An edge, shared by two faces. */
struct chull_edge {
    chull_face *adj[2];       /**< the faces on either side */
    chull_vertex *endpts[2];  /**< the ends */
    chull_face *pending_face; /**< during an insertion, the new face on this edge of the visible region; else null */
    int32_t del;              /**< 1 when the edge lies inside the visible region, until clean-up removes it */
    chull_edge *next;         /**< the next in the list */
    chull_edge *prev;         /**< the one before */
};

/** A triangle. */
struct chull_face {
    chull_edge *edges[3];  /**< the sides; see EdgeOrderOnFaces() for their order */
    chull_vertex *vert[3]; /**< the corners, counter-clockwise seen from outside */
    int32_t vis;           /**< 1 when visible from the point being added, until clean-up removes it */
    chull_face *next;      /**< the next in the list */
    chull_face *prev;      /**< the one before */
};

/** A hull: the heads of its lists, and two switches that the caller sets. */
typedef struct chull_ctx {
    chull_vertex *vertices; /**< null when empty. After a failed get_chull() its points are here too, with `mark` 0, but
                                 for the three of a starting triangle, and chull_num_vertices() counts those */
    chull_edge *edges;      /**< null when empty */
    chull_face *faces;      /**< null when empty */
    int32_t debug;          /**< non-zero: the construction prints its progress */
    int32_t check;          /**< non-zero: the construction runs Checks() after every insertion */
} chull_ctx;

/** @name Records */
/** @{ */

/**
 * Makes an empty hull, with `debug` and `check` off.
 *
 * @param out  receives the hull, to be released with free_chull() and then free(); null on failure
 * @return 0, or 1 when memory runs out (a message says so)
 */
VELA_NODISCARD int32_t alloc_chull(chull_ctx **out) VELA_NONNULL(1);

/**
 * Releases every record of a hull and leaves it empty, ready for get_chull(). The hull record itself stays, and so do
 * its switches: free() releases it.
 *
 * @param hull  the hull; null does nothing
 */
void free_chull(chull_ctx *hull);

/**
 * Appends a vertex with a null `dup` and `active` and `mark` 0; `coord` and `vnum` are for the caller to fill.
 *
 * @param hull  the hull
 * @return the vertex, or null when memory runs out (a message says so)
 */
chull_vertex *MakeNullVertex(chull_ctx *hull) VELA_NONNULL(1);

/**
 * Appends an edge with everything null and `del` 0.
 *
 * @param hull  the hull
 * @return the edge, or null when memory runs out (a message says so)
 */
chull_edge *MakeNullEdge(chull_ctx *hull) VELA_NONNULL(1);

/**
 * Appends a face with everything null and `vis` 0.
 *
 * @param hull  the hull
 * @return the face, or null when memory runs out (a message says so)
 */
chull_face *MakeNullFace(chull_ctx *hull) VELA_NONNULL(1);

/**
 * Counts the faces.
 *
 * @param hull  the hull, or null
 * @return their number, 0 for null
 */
uint32_t chull_num_faces(const chull_ctx *hull);

/**
 * Counts the edges.
 *
 * @param hull  the hull, or null
 * @return their number, 0 for null
 */
uint32_t chull_num_edges(const chull_ctx *hull);

/**
 * Counts the vertices that the construction has taken in (`mark` not 0).
 *
 * @param hull  the hull, or null
 * @return their number, 0 for null
 */
uint32_t chull_num_vertices(const chull_ctx *hull);

/** @} */
/** @name Predicates */
/** @{ */

/**
 * Whether three points lie on one line (or coincide).
 *
 * @param a  a point
 * @param b  another
 * @param c  the third
 * @return 1 or 0
 */
int32_t Collinear(const int32_t *a, const int32_t *b, const int32_t *c) VELA_NONNULL(1, 2, 3);

/**
 * Six times the signed volume of the tetrahedron of a face and a point.
 *
 * @param f  the face; its corners are used
 * @param p  the point
 * @return positive on the inner side of the face's plane, 0 in it, negative on the outer side: the point sees the face
 */
int32_t Volume(const chull_face *f, const int32_t *p) VELA_NONNULL(1, 2);

/** @} */
/** @name Construction */
/** @{ */

/**
 * Builds the hull of a set of points, or grows a finished hull by further points.
 *
 * Point i is (xs[i], ys[i], zs[i]). Points in the hull or on its surface are dropped; the others get `vnum` i. On an
 * empty hull the first three consecutive points that are not collinear make the starting triangle, and the first point
 * outside its plane is added first; the others follow in the order given from there, wrapping around to point 0.
 *
 * @param xs    the first coordinates, @p n of them
 * @param ys    the second
 * @param zs    the third
 * @param n     number of points
 * @param hull  an empty hull, or one that get_chull() finished
 * @return 0 on success. 1 on failure, which is one of:
 *         no three consecutive points that are not collinear, or no points at all ("DoubleTriangle: All points are
 *         Collinear!"); all points in one plane ("DoubleTriangle: All points coplanar!"); an error found by the `check`
 *         switch; no memory. A failed hull may only be counted, printed and emptied with free_chull().
 *
 * Without the switches `debug` and `check` the time grows with the number of points plus the number of changes to the
 * hull, not with their product, and points inside never become records. Fewer than 16 points that grow a hull are added
 * by the steps: each becomes a record, which is released if it turns out to be inside. The steps are also used if
 * memory for the faster method runs out.
 *
 * Records that stay on the hull keep their address, so pointers to them stay valid; the others are released. While a
 * hull grows, the fields `active`, `del` and `vis` of its records temporarily hold indices; they are 0 again when the
 * call returns.
 */
VELA_NODISCARD int32_t get_chull(const uint8_t *xs, const uint8_t *ys, const uint8_t *zs, int32_t n, chull_ctx *hull)
    VELA_NONNULL(5) VELA_READS(1, 4) VELA_READS(2, 4) VELA_READS(3, 4);

/**
 * Appends one vertex per point, numbered from 0. Nothing happens when @p n is below 1.
 *
 * @param hull  the hull
 * @param xs    the first coordinates, @p n of them
 * @param ys    the second
 * @param zs    the third
 * @param n     number of points
 * @return 0; 1 when memory runs out
 */
VELA_NODISCARD int32_t ReadVertices(chull_ctx *hull, const uint8_t *xs, const uint8_t *ys, const uint8_t *zs, int32_t n)
    VELA_NONNULL(1) VELA_READS(2, 5) VELA_READS(3, 5) VELA_READS(4, 5);

/**
 * Makes the starting triangle, both sides of it, of the first three consecutive vertices that are not collinear, and
 * moves the list's head to the first vertex outside its plane.
 *
 * @param hull  the hull, with vertices only
 * @return 0; 1 with a message when there are no such vertices (see get_chull()), or when memory runs out
 */
VELA_NODISCARD int32_t DoubleTriangle(chull_ctx *hull) VELA_NONNULL(1);

/**
 * Appends the face a, b, c.
 *
 * @param hull  the hull
 * @param a     the first corner
 * @param b     the second
 * @param c     the third
 * @param twin  null, to append three new edges too; or a face whose edges are used in reverse order and get these ends
 * @return the face, in adj[0] of its edges; null when memory runs out
 */
chull_face *MakeFace(chull_ctx *hull, chull_vertex *a, chull_vertex *b, chull_vertex *c, chull_face *twin)
    VELA_NONNULL(1, 2, 3, 4);

/**
 * Sets the corners of a new face, in the direction of the visible face that it replaces, and brings its edges in order.
 *
 * @param f  the new face, with its edges
 * @param e  the edge between the visible region and the rest
 * @param p  the point being added
 */
void MakeCcw(chull_face *f, chull_edge *e, chull_vertex *p) VELA_NONNULL(1, 2, 3);

/**
 * Appends the triangle from an edge of the visible region's border to a point, and the sides that are still missing.
 *
 * @param hull  the hull
 * @param e     the edge, one of whose faces is marked `vis`
 * @param p     the point
 * @return the face; null when memory runs out
 */
chull_face *MakeConeFace(chull_ctx *hull, chull_edge *e, chull_vertex *p) VELA_NONNULL(1, 2, 3);

/**
 * Adds one vertex: marks what it sees for removal and joins it to the border. CleanUp() must follow.
 *
 * @param hull  the hull
 * @param p     the vertex, in its list
 * @return 1 when the vertex lies outside the hull, 0 when it does not, -1 when memory runs out
 */
int32_t AddOne(chull_ctx *hull, chull_vertex *p) VELA_NONNULL(1, 2);

/**
 * Replaces visible faces by the pending ones and releases the edges marked `del`.
 *
 * @param hull  the hull
 */
void CleanEdges(chull_ctx *hull) VELA_NONNULL(1);

/**
 * Releases the faces marked `vis`.
 *
 * @param hull  the hull
 */
void CleanFaces(chull_ctx *hull) VELA_NONNULL(1);

/**
 * Releases the processed vertices (`mark` 1) on which no edge ends, and resets `dup` and `active` of the others.
 *
 * @param hull    the hull
 * @param cursor  the caller's position in the vertex list: moved to the next vertex when its vertex is released, null
 *                when none is left
 */
void CleanVertices(chull_ctx *hull, chull_vertex **cursor) VELA_NONNULL(1, 2);

/**
 * CleanEdges(), CleanFaces() and CleanVertices().
 *
 * @param hull    the hull
 * @param cursor  as for CleanVertices()
 */
void CleanUp(chull_ctx *hull, chull_vertex **cursor) VELA_NONNULL(1, 2);

/**
 * Adds every vertex with `mark` 0, from the head on.
 *
 * @param hull  the hull
 * @return 0; 1 when the `check` switch found an error or memory ran out
 */
VELA_NODISCARD int32_t ConstructHull(chull_ctx *hull) VELA_NONNULL(1);

/**
 * Sorts each face's edges in the order of its corners: edges[i] joins vert[i] and vert[(i + 1) mod 3]. In a finished
 * hull only one face, made of the starting triangle, may be in another order.
 *
 * @param hull  the hull
 * @return 0
 */
int32_t EdgeOrderOnFaces(chull_ctx *hull) VELA_NONNULL(1);

/** @} */
/** @name Queries */
/** @{ */

/**
 * The scalar product of two points.
 *
 * @param u  a point
 * @param v  another
 * @return u.x v.x + u.y v.y + u.z v.z
 */
int32_t dot(const int32_t *u, const int32_t *v) VELA_NONNULL(1, 2);

/**
 * Squared distance from a point to a face's triangle.
 *
 * The nearest point of the triangle is found by Voronoi regions in Q9 barycentric coordinates and rounded to integer
 * coordinates, so the result may differ slightly from the exact one. In the region beyond the first corner, where both
 * coordinates are negative, the nearest point is searched on the side from corner 0 to corner 2 only.
 *
 * @param f  a face that is not degenerate
 * @param p  the point, at most 5000 outside the range 0 to 255; beyond that the arithmetic may wrap
 * @return the squared distance
 */
uint32_t pt_to_tri_dist_sq(const chull_face *f, const int32_t *p) VELA_NONNULL(1, 2);

/**
 * The smallest and largest squared distance from a point, inside or outside, to the hull's faces.
 *
 * @param hull     the hull
 * @param x        the point's first coordinate; see pt_to_tri_dist_sq() for their range
 * @param y        the second
 * @param z        the third
 * @param min_out  receives the smallest
 * @param max_out  receives the largest
 * @return 0; 1 with a message when the hull is null or has no faces, with nothing written
 */
int32_t dist_to_chull(const chull_ctx *hull, int32_t x, int32_t y, int32_t z, uint32_t *min_out, uint32_t *max_out)
    VELA_NONNULL(5, 6);

/**
 * Whether a point lies in the hull or on its surface. Takes time proportional to the number of faces;
 * vela::hull::membership() in C++ tests the pixels of a picture hundreds of times as fast.
 *
 * @param hull  the hull, or null
 * @param x     the point's first coordinate; orientations wrap if it differs by more than 710 from those of the hull
 * @param y     the second
 * @param z     the third
 * @return 1 or 0; 0 for null and for a hull without faces
 */
int32_t is_in_chull(const chull_ctx *hull, int32_t x, int32_t y, int32_t z);

/**
 * Six times the volume.
 *
 * @param hull  the hull, or null
 * @return six times its volume, at most 99488250; 0 for null and for a hull without faces
 */
int32_t chull_volume6(const chull_ctx *hull);

/** @} */
/** @name Checks, listings, files */
/** @{ */

/**
 * Runs Consistency(), Convexity(), CheckEuler() and CheckEndpts(), and stops at the first that fails.
 *
 * @param hull  the hull
 * @return 1 if one of them failed, else 0
 */
int32_t Checks(const chull_ctx *hull) VELA_NONNULL(1);

/**
 * Whether the two faces of every edge run along it in opposite directions.
 *
 * @param hull  the hull
 * @return 0; 1 with a message if those of an edge don't
 */
int32_t Consistency(const chull_ctx *hull) VELA_NONNULL(1);

/**
 * Whether no processed vertex (`mark` 1) lies outside a face.
 *
 * @param hull  the hull
 * @return 0; 1, without a message, if a vertex lies outside a face
 */
int32_t Convexity(const chull_ctx *hull) VELA_NONNULL(1);

/**
 * Whether V - E + F = 2 and F = 2V - 4.
 *
 * @param V  number of vertices
 * @param E  number of edges
 * @param F  number of faces
 * @return 0; 1 with a message if an equation does not hold
 */
int32_t CheckEuler(int32_t V, int32_t E, int32_t F);

/**
 * Whether every face's vert[i] is an end of its edges[i].
 *
 * @param hull  the hull
 * @return 0; 1 with a message for each that is not
 */
int32_t CheckEndpts(const chull_ctx *hull) VELA_NONNULL(1);

/**
 * Lists the hull on the standard error stream.
 *
 * @param hull  the hull
 * @param v     the vertex whose number and address head the list
 */
void PrintOut(const chull_ctx *hull, const chull_vertex *v) VELA_NONNULL(1, 2);

/**
 * Lists the vertices on the standard error stream.
 *
 * @param hull  the hull
 */
void PrintVertices(const chull_ctx *hull) VELA_NONNULL(1);

/**
 * Lists the edges on the standard error stream.
 *
 * @param hull  the hull
 */
void PrintEdges(const chull_ctx *hull) VELA_NONNULL(1);

/**
 * Lists the faces on the standard error stream.
 *
 * @param hull  the hull
 */
void PrintFaces(const chull_ctx *hull) VELA_NONNULL(1);

/**
 * Prints a point's coordinates on the standard output.
 *
 * @param p  the point
 */
void PrintPoint(const int32_t *p) VELA_NONNULL(1);

/**
 * Writes a finished hull as an OFF polyhedron file: vertices and faces in list order, corners counter-clockwise seen
 * from outside. Each vertex's `vnum` becomes its number in the file.
 *
 * @param hull  the hull; it must not be empty. A hull that fails CheckEuler() is written nevertheless
 * @param path  the file, created or truncated
 * @return 0; 1 when the file can't be opened. A full disk, which leaves the file incomplete, is not reported
 */
VELA_NODISCARD int32_t chull_to_file(chull_ctx *hull, const char *path) VELA_NONNULL(1, 2);

/** @} */

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif

// The steps of the hull's construction, one point at a time.
#include "common/diagnostics.hpp"
#include "records.hpp"
#include "rules.hpp"
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <iterator>
#include <utility>
#include <vela/chull.h>

using namespace vela::detail;

namespace {

// What AddOne() returns.
constexpr int32_t kInside = 0;
constexpr int32_t kOutside = 1;
constexpr int32_t kOutOfMemory = -1;

void set_ends(chull_edge &edge, chull_vertex *a, chull_vertex *b) {
    edge.endpts[0] = a;
    edge.endpts[1] = b;
}

bool joins(const chull_edge &edge, const chull_vertex *a, const chull_vertex *b) {
    return (edge.endpts[0] == a && edge.endpts[1] == b) || (edge.endpts[0] == b && edge.endpts[1] == a);
}

bool is_visible(const chull_face *face) { return face && face->vis; }

// Three new edges at the end of the list, or none at all.
bool append_edges(chull_ctx *hull, chull_edge *(&edges)[3]) {
    for (chull_edge **edge = edges; edge != std::end(edges); ++edge) {
        *edge = MakeNullEdge(hull);
        if (!*edge) {
            std::for_each(edges, edge, [hull](chull_edge *made) { release(hull->edges, made); });
            return false;
        }
    }
    return true;
}

// The list of vertices, for find_triangle() and find_apex().
struct vertex_circle {
    static chull_vertex *following(const chull_vertex *vertex) { return vertex->next; }
    static vector3 point_of(const chull_vertex *vertex) { return vector_of(vertex->coord); }
};

// Marks the faces that the point sees and says whether there are any.
bool mark_visible(chull_ctx *hull, const chull_vertex *p) {
    bool any = false;
    for (chull_face &face : ring(hull->faces)) {
        const int32_t volume = Volume(&face, p->coord);
        if (hull->debug)
            std::fprintf(stderr, "faddr: %6" PRIxPTR "   paddr: %6" PRIxPTR "   Vol = %d\n", address(&face), address(p),
                         volume);
        if (volume < 0) {
            face.vis = 1;
            any = true;
        }
    }
    return any;
}

// The edge from an end of a horizon edge to the new point, made unless a neighbouring cone face has done so.
chull_edge *cone_side(chull_ctx *hull, chull_vertex *end, chull_vertex *p) {
    if (!end->dup) {
        end->dup = MakeNullEdge(hull);
        if (end->dup)
            set_ends(*end->dup, end, p);
    }
    return end->dup;
}

// One iteration of ConstructHull(): adds a vertex, cleans up, and reports according to the switches.
int32_t take_in(chull_ctx *hull, chull_vertex *vertex, chull_vertex **cursor) {
    const int32_t vertex_number = vertex->vnum;
    const uintptr_t vertex_address = address(vertex);
    vertex->mark = 1;
    if (AddOne(hull, vertex) == kOutOfMemory)
        return kFailure;
    CleanUp(hull, cursor);
    if (hull->check) {
        report("ConstructHull", "After Add of %d & Cleanup:\n", vertex_number);
        if (Checks(hull))
            return kFailure;
    }
    if (hull->debug)
        print_hull(hull, vertex_number, vertex_address);
    return kSuccess;
}

// Whether a face's edges[side] joins the corners that it should.
bool is_in_order(const chull_face &face, int side) {
    return joins(*face.edges[side], face.vert[side], face.vert[(side + 1) % 3]);
}

// Moves every edge that joins the corners of a side to that side's index.
void search_side(const chull_ctx *hull, chull_face &face, int side) {
    for (int j = 0; j < 3; ++j) {
        if (!joins(*face.edges[j], face.vert[side], face.vert[(side + 1) % 3]))
            continue;
        if (hull->debug)
            std::fprintf(stderr, "Making a swap in EdgeOrderOnFaces: F(%d,%d,%d): e[%d] and e[%d]\n",
                         face.vert[0]->vnum, face.vert[1]->vnum, face.vert[2]->vnum, side, j);
        std::swap(face.edges[side], face.edges[j]);
    }
}

} // namespace

int32_t ReadVertices(chull_ctx *hull, const uint8_t *xs, const uint8_t *ys, const uint8_t *zs, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        chull_vertex *vertex = MakeNullVertex(hull);
        if (!vertex)
            return kFailure;
        vertex->coord[0] = xs[i];
        vertex->coord[1] = ys[i];
        vertex->coord[2] = zs[i];
        vertex->vnum = i;
    }
    return kSuccess;
}

int32_t DoubleTriangle(chull_ctx *hull) {
    chull_vertex *corners[3];
    if (!hull->vertices || !find_triangle(vertex_circle(), hull->vertices, corners)) {
        report(__func__, "All points are Collinear!\n");
        return kFailure;
    }
    const auto [c0, c1, c2] = corners;
    c0->mark = c1->mark = c2->mark = 1;

    // Both sides of the triangle share its edges.
    chull_face *front = MakeFace(hull, c0, c1, c2, nullptr);
    chull_face *back = front ? MakeFace(hull, c2, c1, c0, front) : nullptr;
    if (!back)
        return kFailure;
    for (chull_edge *edge : front->edges)
        edge->adj[1] = back;
    for (chull_edge *edge : back->edges)
        edge->adj[1] = front;

    chull_vertex *c3;
    if (!find_apex(vertex_circle(), corners, c3)) {
        report(__func__, "All points coplanar!\n");
        return kFailure;
    }
    hull->vertices = c3;
    if (hull->debug) {
        report(__func__, "finished. Head repositioned at v3.\n");
        PrintOut(hull, hull->vertices);
    }
    return kSuccess;
}

chull_face *MakeFace(chull_ctx *hull, chull_vertex *a, chull_vertex *b, chull_vertex *c, chull_face *twin) {
    chull_edge *edges[3];
    if (twin)
        std::reverse_copy(std::begin(twin->edges), std::end(twin->edges), edges);
    else if (!append_edges(hull, edges))
        return nullptr;
    set_ends(*edges[0], a, b);
    set_ends(*edges[1], b, c);
    set_ends(*edges[2], c, a);

    chull_face *face = MakeNullFace(hull);
    if (!face)
        return nullptr;
    std::copy(std::begin(edges), std::end(edges), face->edges);
    face->vert[0] = a;
    face->vert[1] = b;
    face->vert[2] = c;
    for (chull_edge *edge : edges)
        edge->adj[0] = face;
    return face;
}

void MakeCcw(chull_face *f, chull_edge *e, chull_vertex *p) {
    const chull_face *replaced = e->adj[is_visible(e->adj[0]) ? 0 : 1];
    const auto *start = std::find(replaced->vert, replaced->vert + 2, e->endpts[0]);
    const bool reversed = replaced->vert[(start - replaced->vert + 1) % 3] != e->endpts[1];
    const auto made = cone_face_on(f->edges[0], e->endpts, {f->edges[1], f->edges[2]}, p, reversed);
    std::copy_n(made.corners, 3, f->vert);
    std::copy_n(made.edges, 3, f->edges);
}

chull_face *MakeConeFace(chull_ctx *hull, chull_edge *e, chull_vertex *p) {
    chull_edge *sides[2];
    for (int end = 0; end < 2; ++end) {
        sides[end] = cone_side(hull, e->endpts[end], p);
        if (!sides[end])
            return nullptr;
    }
    chull_face *face = MakeNullFace(hull);
    if (!face)
        return nullptr;
    face->edges[0] = e;
    face->edges[1] = sides[0];
    face->edges[2] = sides[1];
    MakeCcw(face, e, p);
    for (chull_edge *side : sides)
        fill_free_slot<chull_face *>(side->adj, face, nullptr);
    return face;
}

int32_t AddOne(chull_ctx *hull, chull_vertex *p) {
    if (hull->debug) {
        std::fprintf(stderr, "AddOne: starting to add v%d.\n", p->vnum);
        PrintOut(hull, hull->vertices);
    }
    if (!mark_visible(hull, p)) {
        p->active = 0;
        return kInside;
    }
    // The loop also reaches the new edges, at its end, and leaves them unchanged: they have no visible face.
    for (chull_edge &edge : ring(hull->edges)) {
        const bool first = is_visible(edge.adj[0]), second = is_visible(edge.adj[1]);
        if (first && second) {
            edge.del = 1;
        } else if (first || second) {
            edge.pending_face = MakeConeFace(hull, &edge, p);
            if (!edge.pending_face)
                return kOutOfMemory;
        }
    }
    return kOutside;
}

void CleanEdges(chull_ctx *hull) {
    for (chull_edge &edge : ring(hull->edges)) {
        if (edge.pending_face) {
            edge.adj[is_visible(edge.adj[0]) ? 0 : 1] = edge.pending_face;
            edge.pending_face = nullptr;
        }
    }
    sweep(hull->edges, [](const chull_edge &edge) { return edge.del != 0; });
}

void CleanFaces(chull_ctx *hull) {
    sweep(hull->faces, [](const chull_face &face) { return face.vis != 0; });
}

void CleanVertices(chull_ctx *hull, chull_vertex **cursor) {
    for (chull_edge &edge : ring(hull->edges))
        edge.endpts[0]->active = edge.endpts[1]->active = 1;
    sweep(
        hull->vertices, [](const chull_vertex &vertex) { return vertex.mark && !vertex.active; },
        [cursor](chull_vertex *vertex) {
            if (*cursor == vertex)
                *cursor = vertex->next == vertex ? nullptr : vertex->next;
        });
    for (chull_vertex &vertex : ring(hull->vertices)) {
        vertex.dup = nullptr;
        vertex.active = 0;
    }
}

void CleanUp(chull_ctx *hull, chull_vertex **cursor) {
    CleanEdges(hull);
    CleanFaces(hull);
    CleanVertices(hull, cursor);
}

int32_t ConstructHull(chull_ctx *hull) {
    chull_vertex *vertex = hull->vertices;
    if (!vertex)
        return kSuccess;
    do {
        chull_vertex *cursor = vertex->next;
        if (!vertex->mark && take_in(hull, vertex, &cursor) != kSuccess)
            return kFailure;
        vertex = cursor;
    } while (vertex != hull->vertices);
    return kSuccess;
}

int32_t EdgeOrderOnFaces(chull_ctx *hull) {
    for (chull_face &face : ring(hull->faces))
        for (int side = 0; side < 3; ++side)
            if (!is_in_order(face, side))
                search_side(hull, face, side);
    return 0;
}

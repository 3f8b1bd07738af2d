#include "detail/chull_fast.hpp"
#include "detail/diagnostics.hpp"
#include "detail/memory.hpp"
#include "detail/ring.hpp"
#include "detail/simd.hpp"
#include "detail/vector3.hpp"
#include <algorithm>
#include <cinttypes>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <type_traits>
#include <utility>
#include <vela/chull.h>

using namespace vela::detail;

namespace {

constexpr int32_t kSuccess = 0;
constexpr int32_t kFailure = 1;

// ---- Records

// A cleared record at the end of its list, or null after a report; the line number tells the reports apart.
template <class Record>
Record *append_new(Record *&head, const char *function, int line) {
    auto *record = static_cast<Record *>(std::malloc(sizeof(Record)));
    if (!record) {
        report(function, "line %d, Out of Memory!\n", line);
        return nullptr;
    }
    *record = {};
    append(head, record);
    return record;
}

template <class Record>
void release_all(Record *&head) {
    while (head)
        release(head, head);
}

template <class Record>
uint32_t length(Record *head) {
    uint32_t count = 0;
    for ([[maybe_unused]] const Record &record : ring(head))
        ++count;
    return count;
}

} // namespace

int32_t alloc_chull(chull_ctx **out) {
    *out = static_cast<chull_ctx *>(std::calloc(1, sizeof(chull_ctx)));
    if (*out)
        return kSuccess;
    report(__func__, "line %d, Out of Memory!\n", 202);
    return kFailure;
}

void free_chull(chull_ctx *hull) {
    release_all(hull->edges);
    release_all(hull->faces);
    release_all(hull->vertices);
}

chull_vertex *MakeNullVertex(chull_ctx *hull) { return append_new(hull->vertices, __func__, 609); }

chull_edge *MakeNullEdge(chull_ctx *hull) { return append_new(hull->edges, __func__, 1000); }

chull_face *MakeNullFace(chull_ctx *hull) { return append_new(hull->faces, __func__, 1018); }

uint32_t chull_num_faces(const chull_ctx *hull) { return hull ? length(hull->faces) : 0; }

uint32_t chull_num_edges(const chull_ctx *hull) { return hull ? length(hull->edges) : 0; }

uint32_t chull_num_vertices(const chull_ctx *hull) {
    uint32_t count = 0;
    for (const chull_vertex &vertex : ring(hull ? hull->vertices : nullptr))
        count += vertex.mark != 0;
    return count;
}

// ---- Predicates

int32_t Collinear(const int32_t *a, const int32_t *b, const int32_t *c) {
    const vector3 normal = cross(load(b) - load(a), load(c) - load(a));
    return !(normal.x | normal.y | normal.z);
}

int32_t Volume(const chull_face *f, const int32_t *p) {
    const vector3 a = load(f->vert[0]->coord) - load(p);
    const vector3 b = load(f->vert[1]->coord) - load(p);
    const vector3 c = load(f->vert[2]->coord) - load(p);
    return as_signed(inner(a, cross(b, c)));
}

// ---- Construction

namespace {

// What AddOne() returns.
constexpr int32_t kInside = 0;
constexpr int32_t kOutside = 1;
constexpr int32_t kOutOfMemory = -1;

// Growing a hull the fast way begins and ends with a walk over all of it, which a few points don't repay.
constexpr int32_t kManyPoints = 16;

uintptr_t address(const void *record) { return reinterpret_cast<uintptr_t>(record); }

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

// The first vertex from the head on that is not in line with the two behind it, or null.
chull_vertex *first_out_of_line(const chull_ctx &hull) {
    for (chull_vertex &vertex : ring(hull.vertices))
        if (!Collinear(vertex.coord, vertex.next->coord, vertex.next->next->coord))
            return &vertex;
    return nullptr;
}

// The first vertex behind a triangle's last corner that is not in its plane, or null.
chull_vertex *first_out_of_plane(const chull_face &triangle) {
    chull_vertex *vertex = triangle.vert[2]->next;
    while (vertex != triangle.vert[0] && Volume(&triangle, vertex->coord) == 0)
        vertex = vertex->next;
    return vertex == triangle.vert[0] ? nullptr : vertex;
}

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

void fill_free_side(chull_edge &edge, chull_face *face) {
    if (!edge.adj[0])
        edge.adj[0] = face;
    else if (!edge.adj[1])
        edge.adj[1] = face;
}

// The vertex may be gone when its number and address are printed.
void print_hull(const chull_ctx *hull, int32_t vertex_number, uintptr_t vertex_address) {
    std::fprintf(stderr, "\nHead vertex %d = %6" PRIxPTR " :\n", vertex_number, vertex_address);
    PrintVertices(hull);
    PrintEdges(hull);
    PrintFaces(hull);
}

// One turn of ConstructHull(): takes a vertex in, cleans up and reports as the switches ask.
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

// Puts every edge that joins the corners of a side in that side's place.
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

int32_t get_chull(const uint8_t *xs, const uint8_t *ys, const uint8_t *zs, int32_t n, chull_ctx *hull) {
    const bool was_empty = !hull->vertices && !hull->edges && !hull->faces;
    if (n >= (was_empty ? 1 : kManyPoints) && !hull->debug && !hull->check) {
        const point_cloud cloud = {xs, ys, zs, static_cast<uint32_t>(n)};
        const outcome result = was_empty ? build_chull(*hull, cloud) : grow_chull(*hull, cloud);
        if (result != outcome::not_for_us)
            return result == outcome::finished ? kSuccess : kFailure;
    }
    if (ReadVertices(hull, xs, ys, zs, n) != kSuccess)
        return kFailure;
    if (was_empty && DoubleTriangle(hull) != kSuccess)
        return kFailure;
    return ConstructHull(hull);
}

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
    chull_vertex *c0 = first_out_of_line(*hull);
    if (!c0) {
        report(__func__, "All points are Collinear!\n");
        return kFailure;
    }
    chull_vertex *c1 = c0->next, *c2 = c1->next;
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

    chull_vertex *c3 = first_out_of_plane(*front);
    if (!c3) {
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
    const bool forward = replaced->vert[(start - replaced->vert + 1) % 3] == e->endpts[1];
    f->vert[0] = e->endpts[forward ? 0 : 1];
    f->vert[1] = e->endpts[forward ? 1 : 0];
    f->vert[2] = p;
    if (forward)
        std::swap(f->edges[1], f->edges[2]);
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
        fill_free_side(*side, face);
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
    // The walk reaches the new edges at its end and leaves them alone: they have no visible face.
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

// ---- Queries

namespace {

// A quotient that drops the remainder, for every divisor: degenerate faces divide by 0.
template <class Integer>
Integer quotient(Integer numerator, Integer denominator) {
    if (denominator == 0)
        return 0;
    // The one quotient that doesn't fit wraps.
    if (denominator == -1)
        return static_cast<Integer>(0 - static_cast<std::make_unsigned_t<Integer>>(numerator));
    return numerator / denominator;
}

int32_t q9_quotient(uint32_t numerator, uint32_t denominator) {
    return quotient(as_signed(512 * numerator), as_signed(denominator));
}

int32_t q9_quotient(int64_t numerator, int64_t denominator) {
    const auto scaled = static_cast<int64_t>(512 * static_cast<uint64_t>(numerator));
    return static_cast<int32_t>(quotient(scaled, denominator));
}

// a b - c d in 64 bits.
int64_t difference_of_products(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    const auto wide = [](uint32_t value) { return static_cast<uint64_t>(int64_t{as_signed(value)}); };
    return static_cast<int64_t>(wide(a) * wide(b) - wide(c) * wide(d));
}

// A point of a triangle in fractions of the sides from corner 0 to corners 1 and 2, 512 standing for 1.
struct fractions {
    int32_t s, t;
};

// The squared distance from p to the triangle's points is a quadratic form of the fractions s and t:
// a s^2 + 2 b s t + c t^2 + 2 d s + 2 e t + constant.
struct distance_form {
    uint32_t a, b, c, d, e;

    // The least value on each of the triangle's sides.
    fractions on_side_s0() const { return {0, q9_quotient(0 - e, c)}; }
    fractions on_side_t0() const { return {q9_quotient(0 - d, a), 0}; }
    fractions on_side_st1() const {
        const uint32_t numerator = c + e - b - d, denominator = a - 2 * b + c;
        if (as_signed(numerator) >= as_signed(denominator))
            return {512, 0};
        const int32_t s = q9_quotient(numerator, denominator);
        return {s, as_signed(512 - static_cast<uint32_t>(s))};
    }

    fractions nearest() const;
};

fractions distance_form::nearest() const {
    const int64_t s = difference_of_products(b, e, c, d);
    const int64_t t = difference_of_products(b, d, a, e);
    const int64_t det = difference_of_products(a, c, b, b);
    const auto sum = static_cast<int64_t>(static_cast<uint64_t>(s) + static_cast<uint64_t>(t));
    if (sum <= det) {
        if (s < 0)
            return on_side_s0();
        if (t < 0)
            return on_side_t0();
        return {q9_quotient(s, det), q9_quotient(t, det)};
    }
    if (s < 0)
        return as_signed(b + d) >= as_signed(c + e) ? on_side_s0() : on_side_st1();
    if (t < 0)
        return as_signed(b + e) >= as_signed(a + d) ? on_side_t0() : on_side_st1();
    return as_signed(c + e - b - d) <= 0 ? fractions{0, 512} : on_side_st1();
}

uint32_t clamped(int32_t fraction) { return static_cast<uint32_t>(std::clamp(fraction, 0, 512)); }

// From Q9 to the nearest integer, halves upward.
uint32_t rounded(uint32_t value) { return static_cast<uint32_t>(as_signed(value + 256) >> 9); }

#ifdef VELA_AVX2

// x, y, z and a lane that comes to nothing.
using lanes [[gnu::vector_size(16)]] = uint32_t;

[[gnu::always_inline]] inline lanes coordinates(const chull_vertex *vertex) {
    static_assert(offsetof(chull_vertex, coord) == 0 && sizeof(chull_vertex) >= sizeof(lanes));
    lanes all;
    std::memcpy(&all, vertex, sizeof all);
    return all;
}

[[gnu::always_inline]] inline lanes yzx(lanes v) { return __builtin_shufflevector(v, v, 1, 2, 0, 3); }

// Volume() with a corner's three coordinates, and its number in lane 3, in one register:
//
//     b * c.yzx - b.yzx * c    is the cross product in the order z, x, y; lane 3 becomes 0
//     times a.zxy              gives the terms of the determinant
VELA_WIDE bool sees_a_face_wide(const chull_face *head, const int32_t *point) {
    const lanes p = {static_cast<uint32_t>(point[0]), static_cast<uint32_t>(point[1]), static_cast<uint32_t>(point[2])};
    const chull_face *face = head;
    do {
        const lanes a = coordinates(face->vert[0]) - p, b = coordinates(face->vert[1]) - p,
                    c = coordinates(face->vert[2]) - p;
        lanes terms = (b * yzx(c) - yzx(b) * c) * __builtin_shufflevector(a, a, 2, 0, 1, 3);
        terms += __builtin_shufflevector(terms, terms, 2, 3, 0, 1);
        if (as_signed(terms[0] + terms[1]) < 0)
            return true;
        face = face->next;
    } while (face != head);
    return false;
}

#endif

} // namespace

int32_t dot(const int32_t *u, const int32_t *v) { return as_signed(inner(load(u), load(v))); }

uint32_t pt_to_tri_dist_sq(const chull_face *f, const int32_t *p) {
    const vector3 corner = load(f->vert[0]->coord), point = load(p);
    const vector3 side0 = load(f->vert[1]->coord) - corner;
    const vector3 side1 = load(f->vert[2]->coord) - corner;
    const vector3 offset = corner - point;
    const distance_form form = {inner(side0, side0), inner(side0, side1), inner(side1, side1), inner(side0, offset),
                                inner(side1, offset)};
    const fractions nearest = form.nearest();
    const vector3 scaled = clamped(nearest.s) * side0 + 512 * corner + clamped(nearest.t) * side1;
    const vector3 distance = vector3{rounded(scaled.x), rounded(scaled.y), rounded(scaled.z)} - point;
    return inner(distance, distance);
}

int32_t dist_to_chull(const chull_ctx *hull, int32_t x, int32_t y, int32_t z, uint32_t *min_out, uint32_t *max_out) {
    if (!hull) {
        report(__func__, "pHull == NULL\n");
        return kFailure;
    }
    if (!hull->faces) {
        report(__func__, "pCtx->faces == NULL\n");
        return kFailure;
    }
    const int32_t point[3] = {x, y, z};
    uint32_t least = std::numeric_limits<uint32_t>::max(), most = 0;
    for (const chull_face &face : ring(hull->faces)) {
        const uint32_t distance = pt_to_tri_dist_sq(&face, point);
        least = std::min(least, distance);
        most = std::max(most, distance);
    }
    *min_out = least;
    *max_out = most;
    return kSuccess;
}

int32_t is_in_chull(const chull_ctx *hull, int32_t x, int32_t y, int32_t z) {
    if (!hull || !hull->faces)
        return 0;
    const int32_t point[3] = {x, y, z};
#ifdef VELA_AVX2
    if (wide_unit())
        return !sees_a_face_wide(hull->faces, point);
#endif
    for (const chull_face &face : ring(hull->faces))
        if (Volume(&face, point) < 0)
            return 0;
    return 1;
}

int32_t chull_volume6(const chull_ctx *hull) {
    if (!hull)
        return 0;
    vector3 sum = {};
    uint32_t count = 0;
    for (const chull_vertex &vertex : ring(hull->vertices)) {
        if (vertex.mark) {
            sum = sum + load(vertex.coord);
            ++count;
        }
    }
    const auto mean = [count](uint32_t total) { return quotient(as_signed(total), as_signed(count)); };
    const int32_t reference[3] = {mean(sum.x), mean(sum.y), mean(sum.z)};
    uint32_t volume = 0;
    for (const chull_face &face : ring(hull->faces))
        volume += static_cast<uint32_t>(Volume(&face, reference));
    return as_signed(volume);
}

// ---- Checks

namespace {

// Index of a vertex among a face's corners, 3 for none.
int corner_index(const chull_face *face, const chull_vertex *vertex) {
    return static_cast<int>(std::find(face->vert, face->vert + 3, vertex) - face->vert);
}

// Whether the two faces of an edge run along it in opposite directions.
bool is_consistent(const chull_edge &edge) {
    const chull_face *f0 = edge.adj[0], *f1 = edge.adj[1];
    if (!f0 || !f1)
        return false;
    const int i = corner_index(f0, edge.endpts[0]), j = corner_index(f1, edge.endpts[0]);
    if (i == 3 || j == 3)
        return false;
    return f0->vert[(i + 1) % 3] == f1->vert[(j + 2) % 3] || f0->vert[(i + 2) % 3] == f1->vert[(j + 1) % 3];
}

void report_counts(int32_t V, int32_t E, int32_t F) { report("CheckEuler", "V, E, F = %d %d %d:\t", V, E, F); }

} // namespace

int32_t Checks(const chull_ctx *hull) {
    const auto V = as_signed(chull_num_vertices(hull));
    const auto E = as_signed(chull_num_edges(hull));
    const auto F = as_signed(chull_num_faces(hull));
    return Consistency(hull) || Convexity(hull) || CheckEuler(V, E, F) || CheckEndpts(hull);
}

int32_t Consistency(const chull_ctx *hull) {
    for (const chull_edge &edge : ring(hull->edges)) {
        if (!is_consistent(edge)) {
            report(__func__, "edges are NOT consistent.\n");
            return kFailure;
        }
    }
    return kSuccess;
}

int32_t Convexity(const chull_ctx *hull) {
    for (const chull_face &face : ring(hull->faces))
        for (const chull_vertex &vertex : ring(hull->vertices))
            if (vertex.mark && Volume(&face, vertex.coord) < 0)
                return kFailure;
    return kSuccess;
}

int32_t CheckEuler(int32_t V, int32_t E, int32_t F) {
    const auto vertices = static_cast<uint32_t>(V), edges = static_cast<uint32_t>(E), faces = static_cast<uint32_t>(F);
    if (vertices - edges + faces != 2) {
        report_counts(V, E, F);
        std::fputs("Checks: V-E+F != 2\n", stderr);
        return kFailure;
    }
    if (faces != 2 * vertices - 4) {
        report_counts(V, E, F);
        std::fprintf(stderr, "Checks: F=%d != 2V-4=%d; V=%d\n", F, as_signed(2 * vertices - 4), V);
        return kFailure;
    }
    return kSuccess;
}

int32_t CheckEndpts(const chull_ctx *hull) {
    bool failed = false;
    for (const chull_face &face : ring(hull->faces)) {
        for (int i = 0; i < 3; ++i) {
            const auto &ends = face.edges[i]->endpts;
            if (face.vert[i] == ends[0] || face.vert[i] == ends[1])
                continue;
            failed = true;
            report(__func__, "Error!\n");
            std::fprintf(stderr, "  addr: %8" PRIxPTR ";  edges:(%3d,%3d)\n", address(&face), ends[0]->vnum,
                         ends[1]->vnum);
        }
    }
    if (failed)
        std::fputs("Checks: ERROR found and reported above.\n", stderr);
    return failed;
}

// ---- Listings and the OFF file

void PrintOut(const chull_ctx *hull, const chull_vertex *v) { print_hull(hull, v->vnum, address(v)); }

void PrintVertices(const chull_ctx *hull) {
    std::fputs("Vertex List\n", stderr);
    for (const chull_vertex &vertex : ring(hull->vertices))
        std::fprintf(stderr,
                     "  addr %6" PRIxPTR "\t  vnum %4d   (%6d,%6d,%6d)   active:%3d   dup:%5" PRIxPTR "   mark:%2d\n",
                     address(&vertex), vertex.vnum, vertex.coord[0], vertex.coord[1], vertex.coord[2], vertex.active,
                     address(vertex.dup), vertex.mark);
}

void PrintEdges(const chull_ctx *hull) {
    std::fputs("Edge List\n", stderr);
    for (const chull_edge &edge : ring(hull->edges))
        std::fprintf(stderr, "  addr: %6" PRIxPTR "\tadj: %6" PRIxPTR "%6" PRIxPTR "  endpts:%4d%4d  del:%3d\n",
                     address(&edge), address(edge.adj[0]), address(edge.adj[1]), edge.endpts[0]->vnum,
                     edge.endpts[1]->vnum, edge.del);
}

void PrintFaces(const chull_ctx *hull) {
    std::fputs("Face List\n", stderr);
    for (const chull_face &face : ring(hull->faces))
        std::fprintf(stderr,
                     "  addr: %10" PRIxPTR "    edges:%10" PRIxPTR " %10" PRIxPTR " %10" PRIxPTR
                     "   vert:%4d%4d%4d  vis: %d\n",
                     address(&face), address(face.edges[0]), address(face.edges[1]), address(face.edges[2]),
                     face.vert[0]->vnum, face.vert[1]->vnum, face.vert[2]->vnum, face.vis);
}

void PrintPoint(const int32_t *p) { std::printf("\t%d\t%d\t%d\n", p[0], p[1], p[2]); }

int32_t chull_to_file(chull_ctx *hull, const char *path) {
    FILE *file = std::fopen(path, "w");
    if (!file)
        return kFailure;
    int32_t vertex_count = 0;
    for (chull_vertex &vertex : ring(hull->vertices))
        if (vertex.mark)
            vertex.vnum = vertex_count++;
    const auto face_count = as_signed(chull_num_faces(hull)), edge_count = as_signed(chull_num_edges(hull));
    CheckEuler(vertex_count, edge_count, face_count);

    std::fprintf(file, "OFF\n%d %d %d\n", vertex_count, face_count, edge_count);
    for (const chull_vertex &vertex : ring(hull->vertices))
        if (vertex.mark)
            std::fprintf(file, "%d %d %d\n", vertex.coord[0], vertex.coord[1], vertex.coord[2]);
    for (const chull_face &face : ring(hull->faces))
        std::fprintf(file, "3 %d %d %d\n", face.vert[0]->vnum, face.vert[1]->vnum, face.vert[2]->vnum);
    std::fclose(file);
    return kSuccess;
}

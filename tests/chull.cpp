// The standard headers come first: Check's macros get in the way of some.
#include <algorithm>
#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdarg>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <vector>

#include "support.hpp"
#include <check.h>
#include <vela/chull.h>

namespace {

using point = std::array<int32_t, 3>;

// Points as get_chull() takes them.
struct cloud {
    std::vector<uint8_t> xs, ys, zs;

    cloud() = default;
    cloud(std::initializer_list<point> points) {
        for (const point &p : points)
            add(p[0], p[1], p[2]);
    }
    void add(int x, int y, int z) {
        xs.push_back(static_cast<uint8_t>(x));
        ys.push_back(static_cast<uint8_t>(y));
        zs.push_back(static_cast<uint8_t>(z));
    }
    int32_t count() const { return static_cast<int32_t>(xs.size()); }
};

const cloud kTetrahedron = {{0, 0, 0}, {255, 0, 0}, {0, 255, 0}, {0, 0, 255}};
const cloud kCube = {{0, 0, 0},     {255, 0, 0},   {0, 255, 0},   {0, 0, 255},
                     {255, 255, 0}, {255, 0, 255}, {0, 255, 255}, {255, 255, 255}};

std::string formatted(const char *format, ...) {
    char line[200];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    return line;
}

template <class Record>
std::vector<Record *> listed(Record *head) {
    std::vector<Record *> records;
    Record *record = head;
    while (record && (records.empty() || record != head)) {
        ck_assert_ptr_eq(record->next->prev, record);
        records.push_back(record);
        record = record->next;
    }
    return records;
}

// A hull that is released at the end of the test.
struct hull {
    chull_ctx *ctx = nullptr;

    hull() { ck_assert_int_eq(alloc_chull(&ctx), 0); }
    explicit hull(const cloud &points) : hull() { ck_assert_int_eq(get(points), 0); }
    hull(const hull &) = delete;
    hull &operator=(const hull &) = delete;
    ~hull() {
        free_chull(ctx);
        free(ctx);
    }
    int32_t get(const cloud &points) const {
        return get_chull(points.xs.data(), points.ys.data(), points.zs.data(), points.count(), ctx);
    }
    int32_t read(const cloud &points) const {
        return ReadVertices(ctx, points.xs.data(), points.ys.data(), points.zs.data(), points.count());
    }
    // What get_chull() does, in the exported steps.
    int32_t get_in_steps(const cloud &points) const {
        const bool was_empty = !ctx->vertices;
        read(points);
        return was_empty && DoubleTriangle(ctx) ? 1 : ConstructHull(ctx);
    }
    std::string counts() const {
        return std::to_string(chull_num_vertices(ctx)) + " " + std::to_string(chull_num_edges(ctx)) + " " +
               std::to_string(chull_num_faces(ctx));
    }
    // Everything that the lists say, a line a record, with records numbered by their places.
    std::string content() const;
};

std::string hull::content() const {
    std::map<const void *, int> places = {{nullptr, -1}};
    const auto number = [&places](const auto &records) {
        int place = 0;
        for (const auto *record : records)
            places[record] = place++;
        return records;
    };
    const auto vertices = number(listed(ctx->vertices));
    const auto edges = number(listed(ctx->edges));
    const auto faces = number(listed(ctx->faces));
    std::string text;
    for (const chull_vertex *v : vertices)
        text += formatted("v%d (%d %d %d) mark %d active %d dup %d\n", v->vnum, v->coord[0], v->coord[1], v->coord[2],
                          v->mark, v->active, places.at(v->dup));
    for (const chull_edge *e : edges)
        text +=
            formatted("e %d-%d between %d %d, pending %d del %d\n", places.at(e->endpts[0]), places.at(e->endpts[1]),
                      places.at(e->adj[0]), places.at(e->adj[1]), places.at(e->pending_face), e->del);
    for (const chull_face *f : faces)
        text += formatted("f %d %d %d, edges %d %d %d, vis %d\n", places.at(f->vert[0]), places.at(f->vert[1]),
                          places.at(f->vert[2]), places.at(f->edges[0]), places.at(f->edges[1]), places.at(f->edges[2]),
                          f->vis);
    return text;
}

// A triangle that is in no list.
struct triangle {
    chull_vertex corners[3] = {};
    chull_face face = {};

    triangle(const point &a, const point &b, const point &c) {
        const point *points[] = {&a, &b, &c};
        for (int i = 0; i < 3; ++i) {
            std::copy(points[i]->begin(), points[i]->end(), corners[i].coord);
            face.vert[i] = &corners[i];
        }
    }
};

std::string file_text(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

} // namespace

START_TEST(records_and_lists)
{
    hull h;
    assert_text_eq(h.counts(), "0 0 0");
    ck_assert(!h.ctx->vertices && !h.ctx->edges && !h.ctx->faces && !h.ctx->debug && !h.ctx->check);
    chull_vertex *first = MakeNullVertex(h.ctx);
    chull_edge *edge = MakeNullEdge(h.ctx);
    chull_face *face = MakeNullFace(h.ctx);
    ck_assert(first->next == first && first->prev == first && !first->dup && !first->active && !first->mark);
    ck_assert(edge->next == edge && !edge->adj[0] && !edge->endpts[1] && !edge->pending_face && !edge->del);
    ck_assert(face->next == face && !face->edges[2] && !face->vert[0] && !face->vis);
    chull_vertex *second = MakeNullVertex(h.ctx), *third = MakeNullVertex(h.ctx);
    ck_assert(listed(h.ctx->vertices) == (std::vector<chull_vertex *>{first, second, third}));
    second->mark = 2;
    assert_text_eq(h.counts(), "1 1 1");

    free_chull(h.ctx);
    assert_text_eq(h.counts(), "0 0 0");
    ck_assert(!h.ctx->vertices && !h.ctx->edges && !h.ctx->faces);
    ck_assert_int_eq(h.get(kTetrahedron), 0);
    assert_text_eq(h.counts(), "4 6 4");
    ck_assert_uint_eq(chull_num_faces(nullptr) + chull_num_edges(nullptr) + chull_num_vertices(nullptr), 0);
}
END_TEST

START_TEST(predicates)
{
    const triangle floor({0, 0, 0}, {255, 0, 0}, {0, 255, 0});
    const struct {
        point p;
        int32_t volume;
    } rows[] = {{{9, 9, -1}, 65025},
                {{9, 9, 0}, 0},
                {{999, -9, 0}, 0},
                {{9, 9, 2}, -130050},
                {{0, 0, 255}, -16581375},
                // 65025 * -2^30 and 65025 * 2^31, modulo 2^32.
                {{0, 0, 1 << 30}, -(1 << 30)},
                {{0, 0, INT32_MIN}, INT32_MIN}};
    for (const auto &row : rows)
        ck_assert_int_eq(Volume(&floor.face, row.p.data()), row.volume);

    const point a = {1, 2, 3}, b = {2, 4, 6}, c = {9, 18, 27};
    ck_assert_int_eq(Collinear(a.data(), b.data(), c.data()), 1);
    ck_assert_int_eq(Collinear(a.data(), a.data(), c.data()), 1);
    for (int axis = 0; axis < 3; ++axis) {
        point moved = c;
        ++moved[static_cast<size_t>(axis)];
        ck_assert_int_eq(Collinear(a.data(), b.data(), moved.data()), 0);
    }
    ck_assert_int_eq(dot(a.data(), c.data()), 126);
}
END_TEST

// Each row: points, result, message, counts (points of a failed call aren't counted), six times the volume.
START_TEST(hulls_of_known_points)
{
    const std::string collinear = "DoubleTriangle: All points are Collinear!\n";
    const std::string coplanar = "DoubleTriangle: All points coplanar!\n";
    cloud crowded_cube = kCube;
    for (const point &p : {point{9, 9, 9}, {255, 9, 9}, {255, 255, 9}, {255, 255, 255}, {0, 0, 0}})
        crowded_cube.add(p[0], p[1], p[2]);
    const point A = {0, 0, 0}, B = {9, 0, 0}, C = {0, 9, 0};
    const struct {
        cloud points;
        int32_t result;
        std::string message, counts;
        int32_t volume6;
        size_t vertices_listed;
    } rows[] = {
        {{}, 1, collinear, "0 0 0", 0, 0},
        {{A}, 1, collinear, "0 0 0", 0, 1},
        {{A, B}, 1, collinear, "0 0 0", 0, 2},
        {{A, A, B, B, C, C}, 1, collinear, "0 0 0", 0, 6},
        {{A, {1, 1, 1}, {2, 2, 2}, {9, 9, 9}, {3, 3, 3}}, 1, collinear, "0 0 0", 0, 5},
        {{A, B, C}, 1, coplanar, "3 3 2", 0, 3},
        {{A, A, B, C, {9, 9, 0}}, 1, coplanar, "3 3 2", 0, 5},
        {{A, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, 0, "", "4 6 4", 1, 4},
        {{A, A, B, C, A, {0, 0, 9}}, 0, "", "4 6 4", 729, 4},
        {kTetrahedron, 0, "", "4 6 4", 16581375, 4},
        {kCube, 0, "", "8 18 12", 99488250, 8},
        {crowded_cube, 0, "", "8 18 12", 99488250, 8},
    };
    for (const auto &row : rows) {
        hull h;
        int32_t result = -1;
        assert_text_eq(captured(stderr, [&] { result = h.get(row.points); }), row.message);
        ck_assert_int_eq(result, row.result);
        assert_text_eq(h.counts(), row.counts);
        ck_assert_int_eq(chull_volume6(h.ctx), row.volume6);
        ck_assert_uint_eq(listed(h.ctx->vertices).size(), row.vertices_listed);
    }
}
END_TEST

// The starting triangle in every field, and what one insertion makes of it.
START_TEST(order_within_the_lists)
{
    hull h;
    ck_assert_int_eq(h.read(kTetrahedron), 0);
    ck_assert_int_eq(DoubleTriangle(h.ctx), 0);
    const std::string vertices = "v3 (0 0 255) mark %d active 0 dup -1\n"
                                 "v0 (0 0 0) mark 1 active 0 dup -1\n"
                                 "v1 (255 0 0) mark 1 active 0 dup -1\n"
                                 "v2 (0 255 0) mark 1 active 0 dup -1\n";
    assert_text_eq(h.content(), formatted(vertices.c_str(), 0) + "e 1-3 between 1 0, pending -1 del 0\n"
                                                                 "e 2-1 between 1 0, pending -1 del 0\n"
                                                                 "e 3-2 between 1 0, pending -1 del 0\n"
                                                                 "f 1 2 3, edges 0 1 2, vis 0\n"
                                                                 "f 3 2 1, edges 2 1 0, vis 0\n");
    ck_assert_int_eq(ConstructHull(h.ctx), 0);
    assert_text_eq(h.content(), formatted(vertices.c_str(), 1) + "e 1-3 between 0 1, pending -1 del 0\n"
                                                                 "e 2-1 between 0 2, pending -1 del 0\n"
                                                                 "e 3-2 between 0 3, pending -1 del 0\n"
                                                                 "e 1-0 between 1 2, pending -1 del 0\n"
                                                                 "e 3-0 between 1 3, pending -1 del 0\n"
                                                                 "e 2-0 between 2 3, pending -1 del 0\n"
                                                                 "f 3 2 1, edges 2 1 0, vis 0\n"
                                                                 "f 3 1 0, edges 0 3 4, vis 0\n"
                                                                 "f 1 2 0, edges 1 5 3, vis 0\n"
                                                                 "f 2 3 0, edges 2 4 5, vis 0\n");
}
END_TEST

START_TEST(edges_in_the_order_of_corners)
{
    // Only the first face of the starting triangle needs it, and it must still be there: the apex is behind it.
    hull h(cloud{{0, 255, 0}, {0, 0, 255}, {255, 0, 0}, {0, 0, 0}});
    h.ctx->debug = 1;
    const std::string message = captured(stderr, [&] { ck_assert_int_eq(EdgeOrderOnFaces(h.ctx), 0); });
    assert_text_eq(message, "Making a swap in EdgeOrderOnFaces: F(0,1,2): e[0] and e[1]\n"
                            "Making a swap in EdgeOrderOnFaces: F(0,1,2): e[1] and e[2]\n");
    for (const chull_face *face : listed(h.ctx->faces)) {
        for (int i = 0; i < 3; ++i) {
            const auto &ends = face->edges[i]->endpts;
            const chull_vertex *from = face->vert[i], *to = face->vert[(i + 1) % 3];
            ck_assert((ends[0] == from && ends[1] == to) || (ends[0] == to && ends[1] == from));
        }
    }
    h.ctx->debug = 0;
    assert_text_eq(captured(stderr, [&] { EdgeOrderOnFaces(h.ctx); }), "");
}
END_TEST

START_TEST(steps_by_hand)
{
    hull h(kTetrahedron);
    chull_vertex *top = h.ctx->vertices;
    chull_vertex *inside = MakeNullVertex(h.ctx), *outside = MakeNullVertex(h.ctx), *unseen = MakeNullVertex(h.ctx);
    std::fill_n(inside->coord, 3, 1);
    outside->coord[0] = outside->coord[1] = -9;
    outside->coord[2] = 300;
    inside->mark = outside->mark = 1;
    inside->active = 1;
    ck_assert_int_eq(AddOne(h.ctx, inside), 0);
    ck_assert_int_eq(inside->active, 0);
    ck_assert_int_eq(AddOne(h.ctx, outside), 1);
    ck_assert_ptr_nonnull(h.ctx->vertices->next->dup);
    // The top is hidden now and goes, and so does the point inside, on which the cursor stands.
    chull_vertex *cursor = inside;
    CleanUp(h.ctx, &cursor);
    ck_assert_ptr_eq(cursor, outside);
    ck_assert_ptr_ne(h.ctx->vertices, top);
    ck_assert_uint_eq(listed(h.ctx->vertices).size(), 5);
    assert_text_eq(h.counts(), "4 6 4");
    ck_assert_int_eq(Checks(h.ctx), 0);
    ck_assert_int_eq(unseen->mark, 0);

    // With no edge left every vertex that was taken in goes, the head and the last one too.
    while (h.ctx->edges) {
        h.ctx->edges->del = 1;
        CleanEdges(h.ctx);
    }
    unseen->mark = 1;
    cursor = unseen;
    CleanVertices(h.ctx, &cursor);
    ck_assert(!cursor && !h.ctx->vertices);
    ck_assert_int_eq(ConstructHull(h.ctx), 0);
}
END_TEST

// Each row: a triangle, a point, the squared distance to its nearest point as rounded. With far points the arithmetic
// wraps.
START_TEST(distances_to_a_triangle)
{
    const triangle right({0, 0, 0}, {255, 0, 0}, {0, 255, 0}), sharp({0, 0, 0}, {100, 0, 0}, {200, 100, 0}),
        blunt({0, 0, 0}, {100, 0, 0}, {-100, 100, 0});
    const struct {
        const triangle *t;
        point p;
        uint32_t distance;
    } rows[] = {
        {&right, {10, 10, 50}, 2500},          {&right, {300, 300, 0}, 59168},
        {&right, {-20, -30, 0}, 1300},         {&right, {100, -40, 7}, 1649},
        {&sharp, {37, -76, 0}, 5776},          {&blunt, {125, -140, 0}, 35225},
        {&right, {-30, 100, 4}, 916},          {&right, {260, -9, 0}, 106},
        {&right, {-9, 300, 1}, 2107},          {&right, {7, 300, 0}, 2074},
        {&sharp, {300, 90, 0}, 10100},         {&blunt, {-120, 150, 3}, 2909},
        {&right, {70000, 3, 0}, 569397738},    {&sharp, {-90000, 5000000, 7}, 1836452737},
        {&blunt, {1 << 30, 9, INT32_MIN}, 0},  {&right, {9000000, -9000000, 0}, 2718627201},
        {&sharp, {1 << 30, 9, INT32_MIN}, 65},
    };
    for (const auto &row : rows)
        ck_assert_uint_eq(pt_to_tri_dist_sq(&row.t->face, row.p.data()), row.distance);

    // Neither a degenerate triangle nor any coordinate traps.
    const triangle flat({5, 5, 5}, {5, 5, 5}, {5, 5, 5});
    for (const int32_t far : {INT32_MIN, INT32_MAX, 1 << 30, -8388608, 0}) {
        const point p = {far, far, -far / 2};
        for (const triangle *t : {&right, &sharp, &blunt, &flat})
            pt_to_tri_dist_sq(&t->face, p.data());
        const triangle huge(p, {0, far, 3}, {far, 1, INT32_MIN});
        pt_to_tri_dist_sq(&huge.face, p.data());
    }
}
END_TEST

START_TEST(queries_of_hulls)
{
    const hull cube(kCube);
    const struct {
        point p;
        int32_t inside;
        uint32_t least, most;
    } rows[] = {{{255, 10, 10}, 1, 0, 92873},
                {{256, 10, 10}, 0, 1, 93384},
                {{0, 0, 0}, 1, 0, 97793},
                {{128, 128, 128}, 1, 16129, 16384},
                {{-3, -4, 300}, 0, 2050, 124322}};
    for (const auto &row : rows) {
        uint32_t least = 7, most = 7;
        ck_assert_int_eq(is_in_chull(cube.ctx, row.p[0], row.p[1], row.p[2]), row.inside);
        ck_assert_int_eq(dist_to_chull(cube.ctx, row.p[0], row.p[1], row.p[2], &least, &most), 0);
        ck_assert_uint_eq(least, row.least);
        ck_assert_uint_eq(most, row.most);
    }
    // Far outside, the orientations wrap and may all come out as inside.
    const int32_t far[] = {INT32_MIN, -70000, -1290, 130, 1290, 70000, 1 << 21, INT32_MAX};
    for (int i = 0; i < 8 * 8 * 8; ++i) {
        const point p = {far[i % 8], far[i / 8 % 8], far[i / 64]};
        const auto faces = listed(cube.ctx->faces);
        const bool inside =
            std::none_of(faces.begin(), faces.end(), [&p](const chull_face *f) { return Volume(f, p.data()) < 0; });
        ck_assert_int_eq(is_in_chull(cube.ctx, p[0], p[1], p[2]), inside);
    }
    for (const chull_vertex *v : listed(cube.ctx->vertices))
        ck_assert_int_eq(is_in_chull(cube.ctx, v->coord[0], v->coord[1], v->coord[2]), 1);

    const hull empty;
    const struct {
        const chull_ctx *ctx;
        const char *message;
    } failures[] = {{nullptr, "dist_to_chull: pHull == NULL\n"}, {empty.ctx, "dist_to_chull: pCtx->faces == NULL\n"}};
    for (const auto &row : failures) {
        uint32_t least = 7, most = 7;
        assert_text_eq(captured(stderr, [&] { ck_assert_int_eq(dist_to_chull(row.ctx, 0, 0, 0, &least, &most), 1); }),
                       row.message);
        ck_assert(least == 7 && most == 7);
        ck_assert_int_eq(is_in_chull(row.ctx, 0, 0, 0), 0);
        ck_assert_int_eq(chull_volume6(row.ctx), 0);
    }
}
END_TEST

START_TEST(checks_and_their_messages)
{
    const struct {
        int32_t V, E, F, result;
        const char *message;
    } rows[] = {{4, 6, 4, 0, ""},
                {4, 6, 5, 1, "CheckEuler: V, E, F = 4 6 5:\tChecks: V-E+F != 2\n"},
                {5, 8, 5, 1, "CheckEuler: V, E, F = 5 8 5:\tChecks: F=5 != 2V-4=6; V=5\n"},
                {INT32_MIN, 0, INT32_MAX, 1, "CheckEuler: V, E, F = -2147483648 0 2147483647:\tChecks: V-E+F != 2\n"}};
    for (const auto &row : rows)
        assert_text_eq(captured(stderr, [&] { ck_assert_int_eq(CheckEuler(row.V, row.E, row.F), row.result); }),
                       row.message);

    hull h(kCube);
    const auto checked = [&h](int32_t (*check)(const chull_ctx *), int32_t result) {
        return captured(stderr, [&] { ck_assert_int_eq(check(h.ctx), result); });
    };
    assert_text_eq(checked(Checks, 0), "");
    // Every face with two corners swapped, one at a time, the one at the first edge too.
    for (chull_face *face : listed(h.ctx->faces)) {
        std::swap(face->vert[0], face->vert[1]);
        assert_text_eq(checked(Consistency, 1), "Consistency: edges are NOT consistent.\n");
        assert_text_eq(checked(Checks, 1), "Consistency: edges are NOT consistent.\n");
        std::swap(face->vert[0], face->vert[1]);
    }
    chull_vertex *v = h.ctx->vertices;
    v->coord[0] = v->coord[1] = v->coord[2] = 128;
    assert_text_eq(checked(Convexity, 1) + checked(Checks, 1), "");
    free_chull(h.ctx);

    ck_assert_int_eq(h.get(kTetrahedron), 0);
    chull_face *face = h.ctx->faces->prev;
    std::swap(face->edges[0], face->edges[1]);
    assert_text_eq(checked(CheckEndpts, 1),
                   formatted("CheckEndpts: Error!\n  addr: %8" PRIxPTR ";  edges:(%3d,%3d)\n"
                             "Checks: ERROR found and reported above.\n",
                             reinterpret_cast<uintptr_t>(face), face->edges[0]->endpts[0]->vnum,
                             face->edges[0]->endpts[1]->vnum));
    assert_text_eq(checked(Checks, 1).substr(0, 12), "CheckEndpts:");
}
END_TEST

START_TEST(listings)
{
    hull h(kTetrahedron);
    const auto at = [](const void *record) { return reinterpret_cast<uintptr_t>(record); };
    std::string vertices = "Vertex List\n", edges = "Edge List\n", faces = "Face List\n";
    assert_text_eq(captured(stderr,
                            [] {
                                hull empty;
                                PrintVertices(empty.ctx), PrintEdges(empty.ctx), PrintFaces(empty.ctx);
                            }),
                   vertices + edges + faces);
    h.ctx->vertices->next->dup = h.ctx->edges;
    for (const chull_vertex *v : listed(h.ctx->vertices))
        vertices +=
            formatted("  addr %6" PRIxPTR "\t  vnum %4d   (%6d,%6d,%6d)   active:%3d   dup:%5" PRIxPTR "   mark:%2d\n",
                      at(v), v->vnum, v->coord[0], v->coord[1], v->coord[2], v->active, at(v->dup), v->mark);
    for (const chull_edge *e : listed(h.ctx->edges))
        edges += formatted("  addr: %6" PRIxPTR "\tadj: %6" PRIxPTR "%6" PRIxPTR "  endpts:%4d%4d  del:%3d\n", at(e),
                           at(e->adj[0]), at(e->adj[1]), e->endpts[0]->vnum, e->endpts[1]->vnum, e->del);
    for (const chull_face *f : listed(h.ctx->faces))
        faces += formatted("  addr: %10" PRIxPTR "    edges:%10" PRIxPTR " %10" PRIxPTR " %10" PRIxPTR
                           "   vert:%4d%4d%4d  vis: %d\n",
                           at(f), at(f->edges[0]), at(f->edges[1]), at(f->edges[2]), f->vert[0]->vnum, f->vert[1]->vnum,
                           f->vert[2]->vnum, f->vis);
    assert_text_eq(captured(stderr, [&] { PrintOut(h.ctx, h.ctx->vertices->next); }),
                   formatted("\nHead vertex 0 = %6" PRIxPTR " :\n", at(h.ctx->vertices->next)) + vertices + edges +
                       faces);
    const point p = {1, -2, 3};
    assert_text_eq(captured(stdout, [&] { PrintPoint(p.data()); }), "\t1\t-2\t3\n");
}
END_TEST

// With the switches on, construction reports every step and ends with the same lists.
START_TEST(debug_and_check_switches)
{
    const cloud points = {{0, 0, 0}, {9, 0, 0}, {0, 9, 0}, {0, 0, 9}, {1, 1, 1}};
    const hull plain(points);
    hull h;
    h.ctx->check = 1;
    const std::string added = "ConstructHull: After Add of 3 & Cleanup:\n",
                      dropped = "ConstructHull: After Add of 4 & Cleanup:\n";
    assert_text_eq(captured(stderr, [&] { ck_assert_int_eq(h.get(points), 0); }), added + dropped);
    assert_text_eq(h.content(), plain.content());
    // A fault that is there already shows after the next point.
    h.ctx->edges->adj[0] = h.ctx->edges->adj[1];
    assert_text_eq(captured(stderr,
                            [&] {
                                ck_assert_int_eq(h.get({{2, 2, 2}}), 1);
                            }),
                   "ConstructHull: After Add of 0 & Cleanup:\nConsistency: edges are NOT consistent.\n");

    // The listings that it prints, by their first lines.
    free_chull(h.ctx);
    h.ctx->check = 0;
    h.ctx->debug = 1;
    const std::string text = captured(stderr, [&] { ck_assert_int_eq(h.get(points), 0); });
    assert_text_eq(h.content(), plain.content());
    std::string lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        if (!line.empty() && std::string("DAHf").find(line[0]) != std::string::npos)
            lines += line.substr(0, line.find(line[0] == 'f' ? ':' : '=')) + "|";
    assert_text_eq(lines, "DoubleTriangle: finished. Head repositioned at v3.|Head vertex 3 |"
                          "AddOne: starting to add v3.|Head vertex 3 |faddr|faddr|Head vertex 3 |"
                          "AddOne: starting to add v4.|Head vertex 3 |faddr|faddr|faddr|faddr|Head vertex 4 |");

    // One insertion in full.
    chull_vertex *inner = MakeNullVertex(h.ctx);
    std::string expected = captured(stderr, [&] { PrintOut(h.ctx, h.ctx->vertices); });
    expected = "AddOne: starting to add v0.\n" + expected;
    for (const chull_face *face : listed(h.ctx->faces))
        expected +=
            formatted("faddr: %6" PRIxPTR "   paddr: %6" PRIxPTR "   Vol = %d\n", reinterpret_cast<uintptr_t>(face),
                      reinterpret_cast<uintptr_t>(inner), Volume(face, inner->coord));
    assert_text_eq(captured(stderr, [&] { ck_assert_int_eq(AddOne(h.ctx, inner), 0); }), expected);
}
END_TEST

START_TEST(off_files)
{
    char path[] = "/tmp/vela-chull-XXXXXX";
    ck_assert_int_ge(mkstemp(path), 0);
    const auto written = [&path](const hull &h) {
        ck_assert_int_eq(chull_to_file(h.ctx, path), 0);
        return file_text(path);
    };
    const std::string expected = "OFF\n4 4 6\n0 0 255\n0 0 0\n255 0 0\n0 255 0\n3 3 2 1\n3 3 1 0\n3 1 2 0\n3 2 3 0\n";
    hull h(kTetrahedron);
    assert_text_eq(written(h), expected);
    ck_assert_int_eq(h.get({{60, 60, 60}}), 0);
    MakeNullVertex(h.ctx)->vnum = 77;
    assert_text_eq(written(h), expected);
    int32_t place = 0;
    for (const chull_vertex *v : listed(h.ctx->vertices))
        ck_assert_int_eq(v->vnum, v->mark ? place++ : 77);

    // What isn't closed is reported and written all the same.
    hull cut(kTetrahedron);
    cut.ctx->faces->vis = 1;
    CleanFaces(cut.ctx);
    std::string text;
    const std::string message = captured(stderr, [&] { text = written(cut); });
    assert_text_eq(message, "CheckEuler: V, E, F = 4 6 3:\tChecks: V-E+F != 2\n");
    assert_text_eq(text, "OFF\n4 3 6\n0 0 255\n0 0 0\n255 0 0\n0 255 0\n3 3 1 0\n3 1 2 0\n3 2 3 0\n");
    unlink(path);
    ck_assert_int_eq(chull_to_file(h.ctx, "/nonexistent/hull.off"), 1);
    // Only opening can fail.
    ck_assert_int_eq(chull_to_file(h.ctx, "/dev/full"), 0);
}
END_TEST

// ---- get_chull() against its steps

namespace {

using generator = std::mt19937;

int below(generator &random, int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); }

// A point of a ball around the middle of the range, or of its surface.
void add_of_ball(cloud &points, generator &random, bool shell) {
    double v[3], square = 0;
    do {
        square = 0;
        for (double &value : v) {
            value = below(random, 2001) / 1000. - 1;
            square += value * value;
        }
    } while (square > 1 || square == 0);
    const double radius = shell ? 127.5 / std::sqrt(square) : 127.5;
    const auto scaled = [radius](double value) { return static_cast<int>(std::lround(127.5 + radius * value)); };
    points.add(scaled(v[0]), scaled(v[1]), scaled(v[2]));
}

// The kinds of cloud, each of which meets other special cases.
constexpr int kKinds = 11;
void add_of_kind(cloud &points, generator &random, int kind, int size) {
    const auto any = [&random](int end) { return below(random, end); };
    const int t = points.count();
    switch (kind) {
    case 0:
        return points.add(any(256), any(256), any(256));
    case 1:
    case 2:
        return add_of_ball(points, random, kind == 2);
    case 3: // a small lattice: many points in each plane, in line and equal
        return points.add(any(size), any(size), any(size));
    case 4: // three planes of a lattice
        return points.add(any(size) * 15, any(size) * 15, any(3));
    case 5: // a line, now and then a step aside
        return points.add(t % 200, t % 200 / 2 + !any(50), 40 + !any(80));
    case 6: // corners only
        return points.add(any(2) * 255, any(2) * 255, any(2) * 255);
    case 7: { // a plane across the range, bent at its rim
        const int a = any(256), b = any(256);
        return points.add(a, b, std::clamp(a + b - 128, 0, 255));
    }
    case 8: // grows with every few points, so that vertices come and go
        return points.add(128 + (any(2) * 2 - 1) * (t / 4 % 128), 128 + (any(2) * 2 - 1) * (t / 5 % 128), any(256));
    case 9: { // a cylinder: long fans of triangles in two planes
        const double angle = any(1000) * 0.006283185;
        return points.add(static_cast<int>(std::lround(127.5 + 127.5 * std::cos(angle))),
                          static_cast<int>(std::lround(127.5 + 127.5 * std::sin(angle))), any(2) * 255);
    }
    default: // all equal, or nearly so
        return points.add(7, 7 + !any(20), 7 + !any(20));
    }
}

cloud cloud_of_kind(generator &random, int kind, int count) {
    cloud points;
    const int size = 2 + below(random, 15);
    while (points.count() < count)
        add_of_kind(points, random, kind, size);
    return points;
}

void assert_same(const hull &fast, const hull &stepped, int seed) {
    if (fast.content() != stepped.content())
        ck_abort_msg("the lists of cloud %d differ", seed);
}

} // namespace

// Whole lists, for clouds of every kind and hulls that grow. A few dozen clouds; for the full comparison:
//     VELA_CHULL_CLOUDS=5500 vela_tests -s chull
START_TEST(fast_and_stepped_construction_agree)
{
    const char *wanted = std::getenv("VELA_CHULL_CLOUDS");
    const int clouds = wanted ? std::atoi(wanted) : 6 * kKinds;
    const int limit = wanted ? 20000 : 600;
    for (int seed = 0; seed < clouds; ++seed) {
        generator random(static_cast<unsigned>(seed));
        // Sizes spread over the orders of magnitude.
        const int count = static_cast<int>(std::pow(limit, below(random, 1001) / 1000.));
        const cloud points = cloud_of_kind(random, seed % kKinds, count);
        const hull fast, stepped;
        int result = -1;
        const std::string message = captured(stderr, [&] { result = stepped.get_in_steps(points); });
        assert_text_eq(captured(stderr, [&] { ck_assert_int_eq(fast.get(points), result); }), message);
        assert_same(fast, stepped, seed);
        for (int turn = 0; turn < 3 && result == 0; ++turn) {
            const cloud more = cloud_of_kind(random, below(random, kKinds), 1 + below(random, 200));
            ck_assert_int_eq(stepped.get_in_steps(more), 0);
            ck_assert_int_eq(fast.get(more), 0);
            assert_same(fast, stepped, seed);
            EdgeOrderOnFaces(fast.ctx);
            EdgeOrderOnFaces(stepped.ctx);
        }
        if (result == 0)
            ck_assert_int_eq(Checks(fast.ctx), 0);
    }
}
END_TEST

// Growth where the hull isn't what get_chull() left behind: only the steps know what follows from that.
START_TEST(growth_of_altered_hulls)
{
    const std::vector<void (*)(chull_ctx *)> alterations = {
        [](chull_ctx *) {},
        [](chull_ctx *ctx) { MakeNullVertex(ctx)->coord[0] = 300; },
        [](chull_ctx *ctx) { MakeNullVertex(ctx)->mark = 1; },
        [](chull_ctx *ctx) { ctx->vertices->prev->active = 1; },
        [](chull_ctx *ctx) { std::swap(ctx->edges->adj[0], ctx->edges->adj[1]); },
        // Beside the range, dented, inside out.
        [](chull_ctx *ctx) {
            for (chull_vertex *v : listed(ctx->vertices))
                v->coord[0] += 100;
        },
        [](chull_ctx *ctx) { std::fill_n(ctx->vertices->next->coord, 3, 80); },
        [](chull_ctx *ctx) {
            for (chull_vertex *v : listed(ctx->vertices))
                v->coord[0] = 255 - v->coord[0];
        },
    };
    // The last vertex stands a little above a face, so that it can be dented below it; the last of the new points is
    // then inside, and yet sees a face of the dent.
    cloud points = kTetrahedron, more;
    points.add(90, 90, 90);
    for (int i = 0; i < 20; ++i)
        more.add(i < 10 ? 10 : 128, i < 10 ? 10 : 128, i < 10 ? 200 : i / 15);
    for (const auto alter : alterations) {
        const hull fast(points), stepped(points);
        alter(fast.ctx);
        alter(stepped.ctx);
        ck_assert_int_eq(fast.get(more), stepped.get_in_steps(more));
        assert_same(fast, stepped, 0);
    }
}
END_TEST

Suite *chull_suite() {
    Suite *suite = suite_create("chull");
    TCase *tests = tcase_create("chull");
    tcase_add_test(tests, records_and_lists);
    tcase_add_test(tests, predicates);
    tcase_add_test(tests, hulls_of_known_points);
    tcase_add_test(tests, order_within_the_lists);
    tcase_add_test(tests, edges_in_the_order_of_corners);
    tcase_add_test(tests, steps_by_hand);
    tcase_add_test(tests, distances_to_a_triangle);
    tcase_add_test(tests, queries_of_hulls);
    tcase_add_test(tests, checks_and_their_messages);
    tcase_add_test(tests, listings);
    tcase_add_test(tests, debug_and_check_switches);
    tcase_add_test(tests, off_files);
    tcase_add_test(tests, growth_of_altered_hulls);
    suite_add_tcase(suite, tests);

    TCase *comparison = tcase_create("comparison");
    tcase_set_timeout(comparison, 1800);
    tcase_add_test(comparison, fast_and_stepped_construction_agree);
    suite_add_tcase(suite, comparison);
    return suite;
}

// The hull: its steps and texts as documented, and get_chull() against its steps.
#include "models/chull.hpp"
#include "generated.hpp"
#include "support.hpp"
#include <cinttypes>
#include <functional>

namespace {

using model::cloud, model::hull, model::listed, model::point;

constexpr point A = {0, 0, 0}, B = {255, 0, 0}, C = {0, 255, 0}, D = {0, 0, 255};
const cloud kTetrahedron = {A, B, C, D};
const cloud kCube = {A, B, C, D, {255, 255, 0}, {255, 0, 255}, {0, 255, 255}, {255, 255, 255}};

// The result of a call and what it says on stderr.
template <class Call>
std::string outcome(Call call) {
    int32_t result = -1;
    const std::string message = captured(stderr, [&] { result = call(); });
    return std::to_string(result) + " " + message;
}

// How many vertices, edges and faces there are.
std::string counts(const chull_ctx *ctx) {
    return std::to_string(chull_num_vertices(ctx)) + " " + std::to_string(chull_num_edges(ctx)) + " " +
           std::to_string(chull_num_faces(ctx));
}

chull_vertex *add_vertex(const hull &h, const point &p, int32_t mark = 0) {
    chull_vertex *vertex = MakeNullVertex(h.ctx);
    std::ranges::copy(p, vertex->coord);
    vertex->mark = mark;
    return vertex;
}

} // namespace

TEST(listings_show_every_field) {
    const hull h;
    chull_edge *e = MakeNullEdge(h.ctx);
    chull_face *f = MakeNullFace(h.ctx);
    chull_vertex *v = add_vertex(h, {10, -20, 30}), corner = *v, p = *v, third = *v;
    v->vnum = 4, v->dup = e, v->active = 5, corner.vnum = 8, corner.coord[2] += 10, p.vnum = 9, p.coord[0] = 1;
    *e = {{f, nullptr}, {v, &corner}, nullptr, 6, e, e};
    *f = {{e, nullptr, e}, {v, &corner, &third}, 7, f, f};
    h.ctx->debug = 1;
    const auto address = [](const void *record) { return reinterpret_cast<uintptr_t>(record); };
    const std::string expected = captured(stderr, [&] {
        std::fprintf(stderr, "AddOne: starting to add v9.\n\nHead vertex 4 = %6" PRIxPTR " :\n", address(v));
        std::fprintf(stderr, "Vertex List\n  addr %6" PRIxPTR "\t  vnum    4   (    10,   -20,    30)", address(v));
        std::fprintf(stderr, "   active:  5   dup:%5" PRIxPTR "   mark: 0\nEdge List\n", address(e));
        std::fprintf(stderr, "  addr: %6" PRIxPTR "\tadj: %6" PRIxPTR "     0  endpts:", address(e), address(f));
        std::fprintf(stderr, "   4   8  del:  6\nFace List\n  addr: %10" PRIxPTR "    edges:", address(f));
        std::fprintf(stderr, "%10" PRIxPTR "          0 %10" PRIxPTR "   vert:   4   8   0", address(e), address(e));
        std::fprintf(stderr, "  vis: 7\nfaddr: %6" PRIxPTR "   paddr: %6" PRIxPTR, address(f), address(&p));
        std::fputs("   Vol = 0\n", stderr);
    });
    assert_text_eq(outcome([&] { return AddOne(h.ctx, &p); }), "0 " + expected);
    assert_text_eq(captured(stdout, [] { PrintPoint(point{1, -2, 3}.data()); }), "\t1\t-2\t3\n");
}

// ---- Construction

// Each row: points, outcome, numbers of vertices, edges and faces. All in one hull, freed each time.
TEST(known_points_have_known_hulls) {
    const std::string ok = "0 ", coplanar = "1 DoubleTriangle: All points coplanar!\n",
                      collinear = "1 DoubleTriangle: All points are Collinear!\n";
    // clang-format off
    const std::tuple<cloud, std::string, std::string, int32_t> rows[] = {
        {{}, collinear, "0 0 0", 0}, {{A}, collinear, "0 0 0", 0}, {{A, A, B, B, C, C}, collinear, "0 0 0", 0},
        {{A, {1, 2, 3}, {2, 4, 6}, {6, 12, 18}, {3, 6, 9}}, collinear, "0 0 0", 0}, {{A, B, C}, coplanar, "3 3 2", 0},
        {{A, A, B, C, {9, 9, 0}}, coplanar, "3 3 2", 0}, {{A, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, ok, "4 6 4", 1},
        {{A, A, B, C, A, D}, ok, "4 6 4", 16581375}, {kCube, ok, "8 18 12", 99488250},
    };
    // clang-format on
    const hull h;
    for (const auto &[points, expected, numbers, volume6] : rows) {
        assert_text_eq(outcome([&h, &given = points] { return h.get(given); }), expected);
        assert_text_eq(counts(h.ctx), numbers);
        ck_assert_int_eq(chull_volume6(h.ctx), volume6);
        if (expected != ok) // the points are listed, but not counted
            ck_assert_uint_eq(listed(h.ctx->vertices).size(), points.size());
        free_chull(h.ctx);
    }
}

TEST(lists_are_in_the_order_of_the_steps_and_edges_come_into_that_of_corners) {
    const hull h({C, D, B, A});
    const std::string vertices = "3 0 0 0 1 0 -1,0 0 255 0 1 0 -1,1 0 0 255 1 0 -1,2 255 0 0 1 0 -1,\n",
                      edges = "1 3 1 0 -1 0,2 1 2 0 -1 0,3 2 3 0 -1 0,1 0 1 2 -1 0,3 0 1 3 -1 0,2 0 2 3 -1 0,\n",
                      faces = ",1 3 0 0 4 3 0,2 1 0 1 3 5 0,3 2 0 2 5 4 0,";
    assert_text_eq(model::content(h.ctx), vertices + edges + "1 2 3 0 1 2 0" + faces);
    // Only the first face of the starting triangle needs it, and it remains: the apex is on its inner side.
    h.ctx->debug = 1;
    assert_text_eq(outcome([&h] { return EdgeOrderOnFaces(h.ctx); }),
                   "0 Making a swap in EdgeOrderOnFaces: F(0,1,2): e[0] and e[1]\n"
                   "Making a swap in EdgeOrderOnFaces: F(0,1,2): e[1] and e[2]\n");
    assert_text_eq(model::content(h.ctx), vertices + edges + "1 2 3 1 2 0 0" + faces);
    assert_text_eq(outcome([&h] { return EdgeOrderOnFaces(h.ctx); }), "0 ");
}

TEST(steps_by_hand_add_what_is_outside) {
    const hull h(kTetrahedron);
    chull_vertex *inside = add_vertex(h, {1, 1, 1}, 1), *outside = add_vertex(h, {-9, -9, 300}, 1), *cursor = inside;
    inside->active = 1;
    ck_assert_int_eq(AddOne(h.ctx, inside), 0);
    ck_assert_int_eq(inside->active, 0);
    ck_assert_int_eq(AddOne(h.ctx, outside), 1);
    // One more face on the horizon: the edges to the point keep the two that they have.
    const auto edges = listed(h.ctx->edges);
    chull_edge *horizon = *std::ranges::find_if(edges, [](auto *e) { return e->pending_face != nullptr; });
    const chull_edge *spoke = horizon->endpts[0]->dup, before = *spoke;
    ck_assert_ptr_nonnull(MakeConeFace(h.ctx, horizon, outside));
    ck_assert_ptr_eq(spoke->adj[0], before.adj[0]);
    ck_assert_ptr_eq(spoke->adj[1], before.adj[1]);
    // The top, which is the head, is now hidden and released, and so is the point inside, which is the cursor's.
    CleanUp(h.ctx, &cursor);
    ck_assert_ptr_eq(cursor, outside);
    ck_assert_uint_eq(listed(h.ctx->vertices).size(), 4);
    for (; h.ctx->edges; CleanEdges(h.ctx))
        h.ctx->edges->del = 1;
    CleanVertices(h.ctx, &cursor);
    ck_assert_ptr_null(cursor);
    ck_assert_ptr_null(h.ctx->vertices);
    ck_assert_int_eq(ConstructHull(h.ctx), 0);
}

// ---- Queries

// Triangles of a few units and of 8 bits, points of all distances.
TEST(distances_are_those_of_the_model) {
    const hull h;
    chull_vertex *const corners[] = {add_vertex(h, A), add_vertex(h, A), add_vertex(h, A)};
    MakeFace(h.ctx, corners[0], corners[1], corners[2], nullptr);
    generator random{1};
    for (int i = 0; i < 60000; ++i) {
        const int kind = i % 4, shift = i / 4 % 32;
        for (chull_vertex *corner : corners)
            for (int32_t &value : corner->coord)
                value = kind == 0 ? random.below(3) - 1 : random.below(256);
        point p;
        for (int32_t &value : p)
            value = kind == 3 ? random.below(10256) - 5000 : random.word() >> shift;
        model::expect_answers(h.ctx, "a face", p);
    }
}

TEST(points_in_line_are_collinear) {
    const point a = {1, 2, 3}, b = {2, 4, 7};
    for (const auto &[c, expected] : {std::pair{point{3, 6, 11}, 1}, {a, 1}, {{3, 6, 12}, 0}, {{3, 7, 11}, 0}})
        ck_assert_msg(Collinear(a.data(), b.data(), c.data()) == expected, "(%d, %d, %d)", c[0], c[1], c[2]);
}

TEST(a_hull_without_faces_answers_nothing) {
    const hull empty;
    uint32_t least = 7, most = 7;
    for (const chull_ctx *ctx : {empty.ctx, static_cast<chull_ctx *>(nullptr)}) {
        assert_text_eq(outcome([&] { return dist_to_chull(ctx, 0, 0, 0, &least, &most); }),
                       std::string("1 dist_to_chull: ") + (ctx ? "pCtx->faces" : "pHull") + " == NULL\n");
        ck_assert_uint_eq(least, 7);
        ck_assert_uint_eq(most, 7);
        ck_assert_int_eq(is_in_chull(ctx, 0, 0, 0), 0);
        ck_assert_int_eq(chull_volume6(ctx), 0);
        assert_text_eq(counts(ctx), "0 0 0");
    }
}

// ---- Checks, switches, files

TEST(numbers_of_a_sphere_are_checked) {
    const auto euler = [](int32_t V, int32_t E, int32_t F) { return outcome([=] { return CheckEuler(V, E, F); }); };
    assert_text_eq(euler(4, 6, 4), "0 ");
    assert_text_eq(euler(5, 8, 5), "1 CheckEuler: V, E, F = 5 8 5:\tChecks: F=5 != 2V-4=6; V=5\n");
    assert_text_eq(euler(INT32_MIN, 0, INT32_MAX),
                   "1 CheckEuler: V, E, F = -2147483648 0 2147483647:\tChecks: V-E+F != 2\n");
}

TEST(each_fault_is_found_by_its_check) {
    const hull h(kCube);
    const auto checks = [&h] { return outcome([&h] { return Checks(h.ctx); }); };
    assert_text_eq(checks(), "0 ");
    // Every face with two corners swapped, one at a time, the one at the first edge too.
    for (chull_face *face : listed(h.ctx->faces)) {
        std::swap(face->vert[0], face->vert[1]);
        assert_text_eq(checks(), "1 Consistency: edges are NOT consistent.\n");
        std::swap(face->vert[0], face->vert[1]);
    }
    chull_face *last = h.ctx->faces->prev;
    std::swap(last->edges[0], last->edges[1]);
    const std::string error = captured(stderr, [&] {
        std::fprintf(stderr, "CheckEndpts: Error!\n  addr: %8" PRIxPTR ";  edges:(%3d,%3d)\n",
                     reinterpret_cast<uintptr_t>(last), last->edges[0]->endpts[0]->vnum,
                     last->edges[0]->endpts[1]->vnum);
    });
    assert_text_eq(checks(), "1 " + error + "Checks: ERROR found and reported above.\n");
    std::fill_n(h.ctx->vertices->coord, 3, 128);
    assert_text_eq(checks(), "1 ");
    const hull crowded(kCube); // by a vertex inside
    add_vertex(crowded, {9, 9, 9}, 1);
    assert_text_eq(outcome([&] { return Checks(crowded.ctx); }),
                   "1 CheckEuler: V, E, F = 9 18 12:\tChecks: V-E+F != 2\n");
    // A face less: the edges around the gap have lost it.
    h.ctx->edges->adj[0] = nullptr;
    assert_text_eq(checks(), "1 Consistency: edges are NOT consistent.\n");
}

TEST(switches_report_every_step_and_change_nothing) {
    const cloud points = {A, B, C, D, {1, 1, 1}};
    const hull plain(points), checked, debugged;
    checked.ctx->check = debugged.ctx->debug = 1;
    assert_text_eq(outcome([&] { return checked.get(points); }),
                   "0 ConstructHull: After Add of 3 & Cleanup:\nConstructHull: After Add of 4 & Cleanup:\n");
    assert_text_eq(model::content(checked.ctx), model::content(plain.ctx));
    // A fault that is there already shows after the next point.
    checked.ctx->edges->adj[0] = checked.ctx->edges->adj[1];
    assert_text_eq(outcome([&] { return checked.get({A}); }),
                   "1 ConstructHull: After Add of 0 & Cleanup:\nConsistency: edges are NOT consistent.\n");

    const std::string text = outcome([&] { return debugged.get(points); });
    const std::string start = "0 DoubleTriangle: finished. Head repositioned at v3.\n\nHead vertex 3 = ";
    assert_text_eq(text.substr(0, start.size()), start);
    assert_text_eq(text.substr(text.rfind("\nHead"), 15), "\nHead vertex 4 ");
    assert_text_eq(model::content(debugged.ctx), model::content(plain.ctx));
    free_chull(nullptr), free_chull(checked.ctx);
    ck_assert_int_eq(checked.ctx->check, 1);
}

TEST(off_files_number_the_vertices) {
    const hull h(kTetrahedron);
    const auto written = [&h] {
        return captured(stdout, [&h] { ck_assert_int_eq(chull_to_file(h.ctx, "/dev/stdout"), 0); });
    };
    add_vertex(h, A)->vnum = 77;
    const std::string vertices = "0 0 255\n0 0 0\n255 0 0\n0 255 0\n", faces = "3 3 1 0\n3 1 2 0\n3 2 3 0\n";
    assert_text_eq(written(), "OFF\n4 4 6\n" + vertices + "3 3 2 1\n" + faces);
    for (int32_t place = 0; const chull_vertex *v : listed(h.ctx->vertices))
        ck_assert_int_eq(v->vnum, v->mark ? place++ : 77);
    // What isn't closed is reported and written all the same.
    h.ctx->faces->vis = 1;
    CleanFaces(h.ctx);
    assert_text_eq(outcome([&] { return written() == "OFF\n4 3 6\n" + vertices + faces; }),
                   "1 CheckEuler: V, E, F = 4 6 3:\tChecks: V-E+F != 2\n");
    ck_assert_int_eq(chull_to_file(h.ctx, "/nonexistent/hull.off"), 1);
}

// ---- get_chull() against its steps

// Whole lists, for clouds of every kind and hulls that grow; fuzz/chull.cpp goes on from here.
TEST(fast_and_stepped_construction_agree) {
    for (uint32_t seed = 0; seed < 60; ++seed)
        model::expect_hull(generator{seed}, 600);
}

// Pictures: space is divided more finely from 2^14 and from 2^17 points on.
TEST(hulls_of_many_points_hold_all_of_them) {
    for (const int count : {20000, 140000}) {
        generator random{1};
        cloud points(static_cast<size_t>(count));
        for (point &p : points) // a ball, so that many are near its surface
            do
                p = {random.below(256), random.below(256), random.below(256)};
            while (std::hypot(p[0] - 128, p[1] - 128, p[2] - 128) > 127);
        const hull h(points);
        ck_assert_int_eq(Checks(h.ctx), 0);
        for (size_t i = 0; i < points.size(); i += 97)
            ck_assert_int_eq(is_in_chull(h.ctx, points[i][0], points[i][1], points[i][2]), 1);
    }
}

// Growth of a hull that was changed after get_chull(): the steps define the result.
TEST(growth_of_altered_hulls_is_that_of_the_steps) {
    // The last vertex is a little above a face, so that it can be dented below it; the last of the new points is then
    // inside, and yet sees a face of the dent.
    const cloud dull = {A, B, C, D, {90, 90, 90}};
    // Two pyramids over a pentagon, whose corners can be taken by twos, so that it is wound twice.
    const cloud pentagon = {{228, 128, 90}, {159, 223, 90}, {47, 187, 90}, {47, 69, 90}, {159, 33, 90}};
    cloud bipyramid = pentagon, inside(20, {10, 10, 200}), outside = inside, beside = inside;
    bipyramid.insert(bipyramid.end(), {{128, 128, 0}, {128, 128, 180}});
    outside[18] = {128, 128, 0}, outside[19] = {128, 128, 1}, beside[19] = {250, 128, 91};
    const auto each_vertex = [](chull_ctx *ctx, auto change) { std::ranges::for_each(listed(ctx->vertices), change); };
    // clang-format off
    const std::tuple<const char *, cloud, cloud, std::function<void(chull_ctx *)>> rows[] = {
        {"a vertex to come", dull, outside, [](chull_ctx *ctx) { MakeNullVertex(ctx)->coord[0] = 300; }},
        {"an edge's faces swapped", dull, outside, [](auto *ctx) { std::swap(ctx->edges->adj[0], ctx->edges->adj[1]); }},
        {"an edge's face exchanged", dull, outside, [](auto *ctx) { ctx->edges->adj[0] = ctx->edges->prev->adj[0]; }},
        {"beside the range", dull, outside, [&](auto *ctx) { each_vertex(ctx, [](auto *v) { v->coord[0] += 100; }); }},
        {"beyond the range", dull, outside, [&](auto *ctx) { each_vertex(ctx, [](auto *v) { v->coord[0] *= 2000; }); }},
        {"dented", dull, outside, [](chull_ctx *ctx) { std::ranges::fill(ctx->vertices->next->coord, 80); }},
        {"inside out", dull, outside, [&](auto *ctx) { each_vertex(ctx, [](auto *v) { v->coord[0] ^= 255; }); }},
        {"wound twice", bipyramid, beside, [&](chull_ctx *ctx) { each_vertex(ctx, [&](auto *v) {
            if (v->vnum < 5) std::ranges::copy(pentagon[static_cast<size_t>(v->vnum * 2 % 5)], v->coord); }); }},
        {"an edge's face missing", dull, inside, [](chull_ctx *ctx) { ctx->edges->adj[0] = nullptr; }},
        {"a face's edge missing", dull, inside, [](chull_ctx *ctx) { ctx->faces->edges[1] = nullptr; }},
        {"an edge of an insertion", dull, outside, [](chull_ctx *ctx) { ctx->vertices->dup = ctx->edges; }},
        {"a face of an insertion", dull, inside, [](auto *ctx) { ctx->edges->pending_face = ctx->edges->adj[1]; }},
        {"an edge to be removed", dull, inside, [](chull_ctx *ctx) { ctx->edges->del = 1; }},
        {"a face to be removed", dull, inside, [](chull_ctx *ctx) { ctx->faces->vis = 1; }},
        {"a vertex not taken in", dull, inside, [](chull_ctx *ctx) { ctx->vertices->mark = 0; }},
        {"a vertex with an edge's mark", dull, inside, [](chull_ctx *ctx) { ctx->vertices->active = 1; }},
        {"a vertex on its own", dull, inside, [](chull_ctx *ctx) { MakeNullVertex(ctx)->mark = 1; }},
        {"vertices alone", {}, inside, [](auto *ctx) { MakeNullVertex(ctx)->mark = MakeNullVertex(ctx)->mark = 1; }},
    };
    // clang-format on
    for (const auto &[name, points, more, alter] : rows) {
        model::twins hulls;
        if (!points.empty())
            hulls.grow(points);
        hulls.given += name + std::string(": ");
        alter(hulls.fast.ctx), alter(hulls.stepped.ctx);
        hulls.grow(more);
    }
}

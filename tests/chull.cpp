// The standard headers come first: Check's macros get in the way of some.
#include <algorithm>
#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <vector>

#include "generated.hpp"
#include "models/chull.hpp"
#include "support.hpp"
#include <vela/chull.h>

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

uintptr_t address(const void *record) { return reinterpret_cast<uintptr_t>(record); }

std::string text_of(const point &p) {
    return "(" + std::to_string(p[0]) + ", " + std::to_string(p[1]) + ", " + std::to_string(p[2]) + ")";
}

std::string text_of(const std::array<point, 3> &corners) {
    return text_of(corners[0]) + " " + text_of(corners[1]) + " " + text_of(corners[2]);
}

// How many vertices, edges and faces there are.
std::string counts(const chull_ctx *ctx) {
    return std::to_string(chull_num_vertices(ctx)) + " " + std::to_string(chull_num_edges(ctx)) + " " +
           std::to_string(chull_num_faces(ctx));
}

} // namespace

// ---- Records

TEST(new_records_are_blank_and_come_last) {
    const hull h;
    assert_text_eq(h.content(), "\n\n");
    ck_assert_int_eq(h.ctx->debug, 0);
    ck_assert_int_eq(h.ctx->check, 0);
    chull_vertex *first = MakeNullVertex(h.ctx);
    MakeNullVertex(h.ctx), MakeNullEdge(h.ctx), MakeNullFace(h.ctx);
    first->vnum = first->mark = 2;
    assert_text_eq(h.content(), "2 0 0 0 2 0 -1,0 0 0 0 0 0 -1,\n-1 -1 -1 -1 -1 0,\n-1 -1 -1 -1 -1 -1 0,");
    assert_text_eq(counts(h.ctx), "1 1 1"); // without the vertex that isn't taken in
}

TEST(a_hull_that_was_freed_is_built_again) {
    const hull h(kCube);
    h.ctx->check = 7;
    free_chull(nullptr);
    free_chull(h.ctx);
    assert_text_eq(h.content(), "\n\n");
    ck_assert_int_eq(h.ctx->check, 7);
    h.ctx->check = 0;
    ck_assert_int_eq(h.get(kTetrahedron), 0);
    assert_text_eq(counts(h.ctx), "4 6 4");
}

TEST(listings_show_every_field) {
    const hull h;
    chull_vertex *v = MakeNullVertex(h.ctx), *second = MakeNullVertex(h.ctx);
    chull_edge *e = MakeNullEdge(h.ctx);
    chull_face *f = MakeNullFace(h.ctx);
    chull_vertex corner = *second, p = *second;
    corner.vnum = 8, corner.coord[2] = 40, p.vnum = 9, p.coord[0] = 1;
    *v = {{10, -20, 30}, 4, e, 5, 0, v, v}; // alone now
    *e = {{f, nullptr}, {v, &corner}, nullptr, 6, e, e};
    *f = {{e, nullptr, e}, {v, &corner, second}, 7, f, f};
    h.ctx->debug = 1;
    const std::string expected = captured(stderr, [&] {
        std::fprintf(stderr, "AddOne: starting to add v9.\n\nHead vertex 4 = %6" PRIxPTR " :\n", address(v));
        std::fprintf(stderr, "Vertex List\n  addr %6" PRIxPTR "\t  vnum    4   (    10,   -20,    30)", address(v));
        std::fprintf(stderr, "   active:  5   dup:%5" PRIxPTR "   mark: 0\nEdge List\n", address(e));
        std::fprintf(stderr, "  addr: %6" PRIxPTR "\tadj: %6" PRIxPTR "     0  endpts:", address(e), address(f));
        std::fprintf(stderr, "   4   8  del:  6\nFace List\n  addr: %10" PRIxPTR "    edges:", address(f));
        std::fprintf(stderr, "%10" PRIxPTR "          0 %10" PRIxPTR "   vert:   4   8   0", address(e), address(e));
        std::fprintf(stderr, "  vis: 7\nfaddr: %6" PRIxPTR "   paddr: %6" PRIxPTR, address(f), address(&p));
        std::fputs("   Vol = 800\n", stderr);
    });
    assert_text_eq(outcome([&] { return AddOne(h.ctx, &p); }), "0 " + expected);
    assert_text_eq(captured(stdout, [] { PrintPoint(point{1, -2, 3}.data()); }), "\t1\t-2\t3\n");
    free(second);
}

// ---- Construction

// Each row: points, outcome, vertices taken in, six times the volume.
TEST(known_points_have_known_hulls) {
    const std::string ok = "0 ", coplanar = "1 DoubleTriangle: All points coplanar!\n",
                      collinear = "1 DoubleTriangle: All points are Collinear!\n";
    cloud crowded = kCube;
    crowded.insert(crowded.end(), {{9, 9, 9}, {255, 9, 9}, {255, 255, 9}, {255, 255, 255}, A});
    // clang-format off
    const std::tuple<cloud, std::string, uint32_t, int32_t> rows[] = {
        {{}, collinear, 0, 0}, {{A}, collinear, 0, 0}, {{A, B}, collinear, 0, 0}, {{A, A, B, B, C, C}, collinear, 0, 0},
        {{A, {1, 2, 3}, {2, 4, 6}, {6, 12, 18}, {3, 6, 9}}, collinear, 0, 0}, {{A, B, C}, coplanar, 3, 0},
        {{A, A, B, C, {9, 9, 0}}, coplanar, 3, 0}, {{A, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, ok, 4, 1},
        {{A, A, B, C, A, D}, ok, 4, 16581375}, {kCube, ok, 8, 99488250}, {crowded, ok, 8, 99488250},
    };
    // clang-format on
    for (const auto &[points, expected, V, volume6] : rows) {
        const hull h;
        assert_text_eq(outcome([&h, &given = points] { return h.get(given); }), expected);
        const uint32_t E = V ? 3 * V - 6 : 0, F = V ? 2 * V - 4 : 0;
        assert_text_eq(counts(h.ctx), std::to_string(V) + " " + std::to_string(E) + " " + std::to_string(F));
        ck_assert_int_eq(chull_volume6(h.ctx), volume6);
        // The points of a failed call are listed, but not counted.
        ck_assert_uint_eq(listed(h.ctx->vertices).size(), expected == ok ? V : points.size());
    }
}

TEST(lists_are_in_the_order_of_the_steps) {
    const hull h;
    ck_assert_int_eq(h.get(kTetrahedron, true), 0);
    assert_text_eq(h.content(), "3 0 0 255 1 0 -1,0 0 0 0 1 0 -1,1 255 0 0 1 0 -1,2 0 255 0 1 0 -1,\n"
                                "1 3 0 1 -1 0,2 1 0 2 -1 0,3 2 0 3 -1 0,1 0 1 2 -1 0,3 0 1 3 -1 0,2 0 2 3 -1 0,\n"
                                "3 2 1 2 1 0 0,3 1 0 0 3 4 0,1 2 0 1 5 3 0,2 3 0 2 4 5 0,");
}

TEST(edges_come_into_the_order_of_the_corners) {
    const hull h({C, D, B, A});
    h.ctx->debug = 1;
    // Only the first face of the starting triangle needs it, and it is still there: the apex is behind it.
    const auto order = [&h] { return EdgeOrderOnFaces(h.ctx); };
    assert_text_eq(outcome(order), "0 Making a swap in EdgeOrderOnFaces: F(0,1,2): e[0] and e[1]\n"
                                   "Making a swap in EdgeOrderOnFaces: F(0,1,2): e[1] and e[2]\n");
    assert_text_eq(outcome(order), "0 ");
    const std::string content = h.content();
    assert_text_eq(content.substr(content.rfind('\n')), "\n1 2 3 1 2 0 0,1 3 0 0 4 3 0,2 1 0 1 3 5 0,3 2 0 2 5 4 0,");
}

TEST(steps_by_hand_add_what_is_outside) {
    const hull h(kTetrahedron);
    chull_vertex *inside = MakeNullVertex(h.ctx), *outside = MakeNullVertex(h.ctx);
    std::ranges::copy(point{1, 1, 1}, inside->coord);
    std::ranges::copy(point{-9, -9, 300}, outside->coord);
    inside->mark = outside->mark = inside->active = 1;
    ck_assert_int_eq(AddOne(h.ctx, inside), 0);
    ck_assert_int_eq(inside->active, 0);
    ck_assert_int_eq(AddOne(h.ctx, outside), 1);
    ck_assert_ptr_nonnull(h.ctx->vertices->next->dup);
    // The top, which is the head, is hidden now and goes, and so does the point inside, on which the cursor stands.
    chull_vertex *cursor = inside;
    CleanUp(h.ctx, &cursor);
    ck_assert_ptr_eq(cursor, outside);
    ck_assert_uint_eq(listed(h.ctx->vertices).size(), 4);
    ck_assert_int_eq(Checks(h.ctx), 0);
}

TEST(an_edge_with_two_faces_keeps_them) {
    const hull h(kTetrahedron);
    chull_vertex *outside = MakeNullVertex(h.ctx);
    std::ranges::copy(point{-9, -9, -9}, outside->coord);
    ck_assert_int_eq(AddOne(h.ctx, outside), 1);
    const auto edges = listed(h.ctx->edges);
    chull_edge *horizon = *std::ranges::find_if(edges, [](auto *e) { return e->pending_face != nullptr; });
    const chull_edge *spoke = horizon->endpts[0]->dup;
    const chull_face *faces[] = {spoke->adj[0], spoke->adj[1]};
    ck_assert_ptr_nonnull(MakeConeFace(h.ctx, horizon, outside));
    ck_assert_ptr_eq(spoke->adj[0], faces[0]);
    ck_assert_ptr_eq(spoke->adj[1], faces[1]);
}

TEST(vertices_without_edges_go_unless_they_are_still_to_come) {
    const hull h(kTetrahedron);
    chull_vertex *unseen = MakeNullVertex(h.ctx);
    for (; h.ctx->edges; CleanEdges(h.ctx))
        h.ctx->edges->del = 1;
    chull_vertex *cursor = h.ctx->vertices;
    CleanVertices(h.ctx, &cursor);
    ck_assert_ptr_eq(cursor, unseen);
    ck_assert_ptr_eq(h.ctx->vertices, unseen);
    unseen->mark = 1;
    CleanVertices(h.ctx, &cursor);
    ck_assert_ptr_null(cursor);
    ck_assert_ptr_null(h.ctx->vertices);
    ck_assert_int_eq(ConstructHull(h.ctx), 0);
}

// ---- Queries

namespace {

// A face on its own, of any corners.
struct triangle {
    std::array<chull_vertex, 3> vertices = {};
    chull_face face = {};

    explicit triangle(const std::array<point, 3> &corners) {
        for (size_t i = 0; i < 3; ++i) {
            std::ranges::copy(corners[i], vertices[i].coord);
            face.vert[i] = &vertices[i];
        }
    }
};

void assert_as_in_model(const std::array<point, 3> &corners, const point &p) {
    const triangle t(corners);
    const std::string input = text_of(corners) + " from " + text_of(p);
    const int32_t volume = Volume(&t.face, p.data()), product = dot(corners[0].data(), p.data());
    ck_assert_msg(volume == model::volume(corners, p), "%s: Volume %d, not %d", input.c_str(), volume,
                  model::volume(corners, p));
    ck_assert_msg(product == model::dot(corners[0], p), "%s: dot %d, not %d", input.c_str(), product,
                  model::dot(corners[0], p));
    const model::nearest nearest = model::nearest_point(corners, p);
    const auto apart =
        static_cast<uint32_t>(model::dot(model::difference(nearest.q, p), model::difference(nearest.q, p)));
    const uint32_t distance = pt_to_tri_dist_sq(&t.face, p.data());
    ck_assert_msg(distance == apart, "%s: distance %u, not %u, that of %s on part %d", input.c_str(), distance, apart,
                  text_of(nearest.q).c_str(), static_cast<int>(nearest.where));
}

// What dist_to_chull() and is_in_chull() say: result, least, most; inside.
std::string answers(const hull &h, const point &p) {
    uint32_t least = 7, most = 7;
    const int32_t result = dist_to_chull(h.ctx, p[0], p[1], p[2], &least, &most);
    return std::to_string(result) + " " + std::to_string(least) + " " + std::to_string(most) + "; " +
           std::to_string(is_in_chull(h.ctx, p[0], p[1], p[2]));
}

} // namespace

// Coordinates of all sizes, from the range of bytes to that of integers, and points far away from small triangles.
TEST(distances_and_orientations_are_those_of_the_model) {
    generator random{1};
    for (int i = 0; i < 40000; ++i) {
        std::array<point, 3> corners;
        const auto make = [&](point &p, int shift) {
            std::ranges::generate(p, [&] { return random.word() >> shift; });
        };
        const int any = i / 4 % 32;
        for (point &corner : corners)
            make(corner, i % 2 ? 24 : any);
        point p;
        make(p, i % 4 == 1 ? 23 : any);
        assert_as_in_model(corners, p);
    }
    // Sides of length 1 and points at the ends of what can be scaled by 512.
    for (const int32_t far : {4194303, 4194304, 4194305, 8388608, INT32_MAX, INT32_MIN})
        for (const int32_t sign : {1, -1})
            for (const point &p : {point{far, 0, 0}, point{0, far, 0}, point{0, far, sign}, point{far, far, 1}})
                for (const int32_t x : {0, 1, 2})
                    assert_as_in_model({A, {sign, x, 0}, {0, 1, 0}}, p);
}

TEST(a_cube_answers_for_known_points) {
    const hull cube(kCube);
    assert_text_eq(answers(cube, {255, 10, 10}), "0 0 92873; 1");
    assert_text_eq(answers(cube, {256, 10, 10}), "0 1 93384; 0");
    assert_text_eq(answers(cube, {128, 128, 128}), "0 16129 16384; 1");
    assert_text_eq(answers(cube, {-3, -4, 300}), "0 2050 124322; 0");
}

TEST(a_hull_without_faces_answers_nothing) {
    const hull empty;
    assert_text_eq(outcome([&] { return answers(empty, A) == "1 7 7; 0"; }), "1 dist_to_chull: pCtx->faces == NULL\n");
    uint32_t least = 7, most = 7;
    assert_text_eq(outcome([&] { return dist_to_chull(nullptr, 0, 0, 0, &least, &most); }),
                   "1 dist_to_chull: pHull == NULL\n");
    ck_assert_uint_eq(least, 7);
    ck_assert_uint_eq(most, 7);
    ck_assert_int_eq(is_in_chull(nullptr, 0, 0, 0), 0);
    for (const auto count : {chull_num_vertices, chull_num_edges, chull_num_faces})
        ck_assert_uint_eq(count(nullptr), 0);
    ck_assert_int_eq(chull_volume6(nullptr), 0);
    ck_assert_int_eq(chull_volume6(empty.ctx), 0);
}

// ---- Checks, switches, files

TEST(numbers_of_a_sphere_are_checked) {
    const auto euler = [](int32_t V, int32_t E, int32_t F) { return outcome([=] { return CheckEuler(V, E, F); }); };
    assert_text_eq(euler(4, 6, 4), "0 ");
    assert_text_eq(euler(4, 6, 5), "1 CheckEuler: V, E, F = 4 6 5:\tChecks: V-E+F != 2\n");
    assert_text_eq(euler(5, 8, 5), "1 CheckEuler: V, E, F = 5 8 5:\tChecks: F=5 != 2V-4=6; V=5\n");
    assert_text_eq(euler(INT32_MIN, 0, INT32_MAX),
                   "1 CheckEuler: V, E, F = -2147483648 0 2147483647:\tChecks: V-E+F != 2\n");
}

TEST(each_fault_is_found_by_its_check) {
    const hull cube(kCube), h(kTetrahedron);
    const auto result = [](const hull &of, auto check) { return outcome([&] { return check(of.ctx); }); };
    assert_text_eq(result(cube, Checks), "0 ");
    // Every face with two corners swapped, one at a time, the one at the first edge too.
    for (chull_face *face : listed(cube.ctx->faces)) {
        std::swap(face->vert[0], face->vert[1]);
        assert_text_eq(result(cube, Checks), "1 Consistency: edges are NOT consistent.\n");
        std::swap(face->vert[0], face->vert[1]);
    }
    std::fill_n(cube.ctx->vertices->coord, 3, 128);
    assert_text_eq(result(cube, Convexity), "1 ");
    assert_text_eq(result(cube, Checks), "1 ");

    chull_face *face = h.ctx->faces->prev;
    std::swap(face->edges[0], face->edges[1]);
    const std::string error = captured(stderr, [&] {
        std::fprintf(stderr, "CheckEndpts: Error!\n  addr: %8" PRIxPTR ";  edges:(%3d,%3d)\n", address(face),
                     face->edges[0]->endpts[0]->vnum, face->edges[0]->endpts[1]->vnum);
    });
    assert_text_eq(result(h, Checks), "1 " + error + "Checks: ERROR found and reported above.\n");
    // A face less: the edges around the gap have lost it.
    h.ctx->edges->adj[0] = nullptr;
    assert_text_eq(result(h, Consistency), "1 Consistency: edges are NOT consistent.\n");
}

TEST(switches_report_every_step_and_change_nothing) {
    const cloud points = {A, B, C, D, {1, 1, 1}};
    const hull plain(points), checked, debugged;
    checked.ctx->check = debugged.ctx->debug = 1;
    assert_text_eq(outcome([&] { return checked.get(points); }),
                   "0 ConstructHull: After Add of 3 & Cleanup:\nConstructHull: After Add of 4 & Cleanup:\n");
    assert_text_eq(checked.content(), plain.content());
    // A fault that is there already shows after the next point.
    checked.ctx->edges->adj[0] = checked.ctx->edges->adj[1];
    assert_text_eq(outcome([&] { return checked.get({A}); }),
                   "1 ConstructHull: After Add of 0 & Cleanup:\nConsistency: edges are NOT consistent.\n");

    const std::string text = outcome([&] { return debugged.get(points); });
    const std::string start = "0 DoubleTriangle: finished. Head repositioned at v3.\n\nHead vertex 3 = ";
    const std::string last = "\nHead vertex 4 = ";
    assert_text_eq(text.substr(0, start.size()), start);
    assert_text_eq(text.substr(text.rfind("\nHead"), last.size()), last);
    assert_text_eq(debugged.content(), plain.content());
}

TEST(off_files_number_the_vertices) {
    const hull h(kTetrahedron);
    const auto written = [&h] {
        return captured(stdout, [&h] { ck_assert_int_eq(chull_to_file(h.ctx, "/dev/stdout"), 0); });
    };
    MakeNullVertex(h.ctx)->vnum = 77;
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

namespace {

// The kinds of cloud, each of which meets other special cases.
constexpr int kKinds = 11;
cloud generate(generator &random, int kind, int count) {
    const auto any = [&random](uint32_t end) { return random.below(end); };
    // From the middle of the range to its ends.
    const auto scaled = [](double value) { return static_cast<int32_t>(std::lround(127.5 + 127.5 * value)); };
    const auto size = static_cast<uint32_t>(2 + any(15));
    cloud points(static_cast<size_t>(count));
    for (int t = 0; point & p : points) {
        const int a = any(256), b = any(256), c = any(256), sign = any(2) * 2 - 1;
        const double angle = any(1000) * 0.006283185, z = any(2001) / 1000. - 1;
        const double x = std::sqrt(1 - z * z) * std::cos(angle), y = std::sqrt(1 - z * z) * std::sin(angle);
        // clang-format off
        switch (kind) {
        case 0: p = {a, b, c}; break;
        case 1: p = {scaled(x * c / 255), scaled(y * c / 255), scaled(z)}; break; // a ball
        case 2: p = {scaled(x), scaled(y), scaled(z)}; break; // its surface
        case 3: p = {scaled(std::cos(angle)), scaled(std::sin(angle)), scaled(sign)}; break; // long fans in two planes
        case 4: p = {any(size), any(size), any(size)}; break; // a lattice: many in each plane, in line and equal
        case 5: p = {any(size) * 15, any(size) * 15, any(3)}; break; // three planes of a lattice
        case 6: p = {t % 200, t % 200 / 2 + !any(50), 40 + !any(80)}; break; // a line, now and then a step aside
        case 7: p = {any(2) * 255, any(2) * 255, any(2) * 255}; break;
        case 8: p = {a, b, std::clamp(a + b - 128, 0, 255)}; break; // a plane across the range, bent at its rim
        // It grows with every few points, so that vertices come and go.
        case 9: p = {128 + sign * (t / 4 % 128), 128 + (c % 2 * 2 - 1) * (t / 5 % 128), a}; break;
        default: p = {7, 7 + !any(20), 7 + !any(20)};
        }
        // clang-format on
        ++t;
    }
    return points;
}

// Gives the same points to two hulls, one fast and one in steps; says whether there is a hull then.
bool grow(const hull &fast, const hull &stepped, const cloud &points, const std::string &name) {
    const std::string expected = outcome([&] { return stepped.get(points, true); });
    const std::string actual = outcome([&] { return fast.get(points); });
    ck_assert_msg(actual == expected, "%s: %s, not %s", name.c_str(), actual.c_str(), expected.c_str());
    const std::string list = fast.content(), stepped_list = stepped.content();
    ck_assert_msg(list == stepped_list, "%s:\n%s\nnot\n%s", name.c_str(), list.c_str(), stepped_list.c_str());
    return expected == "0 ";
}

} // namespace

// Whole lists, for clouds of every kind and hulls that grow; fuzz/chull.cpp goes on from here.
TEST(fast_and_stepped_construction_agree) {
    // Of eight points around the start nothing stays.
    cloud nested = kCube;
    for (point &p : nested)
        std::ranges::transform(p, p.begin(), [](int32_t value) { return value ? 11 : 10; });
    nested.insert(nested.end(), {A, D, C, B});
    do
        grow(hull(), hull(), nested, "a small start");
    while (std::next_permutation(nested.begin() + 8, nested.end()));
    for (int seed = 0; seed < 6 * kKinds; ++seed) {
        generator random{static_cast<uint32_t>(seed)};
        const hull fast, stepped;
        // Sizes spread over the orders of magnitude.
        int count = static_cast<int>(std::pow(600, random.below(1001) / 1000.)), kind = seed % kKinds;
        for (int turn = 0; turn < 4; ++turn) {
            const std::string name = "seed " + std::to_string(seed) + ", turn " + std::to_string(turn);
            if (!grow(fast, stepped, generate(random, kind, count), name))
                break;
            ck_assert_int_eq(Checks(fast.ctx), 0);
            EdgeOrderOnFaces(fast.ctx), EdgeOrderOnFaces(stepped.ctx);
            count = 1 + random.below(200), kind = random.below(kKinds);
        }
    }
}

// Growth where the hull isn't what get_chull() left behind: only the steps know what follows from that.
TEST(growth_of_altered_hulls_is_that_of_the_steps) {
    // The last vertex stands a little above a face, so that it can be dented below it; the last of the new points is
    // then inside, and yet sees a face of the dent.
    const cloud dull = {A, B, C, D, {90, 90, 90}};
    // Two pyramids over a pentagon, whose corners can be taken by twos, so that it is wound twice.
    const cloud pentagon = {{228, 128, 90}, {159, 223, 90}, {47, 187, 90}, {47, 69, 90}, {159, 33, 90}},
                bipyramid = {pentagon[0], pentagon[1],   pentagon[2],    pentagon[3],
                             pentagon[4], {128, 128, 0}, {128, 128, 180}};
    const cloud none, inside(20, {10, 10, 200});
    cloud outside = inside, beside = inside;
    outside[18] = {128, 128, 0}, outside[19] = {128, 128, 1}, beside[19] = {250, 128, 91};
    const auto each_vertex = [](chull_ctx *ctx, auto change) { std::ranges::for_each(listed(ctx->vertices), change); };
    // clang-format off
    const std::tuple<const char *, const cloud &, const cloud &, std::function<void(chull_ctx *)>> rows[] = {
        {"as it was", dull, outside, [](chull_ctx *) {}},
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
        {"vertices alone", none, inside, [](auto *ctx) { MakeNullVertex(ctx)->mark = MakeNullVertex(ctx)->mark = 1; }},
    };
    // clang-format on
    for (const auto &[name, points, more, alter] : rows) {
        const hull fast, stepped;
        if (!points.empty())
            grow(fast, stepped, points, name);
        alter(fast.ctx), alter(stepped.ctx);
        grow(fast, stepped, more, name);
    }
}

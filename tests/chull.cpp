// The standard headers come first: Check's macros get in the way of some.
#include <algorithm>
#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdlib>
#include <map>
#include <vector>

#include "generated.hpp"
#include "support.hpp"
#include <vela/chull.h>

namespace {

using point = std::array<int32_t, 3>;
using cloud = std::vector<point>;

constexpr point A = {0, 0, 0}, B = {255, 0, 0}, C = {0, 255, 0}, D = {0, 0, 255};
const cloud kTetrahedron = {A, B, C, D};
const cloud kCube = {A, B, C, D, {255, 255, 0}, {255, 0, 255}, {0, 255, 255}, {255, 255, 255}};

template <class Record>
std::vector<Record *> listed(Record *head) {
    std::vector<Record *> records;
    for (Record *record = head; record && (records.empty() || record != head); record = record->next) {
        ck_assert_ptr_eq(record->next->prev, record);
        records.push_back(record);
    }
    return records;
}

// The result of a call and what it says on stderr.
template <class Call>
std::string outcome(Call call) {
    int32_t result = -1;
    const std::string message = captured(stderr, [&] { result = call(); });
    return std::to_string(result) + " " + message;
}

uintptr_t address(const void *record) { return reinterpret_cast<uintptr_t>(record); }

// A hull that is released at the end of the test.
struct hull {
    chull_ctx *ctx = nullptr;

    hull() { ck_assert_int_eq(alloc_chull(&ctx), 0); }
    explicit hull(const cloud &points) : hull() { ck_assert_int_eq(get(points), 0); }
    hull(const hull &) = delete;
    ~hull() { free_chull(ctx), free(ctx); }
    // get_chull(), or what it does in the exported steps.
    int32_t get(const cloud &points, bool in_steps = false) const {
        std::vector<uint8_t> axes[3];
        for (const point &p : points)
            for (size_t k = 0; k < 3; ++k)
                axes[k].push_back(static_cast<uint8_t>(p[k]));
        const uint8_t *xs = axes[0].data(), *ys = axes[1].data(), *zs = axes[2].data();
        const auto count = static_cast<int32_t>(points.size());
        if (!in_steps)
            return get_chull(xs, ys, zs, count, ctx);
        const bool was_empty = !ctx->vertices;
        ck_assert_int_eq(ReadVertices(ctx, xs, ys, zs, count), 0);
        return was_empty && DoubleTriangle(ctx) ? 1 : ConstructHull(ctx);
    }
    std::string content() const;
};

// Everything that the lists say, a line for each, with records numbered by their places. A vertex is vnum, coord, mark,
// active, dup; an edge is endpts, adj, pending_face, del; a face is vert, edges, vis.
std::string hull::content() const {
    std::map<const void *, int> at = {{nullptr, -1}};
    std::string text;
    const auto number = [&at](auto *head) {
        for (int place = 0; const auto *record : listed(head))
            at[record] = place++;
    };
    const auto write = [&text](std::initializer_list<int> values) {
        for (const int value : values)
            text += std::to_string(value) + " ";
        text.back() = ',';
    };
    number(ctx->vertices), number(ctx->edges), number(ctx->faces);
    for (const auto *v : listed(ctx->vertices))
        write({v->vnum, v->coord[0], v->coord[1], v->coord[2], v->mark, v->active, at[v->dup]});
    text += '\n';
    for (const auto *e : listed(ctx->edges))
        write({at[e->endpts[0]], at[e->endpts[1]], at[e->adj[0]], at[e->adj[1]], at[e->pending_face], e->del});
    text += '\n';
    for (const auto *f : listed(ctx->faces)) {
        const auto &[edges, corners, vis, next, prev] = *f;
        write({at[corners[0]], at[corners[1]], at[corners[2]], at[edges[0]], at[edges[1]], at[edges[2]], vis});
    }
    return text;
}

} // namespace

START_TEST(records_and_listings)
{
    const hull h;
    ck_assert(!h.ctx->vertices && !h.ctx->edges && !h.ctx->faces && !h.ctx->debug && !h.ctx->check);
    chull_vertex *v = MakeNullVertex(h.ctx), *second = MakeNullVertex(h.ctx);
    chull_edge *e = MakeNullEdge(h.ctx);
    chull_face *f = MakeNullFace(h.ctx);
    v->vnum = v->mark = 2;
    assert_text_eq(h.content(), "2 0 0 0 2 0 -1,0 0 0 0 0 0 -1,\n-1 -1 -1 -1 -1 0,\n-1 -1 -1 -1 -1 -1 0,");
    ck_assert(chull_num_vertices(h.ctx) == 1 && chull_num_edges(h.ctx) == 1 && chull_num_faces(h.ctx) == 1);
    ck_assert(!chull_num_vertices(nullptr) && !chull_num_edges(nullptr) && !chull_num_faces(nullptr));

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
    free_chull(h.ctx);
    h.ctx->debug = 0;
    ck_assert(!h.ctx->vertices && !h.ctx->edges && !h.ctx->faces && h.get(kTetrahedron) == 0);
}
END_TEST

// Each row: points, outcome, vertices taken in, six times the volume.
START_TEST(hulls_of_known_points)
{
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
        ck_assert_uint_eq(chull_num_vertices(h.ctx), V);
        ck_assert(chull_num_edges(h.ctx) == (V ? 3 * V - 6 : 0) && chull_num_faces(h.ctx) == (V ? 2 * V - 4 : 0));
        ck_assert_int_eq(chull_volume6(h.ctx), volume6);
        // The points of a failed call are listed, but not counted.
        ck_assert_uint_eq(listed(h.ctx->vertices).size(), expected == ok ? V : points.size());
    }
}
END_TEST

START_TEST(order_within_the_lists)
{
    const hull h, unordered({C, D, B, A});
    ck_assert_int_eq(h.get(kTetrahedron, true), 0);
    assert_text_eq(h.content(), "3 0 0 255 1 0 -1,0 0 0 0 1 0 -1,1 255 0 0 1 0 -1,2 0 255 0 1 0 -1,\n"
                                "1 3 0 1 -1 0,2 1 0 2 -1 0,3 2 0 3 -1 0,1 0 1 2 -1 0,3 0 1 3 -1 0,2 0 2 3 -1 0,\n"
                                "3 2 1 2 1 0 0,3 1 0 0 3 4 0,1 2 0 1 5 3 0,2 3 0 2 4 5 0,");
    // Only the first face of the starting triangle needs it, and it is still there: the apex is behind it.
    unordered.ctx->debug = 1;
    const auto order = [&unordered] { return EdgeOrderOnFaces(unordered.ctx); };
    assert_text_eq(outcome(order), "0 Making a swap in EdgeOrderOnFaces: F(0,1,2): e[0] and e[1]\n"
                                   "Making a swap in EdgeOrderOnFaces: F(0,1,2): e[1] and e[2]\n");
    assert_text_eq(outcome(order), "0 ");
    ck_assert(unordered.content().ends_with("\n1 2 3 1 2 0 0,1 3 0 0 4 3 0,2 1 0 1 3 5 0,3 2 0 2 5 4 0,"));
}
END_TEST

START_TEST(steps_by_hand)
{
    const hull h(kTetrahedron);
    chull_vertex *inside = MakeNullVertex(h.ctx), *outside = MakeNullVertex(h.ctx), *unseen = MakeNullVertex(h.ctx);
    std::ranges::copy(point{1, 1, 1}, inside->coord);
    std::ranges::copy(point{-9, -9, 300}, outside->coord);
    inside->mark = outside->mark = inside->active = 1;
    ck_assert(AddOne(h.ctx, inside) == 0 && inside->active == 0);
    ck_assert(AddOne(h.ctx, outside) == 1 && h.ctx->vertices->next->dup);
    // The top, which is the head, is hidden now and goes, and so does the point inside, on which the cursor stands.
    chull_vertex *cursor = inside;
    CleanUp(h.ctx, &cursor);
    ck_assert(cursor == outside && listed(h.ctx->vertices).size() == 5 && Checks(h.ctx) == 0);

    // With no edge left every vertex that was taken in goes, the head and the last one too.
    for (; h.ctx->edges; CleanEdges(h.ctx))
        h.ctx->edges->del = 1;
    unseen->mark = 1, cursor = unseen;
    CleanVertices(h.ctx, &cursor);
    ck_assert(!cursor && !h.ctx->vertices && ConstructHull(h.ctx) == 0);
}
END_TEST

// A point's orientation and the squared distance to the nearest point as rounded. Far away the arithmetic wraps.
START_TEST(points_and_what_they_see)
{
    const hull h(kTetrahedron), cube(kCube), empty;
    chull_face *face = h.ctx->faces;
    const auto measure = [face](const cloud &corners, const point &p) {
        for (size_t i = 0; i < 3; ++i)
            std::ranges::copy(corners[i], face->vert[i]->coord);
        return std::pair(Volume(face, p.data()), pt_to_tri_dist_sq(face, p.data()));
    };
    // clang-format off
    const cloud right = {A, B, C}, sharp = {A, {100, 0, 0}, {200, 100, 0}}, blunt = {A, {100, 0, 0}, {-100, 100, 0}};
    const std::tuple<cloud, point, int32_t, uint32_t> rows[] = {
        {right, {9, 9, -1}, 65025, 1}, {right, {9, 9, 0}, 0, 0}, {right, {10, 10, 50}, -3251250, 2500},
        {right, {300, 300, 0}, 0, 59168}, {right, {-20, -30, 0}, 0, 1300}, {right, {100, -40, 7}, -455175, 1649},
        {sharp, {37, -76, 0}, 0, 5776}, {blunt, {125, -140, 0}, 0, 35225}, {cloud(3), {0, 3, 4}, 0, 25},
        {right, {0, 0, INT32_MIN}, INT32_MIN, 0}, {sharp, {-90000, 5000000, 7}, -70000, 1836452737},
    };
    // clang-format on
    for (const auto &[corners, p, volume, distance] : rows)
        ck_assert(measure(corners, p) == std::pair(volume, distance));
    // From the range of coordinates to that of integers, where all faces may come out as unseen from outside.
    generator random{1};
    digest digest;
    for (int i = 0; i < 5000; ++i) {
        cloud corners(4);
        for (point &corner : corners)
            std::ranges::generate(corner, [&] { return random.word() >> (i % 2 ? 22 : i % 32); });
        const point p = corners[3];
        const auto [volume, distance] = measure(corners, p);
        digest.add(std::array{volume, static_cast<int32_t>(distance), dot(corners[0].data(), p.data())});
        const auto sees = [&p](const chull_face *f) { return Volume(f, p.data()) < 0; };
        ck_assert_int_eq(is_in_chull(h.ctx, p[0], p[1], p[2]), std::ranges::none_of(listed(h.ctx->faces), sees));
    }
    assert_digest(digest, 0x5A2643EBE9CC0035);
    uint32_t least = 7, most = 7;
    const auto ask = [&](const point &p) {
        ck_assert_int_eq(dist_to_chull(cube.ctx, p[0], p[1], p[2], &least, &most), 0);
        return std::array{static_cast<uint32_t>(is_in_chull(cube.ctx, p[0], p[1], p[2])), least, most};
    };
    ck_assert(ask({255, 10, 10}) == (std::array{1U, 0U, 92873U}) && ask({256, 10, 10}) == (std::array{0U, 1U, 93384U}));
    ck_assert(ask({128, 128, 128}) == (std::array{1U, 16129U, 16384U}));
    ck_assert(ask({-3, -4, 300}) == (std::array{0U, 2050U, 124322U}));
    least = most = 7;
    for (const chull_ctx *none : {static_cast<chull_ctx *>(nullptr), empty.ctx}) {
        assert_text_eq(outcome([&] { return dist_to_chull(none, 0, 0, 0, &least, &most); }),
                       none ? "1 dist_to_chull: pCtx->faces == NULL\n" : "1 dist_to_chull: pHull == NULL\n");
        ck_assert(least == 7 && most == 7 && is_in_chull(none, 0, 0, 0) == 0 && chull_volume6(none) == 0);
    }
}
END_TEST

START_TEST(checks_and_switches)
{
    const auto euler = [](int32_t V, int32_t E, int32_t F) { return outcome([=] { return CheckEuler(V, E, F); }); };
    assert_text_eq(euler(4, 6, 4), "0 ");
    assert_text_eq(euler(4, 6, 5), "1 CheckEuler: V, E, F = 4 6 5:\tChecks: V-E+F != 2\n");
    assert_text_eq(euler(5, 8, 5), "1 CheckEuler: V, E, F = 5 8 5:\tChecks: F=5 != 2V-4=6; V=5\n");
    assert_text_eq(euler(INT32_MIN, 0, INT32_MAX),
                   "1 CheckEuler: V, E, F = -2147483648 0 2147483647:\tChecks: V-E+F != 2\n");

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
    assert_text_eq(result(cube, Convexity) + result(cube, Checks), "1 1 ");

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

    // With the switches on, construction reports every step and ends with the same lists.
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
    ck_assert(text.starts_with("0 DoubleTriangle: finished. Head repositioned at v3.\n\nHead vertex 3 = "));
    ck_assert(text.substr(text.rfind("\nHead")).starts_with("\nHead vertex 4 = "));
    assert_text_eq(debugged.content(), plain.content());
}
END_TEST

START_TEST(off_files)
{
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
END_TEST

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
bool grow(const hull &fast, const hull &stepped, const cloud &points, int number) {
    const std::string expected = outcome([&] { return stepped.get(points, true); });
    ck_assert_msg(outcome([&] { return fast.get(points); }) == expected, "hull %d is not %s", number, expected.c_str());
    ck_assert_msg(fast.content() == stepped.content(), "the lists of hull %d differ", number);
    return expected == "0 ";
}

} // namespace

// Whole lists, for clouds of every kind and hulls that grow. A few dozen clouds; for the full comparison:
//     VELA_CHULL_CLOUDS=5500 vela_tests -s chull
START_TEST(fast_and_stepped_construction_agree)
{
    const char *wanted = std::getenv("VELA_CHULL_CLOUDS");
    const int clouds = wanted ? std::atoi(wanted) : 6 * kKinds, limit = wanted ? 20000 : 600;
    for (int seed = 0; seed < clouds; ++seed) {
        generator random{static_cast<uint32_t>(seed)};
        const hull fast, stepped;
        // Sizes spread over the orders of magnitude.
        int count = static_cast<int>(std::pow(limit, random.below(1001) / 1000.)), kind = seed % kKinds;
        for (int turn = 0; turn < 4 && grow(fast, stepped, generate(random, kind, count), seed); ++turn) {
            ck_assert_int_eq(Checks(fast.ctx), 0);
            EdgeOrderOnFaces(fast.ctx), EdgeOrderOnFaces(stepped.ctx);
            count = 1 + random.below(200), kind = random.below(kKinds);
        }
    }
}
END_TEST

// Growth where the hull isn't what get_chull() left behind: only the steps know what follows from that.
START_TEST(growth_of_altered_hulls)
{
    void (*const alterations[])(chull_ctx *) = {
        [](chull_ctx *) {},
        [](chull_ctx *ctx) { MakeNullVertex(ctx)->coord[0] = 300; },
        [](chull_ctx *ctx) { std::swap(ctx->edges->adj[0], ctx->edges->adj[1]); },
        // Beside the range, dented, inside out.
        [](chull_ctx *ctx) { std::ranges::for_each(listed(ctx->vertices), [](auto *v) { v->coord[0] += 100; }); },
        [](chull_ctx *ctx) { std::ranges::fill(ctx->vertices->next->coord, 80); },
        [](chull_ctx *ctx) { std::ranges::for_each(listed(ctx->vertices), [](auto *v) { v->coord[0] ^= 255; }); },
    };
    // The last vertex stands a little above a face, so that it can be dented below it; the last of the new points is
    // then inside, and yet sees a face of the dent.
    const cloud points = {A, B, C, D, {90, 90, 90}};
    cloud more(20, {10, 10, 200});
    more[18] = {128, 128, 0}, more[19] = {128, 128, 1};
    for (int number = 0; const auto alter : alterations) {
        const hull fast(points), stepped(points);
        alter(fast.ctx), alter(stepped.ctx);
        grow(fast, stepped, more, number++);
    }
}
END_TEST

Suite *chull_suite() {
    Suite *suite = suite_create("chull");
    TCase *tests = tcase_create("chull");
    tcase_set_timeout(tests, 1800);
    for (const TTest *test :
         {records_and_listings, hulls_of_known_points, order_within_the_lists, steps_by_hand, points_and_what_they_see,
          checks_and_switches, off_files, fast_and_stepped_construction_agree, growth_of_altered_hulls})
        tcase_add_test(tests, test);
    suite_add_tcase(suite, tests);
    return suite;
}

// Checks of a hull's structure, listings of its records, and the OFF file.
#include "common/diagnostics.hpp"
#include "listing.hpp"
#include "results.hpp"
#include "ring.hpp"
#include "vector3.hpp"
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <vela/chull.h>

using namespace vela::detail;

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

void vela::detail::print_hull(const chull_ctx *hull, int32_t vertex_number, uintptr_t vertex_address) {
    std::fprintf(stderr, "\nHead vertex %d = %6" PRIxPTR " :\n", vertex_number, vertex_address);
    PrintVertices(hull);
    PrintEdges(hull);
    PrintFaces(hull);
}

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

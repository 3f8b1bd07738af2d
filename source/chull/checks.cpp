// Checks of a hull's structure.
#include "common/diagnostics.hpp"
#include "records.hpp"
#include "vector3.hpp"
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <vela/chull.h>

using namespace vela::detail;

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
        report(__func__, "V, E, F = %d %d %d:\tChecks: V-E+F != 2\n", V, E, F);
        return kFailure;
    }
    if (faces != 2 * vertices - 4) {
        report(__func__, "V, E, F = %d %d %d:\tChecks: F=%d != 2V-4=%d; V=%d\n", V, E, F, F,
               as_signed(2 * vertices - 4), V);
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
            report(__func__, "Error!\n  addr: %8" PRIxPTR ";  edges:(%3d,%3d)\n", address(&face), ends[0]->vnum,
                   ends[1]->vnum);
        }
    }
    if (failed)
        std::fputs("Checks: ERROR found and reported above.\n", stderr);
    return failed;
}

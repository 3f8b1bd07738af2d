// Listings of a hull's records.
#include "records.hpp"
#include <cinttypes>
#include <cstdio>
#include <vela/chull.h>

using namespace vela::detail;

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

// The OFF file of a hull.
#include "records.hpp"
#include "vector3.hpp"
#include <cstdio>
#include <vela/chull.h>

using namespace vela::detail;

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

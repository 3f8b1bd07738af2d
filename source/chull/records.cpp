// The hull's records: allocation, counting and release.
#include "records.hpp"
#include "common/diagnostics.hpp"
#include <cstdlib>
#include <vela/chull.h>

using namespace vela::detail;

namespace {

// A cleared record at the end of its list, or null after a report; the number distinguishes the reports.
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
    if (!hull)
        return;
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

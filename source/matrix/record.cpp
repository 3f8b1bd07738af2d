// Matrix records: allocation, release, transpose, print.
#include "common/diagnostics.hpp"
#include "common/memory.hpp"
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vela/matrix.h>

using namespace vela::detail;

fmatrix *malloc_matrix(int32_t rows, int32_t cols) {
    auto record = allocate<fmatrix>(1);
    if (!record) {
        report(__func__, "failed fmatrix malloc\n");
        return nullptr;
    }
    // Sizes too large for a 32-bit machine are refused on every machine.
    const uint64_t count = static_cast<uint64_t>(rows) * static_cast<uint64_t>(cols);
    const bool fits = rows >= 0 && cols >= 0 && count <= UINT32_MAX / sizeof(float);
    auto elements = fits ? allocate<float>(static_cast<size_t>(count)) : nullptr;
    if (!elements) {
        report(__func__, "failed data malloc\n");
        return nullptr;
    }
    *record.get() = {rows, cols, elements.release()};
    return record.release();
}

void free_matrix(fmatrix *m) {
    if (!m)
        return;
    float *elements = m->data;
    m->data = nullptr;
    std::free(elements);
    std::free(m);
}

int32_t transpose(const fmatrix *a, fmatrix **out) {
    fmatrix *result = malloc_matrix(a->cols, a->rows);
    if (!result)
        return 1;
    *out = result;
    const auto rows = static_cast<size_t>(a->rows), cols = static_cast<size_t>(a->cols);
    for (size_t i = 0; i < rows; ++i)
        for (size_t j = 0; j < cols; ++j)
            result->data[j * rows + i] = a->data[i * cols + j];
    return 0;
}

void print_matrix(const fmatrix *m) {
    const float *element = m->data;
    for (int32_t i = 0; i < m->rows; ++i) {
        for (int32_t j = 0; j < m->cols; ++j)
            std::printf("%e ", double{*element++});
        std::putchar('\n');
    }
    std::putchar('\n');
}

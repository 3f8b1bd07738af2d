// Singular value decomposition by Householder bidiagonalisation and implicitly shifted QR sweeps.
//
// The decomposition works on copies of u and v that are kept by columns. Most steps combine whole columns, whose
// elements are independent of each other and are computed side by side. The order of a sum down a column is fixed, so
// the sums of several columns are computed together.
#include "blocks.hpp"
#include "common/diagnostics.hpp"
#include "common/memory.hpp"
#include "negligible.hpp"
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vela/matrix.h>

using namespace vela::detail;

namespace {

constexpr int kPassLimit = 30;

// Number of columns whose sums are computed together: limited by the registers for their addresses.
constexpr size_t kColumns = 5;

// A matrix by columns. They are padded, so that a column's last block of lanes stays inside whatever row the first one
// starts at; the padding is zero at first and never part of a result.
struct columns {
    float *data;
    size_t rows, stride;

    float *operator[](size_t j) const { return data + j * stride; }
};

size_t padded(size_t rows) { return (rows + 2 * kLanes - 1) / kLanes * kLanes; }

// A plane rotation of two columns.
struct rotation {
    float c, s;
};

// What the decomposition works on. The bidiagonal form has super[i] above diagonal[i]; super[0] is 0.
struct workspace {
    size_t m, n;
    columns u;                   // m x n: a, which becomes u
    columns v;                   // n x n
    float *diagonal;             // n; finally the singular values
    float *super;                // n
    float *row;                  // n: a contiguous row of u
    float *weights;              // n: the multiples added to a row
    rotation *v_turns, *u_turns; // n each: of a sweep
};

float hypotenuse(float a, float b) {
    a = std::fabs(a);
    b = std::fabs(b);
    const bool first = a > b;
    const float larger = first ? a : b, smaller = first ? b : a;
    if (!first && negligible(b))
        return 0;
    const float ratio = smaller / larger;
    if (std::isnan(ratio)) // an argument is NaN or both are infinite
        return 0;
    return larger * std::sqrt(1 + ratio * ratio);
}

// A Householder vector in place of the vector it reflects onto its first axis.
struct reflector {
    float scale; // 0 for a negligible vector, which is unchanged
    float image; // the reflected vector's first element, divided by scale
    float norm;  // minus half the squared length of the Householder vector
};

reflector make_reflector(float *x, size_t count) {
    float scale = 0;
#pragma GCC unroll 4
    for (size_t k = 0; k < count; ++k)
        scale += std::fabs(x[k]);
    if (negligible(scale))
        return {};
    float squares = 0;
#pragma GCC unroll 4
    for (size_t k = 0; k < count; ++k) {
        x[k] /= scale;
        squares += x[k] * x[k];
    }
    const float first = x[0], length = std::sqrt(squares), image = first < 0 ? length : -length;
    x[0] = first - image;
    return {scale, image, first * image - squares};
}

// Multiplies part of a column, in whole blocks.
void multiply(float *x, size_t count, float factor) {
    for (size_t k = 0; k < count; k += kLanes)
        store(x + k, load(x + k) * factor);
}

// A rank-one change of columns: to each is added a multiple of y from row y_from on. The multiple is the column's
// product with x, summed from row x_from down, divided and multiplied by two numbers.
struct projection {
    const float *x;
    size_t x_from;
    const float *y;
    size_t y_from;
    float divisor, factor;
};

template <size_t count>
void project_columns(const columns &matrix, size_t first, const projection &step) {
    float sums[count] = {}, *column = matrix[first];
    const size_t stride = matrix.stride, rows = matrix.rows;
    for (size_t k = step.x_from; k < rows; ++k)
        for (size_t j = 0; j < count; ++j)
            sums[j] += step.x[k] * column[j * stride + k];
    for (float &sum : sums)
        sum = sum / step.divisor * step.factor;
    for (size_t k = step.y_from; k < rows; k += kLanes) {
        const floats y = load(step.y + k);
        for (size_t j = 0; j < count; ++j)
            store(column + j * stride + k, load(column + j * stride + k) + y * sums[j]);
    }
}

template <size_t most>
void project_rest(const columns &matrix, size_t first, size_t count, const projection &step) {
    if (count == most)
        project_columns<most>(matrix, first, step);
    else if constexpr (most > 1)
        project_rest<most - 1>(matrix, first, count, step);
}

// Changes the columns from first to end.
void project(const columns &matrix, size_t first, size_t end, const projection &step) {
    for (; first + kColumns <= end; first += kColumns)
        project_columns<kColumns>(matrix, first, step);
    project_rest<kColumns - 1>(matrix, first, end - first, step);
}

// Clears column i of u below the diagonal; returns the diagonal element of the bidiagonal form.
float reflect_column(const workspace &work, size_t i) {
    float *x = work.u[i];
    const reflector reflector = make_reflector(x + i, work.m - i);
    if (reflector.scale == 0)
        return 0;
    project(work.u, i + 1, work.n, {x, i, x, i, reflector.norm, 1});
    multiply(x + i, work.m - i, reflector.scale);
    return reflector.scale * reflector.image;
}

void copy_row(const workspace &work, size_t i, size_t from) {
    for (size_t k = from; k < work.n; ++k)
        work.row[k] = work.u[k][i];
}

// Reflects a few blocks of rows from row j on, each summed along its columns and then changed.
template <size_t blocks>
void reflect_rows(const workspace &work, size_t j, size_t from) {
    floats sums[blocks] = {};
    const float *row = work.row, *weights = work.weights;
    float *const first = work.u[from] + j;
    float *column = first;
    for (size_t k = from; k < work.n; ++k, column += work.u.stride)
        for (size_t b = 0; b < blocks; ++b)
            sums[b] = sums[b] + load(column + b * kLanes) * row[k];
    column = first;
    for (size_t k = from; k < work.n; ++k, column += work.u.stride)
        for (size_t b = 0; b < blocks; ++b)
            store(column + b * kLanes, load(column + b * kLanes) + sums[b] * weights[k]);
}

// Clears row i of u right of the superdiagonal; returns the superdiagonal element.
float reflect_row(const workspace &work, size_t i) {
    const size_t from = i + 1;
    copy_row(work, i, from);
    const reflector reflector = make_reflector(work.row + from, work.n - from);
    if (reflector.scale == 0)
        return 0;
    for (size_t k = from; k < work.n; ++k)
        work.weights[k] = work.row[k] / reflector.norm;
    size_t j = from;
    for (; j + kLanes < work.m; j += 2 * kLanes)
        reflect_rows<2>(work, j, from);
    if (j < work.m)
        reflect_rows<1>(work, j, from);
    for (size_t k = from; k < work.n; ++k)
        work.u[k][i] = work.row[k] * reflector.scale;
    return reflector.scale * reflector.image;
}

void bidiagonalise(const workspace &work) {
    float above = 0;
    for (size_t i = 0; i < work.n; ++i) {
        work.super[i] = above;
        work.diagonal[i] = i < work.m ? reflect_column(work, i) : 0;
        above = i < work.m && i + 1 < work.n ? reflect_row(work, i) : 0;
    }
}

// Multiplies the row reflections, which lie in the rows of u, into v.
void accumulate_v(const workspace &work) {
    for (size_t i = work.n; i-- > 0;) {
        float *t = work.v[i];
        const size_t from = i + 1;
        if (from < work.n && !negligible(work.super[from])) {
            copy_row(work, i, from);
            for (size_t k = from; k < work.n; ++k)
                t[k] = work.row[k] / work.row[from] / work.super[from];
            project(work.v, from, work.n, {work.row, from, t, from, 1, 1});
        }
        for (size_t k = from; k < work.n; ++k)
            work.v[k][i] = t[k] = 0;
        t[i] = 1;
    }
}

// Multiplies the column reflections, which lie in the columns of u, into u itself.
void accumulate_u(const workspace &work) {
    for (size_t i = std::min(work.m, work.n); i-- > 0;) {
        float *x = work.u[i];
        for (size_t j = i + 1; j < work.n; ++j)
            work.u[j][i] = 0;
        if (negligible(work.diagonal[i])) {
            std::fill(x + i, x + work.m, 0.0F);
        } else {
            const float inverse = 1 / work.diagonal[i], pivot = x[i];
            project(work.u, i + 1, work.n, {x, i + 1, x, i, pivot, inverse});
            multiply(x + i, work.m - i, inverse);
        }
        x[i] += 1;
    }
}

// Rotates columns j and i of a matrix.
void rotate(const columns &matrix, size_t j, size_t i, const rotation &turn) {
    float *x = matrix[j], *z = matrix[i];
    const size_t rows = matrix.rows;
    for (size_t k = 0; k < rows; k += kLanes) {
        const floats old_x = load(x + k), old_z = load(z + k);
        store(x + k, old_x * turn.c + old_z * turn.s);
        store(z + k, old_z * turn.c - old_x * turn.s);
    }
}

// Rotates adjacent columns pairwise, each with the next, from the left, in a few blocks of rows from `row` on. The next
// column stays in registers for its own rotation.
template <size_t blocks>
void rotate_rows(const columns &matrix, size_t row, size_t first, const rotation *turns, size_t count) {
    float *column = matrix[first] + row;
    floats x[blocks];
    for (size_t b = 0; b < blocks; ++b)
        x[b] = load(column + b * kLanes);
    for (const rotation *turn = turns; turn < turns + count; ++turn) {
        const float c = turn->c, s = turn->s;
        float *follower = column + matrix.stride;
        for (size_t b = 0; b < blocks; ++b) {
            const floats z = load(follower + b * kLanes);
            store(column + b * kLanes, x[b] * c + z * s);
            x[b] = z * c - x[b] * s;
        }
        column = follower;
    }
    for (size_t b = 0; b < blocks; ++b)
        store(column + b * kLanes, x[b]);
}

void rotate_columns(const columns &matrix, size_t first, const rotation *turns, size_t count) {
    size_t row = 0;
    for (; row + kLanes < matrix.rows; row += 2 * kLanes)
        rotate_rows<2>(matrix, row, first, turns, count);
    if (row < matrix.rows)
        rotate_rows<1>(matrix, row, first, turns, count);
}

// Moves super[from] out of the block from..k, above whose first row diagonal[from - 1] is zero.
void cancel(const workspace &work, size_t from, size_t k) {
    float c = 0, s = 1;
    for (size_t i = from; i <= k; ++i) {
        const float f = s * work.super[i];
        work.super[i] *= c;
        if (negligible(f))
            return;
        const float g = work.diagonal[i];
        const float h = hypotenuse(f, g), inverse = 1 / h;
        work.diagonal[i] = h;
        c = g * inverse;
        s = -f * inverse;
        rotate(work.u, from - 1, i, {c, s});
    }
}

// The first row of the last unreduced block, which ends with row k.
size_t split(const workspace &work, size_t k) {
    for (size_t l = k;; --l) {
        if (negligible(work.super[l]))
            return l;
        if (negligible(work.diagonal[l - 1])) {
            cancel(work, l, k);
            return l;
        }
    }
}

// The shift for the block l..k, from its last two rows.
float shift(const workspace &work, size_t l, size_t k) {
    const float x = work.diagonal[l], y = work.diagonal[k - 1], z = work.diagonal[k];
    const float g = work.super[k - 1], h = work.super[k];
    const float numerator = (g - h) * (g + h) + (y - z) * (y + z);
    const auto f = static_cast<float>(double{numerator} / (2.0 * double{h} * double{y}));
    const float root = std::fabs(hypotenuse(f, 1));
    return ((x - z) * (x + z) + h * (y / (f + (f >= 0 ? root : -root)) - h)) / x;
}

// One QR sweep down the block l..k: the bulge that the shift creates is chased out by alternating rotations of v and u.
void sweep(const workspace &work, size_t l, size_t k) {
    float f = shift(work, l, k), x = work.diagonal[l], c = 1, s = 1;
    for (size_t j = l; j < k; ++j) {
        float g = work.super[j + 1], y = work.diagonal[j + 1], h = s * g;
        g = c * g;
        float z = hypotenuse(f, h);
        work.super[j] = z;
        c = f / z;
        s = h / z;
        f = x * c + g * s;
        g = g * c - x * s;
        h = y * s;
        y = y * c;
        work.v_turns[j] = {c, s};
        z = hypotenuse(f, h);
        work.diagonal[j] = z;
        if (!negligible(z)) {
            const float inverse = 1 / z;
            c = f * inverse;
            s = h * inverse;
        }
        f = c * g + s * y;
        x = c * y - s * g;
        work.u_turns[j] = {c, s};
    }
    rotate_columns(work.v, l, work.v_turns + l, k - l);
    rotate_columns(work.u, l, work.u_turns + l, k - l);
    work.super[l] = 0;
    work.super[k] = f;
    work.diagonal[k] = x;
}

bool diagonalise(const workspace &work) {
    for (size_t k = work.n; k-- > 0;) {
        size_t l;
        for (int pass = 1; (l = split(work, k)) != k; ++pass) {
            if (pass == kPassLimit)
                return false;
            sweep(work, l, k);
        }
        if (work.diagonal[k] < 0) {
            work.diagonal[k] = -work.diagonal[k];
            for (size_t j = 0; j < work.n; ++j)
                work.v[k][j] = -work.v[k][j];
        }
    }
    return true;
}

// Every stride-th number in memory.
floats gather(const float *from, size_t stride) { return {from[0], from[stride], from[2 * stride], from[3 * stride]}; }

void scatter(float *to, size_t stride, floats block) {
    to[0] = block.a;
    to[stride] = block.b;
    to[2 * stride] = block.c;
    to[3 * stride] = block.d;
}

// Copies the elements of a matrix, given row by row, into columns.
void load_columns(const columns &to, const float *from, size_t width) {
    for (size_t j = 0; j < width; ++j) {
        size_t i = 0;
        for (; i + kLanes <= to.rows; i += kLanes)
            store(to[j] + i, gather(from + i * width + j, width));
        for (; i < to.rows; ++i)
            to[j][i] = from[i * width + j];
        std::fill(to[j] + to.rows, to[j] + to.stride, 0.0F);
    }
}

// The inverse; returns whether all of them are finite. A product with 0 is 0 unless the other factor is infinite or
// NaN.
bool store_columns(float *to, const columns &from, size_t width) {
    floats products = {};
    size_t i = 0;
    for (; i + kLanes <= from.rows; i += kLanes)
        for (size_t j = 0; j < width; ++j) {
            const floats block = load(from[j] + i);
            products = products + block * 0.0F;
            scatter(to + i * width + j, width, block);
        }
    float lanes[kLanes], sum = 0;
    store(lanes, products);
    for (const float lane : lanes)
        sum += lane;
    for (; i < from.rows; ++i)
        for (size_t j = 0; j < width; ++j) {
            to[i * width + j] = from[j][i];
            sum += from[j][i] * 0.0F;
        }
    return sum == 0;
}

} // namespace

float pythag(float a, float b) { return hypotenuse(a, b); }

int32_t svdcmp(const fmatrix *a, fmatrix **u_out, fmatrix **w_out, fmatrix **v_out) {
    const auto m = static_cast<size_t>(a->rows), n = static_cast<size_t>(a->cols);
    if (!(*u_out = malloc_matrix(a->rows, a->cols)))
        return 1;
    const size_t u_size = n * padded(m), v_size = n * padded(n);
    owned<float[]> storage;
    if (!(*w_out = malloc_matrix(a->cols, a->cols)) || !(*v_out = malloc_matrix(a->cols, a->cols)) ||
        !(storage = allocate<float>(u_size + v_size + 8 * n))) {
        std::copy_n(a->data, m * n, (*u_out)->data);
        return 1;
    }
    float *const vectors = storage.get() + u_size + v_size;
    const workspace work = {.m = m,
                            .n = n,
                            .u = {storage.get(), m, padded(m)},
                            .v = {storage.get() + u_size, n, padded(n)},
                            .diagonal = vectors,
                            .super = vectors + n,
                            .row = vectors + 2 * n,
                            .weights = vectors + 3 * n,
                            .v_turns = reinterpret_cast<rotation *>(vectors + 4 * n),
                            .u_turns = reinterpret_cast<rotation *>(vectors + 6 * n)};
    load_columns(work.u, a->data, n);
    std::fill_n(work.v.data, v_size, 0.0F);
    bidiagonalise(work);
    accumulate_v(work);
    accumulate_u(work);
    const bool converged = diagonalise(work);
    const bool u_finite = store_columns((*u_out)->data, work.u, n), v_finite = store_columns((*v_out)->data, work.v, n);
    if (!converged)
        return 1;

    bool failed = false;
    std::fill_n((*w_out)->data, n * n, 0.0F);
    for (size_t i = 0; i < n && !failed; ++i) {
        (*w_out)->data[i * n + i] = work.diagonal[i];
        failed = !std::isfinite(work.diagonal[i]);
    }
    if (failed)
        report(__func__, "non finite value in W\n");
    if (!u_finite) {
        report(__func__, "non finite value in U\n");
        failed = true;
    }
    if (!v_finite) {
        report(__func__, "non finite value in V\n");
        failed = true;
    }
    return failed;
}

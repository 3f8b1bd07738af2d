// Conversion of pictures: pieces of one row or of two, which share chroma, on their way from a format to another.
#include "check.hpp"
#include "kernels.hpp"
#include <cstring>
#include <functional>

using namespace vela::detail;

namespace {

// Pixels of a piece, even; what a piece takes stays in the first cache.
constexpr size_t kPiece = 2048;

// A row of luma and the chroma that belongs to it, in the layout and order of the format.
template <class Byte>
struct ycc_row {
    Byte *luma, *chroma[2];
};
using read_row = ycc_row<const uint8_t>;
using write_row = ycc_row<uint8_t>;

struct scratch {
    uint8_t luma[kPiece], chroma[2][kPiece];

    write_row row() { return {luma, {chroma[0], chroma[1]}}; }
};

// Out of line: where the compiler knows how short a copy is, it takes slow instructions for it.
[[gnu::noinline]] void copy_bytes(const uint8_t *from, uint8_t *to, size_t count) { std::memcpy(to, from, count); }

bool has_pairs(const format &f) { return f.layout() == chroma_layout::pairs; }
bool has_cr_first(const format &f) { return f.kind == packing::semi_planar && f.is_second_first; }

uint8_t *pixel(const vela_picture &p, size_t x, size_t y) {
    return p.planes[0].data + y * p.planes[0].stride + x * format_of(p).of[0].step;
}
uint8_t *pairs_of(const vela_picture &p, size_t x, size_t y) {
    return p.planes[1].data + (y >> 1) * p.planes[1].stride + x;
}

const uint8_t *quads_of(const vela_picture &p, size_t x, size_t y) {
    return p.planes[0].data + y * p.planes[0].stride + 2 * x;
}

// Calls do_it with whether it's true as a constant.
template <class Function>
void with_bool(bool it, Function &&do_it) {
    it ? do_it(std::true_type()) : do_it(std::false_type());
}

void pick_luma(const format &f, const uint8_t *quads, uint8_t *to, size_t count) {
    with_bool(f.is_second_first, [&](auto is_odd) {
        dispatch_either<picture_simd::pick<is_odd>, picture_scalar::pick<is_odd>>(quads, to, count);
    });
}

// Averages of two rows, as pairs or, with a second row to write, as halves. An odd column's quad may lack its last
// byte.
void pick_chroma(const format &f, const uint8_t *upper, const uint8_t *lower, const write_row &to, size_t count) {
    uint8_t *const first = to.chroma[0], *const second = to.chroma[1];
    const size_t whole = count / 2;
    with_bool(!f.is_second_first, [&](auto is_odd) {
        if (second)
            dispatch_either<picture_simd::pick_halves<is_odd>, picture_scalar::pick_halves<is_odd>>(upper, lower, first,
                                                                                                    second, whole);
        else
            dispatch_either<picture_simd::pick_pairs<is_odd>, picture_scalar::pick_pairs<is_odd>>(upper, lower, first,
                                                                                                  whole);
        if (count % 2)
            second ? picture_scalar::pick_halves<is_odd>(upper + 4 * whole, lower + 4 * whole, first + whole,
                                                         second + whole, 1)
                   : picture_scalar::pick_pairs<is_odd>(upper + 4 * whole, lower + 4 * whole, first + 2 * whole, 1);
    });
}

// Two rows of chroma of all columns as one of half, which may be the same row twice; and back. An odd column is alone.
void halve(const uint8_t *upper, const uint8_t *lower, uint8_t *to, size_t count) {
    dispatch_either<picture_simd::average_squares, picture_scalar::average_squares>(upper, lower, to, count / 2);
    if (count % 2)
        to[count / 2] = static_cast<uint8_t>((upper[count - 1] + lower[count - 1] + 1) / 2);
}
void repeat(const uint8_t *from, uint8_t *to, size_t count) {
    dispatch_either<picture_simd::repeat_columns, picture_scalar::repeat_columns>(from, to, count / 2);
    if (count % 2)
        to[count - 1] = from[count / 2];
}

// Each way between pictures and rows goes through `spare` where they don't lie so.
read_row read(const vela_picture &p, size_t x, size_t y, size_t count, const write_row &spare) {
    const format &f = format_of(p);
    if (f.kind == packing::quads) {
        const uint8_t *const quads = quads_of(p, x, y);
        pick_luma(f, quads, spare.luma, count);
        pick_chroma(f, quads, quads, {nullptr, {spare.chroma[0]}}, count);
        return {spare.luma, {spare.chroma[0]}};
    }
    const uint8_t *const luma = sample(p, f.of[0], x, y);
    if (f.kind == packing::semi_planar)
        return {luma, {pairs_of(p, x, y)}};
    if (f.kind == packing::planar)
        return {luma, {sample(p, f.of[1], x, y), sample(p, f.of[2], x, y)}};
    std::memset(spare.chroma[0], 128, 2 * samples(count, 1));
    return {luma, {spare.chroma[0]}};
}

// Where rows are to be put: in the picture or in `spare`, from where finish() takes them.
write_row place(const vela_picture &p, size_t x, size_t y, const write_row &spare) {
    const format &f = format_of(p);
    if (f.kind == packing::quads)
        return spare;
    uint8_t *const luma = sample(p, f.of[0], x, y);
    if (f.kind == packing::semi_planar)
        return {luma, {pairs_of(p, x, y), spare.chroma[1]}};
    if (f.kind == packing::planar)
        return {luma, {sample(p, f.of[1], x, y), sample(p, f.of[2], x, y)}};
    return {luma, {spare.chroma[0], spare.chroma[1]}};
}

// Quads of luma and of pairs or halves. That of an odd column has one byte of luma.
void finish(const vela_picture &p, size_t x, size_t y, size_t count, const read_row &row) {
    const format &f = format_of(p);
    if (f.kind != packing::quads)
        return;
    uint8_t *const quads = p.planes[0].data + y * p.planes[0].stride + 2 * x;
    const uint8_t *const first = row.chroma[0], *const second = row.chroma[1];
    const size_t whole = count / 2;
    if (second)
        with_bool(!f.is_second_first, [&](auto is_luma_first) {
            dispatch_either<picture_simd::join_halves<is_luma_first>, picture_scalar::join_halves<is_luma_first>>(
                row.luma, first, second, quads, whole);
        });
    else
        dispatch_either<picture_simd::interleave, picture_scalar::interleave>(
            f.is_second_first ? first : row.luma, f.is_second_first ? row.luma : first, quads, 2 * whole);
    if (count % 2) {
        *sample(p, f.of[0], x + count - 1, y) = row.luma[count - 1];
        *sample(p, f.of[1], x + count - 1, y) = second ? first[whole] : first[2 * whole];
        *sample(p, f.of[2], x + count - 1, y) = second ? second[whole] : first[2 * whole + 1];
    }
}

class converter {
public:
    converter(const vela_picture &from, const vela_picture &to)
        : from_(from), to_(to), f_(format_of(from)), t_(format_of(to)),
          is_transfer_(!f_.is_rgb() && !t_.is_rgb() && from.colours == to.colours),
          decoder_(kVariants[from.colours], t_.is_rgb() && t_.is_second_first, has_cr_first(f_)),
          encoder_(kVariants[to.colours], f_.is_rgb() && f_.is_second_first, has_cr_first(t_)) {}

    void run() {
        if (is_transfer_ && f_.kind != packing::quads && t_.kind != packing::quads) {
            transfer_plane(0);
            if (t_.kind == packing::luma)
                return;
            if (f_.kind == packing::planar && t_.kind == packing::planar) {
                transfer_plane(1);
                return transfer_plane(2);
            }
        }
        const auto width = static_cast<size_t>(to_.width), height = static_cast<size_t>(to_.height);
        for (size_t y = 0; y < height; y += 2)
            for (size_t x = 0; x < width; x += kPiece)
                convert(x, y, std::min(height - y, size_t{2}), std::min(width - x, kPiece));
    }

private:
    // A piece of one row or of two, which may share chroma.
    void convert(size_t x, size_t y, size_t rows, size_t count) {
        if (is_transfer_)
            return transfer(x, y, rows, count);
        const uint8_t *rgb[2];
        for (size_t i = 0; i < rows; ++i)
            rgb[i] = f_.is_rgb() ? pixel(from_, x, y + i)
                                 : decode(x, y + i, count, t_.is_rgb() ? pixel(to_, x, y + i) : rgb_[i]);
        if (!t_.is_rgb())
            encode(x, y, rows, count, rgb);
        else if (f_.is_rgb())
            for (size_t i = 0; i < rows; ++i)
                rearrange(rgb[i], pixel(to_, x, y + i), count);
    }

    void rearrange(const uint8_t *from, uint8_t *to, size_t count) {
        with_size(f_.of[0].step, [&](auto from_size) {
            with_size(t_.of[0].step, [&](auto to_size) {
                dispatch_either<picture_simd::rearrange<from_size, to_size>,
                                picture_scalar::rearrange<from_size, to_size>>(f_.is_second_first != t_.is_second_first,
                                                                               from, to, count);
            });
        });
    }

    const uint8_t *decode(size_t x, size_t y, size_t count, uint8_t *to) {
        const read_row row = read(from_, x, y, count, spare_[0].row());
        with_size(t_.is_rgb() ? t_.of[0].step : 3, [&](auto size) {
            with_layout(f_.layout(), [&](auto layout) {
                dispatch_either<picture_simd::decode<layout, size>, picture_scalar::decode<layout, size>>(
                    &decoder_, row.luma, row.chroma[0], row.chroma[1], to, count);
            });
        });
        return to;
    }

    void encode(size_t x, size_t y, size_t rows, size_t count, const uint8_t *const (&rgb)[2]) {
        const size_t joint = t_.halves_rows() ? rows : 1;
        with_size(f_.is_rgb() ? f_.of[0].step : 3, [&](auto size) {
            for (size_t i = 0; i < rows; i += joint) {
                const write_row upper = place(to_, x, y + i, spare_[0].row());
                const size_t last = i + joint - 1;
                const write_row lower = last == i ? upper : place(to_, x, y + last, spare_[1].row());
                with_layout(t_.layout(), [&](auto layout) {
                    if constexpr (layout == chroma_layout::planes)
                        dispatch_either<picture_simd::encode_planes<size>, picture_scalar::encode_planes<size>>(
                            &encoder_, rgb[i], upper.luma, upper.chroma[0], upper.chroma[1], count);
                    else
                        dispatch_either<picture_simd::encode_halved<layout, size>,
                                        picture_scalar::encode_halved<layout, size>>(
                            &encoder_, rgb[i], rgb[last], upper.luma, lower.luma, upper.chroma[0], upper.chroma[1],
                            count);
                });
                finish(to_, x, y + i, count, {upper.luma, {upper.chroma[0]}});
            }
        });
    }

    // Samples as they are, with averages of rows and columns where there are fewer, or each twice where there are more.
    void transfer_plane(size_t plane) {
        const size_t from_rows = plane_rows(f_, plane, static_cast<size_t>(from_.height)),
                     rows = plane_rows(t_, plane, static_cast<size_t>(to_.height));
        const size_t from_bytes = row_bytes(f_, plane, static_cast<size_t>(from_.width)),
                     bytes = row_bytes(t_, plane, static_cast<size_t>(to_.width));
        const vela_plane &from = from_.planes[plane], &to = to_.planes[plane];
        if (from_rows == rows && from_bytes == bytes && from.stride == bytes && to.stride == bytes)
            return copy_bytes(from.data, to.data, bytes * rows);
        for (size_t y = 0; y < rows; ++y) {
            const size_t first = from_rows > rows ? 2 * y : from_rows < rows ? y / 2 : y;
            const uint8_t *const upper = from.data + first * from.stride, *const lower =
                                                                              from_rows > rows && first + 1 < from_rows
                                                                                  ? upper + from.stride
                                                                                  : upper;
            uint8_t *const row = to.data + y * to.stride;
            if (from_bytes > bytes)
                halve(upper, lower, row, from_bytes);
            else if (from_bytes < bytes)
                repeat(upper, row, bytes);
            else if (upper != lower)
                dispatch_either<picture_simd::average_rows, picture_scalar::average_rows>(upper, lower, row, bytes);
            else
                copy_bytes(upper, row, bytes);
        }
    }

    // Chroma in another layout or order, and luma unless it's there.
    void transfer(size_t x, size_t y, size_t rows, size_t count) {
        const size_t joint = t_.halves_rows() ? rows : 1;
        for (size_t i = 0; i < rows; i += joint) {
            const write_row to = place(to_, x, y + i, spare_[0].row());
            if (f_.kind == packing::quads) {
                take_apart(x, y + i, joint, to, count);
                continue;
            }
            const read_row from = read(from_, x, y + i, count, spare_[1].row());
            if (t_.kind == packing::quads && f_.layout() == chroma_layout::halves) {
                finish(to_, x, y + i, count, from);
                continue;
            }
            const bool has_lower = joint == 2 && !f_.halves_rows() && f_.kind == packing::planar;
            const read_row lower = has_lower ? read(from_, x, y + i + 1, count, {}) : from;
            finish(to_, x, y + i, count, {from.luma, {fitted(from, lower, to, count)}});
        }
    }

    // Quads: luma goes to its place, and so does chroma, of two rows the averages, but to another layout or order.
    void take_apart(size_t x, size_t y, size_t rows, const write_row &to, size_t count) {
        const uint8_t *const upper = quads_of(from_, x, y), *const lower = quads_of(from_, x, y + rows - 1);
        pick_luma(f_, upper, to.luma, count);
        if (t_.kind == packing::luma)
            return;
        const bool is_final = t_.layout() != chroma_layout::planes && !has_cr_first(t_);
        const write_row chroma = is_final ? write_row{to.luma, {to.chroma[0], has_pairs(t_) ? nullptr : to.chroma[1]}}
                                          : write_row{to.luma, {spare_[1].chroma[0]}};
        pick_chroma(f_, upper, lower, chroma, count);
        if (rows == 2)
            pick_luma(f_, lower, place(to_, x, y + 1, {}).luma, count);
        const read_row from = {to.luma, {chroma.chroma[0]}};
        finish(to_, x, y, count, {to.luma, {is_final ? chroma.chroma[0] : fitted(from, from, to, count)}});
    }

    // Chroma as the other picture has it, where one of the two has pairs. What becomes quads stays where it is.
    const uint8_t *fitted(const read_row &from, const read_row &lower, const write_row &to, size_t count) {
        const size_t half = samples(count, 1);
        const bool is_swapped = has_cr_first(f_) != has_cr_first(t_);
        if (!has_pairs(f_)) {
            const uint8_t *rows[2];
            for (size_t i = 0; i < 2; ++i)
                rows[i] = half_row(from.chroma[i], lower.chroma[i], rgb_[i], count);
            dispatch_either<picture_simd::interleave, picture_scalar::interleave>(rows[is_swapped], rows[!is_swapped],
                                                                                  to.chroma[0], half);
        } else if (!has_pairs(t_)) {
            const bool is_final = t_.layout() == chroma_layout::halves;
            uint8_t *const rows[] = {is_final ? to.chroma[0] : rgb_[0], is_final ? to.chroma[1] : rgb_[1]};
            dispatch_either<picture_simd::separate, picture_scalar::separate>(from.chroma[0], rows[is_swapped],
                                                                              rows[!is_swapped], half);
            for (size_t i = 0; i < 2 && !is_final; ++i)
                repeat(rows[i], to.chroma[i], count);
        } else if (is_swapped)
            dispatch_either<picture_simd::swap, picture_scalar::swap>(from.chroma[0], to.chroma[0], half);
        else if (t_.kind == packing::quads)
            return from.chroma[0];
        else
            copy_bytes(from.chroma[0], to.chroma[0], 2 * half);
        return to.chroma[0];
    }

    // Chroma of half the columns, of one row or of two, at its place or in `spare`.
    const uint8_t *half_row(const uint8_t *upper, const uint8_t *lower, uint8_t *spare, size_t count) {
        if (!f_.halves_columns())
            halve(upper, lower, spare, count);
        else if (upper == lower)
            return upper;
        else
            dispatch_either<picture_simd::average_rows, picture_scalar::average_rows>(upper, lower, spare,
                                                                                      samples(count, 1));
        return spare;
    }

    const vela_picture &from_, &to_;
    const format &f_, &t_;
    const bool is_transfer_;
    const decoder decoder_;
    const encoder encoder_;
    scratch spare_[2];
    uint8_t rgb_[2][3 * kPiece];
};

// Whether the memory of two pictures has bytes in common.
bool overlap(const vela_picture &a, const vela_picture &b) {
    const std::less<const uint8_t *> before;
    for (size_t i = 0; i < format_of(a).planes; ++i)
        for (size_t j = 0; j < format_of(b).planes; ++j)
            if (before(a.planes[i].data, b.planes[j].data + used_bytes(b, j)) &&
                before(b.planes[j].data, a.planes[i].data + used_bytes(a, i)))
                return true;
    return false;
}

void copy(const vela_picture &from, const vela_picture &to) {
    const format &f = format_of(from);
    for (size_t i = 0; i < f.planes; ++i)
        for (size_t y = 0; y < plane_rows(f, i, static_cast<size_t>(from.height)); ++y)
            std::memcpy(to.planes[i].data + y * to.planes[i].stride, from.planes[i].data + y * from.planes[i].stride,
                        row_bytes(f, i, static_cast<size_t>(from.width)));
}

} // namespace

size_t vela_picture_lay_out(vela_picture *picture, uint8_t *data, size_t size) {
    if (!has_shape(*picture))
        return 0;
    const format &f = format_of(*picture);
    const auto width = static_cast<size_t>(picture->width), height = static_cast<size_t>(picture->height);
    uint64_t all = 0;
    for (size_t i = 0; i < f.planes; ++i)
        all += uint64_t{row_bytes(f, i, width)} * plane_rows(f, i, height);
    if (all > PTRDIFF_MAX)
        return 0;
    size_t used = 0;
    for (size_t i = 0; i < f.planes; ++i) {
        const size_t stride = row_bytes(f, i, width), bytes = stride * plane_rows(f, i, height);
        picture->planes[i] = {data ? data + used : nullptr, size > used ? std::min(bytes, size - used) : 0, stride};
        used += bytes;
    }
    return used;
}

int32_t vela_picture_is_valid(const vela_picture *picture) { return is_valid(*picture); }

int32_t vela_picture_convert(const vela_picture *from, const vela_picture *to) {
    if (!is_valid(*from) || !is_valid(*to) || from->width != to->width || from->height != to->height ||
        overlap(*from, *to))
        return 1;
    if (from->format == to->format && (from->colours == to->colours || format_of(*from).is_rgb()))
        copy(*from, *to);
    else
        converter(*from, *to).run();
    return 0;
}

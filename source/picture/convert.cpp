// Conversion of pictures: pieces of one row or of two, which share chroma, on their way from a format to another.
#include "check.hpp"
#include "kernels.hpp"
#include <cstring>
#include <functional>

using namespace vela::detail;

namespace {

// Pixels of a piece, even; what a piece takes stays in the first cache.
constexpr size_t kPiece = 2048;

// A row of luma and the chroma that belongs to it: for half the columns a row of pairs in the order of the format, for
// all columns a row of each.
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

bool has_pairs(const format &f) { return f.halves_columns() || f.kind == packing::luma; }
bool has_cr_first(const format &f) { return f.kind == packing::semi_planar && f.is_second_first; }

uint8_t *pixel(const vela_picture &p, size_t x, size_t y) {
    return p.planes[0].data + y * p.planes[0].stride + x * format_of(p).of[0].step;
}
uint8_t *pairs_of(const vela_picture &p, size_t x, size_t y) {
    return p.planes[1].data + (y >> 1) * p.planes[1].stride + x;
}

// Each way between pictures and rows of luma and chroma goes through `spare` where they don't lie so.
read_row read(const vela_picture &p, size_t x, size_t y, size_t count, const write_row &spare) {
    const format &f = format_of(p);
    const uint8_t *const luma = sample(p, f.of[0], x, y);
    if (f.kind == packing::semi_planar)
        return {luma, {pairs_of(p, x, y)}};
    if (f.kind == packing::luma) {
        std::memset(spare.chroma[0], 128, 2 * samples(count, 1));
        return {luma, {spare.chroma[0]}};
    }
    if (f.kind == packing::planar) {
        const uint8_t *const first = sample(p, f.of[1], x, y), *const second = sample(p, f.of[2], x, y);
        if (!f.halves_columns())
            return {luma, {first, second}};
        dispatch_either<picture_simd::interleave, picture_scalar::interleave>(first, second, spare.chroma[0],
                                                                              samples(count, 1));
        return {luma, {spare.chroma[0]}};
    }
    const uint8_t *const quads = p.planes[0].data + y * p.planes[0].stride + 2 * x;
    uint8_t *const even = f.is_second_first ? spare.chroma[0] : spare.luma, *const odd = f.is_second_first
                                                                                             ? spare.luma
                                                                                             : spare.chroma[0];
    const size_t whole = count & ~size_t{1};
    dispatch_either<picture_simd::separate, picture_scalar::separate>(quads, even, odd, whole);
    if (whole < count) {
        spare.luma[whole] = *sample(p, f.of[0], x + whole, y);
        for (size_t i = 0; i < 2; ++i)
            spare.chroma[0][whole + i] = *sample(p, f.of[1 + i], x + whole, y);
    }
    return {spare.luma, {spare.chroma[0]}};
}

// Where rows are to be put: in the picture or in `spare`, from where finish() takes them.
write_row place(const vela_picture &p, size_t x, size_t y, const write_row &spare) {
    const format &f = format_of(p);
    uint8_t *const luma = sample(p, f.of[0], x, y);
    if (f.kind == packing::quads)
        return spare;
    if (f.kind == packing::semi_planar)
        return {luma, {pairs_of(p, x, y)}};
    if (f.kind == packing::planar && !f.halves_columns())
        return {luma, {sample(p, f.of[1], x, y), sample(p, f.of[2], x, y)}};
    return {luma, {spare.chroma[0], spare.chroma[1]}};
}

void finish(const vela_picture &p, size_t x, size_t y, size_t count, const read_row &row) {
    const format &f = format_of(p);
    if (f.kind == packing::planar && f.halves_columns())
        dispatch_either<picture_simd::separate, picture_scalar::separate>(row.chroma[0], sample(p, f.of[1], x, y),
                                                                          sample(p, f.of[2], x, y), samples(count, 1));
    if (f.kind != packing::quads)
        return;
    const size_t whole = count & ~size_t{1};
    dispatch_either<picture_simd::interleave, picture_scalar::interleave>(
        f.is_second_first ? row.chroma[0] : row.luma, f.is_second_first ? row.luma : row.chroma[0],
        p.planes[0].data + y * p.planes[0].stride + 2 * x, whole);
    if (whole < count) {
        *sample(p, f.of[0], x + whole, y) = row.luma[whole];
        for (size_t i = 0; i < 2; ++i)
            *sample(p, f.of[1 + i], x + whole, y) = row.chroma[0][whole + i];
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
            if (f_.kind == packing::planar && t_.kind == packing::planar &&
                f_.halves_columns() == t_.halves_columns()) {
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
            if (has_pairs(f_))
                dispatch_either<picture_simd::decode_pairs<size>, picture_scalar::decode_pairs<size>>(
                    &decoder_, row.luma, row.chroma[0], to, count);
            else
                dispatch_either<picture_simd::decode_planes<size>, picture_scalar::decode_planes<size>>(
                    &decoder_, row.luma, row.chroma[0], row.chroma[1], to, count);
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
                if (has_pairs(t_))
                    dispatch_either<picture_simd::encode_pairs<size>, picture_scalar::encode_pairs<size>>(
                        &encoder_, rgb[i], rgb[last], upper.luma, lower.luma, upper.chroma[0], count);
                else
                    dispatch_either<picture_simd::encode_planes<size>, picture_scalar::encode_planes<size>>(
                        &encoder_, rgb[i], upper.luma, upper.chroma[0], upper.chroma[1], count);
                finish(to_, x, y + i, count, {upper.luma, {upper.chroma[0]}});
            }
        });
    }

    // Samples as they are, with the average of two rows where there are fewer, or each row twice where there are more.
    void transfer_plane(size_t plane) {
        const size_t from_rows = plane_rows(f_, plane, static_cast<size_t>(from_.height)),
                     rows = plane_rows(t_, plane, static_cast<size_t>(to_.height));
        const size_t bytes = row_bytes(t_, plane, static_cast<size_t>(to_.width));
        const vela_plane &from = from_.planes[plane], &to = to_.planes[plane];
        if (from_rows == rows && from.stride == bytes && to.stride == bytes)
            return copy_bytes(from.data, to.data, bytes * rows);
        for (size_t y = 0; y < rows; ++y) {
            const size_t first = from_rows > rows ? 2 * y : from_rows < rows ? y / 2 : y;
            const uint8_t *const row = from.data + first * from.stride;
            if (from_rows > rows && first + 1 < from_rows)
                dispatch_either<picture_simd::average_rows, picture_scalar::average_rows>(
                    row, row + from.stride, to.data + y * to.stride, bytes);
            else
                copy_bytes(row, to.data + y * to.stride, bytes);
        }
    }

    // Chroma with other rows and columns, and luma unless it's there.
    void transfer(size_t x, size_t y, size_t rows, size_t count) {
        if (f_.kind == packing::quads && t_.halves_rows() && !has_cr_first(t_) && rows == 2 && count % 2 == 0)
            return f_.is_second_first ? split<false>(x, y, count) : split<true>(x, y, count);
        read_row upper = {};
        for (size_t i = 0; i < rows; ++i) {
            const write_row to = place(to_, x, y + i, spare_[i].row());
            // What has to be taken apart goes to its place at once.
            write_row spare = spare_[i].row();
            spare.luma = to.luma;
            read_row from = read(from_, x, y + i, count, spare);
            if (t_.kind == packing::luma || (t_.halves_rows() && i + 1 < rows)) {
                upper = from;
                continue;
            }
            if (t_.halves_rows() && i == 1)
                join_rows(upper, from, to, count);
            finish(to_, x, y + i, count, {from.luma, {fitted(from, to, count)}});
        }
    }

    // The same of two rows of quads at once, which is what cameras give and encoders take.
    template <bool is_luma_first>
    void split(size_t x, size_t y, size_t count) {
        const write_row upper = place(to_, x, y, spare_[0].row()), lower = place(to_, x, y + 1, spare_[1].row());
        const auto quads = [&](size_t row) -> const uint8_t * {
            return from_.planes[0].data + row * from_.planes[0].stride + 2 * x;
        };
        dispatch_either<picture_simd::split_rows<is_luma_first>, picture_scalar::split_rows<is_luma_first>>(
            quads(y), quads(y + 1), upper.luma, lower.luma, upper.chroma[0], count);
        finish(to_, x, y, count, {upper.luma, {upper.chroma[0]}});
    }

    // Chroma of two rows, where both have their own; at its place if it has the order of the other picture.
    void join_rows(const read_row &upper, read_row &lower, const write_row &to, size_t count) {
        if (f_.halves_rows() || f_.kind == packing::luma)
            return;
        const bool is_final = has_pairs(f_) && has_cr_first(f_) == has_cr_first(t_);
        for (size_t i = 0; i < (has_pairs(f_) ? 1 : 2); ++i) {
            uint8_t *const joined = is_final ? to.chroma[0] : rgb_[i];
            dispatch_either<picture_simd::average_rows, picture_scalar::average_rows>(
                upper.chroma[i], lower.chroma[i], joined, has_pairs(f_) ? 2 * samples(count, 1) : count);
            lower.chroma[i] = joined;
        }
    }

    // Chroma as the other picture has it. Pairs that have to be taken apart yet stay where they are.
    const uint8_t *fitted(const read_row &from, const write_row &to, size_t count) {
        const size_t whole = count / 2;
        const bool is_swapped = has_cr_first(f_) != has_cr_first(t_), is_odd = count % 2 != 0;
        if (has_pairs(f_) && has_pairs(t_)) {
            if (is_swapped)
                dispatch_either<picture_simd::swap, picture_scalar::swap>(from.chroma[0], to.chroma[0],
                                                                          samples(count, 1));
            else if (t_.kind != packing::semi_planar || from.chroma[0] == to.chroma[0])
                return from.chroma[0];
            else
                copy_bytes(from.chroma[0], to.chroma[0], 2 * samples(count, 1));
        } else if (has_pairs(t_)) {
            const uint8_t *const first = from.chroma[is_swapped], *const second = from.chroma[!is_swapped];
            dispatch_either<picture_simd::average_columns, picture_scalar::average_columns>(first, second, to.chroma[0],
                                                                                            whole);
            if (is_odd) {
                to.chroma[0][count - 1] = first[count - 1];
                to.chroma[0][count] = second[count - 1];
            }
        } else {
            uint8_t *const first = to.chroma[is_swapped], *const second = to.chroma[!is_swapped];
            dispatch_either<picture_simd::repeat_columns, picture_scalar::repeat_columns>(from.chroma[0], first, second,
                                                                                          whole);
            if (is_odd) {
                first[count - 1] = from.chroma[0][count - 1];
                second[count - 1] = from.chroma[0][count];
            }
        }
        return to.chroma[0];
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

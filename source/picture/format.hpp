// How each format lays out its pixels: one description for all that reads or writes pictures.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vela/picture.h>

namespace vela::detail {

// How the bytes of a pixel lie: which kernels read and write them.
enum class packing : uint8_t {
    rgb,         // three or four bytes a pixel
    quads,       // two pixels with common chroma in four bytes
    semi_planar, // a plane of luma, one of pairs of chroma
    planar,      // a plane for each
    luma         // a plane of luma alone
};

// How rows of chroma lie: pairs of Cb and Cr for two columns, a row of each for two columns, a row of each for all.
enum class chroma_layout : uint8_t { pairs, halves, planes };

// Where the bytes of one component lie: that of column x and row y at
// planes[plane].data + (y >> shift_y) * stride + (x >> shift_x) * step + offset.
struct component {
    uint8_t plane, offset, step, shift_x, shift_y;
};

struct format {
    packing kind;
    uint8_t planes, components;
    component of[4];      // R, G, B, alpha; or Y, Cb, Cr
    bool is_second_first; // B before R, Cr before Cb, chroma before luma

    [[nodiscard]] constexpr bool is_rgb() const { return kind == packing::rgb; }
    [[nodiscard]] constexpr const component &last() const { return of[components - 1]; }
    [[nodiscard]] constexpr bool halves_columns() const { return last().shift_x != 0; }
    [[nodiscard]] constexpr bool halves_rows() const { return last().shift_y != 0; }
    [[nodiscard]] constexpr chroma_layout layout() const {
        return kind != packing::planar ? chroma_layout::pairs
               : halves_columns()      ? chroma_layout::halves
                                       : chroma_layout::planes;
    }
};

// In the order of the numbers that <vela/picture.h> gives them.
constexpr format kFormats[] = {
    {packing::rgb, 1, 3, {{0, 0, 3, 0, 0}, {0, 1, 3, 0, 0}, {0, 2, 3, 0, 0}}, false},
    {packing::rgb, 1, 3, {{0, 2, 3, 0, 0}, {0, 1, 3, 0, 0}, {0, 0, 3, 0, 0}}, true},
    {packing::rgb, 1, 4, {{0, 0, 4, 0, 0}, {0, 1, 4, 0, 0}, {0, 2, 4, 0, 0}, {0, 3, 4, 0, 0}}, false},
    {packing::quads, 1, 3, {{0, 0, 2, 0, 0}, {0, 1, 4, 1, 0}, {0, 3, 4, 1, 0}}, false},
    {packing::quads, 1, 3, {{0, 1, 2, 0, 0}, {0, 0, 4, 1, 0}, {0, 2, 4, 1, 0}}, true},
    {packing::semi_planar, 2, 3, {{0, 0, 1, 0, 0}, {1, 0, 2, 1, 1}, {1, 1, 2, 1, 1}}, false},
    {packing::semi_planar, 2, 3, {{0, 0, 1, 0, 0}, {1, 1, 2, 1, 1}, {1, 0, 2, 1, 1}}, true},
    {packing::planar, 3, 3, {{0, 0, 1, 0, 0}, {1, 0, 1, 1, 1}, {2, 0, 1, 1, 1}}, false},
    {packing::planar, 3, 3, {{0, 0, 1, 0, 0}, {1, 0, 1, 1, 0}, {2, 0, 1, 1, 0}}, false},
    {packing::planar, 3, 3, {{0, 0, 1, 0, 0}, {1, 0, 1, 0, 0}, {2, 0, 1, 0, 0}}, false},
    {packing::luma, 1, 1, {{0, 0, 1, 0, 0}}, false},
};
constexpr int32_t kFormatCount = sizeof kFormats / sizeof *kFormats;

inline const format &format_of(const vela_picture &picture) { return kFormats[picture.format]; }

// How many samples of a component there are for n pixels.
constexpr size_t samples(size_t pixels, int shift) { return (pixels + (size_t{1} << shift) - 1) >> shift; }

// The bytes that a row of a plane takes, from its first to the last that belongs to a pixel; and its rows.
constexpr size_t row_bytes(const format &f, size_t plane, size_t width) {
    size_t end = 0;
    for (size_t i = 0; i < f.components; ++i)
        if (const component &c = f.of[i]; c.plane == plane)
            end = std::max(end, (samples(width, c.shift_x) - 1) * c.step + c.offset + 1);
    return end;
}
constexpr size_t plane_rows(const format &f, size_t plane, size_t height) {
    return samples(height, plane ? f.last().shift_y : 0);
}

// The byte of a component for the pixel (x, y).
inline uint8_t *sample(const vela_picture &p, const component &c, size_t x, size_t y) {
    const vela_plane &plane = p.planes[c.plane];
    return plane.data + (y >> c.shift_y) * plane.stride + (x >> c.shift_x) * c.step + c.offset;
}

} // namespace vela::detail

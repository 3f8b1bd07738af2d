// <vela/overlay.hpp>, which is for C++ alone, as functions that a module can export: masks and marks on the view of a
// moving camera. Directions are pairs of pan and tilt in degrees, positions pairs of x and y in pixels.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <span>
#include <utility>
#include <vela/overlay.hpp>

using namespace vela::overlay;

void *operator new(size_t size, const std::nothrow_t &) noexcept { return std::malloc(size); }
void *operator new[](size_t size, const std::nothrow_t &) noexcept { return std::malloc(size); }
void operator delete(void *block) noexcept { std::free(block); }
void operator delete(void *block, size_t) noexcept { std::free(block); }
void operator delete[](void *block) noexcept { std::free(block); }

#define VELA_EXPORT(name) extern "C" [[clang::export_name(#name)]]

namespace {

static_assert(sizeof(direction) == 2 * sizeof(double) && sizeof(position) == 2 * sizeof(double));

// What a view is made of.
struct view_record {
    double width, height, pan, tilt, fov;

    // Empty where it is none.
    std::optional<view> made() const {
        return view::make(static_cast<int>(width), static_cast<int>(height), {pan, tilt}, fov);
    }
};

// Groups of numbers into the caller's room; counts those that find none as well.
template <class Group>
class list {
public:
    list(Group *to, uint32_t room) : to_(to), room_(room) {}

    void add(const Group &one) {
        if (count_ < room_)
            to_[count_] = one;
        ++count_;
    }
    int32_t count() const { return static_cast<int32_t>(count_); }

private:
    Group *to_;
    uint32_t room_, count_ = 0;
};

struct line {
    position from, to;
};

// A picture of one view, seen from another one. The way through the sphere is taken at the nodes of a mesh; between
// them places in the picture change evenly, which puts pixels a sixth of one beside their place at most at a field of
// view of 110 degrees, and a hundredth at 60. Cells at the rim of what is in front of the picture's view have none of
// it.
class warp {
public:
    warp(const view &from, const uint32_t *pixels, uint32_t ground) : from_(from), pixels_(pixels), ground_(ground) {}

    bool draw(const view &to, uint32_t *out) const {
        const int columns = (to.width() - 1) / kCell + 2;
        const std::unique_ptr<node[]> nodes(new (std::nothrow) node[2 * static_cast<size_t>(columns)]);
        if (!nodes)
            return false;
        node *upper = nodes.get(), *lower = upper + columns;
        fill(to, 0, upper, columns);
        for (int y = 0; y < to.height(); y += kCell, std::swap(upper, lower)) {
            fill(to, y + kCell, lower, columns);
            for (int i = 0; i + 1 < columns; ++i)
                draw_cell(to, i * kCell, y, upper + i, lower + i, out);
        }
        return true;
    }

private:
    static constexpr int kCell = 16;

    // Places in the picture in 1 / 2^16 pixel.
    struct place {
        int64_t u, v;

        place toward(const place &to, int t) const { return {u + (to.u - u) * t / kCell, v + (to.v - v) * t / kCell}; }
    };
    struct node {
        place at;
        bool is_known;
    };

    void fill(const view &to, int y, node *row, int count) const {
        for (int i = 0; i < count; ++i) {
            const std::optional<direction> shown =
                to.unproject({static_cast<double>(i * kCell), static_cast<double>(y)});
            const std::optional<position> found = shown ? from_.project(*shown) : std::nullopt;
            row[i] = {{}, found.has_value()};
            if (found)
                row[i].at = {std::llround(found->x * 65536), std::llround(found->y * 65536)};
        }
    }

    void draw_cell(const view &to, int x, int y, const node *upper, const node *lower, uint32_t *out) const {
        const int width = std::min(kCell, to.width() - x), height = std::min(kCell, to.height() - y);
        const bool is_known = upper[0].is_known && upper[1].is_known && lower[0].is_known && lower[1].is_known;
        for (int t = 0; t < height; ++t) {
            uint32_t *const row = out + static_cast<size_t>(y + t) * static_cast<size_t>(to.width()) + x;
            if (is_known)
                draw_run(upper[0].at.toward(lower[0].at, t), upper[1].at.toward(lower[1].at, t), row, width);
            else
                std::fill(row, row + width, ground_);
        }
    }

    void draw_run(const place &left, const place &right, uint32_t *row, int width) const {
        const place last = left.toward(right, width - 1);
        const int64_t step_u = (right.u - left.u) / kCell, step_v = (right.v - left.v) / kCell;
        if (has_neighbours(left) && has_neighbours(last)) {
            auto u = static_cast<uint32_t>(left.u), v = static_cast<uint32_t>(left.v);
            if (step_u == 1 << 16 && step_v == 0 && ((u | v) & 0xFFFF) == 0) {
                std::copy_n(pixels_ + static_cast<size_t>(v >> 16) * static_cast<size_t>(from_.width()) + (u >> 16),
                            width, row);
                return;
            }
            for (int i = 0; i < width; ++i, u += static_cast<uint32_t>(step_u), v += static_cast<uint32_t>(step_v))
                row[i] = blend(u, v, 1, from_.width());
            return;
        }
        for (int i = 0; i < width; ++i)
            row[i] = at_rim({left.u + i * step_u, left.v + i * step_v});
    }

    // Whether a place stands between four pixels, so that it can be told in 32 bits as well.
    bool has_neighbours(const place &at) const {
        return 0 <= at.u && at.u < int64_t{from_.width() - 1} << 16 && 0 <= at.v &&
               at.v < int64_t{from_.height() - 1} << 16;
    }

    // A pixel of the picture reaches half of one beyond its centre.
    uint32_t at_rim(const place &at) const {
        const int64_t right = int64_t{from_.width() - 1} << 16, bottom = int64_t{from_.height() - 1} << 16;
        constexpr int64_t kHalf = 1 << 15;
        if (at.u < -kHalf || at.u > right + kHalf || at.v < -kHalf || at.v > bottom + kHalf)
            return ground_;
        const int64_t u = std::clamp<int64_t>(at.u, 0, right), v = std::clamp<int64_t>(at.v, 0, bottom);
        return blend(static_cast<uint32_t>(u), static_cast<uint32_t>(v), u < right, v < bottom ? from_.width() : 0);
    }

    // Between four neighbours, all four bytes at once.
    uint32_t blend(uint32_t u, uint32_t v, ptrdiff_t right, ptrdiff_t below) const {
        const auto spread = [](uint32_t pixel) {
            return (pixel & 0xFF00FF) | static_cast<uint64_t>(pixel >> 8 & 0xFF00FF) << 32;
        };
        const uint32_t *const at =
            pixels_ + static_cast<size_t>(v >> 16) * static_cast<size_t>(from_.width()) + (u >> 16);
        const uint64_t across = u >> 8 & 255, down = v >> 8 & 255, both = across * down >> 8;
        const uint64_t sum = spread(at[0]) * (256 - across - down + both) + spread(at[right]) * (across - both) +
                             spread(at[below]) * (down - both) + spread(at[below + right]) * both + 0x0080008000800080;
        return static_cast<uint32_t>(sum >> 8 & 0xFF00FF) | static_cast<uint32_t>(sum >> 40 & 0xFF00FF) << 8;
    }

    const view &from_;
    const uint32_t *pixels_;
    uint32_t ground_;
};

// What is asked of a view, where there is one and it finds something.
template <class Found, class Ask>
bool find(const view_record *seen, Found *out, Ask ask) {
    const std::optional<view> made = seen->made();
    const std::optional<Found> found = made ? ask(*made) : std::nullopt;
    if (found)
        *out = *found;
    return found.has_value();
}

} // namespace

// 1 and the position of a direction; 0 where it is not in front, or there is no view.
VELA_EXPORT(overlay_place)
int32_t overlay_place(const view_record *seen, double pan, double tilt, position *out) {
    return find(seen, out, [=](const view &made) { return made.project({pan, tilt}); });
}

// 1 and the direction that a position shows; 0 where it shows none, or there is no view.
VELA_EXPORT(overlay_at)
int32_t overlay_at(const view_record *seen, double x, double y, direction *out) {
    return find(seen, out, [=](const view &made) { return made.unproject({x, y}); });
}

// What a view shows of a picture that was taken in another one, the ground where the picture has nothing; both in four
// bytes a pixel. 0 without two views, or when memory runs out.
VELA_EXPORT(overlay_picture_draw)
int32_t overlay_picture_draw(const view_record *taken, const uint32_t *pixels, const view_record *seen, uint32_t ground,
                             uint32_t *out) {
    const std::optional<view> from = taken->made(), to = seen->made();
    return from && to && warp(*from, pixels, ground).draw(*to, out);
}

// A mask for overlay_mask_free(); null where there is none.
VELA_EXPORT(overlay_mask_make)
mask *overlay_mask_make(const direction *corners, uint32_t count) {
    std::optional<mask> made = mask::make(std::span(corners, count));
    return made ? new (std::nothrow) mask(std::move(*made)) : nullptr;
}

VELA_EXPORT(overlay_mask_free)
void overlay_mask_free(mask *one) { delete one; }

VELA_EXPORT(overlay_mask_contains)
int32_t overlay_mask_contains(const mask *one, double pan, double tilt) { return one->contains({pan, tilt}); }

// The number of runs (row, first pixel, one past the last pixel), of which `room` are stored; -1 without a view.
VELA_EXPORT(overlay_mask_list)
int32_t overlay_mask_list(mask *one, const view_record *seen, int32_t centres, run *runs, uint32_t room) {
    const std::optional<view> made = seen->made();
    return made ? static_cast<int32_t>(
                      one->runs(*made, std::span(runs, room), centres ? coverage::centres : coverage::conservative))
                : -1;
}

// The number of lines of a path, of which `room` are stored; -1 where there are none, or no view.
VELA_EXPORT(overlay_trace)
int32_t overlay_trace(const view_record *seen, const direction *path, uint32_t count, line *lines, uint32_t room) {
    const std::optional<view> made = seen->made();
    list<line> found(lines, room);
    const auto add = [&](position from, position to) { found.add({from, to}); };
    return made && project_path(*made, std::span(path, count), add) ? found.count() : -1;
}

// The number of directions that a polygon on the screen has, of which `room` are stored; -1 where it has none.
VELA_EXPORT(overlay_outline)
int32_t overlay_outline(const view_record *seen, const position *corners, uint32_t count, direction *out,
                        uint32_t room) {
    const std::optional<view> made = seen->made();
    list<direction> found(out, room);
    const auto add = [&](direction one) { found.add(one); };
    return made && unproject_polygon(*made, std::span(corners, count), add) ? found.count() : -1;
}

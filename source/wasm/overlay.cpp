// <vela/overlay.hpp>, which is for C++ alone, as functions that a module can export: masks and marks on the view of a
// moving camera. Directions are pairs of pan and tilt in degrees, positions pairs of x and y in pixels.
#include <cstdint>
#include <cstdlib>
#include <new>
#include <span>
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
    return find(seen, out, [=](const view &made) { return made.place({pan, tilt}); });
}

// 1 and the direction that a position shows; 0 where it shows none, or there is no view.
VELA_EXPORT(overlay_at)
int32_t overlay_at(const view_record *seen, double x, double y, direction *out) {
    return find(seen, out, [=](const view &made) { return made.at({x, y}); });
}

// Where another view shows what one shows at some positions; NaN where there is nothing, or it is behind the other one.
VELA_EXPORT(overlay_remap)
void overlay_remap(const view_record *seen, const view_record *other, position *points, uint32_t count) {
    const std::optional<view> made = seen->made(), there = other->made();
    for (position &one : std::span(points, count)) {
        const std::optional<direction> shown = made ? made->at(one) : std::nullopt;
        one = (shown && there ? there->place(*shown) : std::nullopt).value_or(position{NAN, NAN});
    }
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

// The number of runs (row, first pixel, the pixel behind the last), of which `room` are stored; -1 without a view.
VELA_EXPORT(overlay_mask_list)
int32_t overlay_mask_list(mask *one, const view_record *seen, int32_t centres, run *runs, uint32_t room) {
    const std::optional<view> made = seen->made();
    return made ? static_cast<int32_t>(
                      one->list(*made, std::span(runs, room), centres ? coverage::centres : coverage::conservative))
                : -1;
}

// The number of lines of a path, of which `room` are stored; -1 where there are none, or no view.
VELA_EXPORT(overlay_trace)
int32_t overlay_trace(const view_record *seen, const direction *path, uint32_t count, line *lines, uint32_t room) {
    const std::optional<view> made = seen->made();
    list<line> found(lines, room);
    const auto add = [&](position from, position to) { found.add({from, to}); };
    return made && trace(*made, std::span(path, count), add) ? found.count() : -1;
}

// The number of directions that a polygon on the screen has, of which `room` are stored; -1 where it has none.
VELA_EXPORT(overlay_outline)
int32_t overlay_outline(const view_record *seen, const position *corners, uint32_t count, direction *out,
                        uint32_t room) {
    const std::optional<view> made = seen->made();
    list<direction> found(out, room);
    const auto add = [&](direction one) { found.add(one); };
    return made && outline(*made, std::span(corners, count), add) ? found.count() : -1;
}

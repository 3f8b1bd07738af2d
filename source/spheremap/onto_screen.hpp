// Projection from the sphere to the screen, in integers.
#pragma once

#include "common/angle.hpp"
#include "common/wrapping.hpp"
#include <vela/spheremap.h>

namespace vela::detail {

// Sphere and screen points may be the same memory, so they are accessed by a type that may alias both.
using coordinate [[gnu::may_alias]] = int32_t;

constexpr smap_screen_pt kBehind = {-1234, -5678};
// Points at or below this depth are behind the camera: -1/1024 in Q24.
constexpr int32_t kBehindDepth = -(1 << 14);
constexpr int kScaleBits = 15;
constexpr int32_t kMostWidth = (1 << 16) - 1;

// Arcsine of a sine in Q10.
[[gnu::always_inline]] inline int32_t arcsine(int32_t sine) {
    const int32_t *of_zero = vela_arcsine_table.data() + 1024;
    asm("" : "+r"(of_zero)); // otherwise the compiler adds the offset to each index
    return of_zero[sine];
}

// A direction in the view's coordinates, Q24.
struct sight {
    int32_t across, up, depth;
};

// The products of two Q12 values are Q24; those of three lose 12 bits, six before and six after.
[[gnu::always_inline]] inline sight see(sine_cosine pan, sine_cosine tilt, sine_cosine view_tilt) {
    const int32_t level = shifted_toward_zero<6>(pan.cosine * tilt.cosine);
    return {tilt.cosine * pan.sine, view_tilt.cosine * tilt.sine - shifted_toward_zero<6>(view_tilt.sine * level),
            shifted_toward_zero<6>(view_tilt.cosine * level) + tilt.sine * view_tilt.sine};
}

// The screen of a view.
struct pixel_grid {
    int32_t scale; // pixels per Q10 degree, Q15
    int32_t centre_x, centre_y;

    pixel_grid(const smap_view &view, int32_t pixels_per_unit)
        : scale(pixels_per_unit), centre_x(view.width >> 1), centre_y(view.height >> 1) {}
    explicit pixel_grid(const smap_view &view)
        : pixel_grid(view, wrapping_quotient(wrapping_product(view.width, 1 << kScaleBits), view.fov)) {}

    // Whether the product of any arcsine and the scale fits 32 bits: screens of up to 512 pixels a degree.
    bool is_coarse() const { return static_cast<uint32_t>(scale) < kCoarse; }

    // Pixels from the centre for the sine, in Q24, of the angle from a central plane. Product is int64_t if the grid
    // may not be coarse.
    template <class Product>
    [[gnu::always_inline]] int32_t offset(int32_t sine) const {
        const Product angle = arcsine(shifted_toward_zero<14>(sine));
        return static_cast<int32_t>(shifted_toward_zero<kScaleBits>(angle * scale));
    }

    // The same on a coarse grid, with neither the sine nor the scale negative.
    [[gnu::always_inline]] int32_t offset_of_positive(int32_t sine) const {
        return arcsine(sine >> 14) * scale >> kScaleBits;
    }

private:
    static constexpr uint32_t kCoarse = 1 << 14;
    static_assert(int64_t{kCoarse} * kQuarterTurn < INT32_MAX);
};

enum class placed : int8_t { behind, in_front };

inline placed put(coordinate *to, int32_t x, int32_t y, placed result) {
    to[0] = x;
    to[1] = y;
    return result;
}

inline placed put_behind(coordinate *to) { return put(to, kBehind.x, kBehind.y, placed::behind); }

// Any direction in any view.
[[gnu::cold, gnu::noinline]] inline placed place_any(const coordinate *from, const smap_view &view, coordinate *to) {
    const sine_cosine pan = sine_cosine_of(difference_of_angles(from[0], view.pan));
    const sight seen = see(pan, sine_cosine_of(from[1]), sine_cosine_of(view.tilt));
    if (seen.depth <= kBehindDepth)
        return put_behind(to);
    const pixel_grid screen(view);
    return put(to, wrapping_sum(screen.offset<int64_t>(seen.across), screen.centre_x),
               wrapping_difference(screen.centre_y, screen.offset<int64_t>(seen.up)), placed::in_front);
}

// The view's data for a single point, computed when used: on a coarse grid, with the tilt within the poles.
struct point_view {
    const smap_view &view;
    near_angle tilt;

    [[gnu::always_inline]] sine_cosine above(sine_table sines) const { return tilt.both(sines); }
    [[gnu::always_inline]] pixel_grid screen() const {
        const auto width = static_cast<uint32_t>(view.width), fov = static_cast<uint32_t>(view.fov);
        return {view, static_cast<int32_t>(divide_by_much(width << kScaleBits, fov))};
    }
};

// The same computed once, for many points.
struct polygon_view {
    int32_t pan;
    sine_cosine tilt;
    pixel_grid grid;

    explicit polygon_view(const smap_view &view) : pan(view.pan), tilt(sine_cosine_of(view.tilt)), grid(view) {}
    // Whether place_near() may be used.
    bool is_usual() const { return grid.is_coarse() && tilt.cosine >= 0; }
    sine_cosine above(sine_table) const { return tilt; }
    pixel_grid screen() const { return grid; }
};

// A direction on a coarse grid, with its tilt and the view's within the poles. Then only the cosine of the pan can be
// negative, beyond a quarter turn from the view's: a shift truncates products toward zero, with a bias for that case.
// The horizontal offset gets its sign at the end.
template <class View>
[[gnu::always_inline]] inline placed place_near(sine_table sines, int32_t pan, near_angle tilt, const View &view,
                                                coordinate *to) {
    const sine_cosine above = tilt.both(sines), view_above = view.above(sines);
    near_angle around(pan);
    int32_t cosine_around = 0, bias = 0;
    if (around.is_near()) [[likely]] {
        cosine_around = sines[around.left];
    } else {
        const folded_angle folded = fold(pan);
        around = near_angle(folded.rest);
        cosine_around = sines[around.left];
        if (folded.half_turns & 1) {
            cosine_around = -cosine_around;
            around.sign = ~around.sign;
            bias = (1 << 6) - 1;
        }
    }
    const int32_t level = (above.cosine * cosine_around + bias) >> 6;
    const int32_t ahead = (view_above.cosine * level + bias) >> 6;
    if (ahead + above.sine * view_above.sine <= kBehindDepth)
        return put_behind(to);
    const pixel_grid screen = view.screen();
    const int32_t across = screen.offset_of_positive(above.cosine * sines[around.magnitude]);
    const int32_t up = view_above.cosine * above.sine - shifted_toward_zero<6>(view_above.sine * level);
    return put(to, screen.centre_x + around.with_sign(across), screen.centre_y - screen.offset<int32_t>(up),
               placed::in_front);
}

} // namespace vela::detail

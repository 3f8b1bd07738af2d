#include "common/angle.hpp"
#include "common/contract.hpp"
#include "common/unit.hpp"
#include "common/wrapping.hpp"
#include "rounded_maths.hpp"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <vela/spheremap.h>

namespace {

using namespace vela::detail;

constexpr smap_screen_pt kBehind = {-1234, -5678};
// Depth at which a point stops being in front: -1/1024 in Q24.
constexpr int32_t kBehindDepth = -(1 << 14);
constexpr int kScaleBits = 15;

constexpr double kToRadians = std::numbers::pi / kHalfTurn;
constexpr double kFromRadians = kHalfTurn / std::numbers::pi;

// Sphere and screen points may be the same memory, so they are copied whole and never accessed by their fields.
template <class T>
T load(const T *from) {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <class T>
void store(T *to, const T &value) {
    std::memcpy(to, &value, sizeof value);
}

// The angle less whole turns, in [0, a turn).
int32_t within_first_turn(int32_t angle) {
    const int32_t rest = wrapped(angle);
    return rest < 0 ? rest + kTurn : rest;
}

// The angle less whole turns, in [-half a turn, half a turn]: a positive angle ends at the positive end.
int32_t within_half_turn(int32_t angle) {
    const int32_t rest = wrapped(angle);
    return rest == -kHalfTurn && angle > 0 ? kHalfTurn : rest;
}

// A direction as seen from a view, Q24.
struct sight {
    int32_t across, up, depth;
    bool is_in_front() const { return depth > kBehindDepth; }
};

// The products of two Q12 values are Q24; those of three lose 12 bits, six before and six after.
[[gnu::always_inline]] inline sight see(sine_cosine pan, sine_cosine tilt, sine_cosine view_tilt) {
    const int32_t level = shifted_toward_zero<6>(pan.cosine * tilt.cosine);
    return {tilt.cosine * pan.sine, view_tilt.cosine * tilt.sine - shifted_toward_zero<6>(view_tilt.sine * level),
            shifted_toward_zero<6>(view_tilt.cosine * level) + tilt.sine * view_tilt.sine};
}

// The screen of a view.
struct pixel_grid {
    explicit pixel_grid(const smap_view &view)
        : scale(wrapping_quotient(wrapping_product(view.width, 1 << kScaleBits), view.fov)), centre_x(view.width >> 1),
          centre_y(view.height >> 1) {}

    int32_t scale; // pixels per Q10 degree, Q15
    int32_t centre_x, centre_y;

    // Whether the product of any arcsine and the scale fits 32 bits: screens of up to 512 pixels a degree.
    bool is_coarse() const {
        constexpr int32_t limit = 1 << 14;
        static_assert(int64_t{limit} * kQuarterTurn < INT32_MAX);
        return static_cast<uint32_t>(scale) + limit < 2 * limit;
    }

    // Pixels from the centre for the sine, in Q24, of the angle from a central plane.
    template <class Product>
    [[gnu::always_inline]] int32_t offset(int32_t sine) const {
        const auto entry = static_cast<size_t>(shifted_toward_zero<14>(sine)) + 1024;
        const Product angle = vela_arcsine_table[entry];
        return static_cast<int32_t>(shifted_toward_zero<kScaleBits>(angle * scale));
    }

    template <class Product>
    [[gnu::always_inline]] smap_screen_pt position(const sight &seen) const {
        return {wrapping_sum(offset<Product>(seen.across), centre_x),
                wrapping_difference(centre_y, offset<Product>(seen.up))};
    }
};

// What is the same for all points that are placed on one view.
struct projection {
    explicit projection(const smap_view &view)
        : tilt(look_up(view.tilt)), pan(within_first_turn(view.pan)), screen(view) {}

    sine_cosine tilt;
    int32_t pan;
    pixel_grid screen;

    // Pan of a point less that of the view, but for whole turns: such that the difference does not overflow.
    [[gnu::always_inline]] int32_t pan_offset(int32_t point_pan) const {
        return point_pan - (point_pan < 0 ? pan - kTurn : pan);
    }
};

// Sphere and screen points may be the same memory, so they are accessed as pairs of numbers that alias either.
using coordinate [[gnu::may_alias]] = int32_t;

struct placement {
    const coordinate *from;
    coordinate *to;
    uint32_t count;
    bool *all_in_front;
};

// Without a branch and with all reading before the writing, so that the wide units place several points at once.
template <class Product>
[[gnu::always_inline]] inline void place_all(placement points, projection onto) {
    int32_t all_in_front = 1;
    for (size_t i = 0; i < 2 * size_t{points.count}; i += 2) {
        const sight seen = see(look_up(onto.pan_offset(points.from[i])), look_up(points.from[i + 1]), onto.tilt);
        const smap_screen_pt position = onto.screen.position<Product>(seen);
        all_in_front &= seen.is_in_front();
        const bool in_front = seen.is_in_front();
        const int32_t x = in_front ? position.x : kBehind.x, y = in_front ? position.y : kBehind.y;
        points.to[i] = x;
        points.to[i + 1] = y;
    }
    *points.all_in_front = all_in_front;
}

// A single point on any view.
[[gnu::cold, gnu::noinline]] bool place(const coordinate *from, const smap_view &view, coordinate *to) {
    bool in_front = false;
    if (view.fov == 0)
        return in_front;
    place_all<int64_t>({from, to, 1, &in_front}, projection(view));
    return in_front;
}

// A direction found in floating point, in Q10 degrees, with what tells how much rounding may have moved it.
struct direction {
    bool exists;
    double pan, tilt;
    double depth_squared;   // of the unit vector, along the view's axis
    double horizon_squared; // of its projection on the horizon
};

struct library_maths {
    static double sine(double x) { return std::sin(x); }
    static unit_vector sine_cosine(double x) { return {std::sin(x), std::cos(x)}; }
    static double arcsine(double x) { return std::asin(x); }
    static double arctangent(double y, double x) { return std::atan2(y, x); }
};

// The way back from the screen, with the elementary functions of Maths.
template <class Maths>
struct back_projection {
    explicit back_projection(const smap_view &seen) : view(seen), axis(Maths::sine_cosine(seen.tilt * kToRadians)) {}

    const smap_view &view;
    unit_vector axis;

    double sine_of_offset(double pixels) const { return Maths::sine(pixels * (view.fov * kToRadians) / view.width); }

    direction operator()(const smap_screen_pt &point) const {
        const double across = sine_of_offset(static_cast<double>(point.x) - (view.width >> 1));
        const double up = sine_of_offset(static_cast<double>(view.height >> 1) - point.y);
        const double depth_squared = 1 - (up * up + across * across);
        if (depth_squared < 0)
            return {false, 0, 0, depth_squared, 0};

        const double depth = std::sqrt(depth_squared);
        const double ahead = axis.cosine * depth - axis.sine * up;
        const double pan = Maths::arctangent(across, ahead);
        // Rounding can carry the zenith a hair beyond 1.
        const double tilt = Maths::arcsine(std::clamp(up * axis.cosine + depth * axis.sine, -1.0, 1.0));
        return {true, (pan + view.pan * kToRadians) * kFromRadians, tilt * kFromRadians, depth_squared,
                across * across + ahead * ahead};
    }
};

// Whether a value that fits 32 bits stays the same integer when it moves a little.
bool far_from_integers(double value) {
    constexpr double margin = 1.0 / (1 << 16), most = INT32_MAX;
    if (std::fabs(value) > most)
        return false;
    const double fraction = std::fabs(value - static_cast<int32_t>(value));
    return fraction > margin && fraction < 1 - margin;
}

// Whether the direction truncates to the same integers with any maths library. One unit in the last place of a sine,
// about 2^-53, moves the angles by that over the depth and over the length on the horizon, so by less than 2^-26 Q10
// degrees where neither is small; adding a pan of up to 2^31 Q10 degrees rounds to 2^-21.
bool is_settled(const direction &found) {
    constexpr double small = 1.0 / 256;
    return found.exists && found.depth_squared > small && found.horizon_squared > small &&
           far_from_integers(found.pan) && far_from_integers(found.tilt);
}

smap_sphere_pt canonical(const direction &found) {
    if (!found.exists)
        return {0, 0};
    // A view's pan near the end of its range may carry the sum beyond it.
    int32_t pan = std::fabs(found.pan) <= INT32_MAX ? static_cast<int32_t>(found.pan)
                                                    : static_cast<int32_t>(static_cast<int64_t>(found.pan) % kTurn);
    int32_t tilt = static_cast<int32_t>(found.tilt);
    smap_clip_pan_tilt(&pan, &tilt);
    return {pan, tilt};
}

smap_sphere_pt find(const back_projection<library_maths> &back, const smap_screen_pt &point) {
    if (back.view.width == 0)
        return {0, 0};
    const direction found = back(point);
    return canonical(is_settled(found) ? found : back_projection<rounded_maths>(back.view)(point));
}

} // namespace

void smap_clip_pan_tilt(int32_t *pan_position, int32_t *tilt_position) {
    int32_t tilt = within_half_turn(*tilt_position);
    int32_t pan = within_first_turn(*pan_position);
    if (tilt > kQuarterTurn || tilt < -kQuarterTurn) {
        pan = within_first_turn(pan + kHalfTurn);
        tilt = (tilt < 0 ? -kHalfTurn : kHalfTurn) - tilt;
    }
    // clang-format off
    assert(( 0 <= pan) && (pan < (360 << 10)));
    assert((-( 90 << 10) <= tilt) && (tilt <= ( 90 << 10) ));
    // clang-format on
    *pan_position = pan;
    *tilt_position = tilt;
}

void smap_clip_pan_tilt_bounds(int32_t *pan_limit, int32_t *tilt_limit) {
    const int32_t tilt = within_half_turn(*tilt_limit);
    const int32_t pan = within_first_turn(*pan_limit);
    // clang-format off
    assert(( 0 <= pan) && (pan < (360 << 10)));
    assert((-(180 << 10) <= tilt) && (tilt <= (180 << 10) ));
    // clang-format on
    *pan_limit = pan;
    *tilt_limit = tilt;
}

int8_t smap_sphere_pt_to_screen_pt(const smap_sphere_pt *pt, const smap_view *view, smap_screen_pt *out) {
    const auto *from = reinterpret_cast<const coordinate *>(pt);
    auto *to = reinterpret_cast<coordinate *>(out);
    // What nearly all points and views are, without what these don't need.
    if (!is_near(from[1]) || !is_near(view->tilt) || view->fov == 0 || view->fov == -1) [[unlikely]]
        return place(from, *view, to);
    const folded_angle pan = fold(difference_of_angles(from[0], view->pan));
    sine_cosine around = look_up_near(pan.rest);
    if (pan.half_turns & 1) [[unlikely]] {
        asm volatile(""); // a branch is cheaper than two signs under a condition
        around = pan.turned(around);
    }
    const sight seen = see(around, look_up_near(from[1]), look_up_near(view->tilt));
    if (!seen.is_in_front()) {
        to[0] = kBehind.x;
        to[1] = kBehind.y;
        return 0;
    }
    const pixel_grid screen(*view);
    if (!screen.is_coarse()) [[unlikely]]
        return place(from, *view, to);
    const smap_screen_pt position = screen.position<int32_t>(seen);
    to[0] = position.x;
    to[1] = position.y;
    return 1;
}

void smap_screen_pt_to_sphere_pt(const smap_screen_pt *pt, const smap_view *view, smap_sphere_pt *out) {
    store(out, find(back_projection<library_maths>(*view), load(pt)));
}

int8_t smap_sphere_to_screen(const smap_sphere_poly *src, const smap_view *view, smap_screen_poly *dst) {
    const smap_sphere_poly sphere = load(src);
    smap_screen_poly screen = load(dst);
    if (screen.count < sphere.count)
        return 0;
    screen.count = sphere.count;
    store(dst, screen);
    if (view->fov == 0)
        return sphere.count == 0;

    bool all_in_front = true;
    const placement points = {reinterpret_cast<const coordinate *>(sphere.pts),
                              reinterpret_cast<coordinate *>(screen.pts), sphere.count, &all_in_front};
    const projection onto(*view);
    if (onto.screen.is_coarse())
        run_on_unit<place_all<int32_t>>(points, onto);
    else
        run_on_unit<place_all<int64_t>>(points, onto);
    return all_in_front;
}

int8_t smap_screen_to_sphere(const smap_screen_poly *src, const smap_view *view, smap_sphere_poly *dst) {
    const smap_screen_poly screen = load(src);
    smap_sphere_poly sphere = load(dst);
    if (sphere.count < screen.count)
        return 0;
    sphere.count = screen.count;
    store(dst, sphere);

    const back_projection<library_maths> back(*view);
    for (uint32_t i = 0; i < screen.count; ++i)
        store(sphere.pts + i, find(back, load(screen.pts + i)));
    return 1;
}

int8_t smap_polygon_on_screen(const smap_screen_poly *poly, const smap_view *view) {
    if (poly->count == 0)
        return 0;
    smap_screen_pt least = poly->pts[0], most = least;
    for (uint32_t i = 1; i < poly->count; ++i) {
        const smap_screen_pt &point = poly->pts[i];
        least = {std::min(least.x, point.x), std::min(least.y, point.y)};
        most = {std::max(most.x, point.x), std::max(most.y, point.y)};
    }
    return least.x < view->width && most.x >= 0 && least.y < view->height && most.y >= 0;
}

void smap_print_screen_poly(const smap_screen_poly *poly) {
    std::printf("\n");
    for (uint32_t i = 0; i < poly->count; ++i)
        std::printf("i = %2d, x = %4d, y = %4d\n", static_cast<int>(i), poly->pts[i].x, poly->pts[i].y);
}

void smap_print_sphere_poly(const smap_sphere_poly *poly) {
    const auto degrees = [](int32_t angle) { return static_cast<double>(static_cast<float>(angle) * (1.0F / 1024)); };
    std::printf("\n");
    for (uint32_t i = 0; i < poly->count; ++i)
        std::printf("i = %2d, pan = %6.6f, tilt = %6.6f\n", static_cast<int>(i), degrees(poly->pts[i].pan),
                    degrees(poly->pts[i].tilt));
}

// The sphere map as it is defined: onto the screen in integers, and back in doubles with elementary functions that are
// rounded correctly.
#pragma once

#include "agree.hpp"
#include "fixedpoint.hpp"
#include "wide.hpp"
#include <optional>
#include <vector>
#include <vela/spheremap.h>

namespace model {

using pair = std::array<int32_t, 2>; // pan and tilt, or x and y, in the same memory

inline smap_sphere_pt *directions(pair *points) { return reinterpret_cast<smap_sphere_pt *>(points); }
inline smap_screen_pt *positions(pair *points) { return reinterpret_cast<smap_screen_pt *>(points); }

// What receives no position is left as it was.
struct placed {
    int8_t in_front;
    std::optional<pair> position;
};

inline placed onto_screen(pair direction, const smap_view &view) {
    if (view.fov == 0)
        return {0, {}};
    const int64_t pan = int64_t{direction[0]} - view.pan, quarter = 92160;
    const int32_t pan_cosine = sine_q12(quarter - pan), tilt_cosine = sine_q12(quarter - direction[1]),
                  view_cosine = sine_q12(quarter + view.tilt), tilt_sine = sine_q12(direction[1]),
                  view_sine = sine_q12(view.tilt), pan_sine = sine_q12(pan);
    const int32_t level = pan_cosine * tilt_cosine / 64;
    if (view_cosine * level / 64 + tilt_sine * view_sine <= -16384)
        return {0, pair{-1234, -5678}};
    const int64_t scale = static_cast<int32_t>(static_cast<uint32_t>(view.width) * 32768) / int64_t{view.fov};
    const auto offset = [&](int32_t sine) {
        return asinDegQ10inQ10out_table[sine / 16384 + 1024] * int64_t{static_cast<int32_t>(scale)} / 32768;
    };
    const int64_t x = (view.width >> 1) + offset(tilt_cosine * pan_sine);
    const int64_t y = (view.height >> 1) - offset(view_cosine * tilt_sine - view_sine * level / 64);
    return {1, pair{static_cast<int32_t>(x), static_cast<int32_t>(y)}};
}

// The angle less whole turns; a positive one may end at the positive end.
inline int32_t within_half_turn(int64_t angle) {
    constexpr int64_t turn = 368640, half = turn / 2;
    const int64_t rest = ((angle + half) % turn + turn) % turn - half;
    return static_cast<int32_t>(rest == -half && angle > 0 ? half : rest);
}

// The pair of the position range that is the same direction.
inline pair clipped(int64_t pan, int64_t tilt) {
    constexpr int32_t turn = 368640, half = turn / 2, quarter = turn / 4;
    int32_t above = within_half_turn(tilt);
    if (above > quarter || above < -quarter) {
        pan += half;
        above = (above < 0 ? -half : half) - above;
    }
    return {static_cast<int32_t>((pan % turn + turn) % turn), above};
}

inline pair onto_sphere(pair position, const smap_view &view) {
    if (view.width == 0)
        return {0, 0};
    const double to_radians = 3.14159265358979323846 / 184320, from_radians = 184320 / 3.14159265358979323846;
    const double tilt = view.tilt * to_radians, fov = view.fov * to_radians;
    const double axis_sine = sine(tilt), axis_cosine = cosine(tilt);
    const double across = sine((static_cast<double>(position[0]) - (view.width >> 1)) * fov / view.width);
    const double up = sine((static_cast<double>(view.height >> 1) - position[1]) * fov / view.width);
    const double depth_squared = 1 - (up * up + across * across);
    if (depth_squared < 0)
        return {0, 0};
    const double depth = std::sqrt(depth_squared);
    const double around = arctangent(across, axis_cosine * depth - axis_sine * up);
    const double above = arcsine(std::clamp(up * axis_cosine + depth * axis_sine, -1.0, 1.0));
    return clipped(static_cast<int64_t>((around + view.pan * to_radians) * from_radians),
                   static_cast<int64_t>(above * from_radians));
}

// A point and the view, as a failure tells them.
inline std::array<int32_t, 7> on_view(pair point, const smap_view &view) {
    return {point[0], point[1], view.width, view.height, view.pan, view.tilt, view.fov};
}

// In place; what becomes of the direction.
inline placed check_onto_screen(pair direction, const smap_view &view) {
    const auto input = on_view(direction, view);
    const placed expected = onto_screen(direction, view);
    pair point = direction;
    agree("whether smap_sphere_pt_to_screen_pt has it in front,", input,
          smap_sphere_pt_to_screen_pt(directions(&point), &view, positions(&point)), expected.in_front);
    agree_all("smap_sphere_pt_to_screen_pt", input, point, expected.position.value_or(direction));
    return {expected.in_front, point};
}

inline pair check_onto_sphere(pair position, const smap_view &view) {
    pair point = position;
    smap_screen_pt_to_sphere_pt(positions(&point), &view, directions(&point));
    agree_all("smap_screen_pt_to_sphere_pt", on_view(position, view), point, onto_sphere(position, view));
    return point;
}

// The points of a polygon one by one, together into a larger target, and in place.
inline void check_polygon(const std::vector<pair> &from, const smap_view &view) {
    const auto count = static_cast<uint32_t>(from.size());
    constexpr pair kUntouched = {7, 8};
    std::vector<pair> screen, sphere, apart(from.size() + 1, kUntouched), in_place = from;
    if (view.fov == 0)
        std::copy(from.begin(), from.end(), apart.begin());
    int8_t all_in_front = 1;
    for (const pair &direction : from) {
        const placed at = check_onto_screen(direction, view);
        all_in_front &= at.in_front;
        screen.push_back(*at.position);
        sphere.push_back(check_onto_sphere(screen.back(), view));
    }
    const smap_sphere_poly source = {count, directions(in_place.data())};
    smap_sphere_poly back = source;
    for (pair *into : {apart.data(), in_place.data()}) {
        smap_screen_poly target = {count + (into == apart.data()), positions(into)};
        agree("smap_sphere_to_screen", on_view({}, view), smap_sphere_to_screen(&source, &view, &target), all_in_front);
        agree("the count that smap_sphere_to_screen leaves", on_view({}, view), target.count, count);
        for (uint32_t i = 0; i < count; ++i)
            agree_all("a point of smap_sphere_to_screen", on_view(from[i], view), into[i], screen[i]);
    }
    agree_all("after the points of smap_sphere_to_screen", on_view({}, view), apart.back(), kUntouched);
    const smap_screen_poly seen = {count, positions(in_place.data())};
    agree("smap_screen_to_sphere", on_view({}, view), smap_screen_to_sphere(&seen, &view, &back), 1);
    for (uint32_t i = 0; i < count; ++i)
        agree_all("a point of smap_screen_to_sphere", on_view(screen[i], view), in_place[i], sphere[i]);
}

} // namespace model

// Motion: each axis accelerates, keeps its speed and brakes. A motion is planned when it is requested and stored as a
// short list of pieces, from which the position at any time follows, so that no program has to run meanwhile.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <sys/time.h>
#include <vector>
#include <vela/spheremap.h>

namespace motion {

// Pan and tilt in degrees, and the zoom as the binary logarithm of the horizontal field of view in degrees, so that
// equal speeds look equally fast at any zoom. Pan is counted on: 370 is one turn and 10 degrees.
struct position {
    std::array<double, 3> axis;
    double pan() const { return axis[0]; }
    double tilt() const { return axis[1]; }
    double fov() const;
};
position at_rest(double pan, double tilt, double fov);

inline constexpr double kNarrowest = 2, kWidest = 110; // fields of view in degrees

// How far the camera may turn and zoom. Pan from `left` clockwise to `right`; a full turn where they are equal.
struct limits {
    double left = 0, right = 0, low = -90, high = 90;
    double widest = kWidest; // field of view
    bool all_round() const { return left == right; }
};

// The course of one axis: from a place and a speed through pieces of constant acceleration, at rest after them.
struct course {
    struct piece {
        double seconds, acceleration;
    };
    double start = 0, speed = 0;
    std::vector<piece> pieces;

    struct state {
        double place, speed;
    };
    state at(double seconds) const;
    double duration() const;
    // To a place, to rest there.
    static course to(state from, double place, double fastest, double acceleration);
    // At a speed for some time, then to rest.
    static course along(state from, double speed, double seconds, double acceleration);
};

struct plan {
    timeval begun = {};
    std::array<course, 3> axes;
    position at(const timeval &now) const;
    std::array<course::state, 3> state_at(const timeval &now) const;
    bool is_moving(const timeval &now) const;
    std::string text() const;
    static plan parse(const std::string &text);
    // At rest since a time.
    static plan resting(const timeval &since, const position &at);
};

// Plans that continue from the current position and speed of another one.
plan move_to(const plan &current, const timeval &now, const position &target, const limits &within);
// Speeds as shares of the axes' maximum, -1 to 1. Stops after the given seconds unless it is requested again.
plan drive(const plan &current, const timeval &now, const std::array<double, 3> &shares, double seconds,
           const limits &within);

// A patrol of positions, with a stay of `dwell` seconds at each: the current stay, and the move to the next position.
plan on_patrol(const std::vector<position> &stops, double dwell, const timeval &begun, const timeval &now,
               const limits &within);

// The range of each axis, with pan counted as at a given pan.
using reach = std::array<std::array<double, 2>, 3>;
reach reach_from(double pan, const limits &within);

// The nearest position that the limits allow.
position within(const limits &allowed, position target);

double seconds_between(const timeval &from, const timeval &to);

smap_view view_of(const position &at, int32_t width, int32_t height);

} // namespace motion

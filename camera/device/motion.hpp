// How the camera moves: each axis accelerates, keeps its speed and brakes. A motion is planned when it is asked for and
// kept as a short list of pieces; where the camera is at any time follows from that list alone, so that no program has
// to run for it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <sys/time.h>
#include <vector>
#include <vela/spheremap.h>

namespace motion {

// Pan and tilt in degrees, and the zoom as the binary logarithm of the horizontal field of view in degrees, so that
// equal speeds look equally fast at any zoom. Pan is counted through: 370 is one turn and 10 degrees.
struct position {
    std::array<double, 3> axis;
    double pan() const { return axis[0]; }
    double tilt() const { return axis[1]; }
    double fov() const;
};
position at_rest(double pan, double tilt, double fov);

inline constexpr double kNarrowest = 2, kWidest = 110; // fields of view in degrees

// How far the camera may turn. Pan from `left` clockwise to `right`; all the way round where they're equal.
struct limits {
    double left = 0, right = 0, low = -90, high = 90;
    bool all_round() const { return left == right; }
};

// One axis on its way: from a place at a speed through pieces of constant acceleration, and at rest behind them.
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
    // To a place, and there at rest.
    static course to(state from, double place, double fastest, double acceleration);
    // At a speed for a while, then at rest.
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
    // At rest from a time on.
    static plan resting(const timeval &since, const position &at);
};

// The plan that goes on from where another one is.
plan move_to(const plan &current, const timeval &now, const position &target, const limits &within);
// Speeds as shares of the axes' own, -1 to 1; stops by itself after so many seconds unless it is asked for again.
plan drive(const plan &current, const timeval &now, const std::array<double, 3> &shares, double seconds,
           const limits &within);

// A tour of positions, each kept for some seconds, from the first on and round again: the stay that is due now and the
// way to the next stop.
plan on_patrol(const std::vector<position> &stops, double dwell, const timeval &begun, const timeval &now,
               const limits &within);

// From where to where each axis may go, as pan is counted at a place.
using reach = std::array<std::array<double, 2>, 3>;
reach reach_from(double pan, const limits &within);

// A position that the limits allow, nearest to the one asked for.
position within(const limits &allowed, position wanted);

double seconds_between(const timeval &from, const timeval &to);

smap_view view_of(const position &at, int32_t width, int32_t height);

} // namespace motion

// Courses of single axes, and plans made of them.
#include "motion.hpp"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <vela/time.h>

namespace motion {

namespace {

constexpr double kFastest[3] = {70, 50, 1.6};         // a second
constexpr double kAccelerations[3] = {140, 110, 4.0}; // a second, a second

// The same direction, counted as near to `from` as possible.
double nearest_turn(double pan, double from) { return from + std::remainder(pan - from, 360); }

// The full turns, in degrees, between pan as it is counted and as the limits are; it may be outside of them.
double turns_before(const limits &allowed, double pan) {
    const double inside = within(allowed, {{pan, 0, 0}}).axis[0];
    return nearest_turn(inside, pan) - inside;
}

} // namespace

double seconds_between(const timeval &from, const timeval &to) {
    const timeval passed = time_sub(&to, &from);
    return static_cast<double>(passed.tv_sec) + static_cast<double>(passed.tv_usec) / 1e6;
}

double position::fov() const { return std::exp2(axis[2]); }

position at_rest(double pan, double tilt, double fov) { return {{pan, tilt, std::log2(fov)}}; }

course::state course::at(double seconds) const {
    state now = {start, speed};
    for (const piece &one : pieces) {
        const double t = std::clamp(seconds, 0.0, one.seconds);
        now.place += t * (now.speed + 0.5 * one.acceleration * t);
        now.speed += t * one.acceleration;
        seconds -= one.seconds;
        if (seconds <= 0)
            return now;
    }
    return {now.place, 0};
}

double course::duration() const {
    double sum = 0;
    for (const piece &one : pieces)
        sum += one.seconds;
    return sum;
}

course course::to(state from, double place, double fastest, double acceleration) {
    course result = {from.place, from.speed, {}};
    const double braking = from.speed * std::fabs(from.speed) / (2 * acceleration);
    const double sign = place - from.place - braking < 0 ? -1 : 1;
    const double distance = (place - from.place) * sign, speed = from.speed * sign;
    double peak = std::sqrt(std::max(0.0, acceleration * distance + speed * speed / 2));
    double cruise = 0;
    if (peak > fastest && fastest >= speed) {
        peak = fastest;
        cruise = (distance - (2 * peak * peak - speed * speed) / (2 * acceleration)) / peak;
    }
    result.pieces = {{std::max(0.0, peak - speed) / acceleration, sign * acceleration},
                     {std::max(0.0, cruise), 0},
                     {peak / acceleration, -sign * acceleration}};
    return result;
}

course course::along(state from, double speed, double seconds, double acceleration) {
    const double change = speed - from.speed;
    return {from.place,
            from.speed,
            {{std::fabs(change) / acceleration, change < 0 ? -acceleration : acceleration},
             {seconds, 0},
             {std::fabs(speed) / acceleration, speed < 0 ? acceleration : -acceleration}}};
}

std::array<course::state, 3> plan::state_at(const timeval &now) const {
    const double seconds = seconds_between(begun, now);
    return {axes[0].at(seconds), axes[1].at(seconds), axes[2].at(seconds)};
}

position plan::at(const timeval &now) const {
    const auto states = state_at(now);
    return {{states[0].place, states[1].place, states[2].place}};
}

bool plan::is_moving(const timeval &now) const {
    const double seconds = seconds_between(begun, now);
    return std::any_of(axes.begin(), axes.end(), [=](const course &one) { return seconds < one.duration(); });
}

std::string plan::text() const {
    std::string result = std::to_string(begun.tv_sec) + " " + std::to_string(begun.tv_usec);
    char number[64];
    const auto add = [&](double value) {
        std::snprintf(number, sizeof number, " %.9g", value);
        result += number;
    };
    for (const course &one : axes) {
        add(one.start);
        add(one.speed);
        add(static_cast<double>(one.pieces.size()));
        for (const course::piece &piece : one.pieces) {
            add(piece.seconds);
            add(piece.acceleration);
        }
    }
    return result + "\n";
}

plan plan::parse(const std::string &text) {
    plan result;
    std::istringstream in(text);
    int64_t seconds = 0, microseconds = 0;
    in >> seconds >> microseconds;
    result.begun = {static_cast<time_t>(seconds), static_cast<suseconds_t>(microseconds)};
    for (course &one : result.axes) {
        size_t count = 0;
        in >> one.start >> one.speed >> count;
        one.pieces.resize(std::min<size_t>(count, 8));
        for (course::piece &piece : one.pieces)
            in >> piece.seconds >> piece.acceleration;
    }
    return in ? result : resting({}, at_rest(0, 0, 60));
}

plan plan::resting(const timeval &since, const position &at) {
    plan result;
    result.begun = since;
    for (size_t i = 0; i < 3; ++i)
        result.axes[i].start = at.axis[i];
    return result;
}

position within(const limits &allowed, position target) {
    target.axis[1] = std::clamp(target.axis[1], allowed.low, allowed.high);
    target.axis[2] = std::clamp(target.axis[2], std::log2(kNarrowest), std::log2(allowed.widest));
    if (!allowed.all_round()) {
        const double span = std::fmod(allowed.right - allowed.left + 720, 360);
        double in = std::fmod(target.axis[0] - allowed.left, 360);
        in += in < 0 ? 360 : 0;
        if (in > span)
            in = in - span < 360 - in ? span : 0;
        target.axis[0] = allowed.left + in;
    }
    return target;
}

plan move_to(const plan &current, const timeval &now, const position &target, const limits &allowed) {
    const auto states = current.state_at(now);
    position end = within(allowed, target);
    plan result;
    result.begun = now;
    // Between limits the shorter path may be closed.
    if (allowed.all_round())
        end.axis[0] = nearest_turn(end.axis[0], states[0].place);
    else
        end.axis[0] += turns_before(allowed, states[0].place);
    for (size_t i = 0; i < 3; ++i)
        result.axes[i] = course::to(states[i], end.axis[i], kFastest[i], kAccelerations[i]);
    return result;
}

plan drive(const plan &current, const timeval &now, const std::array<double, 3> &shares, double seconds,
           const limits &allowed) {
    const auto states = current.state_at(now);
    plan result;
    result.begun = now;
    // The narrower the view, the slower the motion.
    const double slower = std::clamp(std::exp2(states[2].place) / 60, 0.04, 1.0);
    const double scale[3] = {slower, slower, 1};
    const reach free = reach_from(states[0].place, allowed);
    for (size_t i = 0; i < 3; ++i) {
        const double speed = shares[i] * kFastest[i] * scale[i];
        result.axes[i] = course::along(states[i], speed, seconds, kAccelerations[i]);
        const double end = result.axes[i].at(result.axes[i].duration()).place;
        // Outside of the limits, be it by rounding, the axis returns to them even when it is to stop.
        if (end < free[i][0] || end > free[i][1])
            result.axes[i] = course::to(states[i], std::clamp(end, free[i][0], free[i][1]),
                                        std::max({std::fabs(speed), std::fabs(states[i].speed), kFastest[i] / 20}),
                                        kAccelerations[i]);
    }
    return result;
}

plan on_patrol(const std::vector<position> &stops, double dwell, const timeval &begun, const timeval &now,
               const limits &allowed) {
    std::vector<plan> legs;
    std::vector<double> lasting;
    double round = 0;
    for (size_t i = 0; i < stops.size(); ++i) {
        const plan here = plan::resting({}, within(allowed, stops[i]));
        legs.push_back(move_to(here, {}, stops[(i + 1) % stops.size()], allowed));
        double longest = 0;
        for (const course &one : legs.back().axes)
            longest = std::max(longest, one.duration());
        lasting.push_back(longest);
        round += dwell + longest;
    }
    round = std::max(round, 1e-3);
    double since = std::fmod(seconds_between(begun, now), round);
    if (since < 0) // begun before the last start of the machine
        since += round;
    for (size_t i = 0; i < legs.size(); ++i) {
        if (since < dwell + lasting[i]) {
            const auto microseconds = std::llround(since * 1e6);
            const timeval passed = {static_cast<time_t>(microseconds / 1000000),
                                    static_cast<suseconds_t>(microseconds % 1000000)};
            legs[i].begun = time_sub(&now, &passed);
            for (course &one : legs[i].axes)
                one.pieces.insert(one.pieces.begin(), {dwell, 0});
            return legs[i];
        }
        since -= dwell + lasting[i];
    }
    return plan::resting(now, within(allowed, stops.front()));
}

reach reach_from(double pan, const limits &allowed) {
    const double span = std::fmod(allowed.right - allowed.left + 720, 360);
    const double base = allowed.left + turns_before(allowed, pan);
    return {{{allowed.all_round() ? -1e9 : base, allowed.all_round() ? 1e9 : base + span},
             {allowed.low, allowed.high},
             {std::log2(kNarrowest), std::log2(allowed.widest)}}};
}

smap_view view_of(const position &at, int32_t width, int32_t height) {
    const auto q10 = [](double degrees) { return static_cast<int32_t>(std::lround(degrees * 1024)); };
    smap_view view = {width, height, q10(std::remainder(at.pan(), 360)), q10(at.tilt()), q10(at.fov())};
    smap_clip_pan_tilt(&view.pan, &view.tilt);
    return view;
}

} // namespace motion

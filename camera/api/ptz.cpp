// Where the camera looks, and how it is moved.
//
//   GET  /api/ptz           position, motion, limits, presets
//   GET  /api/ptz/token     what a change must bring along
//   POST /api/ptz           action=move pan tilt [fov] | nudge pan tilt zoom | drive pan tilt zoom [hold] | stop |
//                           home | set-home | save name | recall id | forget id | patrol [dwell] | limits ...
#include "../device/state.hpp"
#include "../device/store.hpp"
#include "../device/web.hpp"
#include <algorithm>
#include <cmath>
#include <vela/cpp/uuid.hpp>
#include <vela/time.h>

namespace {

using web::exchange;
using web::refusal;

constexpr size_t kMostPresets = 64, kLongestName = 80;

double canonical_pan(double pan) {
    pan = std::fmod(pan, 360);
    return pan < 0 ? pan + 360 : pan;
}

web::json::object described(const motion::position &at) {
    return web::json::object().add("pan", canonical_pan(at.pan())).add("tilt", at.tilt()).add("fov", at.fov());
}

double seconds_of(const timeval &time) { return motion::seconds_between({}, time); }

std::string text_of(const motion::course &axis) {
    web::json::array pieces;
    for (const motion::course::piece &each : axis.pieces)
        pieces.raw(web::json::array()
                       .raw(web::json::number(each.seconds, 9))
                       .raw(web::json::number(each.acceleration, 9))
                       .text());
    return web::json::object()
        .add("start", axis.start, 9)
        .add("speed", axis.speed, 9)
        .raw("pieces", pieces.text())
        .text();
}

std::string text_of(const motion::plan &plan) {
    web::json::array axes;
    for (const motion::course &axis : plan.axes)
        axes.raw(text_of(axis));
    return web::json::object().add("begun", seconds_of(plan.begun), 6).raw("axes", axes.text()).text();
}

std::string text_of(const motion::reach &free) {
    web::json::array axes;
    for (const auto &[low, high] : free)
        axes.raw(web::json::array().raw(web::json::number(low, 9)).raw(web::json::number(high, 9)).text());
    return axes.text();
}

void report(exchange &one) {
    const timeval now = state::now();
    const motion::plan plan = state::current_plan(now);
    const auto tour = state::patrolling();
    const motion::limits allowed = state::limits();
    web::json::array presets;
    for (const state::preset &each : state::presets())
        presets.raw(described(each.at).add("id", each.id).add("name", each.name).text());
    one.json(described(plan.at(now))
                 .add("moving", tour || plan.is_moving(now))
                 .add("patrol", tour.has_value())
                 .add("now", seconds_of(now), 6)
                 .raw("plan", text_of(plan))
                 .raw("reach", text_of(motion::reach_from(plan.at(now).pan(), allowed)))
                 .raw("limits", web::json::object()
                                    .add("left", allowed.left)
                                    .add("right", allowed.right)
                                    .add("low", allowed.low)
                                    .add("high", allowed.high)
                                    .text())
                 .raw("home", described(state::home()).text())
                 .raw("presets", presets.text())
                 .text());
}

void go(const motion::plan &plan) {
    state::keep(std::nullopt);
    state::keep(plan);
}

void save_preset(const exchange &one, const motion::position &at) {
    auto all = state::presets();
    const std::string name = one.text("name", kLongestName);
    if (all.size() >= kMostPresets)
        throw refusal{409, "there are 64 presets, and that's the most"};
    all.push_back({vela::uuid::random().to_string(), name, at});
    state::keep(all);
}

state::preset asked_preset(const exchange &one) {
    const auto found = state::find_preset(one.text("id", 48));
    if (!found)
        throw refusal{404, "there is no such preset"};
    return *found;
}

void set_limits(const exchange &one) {
    const motion::limits wanted = {one.number("left", 0, 360), one.number("right", 0, 360), one.number("low", -90, 90),
                                   one.number("high", -90, 90)};
    if (wanted.low > wanted.high)
        throw refusal{400, "the lowest tilt is above the highest"};
    int32_t left = static_cast<int32_t>(std::lround(wanted.left * 1024));
    int32_t right = static_cast<int32_t>(std::lround(wanted.right * 1024));
    int32_t low = static_cast<int32_t>(std::lround(wanted.low * 1024));
    int32_t high = static_cast<int32_t>(std::lround(wanted.high * 1024));
    smap_clip_pan_tilt_bounds(&left, &low);
    smap_clip_pan_tilt_bounds(&right, &high);
    state::keep(motion::limits{left / 1024.0, right / 1024.0, low / 1024.0, high / 1024.0});
}

void change(exchange &one) {
    const store::lock held;
    const timeval now = state::now();
    const motion::plan plan = state::current_plan(now);
    const motion::position at = plan.at(now);
    const motion::limits allowed = state::limits();
    const std::string action = one.one_of("action", {"move", "nudge", "drive", "stop", "home", "set-home", "save",
                                                     "recall", "forget", "patrol", "limits"});
    if (action == "move") {
        const double fov = one.number("fov", motion::kNarrowest, motion::kWidest, at.fov());
        go(motion::move_to(plan, now, motion::at_rest(one.number("pan", -360, 720), one.number("tilt", -90, 90), fov),
                           allowed));
    } else if (action == "nudge") {
        motion::position to = at;
        to.axis[0] += one.number("pan", -180, 180, 0);
        to.axis[1] += one.number("tilt", -180, 180, 0);
        to.axis[2] -= one.number("zoom", -6, 6, 0);
        go(motion::move_to(plan, now, to, allowed));
    } else if (action == "drive")
        go(motion::drive(plan, now,
                         {one.number("pan", -1, 1, 0), one.number("tilt", -1, 1, 0), -one.number("zoom", -1, 1, 0)},
                         one.number("hold", 0.1, 2, 0.8), allowed));
    else if (action == "stop")
        go(motion::drive(plan, now, {0, 0, 0}, 0, allowed));
    else if (action == "home")
        go(motion::move_to(plan, now, state::home(), allowed));
    else if (action == "set-home")
        state::keep_home(at);
    else if (action == "save")
        save_preset(one, at);
    else if (action == "recall")
        go(motion::move_to(plan, now, asked_preset(one).at, allowed));
    else if (action == "forget") {
        const std::string id = asked_preset(one).id;
        auto all = state::presets();
        std::erase_if(all, [&id](const state::preset &each) { return each.id == id; });
        state::keep(all);
    } else if (action == "patrol") {
        if (state::presets().size() < 2)
            throw refusal{409, "a patrol needs two presets"};
        state::keep(state::patrol{now, one.number("dwell", 1, 600, 4)});
    } else
        set_limits(one);
    report(one);
}

void send_token(exchange &one) { one.json(web::json::object().add("token", web::token()).text()); }

} // namespace

int main() { return web::run({{"GET", "", report}, {"GET", "/token", send_token}, {"POST", "", change}}); }

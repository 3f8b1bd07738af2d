// Motion.
//
//   GET  /api/ptz           position, motion, limits, presets
//   GET  /api/ptz/token     the token that changes must contain
//   POST /api/ptz           action=move pan tilt [fov] | nudge pan tilt zoom | drive pan tilt zoom [hold] | stop |
//                           home | set-home | save name | recall id | forget id | patrol [dwell] | limits ...
#include "../device/state.hpp"
#include "../device/store.hpp"
#include "../device/web.hpp"
#include <algorithm>
#include <cmath>
#include <vela/time.h>

namespace {

using web::exchange;
using web::refusal;

constexpr size_t kMaxPresets = 64, kMaxName = 80;

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

void report(exchange &http) {
    const timeval now = state::uptime();
    const motion::plan plan = state::current_plan(now);
    const auto tour = state::patrolling();
    const motion::limits allowed = state::limits();
    web::json::object revisions;
    for (const auto &[program, text] : state::revisions())
        revisions.add(program, text);
    web::json::array presets;
    for (const state::preset &each : state::presets())
        presets.raw(described(each.at).add("id", each.id).add("name", each.name).text());
    http.json(described(plan.at(now))
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
                  .raw("revisions", revisions.text())
                  .text());
}

void go(const motion::plan &plan) {
    state::keep(std::nullopt);
    state::keep(plan);
}

// A name has one view: it replaces the one before.
void save_preset(const exchange &http, const motion::position &current) {
    auto all = state::presets();
    const std::string name = http.text("name", kMaxName);
    const motion::position at =
        motion::at_rest(http.number("pan", -360, 720, current.pan()), http.number("tilt", -90, 90, current.tilt()),
                        http.number("fov", motion::kNarrowest, motion::kWidest, current.fov()));
    const auto same =
        std::find_if(all.begin(), all.end(), [&](const state::preset &each) { return each.name == name; });
    if (same != all.end())
        same->at = at;
    else if (all.size() >= kMaxPresets)
        throw refusal{409, "there are 64 presets already"};
    else
        all.push_back({web::random_id(), name, at});
    state::keep(all);
}

state::preset asked_preset(const exchange &http) {
    const auto found = state::find_preset(http.text("id", 48));
    if (!found)
        throw refusal{404, "no such preset"};
    return *found;
}

void set_limits(const exchange &http) {
    const motion::limits limits = {http.number("left", 0, 360), http.number("right", 0, 360),
                                   http.number("low", -90, 90), http.number("high", -90, 90)};
    if (limits.low > limits.high)
        throw refusal{400, "the lowest tilt is above the highest", "low"};
    int32_t left = static_cast<int32_t>(std::lround(limits.left * 1024));
    int32_t right = static_cast<int32_t>(std::lround(limits.right * 1024));
    int32_t low = static_cast<int32_t>(std::lround(limits.low * 1024));
    int32_t high = static_cast<int32_t>(std::lround(limits.high * 1024));
    smap_clip_pan_tilt_bounds(&left, &low);
    smap_clip_pan_tilt_bounds(&right, &high);
    state::keep(motion::limits{left / 1024.0, right / 1024.0, low / 1024.0, high / 1024.0});
}

void change(exchange &http) {
    const store::lock held;
    const timeval now = state::uptime();
    const motion::plan plan = state::current_plan(now);
    const motion::position at = plan.at(now);
    const motion::limits allowed = state::limits();
    const std::string action = http.one_of("action", {"move", "nudge", "drive", "stop", "home", "set-home", "save",
                                                      "recall", "forget", "patrol", "limits"});
    if (action == "move") {
        const double fov = http.number("fov", motion::kNarrowest, motion::kWidest, at.fov());
        go(motion::move_to(plan, now, motion::at_rest(http.number("pan", -360, 720), http.number("tilt", -90, 90), fov),
                           allowed));
    } else if (action == "nudge") {
        motion::position to = at;
        to.axis[0] += http.number("pan", -180, 180, 0);
        to.axis[1] += http.number("tilt", -180, 180, 0);
        to.axis[2] -= http.number("zoom", -6, 6, 0);
        go(motion::move_to(plan, now, to, allowed));
    } else if (action == "drive")
        go(motion::drive(plan, now,
                         {http.number("pan", -1, 1, 0), http.number("tilt", -1, 1, 0), -http.number("zoom", -1, 1, 0)},
                         http.number("hold", 0.1, 2, 0.8), allowed));
    else if (action == "stop")
        go(motion::drive(plan, now, {0, 0, 0}, 0, allowed));
    else if (action == "home")
        go(motion::move_to(plan, now, state::home(), allowed));
    else if (action == "set-home")
        state::keep_home(at);
    else if (action == "save")
        save_preset(http, at);
    else if (action == "recall")
        go(motion::move_to(plan, now, asked_preset(http).at, allowed));
    else if (action == "forget") {
        const std::string id = asked_preset(http).id;
        auto all = state::presets();
        std::erase_if(all, [&id](const state::preset &each) { return each.id == id; });
        state::keep(all);
    } else if (action == "patrol") {
        if (state::presets().size() < 2)
            throw refusal{409, "a patrol needs two presets"};
        state::keep(state::patrol{now, http.number("dwell", 1, 600, 4)});
    } else
        set_limits(http);
    report(http);
}

void send_token(exchange &http) { http.json(web::json::object().add("token", web::token()).text()); }

} // namespace

int main() { return web::run({{"GET", "", report}, {"GET", "/token", send_token}, {"POST", "", change}}); }

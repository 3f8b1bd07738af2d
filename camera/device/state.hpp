// The camera's state between requests: clock, position, presets, limits and settings.
#pragma once

#include "motion.hpp"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace state {

// The camera's clock: the system's, plus the offset that was set.
timeval now();
// The clock of all motion, in seconds since the machine was started: setting the other one changes nothing here.
timeval uptime();
void set_clock(const timeval &to);

// A text for each program that changes something, which is another one after each change.
struct revision {
    const char *program;
    std::string text;
};
std::vector<revision> revisions();

struct preset {
    std::string id, name;
    motion::position at;
};
std::vector<preset> presets();
void keep(const std::vector<preset> &all);
std::optional<preset> find_preset(const std::string &id);

motion::limits limits();
void keep(const motion::limits &allowed);

motion::position home();
void keep_home(const motion::position &at);

// A patrol of the presets, since a time.
struct patrol {
    timeval begun;
    double dwell;
};
std::optional<patrol> patrolling();
void keep(const std::optional<patrol> &tour);

// The current motion; of a patrol, as far as its next preset.
motion::plan current_plan(const timeval &uptime);
void keep(const motion::plan &plan);
motion::position position_at(const timeval &uptime);

enum class light { automatic, day, night };
const char *name_of(light by);
// The light of that name; automatic for any other.
light light_of(std::string_view name);
struct settings {
    light by = light::day;
    bool grid = false, stamp = true;
    double exposure = 0;                       // in stops, -2 to 2
    std::vector<std::pair<int, int>> curve = { // knots of the tone curve, from x 0 to 255
        {0, 0},
        {64, 60},
        {192, 200},
        {255, 255}};
};
settings read_settings();
void keep(const settings &all);
bool is_night(const settings &all, const timeval &at);

} // namespace state

// The state as records in files.
#include "state.hpp"
#include "feed.hpp"
#include "store.hpp"
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <vela/time.h>

namespace state {

namespace {

std::string text(double value) {
    char result[64];
    std::snprintf(result, sizeof result, "%.9g", value);
    return result;
}
double number(const std::string &field) { return std::strtod(field.c_str(), nullptr); }
std::string text(const timeval &time) { return std::to_string(time.tv_sec) + "." + std::to_string(time.tv_usec); }
timeval time_of(const std::string &field) {
    const size_t point = field.find('.');
    return {static_cast<time_t>(std::strtoll(field.c_str(), nullptr, 10)),
            static_cast<suseconds_t>(point == std::string::npos ? 0 : std::strtol(&field[point + 1], nullptr, 10))};
}

// The fields of the only record of a file, if it has that number of them.
store::record single(const std::string &name, size_t fields) {
    const auto records = store::read_records(name);
    return records.size() == 1 && records[0].size() == fields ? records[0] : store::record();
}

motion::position position_of(const store::record &fields, size_t first) {
    return {{number(fields[first]), number(fields[first + 1]), number(fields[first + 2])}};
}

void append(store::record &fields, const motion::position &at) {
    for (const double value : at.axis)
        fields.push_back(text(value));
}

} // namespace

timeval now() {
    timeval time;
    gettime(&time);
    const store::record ahead = single("clock", 1);
    if (ahead.empty())
        return time;
    const timeval offset = time_of(ahead[0]);
    return time_add(&time, &offset);
}

timeval uptime() {
    timespec time;
    clock_gettime(CLOCK_BOOTTIME, &time);
    return {time.tv_sec, static_cast<suseconds_t>(time.tv_nsec / 1000)};
}

void set_clock(const timeval &to) {
    timeval time;
    gettime(&time);
    store::write_records("clock", {{text(time_sub(&to, &time))}});
}

std::vector<revision> revisions() {
    static constexpr struct {
        const char *program, *file;
    } kFiles[] = {{"ptz", "motion"},   {"ptz", "patrol"},      {"ptz", "presets"},          {"ptz", "limits"},
                  {"ptz", "home"},     {"mask", "masks"},      {"video", "settings"},       {"video", "clock"},
                  {"system", "clock"}, {"system", "identity"}, {"recordings", "recordings"}};
    std::vector<revision> all;
    uint64_t sum = 0;
    for (const auto &[program, file] : kFiles) {
        if (all.empty() || std::string_view(all.back().program) != program) {
            all.push_back({program, {}});
            sum = 0xCBF29CE484222325; // FNV-1a
        }
        const store::version now = store::version_of(file).value_or(store::version());
        for (const uint64_t part : {now.file, now.size, now.seconds, now.nanoseconds})
            sum = (sum ^ part) * 0x100000001B3;
        char digits[17];
        std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(sum));
        all.back().text = digits;
    }
    return all;
}

std::vector<preset> presets() {
    std::vector<preset> all;
    for (const auto &fields : store::read_records("presets"))
        if (fields.size() == 5)
            all.push_back({fields[0], fields[1], position_of(fields, 2)});
    return all;
}

void keep(const std::vector<preset> &all) {
    std::vector<store::record> records;
    for (const preset &one : all) {
        records.push_back({one.id, one.name});
        append(records.back(), one.at);
    }
    store::write_records("presets", records);
}

std::optional<preset> find_preset(const std::string &id) {
    for (const preset &one : presets())
        if (one.id == id)
            return one;
    return std::nullopt;
}

motion::limits limits() {
    const store::record fields = single("limits", 4);
    const motion::limits of_lens = feed::video().limits();
    if (fields.empty())
        return of_lens;
    return {number(fields[0]), number(fields[1]), number(fields[2]), number(fields[3]), of_lens.widest};
}

void keep(const motion::limits &allowed) {
    store::write_records("limits", {{text(allowed.left), text(allowed.right), text(allowed.low), text(allowed.high)}});
}

motion::position home() {
    const store::record fields = single("home", 3);
    if (!fields.empty())
        return position_of(fields, 0);
    return feed::video::is_configured() ? feed::video().home() : motion::at_rest(38, 4, 62);
}

void keep_home(const motion::position &at) {
    store::record fields;
    append(fields, at);
    store::write_records("home", {fields});
}

std::optional<patrol> patrolling() {
    const store::record fields = single("patrol", 2);
    return fields.empty() ? std::nullopt : std::optional<patrol>({time_of(fields[0]), number(fields[1])});
}

void keep(const std::optional<patrol> &tour) {
    if (tour)
        store::write_records("patrol", {{text(tour->begun), text(tour->dwell)}});
    else
        store::remove("patrol");
}

motion::plan current_plan(const timeval &at) {
    const auto tour = patrolling();
    const auto stops = tour ? presets() : std::vector<preset>();
    if (!stops.empty()) {
        std::vector<motion::position> positions;
        for (const preset &one : stops)
            positions.push_back(one.at);
        return motion::on_patrol(positions, tour->dwell, tour->begun, at, limits());
    }
    const auto text = store::read("motion");
    if (!text)
        return motion::plan::resting(at, home());
    const motion::plan plan = motion::plan::parse(*text);
    // Of an earlier start of the machine: it has ended since.
    if (motion::seconds_between(at, plan.begun) > 60)
        return motion::plan::resting(at, plan.at({plan.begun.tv_sec + 86400, 0}));
    return plan;
}

void keep(const motion::plan &plan) { store::write("motion", plan.text()); }

motion::position position_at(const timeval &at) { return current_plan(at).at(at); }

const char *name_of(light by) { return by == light::day ? "day" : by == light::night ? "night" : "auto"; }

light light_of(std::string_view name) {
    return name == "day" ? light::day : name == "night" ? light::night : light::automatic;
}

settings read_settings() {
    settings all;
    const auto records = store::read_records("settings");
    if (records.size() != 2 || records[0].size() != 4)
        return all;
    const auto &fields = records[0];
    all.by = light_of(fields[0]);
    all.grid = fields[1] == "1";
    all.stamp = fields[2] == "1";
    all.exposure = number(fields[3]);
    all.curve.clear();
    for (size_t i = 0; i + 1 < records[1].size(); i += 2)
        all.curve.push_back({std::atoi(records[1][i].c_str()), std::atoi(records[1][i + 1].c_str())});
    return all;
}

void keep(const settings &all) {
    store::record knots;
    for (const auto &[x, y] : all.curve) {
        knots.push_back(std::to_string(x));
        knots.push_back(std::to_string(y));
    }
    store::write_records("settings",
                         {{name_of(all.by), all.grid ? "1" : "0", all.stamp ? "1" : "0", text(all.exposure)}, knots});
}

bool is_night(const settings &all, const timeval &at) {
    if (all.by != light::automatic)
        return all.by == light::night;
    tm local;
    const time_t seconds = at.tv_sec;
    localtime_r(&seconds, &local);
    return local.tm_hour < 7 || local.tm_hour >= 19;
}

} // namespace state

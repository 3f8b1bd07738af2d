// What is kept: snapshots and clips in folders by date.
//
//   GET  /api/recordings        all of them, or those that a [pattern] finds
//   GET  /api/recordings/file   one: id
//   GET  /api/recordings/play   a clip as a stream: id
//   GET  /api/recordings/thumb  its first picture: id
//   POST /api/recordings        action=snapshot | clip [seconds] | remove id | expire days
#include "../device/eye.hpp"
#include "../device/store.hpp"
#include "../device/stream.hpp"
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <sys/stat.h>
#include <unistd.h>
#include <vela/cpp/uuid.hpp>
#include <vela/filesystem.h>

namespace {

using web::exchange;
using web::refusal;

constexpr size_t kMost = 200;
constexpr uint64_t kMostBytes = uint64_t{256} << 20;
constexpr int32_t kClipRate = 10; // pictures a second
constexpr std::chrono::microseconds kClipBeat(1000000 / kClipRate);
constexpr char kFolder[] = "recordings/";

struct recording {
    std::string id;
    bool is_clip;
    time_t time;
    uint64_t bytes;
};

// "2026-11-25/124501-snapshot-0123abcd.jpg" and nothing else: an id names a file, so every character is looked at.
bool is_id(std::string_view text) {
    const bool clip = text.find("-clip-") == 17;
    const std::string_view form =
        clip ? "0000-00-00/000000-clip-xxxxxxxx.mjpeg" : "0000-00-00/000000-snapshot-xxxxxxxx.jpg";
    return std::equal(text.begin(), text.end(), form.begin(), form.end(), [](char ch, char kind) {
        const bool digit = ch >= '0' && ch <= '9';
        return kind == '0' ? digit : kind == 'x' ? digit || (ch >= 'a' && ch <= 'f') : ch == kind;
    });
}

time_t time_of(const std::string &id) {
    tm local = {};
    local.tm_isdst = -1;
    return strptime(id.c_str(), "%Y-%m-%d/%H%M%S", &local) ? mktime(&local) : 0;
}

// The newest first. The pattern is matched by the walk, against "./" and the id.
std::vector<recording> find(const std::string &pattern) {
    std::vector<recording> found;
    if (chdir((store::folder() + kFolder).c_str()) != 0)
        return found; // nothing was ever kept
    char **names = nullptr;
    const int32_t result = walk_dir(".", pattern.c_str(), WALK_RECURSE, &names);
    for (char **name = names; name && *name; ++name) {
        const std::string id = *name + 2;
        struct stat about;
        if (is_id(id) && stat(*name, &about) == 0)
            found.push_back({id, id.ends_with(".mjpeg"), time_of(id), static_cast<uint64_t>(about.st_size)});
        std::free(*name);
    }
    std::free(names);
    if (result == 1)
        throw refusal{400, "pattern is no regular expression"};
    std::sort(found.begin(), found.end(), [](const recording &a, const recording &b) { return a.id > b.id; });
    return found;
}

// Braces and backslashes could keep a matcher busy for days.
std::string read_pattern(const exchange &one) {
    if (!one.find("pattern"))
        return ".";
    const std::string pattern = one.text("pattern", 128);
    if (pattern.find_first_of("{}\\") != pattern.npos)
        throw refusal{400, "pattern is a regular expression without braces and backslashes"};
    return pattern;
}

void report(exchange &one, const std::string &pattern = ".", const std::string &added = {}) {
    web::json::array list;
    for (const recording &each : find(pattern))
        list.raw(web::json::object()
                     .add("id", each.id)
                     .add("kind", each.is_clip ? "clip" : "snapshot")
                     .add("time", static_cast<double>(each.time))
                     .add("bytes", static_cast<double>(each.bytes))
                     .text());
    web::json::object answer;
    answer.raw("recordings", list.text()).add("most", static_cast<double>(kMost));
    if (!added.empty())
        answer.add("added", added);
    one.json(answer.text());
}

void remove(const std::string &id) {
    store::remove(kFolder + id);
    rmdir((store::folder() + kFolder + id.substr(0, 10)).c_str()); // stays while something is in it
}

// Throws the oldest away, so that one of so many bytes has room.
void make_room(uint64_t bytes) {
    auto all = find(".");
    uint64_t sum = bytes;
    for (const recording &each : all)
        sum += each.bytes;
    for (; !all.empty() && (all.size() >= kMost || sum > kMostBytes); all.pop_back()) {
        sum -= all.back().bytes;
        remove(all.back().id);
    }
}

std::string keep(const timeval &begun, bool is_clip, std::string_view content) {
    const store::lock held;
    make_room(content.size());
    tm local;
    const time_t seconds = begun.tv_sec;
    localtime_r(&seconds, &local);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d/%H%M%S", &local);
    const std::string id = std::string(stamp) + (is_clip ? "-clip-" : "-snapshot-") +
                           vela::uuid::random().to_string().substr(0, 8) + (is_clip ? ".mjpeg" : ".jpg");
    store::make_folder(kFolder + id.substr(0, 10));
    store::write(kFolder + id, content);
    return id;
}

std::string record(const exchange &one, bool is_clip) {
    const sight what = is_clip ? read_sight(one, 640, 360) : read_sight(one);
    const int32_t pictures = is_clip ? one.whole("seconds", 1, 20, 5) * kClipRate : 1;
    const timeval begun = state::now();
    eye sensor;
    std::string content;
    beat pace(kClipBeat, beat::late::made_up);
    for (int32_t i = 0; i < pictures; ++i) {
        if (i > 0)
            pace.wait();
        content += text_of(sensor.jpeg(what, 85));
    }
    return keep(begun, is_clip, content);
}

std::string asked_id(const exchange &one) {
    const std::string id = one.text("id", 64);
    if (!is_id(id))
        throw refusal{400, "id is none of a recording"};
    return id;
}

std::string read(const std::string &id) {
    const auto content = store::read(kFolder + id);
    if (!content)
        throw refusal{404, "there is no such recording"};
    return *content;
}

void change(exchange &one) {
    const std::string action = one.one_of("action", {"snapshot", "clip", "remove", "expire"});
    std::string added;
    if (action == "remove") {
        const std::string id = asked_id(one);
        const store::lock held;
        if (!exists((store::folder() + kFolder + id).c_str()))
            throw refusal{404, "there is no such recording"};
        remove(id);
    } else if (action == "expire") {
        const time_t oldest = state::now().tv_sec - time_t{86400} * one.whole("days", 0, 3650);
        const store::lock held;
        for (const recording &each : find("."))
            if (each.time < oldest)
                remove(each.id);
    } else
        added = record(one, action == "clip");
    report(one, ".", added);
}

// Where the picture that begins here ends: the encoder writes this pair of bytes nowhere else.
size_t end_of_picture(std::string_view clip, size_t from) {
    const size_t end = clip.find("\xFF\xD9", from);
    return end == clip.npos ? clip.size() : end + 2;
}

bool is_clip(std::string_view id) { return id.ends_with(".mjpeg"); }

void play(exchange &one) {
    const std::string clip = read(asked_id(one));
    picture_stream stream(one);
    if (!stream.begin() || !one.response().wants_body())
        return;
    beat pace(kClipBeat, beat::late::made_up);
    for (size_t at = 0, end; at < clip.size(); at = end) {
        end = end_of_picture(clip, at);
        if (!stream.send(std::string_view(clip).substr(at, end - at)))
            return;
        pace.wait();
    }
    stream.end();
}

void send_thumb(exchange &one) {
    const std::string content = read(asked_id(one));
    one.answer("image/jpeg", std::string_view(content).substr(0, end_of_picture(content, 0)));
}

void send_file(exchange &one) {
    const std::string id = asked_id(one), content = read(id);
    one.response().header("Content-Disposition", "inline; filename=\"" + id.substr(0, 10) + "-" + id.substr(11) + "\"");
    one.answer(is_clip(id) ? "video/x-motion-jpeg" : "image/jpeg", content);
}

void send_list(exchange &one) { report(one, read_pattern(one)); }

} // namespace

int main() {
    return web::run({{"GET", "", send_list},
                     {"GET", "/file", send_file},
                     {"GET", "/play", play},
                     {"GET", "/thumb", send_thumb},
                     {"POST", "", change}});
}

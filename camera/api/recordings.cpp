// Recordings: snapshots and clips, in directories by date.
//
//   GET  /api/recordings        all of them, or those whose id contains a [pattern], with * and ? as wildcards
//   GET  /api/recordings/file   one: id
//   GET  /api/recordings/play   a clip as a stream: id
//   GET  /api/recordings/thumb  its first picture: id
//   POST /api/recordings        action=snapshot | clip [seconds] | remove id | expire days
#include "../device/eye.hpp"
#include "../device/store.hpp"
#include "../device/stream.hpp"
#include <algorithm>
#include <cmath>
#include <ctime>
#include <sys/stat.h>
#include <unistd.h>
#include <vela/cpp/walk.hpp>
#include <vela/filesystem.h>

namespace {

using web::exchange;
using web::refusal;

constexpr size_t kMaxRecordings = 200;
constexpr uint64_t kMaxBytes = uint64_t{256} << 20;
constexpr uint64_t kMinFreeBytes = 1 << 20; // on the disk, for masks and settings
constexpr int32_t kClipRate = 10;           // pictures a second
constexpr std::chrono::microseconds kClipPeriod(1000000 / kClipRate);
constexpr char kDirectory[] = "recordings/";

struct recording {
    std::string id;
    bool is_clip;
    time_t time;
    uint64_t bytes;
};

// "2026-11-25/124501-snapshot-0123abcd.jpg" and nothing else: an id is the name of a file, so every character is
// checked.
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

// Whether a text has a part that matches a pattern, in which * stands for any characters and ? for http.
bool matches(std::string_view text, std::string_view pattern) {
    size_t at = 0, begin = 0, i = 0, after_star = 0; // as if the pattern began with *
    while (i < pattern.size()) {
        if (pattern[i] == '*') {
            after_star = ++i;
            begin = at;
        } else if (at == text.size()) {
            return false;
        } else if (pattern[i] == '?' || pattern[i] == text[at]) {
            ++i;
            ++at;
        } else {
            i = after_star;
            at = ++begin;
        }
    }
    return true;
}

// The newest first.
std::vector<recording> find(std::string_view pattern = "") {
    std::vector<recording> found;
    if (chdir((store::directory() + kDirectory).c_str()) != 0)
        return found; // nothing was ever recorded
    const auto paths = vela::walk::make(".", ".", vela::walk::flags::recurse);
    for (const std::string_view path : *paths) {
        const std::string id(path.substr(2)); // after "./"
        struct stat about;
        if (is_id(id) && matches(id, pattern) && stat(id.c_str(), &about) == 0)
            found.push_back({id, id.ends_with(".mjpeg"), time_of(id), static_cast<uint64_t>(about.st_size)});
    }
    std::sort(found.begin(), found.end(), [](const recording &a, const recording &b) { return a.id > b.id; });
    return found;
}

void report(exchange &http, const std::string &pattern = {}, const std::string &added = {}) {
    web::json::array list;
    for (const recording &each : find(pattern))
        list.raw(web::json::object()
                     .add("id", each.id)
                     .add("kind", each.is_clip ? "clip" : "snapshot")
                     .add("time", static_cast<double>(each.time))
                     .add("bytes", static_cast<double>(each.bytes))
                     .text());
    web::json::object answer;
    answer.raw("recordings", list.text()).add("most", static_cast<double>(kMaxRecordings));
    if (!added.empty())
        answer.add("added", added);
    http.json(answer.text());
}

void remove(const std::string &id) {
    store::remove(kDirectory + id);
    rmdir((store::directory() + kDirectory + id.substr(0, 10)).c_str()); // fails unless it is empty
    store::touch(kDirectory);
}

// Deletes the oldest recordings until one of this size fits.
void free_space(uint64_t bytes) {
    auto all = find();
    uint64_t sum = bytes;
    for (const recording &each : all)
        sum += each.bytes;
    const auto is_full = [&] { return store::free_bytes() < bytes + kMinFreeBytes; };
    for (; !all.empty() && (all.size() >= kMaxRecordings || sum > kMaxBytes || is_full()); all.pop_back()) {
        sum -= all.back().bytes;
        remove(all.back().id);
    }
    if (is_full())
        throw refusal{409, "the disk is full"};
}

std::string keep(const timeval &begun, bool is_clip, std::string_view content) {
    const store::lock held;
    free_space(content.size());
    tm local;
    const time_t seconds = begun.tv_sec;
    localtime_r(&seconds, &local);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d/%H%M%S", &local);
    const std::string id = std::string(stamp) + (is_clip ? "-clip-" : "-snapshot-") + web::random_id().substr(0, 8) +
                           (is_clip ? ".mjpeg" : ".jpg");
    store::make_directory(kDirectory + id.substr(0, 10));
    store::write(kDirectory + id, content);
    store::touch(kDirectory);
    return id;
}

std::string record(const exchange &http, bool is_clip) {
    const view_request what = is_clip ? read_view(http, 640, 360) : read_view(http);
    const int32_t pictures = is_clip ? http.whole("seconds", 1, 20, 5) * kClipRate : 1;
    const timeval begun = state::now();
    eye sensor;
    std::string content;
    pacer pace(kClipPeriod, pacer::late::catch_up);
    for (int32_t i = 0; i < pictures; ++i) {
        if (i > 0)
            pace.wait();
        content += text_of(sensor.jpeg(what, 85));
    }
    return keep(begun, is_clip, content);
}

std::string asked_id(const exchange &http) {
    const std::string id = http.text("id", 64);
    if (!is_id(id))
        throw refusal{400, "this is no recording", "id"};
    return id;
}

std::string read(const std::string &id) {
    const auto content = store::read(kDirectory + id);
    if (!content)
        throw refusal{404, "no such recording"};
    return *content;
}

void change(exchange &http) {
    const std::string action = http.one_of("action", {"snapshot", "clip", "remove", "expire"});
    std::string added;
    if (action == "remove") {
        const std::string id = asked_id(http);
        const store::lock held;
        if (!exists((store::directory() + kDirectory + id).c_str()))
            throw refusal{404, "no such recording"};
        remove(id);
    } else if (action == "expire") {
        const time_t oldest = state::now().tv_sec - time_t{86400} * http.whole("days", 0, 3650);
        const store::lock held;
        for (const recording &each : find())
            if (each.time < oldest)
                remove(each.id);
    } else
        added = record(http, action == "clip");
    report(http, {}, added);
}

// The end of the picture at `from`: the encoder writes this pair of bytes nowhere else.
size_t end_of_picture(std::string_view clip, size_t from) {
    const size_t end = clip.find("\xFF\xD9", from);
    return end == clip.npos ? clip.size() : end + 2;
}

bool is_clip(std::string_view id) { return id.ends_with(".mjpeg"); }

void play(exchange &http) {
    const std::string clip = read(asked_id(http));
    picture_stream stream(http);
    if (!stream.begin() || !http.response().wants_body())
        return;
    pacer pace(kClipPeriod, pacer::late::catch_up);
    for (size_t at = 0, end; at < clip.size(); at = end) {
        end = end_of_picture(clip, at);
        if (!stream.send(std::string_view(clip).substr(at, end - at)))
            return;
        pace.wait();
    }
    stream.end();
}

void send_thumb(exchange &http) {
    const std::string content = read(asked_id(http));
    http.answer("image/jpeg", std::string_view(content).substr(0, end_of_picture(content, 0)));
}

void send_file(exchange &http) {
    const std::string id = asked_id(http), content = read(id);
    http.response().header("Content-Disposition",
                           "inline; filename=\"" + id.substr(0, 10) + "-" + id.substr(11) + "\"");
    http.answer(is_clip(id) ? "video/x-motion-jpeg" : "image/jpeg", content);
}

void send_list(exchange &http) { report(http, http.find("pattern") ? http.text("pattern", 128) : std::string()); }

} // namespace

int main() {
    return web::run({{"GET", "", send_list},
                     {"GET", "/file", send_file},
                     {"GET", "/play", play},
                     {"GET", "/thumb", send_thumb},
                     {"POST", "", change}});
}

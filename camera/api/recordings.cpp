// Recordings: snapshots and clips, in directories by date.
//
//   GET  /api/recordings        all of them, or those whose id contains a [pattern], with * and ? as wildcards
//   GET  /api/recordings/file   one, or a range of its bytes: id
//   GET  /api/recordings/thumb  its first picture: id
//   POST /api/recordings        action=snapshot | clip [seconds] | remove id | expire days
#include "../device/clip.hpp"
#include "../device/eye.hpp"
#include "../device/sound.hpp"
#include "../device/store.hpp"
#include "../device/stream.hpp"
#include <algorithm>
#include <charconv>
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
constexpr uint64_t kMinFreeBytes = 1 << 20;           // on the disk, for masks and settings
constexpr std::chrono::milliseconds kClipPeriod(100); // from one picture to the next
constexpr char kDirectory[] = "recordings/";

struct recording {
    std::string id;
    time_t time;
    uint64_t bytes;
};

// Names of their files, where 0 is a digit and x a hexadecimal one.
constexpr struct {
    std::string_view name, type;
} kKinds[] = {{"0000-00-00/000000-snapshot-xxxxxxxx.jpg", "image/jpeg"},
              {"0000-00-00/000000-clip-xxxxxxxx.mp4", "video/mp4"},
              {"0000-00-00/000000-clip-xxxxxxxx.avi", "video/x-msvideo"}};

// The type of a recording; empty for what is no id. An id is the name of a file, so every character is checked.
std::string_view type_of(std::string_view id) {
    const auto is_like = [](char ch, char kind) {
        const bool is_digit = ch >= '0' && ch <= '9';
        return kind == '0' ? is_digit : kind == 'x' ? is_digit || (ch >= 'a' && ch <= 'f') : ch == kind;
    };
    for (const auto &[name, type] : kKinds)
        if (std::equal(id.begin(), id.end(), name.begin(), name.end(), is_like))
            return type;
    return {};
}

bool is_clip(std::string_view id) { return type_of(id) != "image/jpeg"; }

// The first picture of a clip.
std::string thumb_of(const std::string &id) { return kDirectory + id + ".jpg"; }

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
        if (!type_of(id).empty() && matches(id, pattern) && stat(id.c_str(), &about) == 0)
            found.push_back({id, time_of(id), static_cast<uint64_t>(about.st_size)});
    }
    std::sort(found.begin(), found.end(), [](const recording &a, const recording &b) { return a.id > b.id; });
    return found;
}

void report(exchange &http, const std::string &pattern = {}, const std::string &added = {}) {
    web::json::array list;
    for (const recording &each : find(pattern))
        list.raw(web::json::object()
                     .add("id", each.id)
                     .add("kind", is_clip(each.id) ? "clip" : "snapshot")
                     .add("type", type_of(each.id))
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
    if (is_clip(id))
        store::remove(thumb_of(id));
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

// What is in a file of a recording, and its suffix; the first picture of a clip beside it.
struct file {
    std::string suffix, content, thumb;
};

std::string keep(const timeval &begun, const file &made) {
    const store::lock held;
    free_space(made.content.size() + made.thumb.size());
    tm local;
    const time_t seconds = begun.tv_sec;
    localtime_r(&seconds, &local);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d/%H%M%S", &local);
    const std::string id = std::string(stamp) + (made.thumb.empty() ? "-snapshot-" : "-clip-") +
                           web::random_id().substr(0, 8) + made.suffix;
    store::make_directory(kDirectory + id.substr(0, 10));
    if (!made.thumb.empty())
        store::write(thumb_of(id), made.thumb);
    store::write(kDirectory + id, made.content);
    store::touch(kDirectory);
    return id;
}

constexpr int32_t kQuality = 85;

file take_snapshot(const exchange &http) {
    return {".jpg", std::string(text_of(eye().jpeg(read_view(http), kQuality))), {}};
}

// As many pictures as this processor can take in time; they last as long as they took.
file take_clip(const exchange &http) {
    const view_request what = read_view(http, 640, 360);
    const int32_t seconds = http.whole("seconds", 1, 20, 5);
    sound heard;
    const timeval begun = state::uptime();
    const auto elapsed = [&begun] { return motion::seconds_between(begun, state::uptime()); };
    clip::content all = {what.width, what.height, 0, {}, heard.rate(), {}};
    eye sensor;
    pacer pace(kClipPeriod, pacer::late::skip);
    do {
        all.pictures.emplace_back(text_of(sensor.jpeg(what, kQuality)));
        pace.wait();
    } while (elapsed() < seconds - 0.01);
    all.seconds = elapsed();
    all.sound = heard.live(heard.place_of(begun), static_cast<size_t>(all.seconds * heard.rate()));
    std::string avi = clip::to_avi(all);
    if (auto mp4 = clip::to_mp4(avi))
        return {".mp4", std::move(*mp4), std::move(all.pictures[0])};
    return {".avi", std::move(avi), std::move(all.pictures[0])};
}

std::string asked_id(const exchange &http) {
    const std::string id = http.text("id", 64);
    if (type_of(id).empty())
        throw refusal{400, "this is no recording", "id"};
    return id;
}

std::string read(const std::string &name) {
    const auto content = store::read(name);
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
    } else {
        const timeval begun = state::now();
        added = keep(begun, action == "clip" ? take_clip(http) : take_snapshot(http));
    }
    report(http, {}, added);
}

// The first and the last byte that a player asks for in a header field "Range: bytes=100-" or "bytes=100-199".
std::optional<std::pair<size_t, size_t>> range_of(const exchange &http, size_t size) {
    std::string_view text = http.request().header("Range").value_or("");
    if (size == 0 || !text.starts_with("bytes="))
        return std::nullopt;
    text.remove_prefix(6);
    size_t first = 0, last = size - 1;
    const char *const end = text.data() + text.size();
    auto [at, error] = std::from_chars(text.data(), end, first);
    if (error != std::errc() || at == end || *at != '-')
        return std::nullopt;
    if (++at != end && std::from_chars(at, end, last).ptr != end)
        return std::nullopt;
    last = std::min(last, size - 1);
    return first <= last ? std::optional(std::pair(first, last)) : std::nullopt;
}

void send_thumb(exchange &http) {
    const std::string id = asked_id(http);
    http.answer("image/jpeg", read(is_clip(id) ? thumb_of(id) : kDirectory + id));
}

void send_file(exchange &http) {
    const std::string id = asked_id(http), content = read(kDirectory + id);
    http.response().header("Content-Disposition",
                           "inline; filename=\"" + id.substr(0, 10) + "-" + id.substr(11) + "\"");
    http.response().header("Accept-Ranges", "bytes");
    const auto range = range_of(http, content.size());
    if (!range) {
        http.answer(type_of(id), content);
        return;
    }
    const auto [first, last] = *range;
    http.response().status(206);
    http.response().header("Content-Range", "bytes " + std::to_string(first) + "-" + std::to_string(last) + "/" +
                                                std::to_string(content.size()));
    http.answer(type_of(id), std::string_view(content).substr(first, last - first + 1));
}

void send_list(exchange &http) { report(http, http.find("pattern") ? http.text("pattern", 128) : std::string()); }

} // namespace

int main() {
    return web::run(
        {{"GET", "", send_list}, {"GET", "/file", send_file}, {"GET", "/thumb", send_thumb}, {"POST", "", change}});
}

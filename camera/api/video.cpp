// Pictures.
//
//   GET  /api/video         a JPEG: [width height quality], [stamp=0] without the stamp, [pan tilt fov] for another
//                           view than the camera's
//   GET  /api/video/live    the same as an endless multipart stream: [fps], [frames] for its length; with adapt=1 as
//                           the link allows, which is known from the client's acknowledgments
//   POST /api/video/seen    acknowledges that pictures of a stream have arrived: stream, picture, [ago] in seconds
//   GET  /api/video/raw     the picture before it is encoded, in RGB, now or at a [time]
//   POST /api/video         settings: [light=auto|day|night] [grid=0|1] [stamp=0|1] [exposure] [curve=x,y;x,y...]
//   GET  /api/video/settings
#include "../device/eye.hpp"
#include "../device/flow_control.hpp"
#include "../device/scene.hpp"
#include "../device/store.hpp"
#include "../device/stream.hpp"
#include "../device/web.hpp"
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <poll.h>
#include <sys/socket.h>

namespace {

using web::exchange;
using web::refusal;

int32_t read_quality(const exchange &http) { return http.whole("quality", 1, 100, 85); }
eye::marks read_marks(const exchange &http) {
    return http.flag("stamp", true) ? eye::marks::as_set : eye::marks::unstamped;
}

void send_one(exchange &http) {
    const view_request what = read_view(http);
    eye sensor;
    const std::vector<uint8_t> jpeg = sensor.jpeg(what, read_quality(http), read_marks(http));
    http.response().header("Server-Timing", sensor.costs()).header("X-Camera-Picture", sensor.caption());
    http.answer("image/jpeg", text_of(jpeg));
}

// Not encoded, so that pictures of two builds can be compared byte by byte.
void send_raw(exchange &http) {
    const view_request what = read_view(http);
    const double seconds = http.number("time", 0, 4102444800, -1);
    timeval at = state::now();
    if (seconds >= 0)
        at = {static_cast<time_t>(seconds), static_cast<suseconds_t>((seconds - std::floor(seconds)) * 1e6)};
    eye sensor;
    http.answer("application/octet-stream", text_of(sensor.look(what, at).pixels));
}

double uptime() { return motion::seconds_between({}, state::uptime()); }

// Takes in acknowledgments until the next picture may be sent; false when none come any more.
bool wait_for_link(flow_control &flow, int acknowledgments) {
    constexpr int kMilliseconds = 10;
    for (;;) {
        for (web::acknowledgment seen = {}; recv(acknowledgments, &seen, sizeof seen, 0) == sizeof seen;)
            flow.acknowledged(seen.picture, seen.seconds, uptime());
        if (flow.is_lost(uptime()))
            return false;
        if (flow.is_open(uptime()))
            return true;
        pollfd waiting = {acknowledgments, POLLIN, 0};
        poll(&waiting, 1, kMilliseconds);
    }
}

std::string fields_of(const eye &sensor, int32_t number) {
    std::string revisions;
    for (const auto &[program, text] : state::revisions())
        revisions += (revisions.empty() ? "" : "&") + std::string(program) + "=" + text;
    return "X-Camera-Picture: " + sensor.caption() + "&number=" + std::to_string(number) +
           "\r\nX-Camera-Revisions: " + revisions + "\r\nServer-Timing: " + sensor.costs() + "\r\n";
}

// Until the client goes, or all pictures are sent. Late ones are skipped.
void send_stream(exchange &http) {
    view_request what = read_view(http);
    int32_t quality = read_quality(http);
    const eye::marks on_top = read_marks(http);
    const bool adapts = http.flag("adapt", false);
    const std::chrono::microseconds period(std::lround(1e6 / http.number("fps", 0.1, 25, 25)));
    const int32_t frames = http.whole("frames", 1, 1000000, INT32_MAX - 1);
    picture_stream stream(http);
    if (!stream.begin() || !http.response().wants_body())
        return;
    eye sensor;
    flow_control flow({what.width, what.height, quality});
    pacer pace(period, pacer::late::skip);
    for (int32_t i = 0; i < frames; ++i) {
        if (adapts) {
            if (!wait_for_link(flow, http.acknowledgments()))
                return;
            const flow_control::form now = flow.next();
            what.width = now.width;
            what.height = now.height;
            quality = now.quality;
        }
        const double begun = uptime();
        const std::vector<uint8_t> jpeg = sensor.jpeg(what, quality, on_top);
        if (adapts)
            flow.sent(static_cast<uint32_t>(i), jpeg.size(), begun);
        if (!stream.send(text_of(jpeg), fields_of(sensor, i)))
            return;
        pace.wait();
    }
    stream.end();
}

void pass_acknowledgment(exchange &http) {
    const auto picture = static_cast<uint32_t>(http.whole("picture", 0, INT32_MAX - 1));
    if (!http.acknowledge(http.whole("stream", 0, 15), {picture, http.number("ago", 0, 60, 0)}))
        throw refusal{404, "no such stream"};
    http.json("{}");
}

// Whole knots, x rising from 0 to 255.
std::vector<std::pair<int, int>> read_curve(const exchange &http) {
    std::vector<std::pair<int, int>> knots;
    for (const auto &[x, y] : http.pairs("curve", {2, 16}, {0, 255}, {0, 255})) {
        if (x != std::floor(x) || y != std::floor(y) || (knots.empty() ? x != 0 : x <= knots.back().first))
            throw refusal{400, "the curve's knots are whole numbers, x rising from 0 to 255", "curve"};
        knots.push_back({static_cast<int>(x), static_cast<int>(y)});
    }
    if (knots.back().first != 255)
        throw refusal{400, "the curve ends at x 255", "curve"};
    return knots;
}

std::string source_text() {
    feed::video source;
    if (!feed::video::is_configured())
        return web::json::object().add("kind", scene::is_painted() ? "scene" : "panorama").text();
    constexpr const char *kProjections[] = {"equirectangular", "fisheye", "pinhole"};
    const auto age = source.age();
    return web::json::object()
        .add("kind", "camera")
        .add("projection", kProjections[static_cast<size_t>(source.by())])
        .raw("age", age ? web::json::number(*age) : "null")
        .text();
}

void report_settings(exchange &http) {
    const state::settings all = state::read_settings();
    state::settings unexposed = all;
    unexposed.exposure = 0;
    web::json::array knots, spline, levels;
    for (const auto &[x, y] : all.curve)
        knots.raw("[" + std::to_string(x) + "," + std::to_string(y) + "]");
    for (const uint8_t level : picture::tones_of(unexposed))
        spline.raw(std::to_string(level));
    for (const uint8_t level : picture::tones_of(all))
        levels.raw(std::to_string(level));
    http.json(web::json::object()
                  .raw("source", source_text())
                  .add("light", state::name_of(all.by))
                  .add("night", state::is_night(all, state::now()))
                  .add("grid", all.grid)
                  .add("stamp", all.stamp)
                  .add("exposure", all.exposure)
                  .raw("curve", knots.text())
                  .raw("spline", spline.text())
                  .raw("levels", levels.text())
                  .text());
}

void change_settings(exchange &http) {
    const store::lock held;
    state::settings all = state::read_settings();
    all.by = state::light_of(http.one_of("light", {"auto", "day", "night"}, state::name_of(all.by)));
    all.grid = http.flag("grid", all.grid);
    all.stamp = http.flag("stamp", all.stamp);
    all.exposure = http.number("exposure", -2, 2, all.exposure);
    if (http.find("curve"))
        all.curve = read_curve(http);
    state::keep(all);
    report_settings(http);
}

} // namespace

int main() {
    return web::run({{"GET", "", send_one},
                     {"GET", "/live", send_stream},
                     {"GET", "/raw", send_raw},
                     {"GET", "/settings", report_settings},
                     {"POST", "/seen", pass_acknowledgment},
                     {"POST", "", change_settings}});
}

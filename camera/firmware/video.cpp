// What the camera sees.
//
//   GET  /api/video         a JPEG: [width height quality], and [pan tilt fov] to look elsewhere than the camera does
//   GET  /api/video/live    the same as an endless multipart stream: [fps], [frames] to end after so many
//   GET  /api/video/raw     the picture before it's encoded, in RGB, of now or of a [time]
//   POST /api/video         settings: [light=auto|day|night] [grid=0|1] [stamp=0|1] [exposure] [curve=x,y;x,y...]
//   GET  /api/video/settings
#include "eye.hpp"
#include "store.hpp"
#include "web.hpp"
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <unistd.h>
#include <vela/time.h>

namespace {

using web::exchange;
using web::refusal;

constexpr char kBoundary[] = "vela-picture";

int32_t read_quality(const exchange &one) { return one.whole("quality", 1, 100, 85); }

void send_one(const exchange &one) {
    const sight what = read_sight(one);
    const std::vector<uint8_t> jpeg = eye().jpeg(what, read_quality(one));
    one.answer("image/jpeg", {reinterpret_cast<const char *>(jpeg.data()), jpeg.size()});
}

// What is encoded otherwise: pictures of two cameras can be compared byte by byte.
void send_raw(const exchange &one) {
    const sight what = read_sight(one);
    const double seconds = one.number("time", 0, 4102444800, -1);
    timeval at = state::now();
    if (seconds >= 0)
        at = {static_cast<time_t>(seconds), static_cast<suseconds_t>((seconds - std::floor(seconds)) * 1e6)};
    eye sensor;
    const picture::frame &seen = sensor.look(what, at);
    one.answer("application/octet-stream", {reinterpret_cast<const char *>(seen.pixels.data()), seen.pixels.size()});
}

// Until the client goes, or so many pictures are sent; late pictures are left out, not made up for.
void send_stream(const exchange &one) {
    const sight what = read_sight(one);
    const int32_t quality = read_quality(one);
    const auto period = static_cast<suseconds_t>(std::lround(1e6 / one.number("fps", 0.1, 25, 25)));
    const int32_t frames = one.whole("frames", 1, 1000000, INT32_MAX - 1);
    one.begin(std::string("multipart/x-mixed-replace; boundary=") + kBoundary);
    if (!one.wants_body())
        return;
    eye sensor;
    timeval due;
    gettime(&due);
    for (int32_t i = 0; i < frames; ++i) {
        const std::vector<uint8_t> jpeg = sensor.jpeg(what, quality);
        std::fprintf(one.output(), "--%s\r\nContent-Type: image/jpeg\r\nContent-Length: %zu\r\n\r\n", kBoundary,
                     jpeg.size());
        one.write({reinterpret_cast<const char *>(jpeg.data()), jpeg.size()});
        one.write("\r\n");
        if (!one.flush())
            return;
        time_add_usec(&due, period);
        timeval now;
        gettime(&now);
        if (time_compare(&now, &due) > 0)
            due = now;
        const timeval left = time_sub(&due, &now);
        usleep(static_cast<useconds_t>(left.tv_sec * 1000000 + left.tv_usec));
    }
    std::fprintf(one.output(), "--%s--\r\n", kBoundary);
}

// Whole knots, x rising from 0 to 255.
std::vector<std::pair<int, int>> read_curve(const exchange &one) {
    std::vector<std::pair<int, int>> knots;
    for (const auto &[x, y] : one.pairs("curve", {2, 16}, {0, 255}, {0, 255})) {
        if (x != std::floor(x) || y != std::floor(y) || (knots.empty() ? x != 0 : x <= knots.back().first))
            throw refusal{400, "the curve's knots are whole numbers, x rising from 0 to 255"};
        knots.push_back({static_cast<int>(x), static_cast<int>(y)});
    }
    if (knots.back().first != 255)
        throw refusal{400, "the curve ends at x 255"};
    return knots;
}

void report_settings(const exchange &one) {
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
    one.json(web::json::object()
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

void change_settings(const exchange &one) {
    const store::lock held;
    state::settings all = state::read_settings();
    all.by = state::light_of(one.one_of("light", {"auto", "day", "night"}, state::name_of(all.by)));
    all.grid = one.flag("grid", all.grid);
    all.stamp = one.flag("stamp", all.stamp);
    all.exposure = one.number("exposure", -2, 2, all.exposure);
    if (one.find("curve"))
        all.curve = read_curve(one);
    state::keep(all);
    report_settings(one);
}

void handle(exchange &one) {
    if (one.path().empty()) {
        one.is_post() ? change_settings(one) : send_one(one);
        return;
    }
    one.refuse_post();
    if (one.path() == "/live")
        send_stream(one);
    else if (one.path() == "/raw")
        send_raw(one);
    else if (one.path() == "/settings")
        report_settings(one);
    else
        one.refuse_path();
}

} // namespace

int main() { return web::run(handle); }

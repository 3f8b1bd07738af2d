// What the camera sees.
//
//   GET  /api/video         a JPEG: [width height quality], and [pan tilt fov] to look elsewhere than the camera does
//   GET  /api/video/live    the same as an endless multipart stream: [fps], [frames] to end after so many
//   POST /api/video         settings: [light=auto|day|night] [grid=0|1] [stamp=0|1] [exposure] [curve=x,y;x,y...]
//   GET  /api/video/settings
#include "picture.hpp"
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

struct wanted {
    int32_t width, height, quality;
    bool elsewhere;
    motion::position at;
};

wanted read_wanted(const exchange &one) {
    wanted all = {one.whole("width", picture::kLeastWidth, picture::kMostWidth, 1280),
                  one.whole("height", picture::kLeastHeight, picture::kMostHeight, 720),
                  one.whole("quality", 1, 100, 85),
                  one.find("pan") || one.find("tilt") || one.find("fov"),
                  {}};
    if (all.elsewhere)
        all.at = motion::at_rest(one.number("pan", -360, 720), one.number("tilt", -90, 90),
                                 one.number("fov", motion::kNarrowest, motion::kWidest));
    return all;
}

// Everything that a picture needs, read anew for each: what is changed meanwhile shows in the next one.
class eye {
public:
    std::vector<uint8_t> look(const wanted &what) {
        const timeval now = state::now();
        const state::settings all = state::read_settings();
        const scene place(state::is_night(all, now), now);
        const smap_view view =
            motion::view_of(what.elsewhere ? what.at : state::position_at(now), what.width, what.height);
        renderer_.render(place, view, picture::tones_of(all), frame_);
        if (all.grid)
            picture::draw_grid(view, frame_);
        if (all.stamp)
            picture::draw_stamp(view, now, frame_);
        return picture::encode(frame_, what.quality);
    }

private:
    picture::renderer renderer_;
    picture::frame frame_;
};

void send_one(const exchange &one) {
    const std::vector<uint8_t> jpeg = eye().look(read_wanted(one));
    one.answer("image/jpeg", {reinterpret_cast<const char *>(jpeg.data()), jpeg.size()});
}

// Until the client goes, or so many pictures are sent; late pictures are left out, not made up for.
void send_stream(const exchange &one) {
    const wanted what = read_wanted(one);
    const auto period = static_cast<suseconds_t>(std::lround(1e6 / one.number("fps", 0.1, 25, 25)));
    const int32_t frames = one.whole("frames", 1, 1000000, INT32_MAX - 1);
    one.begin(std::string("multipart/x-mixed-replace; boundary=") + kBoundary);
    if (!one.wants_body())
        return;
    eye sensor;
    timeval due;
    gettime(&due);
    for (int32_t i = 0; i < frames; ++i) {
        const std::vector<uint8_t> jpeg = sensor.look(what);
        std::fprintf(one.output(), "--%s\r\nContent-Type: image/jpeg\r\nContent-Length: %zu\r\n\r\n", kBoundary,
                     jpeg.size());
        std::fwrite(jpeg.data(), 1, jpeg.size(), one.output());
        std::fputs("\r\n", one.output());
        if (std::fflush(one.output()) != 0)
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

// Knots "x,y;x,y...", x rising from 0 to 255.
std::vector<std::pair<int, int>> read_curve(const std::string &text) {
    std::vector<std::pair<int, int>> knots;
    for (const char *at = text.c_str(); *at;) {
        char *end = nullptr;
        const long x = std::strtol(at, &end, 10);
        const bool comma = end != at && *end == ',';
        const char *const second = comma ? end + 1 : end;
        const long y = std::strtol(second, &end, 10);
        if (!comma || end == second || (*end && *end != ';') || x < 0 || x > 255 || y < 0 || y > 255 ||
            (knots.empty() ? x != 0 : x <= knots.back().first) || knots.size() == 16)
            throw refusal{400, "curve is at most 16 knots x,y;x,y... with x rising from 0 to 255 and y from 0 to 255"};
        knots.push_back({static_cast<int>(x), static_cast<int>(y)});
        at = *end ? end + 1 : end;
    }
    if (knots.size() < 2 || knots.back().first != 255)
        throw refusal{400, "the curve ends at x 255"};
    return knots;
}

void report_settings(const exchange &one) {
    const state::settings all = state::read_settings();
    web::json::array knots, levels;
    for (const auto &[x, y] : all.curve)
        knots.raw("[" + std::to_string(x) + "," + std::to_string(y) + "]");
    for (const uint8_t level : picture::tones_of(all))
        levels.raw(std::to_string(level));
    one.json(web::json::object()
                 .add("light", state::name_of(all.by))
                 .add("night", state::is_night(all, state::now()))
                 .add("grid", all.grid)
                 .add("stamp", all.stamp)
                 .add("exposure", all.exposure)
                 .raw("curve", knots.text())
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
        all.curve = read_curve(one.text("curve", 256));
    state::keep(all);
    report_settings(one);
}

void handle(exchange &one) {
    if (one.is_post() && one.path().empty())
        change_settings(one);
    else if (one.is_post())
        throw refusal{405, "only settings are changed here"};
    else if (one.path().empty())
        send_one(one);
    else if (one.path() == "/live")
        send_stream(one);
    else if (one.path() == "/settings")
        report_settings(one);
    else
        throw refusal{404, "there is nothing of that name"};
}

} // namespace

int main() { return web::run(handle); }

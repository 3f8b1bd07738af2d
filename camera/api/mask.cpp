// What nobody shall see.
//
//   GET  /api/mask             all masks
//   GET  /api/mask/directions  which directions pixels of a view show
//   GET  /api/mask/outline     where directions stand in a view
//   POST /api/mask             action=add name corners | change id [name] [corners] [on] | remove id
#include "../device/eye.hpp"
#include "../device/mask_store.hpp"
#include "../device/store.hpp"
#include <algorithm>
#include <vela/cpp/uuid.hpp>

namespace {

using web::exchange;
using web::refusal;

constexpr size_t kMostMasks = 32, kMostCorners = 64, kLongestName = 80;
constexpr web::range kPan = {-360, 720}, kTilt = {-90, 90}, kPixel = {-10000, 10000};

std::string pair_of(double a, double b) {
    return web::json::array().raw(web::json::number(a)).raw(web::json::number(b)).text();
}

void report(exchange &one, const std::string &added) {
    web::json::array list;
    for (const masks::entry &each : masks::all()) {
        web::json::array corners;
        for (const auto &corner : each.corners)
            corners.raw(pair_of(corner.pan, corner.tilt));
        list.raw(web::json::object()
                     .add("id", each.id)
                     .add("name", each.name)
                     .add("on", each.on)
                     .raw("corners", corners.text())
                     .text());
    }
    web::json::object answer;
    answer.raw("masks", list.text());
    if (!added.empty())
        answer.add("added", added);
    one.json(answer.text());
}

void report(exchange &one) { report(one, {}); }

std::vector<vela::overlay::direction> read_corners(const exchange &one) {
    std::vector<vela::overlay::direction> corners;
    for (const auto &[pan, tilt] : one.pairs("corners", {3, kMostCorners}, kPan, kTilt))
        corners.push_back({pan, tilt});
    if (!masks::encloses(corners))
        throw refusal{400, "the corners enclose nothing: three at least must not lie on one line"};
    return corners;
}

std::string add(const exchange &one, std::vector<masks::entry> &all) {
    if (all.size() >= kMostMasks)
        throw refusal{409, "there are 32 masks, and that's the most"};
    all.push_back({vela::uuid::random().to_string(), one.text("name", kLongestName), true, read_corners(one)});
    return all.back().id;
}

void change(exchange &one, masks::entry &mask) {
    if (one.find("name"))
        mask.name = one.text("name", kLongestName);
    if (one.find("corners"))
        mask.corners = read_corners(one);
    mask.on = one.flag("on", mask.on);
}

void change(exchange &one) {
    const std::string action = one.one_of("action", {"add", "change", "remove"});
    const store::lock held;
    auto all = masks::all();
    std::string added;
    if (action == "add")
        added = add(one, all);
    else {
        const std::string id = one.text("id", 48);
        const auto found =
            std::find_if(all.begin(), all.end(), [&id](const masks::entry &each) { return each.id == id; });
        if (found == all.end())
            throw refusal{404, "there is no such mask"};
        if (action == "remove")
            all.erase(found);
        else
            change(one, *found);
    }
    masks::keep(all);
    report(one, added);
}

// Both ways between pixels and directions; null for what has none.
void send_directions(exchange &one) {
    const auto seen = vela::overlay::view::make(view_of(read_sight(one), state::now()));
    web::json::array corners;
    for (const auto &[x, y] : one.pairs("points", {1, kMostCorners}, kPixel, kPixel)) {
        const auto found = seen->unproject({x, y});
        corners.raw(found ? pair_of(found->pan, found->tilt) : "null");
    }
    one.json(web::json::object().raw("corners", corners.text()).text());
}

void send_outline(exchange &one) {
    const auto seen = vela::overlay::view::make(view_of(read_sight(one), state::now()));
    web::json::array points;
    for (const auto &[pan, tilt] : one.pairs("corners", {1, kMostCorners}, kPan, kTilt)) {
        const auto found = seen->project({pan, tilt});
        points.raw(found ? pair_of(found->x, found->y) : "null");
    }
    one.json(web::json::object().raw("points", points.text()).text());
}

} // namespace

int main() {
    return web::run({{"GET", "", report},
                     {"GET", "/directions", send_directions},
                     {"GET", "/outline", send_outline},
                     {"POST", "", change}});
}

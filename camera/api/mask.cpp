// Privacy masks.
//
//   GET  /api/mask  all masks
//   POST /api/mask  action=add name corners | change id [name] [corners] [on] | remove id
#include "../device/eye.hpp"
#include "../device/mask_store.hpp"
#include "../device/store.hpp"
#include <algorithm>

namespace {

using web::exchange;
using web::refusal;

constexpr size_t kMaxMasks = 32, kMaxCorners = 64, kMaxName = 80;
constexpr web::range kPan = {-360, 720}, kTilt = {-90, 90};

void report(exchange &http, const std::string &added) {
    web::json::array list;
    for (const masks::entry &each : masks::all()) {
        web::json::array corners;
        for (const auto &corner : each.corners)
            corners.raw(
                web::json::array().raw(web::json::number(corner.pan, 6)).raw(web::json::number(corner.tilt, 6)).text());
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
    http.json(answer.text());
}

void report(exchange &http) { report(http, {}); }

std::vector<vela::overlay::direction> read_corners(const exchange &http) {
    std::vector<vela::overlay::direction> corners;
    for (const auto &[pan, tilt] : http.pairs("corners", {3, kMaxCorners}, kPan, kTilt))
        corners.push_back({pan, tilt});
    if (!masks::encloses(corners))
        throw refusal{400, "the corners enclose no area", "corners"};
    return corners;
}

std::string add(const exchange &http, std::vector<masks::entry> &all) {
    if (all.size() >= kMaxMasks)
        throw refusal{409, "there are 32 masks already"};
    all.push_back({web::random_id(), http.text("name", kMaxName), true, read_corners(http)});
    return all.back().id;
}

void change(exchange &http, masks::entry &mask) {
    if (http.find("name"))
        mask.name = http.text("name", kMaxName);
    if (http.find("corners"))
        mask.corners = read_corners(http);
    mask.on = http.flag("on", mask.on);
}

void change(exchange &http) {
    const std::string action = http.one_of("action", {"add", "change", "remove"});
    const store::lock held;
    auto all = masks::all();
    std::string added;
    if (action == "add")
        added = add(http, all);
    else {
        const std::string id = http.text("id", 48);
        const auto found =
            std::find_if(all.begin(), all.end(), [&id](const masks::entry &each) { return each.id == id; });
        if (found == all.end())
            throw refusal{404, "no such mask"};
        if (action == "remove")
            all.erase(found);
        else
            change(http, *found);
    }
    masks::keep(all);
    report(http, added);
}

} // namespace

int main() { return web::run({{"GET", "", report}, {"POST", "", change}}); }

// Masks as records of a file, and burnt into pictures.
#include "mask_store.hpp"
#include "store.hpp"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numbers>

namespace masks {

namespace {

constexpr char kFile[] = "masks";

// A picture is drawn on a mesh: what it shows may stand that many pixels beside its exact place.
constexpr int32_t kStray = 2;

// In radians: a tenth of the finest pixel.
constexpr double kThinnest = 3e-6;

using ray = std::array<double, 3>;
double dot(const ray &a, const ray &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
ray ray_to(const vela::overlay::direction &to) {
    const double pan = to.pan * std::numbers::pi / 180, tilt = to.tilt * std::numbers::pi / 180;
    return {std::cos(tilt) * std::sin(pan), std::cos(tilt) * std::cos(pan), std::sin(tilt)};
}

std::string text(double degrees) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%.6f", degrees);
    return digits;
}

entry entry_of(const store::record &fields) {
    if (fields.size() < 9 || fields.size() % 2 == 0)
        throw store::trouble{"masks: a record is damaged"};
    entry one = {fields[0], fields[1], fields[2] == "1", {}};
    for (size_t i = 3; i + 1 < fields.size(); i += 2)
        one.corners.push_back({std::strtod(fields[i].c_str(), nullptr), std::strtod(fields[i + 1].c_str(), nullptr)});
    return one;
}

void blacken(picture::frame &onto, int32_t y, int32_t begin, int32_t end) {
    begin = std::max(begin - kStray, 0);
    end = std::min(end + kStray, onto.width);
    if (begin >= end)
        return;
    for (int32_t row = std::max(y - kStray, 0); row <= std::min(y + kStray, onto.height - 1); ++row)
        std::fill(onto.at(begin, row), onto.at(begin, row) + ptrdiff_t{3} * (end - begin), uint8_t{0});
}

} // namespace

std::vector<entry> all() {
    std::vector<entry> found;
    for (const store::record &fields : store::read_records(kFile))
        found.push_back(entry_of(fields));
    return found;
}

void keep(const std::vector<entry> &all) {
    std::vector<store::record> records;
    for (const entry &one : all) {
        records.push_back({one.id, one.name, one.on ? "1" : "0"});
        for (const auto &corner : one.corners) {
            records.back().push_back(text(corner.pan));
            records.back().push_back(text(corner.tilt));
        }
    }
    store::write_records(kFile, records);
}

// Some corner is beside the line through the two that determine it best, which goes round the whole sphere.
bool encloses(const std::vector<vela::overlay::direction> &corners) {
    std::vector<ray> rays;
    for (const auto &corner : corners)
        rays.push_back(ray_to(corner));
    ray across = {};
    double longest = 0;
    for (const ray &a : rays)
        for (const ray &b : rays) {
            const ray made = {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
            const double length = std::sqrt(dot(made, made));
            if (length > longest) {
                longest = length;
                across = made;
            }
        }
    const bool is_wide = std::any_of(rays.begin(), rays.end(),
                                     [&](const ray &one) { return std::fabs(dot(one, across)) > kThinnest * longest; });
    return is_wide && vela::overlay::mask::make(corners).has_value();
}

void burn(const smap_view &view, picture::frame &onto) {
    // Some pixels more on each side, for what is beside the picture and strays into it.
    const int32_t width = view.width + 2 * kStray, height = view.height + 2 * kStray;
    const auto seen = vela::overlay::view::make(width, height, {view.pan / 1024.0, view.tilt / 1024.0},
                                                view.fov / 1024.0 * width / view.width);
    for (const entry &one : all()) {
        if (!one.on)
            continue;
        auto shape = vela::overlay::mask::make(one.corners);
        if (!shape || !seen)
            throw store::trouble{"masks: " + one.id + " can't be drawn"};
        shape->draw(*seen, [&](int y, int begin, int end) { blacken(onto, y - kStray, begin - kStray, end - kStray); });
    }
}

} // namespace masks

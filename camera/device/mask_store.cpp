// Masks as records of a file, and drawn into pictures.
#include "mask_store.hpp"
#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace masks {

namespace {

constexpr char kFile[] = "masks";

// At most that many pixels off its exact place is a direction in a picture, which is drawn on a mesh.
constexpr int32_t kMargin = 2;

std::string text(double degrees) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%.6f", degrees);
    return digits;
}

entry entry_of(const store::record &fields) {
    if (fields.size() < 9 || fields.size() % 2 == 0)
        throw store::failure{"masks: a record is damaged"};
    entry found = {fields[0], fields[1], fields[2] == "1", {}};
    for (size_t i = 3; i + 1 < fields.size(); i += 2)
        found.corners.push_back({std::strtod(fields[i].c_str(), nullptr), std::strtod(fields[i + 1].c_str(), nullptr)});
    return found;
}

void blacken(picture::frame &onto, int32_t y, int32_t begin, int32_t end) {
    begin = std::max(begin - kMargin, 0);
    end = std::min(end + kMargin, onto.width);
    if (begin >= end)
        return;
    for (int32_t row = std::max(y - kMargin, 0); row <= std::min(y + kMargin, onto.height - 1); ++row)
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

// Looks closely at the surroundings of each corner: where edges turn, some of the inside lies between them. The view is
// moved a little, so that no pixel's centre is on an edge.
bool encloses(const std::vector<vela::overlay::direction> &corners) {
    constexpr int kSize = 33, kMinArea = 8;
    constexpr double kPixel = 0.0003; // degrees; a third of the finest picture's
    auto shape = vela::overlay::mask::make(corners);
    return shape && std::any_of(corners.begin(), corners.end(), [&](const vela::overlay::direction &corner) {
               const auto seen = vela::overlay::view::make(
                   kSize, kSize, {corner.pan + 0.29 * kPixel, corner.tilt + 0.37 * kPixel}, kSize * kPixel);
               int area = 0;
               const auto count = [&](int, int begin, int end) { area += end - begin; };
               shape->draw(*seen, count, vela::overlay::coverage::centres);
               return area > kMinArea;
           });
}

void cover::refresh() {
    const auto now = store::version_of(kFile);
    if (is_read_ && now == seen_)
        return;
    is_read_ = false;
    shapes_.clear();
    for (const entry &each : all()) {
        if (!each.on)
            continue;
        auto shape = vela::overlay::mask::make(each.corners);
        if (!shape)
            throw store::failure{"masks: " + each.id + " can't be drawn"};
        shapes_.push_back(std::move(*shape));
    }
    seen_ = now;
    is_read_ = true;
}

void cover::burn(const smap_view &view, picture::frame &onto) {
    refresh();
    // A few more pixels on each side, for what is just outside the picture.
    const int32_t width = view.width + 2 * kMargin, height = view.height + 2 * kMargin;
    const auto seen = vela::overlay::view::make(width, height, {view.pan / 1024.0, view.tilt / 1024.0},
                                                view.fov / 1024.0 * width / view.width);
    if (!seen)
        throw store::failure{"masks: not a view"};
    for (vela::overlay::mask &shape : shapes_)
        shape.draw(*seen,
                   [&](int y, int begin, int end) { blacken(onto, y - kMargin, begin - kMargin, end - kMargin); });
}

} // namespace masks

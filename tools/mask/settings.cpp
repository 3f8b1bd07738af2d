#include "settings.hpp"
#include "json.hpp"
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>

namespace settings {

namespace {

[[noreturn]] void fail(const std::string &name, int line, const std::string &what) {
    throw std::runtime_error(name + ":" + std::to_string(line) + ": " + what);
}

// What is done with a parsed text, with the file's name added to what is wrong.
template <class Use>
auto with_json(std::string_view text, const std::string &name, Use &&use) {
    try {
        return use(json::parse(text));
    } catch (const json::error &wrong) {
        fail(name, wrong.line, wrong.what());
    }
}

mask read_mask(const json::value &entry) {
    const json::value *const corners = entry.find("corners");
    if (!corners)
        throw json::error("a mask without corners", entry.line);
    std::vector<vela_direction> directions;
    for (const json::value &corner : corners->as_array("corners")) {
        const std::vector<json::value> &pair = corner.as_array("a corner");
        if (pair.size() != 2)
            throw json::error("a corner: expected [pan, tilt]", corner.line);
        directions.push_back({pair[0].as_number("pan"), pair[1].as_number("tilt")});
    }
    mask made(vela_mask_make(directions.data(), directions.size()));
    if (!made)
        throw json::error("these corners enclose nothing", corners->line);
    return made;
}

// The numbers of an array, or of the object that OpenCV writes for a matrix.
std::vector<double> numbers_of(const json::value &matrix, const char *what) {
    const json::value *const data = matrix.find("data");
    std::vector<double> numbers;
    (data ? *data : matrix).collect(numbers, what);
    return numbers;
}

// Columns of a table, by the names of its first line.
constexpr std::string_view kColumns[] = {"t", "pan", "tilt", "roll", "fov", "zoom"};
constexpr size_t kColumnCount = std::size(kColumns), kRequired = 3;

// Takes the next part off a text, up to a separator.
std::string_view take(std::string_view &text, char separator) {
    const size_t end = std::min(text.find(separator), text.size());
    std::string_view part = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    const size_t first = part.find_first_not_of(" \t\r");
    return first == part.npos ? std::string_view() : part.substr(first, part.find_last_not_of(" \t\r") - first + 1);
}

std::vector<size_t> columns_of(std::string_view line, const std::string &name, int number) {
    std::vector<size_t> columns;
    while (!line.empty()) {
        const std::string_view title = take(line, ',');
        const auto found = static_cast<size_t>(std::find(kColumns, std::end(kColumns), title) - kColumns);
        if (found == kColumnCount)
            fail(name, number, "no column is called \"" + std::string(title) + "\": t, pan, tilt, roll, fov, zoom");
        if (std::find(columns.begin(), columns.end(), found) != columns.end())
            fail(name, number, "a column comes twice");
        columns.push_back(found);
    }
    for (size_t i = 0; i < kRequired; ++i)
        if (std::find(columns.begin(), columns.end(), i) == columns.end())
            fail(name, number, "there is no column \"" + std::string(kColumns[i]) + "\"");
    return columns;
}

// From a to b by the shorter way around.
double turned(double a, double b, double part) { return a + std::remainder(b - a, 360) * part; }
double between(double a, double b, double part) { return a + (b - a) * part; }

} // namespace

std::vector<mask> read_masks(std::string_view text, const std::string &name) {
    return with_json(text, name, [](const json::value &root) {
        const json::value *const list = root.find("masks");
        std::vector<mask> masks;
        for (const json::value &entry : (list ? *list : root).as_array("masks")) {
            const json::value *const is_on = entry.find("on");
            if (is_on && is_on->kind != json::value::type::boolean)
                throw json::error("on: expected true or false", is_on->line);
            if (!is_on || is_on->boolean)
                masks.push_back(read_mask(entry));
        }
        return masks;
    });
}

vela_lens read_lens(std::string_view text, const std::string &name, int width, int height) {
    return with_json(text, name, [&](const json::value &root) {
        vela_lens lens = {};
        const auto number = [&root](const char *key, double otherwise) {
            const json::value *const found = root.find(key);
            return found ? found->as_number(key) : otherwise;
        };
        const auto refuse = [&root](const char *what) { throw json::error(what, root.line); };
        const json::value *const model = root.find("model"), *const matrix = root.find("camera_matrix"),
                                 *const distortion = root.find("dist_coeffs");
        if (model && model->text != "pinhole" && model->text != "fisheye")
            throw json::error("model: expected \"pinhole\" or \"fisheye\"", model->line);
        lens.model = model && model->text == "fisheye" ? VELA_LENS_FISHEYE : VELA_LENS_PINHOLE;
        if (number("image_width", width) != width || number("image_height", height) != height)
            refuse("the lens is that of another size of pictures");
        if (matrix) {
            const std::vector<double> m = numbers_of(*matrix, "camera_matrix");
            if (m.size() != 9 || m[1] != 0 || m[3] != 0 || m[6] != 0 || m[7] != 0 || m[8] != 1)
                throw json::error("camera_matrix: expected fx, 0, cx, 0, fy, cy, 0, 0, 1", matrix->line);
            lens.fx = m[0], lens.cx = m[2], lens.fy = m[4], lens.cy = m[5];
        } else {
            lens.fx = number("fx", 0);
            lens.fy = number("fy", lens.fx);
            lens.cx = number("cx", std::floor(width / 2.0));
            lens.cy = number("cy", std::floor(height / 2.0));
        }
        // What the models have comes first, then what OpenCV's further models have.
        static constexpr const char *kNames[2][8] = {{"k1", "k2", "p1", "p2", "k3", "k4", "k5", "k6"},
                                                     {"k1", "k2", "k3", "k4", "k5", "k6", "p1", "p2"}};
        const bool is_fisheye = lens.model == VELA_LENS_FISHEYE;
        const size_t count = is_fisheye ? 4 : 5;
        std::vector<double> coefficients;
        if (distortion)
            coefficients = numbers_of(*distortion, "dist_coeffs");
        else
            for (const char *const key : kNames[is_fisheye])
                coefficients.push_back(number(key, 0));
        for (size_t i = 0; i < coefficients.size(); ++i)
            if (i < count)
                lens.distortion[i] = coefficients[i];
            else if (coefficients[i] != 0)
                throw json::error("distortion: only k1, k2, p1, p2, k3 of a pinhole and k1 to k4 of a fisheye",
                                  distortion ? distortion->line : root.line);
        const vela_orientation ahead = {};
        if (!view(vela_view_make(width, height, &ahead, &lens)))
            refuse("this is no lens: fx and fy must be above 0, cx and cy in or near the picture");
        return lens;
    });
}

track::track(std::string_view text, const std::string &name) {
    std::vector<size_t> columns;
    for (int number = 1; !text.empty(); ++number) {
        std::string_view line = take(text, '\n');
        if (line.empty() || line[0] == '#')
            continue;
        if (columns.empty()) {
            columns = columns_of(line, name, number);
            continue;
        }
        std::array<double, kColumnCount> values = {};
        for (const size_t column : columns) {
            const std::string_view field = take(line, ',');
            double &value = values[column];
            const auto [end, status] = std::from_chars(field.data(), field.data() + field.size(), value);
            if (status != std::errc() || end != field.data() + field.size() || !std::isfinite(value))
                fail(name, number, std::string(kColumns[column]) + ": expected a number");
            if (column > 3 && value <= 0)
                fail(name, number, std::string(kColumns[column]) + ": expected a number above 0");
        }
        if (!line.empty())
            fail(name, number, "more fields than columns");
        const auto [time, pan, tilt, roll, fov, zoom] = values;
        if (!rows_.empty() && time <= rows_.back().time)
            fail(name, number, "times don't grow");
        if (tilt < -90 || tilt > 90)
            fail(name, number, "tilt: expected -90 to 90");
        rows_.push_back({time, {{pan, tilt, roll}, fov, zoom}});
    }
    if (rows_.empty())
        throw std::runtime_error(name + ": no positions");
}

position track::at(double time) const {
    const auto after =
        std::upper_bound(rows_.begin(), rows_.end(), time, [](double t, const row &r) { return t < r.time; });
    if (after == rows_.begin())
        return rows_.front().at;
    if (after == rows_.end())
        return rows_.back().at;
    const row &a = after[-1], &b = *after;
    const double part = (time - a.time) / (b.time - a.time);
    return {{turned(a.at.where.pan, b.at.where.pan, part), between(a.at.where.tilt, b.at.where.tilt, part),
             turned(a.at.where.roll, b.at.where.roll, part)},
            between(a.at.fov, b.at.fov, part),
            between(a.at.zoom, b.at.zoom, part)};
}

} // namespace settings

// Six masks of <vela/overlay.hpp> on views that are hard for them.
#include "svg.hpp"
#include <span>
#include <vela/overlay.hpp>

namespace {

using namespace vela::overlay;

constexpr int kColumns = 304, kRows = 190; // pixels of a view

struct scene {
    const char *title, *said;
    direction centre;
    double fov;
    std::vector<direction> corners;
};

std::vector<direction> ring(double tilt, int count) {
    std::vector<direction> corners;
    for (int i = 0; i < count; ++i)
        corners.push_back({360.0 * i / count, tilt});
    return corners;
}

// Runs of pixels as one path.
class runs {
public:
    void add(int y, int begin, int end) {
        steps += "M" + std::to_string(begin) + " " + std::to_string(y) + "h" + std::to_string(end - begin);
    }
    void draw(svg::picture &on, const std::string &style) const {
        on.add("<path class=\"" + style + "\" d=\"" + steps + "\"/>\n");
    }

private:
    std::string steps;
};

// The pixels of the ground, and those beyond the rim, which show nothing.
void draw_ground(svg::picture &on, const view &seen) {
    runs ground, nothing;
    const auto kind = [&](int x, int y) {
        const auto shown = x < kColumns ? seen.unproject({x * 1.0, y * 1.0}) : direction{};
        return !shown ? 2 : x < kColumns && shown->tilt < 0 ? 1 : 0;
    };
    for (int y = 0; y < kRows; ++y)
        for (int x = 0, begin = 0, now = kind(0, y); x < kColumns; ++x)
            if (const int next = kind(x + 1, y); next != now || x + 1 == kColumns) {
                if (now)
                    (now == 1 ? ground : nothing).add(y, begin, x + 1);
                begin = x + 1;
                now = next;
            }
    ground.draw(on, "run ground");
    nothing.draw(on, "run sground");
}

std::string path_of(const view &seen, std::span<const direction> path) {
    std::string steps;
    position last = {-1e9, 0};
    const auto place = [](position p) { return svg::number(p.x + 0.5) + " " + svg::number(p.y + 0.5); };
    const bool good = project_path(seen, path, [&](position from, position to) {
        steps += from.x == last.x && from.y == last.y ? " " : "M" + place(from) + " ";
        steps += place(to);
        last = to;
    });
    return good ? steps : "";
}

// Lines of the same pan and of the same tilt.
std::string grid_of(const view &seen, const scene &one) {
    const double step = one.fov > 20 ? 10 : one.fov > 4 ? 1 : 0.05;
    const double reach = one.fov > 20 ? 360 : 2 * one.fov;
    std::string steps;
    const double pan = std::round(one.centre.pan / step) * step, tilt = std::round(one.centre.tilt / step) * step;
    for (double from = pan - reach / 2; from < pan + reach / 2; from += step) {
        std::vector<direction> meridian;
        for (double at = std::max(-90.0, tilt - reach / 2); at <= std::min(90.0, tilt + reach / 2); at += step)
            meridian.push_back({from, at});
        steps += path_of(seen, meridian);
    }
    for (double at = std::max(-90 + step, tilt - reach / 2); at <= std::min(90 - step, tilt + reach / 2); at += step) {
        std::vector<direction> circle;
        for (double from = pan - reach / 2; from <= pan + reach / 2; from += step / 2)
            circle.push_back({from, at});
        steps += path_of(seen, circle);
    }
    return steps;
}

bool draw(svg::picture &on, svg::point corner, const scene &one) {
    const auto seen = view::make(kColumns, kRows, one.centre, one.fov);
    auto hidden = mask::make(one.corners);
    if (!seen || !hidden)
        return false;
    on.text({corner.x, corner.y - 10}, one.title, "sub fink");
    on.add("<svg x=\"" + svg::number(corner.x) + "\" y=\"" + svg::number(corner.y) + "\" width=\"" +
           std::to_string(kColumns) + "\" height=\"" + std::to_string(kRows) + "\">\n");
    on.bar({0, 0, kColumns, kRows}, "sky");
    on.add("<g transform=\"translate(0 .5)\">\n");
    draw_ground(on, *seen);
    on.add("</g>\n<path class=\"grid\" d=\"" + grid_of(*seen, one) + "\"/>\n<g transform=\"translate(0 .5)\">\n");
    runs covered;
    size_t pixels = 0;
    hidden->draw(*seen, [&](int y, int begin, int end) {
        covered.add(y, begin, end);
        pixels += static_cast<size_t>(end - begin);
    });
    covered.draw(on, "run hidden");
    std::vector<direction> outline = one.corners;
    outline.push_back(outline.front());
    on.add("</g>\n<path class=\"outline\" d=\"" + path_of(*seen, outline) + "\"/>\n</svg>\n");
    on.text({corner.x, corner.y + kRows + 20}, one.said, "fsoft");
    on.text({corner.x, corner.y + kRows + 40},
            svg::number(one.fov) + " degrees wide, " + std::to_string(pixels) + " pixels hidden", "fsoft");
    return true;
}

} // namespace

int main() {
    const scene scenes[] = {
        {"the zenith", "six corners around it", {10, 80}, 100, ring(75, 6)},
        {"behind the view", "half of it is out of sight", {20, 10}, 120, {{60, -25}, {140, -35}, {150, 40}, {70, 30}}},
        {"crossing sides",
         "each part is hidden",
         {0, 0},
         60,
         {{-25, -10}, {25, 12}, {30, -12}, {-28, 14}, {0, 25}, {3, -25}}},
        {"a wide view", "twelve corners around the nadir", {20, 5}, 170, ring(-8, 12)},
        {"a narrow view",
         "a tenth of a degree wide",
         {12.06, 3.01},
         0.2,
         {{12, 3}, {12.05, 3.01}, {12.1, 2.98}, {12.07, 3.03}, {12.02, 3.04}}},
        {"the seam", "pan 340 to 20", {355, -5}, 70, {{340, -15}, {20, -15}, {15, 8}, {0, 0}, {345, 8}}},
    };
    svg::picture picture(890, "Masks stay where they are");
    picture.add(
        "<style>.run{fill:none;stroke-width:1}.sky{fill:#d6e4f4}.ground{stroke:#e2d9c6}.grid{fill:none;stroke:#6e7682;"
        "stroke-width:.8;opacity:.6}.hidden{stroke:#282c34}.outline{fill:none;stroke:#ff8c00;stroke-width:1.5}\n"
        "@media(prefers-color-scheme:dark){.sky{fill:#9fb4cc}.ground{stroke:#b3a88f}}</style>\n");
    for (size_t i = 0; i < std::size(scenes); ++i)
        if (!draw(picture, {10 + static_cast<double>(i % 2) * 316, 72 + static_cast<double>(i / 2) * 276}, scenes[i]))
            return EXIT_FAILURE;
    return picture.write();
}

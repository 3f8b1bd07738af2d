// Drawings for the reference as SVG, in colours that read well on light and on dark ground: shapes, text, and charts.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace svg {

struct point {
    double x, y;
};
struct box {
    double left, top, width, height;
};

constexpr double kWidth = 640;

// With as few digits as say the same.
inline std::string number(double value, int digits = 1) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    std::string result = text;
    if (result.find('.') != std::string::npos)
        result.erase(result.find_last_not_of('0') + 1);
    if (result.back() == '.')
        result.pop_back();
    return result == "-0" ? "0" : result;
}

inline std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text)
        result += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
    return result;
}

// Colours are classes: "a" to "f" tell things apart, "ink" and "soft" are those of text, "grid" that of lines behind,
// each for strokes with an "s" in front and for areas with an "f".
class picture {
public:
    picture(double height, std::string_view title) {
        add("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"640\" height=\"" + number(height) +
            "\" viewBox=\"0 0 640 " + number(height) + "\" role=\"img\">\n<title>" + escaped(title) +
            "</title>\n<style>\n" + kStyles + colours(0) + "@media(prefers-color-scheme:dark){\n" + colours(1) +
            "}\n</style>\n<rect width=\"100%\" height=\"100%\" rx=\"6\" class=\"fground\"/>\n");
        text({kWidth / 2, 26}, title, "head mid fink");
    }

    void text(point at, std::string_view words, std::string_view style = "fink") {
        add("<text x=\"" + number(at.x) + "\" y=\"" + number(at.y) + "\" class=\"" + std::string(style) + "\">" +
            escaped(words) + "</text>\n");
    }

    void line(const std::vector<point> &points, std::string_view style) { path(points, style, ""); }
    void area(const std::vector<point> &points, std::string_view style, double opacity = 1) {
        path(points, style, opacity == 1 ? "z" : "z\" fill-opacity=\"" + number(opacity, 2));
    }

    void bar(const box &place, std::string_view style) {
        add("<rect x=\"" + number(place.left) + "\" y=\"" + number(place.top) + "\" width=\"" + number(place.width) +
            "\" height=\"" + number(place.height) + "\" class=\"" + std::string(style) + "\"/>\n");
    }

    void dot(point at, double radius, std::string_view style) {
        add("<circle cx=\"" + number(at.x) + "\" cy=\"" + number(at.y) + "\" r=\"" + number(radius) + "\" class=\"" +
            std::string(style) + "\"/>\n");
    }

    void add(const std::string &element) { body += element; }

    // What main() returns.
    [[nodiscard]] int write() {
        body += "</svg>\n";
        const bool written = std::fwrite(body.data(), 1, body.size(), stdout) == body.size() && !std::fflush(stdout);
        return written ? EXIT_SUCCESS : EXIT_FAILURE;
    }

private:
    static constexpr const char *kStyles = R"(text{font:15px system-ui,"DejaVu Sans",Verdana,sans-serif}
.head{font-weight:600;font-size:19px}.sub{font-weight:600;font-size:16px}.mid{text-anchor:middle}.end{text-anchor:end}
.line{fill:none;stroke-width:2;stroke-linejoin:round}.thin{stroke-width:1}.bold{stroke-width:7}
.pale{opacity:.35}.dash{stroke-dasharray:5 4}.face{stroke-width:1;stroke-linejoin:round}
)";
    std::string body;

    static std::string colours(int scheme) {
        static constexpr const char *shades[][3] = {{"ground", "#fff", "#000"},     {"ink", "#1d232b", "#e4e7eb"},
                                                    {"soft", "#57616d", "#a5aeb9"}, {"grid", "#dde1e6", "#363b42"},
                                                    {"a", "#1b6ab1", "#62aef0"},    {"b", "#c25608", "#f2994a"},
                                                    {"c", "#27804f", "#5fc389"},    {"d", "#7d4ca6", "#c095e8"},
                                                    {"e", "#b52d47", "#f07f90"},    {"f", "#7a6a1c", "#d3bf58"}};
        std::string rules;
        for (const auto &shade : shades)
            rules += std::string(".s") + shade[0] + "{stroke:" + shade[scheme + 1] + "}.f" + shade[0] +
                     "{fill:" + shade[scheme + 1] + "}\n";
        return rules;
    }

    void path(const std::vector<point> &points, std::string_view style, std::string_view end) {
        std::string steps;
        for (const point &p : points)
            steps += (steps.empty() ? "M" : " ") + number(p.x) + " " + number(p.y);
        add("<path class=\"" + std::string(style) + "\" d=\"" + steps + std::string(end) + "\"/>\n");
    }
};

// What one axis of a chart shows.
struct axis {
    double from, to;
    std::vector<double> ticks;
    std::string label;
    bool is_logarithmic = false;

    double share(double value) const {
        return is_logarithmic ? std::log(value / from) / std::log(to / from) : (value - from) / (to - from);
    }
};

// A chart with its ticks and labels around a box: what is upward is said above it, at the left.
class chart {
public:
    chart(picture &picture, const box &place, axis across, axis upward, std::string_view title = "")
        : on(picture), area(place), xs(std::move(across)), ys(std::move(upward)) {
        const double right = area.left + area.width, bottom = area.top + area.height;
        for (const double tick : xs.ticks) {
            on.line({{x(tick), area.top}, {x(tick), bottom}}, "line thin sgrid");
            on.text({x(tick), bottom + 19}, number(tick, 3), "mid fsoft");
        }
        for (const double tick : ys.ticks) {
            on.line({{area.left, y(tick)}, {right, y(tick)}}, "line thin sgrid");
            on.text({area.left - 7, y(tick) + 5}, number(tick, 3), "end fsoft");
        }
        on.text({area.left + area.width / 2, bottom + 39}, xs.label, "mid fsoft");
        on.text({area.left - 30, area.top - 14}, ys.label, "fsoft");
        on.text({right, area.top - 14}, title, "sub end fink");
    }

    double x(double value) const { return area.left + area.width * xs.share(value); }
    double y(double value) const { return area.top + area.height * (1 - ys.share(value)); }
    point at(point value) const { return {x(value.x), std::clamp(y(value.y), area.top, area.top + area.height)}; }

    // Values beyond the box are drawn at its edge.
    void curve(std::vector<point> values, std::string_view style) {
        for (point &value : values)
            value = at(value);
        on.line(values, "line " + std::string(style));
    }

    void band(std::vector<point> lower, const std::vector<point> &upper, std::string_view style) {
        lower.insert(lower.end(), upper.rbegin(), upper.rend());
        for (point &value : lower)
            value = at(value);
        on.area(lower, style);
    }

private:
    picture &on;
    box area;
    axis xs, ys;
};

// Samples of line styles with their names, side by side from a point on; they are as far apart as the picture is wide.
inline void legend(picture &on, point at, const std::vector<std::pair<std::string, std::string>> &entries,
                   double apart) {
    for (const auto &[style, name] : entries) {
        on.line({{at.x, at.y - 5}, {at.x + 24, at.y - 5}}, "line " + style);
        on.text({at.x + 31, at.y}, name);
        at.x += apart;
    }
}

} // namespace svg

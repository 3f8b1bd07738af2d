// Draws privacy masks, given as polygons of directions, and their outlines on a picture of a view, or on a grid of the
// sphere if there is no picture.
#include "ppm.hpp"
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>
#include <vela/cpp/options.hpp>
#include <vela/overlay.hpp>

namespace {

using namespace vela::overlay;
using colour = std::array<uint8_t, 3>;

constexpr cmdline_option kOptions[] = {
    {'i', "input", "PPM picture of the view (a grid of the sphere)", CMDLINE_REQUIRED},
    {'s', "size", "size of the grid in pixels (640x360)", CMDLINE_REQUIRED},
    {'p', "pan", "pan of the view, in degrees (0)", CMDLINE_REQUIRED},
    {'t', "tilt", "tilt of the view, in degrees (0)", CMDLINE_REQUIRED},
    {'f', "fov", "horizontal field of view, in degrees (60)", CMDLINE_REQUIRED},
    {'c', "centres", "hide only pixels whose centre a mask covers", 0},
    {'o', "output", "PPM picture with the masks (masks.ppm)", CMDLINE_REQUIRED},
    {},
};

constexpr colour kMask = {40, 44, 52}, kOutline = {255, 140, 0}, kLine = {110, 118, 130}, kAxis = {200, 60, 50},
                 kSky = {214, 228, 244}, kGround = {226, 217, 198}, kNothing = {245, 245, 245};

int fail(const char *what, const char *text) {
    std::fprintf(stderr, "masks: %s: %s\n", what, text);
    return EXIT_FAILURE;
}

bool read_size(const char *text, int &width, int &height) {
    int used = -1;
    return std::sscanf(text, "%dx%d%n", &width, &height, &used) == 2 && used >= 0 && !text[used] && width > 0 &&
           height > 0 && width <= ppm::kMaxSide && height <= ppm::kMaxSide;
}

// The corners in a line; none if it is not a list of pairs.
std::vector<direction> read_corners(const char *text) {
    std::vector<double> numbers;
    for (char *end;; text = end) {
        const double number = std::strtod(text, &end);
        if (end == text)
            break;
        numbers.push_back(number);
    }
    std::vector<direction> corners;
    if (text[std::strspn(text, " \t\r\n")] == 0 && numbers.size() % 2 == 0)
        for (size_t i = 0; i < numbers.size(); i += 2)
            corners.push_back({numbers[i], numbers[i + 1]});
    return corners;
}

class canvas {
public:
    explicit canvas(ppm::picture &picture) : to(picture) {}

    void put(int x, int y, const colour &shade) {
        uint8_t *pixel = &to.pixels[3 * (static_cast<size_t>(y) * to.width + static_cast<size_t>(x))];
        std::copy(shade.begin(), shade.end(), pixel);
    }

    void draw_line(position from, position b, const colour &shade) {
        const double steps = std::ceil(std::max({1.0, std::fabs(b.x - from.x), std::fabs(b.y - from.y)}));
        for (int i = 0; i <= static_cast<int>(steps); ++i) {
            const long x = std::lround(from.x + (b.x - from.x) * i / steps),
                       y = std::lround(from.y + (b.y - from.y) * i / steps);
            if (0 <= x && x < static_cast<long>(to.width) && 0 <= y && y < static_cast<long>(to.height))
                put(static_cast<int>(x), static_cast<int>(y), shade);
        }
    }

private:
    ppm::picture &to;
};

// Sky, ground, and lines every ten degrees, or closer in narrow views.
void draw_grid(canvas &on, const view &seen, double fov) {
    for (int y = 0; y < seen.height(); ++y)
        for (int x = 0; x < seen.width(); ++x) {
            const auto shown = seen.unproject({x * 1.0, y * 1.0});
            on.put(x, y, !shown ? kNothing : shown->tilt < 0 ? kGround : kSky);
        }
    const double step = fov > 20 ? 10 : fov > 4 ? 1 : 0.1, whole = std::round(360 / step);
    // All lines, or those near the centre of a narrow view.
    const auto middle =
        seen.unproject({std::floor(seen.width() / 2.0), std::floor(seen.height() / 2.0)}).value_or(direction{});
    const double reach = fov > 20 ? whole : std::ceil(2 * fov / step);
    const auto draw = [&](direction from, direction b, bool is_axis) {
        const direction path[] = {from, b};
        if (!project_path(seen, path, [&](position p, position q) { on.draw_line(p, q, is_axis ? kAxis : kLine); }))
            return;
    };
    for (double i = std::round(middle.pan / step) - reach; i <= std::round(middle.pan / step) + reach; ++i)
        for (double j = std::round(middle.tilt / step) - reach; j <= std::round(middle.tilt / step) + reach; ++j) {
            const direction at = {i * step, j * step};
            if (std::fabs(at.tilt) > 90 + step / 2)
                continue;
            draw(at, {at.pan + step, at.tilt}, j == 0);
            if (at.tilt + step < 90 + step / 2)
                draw(at, {at.pan, at.tilt + step}, std::fmod(i, whole) == 0);
        }
}

} // namespace

int main(int argc, char **argv) {
    int width = 640, height = 360;
    double pan = 0, tilt = 0, fov = 60;
    const char *input = nullptr, *output = "masks.ppm";
    coverage how = coverage::conservative;
    vela::options options(argc, argv, kOptions, "masks",
                          "[options]\n"
                          "Reads one mask per line from the standard input: \"PAN TILT PAN TILT PAN TILT ...\", "
                          "at least three corners.");
    while (const int option = options.next())
        switch (option) {
        case 'i':
            input = options.value();
            break;
        case 's':
            if (!read_size(options.value(), width, height))
                options.reject("WIDTHxHEIGHT");
            break;
        case 'p':
            options.read(pan);
            break;
        case 't':
            options.read(tilt);
            break;
        case 'f':
            options.read(fov, 0, 180);
            break;
        case 'c':
            how = coverage::centres;
            break;
        default:
            output = options.value();
        }
    if (const auto status = options.finish(0, 0))
        return *status;

    ppm::picture picture;
    if (input) {
        FILE *file = std::fopen(input, "rb");
        const bool good = file && ppm::read(file, picture);
        if (file)
            std::fclose(file);
        if (!good)
            return fail("not a PPM picture", input);
        width = static_cast<int>(picture.width);
        height = static_cast<int>(picture.height);
    } else {
        picture.width = static_cast<uint32_t>(width);
        picture.height = static_cast<uint32_t>(height);
        picture.pixels.resize(size_t{3} * picture.width * picture.height);
    }
    const auto seen = view::make(width, height, {pan, tilt}, fov);
    if (!seen)
        return fail("cannot make a view", "see --help");
    canvas on(picture);
    if (!input)
        draw_grid(on, *seen, fov);

    char line[4096];
    while (std::fgets(line, sizeof line, stdin)) {
        std::vector<direction> corners = read_corners(line);
        std::optional<mask> hidden = mask::make(corners);
        if (!hidden)
            return fail("not a mask", line);
        size_t pixels = 0;
        const auto hide = [&](int y, int begin, int end) {
            pixels += static_cast<size_t>(end - begin);
            for (int x = begin; x < end; ++x)
                on.put(x, y, kMask);
        };
        hidden->draw(*seen, hide, how);
        corners.push_back(corners.front());
        if (!project_path(*seen, corners, [&](position p, position q) { on.draw_line(p, q, kOutline); }))
            return fail("cannot project", line);
        std::printf("%zu pixels hidden\n", pixels);
    }
    if (!ppm::write(output, picture))
        return fail("cannot write", output);
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : fail("cannot write", "standard output");
}

// Projects directions to pixels of a view, or pixels to directions: a table with one line per target.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>
#include <vela/cpp/options.hpp>
#include <vela/spheremap.h>

namespace {

constexpr cmdline_option kOptions[] = {
    {'s', "size", "screen in pixels (640x480)", CMDLINE_REQUIRED},
    {'p', "pan", "pan of the view, in degrees (0)", CMDLINE_REQUIRED},
    {'t', "tilt", "tilt of the view, in degrees (0)", CMDLINE_REQUIRED},
    {'f', "fov", "horizontal field of view, in degrees (60)", CMDLINE_REQUIRED},
    {'b', "back", "from pixels X,Y to directions", 0},
    {},
};

constexpr double kUnits = 1024;        // of a degree, Q10
constexpr double kMaxNumber = 1 << 20; // of an angle or a pixel

struct target {
    double first, second;
    std::string name;
};

int fail(const char *what, const char *text) {
    std::fprintf(stderr, "view: %s: %s\n", what, text);
    return EXIT_FAILURE;
}

// Reads a number and advances the text.
bool read_number(const char *&text, double &number) {
    char *end;
    number = std::strtod(text, &end);
    const bool good = end != text && std::fabs(number) <= kMaxNumber;
    text = end;
    return good;
}

void read_degrees(vela::options &options, int32_t &angle, double least = -kMaxNumber) {
    double degrees = angle / kUnits;
    options.read(degrees, least, kMaxNumber);
    angle = static_cast<int32_t>(std::lround(degrees * kUnits));
}

bool read_size(const char *text, smap_view &view) {
    int used = -1;
    return std::sscanf(text, "%dx%d%n", &view.width, &view.height, &used) == 2 && used >= 0 && !text[used] &&
           view.width > 0 && view.width < 65536 && view.height > 0 && view.height < 65536;
}

// Two numbers, separated by a comma or white space, and a name after a space.
bool read_target(const char *text, target &result) {
    if (!read_number(text, result.first) || !*text)
        return false;
    text += *text == ',';
    if (!read_number(text, result.second))
        return false;
    result.name = text;
    return !*text || *text == ' ';
}

void print_position(const target &at, const smap_view &view) {
    const smap_sphere_pt direction = {static_cast<int32_t>(std::lround(at.first * kUnits)),
                                      static_cast<int32_t>(std::lround(at.second * kUnits))};
    smap_screen_pt pixel = {};
    const bool in_front = smap_sphere_pt_to_screen_pt(&direction, &view, &pixel);
    const smap_screen_poly point = {1, &pixel};
    std::printf("%9.3f %9.3f ", at.first, at.second);
    if (in_front)
        std::printf("%6d %6d  %s", pixel.x, pixel.y, smap_polygon_on_screen(&point, &view) ? "seen" : "beside");
    else
        std::printf("%6s %6s  %s", "-", "-", "behind");
    std::printf("%s\n", at.name.c_str());
}

void print_direction(const target &at, const smap_view &view) {
    const smap_screen_pt pixel = {static_cast<int32_t>(at.first), static_cast<int32_t>(at.second)};
    smap_sphere_pt direction;
    smap_screen_pt_to_sphere_pt(&pixel, &view, &direction);
    std::printf("%6d %6d %9.3f %9.3f%s\n", pixel.x, pixel.y, direction.pan / kUnits, direction.tilt / kUnits,
                at.name.c_str());
}

// Reads the targets from the standard input. False after a message if a line is not a target.
bool read_lines(std::vector<target> &targets) {
    char line[256];
    while (std::fgets(line, sizeof line, stdin)) {
        line[std::strcspn(line, "\n")] = 0;
        if (!read_target(line, targets.emplace_back())) {
            fail("not a target", line);
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char **argv) {
    std::vector<target> targets;
    // A target may begin with a minus sign, so targets are taken out before the options are read.
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        target at;
        if (std::strchr(argv[i], ',') && read_target(argv[i], at) && at.name.empty())
            targets.push_back(at);
        else
            argv[kept++] = argv[i];
    }

    smap_view view = {640, 480, 0, 0, 60 << 10};
    bool backward = false;
    vela::options options(
        kept, argv, kOptions, "view",
        "[options] [PAN,TILT...]\n"
        "Without targets as arguments, reads them from the standard input, one per line: \"PAN TILT NAME\".");
    while (const int option = options.next())
        switch (option) {
        case 's':
            if (!read_size(options.value(), view))
                options.reject("WIDTHxHEIGHT");
            break;
        case 'p':
            read_degrees(options, view.pan);
            break;
        case 't':
            read_degrees(options, view.tilt);
            break;
        case 'f':
            read_degrees(options, view.fov, 1 / kUnits);
            break;
        case 'b':
            backward = true;
            break;
        default:
            break;
        }
    if (const auto status = options.finish())
        return *status;
    if (!options.operands().empty())
        return fail("not a target", options.operands()[0]);
    if (targets.empty() && !read_lines(targets))
        return EXIT_FAILURE;

    std::puts(backward ? "     x      y       pan      tilt" : "      pan      tilt      x      y");
    for (const target &at : targets)
        backward ? print_direction(at, view) : print_position(at, view);
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : fail("cannot write", "standard output");
}

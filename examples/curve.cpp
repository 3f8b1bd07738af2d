// Tabulates a curve through knots as text, or plots it as a PGM picture.
#include "options.hpp"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>
#include <vela/cpp/curve.hpp>

namespace {

constexpr cmdline_option kOptions[] = {
    {'l', "line", "join the knots by line segments", 0},
    {'f', "float", "spline in single precision instead of fixed point", 0},
    {'p', "plot", "write a PGM picture of the curve, one column per x", 0},
    {'h', "height", "height of the picture (256)", CMDLINE_REQUIRED},
    {},
};

struct curve_options {
    bool line = false, single = false, plot = false;
    int height = 256;
};

int usage() {
    cmdline_usage(kOptions, "curve", "[options] X,Y X,Y...");
    return EXIT_FAILURE;
}

int fail(const char *what, const char *text) {
    std::fprintf(stderr, "curve: %s: %s\n", what, text);
    return EXIT_FAILURE;
}

bool read_knot(const char *text, interp_knot &knot) {
    int x, y, used = -1;
    if (std::sscanf(text, "%d,%d%n", &x, &y, &used) != 2 || used < 0 || text[used])
        return false;
    knot = {static_cast<int16_t>(x), static_cast<int16_t>(y)};
    return knot.x == x && knot.y == y;
}

bool read_height(const char *text, int &height) {
    int used = -1;
    return std::sscanf(text, "%d%n", &height, &used) == 1 && !text[used] && height >= 2 && height <= 4096;
}

// The table as double, which holds every value of both types; empty if the knots are invalid.
std::vector<double> table_of(const std::vector<interp_knot> &knots, const curve_options &options) {
    using enum vela::curve::method;
    const auto curve = vela::curve::make(options.line ? line : options.single ? spline : fixed_spline, knots);
    if (!curve)
        return {};
    std::vector<float> values(options.single ? curve->size() : 0);
    std::vector<int16_t> integers(options.single ? 0 : curve->size());
    if (!(options.single ? curve->fill(values) : curve->fill(integers)))
        return {};
    return options.single ? std::vector<double>(values.begin(), values.end())
                          : std::vector<double>(integers.begin(), integers.end());
}

// A black curve without gaps on white; the columns of the knots are grey.
void write_plot(const std::vector<double> &table, const std::vector<interp_knot> &knots, int height) {
    const double lowest = *std::min_element(table.begin(), table.end());
    const double highest = *std::max_element(table.begin(), table.end());
    const double scale = highest > lowest ? (height - 1) / (highest - lowest) : 0;
    const size_t width = table.size(), rows = static_cast<size_t>(height);
    std::vector<unsigned char> picture(width * rows, 255);
    for (const interp_knot &knot : knots)
        for (size_t row = 0; row < rows; ++row)
            picture[row * width + static_cast<size_t>(knot.x - knots.front().x)] = 208;
    const auto row_of = [&](size_t column) {
        return static_cast<size_t>(std::lround((highest - table[column]) * scale));
    };
    for (size_t column = 0; column < width; ++column) {
        const auto [top, bottom] = std::minmax({row_of(column), row_of(column ? column - 1 : 0)});
        for (size_t row = top; row <= bottom; ++row)
            picture[row * width + column] = 0;
    }
    std::printf("P5\n%zu %d\n255\n", width, height);
    std::fwrite(picture.data(), 1, picture.size(), stdout);
}

} // namespace

int main(int argc, char **argv) {
    curve_options options;
    std::vector<interp_knot> knots;
    // A knot may begin with a minus sign, so knots are taken out before the options are read.
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        interp_knot knot;
        if (read_knot(argv[i], knot))
            knots.push_back(knot);
        else
            argv[kept++] = argv[i];
    }
    for (int option; (option = next_option(kept, argv, kOptions, usage)) >= 0;) {
        switch (option) {
        case 'l':
            options.line = true;
            break;
        case 'f':
            options.single = true;
            break;
        case 'p':
            options.plot = true;
            break;
        case 'h':
            if (!read_height(cmdline_optarg, options.height))
                return fail("out of range", cmdline_optarg);
            break;
        default:
            break;
        }
    }
    if (cmdline_optidx < kept)
        return fail("not a knot", argv[cmdline_optidx]);
    if (options.line && options.single)
        return fail("unexpected option", "--float with --line");
    if (knots.size() < 2)
        return fail("no curve", "at least two knots are needed");

    const std::vector<double> table = table_of(knots, options);
    if (table.empty())
        return fail("no curve", "x must increase from knot to knot");
    if (options.plot)
        write_plot(table, knots, options.height);
    else
        for (size_t i = 0; i < table.size(); ++i)
            std::printf("%d %.9g\n", knots.front().x + static_cast<int>(i), table[i]);
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : fail("cannot write", "standard output");
}

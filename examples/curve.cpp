// Tabulates a curve through knots.
#include <cstdio>
#include <cstdlib>
#include <vector>
#include <vela/cpp/curve.hpp>
#include <vela/cpp/options.hpp>

namespace {

constexpr cmdline_option kOptions[] = {
    {'l', "line", "join the knots by line segments", 0},
    {'f', "float", "spline in single precision instead of fixed point", 0},
    {},
};

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

// The table as double, which holds every value of both types; empty if the knots are invalid.
std::vector<double> table_of(const std::vector<interp_knot> &knots, vela::curve::method how) {
    const auto curve = vela::curve::make(how, knots);
    if (!curve)
        return {};
    const bool is_float = how == vela::curve::method::spline;
    std::vector<float> values(is_float ? curve->size() : 0);
    std::vector<int16_t> integers(is_float ? 0 : curve->size());
    if (!(is_float ? curve->fill(values) : curve->fill(integers)))
        return {};
    return is_float ? std::vector<double>(values.begin(), values.end())
                    : std::vector<double>(integers.begin(), integers.end());
}

} // namespace

int main(int argc, char **argv) {
    using enum vela::curve::method;
    auto how = fixed_spline;
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
    vela::options options(kept, argv, kOptions, "curve", "[options] X,Y X,Y...");
    while (const int option = options.next())
        how = option == 'l' ? line : spline;
    if (const auto status = options.finish())
        return *status;
    if (!options.operands().empty())
        return fail("not a knot", options.operands()[0]);
    if (knots.size() < 2)
        return fail("no curve", "at least two knots are needed");

    const std::vector<double> table = table_of(knots, how);
    if (table.empty())
        return fail("no curve", "x must increase from knot to knot");
    for (size_t i = 0; i < table.size(); ++i)
        std::printf("%d %.9g\n", knots.front().x + static_cast<int>(i), table[i]);
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : fail("cannot write", "standard output");
}

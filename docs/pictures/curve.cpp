// Tables of <vela/interp.h> through the same knots, as line segments and as a fixed-point spline, and how far that
// spline is from the one in single precision. Prints three blocks: x, line and spline through even knots; the same
// through uneven knots; the distance of random knots and the largest difference in 20,000 curves.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <span>
#include <vector>
#include <vela/cpp/curve.hpp>

namespace {

using method = vela::curve::method;

std::vector<int16_t> table_of(method how, std::span<const interp_knot> knots) {
    const auto curve = vela::curve::make(how, knots);
    std::vector<int16_t> table(curve ? curve->size() : 0);
    if (!curve || !curve->fill(table))
        std::abort();
    return table;
}

void print_tables(std::span<const interp_knot> knots) {
    const auto line = table_of(method::line, knots), spline = table_of(method::fixed_spline, knots);
    for (size_t x = 0; x < line.size(); ++x)
        std::printf("%zu %d %d\n", x, line[x], spline[x]);
    std::puts("\n");
}

int largest_difference(int distance) {
    std::mt19937 random(1);
    int largest = 0;
    for (int curve = 0; curve < 20000; ++curve) {
        std::vector<interp_knot> knots(3 + random() % 4);
        for (size_t i = 0; i < knots.size(); ++i)
            knots[i] = {static_cast<int16_t>(distance * static_cast<int>(i)), static_cast<int16_t>(random() % 256)};
        const auto fixed = table_of(method::fixed_spline, knots), exact = table_of(method::spline, knots);
        for (size_t x = 0; x < fixed.size(); ++x)
            largest = std::max(largest, std::abs(fixed[x] - exact[x]));
    }
    return largest;
}

} // namespace

int main() {
    constexpr interp_knot even[] = {{0, 0}, {64, 24}, {128, 128}, {192, 232}, {255, 255}},
                          uneven[] = {{0, 0}, {104, 48}, {152, 208}, {255, 255}};
    print_tables(even);
    print_tables(uneven);
    for (const int distance : {8, 12, 16, 24, 32, 48, 64, 96, 128, 192, 255})
        std::printf("%d %d\n", distance, largest_difference(distance));
}

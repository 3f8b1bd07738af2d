// The convex hull of the colours of a PPM picture in the cube of red, green and blue: figures, an OFF file, and whether
// other colours are inside.
#include "ppm.hpp"
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vela/cpp/hull.hpp>
#include <vela/cpp/options.hpp>
#include <vela/text.h>

namespace {

constexpr cmdline_option kOptions[] = {
    {'o', "off", "output file for the hull (OFF)", CMDLINE_REQUIRED},
    {},
};

int fail(const char *what, const char *of) {
    std::fprintf(stderr, "hull: %s: %s\n", what, of);
    return EXIT_FAILURE;
}

void print_figures(const vela::hull &hull, uint32_t pixels) {
    constexpr double kWholeCube = 255.0 * 255 * 255;
    std::printf("%u pixels; %zu vertices, %zu edges, %zu faces; volume %.1f, %.2f %% of the cube\n", pixels,
                hull.vertex_count(), hull.edge_count(), hull.face_count(), hull.volume(),
                100 * hull.volume() / kWholeCube);
}

bool print_colour(const vela::hull &hull, const char *text) {
    uint8_t bytes[3];
    if (std::strlen(text) != 6 || hex2bin(text, 6, bytes) != 3)
        return false;
    const vela::hull::point colour = {bytes[0], bytes[1], bytes[2]};
    const auto distances = hull.distances(colour);
    if (!distances)
        return false;
    std::printf("%s is %s, %.1f from the surface\n", text, hull.contains(colour) ? "inside" : "outside",
                std::sqrt(distances->nearest));
    return true;
}

} // namespace

int main(int argc, char **argv) {
    const char *off = nullptr;
    vela::options options(argc, argv, kOptions, "hull", "[options] PICTURE [RRGGBB...]");
    while (options.next())
        off = options.value();
    if (const auto status = options.finish(1))
        return *status;

    const char *name = options.operands()[0];
    FILE *file = std::fopen(name, "rb");
    if (!file)
        return fail("cannot open", name);
    ppm::picture picture;
    const bool whole = ppm::read(file, picture);
    std::fclose(file);
    if (!whole)
        return fail("not a complete binary PPM picture with 8 bits", name);
    auto hull = vela::hull::of_pixels(picture.pixels);
    if (!hull)
        return fail("its colours have no hull", name);

    print_figures(*hull, picture.width * picture.height);
    for (const char *colour : options.operands().subspan(1))
        if (!print_colour(*hull, colour))
            return fail("not a colour of six hexadecimal digits", colour);
    if (off && !hull->write_off(off))
        return fail("cannot write", off);
    return EXIT_SUCCESS;
}

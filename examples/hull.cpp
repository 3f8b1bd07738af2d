// The convex hull of the colours of a PPM picture in the cube of red, green and blue: figures, an OFF file, a view, and
// whether other colours are inside.
#include "options.hpp"
#include "ppm.hpp"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vela/cpp/hull.hpp>
#include <vela/text.h>

namespace {

constexpr cmdline_option kOptions[] = {
    {'o', "off", "output file for the hull (OFF)", CMDLINE_REQUIRED},
    {'v', "view", "output file for a view (PPM)", CMDLINE_REQUIRED},
    {'s', "size", "width and height of the view, 16 to 4096 (480)", CMDLINE_REQUIRED},
    {'t', "turn", "rotation of the view about the grey axis in degrees (20)", CMDLINE_REQUIRED},
    {},
};

using point = std::array<double, 3>;

int usage() {
    cmdline_usage(kOptions, "hull", "[options] PICTURE [RRGGBB...]");
    return EXIT_FAILURE;
}

int fail(const char *what, const char *of) {
    std::fprintf(stderr, "hull: %s: %s\n", what, of);
    return EXIT_FAILURE;
}

// An integer within limits, or -1.
long number_in(const char *text, long lowest, long highest) {
    char *end = nullptr;
    const long number = std::strtol(text, &end, 10);
    return *text && !*end && number >= lowest && number <= highest ? number : -1;
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

// An orthographic view from outside. The cube stands on its black corner, is rotated about the grey axis and tilted
// towards the viewer.
class view {
public:
    view(uint32_t size, double degrees) : size_(size) {
        constexpr double kPi = 3.14159265358979323846, kTip = 25 * kPi / 180;
        const double s2 = std::sqrt(2), s3 = std::sqrt(3), s6 = std::sqrt(6);
        const point up = {1 / s3, 1 / s3, 1 / s3};
        const point east = {1 / s2, -1 / s2, 0}, north = {1 / s6, 1 / s6, -2 / s6};
        const double turn = degrees * kPi / 180;
        point away;
        for (size_t k = 0; k < 3; ++k) {
            right_[k] = std::cos(turn) * east[k] + std::sin(turn) * north[k];
            away[k] = std::cos(turn) * north[k] - std::sin(turn) * east[k];
            down_[k] = -std::cos(kTip) * up[k] - std::sin(kTip) * away[k];
        }
        picture_.width = picture_.height = size;
        picture_.pixels.assign(size_t{3} * size * size, 24);
    }

    // The visible surface in its own colours, with darker edges.
    void draw(const vela::hull &hull) {
        draw_cube();
        for (const chull_face &face : hull.faces())
            draw_face(face);
    }
    const ppm::picture &picture() const { return picture_; }

private:
    uint32_t size_;
    point right_ = {}, down_ = {};
    ppm::picture picture_;

    struct pixel {
        double x, y;
    };

    static double product(const point &a, const point &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

    pixel projected(const point &colour) const {
        const point from_middle = {colour[0] - 127.5, colour[1] - 127.5, colour[2] - 127.5};
        const double scale = size_ / 480.0;
        return {size_ / 2.0 + scale * product(from_middle, right_), size_ / 2.0 + scale * product(from_middle, down_)};
    }
    pixel projected(const chull_vertex *vertex) const {
        return projected({double(vertex->coord[0]), double(vertex->coord[1]), double(vertex->coord[2])});
    }

    void set(uint32_t x, uint32_t y, const point &colour) {
        if (x >= size_ || y >= size_)
            return;
        for (size_t k = 0; k < 3; ++k)
            picture_.pixels[(size_t{size_} * y + x) * 3 + k] = static_cast<uint8_t>(std::lround(colour[k]));
    }

    void draw_cube() {
        for (int corner = 0; corner < 8; ++corner)
            for (int axis = 1; axis < 8; axis *= 2)
                if (!(corner & axis))
                    draw_line(corner_of_cube(corner), corner_of_cube(corner | axis));
    }
    static point corner_of_cube(int bits) { return {bits & 1 ? 255.0 : 0, bits & 2 ? 255.0 : 0, bits & 4 ? 255.0 : 0}; }
    void draw_line(const point &a, const point &b) {
        const pixel from = projected(a), to = projected(b);
        const int steps = static_cast<int>(std::max(std::abs(to.x - from.x), std::abs(to.y - from.y))) + 1;
        for (int i = 0; i <= steps; ++i)
            set(static_cast<uint32_t>(from.x + (to.x - from.x) * i / steps),
                static_cast<uint32_t>(from.y + (to.y - from.y) * i / steps), {96, 96, 96});
    }

    // Twice the area of a triangle, positive if it is counter-clockwise in the picture (y points down).
    static double area(const pixel &a, const pixel &b, const pixel &c) {
        return (c.x - a.x) * (b.y - a.y) - (b.x - a.x) * (c.y - a.y);
    }

    // The hull is convex, so nothing covers a face that is turned to the viewer.
    void draw_face(const chull_face &face) {
        const std::array<pixel, 3> corners = {projected(face.vert[0]), projected(face.vert[1]),
                                              projected(face.vert[2])};
        const double whole = area(corners[0], corners[1], corners[2]);
        if (whole <= 0)
            return;
        const auto [left, right] = std::minmax({corners[0].x, corners[1].x, corners[2].x});
        const auto [top, bottom] = std::minmax({corners[0].y, corners[1].y, corners[2].y});
        for (double y = std::ceil(top); y <= bottom; ++y)
            for (double x = std::ceil(left); x <= right; ++x)
                draw_pixel(face, corners, whole, {x, y});
    }
    void draw_pixel(const chull_face &face, const std::array<pixel, 3> &corners, double whole, const pixel &at) {
        constexpr double kEdge = 0.6; // half the width of an edge, in pixels
        point colour = {};
        bool on_edge = false;
        for (size_t k = 0; k < 3; ++k) {
            const pixel &from = corners[(k + 1) % 3], &to = corners[(k + 2) % 3];
            const double part = area(from, to, at);
            if (part < 0)
                return;
            on_edge |= part < kEdge * std::hypot(to.x - from.x, to.y - from.y);
            for (size_t c = 0; c < 3; ++c)
                colour[c] += part / whole * face.vert[k]->coord[c];
        }
        if (on_edge)
            for (double &value : colour)
                value *= 0.6;
        set(static_cast<uint32_t>(at.x), static_cast<uint32_t>(at.y), colour);
    }
};

} // namespace

int main(int argc, char **argv) {
    const char *off = nullptr, *view_file = nullptr;
    long size = 480, turn = 20;
    for (int option; (option = next_option(argc, argv, kOptions, usage)) >= 0;) {
        switch (option) {
        case 'o':
            off = cmdline_optarg;
            break;
        case 'v':
            view_file = cmdline_optarg;
            break;
        case 's':
            size = number_in(cmdline_optarg, 16, 4096);
            break;
        case 't':
            turn = number_in(cmdline_optarg, 0, 360);
            break;
        default:
            break;
        }
    }
    if (argc == cmdline_optidx || size < 0 || turn < 0)
        return usage();

    const char *name = argv[cmdline_optidx];
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
    for (int i = cmdline_optidx + 1; i < argc; ++i)
        if (!print_colour(*hull, argv[i]))
            return fail("not a colour of six hexadecimal digits", argv[i]);
    if (off && !hull->write_off(off))
        return fail("cannot write", off);
    if (view_file) {
        view from_outside(static_cast<uint32_t>(size), static_cast<double>(turn));
        from_outside.draw(*hull);
        if (!ppm::write(view_file, from_outside.picture()))
            return fail("cannot write", view_file);
    }
    return EXIT_SUCCESS;
}

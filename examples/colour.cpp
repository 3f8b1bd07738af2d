// Converts a PPM picture to YCbCr and back, and prints the loss: the PSNR of each channel and of all.
#include "ppm.hpp"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>
#include <vela/cpp/colour.hpp>
#include <vela/cpp/options.hpp>

namespace {

constexpr cmdline_option kOptions[] = {
    {'c', "conversion", "full (the default), bt601, bt709 or 422", CMDLINE_REQUIRED},
    {'y', "ycc", "output file for Y, Cb, Cr of each pixel (PPM) or for 4:2:2 (raw)", CMDLINE_REQUIRED},
    {'o', "output", "output file for the resulting picture", CMDLINE_REQUIRED},
    {'m', "matrices", "print the conversion's matrices", 0},
    {},
};

using bytes = std::vector<uint8_t>;

using ppm::picture;

struct conversion {
    const char *name;
    vela::colour::variant variant;
    bool is_packed = false; // 4:2:2
};

constexpr conversion kConversions[] = {
    {"full", vela::colour::variant::full},
    {"bt601", vela::colour::variant::bt601},
    {"bt709", vela::colour::variant::bt709},
    {"422", vela::colour::variant::full, true},
};

int fail(const char *what, const char *of) {
    std::fprintf(stderr, "colour: %s: %s\n", what, of);
    return EXIT_FAILURE;
}

bool write_bytes(const char *name, const bytes &content) {
    FILE *file = std::fopen(name, "wb");
    if (!file)
        return false;
    const bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size();
    return std::fclose(file) == 0 && written;
}

// Rows of Cb, Y0, Cr, Y1 from pixels Y, Cb, Cr; chroma is the mean of a pair. The last pixel of an odd row is paired
// with itself.
bytes pack_422(const bytes &ycc, uint32_t width, uint32_t height) {
    bytes packed;
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; x += 2) {
            const uint8_t *first = &ycc[(size_t{width} * y + x) * 3];
            const uint8_t *second = x + 1 < width ? first + 3 : first;
            const auto mean = [&](int of) { return static_cast<uint8_t>((first[of] + second[of] + 1) / 2); };
            packed.insert(packed.end(), {mean(1), first[0], mean(2), second[0]});
        }
    return packed;
}

// `ycc` is the intermediate picture.
bool there_and_back(const conversion &c, const picture &from, bytes &ycc, bytes &back) {
    ycc.resize(from.pixels.size());
    back.resize(from.pixels.size());
    if (!vela::colour::from_rgb(c.variant, from.pixels, ycc))
        return false;
    if (!c.is_packed)
        return vela::colour::to_rgb(c.variant, ycc, back);
    ycc = pack_422(ycc, from.width, from.height);
    return vela::colour::unpack(ycc, from.width, from.height, (from.width + 1) / 2 * 4, back);
}

double squared_errors(const bytes &a, const bytes &b, size_t channel) {
    double sum = 0;
    for (size_t i = channel; i < a.size(); i += 3)
        sum += (a[i] - b[i]) * (a[i] - b[i]);
    return sum;
}

void print_psnr(const char *what, double squares, size_t count) {
    std::printf(", %s ", what);
    if (squares > 0)
        std::printf("%.2f dB", 10 * std::log10(255.0 * 255.0 * static_cast<double>(count) / squares));
    else
        std::printf("lossless");
}

void print_loss(const conversion &c, const picture &from, const bytes &back) {
    const double red = squared_errors(from.pixels, back, 0), green = squared_errors(from.pixels, back, 1),
                 blue = squared_errors(from.pixels, back, 2);
    const size_t count = back.size() / 3;
    std::printf("%s, %u x %u", c.name, from.width, from.height);
    print_psnr("red", red, count);
    print_psnr("green", green, count);
    print_psnr("blue", blue, count);
    print_psnr("all", red + green + blue, 3 * count);
    std::printf("\n");
}

void print_matrix(const char *title, const vela::colour::matrix &matrix) {
    std::printf("%s\n", title);
    for (size_t row = 0; row < 9; row += 3)
        std::printf("  %8.5f %8.5f %8.5f\n", matrix[row] / 4096.0, matrix[row + 1] / 4096.0, matrix[row + 2] / 4096.0);
}

} // namespace

int main(int argc, char **argv) {
    vela::options options(argc, argv, kOptions, "colour", "[options] PICTURE");
    const char *name = "full", *ycc_file = nullptr, *output = nullptr;
    bool with_matrices = false;
    while (const int option = options.next())
        switch (option) {
        case 'c':
            name = options.value();
            break;
        case 'y':
            ycc_file = options.value();
            break;
        case 'o':
            output = options.value();
            break;
        case 'm':
            with_matrices = true;
            break;
        default:
            break;
        }
    if (const auto status = options.finish(1, 1))
        return *status;
    const auto *c = std::find_if(std::begin(kConversions), std::end(kConversions),
                                 [name](const conversion &one) { return std::strcmp(one.name, name) == 0; });
    if (c == std::end(kConversions))
        return fail("unknown conversion", name);

    const char *input = options.operands()[0];
    FILE *file = std::fopen(input, "rb");
    if (!file)
        return fail("cannot open", input);
    picture original;
    const bool whole = ppm::read(file, original);
    std::fclose(file);
    if (!whole)
        return fail("not a complete binary PPM picture with 8 bits", input);

    bytes ycc, back;
    if (!there_and_back(*c, original, ycc, back))
        return fail("pictures of this size cannot be converted", input);
    const auto same_size = [&original](const bytes &pixels) {
        return picture{original.width, original.height, pixels};
    };
    if (ycc_file && !(c->is_packed ? write_bytes(ycc_file, ycc) : ppm::write(ycc_file, same_size(ycc))))
        return fail("cannot write", ycc_file);
    if (output && !ppm::write(output, same_size(back)))
        return fail("cannot write", output);
    if (with_matrices) {
        print_matrix("Y, Cb, Cr from R, G, B", vela::colour::encoding_matrix(c->variant));
        print_matrix("R, G, B from Y, Cb, Cr", vela::colour::decoding_matrix(c->variant));
    }
    print_loss(*c, original, back);
    return EXIT_SUCCESS;
}

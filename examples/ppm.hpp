// Binary PPM pictures with 8 bits per channel.
#pragma once

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace ppm {

constexpr long kMaxSide = 16384;

struct picture {
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> pixels; // red, green, blue
};

// The next number of the header after white space and comments, or -1.
inline long read_number(FILE *file) {
    int ch = std::fgetc(file);
    for (bool comment = ch == '#'; comment || std::isspace(ch); comment = ch == '#' || (comment && ch != '\n'))
        if ((ch = std::fgetc(file)) == EOF)
            return -1;
    long number = std::isdigit(ch) ? 0 : -1;
    for (; std::isdigit(ch) && number <= kMaxSide; ch = std::fgetc(file))
        number = 10 * number + (ch - '0');
    return number;
}

inline bool read(FILE *file, picture &result) {
    const int magic[] = {std::fgetc(file), std::fgetc(file)};
    if (magic[0] != 'P' || magic[1] != '6')
        return false;
    const long width = read_number(file), height = read_number(file), brightest = read_number(file);
    if (width < 1 || width > kMaxSide || height < 1 || height > kMaxSide || brightest != 255)
        return false;
    result.width = static_cast<uint32_t>(width);
    result.height = static_cast<uint32_t>(height);
    result.pixels.resize(size_t{3} * result.width * result.height);
    return std::fread(result.pixels.data(), 1, result.pixels.size(), file) == result.pixels.size();
}

inline bool write(const char *name, const picture &source) {
    FILE *file = std::fopen(name, "wb");
    if (!file)
        return false;
    std::fprintf(file, "P6\n%u %u\n255\n", source.width, source.height);
    const bool written = std::fwrite(source.pixels.data(), 1, source.pixels.size(), file) == source.pixels.size();
    return std::fclose(file) == 0 && written;
}

} // namespace ppm

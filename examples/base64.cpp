// Encodes a file or the standard input to lines of 76 characters, or decodes it: streams of any size in constant
// memory.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>
#include <vela/cpp/base64.hpp>
#include <vela/cpp/options.hpp>
#include <vela/text.h>

namespace {

constexpr cmdline_option kOptions[] = {
    {'d', "decode", "decode instead of encoding", 0},
    {},
};

constexpr uint32_t kLine = 76;
constexpr uint32_t kLines = 1024;
constexpr uint32_t kBytes = kLine / 4 * 3 * kLines; // fill kLines lines
constexpr uint32_t kText = kLine * kLines;

int fail(const char *what) {
    std::fprintf(stderr, "base64: %s\n", what);
    return EXIT_FAILURE;
}

bool write(const void *bytes, size_t count) { return std::fwrite(bytes, 1, count, stdout) == count; }

// Reads a full buffer, or less at the end.
template <class Buffer>
size_t read(FILE *input, Buffer &buffer) {
    return std::fread(buffer.data(), 1, buffer.size(), input);
}

int encode(FILE *input) {
    static std::array<uint8_t, kBytes> bytes;
    static std::array<char, kText + kLines> lines;
    while (const size_t count = read(input, bytes)) {
        const std::string text = vela::base64::encode(std::span(bytes).first(count));
        auto size = static_cast<uint32_t>(
            chunk_split(text.data(), static_cast<uint32_t>(text.size()), lines.data(), kText + kLines, kLine));
        lines[size++] = '\n';
        if (!write(lines.data(), size))
            return fail("cannot write");
    }
    return std::ferror(input) ? fail("cannot read") : EXIT_SUCCESS;
}

int decode(FILE *input) {
    static std::array<char, kText> text;
    std::vector<uint8_t> bytes;
    vela::base64::decoder decoder;
    while (const size_t count = read(input, text)) {
        bytes.clear();
        const bool good = decoder.push(std::string_view(text.data(), count), bytes);
        if (!write(bytes.data(), bytes.size()))
            return fail("cannot write");
        if (!good)
            return fail("the input is not Base64");
    }
    if (std::ferror(input))
        return fail("cannot read");
    return decoder.finish() ? EXIT_SUCCESS : fail("the input ends within a group of four characters");
}

} // namespace

int main(int argc, char **argv) {
    bool decoding = false;
    vela::options options(argc, argv, kOptions, "base64", "[options] [FILE]");
    while (options.next())
        decoding = true;
    if (const auto status = options.finish(0, 1))
        return *status;
    FILE *input = stdin;
    for (const char *name : options.operands())
        if (!(input = std::fopen(name, "rb"))) {
            std::fprintf(stderr, "base64: cannot open %s\n", name);
            return EXIT_FAILURE;
        }
    const int status = decoding ? decode(input) : encode(input);
    return std::fflush(stdout) == 0 ? status : fail("cannot write");
}

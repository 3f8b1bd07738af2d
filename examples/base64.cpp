// Encodes a file or the standard input as lines of 76 characters, or decodes such text: a stream of any size, in
// constant memory.
#include "options.hpp"
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vela/base64.h>
#include <vela/text.h>

namespace {

constexpr cmdline_option kOptions[] = {
    {'d', "decode", "decode instead of encoding", 0},
    {},
};

constexpr uint32_t kLine = 76;
constexpr uint32_t kLines = 1024;
constexpr uint32_t kBytes = kLine / 4 * 3 * kLines; // what fills so many lines
constexpr uint32_t kText = kLine * kLines;

int usage() {
    cmdline_usage(kOptions, "base64", "[options] [FILE]");
    return EXIT_FAILURE;
}

int fail(const char *what) {
    std::fprintf(stderr, "base64: %s\n", what);
    return EXIT_FAILURE;
}

bool write(const void *bytes, size_t count) { return std::fwrite(bytes, 1, count, stdout) == count; }

// Reads up to the wanted number of bytes; fewer only at the end.
template <class Buffer>
uint32_t read(FILE *input, Buffer &buffer, size_t from = 0) {
    return static_cast<uint32_t>(std::fread(buffer.data() + from, 1, buffer.size() - from, input));
}

int encode(FILE *input) {
    static std::array<uint8_t, kBytes> bytes;
    static std::array<char, kText> text;
    static std::array<char, kText + kLines> lines;
    while (const uint32_t count = read(input, bytes)) {
        const auto length = static_cast<uint32_t>(base64_encode(bytes.data(), count, text.data(), kText));
        auto size = static_cast<uint32_t>(chunk_split(text.data(), length, lines.data(), kText + kLines, kLine));
        lines[size++] = '\n';
        if (!write(lines.data(), size))
            return fail("cannot write");
    }
    return std::ferror(input) ? fail("cannot read") : EXIT_SUCCESS;
}

// The library's decoder passes over what is foreign; here only the ends of lines may be.
bool is_text(const char *text, uint32_t length) {
    static const auto allowed = [] {
        std::array<bool, 256> table = {};
        for (const char *ch = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=\r\n"; *ch; ++ch)
            table[static_cast<unsigned char>(*ch)] = true;
        return table;
    }();
    for (uint32_t i = 0; i < length; ++i)
        if (!allowed[static_cast<unsigned char>(text[i])])
            return false;
    return true;
}

// What is left undecided at the end of a piece moves to the front of the next.
int decode(FILE *input) {
    static std::array<char, kText> text;
    static std::array<uint8_t, kBytes> bytes;
    uint32_t waiting = 0;
    while (const uint32_t count = read(input, text, waiting)) {
        if (!is_text(text.data() + waiting, count))
            return fail("the input is no Base64");
        const char *cursor = text.data();
        waiting += count;
        const uint32_t size = base64_decode_stream(&cursor, waiting, bytes.data(), kBytes);
        if (!write(bytes.data(), size))
            return fail("cannot write");
        waiting -= static_cast<uint32_t>(cursor - text.data());
        std::memmove(text.data(), cursor, waiting);
    }
    if (std::ferror(input))
        return fail("cannot read");
    // A single end of a line is too little for the decoder to look at.
    const bool complete = waiting == 0 || (waiting == 1 && (text[0] == '\n' || text[0] == '\r'));
    return complete ? EXIT_SUCCESS : fail("the input ends within a group of four");
}

} // namespace

int main(int argc, char **argv) {
    bool decoding = false;
    while (next_option(argc, argv, kOptions, usage) >= 0)
        decoding = true;
    if (argc - cmdline_optidx > 1)
        return usage();
    FILE *input = stdin;
    if (cmdline_optidx < argc && !(input = std::fopen(argv[cmdline_optidx], "rb"))) {
        std::fprintf(stderr, "base64: cannot open %s\n", argv[cmdline_optidx]);
        return EXIT_FAILURE;
    }
    const int status = decoding ? decode(input) : encode(input);
    return std::fflush(stdout) == 0 ? status : fail("cannot write");
}

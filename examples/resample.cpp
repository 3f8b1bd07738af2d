// Converts a mono WAV file to another sample rate and sample format: 16-bit linear, A-law or mu-law on either side. The
// output begins where the input begins (the filter's delay is taken out) and lasts as long.
#include "options.hpp"
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>
#include <vela/cpp/resampler.hpp>

namespace {

constexpr cmdline_option kOptions[] = {
    {'r', "rate", "output rate in Hz (that of the input)", CMDLINE_REQUIRED},
    {'f', "format", "output samples: linear, alaw or ulaw (those of the input)", CMDLINE_REQUIRED},
    {'k', "kernel", "lan2 (the default), lanc or bili", CMDLINE_REQUIRED},
    {},
};

// The sample formats with what a WAV file says for them, and what is silent in them.
struct sample_format {
    const char *name;
    vela::resampler::format code;
    uint16_t wav_tag, bits;
    uint8_t silence;
};
constexpr sample_format kFormats[] = {
    {"linear", vela::resampler::format::little_endian, 1, 16, 0x00},
    {"alaw", vela::resampler::format::alaw, 6, 8, 0xD5},
    {"ulaw", vela::resampler::format::ulaw, 7, 8, 0xFF},
};

struct kernel {
    const char *name;
    vela::resampler::kernel code;
};
constexpr kernel kKernels[] = {{"lan2", vela::resampler::kernel::lanczos2},
                               {"lanc", vela::resampler::kernel::lanczos},
                               {"bili", vela::resampler::kernel::bilinear}};

constexpr uint32_t kBlock = 4096;             // samples read at once
constexpr uint32_t kUnknownSize = UINT32_MAX; // of a stream that can't be known beforehand

[[noreturn, gnu::format(printf, 1, 2)]] void fail(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::fputs("resample: ", stderr);
    std::vfprintf(stderr, format, arguments);
    std::fputc('\n', stderr);
    va_end(arguments);
    std::exit(EXIT_FAILURE);
}

template <class Entry, size_t count>
const Entry &find(const Entry (&table)[count], const char *name, const char *what) {
    for (const Entry &entry : table)
        if (std::strcmp(entry.name, name) == 0)
            return entry;
    fail("there is no %s \"%s\"", what, name);
}

// ---- WAV files

struct audio {
    uint32_t rate;
    const sample_format *format;
    uint32_t samples; // kUnknownSize if it ends where the file does

    uint32_t sample_size() const { return format->bits / 8U; }
};

// Little-endian numbers.
uint32_t number(const uint8_t *from, int bytes) {
    uint32_t value = 0;
    while (bytes--)
        value = value << 8 | from[bytes];
    return value;
}

void append(std::vector<uint8_t> &to, uint32_t value, int bytes) {
    for (; bytes--; value >>= 8)
        to.push_back(static_cast<uint8_t>(value));
}

void append(std::vector<uint8_t> &to, const char *text) { to.insert(to.end(), text, text + std::strlen(text)); }

class wav_reader {
public:
    audio sound;

    explicit wav_reader(const char *path) : name(path) {
        if (std::strcmp(path, "-") == 0) {
            file.reset(stdin);
            name = "standard input";
        } else {
            file.reset(std::fopen(path, "rb"));
        }
        if (!file)
            fail("%s: %s", name, std::strerror(errno));
        read_header();
    }

    // Reads the next samples, fewer than wanted only at the end of the sound.
    uint32_t read(uint8_t *samples, uint32_t wanted) {
        const bool has_size = sound.samples != kUnknownSize;
        if (has_size)
            wanted = std::min(wanted, sound.samples - taken);
        const auto got = static_cast<uint32_t>(std::fread(samples, sound.sample_size(), wanted, file.get()));
        if (std::ferror(file.get()))
            fail("%s: %s", name, std::strerror(errno));
        if (got < wanted && has_size)
            fail("%s is truncated: %u of %u samples are there", name, taken + got, sound.samples);
        taken += got;
        return got;
    }

private:
    const char *name;
    std::unique_ptr<FILE, int (*)(FILE *)> file{nullptr, std::fclose};
    uint32_t taken = 0;

    void read_bytes(uint8_t *bytes, size_t count) {
        if (std::fread(bytes, 1, count, file.get()) != count)
            fail("%s ends within the header of a WAV file", name);
    }

    void skip(uint32_t count) {
        uint8_t ignored[256];
        for (uint32_t part; count; count -= part)
            read_bytes(ignored, part = std::min<uint32_t>(count, sizeof ignored));
    }

    void read_header() {
        uint8_t header[12];
        if (std::fread(header, 1, sizeof header, file.get()) != sizeof header || std::memcmp(header, "RIFF", 4) != 0 ||
            std::memcmp(header + 8, "WAVE", 4) != 0)
            fail("%s is no WAV file", name);
        sound.format = nullptr;
        for (;;) {
            uint8_t chunk[8];
            read_bytes(chunk, sizeof chunk);
            const uint32_t size = number(chunk + 4, 4);
            if (std::memcmp(chunk, "data", 4) == 0)
                return begin_data(size);
            if (std::memcmp(chunk, "fmt ", 4) == 0)
                read_format(size);
            else
                skip(size + size % 2);
        }
    }

    void read_format(uint32_t size) {
        uint8_t format[16];
        if (size < sizeof format)
            fail("%s has a broken header", name);
        read_bytes(format, sizeof format);
        skip(size + size % 2 - uint32_t{sizeof format});
        const uint32_t tag = number(format, 2), channels = number(format + 2, 2), bits = number(format + 14, 2);
        sound.rate = number(format + 4, 4);
        for (const sample_format &known : kFormats)
            if (known.wav_tag == tag && known.bits == bits)
                sound.format = &known;
        if (!sound.format)
            fail("%s has samples of another format (WAV tag %u, %u bits)", name, tag, bits);
        if (channels != 1)
            fail("%s is not mono, it has %u channels", name, channels);
        if (sound.rate == 0)
            fail("%s has no sample rate", name);
    }

    void begin_data(uint32_t size) {
        if (!sound.format)
            fail("%s has a broken header", name);
        // Programs that write to a pipe claim as much as they dare.
        constexpr uint32_t claimed = 0x7FFFF000;
        sound.samples = size == 0 || size >= claimed ? kUnknownSize : size / sound.sample_size();
    }
};

class wav_writer {
public:
    wav_writer(const char *path, const audio &what) : sound(what), name(path) {
        if (std::strcmp(path, "-") == 0) {
            file.reset(stdout);
            name = "standard output";
        } else {
            file.reset(std::fopen(path, "wb"));
        }
        if (!file)
            fail("%s: %s", name, std::strerror(errno));
        write_header();
    }

    void write(const uint8_t *samples, uint32_t count) {
        write_bytes(samples, size_t{count} * sound.sample_size());
        written += count;
    }

    // Ends the file, with its true length in the header where that can still be written.
    void finish() {
        if (written * sound.sample_size() % 2)
            write_bytes(reinterpret_cast<const uint8_t *>(""), 1);
        if (written != sound.samples && std::fseek(file.get(), 0, SEEK_SET) == 0) {
            sound.samples = written;
            write_header();
        }
        if (std::fclose(file.release()) != 0)
            fail("%s: %s", name, std::strerror(errno));
    }

private:
    audio sound;
    const char *name;
    std::unique_ptr<FILE, int (*)(FILE *)> file{nullptr, std::fclose};
    uint32_t written = 0;

    void write_bytes(const uint8_t *bytes, size_t count) {
        if (std::fwrite(bytes, 1, count, file.get()) != count)
            fail("%s: %s", name, std::strerror(errno));
    }

    // G.711 has an (empty) extension of the format and a chunk with the number of samples.
    void write_header() {
        const uint32_t sample_size = sound.sample_size();
        const bool is_linear = sound.format->code == vela::resampler::format::little_endian,
                   has_size = sound.samples != kUnknownSize;
        const uint32_t data_size = has_size ? sound.samples * sample_size : kUnknownSize;
        std::vector<uint8_t> header;
        append(header, "WAVEfmt ");
        append(header, is_linear ? 16 : 18, 4);
        append(header, sound.format->wav_tag, 2);
        append(header, 1, 2);
        append(header, sound.rate, 4);
        append(header, sound.rate * sample_size, 4);
        append(header, sample_size, 2);
        append(header, sound.format->bits, 2);
        if (!is_linear) {
            append(header, 0, 2);
            append(header, "fact");
            append(header, 4, 4);
            append(header, sound.samples, 4);
        }
        append(header, "data");
        append(header, data_size, 4);

        std::vector<uint8_t> riff;
        append(riff, "RIFF");
        append(riff, has_size ? static_cast<uint32_t>(header.size()) + data_size + data_size % 2 : kUnknownSize, 4);
        riff.insert(riff.end(), header.begin(), header.end());
        write_bytes(riff.data(), riff.size());
    }
};

// ---- The conversion

// Shows on a terminal how far a work has come that lasts longer than a second.
class progress {
public:
    explicit progress(uint32_t all) : total(all), is_shown(all != kUnknownSize && isatty(STDERR_FILENO)) {}
    ~progress() {
        if (has_begun)
            std::fputc('\n', stderr);
    }
    void at(uint32_t done) {
        const auto now = std::chrono::steady_clock::now();
        if (!is_shown || now < next)
            return;
        std::fprintf(stderr, "\rresample: %u %%", static_cast<unsigned>(uint64_t{done} * 100 / total));
        has_begun = true;
        next = now + std::chrono::milliseconds(200);
    }

private:
    uint32_t total;
    bool is_shown, has_begun = false;
    std::chrono::steady_clock::time_point next = std::chrono::steady_clock::now() + std::chrono::seconds(1);
};

// What as many inputs last in output samples; not so many come out of them, since the output is late.
uint32_t length_of(const vela::resampler &resampler, uint64_t inputs) {
    const uint64_t up = resampler.get()->interp_factor, down = resampler.get()->decim_factor;
    return static_cast<uint32_t>((inputs * up + down - 1) / down);
}

void convert(wav_reader &from, wav_writer &to, vela::resampler &resampler, const sample_format &out_format) {
    const sample_format &in_format = *from.sound.format;
    const uint32_t in_size = in_format.bits / 8U, out_size = out_format.bits / 8U;
    std::vector<uint8_t> in(kBlock * in_size), out;
    progress shown(from.sound.samples);

    // So many outputs come too early, and at the end so many more are made from silence.
    auto too_early = static_cast<uint32_t>(std::lround(resampler.latency()));
    uint32_t taken = 0, made_in_all = 0;
    for (bool at_end = false; !at_end || made_in_all < length_of(resampler, taken);) {
        const uint32_t got = at_end ? 0 : from.read(in.data(), kBlock);
        std::fill(in.begin() + got * in_size, in.end(), in_format.silence);
        at_end = got < kBlock;
        taken += got;

        out.clear();
        if (!resampler.push(in, in_format.code, out, out_format.code))
            fail("samples are not whole");
        const auto made = static_cast<uint32_t>(out.size() / out_size), dropped = std::min(made, too_early);
        too_early -= dropped;
        const uint32_t kept = std::min(made - dropped, length_of(resampler, taken) - made_in_all);
        to.write(out.data() + dropped * out_size, kept);
        made_in_all += kept;
        shown.at(taken);
    }
}

int usage() {
    cmdline_usage(kOptions, "resample", "[options] IN OUT   (WAV files; - for the standard streams)");
    return EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv) {
    const char *rate = nullptr, *format = nullptr, *kernel_name = "lan2";
    for (int option; (option = next_option(argc, argv, kOptions, usage)) >= 0;)
        switch (option) {
        case 'r':
            rate = cmdline_optarg;
            break;
        case 'f':
            format = cmdline_optarg;
            break;
        case 'k':
            kernel_name = cmdline_optarg;
            break;
        default:
            break;
        }
    if (argc - cmdline_optidx != 2)
        return usage();

    const kernel &kernel = find(kKernels, kernel_name, "kernel");
    const sample_format *out_format = format ? &find(kFormats, format, "format") : nullptr;
    char *end = nullptr;
    const unsigned long out_rate = rate ? std::strtoul(rate, &end, 10) : 0;
    if (rate && (*end || out_rate == 0 || out_rate > 1000000))
        fail("\"%s\" is no sample rate", rate);

    wav_reader from(argv[cmdline_optidx]);
    audio sound = from.sound;
    sound.rate = rate ? static_cast<uint32_t>(out_rate) : from.sound.rate;
    sound.format = out_format ? out_format : from.sound.format;
    auto resampler = vela::resampler::make(sound.rate, from.sound.rate, kernel.code);
    if (!resampler)
        fail("no filter can be made from %u to %u Hz", from.sound.rate, sound.rate);
    if (sound.samples != kUnknownSize)
        sound.samples = length_of(*resampler, sound.samples);

    wav_writer to(argv[cmdline_optidx + 1], sound);
    convert(from, to, *resampler, *sound.format);
    to.finish();
    return EXIT_SUCCESS;
}

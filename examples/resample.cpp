// Converts a mono WAV file to another sample rate and format: 16-bit linear, A-law or mu-law. The latency of the filter
// is removed, and the output is as long as the input.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>
#include <vela/cpp/options.hpp>
#include <vela/cpp/resampler.hpp>

namespace {

constexpr cmdline_option kOptions[] = {
    {'r', "rate", "output rate in Hz (as the input)", CMDLINE_REQUIRED},
    {'f', "format", "output samples: linear, alaw or ulaw (as the input)", CMDLINE_REQUIRED},
    {'l', "lobes", "lobes of the kernel, 1 to 64 (16)", CMDLINE_REQUIRED},
    {},
};

// The formats, their codes in a WAV file, and silence.
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

constexpr uint32_t kBlock = 4096;             // samples per read
constexpr uint32_t kUnknownSize = UINT32_MAX; // of a stream

[[noreturn, gnu::format(printf, 1, 2)]] void fail(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::fputs("resample: ", stderr);
    std::vfprintf(stderr, format, arguments);
    std::fputc('\n', stderr);
    va_end(arguments);
    std::exit(EXIT_FAILURE);
}

const sample_format *format_named(const char *name) {
    for (const sample_format &format : kFormats)
        if (std::strcmp(format.name, name) == 0)
            return &format;
    return nullptr;
}

// ---- WAV files

struct audio {
    uint32_t rate;
    const sample_format *format;
    uint32_t samples; // or kUnknownSize

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

using file_owner = std::unique_ptr<FILE, int (*)(FILE *)>;

// "-" is a standard stream.
file_owner open_file(const char *&name, const char *mode) {
    const bool is_stream = std::strcmp(name, "-") == 0, reads = *mode == 'r';
    file_owner file(is_stream ? reads ? stdin : stdout : std::fopen(name, mode), std::fclose);
    if (!file)
        fail("%s: %s", name, std::strerror(errno));
    if (is_stream)
        name = reads ? "standard input" : "standard output";
    return file;
}

class wav_reader {
public:
    audio sound;

    explicit wav_reader(const char *path) : name(path) { read_header(); }

    // Reads `count` samples, or less at the end.
    uint32_t read(uint8_t *samples, uint32_t count) {
        const bool has_size = sound.samples != kUnknownSize;
        if (has_size)
            count = std::min(count, sound.samples - taken);
        const auto got = static_cast<uint32_t>(std::fread(samples, sound.sample_size(), count, file.get()));
        if (std::ferror(file.get()))
            fail("%s: %s", name, std::strerror(errno));
        if (got < count && has_size)
            fail("%s is truncated: it has %u of %u samples", name, taken + got, sound.samples);
        taken += got;
        return got;
    }

private:
    const char *name;
    file_owner file = open_file(name, "rb");
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
            fail("%s is not a WAV file", name);
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
            fail("%s has an unknown sample format (WAV tag %u, %u bits)", name, tag, bits);
        if (channels != 1)
            fail("%s is not mono, it has %u channels", name, channels);
        if (sound.rate == 0)
            fail("%s has no sample rate", name);
    }

    void begin_data(uint32_t size) {
        if (!sound.format)
            fail("%s has a broken header", name);
        // Programs that write to a pipe give 0 or a huge size.
        constexpr uint32_t huge = 0x7FFFF000;
        sound.samples = size == 0 || size >= huge ? kUnknownSize : size / sound.sample_size();
    }
};

class wav_writer {
public:
    wav_writer(const char *path, const audio &what) : sound(what), name(path) { write_header(); }

    void write(const uint8_t *samples, uint32_t count) {
        write_bytes(samples, size_t{count} * sound.sample_size());
        written += count;
    }

    // Closes the file, and corrects the length in the header if that is possible.
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
    file_owner file = open_file(name, "wb");
    uint32_t written = 0;

    void write_bytes(const uint8_t *bytes, size_t count) {
        if (std::fwrite(bytes, 1, count, file.get()) != count)
            fail("%s: %s", name, std::strerror(errno));
    }

    // G.711 needs an (empty) extension of the format and a chunk with the number of samples.
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

// The length of the inputs in output samples.
uint32_t length_of(const vela::resampler &resampler, uint64_t inputs) {
    const uint64_t up = resampler.get()->interp_factor, down = resampler.get()->decim_factor;
    return static_cast<uint32_t>((inputs * up + down - 1) / down);
}

void convert(wav_reader &from, wav_writer &to, vela::resampler &resampler, const sample_format &out_format) {
    const sample_format &in_format = *from.sound.format;
    const uint32_t in_size = in_format.bits / 8U, out_size = out_format.bits / 8U;
    std::vector<uint8_t> in(kBlock * in_size), out;

    // The first outputs are the latency; silence at the end makes up for them.
    auto latency = static_cast<uint32_t>(std::lround(resampler.latency()));
    uint32_t taken = 0, made_in_all = 0;
    for (bool at_end = false; !at_end || made_in_all < length_of(resampler, taken);) {
        const uint32_t got = at_end ? 0 : from.read(in.data(), kBlock);
        std::fill(in.begin() + got * in_size, in.end(), in_format.silence);
        at_end = got < kBlock;
        taken += got;

        out.clear();
        if (!resampler.push(in, in_format.code, out, out_format.code))
            fail("incomplete samples");
        const auto made = static_cast<uint32_t>(out.size() / out_size), dropped = std::min(made, latency);
        latency -= dropped;
        const uint32_t kept = std::min(made - dropped, length_of(resampler, taken) - made_in_all);
        to.write(out.data() + dropped * out_size, kept);
        made_in_all += kept;
    }
}

} // namespace

int main(int argc, char **argv) {
    vela::options options(argc, argv, kOptions, "resample",
                          "[options] IN OUT   (WAV files; - for the standard streams)");
    uint32_t rate = 0, lobes = 16;
    const sample_format *format = nullptr;
    while (const int option = options.next())
        switch (option) {
        case 'r':
            options.read(rate, 1, 1000000);
            break;
        case 'f':
            format = format_named(options.value());
            if (!format)
                options.reject("linear, alaw or ulaw");
            break;
        default:
            options.read(lobes, 1, 64);
        }
    if (const auto status = options.finish(2, 2))
        return *status;

    wav_reader from(options.operands()[0]);
    audio sound = from.sound;
    sound.rate = rate ? rate : from.sound.rate;
    sound.format = format ? format : from.sound.format;
    auto resampler = vela::resampler::with_lobes(sound.rate, from.sound.rate, lobes);
    if (!resampler)
        fail("no filter from %u to %u Hz", from.sound.rate, sound.rate);
    if (sound.samples != kUnknownSize)
        sound.samples = length_of(*resampler, sound.samples);

    wav_writer to(options.operands()[1], sound);
    convert(from, to, *resampler, *sound.format);
    to.finish();
    return EXIT_SUCCESS;
}

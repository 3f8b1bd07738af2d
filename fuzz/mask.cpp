// vela-mask: hostile masks, lenses, tables and streams. What is written is whole pictures of the right size.
#include "fuzz.hpp"
#include "run.hpp"
#include <cstring>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Files in memory, made once.
int file_of(int file, const std::string &text) {
    assert(ftruncate(file, 0) == 0);
    assert(pwrite(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
    assert(lseek(file, 0, SEEK_SET) == 0);
    return file;
}

// Pictures that a fuzzer has the time for.
bool is_small(const std::string &stream) {
    try {
        const auto picture = y4m::parse_header(std::string_view(stream).substr(0, stream.find('\n'))).picture;
        return int64_t{picture.width} * picture.height < 100000;
    } catch (const std::runtime_error &) {
        return true;
    }
}

void mask(const std::string &stream, masking how) {
    static const int in = memfd_create("in", 0), out = memfd_create("out", 0);
    size_t size = 0, header = 0;
    try {
        y4m::stream pictures(file_of(in, stream), file_of(out, {}));
        vela_picture picture = pictures.about().picture;
        size = vela_picture_lay_out(&picture, nullptr, 0);
        header = pictures.about().line.size();
        if (how.lens.fx == 0)
            how.lens = vela_lens_of_fov(how.lens.model, picture.width, picture.height, 70);
        (void)mask_stream(pictures, how, [](long) {});
    } catch (const std::runtime_error &) {
    }
    // Headers and whole pictures, with their lines.
    struct stat about = {};
    assert(fstat(out, &about) == 0);
    const auto written = static_cast<size_t>(about.st_size);
    assert(written == 0 || written >= header);
    assert(written <= stream.size());
    assert(written == 0 || written == header || written - header > size);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const int what = data.ConsumeIntegralInRange(0, 3);
    masking how = {{}, {}, settings::track({}), 0, data.ConsumeIntegralInRange(0, 9) / 50.0, {}};
    how.cover.style = data.ConsumeIntegralInRange(0, 2);
    how.cover.size = data.ConsumeIntegralInRange(2, 40);
    how.lens.model = data.ConsumeIntegralInRange(0, 2);
    const std::string stream = "YUV4MPEG2 W17 H9 F25:1 C420\nFRAME\n" + std::string(17 * 9 + 90, 'x') + "FRAME\n" +
                               std::string(17 * 9 + 90, 'y');
    const std::string text = data.ConsumeRemainingBytesAsString();
    how.masks = settings::read_masks("[{\"corners\": [[-9, 5], [8, 4], [3, -7]]}]", "masks");
    try {
        if (what == 0)
            how.masks = settings::read_masks(text, "masks");
        else if (what == 1)
            how.lens = settings::read_lens(text, "lens", 17, 9);
        else if (what == 2)
            how.track = settings::track(text, "track");
    } catch (const std::runtime_error &) {
        return 0;
    }
    const std::string &input = what == 3 ? text : stream;
    if (is_small(input))
        mask(input, std::move(how));
    return 0;
}

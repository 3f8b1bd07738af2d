// vela-mask: hides masks in a stream of pictures from a moving camera.
#include "run.hpp"
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <unistd.h>
#include <vela/cmdline.h>
#include <vela/version.h>

namespace {

constexpr cmdline_option kOptions[] = {
    {'h', "help", nullptr, 0},
    {'m', "masks", "masks as JSON, as the camera's /api/mask has them", CMDLINE_REQUIRED},
    {'l', "lens", "the lens as JSON, by OpenCV's names", CMDLINE_REQUIRED},
    {'M', "model", "a lens without distortion: pinhole (default), fisheye or axes", CMDLINE_REQUIRED},
    {'f', "fov", "the degrees that its width spans", CMDLINE_REQUIRED},
    {'p', "pan", "where the camera looks, in degrees", CMDLINE_REQUIRED},
    {'t', "tilt", "above the horizon", CMDLINE_REQUIRED},
    {'r', "roll", "around the optical axis", CMDLINE_REQUIRED},
    {'P', "positions", "a table of positions: t,pan,tilt[,roll][,fov][,zoom]", CMDLINE_REQUIRED},
    {'L', "late", "pictures may show positions of up to that time later: 40ms", CMDLINE_REQUIRED},
    {'E', "early", "pictures may show positions of up to that time earlier", CMDLINE_REQUIRED},
    {'c', "colour", "the colour of masks as RRGGBB, black by default", CMDLINE_REQUIRED},
    {'b', "blocks", "squares of that many pixels instead of a colour", CMDLINE_REQUIRED},
    {'B', "blur", "shades as coarse as such squares", CMDLINE_REQUIRED},
    {'q', "quiet", "no line of progress", 0},
    {'V', "version", "the version", 0},
    {0, nullptr, nullptr, 0}};

struct arguments {
    std::string masks, lens, positions, model = "pinhole";
    std::optional<double> fov;
    settings::position at = {};
    double early = 0, late = 0;
    vela_cover cover = {};
    bool is_quiet = false;
};

double number_of(const char *name, std::string_view text) {
    double number = 0;
    const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (status != std::errc() || end != text.data() + text.size() || !std::isfinite(number))
        throw std::runtime_error(std::string("--") + name + ": expected a number, not \"" + std::string(text) + '"');
    return number;
}

// Seconds, or with a unit: 0.04, 0.04s, 40ms.
double seconds_of(const char *name, std::string_view text) {
    const double unit = text.ends_with("ms") ? 1e-3 : 1;
    if (text.ends_with("s"))
        text.remove_suffix(unit < 1 ? 2 : 1);
    const double seconds = number_of(name, text) * unit;
    if (seconds < 0 || seconds > 60)
        throw std::runtime_error(std::string("--") + name + ": expected 0 to 60 seconds");
    return seconds;
}

vela_rgb colour_of(std::string_view text) {
    unsigned value = 0;
    const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (status != std::errc() || end != text.data() + text.size() || text.size() != 6)
        throw std::runtime_error("--colour: expected RRGGBB");
    return {static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

vela_cover squares(const char *name, int32_t style) {
    const double size = number_of(name, cmdline_optarg);
    if (size < 2 || size >= 65536 || size != std::floor(size))
        throw std::runtime_error(std::string("--") + name + ": expected 2 to 65535");
    return {style, static_cast<int32_t>(size), {}};
}

std::string text_of(const std::string &name) {
    std::ifstream file(name, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file)
        throw std::runtime_error(name + ": cannot be read");
    return text;
}

void usage() { cmdline_usage(kOptions + 1, "vela-mask", "-m MASKS [options] <pictures >masked"); }

// Takes the options; a status instead where the program is to end.
std::optional<int> take_options(int argc, char **argv, arguments &a) {
    for (;;) {
        const int32_t before = cmdline_optidx;
        switch (const int option = cmdline_getopt(argc, argv, kOptions)) {
        case -1:
            if (cmdline_optidx < argc)
                throw std::runtime_error(std::string("unexpected argument: ") + argv[cmdline_optidx]);
            return std::nullopt;
        case 'h':
            usage();
            return EXIT_SUCCESS;
        case 'V':
            std::puts("vela-mask " VELA_VERSION);
            return EXIT_SUCCESS;
        case 'm':
            a.masks = cmdline_optarg;
            break;
        case 'l':
            a.lens = cmdline_optarg;
            break;
        case 'M':
            a.model = cmdline_optarg;
            break;
        case 'f':
            a.fov = number_of("fov", cmdline_optarg);
            break;
        case 'p':
            a.at.where.pan = number_of("pan", cmdline_optarg);
            break;
        case 't':
            a.at.where.tilt = number_of("tilt", cmdline_optarg);
            break;
        case 'r':
            a.at.where.roll = number_of("roll", cmdline_optarg);
            break;
        case 'P':
            a.positions = cmdline_optarg;
            break;
        case 'L':
            a.late = seconds_of("late", cmdline_optarg);
            break;
        case 'E':
            a.early = seconds_of("early", cmdline_optarg);
            break;
        case 'c':
            a.cover = {VELA_SOLID, 0, colour_of(cmdline_optarg)};
            break;
        case 'b':
            a.cover = squares("blocks", VELA_BLOCKS);
            break;
        case 'B':
            a.cover = squares("blur", VELA_BLUR);
            break;
        case 'q':
            a.is_quiet = true;
            break;
        default:
            // 0 is an operand, which was moved, or an option without its value.
            if (option == '?' || cmdline_optidx != before) {
                usage();
                return 2;
            }
        }
    }
}

masking settings_of(const arguments &a, const vela_picture &picture) {
    if (a.masks.empty())
        throw std::runtime_error("no masks: use --masks FILE");
    masking made = {
        settings::read_masks(text_of(a.masks), a.masks), {}, settings::track(a.at), a.early, a.late, a.cover};
    const int32_t model = a.model == "pinhole"   ? VELA_LENS_PINHOLE
                          : a.model == "fisheye" ? VELA_LENS_FISHEYE
                          : a.model == "axes"    ? VELA_LENS_AXES
                                                 : -1;
    if (model < 0)
        throw std::runtime_error("--model: expected pinhole, fisheye or axes");
    if (!a.lens.empty())
        made.lens = settings::read_lens(text_of(a.lens), a.lens, picture.width, picture.height);
    else
        made.lens = vela_lens_of_fov(model, picture.width, picture.height, a.fov.value_or(0));
    if (!a.positions.empty())
        made.track = settings::track(text_of(a.positions), a.positions);
    if (!made.track.has_fov() && a.lens.empty() && !a.fov)
        throw std::runtime_error("no lens: use --lens FILE, --fov DEGREES or a table with a column fov");
    return made;
}

// Pictures a second, on a line of the terminal that is written again twice a second.
class progress {
public:
    explicit progress(bool is_shown) : is_shown_(is_shown), start_(now()), next_(start_ + kEvery) {}

    void operator()(long count) {
        if (!is_shown_ || now() < next_)
            return;
        next_ = now() + kEvery;
        std::fprintf(stderr, "\r%ld pictures, %.1f a second ", count, static_cast<double>(count) / (now() - start_));
        is_begun_ = true;
    }
    void end() const {
        if (is_begun_)
            std::fputc('\n', stderr);
    }

private:
    static constexpr double kEvery = 0.5;

    static double now() {
        timespec time = {};
        clock_gettime(CLOCK_MONOTONIC, &time);
        return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
    }

    bool is_shown_, is_begun_ = false;
    double start_, next_;
};

int run(int argc, char **argv) {
    arguments given;
    if (const auto status = take_options(argc, argv, given))
        return *status;
    if (isatty(STDOUT_FILENO))
        throw std::runtime_error("standard output is a terminal");
    // Larger pipes hold larger parts of a picture; where there are none, it goes on as it is.
    for (const int file : {STDIN_FILENO, STDOUT_FILENO})
        (void)fcntl(file, F_SETPIPE_SZ, 1 << 20);
    y4m::stream pictures(STDIN_FILENO, STDOUT_FILENO);
    const masking how = settings_of(given, pictures.about().picture);
    progress shown(!given.is_quiet && isatty(STDERR_FILENO));
    const bool is_read = mask_stream(pictures, how, [&](long count) { shown(count); });
    shown.end();
    return is_read ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception &wrong) {
        std::fprintf(stderr, "vela-mask: %s\n", wrong.what());
        return EXIT_FAILURE;
    }
}

// Reads the picture and the sound of a source by ffmpeg, and keeps them in memory for the camera's programs: see
// ../device/feed_layout.hpp. A source that ends or stalls is tried again, after a pause that grows to half a minute.
#include "../device/feed_layout.hpp"
#include "settings.hpp"
#include <bit>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>
#include <vela/cmdline.h>

namespace {

using namespace std::chrono_literals;

constexpr int kMostWidth = 4096;

struct options {
    std::string video, sound, lens, directory;
    feed::projection by = feed::projection::equirectangular;
    double fov = 0; // degrees, instead of a lens
    vela_orientation where = {};
};

// Why a source is read no longer.
struct trouble : std::runtime_error {
    using std::runtime_error::runtime_error;
};

int64_t uptime() {
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

// ---- ffmpeg

using arguments = std::vector<std::string>;

bool is_file(const std::string &source) {
    struct stat about = {};
    return stat(source.c_str(), &about) == 0 && S_ISREG(about.st_mode);
}

// A file again and again, at its own speed; a device by its kind.
arguments input_of(const std::string &source) {
    constexpr std::string_view kAlsa = "alsa:";
    if (source.starts_with(kAlsa))
        return {"-f", "alsa", "-i", source.substr(kAlsa.size())};
    if (source.starts_with("/dev/"))
        return {"-f", "v4l2", "-i", source};
    if (is_file(source))
        return {"-re", "-stream_loop", "-1", "-i", "file:" + source};
    if (source.starts_with("rtsp:"))
        return {"-rtsp_transport", "tcp", "-i", source};
    return {"-i", source};
}

// ffmpeg, whose output is read. It ends with this program.
class process {
public:
    explicit process(const arguments &input, const arguments &output) {
        arguments all = {"ffmpeg", "-nostdin", "-v", "error"};
        all.insert(all.end(), input.begin(), input.end());
        all.insert(all.end(), output.begin(), output.end());
        std::vector<char *> pointers;
        for (std::string &each : all)
            pointers.push_back(each.data());
        pointers.push_back(nullptr);
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw trouble("no pipe");
        constexpr int kPipe = 1 << 20;
        fcntl(ends[1], F_SETPIPE_SZ, kPipe);
        id_ = fork();
        if (id_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(ends[1], STDOUT_FILENO);
            execvp("ffmpeg", pointers.data());
            _exit(127);
        }
        close(ends[1]);
        output_ = ends[0];
    }
    ~process() {
        close(output_);
        kill(id_, SIGKILL);
        waitpid(id_, nullptr, 0);
    }
    process(const process &) = delete;
    process &operator=(const process &) = delete;

    // Some bytes, at least one.
    size_t read_some(void *to, size_t count) const {
        constexpr int kStalled = 10000; // milliseconds
        pollfd waiting = {output_, POLLIN, 0};
        if (poll(&waiting, 1, kStalled) == 0)
            throw trouble("nothing has come for 10 seconds");
        const ssize_t got = ::read(output_, to, count);
        if (got <= 0)
            throw trouble("it has ended");
        return static_cast<size_t>(got);
    }
    void read(void *to, size_t count) const {
        for (auto *at = static_cast<uint8_t *>(to); count > 0;) {
            const size_t got = read_some(at, count);
            at += got;
            count -= got;
        }
    }
    std::string read_line() const {
        std::string line;
        for (char next = 0;; line += next) {
            read(&next, 1);
            if (next == '\n')
                return line;
            if (line.size() > 1000)
                throw trouble("no YUV4MPEG2");
        }
    }

private:
    pid_t id_ = 0;
    int output_ = -1;
};

// ---- Files in memory

// A new file in the place of the old one, which programs may still read.
class file {
public:
    file(const std::string &path, size_t size) : size_(size) {
        const std::string fresh = path + ".new";
        unlink(fresh.c_str());
        const int made = open(fresh.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        void *const mapped = made >= 0 && posix_fallocate(made, 0, static_cast<off_t>(size)) == 0
                                 ? mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, made, 0)
                                 : MAP_FAILED;
        close(made);
        if (mapped == MAP_FAILED)
            throw trouble("no memory for " + path);
        bytes = static_cast<uint8_t *>(mapped);
        path_ = path;
    }
    ~file() { munmap(bytes, size_); }
    file(const file &) = delete;
    file &operator=(const file &) = delete;

    void publish() const {
        if (rename((path_ + ".new").c_str(), path_.c_str()) != 0)
            throw trouble(path_ + ": " + std::strerror(errno));
    }

    uint8_t *bytes = nullptr;

private:
    size_t size_;
    std::string path_;
};

// ---- Pictures

// The number after a letter in "YUV4MPEG2 W1280 H720 ...".
int field_of(const std::string &head, char name) {
    const size_t at = head.find(std::string(" ") + name);
    return at == std::string::npos ? 0 : std::atoi(&head[at + 2]);
}

vela_lens lens_of(const options &all, int width, int height) {
    if (all.lens.empty()) {
        const bool is_fisheye = all.by == feed::projection::fisheye;
        return vela_lens_of_fov(is_fisheye ? VELA_LENS_FISHEYE : VELA_LENS_PINHOLE, width, height, all.fov);
    }
    std::ifstream text(all.lens);
    const std::string json((std::istreambuf_iterator<char>(text)), {});
    const vela_lens lens = settings::read_lens(json, all.lens, width, height);
    if ((lens.model == VELA_LENS_FISHEYE) != (all.by == feed::projection::fisheye))
        throw std::runtime_error(all.lens + ": the lens is of the other model than --projection says");
    return lens;
}

// Planes of 4:2:2 into pairs of pixels.
void pack(const std::vector<uint8_t> &planes, size_t pairs, uint8_t *to) {
    const uint8_t *const y = planes.data(), *const cb = y + 2 * pairs, *const cr = cb + pairs;
    for (size_t i = 0; i < pairs; ++i) {
        to[4 * i] = cb[i];
        to[4 * i + 1] = y[2 * i];
        to[4 * i + 2] = cr[i];
        to[4 * i + 3] = y[2 * i + 1];
    }
}

void read_video(const options &all) {
    const std::string most = std::to_string(kMostWidth);
    const bool is_panorama = all.by == feed::projection::equirectangular;
    const std::string size = is_panorama ? "w=trunc(min(iw\\," + most + ")/4)*4:h=ow/2"
                                         : "w=trunc(min(iw\\," + most + ")/2)*2:h=trunc(ih*ow/iw)";
    const process ffmpeg(input_of(all.video),
                         {"-map", "0:v:0", "-fpsmax", "25", "-vf",
                          "scale=" + size + ":out_color_matrix=bt601:out_range=full,format=yuv422p", "-strict", "-1",
                          "-f", "yuv4mpegpipe", "-"});
    const std::string head = ffmpeg.read_line();
    feed::video_file shape = {};
    shape.width = field_of(head, 'W');
    shape.height = field_of(head, 'H');
    shape.by = all.by;
    shape.where = all.where;
    if (!head.starts_with("YUV4MPEG2 ") || shape.width < 4 || shape.height < 2 || shape.width > kMostWidth ||
        shape.height > kMostWidth || head.find(" C422") == std::string::npos)
        throw trouble("pictures that cannot be read: " + head);
    if (!is_panorama)
        shape.lens = lens_of(all, shape.width, shape.height);

    const file memory(all.directory + "/video", shape.file_size());
    auto *const shared =
        new (memory.bytes) feed::video_file{shape.width, shape.height, shape.by, shape.lens, shape.where, {}, {}};
    std::vector<uint8_t> planes(shape.frame_size());
    for (uint64_t n = 0;; ++n) {
        if (!ffmpeg.read_line().starts_with("FRAME"))
            throw trouble("no YUV4MPEG2");
        ffmpeg.read(planes.data(), planes.size());
        pack(planes, planes.size() / 4, memory.bytes + shape.place_of(n));
        shared->time = uptime();
        shared->count.store(n + 1, std::memory_order_release);
        if (n == 0) {
            memory.publish();
            std::fprintf(stderr, "camera: pictures of %d x %d come from %s\n", shape.width, shape.height,
                         all.video.c_str());
        }
    }
}

// ---- Sound

void read_sound(const options &all, const file &memory) {
    constexpr const char *kFormat = std::endian::native == std::endian::little ? "s16le" : "s16be";
    const process ffmpeg(input_of(all.sound), {"-map", "0:a:0", "-ac", "1", "-ar",
                                               std::to_string(feed::sound_file::kRate), "-f", kFormat, "-"});
    auto *const shared = reinterpret_cast<feed::sound_file *>(memory.bytes);
    auto *const samples = reinterpret_cast<int16_t *>(memory.bytes + feed::kPage);
    constexpr size_t kPiece = feed::sound_file::kRate / 100;
    int16_t piece[kPiece];
    for (uint64_t n = shared->count;;) {
        ffmpeg.read(piece, sizeof piece);
        for (const int16_t each : piece)
            samples[n++ % feed::sound_file::kSamples] = each;
        shared->time = uptime();
        shared->count.store(n, std::memory_order_release);
    }
}

// ---- The program

// Reads again and again.
template <class Read>
void keep_reading(const char *what, Read &&read) {
    constexpr auto kShortest = 1s, kLongest = 30s, kGood = 10s;
    for (auto pause = kShortest;; pause = std::min(2 * pause, kLongest)) {
        const auto begun = std::chrono::steady_clock::now();
        try {
            read();
        } catch (const std::exception &reason) {
            if (std::chrono::steady_clock::now() - begun > kGood)
                pause = kShortest;
            std::fprintf(stderr, "camera: %s: %s; trying again in %lld s\n", what, reason.what(),
                         static_cast<long long>(pause.count()));
        }
        std::this_thread::sleep_for(pause);
    }
}

constexpr cmdline_option kOptions[] = {
    {'h', "help", nullptr, 0},
    {'v', "video", "a file, a URL or a device", CMDLINE_REQUIRED},
    {'s', "sound", "the same, or alsa:NAME", CMDLINE_REQUIRED},
    {'p', "projection", "equirectangular, fisheye or pinhole", CMDLINE_REQUIRED},
    {'l', "lens", "the lens as JSON", CMDLINE_REQUIRED},
    {'f', "fov", "degrees that the width spans, instead of a lens", CMDLINE_REQUIRED},
    {'a', "aim", "where the lens looks: pan,tilt or pan,tilt,roll", CMDLINE_REQUIRED},
    {0, nullptr, nullptr, 0}};

feed::projection projection_of(std::string_view name) {
    if (name == "equirectangular")
        return feed::projection::equirectangular;
    if (name == "fisheye")
        return feed::projection::fisheye;
    if (name == "pinhole")
        return feed::projection::pinhole;
    throw trouble("--projection: equirectangular, fisheye or pinhole");
}

options read_options(int argc, char **argv) {
    options all;
    for (int option; (option = cmdline_getopt(argc, argv, kOptions)) >= 0;) {
        const std::string value = cmdline_optarg ? cmdline_optarg : "";
        vela_orientation &where = all.where;
        if (option == 'h' || option == '?') {
            cmdline_usage(kOptions + 1, "reader", "[options] DIRECTORY");
            std::exit(option == 'h' ? EXIT_SUCCESS : 2);
        } else if (option == 'v')
            all.video = value;
        else if (option == 's')
            all.sound = value;
        else if (option == 'p')
            all.by = projection_of(value);
        else if (option == 'l')
            all.lens = value;
        else if (option == 'f')
            all.fov = std::atof(value.c_str());
        else if (option == 'a' &&
                 (std::sscanf(value.c_str(), "%lf,%lf,%lf", &where.pan, &where.tilt, &where.roll) < 2 ||
                  std::fabs(where.tilt) > 90))
            throw trouble("--aim: pan,tilt or pan,tilt,roll in degrees");
    }
    if (cmdline_optidx != argc - 1)
        throw trouble("name one directory");
    all.directory = argv[cmdline_optidx];
    if (all.by != feed::projection::equirectangular && all.lens.empty() && !(all.fov > 0))
        throw trouble("--projection: this one needs --lens or --fov");
    if (!all.lens.empty() && !is_file(all.lens))
        throw trouble("--lens: no such file");
    return all;
}

} // namespace

int main(int argc, char **argv) {
    try {
        const options all = read_options(argc, argv);
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        std::vector<std::thread> readers;
        if (!all.video.empty())
            readers.emplace_back([&] { keep_reading("the video source", [&] { read_video(all); }); });
        if (!all.sound.empty()) {
            readers.emplace_back([&] {
                const file memory(all.directory + "/sound", feed::sound_file::file_size());
                new (memory.bytes) feed::sound_file{};
                memory.publish();
                keep_reading("the sound source", [&] { read_sound(all, memory); });
            });
        }
        for (std::thread &each : readers)
            each.join();
    } catch (const std::exception &reason) {
        std::fprintf(stderr, "camera: %s\n", reason.what());
        return 2;
    }
    return EXIT_SUCCESS;
}

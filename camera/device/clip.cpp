// AVI, and ffmpeg run on files in memory.
#include "clip.hpp"
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace clip {

namespace {

std::string number(size_t value, size_t bytes = 4) {
    std::string text;
    for (size_t i = 0; i < bytes; ++i)
        text += static_cast<char>(value >> 8 * i);
    return text;
}
std::string number16(size_t value) { return number(value, 2); }

std::string chunk(std::string_view name, std::string_view content) {
    return std::string(name) + number(content.size()) + std::string(content) + std::string(content.size() % 2, '\0');
}
std::string list(std::string_view name, std::string_view content) {
    return chunk("LIST", std::string(name) + std::string(content));
}

constexpr uint32_t kHasIndex = 0x10, kKeyFrame = 0x10;
constexpr size_t kLargest = 1 << 20; // what a reader should buffer

// That of a stream: what is in it, and rate / scale units a second.
std::string stream_header(std::string_view type, std::string_view codec, size_t scale, size_t rate, size_t length,
                          size_t unit) {
    return chunk("strh", std::string(type) + std::string(codec) + number(0) + number(0) + number(0) + number(scale) +
                             number(rate) + number(0) + number(length) + number(kLargest) + number(UINT32_MAX) +
                             number(unit) + number(0) + number(0));
}

// The pictures, each followed by the sound of its time, and where they are.
struct body {
    std::string movie, index;

    void add(std::string_view name, std::string_view content) {
        index += std::string(name) + number(kKeyFrame) + number(4 + movie.size()) + number(content.size());
        movie += chunk(name, content);
    }
};

// A file in memory, open for ffmpeg by its number.
struct memory_file {
    int file = memfd_create("clip", 0);
    ~memory_file() { close(file); }
};

bool run(const char *program, const std::vector<const char *> &arguments, int input, int output) {
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
    // It needs more memory than this program may have.
    rlimit memory = {};
    getrlimit(RLIMIT_AS, &memory);
    const rlimit most = {memory.rlim_max, memory.rlim_max};
    setrlimit(RLIMIT_AS, &most);
    pid_t child = 0;
    std::vector<char *> all;
    for (const char *each : arguments)
        all.push_back(const_cast<char *>(each));
    all.push_back(nullptr);
    const bool is_started = posix_spawn(&child, program, &files, nullptr, all.data(), environ) == 0;
    setrlimit(RLIMIT_AS, &memory);
    posix_spawn_file_actions_destroy(&files);
    int status = -1;
    return is_started && waitpid(child, &status, 0) == child && status == 0;
}

} // namespace

std::string to_avi(const content &all) {
    const size_t count = all.pictures.size(), milliseconds = static_cast<size_t>(std::lround(all.seconds * 1000));
    body of;
    for (size_t i = 0; i < count; ++i) {
        of.add("00dc", all.pictures[i]);
        const size_t from = all.sound.size() * i / count, to = all.sound.size() * (i + 1) / count;
        std::string samples;
        for (size_t k = from; k < to; ++k)
            samples += number16(static_cast<uint16_t>(all.sound[k]));
        of.add("01wb", samples);
    }
    const auto width = static_cast<size_t>(all.width), height = static_cast<size_t>(all.height);
    const std::string main = number(milliseconds * 1000 / count) + number(0) + number(0) + number(kHasIndex) +
                             number(count) + number(0) + number(2) + number(kLargest) + number(width) + number(height) +
                             std::string(16, '\0');
    const std::string picture = number(40) + number(width) + number(height) + number16(1) + number16(24) + "MJPG" +
                                number(3 * width * height) + std::string(16, '\0');
    const std::string sound =
        number16(1) + number16(1) + number(all.rate) + number(2 * size_t{all.rate}) + number16(2) + number16(16);
    const std::string head =
        chunk("avih", main) +
        list("strl", stream_header("vids", "MJPG", milliseconds, count * 1000, count, 0) + chunk("strf", picture)) +
        list("strl",
             stream_header("auds", std::string(4, '\0'), 1, all.rate, all.sound.size(), 2) + chunk("strf", sound));
    return chunk("RIFF", "AVI " + list("hdrl", head) + list("movi", of.movie) + chunk("idx1", of.index));
}

std::optional<std::string> to_mp4(std::string_view avi) {
    const char *const program = std::getenv("CAMERA_FFMPEG");
    if (!program || !*program)
        return std::nullopt;
    const memory_file from, to;
    if (write(from.file, avi.data(), avi.size()) != static_cast<ssize_t>(avi.size()) ||
        lseek(from.file, 0, SEEK_SET) != 0)
        return std::nullopt;
    // H.264 with 4:2:0 needs even sizes. The index comes first, so that a player can begin before all is there.
    if (!run(program, {program,     "-nostdin",
                       "-v",        "error",
                       "-i",        "file:/proc/self/fd/0",
                       "-vf",       "scale=trunc(iw/2)*2:trunc(ih/2)*2",
                       "-c:v",      "libx264",
                       "-preset",   "veryfast",
                       "-pix_fmt",  "yuv420p",
                       "-threads",  "2",
                       "-c:a",      "aac",
                       "-movflags", "+faststart",
                       "-f",        "mp4",
                       "-y",        "file:/proc/self/fd/1"},
             from.file, to.file))
        return std::nullopt;
    std::string content(static_cast<size_t>(std::max<off_t>(0, lseek(to.file, 0, SEEK_END))), '\0');
    if (content.empty() || pread(to.file, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size()))
        return std::nullopt;
    return content;
}

} // namespace clip

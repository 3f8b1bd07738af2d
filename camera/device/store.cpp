// Files that survive a crash, locks, and records of text.
#include "store.hpp"
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <vela/cpp/url.hpp>
#include <vela/filesystem.h>

namespace store {

namespace {

int locks = 0, lock_file = -1;

[[noreturn]] void fail(const std::string &what) { throw failure{what + ": " + std::strerror(errno)}; }

// Fails with the current errno, and removes the file.
[[noreturn]] void give_up(const std::string &path) {
    const int reason = errno;
    unlink(path.c_str());
    errno = reason;
    fail(path);
}

// An owner of a descriptor.
struct descriptor {
    int number;
    ~descriptor() {
        if (number >= 0)
            close(number);
    }
};

void sync_directory_of(const std::string &path) {
    const descriptor opened{open(path.substr(0, path.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (opened.number < 0 || fsync(opened.number) != 0)
        fail(path);
}

// Writes and synchronises a whole file; on failure there is none.
void write_whole(const std::string &path, std::string_view content) {
    unlink(path.c_str()); // what a crash has left, or a link of somebody's
    const descriptor made{open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)};
    if (made.number < 0)
        fail(path);
    while (!content.empty()) {
        const ssize_t count = ::write(made.number, content.data(), content.size());
        if (count >= 0)
            content.remove_prefix(static_cast<size_t>(count));
        else if (errno != EINTR)
            give_up(path);
    }
    if (fsync(made.number) != 0)
        give_up(path);
}

} // namespace

const std::string &directory() {
    static const std::string path = [] {
        const char *given = std::getenv("CAMERA_STATE");
        if (!given || !*given)
            throw failure{"CAMERA_STATE is not set"};
        if (mkdirp(given) != 0)
            fail(given);
        char absolute[PATH_MAX];
        if (!realpath(given, absolute))
            fail(given);
        return std::string(absolute) + "/";
    }();
    return path;
}

lock::lock() {
    if (locks == 0) {
        lock_file = open((directory() + "lock").c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (lock_file < 0)
            fail("lock");
        while (flock(lock_file, LOCK_EX) != 0)
            if (errno != EINTR)
                fail("lock");
    }
    ++locks;
}

lock::~lock() {
    if (--locks == 0)
        close(lock_file);
}

std::optional<version> version_of(const std::string &name) {
    struct stat about;
    if (stat((directory() + name).c_str(), &about) != 0) {
        if (errno == ENOENT)
            return std::nullopt;
        fail(name);
    }
    return version{static_cast<uint64_t>(about.st_ino), static_cast<uint64_t>(about.st_size),
                   static_cast<uint64_t>(about.st_mtim.tv_sec), static_cast<uint64_t>(about.st_mtim.tv_nsec)};
}

std::optional<std::string> read(const std::string &name) {
    FILE *file = std::fopen((directory() + name).c_str(), "rbe");
    if (!file) {
        if (errno == ENOENT)
            return std::nullopt;
        fail(name);
    }
    std::string content;
    char buffer[4096];
    for (size_t got; (got = std::fread(buffer, 1, sizeof buffer, file)) > 0;)
        content.append(buffer, got);
    const bool good = !std::ferror(file);
    std::fclose(file);
    if (!good)
        fail(name);
    return content;
}

// With the lock, the temporary name belongs to this process alone.
void write(const std::string &name, std::string_view content) {
    const lock held;
    const std::string path = directory() + name, temporary = path + ".new";
    write_whole(temporary, content);
    if (rename(temporary.c_str(), path.c_str()) != 0)
        give_up(temporary);
    sync_directory_of(path);
}

uint64_t free_bytes() {
    struct statvfs about;
    if (statvfs(directory().c_str(), &about) != 0)
        fail(directory());
    return uint64_t{about.f_bavail} * about.f_frsize;
}

void make_directory(const std::string &name) {
    const std::string path = directory() + name;
    if (is_dir(path.c_str()))
        return;
    if (mkdirp(path.c_str()) != 0)
        fail(path);
    sync_directory_of(path);
    sync_directory_of(path.substr(0, path.rfind('/')));
}

void touch(const std::string &name) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    const timespec times[2] = {now, now};
    if (utimensat(AT_FDCWD, (directory() + name).c_str(), times, 0) != 0)
        fail(name);
}

bool remove(const std::string &name) {
    const std::string path = directory() + name;
    if (unlink(path.c_str()) != 0) {
        if (errno == ENOENT)
            return false;
        fail(name);
    }
    sync_directory_of(path);
    return true;
}

std::vector<record> read_records(const std::string &name) {
    std::vector<record> records;
    const auto content = read(name);
    std::string_view left = content ? std::string_view(*content) : std::string_view();
    while (!left.empty()) {
        std::string_view line = left.substr(0, left.find('\n'));
        left.remove_prefix(std::min(left.size(), line.size() + 1));
        record fields;
        for (bool more = true; more;) {
            const size_t end = line.find('\t');
            fields.push_back(vela::url::decode_form(line.substr(0, end)));
            more = end != std::string_view::npos;
            line.remove_prefix(more ? end + 1 : line.size());
        }
        records.push_back(fields);
    }
    return records;
}

void write_records(const std::string &name, const std::vector<record> &records) {
    std::string content;
    for (const record &fields : records) {
        for (size_t i = 0; i < fields.size(); ++i)
            content += (i ? "\t" : "") + vela::url::encode_form(fields[i]);
        content += '\n';
    }
    write(name, content);
}

} // namespace store

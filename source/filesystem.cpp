// Tests of paths, creation of directories, and walks that collect matching paths.

// With 32-bit times stat() fails for files dated after January 2038. No time is in this module's interface.
#if defined _FILE_OFFSET_BITS && !defined _TIME_BITS
#define _TIME_BITS 64
#endif

#include "common/memory.hpp"
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <err.h>
#include <fcntl.h>
#include <regex.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vela/filesystem.h>

using vela::detail::owned;

namespace {

constexpr mode_t kDirectoryMode = 0700;
constexpr uint32_t kFirstCapacity = 16;
constexpr size_t kPathSize = 4096;                  // with the NUL
constexpr size_t kLongestDirectory = kPathSize - 2; // with the slash and the NUL

enum walk_result : int32_t { kDone = 0, kBadPattern = 1, kTooLong = 2, kTrouble = 3 };

bool has_type(const char *path, mode_t type) {
    struct stat status;
    return stat(path, &status) == 0 && (status.st_mode & S_IFMT) == type;
}

int32_t make_directory(const char *path) {
    if (exists(path))
        return is_dir(path) ? 0 : -1;
    if (mkdir(path, kDirectoryMode) == 0)
        return 0;
    return errno == EEXIST && is_dir(path) ? 0 : -1; // created at the same time by another process
}

// The slash after the path's next component from position on, or null if this component is the last one.
char *end_of_parent(char *position) {
    char *component = position + std::strspn(position, "/");
    char *slash = component + std::strcspn(component, "/");
    return slash[std::strspn(slash, "/")] ? slash : nullptr;
}

bool grow(name_list &list) {
    const uint32_t capacity = list.capacity ? 2 * list.capacity : kFirstCapacity;
    if (capacity > static_cast<uint32_t>(INT32_MAX))
        return false;
    auto *names = static_cast<char **>(std::calloc(capacity, sizeof(char *)));
    if (!names)
        return false;
    if (list.count > 0)
        std::memcpy(names, list.names, static_cast<size_t>(list.count) * sizeof(char *));
    std::free(list.names);
    list.names = names;
    list.capacity = capacity;
    return true;
}

struct stream_closer {
    void operator()(DIR *stream) const { closedir(stream); }
};
using directory_stream = std::unique_ptr<DIR, stream_closer>;

// Opens name, relative to the directory open at parent, or returns null with errno. Inside a walk a symbolic link is
// never opened, not even one that replaces a directory during the walk.
directory_stream open_directory(int parent, const char *name) {
    const int no_links = parent == AT_FDCWD ? 0 : O_NOFOLLOW;
    const int descriptor = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC | no_links);
    if (descriptor < 0)
        return nullptr;
    DIR *stream = fdopendir(descriptor);
    if (!stream) {
        const int error = errno;
        close(descriptor);
        errno = error;
    }
    return directory_stream(stream);
}

// The name of the next entry; null at the end and on failure, which sets error.
const char *next_name(DIR *stream, int &error) {
    errno = 0;
    const dirent *entry = readdir(stream);
    if (!entry && errno)
        error = errno;
    return entry ? entry->d_name : nullptr;
}

bool is_self_or_parent(const char *name) { return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0; }

// One walk: a single path buffer for all levels, each of which appends to it and truncates it again.
class walker {
public:
    walker(const regex_t &compiled, int32_t walk_flags) : expression(compiled), flags(walk_flags) {}

    int32_t run(const char *directory) {
        const size_t length = std::strlen(directory);
        if (length > kLongestDirectory)
            return kTooLong;
        std::memcpy(path, directory, length + 1);
        return walk_level(AT_FDCWD, path, length);
    }

    char **names() const { return list.names; }

    // The first failure at any depth, or 0. The result shows only some of them.
    int first_error() const { return earliest_error; }

private:
    const regex_t &expression;
    const int32_t flags;
    name_list list = {};
    // The error number of the walk: set by each failure, cleared by each directory that opens. Separate from errno,
    // which successful calls may change.
    int error = 0;
    int earliest_error = 0;
    char path[kPathSize];

    void set_error(int number) {
        error = number;
        if (earliest_error == 0)
            earliest_error = number;
    }

    // Walks the directory whose path is in the buffer up to length, and which is name relative to parent.
    int32_t walk_level(int parent, const char *name, size_t length) {
        if (length > kLongestDirectory) {
            earliest_error = earliest_error ? earliest_error : ENAMETOOLONG;
            return kTooLong;
        }
        const directory_stream opened = open_directory(parent, name);
        set_error(opened ? 0 : errno);
        if (!opened) {
            warn("can't open %s", path);
            return kTrouble;
        }
        path[length] = '/';
        bool examined_all = true;
        while (const char *entry = next_name(opened.get(), error))
            examined_all &= visit(dirfd(opened.get()), entry, length + 1);
        set_error(error); // of reading, which next_name() has stored
        path[length] = '\0';
        return examined_all && !error ? kDone : kTrouble;
    }

    // Visits an entry, whose path is the buffer up to start and its name; returns whether it could be examined.
    bool visit(int parent, const char *name, size_t start) {
        if (name[0] == '.' && (!(flags & WALK_HIDDEN) || is_self_or_parent(name)))
            return true;
        const size_t length = start + std::strlen(name);
        struct stat status;
        if (length >= kPathSize || fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
            set_error(length >= kPathSize ? ENAMETOOLONG : errno);
            errno = error;
            warn("Can't stat %.*s%s", static_cast<int>(start), path, name);
            return false;
        }
        stpcpy(path + start, name);
        if (S_ISDIR(status.st_mode) && (flags & WALK_RECURSE))
            walk_level(parent, path + start, length);
        if (is_candidate(status.st_mode))
            collect_if_matching();
        return true;
    }

    bool is_candidate(mode_t mode) const {
        if (S_ISLNK(mode))
            return flags & WALK_LINKS;
        return !S_ISDIR(mode) || (flags & WALK_DIRS);
    }

    void collect_if_matching() {
        errno = 0; // set by glibc if memory runs out; otherwise the path doesn't match
        const bool matches = regexec(&expression, path, 0, nullptr, 0) == 0;
        if (matches ? add_to_names(&list, path) != 0 : errno == ENOMEM)
            set_error(ENOMEM);
    }
};

} // namespace

int32_t exists(const char *path) {
    struct stat status;
    return stat(path, &status) == 0;
}

int32_t is_dir(const char *path) { return has_type(path, S_IFDIR); }

int32_t is_file(const char *path) { return has_type(path, S_IFREG); }

int32_t mkdirp(const char *path) {
    if (exists(path))
        return is_dir(path) ? 0 : -1;
    const owned<char> copy(strdup(path));
    if (!copy)
        return -1;
    for (char *end = copy.get(); (end = end_of_parent(end)); *end = '/') {
        *end = '\0';
        if (make_directory(copy.get()) != 0)
            return -1;
    }
    return make_directory(path);
}

int32_t add_to_names(name_list *list, const char *name) {
    if (list->count >= static_cast<int32_t>(list->capacity) - 1 && !grow(*list))
        return 1;
    char *copy = strdup(name);
    if (!copy)
        return 1;
    list->names[list->count++] = copy;
    return 0;
}

int32_t walk_dir(const char *dir, const char *pattern, int32_t flags, char ***result) {
    regex_t expression;
    if (regcomp(&expression, pattern, REG_EXTENDED | REG_NOSUB) != 0)
        return kBadPattern;
    walker walk(expression, flags);
    const int32_t outcome = walk.run(dir);
    regfree(&expression);
    *result = walk.names();
    errno = walk.first_error(); // read by vela::walk
    return outcome;
}

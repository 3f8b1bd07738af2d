#include "scratch.hpp"
#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <vela/filesystem.h>

namespace fs = std::filesystem;

namespace {

constexpr int32_t kAll = WALK_RECURSE | WALK_LINKS | WALK_HIDDEN | WALK_DIRS;

// What a walk makes of its arguments, as a text: warnings, result, "null" for no list, and the sorted names.
std::string walk(const std::string &dir, const std::string &pattern, int32_t flags) {
    char *nothing = nullptr, **list = &nothing;
    int32_t result = -1;
    std::string text = captured(stderr, [&] { result = walk_dir(dir.c_str(), pattern.c_str(), flags, &list); });
    std::vector<std::string> names;
    for (char **name = list; name && *name; std::free(*name++))
        names.push_back(*name);
    if (list != &nothing)
        std::free(list);
    return text + std::to_string(result) + (list ? "" : " null") + sorted(names);
}

std::string warning(const std::string &text) { return program_invocation_short_name + (": " + text + '\n'); }

// What the library's calls of the system, which arrive at the functions below, meet there.
enum { no_fault, already_made, no_stream, no_reading } fault = no_fault;
thread_local int stream_flags = 0;                   // of the descriptor of the last directory opened
constexpr std::string_view kVanishing = "vanishing"; // gone as soon as its name has been read
constexpr std::string_view kSwapped = "swapped";     // a directory, and a link as soon as it has been examined

template <class Function>
Function *system_call(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int mkdir(const char *path, mode_t mode) {
    if (fault == already_made)
        syscall(SYS_mkdirat, AT_FDCWD, path, mode);
    return static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

// 32-bit machines have a function of another name for 64-bit times.
#if defined __TIMESIZE && __TIMESIZE == 32
#define fstatat64 __fstatat64_time64
constexpr const char *kFstatat = "__fstatat64_time64";
#else
constexpr const char *kFstatat = "fstatat64";
#endif
extern "C" int fstatat64(int parent, const char *name, struct stat64 *status, int flags) {
    const int result = system_call<decltype(fstatat64)>(kFstatat)(parent, name, status, flags);
    if (name == kSwapped) {
        unlinkat(parent, name, AT_REMOVEDIR);
        ck_assert_int_eq(symlinkat("/", parent, name), 0);
    }
    return result;
}

extern "C" DIR *fdopendir(int descriptor) {
    stream_flags = (fcntl(descriptor, F_GETFL) & O_NONBLOCK) | fcntl(descriptor, F_GETFD);
    errno = ENOMEM;
    return fault == no_stream ? nullptr : system_call<DIR *(int)>("fdopendir")(descriptor);
}

extern "C" int close(int descriptor) {
    errno = EIO; // which tells nothing where there is no failure
    return system_call<int(int)>("close")(descriptor);
}

extern "C" dirent64 *readdir64(DIR *stream) {
    if (fault == no_reading) {
        errno = EIO;
        return nullptr;
    }
    dirent64 *entry = system_call<dirent64 *(DIR *)>("readdir64")(stream);
    if (entry && entry->d_name == kVanishing)
        unlinkat(dirfd(stream), entry->d_name, 0);
    errno = entry ? ENOMEM : errno; // as little
    return entry;
}

TEST(paths_are_told_apart_by_what_they_lead_to) {
    const scratch scratch({"file", "dir/", "to-file>file", "to-dir>dir", "dangling>nowhere"});
    fs::resize_file("file", uintmax_t(3) << 30); // beyond 32-bit offsets, and holds nothing
    const struct {
        const char *path;
        int32_t there, directory, file;
    } rows[] = {
        {"file", 1, 0, 1},  {"dir", 1, 1, 0},      {"dir/", 1, 1, 0},      {"to-file", 1, 0, 1}, {"to-dir", 1, 1, 0},
        {"file/", 0, 0, 0}, {"dangling", 0, 0, 0}, {"/dev/null", 1, 0, 0}, {"absent", 0, 0, 0},  {"", 0, 0, 0},
    };
    for (const auto &[path, there, directory, file] : rows) {
        ck_assert_msg(exists(path) == there, "%s: exists() is not %d", path, there);
        ck_assert_msg(is_dir(path) == directory, "%s: is_dir() is not %d", path, directory);
        ck_assert_msg(is_file(path) == file, "%s: is_file() is not %d", path, file);
    }
}

// A clock that was once wrong dates files after what 32 bits hold.
TEST(files_dated_after_2038_are_there) {
    const scratch scratch({"t/file", "t/dir/"});
    const int64_t in_2100[2][2] = {{4102444800, 0}, {4102444800, 0}};
#ifdef SYS_utimensat_time64
    constexpr long set_times = SYS_utimensat_time64;
#else
    constexpr long set_times = SYS_utimensat;
#endif
    for (const char *path : {"t/file", "t/dir"}) {
        ck_assert_int_eq(syscall(set_times, AT_FDCWD, path, in_2100, 0), 0);
        ck_assert_msg(exists(path), "%s", path);
    }
    ck_assert_int_eq(is_file("t/file"), 1);
    ck_assert_int_eq(is_dir("t/dir"), 1);
    ck_assert_int_eq(mkdirp("t/dir/sub"), 0);
    assert_text_eq(walk("t", "", kAll), "0 t/dir t/dir/sub t/file");
}

TEST(directories_are_made_with_their_parents) {
    const scratch scratch({"file", "dangling>nowhere"});
    const struct {
        std::string path;
        int32_t result;
        const char *made; // there afterwards
    } rows[] = {
        {"x/y/z", 0, "x/y/z"},    {"x/y/z", 0, "x/y/z"}, {"p//q///r//", 0, "p/q/r"},
        {"v/.", 0, "v"},          {"/", 0, "/"},         {scratch.root + std::string("//abs/one"), 0, "abs/one"},
        {"w/../u/s", 0, "u/s"},   {"file", -1, "."},     {"kept/" + std::string(300, 'n'), -1, "kept"},
        {"file/sub", -1, "."},    {"", -1, "."},         {"dangling", -1, "."},
        {"dangling/sub", -1, "."}};
    for (const auto &[path, result, made] : rows) {
        ck_assert_msg(mkdirp(path.c_str()) == result, "%s: not %d", path.c_str(), result);
        ck_assert_msg(is_dir(made), "%s: %s is not there", path.c_str(), made);
    }
    umask(0077);
    fault = already_made;
    ck_assert_int_eq(mkdirp("i/j"), 0);
    umask(0577);
    fault = no_fault;
    ck_assert_int_eq(mkdirp("masked"), 0);
    for (const auto &[made, mode] : {std::pair("x", 0700), {"i/j", 0700}, {"masked", 0200}})
        ck_assert_msg(static_cast<int>(fs::status(made).permissions()) == mode, "%s: not %o", made, mode);
}

TEST(a_list_of_names_ends_where_its_slots_can_be_counted) {
    name_list list = {0x40000000, 0x3fffffff, nullptr};
    ck_assert_int_eq(add_to_names(&list, "name"), 1);
    ck_assert_uint_eq(list.capacity, 0x40000000);
    ck_assert_int_eq(list.count, 0x3fffffff);
    char first[] = "first";
    name_list full = {2, 1, static_cast<char **>(std::calloc(2, sizeof(char *)))};
    full.names[0] = first;
    ck_assert_int_eq(add_to_names(&full, "next"), 0);
    ck_assert_ptr_eq(full.names[0], first);
    std::free(full.names[1]);
    std::free(full.names);
}

TEST(flags_say_what_is_listed) {
    const scratch scratch({"t/a.txt", "t/.h.txt", "t/sub/b.txt", "t/sub/.deep/c.txt", "t/.hid/d.txt", "t/..e.txt",
                           "t/link.txt>a.txt", "t/loop.txt>.", "t/dangling.txt>nowhere"});
    ck_assert_int_eq(mkfifo("t/pipe.txt", 0600), 0);
    const struct {
        const char *dir, *pattern;
        int32_t flags;
        std::string outcome;
    } rows[] = {
        {"t", "\\.txt$", 0, "0 t/a.txt t/pipe.txt"},
        {"t", "\\.txt$", WALK_RECURSE, "0 t/a.txt t/pipe.txt t/sub/b.txt"},
        {"t", "\\.txt$", WALK_HIDDEN, "0 t/..e.txt t/.h.txt t/a.txt t/pipe.txt"},
        {"t", "\\.txt$", WALK_LINKS, "0 t/a.txt t/dangling.txt t/link.txt t/loop.txt t/pipe.txt"},
        {"t", "", WALK_DIRS, "0 t/a.txt t/pipe.txt t/sub"},
        {"t", "[cd].txt", WALK_RECURSE | WALK_HIDDEN, "0 t/.hid/d.txt t/sub/.deep/c.txt"},
        {"t", "sub|dang", kAll + 16, "0 t/dangling.txt t/sub t/sub/.deep t/sub/.deep/c.txt t/sub/b.txt"},
        {"t/", "a\\.", 0, "0 t//a.txt"},
        {"t/loop.txt", "(a|b)\\.txt", WALK_RECURSE, "0 t/loop.txt/a.txt t/loop.txt/sub/b.txt"},
        {"t", "nothing", kAll, "0 null"},
        {"t", "(", kAll, "1"}, // and the list untouched
        {"absent", "", kAll, warning("can't open absent: No such file or directory") + "3 null"},
        {"t/a.txt", "", kAll, warning("can't open t/a.txt: Not a directory") + "3 null"},
    };
    for (const auto &[dir, pattern, flags, outcome] : rows)
        assert_text_eq(walk(dir, pattern, flags), outcome);
    char **list = nullptr; // what a directory holds comes before itself, which any descriptor may lead to
    close(STDIN_FILENO);
    ck_assert_int_eq(walk_dir("t", "sub", WALK_RECURSE | WALK_DIRS, &list), 0);
    ck_assert_str_eq(list[0], "t/sub/b.txt");
    std::for_each(list, list + 3, std::free); // two names and the end
    std::free(list);
}

// The walk warns of what it cannot examine, goes on, and says so at the end.
TEST(entries_that_cannot_be_examined_are_reported) {
    const scratch scratch({"t/blind/x", "t/y", "gone/vanishing", "gone/x/", "r/ab/inside/"});
    chmod("t/blind", 0400);
    assert_text_eq(walk("t", "", WALK_RECURSE), warning("Can't stat t/blind/x: Permission denied") + "3 t/y");
    chmod("t/blind", 0700);
    assert_text_eq(walk("gone", "", WALK_DIRS),
                   warning("Can't stat gone/vanishing: No such file or directory") + "3 gone/x");

    fs::create_directories("race/swapped");
    assert_text_eq(walk("race", "^race/swapped/", WALK_RECURSE),
                   warning("can't open race/swapped: Not a directory") + "3 null");

    // The longest path has 4095 characters, the longest directory 4094.
    const auto directory = [](size_t length) { return "r" + std::string(length - 1, '/'); };
    const auto too_long = [](auto path) { return warning("Can't stat " + path + ": File name too long") + "3 "; };
    const std::string longest = directory(4093) + "ab", shorter = directory(4092) + "ab";
    assert_text_eq(walk(directory(4095), "", kAll), "2 null");
    assert_text_eq(walk(directory(4093), "", kAll), too_long(directory(4094) + "ab") + "null");
    assert_text_eq(walk(directory(4092), "", kAll), "0 " + longest); // itself too long to be walked
    assert_text_eq(walk(directory(4091), "", kAll), too_long(shorter + "/inside") + shorter);
}

TEST(a_directory_that_opens_forgets_what_one_before_it_left_behind) {
    const scratch scratch({"t/y", "t/m/", "t/n/", "t/o/"});
    for (const std::string locked : {"t/m", "t/n", "t/o"}) {
        std::string last, trouble = warning("can't open " + locked + ": Permission denied");
        for (const auto &entry : fs::directory_iterator("t"))
            last = entry.is_directory() ? entry.path().string() : last;
        chmod(locked.c_str(), 0);
        assert_text_eq(walk("t", "/.$", WALK_RECURSE), trouble + (last == locked ? "3" : "0") + " t/y");
        chmod(locked.c_str(), 0700);
    }
}

TEST(directories_without_a_stream_or_its_entries_are_closed_and_reported) {
    const scratch scratch({"t/sub/"});
    const auto open_files = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
    const auto before = open_files();
    fault = no_stream;
    const std::string unopened = walk("t", "", kAll);
    ck_assert_int_eq(stream_flags, O_NONBLOCK | FD_CLOEXEC);
    fault = no_reading;
    const std::string unread = walk("t", "", kAll);
    fault = no_fault;
    assert_text_eq(unopened, warning("can't open t: Cannot allocate memory") + "3 null");
    assert_text_eq(unread, "3 null");
    ck_assert_int_eq(open_files(), before);
}

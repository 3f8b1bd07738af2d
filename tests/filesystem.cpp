#include "support.hpp"
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <set>
#include <string_view>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <tuple>
#include <vela/filesystem.h>

namespace fs = std::filesystem;

namespace {

constexpr int32_t kAll = WALK_RECURSE | WALK_LINKS | WALK_HIDDEN | WALK_DIRS;

// An empty folder as the working directory, with an ordinary user's rights, so that permissions bite.
struct scratch {
    char root[32] = "/tmp/vela-files-XXXXXX";

    scratch() {
        ck_assert_ptr_nonnull(mkdtemp(root));
        fs::current_path(root);
        ck_assert(geteuid() != 0 || (chown(root, 65534, 65534) == 0 && seteuid(65534) == 0));
        umask(0);
    }
    ~scratch() {
        fs::current_path("/");
        (void)!seteuid(0);
        fs::remove_all(root);
    }
};

void touch(const fs::path &path) { std::ofstream{path}; }

// What a walk makes of its arguments, as a text: warnings, result, "null" for no list, and the sorted names.
std::string walk(const std::string &dir, const std::string &pattern, int32_t flags) {
    char *nothing = nullptr, **list = &nothing;
    int32_t result = -1;
    std::string text = captured(stderr, [&] { result = walk_dir(dir.c_str(), pattern.c_str(), flags, &list); });
    text += std::to_string(result);
    std::set<std::string> names = {list ? "" : " null"};
    for (char **name = list; name && *name; std::free(*name++))
        names.insert(std::string(" ") + *name);
    if (list != &nothing)
        std::free(list);
    for (const std::string &name : names)
        text += name;
    return text;
}

std::string warning(const std::string &text) { return program_invocation_short_name + (": " + text + '\n'); }

// The library's calls of the system arrive at the functions below, where these change what comes of them.
bool others_are_faster = false;                                 // each directory has just been made
enum { readable, unreadable, unopened } directories = readable; // what a directory's stream is
constexpr std::string_view kVanishing = "vanishing";            // gone as soon as its name has been read

template <class Function>
Function *system_call(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int mkdir(const char *path, mode_t mode) {
    if (others_are_faster)
        syscall(SYS_mkdirat, AT_FDCWD, path, mode);
    return static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

extern "C" DIR *fdopendir(int descriptor) {
    errno = ENOMEM;
    return directories == unopened ? nullptr : system_call<DIR *(int)>("fdopendir")(descriptor);
}

extern "C" dirent64 *readdir64(DIR *stream) {
    if (directories == unreadable) {
        errno = EIO;
        return nullptr;
    }
    dirent64 *entry = system_call<dirent64 *(DIR *)>("readdir64")(stream);
    if (entry && entry->d_name == kVanishing)
        unlinkat(dirfd(stream), entry->d_name, 0);
    return entry;
}

TEST(paths_are_told_apart_by_what_they_lead_to) {
    const scratch scratch;
    touch("file");
    fs::resize_file("file", uintmax_t(3) << 30); // beyond 32-bit offsets, and holds nothing
    fs::create_directory("dir");
    fs::create_symlink("file", "to-file");
    fs::create_symlink("dir", "to-dir");
    fs::create_symlink("nowhere", "dangling");
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

TEST(directories_are_made_with_their_parents) {
    const scratch scratch;
    touch("file");
    fs::create_symlink("nowhere", "dangling");
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
    ck_assert_int_eq(static_cast<int>(fs::status("x").permissions()), 0700);
    umask(0577);
    ck_assert_int_eq(mkdirp("masked"), 0);
    ck_assert_int_eq(static_cast<int>(fs::status("masked").permissions()), 0200);
    umask(0);

    others_are_faster = true;
    ck_assert_int_eq(mkdirp("i/j/k"), 0);
    ck_assert(is_dir("i/j/k"));
}

TEST(a_list_of_names_ends_where_its_slots_can_be_counted) {
    name_list list = {0x40000000, 0x3fffffff, nullptr};
    ck_assert_int_eq(add_to_names(&list, "name"), 1);
    ck_assert_uint_eq(list.capacity, 0x40000000);
    ck_assert_int_eq(list.count, 0x3fffffff);
}

TEST(flags_say_what_is_listed) {
    const scratch scratch;
    fs::create_directories("t/sub/.deep");
    fs::create_directories("t/.hid");
    for (const char *name : {"t/a.txt", "t/.h.txt", "t/sub/b.txt", "t/sub/.deep/c.txt", "t/.hid/d.txt", "t/..e.txt"})
        touch(name);
    fs::create_symlink("a.txt", "t/link.txt");
    fs::create_directory_symlink(".", "t/loop.txt");
    fs::create_symlink("nowhere", "t/dangling.txt");
    ck_assert_int_eq(mkfifo("t/pipe.txt", 0600), 0);
    const std::tuple<const char *, const char *, int32_t, std::string> rows[] = {
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
    errno = EDOM; // of no interest to the walk
    for (const auto &[dir, pattern, flags, expected] : rows)
        assert_text_eq(walk(dir, pattern, flags), expected);
    char **list = nullptr; // what a directory holds comes before itself
    ck_assert_int_eq(walk_dir("t", "sub", WALK_RECURSE | WALK_DIRS, &list), 0);
    ck_assert_str_eq(list[0], "t/sub/b.txt");
    std::for_each(list, list + 3, std::free); // two names and the end
    std::free(list);
}

// The walk warns of what it cannot examine, goes on, and says so at the end.
TEST(entries_that_cannot_be_examined_are_reported) {
    const scratch scratch;
    fs::create_directories("t/blind/x");
    touch("t/y");
    chmod("t/blind", 0400);
    assert_text_eq(walk("t", "", WALK_RECURSE), warning("Can't stat t/blind/x: Permission denied") + "3 t/y");
    chmod("t/blind", 0700);
    touch("t/blind/vanishing");
    assert_text_eq(walk("t/blind", "", WALK_DIRS),
                   warning("Can't stat t/blind/vanishing: No such file or directory") + "3 t/blind/x");

    // The path buffer has room for 4095 characters, and for a directory of 4094.
    fs::create_directories("r/ab/inside");
    const auto directory = [](size_t length) { return "r" + std::string(length - 1, '/'); };
    const auto too_long = [](auto path) { return warning("Can't stat " + path + ": File name too long") + "3 "; };
    const std::string longest = directory(4093) + "ab", shorter = directory(4092) + "ab";
    assert_text_eq(walk(directory(4095), "", kAll), "2 null");
    assert_text_eq(walk(directory(4093), "", kAll), too_long(directory(4094) + "ab") + "null");
    assert_text_eq(walk(directory(4092), "", kAll), "0 " + longest); // itself too long to be walked
    assert_text_eq(walk(directory(4091), "", kAll), too_long(shorter + "/inside") + shorter);
}

TEST(a_directory_that_opens_forgets_what_one_before_it_left_behind) {
    const scratch scratch;
    fs::create_directory("t");
    touch("t/y");
    for (const std::string locked : {"t/m", "t/n", "t/o"})
        fs::create_directory(locked);
    for (const std::string locked : {"t/m", "t/n", "t/o"}) {
        std::string last, trouble = warning("can't open " + locked + ": Permission denied");
        for (const auto &entry : fs::directory_iterator("t"))
            last = entry.is_directory() ? entry.path().string() : last;
        chmod(locked.c_str(), 0);
        assert_text_eq(walk("t", "/.$", WALK_RECURSE), trouble + (last == locked ? "3" : "0") + " t/y");
        chmod(locked.c_str(), 0700);
    }
}

TEST(directories_without_a_stream_are_closed) {
    const scratch scratch;
    fs::create_directory("t");
    const auto open_files = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
    const auto before = open_files();
    directories = unopened;
    const std::string outcome = walk("t", "", kAll);
    directories = readable;
    assert_text_eq(outcome, warning("can't open t: Cannot allocate memory") + "3 null");
    ck_assert_int_eq(open_files(), before);
}

TEST(directories_that_cannot_be_read_end_the_walk) {
    const scratch scratch;
    fs::create_directories("t/sub");
    directories = unreadable;
    const std::string outcome = walk("t", "", kAll);
    directories = readable;
    assert_text_eq(outcome, "3 null");
}

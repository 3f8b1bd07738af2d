#include "support.hpp"
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <vector>
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
std::string walk(const std::string &dir, const char *pattern, int32_t flags) {
    char *nothing = nullptr, **list = &nothing;
    int32_t result = -1;
    std::string text = captured(stderr, [&] { result = walk_dir(dir.c_str(), pattern, flags, &list); });
    text += std::to_string(result) + (list ? "" : " null");
    std::vector<std::string> names;
    for (char **name = list; name && *name; std::free(*name++))
        names.emplace_back(*name);
    if (list != &nothing)
        std::free(list);
    std::sort(names.begin(), names.end());
    for (const std::string &name : names)
        text += ' ' + name;
    return text;
}

std::string warning(const std::string &text) { return program_invocation_short_name + (": " + text + '\n'); }

} // namespace

START_TEST(existence_and_type)
{
    const scratch scratch;
    touch("file");
    fs::resize_file("file", uintmax_t(3) << 30); // beyond 32-bit offsets, and holds nothing
    fs::create_directory("dir");
    fs::create_symlink("file", "to-file");
    fs::create_symlink("dir", "to-dir");
    fs::create_symlink("nowhere", "dangling");
    const struct {
        const char *path;
        int expected; // the three answers as digits
    } rows[] = {{"file", 101},   {"dir", 110}, {"dir/", 110},      {"to-file", 101}, {"to-dir", 110},
                {"dangling", 0}, {"file/", 0}, {"/dev/null", 100}, {"absent", 0},    {"", 0}};
    for (const auto &row : rows)
        ck_assert_int_eq(100 * exists(row.path) + 10 * is_dir(row.path) + is_file(row.path), row.expected);
}
END_TEST

START_TEST(directories_with_parents)
{
    const scratch scratch;
    touch("file");
    fs::create_symlink("nowhere", "dangling");
    const std::string too_long = "kept/" + std::string(300, 'n'), absolute = scratch.root + std::string("//abs/one");
    const struct {
        const char *path;
        int result;
        const char *made; // a directory that must be there afterwards
    } rows[] = {{"x/y/z", 0, "x/y/z"},
                {"x/y/z", 0, "x/y/z"},
                {"p//q///r//", 0, "p/q/r"},
                {absolute.c_str(), 0, "abs/one"},
                {"v/.", 0, "v"},
                {"w/../u/s", 0, "u/s"},
                {"/", 0, "/"},
                {"file", -1, "."},
                {"file/sub", -1, "."},
                {"", -1, "."},
                {too_long.c_str(), -1, "kept"},
                {"dangling", -1, "."},
                {"dangling/sub", -1, "."}};
    for (const auto &row : rows) {
        ck_assert_msg(mkdirp(row.path) == row.result, "%s", row.path);
        ck_assert_msg(is_dir(row.made), "%s makes %s", row.path, row.made);
    }
    ck_assert(fs::status("x").permissions() == fs::perms::owner_all);
    umask(0577);
    ck_assert_int_eq(mkdirp("masked"), 0);
    ck_assert(fs::status("masked").permissions() == fs::perms::owner_write);
}
END_TEST

// Several processes make the same directories at the same time; each finds them there.
START_TEST(directories_made_by_others_meanwhile)
{
    const scratch scratch;
    for (int process = 0; process < 4; ++process)
        if (fork() == 0) {
            std::string path = "d";
            int32_t failures = 0;
            for (int round = 0; round < 60; ++round)
                failures += mkdirp((path += round % 20 ? "/d" : "d").c_str());
            _exit(failures != 0);
        }
    for (int status = -1; wait(&status) > 0;)
        ck_assert_int_eq(status, 0);
}
END_TEST

START_TEST(candidates_by_flags)
{
    const scratch scratch;
    fs::create_directories("t/sub/.deep");
    fs::create_directories("t/.hid");
    for (const char *name : {"t/a.txt", "t/.h.txt", "t/sub/b.txt", "t/sub/.deep/c.txt", "t/.hid/d.txt", "t/..e.txt"})
        touch(name);
    fs::create_symlink("a.txt", "t/link.txt");
    fs::create_directory_symlink(".", "t/loop.txt");
    fs::create_symlink("nowhere", "t/dangling.txt");
    ck_assert_int_eq(mkfifo("t/pipe.txt", 0600), 0);
    const struct {
        const char *dir, *pattern;
        int32_t flags;
        std::string expected;
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
    for (const auto &row : rows) {
        errno = EDOM; // of no interest to the walk
        assert_text_eq(walk(row.dir, row.pattern, row.flags), row.expected);
    }
    char **list = nullptr; // what a directory holds comes before itself
    ck_assert_int_eq(walk_dir("t", "sub", WALK_RECURSE | WALK_DIRS, &list), 0);
    ck_assert_str_eq(list[0], "t/sub/b.txt");
    for (char **name = list; *name; std::free(*name++))
        ;
    std::free(list);
}
END_TEST

START_TEST(growing_lists)
{
    name_list list = {};
    for (uint32_t i = 0; i < 40; ++i) {
        ck_assert_int_eq(add_to_names(&list, std::to_string(i).c_str()), 0);
        ck_assert_uint_eq(list.capacity, i < 15 ? 16 : i < 31 ? 32 : 64);
        assert_text_eq(list.names[i], std::to_string(i));
        ck_assert_uint_eq(std::count(list.names, list.names + list.capacity, nullptr), list.capacity - i - 1);
    }
    std::for_each(list.names, list.names + list.count, std::free);
    std::free(list.names);
}
END_TEST

// Whatever the walk does to be fast, it lists what regexec() matches.
START_TEST(what_patterns_list)
{
    const scratch scratch;
    const std::vector<std::string> names = {"a",   "a+b", "a-b",   "a.b", "a\\b", "a]b",
                                            "aab", "ab",  "ab ab", "abb", "abc[", "\xe4"};
    for (const std::string &name : names)
        touch(name);
    const std::string long_run(70, 'a');
    const std::string patterns[] = {
        "ab",     "aab*",     "aab+",    "aab?",         "b$",       "^./a",      "a.b",          "a\\.b",
        "a[]]b",  "a[^]]b",   "a[]+]+b", "[[:alpha:]]b", "[[.-.]]b", "[[=a=]]b$", "a\\]b",        "a\\+b",
        "a\\\\b", "a\\\\*b$", "ab|a-",   "(ab)?c",       "a{2}",     "b\\>",      "\\bab",        "a\\wb",
        "a\\Wb",  "a]*b",     "\xe4*b",  "abc\\[",       "a)*b",     long_run,    long_run + "*b"};
    for (const std::string &pattern : patterns) {
        regex_t expression;
        ck_assert_msg(regcomp(&expression, pattern.c_str(), REG_EXTENDED) == 0, "%s", pattern.c_str());
        std::string matching;
        for (const std::string &name : names)
            if (regexec(&expression, ("./" + name).c_str(), 0, nullptr, 0) == 0)
                matching += " ./" + name;
        regfree(&expression);
        assert_text_eq(pattern + walk(".", pattern.c_str(), 0),
                       pattern + "0" + (matching.empty() ? " null" : matching));
    }
}
END_TEST

// Directories that may not be searched or opened: the walk warns, goes on, and says so at the end.
START_TEST(trouble_on_the_way)
{
    const scratch scratch;
    fs::create_directories("t/blind");
    touch("t/blind/x");
    touch("t/y");
    chmod("t/blind", 0400);
    assert_text_eq(walk("t", "", WALK_RECURSE), warning("Can't stat t/blind/x: Permission denied") + "3 t/y");
    chmod("t/blind", 0700);

    // A directory that opens forgets what one before it left behind.
    for (const char *name : {"t/m", "t/n", "t/o"})
        fs::create_directory(name);
    for (const std::string locked : {"t/m", "t/n", "t/o"}) {
        std::string last;
        for (const auto &entry : fs::directory_iterator("t"))
            last = entry.is_directory() ? entry.path().string() : last;
        chmod(locked.c_str(), 0);
        assert_text_eq(walk("t", "/.$", WALK_RECURSE | WALK_DIRS),
                       warning("can't open " + locked + ": Permission denied") + (last == locked ? "3" : "0") +
                           " t/blind/x t/m t/n t/o t/y");
        chmod(locked.c_str(), 0700);
    }
}
END_TEST

// The path buffer has room for 4095 characters, and for a directory of 4094.
START_TEST(long_paths)
{
    const scratch scratch;
    fs::create_directories("r/ab");
    touch("r/ab/inside");
    const auto directory = [](size_t length) { return "r" + std::string(length - 1, '/'); };
    const auto too_long = [](const std::string &path) {
        return warning("Can't stat " + path + ": File name too long");
    };
    assert_text_eq(walk(directory(4095), "", kAll), "2 null");
    assert_text_eq(walk(directory(4093), "", kAll), too_long(directory(4094) + "ab") + "3 null");
    assert_text_eq(walk(directory(4092), "", kAll), "0 " + directory(4093) + "ab"); // itself too long to be walked
    assert_text_eq(walk(directory(4091), "", kAll),
                   too_long(directory(4092) + "ab/inside") + "3 " + directory(4092) + "ab");
}
END_TEST

Suite *filesystem_suite() {
    Suite *suite = suite_create("filesystem");
    TCase *tests = tcase_create("filesystem");
    for (const TTest *test : {existence_and_type, directories_with_parents, directories_made_by_others_meanwhile,
                              candidates_by_flags, growing_lists, what_patterns_list, trouble_on_the_way, long_paths})
        tcase_add_test(tests, test);
    suite_add_tcase(suite, tests);
    return suite;
}

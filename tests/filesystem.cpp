#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <filesystem>
#include <fstream>
#include <regex.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <vector>

#include "support.hpp" // Check's macros come after the standard headers, one of which has a fail() of its own
#include <vela/filesystem.h>

namespace fs = std::filesystem;

namespace {

using paths = std::vector<std::string>;

// An empty folder as the working directory, with an ordinary user's rights, so that permissions bite.
struct scratch {
    fs::path root;

    scratch() {
        char name[] = "/tmp/vela-files-XXXXXX";
        ck_assert_ptr_nonnull(mkdtemp(name));
        root = name;
        fs::current_path(root);
        if (geteuid() == 0) {
            constexpr uid_t nobody = 65534;
            ck_assert_int_eq(chown(name, nobody, nobody), 0);
            ck_assert_int_eq(seteuid(nobody), 0);
        }
        umask(0);
    }
    ~scratch() {
        fs::current_path("/");
        if (seteuid(0) != 0)
            for (const auto &entry : fs::recursive_directory_iterator(root))
                if (entry.is_directory() && !entry.is_symlink())
                    fs::permissions(entry, fs::perms::owner_all);
        fs::remove_all(root);
    }
};

void touch(const fs::path &path) { std::ofstream{path}; }

// A walk's result with its list as a vector, in the order given.
struct walked {
    int32_t result;
    paths names;
    bool null;
};

walked walk(const std::string &dir, const char *pattern, int32_t flags) {
    char **list = nullptr;
    walked outcome = {walk_dir(dir.c_str(), pattern, flags, &list), {}, list == nullptr};
    for (char **name = list; name && *name; ++name) {
        outcome.names.emplace_back(*name);
        std::free(*name);
    }
    std::free(list);
    return outcome;
}

std::string joined(paths names) {
    std::sort(names.begin(), names.end());
    std::string text;
    for (const std::string &name : names)
        text += name + ' ';
    return text;
}

void make_tree() {
    fs::create_directories("t/sub/.deep");
    fs::create_directories("t/.hid");
    for (const char *name : {"t/a.txt", "t/.h.txt", "t/sub/b.txt", "t/sub/.deep/c.txt", "t/.hid/d.txt", "t/..e.txt"})
        touch(name);
    fs::create_symlink("a.txt", "t/link.txt");
    fs::create_directory_symlink(".", "t/loop.txt");
    fs::create_symlink("nowhere", "t/dangling.txt");
    ck_assert_int_eq(mkfifo("t/pipe.txt", 0600), 0);
}

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
    ck_assert_int_eq(mkfifo("pipe", 0600), 0);
    const struct {
        const char *path;
        int there, directory, file;
    } rows[] = {
        {"file", 1, 0, 1},      {"dir", 1, 1, 0},  {"dir/", 1, 1, 0},     {"to-file", 1, 0, 1},
        {"to-dir", 1, 1, 0},    {"pipe", 1, 0, 0}, {"dangling", 0, 0, 0}, {"file/", 0, 0, 0},
        {"/dev/null", 1, 0, 0}, {"/", 1, 1, 0},    {"absent", 0, 0, 0},   {"", 0, 0, 0},
    };
    for (const auto &row : rows) {
        ck_assert_msg(exists(row.path) == row.there, "exists %s", row.path);
        ck_assert_msg(is_dir(row.path) == row.directory, "is_dir %s", row.path);
        ck_assert_msg(is_file(row.path) == row.file, "is_file %s", row.path);
    }
}
END_TEST

START_TEST(directories_with_parents)
{
    const scratch scratch;
    touch("file");
    fs::create_symlink("nowhere", "dangling");
    const std::string long_name(300, 'n'), absolute = scratch.root.string() + "/abs/one";
    const struct {
        std::string path;
        int result;
        const char *made; // a directory that must be there afterwards
    } rows[] = {
        {"x/y/z", 0, "x/y/z"},
        {"x/y/z", 0, "x/y/z"},
        {"p//q///r//", 0, "p/q/r"},
        {"./d", 0, "d"},
        {absolute, 0, "abs/one"},
        {"//" + absolute + "/two", 0, "abs/one/two"},
        {"v/.", 0, "v"},
        {"w/../u/s", 0, "u/s"},
        {"/", 0, "/"},
        {"file", -1, "."},
        {"file/sub/er", -1, "."},
        {"", -1, "."},
        {"kept/" + long_name, -1, "kept"},
        {"dangling", -1, "."},
        {"dangling/sub", -1, "."},
    };
    for (const auto &row : rows) {
        ck_assert_msg(mkdirp(row.path.c_str()) == row.result, "%s", row.path.c_str());
        ck_assert_msg(fs::is_directory(row.made), "%s makes %s", row.path.c_str(), row.made);
    }
    for (const char *made : {"x", "x/y", "x/y/z"})
        ck_assert(fs::status(made).permissions() == fs::perms::owner_all);
    umask(0577);
    ck_assert_int_eq(mkdirp("masked"), 0);
    ck_assert(fs::status("masked").permissions() == fs::perms::owner_write);
}
END_TEST

// Several processes make the same directories at the same time; each finds them there.
START_TEST(directories_made_by_others_meanwhile)
{
    const scratch scratch;
    constexpr int kProcesses = 4, kRounds = 30;
    for (int i = 0; i < kProcesses; ++i)
        if (fork() == 0) {
            for (int round = 0; round < kRounds; ++round) {
                std::string path = std::to_string(round);
                for (int depth = 0; depth < 20; ++depth)
                    path += "/d";
                if (mkdirp(path.c_str()) != 0)
                    _exit(1);
            }
            _exit(0);
        }
    for (int i = 0; i < kProcesses; ++i) {
        int status = -1;
        wait(&status);
        ck_assert_int_eq(status, 0);
    }
}
END_TEST

START_TEST(candidates_by_flags)
{
    const scratch scratch;
    make_tree();
    const struct {
        const char *dir, *pattern;
        int32_t flags;
        const char *names; // sorted, each followed by a space
    } rows[] = {
        {"t", "\\.txt$", 0, "t/a.txt t/pipe.txt "},
        {"t", "\\.txt$", WALK_RECURSE, "t/a.txt t/pipe.txt t/sub/b.txt "},
        {"t", "\\.txt$", WALK_HIDDEN, "t/..e.txt t/.h.txt t/a.txt t/pipe.txt "},
        {"t", "\\.txt$", WALK_LINKS, "t/a.txt t/dangling.txt t/link.txt t/loop.txt t/pipe.txt "},
        {"t", "", WALK_DIRS, "t/a.txt t/pipe.txt t/sub "},
        {"t", "[cd].txt", WALK_RECURSE | WALK_HIDDEN, "t/.hid/d.txt t/sub/.deep/c.txt "},
        {"t", "^t/[^/]*$", WALK_RECURSE | WALK_HIDDEN | WALK_DIRS,
         "t/..e.txt t/.h.txt t/.hid t/a.txt t/pipe.txt t/sub "},
        {"t", "sub|dang", 15 + 16, "t/dangling.txt t/sub t/sub/.deep t/sub/.deep/c.txt t/sub/b.txt "},
        {"t/", "a", 0, "t//a.txt "},
        {"t/loop.txt", "(a|b)\\.txt", WALK_RECURSE, "t/loop.txt/a.txt t/loop.txt/sub/b.txt "},
        {".", "^\\./t$", WALK_DIRS, "./t "},
        {"t", "t/?$", 15,
         "t/..e.txt t/.h.txt t/.hid/d.txt t/a.txt t/dangling.txt t/link.txt t/loop.txt t/pipe.txt "
         "t/sub/.deep/c.txt t/sub/b.txt "},
    };
    errno = EDOM; // of no interest to the walk
    for (const auto &row : rows) {
        const walked outcome = walk(row.dir, row.pattern, row.flags);
        ck_assert_int_eq(outcome.result, 0);
        assert_text_eq(joined(outcome.names), row.names);
    }
    // What a directory holds comes before itself.
    const paths order = walk("t", "sub", WALK_RECURSE | WALK_DIRS).names;
    ck_assert_str_eq(order.at(0).c_str(), "t/sub/b.txt");
    ck_assert_str_eq(order.at(1).c_str(), "t/sub");
}
END_TEST

START_TEST(results_and_lists)
{
    const scratch scratch;
    make_tree();
    char *mine = nullptr, **untouched = &mine;
    ck_assert_int_eq(walk_dir("t", "(", 0, &untouched), 1);
    ck_assert_ptr_eq(untouched, &mine);

    const walked nothing = walk("t", "nothing", 15);
    ck_assert(nothing.result == 0 && nothing.null);
    walked absent = {};
    const std::string warning = captured(stderr, [&] { absent = walk("absent", "", 15); });
    ck_assert(absent.result == 3 && absent.null);
    assert_text_eq(warning,
                   std::string(program_invocation_short_name) + ": can't open absent: No such file or directory\n");
    captured(stderr, [&] { ck_assert_int_eq(walk("t/a.txt", "", 0).result, 3); });

    // Past the first growths; the slots behind the names are null.
    name_list list = {};
    for (int i = 0; i < 40; ++i) {
        ck_assert_int_eq(add_to_names(&list, std::to_string(i).c_str()), 0);
        ck_assert_uint_eq(list.capacity, i < 15 ? 16 : i < 31 ? 32 : 64);
        ck_assert_int_eq(list.count, i + 1);
        for (uint32_t slot = 0; slot < list.capacity; ++slot)
            if (slot <= static_cast<uint32_t>(i))
                assert_text_eq(list.names[slot], std::to_string(slot));
            else
                ck_assert_ptr_null(list.names[slot]);
    }
    for (int i = 0; i < list.count; ++i)
        std::free(list.names[i]);
    std::free(list.names);
}
END_TEST

// Whatever the walk does to be fast, it lists what regexec() matches.
START_TEST(what_patterns_list)
{
    const scratch scratch;
    fs::create_directory("t");
    for (const char *name :
         {"a", "b", "ab", "aab", "abb", "a.b", "a]b", "a-b", "a+b", "a\\b", "ab ab", "abc[", "\xc3\xa4"})
        touch(fs::path("t") / name);
    paths every = walk("t", "", 0).names;
    ck_assert_uint_eq(every.size(), 13);
    const std::string long_run(70, 'a');
    const paths patterns = {
        "a",        "ab",        "aab*",       "aab+",   "aab?",    "b$",           "^t/a",
        "a.b",      "a\\.b",     "a[]]b",      "a[^]]b", "a[]+]+b", "[[:alpha:]]b", "a[[:punct:]b]b",
        "[[.-.]]b", "[[=a=]]b$", "a\\]b",      "a\\+b",  "a\\\\b",  "a\\\\*b$",     "ab|a-",
        "(ab)?c",   "a{2}",      "b\\>",       "\\bab",  "a\\wb",   "a\\Wb",        "ab ab",
        "a]*b",     "\xc3\xa4",  "\xc3\xa4*b", "abc\\[", "a)*b",    long_run,       long_run + "*b",
        ".",
    };
    for (const std::string &pattern : patterns) {
        regex_t expression;
        ck_assert_msg(regcomp(&expression, pattern.c_str(), REG_EXTENDED | REG_NOSUB) == 0, "%s", pattern.c_str());
        paths expected;
        for (const std::string &path : every)
            if (regexec(&expression, path.c_str(), 0, nullptr, 0) == 0)
                expected.push_back(path);
        regfree(&expression);
        const walked outcome = walk("t", pattern.c_str(), 0);
        ck_assert_msg(joined(outcome.names) == joined(expected), "%s lists %s instead of %s", pattern.c_str(),
                      joined(outcome.names).c_str(), joined(expected).c_str());
    }
}
END_TEST

// Directories that may not be read or searched: the walk warns, goes on, and says so at the end.
START_TEST(trouble_on_the_way)
{
    const scratch scratch;
    const std::string program = program_invocation_short_name;
    fs::create_directories("t/blind");
    touch("t/blind/x");
    touch("t/y");
    chmod("t/blind", 0400);
    walked outcome = {};
    std::string warnings = captured(stderr, [&] { outcome = walk("t", "", WALK_RECURSE); });
    assert_text_eq(warnings, program + ": Can't stat t/blind/x: Permission denied\n");
    ck_assert_int_eq(outcome.result, 3); // left behind by the walk of t/blind
    assert_text_eq(joined(outcome.names), "t/y ");
    chmod("t/blind", 0700);

    // A directory that opens forgets what one before it left behind.
    for (const char *name : {"t/m", "t/n", "t/o", "t/p"})
        fs::create_directory(name);
    for (const char *locked : {"t/blind", "t/m", "t/n", "t/o", "t/p"}) {
        chmod(locked, 0);
        std::string last;
        for (const auto &entry : fs::directory_iterator("t"))
            last = entry.is_directory() ? entry.path().string() : last;
        warnings = captured(stderr, [&] { outcome = walk("t", "", WALK_RECURSE | WALK_DIRS); });
        assert_text_eq(warnings, program + ": can't open " + locked + ": Permission denied\n");
        ck_assert_int_eq(outcome.result, last == locked ? 3 : 0);
        assert_text_eq(joined(outcome.names), locked == std::string("t/blind")
                                                  ? "t/blind t/m t/n t/o t/p t/y "
                                                  : "t/blind t/blind/x t/m t/n t/o t/p t/y ");
        chmod(locked, 0700);
    }
}
END_TEST

// The path buffer has room for 4095 characters, and for a directory of 4094.
START_TEST(long_paths)
{
    const scratch scratch;
    const std::string program = program_invocation_short_name;
    fs::create_directories("r/ab");
    touch("r/ab/inside");
    touch("r/abc");
    const auto directory = [](size_t length) { return "r" + std::string(length - 1, '/'); };

    ck_assert_int_eq(walk(directory(4095), "", 15).result, 2);
    const struct {
        size_t length;
        paths fitting, warned;
    } rows[] = {
        {4091, {"ab", "abc"}, {"ab/inside"}},
        // The path of ab has 4095 characters: it is listed, but too long to be walked.
        {4092, {"ab"}, {"abc"}},
        {4094, {}, {"ab", "abc"}},
    };
    for (const auto &row : rows) {
        const std::string dir = directory(row.length) + "/";
        walked outcome = {};
        std::string warnings = captured(stderr, [&] { outcome = walk(directory(row.length), "", 15); });
        ck_assert_int_eq(outcome.result, 3);
        paths expected;
        for (const std::string &name : row.fitting)
            expected.push_back(dir + name);
        assert_text_eq(joined(outcome.names), joined(expected));
        size_t length = 0;
        for (const std::string &name : row.warned) {
            const std::string line = program + ": Can't stat " + dir + name + ": File name too long\n";
            ck_assert(warnings.find(line) != std::string::npos);
            length += line.size();
        }
        ck_assert_uint_eq(warnings.size(), length);
    }
}
END_TEST

Suite *filesystem_suite() {
    Suite *suite = suite_create("filesystem");
    TCase *tests = tcase_create("filesystem");
    tcase_add_test(tests, existence_and_type);
    tcase_add_test(tests, directories_with_parents);
    tcase_add_test(tests, directories_made_by_others_meanwhile);
    tcase_add_test(tests, candidates_by_flags);
    tcase_add_test(tests, results_and_lists);
    tcase_add_test(tests, what_patterns_list);
    tcase_add_test(tests, trouble_on_the_way);
    tcase_add_test(tests, long_paths);
    suite_add_tcase(suite, tests);
    return suite;
}

// A walk against find(1) on the same tree of 50,000 entries. Each run of find is a process that writes to /dev/null; a
// program that calls find would also have to read its output. Both use the locale "C". The walk examines each entry. So
// does find when it is asked for the number of links; otherwise it trusts the types in the directory.
#include "ratios.hpp"
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <set>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>
#include <vela/filesystem.h>

namespace fs = std::filesystem;

namespace {

constexpr int kEntries = 50000, kFilesPerDirectory = 99;
constexpr int32_t kEverything = WALK_RECURSE | WALK_LINKS | WALK_HIDDEN | WALK_DIRS;

using paths = std::set<std::string>;

struct tree {
    fs::path root;

    tree() {
        char name[] = "/tmp/vela-bench-XXXXXX";
        if (!mkdtemp(name))
            std::abort();
        root = name;
        for (int i = 0; i < kEntries / (kFilesPerDirectory + 1); ++i) {
            const fs::path directory = root / ("day" + std::to_string(i));
            fs::create_directory(directory);
            for (int j = 0; j < kFilesPerDirectory; ++j)
                std::ofstream{directory / ("picture-" + std::to_string(j) + (j % 3 ? ".jpg" : ".txt"))};
        }
    }
    ~tree() { fs::remove_all(root); }
};

// Made when first needed and removed at the end.
const tree &the_tree() {
    static const tree tree;
    return tree;
}

// Calls visit for each path found.
template <class Visit>
void walk(const char *pattern, Visit visit) {
    char **names = nullptr;
    if (walk_dir(the_tree().root.c_str(), pattern, kEverything, &names) != 0)
        std::abort();
    for (char **name = names; name && *name; ++name) {
        visit(*name);
        std::free(*name);
    }
    std::free(names);
}

enum class entries { examined, trusted };

pid_t start_find(entries how, const char *pattern, int output) {
    std::vector<const char *> arguments = {"find", the_tree().root.c_str(), "-mindepth", "1"};
    if (how == entries::examined)
        arguments.insert(arguments.end(), {"-links", "0", ","}); // examines each entry, and is always false
    arguments.insert(arguments.end(), {"-regextype", "posix-extended", "-regex", pattern, "-print", nullptr});
    char locale[] = "LC_ALL=C";
    char *environment[] = {locale, nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    pid_t child = -1;
    posix_spawnp(&child, "find", &actions, nullptr, const_cast<char **>(arguments.data()), environment);
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

bool ends_well(pid_t child) {
    int status = -1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

bool same_paths(const char *pattern, const char *find_pattern) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    const pid_t child = start_find(entries::examined, find_pattern, ends[1]);
    close(ends[1]);
    paths theirs, ours;
    FILE *output = fdopen(ends[0], "r");
    for (char line[4096]; std::fgets(line, sizeof line, output);)
        theirs.emplace(line, std::strlen(line) - 1);
    std::fclose(output);
    walk(pattern, [&](const char *path) { ours.insert(path); });
    return ends_well(child) && !ours.empty() && ours == theirs;
}

// The same set of paths by an expression that matches anywhere, and by one of find, which matches the whole path.
void add_case(const std::string &name, const char *pattern, const char *find_pattern) {
    ratios::add(name, "vela", [=](ratios::State &state) {
        if (!same_paths(pattern, find_pattern))
            state.SkipWithError("the paths differ from find's");
        for (auto _ : state)
            walk(pattern, [](const char *path) { benchmark::DoNotOptimize(path); });
        state.SetItemsProcessed(state.iterations() * kEntries);
    })->UseRealTime();
    for (const auto &[alternative, how] :
         {std::pair{"find", entries::examined}, {"find without stat", entries::trusted}})
        ratios::add(name, alternative, kEntries, [=, how = how] {
            static const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
            return ends_well(start_find(how, find_pattern, nowhere));
        })->UseRealTime();
    ratios::target(name, 1, {"find"});
}

[[maybe_unused]] const bool registered = [] {
    add_case("walk_dir, suffix", "\\.txt$", ".*\\.txt");
    add_case("walk_dir, name", "/[a-z]+-[0-9]*7[0-9]*\\.txt$", ".*/[a-z]+-[0-9]*7[0-9]*\\.txt");
    add_case("walk_dir, alternatives", "\\.(txt|png)$", ".*\\.(txt|png)");
    add_case("walk_dir, everything", "", ".*");
    return true;
}();

} // namespace

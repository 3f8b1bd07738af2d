// A directory to work in, with its content.
#pragma once

#include "support.hpp"
#include <filesystem>
#include <fstream>
#include <set>
#include <sys/stat.h>

// The working directory while it lives, with an ordinary user's rights, so that permissions bite.
struct scratch {
    char root[32] = "/tmp/walked-XXXXXX";

    // With these entries and their directories: "directory/", "link>target" and "file".
    explicit scratch(std::initializer_list<const char *> entries = {}) {
        ck_assert_ptr_nonnull(mkdtemp(root));
        std::filesystem::current_path(root);
        ck_assert(geteuid() != 0 || (chown(root, 65534, 65534) == 0 && seteuid(65534) == 0));
        umask(0);
        for (const std::string entry : entries) {
            const size_t mark = entry.find('>');
            if (const size_t slash = entry.rfind('/'); slash != entry.npos)
                std::filesystem::create_directories(entry.substr(0, slash));
            if (mark != entry.npos)
                std::filesystem::create_symlink(entry.substr(mark + 1), entry.substr(0, mark));
            else
                std::ofstream{entry};
        }
    }
    ~scratch() {
        std::filesystem::current_path("/");
        (void)!seteuid(0);
        std::filesystem::remove_all(root);
    }
};

// Names in their order, each after a blank.
template <class Names>
std::string sorted(const Names &names) {
    std::string text;
    for (const std::string_view name : std::set<std::string_view>(names.begin(), names.end()))
        text.append(" ").append(name);
    return text;
}

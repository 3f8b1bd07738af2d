// Walks for C++.
#include "support.hpp"
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <vela/cpp/walk.hpp>

using namespace std::literals;
using vela::walk;
using vela::walk_flags;

static_assert(std::forward_iterator<walk::iterator>);
static_assert(!std::is_copy_constructible_v<walk>);

namespace {

struct folder {
    char root[32] = "/tmp/walk-XXXXXX";

    folder() {
        ck_assert_ptr_nonnull(mkdtemp(root));
        std::filesystem::current_path(root);
        std::filesystem::create_directory("d");
        for (const char *file : {"a", ".h", "d/b"})
            std::ofstream{file};
        std::filesystem::create_symlink("a", "l");
    }
    ~folder() {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(root);
    }
};

std::string listed(const walk &found) {
    const std::set<std::string_view> names(found.begin(), found.end());
    std::string text;
    for (const std::string_view name : names)
        text.append(name).append(" ");
    return text;
}

} // namespace

TEST(a_walk_finds_what_its_flags_name) {
    const folder here;
    const std::pair<walk_flags, const char *> rows[] = {
        {walk_flags::none, "./a "},
        {walk_flags::recurse, "./a ./d/b "},
        {walk_flags::links, "./a ./l "},
        {walk_flags::hidden, "./.h ./a "},
        {walk_flags::recurse | walk_flags::directories, "./a ./d ./d/b "}};
    for (const auto &[flags, names] : rows) {
        const auto found = walk::make(".", "", flags);
        ck_assert(found.has_value());
        ck_assert(found->is_complete());
        assert_text_eq(listed(*found), names);
    }
}

TEST(nothing_found_is_another_thing_than_trouble) {
    const folder here;
    const auto none = walk::make(".", "x$");
    ck_assert(none);
    ck_assert(none->is_complete());
    ck_assert(none->empty());
    ck_assert(none->begin() == none->end());
    ck_assert(!none->get());
    captured(stderr, [] {
        const auto missing = walk::make("missing", "");
        ck_assert(missing);
        ck_assert(!missing->is_complete());
        ck_assert(missing->empty());
    });
    for (const auto &[dir, pattern] :
         {std::pair(""s + '\0', ""s), {".", "("}, {".", "a"s + '\0'}, {std::string(4095, 'd'), ""}})
        ck_assert(!walk::make(dir, pattern));
}

TEST(a_list_moves_and_is_handed_over) {
    const folder here;
    auto found = walk::make(".", "/[al]$", walk_flags::links);
    walk moved = std::move(*found);
    ck_assert_uint_eq(moved.size(), 2);
    ck_assert(moved[0] == *moved.begin());
    char **list = moved.release();
    for (char **name = list; *name; ++name)
        std::free(*name);
    std::free(list);
}

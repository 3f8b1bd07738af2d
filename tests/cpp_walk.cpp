// Walks for C++.
#include "scratch.hpp"
#include <iterator>
#include <malloc.h>
#include <sys/resource.h>
#include <vela/cpp/walk.hpp>

using namespace std::literals;
using vela::walk;

static_assert(std::forward_iterator<walk::iterator>);
static_assert(!std::is_copy_constructible_v<walk>);

TEST(a_walk_finds_what_its_flags_say) {
    const scratch here({"a", ".h", "d/b", "l>a"});
    const std::pair<walk::flags, const char *> rows[] = {
        {walk::flags::none, " ./a"},
        {walk::flags::recurse, " ./a ./d/b"},
        {walk::flags::links, " ./a ./l"},
        {walk::flags::hidden, " ./.h ./a"},
        {walk::flags::recurse | walk::flags::directories, " ./a ./d ./d/b"}};
    for (const auto &[flags, names] : rows) {
        const walk found = value_of(walk::make(".", "", flags));
        ck_assert(found.is_complete());
        assert_text_eq(sorted(found), names);
    }
}

TEST(no_paths_differ_from_an_error) {
    const walk none = value_of(walk::make("/proc/self/fd", "x$"));
    ck_assert(none.is_complete());
    ck_assert(none.empty());
    ck_assert(none.begin() == none.end());
    ck_assert(!none.get());
    captured(stderr, [] {
        const walk missing = value_of(walk::make("/missing", ""));
        ck_assert(!missing.is_complete());
        ck_assert(missing.empty());
    });
    for (const auto &[dir, pattern] :
         {std::pair(""s + '\0', ""s), {".", "("}, {".", "a"s + '\0'}, {std::string(4095, 'd'), ""}})
        ck_assert_msg(!walk::make(dir, pattern), "%zu characters for %s", dir.size(), pattern.c_str());
}

// The C function shows only failures after the last directory that opened.
TEST(a_walk_is_incomplete_without_any_of_its_directories) {
    const scratch here({"t/y", "t/m/x", "t/n/x", "t/o/x", "d/d/d/d/d/d/f", "r/ab/x"});
    const auto found_in = [](const std::string &dir, size_t size, bool is_complete) {
        captured(stderr, [&] {
            errno = ENOENT; // of another call
            const walk found = value_of(walk::make(dir, "", walk::flags::recurse));
            ck_assert_msg(found.is_complete() == is_complete, "%.9s: %d", dir.c_str(), found.is_complete());
            ck_assert_uint_eq(found.size(), size);
        });
    };
    found_in("t", 4, true);
    for (const char *locked : {"t/m", "t/n", "t/o"}) {
        chmod(locked, 0);
        found_in("t", 3, false);
        chmod(locked, 0700);
    }
    found_in("r" + std::string(4091, '/'), 0, false); // "ab" is too long a path to be opened
    rlimit limit;
    ck_assert_int_eq(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit few = {static_cast<rlim_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {})) +
                            4,
                        limit.rlim_max};
    found_in("d", 1, true);
    captured(stderr, [&] {
        setrlimit(RLIMIT_NOFILE, &few);
        const walk deep = value_of(walk::make("d", "", walk::flags::recurse));
        setrlimit(RLIMIT_NOFILE, &limit);
        ck_assert(!deep.is_complete());
        ck_assert(deep.empty());
    });
}

// A hundred walks don't grow the heap; what the allocator keeps in its caches counts as allocated.
#ifdef __GLIBC__
TEST(the_paths_are_released) {
    const scratch here({"a", "b"});
    size_t allocated[2] = {};
    for (int i = 0; i < 110; ++i) {
        ck_assert_uint_eq(value_of(walk::make(".", "")).size(), 2);
        allocated[i >= 10] = mallinfo2().uordblks;
    }
    ck_assert_uint_lt(allocated[1], allocated[0] + 3000);
}
#endif

TEST(a_list_is_moved_and_released) {
    const scratch here({"a", "b"});
    walk found = value_of(walk::make(".", ""));
    walk moved = std::move(found);
    ck_assert_uint_eq(moved.size(), 2);
    auto at = moved.begin();
    ck_assert(*at++ == moved[0]);
    ck_assert(*at == moved[1]);
    char **list = moved.release();
    ck_assert(moved.empty());
    for (char **name = list; *name; ++name)
        std::free(*name);
    std::free(list);
}

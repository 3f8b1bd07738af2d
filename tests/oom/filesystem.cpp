#include "../support.hpp"
#include "allocator.hpp"
#include <algorithm>
#include <filesystem>
#include <vela/filesystem.h>

START_TEST(names_walks_and_parents)
{
    // The names stored so far stay, and null pointers behind them; the room is doubled.
    oom::each_allocation_fails([] {
        name_list list = {};
        uint32_t stored = 0;
        for (int i = 0; i < 40; ++i) {
            if (add_to_names(&list, "name") == 0)
                ck_assert_uint_eq(list.capacity, ++stored < 16 ? 16 : stored < 32 ? 32 : 64);
            ck_assert_int_eq(std::count(list.names, list.names + list.capacity, nullptr), list.capacity - stored);
        }
        ck_assert(stored >= 39 && list.count == static_cast<int32_t>(stored));
        std::for_each(list.names, list.names + stored, oom_free);
        oom_free(list.names);
    });

    char root[] = "/tmp/vela-oom-XXXXXX";
    ck_assert_ptr_nonnull(mkdtemp(root));
    const std::string parent = root + std::string("/new"), child = parent + "/er";
    oom::each_allocation_fails([&] {
        ck_assert_int_eq(mkdirp(child.c_str()) == 0, is_dir(child.c_str()));
        std::filesystem::remove_all(parent);
    });
    for (const char *name : {"/a", "/b", "/c"})
        ck_assert_int_eq(mkdirp((root + std::string(name)).c_str()), 0);
    oom::each_allocation_fails([&] {
        char **names = nullptr;
        int32_t result = 0, count = 0;
        captured(stderr, [&] { result = walk_dir(root, "", WALK_DIRS, &names); });
        for (; names && names[count]; ++count)
            oom_free(names[count]);
        oom_free(names);
        ck_assert(result == 3 ? count == 2 || count == 0 : count == 3);
    });
    std::filesystem::remove_all(root);
}
END_TEST

Suite *filesystem_suite() { return suite_of("filesystem", {names_walks_and_parents}); }

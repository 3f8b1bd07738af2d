#include "../support.hpp"
#include "allocator.hpp"
#include <algorithm>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vela/filesystem.h>

// The names stored so far stay, ended by a null pointer.
START_TEST(names_that_cannot_be_stored)
{
    oom::each_allocation_fails([] {
        name_list list = {};
        int32_t stored = 0;
        for (int i = 0; i < 40; ++i) {
            stored += add_to_names(&list, "name") == 0;
            ck_assert_int_eq(list.count, stored);
            ck_assert(!list.names || !list.names[stored]);
        }
        ck_assert_int_ge(stored, 39);
        std::for_each(list.names, list.names + stored, oom_free);
        oom_free(list.names);
    });
}
END_TEST

START_TEST(walks_and_parents)
{
    char root[] = "/tmp/vela-oom-XXXXXX";
    ck_assert_ptr_nonnull(mkdtemp(root));
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
    oom::each_allocation_fails([&] {
        const std::string path = root + std::string("/new/er");
        ck_assert_int_eq(mkdirp(path.c_str()) == 0, is_dir(path.c_str()));
        rmdir(path.c_str());
        rmdir((root + std::string("/new")).c_str());
    });
    for (const char *name : {"/a", "/b", "/c", ""})
        ck_assert_int_eq(rmdir((root + std::string(name)).c_str()), 0);
}
END_TEST

Suite *filesystem_suite() {
    Suite *suite = suite_create("filesystem");
    TCase *tests = tcase_create("out of memory");
    tcase_add_test(tests, names_that_cannot_be_stored);
    tcase_add_test(tests, walks_and_parents);
    suite_add_tcase(suite, tests);
    return suite;
}

#include "../support.hpp"
#include "allocator.hpp"
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vela/filesystem.h>

namespace {

int32_t release(char **names) {
    int32_t count = 0;
    for (; names && names[count]; ++count)
        oom_free(names[count]);
    oom_free(names);
    return count;
}

} // namespace

// The names stored so far stay, and stay ended by a null pointer.
START_TEST(names_that_cannot_be_stored)
{
    oom::each_allocation_fails([] {
        name_list list = {};
        int32_t stored = 0;
        for (int i = 0; i < 40; ++i) {
            const int32_t before = list.count;
            const int32_t result = add_to_names(&list, std::to_string(i).c_str());
            ck_assert_int_eq(list.count, before + (result == 0));
            stored += result == 0;
        }
        ck_assert_int_ge(stored, 39);
        ck_assert_int_eq(release(list.names), stored);
    });
}
END_TEST

START_TEST(walks_and_parents)
{
    char name[] = "/tmp/vela-oom-XXXXXX";
    ck_assert_ptr_nonnull(mkdtemp(name));
    const std::string root = name;
    for (int i = 0; i < 20; ++i)
        ck_assert_int_eq(mkdirp((root + "/d" + std::to_string(i)).c_str()), 0);

    oom::each_allocation_fails([&] {
        char **names = nullptr;
        int32_t result = 0;
        captured(stderr, [&] { result = walk_dir(name, "", WALK_DIRS, &names); });
        const int32_t count = release(names);
        ck_assert(result == 3 ? count == 19 || count == 0 : count == 20);
    });

    oom::each_allocation_fails([&] {
        const std::string first = root + "/a", path = first + "/b";
        const int32_t result = mkdirp(path.c_str());
        ck_assert_int_eq(is_dir(path.c_str()), result == 0);
        if (result == 0) {
            rmdir(path.c_str());
            rmdir(first.c_str());
        }
    });

    for (int i = 0; i < 20; ++i)
        rmdir((root + "/d" + std::to_string(i)).c_str());
    ck_assert_int_eq(rmdir(name), 0);
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

#include "ratios.hpp"
#include <vela/uuid.h>
#ifdef HAVE_UUID
#include <uuid/uuid.h>
#endif

namespace {

constexpr char kText[] = "00112233-4455-6677-8899-aabbccddeeff";

struct data {
    uint8_t uuid[16] = {0, 17, 34, 51, 68, 85, 102, 119, 136, 153, 170, 187, 204, 221, 238, 255};
    char text[40];
};

template <class Function>
void add(const std::string &name, const char *implementation, Function function) {
    ratios::add(name, implementation, 1, [=, it = data()]() mutable { function(it); });
}

const bool registered = [] {
    add("random UUID", "vela", [](data &it) { uuid_create(it.uuid); });
    add("UUID to text", "vela", [](data &it) { uuid_sprint(it.text, it.uuid); });
    add("text to UUID", "vela", [](data &it) { uuid_scan(kText, it.uuid); });
#ifdef HAVE_UUID
    add("random UUID", "libuuid", [](data &it) { uuid_generate_random(it.uuid); });
    add("UUID to text", "libuuid", [](data &it) { uuid_unparse_lower(it.uuid, it.text); });
    add("text to UUID", "libuuid", [](data &it) { uuid_parse(kText, it.uuid); });
#endif
    ratios::target("UUID to text", 2);
    ratios::target("text to UUID", 5);
    ratios::note("A random UUID takes three system calls: open, read and close. libuuid makes one, getrandom().");
    return true;
}();

} // namespace

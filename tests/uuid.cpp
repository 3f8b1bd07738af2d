// Randomness from the device and from the fallback, and UUIDs as texts.
#include "models/text.hpp"
#include "support.hpp"
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/resource.h>
#include <sys/syscall.h>

using namespace model;

namespace {

// The effect on the library's reads of the device: the number of interruptions first, and of bytes missing from each.
std::atomic<int> interruptions = 0, reads = 0;
size_t missing = 0;
thread_local int descriptor_flags = 0; // of the device

uint32_t next() { return static_cast<uint32_t>(random()); }

// randbytes() of every length and alignment must give what the generator would, and nothing beyond: the upper bytes of
// one number up to an aligned address, whole numbers, and the upper bytes of one more.
void check_generator() {
    for (size_t offset = 0; offset < 4; ++offset)
        for (size_t length = 0; length <= 21; ++length) {
            alignas(4) uint8_t buffer[32] = {}, expected[32] = {};
            uint8_t *to = expected + offset;
            const uint8_t *const end = to + length;
            const auto fill = [&](size_t count) {
                for (uint32_t value = next() >> 8; count; --count, value >>= 8)
                    *to++ = static_cast<uint8_t>(value);
            };
            srandom(77);
            fill(std::min((4 - offset) % 4, length));
            for (uint32_t word; end - to >= 4; to += 4)
                std::memcpy(to, &(word = next()), 4);
            fill(static_cast<size_t>(end - to));
            srandom(77);
            randbytes(buffer + offset, static_cast<uint32_t>(length));
            agree("randbytes", "of " + std::to_string(length) + " bytes after " + std::to_string(offset),
                  {reinterpret_cast<char *>(buffer), 32}, {reinterpret_cast<char *>(expected), 32});
        }
}

// Nothing can be opened in a process of its own.
template <class Action>
void assert_without_device(Action action) {
    const rlimit none = {};
    ck_assert_int_eq(status_of_child([&] {
                         setrlimit(RLIMIT_NOFILE, &none);
                         action();
                         return 0;
                     }),
                     0);
}

} // namespace

// The library's calls arrive here.
extern "C" ssize_t read(int descriptor, void *buf, size_t len) {
    ++reads;
    descriptor_flags = fcntl(descriptor, F_GETFD);
    if (interruptions > 0) {
        --interruptions;
        errno = EINTR;
        return -1;
    }
    return syscall(SYS_read, descriptor, buf, len - std::min(len, missing));
}

// A test has a process of its own, in which nothing has been seeded yet.
TEST(without_a_device_the_generator_serves_from_a_fixed_seed) {
    assert_without_device([] {
        alignas(4) uint32_t words[4];
        uuid_create(reinterpret_cast<uint8_t *>(words));
        const int32_t drawn = randint(999, 0);
        srandom(0x52A7C3D1);
        next(); // one for no bytes before the words, and another one after them
        for (const uint32_t word : words)
            agree("uuid_create", "no device", word, next());
        next();
        agree("randint", "999 to 0", drawn, next() % 1000);
    });
}

// Equal bounds seed the generator, and draw nothing.
TEST(without_a_device_or_with_one_that_delivers_too_little_the_generator_serves) {
    randint(3, 3);
    assert_without_device(check_generator);
    missing = 1;
    check_generator();
}

TEST(the_device_is_closed_and_not_inherited) {
    const auto open_files = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    uint8_t made[16];
    randbytes(made, 16);
    const auto before = open_files();
    for (int i = 0; i < 3; ++i)
        randbytes(made, 16);
    ck_assert_int_eq(open_files(), before);
    ck_assert_int_eq(descriptor_flags, FD_CLOEXEC);
}

TEST(an_interrupted_read_is_tried_again) {
    randint(1, 1);
    uint8_t made[16], again[16];
    interruptions = 3, reads = 0;
    for (uint8_t *uuid : {made, again}) {
        srandom(1);
        uuid_create(uuid);
    }
    ck_assert_int_eq(randint(7, 7), 7); // draws nothing
    ck_assert_int_eq(reads, 5);
    errno = EINTR; // of another call, long ago
    randbytes(made, 0);
    ck_assert_int_ne(uuid_compare(made, again), 0);
}

TEST(integers_lie_between_their_bounds) {
    const int32_t rows[][2] = {{5, 5}, {1, 9}, {9, 1}, {-3, 3}, {INT32_MIN, INT32_MIN + 1}, {INT32_MAX, INT32_MAX - 1}};
    for (const auto &[a, b] : rows) {
        const auto [low, high] = std::minmax(a, b);
        std::set<int32_t> seen;
        for (int i = 0; i < 400; ++i)
            seen.insert(randint(a, b));
        ck_assert_int_eq(*seen.begin(), low);
        ck_assert_int_eq(*seen.rbegin(), high);
        ck_assert_uint_eq(seen.size(), static_cast<size_t>(high - low) + 1);
    }
    // Sixteen bits are the whole randomness, even of the widest range.
    for (int i = 0; i < 100; ++i)
        ck_assert_int_lt(randint(INT32_MAX, INT32_MIN), INT32_MIN + 65536);
}

TEST(printing_to_any_format) {
    char text[40];
    ck_assert_int_eq(uuid_sprintf(text, (kPlainFormat + "%%").c_str(), kUuid.data()), 33);
    assert_text_eq(text, kUuidTexts[2] + "%");
    const std::string printed = captured(stdout, [] {
        ck_assert_int_eq(uuid_fprint(stdout, kUuid.data()), 38);
        ck_assert_int_eq(uuid_fprintf(stdout, kPlainFormat.c_str(), kUuid.data()), 32);
    });
    assert_text_eq(printed, kUuidTexts[0] + kUuidTexts[2]);
    FILE *const full = std::fopen("/dev/full", "w");
    std::setvbuf(full, nullptr, _IONBF, 0);
    ck_assert_int_lt(uuid_fprint(full, kUuid.data()), 0);
    std::fclose(full);
}

TEST(each_byte_counts_in_text_and_comparison) {
    ck_assert_int_eq(uuid_compare(kUuid.data(), kUuid.data()), 0);
    for (size_t i = 0; i < 16; ++i) {
        auto other = kUuid;
        other[i] ^= 0x80;
        check_uuid_bytes(other.data());
        ck_assert_int_eq(uuid_compare(other.data(), kUuid.data()) > 0, other[i] > kUuid[i]);
        ck_assert_int_eq(uuid_compare(kUuid.data(), other.data()) > 0, other[i] < kUuid[i]);
    }
}

TEST(texts_are_read_as_the_formats_say) {
    // Whole texts, short ones, and one a byte short of the dashed form, which is sixteen in the plain one: with signs.
    // clang-format off
    for (const char *text : {
        "{00112233-4455-6677-8899-AABBCCDDEEFF", "00112233-4455-6677-8899-aAbBcCdDeEfF} and more", "0011-2233", "",
        "00112233445566778899AABBCCDDEEFF00", "{00112233445566778899AABBCCDDEEFF}00000",
        " 0 112233-4455-6677-8899-aabbccddeeff", " {00112233-4455-6677-8899-aabbccddeeff}",
        "00112233-4455-6677-8899-aabbccddeef", "00112233-4455-6677-8899-aabbccddee"})
        check_uuid_text(text);
    // clang-format on
    // Every text of a form with one character replaced or cut off.
    for (const std::string &form : kUuidTexts)
        for (size_t place = 0; place < form.size(); ++place)
            for (const char ch : std::string_view("\0 -+0gGxX{}:@`/\x80\xff", 17)) {
                std::string text = form;
                text[place] = ch;
                check_uuid_text(text.c_str());
            }
}

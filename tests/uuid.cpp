#include "support.hpp"
#include <algorithm>
#include <array>
#include <cerrno>
#include <check.h>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <vector>
#include <vela/uuid.h>

namespace {

using bytes = std::array<uint8_t, 16>;

const bytes kUuid = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
const std::string kDashed = "00112233-4455-6677-8899-aabbccddeeff";
const std::string kPlain = "00112233445566778899AABBCCDDEEFF";
const std::string kWordFormat = "%02hhx%02hhx", kLongFormat = kWordFormat + kWordFormat;
const std::string kPlainFormat = kLongFormat + kLongFormat + kLongFormat + kLongFormat;
const std::string kDashedFormat =
    kLongFormat + "-" + kWordFormat + "-" + kWordFormat + "-" + kWordFormat + "-" + kLongFormat + kWordFormat;

// What the library's reads of the device meet: so many interruptions before the next one, and so many bytes missing
// from each. Null leaves them alone.
struct planned_read {
    int interruptions;
    size_t missing;
    int calls;
} *planned = nullptr;

// Runs in a process of its own, where no descriptor can be opened if so wanted.
template <class Action>
void in_child(bool descriptors, Action action) {
    const pid_t child = fork();
    if (child == 0) {
        const rlimit none = {};
        if (!descriptors && setrlimit(RLIMIT_NOFILE, &none) != 0)
            _exit(2);
        _exit(action() ? 0 : 1);
    }
    int status = -1;
    ck_assert_int_eq(waitpid(child, &status, 0), child);
    ck_assert_int_eq(status, 0);
}

uint32_t next() { return static_cast<uint32_t>(random()); }

// What the fallback puts into a buffer: single bytes up to an aligned address, whole words, single bytes.
std::vector<uint8_t> from_generator(size_t offset, size_t length) {
    std::vector<uint8_t> result;
    const auto single = [&](size_t count) {
        const uint32_t value = next();
        for (size_t i = 1; i <= count; ++i)
            result.push_back(static_cast<uint8_t>(value >> 8 * i));
    };
    single(std::min((4 - offset) % 4, length));
    for (; length - result.size() >= 4;) {
        const uint32_t word = next();
        const auto *first = reinterpret_cast<const uint8_t *>(&word);
        result.insert(result.end(), first, first + 4);
    }
    single(length - result.size());
    return result;
}

// Whether randbytes() of every length and alignment now gives what the generator would, and nothing beyond.
bool fills_from_generator(size_t longest) {
    alignas(4) uint8_t buffer[64];
    for (size_t offset = 0; offset < 4; ++offset)
        for (size_t length = 0; length <= longest; ++length) {
            std::memset(buffer, 0xEE, sizeof buffer);
            srandom(77);
            randbytes(buffer + offset, static_cast<uint32_t>(length));
            srandom(77);
            std::vector<uint8_t> expected(sizeof buffer, 0xEE);
            const std::vector<uint8_t> filled = from_generator(offset, length);
            std::copy(filled.begin(), filled.end(), expected.begin() + static_cast<long>(offset));
            if (std::memcmp(buffer, expected.data(), sizeof buffer) != 0)
                return false;
        }
    return true;
}

} // namespace

// The library's calls arrive here.
extern "C" ssize_t read(int descriptor, void *buf, size_t len) {
    if (planned) {
        ++planned->calls;
        if (planned->interruptions-- > 0) {
            errno = EINTR;
            return -1;
        }
        len -= std::min(len, planned->missing);
    }
    return syscall(SYS_read, descriptor, buf, len);
}

// First of its suite, so that nothing has been seeded yet.
START_TEST(seeded_once_even_without_the_device)
{
    in_child(false, [] {
        alignas(4) bytes made;
        uuid_create(made.data());
        const int32_t drawn = randint(999, 0);
        srandom(0x52A7C3D1);
        const std::vector<uint8_t> expected = from_generator(0, 16);
        return std::equal(made.begin(), made.end(), expected.begin()) && drawn == static_cast<int32_t>(next() % 1000);
    });
    // Equal bounds seed as well, and draw nothing.
    in_child(false, [] { return randint(3, 3) == 3 && fills_from_generator(21); });
}
END_TEST

START_TEST(reads_that_are_short_or_interrupted)
{
    in_child(true, [] {
        randint(1, 1);
        planned_read plan = {0, 1, 0};
        planned = &plan;
        return fills_from_generator(20);
    });
    in_child(true, [] {
        randint(1, 1);
        planned_read plan = {3, 0, 0};
        planned = &plan;
        bytes made, again;
        srandom(1);
        uuid_create(made.data());
        const int calls = plan.calls;
        srandom(1);
        uuid_create(again.data());
        return calls == 4 && plan.calls == 5 && made != again;
    });
}
END_TEST

START_TEST(random_integers)
{
    const int32_t rows[][2] = {{5, 5}, {1, 9}, {9, 1}, {-3, 3}, {INT32_MIN, INT32_MIN + 1}, {INT32_MAX, INT32_MAX - 1}};
    for (const auto &[a, b] : rows) {
        const int32_t low = std::min(a, b), high = std::max(a, b);
        unsigned seen = 0;
        for (int i = 0; i < 400; ++i) {
            const int32_t value = randint(a, b);
            ck_assert(low <= value && value <= high);
            seen |= 1U << (value - low);
        }
        ck_assert_uint_eq(seen, (1U << (high - low + 1)) - 1);
    }
    // Sixteen bits are the whole randomness, even of the widest range.
    for (int i = 0; i < 100; ++i)
        ck_assert_int_lt(randint(INT32_MAX, INT32_MIN), INT32_MIN + 65536);

    bytes one, other;
    uuid_create(one.data());
    uuid_create(other.data());
    ck_assert_int_ne(uuid_compare(one.data(), other.data()), 0);
}
END_TEST

START_TEST(comparison)
{
    ck_assert_int_eq(uuid_compare(kUuid.data(), bytes(kUuid).data()), 0);
    for (size_t i = 0; i < 16; ++i) {
        bytes other = kUuid;
        other[i] ^= 0x80;
        ck_assert_int_eq(uuid_compare(other.data(), kUuid.data()) > 0, other[i] > kUuid[i]);
        ck_assert_int_eq(uuid_compare(kUuid.data(), other.data()) > 0, other[i] < kUuid[i]);
    }
}
END_TEST

START_TEST(printing)
{
    char text[64];
    std::memset(text, '#', sizeof text);
    ck_assert_int_eq(uuid_sprint(text, kUuid.data()), 38);
    assert_text_eq(text, "{" + kDashed + "}");
    ck_assert_int_eq(text[39], '#');
    ck_assert_int_eq(uuid_sprintf(text, (kPlainFormat + "%%").c_str(), kUuid.data()), 33);
    assert_text_eq(text, "00112233445566778899aabbccddeeff%");

    const std::string printed = captured(stdout, [] {
        ck_assert_int_eq(uuid_fprint(stdout, kUuid.data()), 38);
        ck_assert_int_eq(uuid_fprintf(stdout, kPlainFormat.c_str(), kUuid.data()), 32);
    });
    assert_text_eq(printed, "{" + kDashed + "}00112233445566778899aabbccddeeff");
    FILE *const full = std::fopen("/dev/full", "w");
    std::setvbuf(full, nullptr, _IONBF, 0);
    ck_assert_int_lt(uuid_fprint(full, kUuid.data()), 0);
    std::fclose(full);
}
END_TEST

// Each row: a text, and the bytes that are read from it, as hexadecimal text; null for a text that is refused.
START_TEST(scanning)
{
    const char *const whole = "00112233445566778899aabbccddeeff";
    const char *const rows[][2] = {
        {"{00112233-4455-6677-8899-aabbccddeeff}", whole},
        {"{00112233-4455-6677-8899-AABBCCDDEEFF", whole},
        {"00112233-4455-6677-8899-aAbBcCdDeEfF} and more", whole},
        {"00112233445566778899AABBCCDDEEFF00", whole},
        {" 0 112233-4455-6677-8899-aabbccddeeff", whole},
        {"0011-2233", nullptr},
        {"", nullptr},
        {"{00112233445566778899AABBCCDDEEFF}00000", nullptr},
        {" {00112233-4455-6677-8899-aabbccddeeff}", nullptr},
        {"00112233-4455-6677-8899_aabbccddeeff", nullptr},
        {"00112233-4455-6677-8899-aabbccddeef", "00112233445566778899aabbccddee0f"},
        // A byte short of the dashed form, and yet sixteen in the plain one: with signs.
        {"00112233-4455-6677-8899-aabbccddee", "00112233fc4505fa6707f88909f6abbc"},
    };
    for (const auto &[text, expected] : rows) {
        // Exactly as long as the string, for the sanitizers.
        const std::vector<char> block(text, text + std::strlen(text) + 1);
        bytes uuid;
        ck_assert_int_eq(uuid_scan(block.data(), uuid.data()), expected ? 0 : -1);
        char printed[33];
        uuid_sprintf(printed, kPlainFormat.c_str(), uuid.data());
        if (expected)
            assert_text_eq(printed, expected);
    }
}
END_TEST

// Every text of a form with one character replaced or cut off reads as the scan formats one after the other say,
// down to what a failure leaves behind.
START_TEST(near_misses)
{
    for (const std::string &form : {"{" + kDashed + "}", kDashed, kPlain})
        for (size_t place = 0; place < form.size(); ++place)
            for (const char ch : std::string("\0 -+0gGxX{}:@`/\x80\xff", 17)) {
                std::string text = form;
                text[place] = ch;
                bytes actual = {}, expected = {};
                int conversions = 0;
                for (const std::string &format : {"{" + kDashedFormat + "}", kDashedFormat, kPlainFormat})
                    if (conversions != 16)
                        conversions = uuid_scanf(text.c_str(), format.c_str(), expected.data());
                ck_assert_int_eq(uuid_scan(text.c_str(), actual.data()), conversions == 16 ? 0 : -1);
                ck_assert_mem_eq(actual.data(), expected.data(), 16);
            }
}
END_TEST

Suite *uuid_suite() {
    Suite *suite = suite_create("uuid");
    TCase *tests = tcase_create("uuid");
    tcase_add_test(tests, seeded_once_even_without_the_device);
    tcase_add_test(tests, reads_that_are_short_or_interrupted);
    tcase_add_test(tests, random_integers);
    tcase_add_test(tests, comparison);
    tcase_add_test(tests, printing);
    tcase_add_test(tests, scanning);
    tcase_add_test(tests, near_misses);
    suite_add_tcase(suite, tests);
    return suite;
}

// UUIDs as values.
#include "models/text.hpp"
#include "support.hpp"
#include <cerrno>
#include <set>
#include <vela/cpp/uuid.hpp>

#ifndef __wasm__ // whose random bytes come from its host
#include <sys/random.h>
#include <sys/syscall.h>
#endif

using namespace model;
using vela::uuid;

static_assert(sizeof(uuid) == 16);
static_assert(uuid().is_nil());

#ifndef __wasm__
namespace {

// The results of the next calls of getrandom(): a number of bytes, or minus an error number.
std::vector<ssize_t> planned;
size_t longest_call = 0;

} // namespace

extern "C" ssize_t getrandom(void *to, size_t size, unsigned flags) {
    longest_call = std::max(longest_call, size);
    ssize_t result = static_cast<ssize_t>(size);
    if (!planned.empty()) {
        result = std::min(planned.back(), result);
        planned.pop_back();
    }
    errno = result < 0 ? static_cast<int>(-result) : ENOSYS;
    return result < 0 ? -1 : syscall(SYS_getrandom, to, static_cast<size_t>(result), flags);
}

TEST(random_bytes_are_all_written_or_refused) {
    const struct {
        std::vector<ssize_t> results; // the last one first
        bool is_good;
    } rows[] = {
        {{}, true}, {{3, -EINTR, 1, -EINTR}, true}, {{-EAGAIN}, false}, {{-ENOSYS, -EINTR, 7}, false}, {{0}, false}};
    for (const auto &[results, is_good] : rows) {
        for (const size_t size : {16U, 300U, 5000U}) {
            std::vector<uint8_t> once(size + 2), always(size + 2, 0xFF);
            planned = results;
            for (int i = 0; i < (is_good ? 16 : 1); ++i) {
                std::vector<uint8_t> bytes(size + 2);
                ck_assert_int_eq(vela::random_bytes(std::span(bytes).subspan(1, size)), is_good);
                for (size_t at = 0; at < bytes.size(); ++at)
                    once[at] |= bytes[at];
            }
            if (is_good)
                ck_assert_int_eq(std::count(once.begin() + 1, once.end() - 1, 0), 0);
            ck_assert_int_eq(once.front() | once.back(), 0);
        }
        planned = results;
        ck_assert_int_eq(uuid::random().has_value(), is_good);
    }
    ck_assert_uint_le(longest_call, 256); // more can be interrupted by a signal
    planned = {-EIO};
    ck_assert(vela::random_bytes({}));
}

#endif

TEST(text_is_written_and_parsed_in_each_form) {
    const uuid one(kUuid);
    assert_text_eq(one.to_string(), kUuidTexts[1]);
    char written[38];
    for (const auto form : {uuid::form::braced, uuid::form::dashed, uuid::form::plain}) {
        std::string text = kUuidTexts[static_cast<int>(form)];
        assert_text_eq(one.to_string(form), text);
        ck_assert(!one.to_chars(std::span(written, text.size() - 1), form).has_value());
        ck_assert_uint_eq(one.to_chars(std::span(written, text.size()), form).value_or(0), text.size());
        ck_assert_mem_eq(written, text.data(), text.size());
        ck_assert(uuid::parse(text) == one);
        std::transform(text.begin(), text.end(), text.begin(), [](unsigned char ch) { return std::toupper(ch); });
        ck_assert_msg(uuid::parse(text) == one, "%s was refused", text.c_str());
    }
}

// Every near miss of one character more, less or another.
TEST(nothing_but_a_uuid_is_parsed) {
    std::set<std::string> misses = {"", "{}", "0011-2233", "00112233-4455-6677-8899-aabbccddee",
                                    "00 11 22 33 44 55 66 77 88 99 aa bb cc dd ee ff"};
    for (const std::string &text : kUuidTexts)
        for (size_t place = 0; place <= text.size(); ++place)
            for (const char ch : std::string_view("\0 -+g{}0x", 9)) {
                misses.insert(std::string(text).insert(place, 1, ch));
                const bool is_there = place < text.size(), is_digit = is_there && std::isxdigit(text[place]);
                if (is_there && ch != text[place] && !(ch == '0' && is_digit))
                    misses.insert(std::string(text).replace(place, 1, 1, ch));
                if (is_there)
                    misses.insert(std::string(text).erase(place, 1));
            }
    for (const std::string &text : misses)
        ck_assert_msg(!uuid::parse(text), "%s was accepted", text.c_str());
}

// Each random bit of version 4 is 0 in one and 1 in another of a thousand.
TEST(random_uuids_are_of_version_4_and_differ) {
    std::array<uint8_t, 16> always = value_of(uuid::random()).bytes(), once = always, fixed = {}, open;
    std::set<uuid> seen;
    for (int i = 0; i < 1000; ++i) {
        const uuid one = *seen.insert(value_of(uuid::random())).first;
        ck_assert_uint_eq(one.version(), 4);
        for (size_t place = 0; place < 16; ++place) {
            always[place] &= one.bytes()[place];
            once[place] |= one.bytes()[place];
        }
    }
    ck_assert_uint_eq(seen.size(), 1000);
    open.fill(0xFF);
    fixed[6] = 0x40, open[6] = 0x4F;
    fixed[8] = 0x80, open[8] = 0xBF;
    ck_assert_mem_eq(always.data(), fixed.data(), 16);
    ck_assert_mem_eq(once.data(), open.data(), 16);
}

TEST(order_and_hash_are_those_of_the_bytes) {
    for (size_t place = 0; place < 16; ++place) {
        auto bytes = kUuid;
        bytes[place] ^= 0x80;
        const uuid one(kUuid), other(bytes);
        ck_assert_int_eq(other > one, bytes > kUuid);
        ck_assert_int_eq(other < one, bytes < kUuid);
        ck_assert(other != one);
        ck_assert(!one.is_nil());
        const auto hash = [](const uuid &key) { return static_cast<uint32_t>(std::hash<uuid>()(key)); };
        ck_assert_uint_ne(hash(one), hash(other));
        bytes[place] ^= 0x90, bytes[place ^ 8] ^= 0x10; // now the same bit of either half
        ck_assert_uint_ne(hash(one), hash(uuid(bytes)));
    }
}

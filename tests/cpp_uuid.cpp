// UUIDs as values.
#include "support.hpp"
#include <array>
#include <map>
#include <unordered_set>
#include <vela/cpp/uuid.hpp>

using vela::uuid;

static_assert(sizeof(uuid) == 16);
static_assert(uuid().is_nil());

namespace {

constexpr std::array<uint8_t, 16> kBytes = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                            0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
const std::string kDashed = "00112233-4455-6677-8899-aabbccddeeff", kBraced = "{" + kDashed + "}",
                  kPlain = "00112233445566778899aabbccddeeff";

std::string upper_case(std::string text) {
    for (char &ch : text)
        ch = 'a' <= ch && ch <= 'f' ? static_cast<char>(ch - 'a' + 'A') : ch;
    return text;
}

} // namespace

TEST(text_comes_and_goes_in_each_form) {
    const uuid one(kBytes);
    assert_text_eq(one.to_string(), kDashed);
    assert_text_eq(one.to_string(uuid::form::braced), kBraced);
    assert_text_eq(one.to_string(uuid::form::plain), kPlain);
    for (const std::string &text : {kDashed, kBraced, kPlain, upper_case(kBraced)}) {
        const auto read = uuid::parse(text);
        ck_assert_msg(read == one, "%s was read as %s", text.c_str(), read ? read->to_string().c_str() : "nothing");
    }
    char room[38];
    for (const auto form : {uuid::form::braced, uuid::form::dashed, uuid::form::plain}) {
        const std::string text = one.to_string(form);
        ck_assert(!one.to_chars(std::span(room, text.size() - 1), form).has_value());
        ck_assert_uint_eq(one.to_chars(std::span(room, text.size()), form).value_or(0), text.size());
        ck_assert_mem_eq(room, text.data(), text.size());
    }
}

// Every near miss of one character more, less or another.
TEST(nothing_but_a_uuid_is_read) {
    for (const std::string &text : {kDashed, kBraced, kPlain})
        for (size_t place = 0; place <= text.size(); ++place)
            for (const char ch : std::string_view("\0 -+g{}0x", 9)) {
                std::string more = text, less = text, other = text;
                more.insert(place, 1, ch);
                ck_assert_msg(!uuid::parse(more), "%s was read", more.c_str());
                if (place == text.size())
                    continue;
                less.erase(place, 1);
                ck_assert_msg(!uuid::parse(less), "%s was read", less.c_str());
                other[place] = ch;
                const bool is_digit = text[place] != '-' && text[place] != '{' && text[place] != '}';
                const bool good = ch == text[place] || (ch == '0' && is_digit);
                ck_assert_msg(uuid::parse(other).has_value() == good, "%s was%s read", other.c_str(),
                              good ? " not" : "");
            }
    for (const char *text : {"", "{}", "0011-2233", "00112233-4455-6677-8899-aabbccddee",
                             "00 11 22 33 44 55 66 77 88 99 aa bb cc dd ee ff"})
        ck_assert_msg(!uuid::parse(text), "%s was read", text);
}

TEST(random_ones_are_of_version_4_and_differ) {
    std::unordered_set<uuid> seen;
    std::array<int, 16> ones = {};
    for (int i = 0; i < 1000; ++i) {
        const uuid one = uuid::random();
        ck_assert_uint_eq(one.version(), 4);
        ck_assert_uint_eq(one.bytes()[8] >> 6, 2);
        for (size_t place = 0; place < 16; ++place)
            ones[place] += one.bytes()[place] & 1;
        seen.insert(one);
    }
    ck_assert_uint_eq(seen.size(), 1000);
    for (size_t place = 0; place < 16; ++place) // about 500; by chance beyond these once in 10^14
        ck_assert_msg(380 < ones[place] && ones[place] < 620, "byte %zu is odd %d times", place, ones[place]);
}

TEST(order_is_that_of_the_bytes) {
    std::map<uuid, int> sorted;
    for (size_t place = 0; place < 16; ++place) {
        auto bytes = kBytes;
        bytes[place] ^= 0x80;
        const uuid one{kBytes}, other(bytes);
        ck_assert_int_eq(other > one, uuid_compare(bytes.data(), kBytes.data()) > 0);
        ck_assert_int_eq(other < one, uuid_compare(bytes.data(), kBytes.data()) < 0);
        ck_assert(other != one);
        ck_assert_uint_ne(std::hash<uuid>()(one), std::hash<uuid>()(other));
        sorted[other] = 1;
    }
    ck_assert_uint_eq(sorted.size(), 16);
}

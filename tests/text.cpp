#include "support.hpp"
#include <check.h>
#include <csignal>
#include <cstring>
#include <vector>
#include <vela/text.h>

namespace {

const std::string kDigits = "0123456789ABCDEF";

// The documented result of hex2bin() for two characters, taken from the digits as they are printed.
uint8_t byte_of(char high, char low) {
    const auto value = [](char ch) {
        const auto place = kDigits.find(ch >= 'a' && ch <= 'f' ? static_cast<char>(ch - 32) : ch);
        return place == std::string::npos ? 255U : static_cast<unsigned>(place);
    };
    return static_cast<uint8_t>(16 * value(high) + value(low));
}

} // namespace

START_TEST(single_digits)
{
    for (int value = 0; value < 16; ++value)
        ck_assert_int_eq(int2hex(value), kDigits[static_cast<size_t>(value)]);
    for (const int value : {16, 255, 256 + 9, INT32_MAX, -1, INT32_MIN})
        ck_assert_int_eq(int2hex(value), 255);
    for (unsigned ch = 0; ch < 256; ++ch) {
        const unsigned value = byte_of('0', static_cast<char>(ch));
        ck_assert_uint_eq(hex2int(static_cast<uint8_t>(ch)), value);
    }
}
END_TEST

// Every length and alignment around the widths of the vector units, with nothing touched behind the output.
START_TEST(bytes_to_text_and_back)
{
    for (uint32_t offset = 0; offset < 5; ++offset)
        for (uint32_t length = 0; length < 140; ++length) {
            std::vector<uint8_t> bytes(offset + length + 1);
            for (uint32_t i = 0; i < length; ++i)
                bytes[offset + i] = static_cast<uint8_t>(37 * i + 91 * length + offset);
            std::string expected(offset, '#'), text(offset + 2 * length + 1, '#');
            for (uint32_t i = offset; i < offset + length; ++i)
                expected += {kDigits[bytes[i] / 16], kDigits[bytes[i] % 16]};
            ck_assert_uint_eq(bin2hex(bytes.data() + offset, length, text.data() + offset), 2 * length);
            assert_text_eq(text, expected + '#');

            std::vector<uint8_t> back(offset + length + 1, 0xEE);
            ck_assert_uint_eq(hex2bin(text.data() + offset, 2 * length + 1, back.data() + offset), length);
            ck_assert_int_eq(back[offset + length], 0xEE);
            ck_assert_mem_eq(back.data() + offset, bytes.data() + offset, length);
        }
}
END_TEST

// Each pair of characters, digits or not, beside its neighbours in one long text; then the same in place.
START_TEST(text_of_any_characters_to_bytes)
{
    std::string text;
    std::vector<uint8_t> expected, bytes(256 * 256);
    for (int high = 0; high < 256; ++high)
        for (int low = 0; low < 256; ++low) {
            text += {static_cast<char>(high), static_cast<char>(low)};
            expected.push_back(byte_of(static_cast<char>(high), static_cast<char>(low)));
        }
    ck_assert_uint_eq(hex2bin(text.data(), 131072, bytes.data()), 65536);
    ck_assert_mem_eq(bytes.data(), expected.data(), bytes.size());
    ck_assert_uint_eq(hex2bin(text.data(), 131072, reinterpret_cast<uint8_t *>(text.data())), 65536);
    ck_assert_mem_eq(text.data(), expected.data(), bytes.size());

    uint8_t short_text[3] = {0xEE, 0xEE, 0xEE};
    ck_assert_uint_eq(hex2bin("0aFf3", 5, short_text), 2);
    ck_assert_mem_eq(short_text, "\x0A\xFF\xEE", 3);
    ck_assert_uint_eq(hex2bin("7", 1, short_text), 0);
    ck_assert_int_eq(short_text[0], 0x0A);
}
END_TEST

START_TEST(line_ends)
{
    struct row {
        const char *text, *left;
        int32_t result;
    };
    const row rows[] = {
        {"", "", -1},          {"\n", "", -1},      {"\r", "", 0},           {"\r\n", "", 0},       {"\n\r", "\n", 1},
        {"abc\r\n", "abc", 3}, {"abc\n", "abc", 2}, {"abc\r", "abc", 3},     {"abc", "abc", 2},     {"a\n\n", "a\n", 1},
        {"a\r\r", "a\r", 2},   {"\n\n", "\n", 0},   {"a\r\n\r", "a\r\n", 3}, {"\xFF\n", "\xFF", 0},
    };
    for (const row &row : rows) {
        std::string text = row.text;
        ck_assert_int_eq(chomp(text.data()), row.result);
        assert_text_eq(text.c_str(), row.left);
    }
}
END_TEST

// Each row: a string, where the trimmed text begins, what it is. White space at the ends is NUL afterwards.
START_TEST(white_space_at_the_ends)
{
    struct row {
        std::string text;
        size_t first;
        std::string trimmed;
    };
    const row rows[] = {
        {"", 0, ""},          {"  a b \t", 2, "a b"}, {"x", 0, "x"},         {" \t\n\v\f\r", 6, ""},
        {"a ", 0, "a"},       {" a", 1, "a"},         {"\r\na\v\f", 2, "a"}, {"\xA0\x85 \xFF", 0, "\xA0\x85 \xFF"},
        {"\x1C ", 0, "\x1C"},
    };
    for (const row &row : rows) {
        std::string text = row.text, expected = std::string(row.first, '\0') + row.trimmed;
        expected.resize(text.size());
        ck_assert_ptr_eq(strip(text.data()), text.data() + row.first);
        ck_assert(text == expected);
    }
}
END_TEST

START_TEST(chunks)
{
    // Against a plain copy loop, at every size of the output.
    for (uint32_t length = 1; length < 20; ++length)
        for (uint32_t chunk = 1; chunk < 22; ++chunk) {
            const std::string input = std::string("abcdefghijklmnopqrst").substr(0, length);
            std::string expected;
            for (uint32_t i = 0; i < length; ++i)
                expected += (i && i % chunk == 0 ? "\n" : "") + input.substr(i, 1);
            const auto needed = static_cast<uint32_t>(expected.size());
            ck_assert_uint_eq(chunk_split_len(input.data(), length, chunk), needed);
            std::string output(needed + 1, '#');
            for (uint32_t size = 0; size < needed; ++size)
                ck_assert_int_eq(chunk_split(input.data(), length, output.data(), size, chunk), 0);
            assert_text_eq(output, std::string(needed + 1, '#'));
            ck_assert_int_eq(chunk_split(input.data(), length, output.data(), needed, chunk),
                             static_cast<int32_t>(needed));
            assert_text_eq(output, expected + '#');
        }

    char room[8];
    ck_assert_uint_eq(chunk_split_len(nullptr, 5, 0), 0);
    ck_assert_uint_eq(chunk_split_len(room, 0, 0), 0);
    ck_assert_int_eq(chunk_split(nullptr, 5, room, 8, 4), 0);
    ck_assert_int_eq(chunk_split(room, 0, room, 8, 4), 0);
    ck_assert_int_eq(chunk_split("abcde", 5, nullptr, 8, 4), 0);
    // The longest input that fits 32 bits, and one byte more.
    ck_assert_uint_eq(chunk_split_len(room, 0x80000000, 1), UINT32_MAX);
    ck_assert_uint_eq(chunk_split_len(room, 0x80000001, 1), 0);
    ck_assert_uint_eq(chunk_split_len(room, UINT32_MAX, UINT32_MAX), UINT32_MAX);
    ck_assert_int_eq(chunk_split(room, 0x80000001, room, 8, 1), 0);
}
END_TEST

START_TEST(a_chunk_of_nothing_aborts)
{ chunk_split_len("a", 1, 0); }
END_TEST

Suite *text_suite() {
    Suite *suite = suite_create("text");
    TCase *tests = tcase_create("text");
    tcase_add_test(tests, single_digits);
    tcase_add_test(tests, bytes_to_text_and_back);
    tcase_add_test(tests, text_of_any_characters_to_bytes);
    tcase_add_test(tests, line_ends);
    tcase_add_test(tests, white_space_at_the_ends);
    tcase_add_test(tests, chunks);
    tcase_add_test_raise_signal(tests, a_chunk_of_nothing_aborts, SIGABRT);
    suite_add_tcase(suite, tests);
    return suite;
}

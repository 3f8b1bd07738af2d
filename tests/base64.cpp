#include "support.hpp"
#include <algorithm>
#include <check.h>
#include <random>
#include <vector>
#include <vela/base64.h>

namespace {

const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

uint32_t size_of(const std::string &text) { return static_cast<uint32_t>(text.size()); }

std::string random_text(std::mt19937 &random, size_t length, const std::string &characters) {
    std::string text(length, '\0');
    for (char &ch : text)
        ch = characters[random() % characters.size()];
    return text;
}

const std::string kAnything = [] {
    std::string bytes;
    for (int ch = 0; ch < 256; ++ch)
        bytes += static_cast<char>(ch);
    return bytes;
}();

// The text of bytes, six bits at a time.
std::string encoded(const std::string &bytes) {
    std::string text;
    for (size_t bit = 0; bit < 8 * bytes.size(); bit += 6) {
        unsigned value = 0;
        for (size_t i = bit; i < bit + 6; ++i)
            value = 2 * value + (i / 8 < bytes.size() ? bytes[i / 8] >> (7 - i % 8) & 1 : 0);
        text += kAlphabet[value];
    }
    return text.append((4 - text.size() % 4) % 4, '=');
}

// What a text decodes to, one character after the other, and where the decoder stops.
struct decoded {
    std::string bytes;
    size_t stop = 0;

    explicit decoded(const std::string &text) {
        for (;; stop += 4) {
            while (stop < text.size() && value(text[stop]) == 255)
                ++stop;
            if (text.size() - stop < 4)
                return;
            const unsigned v[] = {value(text[stop]), value(text[stop + 1]), value(text[stop + 2]),
                                  value(text[stop + 3])};
            bytes += static_cast<char>(v[0] << 2 | v[1] >> 4);
            if (text[stop + 2] == '=')
                continue;
            bytes += static_cast<char>(v[1] << 4 | v[2] >> 2);
            if (text[stop + 3] != '=')
                bytes += static_cast<char>(v[2] << 6 | v[3]);
        }
    }

private:
    static unsigned value(char ch) {
        const auto index = kAlphabet.find(ch);
        return ch == '=' ? 0 : index == std::string::npos ? 255 : static_cast<unsigned>(index);
    }
};

// Decodes from and into blocks of the exact size, for the sanitizers, and compares with the above; then in place.
void check_decoding(const std::string &text) {
    const decoded expected(text);
    const uint32_t length = size_of(text), room = base64_decode_len(nullptr, length);
    const std::vector<char> block(text.begin(), text.end());
    std::vector<char> bytes(room);
    const char *cursor = block.data();
    ck_assert_uint_eq(base64_decode_stream(&cursor, length, bytes.data(), room), expected.bytes.size());
    ck_assert_int_eq(cursor - block.data(), static_cast<long>(room ? expected.stop : 0));
    ck_assert(std::equal(expected.bytes.begin(), expected.bytes.end(), bytes.begin()));

    std::string same = text;
    ck_assert_uint_eq(base64_decode(same.data(), length, same.data(), length), expected.bytes.size());
    ck_assert(same.compare(0, expected.bytes.size(), expected.bytes) == 0);
}

} // namespace

START_TEST(documented_texts)
{
    const char *rows[][2] = {{"f", "Zg=="},        {"fo", "Zm8="},          {"foo", "Zm9v"},
                             {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="},   {"foobar", "Zm9vYmFy"},
                             {"\xFB\xEF", "++8="}, {"\xFF\xFF\xFF", "////"}};
    for (const auto &[bytes, text] : rows) {
        char output[12] = {};
        const uint32_t length = size_of(bytes), text_length = size_of(text);
        ck_assert_uint_eq(base64_encode_len(bytes, length), text_length);
        ck_assert_int_eq(base64_encode(bytes, length, output, text_length), static_cast<int32_t>(text_length));
        assert_text_eq(output, text);
        ck_assert_uint_eq(base64_decode(text, text_length, output, text_length / 4 * 3), length);
        ck_assert_mem_eq(output, bytes, length);
    }
    const uint32_t lengths[][3] = {{0, 0, 0}, {2, 4, 1}, {6, 8, 4}, {(1U << 30) - 1, 1431655764, 805306367}};
    for (const auto &[length, encoded_length, decoded_length] : lengths) {
        ck_assert_uint_eq(base64_encode_len(nullptr, length), encoded_length);
        ck_assert_uint_eq(base64_decode_len(nullptr, length), decoded_length);
    }
}
END_TEST

START_TEST(every_length_and_alignment)
{
    std::mt19937 random(1);
    for (size_t offset = 0; offset < 4; ++offset)
        for (size_t length = 0; length < 260; ++length) {
            const std::string bytes = random_text(random, length, kAnything), expected = encoded(bytes);
            std::vector<char> block(offset, '#'), text(offset + expected.size(), '#');
            block.insert(block.end(), bytes.begin(), bytes.end());
            char *const output = text.data() + offset;
            if (!expected.empty())
                ck_assert_int_eq(base64_encode(block.data() + offset, size_of(bytes), output, size_of(expected) - 1),
                                 0);
            ck_assert(std::count(text.begin(), text.end(), '#') == static_cast<long>(text.size()));
            ck_assert_int_eq(base64_encode(block.data() + offset, size_of(bytes), output, size_of(expected)),
                             static_cast<int32_t>(expected.size()));
            assert_text_eq(std::string(text.begin(), text.end()), std::string(offset, '#') + expected);
            check_decoding(expected);
        }
}
END_TEST

// Any byte at any place of a text that is otherwise whole: the vector steps stop where the scalar ones do.
START_TEST(one_stranger_anywhere)
{
    std::mt19937 random(2);
    const std::string whole = random_text(random, 140, kAlphabet);
    for (size_t place = 0; place < 90; ++place)
        for (const char ch : kAnything) {
            std::string text = whole;
            text[place] = ch;
            check_decoding(text);
        }
}
END_TEST

START_TEST(strangers_of_all_sorts)
{
    std::mt19937 random(3);
    const std::string sorts[] = {kAlphabet + "=", kAlphabet + "\r\n", "AB=\n", "=", "\n", kAnything};
    for (int round = 0; round < 300; ++round)
        for (const std::string &sort : sorts)
            check_decoding(random_text(random, random() % 200, sort));
    // Lines of every length.
    const std::string text = random_text(random, 600, kAlphabet);
    for (size_t line = 1; line < 140; ++line) {
        std::string lines;
        for (size_t i = 0; i < text.size(); i += line)
            lines += text.substr(i, line) + (line % 2 ? "\n" : "\r\n");
        check_decoding(lines);
    }
}
END_TEST

// A stream in two and in many pieces, with the tail of each put before the next: padding, line breaks and strangers
// at a cut mean what they mean without it.
START_TEST(streams_cut_anywhere)
{
    std::mt19937 random(4);
    const std::string texts[] = {"Zg==Zm8=\nZm9v",
                                 "Zm9v\r\nYmFy",
                                 "Z=g=Zm9v",
                                 "Zg=\n=Zm9v\n",
                                 "\n\n\nZm9vYm",
                                 random_text(random, 150, kAlphabet + "=\n"),
                                 random_text(random, 150, kAnything)};
    for (const std::string &text : texts)
        for (size_t piece = 1; piece <= text.size(); ++piece) {
            std::string waiting, bytes;
            for (size_t i = 0; i < text.size(); i += piece) {
                waiting += text.substr(i, piece);
                std::string output(waiting.size(), '#');
                const char *cursor = waiting.data();
                output.resize(base64_decode_stream(&cursor, size_of(waiting), output.data(), size_of(output)));
                bytes += output;
                waiting.erase(0, static_cast<size_t>(cursor - waiting.data()));
                ck_assert_uint_lt(waiting.size(), 4);
            }
            ck_assert(bytes == decoded(text).bytes);
        }
}
END_TEST

START_TEST(refusals)
{
    char room[8] = "unhurt";
    const char *const text = "Zm9vYm", *cursor = text, *nowhere = nullptr;
    ck_assert_int_eq(base64_encode(nullptr, 3, room, 8), 0);
    ck_assert_int_eq(base64_encode("abc", 0, room, 8), 0);
    ck_assert_int_eq(base64_encode("abc", 3, nullptr, 8), 0);
    ck_assert_int_eq(base64_encode("abc", 1U << 30, room, UINT32_MAX), 0);
    ck_assert_uint_eq(base64_decode_stream(nullptr, 6, room, 8), 0);
    ck_assert_uint_eq(base64_decode_stream(&nowhere, 6, room, 8), 0);
    ck_assert_uint_eq(base64_decode_stream(&cursor, 6, nullptr, 8), 0);
    // Below two characters there is nothing to have room for; then the room is one short; then the length wraps.
    for (const uint32_t length : {0U, 1U, 6U, 0x5555'5556U})
        ck_assert_uint_eq(base64_decode_stream(&cursor, length, room, 3), 0);
    ck_assert_uint_eq(base64_decode(text, 4, room, 2), 0);
    ck_assert_uint_eq(base64_decode(nullptr, 4, room, 8), 0);
    ck_assert_ptr_eq(cursor, text);
    assert_text_eq(room, "unhurt");

    ck_assert_uint_eq(base64_decode_stream(&cursor, 6, room, 4), 3);
    ck_assert_ptr_eq(cursor, text + 4);
}
END_TEST

START_TEST(table_as_source_text)
{
    std::string expected;
    for (int ch = 0; ch < 256; ++ch) {
        const auto index = kAlphabet.find(static_cast<char>(ch));
        char entry[8];
        std::snprintf(entry, sizeof entry, "0x%02x,", static_cast<uint8_t>(index == std::string::npos ? 255 : index));
        expected += (ch == '=' ? "" : entry) + std::string(ch % 15 == 14 ? "\n" : "");
    }
    assert_text_eq(captured(stdout, base64_decode_table_gen), expected);
}
END_TEST

Suite *base64_suite() {
    Suite *suite = suite_create("base64");
    TCase *tests = tcase_create("base64");
    tcase_set_timeout(tests, 60);
    tcase_add_test(tests, documented_texts);
    tcase_add_test(tests, every_length_and_alignment);
    tcase_add_test(tests, one_stranger_anywhere);
    tcase_add_test(tests, strangers_of_all_sorts);
    tcase_add_test(tests, streams_cut_anywhere);
    tcase_add_test(tests, refusals);
    tcase_add_test(tests, table_as_source_text);
    suite_add_tcase(suite, tests);
    return suite;
}

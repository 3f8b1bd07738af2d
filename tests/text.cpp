// Hexadecimal text, trimming and chunks against their models.
#include "models/text.hpp"
#include "support.hpp"

using namespace model;

// Every digit, every pair of characters among its neighbours, and every length around the widths of the vector units.
TEST(digits_of_any_bytes_and_bytes_of_any_digits) {
    std::string pairs, bytes;
    for (int ch = 0; ch < 256; ++ch)
        ck_assert_int_eq(hex2int(static_cast<uint8_t>(ch)), static_cast<uint8_t>(hex_byte('0', static_cast<char>(ch))));
    for (int value = 0; value < 16; ++value)
        ck_assert_int_eq(int2hex(value), "0123456789ABCDEF"[value]);
    for (const int value : {16, 255, 256 + 9, INT32_MAX, -1, INT32_MIN})
        ck_assert_int_eq(int2hex(value), 255);
    for (int pair = 0; pair < 65536; ++pair)
        pairs += {static_cast<char>(pair >> 8), static_cast<char>(pair)};
    check_hex(pairs);
    for (int first = 0; first < 5; ++first, bytes.clear())
        for (int i = 0; i < 140; ++i, bytes += static_cast<char>(37 * i + first))
            check_hex(bytes);
    char text[] = "\xEE\xEE\xEE";
    ck_assert_uint_eq(hex2bin("0aFf3", 5, reinterpret_cast<uint8_t *>(text)), 2);
    ck_assert_str_eq(text, "\x0A\xFF\xEE");
}

TEST(line_ends_and_white_space) {
    // Every text of up to five of these characters.
    std::vector<std::string> texts = {""};
    for (size_t i = 0; i < texts.size(); ++i) {
        check_trimming(texts[i]);
        for (const char ch : std::string_view("\n\r a\v\f\t\xA0\x85\x1C", texts[i].size() < 3 ? 10 : 4))
            if (texts[i].size() < 5)
                texts.push_back(texts[i] + ch);
    }
}

TEST(chunks) {
    for (size_t length = 0; length < 20; ++length)
        for (uint32_t chunk = 1; chunk < 22; ++chunk)
            check_chunks(std::string_view("abcdefghijklmnopqrst").substr(0, length), chunk);
    char buffer[8];
    ck_assert_uint_eq(chunk_split_len(nullptr, 5, 0), 0);
    ck_assert_uint_eq(chunk_split_len(buffer, 0, 0), 0);
    ck_assert_int_eq(chunk_split(unknown<char *>(nullptr), 5, buffer, 8, 4), 0);
    ck_assert_int_eq(chunk_split("abcde", 5, unknown<char *>(nullptr), 8, 4), 0);
    // The longest input that fits 32 bits, and one byte more.
    ck_assert_uint_eq(chunk_split_len(buffer, 0x80000000, 1), UINT32_MAX);
    ck_assert_uint_eq(chunk_split_len(buffer, UINT32_MAX, UINT32_MAX), UINT32_MAX);
    ck_assert_uint_eq(chunk_split_len(buffer, 0x80000001, 1), 0);
    ck_assert_int_eq(chunk_split(buffer, unknown(0x80000001), buffer, 8, 1), 0);
    assert_aborts("*Assertion `chunk > 0' failed*", [] { return chunk_split_len("a", 1, 0) > 0; });
}

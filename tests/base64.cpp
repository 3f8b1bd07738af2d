// Base64 against its model, for texts and bytes of all sorts.
#include "models/base64.hpp"
#include "support.hpp"

using namespace model;

namespace {

// As a stream it comes in pieces of any size, many of them small.
void check_decoding(const std::string &text) {
    model::check_decoding(text, [random = std::mt19937(5)]() mutable { return 1 + random() % (1 + random() % 100); });
}

} // namespace

TEST(documented_texts) {
    // clang-format off
    const char *const rows[][2] = {
        {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"}, {"\xFB\xEF", "++8="}, {"\xFF\xFF\xFF", "////"}};
    // clang-format on
    for (const auto &[bytes, text] : rows) {
        assert_text_eq(base64_of(bytes), text);
        check_encoding(bytes);
        check_decoding(text);
    }
    ck_assert_uint_eq(base64_decode_len(nullptr, 6), 4);
    ck_assert_uint_eq(base64_decode_len(nullptr, (1U << 30) - 1), 805306367);
    ck_assert_uint_eq(base64_encode_len(nullptr, (1U << 30) - 1), 1431655764);
}

// The vector steps stop where the plain code does, whatever the length.
TEST(texts_and_bytes_of_any_sort_and_length) {
    std::mt19937 random(1);
    const std::string sorts[] = {kAlphabet, kAlphabet + "=", kAlphabet + "\r\n", "AB=\n", "=", "\n", any_byte()};
    for (size_t length = 0; length < 260; ++length)
        for (const std::string &sort : sorts) {
            const std::string text = random_text(random, length, sort);
            check_encoding(text);
            check_decoding(text);
        }
}

TEST(any_character_in_any_place) {
    std::mt19937 random(2);
    const std::string whole = random_text(random, 150, kAlphabet);
    for (size_t place = 0; place < 90; ++place)
        for (const char ch : any_byte())
            check_decoding_at(whole.substr(0, place) + ch + whole.substr(place + 1), 150);
}

TEST(what_is_missing_too_small_or_too_long_is_refused) {
    char buffer[8] = "unhurt";
    const char *const text = "Zm9vYm", *cursor = text, *nowhere = nullptr, *const absent = unknown(nowhere);
    char *const no_buffer = unknown<char *>(nullptr);
    // clang-format off
    // Less than two characters have no output; then the buffer is one byte too small; then the length wraps.
    const int64_t results[] = {
        base64_encode(absent, 3, buffer, 8), base64_encode("abc", 0, buffer, 8), base64_encode("abc", 3, no_buffer, 8),
        base64_encode("abc", unknown(1U << 30), buffer, unknown(UINT32_MAX)), base64_decode_stream(nullptr, 6, buffer, 8),
        base64_decode_stream(&nowhere, 6, buffer, 8), base64_decode_stream(&cursor, 6, no_buffer, 8),
        base64_decode_stream(&cursor, 0, buffer, 3), base64_decode_stream(&cursor, 1, buffer, 3),
        base64_decode_stream(&cursor, 6, buffer, 3), base64_decode_stream(&cursor, 0x55555556, buffer, 3),
        base64_decode(text, 4, buffer, 2), base64_decode(absent, 4, buffer, 8)};
    // clang-format on
    for (size_t i = 0; i < std::size(results); ++i)
        ck_assert_msg(results[i] == 0, "call %zu gave %d", i, static_cast<int>(results[i]));
    ck_assert_ptr_eq(cursor, text);
    ck_assert_str_eq(buffer, "unhurt");
}

TEST(the_table_as_source_text) {
    std::string expected;
    for (int ch = 0; ch < 256; ++ch) {
        char entry[8];
        std::snprintf(entry, sizeof entry, "0x%02x,", static_cast<uint8_t>(kAlphabet.find(static_cast<char>(ch))));
        expected += (ch == '=' ? "" : entry) + std::string(ch % 15 == 14, '\n');
    }
    assert_text_eq(captured(stdout, base64_decode_table_gen), expected);
}

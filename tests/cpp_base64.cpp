// The strict coders for C++, of whole texts and in chunks, against the model.
#include "models/base64.hpp"
#include "support.hpp"

TEST(a_text_is_complete_groups_padded_at_the_end) {
    std::vector<std::string> texts = {"",     "Zg==", "Zm8=", "Zm9v",     "Zm 9v\r\n", " \t\n\v\f\r", "Zg= =\n", // good
                                      "Zh==", "QUJ=", "QR==", "Zm9vQUJ=", // bits after the last byte
                                      "Z",    "Zg",   "Zg=",  "Zm9vY",    "Zg===",     "Zg==Zm9v",    "Z===",
                                      "====", "=",    "Zm=v", "Zm9-",     "Zm9vÄ"};
    std::mt19937 random(7);
    for (size_t length = 0; length < 1100; length += length < 40 ? 1 : 53) {
        std::string text = model::base64_of(random_text(random, length, any_byte()));
        texts.push_back(text);
        for (int line = 0; line < 5; ++line)
            text.insert(random() % (text.size() + 1), "\n");
        texts.push_back(text);
        text[random() % text.size()] = "=-A\0"[random() % 4];
        texts.push_back(text);
        texts.push_back(random_text(random, length % 20, "AZaz09+/= \n"));
    }
    for (const std::string &text : texts)
        model::check_coders(text, [&] { return random() % 40; });
}

TEST(nothing_but_the_alphabet_for_urls_is_decoded) {
    for (const char *wrong : {"+A", "/A", "-A ==", "-A\t==", "-A\n==", "-A\v==", "-A\f==", "-A\r==", "-",
                              "-A=", "-A===", "-R", "_wB", "=", "====", "-A==-A", "-%3D"})
        ck_assert_msg(!vela::base64::decode_url(wrong), "%s", wrong);
    ck_assert(!vela::base64::decode_url(std::string_view("-A\0A", 4)));
    ck_assert(!vela::base64::decode("-A=="));
}

// The C functions are called for chunks.
TEST(long_bytes_make_one_unbroken_text) {
    const std::string bytes((3 << 20) + 100, 'M'), text = vela::base64::encode(bytes);
    ck_assert_uint_eq(text.size(), vela::base64::encoded_size(bytes.size()));
    for (size_t at = 0; at + 4 < text.size(); at += 4)
        if (text.compare(at, 4, "TU1N") != 0)
            ck_abort_msg("%s at %zu", text.substr(at, 4).c_str(), at);
    ck_assert_str_eq(text.c_str() + text.size() - 4, "TQ==");
}

TEST(nothing_is_decoded_after_an_error) {
    vela::base64::decoder decoder;
    std::vector<uint8_t> bytes;
    for (const char *text : {"Zm9vZm9-Zm9v", "Zm9v", ""})
        ck_assert_msg(!decoder.push(text, bytes), "%s", text);
    assert_text_eq(std::string(bytes.begin(), bytes.end()), "foo");
}

TEST(encoding_into_a_short_span_writes_nothing) {
    char text[9] = "unhurt--";
    const uint8_t bytes[] = {'f', 'o', 'o', 'b'};
    ck_assert(!vela::base64::encode(bytes, std::span(text, 7)).has_value());
    ck_assert_str_eq(text, "unhurt--");
    ck_assert_uint_eq(vela::base64::encode(bytes, std::span(text, 8)).value_or(0), 8);
    ck_assert_str_eq(text, "Zm9vYg==");
}

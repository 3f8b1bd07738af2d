// The strict coders for C++, whole and by pieces, against the model.
#include "models/base64.hpp"
#include "support.hpp"

TEST(texts_are_whole_groups_padded_at_their_end) {
    std::vector<std::string> texts = {
        "",  "Zg==", "Zm8=", "Zm9v",  "Zm 9v\r\n", " \t\n\v\f\r", "Zg= =\n", "Zh==", // good
        "Z", "Zg",   "Zg=",  "Zm9vY", "Zg===",     "Zg==Zm9v",    "Z===",    "====", "=", "Zm=v", "Zm9-", "Zm9vÄ"};
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

TEST(behind_a_fault_nothing_is_decoded) {
    vela::base64::decoder decoder;
    std::vector<uint8_t> bytes;
    for (const char *text : {"Zm9vZm9-Zm9v", "Zm9v", ""})
        ck_assert_msg(!decoder.push(text, bytes), "%s", text);
    assert_text_eq(std::string(bytes.begin(), bytes.end()), "foo");
}

TEST(encoding_into_memory_needs_its_room) {
    char room[9] = "unhurt--";
    const uint8_t bytes[] = {'f', 'o', 'o', 'b'};
    ck_assert(!vela::base64::encode(bytes, std::span(room, 7)).has_value());
    ck_assert_str_eq(room, "unhurt--");
    ck_assert_uint_eq(vela::base64::encode(bytes, std::span(room, 8)).value_or(0), 8);
    ck_assert_str_eq(room, "Zm9vYg==");
}

// The strict coders for C++, whole and by pieces, against the model.
#include "models/strict_base64.hpp"
#include "support.hpp"

using namespace model;

namespace {

void check_strict_decoding(const std::string &text) {
    model::check_strict_decoding(text, [next = std::mt19937(6)]() mutable { return 1 + next() % 40; });
}

} // namespace

TEST(a_text_is_whole_groups_padded_at_its_end) {
    for (const char *text :
         {"",  "Zg==", "Zm8=", "Zm9v",  "Zm 9v\r\n", " \t\n\v\f\r", "Zg= =\n", "Zh==", // good
          "Z", "Zg",   "Zg=",  "Zm9vY", "Zg===",     "Zg==Zm9v",    "Z===",    "====", "=", "Zm=v", "Zm9-", "Zm9vÄ"})
        check_strict_decoding(text);
    for (const std::string &text : {std::string("Zm9v\0", 5), std::string("Zm9\0", 4)})
        check_strict_decoding(text);
}

TEST(texts_of_any_sort_whole_and_cut) {
    std::mt19937 random(7);
    for (size_t length = 0; length < 1100; length += length < 40 ? 1 : 53) {
        const std::string bytes = random_text(random, length,
                                              std::string_view("\0\xFF"
                                                               "abc",
                                                               5));
        check_encoding_by_pieces(bytes, [&] { return random() % 20; });
        std::string text = base64_of(bytes);
        check_strict_decoding(text);
        for (int line = 0; line < 5; ++line)
            text.insert(random() % (text.size() + 1), "\n");
        check_strict_decoding(text);
        text[random() % text.size()] = "=-A\0"[random() % 4];
        check_strict_decoding(text);
        check_strict_decoding(random_text(random, length % 20, "AZaz09+/= \n"));
    }
}

TEST(behind_a_fault_nothing_is_decoded) {
    vela::base64::decoder decoder;
    std::vector<uint8_t> bytes;
    ck_assert(!decoder.push("Zm9vZm9-Zm9v", bytes));
    ck_assert(!decoder.push("Zm9v", bytes));
    ck_assert(!decoder.push("", bytes));
    assert_text_eq(std::string(bytes.begin(), bytes.end()), "foo");
    ck_assert(!decoder.finish());
}

TEST(encoding_into_memory_needs_its_room) {
    char room[9] = "unhurt--";
    const uint8_t bytes[] = {'f', 'o', 'o', 'b'};
    ck_assert(!vela::base64::encode(bytes, std::span(room, 7)).has_value());
    ck_assert_str_eq(room, "unhurt--");
    ck_assert_uint_eq(vela::base64::encode(bytes, std::span(room, 8)).value_or(0), 8);
    ck_assert_str_eq(room, "Zm9vYg==");
}

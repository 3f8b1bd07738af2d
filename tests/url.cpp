// Percent codes, the components of URLs and MAC addresses, against models and documented figures.
#include "models/url.hpp"
#include "support.hpp"

using namespace std::literals;

// A byte is encoded if five characters fit after all codes before it.
TEST(documented_codes) {
    // clang-format off
    const std::pair<std::string_view, std::string_view> encoding[] = {
        {"a", "a"}, {" ", "+"}, {"%", "%25"}, {"x.y", "x%2Ey"}, {"a b&c", "a+b%26c"}, {"\0\xff"sv, "%00%FF"},
        {"-_~", "%2D%5F%7E"}};
    const std::pair<std::string_view, std::string_view> decoding[] = {
        {"a+b%26c%%", "a b&c%"}, {"ab%4", "ab4"}, {"ab%", "ab"}, {"%", ""}, {"%+", "+"}, {"%%%", "%"}, {"%%41", "%41"},
        {"%%%41", "%A"}, {"%4%", "\xff"}, {"%g1", "\xf1"}, {"%1g", "\xff"}, {"%aF%Fa", "\xaf\xfa"},
        {"%00x", "\0x"sv}, {"\xe9%e9", "\xe9\xe9"}};
    // clang-format on
    for (const auto &[from, to] : encoding) {
        agree("the model's code", from, encoded(from), to);
        check_coders(from, 0, 16);
    }
    for (const auto &[from, to] : decoding) {
        agree("what the model decodes", from, decoded(from), to);
        check_coders(from, 0, 16);
    }
    char buffer[] = "#";
    for (const auto coder :
         {+[](const char *from, uint32_t size, char *to) { return url_encode(from, size, to, 8); },
          +[](const char *from, uint32_t size, char *to) { return url_decode(from, size, to, 8); }}) {
        ck_assert_int_eq(coder("a", 0, buffer), 0);
        ck_assert_int_eq(coder(nullptr, 1, buffer), -1);
        ck_assert_int_eq(coder("a", 1, nullptr), -1);
    }
    ck_assert_str_eq(buffer, "#");
}

// Texts of every length up to some vectors, of all bytes or mostly of those that mean something; every escape.
TEST(coders_on_generated_text) {
    std::mt19937 random(8);
    for (uint32_t length = 1; length < 100; ++length)
        for (const auto &alphabet : {"%"s, "ab%+4"s, "abcdefghijklmnopqrstuvwxyz+%26%g%%0\xff"s, any_byte()})
            check_coders(random_text(random, length, alphabet), 0, 3 * length + 6);
    for (int pair = 0; pair < 0x10000; ++pair)
        check_coders(std::string{'%', static_cast<char>(pair >> 8), static_cast<char>(pair)}, 4, 4);
}

TEST(url_components) {
    const char *rows[][2] = {{"s://u:p@h:8080/a/b?x=1", "<s> <u> <p> <h> <8080> </a/b> <x=1>"},
                             {" \t\n\v\f\rA9:/h \t", "<A9> - - <h \t> - - -"},
                             {"s://@:80?", "<s> <> - <> <80> - <>"},
                             {"s://[::1/]:1", "<s> - - <[::1> - </]:1> -"},
                             {"s:///[a]]b]:1", "<s> - - - - </[a]]b]:1> -"},
                             {"s://u:@[a]]b]:1", "<s> <u> <> <[a]> <b]:1> - -"}};
    for (const auto &[text, expected] : rows)
        assert_text_eq(components(text), expected);
    for (const char *text : {"\xe9://h", "s\xe9://h", "://x", "a-b://x", "   ", "", "s", "s /:", (const char *)nullptr})
        assert_text_eq(components(text), "null");
    url_free(nullptr);
    std::mt19937 random(9);
    for (int round = 0; round < 20000; ++round) {
        const std::string text = (round % 4 ? "s:" : "") + random_text(random, random() % 16, "/?:@[]a1\xe9 ");
        assert_text_eq(components(text.c_str()), expected_components(text.c_str()));
    }
}

// Any character in any place, the end of the text among them.
TEST(mac_addresses) {
    char *const text = reinterpret_cast<char *>(fence(18)) - 18;
    ck_assert_int_eq(inet_strfmac(reinterpret_cast<const uint8_t *>("\x00\x1a\x2b\x3c\x4d\x5e"), text), 17);
    ck_assert_str_eq(text, "00:1A:2B:3C:4D:5E");
    char same[18] = "\x00\x1a\x2b\x3c\x4d\x5e";
    inet_strfmac(reinterpret_cast<const uint8_t *>(same), same);
    ck_assert_str_eq(same, text);
    for (size_t place = 0; place < 18; ++place)
        for (int ch = 0; ch < 256; ++ch)
            check_mac(std::string("00:1a:2B:3c:4D:5e:").replace(place, 1, 1, static_cast<char>(ch)).c_str());
}

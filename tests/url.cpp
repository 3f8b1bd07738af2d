// Percent codes, the components of URLs and MAC addresses, against models and documented figures.
#include "models/url.hpp"
#include "support.hpp"

using namespace std::literals;

// A byte is encoded with room for five characters behind all codes before it.
TEST(documented_codes) {
    struct row {
        std::string_view from, to;
        uint32_t room = 0;
    };
    // clang-format off
    const row encoding[] = {{"a", "a", 5}, {" ", "+", 5}, {"%", "%25", 5}, {"ab", "ab", 6}, {"x.y", "x%2Ey", 9},
                            {"a b&c", "a+b%26c", 11}, {"\0\xff"sv, "%00%FF", 8}, {"-_~", "%2D%5F%7E", 11}};
    const row decoding[] = {{"a+b%26c%%", "a b&c%"}, {"ab%4", "ab4"}, {"ab%", "ab"}, {"%", ""}, {"%+", "+"},
                            {"%%%", "%"}, {"%%41", "%41"}, {"%%%41", "%A"}, {"%4%", "\xff"}, {"%g1", "\xf1"},
                            {"%1g", "\xff"}, {"%aF%Fa", "\xaf\xfa"}, {"%00x", "\0x"sv}, {"\xe9%e9", "\xe9\xe9"}};
    // clang-format on
    char buffer[16];
    for (const auto &[from, to, room] : encoding) {
        const auto length = static_cast<uint32_t>(from.size());
        ck_assert_int_eq(url_encode(from.data(), length, buffer, room - 1), -1);
        ck_assert_int_eq(url_encode(from.data(), length, buffer, room), static_cast<int32_t>(to.size()));
        ck_assert_str_eq(buffer, to.data());
    }
    for (const row &r : decoding) {
        ck_assert_int_eq(url_decode(r.from.data(), static_cast<uint32_t>(r.from.size()), buffer, 16),
                         static_cast<int32_t>(r.to.size()) + 1);
        ck_assert_mem_eq(buffer, r.to.data(), r.to.size() + 1);
    }
    buffer[0] = '#';
    ck_assert_int_eq(url_encode("a", 0, buffer, 8), 0);
    ck_assert_int_eq(url_decode("a", 0, buffer, 8), 0);
    ck_assert_int_eq(url_encode(nullptr, 1, buffer, 8), -1);
    ck_assert_int_eq(url_decode(nullptr, 1, buffer, 8), -1);
    ck_assert_int_eq(url_encode("a", 1, nullptr, 8), -1);
    ck_assert_int_eq(url_decode("a", 1, nullptr, 8), -1);
    ck_assert_int_eq(buffer[0], '#');
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

// Any character in any place, the end of the text among them: what is read, and the bytes in front of a bad digit.
TEST(mac_addresses) {
    constexpr uint8_t address[] = {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e};
    char *const text = reinterpret_cast<char *>(fence(18)) - 18;
    ck_assert_int_eq(inet_strfmac(address, text), 17);
    ck_assert_str_eq(text, "00:1A:2B:3C:4D:5E");
    char same[18] = "\x00\x1a\x2b\x3c\x4d\x5e";
    inet_strfmac(reinterpret_cast<const uint8_t *>(same), same);
    ck_assert_str_eq(same, "00:1A:2B:3C:4D:5E");
    for (size_t place = 0; place < 18; ++place)
        for (int ch = 0; ch < 256; ++ch) {
            strcpy(text, "00:1a:2B:3c:4D:5e");
            text[place] = static_cast<char>(ch);
            const bool is_colon = place % 3 == 2, good = place == 17 || (is_colon ? ch == ':' : std::isxdigit(ch));
            uint8_t mac[] = {90, 90, 90, 90, 90, 90};
            char own[18];
            ck_assert_int_eq(inet_parse_mac(text, mac), good ? 0 : -1);
            if (good)
                inet_strfmac(mac, own);
            ck_assert_msg(!good || strncasecmp(own, text, 17) == 0, "%s was read as %s", text, own);
            const size_t stored = is_colon || (ch == 0 && place < 16) ? 0 : place / 3;
            for (size_t i = 0; i < 6 && !good; ++i)
                ck_assert_int_eq(mac[i], i < stored ? address[i] : 90);
        }
}

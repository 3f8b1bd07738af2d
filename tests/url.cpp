#include "support.hpp"
#include "web.hpp"
#include <cstring>
#include <random>
#include <vector>
#include <vela/url.h>

using namespace std::literals;

namespace {

constexpr char kGuard = '\x5a';

// Calls a coder with the given room and a guard behind it, and gives what its result counts.
template <class Coder>
int32_t code(Coder coder, std::string_view text, uint32_t room, std::string &output) {
    std::vector<char> buffer(room + 1, kGuard);
    const auto source = exact_copy(text);
    const int32_t result = coder(source.get(), static_cast<uint32_t>(text.size()), buffer.data(), room);
    ck_assert_int_eq(buffer[room], kGuard);
    output.assign(buffer.data(), result > 0 ? static_cast<size_t>(result) : 0);
    return result;
}

// Decodes with every room around the one needed, by more than a vector step, and in place.
void check_decoding(std::string_view text, const std::string &bytes) {
    const auto length = static_cast<uint32_t>(text.size()), needed = static_cast<uint32_t>(bytes.size()) + 1;
    std::string output;
    for (uint32_t room = needed > 18 ? needed - 18 : 1; room < needed + 18; ++room) {
        const int32_t result = code(url_decode, text, room, output);
        ck_assert_int_eq(result, room < needed ? -1 : static_cast<int32_t>(needed));
        ck_assert(result < 0 || output == std::string_view(bytes.c_str(), needed));
    }
    output = text;
    ck_assert_int_eq(url_decode(output.data(), length, output.data(), length + 1), static_cast<int32_t>(needed));
    ck_assert_mem_eq(output.data(), bytes.c_str(), needed);
}

std::string components(const char *text) {
    url_record *url = url_alloc(text);
    if (!url)
        return "null";
    std::string list;
    for (const char *part : {url->scheme, url->user, url->password, url->host, url->port, url->path, url->query})
        list += (list.empty() ? "" : " ") + (part ? "<" + std::string(part) + ">" : "-");
    url_free(url);
    return list;
}

} // namespace

// A byte is encoded with room for five characters behind all codes before it.
START_TEST(encoding_and_its_room)
{
    const struct {
        std::string_view text;
        const char *code;
        uint32_t needed;
    } rows[] = {{"a", "a", 5},
                {" ", "+", 5},
                {"%", "%25", 5},
                {"ab", "ab", 6},
                {"a b&c", "a+b%26c", 11},
                {"x.y", "x%2Ey", 9},
                {"\0\xff"sv, "%00%FF", 8},
                {"-_~", "%2D%5F%7E", 11}};
    std::string output;
    for (const auto &row : rows)
        for (uint32_t room = 0; room < row.needed + 8; ++room) {
            const int32_t length = room ? room < row.needed ? -1 : static_cast<int32_t>(std::strlen(row.code)) : 0;
            ck_assert_int_eq(code(url_encode, row.text, room, output), length);
            ck_assert(length <= 0 || output == row.code);
        }
    char buffer[8] = {kGuard};
    ck_assert_int_eq(url_encode("a", 0, buffer, 8), 0);
    ck_assert_int_eq(url_encode(nullptr, 1, buffer, 8), -1);
    ck_assert_int_eq(url_encode("a", 1, nullptr, 8), -1);
    ck_assert_int_eq(buffer[0], kGuard);
}
END_TEST

START_TEST(decoding_and_its_room)
{
    const struct {
        std::string_view text, bytes;
    } rows[] = {{"a+b%26c%%", "a b&c%"},
                {"ab%4", "ab4"},
                {"ab%", "ab"},
                {"%", ""},
                {"%+", "+"},
                {"%%", "%"},
                {"%%%", "%"},
                {"%%41", "%41"},
                {"%%%41", "%A"},
                {"%4%", "\xff"},
                {"%g1", "\xf1"},
                {"%1g", "\xff"},
                {"%aF%Fa", "\xaf\xfa"},
                {"%++", "\xff"},
                {"%00x", "\0x"sv},
                {"\xe9%e9", "\xe9\xe9"}};
    for (const auto &row : rows)
        check_decoding(row.text, std::string(row.bytes));
    char buffer[4] = {kGuard};
    ck_assert_int_eq(url_decode("a", 0, buffer, 4), 0);
    ck_assert_int_eq(url_decode("a", 1, buffer, 0), 0);
    ck_assert_int_eq(url_decode(nullptr, 1, buffer, 4), -1);
    ck_assert_int_eq(url_decode("a", 1, nullptr, 4), -1);
    ck_assert_int_eq(buffer[0], kGuard);
}
END_TEST

// Texts of every length up to some vectors, of all bytes or mostly of those that mean something; every escape.
START_TEST(coders_on_generated_text)
{
    std::mt19937 random(8);
    std::string text, output;
    for (uint32_t length = 1; length < 100; ++length)
        for (const auto alphabet : {"%"sv, "ab%+4"sv, "abcdefghijklmnopqrstuvwxyz+%26%g%%0\xff"sv, ""sv}) {
            for (text.clear(); text.size() < length;)
                text += alphabet.empty() ? static_cast<char>(random()) : alphabet[random() % alphabet.size()];
            check_decoding(text, decoded(text));
            ck_assert_int_gt(code(url_encode, text, 3 * length + 5, output), 0);
            ck_assert(output == encoded(text));
        }
    for (int pair = 0; pair < 0x10000; ++pair) {
        text = {'%', static_cast<char>(pair >> 8), static_cast<char>(pair)};
        const std::string bytes = decoded(text);
        url_decode(text.data(), 3, text.data(), 4);
        ck_assert_mem_eq(text.c_str(), bytes.c_str(), bytes.size() + 1);
    }
}
END_TEST

START_TEST(url_components)
{
    const struct {
        const char *text, *components;
    } rows[] = {{"s://u:p@h:8080/a/b?x=1", "<s> <u> <p> <h> <8080> </a/b> <x=1>"},
                {"s://[::1]:80/", "<s> - - <[::1]> <80> </> -"},
                {"file:///etc/x", "<file> - - - - </etc/x> -"},
                {"m:a@b", "<m> <a> - <b> - - -"},
                {" \t\n\v\f\rs:/h \t", "<s> - - <h \t> - - -"},
                {"A9:", "<A9> - - - - - -"},
                {"s:////", "<s> - - - - <//> -"},
                {"s:?", "<s> - - - - - <>"},
                {"s://h?q?/@:", "<s> - - <h> - - <q?/@:>"},
                {"s://h/a@b:c?d#e", "<s> - - <h> - </a@b:c> <d#e>"},
                {"s://@h", "<s> <> - <h> - - -"},
                {"s://u:@", "<s> <u> <> - - - -"},
                {"s://u:p:q@h:1:2@3", "<s> <u> <p:q> <h> <1:2@3> - -"},
                {"s://:80/", "<s> - - <> <80> </> -"},
                {"s://h:/", "<s> - - <h> <> </> -"},
                {"s://[::1", "<s> - - <[::1> - - -"},
                {"s://[::1]?]", "<s> - - <[::1]> - - <]>"},
                {"s://[::1/]:1", "<s> - - <[::1> - </]:1> -"},
                {"s://u:p@[a]]b]:1", "<s> <u> <p> <[a]> <b]:1> - -"},
                {"s://a[b]:1", "<s> - - <a[b]> <1> - -"}};
    for (const auto &row : rows)
        assert_text_eq(components(row.text), row.components);
    for (const char *text : {"\xe9://h", "s\xe9://h", "://x", "a-b://x", "   ", "", "s", "s /:", (const char *)nullptr})
        assert_text_eq(components(text), "null");
    url_free(nullptr);
}
END_TEST

// Each row: a text, the result, and how many of the bytes 00 1A 2B ... are stored.
START_TEST(mac_addresses)
{
    const struct {
        const char *text;
        int32_t result, stored;
    } rows[] = {{"00:1a:2B:3c:4D:5e", 0, 6},
                {"00:1A:2b:3C:4d:5E and more", 0, 6},
                {"00:1a:2b:3c:4d:5", -1, 5},
                {"00:1a:2b:3c:4d:", -1, 0},
                {"00:1a:2b:3c:4d:5g", -1, 5},
                {"00:1a:2b:3c:4d:g5", -1, 5},
                {"00:1a:2\xb2:3c:4d:5e", -1, 2},
                {"00-1a-2b-3c-4d-5e", -1, 0},
                {"00:1a:2b:3c:4d-5e", -1, 0},
                {"00:1a-2b:3c:4d:5e", -1, 0},
                {"", -1, 0},
                {"0:1a:2b:3c:4d:5e00000", -1, 0}};
    constexpr uint8_t address[] = {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e};
    for (const auto &row : rows) {
        uint8_t mac[6], expected[6];
        std::memset(mac, kGuard, 6);
        std::memset(expected, kGuard, 6);
        std::memcpy(expected, address, static_cast<size_t>(row.stored));
        const auto text = exact_copy({row.text, std::strlen(row.text) + 1});
        ck_assert_int_eq(inet_parse_mac(text.get(), mac), row.result);
        ck_assert_mem_eq(mac, expected, 6);
    }
    char text[19];
    text[18] = kGuard;
    ck_assert_int_eq(inet_strfmac(address, text), 17);
    ck_assert_str_eq(text, "00:1A:2B:3C:4D:5E");
    ck_assert_int_eq(text[18], kGuard);
}
END_TEST

Suite *url_suite() {
    Suite *suite = suite_create("url");
    TCase *tests = tcase_create("url");
    tcase_add_test(tests, encoding_and_its_room);
    tcase_add_test(tests, decoding_and_its_room);
    tcase_add_test(tests, coders_on_generated_text);
    tcase_add_test(tests, url_components);
    tcase_add_test(tests, mac_addresses);
    suite_add_tcase(suite, tests);
    return suite;
}

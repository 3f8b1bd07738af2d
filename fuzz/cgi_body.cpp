// How much of the standard input a request takes, against the announced length read by hand. The first line is the
// length's text; the rest is the body, as often as its first byte says.
#include "web.hpp"

namespace {

size_t announced(const char *text) {
    constexpr size_t most = 131072;
    while (std::isspace(static_cast<unsigned char>(*text)))
        ++text;
    const bool negative = *text == '-';
    text += negative || *text == '+';
    size_t length = 0;
    for (; *text >= '0' && *text <= '9'; ++text)
        length = std::min(10 * length + static_cast<size_t>(*text - '0'), most + 1);
    return length > most || (negative && length > 0) ? most : length;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string all(reinterpret_cast<const char *>(data), size), length = all.substr(0, all.find('\n')).c_str();
    const std::string piece = all.substr(std::min(all.find('\n'), size - 1) + 1);
    std::string input;
    for (int i = piece.empty() ? 0 : 1 + 4 * static_cast<unsigned char>(piece[0]); i > 0; --i)
        input += piece;
    set_input(input);
    cgi_request *cgi = request("post", nullptr, nullptr, length.c_str());
    const size_t asked = announced(length.c_str()), taken = std::min(asked, input.size());
    assert((cgi->body != nullptr) == (asked > 0) && cgi->body_len == static_cast<int32_t>(taken));
    assert(lseek(STDIN_FILENO, 0, SEEK_CUR) == static_cast<off_t>(taken));
    assert(!cgi->body || std::string(cgi->body, taken + 1) == input.substr(0, taken) + '\0');
    cgi_cleanup(cgi);
    return 0;
}

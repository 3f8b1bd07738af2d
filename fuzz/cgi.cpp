// Names and values of a request, and how much of the standard input it takes, against a second implementation of both.
// The first line is the announced length; the rest is query string, cookies and, as often as its first byte says, the
// body.
#include "../tests/models/cgi.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string all(reinterpret_cast<const char *>(data), size), length = all.substr(0, all.find('\n')).c_str();
    const std::string text = all.substr(std::min(all.find('\n'), size - 1) + 1);
    std::string input;
    for (int i = text.empty() ? 0 : 1 + 4 * static_cast<unsigned char>(text[0]); i > 0; --i)
        input += text;

    size_t place = std::min(length.find_first_not_of(" \t\n\v\f\r"), length.size()), asked = 0;
    const bool negative = length[place] == '-';
    for (place += negative || length[place] == '+'; std::isdigit(static_cast<unsigned char>(length[place])); ++place)
        asked = std::min(10 * asked + static_cast<size_t>(length[place] - '0'), kMostBody + 1);
    asked = asked && negative ? kMostBody : std::min(asked, kMostBody);
    check_request("post", length.c_str(), asked, input, text.c_str());
    return 0;
}

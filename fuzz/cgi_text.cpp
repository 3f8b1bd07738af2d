// The text of a query string, of a form and of cookies against a parser that goes character by character.
#include "web.hpp"
#include <strings.h>
#include <vector>

namespace {

// Names and values in turn.
std::vector<std::string> described(const std::string &text, char separator, bool spaces) {
    std::vector<std::string> strings;
    std::string token;
    bool begins = false; // behind a separator
    for (const char *ch = text.c_str();; ++ch) {
        const bool pair_ends = *ch == separator || !*ch;
        if (!pair_ends && *ch != '=') {
            begins = spaces && begins && *ch == ' ';
            token.append(begins ? 0 : 1, *ch);
            continue;
        }
        if (!token.empty())
            strings.emplace_back(decoded(token).c_str());
        if ((pair_ends || token.empty()) && strings.size() % 2)
            strings.emplace_back();
        if (!*ch)
            return strings;
        token.clear();
        begins = true;
    }
}

// Every name is there with its first value, and a name that no text has room for is not.
template <class LookUp>
void check(LookUp look_up, cgi_request *cgi, const std::vector<std::string> &expected) {
    for (size_t i = 0; i < expected.size(); i += 2) {
        size_t first = 0;
        while (strcasecmp(expected[first].c_str(), expected[i].c_str()) != 0)
            first += 2;
        const char *found = look_up(cgi, expected[i].c_str());
        assert(found && expected[first + 1] == found);
    }
    assert(!look_up(cgi, (std::string(cgi->query) + 'x').c_str()));
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text = fuzz::text_of(data, size);
    set_input({reinterpret_cast<const char *>(data), size});
    cgi_request *cgi = request("POST", text.c_str(), text.c_str());
    const auto parameters = described(text, '&', false);
    check(cgi_query_param, cgi, parameters);
    check(cgi_form_param, cgi, parameters);
    check(cgi_cookie, cgi, described(text, ';', true));
    cgi_cleanup(cgi);
    return 0;
}

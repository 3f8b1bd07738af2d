// inet_parse_mac() against a pattern, and the text of what it took.
#include "web.hpp"
#include <fnmatch.h>
#include <strings.h>
#include <vela/url.h>

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string pattern;
    for (int i = 0; i < 6; ++i)
        pattern += (i ? ":" : "") + std::string("[0-9a-fA-F][0-9a-fA-F]");
    const std::string text = fuzz::text_of(data, size);
    uint8_t mac[6];
    char own[18];
    const int32_t result = inet_parse_mac(text.c_str(), mac);
    assert(result == (fnmatch((pattern + "*").c_str(), text.c_str(), 0) == 0 ? 0 : -1));
    assert(result != 0 || (inet_strfmac(mac, own) == 17 && strncasecmp(own, text.c_str(), 18 - 1) == 0));
    return 0;
}

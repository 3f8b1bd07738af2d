// The coders, in a room that may be too small, the components of a URL and MAC addresses against other words for them.
#include "../tests/models/url.hpp"
#include "fuzz.hpp"
#include <fnmatch.h>

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto room = data.ConsumeIntegralInRange<uint32_t>(0, 2047);
    const std::string text = data.ConsumeRemainingBytesAsString(), byte = "[0-9a-fA-F][0-9a-fA-F]";
    if (!text.empty())
        check_coders(text, room, room);
    agree("components", text, components(text.c_str()), expected_components(text.c_str()));

    const std::string pattern = byte + ':' + byte + ':' + byte + ':' + byte + ':' + byte + ':' + byte + '*';
    uint8_t mac[6];
    char own[18];
    const int32_t result = inet_parse_mac(text.c_str(), mac);
    assert(result == (fnmatch(pattern.c_str(), text.c_str(), 0) == 0 ? 0 : -1));
    assert(result != 0 || (inet_strfmac(mac, own) == 17 && strncasecmp(own, text.c_str(), 17) == 0));
    return 0;
}

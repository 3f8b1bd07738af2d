#include "fuzz.hpp"
#include <cstring>
#include <vela/uuid.h>

namespace {

const std::string kByte = "%02hhx", kWord = kByte + kByte, kLong = kWord + kWord;
const std::string kDashed = kLong + "-" + kWord + "-" + kWord + "-" + kWord + "-" + kLong + kWord;
const std::string kFormats[] = {"{" + kDashed + "}", kDashed, kLong + kLong + kLong + kLong};

// Any text: as the scan formats read it, one after the other, down to what a failure leaves behind.
void check_scan(const char *text) {
    uint8_t actual[16] = {}, expected[16] = {};
    const bool found = std::any_of(std::begin(kFormats), std::end(kFormats), [&](const std::string &format) {
        return uuid_scanf(text, format.c_str(), expected) == 16;
    });
    assert(uuid_scan(text, actual) == (found ? 0 : -1));
    assert(uuid_compare(actual, expected) == 0);
}

// Any bytes: printed and read back in each form.
void check_print(const uint8_t *uuid) {
    char text[64], printed[64];
    for (const std::string &format : kFormats) {
        uint8_t back[16];
        uuid_sprintf(text, format.c_str(), uuid);
        assert(uuid_scan(text, back) == 0 && uuid_compare(uuid, back) == 0);
    }
    uuid_sprintf(text, kFormats[0].c_str(), uuid);
    assert(uuid_sprint(printed, uuid) == 38 && std::strcmp(text, printed) == 0);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    std::vector<char> text = fuzz::rest(data);
    if (text.size() >= 16)
        check_print(reinterpret_cast<const uint8_t *>(text.data()));
    text.push_back('\0');
    text.shrink_to_fit();
    check_scan(text.data());
    return 0;
}

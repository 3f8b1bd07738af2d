#include "ratios.hpp"
#include <vector>
#include <vela/text.h>

namespace {

constexpr uint32_t kBytes = 65536;

template <class Convert>
void add(const std::string &name, const char *implementation, Convert convert) {
    ratios::add(name, implementation, kBytes,
                [=, text = std::string(2 * kBytes, '7'), bytes = std::vector<uint8_t>(kBytes, 0xA5)]() mutable {
                    convert(text.data(), bytes.data());
                });
}

const bool registered = [] {
    add("bin2hex", "vela", [](char *text, const uint8_t *bytes) { bin2hex(bytes, kBytes, text); });
    add("bin2hex", "int2hex", [](char *text, const uint8_t *bytes) {
        for (uint32_t i = 0; i < kBytes; ++i) {
            text[2 * i] = static_cast<char>(int2hex(bytes[i] >> 4));
            text[2 * i + 1] = static_cast<char>(int2hex(bytes[i] & 15));
        }
    });
    add("hex2bin", "vela", [](const char *text, uint8_t *bytes) { hex2bin(text, 2 * kBytes, bytes); });
    add("hex2bin", "hex2int", [](const char *text, uint8_t *bytes) {
        for (uint32_t i = 0; i < kBytes; ++i)
            bytes[i] = static_cast<uint8_t>(16 * hex2int(static_cast<uint8_t>(text[2 * i])) +
                                            hex2int(static_cast<uint8_t>(text[2 * i + 1])));
    });
    ratios::target("bin2hex", 5);
    ratios::target("hex2bin", 5);
    return true;
}();

} // namespace

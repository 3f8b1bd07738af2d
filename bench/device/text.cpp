#include "device.hpp"
#include <vela/text.h>

static const device::cases registered([] {
    constexpr uint32_t kBytes = 1024;
    device::add("bin2hex", "byte", kBytes, [] {
        return [bytes = std::string(kBytes, '\xA5'), text = std::string(2 * kBytes, '\0')]() mutable {
            bin2hex(reinterpret_cast<const uint8_t *>(bytes.data()), kBytes, text.data());
        };
    });
    device::add("hex2bin", "byte", kBytes, [] {
        std::string text = "0123456789abcdefABCDEF9876543210";
        while (text.size() < 2 * kBytes)
            text += text;
        return [text, bytes = std::string(kBytes, '\0')]() mutable {
            hex2bin(text.data(), 2 * kBytes, reinterpret_cast<uint8_t *>(bytes.data()));
        };
    });
});

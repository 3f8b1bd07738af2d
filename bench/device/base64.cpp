#include "device.hpp"
#include <random>
#include <vela/base64.h>

namespace {

constexpr uint32_t kBytes = 3072;

std::string sample() {
    std::mt19937 random(1);
    std::string bytes(kBytes, '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

// The sample's text in lines of `line` characters.
std::string sample_text(size_t line) {
    std::string text(base64_encode_len(nullptr, kBytes), '\0'), lines;
    base64_encode(sample().data(), kBytes, text.data(), static_cast<uint32_t>(text.size()));
    for (size_t i = 0; i < text.size(); i += line)
        lines += text.substr(i, line) + "\n";
    return lines;
}

auto encoding() {
    return [bytes = sample(), text = std::string(base64_encode_len(nullptr, kBytes), '\0')]() mutable {
        base64_encode(bytes.data(), kBytes, text.data(), static_cast<uint32_t>(text.size()));
    };
}

auto decoding(size_t line) {
    return [text = sample_text(line), bytes = std::string(sample_text(line).size(), '\0')]() mutable {
        base64_decode(text.data(), static_cast<uint32_t>(text.size()), bytes.data(),
                      static_cast<uint32_t>(bytes.size()));
    };
}

const device::cases registered([] {
    const auto characters = [](size_t line) { return static_cast<double>(sample_text(line).size()); };
    device::add("base64_encode", "byte", kBytes, encoding);
    device::add("base64_decode", "byte", characters(kBytes * 2), [] { return decoding(kBytes * 2); });
    device::add("base64_decode/lines", "byte", characters(76), [] { return decoding(76); });
});

} // namespace

#include "../device.hpp"
#include <libyuv/convert_argb.h>
#include <random>
#include <vector>

static const device::cases registered([] {
    constexpr int kWidth = 640, kHeight = 16;
    device::add("UYVYToARGB", "pixel", kWidth * kHeight, [] {
        std::vector<uint8_t> lines(2 * kWidth * kHeight);
        std::mt19937 random(1);
        for (uint8_t &byte : lines)
            byte = static_cast<uint8_t>(random() >> 24);
        return [lines, pixels = std::vector<uint8_t>(4 * kWidth * kHeight)]() mutable {
            libyuv::UYVYToARGB(lines.data(), 2 * kWidth, pixels.data(), 4 * kWidth, kWidth, kHeight);
        };
    });
});

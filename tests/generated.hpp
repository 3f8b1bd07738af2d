// Generated inputs, the same on every machine, and checksums of results.
#pragma once

#include "models/agree.hpp"
#include <bit>
#include <cstdint>
#include <string>
#include <vector>

struct generator {
    uint32_t state;
    uint32_t next() { return state = state * 1664525 + 1013904223; }
    int32_t word() {
        const uint32_t upper = next() & 0xFFFF0000;
        return static_cast<int32_t>(upper | next() >> 16);
    }
    int32_t below(uint32_t limit) { return static_cast<int32_t>(static_cast<uint32_t>(word()) % limit); }
    int32_t operator()(int32_t limit) { return below(static_cast<uint32_t>(limit)); }
};

// Makes counts from 1 to `most`.
inline auto counts_to(int32_t most) {
    return [most, random = generator{1}]() mutable { return static_cast<uint32_t>(1 + random(most)); };
}

// `count` numbers, the same for the same seed.
template <class Integer>
std::vector<Integer> noise(std::size_t count, uint32_t seed) {
    std::vector<Integer> made(count);
    for (generator random{seed}; Integer & number : made)
        number = static_cast<Integer>(random.word());
    return made;
}

struct checksum {
    uint64_t value = 0;
    static uint32_t bits(int32_t number) { return static_cast<uint32_t>(number); }
    static uint32_t bits(float number) { return std::bit_cast<uint32_t>(number); }
    template <class Values>
    void add(const Values &values) {
        for (const auto number : values) {
            value = (value ^ bits(number)) * 0x9E3779B97F4A7C15;
            value ^= value >> 32;
        }
    }
};

// Of a checksum the lower half.
inline void expect_checksum(const std::string &name, const checksum &found, uint32_t expected) {
    char text[80];
    std::snprintf(text, sizeof text, ": checksum 0x%08X, expected 0x%08X", static_cast<uint32_t>(found.value),
                  expected);
    if (static_cast<uint32_t>(found.value) != expected)
        disagree(name + text);
}

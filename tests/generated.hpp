// Generated inputs, the same on every machine, and digests of what comes of them.
#pragma once

#include <bit>
#include <check.h>
#include <cstdint>

class generator {
public:
    explicit generator(uint32_t seed) : state(seed) {}
    int32_t word() {
        const uint32_t upper = next() & 0xFFFF0000;
        return static_cast<int32_t>(upper | next() >> 16);
    }
    int32_t below(uint32_t limit) { return static_cast<int32_t>(static_cast<uint32_t>(word()) % limit); }

private:
    uint32_t state;
    uint32_t next() { return state = state * 1664525 + 1013904223; }
};

class digest {
public:
    void add(int32_t value) {
        state = (state ^ static_cast<uint32_t>(value)) * 0x9E3779B97F4A7C15;
        state ^= state >> 32;
    }
    void add(float value) { add(std::bit_cast<int32_t>(value)); }
    template <class Values>
    void add_all(const Values &values) {
        for (const auto value : values)
            add(value);
    }
    uint64_t value() const { return state; }

private:
    uint64_t state = 0;
};

#define assert_digest(actual, expected)                                                                                \
    ck_assert_msg((actual).value() == (expected), #actual ": digest 0x%016llX",                                        \
                  static_cast<unsigned long long>((actual).value()))

// Sound: a recording of speech, and a live sound that is a function of the clock, so that all clients hear the same.
#pragma once

#include <cstdint>
#include <string>
#include <sys/time.h>
#include <vector>

class sound {
public:
    // Reads speech.wav of the directory CAMERA_SCENE: mono, 16 bits.
    sound();

    uint32_t rate() const { return rate_; }
    const std::vector<int16_t> &speech() const { return speech_; }
    // The index of the live sample at a time, and samples from an index on.
    uint64_t place_of(const timeval &at) const;
    std::vector<int16_t> live(uint64_t from, size_t count) const;

private:
    uint32_t rate_ = 0;
    std::vector<int16_t> speech_, bell_;
};

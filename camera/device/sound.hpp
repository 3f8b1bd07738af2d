// What the camera hears: a recording of speech, and a live sound that is a function of the clock, so that everybody
// who listens hears the same.
#pragma once

#include <cstdint>
#include <string>
#include <sys/time.h>
#include <vector>

class sound {
public:
    // Reads speech.wav of the folder CAMERA_SCENE: mono, 16 bits.
    sound();

    uint32_t rate() const { return rate_; }
    const std::vector<int16_t> &speech() const { return speech_; }
    // The sample of the live sound that belongs to a time, and samples from there on.
    uint64_t place_of(const timeval &at) const;
    std::vector<int16_t> live(uint64_t from, size_t count) const;

private:
    uint32_t rate_ = 0;
    std::vector<int16_t> speech_, bell_;
};

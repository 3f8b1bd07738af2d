// Sound: a recording of speech, and a live sound, the same for all clients: that of the camera's source, or a function
// of the clock.
#pragma once

#include "feed.hpp"
#include <cstdint>
#include <optional>
#include <string>
#include <sys/time.h>
#include <vector>
#include <vela/cpp/rate_converter.hpp>

class sound {
public:
    // Reads speech.wav of the directory CAMERA_SCENE: mono, 16 bits. Of a source, the speech is what was heard last.
    sound();

    bool is_fed() const { return is_fed_; } // by a source
    uint32_t rate() const { return rate_; }
    const std::vector<int16_t> &speech() const { return speech_; }
    // The index of the live sample at a time, and samples from an index on.
    uint64_t place_of(const timeval &at);
    std::vector<int16_t> live(uint64_t from, size_t count);
    // The next samples of a listener, who is at an index and takes them by the camera's clock, which the source's
    // follow; silence while it gives nothing.
    std::vector<int16_t> next(uint64_t &place, size_t step);

private:
    void read_speech();

    bool is_fed_ = feed::sound::is_configured();
    feed::sound source_;
    std::optional<vela::rate_converter<>> follower_;
    std::vector<int16_t> buffer_; // of what is next
    bool is_waiting_ = false;     // until there is enough in it
    uint32_t rate_ = 0;
    std::vector<int16_t> speech_, bell_;
};

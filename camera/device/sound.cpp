// The recording read, and the live sound made of it and of a bell.
#include "sound.hpp"
#include "state.hpp"
#include "store.hpp"
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>
#include <vela/fixedpoint.h>

namespace {

constexpr uint32_t kPause = 2, kBellEvery = 15; // seconds

uint32_t little(const std::string &bytes, size_t at, size_t count) {
    uint32_t value = 0;
    for (size_t i = count; i-- > 0;)
        value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

// Three partials that fade, by the sine of fixed point: the same on every processor.
std::vector<int16_t> make_bell(uint32_t rate) {
    constexpr int64_t kPartials[][2] = {{523, 5200}, {1248, 2600}, {1397, 1300}}; // hertz, amplitude
    std::vector<int16_t> bell(3 * size_t{rate});
    int64_t fading = 1 << 30;
    for (size_t i = 0; i < bell.size(); ++i) {
        int64_t sum = 0;
        for (const auto &[hertz, amplitude] : kPartials) {
            const auto angle = static_cast<int32_t>(static_cast<int64_t>(i) * hertz % rate * 368640 / rate);
            sum += sinQ10inQ12out(angle) * amplitude >> 12;
        }
        bell[i] = static_cast<int16_t>(sum * fading >> 30);
        fading -= fading / (rate / 2);
    }
    return bell;
}

} // namespace

sound::sound() {
    constexpr size_t kLastSeconds = 10;
    if (!is_fed_) {
        read_speech();
        return;
    }
    rate_ = feed::sound_file::kRate;
    follower_ = vela::rate_converter<>::make(rate_, rate_, vela::quality::high);
    if (!follower_)
        throw std::bad_alloc();
    const auto count = static_cast<size_t>(std::min<uint64_t>(source_.count(), kLastSeconds * rate_));
    speech_ = live(source_.count() - count, count);
}

void sound::read_speech() {
    const char *directory = std::getenv("CAMERA_SCENE");
    std::ifstream file(std::string(directory ? directory : "") + "/speech.wav", std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    for (size_t at = 12; bytes.size() >= 12 && at + 8 <= bytes.size();) {
        const size_t size = std::min<size_t>(little(bytes, at + 4, 4), bytes.size() - at - 8);
        if (bytes.compare(at, 4, "fmt ") == 0 && size >= 16)
            rate_ = little(bytes, at + 12, 4);
        if (bytes.compare(at, 4, "data") == 0)
            for (size_t i = 0; i + 1 < size; i += 2)
                speech_.push_back(static_cast<int16_t>(little(bytes, at + 8 + i, 2)));
        at += 8 + size + size % 2;
    }
    if (rate_ < 8000 || rate_ > 48000 || speech_.empty())
        throw store::failure{"speech.wav is missing or invalid"};
    bell_ = make_bell(rate_);
}

uint64_t sound::place_of(const timeval &at) {
    if (is_fed_) {
        const double ago = motion::seconds_between(at, state::uptime()) * rate_;
        return source_.count() - std::min(source_.count(), static_cast<uint64_t>(std::max(0.0, ago)));
    }
    return static_cast<uint64_t>(at.tv_sec) * rate_ + static_cast<uint64_t>(at.tv_usec) * rate_ / 1000000;
}

// The source's samples fill a buffer, whose level the converter keeps although the source has another clock.
std::vector<int16_t> sound::next(uint64_t &place, size_t step) {
    if (!is_fed_) {
        place += step;
        return live(place - step, step);
    }
    const size_t reserve = rate_ / 4;
    const uint64_t end = source_.count();
    if (end - std::min(end, place) > 2 * rate_) // it has not listened for long
        place = end - reserve;
    const auto fresh = static_cast<size_t>(end - std::min(end, place));
    follower_->push(live(place, fresh), buffer_);
    place += fresh;
    if (buffer_.size() < 2 * reserve && !follower_->follow(buffer_.size(), reserve))
        throw std::bad_alloc();
    is_waiting_ = buffer_.size() < (is_waiting_ ? reserve : step);
    if (is_waiting_)
        return std::vector<int16_t>(step);
    std::vector<int16_t> samples(buffer_.begin(), buffer_.begin() + static_cast<ptrdiff_t>(step));
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<ptrdiff_t>(step));
    return samples;
}

std::vector<int16_t> sound::live(uint64_t from, size_t count) {
    if (is_fed_) {
        std::vector<int16_t> samples(count);
        source_.copy(from, samples);
        return samples;
    }
    const uint64_t round = speech_.size() + uint64_t{kPause} * rate_, strokes = uint64_t{kBellEvery} * rate_;
    std::vector<int16_t> heard(count);
    for (size_t i = 0; i < count; ++i) {
        const auto in_speech = static_cast<size_t>((from + i) % round),
                   in_bell = static_cast<size_t>((from + i) % strokes);
        const int32_t sum =
            (in_speech < speech_.size() ? speech_[in_speech] : 0) + (in_bell < bell_.size() ? bell_[in_bell] : 0);
        heard[i] = static_cast<int16_t>(std::clamp(sum, -32768, 32767));
    }
    return heard;
}

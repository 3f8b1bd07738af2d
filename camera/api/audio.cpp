// Sound.
//
//   GET /api/audio         the recorded speech: [rate] [format=wav|alaw|ulaw] [lobes=2|16] [container=basic]
//   GET /api/audio/live    sound as it comes: the same, [seconds]
//   GET /api/audio/levels  how loud it was just now: [count]
#include "../device/sound.hpp"
#include "../device/state.hpp"
#include "../device/store.hpp"
#include "../device/stream.hpp"
#include <algorithm>
#include <cmath>
#include <vela/cpp/resampler.hpp>

namespace {

using web::exchange;
using web::refusal;

constexpr uint32_t kMaxFactor = 2047; // what the kernel's table allows with 16 lobes
constexpr uint32_t kStepsPerSecond = 20;

struct options {
    uint32_t rate, lobes;
    vela::resampler::format format;
    bool basic;
};

options read_options(const exchange &http) {
    const bool basic = http.one_of("container", {"wav", "basic"}, "wav") == "basic";
    const std::string format = http.one_of("format", {"wav", "alaw", "ulaw"}, basic ? "ulaw" : "wav");
    const int32_t rate = http.whole("rate", 8000, 48000, basic ? 8000 : 16000);
    const int32_t lobes = http.whole("lobes", 2, 16, 16);
    if (lobes != 2 && lobes != 16)
        throw refusal{400, "lobes is 2 or 16"};
    if (basic && (format != "ulaw" || rate != 8000))
        throw refusal{400, "audio/basic is ulaw at 8000 Hz"};
    return {static_cast<uint32_t>(rate), static_cast<uint32_t>(lobes),
            format == "alaw"   ? vela::resampler::format::alaw
            : format == "ulaw" ? vela::resampler::format::ulaw
                               : vela::resampler::format::little_endian,
            basic};
}

// The header of a WAV file; 0xFFFFFFFF bytes mean an unknown length.
std::string wav_head(const options &what, uint32_t bytes) {
    const auto size = static_cast<uint32_t>(vela::resampler::sample_size(what.format));
    const uint32_t tag = what.format == vela::resampler::format::alaw   ? 6
                         : what.format == vela::resampler::format::ulaw ? 7
                                                                        : 1;
    std::string head;
    const auto put = [&head](uint32_t value, int count) {
        for (; count > 0; --count, value >>= 8)
            head += static_cast<char>(value);
    };
    head += "RIFF";
    put(bytes > UINT32_MAX - 38 ? UINT32_MAX : bytes + 38, 4);
    head += "WAVEfmt ";
    put(18, 4);
    put(tag, 2);
    put(1, 2);
    put(what.rate, 4);
    put(what.rate * size, 4);
    put(size, 2);
    put(8 * size, 2);
    put(0, 2);
    head += "data";
    put(bytes, 4);
    return head;
}

// The ratio of the rates, or its last convergent with numbers that the table allows, which is within 0.05 % of it.
std::pair<uint32_t, uint32_t> ratio_of(uint32_t out, uint32_t in) {
    uint64_t above = 1, below = 0, last_above = 0, last_below = 1;
    for (uint64_t a = out, b = in; b != 0;) {
        const uint64_t whole = a / b, next_above = whole * above + last_above, next_below = whole * below + last_below;
        if (next_above > kMaxFactor || next_below > kMaxFactor)
            break;
        last_above = std::exchange(above, next_above);
        last_below = std::exchange(below, next_below);
        a = std::exchange(b, a % b);
    }
    return {static_cast<uint32_t>(above), static_cast<uint32_t>(below)};
}

vela::resampler resampler_for(const options &what, uint32_t from) {
    const auto [out, in] = ratio_of(what.rate, from);
    auto made = vela::resampler::with_lobes(out, in, what.lobes);
    if (!made)
        throw store::failure{"no memory for the resampler"};
    return std::move(*made);
}

// Samples in the processor's byte order, resampled and encoded.
void convert(vela::resampler &by, const std::vector<int16_t> &samples, const options &what, std::vector<uint8_t> &out) {
    constexpr auto kNative = std::endian::native == std::endian::little ? vela::resampler::format::little_endian
                                                                        : vela::resampler::format::big_endian;
    const auto *const bytes = reinterpret_cast<const uint8_t *>(samples.data());
    if (!by.push(std::span(bytes, 2 * samples.size()), kNative, out, what.format))
        throw store::failure{"half a sample"};
}

const char *type_of(const options &what) { return what.basic ? "audio/basic" : "audio/wav"; }

void send_speech(exchange &http) {
    const options what = read_options(http);
    const sound heard;
    auto by = resampler_for(what, heard.rate());
    std::vector<uint8_t> coded;
    convert(by, heard.speech(), what, coded);
    by.flush(coded, what.format);
    std::string body = what.basic ? "" : wav_head(what, static_cast<uint32_t>(coded.size()));
    body += text_of(coded);
    http.answer(type_of(what), body);
}

// In steps of the clock, the first half second at once, so that a player can fill its buffer.
void send_live(exchange &http) {
    const options what = read_options(http);
    const int32_t seconds = http.whole("seconds", 1, 86400, 0);
    const uint64_t size = vela::resampler::sample_size(what.format),
                   size_limit = uint64_t{what.rate} * static_cast<uint64_t>(seconds) * size;
    sound heard;
    auto by = resampler_for(what, heard.rate());
    if (!http.begin(type_of(what)) || !http.response().wants_body())
        return;
    if (!what.basic)
        http.write(
            {wav_head(what, seconds ? static_cast<uint32_t>(std::min<uint64_t>(size_limit, UINT32_MAX)) : UINT32_MAX)});
    const timeval now = state::uptime();
    const size_t step = heard.rate() / kStepsPerSecond;
    constexpr std::chrono::milliseconds kAhead(500);
    // What is sent ahead has been heard already, where it is no function of the clock.
    uint64_t place = heard.place_of(now), sent = 0;
    place -= std::min<uint64_t>(place, heard.is_fed() ? heard.rate() / 2 + heard.rate() / 4 : 0);
    pacer pace(std::chrono::microseconds(1000000 / kStepsPerSecond), pacer::late::catch_up, kAhead);
    std::vector<uint8_t> coded;
    while (seconds == 0 || sent < size_limit) {
        coded.clear();
        convert(by, heard.next(place, step), what, coded);
        const uint64_t count = seconds == 0 ? coded.size() : std::min<uint64_t>(coded.size(), size_limit - sent);
        if (!http.write({text_of(coded).substr(0, static_cast<size_t>(count))}))
            return;
        sent += count;
        pace.wait();
    }
}

double decibels(double amplitude) {
    return amplitude < 0.52 ? -96 : std::max(-96.0, 20 * std::log10(amplitude / 32768));
}

void send_levels(exchange &http) {
    const auto count = static_cast<size_t>(http.whole("count", 1, 64, 20));
    sound heard;
    const timeval now = state::uptime();
    const size_t step = heard.rate() / kStepsPerSecond;
    const std::vector<int16_t> samples = heard.live(heard.place_of(now) - count * step, count * step);
    web::json::array levels;
    for (size_t i = 0; i < count; ++i) {
        double power = 0, peak = 0;
        for (size_t k = i * step; k < (i + 1) * step; ++k) {
            const double sample = samples[k];
            power += sample * sample;
            peak = std::max(peak, std::fabs(sample));
        }
        levels.raw(web::json::object()
                       .add("rms", decibels(std::sqrt(power / static_cast<double>(step))), 1)
                       .add("peak", decibels(peak), 1)
                       .text());
    }
    http.json(web::json::object()
                  .add("now", static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) / 1e6)
                  .add("step", 1.0 / kStepsPerSecond)
                  .raw("levels", levels.text())
                  .text());
}

} // namespace

int main() {
    return web::run({{"GET", "", send_speech}, {"GET", "/live", send_live}, {"GET", "/levels", send_levels}});
}

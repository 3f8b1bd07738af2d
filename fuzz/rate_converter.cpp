// Streams of any quality, rates, channels and kind of samples, whose ratio is changed and which are ended in any order:
// two converters that get the same frames in different pieces give the same outputs, as many as they said; and those of
// the definition, unless follow() chose the ratio.
#include "../tests/models/rate_converter.hpp"
#include "fuzz.hpp"
#include <cstring>
#include <limits>
#include <utility>

namespace {

template <class Sample>
std::vector<Sample> samples_of(const std::vector<uint8_t> &bytes, size_t channels) {
    std::vector<Sample> made(bytes.size() / sizeof(Sample) / channels * channels);
    if (!made.empty())
        std::memcpy(made.data(), bytes.data(), made.size() * sizeof(Sample));
    return made;
}

template <class Sample>
class streams {
public:
    streams(uint32_t out_rate, uint32_t in_rate, vela::quality quality, size_t channels)
        : out_rate_(out_rate), in_rate_(in_rate),
          quality_(quality), converters_{vela::rate_converter<Sample>::make(out_rate, in_rate, quality, channels),
                                         vela::rate_converter<Sample>::make(out_rate, in_rate, quality, channels)},
          channels_(channels) {
        for (const auto &one : converters_)
            assert(one);
    }

    // The second converter gets the frames in pieces.
    void push(std::span<const Sample> in, size_t piece) {
        in_.insert(in_.end(), in.begin(), in.end());
        agree("incomplete frames", "a push", converters_[0]->push(in, out_[0]), true);
        for (size_t some; !in.empty(); in = in.subspan(some)) {
            some = std::min(in.size(), piece * channels_);
            std::vector<Sample> made(converters_[1]->output_count(some / channels_) * channels_);
            if (!made.empty())
                assert(!converters_[1]->push(in.first(some), std::span(made).first(made.size() - 1)));
            const auto written = converters_[1]->push(in.first(some), std::span(made));
            assert(written && written->size() == made.size());
            out_[1].insert(out_[1].end(), made.begin(), made.end());
        }
        agree("outputs", "pieces", out_[1].size(), out_[0].size());
    }

    void set_ratio(double ratio) {
        const bool is_allowed = ratio >= 0.9 && ratio <= 1.1;
        for (auto &one : converters_)
            agree("set_ratio()", std::to_string(ratio), one->set_ratio(ratio), is_allowed);
        if (!is_allowed)
            return;
        ratio_ = ratio;
        changes_.emplace_back(frames(), ratio);
    }

    void follow(size_t fill, size_t target) {
        for (auto &one : converters_)
            assert(one->follow(fill, target));
        is_followed_ = true;
    }

    // What was pushed since the last end is a stream.
    void end(bool flushes) {
        const size_t before = frames();
        for (size_t i = 0; i < 2; ++i)
            if (flushes)
                converters_[i]->flush(out_[i]);
            else
                converters_[i]->reset();
        agree_all("samples", "pieces", out_[1], out_[0]);
        if (!is_followed_) {
            const model::filter_bank bank(out_rate_, in_rate_, quality_, was_changed() ? 512 : 1);
            if (flushes)
                in_.resize(in_.size() + bank.record->taps / 2 * channels_);
            for (Sample &each : in_)
                if (each != each)
                    each = std::numeric_limits<Sample>::lowest();
            agree_all("samples", "definition", out_[0], model::converted(bank, in_, channels_, [&](size_t n) {
                          double ratio = 1;
                          for (const auto &[first, next] : changes_)
                              if (first <= n)
                                  ratio = next;
                          return static_cast<uint64_t>(static_cast<double>(bank.record->step) / ratio);
                      }));
        }
        assert(frames() >= before);
        in_.clear();
        for (auto &each : out_)
            each.clear();
        changes_.assign(was_changed(), {0, ratio_});
    }

private:
    size_t frames() const { return out_[0].size() / channels_; }
    bool was_changed() const { return !changes_.empty(); }

    uint32_t out_rate_, in_rate_;
    vela::quality quality_;
    std::optional<vela::rate_converter<Sample>> converters_[2];
    size_t channels_;
    std::vector<Sample> in_, out_[2];
    double ratio_ = 1;
    std::vector<std::pair<size_t, double>> changes_; // of the ratio: from which output on
    bool is_followed_ = false;
};

template <class Sample>
void run(fuzz::source &data) {
    static constexpr uint32_t rates[] = {8000, 11025, 16000, 22050, 44100, 48000};
    const auto rate = [&] {
        const auto given = data.ConsumeIntegralInRange<uint32_t>(0, 100);
        return given < std::size(rates) ? rates[given] : 8000 + given * given;
    };
    const uint32_t out_rate = rate(), in_rate = std::min(rate(), 4 * out_rate);
    const auto quality = static_cast<vela::quality>(data.ConsumeIntegralInRange(0, 4));
    const auto channels = data.ConsumeIntegralInRange<size_t>(1, 8);
    fuzz::cuts cuts(data);
    const auto in = samples_of<Sample>(data.ConsumeRemainingBytes<uint8_t>(), channels);
    streams<Sample> both(out_rate, in_rate, quality, channels);
    size_t at = 0;
    while (cuts.numbers.remaining_bytes())
        switch (cuts.next(0, 7)) {
        case 0:
            both.set_ratio(0.89 + 0.22 / 65535 * cuts.next(0, 65535));
            break;
        case 1: {
            const uint32_t fill = cuts.next(0, 65535);
            both.follow(fill, cuts.next(0, 65535));
            break;
        }
        case 2:
            both.end(cuts.next(0, 1));
            break;
        default: {
            const size_t some = std::min((in.size() - at) / channels, size_t{cuts.next(0, 3000)}) * channels;
            both.push(std::span(in).subspan(at, some), cuts.next(1, 300));
            at += some;
        }
        }
    both.push(std::span(in).subspan(at), 3000);
    both.end(true);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    switch (data.ConsumeIntegralInRange(0, 2)) {
    case 0:
        run<int16_t>(data);
        break;
    case 1:
        run<int32_t>(data);
        break;
    default:
        run<float>(data);
    }
    return 0;
}

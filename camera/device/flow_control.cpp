// The rate rises while pictures arrive without waiting for each other, and falls to what was measured when they wait.
#include "flow_control.hpp"
#include <algorithm>
#include <cmath>
#include <iterator>

namespace {

constexpr double kPicturesPerSecond = 12; // at the least, by smaller pictures
constexpr double kWindow = 0.2;           // seconds that pictures may wait for each other
constexpr double kShortWait = 0.1, kLongWait = 0.3;
constexpr double kProbe = 2, kLost = 10; // seconds without an acknowledgment
constexpr double kMeasured = 1;          // seconds over which the rate is measured
constexpr double kSlowest = 4e3;
constexpr int32_t kShares[] = {8, 6, 4, 3, 2}; // eighths of the width and the height
constexpr int32_t kWorstQuality = 30, kBestOfSmall = 80;

// The quantization tables of JPEG are scaled by this percentage.
double coarseness_of(int32_t quality) { return quality < 50 ? 5000.0 / quality : 200 - 2.0 * quality; }
double quality_of(double coarseness) { return coarseness > 100 ? 5000 / coarseness : (200 - coarseness) / 2; }

// The bytes of a picture are about proportional to powers of these.
constexpr double kByCoarseness = -0.65, kByPixels = 0.75;

double linear(size_t size) { return kShares[size] / 8.0; }

} // namespace

flow_control::form flow_control::next() const {
    const double quality = std::clamp<double>(quality_of(coarseness_), 1, most_.quality);
    return {std::max(64, most_.width * kShares[size_] / 8), std::max(36, most_.height * kShares[size_] / 8),
            static_cast<int32_t>(std::lround(quality))};
}

bool flow_control::is_open(double now) const {
    // An acknowledgment may be lost, and nothing would come for the next one.
    if (pictures_.empty() || now - pictures_.back().time > kProbe)
        return true;
    if (arrivals_.empty()) // nothing is known of the link
        return false;
    return static_cast<double>(on_the_way_) + rate_ / kPicturesPerSecond < rate_ * (shortest_ + kWindow) &&
           now - pictures_.front().time < shortest_ + kLongWait && now >= due_;
}

bool flow_control::is_lost(double now) const { return !pictures_.empty() && now - pictures_.front().time > kLost; }

void flow_control::sent(uint32_t number, size_t bytes, double now) {
    pictures_.push_back({number, bytes, now});
    on_the_way_ += bytes;
    due_ = now + static_cast<double>(bytes) / rate_;
    fit(bytes);
}

// Brings the next picture near the bytes that it may have: at once when it must be smaller, slowly otherwise.
void flow_control::fit(size_t bytes) {
    const double allowed = rate_ / kPicturesPerSecond / static_cast<double>(bytes);
    coarseness_ *= std::pow(std::min(allowed, 1.2), 1 / kByCoarseness);
    const auto change_size = [&](size_t to) {
        coarseness_ *= std::pow(linear(to) / linear(size_), 2 * kByPixels / -kByCoarseness);
        size_ = to;
    };
    const double best = coarseness_of(size_ > 0 ? std::min(kBestOfSmall, most_.quality) : most_.quality);
    const double worst = coarseness_of(std::min(kWorstQuality, most_.quality));
    if (coarseness_ < best && size_ > 0)
        change_size(size_ - 1);
    else if (coarseness_ > worst && size_ + 1 < std::size(kShares))
        change_size(size_ + 1);
    coarseness_ = std::clamp(coarseness_, best, worst);
}

double flow_control::measured_rate() const {
    const double seconds = arrivals_.back().time - arrivals_.front().time;
    size_t bytes = 0; // but those of the first, since they arrived before
    for (size_t i = 1; i < arrivals_.size(); ++i)
        bytes += arrivals_[i].bytes;
    return seconds > 0.05 ? static_cast<double>(bytes) / seconds : rate_;
}

void flow_control::acknowledged(uint32_t number, double ago, double now) {
    size_t bytes = 0;
    double time = 0;
    for (; !pictures_.empty() && pictures_.front().number <= number; pictures_.pop_front()) {
        bytes += pictures_.front().bytes;
        time = now - ago - pictures_.front().time;
    }
    if (bytes == 0)
        return;
    on_the_way_ -= bytes;
    arrivals_.push_back({bytes, now});
    while (arrivals_.front().time < now - kMeasured)
        arrivals_.pop_front();
    // A longer way is learnt slowly.
    shortest_ = std::min({time, shortest_ * 1.002, 1.0});
    const double wait = time - shortest_, measured = measured_rate();
    if (wait > kLongWait) {
        is_starting_ = false;
        if (now - slowed_ > shortest_ + kWindow) {
            rate_ = std::clamp(measured * 0.9, rate_ * 0.6, rate_ * 0.9);
            slowed_ = now;
        }
    } else if (wait > kShortWait) { // the link is busy, so what was measured is its rate
        rate_ += (measured - rate_) / 8;
    } else {
        rate_ = std::min(rate_ * (is_starting_ ? 1.3 : 1.03), std::max(rate_, 2 * measured));
    }
    rate_ = std::max(rate_, kSlowest);
}

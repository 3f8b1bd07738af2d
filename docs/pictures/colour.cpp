// What each way of <vela/colour.h> to YCbCr and back loses.
#include "svg.hpp"
#include <array>
#include <numbers>
#include <vela/cpp/colour.hpp>

namespace {

using bytes = std::vector<uint8_t>;
using vela::colour::variant;

constexpr uint32_t kWidth = 512, kHeight = 512;

struct loss {
    double squares = 0, count = 0;
    int worst = 0;

    void add(const bytes &before, const bytes &after) {
        for (size_t i = 0; i < before.size(); ++i) {
            const int difference = std::abs(before[i] - after[i]);
            squares += difference * difference;
            worst = std::max(worst, difference);
        }
        count += static_cast<double>(before.size());
    }
    double psnr() const { return 10 * std::log10(255.0 * 255.0 * count / squares); }
};

// All 2^24 colours, those of one red after the other.
loss lost_of_all(variant one) {
    loss found;
    bytes before(3 << 16), between(before.size()), after(before.size());
    for (int red = 0; red < 256; ++red) {
        for (size_t i = 0; i < before.size(); i += 3) {
            before[i] = static_cast<uint8_t>(red);
            before[i + 1] = static_cast<uint8_t>(i / 3 >> 8);
            before[i + 2] = static_cast<uint8_t>(i / 3);
        }
        if (!vela::colour::from_rgb(one, before, between) || !vela::colour::to_rgb(one, between, after))
            std::abort();
        found.add(before, after);
    }
    return found;
}

// Two neighbours share the mean of their chroma.
bytes packed(const bytes &ycc) {
    bytes result;
    for (size_t i = 0; i < ycc.size(); i += 6) {
        const auto mean = [&](size_t of) { return static_cast<uint8_t>((ycc[i + of] + ycc[i + 3 + of] + 1) / 2); };
        result.insert(result.end(), {mean(1), ycc[i], mean(2), ycc[i + 3]});
    }
    return result;
}

// Waves of colour, `length` pixels long, in directions of their own; with edges, as fields of full colour.
loss lost_of_422(double length, bool with_edges) {
    bytes before, between(size_t{3} * kWidth * kHeight), after(between.size());
    for (uint32_t y = 0; y < kHeight; ++y)
        for (uint32_t x = 0; x < kWidth; ++x)
            for (const auto &[across, down] : {std::array{1.0, 0.3}, {-0.4, 0.9}, {0.7, -0.7}}) {
                const double wave = std::sin(2 * std::numbers::pi * (across * x + down * y) / length);
                before.push_back(
                    static_cast<uint8_t>(with_edges ? (wave > 0 ? 255 : 0) : std::lround(127.5 + 127.49 * wave)));
            }
    if (!vela::colour::from_rgb(variant::full, before, between) ||
        !vela::colour::unpack(packed(between), kWidth, kHeight, 2 * kWidth, after))
        std::abort();
    loss found;
    found.add(before, after);
    return found;
}

} // namespace

int main() {
    const struct {
        const char *name, *of, *style;
        loss lost;
    } ways[] = {
        {"full range", "all colours", "fa", lost_of_all(variant::full)},
        {"BT.601", "all colours", "fa", lost_of_all(variant::bt601)},
        {"BT.709", "all colours", "fa", lost_of_all(variant::bt709)},
        {"4:2:2", "waves of 100 pixels", "fb", lost_of_422(100, false)},
        {"4:2:2", "waves of 20 pixels", "fb", lost_of_422(20, false)},
        {"4:2:2", "fields with edges", "fb", lost_of_422(100, true)},
    };
    svg::picture picture(420, "RGB to YCbCr and back");
    const svg::box place = {190, 70, 300, 280};
    const svg::chart chart(picture, place, {0, 60, {0, 10, 20, 30, 40, 50, 60}, "peak signal to noise in dB"},
                           {0, 1, {}, ""});
    constexpr double kDecibels = 560, kShades = 620;
    picture.text({kDecibels, 56}, "PSNR", "end fsoft");
    picture.text({kShades, 56}, "worst", "end fsoft");
    double top = place.top + 8;
    for (const auto &way : ways) {
        const double decibels = way.lost.psnr();
        picture.bar({place.left, top, chart.x(decibels) - place.left, 28}, way.style);
        picture.text({place.left - 10, top + 12}, way.name, "end fink");
        picture.text({place.left - 10, top + 30}, way.of, "end fsoft");
        char number[16];
        std::snprintf(number, sizeof number, "%.1f dB", decibels);
        picture.text({kDecibels, top + 20}, number, "end fink");
        picture.text({kShades, top + 20}, std::to_string(way.lost.worst), "end fink");
        top += 46;
    }
    return picture.write();
}

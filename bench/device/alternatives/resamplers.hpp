// What the resamplers share: the pairs of rates, and a second of input for each.
#pragma once

#include "../device.hpp"
#include <random>
#include <vector>

namespace device {

struct rate_pair {
    unsigned in, out;
};

// Registers "NAME/IN-OUT" for each pair: prepare(pair) gives what turns one second of samples into the next output.
template <class Prepare>
void add_resampler(const std::string &name, Prepare prepare) {
    for (const rate_pair pair : {rate_pair{44100, 48000}, {48000, 8000}, {8000, 16000}, {44100, 8000}})
        add(name + "/" + std::to_string(pair.in) + "-" + std::to_string(pair.out), "sample", pair.out, [=] {
            std::vector<int16_t> input(pair.in);
            std::mt19937 random(1);
            for (int16_t &sample : input)
                sample = static_cast<int16_t>(random() >> 18);
            return [input, output = std::vector<int16_t>(pair.out + 64), run = prepare(pair)]() mutable {
                run(input, output);
            };
        });
}

} // namespace device

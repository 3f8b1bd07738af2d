#include "resamplers.hpp"
#include <samplerate.h>

// Its samples are floats; it converts 16-bit samples itself.
static const device::cases registered([] {
    device::add_resampler("src_process/linear", [](device::rate_pair pair) {
        int error;
        SRC_STATE *resampler = src_new(SRC_LINEAR, 1, &error);
        std::vector<float> in(pair.in), out(pair.out + 64);
        return [=](const std::vector<int16_t> &input, std::vector<int16_t> &output) mutable {
            src_short_to_float_array(input.data(), in.data(), static_cast<int>(in.size()));
            SRC_DATA data = {};
            data.data_in = in.data();
            data.data_out = out.data();
            data.input_frames = static_cast<long>(in.size());
            data.output_frames = static_cast<long>(out.size());
            data.src_ratio = double(pair.out) / pair.in;
            src_process(resampler, &data);
            src_float_to_short_array(out.data(), output.data(), static_cast<int>(data.output_frames_gen));
        };
    });
});

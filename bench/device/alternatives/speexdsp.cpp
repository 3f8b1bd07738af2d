#include "resamplers.hpp"
#include <speex/speex_resampler.h>

static const device::cases registered([] {
    device::add_resampler("speex_resampler_process_int/0", [](device::rate_pair pair) {
        SpeexResamplerState *resampler = speex_resampler_init(1, pair.in, pair.out, 0, nullptr);
        return [resampler](const std::vector<int16_t> &input, std::vector<int16_t> &output) {
            auto consumed = static_cast<uint32_t>(input.size()), produced = static_cast<uint32_t>(output.size());
            speex_resampler_process_int(resampler, 0, input.data(), &consumed, output.data(), &produced);
        };
    });
});

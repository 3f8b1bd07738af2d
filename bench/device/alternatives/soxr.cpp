#include "resamplers.hpp"
#include <soxr.h>

static const device::cases registered([] {
    device::add_resampler("soxr_process/QQ", [](device::rate_pair pair) {
        const soxr_io_spec_t samples = soxr_io_spec(SOXR_INT16_I, SOXR_INT16_I);
        const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_QQ, 0);
        soxr_t resampler = soxr_create(pair.in, pair.out, 1, nullptr, &samples, &quality, nullptr);
        return [resampler](const std::vector<int16_t> &input, std::vector<int16_t> &output) {
            size_t consumed, produced;
            soxr_process(resampler, input.data(), input.size(), &consumed, output.data(), output.size(), &produced);
        };
    });
});

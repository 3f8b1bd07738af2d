// Pixels in each conversion, apart and in place, and 4:2:2 pictures of any shape, against the model.
#include "../tests/models/colour.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto which = data.ConsumeIntegralInRange<size_t>(0, std::size(model::kConversions) - 1);
    const auto width = data.ConsumeIntegralInRange<uint32_t>(0, 300), stride = data.ConsumeIntegralInRange(0U, 255U);
    auto height = data.ConsumeIntegralInRange<uint32_t>(0, 70);
    const model::pixels input = data.ConsumeRemainingBytes<uint8_t>();
    model::check_conversion(model::kConversions[which], {input.data(), input.data() + input.size() / 3 * 3});

    // As much of the picture as there are bytes for.
    while (height && vela::colour::packed_size(width, height, stride) > input.size())
        --height;
    model::check_unpacking(input.data(), width, height, stride);
    return 0;
}

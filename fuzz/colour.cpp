// Pixels in each conversion, apart and in place, and 4:2:2 pictures of any shape, against the model.
#include "../tests/models/colour.hpp"
#include "fuzz.hpp"

using namespace model;

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const conversion &c = kConversions[data.ConsumeIntegralInRange<size_t>(0, std::size(kConversions) - 1)];
    uint32_t width = data.ConsumeIntegralInRange<uint32_t>(0, 300), stride = data.ConsumeIntegral<uint8_t>();
    uint32_t height = data.ConsumeIntegralInRange<uint32_t>(0, 70);
    const pixels input = data.ConsumeRemainingBytes<uint8_t>();

    const auto count = static_cast<uint32_t>(input.size() / 3);
    const pixels from(input.begin(), input.begin() + 3 * count), expected = converted(c, from);
    pixels to(from.size()), same = from;
    c.convert(from.data(), to.data(), count);
    expect_pixels(c.name, from, to.data(), expected);
    c.convert(same.data(), same.data(), count);
    expect_pixels(c.name, from, same.data(), expected);

    // As much of the picture as there are bytes for; they end where it ends.
    while (height && packed_size(width, height, stride) > input.size())
        --height;
    const pixels packed(input.begin(), input.begin() + static_cast<ptrdiff_t>(packed_size(width, height, stride)));
    const pixels full = unpacked(packed.data(), width, height, stride);
    pixels rgb(full.size());
    cyc422_to_srgb(packed.data(), width, height, stride, rgb.data());
    expect_pixels("cyc422_to_srgb", full, rgb.data(), converted(kConversions[1], full));
    return 0;
}

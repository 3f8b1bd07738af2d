#include "device.hpp"
#include <vector>
#include <vela/colour.h>

static const device::cases registered([] {
    constexpr uint32_t kWidth = 640, kHeight = 8, kPixels = kWidth * kHeight;
    struct conversion {
        const char *name;
        decltype(&srgb_to_yccfull) convert;
    };
    for (const conversion &c : {
             conversion{"srgb_to_yccfull", srgb_to_yccfull},
             conversion{"yccfull_to_srgb", yccfull_to_srgb},
             conversion{"srgb_to_yccbt601", srgb_to_yccbt601},
             conversion{"yccbt601_to_srgb", yccbt601_to_srgb},
             conversion{"srgb_to_yccbt709", srgb_to_yccbt709},
             conversion{"yccbt709_to_srgb", yccbt709_to_srgb},
         })
        device::add(c.name, "pixel", kPixels, [convert = c.convert] {
            return [convert, from = std::vector<uint8_t>(3 * kPixels, 99),
                    to = std::vector<uint8_t>(3 * kPixels)]() mutable { convert(from.data(), to.data(), kPixels); };
        });
    device::add("cyc422_to_srgb", "pixel", kPixels, [] {
        return [from = std::vector<uint8_t>(2 * kPixels, 99), to = std::vector<uint8_t>(3 * kPixels)]() mutable {
            cyc422_to_srgb(from.data(), kWidth, kHeight, 2 * kWidth, to.data());
        };
    });
});

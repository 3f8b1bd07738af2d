#include "device.hpp"
#include <vector>
#include <vela/picture.h>

static const device::cases registered([] {
    struct pair {
        const char *name;
        int32_t from, to;
    };
    constexpr int32_t kWidth = 640, kHeight = 8;
    for (const pair &one : {pair{"NV12-RGBA", VELA_NV12, VELA_RGBA}, pair{"I420-RGB24", VELA_I420, VELA_RGB24},
                            pair{"I444-RGB24", VELA_I444, VELA_RGB24}, pair{"RGB24-NV12", VELA_RGB24, VELA_NV12},
                            pair{"RGB24-I444", VELA_RGB24, VELA_I444}, pair{"RGB24-BGR24", VELA_RGB24, VELA_BGR24},
                            pair{"YUYV-NV12", VELA_YUYV, VELA_NV12}, pair{"I422-YUYV", VELA_I422, VELA_YUYV},
                            pair{"NV12-I420", VELA_NV12, VELA_I420}, pair{"I444-I420", VELA_I444, VELA_I420}})
        device::add(std::string("vela_picture_convert/") + one.name, "pixel", double{kWidth} * kHeight, [one] {
            vela_picture from = {kWidth, kHeight, one.from, VELA_BT601_STUDIO, {}},
                         to = {kWidth, kHeight, one.to, VELA_BT601_STUDIO, {}};
            return [=, source = std::vector<uint8_t>(4 * kWidth * kHeight, 99),
                    target = std::vector<uint8_t>(4 * kWidth * kHeight)]() mutable {
                vela_picture_lay_out(&from, source.data(), source.size());
                vela_picture_lay_out(&to, target.data(), target.size());
                vela_picture_convert(&from, &to);
            };
        });
});
